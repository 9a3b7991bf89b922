// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units that have been closed while other threads may still wait for them.
#ifndef TAMRUN_UNITS_EVAPORATED_H
#define TAMRUN_UNITS_EVAPORATED_H

#include "units/unit_table.h"

/// 0, MSG_NO_MEMORY or MSG_LOCK_CONTENTION.
[[nodiscard]] int add_evaporated(For_Lub* lub);

/// Nothing happens when the LUB is not on the list.
void remove_evaporated(const For_Lub* lub);

#endif
