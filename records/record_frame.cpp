// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Where a record's data lies in the buffer, by record type.

#include "records/record_frame.h"

#include <string.h>

#include <algorithm>
#include <array>

#include "core/failure.h"

namespace {

/// Control bytes in front of and behind the data.
struct Frame_Rule {
  u8 lead;
  u8 trail;
};

constexpr std::array<Frame_Rule, kRecordTypes> kFrame = {{
    {0, 0},                      // RECTYPE_NONE
    {0, 0},                      // RECTYPE_FIXED
    {kLengthWord, kLengthWord},  // RECTYPE_VARIABLE_KEYWORD
    {4, 0},                      // RECTYPE_SEGMENTED: byte count and control word, unformatted only
    {kLengthWord, kLengthWord},  // RECTYPE_VARIABLE
    {0, 0},                      // RECTYPE_STREAM
    {0, 1},                      // RECTYPE_STREAM_LF
    {0, 1},                      // RECTYPE_STREAM_CR
    {0, 1},                      // RECTYPE_STREAM_CRLF
}};

/// The longest segment: its count is a 16-bit word. Even, so that none but the last is padded.
constexpr i64 kMostSegment = kSegmentCount + UINT16_MAX - 1;

u8* buffer_end(const For_Lub& lub) { return lub.lub_a_buffer + lub.lub_buffer_size; }

/// Cursor and limit by the table. The limit never passes the buffer, whatever the connection's sizes say.
void apply_frame(For_Lub& lub, const Frame_Rule& rule) {
  u8* base = record_base(lub);
  lub.lub_a_cursor = base + rule.lead;
  lub.lub_a_rec_end = std::min(base + lub.lub_rec_bytes - rule.trail, buffer_end(lub));
}

int unknown_record_type() {
  TAMRUN_INTERNAL_ERROR("record_frame.cpp");
  return MSG_INTERNAL_CONSISTENCY;
}

bool has_line_end_in_type(const For_Lub& lub) {
  return lub.lub_rectype >= RECTYPE_STREAM_LF && lub.lub_rectype <= RECTYPE_STREAM_CRLF;
}

}  // namespace

u8* formatted_record_data(const For_Lub& lub) {
  if (lub.lub_f_direct && lub.lub_rectype == RECTYPE_FIXED) return record_base(lub) + (is_marked_relative(lub) ? 1 : 0);
  const int lead = lub.lub_rectype < kRecordTypes ? kFrame[lub.lub_rectype].lead : 0;
  return record_base(lub) + lead + (lub.lub_cc == CC_FORTRAN ? kFortranWork : 0);
}

int layout_framed_record(For_Lub& lub) {
  if (lub.lub_rectype >= kRecordTypes) return unknown_record_type();
  if (lub.lub_rectype == RECTYPE_SEGMENTED) return MSG_RECORD_TYPE;
  apply_frame(lub, kFrame[lub.lub_rectype]);
  if (is_crlf_direct(lub)) {
    lub.lub_a_rec_end -= kCrLf;
  } else if (lub.lub_cc == CC_FORTRAN || lub.lub_cc == CC_LIST) {
    if (lub.lub_cc == CC_FORTRAN) lub.lub_a_cursor += kFortranWork;
    if (!has_line_end_in_type(lub)) lub.lub_a_rec_end -= 1;
  }
  lub.lub_a_data_start = lub.lub_a_cursor;
  lub.lub_a_high_water = nullptr;
  return 0;
}

int start_formatted_record(For_Lub& lub) {
  if (int code = layout_formatted_record(lub)) return code;
  u8* base = record_base(lub);
  memset(base, ' ', std::min<i64>(lub.lub_rec_bytes, buffer_end(lub) - base));
  return 0;
}

i64 subrecord_limit = kMostSubrecord;

void widen_unformatted_record(For_Lub& lub) {
  lub.lub_a_rec_end = is_variable(lub) ? variable_record_end(lub, record_base(lub)) : buffer_end(lub);
}

int frame_unformatted_record(For_Lub& lub, Segment_Control control) {
  if (lub.lub_rectype >= kRecordTypes) return unknown_record_type();
  apply_frame(lub, kFrame[lub.lub_rectype]);
  if (lub.lub_rectype == RECTYPE_SEGMENTED) {
    u8* base = record_base(lub);
    base[kSegmentCount] = static_cast<u8>(control);
    base[kSegmentCount + 1] = 0;
    u8* const most = std::min(base + kMostSegment, buffer_end(lub) - 1);  // a byte of padding may follow
    lub.lub_a_rec_end = std::min(lub.lub_a_rec_end, most);
  }
  lub.lub_a_data_start = lub.lub_a_cursor;
  lub.lub_a_high_water = nullptr;
  return 0;
}

int layout_framed_unformatted_record(For_Lub& lub, Segment_Control control) {
  if (int code = frame_unformatted_record(lub, control)) return code;
  if (lub.lub_rectype == RECTYPE_STREAM) widen_unformatted_record(lub);
  return 0;
}
