// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted READ of records by their number.

#include "records/record_frame.h"
#include "statements/direct_record.h"
#include "statements/unf_transfer.h"
#include "tamrun/tamrun.h"

namespace {

/// A record that is one variable goes there straight from the file, where it would gain nothing in the buffer.
void offer_variable(For_Lub& lub, const u8* item_list, void* item_args) {
  if (lub.lub_f_buffered || lub.lub_rectype != RECTYPE_FIXED || is_marked_relative(lub)) return;
  Unf_Block block;
  if (!is_one_block(lub, item_list, item_args, block)) return;
  lub.lub_a_user_target = block.data;
  lub.lub_user_target_len = block.bytes;
}

/// Brings the record: 0 or a message.
[[gnu::noinline]] int bring_record(For_Lub& lub, const u8* item_list, void* item_args) {
  offer_variable(lub, item_list, item_args);
  const int code = next_direct_input(lub);
  lub.lub_a_user_target = nullptr;
  return code;
}

/// The same, where most records stand in the buffer already.
inline int begin_record(For_Lub& lub, i64 record, const u8* item_list, void* item_args) {
  if (int code = turn_to_input(lub, record)) return code;
  lub.lub_f_direct_done = 0;
  if (is_marked_relative(lub) || !find_direct_record(lub)) return bring_record(lub, item_list, item_args);
  enter_direct_input(lub, false);
  return 0;
}

/// Moves the items of one call.
int read_items(For_Lub& lub, const u8* item_list, void* item_args) {
  return conclude_call<end_direct>(lub, read_unformatted_items(lub, item_list, item_args));
}

}  // namespace

int for_read_dir(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, i64 record,
                 ...) {
  TAMRUN_CONTROL_LIST(control, flags, record);

  const Statement_Start start = begin_direct(kReadDir, ctx, unit, flags, control, record);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_record(lub, record, item_list, item_args)) return fail_statement(lub, code);
  if (lub.lub_f_direct_done) return end_direct(lub);
  return read_items(lub, item_list, item_args);
}

int for_read_dir_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return read_items(*ctx->ctx_lub, item_list, item_args);
}
