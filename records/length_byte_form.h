// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The length-byte form of unformatted sequential files. A file mark, then records, then an end mark. A record is a
// sequence of blocks of up to 128 data bytes between two length bytes; all but its last block are full and say so.
#ifndef TAMRUN_RECORDS_LENGTH_BYTE_FORM_H
#define TAMRUN_RECORDS_LENGTH_BYTE_FORM_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

inline constexpr u8 kFileMark = 75;    ///< 'K', the first byte of the file
inline constexpr u8 kFullBlock = 129;  ///< length byte of a full block with another one behind it
inline constexpr u8 kFileEnd = 130;    ///< where a length byte is expected: the end of the file
inline constexpr u8 kNoBlock = 131;    ///< lub_ms_tail between records, never on file
inline constexpr i64 kBlockBytes = 128;

/// Begins a record, with the file mark in front of the first: 0, MSG_WRITE_ERROR or MSG_NO_MEMORY. The data of the block
/// goes between lub_a_cursor and lub_a_rec_end.
[[nodiscard]] int begin_length_byte_record(For_Lub& lub);

/// Puts bytes that the block in hand may have no room for: 0, MSG_WRITE_ERROR or MSG_NO_MEMORY.
[[nodiscard]] int put_length_byte_data(For_Lub& lub, const u8* data, i64 length);

/// Ends the record: 0, MSG_WRITE_ERROR or MSG_RECORD_OVERFLOW.
[[nodiscard]] int finish_length_byte_record(For_Lub& lub);

/// Stands before the record at the cursor, behind the file mark, which the first READ of the file has before it: 0 or
/// MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE.
[[nodiscard]] int enter_length_byte_record(For_Lub& lub);

/// Moves `length` bytes of the record to `data`; null: passes over the rest of the record. 0, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE where
/// the length bytes are wrong, MSG_END_OF_FILE_ENCOUNTERED at the end mark, MSG_TOO_MANY_BYTES_READ_FROM when the record has no more, or what
/// for__get_s gives.
extern "C" [[nodiscard]] int for__read_ufseq(For_Lub* lub, void* data, i64 length);

#endif
