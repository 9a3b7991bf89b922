// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Back over one record, for each layout.
#ifndef TAMRUN_RECORDS_STEP_BACK_H
#define TAMRUN_RECORDS_STEP_BACK_H

#include "tamrun/lub.h"

/// File offset of the unit's logical position, behind the record that was last read: 0, or MSG_READ_ERROR with
/// lub_errno set.
[[nodiscard]] int find_position(For_Lub& lub, i64* position);

/// Makes the record before the position the next one: 0, or MSG_BACKSPACE_ERROR with lub_errno set and the unit where it
/// was. Nothing may be held for output. The buffer becomes a window on the file that ends at the record, so that steps
/// in a row cost a read per buffer and none in between; lub_next_rec is the caller's.
[[nodiscard]] int step_back(For_Lub& lub);

#endif
