// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Per-thread block of the library.
#ifndef TAMRUN_THREAD_STORAGE_H
#define TAMRUN_THREAD_STORAGE_H

#include "tamrun/locks.h"

struct For_Lub;

/// Record of the last I/O failure, read back by the error inquiry entry points.
struct For_Errsns {
  u32 user_code;    ///< value that IOSTAT= received
  u32 saved_errno;  ///< lub_errno at the failure
  u32 reserved;     ///< 0
  u32 unit;
  u32 reserved2;  ///< 0
};
static_assert(sizeof(For_Errsns) == 20);

/// Length of ts_errsns_text in bytes.
inline constexpr int kErrsnsTextLength = 64;

/// One per thread; for__static_threadstor_private serves every caller below FOR_K_REENTRANCY_THREADED and is the
/// template for each new thread's block.
struct For_Thread_Storage {
  For_Lub* ts_internal_lubs;               ///< top of the thread's stack of internal-file LUBs
  i32 ts_ran_seeds[2];                     ///< seeds of the default random generator
  For_Errsns ts_errsns;                    ///< last I/O failure of this thread
  char ts_errsns_text[kErrsnsTextLength];  ///< keyword text of MSG_CONNECTED_SPECIFIER and its _VALUE twin
  For_Saved_Mask ts_sigmask;               ///< mask saved in FOR_K_REENTRANCY_ASYNCH
  For_Lub* ts_spare_internal;              ///< an internal-file LUB with its state block, for the next statement
};
static_assert(offsetof(For_Thread_Storage, ts_internal_lubs) == 0);
static_assert(offsetof(For_Thread_Storage, ts_ran_seeds) == 8);
static_assert(offsetof(For_Thread_Storage, ts_errsns) == 16);
static_assert(offsetof(For_Thread_Storage, ts_errsns_text) == 36);

extern "C" {
extern For_Thread_Storage for__static_threadstor_private;
}

#endif
