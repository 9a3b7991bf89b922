// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted and direct records out of the buffer, and records that go to the file while they are being built.
#ifndef TAMRUN_RECORDS_FOR_PUT_UNF_H
#define TAMRUN_RECORDS_FOR_PUT_UNF_H

#include <errno.h>

#include "records/record_frame.h"
#include "tamrun/hooks.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"

extern "C" {
/// Writes the sequential record that stands whole in the buffer, up to lub_a_cursor: 0, MSG_WRITE_ERROR with lub_errno,
/// or MSG_RECORD_OVERFLOW when its control bytes have no room. In a child statement the bytes go out as they are.
[[nodiscard]] int for__put_su(For_Lub* lub);

/// Writes the direct record from lub_a_rec_start to lub_a_cursor, filled up to lub_rec_bytes, as lub_next_rec, or keeps
/// it in the buffer behind those before it: 0 or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int for__put_d(For_Lub* lub);

/// Moves the next bytes of a VARIABLE record to the file, the first of them its leading word, and begins subrecords as
/// they fill: 0 or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int write_UFSEQD_record_to_file(For_Lub* lub, const u8* data, i64 length);

/// Ends a VARIABLE record that went to the file by write_UFSEQD_record_to_file, with what is left of it in the buffer:
/// 0 or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int for__finish_direct_write(For_Lub* lub);

/// Writes the FIXED or VARIABLE record whose data is lub_user_target_len bytes at lub_a_user_target, past the buffer: 0 or
/// MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int for__write_from_user_buffer(For_Lub* lub);
}

/// Moves the file to the direct record lub_next_rec: 0 or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int seek_output_record(For_Lub& lub);

/// Takes the record that is being built to the start of the buffer, where it has the most room; what is held in front of
/// it is written: 0 or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] int move_record_to_front(For_Lub& lub);

/// True when the record may go to the file as it is built: its leading word can be put right behind it.
[[nodiscard]] bool may_write_through(const For_Lub& lub);

/// for__write_output as a message: 0, or MSG_WRITE_ERROR with lub_errno.
[[nodiscard]] inline int write_bytes(For_Lub& lub, const u8* data, i64 length) {
  if (length == 0 || for__write_output(&lub, data, length) >= 0) return 0;
  lub.lub_errno = errno;
  return MSG_WRITE_ERROR;
}

#endif
