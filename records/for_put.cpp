// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted records out of the buffer: record control bytes, carriage control, and the way to the file.

#include "records/for_put.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/held_output.h"
#include "records/record_frame.h"

namespace {

constexpr u8 kLf = '\n', kCr = '\r';
constexpr i64 kGrowthStep = 512;  ///< what a record asks for when its control bytes do not fit

/// Bytes of one record on their way out.
struct Span {
  u8* start;
  u8* end;
  i64 length() const { return end - start; }
};

/// The line-end state that all units on the file share.
For_File_Info& line_state(For_Lub& lub, For_File_Info& none) {
  return lub.lub_a_file_info != nullptr ? *lub.lub_a_file_info : none;
}

bool record_left_open(const For_Lub& lub, const For_File_Info& fi) {
  return fi.fi_record_open && !in_child_statement(lub);
}

/// True when the record gets its line end: not under FORTRAN carriage control, which has line ends of its own.
bool takes_terminator(const For_Lub& lub, const For_File_Info& fi) {
  const bool console = lub.lub_stream_kind == STREAM_CONSOLE_OUT;
  return lub.lub_cc != CC_FORTRAN && !lub.lub_f_no_terminator && !(console && record_left_open(lub, fi));
}

/// Control bytes that follow the data.
i64 trailer_bytes(const For_Lub& lub, bool terminator) {
  if (is_variable(lub)) return kLengthWord;
  if (lub.lub_cc == CC_FORTRAN) return 1;
  if (!terminator) return 0;
  switch (lub.lub_rectype) {
    case RECTYPE_NONE:
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
      return 1;
    case RECTYPE_STREAM_CRLF:
      return 2;
    default:
      return 0;
  }
}

/// FIXED: blanks up to the record's length. The line end stands in its last bytes; a LIST record that is full has none.
void finish_fixed(const For_Lub& lub, bool terminator, Span& record) {
  u8* full = record.start + lub.lub_rec_bytes;
  // A record that is the whole buffer leaves a byte for the CR that ends it.
  if (lub.lub_cc == CC_FORTRAN) full = std::min(full, lub.lub_a_buffer + lub.lub_buffer_size - 1);
  const bool shorter = record.end < full;
  if (shorter) {
    memset(record.end, ' ', full - record.end);
    record.end = full;
  }
  if (!terminator) return;
  if (is_crlf_direct(lub)) {
    full[-2] = kCr;
    full[-1] = kLf;
  } else if (lub.lub_cc == CC_LIST && shorter) {
    full[-1] = kLf;
  }
}

/// Adds the control bytes of the record type: 0, or MSG_INTERNAL_CONSISTENCY.
int finish_by_type(const For_Lub& lub, bool terminator, Span& record) {
  switch (lub.lub_rectype) {
    case RECTYPE_NONE:
      if (terminator && lub.lub_cc == CC_LIST) *record.end++ = kLf;
      return 0;
    case RECTYPE_FIXED:
      finish_fixed(lub, terminator, record);
      return 0;
    case RECTYPE_VARIABLE_KEYWORD:
    case RECTYPE_VARIABLE: {
      // The words make the record; the control character of FORTRAN carriage control stays part of its data.
      if (lub.lub_cc == CC_FORTRAN) record.start += kFortranWork;
      const u32 length = static_cast<u32>(std::max<i64>(record.length() - kLengthWord, 0));
      store_length_word(lub, record.start, length);
      record.end = record.start + kLengthWord + length;
      store_length_word(lub, record.end, length);
      record.end += kLengthWord;
      return 0;
    }
    case RECTYPE_STREAM:
      return 0;
    case RECTYPE_STREAM_LF:
      if (terminator) *record.end++ = kLf;
      return 0;
    case RECTYPE_STREAM_CR:
      if (terminator) *record.end++ = kCr;
      return 0;
    case RECTYPE_STREAM_CRLF:
      if (terminator) {
        *record.end++ = kCr;
        *record.end++ = kLf;
      }
      return 0;
    default:
      TAMRUN_INTERNAL_ERROR("for_put.cpp");
      return MSG_INTERNAL_CONSISTENCY;
  }
}

/// What a FORTRAN control character puts in front of the text when the line before may still owe its line feed.
std::string_view line_advance(u8 control, bool owed, bool compat) {
  using namespace std::string_view_literals;
  switch (control) {
    case '\0':
    case '+':
      return ""sv;
    case '0':
      if (owed) return compat ? "\n\r\n"sv : "\n\n"sv;
      return compat ? "\r\n"sv : "\n"sv;
    case '1':
      if (!compat) return "\f"sv;
      return owed ? "\n\f\r \r"sv : "\f\r \r"sv;
    default:  // '$' among them
      return owed ? "\n"sv : ""sv;
  }
}

/// Replaces the control character by what it stands for and closes the line with CR. The working bytes in front of the
/// control character take the expansion.
void expand_fortran_control(For_Lub& lub, For_File_Info& fi, Span& record) {
  u8* const control_at = record.start + kFortranWork;
  const bool has_control = record.end > control_at;
  const u8 control = has_control ? *control_at : ' ';
  u8* const text = has_control ? control_at + 1 : record.end = control_at + 1;

  const bool owed = fi.fi_cc_after_cr || fi.fi_cc_after_prompt;
  const bool unterminated = fi.fi_cc_unterminated;
  const bool console = lub.lub_f_f90_rtl && lub.lub_stream_kind == STREAM_CONSOLE_OUT;
  const bool left_open = console && fi.fi_record_open;
  const bool keeps_line = control == '\0' || control == '$';
  const bool compat = lub.lub_f_compat_io;

  std::string_view advance;
  bool keep_control = false;
  if (left_open) {
    keep_control = compat && unterminated && !keeps_line;
    if (keeps_line || (owed && !keep_control)) advance = line_advance(control, owed, compat);
  } else if (console && unterminated) {
    keep_control = compat && !keeps_line;
  } else {
    advance = line_advance(control, owed, compat);
  }

  record.start = text;
  if (keep_control) *--record.start = control;
  record.start -= advance.size();
  if (!advance.empty()) memcpy(record.start, advance.data(), advance.size());
  if (!left_open && !keeps_line) *record.end++ = kCr;

  fi.fi_cc_after_cr = !left_open && !keeps_line;
  fi.fi_cc_after_prompt = !left_open && keeps_line;
  fi.fi_cc_unterminated = left_open;
  if (!left_open) fi.fi_cc_owner = &lub;
}

/// Writes the line feed that a FORTRAN carriage-control record owes before a LIST record: 0 or MSG_WRITE_ERROR.
int write_owed_line_feed(For_Lub& lub, For_File_Info& fi) {
  const bool owed = fi.fi_cc_after_cr || fi.fi_cc_after_prompt;
  if (owed && !(fi.fi_cc_unterminated && lub.lub_stream_kind == STREAM_CONSOLE_OUT)) {
    if (for__write_output(&lub, &kLf, 1) < 0) {
      lub.lub_errno = errno;
      return MSG_WRITE_ERROR;
    }
  }
  fi.fi_cc_after_cr = 0;
  return 0;
}

/// Room for the control bytes behind the record: 0 or MSG_RECORD_OVERFLOW.
int make_trailer_room(For_Lub& lub, i64 trailer) {
  u8* end = lub.lub_a_high_water != nullptr ? lub.lub_a_high_water : lub.lub_a_cursor;
  if (end + trailer <= lub.lub_a_buffer + lub.lub_buffer_size) return 0;
  const i64 needed = end + trailer - std::min(end, lub.lub_a_rec_end);
  return for__adjust_buffer(&lub, needed, kGrowthStep) == 0 ? 0 : MSG_RECORD_OVERFLOW;
}

/// Writes what is held in front of the current record: 0, or -1 with errno set.
int write_held(For_Lub& lub) {
  const i64 length = lub.lub_a_rec_start - lub.lub_a_buffer;
  i64 written = 0;
  const int result = write_counted(lub.lub_fd, lub.lub_a_buffer, length, transfer_chunk(lub), &written);
  lub.lub_disk_pos += written;
  forget_held_output(lub);
  return result < 0 ? -1 : 0;
}

/// True when an open record can go out in parts. Others have their length to tell, or a control character to act on,
/// when they end.
bool goes_out_in_parts(const For_Lub& lub) {
  return lub.lub_cc != CC_FORTRAN && lub.lub_rectype != RECTYPE_FIXED && !is_variable(lub);
}

/// Writes what is held in front of the open record, which moves to the buffer's start.
int flush_before_open_record(For_Lub& lub) {
  u8* const base = record_base(lub);
  const i64 shift = base - lub.lub_a_buffer;
  if (shift == 0) return 1;
  const i64 length = std::min(lub.lub_rec_bytes, lub.lub_a_buffer + lub.lub_buffer_size - base);
  u8* const rec_end = lub.lub_a_rec_end;
  const int result = write_held(lub);
  memmove(lub.lub_a_buffer, base, length);
  lub.lub_a_rec_end = rec_end - shift;
  for (u8** pointer : {&lub.lub_a_cursor, &lub.lub_a_high_water, &lub.lub_a_data_start, &lub.lub_a_item_start}) {
    if (*pointer != nullptr && *pointer >= base) *pointer -= shift;
  }
  return result;
}

/// Puts what is held, and the open record as far as it goes, out to the file.
int flush_output(For_Lub& lub) {
  const bool held = lub.lub_f_buffer_held && lub.lub_a_rec_start != nullptr;
  For_File_Info none{};
  const For_File_Info& fi = line_state(lub, none);
  const bool open = fi.fi_record_open && fi.saved_lub == &lub && !lub.lub_f_read_ahead;
  if (open && !goes_out_in_parts(lub)) return flush_before_open_record(lub);
  u8* end = held ? lub.lub_a_rec_start : lub.lub_a_buffer;
  i64 uncounted = 0;
  if (open && lub.lub_a_high_water > end) {
    uncounted = lub.lub_a_high_water - end;
    end = lub.lub_a_high_water;
  }
  if (!held && !open) return 1;

  i64 written = 0;
  const int result = write_counted(lub.lub_fd, lub.lub_a_buffer, end - lub.lub_a_buffer, transfer_chunk(lub), &written);
  forget_held_output(lub);
  lub.lub_a_cursor = lub.lub_a_buffer;
  lub.lub_disk_pos += written;
  lub.lub_file_pos = lub.lub_f_user_buffered ? lub.lub_disk_pos : lub.lub_file_pos + uncounted;
  if (open) {
    lub.lub_a_high_water = lub.lub_a_buffer;
    memset(lub.lub_a_buffer, ' ', std::min(lub.lub_rec_bytes, lub.lub_buffer_size));
  }
  return result < 0 ? -1 : 0;
}

/// True when these bytes are the record in the buffer and may wait there.
bool may_hold(const For_Lub& lub, const u8* data, i64 length) {
  if (data != lub.lub_a_buffer && data != lub.lub_a_rec_start) return false;
  return has_room_to_hold(lub, std::max<const u8*>(lub.lub_a_cursor, data + length));
}

/// True when the record has to cut the file: the first one of those held has cut it where all of them go.
bool cuts_file(const For_Lub& lub) { return lub.lub_f_truncate_on_write && !lub.lub_f_buffer_held; }

/// A line that waits in the buffer of an ordinary file and owes nothing to lines before it: false, with nothing done, for
/// all other records.
bool put_held_line(For_Lub& lub) {
  const For_File_Info* fi = lub.lub_a_file_info;
  if (!is_plain_line(lub) || fi == nullptr || fi->fi_cc_after_cr || fi->fi_cc_after_prompt) return false;
  if (lub.lub_stream_kind == STREAM_CONSOLE_OUT || lub.lub_f_no_terminator || cuts_file(lub)) return false;
  u8* const base = record_base(lub);
  u8* end = lub.lub_a_high_water != nullptr ? lub.lub_a_high_water : lub.lub_a_cursor;
  if (!has_room_to_hold(lub, std::max(lub.lub_a_cursor, end + 1))) return false;
  *end++ = kLf;
  lub.lub_f_after_endfile = lub.lub_f_truncate_on_write = 0;
  lub.lub_rec_buffered = lub.lub_partial_bytes = 0;
  hold_output(lub, end, end - base);
  return true;
}

}  // namespace

