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

#endif
