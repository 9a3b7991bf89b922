// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Output records that wait in the buffer, for the writers of this folder.
#ifndef TAMRUN_RECORDS_HELD_OUTPUT_H
#define TAMRUN_RECORDS_HELD_OUTPUT_H

#include "tamrun/lub.h"

/// True when the record that ends at `end` may wait: two more of its size fit behind it.
inline bool has_room_to_hold(const For_Lub& lub, const u8* end) {
  return lub.lub_f_buffered && !lub.lub_f_write_through &&
         lub.lub_a_buffer + lub.lub_buffer_size - end > 2 * lub.lub_rec_bytes;
}

/// The record stays in the buffer, which ends at `end` now.
inline void hold_output(For_Lub& lub, u8* end, i64 length) {
  lub.lub_a_rec_start = lub.lub_a_cursor = end;
  lub.lub_a_rec_end = end + lub.lub_rec_bytes;
  lub.lub_f_buffer_held = 1;
  lub.lub_file_pos += length;
}

#endif
