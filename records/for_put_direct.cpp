// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Direct access records out of the buffer. Consecutive ones collect there on a buffered connection.

#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "records/buffer.h"
#include "records/for_put_unf.h"

namespace {

/// Fills the record up to its length and gives its end.
u8* fill_record(const For_Lub& lub, u8* base) {
  u8* const full = std::min(base + lub.lub_rec_bytes, lub.lub_a_buffer + lub.lub_buffer_size);
  u8* end = lub.lub_a_cursor;
  if (lub.lub_f_formatted && lub.lub_a_high_water > end) end = lub.lub_a_high_water;
  const bool shorter = end < full;
  if (shorter) memset(end, lub.lub_f_formatted ? ' ' : '\0', full - end);
  if (is_crlf_direct(lub)) {
    full[-2] = '\r';
    full[-1] = '\n';
  } else if (shorter && lub.lub_cc == CC_LIST && !lub.lub_f_compat_io) {
    full[-1] = '\n';
  }
  return full;
}

}  // namespace

int seek_output_record(For_Lub& lub) {
  i64 offset;
  if (__builtin_mul_overflow(lub.lub_next_rec - 1, lub.lub_rec_bytes, &offset)) {
    lub.lub_errno = EFBIG;
    return MSG_WRITE_ERROR;
  }
  if (lseek(lub.lub_fd, offset, SEEK_SET) < 0) {
    lub.lub_errno = errno;
    return MSG_WRITE_ERROR;
  }
  lub.lub_disk_pos = offset;
  return 0;
}

int for__put_d(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  u8* const end = fill_record(lub, record_base(lub));
  if (!lub.lub_f_buffer_held) {
    if (int code = seek_output_record(lub)) return code;
  }
  lub.lub_a_rec_start = end;
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  const u8* const buffer_end = lub.lub_a_buffer + lub.lub_buffer_size;
  if (lub.lub_f_buffered && lub.lub_rec_bytes <= buffer_end - end) {
    lub.lub_a_rec_end = end + lub.lub_rec_bytes;
    lub.lub_f_buffer_held = 1;
    return 0;
  }
  i64 written = 0;
  const int result = write_counted(lub.lub_fd, lub.lub_a_buffer, end - lub.lub_a_buffer, transfer_chunk(lub), &written);
  if (result < 0) lub.lub_errno = errno;
  forget_held_output(lub);
  lub.lub_disk_pos += written;
  lub.lub_file_pos = lub.lub_disk_pos;
  return result < 0 ? MSG_WRITE_ERROR : 0;
}
