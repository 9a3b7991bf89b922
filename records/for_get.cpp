// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Sequential and stream records from the file into the buffer.
//
// One count rules: what lies between lub_a_read_next and lub_a_read_end has come from the file and no record has taken
// it. Each path brings bytes until its record is complete and only then moves lub_a_read_next, so that a failure on the
// way leaves all bytes for the next call, and for__flush_readahead finds the file position at any time.

#include "records/for_get.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/for_get_unf.h"
#include "records/input_window.h"
#include "records/record_frame.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

namespace {

constexpr u8 kLf = '\n', kCr = '\r';
constexpr u8 kCtrlZ = 26;  ///< alone in its record it ends the file

/// True when this image of a coarray program may not read the unit: standard input belongs to the first.
bool input_belongs_to_other_image(const For_Lub& lub) {
  return lub.lub_unit_copy == UNIT_READ && for_rtl_PGAS_THIS_IMAGE != nullptr && for_rtl_PGAS_THIS_IMAGE() > 1;
}

/// Enlarges the buffer for a record that outgrows it: 0 or MSG_NO_BUFFER_MEMORY.
int grow(For_Lub& lub, i64 bytes) {
  if (resize_buffer(lub, bytes) != 0) return MSG_NO_BUFFER_MEMORY;
  lub.lub_rec_bytes = bytes;
  return 0;
}

/// How much of the descriptor may be taken at a time.
enum class Line_Source : u8 {
  ahead,      ///< a buffer's worth
  give_back,  ///< standard input on a file: what follows the record is given back, for whoever reads it next
  bytewise,   ///< standard input that cannot give back: one byte at a time
};

Line_Source line_source(const For_Lub& lub) {
  if (lub.lub_fd != STDIN_FILENO) return Line_Source::ahead;
  return lub.lub_f_seekable ? Line_Source::give_back : Line_Source::bytewise;
}

i64 line_read_size(const For_Lub& lub, Line_Source source) {
  const i64 space = lub.lub_buffer_size - unread_bytes(lub);
  switch (source) {
    case Line_Source::ahead:
      return space;
    case Line_Source::give_back:
      return std::clamp<i64>(lub.lub_rec_bytes, 1, space);
    default:
      return 1;
  }
}

/// Gives what follows the record back to the file: 0 or MSG_READ_ERROR.
int give_back_rest(For_Lub& lub) {
  const i64 rest = unread_bytes(lub);
  if (rest > 0 && lseek(lub.lub_fd, -rest, SEEK_CUR) < 0) {
    lub.lub_errno = errno;
    return MSG_READ_ERROR;
  }
  lub.lub_rec_buffered -= rest;
  lub.lub_a_read_next = nullptr;
  lub.lub_read_ahead = 0;
  return 0;
}

/// STREAM_LF, STREAM_CR, STREAM_CRLF. A last line needs no terminator.
int get_line(For_Lub& lub) {
  const u8 terminator = lub.lub_rectype == RECTYPE_STREAM_CR ? kCr : kLf;
  const Line_Source source = line_source(lub);
  i64 searched = 0;
  for (bool full = false;;) {
    const i64 unread = unread_bytes(lub);
    void* found = unread > searched ? memchr(lub.lub_a_read_next + searched, terminator, unread - searched) : nullptr;
    if (found != nullptr) {
      u8* end = static_cast<u8*>(found);
      take_record(lub, lub.lub_a_read_next, end, end + 1);
      break;
    }
    if (unread == lub.lub_buffer_size) {
      if (int code = grow(lub, 2 * lub.lub_buffer_size)) return code;
    }
    if (full && 2 * lub.lub_rec_bytes <= lub.lub_buffer_size) lub.lub_rec_bytes *= 2;
    const i64 wanted = line_read_size(lub, source);
    i64 got = 0;
    if (int code = fill_window(lub, wanted, &got)) return code;
    if (got == 0) {
      if (unread == 0) return MSG_END_OF_FILE;
      take_record(lub, lub.lub_a_read_next, lub.lub_a_read_end, lub.lub_a_read_end);
      break;
    }
    full = source == Line_Source::give_back && got == wanted;
    searched = unread;
  }
  return source == Line_Source::give_back ? give_back_rest(lub) : 0;
}

/// STREAM: whatever the file has, into the buffer or straight to the statement's variable.
int get_stream(For_Lub& lub) {
  if (lub.lub_f_read_ahead && lub.lub_a_cursor < lub.lub_a_rec_end) return 0;
  u8* const target = static_cast<u8*>(lub.lub_a_user_target);
  lub.lub_a_user_target = nullptr;
  lub.lub_a_read_next = nullptr;
  i64 got = 0;
  int code = 0;
  if (target == nullptr) {
    code = fill_window(lub, lub.lub_buffer_size, &got);
  } else {
    lub.lub_disk_pos += lub.lub_rec_buffered;
    if (!for__read_input(lub.lub_fd, target, lub.lub_user_target_len, &got, &lub)) {
      lub.lub_errno = errno;
      code = MSG_READ_ERROR;
    }
    lub.lub_rec_buffered = lub.lub_span_bytes = got;
    lub.lub_span_left = 0;
    lub.lub_a_cursor = lub.lub_a_read_end = lub.lub_a_buffer;
    lub.lub_read_ahead = 0;
    lub.lub_f_read_ahead = 1;
  }
  lub.lub_a_rec_end = lub.lub_a_read_end;
  lub.lub_a_read_next = nullptr;
  if (code != 0) return code;
  return got == 0 ? MSG_END_OF_FILE : 0;
}

/// What the control bytes of a counted record tell.
struct Counted {
  i64 lead;   ///< bytes in front of the data
  i64 data;   ///< bytes of data
  i64 trail;  ///< bytes behind the data
  i64 whole() const { return lead + data + trail; }
};

/// Data bytes of the VARIABLE record at lub_a_read_next. A formatted record is one subrecord, whatever the sign says.
i64 leading_length(For_Lub& lub) {
  const i64 length = length_word(lub, lub.lub_a_read_next);
  lub.lub_f_rec_continued = length < 0;
  return length < 0 ? -length : length;
}

/// The count in front of a segment, little-endian whatever CONVERT says: 0, or the failure of bring.
int decode_segment(For_Lub& lub, Counted& record, bool* end_mark) {
  const u8* word = lub.lub_a_read_next;
  record.data = word[0] | word[1] << 8;
  record.trail = record.data % 2;
  if (record.data != 1) return 0;
  if (int code = bring_bytes(lub, kSegmentCount + 1)) return code;
  *end_mark = unread_bytes(lub) > kSegmentCount && lub.lub_a_read_next[kSegmentCount] == kCtrlZ;
  return 0;
}

int end_of_file_mark(For_Lub& lub) {
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return MSG_END_OF_FILE;
}

/// FIXED, formatted VARIABLE, SEGMENTED: one record or segment.
int get_counted(For_Lub& lub) {
  Counted record = {0, lub.lub_rec_bytes, 0};
  if (is_variable(lub)) record.lead = kLengthWord;
  if (lub.lub_rectype == RECTYPE_SEGMENTED) record.lead = kSegmentCount;
  if (int code = bring_bytes(lub, record.lead)) return code;
  if (unread_bytes(lub) < record.lead) return MSG_END_OF_FILE;
  if (is_variable(lub)) {
    record.data = leading_length(lub);
    record.trail = kLengthWord;
  }
  if (lub.lub_rectype == RECTYPE_SEGMENTED) {
    bool end_mark = false;
    if (int code = decode_segment(lub, record, &end_mark)) return code;
    if (end_mark) return end_of_file_mark(lub);
  }
  if (record.lead == 0 && takes_fixed_record(lub)) return read_fixed_record(lub);
  if (record.lead == 0 && record.whole() > lub.lub_buffer_size) return MSG_RECORD_TOO_LONG;
  if (int code = bring_bytes(lub, record.whole())) return code;
  if (unread_bytes(lub) < record.whole()) {
    if (unread_bytes(lub) == 0) return MSG_END_OF_FILE;
    lub.lub_errno = 0;  // the file is cut short; no call has failed
    return MSG_READ_ERROR;
  }
  u8* const data = lub.lub_a_read_next + record.lead;
  take_record(lub, data, data + record.data, lub.lub_a_read_next + record.whole());
  return 0;
}

/// What is left to do before a record: the end of a length-byte file in the making, records held in the buffer, a line
/// feed that carriage control owes. 0, MSG_WRITE_ERROR or the failure of for__finish_ufseq_write.
int finish_output_before_input(For_Lub& lub) {
  lub.lub_f_in_field_read = 0;
  const bool end_marked = lub.lub_f_ufseq_write_open;
  if (end_marked) {
    if (int code = for__finish_ufseq_write(&lub)) return code;
    lub.lub_f_ufseq_write_open = 0;
  }
  if (lub.lub_f_buffer_held) {
    if (int code = for__flush_file_buffer(&lub)) return code;
  }
  // In front of the mark, where a READ that meets it leaves the unit: the next WRITE goes over it.
  if (end_marked && lub.lub_f_seekable) {
    if (int code = for__flush_readahead(&lub, -1)) return code;
  }
  For_File_Info* fi = lub.lub_a_file_info;
  if (fi == nullptr) return 0;
  if (lub.lub_f_formatted && fi->fi_cc_after_cr) {
    u8* const rec_end = lub.lub_a_rec_end;  // on a STREAM unit the limit of what is still to be read
    if (for__write_output(&lub, &kLf, 1) < 0) {
      lub.lub_errno = errno;
      return MSG_WRITE_ERROR;
    }
    lub.lub_a_rec_end = rec_end;
    fi->fi_cc_after_cr = 0;
  }
  fi->fi_cc_after_prompt = 0;
  fi->fi_cc_unterminated = 0;
  return 0;
}

[[gnu::noinline]] int get_by_type(For_Lub& lub) {
  switch (lub.lub_rectype) {
    case RECTYPE_NONE:
      return MSG_END_OF_FILE;
    case RECTYPE_FIXED:
    case RECTYPE_VARIABLE_KEYWORD:
    case RECTYPE_VARIABLE:
    case RECTYPE_SEGMENTED:
      return get_counted(lub);
    case RECTYPE_STREAM:
      return get_stream(lub);
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
    case RECTYPE_STREAM_CRLF:
      return get_line(lub);
    default:
      TAMRUN_INTERNAL_ERROR("for_get.cpp");
      return MSG_INTERNAL_CONSISTENCY;
  }
}

/// Drops the line end's CR and that of a CR LF direct record, and knows the record that ends the file.
int trim_record(For_Lub& lub) {
  u8*& end = lub.lub_a_rec_end;
  if (lub.lub_rectype == RECTYPE_STREAM_LF || lub.lub_rectype == RECTYPE_STREAM_CRLF) {
    const bool all = lub.lub_f_compat_io && lub.lub_f_ldio_read;
    while (end > lub.lub_a_cursor && end[-1] == kCr) {
      --end;
      if (!all) break;
    }
  }
  if (is_crlf_direct(lub)) end = std::max(end - kCrLf, lub.lub_a_cursor);
  // Of an unformatted record the buffer may hold the first byte alone.
  const bool may_end = lub.lub_f_formatted || (is_variable(lub) && !lub.lub_f_rec_continued && lub.lub_rec_left == 0);
  const bool lone = end - lub.lub_a_cursor == 1 && *lub.lub_a_cursor == kCtrlZ;
  return may_end && lone ? end_of_file_mark(lub) : 0;
}

/// How for__read_input and fill_window go on behind a read that has brought less than it asked for.
enum class Short_Read : u8 { goes_on, ends };

/// 1, or 0 with errno when a read has failed.
int read_bytes(const For_Lub& lub, int fd, u8* data, i64 length, Short_Read short_read, i64* got) {
  *got = 0;
  if (input_belongs_to_other_image(lub)) return 1;
  while (*got < length) {
    const i64 asked = std::min(length - *got, transfer_chunk(lub));
    const ssize_t count = read(fd, data + *got, asked);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return 0;
    *got += count;
    if (count == 0 || !lub.lub_f_seekable) break;  // a pipe or terminal gives what it has
    if (count < asked && short_read == Short_Read::ends) break;
  }
  return 1;
}

}  // namespace

