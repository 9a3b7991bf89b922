// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Giving back what a logical unit block owns.
#ifndef TAMRUN_UNITS_LUB_STORAGE_H
#define TAMRUN_UNITS_LUB_STORAGE_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

extern "C" {
extern char for__default_name_str[];  ///< file name of a unit without one
}

/// Frees the compiled format that a state block may own.
void free_runtime_format(For_Fmt_Isb& block);

/// Frees the state block of formatted statements and the compiled format that it may own.
void free_state_block(For_Lub& lub);

/// Frees buffer, file name and state block, and leaves the file-info record; the unit is then called
/// for__default_name_str. 0, or why the record could not be left.
int free_connection(For_Lub& lub);

// for__abandon_connection, which gives up what an OPEN could not finish, is declared in tamrun/hooks.h.

/// Zeroes the block from lub_a_aio to its end, but for the running statement's hold on it: lub_thread,
/// lub_a_hash_next, lub_a_backup_scope, lub_a_context, lub_f_busy, lub_f_deallocating and the unit number. Frees nothing. A default unit
/// goes back to DEFAULT_UNCONNECTED.
void wipe_lub(For_Lub& lub);

#endif
