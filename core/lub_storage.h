// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Giving back what a logical unit block owns.
#ifndef TAMRUN_CORE_LUB_STORAGE_H
#define TAMRUN_CORE_LUB_STORAGE_H

#include "tamrun/lub.h"

/// Frees the state block of formatted statements and the compiled format that it may own.
void free_state_block(For_Lub& lub);

/// Zeroes the block from lub_a_aio to its end, but for the running statement's hold on it: lub_thread,
/// lub_a_hash_next, lub_a_backup_scope, lub_a_context, lub_f_busy and the unit number. Frees nothing. A default unit
/// goes back to DEFAULT_UNCONNECTED.
void wipe_lub(For_Lub& lub);

#endif
