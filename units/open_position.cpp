// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Where a fresh connection stands in its file.

#include "core/heap.h"
#include "records/length_byte_form.h"
#include "units/opening.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

namespace {

/// Files of earlier tools may end in a record of this one byte.
constexpr u8 kEndMark = 26;

int seek_failure(For_Lub& lub) {
  lub.lub_errno = errno;
  return MSG_NEEDS_SEEK;
}

void mark_at_end(For_Lub& lub) {
  lub.lub_next_rec = FOR_K_REC_UNKNOWN;
  lub.lub_f_at_end = lub.lub_f_access_append = 0;
}

/// Moves to an offset that the next record is to have: 0 or MSG_NEEDS_SEEK.
int move_to(For_Lub& lub, off_t position) {
  if (lseek(lub.lub_fd, position, SEEK_SET) < 0) return seek_failure(lub);
  lub.lub_file_pos = lub.lub_disk_pos = position;
  return 0;
}

/// Empties a file that STATUS='REPLACE' found: 0 or MSG_WRITE_ERROR.
int empty_file(For_Lub& lub) {
  errno = 0;
  bool failed = access(lub.lub_a_file_name, W_OK) != 0 && errno == EACCES;
  if (!failed) {
    const off_t here = lseek(lub.lub_fd, 0, SEEK_CUR);
    const off_t end = here < 0 ? here : lseek(lub.lub_fd, 0, SEEK_END);
    if (end > here) {
      failed = lseek(lub.lub_fd, here, SEEK_SET) < 0 || (ftruncate(lub.lub_fd, here) != 0 && errno != EINVAL);
    }
  }
  if (!failed) return 0;
  lub.lub_errno = errno;
  return MSG_WRITE_ERROR;
}

/// A descriptor that the tail can be read from. Write-only units need one of their own.
class Tail_Descriptor {
 public:
  explicit Tail_Descriptor(const Opening& o) : fd_(o.lub.lub_fd) {
    if (!o.lub.lub_f_writeonly) return;
    own_ = true;
    fd_ = o[OPENW_USEROPEN] == 0 ? open(o.lub.lub_a_file_name, O_RDONLY | O_LARGEFILE) : -1;
  }
  ~Tail_Descriptor() {
    if (own_ && fd_ >= 0) close(fd_);
  }
  Tail_Descriptor(const Tail_Descriptor&) = delete;
  Tail_Descriptor& operator=(const Tail_Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
  bool own_ = false;
};

/// Reads the last `length` bytes in front of `end`. *whole is false when there are not so many or nothing may be
/// read: 0 or MSG_OPEN_FAILURE.
int read_tail(Opening& o, off_t end, u8* tail, i64 length, bool* whole) {
  *whole = false;
  if (length > end) return 0;
  const Tail_Descriptor file(o);
  if (file.get() < 0) return 0;
  ssize_t got;
  do got = pread(file.get(), tail, static_cast<size_t>(length), end - length);
  while (got < 0 && errno == EINTR);
  if (got < 0) {
    o.lub.lub_errno = errno;
    return MSG_OPEN_FAILURE;
  }
  *whole = got == length;
  return 0;
}

/// Finds the end-of-file record of a FIXED file in pieces, whatever the length of a record: 0 or MSG_OPEN_FAILURE.
int find_fixed_mark(Opening& o, off_t end, i64* mark) {
  const For_Lub& lub = o.lub;
  const u8 pad = lub.lub_f_formatted ? ' ' : '\0';
  u8 piece[512];
  const i64 length = lub.lub_rec_bytes;
  for (i64 done = 0; done < length;) {
    const i64 count = std::min<i64>(length - done, sizeof piece);
    bool whole;
    if (const int status = read_tail(o, end - length + done + count, piece, count, &whole)) return status;
    if (!whole || length > end) return 0;
    if (done == 0 && piece[0] != kEndMark) return 0;
    if (!std::all_of(piece + (done == 0), piece + count, [pad](u8 byte) { return byte == pad; })) return 0;
    done += count;
  }
  *mark = length;
  return 0;
}

int find_variable_mark(Opening& o, off_t end, i64* mark) {
  constexpr i64 kMarkRecord = 9;  // length word, byte, length word
  u8 tail[kMarkRecord];
  bool whole;
  if (const int status = read_tail(o, end, tail, kMarkRecord, &whole)) return status;
  if (!whole) return 0;
  u32 length;
  memcpy(&length, tail + kMarkRecord - sizeof length, sizeof length);
  if (o.lub.lub_f_big_endian_words) length = __builtin_bswap32(length);
  if (length == 1 && tail[sizeof length] == kEndMark) *mark = kMarkRecord;
  return 0;
}

int find_segmented_mark(Opening& o, off_t end, i64* mark) {
  constexpr u8 kMarkRecord[] = {1, 0, kEndMark};  // byte count, byte; behind it a byte of padding
  u8 tail[sizeof kMarkRecord + 1];
  bool whole;
  if (const int status = read_tail(o, end, tail, sizeof tail, &whole)) return status;
  if (whole && memcmp(tail, kMarkRecord, sizeof kMarkRecord) == 0) *mark = sizeof tail;
  return 0;
}

/// The mark of a length-byte file, unless ENDFILE has cut it off or the program died before it. What may not be read is
/// taken for whole.
int find_length_byte_mark(Opening& o, off_t end, i64* mark) {
  u8 tail;
  bool whole;
  if (const int status = read_tail(o, end, &tail, sizeof tail, &whole)) return status;
  *mark = end > 0 && (!whole || tail == kFileEnd);
  return 0;
}

/// Length of the end-of-file mark at the end of the file, 0 none: 0 or MSG_OPEN_FAILURE.
int find_end_mark(Opening& o, off_t end, i64* mark) {
  const For_Lub& lub = o.lub;
  *mark = 0;
  if (lub.lub_stream_kind == STREAM_BIN_SEQUENTIAL) return 0;
  switch (lub.lub_rectype) {
    case RECTYPE_FIXED:
      return find_fixed_mark(o, end, mark);
    case RECTYPE_VARIABLE:
      return find_variable_mark(o, end, mark);
    case RECTYPE_SEGMENTED:
      return find_segmented_mark(o, end, mark);
    case RECTYPE_STREAM:
      if (lub.lub_cc != CC_NONE || !lub.lub_f_ms_unformatted || !lub.lub_f_ms_unformatted_default) return 0;
      return find_length_byte_mark(o, end, mark);
    default:
      return 0;
  }
}

int position_at_end(Opening& o) {
  For_Lub& lub = o.lub;
  if (o[OPENW_STATUS] == STATUS_REPLACE) {
    mark_at_end(lub);
    return 0;
  }
  if (!lub.lub_f_seekable) return 0;
  const off_t end = lseek(lub.lub_fd, 0, SEEK_END);
  if (end < 0) return seek_failure(lub);
  if (end == 0) return 0;
  mark_at_end(lub);
  i64 mark;
  if (const int status = find_end_mark(o, end, &mark)) return status;
  return move_to(lub, end - mark);
}

int apply_position(Opening& o) {
  For_Lub& lub = o.lub;
  switch (o[OPENW_POSITION]) {
    case POSITION_APPEND:
      return position_at_end(o);
    case POSITION_REWIND:
      lub.lub_next_rec = 1;
      lub.lub_f_at_end = lub.lub_f_access_append = 0;
      return 0;
    default:
      lub.lub_f_at_end = 1;
      return 0;
  }
}

/// ACCESS='APPEND'.
int append_by_access(Opening& o) {
  For_Lub& lub = o.lub;
  if (!lub.lub_f_access_append || !lub.lub_f_seekable) return 0;
  const off_t end = lseek(lub.lub_fd, 0, SEEK_END);
  if (end < 0) return seek_failure(lub);
  i64 end_mark = 0;
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL)
    if (const int status = find_length_byte_mark(o, end, &end_mark)) return status;
  mark_at_end(lub);
  return move_to(lub, end - end_mark);
}

}  // namespace

int position_file(Opening& o) {
  For_Lub& lub = o.lub;
  if (o.positionable) {
    if (o[OPENW_STATUS] == STATUS_REPLACE)
      if (const int status = empty_file(lub)) return status;
    if (const int status = apply_position(o)) return status;
  }
  if (const int status = append_by_access(o)) return status;
  lub.lub_f_truncate_on_write = lub.lub_f_seekable && o[OPENW_ACCESS] != ACCESS_APPEND &&
                                !(lub.lub_f_direct && lub.lub_f_compat_io) &&
                                !(lub.lub_f_stream && !lub.lub_f_formatted);
  return 0;
}
