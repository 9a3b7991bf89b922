// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What formatted statements share beside their loop.

#include "statements/fmt_statement.h"

#include "format/format_cache.h"
#include "format/format_compiler.h"

namespace {

/// The LUB's fields of a formatted statement. A child statement goes on at its parent's place in the record.
void reset_progress(For_Lub& lub) {
  lub.lub_fmt_record_done = 0;
  lub.lub_fmt_no_final_record = 0;
  lub.lub_size_count = 0;
  lub.lub_f_size_given = 0;
  lub.lub_f_eor_pending = 0;
  lub.lub_f_skip_to_marker = 0;
  if (!in_child_statement(lub)) lub.lub_pad_count = 0;
}

/// Clears the block but for the rows of groups, of which none is open.
void begin_state(For_Fmt_Isb& isb) {
  isb.isb_fmt_base = nullptr;
  isb.isb_fmt_pc = nullptr;
  isb.isb_dt_iotype = isb.isb_dt_vlist = nullptr;
  isb.isb_repeat = isb.isb_error = 0;
  isb.isb_depth = 0;
  isb.isb_scale = 0;
  isb.isb_width = isb.isb_width_saved = 0;
  isb.isb_minimal_saved = 0;
  isb.isb_literal = nullptr;
  isb.isb_d = isb.isb_e = 0;
  isb.isb_reversion = 0;
  isb.isb_code = 0;
  isb.isb_flags2 = 0;
}

}  // namespace

List_Ahead look_far_ahead(const u8* list, void* args, bool past_empty_arrays) {
  For_Value_Info val = {};
  For_Item_Shape shape;
  do {
    if (list == nullptr) return List_Ahead::malformed;
    if (!past_empty_arrays) {
      if (*list == ITM_END_STATEMENT) return List_Ahead::statement_end;
      if (*list == ITM_END_CALL) return List_Ahead::call_end;
      if (*list != ITM_DERIVED_CLOSE) return List_Ahead::item;
    }
    if (for__desc_ret_item(&list, &args, &val, &shape) != 0) return List_Ahead::malformed;
    if (val.val_type == ITM_END_STATEMENT) return List_Ahead::statement_end;
    if (val.val_type == ITM_END_CALL) return List_Ahead::call_end;
  } while (val.val_type == ITM_DERIVED_CLOSE || (item_is_array(shape.shp_access) && val.val_total == 0));
  return List_Ahead::item;
}

int begin_format(For_Lub& lub, For_IO_Flags flags, const void* format) {
  For_Fmt_Isb& isb = *lub.lub_a_fmt_isb;
  begin_state(isb);
  isb.isb_lub = &lub;
  isb.isb_flags = sign_flags(lub);
  isb.isb_round = lub.lub_round;
  if (flags & iof_format_option8) isb.isb_flags2 |= ISB2_KEEP_ROUNDED_SIGN;
  if (flags & iof_f90_rtl) isb.isb_flags2 |= ISB2_STANDARD_G0;
  reset_progress(lub);
  if (!(flags & iof_format_text)) {
    isb.isb_fmt_pc = static_cast<const u8*>(format);
    return isb.isb_fmt_pc != nullptr ? 0 : MSG_INVALID_ARGUMENT;
  }
  const bool report = (flags & (iof_err | iof_iostat)) == 0;
  u8* const room = in_child_statement(lub) ? nullptr : reinterpret_cast<For_Fmt_State*>(&isb)->room;
  bool owned = false;
  if (int code = compiled_format(*static_cast<const For_Fmt_Text*>(format), report, room, &isb.isb_fmt_pc, &owned)) {
    return code;
  }
  if (owned) isb.isb_flags |= ISB_RUNTIME_FORMAT;
  return 0;
}

int fail_formatted(For_Lub& lub, int message, int user_code) {
  for__format_free(lub.lub_a_fmt_isb);
  return fail_statement(lub, message, user_code);
}

int end_formatted(For_Lub& lub) {
  const int error = static_cast<int>(lub.lub_a_fmt_isb->isb_error);
  if (error != 0) return fail_formatted(lub, error);
  for__format_free(lub.lub_a_fmt_isb);
  return end_statement(lub);
}
