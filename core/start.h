// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start-up, shutdown and the globals that other parts read.
#ifndef TAMRUN_CORE_START_H
#define TAMRUN_CORE_START_H

#include "tamrun/types.h"

extern "C" {
extern i32 for__l_argc;
extern char** for__a_argv;
extern i32 for__l_current_arg;       ///< next argument that a blank file name may take, from 1
extern i32 for__l_exit_hand_decl;    ///< 1 when some unit may need closing
extern i32 for__l_exit_termination;  ///< 1 while for__exit_handler runs
extern u32 for__l_fpe_mask, for__l_undcnt, for__l_ovfcnt, for__l_div0cnt, for__l_invcnt, for__l_inecnt;
extern i32 for__l_fmtrecl, for__l_ufmtrecl, for__l_blocksize, for__l_buffercount;  ///< -1 unset, -2 bad syntax
extern double for_process_start_time;                                              ///< seconds since the epoch

/// Runs the whole shutdown. Returns `value` when `has_value` is not 0, else 0.
int for__exit_handler(int has_value, int value);
void for__fpe_exit_handler(void);
int for__decl_exit_hand(void);
}

/// First call of a compiled main program; either argument may be null.
TAMRUN_ENTRY void for_rtl_init_(int* argc, char** argv);
/// Last call of a compiled main program: 0.
TAMRUN_ENTRY int for_rtl_finish_(void);
/// Shuts the library down and ends the process with *status.
TAMRUN_ENTRY void for_exit(int* status);

#endif