int for__put_sf(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  if (put_held_line(lub)) return 0;
  For_File_Info none{};
  For_File_Info& fi = line_state(lub, none);
  const bool terminator = takes_terminator(lub, fi);
  if (int code = make_trailer_room(lub, trailer_bytes(lub, terminator))) return code;

  Span record = {record_base(lub), lub.lub_a_high_water != nullptr ? lub.lub_a_high_water : lub.lub_a_cursor};
  if (int code = finish_by_type(lub, terminator, record)) return code;
  lub.lub_f_no_terminator = 0;
  if (lub.lub_cc == CC_FORTRAN) {
    if (!is_variable(lub)) expand_fortran_control(lub, fi, record);
  } else {
    if (lub.lub_cc == CC_LIST) {
      if (int code = write_owed_line_feed(lub, fi)) return code;
    }
    if (lub.lub_stream_kind == STREAM_CONSOLE_OUT) fi.fi_cc_unterminated = record_left_open(lub, fi);
  }

  if (!cuts_file(lub)) lub.lub_f_truncate_on_write = 0;
  const int result = record.length() > 0 ? for__write_output(&lub, record.start, record.length()) : 0;
  lub.lub_f_after_endfile = 0;
  if (result < 0) {
    lub.lub_errno = errno;
    return MSG_WRITE_ERROR;
  }
  return truncate_if_asked(lub);
}

