// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit's file by the character and by the offset.

#include "port/for_portlib.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "core/thread_storage.h"
#include "records/buffer.h"
#include "records/for_get.h"
#include "records/input_window.h"
#include "records/record_frame.h"
#include "statements/positioning.h"
#include "units/connection_options.h"
#include "units/open.h"
#include "units/unit_table.h"

namespace {

constexpr u8 kLf = '\n', kCr = '\r';

void remember_failure(int code, i64 error, i64 unit) {
  For_Thread_Storage* storage;
  if (int failed = thread_storage(&storage)) return for__issue_diagnostic(failed, 0);
  const For_Errsns record = {static_cast<u32>(code), static_cast<u32>(error), 0, static_cast<u32>(unit), 0};
  copy_until_equal(&storage->ts_errsns, &record, sizeof record);
}

/// A unit held for one call. What goes wrong inside is not printed.
class Port_Unit {
 public:
  Port_Unit(i64 unit, For_Statement_Code statement) {
    const bool is_unit = unit >= INT32_MIN && unit <= INT32_MAX;
    code_ = is_unit ? for__acquire_lun(static_cast<int>(unit), &lub_, &context_, statement) : int{MSG_INVALID_UNIT};
    if (code_ != 0) {
      remember_failure(code_, 0, unit);
      lub_ = nullptr;
      return;
    }
    err_ = lub_->lub_f_err;
    lub_->lub_f_err = 1;
    if (in_child_statement(*lub_)) return;
    lub_->lub_a_iomsg = nullptr;
    lub_->lub_iomsg_len = 0;
  }
  ~Port_Unit() {
    if (lub_ != nullptr) (void)release();
  }
  Port_Unit(const Port_Unit&) = delete;
  Port_Unit& operator=(const Port_Unit&) = delete;

  bool taken() const { return lub_ != nullptr; }
  For_Lub& lub() { return *lub_; }

  /// Ends the call: `result`, or -1 when the unit cannot be released.
  i64 finish(i64 result) { return release() == 0 ? result : kPortFailed; }
  /// Ends the call with what `code` and lub_errno tell: `result`.
  i64 fail(int code, i64 result = kPortFailed) {
    remember_failure(code, lub_->lub_errno, lub_->lub_unit);
    lub_->lub_errno = 0;
    (void)release();
    return result;
  }
  /// Ends the call as a failing statement ends.
  i64 fail_as_statement(int code) {
    For_Lub* lub = lub_;
    lub_ = nullptr;
    (void)report_failure(FOR_IOR_RELEASE, code, code, lub);
    return kPortFailed;
  }

  /// Connects units 0, 5 and 6 on their first use: false when the call has ended.
  [[nodiscard]] bool connect(int status) {
    if (lub_->lub_f_connected) return true;
    const For_IO_Flags compat = lub_->lub_f_compat_io ? For_IO_Flags{iof_compat_io} : 0;
    store_connection_options(*lub_, iof_f90_rtl | compat);
    const int unit = lub_->lub_unit;
    const bool console = unit == UNIT_STDERR || unit == UNIT_STDIN || unit == UNIT_STDOUT;
    if (!console) {
      (void)fail(MSG_UNKNOWN_UNIT_NUMBER);
      return false;
    }
    const int code = for__open_default(lub_, kConnectSequential, status, kConnectFormatted);
    if (code == 0) return true;
    const i64 error = lub_->lub_errno;
    for__abandon_connection(lub_);
    lub_->lub_errno = error;
    (void)fail(code);
    return false;
  }

 private:
  int release() {
    lub_->lub_f_err = err_;
    For_Lub& lub = *lub_;
    lub_ = nullptr;
    return release_held_lun(lub);
  }

