// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// REWRITE: replaces the record that was last read or written. Its lists are those of the direct WRITE.

#include "records/buffer.h"
#include "records/record_frame.h"
#include "statements/direct_record.h"
#include "statements/fmt_statement.h"
#include "statements/positioning.h"
#include "tamrun/tamrun.h"

namespace {

/// Leaves the input of a connection without record numbers, at which the record then goes: 0 or a message.
int leave_input(For_Lub& lub, i64 record) {
  lub.lub_next_rec = record;
  lub.lub_a_user_target = nullptr;
  if (int code = write_held_output(lub, MSG_WRITE_ERROR)) return code;
  return for__flush_readahead(&lub, 0);
}

int begin_record(For_Lub& lub, i64 record) {
  if (!lub.lub_f_direct) {
    if (int code = leave_input(lub, record)) return code;
    return frame_unformatted_record(lub, SEGMENT_FIRST);
  }
  if (int code = turn_to_output(lub, record)) return code;
  frame_direct_output(lub);
  return 0;
}

int begin_formatted_record(For_Lub& lub, i64 record) {
  if (!lub.lub_f_direct) {
    if (int code = leave_input(lub, record)) return code;
    return start_formatted_record(lub);
  }
  if (int code = turn_to_output(lub, record)) return code;
  start_direct_record(lub);
  return 0;
}

}  // namespace

int for_rewrite(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  i64 record = 0;
  const Statement_Start start = begin_rewrite(kRewrite, ctx, unit, flags, control, &record);
  if (start.lub == nullptr) return start.result;
  if (int code = begin_record(*start.lub, record)) return fail_statement(*start.lub, code);
  return for_rewrite_xmit(ctx, item_list, item_args);
}

int for_rewrite_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return for_write_dir_xmit(ctx, item_list, item_args);
}

int for_rewrite_fmt(For_Context* ctx, int unit, For_IO_Flags given, const u8* item_list, void* item_args,
                    const void* format, ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  i64 record = 0;
  const Statement_Start start = begin_rewrite(kRewriteFmt, ctx, unit, given, control, &record);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, effective_io_flags(given), format)) return fail_statement(lub, code);
  if (int code = begin_formatted_record(lub, record)) return fail_formatted(lub, code);
  return for_rewrite_fmt_xmit(ctx, item_list, item_args);
}

int for_rewrite_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return for_write_dir_fmt_xmit(ctx, item_list, item_args);
}
