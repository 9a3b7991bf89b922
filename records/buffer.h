// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The record buffer: growing it, and bringing held output and read-ahead back in step with the file.
#ifndef TAMRUN_RECORDS_BUFFER_H
#define TAMRUN_RECORDS_BUFFER_H

#include "tamrun/lub.h"

extern "C" {
/// Makes room for `needed` more bytes in the record, preferably `wanted`: 0, MSG_NO_MEMORY or MSG_RECORD_OVERFLOW.
[[nodiscard]] int for__adjust_buffer(For_Lub* lub, i64 needed, i64 wanted);
/// Writes the records held in the buffer: 0 or MSG_WRITE_ERROR.
[[nodiscard]] int for__flush_file_buffer(For_Lub* lub);
/// Gives read-ahead bytes back to the file, moves it by `delta` and forgets the buffer: 0 or MSG_WRITE_ERROR.
[[nodiscard]] int for__flush_readahead(For_Lub* lub, i64 delta);
/// Writes all bytes in pieces of at most `chunk`: 0, or the negative result of the failing write with errno set.
[[nodiscard]] int for__write_all(int fd, const u8* data, i64 length, i64 chunk);
}

/// for__write_all; *written receives the bytes that reached the file, also after a failure.
[[nodiscard]] int write_counted(int fd, const u8* data, i64 length, i64 chunk, i64* written);

/// Largest single read or write of the unit.
inline i64 transfer_chunk(const For_Lub& lub) { return lub.lub_blocksize > 0 ? lub.lub_blocksize : kDefaultBlocksize; }

/// Gives the buffer `bytes` usable bytes, writes the guard and moves every pointer into it along: 0 or MSG_NO_MEMORY,
/// which leaves everything as it was.
[[nodiscard]] int resize_buffer(For_Lub& lub, i64 bytes);

/// Bytes in the buffer that have come from the file and that no record has taken. Not for STREAM units.
inline i64 unread_bytes(const For_Lub& lub) {
  if (lub.lub_a_read_next == nullptr || lub.lub_a_read_end == nullptr) return 0;
  return lub.lub_a_read_end > lub.lub_a_read_next ? lub.lub_a_read_end - lub.lub_a_read_next : 0;
}

/// Bytes by which the file stands ahead of the unit's logical position, while the buffer holds input. There is one
/// count: what lies between lub_a_read_next and lub_a_read_end, on a STREAM unit between lub_a_cursor and
/// lub_a_rec_end. Where no next record is known, lub_read_ahead tells it.
i64 read_ahead_bytes(const For_Lub& lub);

/// Moves the file to an offset and forgets the buffer: 0, or MSG_WRITE_ERROR with lub_errno set and everything as it was.
[[nodiscard]] int move_file(For_Lub& lub, i64 offset);

/// Cuts the file at its position when lub_f_truncate_on_write asks for it: 0, or MSG_WRITE_ERROR with lub_errno set.
[[nodiscard]] int truncate_if_asked(For_Lub& lub);

/// Empties the buffer of held output; the next record begins at lub_a_buffer.
inline void forget_held_output(For_Lub& lub) {
  lub.lub_f_buffer_held = 0;
  lub.lub_a_rec_start = nullptr;
  lub.lub_a_rec_end = lub.lub_a_buffer + lub.lub_rec_bytes;
}

#endif
