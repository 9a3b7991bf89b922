// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted records that need not fit the buffer.

#include "records/for_get_unf.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/input_window.h"
#include "records/record_frame.h"
#include "tamrun/messages.h"

namespace {

/// The file ends inside a record, where no call has failed.
int cut_short(For_Lub& lub) {
  lub.lub_errno = 0;
  return MSG_READ_ERROR;
}

/// The buffer holds nothing, and the file has moved on by `bytes`.
void pass_in_file(For_Lub& lub, i64 bytes) {
  lub.lub_disk_pos += lub.lub_rec_buffered + bytes;
  lub.lub_rec_buffered = lub.lub_span_bytes = lub.lub_span_left = 0;
  lub.lub_a_read_end = lub.lub_a_buffer;
  take_record(lub, lub.lub_a_buffer, lub.lub_a_buffer, lub.lub_a_buffer);
}

/// Reads `length` bytes past the empty buffer: 0, or MSG_READ_ERROR with fewer in *got.
int read_through(For_Lub& lub, u8* to, i64 length, i64* got) {
  bool ok = true;
  for (*got = 0; ok && *got < length;) {
    i64 count = 0;
    ok = for__read_input(lub.lub_fd, to + *got, length - *got, &count, &lub);
    *got += count;
    if (count == 0) break;
  }
  const int cause = ok ? 0 : errno;
  pass_in_file(lub, *got);
  lub.lub_errno = cause;
  return *got == length ? 0 : MSG_READ_ERROR;
}

/// Passes over the bytes of the subrecord that are not in the buffer: 0 or MSG_READ_ERROR.
int skip_data(For_Lub& lub) {
  if (lub.lub_f_seekable) {
    if (lseek(lub.lub_fd, lub.lub_rec_left, SEEK_CUR) < 0) {
      lub.lub_errno = errno;
      return MSG_READ_ERROR;
    }
    pass_in_file(lub, lub.lub_rec_left);
    lub.lub_rec_left = 0;
    return 0;
  }
  while (lub.lub_rec_left > 0) {
    i64 got = 0;
    const i64 piece = std::min(lub.lub_rec_left, lub.lub_buffer_size);
    if (int code = read_through(lub, lub.lub_a_buffer, piece, &got)) return code;
    lub.lub_rec_left -= got;
  }
  return 0;
}

/// Passes over the trailing word of a subrecord whose data has been taken: 0 or MSG_READ_ERROR.
int pass_trailer(For_Lub& lub) {
  if (!lub.lub_f_large_record) return 0;
  if (int code = bring_bytes(lub, kLengthWord)) return code;
  if (unread_bytes(lub) < kLengthWord) return cut_short(lub);
  u8* const behind = lub.lub_a_read_next + kLengthWord;
  take_record(lub, behind, behind, behind);
  lub.lub_f_large_record = 0;
  return 0;
}

/// Goes on to the successor of a subrecord whose data has been taken. A successor without its leading word is a record
/// that is cut short.
int next_subrecord(For_Lub& lub) {
  if (int code = pass_trailer(lub)) return code;
  const bool some = unread_bytes(lub) > 0;
  const int code = begin_subrecord(lub);
  return code == MSG_END_OF_FILE && (some || unread_bytes(lub) > 0) ? cut_short(lub) : code;
}

int skip_record(For_Lub& lub) {
  for (;;) {
    if (lub.lub_rec_left > 0) {
      if (int code = skip_data(lub)) return code;
    }
    if (int code = pass_trailer(lub)) return code;
    if (!lub.lub_f_rec_continued) break;
    if (int code = next_subrecord(lub)) return code;
  }
  lub.lub_a_cursor = lub.lub_a_rec_end;
  return 0;
}

/// A subrecord whose parts are to be read one by one: longer than the buffer, or the connection asks for it and some of
/// its values may reach the threshold.
bool is_read_in_parts(const For_Lub& lub, i64 length, i64 whole) {
  if (whole > lub.lub_buffer_size) return true;
  const bool asked = lub.lub_f_user_buffered && lub.lub_f_threshold_set;
  return asked && length > 1 && length >= lub.lub_buffer_threshold && whole > unread_bytes(lub);
}

/// begin_subrecord for one that is not whole in the buffer, or has a successor.
[[gnu::noinline]] int begin_incomplete_subrecord(For_Lub& lub) {
  if (int code = bring_bytes(lub, kLengthWord)) return code;
  if (unread_bytes(lub) < kLengthWord) return MSG_END_OF_FILE;
  const i64 signed_length = length_word(lub, lub.lub_a_read_next);
  const i64 length = signed_length < 0 ? -signed_length : signed_length;
  const i64 whole = length + 2 * kLengthWord;
  const bool large = is_read_in_parts(lub, length, whole);
  if (!large) {
    if (int code = bring_bytes(lub, whole)) return code;
    if (unread_bytes(lub) < whole) return cut_short(lub);
  }
  lub.lub_f_rec_continued = signed_length < 0;
  lub.lub_f_large_record = large;
  u8* const data = lub.lub_a_read_next + kLengthWord;
  const i64 here = std::min(length, lub.lub_a_read_end - data);
  lub.lub_rec_left = length - here;
  take_record(lub, data, data + here, large ? data + here : data + here + kLengthWord);
  return 0;
}

}  // namespace

