// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ENDFILE, and the EOF function, which knows the end-file records of older programs.

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "records/buffer.h"
#include "records/for_put.h"
#include "records/record_frame.h"
#include "records/step_back.h"
#include "statements/positioning.h"
#include "tamrun/tamrun.h"

namespace {

constexpr u8 kEndMark = 26;
constexpr u8 kLf = '\n', kCr = '\r';

/// Bytes that end a file of an older program.
struct End_Bytes {
  u8 length;
  u8 bytes[9];
};

constexpr End_Bytes kNoEnd = {};
constexpr End_Bytes kVariableEnd = {9, {1, 0, 0, 0, kEndMark, 1, 0, 0, 0}};
constexpr End_Bytes kVariableBigEnd = {9, {0, 0, 0, 1, kEndMark, 0, 0, 0, 1}};
constexpr End_Bytes kSegmentedEnd = {4, {1, 0, kEndMark, 0}};
constexpr End_Bytes kFortranEnd = {3, {kLf, kEndMark, kCr}};
constexpr End_Bytes kLineEnds[] = {{2, {kEndMark, kLf}}, {2, {kEndMark, kCr}}, {3, {kEndMark, kCr, kLf}}};

const End_Bytes& unformatted_end(const For_Lub& lub) {
  if (is_variable(lub)) return lub.lub_f_big_endian_words ? kVariableBigEnd : kVariableEnd;
  return lub.lub_rectype == RECTYPE_SEGMENTED ? kSegmentedEnd : kNoEnd;
}

/// What the EOF function looks for.
const End_Bytes& expected_end(const For_Lub& lub) {
  if (!lub.lub_f_formatted) return unformatted_end(lub);
  if (lub.lub_rectype < RECTYPE_STREAM || lub.lub_rectype > RECTYPE_STREAM_CRLF) return kNoEnd;
  if (lub.lub_cc == CC_FORTRAN) return kFortranEnd;
  return lub.lub_rectype == RECTYPE_STREAM ? kNoEnd : kLineEnds[lub.lub_rectype - RECTYPE_STREAM_LF];
}

bool may_be_ended(const For_Lub& lub) {
  const bool unstructured = lub.lub_f_ms_unformatted || lub.lub_f_binary;
  if (!lub.lub_f_sequential && !lub.lub_f_access_append && !lub.lub_f_direct) {
    return unstructured || lub.lub_rectype == RECTYPE_STREAM;
  }
  return lub.lub_f_formatted || unstructured ||
         (lub.lub_rectype >= RECTYPE_SEGMENTED && lub.lub_rectype <= RECTYPE_STREAM) ||
         (lub.lub_f_direct && lub.lub_f_compat_io);
}

int put_formatted_end(For_Lub& lub) {
  if (const int code = layout_formatted_record(lub)) return code;
  if (lub.lub_cc == CC_FORTRAN) *lub.lub_a_cursor++ = ' ';
  *lub.lub_a_cursor++ = kEndMark;
  return for__put_sf(&lub);
}

/// A record of its own layout that holds the mark, in the buffer: its length.
i64 lay_out_unformatted_end(For_Lub& lub) {
  u8* const record = lub.lub_a_buffer;
  const End_Bytes& end = unformatted_end(lub);
  if (end.length != 0) {
    memcpy(record, end.bytes, end.length);
    return end.length;
  }
  const bool padded = lub.lub_rectype == RECTYPE_FIXED;
  const i64 length = padded ? std::min(lub.lub_rec_bytes, lub.lub_buffer_size) : 1;
  memset(record, 0, length);
  *record = kEndMark;
  return length;
}

int put_unformatted_end(For_Lub& lub) {
  const i64 length = lay_out_unformatted_end(lub);
  lub.lub_f_after_endfile = 0;
  if (for__write_output(&lub, lub.lub_a_buffer, length) >= 0) return truncate_if_asked(lub);
  lub.lub_errno = errno;
  return MSG_WRITE_ERROR;
}

/// Writes an end-file record and stays in front of it: 0 or a message number.
int write_end_record(For_Lub& lub) {
  if (const int code = give_read_ahead_back(lub, MSG_WRITE_ERROR)) return code;
  const off_t position = lseek(lub.lub_fd, 0, SEEK_CUR);
  if (const int code = lub.lub_f_formatted ? put_formatted_end(lub) : put_unformatted_end(lub)) return code;
  if (const int code = write_held_output(lub, MSG_WRITE_ERROR)) return code;
  lub.lub_f_at_end = 0;
  if (position < 0) return 0;  // a pipe has no way back
  return move_file(lub, position) == 0 ? 0 : MSG_ENDFILE_ERROR;
}

/// Cuts the file at the position: 0 or MSG_ENDFILE_ERROR.
int cut_file(For_Lub& lub) {
  // Inside a record that ADVANCE='NO' has left half read a stream has its position, others are behind the record.
  const bool half_read = lub.lub_f_stream && lub.lub_a_file_info != nullptr && lub.lub_a_file_info->fi_read_open;
  const bool moves = half_read && lub.lub_f_read_ahead && lub.lub_f_seekable;
  const int code = moves ? move_file(lub, lub.lub_file_pos) : give_read_ahead_back(lub, MSG_ENDFILE_ERROR);
  if (code != 0) return MSG_ENDFILE_ERROR;
  lub.lub_f_truncate_on_write = 1;
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  return truncate_if_asked(lub) == 0 ? 0 : MSG_ENDFILE_ERROR;
}

/// What the connected unit holds goes out, and direct access goes to the record that comes next: 0 or a message number.
int settle_output(For_Lub& lub) {
  if (!lub.lub_f_connected) return 0;
  if (const int code = write_held_output(lub, MSG_WRITE_ERROR)) return code;
  if (!lub.lub_f_direct || !lub.lub_f_buffered || lub.lub_cache_end_rec == 0) return 0;
  return move_to_record(lub, static_cast<u64>(std::max<i64>(lub.lub_next_rec, 1)), MSG_ENDFILE_ERROR);
}

/// Of a unit that is connected: 0 or a message number.
int end_file(For_Lub& lub) {
  if (is_terminal(lub)) return MSG_ENDFILE_NO_OP_ON_TERMINAL;
  if (!may_be_ended(lub)) return MSG_ENDFILE_ERROR;
  const bool by_record = lub.lub_f_legacy_defaults && lub.lub_org != ORG_RELATIVE && !lub.lub_f_direct;
  return by_record ? write_end_record(lub) : cut_file(lub);
}

/// Whether the bytes at `position` are the file's end: 0 or MSG_FILE_NOT_FOUND_NAMED.
int look_for_end(For_Lub& lub, bool* at_end) {
  i64 position = 0;
  const off_t here = lseek(lub.lub_fd, 0, SEEK_CUR);
  if (here < 0 || find_position(lub, &position) != 0) return MSG_FILE_NOT_FOUND_NAMED;
  // A record that is read by field has its rest in the file, not in the buffer. A record by its number has its place,
  // wherever the file stands.
  if (lub.lub_f_in_field_read) position = here;
  if (lub.lub_f_direct && lub.lub_next_rec > 0 &&
      __builtin_mul_overflow(lub.lub_next_rec - 1, lub.lub_rec_bytes, &position)) {
    position = INT64_MAX;
  }
  off_t end = lseek(lub.lub_fd, 0, SEEK_END);
  if (end < 0 || lseek(lub.lub_fd, here, SEEK_SET) < 0) return MSG_FILE_NOT_FOUND_NAMED;
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL) --end;
  *at_end = end <= position;
  const End_Bytes& mark = expected_end(lub);
  if (*at_end || !lub.lub_f_legacy_defaults || mark.length == 0 || end - position < mark.length) return 0;
  u8 found[sizeof mark.bytes];
  *at_end =
      pread(lub.lub_fd, found, mark.length, position) == mark.length && memcmp(found, mark.bytes, mark.length) == 0;
  return 0;
}

