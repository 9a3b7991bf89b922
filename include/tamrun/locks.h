// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The lock records that stand at the head of units and table rows, and the process-wide reentrancy mode.
#ifndef TAMRUN_LOCKS_H
#define TAMRUN_LOCKS_H

#include <pthread.h>
#include <signal.h>

#include "tamrun/types.h"

/// What for__reentrancy_mode selects for the whole process.
enum For_Reentrancy : int {
  FOR_K_REENTRANCY_NONE = 0,      ///< no protection; guards are plain flags
  FOR_K_REENTRANCY_ASYNCH = 1,    ///< plain flags, signals blocked around critical stretches
  FOR_K_REENTRANCY_THREADED = 2,  ///< mutexes and atomic spin words
  FOR_K_REENTRANCY_INFO = 3,      ///< argument of for_set_reentrancy only: report, change nothing
};

/// Lock record: head of every For_Lub and of every table row.
struct For_Resource {
  i64 res_owner;  ///< owning thread in threaded mode, -1 none; set by the acquirer of a LUB or row
  u32 res_guard;  ///< below threaded mode the lock itself
  u32 res_owned;  ///< 1 while res_owner is valid
  u32 res_holds;  ///< threaded mode: holders and blocked acquirers, 2 standing for all higher counts; a futex
};

/// Signal mask saved while a row or a unit is held in FOR_K_REENTRANCY_ASYNCH.
struct For_Saved_Mask {
  sigset_t mask;
};
static_assert(sizeof(For_Saved_Mask) == 128);

/// One-time initialisation: a spin word and a done word.
struct For_Once_Block {
  u32 busy;
  u32 done;
};
static_assert(sizeof(For_Once_Block) == 8 && offsetof(For_Once_Block, done) == 4);

extern "C" {
extern i32 for__reentrancy_mode;  ///< starts at FOR_K_REENTRANCY_THREADED
}

#endif
