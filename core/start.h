// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start-up, shutdown and the globals that other parts read.
#ifndef TAMRUN_CORE_START_H
#define TAMRUN_CORE_START_H

#include "tamrun/types.h"

TAMRUN_ENTRY i32 for__l_argc;
TAMRUN_ENTRY char** for__a_argv;
TAMRUN_ENTRY i32 for__l_current_arg;       ///< next argument that a blank file name may take, from 1
TAMRUN_ENTRY i32 for__l_exit_hand_decl;    ///< 1 when some unit may need closing
TAMRUN_ENTRY i32 for__l_exit_termination;  ///< 1 while for__exit_handler runs
TAMRUN_ENTRY u32 for__l_fpe_mask;          ///< bits of For_Fpe_Summary_Bits among others
TAMRUN_ENTRY u32 for__l_undcnt;            ///< floating-point traps by kind
TAMRUN_ENTRY u32 for__l_ovfcnt;
TAMRUN_ENTRY u32 for__l_div0cnt;
TAMRUN_ENTRY u32 for__l_invcnt;
TAMRUN_ENTRY u32 for__l_inecnt;
TAMRUN_ENTRY i32 for__l_fmtrecl;  ///< size variables: 0 not read yet, kUnsetVariable, kBadVariable or the number
TAMRUN_ENTRY i32 for__l_ufmtrecl;
TAMRUN_ENTRY i32 for__l_blocksize;
TAMRUN_ENTRY i32 for__l_buffercount;
TAMRUN_ENTRY double for_process_start_time;  ///< seconds since the epoch, 0.0 until for_rtl_init_

/// A size variable that is not set, and one whose value is none.
inline constexpr i32 kUnsetVariable = -1, kBadVariable = -2;

/// Bits of for__l_fpe_mask that ask for a line of the summary at the end of the run.
enum For_Fpe_Summary_Bits : u32 {
  FPE_MSG_OVF = 0x100,
  FPE_MSG_UND = 0x200,
  FPE_MSG_DIV0 = 0x400,
  FPE_MSG_INV = 0x800,
  FPE_MSG_INE = 0x1000,
};

extern "C" {
/// Runs the whole shutdown. Returns `value` when `has_value` is not 0, else 0.
int for__exit_handler(int has_value, int value);
void for__fpe_exit_handler(void);
}
/// No work; 0.
TAMRUN_ENTRY int for__decl_exit_hand(void);

/// First call of a compiled main program; either argument may be null.
TAMRUN_ENTRY void for_rtl_init_(int* argc, char** argv);
/// Last call of a compiled main program: 0.
TAMRUN_ENTRY int for_rtl_finish_(void);
/// Shuts the library down and ends the process with *status.
TAMRUN_ENTRY void for_exit(int* status);

#endif
