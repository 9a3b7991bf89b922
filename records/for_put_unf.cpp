// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted sequential records on their way to the file.

#include "records/for_put_unf.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/held_output.h"

namespace {

constexpr u8 kLf = '\n', kCr = '\r';
constexpr i64 kGrowthStep = 512;  ///< what a record asks for when its control bytes do not fit

u8* buffer_end(const For_Lub& lub) { return lub.lub_a_buffer + lub.lub_buffer_size; }

/// Bytes that follow the data, at most.
i64 trailer_bytes(const For_Lub& lub) {
  switch (lub.lub_rectype) {
    case RECTYPE_VARIABLE_KEYWORD:
    case RECTYPE_VARIABLE:
      return kLengthWord;
    case RECTYPE_SEGMENTED:
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
      return 1;
    case RECTYPE_STREAM_CRLF:
      return kCrLf;
    default:
      return 0;
  }
}

/// Adds the control bytes of the record type to the bytes from `base` to the cursor: 0, MSG_RECORD_OVERFLOW or
/// MSG_INTERNAL_CONSISTENCY.
int close_frame(For_Lub& lub, u8* base) {
  u8*& end = lub.lub_a_cursor;
  switch (lub.lub_rectype) {
    case RECTYPE_NONE:
    case RECTYPE_STREAM:
      return 0;
    case RECTYPE_FIXED: {
      u8* const full = std::min(base + lub.lub_rec_bytes, buffer_end(lub));
      if (end < full) memset(end, 0, full - end);
      end = full;
      return 0;
    }
    case RECTYPE_VARIABLE_KEYWORD:
    case RECTYPE_VARIABLE: {
      const i64 length = end - base - kLengthWord;
      if (length > subrecord_limit) return MSG_RECORD_OVERFLOW;
      store_length_word(lub, base, length);
      store_length_word(lub, end, length);
      end += kLengthWord;
      return 0;
    }
    case RECTYPE_SEGMENTED: {
      const i64 count = end - base - kSegmentCount;
      base[0] = static_cast<u8>(count);
      base[1] = static_cast<u8>(count >> 8);
      if (count % 2 != 0) *end++ = 0;
      return 0;
    }
    case RECTYPE_STREAM_LF:
      *end++ = kLf;
      return 0;
    case RECTYPE_STREAM_CR:
      *end++ = kCr;
      return 0;
    case RECTYPE_STREAM_CRLF:
      *end++ = kCr;
      *end++ = kLf;
      return 0;
    default:
      TAMRUN_INTERNAL_ERROR("for_put.cpp");
      return MSG_INTERNAL_CONSISTENCY;
  }
}

/// Writes the leading word of the subrecord where it belongs: 0 or MSG_WRITE_ERROR. The file's position stays.
int patch_leading_word(For_Lub& lub, i64 word) {
  u8 bytes[kLengthWord];
  store_length_word(lub, bytes, word);
  for (int done = 0; done < kLengthWord;) {
    const ssize_t count = pwrite(lub.lub_fd, bytes + done, kLengthWord - done, lub.lub_rec_header_pos + done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      lub.lub_errno = count < 0 ? errno : EIO;
      return MSG_WRITE_ERROR;
    }
    done += static_cast<int>(count);
  }
  return 0;
}

i64 trailing_word(const For_Lub& lub, i64 length) { return lub.lub_subrecord_index == 0 ? length : -length; }

/// Puts the words of the subrecord right that has gone to the file, of which `trailer` bytes are still to be written:
/// 0 or MSG_WRITE_ERROR.
int end_subrecord(For_Lub& lub, const u8* tail, i64 tail_bytes, bool continues) {
  const i64 length = lub.lub_rec_written - kLengthWord;
  if (int code = write_bytes(lub, tail, tail_bytes)) return code;
  lub.lub_f_rec_continued = 0;
  return patch_leading_word(lub, continues ? -length : length);
}

/// Until a subrecord has ended its leading word tells of more than there is: a reader takes a record torn by a failure
/// for one that is cut short.
void store_unended_word(const For_Lub& lub, u8* where) { store_length_word(lub, where, kMostSubrecord); }

/// Begins a subrecord behind another one: its leading word is put right when it ends.
int begin_next_subrecord(For_Lub& lub) {
  u8 placeholder[kLengthWord];
  store_unended_word(lub, placeholder);
  ++lub.lub_subrecord_index;
  const off_t here = lseek(lub.lub_fd, 0, SEEK_CUR);
  if (here < 0) {
    lub.lub_errno = errno;
    return MSG_WRITE_ERROR;
  }
  lub.lub_rec_header_pos = here;
  lub.lub_rec_written = kLengthWord;
  lub.lub_subrecord_left = subrecord_limit;
  return write_bytes(lub, placeholder, kLengthWord);
}

int turn_to_next_subrecord(For_Lub& lub) {
  u8 trailer[kLengthWord];
  store_length_word(lub, trailer, trailing_word(lub, lub.lub_rec_written - kLengthWord));
  lub.lub_f_rec_continued = 1;
  if (int code = end_subrecord(lub, trailer, kLengthWord, true)) return code;
  return begin_next_subrecord(lub);
}

/// NUL bytes up to the end of a FIXED record.
int write_fill(For_Lub& lub, i64 bytes) {
  constexpr i64 kPiece = 512;
  static constexpr u8 kZeros[kPiece] = {};
  for (; bytes > 0; bytes -= kPiece) {
    if (int code = write_bytes(lub, kZeros, std::min(bytes, kPiece))) return code;
  }
  return 0;
}

/// A VARIABLE record that waits in the buffer: false, with nothing done, for all others.
bool put_held_record(For_Lub& lub, u8* base) {
  if (!is_variable(lub) || lub.lub_f_truncate_on_write || in_child_statement(lub)) return false;
  u8* const end = lub.lub_a_cursor + kLengthWord;
  const i64 length = lub.lub_a_cursor - base - kLengthWord;
  if (length > subrecord_limit || !has_room_to_hold(lub, end)) return false;
  store_length_word(lub, base, length);
  store_length_word(lub, lub.lub_a_cursor, length);
  lub.lub_f_after_endfile = 0;
  lub.lub_rec_buffered = lub.lub_partial_bytes = 0;
  hold_output(lub, end, end - base);
  return true;
}

}  // namespace

