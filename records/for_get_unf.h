// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted records that need not fit the buffer.
//
// A VARIABLE record whose subrecord is longer than the buffer is read in pieces: lub_f_large_record is set, the data in
// the buffer runs from lub_a_cursor to lub_a_rec_end, lub_rec_left bytes of the subrecord follow in the file, and its
// trailing word is still to come. lub_f_rec_continued says that another subrecord of the record follows.
#ifndef TAMRUN_RECORDS_FOR_GET_UNF_H
#define TAMRUN_RECORDS_FOR_GET_UNF_H

#include "tamrun/lub.h"

extern "C" {
/// Moves the next `length` bytes of the VARIABLE record to `data`, what is not in the buffer without passing it; null
/// `data` and `length` 0: passes over the rest of the record. 0, MSG_READ_ERROR when a read fails or the file is cut
/// short, MSG_END_OF_FILE when it ends where a subrecord was promised, or MSG_INPUT_TOO_MUCH_DATA. What has been
/// moved before a failure stays.
[[nodiscard]] int for__get_su_fields(For_Lub* lub, void* data, i64 length);

/// Brings the next part of the VARIABLE record, of which nothing is left in the buffer, into the buffer: 0 or as above.
[[nodiscard]] int for__get_more_fields(For_Lub* lub);
}

/// Begins the next subrecord: 0, MSG_END_OF_FILE, MSG_READ_ERROR or MSG_NO_BUFFER_MEMORY.
[[nodiscard]] int begin_subrecord(For_Lub& lub);

/// Reads the FIXED record straight into lub_a_user_target, which is as long: 0, MSG_END_OF_FILE or MSG_READ_ERROR.
[[nodiscard]] int read_fixed_record(For_Lub& lub);

/// True when the statement's variable takes the next FIXED record, most of which is still in the file.
[[nodiscard]] bool takes_fixed_record(const For_Lub& lub);

#endif