/// 0 or a message number.
int ask_for_end(For_Lub& lub, bool* at_end) {
  if (is_terminal(lub)) return MSG_EOF_NO_OP_ON_TERMINAL;
  if (!lub.lub_f_connected) return MSG_UNKNOWN_UNIT_NUMBER;
  if (lub.lub_stream_kind == STREAM_CONSOLE_OUT || !lub.lub_f_seekable) return MSG_EOF_ILLEGAL_ON_TERMINAL_DEVICE;
  *at_end = lub.lub_f_at_eof;
  return *at_end ? 0 : look_for_end(lub, at_end);
}

}  // namespace

int for_endfile(For_Context* ctx, int unit, For_IO_Flags flags, ...) {
  TAMRUN_CONTROL_LIST(control, flags, flags);
  const Statement_Start start = begin_positioning(STMT_ENDFILE, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (in_child_statement(lub)) return fail_statement(lub, MSG_UDIO_ENDFILE);
  if (const int code = settle_output(lub)) return fail_statement(lub, code);
  if (const int code = connect_unit(lub, flags, kConnectSequential, kConnectUnformatted))
    return report_failure(FOR_IOR_ABANDON, code, code, &lub);
  if (const int code = end_file(lub)) return fail_statement(lub, code);
  const bool behind_end = !lub.lub_f_legacy_defaults;
  lub.lub_f_after_endfile = behind_end;
  return end_positioning(lub, behind_end);
}

int for_eof(For_Context* ctx, int unit, For_IO_Flags flags, ...) {
  TAMRUN_CONTROL_LIST(control, flags, flags);
  const Statement_Start start = begin_positioning(STMT_EOF, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  bool at_end = false;
  if (const int code = ask_for_end(lub, &at_end)) return fail_statement(lub, code);
  const int yes = lub.lub_f_true_is_one ? 1 : -1;
  if (const int code = end_positioning(lub, lub.lub_f_at_eof, Open_Read::stays)) return code;
  return at_end ? yes : 0;
}
