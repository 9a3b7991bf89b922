// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Direct access records from the file into the buffer, as many whole ones as the buffer holds.

#include "records/for_get.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "tamrun/messages.h"

namespace {

/// Moves the file to a record: 0, MSG_READ_ERROR, or MSG_NO_SUCH_RECORD for one that no file can hold.
int seek_record(For_Lub& lub, i64 record) {
  i64 offset;
  if (__builtin_mul_overflow(record - 1, lub.lub_rec_bytes, &offset)) return MSG_NO_SUCH_RECORD;
  const bool found = lseek(lub.lub_fd, offset, SEEK_SET) >= 0;
  lub.lub_errno = found ? 0 : errno;
  return found ? 0 : MSG_READ_ERROR;
}

/// The record that the buffer is to begin with. A program that goes backwards has use for those in front of its record,
/// all others for those behind.
i64 first_to_read(const For_Lub& lub) {
  const i64 held = lub.lub_rec_bytes > 0 ? lub.lub_buffer_size / lub.lub_rec_bytes : 1;
  const i64 back = lub.lub_cache_first_rec - lub.lub_next_rec;
  const bool backwards = lub.lub_f_buffered && lub.lub_cache_first_rec > 0 && back > 0 && back <= held;
  return backwards ? std::max<i64>(lub.lub_next_rec - held + 1, 1) : lub.lub_next_rec;
}

/// Bytes to read from the record `first` on: the whole buffer for records in their order, else those of a few records,
/// since the next one may stand anywhere.
i64 bytes_to_read(const For_Lub& lub, i64 first) {
  constexpr i64 kFew = 8192;
  const bool in_order = first == lub.lub_cache_end_rec || first < lub.lub_next_rec;
  if (!lub.lub_f_buffered || in_order || lub.lub_buffer_size <= kFew) return lub.lub_buffer_size;
  const i64 record = std::clamp<i64>(lub.lub_rec_bytes, 1, lub.lub_buffer_size);
  return std::max<i64>(kFew / record, 1) * record;
}

/// Reads records at the file's position, of which `first` is the first, straight to the variable when that is what the
/// statement wants: 0, MSG_READ_ERROR or MSG_NO_SUCH_RECORD. A record inside which the file ends is filled up.
int read_records(For_Lub& lub, i64 first) {
  const bool direct =
      !lub.lub_f_formatted && lub.lub_a_user_target != nullptr && lub.lub_user_target_len == lub.lub_buffer_size;
  u8* const data = direct ? static_cast<u8*>(lub.lub_a_user_target) : lub.lub_a_buffer;
  const i64 record_bytes = std::min(lub.lub_rec_bytes, lub.lub_buffer_size);
  const i64 before = (lub.lub_next_rec - first) * record_bytes;
  lub.lub_f_direct_done = direct;
  const i64 wanted = bytes_to_read(lub, first);
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  i64 got = 0;
  const int ok = for__read_input(lub.lub_fd, data, wanted, &got, &lub);
  if (!ok) lub.lub_errno = errno;
  if (!ok && got < before + record_bytes) return MSG_READ_ERROR;
  if (got <= before) return MSG_NO_SUCH_RECORD;
  const i64 lacking = before + record_bytes - got;
  if (lacking > 0) memset(data + got, lub.lub_f_formatted ? ' ' : '\0', static_cast<size_t>(lacking));
  if (direct) return 0;
  lub.lub_a_read_end = lub.lub_a_buffer + got;
  lub.lub_a_cursor = lub.lub_a_read_next = lub.lub_a_buffer + before;
  lub.lub_read_ahead = got - before;
  lub.lub_cache_first_rec = first;
  lub.lub_cache_end_rec = std::max(first + got / record_bytes, lub.lub_next_rec + 1);
  return 0;
}

/// Relative files mark a record that was deleted or never written in its first byte, by nothing or by this bit.
bool is_deleted(const For_Lub& lub, const u8* record) {
  constexpr u8 kDeleted = 64;
  return lub.lub_f_legacy_defaults && lub.lub_org == ORG_RELATIVE && (*record & ~kDeleted) == 0;
}

}  // namespace

int for__get_d(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  if (!find_direct_record(lub)) {
    const i64 first = first_to_read(lub);
    if (int code = seek_record(lub, first)) return code;
    if (int code = read_records(lub, first)) return code;
    if (lub.lub_f_direct_done) return 0;  // never on a relative file: its status byte is no data
  }
  return is_deleted(lub, lub.lub_a_read_next) ? MSG_NO_SUCH_RECORD : 0;
}
