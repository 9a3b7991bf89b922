// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The length-byte form of unformatted sequential files.

#include "records/length_byte_form.h"

#include <string.h>

#include <algorithm>

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/for_put_unf.h"

namespace {

/// A block with both length bytes. The buffer always has room for the whole one, so that its first byte can be put right.
constexpr i64 kWholeBlock = kBlockBytes + 2;

i64 room(const For_Lub& lub) { return lub.lub_a_buffer + lub.lub_buffer_size - lub.lub_a_cursor; }

/// Hands over what stands in the buffer and goes on at its start if need be: 0 or a message.
int make_room(For_Lub& lub) {
  if (int code = for__put_su(&lub)) return code;
  lub.lub_f_check_file_mark = 0;
  if (int code = layout_unformatted_record(lub, SEGMENT_WHOLE)) return code;
  if (room(lub) >= kWholeBlock) return 0;
  if (lub.lub_f_buffer_held) {
    if (int code = for__flush_file_buffer(&lub)) return code;
  }
  if (lub.lub_buffer_size < kWholeBlock) {
    if (int code = resize_buffer(lub, kWholeBlock)) return code;
  }
  lub.lub_a_rec_start = nullptr;
  return layout_unformatted_record(lub, SEGMENT_WHOLE);
}

int open_block(For_Lub& lub) {
  if (room(lub) < kWholeBlock) {
    if (int code = make_room(lub)) return code;
  }
  *lub.lub_a_cursor++ = kFullBlock;
  lub.lub_a_data_start = lub.lub_a_cursor;
  lub.lub_a_rec_end = lub.lub_a_cursor + kBlockBytes;
  return 0;
}

void close_block(For_Lub& lub, u8 length_byte) {
  lub.lub_a_data_start[-1] = length_byte;
  *lub.lub_a_cursor++ = length_byte;
}

/// Makes the next byte of the file the one at the cursor: 0 or what for__get_s gives.
int bring_byte(For_Lub& lub) { return lub.lub_a_cursor < lub.lub_a_rec_end ? 0 : for__get_s(&lub, nullptr, nullptr); }

/// Data is only what for__read_ufseq gives: what lies behind the cursor has length bytes in between.
void close_window(For_Lub& lub) { lub.lub_a_rec_end = lub.lub_a_cursor; }

/// Comes to the next block of the record, or behind the record, where lub_ms_tail is kNoBlock again.
int next_block(For_Lub& lub) {
  if (int code = bring_byte(lub)) return code;
  if (lub.lub_ms_tail != kNoBlock) {
    if (*lub.lub_a_cursor != lub.lub_ms_tail) return MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE;
    ++lub.lub_a_cursor;
    const bool last = lub.lub_ms_tail != kFullBlock;
    lub.lub_ms_tail = kNoBlock;
    if (last) return 0;
    if (int code = bring_byte(lub)) return code;
  }
  const u8 length_byte = *lub.lub_a_cursor;
  if (length_byte == kFileEnd) return MSG_END_OF_FILE_ENCOUNTERED;  // stays, for a WRITE to overwrite
  if (length_byte > kFullBlock) return MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE;
  ++lub.lub_a_cursor;
  lub.lub_ms_tail = length_byte;
  lub.lub_ms_block_left = std::min<i64>(length_byte, kBlockBytes);
  return 0;
}

}  // namespace

int begin_length_byte_record(For_Lub& lub) {
  lub.lub_f_ufseq_write_open = 1;
  if (lub.lub_f_check_file_mark) {
    if (room(lub) == 0) {
      if (int code = make_room(lub)) return code;
    }
    *lub.lub_a_cursor++ = kFileMark;
  }
  return open_block(lub);
}

int put_length_byte_data(For_Lub& lub, const u8* data, i64 length) {
  for (;;) {
    const i64 piece = std::min(length, lub.lub_a_rec_end - lub.lub_a_cursor);
    memcpy(lub.lub_a_cursor, data, piece);
    lub.lub_a_cursor += piece;
    data += piece;
    length -= piece;
    if (length == 0) return 0;
    close_block(lub, kFullBlock);
    if (int code = open_block(lub)) return code;
  }
}

int finish_length_byte_record(For_Lub& lub) {
  close_block(lub, static_cast<u8>(lub.lub_a_cursor - lub.lub_a_data_start));
  return for__put_su(&lub);
}

int enter_length_byte_record(For_Lub& lub) {
  lub.lub_ms_tail = kNoBlock;
  lub.lub_ms_block_left = 0;
  if (lub.lub_f_check_file_mark) {
    if (*lub.lub_a_cursor != kFileMark) return MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE;
    ++lub.lub_a_cursor;
    lub.lub_f_check_file_mark = 0;
  }
  close_window(lub);
  return 0;
}

int for__read_ufseq(For_Lub* lub_pointer, void* data, i64 length) {
  For_Lub& lub = *lub_pointer;
  u8* to = static_cast<u8*>(data);
  lub.lub_a_rec_end = lub.lub_a_read_end;
  while (length > 0 || to == nullptr) {
    if (lub.lub_ms_block_left == 0) {
      const bool in_record = lub.lub_ms_tail != kNoBlock;
      if (int code = next_block(lub)) return code;
      if (in_record && lub.lub_ms_tail == kNoBlock) return to == nullptr ? 0 : MSG_TOO_MANY_BYTES_READ_FROM;
      continue;
    }
    if (int code = bring_byte(lub)) return code;
    i64 piece = std::min(lub.lub_ms_block_left, lub.lub_a_rec_end - lub.lub_a_cursor);
    if (to != nullptr) {
      piece = std::min(piece, length);
      memcpy(to, lub.lub_a_cursor, piece);
      to += piece;
      length -= piece;
    }
    lub.lub_a_cursor += piece;
    lub.lub_ms_block_left -= piece;
  }
  close_window(lub);
  return 0;
}

extern "C" int for__finish_ufseq_write(For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  if (lub.lub_stream_kind != STREAM_MS_UNF_SEQUENTIAL || !lub.lub_f_ufseq_write_open) return 0;
  constexpr i64 kMarks = 2;
  if (int code = for__flush_readahead(&lub, 0)) return code;
  if (int code = layout_unformatted_record(lub, SEGMENT_WHOLE)) return code;
  if (room(lub) < kMarks) {
    if (int code = make_room(lub)) return code;
  }
  if (lub.lub_f_check_file_mark) *lub.lub_a_cursor++ = kFileMark;
  *lub.lub_a_cursor++ = kFileEnd;
  if (int code = for__put_su(&lub)) return code;
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  lub.lub_f_check_file_mark = 0;
  lub.lub_f_ufseq_write_open = 0;
  return 0;
}
