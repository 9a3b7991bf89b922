// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Access to the per-thread block.
#ifndef TAMRUN_CORE_THREAD_STORAGE_H
#define TAMRUN_CORE_THREAD_STORAGE_H

#include "core/locks.h"
#include "tamrun/thread_storage.h"

extern "C" {
/// The calling thread's block, made at first use: 0 or MSG_NO_MEMORY. For threaded mode.
[[nodiscard]] int for__access_threadstor_threads(For_Thread_Storage** out);
/// The same; in FOR_K_REENTRANCY_ASYNCH also blocks signals into ts_sigmask.
[[nodiscard]] int for__acquire_threadstor_threads(For_Thread_Storage** out);
}

/// The calling thread's block in threaded mode, null before its first use.
extern thread_local For_Thread_Storage* t_thread_storage __attribute__((tls_model("initial-exec")));

/// The block that serves the calling thread in the mode in force: 0 or MSG_NO_MEMORY.
[[nodiscard]] inline int thread_storage(For_Thread_Storage** out) {
  *out = &for__static_threadstor_private;
  if (!threaded_mode()) return 0;
  *out = t_thread_storage;
  return *out != nullptr ? 0 : for__access_threadstor_threads(out);
}

/// Copies a record that a signal handler may read or store at the same time: repeats until both compare equal.
void copy_until_equal(void* to, const void* from, size_t bytes);

#endif