int fill_window(For_Lub& lub, i64 wanted, i64* got) {
  const i64 kept = unread_bytes(lub);
  if (kept > 0 && lub.lub_a_read_next != lub.lub_a_buffer) memmove(lub.lub_a_buffer, lub.lub_a_read_next, kept);
  lub.lub_disk_pos += lub.lub_rec_buffered;
  // Whoever needs more asks again: most short reads end with the file, and the one behind them would bring nothing.
  const int ok = read_bytes(lub, lub.lub_fd, lub.lub_a_buffer + kept, wanted, Short_Read::ends, got);
  if (!ok) lub.lub_errno = errno;
  lub.lub_rec_buffered = *got;
  lub.lub_span_left = kept;
  lub.lub_span_bytes = kept + *got;
  lub.lub_a_cursor = lub.lub_a_rec_end = lub.lub_a_read_next = lub.lub_a_buffer;
  lub.lub_a_read_end = lub.lub_a_buffer + kept + *got;
  lub.lub_read_ahead = kept + *got;
  lub.lub_f_read_ahead = 1;
  return ok || *got > 0 ? 0 : MSG_READ_ERROR;
}

int bring_more_bytes(For_Lub& lub, i64 needed) {
  constexpr i64 kSlack = 4;  // the length word of the record behind
  while (unread_bytes(lub) < needed) {
    if (unread_bytes(lub) == lub.lub_buffer_size) {
      if (int code = grow(lub, std::min(2 * lub.lub_buffer_size, needed + kSlack))) return code;
    }
    i64 got = 0;
    if (int code = fill_window(lub, lub.lub_buffer_size - unread_bytes(lub), &got)) return code;
    if (got == 0) break;
  }
  return 0;
}

