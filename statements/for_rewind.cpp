// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// REWIND and BACKSPACE.

#include "records/buffer.h"
#include "records/step_back.h"
#include "statements/positioning.h"
#include "tamrun/tamrun.h"

namespace {

/// The next record written is the file's last, but where records keep their place.
void let_next_write_cut(For_Lub& lub, bool cuts) {
  if (cuts && !(lub.lub_f_direct && lub.lub_f_compat_io)) lub.lub_f_truncate_on_write = 1;
}

/// To the start of the file, as if just connected: 0 or `message`, with lub_errno set.
int go_to_start(For_Lub& lub, int message) {
  if (move_file(lub, 0) != 0) return message;
  lub.lub_next_rec = 1;
  lub.lub_f_at_end = 0;
  return 0;
}

/// 0 or a message number.
int rewind_unit(For_Lub& lub) {
  if (in_child_statement(lub)) return MSG_UDIO_REWIND;
  if (is_terminal(lub)) return MSG_REWIND_NO_OP_ON_TERMINAL;
  if (!lub.lub_f_connected) return 0;
  if (const int code = write_held_output(lub, MSG_REWIND_ERROR)) return code;
  if (lub.lub_f_keyed) return MSG_REWIND_ERROR;
  if (const int code = give_read_ahead_back(lub, MSG_REWIND_ERROR)) return code;
  if (const int code = finish_length_byte_file(lub)) return code;
  if (const int code = go_to_start(lub, MSG_REWIND_ERROR)) return code;
  lub.lub_f_access_append = 0;
  let_next_write_cut(lub, !lub.lub_f_stream || lub.lub_f_formatted);
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL) lub.lub_f_check_file_mark = 1;
  return 0;
}

/// Back over one record of a unit that has records to go back over: 0 or a message number.
int backspace_record(For_Lub& lub) {
  if (lub.lub_org != ORG_SEQUENTIAL || (lub.lub_f_direct && !lub.lub_f_compat_io))
    return MSG_OPERATION_REQUIRES_SEQUENTIAL_FILE_ORGANIZATION;
  if (!lub.lub_f_seekable) return MSG_OPERATION_REQUIRES_FILE_ON_DISK;
  if (const int code = finish_length_byte_file(lub)) return code;
  const bool counted = lub.lub_stream_kind != STREAM_MS_UNF_SEQUENTIAL || lub.lub_rectype != RECTYPE_STREAM;
  if (counted && (lub.lub_next_rec == 0 || lub.lub_next_rec == 1)) return 0;
  if (counted && lub.lub_next_rec == 2) return go_to_start(lub, MSG_BACKSPACE_ERROR);
  if (const int code = step_back(lub)) return code;
  lub.lub_next_rec = lub.lub_next_rec < 0 ? i64{FOR_K_REC_UNKNOWN} : lub.lub_next_rec - 1;
  lub.lub_f_at_end = 0;
  return 0;
}

/// 0 or a message number.
int backspace_unit(For_Lub& lub) {
  if (in_child_statement(lub)) return MSG_UDIO_BACKSPACE;
  if (is_terminal(lub)) return MSG_BACKSPACE_NO_OP_ON_TERMINAL;
  if (lub.lub_f_connected) {
    if (const int code = write_held_output(lub, MSG_BACKSPACE_ERROR)) return code;
  }
  if (lub.lub_f_stream && !lub.lub_f_formatted) return MSG_BACKSPACE_ON_STREAM;
  if (!lub.lub_f_connected) return 0;
  const bool length_byte = lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL;
  // The end condition counts as a record to go back over, but in compatible programs.
  if (!lub.lub_f_at_eof || lub.lub_f_compat_io || length_byte) {
    if (const int code = backspace_record(lub)) return code;
  }
  let_next_write_cut(lub, !lub.lub_f_stream);
  return 0;
}

int backspace_user_code(int message) {
  const bool general =
      message == MSG_OPERATION_REQUIRES_SEQUENTIAL_FILE_ORGANIZATION || message == MSG_OPERATION_REQUIRES_FILE_ON_DISK;
  return general ? int{MSG_BACKSPACE_ERROR} : message;
}

}  // namespace

int for_rewind(For_Context* ctx, int unit, For_IO_Flags flags, ...) {
  TAMRUN_CONTROL_LIST(control, flags, flags);
  const Statement_Start start = begin_positioning(STMT_REWIND, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  if (const int code = rewind_unit(*start.lub)) return fail_statement(*start.lub, code);
  return end_positioning(*start.lub);
}

int for_backspace(For_Context* ctx, int unit, For_IO_Flags flags, ...) {
  TAMRUN_CONTROL_LIST(control, flags, flags);
  const Statement_Start start = begin_positioning(STMT_BACKSPACE, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  if (const int code = backspace_unit(*start.lub)) return fail_statement(*start.lub, code, backspace_user_code(code));
  return end_positioning(*start.lub);
}
