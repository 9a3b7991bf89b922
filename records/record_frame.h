// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Where a record's data lies in the buffer, by record type.
#ifndef TAMRUN_RECORDS_RECORD_FRAME_H
#define TAMRUN_RECORDS_RECORD_FRAME_H

#include "tamrun/lub.h"

/// Bytes of a length word of a VARIABLE record, in front of and behind the data.
inline constexpr int kLengthWord = 4;

/// With FORTRAN carriage control this many bytes stand free in front of the control character: room for what the
/// control character expands to.
inline constexpr int kFortranWork = 5;

/// Bytes of the CR LF that ends a record.
inline constexpr int kCrLf = 2;

/// Both values of VARIABLE.
inline bool is_variable(const For_Lub& lub) {
  return lub.lub_rectype == RECTYPE_VARIABLE || lub.lub_rectype == RECTYPE_VARIABLE_KEYWORD;
}

/// FIXED records of a direct formatted unit that end in CR LF, which lub_rec_bytes counts on top of RECL.
inline bool is_crlf_direct(const For_Lub& lub) {
  return lub.lub_rectype == RECTYPE_FIXED && lub.lub_f_direct && lub.lub_f_formatted && lub.lub_f_compat_io;
}

/// First data byte of the current formatted record, also of one that several statements have written.
u8* formatted_record_data(const For_Lub& lub);

/// Points cursor and limit at the data area of a fresh formatted record, sets lub_a_data_start and clears
/// lub_a_high_water: 0, or MSG_RECORD_TYPE for SEGMENTED.
[[nodiscard]] int layout_formatted_record(For_Lub& lub);

/// layout_formatted_record, and blanks the record's lub_rec_bytes.
[[nodiscard]] int start_formatted_record(For_Lub& lub);

/// The same for an unformatted record. `segment_control` is the control word of a SEGMENTED record.
[[nodiscard]] int layout_unformatted_record(For_Lub& lub, u16 segment_control);

#endif