int for__read_input(int fd, u8* data, i64 length, i64* got, For_Lub* lub) {
  return read_bytes(*lub, fd, data, length, Short_Read::goes_on, got);
}

int extend_stream_input(For_Lub& lub, bool* more) {
  *more = false;
  const i64 kept = lub.lub_a_rec_end - lub.lub_a_cursor;
  if (kept >= lub.lub_buffer_size) return MSG_RECORD_TOO_LONG;
  lub.lub_a_read_next = lub.lub_a_cursor;
  lub.lub_a_read_end = lub.lub_a_rec_end;
  i64 got = 0;
  const int code = fill_window(lub, lub.lub_buffer_size - kept, &got);
  lub.lub_a_rec_end = lub.lub_a_read_end;
  lub.lub_a_read_next = nullptr;
  *more = got > 0;
  return code;
}

int for__get_s(For_Lub* lub, const u8*, void**) {
  if (input_belongs_to_other_image(*lub)) return MSG_ONLY_IMAGE_1_MAY_READ;
  if (int code = finish_output_before_input(*lub)) return code;
  const bool subrecords = is_variable(*lub) && !lub->lub_f_formatted;
  if (int code = subrecords ? begin_subrecord(*lub) : get_by_type(*lub)) return code;
  return trim_record(*lub);
}
