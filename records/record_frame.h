// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Where a record's data lies in the buffer, by record type.
#ifndef TAMRUN_RECORDS_RECORD_FRAME_H
#define TAMRUN_RECORDS_RECORD_FRAME_H

#include "tamrun/lub.h"

/// Points cursor and limit at the data area of a fresh formatted record, sets lub_a_data_start and clears
/// lub_a_high_water: 0, or MSG_RECORD_TYPE for SEGMENTED.
[[nodiscard]] int layout_formatted_record(For_Lub& lub);

/// layout_formatted_record, and blanks the record's lub_rec_bytes.
[[nodiscard]] int start_formatted_record(For_Lub& lub);

#endif