int for__write_output(For_Lub* lub_pointer, const u8* data, i64 length) {
  For_Lub& lub = *lub_pointer;
  if (length == 0) return flush_output(lub);
  lub.lub_rec_buffered = 0;
  lub.lub_partial_bytes = 0;

  const bool behind_held = lub.lub_a_rec_start != nullptr && data == lub.lub_a_rec_start;
  if (lub.lub_a_rec_start != nullptr && !behind_held && data != lub.lub_a_buffer) {
    if (write_held(lub) != 0) return -1;
  }
  if (may_hold(lub, data, length)) {
    hold_output(lub, const_cast<u8*>(data) + length, length);
    return 1;
  }

  const i64 held = behind_held ? data - lub.lub_a_buffer : 0;
  if (lub.lub_f_formatted && lub.lub_f_stream) lub.lub_f_truncate_on_write = 1;
  i64 written = 0;
  const int result = write_counted(lub.lub_fd, data - held, held + length, transfer_chunk(lub), &written);
  forget_held_output(lub);  // after a failure too: to write the bytes again would repeat some of them
  lub.lub_disk_pos += written;
  lub.lub_file_pos = lub.lub_f_user_buffered ? lub.lub_disk_pos : lub.lub_file_pos + length;
  return result < 0 ? -1 : 0;
}

void turn_into_prompt(For_Lub& lub) {
  if (!lub.lub_f_no_terminator || lub.lub_cc != CC_FORTRAN) return;
  u8& control = *formatted_record_data(lub);
  if (control == ' ') {
    control = '$';
  } else if (control == '+') {
    control = '\0';
  }
  lub.lub_f_no_terminator = 0;
}

int finish_formatted_record(For_Lub& lub, Record_End end) {
  const bool bare = end == Record_End::folded && lub.lub_f_stream;
  const u8 cc = lub.lub_cc, rectype = lub.lub_rectype;
  if (bare) {
    lub.lub_cc = CC_NONE;
    lub.lub_rectype = RECTYPE_STREAM;
  }
  const int code = for__put_sf(&lub);
  if (bare) {
    lub.lub_cc = cc;
    lub.lub_rectype = rectype;
  }
  if (code != 0) return code;
  if (lub.lub_f_read_ahead) {
    if (int failed = for__flush_readahead(&lub, 0)) return failed;
  }
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return layout_formatted_record(lub);
}
