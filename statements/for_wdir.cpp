// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted WRITE of records by their number.

#include "records/for_put_unf.h"
#include "records/record_frame.h"
#include "statements/direct_record.h"
#include "statements/unf_transfer.h"
#include "tamrun/tamrun.h"

namespace {

/// A single item that is a whole record goes out from the variable, if it would gain nothing in the buffer.
bool goes_from_variable(For_Lub& lub, const u8* item_list, void* item_args) {
  if (lub.lub_f_buffered || lub.lub_rectype != RECTYPE_FIXED || is_marked_relative(lub)) return false;
  Unf_Block block;
  if (!is_one_block(lub, item_list, item_args, block) || block.bytes != lub.lub_rec_bytes) return false;
  lub.lub_a_user_target = block.data;
  lub.lub_user_target_len = block.bytes;
  return true;
}

int write_variable(For_Lub& lub) {
  if (int code = seek_output_record(lub)) return code;
  if (int code = for__write_from_user_buffer(&lub)) return code;
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return 0;
}

/// True when the list was nothing but empty arrays: then there is no record.
bool has_no_record(const For_Lub& lub) {
  return lub.lub_zero_item && lub.lub_a_cursor == record_base(lub) + (is_marked_relative(lub) ? 1 : 0);
}

int end_of_list(For_Lub& lub) {
  const bool nothing = has_no_record(lub);
  lub.lub_zero_item = 0;
  if (nothing) return end_statement(lub);
  if (int code = put_direct_record(lub)) return fail_statement(lub, code);
  return end_direct(lub);
}

/// Moves the items of one call.
int write_items(For_Lub& lub, const u8* item_list, void* item_args) {
  return conclude_call<end_of_list>(lub, write_unformatted_items(lub, item_list, item_args));
}

}  // namespace

int for_write_dir(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, i64 record,
                  ...) {
  TAMRUN_CONTROL_LIST(control, flags, record);

  const Statement_Start start = begin_direct(kWriteDir, ctx, unit, flags, control, record);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = turn_to_output(lub, record)) return fail_statement(lub, code);
  if (goes_from_variable(lub, item_list, item_args)) {
    if (int code = write_variable(lub)) return fail_statement(lub, code);
    return end_direct(lub);
  }
  frame_direct_output(lub);
  return write_items(lub, item_list, item_args);
}

int for_write_dir_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return write_items(*ctx->ctx_lub, item_list, item_args);
}
