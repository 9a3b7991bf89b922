// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The bytes that have come from the file and that no record has taken, for the readers of this folder.
#ifndef TAMRUN_RECORDS_INPUT_WINDOW_H
#define TAMRUN_RECORDS_INPUT_WINDOW_H

#include "records/buffer.h"
#include "tamrun/lub.h"

/// Reads up to `wanted` bytes behind those that no record has taken, which move to the buffer's start: 0 or
/// MSG_READ_ERROR. A failure behind some bytes waits for the next read.
[[nodiscard]] int fill_window(For_Lub& lub, i64 wanted, i64* got);

/// Brings bytes until `needed` are there: 0, MSG_READ_ERROR or MSG_NO_BUFFER_MEMORY. Fewer are there when the file has
/// no more. The buffer grows with what has come, never by what a length word promises.
[[nodiscard]] int bring_more_bytes(For_Lub& lub, i64 needed);
[[nodiscard]] inline int bring_bytes(For_Lub& lub, i64 needed) {
  return unread_bytes(lub) >= needed ? 0 : bring_more_bytes(lub, needed);
}

/// Makes the bytes from `data` to `end` the record's data. The next record begins at `next`.
inline void take_record(For_Lub& lub, u8* data, u8* end, u8* next) {
  lub.lub_a_cursor = data;
  lub.lub_a_rec_end = end;
  lub.lub_a_read_next = next;
  lub.lub_read_ahead = lub.lub_a_read_end - next;
  lub.lub_f_read_ahead = 1;
}

#endif