  For_Context context_{};
  For_Lub* lub_ = nullptr;
  int code_ = 0;
  u32 err_ = 0;
};

bool is_stream_type(const For_Lub& lub) { return lub.lub_rectype == RECTYPE_STREAM; }

/// A record that ADVANCE='NO' has left half read goes on at the cursor.
bool has_open_input(const For_Lub& lub) {
  return lub.lub_a_file_info != nullptr ? lub.lub_a_file_info->fi_read_open : in_child_statement(lub);
}

/// End of the bytes in the buffer that follow the cursor in the file. Standard input has been given back what lies
/// behind a line; the line's end has not.
u8* end_of_open_input(const For_Lub& lub) {
  if (lub.lub_a_read_next != nullptr) return lub.lub_a_read_end;
  return lub.lub_a_rec_end < lub.lub_a_read_end ? lub.lub_a_rec_end + 1 : lub.lub_a_rec_end;
}

/// Bytes by which the file stands ahead of the program.
i64 bytes_ahead(const For_Lub& lub) {
  const bool line = lub.lub_rectype >= RECTYPE_STREAM_LF && lub.lub_rectype <= RECTYPE_STREAM_CRLF;
  if (line && has_open_input(lub)) return end_of_open_input(lub) - lub.lub_a_cursor;
  return read_ahead_bytes(lub);
}

i64 current_position(const For_Lub& lub) {
  const i64 position = lseek(lub.lub_fd, 0, SEEK_CUR);
  if (position < 0) return kPortFailed;
  if (lub.lub_f_read_ahead) return position - bytes_ahead(lub);
  if (lub.lub_f_buffer_held) return position + (lub.lub_a_rec_start - lub.lub_a_buffer);
  return position;
}

/// Moves the file: 0 or a message number. What is held back goes where it belongs first.
int seek(For_Lub& lub, i64 offset, int whence) {
  if (int code = write_held_output(lub, MSG_WRITE_ERROR)) return code;
  if (int code = for__flush_readahead(&lub, 0)) return code;
  if (int code = finish_length_byte_file(lub)) return code;
  if (offset != 0 || whence != SEEK_CUR) {
    const i64 position = lseek(lub.lub_fd, offset, whence);
    if (position < 0) {
      lub.lub_errno = errno;
      return MSG_WRITE_ERROR;
    }
    if (int code = move_file(lub, position)) return code;
  }
  const i64 position = lseek(lub.lub_fd, 0, SEEK_CUR);
  lub.lub_next_rec = lub.lub_f_direct && lub.lub_rec_bytes > 0 ? position / lub.lub_rec_bytes : FOR_K_REC_UNKNOWN;
  lub.lub_f_at_end = lub.lub_f_at_eof = 0;
  if (lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_read_open = 0;
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL && position == 0) lub.lub_f_check_file_mark = 1;
  if (!lub.lub_f_stream && !lub.lub_f_direct) lub.lub_f_truncate_on_write = 1;
  return 0;
}

/// Puts out the line feed that a record under FORTRAN carriage control owes; a failure is remembered.
void end_owed_line(For_Lub& lub) {
  For_File_Info* file = lub.lub_f_formatted ? lub.lub_a_file_info : nullptr;
  if (file == nullptr) return;
  if (file->fi_cc_after_cr) {
    For_Lub* owner = file->fi_cc_owner != nullptr ? file->fi_cc_owner : &lub;
    if (for__write_output(owner, &kLf, 1) < 0) remember_failure(MSG_WRITE_ERROR, errno, lub.lub_unit);
    file->fi_cc_after_cr = 0;
  }
  file->fi_cc_after_prompt = file->fi_cc_unterminated = 0;
}

/// The unit's input, byte by byte. The byte at the cursor is the next one, and what READ would take next.
class Byte_Input {
 public:
  explicit Byte_Input(For_Lub& lub) : lub_(lub) {
    if (lub.lub_f_read_ahead && !is_stream_type(lub)) {
      if (has_open_input(lub)) {
        lub.lub_a_read_end = end_of_open_input(lub);
        lub.lub_a_read_next = lub.lub_a_cursor;
      }
      settle(lub.lub_a_read_next);
    }
    if (lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_read_open = 0;
  }

  /// Makes sure of a byte at the cursor: 0, MSG_END_OF_FILE or MSG_READ_ERROR.
  [[nodiscard]] int need() {
    if (lub_.lub_f_read_ahead && lub_.lub_a_cursor != nullptr && lub_.lub_a_cursor < lub_.lub_a_rec_end) return 0;
    lub_.lub_a_read_next = nullptr;
    errno = 0;
    i64 got = 0;
    const int code = fill_window(lub_, lub_.lub_buffer_size, &got);
    settle(lub_.lub_a_buffer);
    if (code != 0) return code;
    return got > 0 ? 0 : int{MSG_END_OF_FILE};
  }
  u8 peek() const { return *lub_.lub_a_cursor; }
  u8 take() {
    const u8 byte = *lub_.lub_a_cursor;
    settle(lub_.lub_a_cursor + 1);
    return byte;
  }

 private:
  /// The next byte is at `next`, null for none.
  void settle(u8* next) {
    lub_.lub_a_cursor = next;
    lub_.lub_a_rec_end = next != nullptr ? lub_.lub_a_read_end : nullptr;
    lub_.lub_a_read_next = is_stream_type(lub_) ? nullptr : next;
    lub_.lub_read_ahead = next != nullptr ? lub_.lub_a_read_end - next : 0;
  }

  For_Lub& lub_;
};

/// Connections on which CR LF ends a line, whatever their record type.
bool joins_cr_lf(const For_Lub& lub) {
  const bool sequential_text = lub.lub_f_formatted && !lub.lub_f_stream && !lub.lub_f_direct && !lub.lub_f_keyed;
  return !lub.lub_f_seekable || sequential_text;
}

/// 0 with the byte, or a message number.
int next_byte(For_Lub& lub, u8* byte) {
  Byte_Input input(lub);
  if (int code = input.need()) return code;
  *byte = input.take();
  if (*byte == kCr && joins_cr_lf(lub) && input.need() == 0 && input.peek() == kLf) *byte = input.take();
  leave_input_record(lub, true);
  return 0;
}

/// Begins the record that the characters gather in, if none is open: 0 or a message number.
int begin_record(For_Lub& lub) {
  if (int code = for__flush_readahead(&lub, 0)) return code;
  if (!lub.lub_f_formatted) return layout_unformatted_record(lub, SEGMENT_FIRST);
  if (int code = start_formatted_record(lub)) return code;
  lub.lub_a_high_water = lub.lub_a_cursor;
  return 0;
}

void forget_record_number(For_Lub& lub) {
  lub.lub_next_rec = FOR_K_REC_UNKNOWN;
  lub.lub_f_at_end = 0;
}

/// Appends to the record; a full one goes out first, without an end: 0 or a message number.
int gather(For_Lub& lub, u8 byte) {
  if (lub.lub_a_cursor >= lub.lub_a_rec_end) {
    if (lub.lub_f_formatted) {
      if (int code = for__put_sf(&lub)) return code;
    }
    forget_record_number(lub);
    if (int code = begin_record(lub)) return code;
    if (lub.lub_a_cursor >= lub.lub_a_rec_end) return MSG_RECORD_OVERFLOW;
  }
  *lub.lub_a_cursor++ = byte;
  lub.lub_a_high_water = std::max(lub.lub_a_high_water, lub.lub_a_cursor);
  return 0;
}

/// Sends the byte on its way: 0 or a message number.
int put_byte(For_Lub& lub, u8 byte) {
  const bool console = lub.lub_stream_kind == STREAM_CONSOLE_OUT;
  if (console || lub.lub_stream_kind == STREAM_FMT_SEQUENTIAL) {
    if (int code = gather(lub, byte)) return code;
    if (!console) return 0;
    if (int code = for__put_sf(&lub)) return code;
    if (lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_record_open = 0;
    forget_record_number(lub);
    return write_held_output(lub, MSG_WRITE_ERROR);
  }
  forget_record_number(lub);
  if (for__write_output(&lub, &byte, 1) >= 0) return 0;
  lub.lub_errno = errno;
  return MSG_WRITE_ERROR;
}

/// The characters of a call are no records of their own, and on the console there is no control character among them.
class Plain_Bytes {
 public:
  explicit Plain_Bytes(For_Lub& lub) : lub_(lub), rectype_(lub.lub_rectype), cc_(lub.lub_cc) {
    lub.lub_rectype = RECTYPE_STREAM;
    if (lub.lub_stream_kind == STREAM_CONSOLE_OUT && cc_ == CC_FORTRAN) lub.lub_cc = CC_NONE;
  }
  ~Plain_Bytes() {
    lub_.lub_rectype = rectype_;
    lub_.lub_cc = cc_;
  }
  Plain_Bytes(const Plain_Bytes&) = delete;
  Plain_Bytes& operator=(const Plain_Bytes&) = delete;

 private:
  For_Lub& lub_;
  const u8 rectype_, cc_;
};

/// 0 or a message number.
int write_character(For_Lub& lub, u8 byte) {
  For_File_Info* file = lub.lub_f_formatted ? lub.lub_a_file_info : nullptr;
  const bool goes_on = (file != nullptr && file->fi_record_open) || in_child_statement(lub);
  if (lub.lub_f_formatted && lub.lub_rectype == RECTYPE_SEGMENTED) return MSG_RECORD_TYPE;
  const bool console = lub.lub_stream_kind == STREAM_CONSOLE_OUT;
  if (!goes_on && !console) {
    if (int code = begin_record(lub)) return code;
  }
  if (file != nullptr) {
    file->fi_record_open = 1;
    file->saved_lub = &lub;
  }
  const Plain_Bytes plain(lub);
  if (!goes_on && console) {
    if (int code = begin_record(lub)) return code;
  }
  return put_byte(lub, byte);
}

/// 1 when the file holds what the unit held back, else 0.
i32 flush_unit(int unit, bool to_device) {
  Port_Unit held(unit, STMT_FLUSH);
  if (!held.taken()) return 0;
  For_Lub& lub = held.lub();
  if (!lub.lub_f_connected || write_held_output(lub, MSG_WRITE_ERROR) != 0) return 0;
  if (!lub.lub_f_seekable) return 1;
  if (for__flush_readahead(&lub, 0) != 0) return 0;
  return !to_device || fsync(lub.lub_fd) == 0;
}

}  // namespace

i64 __msportlib_d_gethandle(i64 unit, char* name, i64* length) {
  Port_Unit held(unit, STMT_INQUIRE);
  if (!held.taken() || !held.connect(kConnectOutput)) return kPortFailed;
  const For_Lub& lub = held.lub();
  if (lub.lub_a_file_name != nullptr && name != nullptr && length != nullptr) {
    const i64 bytes = static_cast<i64>(strlen(lub.lub_a_file_name));
    if (bytes < *length) {
      memcpy(name, lub.lub_a_file_name, static_cast<size_t>(bytes) + 1);
      *length = bytes;
    }
  }
  return held.finish(lub.lub_fd);
}

i64 __msportlib_d_curpos_i8(i64 unit) {
  Port_Unit held(unit, STMT_PORT_POSITION);
  if (!held.taken()) return kPortFailed;
  return held.finish(held.lub().lub_f_connected ? current_position(held.lub()) : kPortFailed);
}

i64 __msportlib_d_curpos(i64 unit) {
  const i64 position = __msportlib_d_curpos_i8(unit);
  return position <= INT32_MAX ? position : kPortFailed;
}

i64 __msportlib_d_fseek_i8(i64 unit, i64 offset, i64 whence) {
  constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  if (whence < 0 || whence > 2) return kPortFailed;
  Port_Unit held(unit, STMT_PORT_SEEK);
  if (!held.taken()) return kPortFailed;
  if (!held.lub().lub_f_connected) return held.finish(kPortFailed);
  if (int code = seek(held.lub(), offset, kWhence[whence])) return held.fail(code);
  return held.finish(0);
}

i64 __msportlib_d_fseek(i64 unit, i64 offset, i64 whence) { return __msportlib_d_fseek_i8(unit, offset, whence); }

i64 __msportlib_d_readchar(i64 unit) {
  Port_Unit held(unit, STMT_PORT_READ);
  if (!held.taken() || !held.connect(kConnectInput)) return kPortFailed;
  For_Lub& lub = held.lub();
  forget_record_number(lub);
  int code = write_held_output(lub, MSG_WRITE_ERROR);
  if (code == 0) code = finish_length_byte_file(lub);
  if (code != 0) return held.fail(code);
  end_owed_line(lub);
  u8 byte = 0;
  code = next_byte(lub, &byte);
  if (code == 0) return held.finish(byte);
  lub.lub_f_read_ahead = 0;
  return held.fail(code, code == MSG_END_OF_FILE ? kPortAtEnd : kPortFailed);
}

i64 __msportlib_d_writechar(i64 unit, i32 character) {
  Port_Unit held(unit, STMT_WRITE_SEQ);
  if (!held.taken() || !held.connect(kConnectOutput)) return kPortFailed;
  int code = give_read_ahead_back(held.lub(), MSG_WRITE_ERROR);
  if (code == 0) code = write_character(held.lub(), static_cast<u8>(character));
  return code == 0 ? held.finish(0) : held.fail_as_statement(code);
}

i32 __msportlib_set_posix_io_flag(void) { return 1; }

i32 commitqq_(const i32* unit) { return flush_unit(*unit, true); }
i32 flushqq_(const i32* unit) { return flush_unit(*unit, false); }
