// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What statements on internal files share.

#include "statements/internal_file.h"

#include <string.h>

#include <algorithm>

#include "statements/for_desc_item.h"
#include "tamrun/messages.h"
#include "units/connection_options.h"
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

}  // namespace

Statement_Start begin_internal_statement(const Internal_Rule& rule, For_Context* ctx, For_IO_Flags given,
                                         const Control_List& control) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Lub* held = nullptr;
  if (int code = for__acquire_lun(UNIT_INTERNAL, &held, ctx, rule.code)) {
    return {nullptr, fail_without_lub(code, UNIT_INTERNAL, flags, control)};
  }
  For_Lub& lub = *held;
  store_connection_options(lub, flags);
  store_statement_flags(lub, flags);
  lub.lub_f_pad = lub.lub_f_f90_rtl;
  lub.lub_f_blank_null = !lub.lub_f_legacy_defaults;
  lub.lub_a_file_name = rule.name_before;
  if (flags & iof_control_list) {
    int user_code = 0;
    if (int code = walk_control_list(lub, flags, true, control, &user_code)) {
      return {nullptr, fail_statement(lub, code, user_code)};
    }
  }
  return {&lub, 0};
}

int take_variable(For_Lub& lub, const Internal_Rule& rule, const u8** item_list, void** item_args) {
  For_Value_Info val;
  For_Item_Shape shape;
  lub.lub_a_file_name = rule.name;
  if (int code = for__desc_ret_item(item_list, item_args, &val, &shape)) return code;
  Layout layout = {1, std::max<i64>(val.val_total, 0)};
  if (rule.counted_name != nullptr && val.val_type == ITM_INTEGER1) {
    lub.lub_a_file_name = rule.counted_name;
  } else if (item_is_character(val.val_type)) {
    layout = layout_of(val, shape.shp_access, rule.formatted);
  } else {
    return MSG_INVALID_ARGUMENT;
  }
  const i64 first = layout.records > 0 ? layout.bytes : 0;
  if (val.val_data == nullptr && first > 0) return MSG_INVALID_ARGUMENT;
  lub.lub_maxrec = layout.records;
  lub.lub_rec_bytes = lub.lub_recl = lub.lub_wrap_margin = layout.bytes;
  lub.lub_internal_size = std::max<i64>(val.val_total, 0);
  lub.lub_a_buffer = lub.lub_a_cursor = lub.lub_a_data_start = lub.lub_a_high_water = val.val_data;
  lub.lub_a_rec_end = val.val_data + first;
  if (rule.writes) {
    lub.lub_a_internal_pos = val.val_data;
    lub.lub_buffer_size = lub.lub_internal_size;
    if (first > 0) memset(val.val_data, ' ', static_cast<size_t>(first));
  }
  return 0;
}
