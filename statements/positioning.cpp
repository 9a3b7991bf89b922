// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the statements that position a file have in common.

#include "statements/positioning.h"

#include <errno.h>

#include "records/buffer.h"
#include "tamrun/hooks.h"
#include "tamrun/open_args.h"
#include "units/connection_options.h"
#include "units/open.h"
#include "units/program_variable.h"

Statement_Start begin_positioning(For_Statement_Code code, For_Context* ctx, int unit, For_IO_Flags flags,
                                  const Control_List& control) {
  const Statement_Rule rule = {code, true, kConnectNever, 0, 0, {}};
  return begin_statement(rule, ctx, unit, flags, control);
}

int end_positioning(For_Lub& lub, bool at_eof, Open_Read open_read) {
  if (open_read == Open_Read::ends && lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_read_open = 0;
  if (const int code = end_statement(lub, at_eof)) return report_failure(FOR_IOR_NONE, code, code, &lub);
  return 0;
}

int write_held_output(For_Lub& lub, int message) {
  if (for__write_output(&lub, nullptr, 0) >= 0) return 0;
  lub.lub_errno = errno;
  return message;
}

int give_read_ahead_back(For_Lub& lub, int message) { return for__flush_readahead(&lub, 0) == 0 ? 0 : message; }

int finish_length_byte_file(For_Lub& lub) {
  if (!lub.lub_f_ufseq_write_open) return 0;
  const int code = for__finish_ufseq_write(&lub);
  lub.lub_f_ufseq_write_open = 0;
  return code != 0 ? code : write_held_output(lub, MSG_WRITE_ERROR);
}

int connect_unit(For_Lub& lub, For_IO_Flags flags, int access, int form) {
  if (lub.lub_f_connected) return 0;
  store_connection_options(lub, effective_io_flags(flags));
  return for__open_default(&lub, access, STATUS_UNKNOWN, form);
}

int move_to_record(For_Lub& lub, u64 record, int message) {
  i64 offset = 0;
  if (__builtin_mul_overflow(record - 1, lub.lub_rec_bytes, &offset)) {
    lub.lub_errno = EOVERFLOW;
    return message;
  }
  return move_file(lub, offset) == 0 ? 0 : message;
}

int store_associated_variable(For_Lub& lub) {
  if (lub.lub_a_assoc_var == nullptr) return 0;
  const bool stored = store_integer(lub.lub_assoc_var_type, lub.lub_a_assoc_var, lub.lub_next_rec);
  return stored ? 0 : MSG_INVALID_ARGUMENT;
}