int begin_subrecord(For_Lub& lub) {
  const i64 there = unread_bytes(lub);
  const i64 length = there >= kLengthWord ? length_word(lub, lub.lub_a_read_next) : -1;
  // Most records are in the buffer already, to the last byte.
  if (length < 0 || length > there - 2 * kLengthWord) return begin_incomplete_subrecord(lub);
  // Seldom set: a test costs less than a store beside flags that have just been stored.
  if (lub.lub_f_rec_continued || lub.lub_f_large_record) lub.lub_f_rec_continued = lub.lub_f_large_record = 0;
  lub.lub_rec_left = 0;
  u8* const data = lub.lub_a_read_next + kLengthWord;
  take_record(lub, data, data + length, data + length + kLengthWord);
  return 0;
}

int for__get_su_fields(For_Lub* lub_pointer, void* data, i64 length) {
  For_Lub& lub = *lub_pointer;
  if (data == nullptr) return skip_record(lub);
  u8* to = static_cast<u8*>(data);
  for (;;) {
    i64 piece = std::min(length, lub.lub_a_rec_end - lub.lub_a_cursor);
    memcpy(to, lub.lub_a_cursor, piece);
    lub.lub_a_cursor += piece;
    if (length > piece && lub.lub_rec_left > 0) {
      to += piece;
      length -= piece;
      i64 got = 0;
      const int code = read_through(lub, to, std::min(length, lub.lub_rec_left), &got);
      lub.lub_rec_left -= got;
      if (code != 0) return code;
      piece = got;
    }
    to += piece;
    length -= piece;
    if (length == 0) return 0;
    if (!lub.lub_f_rec_continued) return MSG_INPUT_TOO_MUCH_DATA;
    if (int code = next_subrecord(lub)) return code;
  }
}

int for__get_more_fields(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  while (lub.lub_rec_left == 0) {
    if (!lub.lub_f_rec_continued) return MSG_INPUT_TOO_MUCH_DATA;
    if (int code = next_subrecord(lub)) return code;
    if (lub.lub_a_cursor < lub.lub_a_rec_end) return 0;
  }
  i64 got = 0;
  if (int code = fill_window(lub, lub.lub_buffer_size, &got)) return code;
  if (got == 0) return cut_short(lub);
  const i64 here = std::min(lub.lub_rec_left, unread_bytes(lub));
  u8* const data = lub.lub_a_read_next;
  lub.lub_rec_left -= here;
  take_record(lub, data, data + here, data + here);
  return 0;
}

bool takes_fixed_record(const For_Lub& lub) {
  constexpr i64 kWorthIt = 2;  // a buffer that holds more than one record saves calls instead
  return lub.lub_a_user_target != nullptr && lub.lub_user_target_len == lub.lub_rec_bytes &&
         kWorthIt * lub.lub_rec_bytes > lub.lub_buffer_size && unread_bytes(lub) < lub.lub_rec_bytes;
}

int read_fixed_record(For_Lub& lub) {
  u8* const to = static_cast<u8*>(lub.lub_a_user_target);
  const i64 here = unread_bytes(lub);
  if (here > 0) memcpy(to, lub.lub_a_read_next, here);
  i64 got = 0;
  const int code = read_through(lub, to + here, lub.lub_rec_bytes - here, &got);
  if (code != 0) return here + got == 0 && lub.lub_errno == 0 ? int{MSG_END_OF_FILE} : code;
  lub.lub_f_direct_done = 1;
  return 0;
}
