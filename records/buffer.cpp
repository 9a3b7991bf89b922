// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The record buffer: growing it, and bringing held output and read-ahead back in step with the file.

#include "records/buffer.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "core/heap.h"
#include "tamrun/messages.h"

namespace {

/// Unit of RECL on unformatted connections that count 4-byte words.
constexpr i64 kReclWord = 4;

bool counts_words(const For_Lub& lub) { return !lub.lub_f_formatted && lub.lub_f_recl_in_words; }

i64 round_up_to_word(i64 bytes) { return (bytes + kReclWord - 1) / kReclWord * kReclWord; }

/// How far a record may grow. `needed` must be had, `room` is what growing takes.
struct Growth {
  i64 needed;
  i64 room;
};

/// Cuts the growth to what RECL leaves: 0, or MSG_RECORD_OVERFLOW when that is less than needed.
int keep_within_recl(const For_Lub& lub, i64 used, Growth& growth) {
  if (lub.lub_recl_limit == 0) return 0;
  const i64 left = lub.lub_recl_limit + lub.lub_rec_overhead - lub.lub_rec_bytes;
  // A record that is not virtual may use up its buffer, which is often larger than RECL.
  const i64 free_in_buffer = lub.lub_f_virtual_recl ? 0 : lub.lub_buffer_size - used;
  if (growth.needed > left && growth.needed > free_in_buffer) return MSG_RECORD_OVERFLOW;
  if (growth.room > left && growth.room > free_in_buffer) growth.room = std::max(left, growth.needed);
  return 0;
}

void rebase(u8*& pointer, const u8* from, u8* to) {
  if (pointer != nullptr) pointer = to + (pointer - from);
}

void forget_read_ahead(For_Lub& lub) {
  lub.lub_f_read_ahead = 0;
  lub.lub_a_read_next = nullptr;
  lub.lub_a_read_end = nullptr;
  lub.lub_a_cursor = nullptr;
  lub.lub_read_ahead = 0;
  lub.lub_a_rec_end = lub.lub_a_buffer;
}

/// 0, or MSG_WRITE_ERROR with lub_errno set; a failure leaves position and buffer as they were.
int seek_and_forget(For_Lub& lub, i64 offset, int whence) {
  const off_t position = lseek(lub.lub_fd, offset, whence);
  if (position < 0) {
    lub.lub_errno = errno;
    return MSG_WRITE_ERROR;
  }
  lub.lub_file_pos = lub.lub_disk_pos = position;
  lub.lub_rec_buffered = lub.lub_span_bytes = lub.lub_span_left = 0;
  forget_read_ahead(lub);
  return 0;
}

}  // namespace

int resize_buffer(For_Lub& lub, i64 bytes) {
  const u8* old = lub.lub_a_buffer;
  void* block = lub.lub_a_buffer;
  const i64 guard = sizeof kBufferGuard;
  if (int code = for__realloc_vm(bytes + guard, &block, lub.lub_buffer_size + guard)) return code;
  u8* buffer = static_cast<u8*>(block);
  memcpy(buffer + bytes, kBufferGuard, sizeof kBufferGuard);
  for (u8** pointer : {&lub.lub_a_cursor, &lub.lub_a_read_end, &lub.lub_a_read_next, &lub.lub_a_item_start,
                       &lub.lub_a_high_water, &lub.lub_a_data_start, &lub.lub_a_rec_start, &lub.lub_a_rec_end}) {
    rebase(*pointer, old, buffer);
  }
  lub.lub_a_buffer = buffer;
  lub.lub_buffer_size = bytes;
  return 0;
}

