// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// FLUSH: what a unit holds back goes to the file, and what it has read ahead goes back to it.

#include "records/buffer.h"
#include "statements/positioning.h"
#include "tamrun/tamrun.h"
#include "units/connection_options.h"

namespace {

/// 0 or a message number.
int flush_connected(For_Lub& lub) {
  if (const int code = write_held_output(lub, MSG_WRITE_ERROR)) return code;
  // What ADVANCE='NO' has left of a record stays for the next READ.
  const bool half_read = lub.lub_a_file_info != nullptr && lub.lub_a_file_info->fi_read_open;
  return lub.lub_f_seekable && !half_read ? for__flush_readahead(&lub, 0) : 0;
}

}  // namespace

extern "C" int for_flush(For_Context* ctx, int unit, For_IO_Flags flags, ...) {
  TAMRUN_CONTROL_LIST(control, flags, flags);
  const Statement_Start start = begin_positioning(STMT_FLUSH, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  store_connection_options(lub, flags);
  if (lub.lub_f_connected) {
    if (const int code = flush_connected(lub)) return fail_statement(lub, code);
  }
  return end_positioning(lub, lub.lub_f_at_eof, Open_Read::stays);
}