int for__put_su(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  u8* base = record_base(lub);
  if (in_child_statement(lub)) return write_bytes(lub, base, lub.lub_a_cursor - base);
  if (put_held_record(lub, base)) return 0;
  const i64 trailer = trailer_bytes(lub);
  if (lub.lub_a_cursor + trailer > buffer_end(lub)) {
    if (for__adjust_buffer(&lub, trailer, kGrowthStep) != 0) return MSG_RECORD_OVERFLOW;
    base = record_base(lub);
  }
  if (int code = close_frame(lub, base)) return code;
  const int code = write_bytes(lub, base, lub.lub_a_cursor - base);
  lub.lub_f_after_endfile = 0;
  return code != 0 ? code : truncate_if_asked(lub);
}

int move_record_to_front(For_Lub& lub) {
  u8* const base = record_base(lub);
  if (base == lub.lub_a_buffer) return 0;
  const i64 length = lub.lub_a_cursor - base;
  const i64 data_offset = lub.lub_a_data_start - base;
  if (int code = for__flush_file_buffer(&lub)) return code;
  memmove(lub.lub_a_buffer, base, length);
  lub.lub_a_rec_start = nullptr;
  lub.lub_a_data_start = lub.lub_a_buffer + data_offset;
  lub.lub_a_cursor = lub.lub_a_buffer + length;
  widen_unformatted_record(lub);
  return 0;
}

bool may_write_through(const For_Lub& lub) {
  if (lub.lub_f_write_through) return true;
  const int flags = fcntl(lub.lub_fd, F_GETFL);
  return flags >= 0 && (flags & O_APPEND) == 0 && lseek(lub.lub_fd, 0, SEEK_CUR) >= 0;
}

int write_UFSEQD_record_to_file(For_Lub* lub_pointer, const u8* data, i64 length) {
  For_Lub& lub = *lub_pointer;
  if (!lub.lub_f_write_through) {
    const off_t here = lseek(lub.lub_fd, 0, SEEK_CUR);
    if (here < 0) {
      lub.lub_errno = errno;
      return MSG_WRITE_ERROR;
    }
    lub.lub_rec_header_pos = here;
    lub.lub_f_write_through = 1;
  }
  if (lub.lub_subrecord_left < 0) {
    lub.lub_subrecord_left = subrecord_limit + kLengthWord;  // the word is the first of the bytes given
    if (data == lub.lub_a_buffer && length >= kLengthWord) store_unended_word(lub, lub.lub_a_buffer);
  }
  while (length > 0) {
    if (lub.lub_subrecord_left == 0) {
      if (int code = turn_to_next_subrecord(lub)) return code;
    }
    const i64 piece = std::min(length, lub.lub_subrecord_left);
    if (int code = write_bytes(lub, data, piece)) return code;
    lub.lub_subrecord_left -= piece;
    lub.lub_rec_written += piece;
    data += piece;
    length -= piece;
  }
  return 0;
}

int for__finish_direct_write(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  i64 rest = lub.lub_a_cursor - lub.lub_a_buffer;
  if (rest > lub.lub_subrecord_left) {
    if (int code = write_UFSEQD_record_to_file(&lub, lub.lub_a_buffer, rest)) return code;
    lub.lub_a_cursor = lub.lub_a_buffer;
    rest = 0;
  }
  lub.lub_rec_written += rest;
  store_length_word(lub, lub.lub_a_cursor, trailing_word(lub, lub.lub_rec_written - kLengthWord));
  lub.lub_f_after_endfile = 0;
  if (int code = end_subrecord(lub, lub.lub_a_buffer, rest + kLengthWord, false)) return code;
  return truncate_if_asked(lub);
}

int for__write_from_user_buffer(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  const u8* data = static_cast<const u8*>(lub.lub_a_user_target);
  const i64 length = lub.lub_user_target_len;
  const bool words = is_variable(lub);
  const bool relative = is_marked_relative(lub);
  u8 word[kLengthWord];
  store_length_word(lub, word, length);
  i64 written = length;
  if (relative) {
    word[0] = ' ';
    ++written;
  }
  if (int code = write_bytes(lub, word, words ? kLengthWord : relative)) return code;
  if (int code = write_bytes(lub, data, length)) return code;
  lub.lub_f_after_endfile = 0;
  const int code = words ? write_bytes(lub, word, kLengthWord) : write_fill(lub, lub.lub_rec_bytes - written);
  // What follows a record with a number stays.
  return code != 0 || lub.lub_f_direct ? code : truncate_if_asked(lub);
}
