// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Access to the per-thread block.
#ifndef TAMRUN_CORE_THREAD_STORAGE_H
#define TAMRUN_CORE_THREAD_STORAGE_H

#include "tamrun/thread_storage.h"

extern "C" {
/// The calling thread's block, made at first use: 0 or MSG_NO_MEMORY. For threaded mode.
[[nodiscard]] int for__access_threadstor_threads(For_Thread_Storage** out);
/// The same; in FOR_K_REENTRANCY_ASYNCH also blocks signals into ts_sigmask.
[[nodiscard]] int for__acquire_threadstor_threads(For_Thread_Storage** out);
}

/// The block that serves the calling thread in the mode in force: 0 or MSG_NO_MEMORY.
[[nodiscard]] int thread_storage(For_Thread_Storage** out);

/// Copies a record that a signal handler may read or store at the same time: repeats until both compare equal.
void copy_until_equal(void* to, const void* from, size_t bytes);

#endif
