// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Where a record's data lies in the buffer, by record type.
#ifndef TAMRUN_RECORDS_RECORD_FRAME_H
#define TAMRUN_RECORDS_RECORD_FRAME_H

#include <string.h>

#include "tamrun/lub.h"

/// Bytes of a length word of a VARIABLE record, in front of and behind the data.
inline constexpr int kLengthWord = 4;

/// Most data bytes of a subrecord: with both length words it stays within what a signed word can tell.
inline constexpr i64 kMostSubrecord = 2147483639;
/// The limit in force, which tests lower.
extern i64 subrecord_limit;

/// Stores a length word in the file's byte order.
inline void store_length_word(const For_Lub& lub, u8* where, i64 length) {
  u32 word = static_cast<u32>(length);
  if (lub.lub_f_big_endian_words) word = __builtin_bswap32(word);
  memcpy(where, &word, sizeof word);
}

inline i64 length_word(const For_Lub& lub, const u8* where) {
  u32 word;
  memcpy(&word, where, sizeof word);
  return static_cast<i32>(lub.lub_f_big_endian_words ? __builtin_bswap32(word) : word);
}

/// Control words of the segments of a SEGMENTED record, which are little-endian whatever CONVERT says.
enum Segment_Control : u16 { SEGMENT_MIDDLE = 0, SEGMENT_FIRST = 1, SEGMENT_LAST = 2, SEGMENT_WHOLE = 3 };

/// Bytes of the count in front of a segment, and of the control word, which the count includes.
inline constexpr int kSegmentCount = 2, kSegmentControl = 2;

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

/// Direct records of a relative file begin with a status byte, a blank in a written one.
inline bool is_marked_relative(const For_Lub& lub) {
  return lub.lub_org == ORG_RELATIVE && lub.lub_f_direct && lub.lub_f_legacy_defaults;
}

/// First data byte of the current formatted record, also of one that several statements have written.
u8* formatted_record_data(const For_Lub& lub);

/// Lines of a text file, as nearly all formatted records are: data and a line feed.
inline bool is_plain_line(const For_Lub& lub) { return lub.lub_rectype == RECTYPE_STREAM_LF && lub.lub_cc == CC_LIST; }

/// layout_formatted_record for all other records.
[[nodiscard]] int layout_framed_record(For_Lub& lub);

/// Points cursor and limit at the data area of a fresh formatted record, sets lub_a_data_start and clears
/// lub_a_high_water: 0, or MSG_RECORD_TYPE for SEGMENTED.
[[nodiscard]] inline int layout_formatted_record(For_Lub& lub) {
  if (!is_plain_line(lub)) return layout_framed_record(lub);
  u8* const base = record_base(lub);
  u8* const buffer_end = lub.lub_a_buffer + lub.lub_buffer_size;
  u8* const end = base + lub.lub_rec_bytes - 1;
  lub.lub_a_cursor = lub.lub_a_data_start = base;
  lub.lub_a_rec_end = end < buffer_end ? end : buffer_end;
  lub.lub_a_high_water = nullptr;
  return 0;
}

/// layout_formatted_record, and blanks the record's lub_rec_bytes.
[[nodiscard]] int start_formatted_record(For_Lub& lub);

/// Where the data of a VARIABLE record ends at the latest: within the buffer and a subrecord.
inline u8* variable_record_end(const For_Lub& lub, u8* base) {
  u8* const buffer_end = lub.lub_a_buffer + lub.lub_buffer_size - kLengthWord;
  return buffer_end - base < kLengthWord + subrecord_limit ? buffer_end : base + kLengthWord + subrecord_limit;
}

/// Gives a VARIABLE or STREAM record that is being built all the room that the buffer and a subrecord have.
void widen_unformatted_record(For_Lub& lub);

/// The same for an unformatted record, with no more than lub_rec_bytes. `control` is the control word of a SEGMENTED
/// record.
[[nodiscard]] int frame_unformatted_record(For_Lub& lub, Segment_Control control);

/// layout_unformatted_record for all but VARIABLE records.
[[nodiscard]] int layout_framed_unformatted_record(For_Lub& lub, Segment_Control control);

/// layout_formatted_record for an unformatted record. `control` is the control word of a SEGMENTED record. VARIABLE and
/// STREAM records have the whole buffer: what is longer flows to the file.
[[nodiscard]] inline int layout_unformatted_record(For_Lub& lub, Segment_Control control) {
  if (!is_variable(lub)) return layout_framed_unformatted_record(lub, control);
  u8* const base = record_base(lub);
  lub.lub_a_cursor = lub.lub_a_data_start = base + kLengthWord;
  lub.lub_a_rec_end = variable_record_end(lub, base);
  lub.lub_a_high_water = nullptr;
  return 0;
}

#endif