int for__adjust_buffer(For_Lub* lub_pointer, i64 needed, i64 wanted) {
  For_Lub& lub = *lub_pointer;
  constexpr i64 kMostGrowth = 1ll << 48;  // above every limit of a record, far from overflow
  const bool may_grow = (lub.lub_f_recl_defaulted || lub.lub_f_virtual_recl) && lub.lub_rectype != RECTYPE_FIXED &&
                        lub.lub_rectype != RECTYPE_SEGMENTED;
  if (!may_grow || needed > kMostGrowth) return MSG_NO_MEMORY;
  Growth growth = {std::max<i64>(needed, 0), std::clamp(wanted, std::max<i64>(needed, 0), kMostGrowth)};
  if (counts_words(lub)) growth = {round_up_to_word(growth.needed), round_up_to_word(growth.room)};

  const i64 used = lub.lub_a_rec_end - lub.lub_a_buffer;
  if (int code = keep_within_recl(lub, used, growth)) return code;
  i64 grown = growth.room;
  if (used + growth.room > lub.lub_buffer_size) {
    if (used + growth.needed > lub.lub_buffer_size) {
      if (int code = resize_buffer(lub, lub.lub_buffer_size + growth.room)) return code;
    } else {
      grown = growth.needed;
    }
  }
  lub.lub_rec_bytes += grown;
  lub.lub_a_rec_end += grown;
  if (!lub.lub_f_virtual_recl) lub.lub_recl += counts_words(lub) ? grown / kReclWord : grown;
  if (lub.lub_f_formatted) {
    // A tab may have taken the cursor past the old end: all beyond that end is new.
    u8* filled = std::min(std::max(lub.lub_a_high_water, lub.lub_a_cursor), lub.lub_a_buffer + used);
    memset(filled, ' ', lub.lub_a_rec_end - filled);
  }
  return 0;
}

int write_counted(int fd, const u8* data, i64 length, i64 chunk, i64* written) {
  i64 done = 0;
  ssize_t result = 0;
  while (done < length) {
    result = write(fd, data + done, std::min(length - done, chunk));
    if (result < 0 && errno == EINTR) continue;
    if (result == 0) {  // an object that takes nothing would hold us here for ever
      errno = EIO;
      result = -1;
    }
    if (result < 0) break;
    done += result;
  }
  *written = done;
  return result < 0 ? static_cast<int>(result) : 0;
}

int for__write_all(int fd, const u8* data, i64 length, i64 chunk) {
  i64 written = 0;
  return write_counted(fd, data, length, chunk, &written);
}

int for__flush_file_buffer(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  const i64 length = lub.lub_a_rec_start != nullptr ? lub.lub_a_rec_start - lub.lub_a_buffer : 0;
  i64 written = 0;
  const int result = write_counted(lub.lub_fd, lub.lub_a_buffer, length, transfer_chunk(lub), &written);
  if (result < 0) lub.lub_errno = errno;
  lub.lub_a_rec_start = lub.lub_a_buffer;
  lub.lub_a_rec_end = lub.lub_a_buffer + lub.lub_rec_bytes;
  lub.lub_f_buffer_held = 0;
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  lub.lub_disk_pos += written;
  lub.lub_file_pos = lub.lub_disk_pos;
  return result < 0 ? MSG_WRITE_ERROR : 0;
}

i64 read_ahead_bytes(const For_Lub& lub) {
  if (lub.lub_rectype == RECTYPE_STREAM) {
    return lub.lub_f_read_ahead ? lub.lub_a_rec_end - lub.lub_a_cursor : lub.lub_read_ahead;
  }
  const bool known = lub.lub_a_read_next != nullptr && lub.lub_a_read_end != nullptr;
  return known ? unread_bytes(lub) : lub.lub_read_ahead;
}

int for__flush_readahead(For_Lub* lub_pointer, i64 delta) {
  For_Lub& lub = *lub_pointer;
  if (!lub.lub_f_read_ahead && delta == 0) return 0;
  if (lub.lub_f_seekable) return seek_and_forget(lub, delta - read_ahead_bytes(lub), SEEK_CUR);
  forget_read_ahead(lub);
  return 0;
}

int move_file(For_Lub& lub, i64 offset) { return seek_and_forget(lub, offset, SEEK_SET); }

int truncate_if_asked(For_Lub& lub) {
  if (!lub.lub_f_truncate_on_write) return 0;
  lub.lub_f_truncate_on_write = 0;
  if (!lub.lub_f_seekable) return 0;  // there is nothing behind the position of a pipe or terminal
  const off_t here = lseek(lub.lub_fd, 0, SEEK_CUR);
  const off_t end = here < 0 ? here : lseek(lub.lub_fd, 0, SEEK_END);
  if (end >= 0 && lseek(lub.lub_fd, here, SEEK_SET) == here && (here >= end || ftruncate(lub.lub_fd, here) == 0)) {
    return 0;
  }
  if (errno == EINVAL) return 0;  // the object cannot be cut
  lub.lub_errno = errno;
  return MSG_WRITE_ERROR;
}
