// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Records from the file into the unit's buffer.
#ifndef TAMRUN_RECORDS_FOR_GET_H
#define TAMRUN_RECORDS_FOR_GET_H

#include "tamrun/lub.h"

extern "C" {
/// Reads the next sequential or stream record: 0, MSG_END_OF_FILE, MSG_READ_ERROR (errno in lub_errno),
/// MSG_RECORD_TOO_LONG, MSG_NO_BUFFER_MEMORY, MSG_ONLY_IMAGE_1_MAY_READ or MSG_WRITE_ERROR. Nothing is reported.
///
/// On success the data runs from lub_a_cursor to lub_a_rec_end; the caller takes lub_a_data_start from the cursor,
/// counts the record in lub_next_rec and clears lub_f_at_end. What follows the record in the buffer runs from
/// lub_a_read_next to lub_a_read_end and is lub_read_ahead bytes: whoever goes back in the buffer moves lub_a_read_next.
/// STREAM units have no next record: the rest is what lies between cursor and lub_a_rec_end, and a call while that is
/// not empty reads nothing. Byte i of the buffer stands at lub_disk_pos - lub_span_left + i of the file.
///
/// A failure takes nothing: bytes that have come from the file are read ahead, and the next call begins with them.
/// `item_list` and `item_args` are the statement's items, or null.
[[nodiscard]] int for__get_s(For_Lub* lub, const u8* item_list, void** item_args);

/// Reads the direct access record lub_next_rec: 0, MSG_NO_SUCH_RECORD or MSG_READ_ERROR (errno in lub_errno). On
/// success it stands at lub_a_read_next, lub_rec_bytes long, and a connection with lub_f_buffered has the records
/// lub_cache_first_rec up to lub_cache_end_rec in the buffer. With lub_f_direct_done set it has gone to
/// lub_a_user_target instead, which happens when that is as long as the buffer.
[[nodiscard]] int for__get_d(For_Lub* lub);

/// Reads up to `length` bytes into `data` and stores their number in *got; a connection that cannot seek gives what
/// it has. 1, also at the end of the file, or 0 with errno when a read failed; bytes before the failure count in *got.
[[nodiscard]] int for__read_input(int fd, u8* data, i64 length, i64* got, For_Lub* lub);
}

/// for__get_d of a record that the buffer holds: true when it stands at lub_a_read_next then.
[[nodiscard]] inline bool find_direct_record(For_Lub& lub) {
  const i64 ahead = lub.lub_next_rec - lub.lub_cache_first_rec;
  if (!lub.lub_f_buffered || ahead < 0 || lub.lub_next_rec >= lub.lub_cache_end_rec) return false;
  lub.lub_a_read_next = lub.lub_a_buffer + ahead * lub.lub_rec_bytes;
  return true;
}

/// Brings more bytes of a STREAM unit behind those from lub_a_cursor to lub_a_rec_end, which move to the buffer's start:
/// 0 with whether any came, MSG_READ_ERROR, or MSG_RECORD_TOO_LONG when the buffer is full of them.
[[nodiscard]] int extend_stream_input(For_Lub& lub, bool* more);

#endif
