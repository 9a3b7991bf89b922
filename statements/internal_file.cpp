// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What statements on internal files share.

#include "statements/internal_file.h"

#include <string.h>

#include <algorithm>

#include "statements/for_desc_item.h"
#include "tamrun/messages.h"
#include "units/connection_options.h"
#include "units/internal_units.h"
#include "units/unit_table.h"

namespace {

/// Records of a variable and the bytes of each.
struct Layout {
  i64 records;
  i64 bytes;
};

/// List-directed statements take the elements of every array as records, formatted ones those of an array that brings
/// the length of its elements along.
Layout layout_of(const For_Value_Info& val, u32 access, bool formatted) {
  const i64 elem = std::max<i64>(val.val_elem, 0), total = std::max<i64>(val.val_total, 0);
  const bool by_element = formatted ? access == ACC_ARRAY_ELEM || access == ACC_SECTION_ELEM : item_is_array(access);
  if (!by_element) return {1, elem};
  return {elem > 0 ? total / elem : 0, elem};
}

/// The flags of a unit behind the beginning of a statement, which follow from those of the statement alone: a thread
/// keeps those of its last one.
struct Kept_Flags {
  For_IO_Flags of_statement;
  bool known;
  u8 bytes[kLubFlagBytes];
};
__attribute__((tls_model("initial-exec"))) thread_local Kept_Flags t_kept;

void store_flags(For_Lub& lub, For_IO_Flags flags) {
  store_connection_options(lub, flags);
  store_statement_flags(lub, flags);
  lub.lub_f_pad = lub.lub_f_f90_rtl;
  lub.lub_f_blank_null = !lub.lub_f_legacy_defaults;
  t_kept.of_statement = flags;
  t_kept.known = true;
  memcpy(t_kept.bytes, lub_flag_bytes(lub), kLubFlagBytes);
}

}  // namespace

Statement_Start begin_internal_statement(const Internal_Rule& rule, For_Context* ctx, For_IO_Flags given,
                                         const Control_List& control) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Lub* held = nullptr;
  if (t_kept.known && t_kept.of_statement == flags) held = acquire_spare_internal_lub(ctx, rule.code, t_kept.bytes);
  if (held == nullptr) {
    if (int code = for__acquire_lun(UNIT_INTERNAL, &held, ctx, rule.code)) {
      return {nullptr, fail_without_lub(code, UNIT_INTERNAL, flags, control)};
    }
    store_flags(*held, flags);
  }
  For_Lub& lub = *held;
  lub.lub_a_file_name = rule.name_before;
  if (flags & iof_control_list) {
    int user_code = 0;
    if (int code = walk_control_list(lub, flags, true, control, &user_code)) {
      return {nullptr, fail_statement(lub, code, user_code)};
    }
  }
  return {&lub, 0};
}

namespace {

/// Puts the unit at the first of the records.
int point_into(For_Lub& lub, bool writes, u8* variable, i64 size, Layout layout) {
  const i64 first = layout.records > 0 ? layout.bytes : 0;
  if (variable == nullptr && first > 0) return MSG_INVALID_ARGUMENT;
  lub.lub_maxrec = layout.records;
  lub.lub_rec_bytes = lub.lub_recl = lub.lub_wrap_margin = layout.bytes;
  lub.lub_internal_size = size;
  lub.lub_a_buffer = lub.lub_a_cursor = lub.lub_a_data_start = lub.lub_a_high_water = variable;
  lub.lub_a_rec_end = variable + first;
  if (writes) {
    lub.lub_a_internal_pos = variable;
    lub.lub_buffer_size = size;
    if (first > 0) memset(variable, ' ', static_cast<size_t>(first));
  }
  return 0;
}

}  // namespace

int take_variable(For_Lub& lub, const Internal_Rule& rule, const u8** item_list, void** item_args) {
  lub.lub_a_file_name = rule.name;
  const u8* const list = *item_list;
  if (list != nullptr && list[0] == ITM_CHARACTER && list[1] == ACC_SCALAR && *item_args != nullptr) {
    const u64* const words = static_cast<const u64*>(*item_args);
    const i64 length = std::max<i64>(static_cast<i64>(words[0]), 0);
    *item_list += 2;
    *item_args = static_cast<u64*>(*item_args) + 2;
    return point_into(lub, rule.writes, reinterpret_cast<u8*>(words[1]), length, {1, length});
  }
  For_Value_Info val;
  For_Item_Shape shape;
  if (int code = for__desc_ret_item(item_list, item_args, &val, &shape)) return code;
  const i64 size = std::max<i64>(val.val_total, 0);
  if (rule.counted_name != nullptr && val.val_type == ITM_INTEGER1) {
    lub.lub_a_file_name = rule.counted_name;
    return point_into(lub, rule.writes, val.val_data, size, {1, size});
  }
  if (!item_is_character(val.val_type)) return MSG_INVALID_ARGUMENT;
  return point_into(lub, rule.writes, val.val_data, size, layout_of(val, shape.shp_access, rule.formatted));
}
