// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Locks in the three reentrancy modes, once-blocks and simple semaphores.
#ifndef TAMRUN_CORE_LOCKS_H
#define TAMRUN_CORE_LOCKS_H

#include "tamrun/locks.h"

/// Returns the mode in force; sets *mode unless it is FOR_K_REENTRANCY_INFO.
TAMRUN_ENTRY int for_set_reentrancy(int* mode);

extern "C" {

extern i32 for__reentrancy_initialized;  ///< times the lock tables have been initialised
extern sigset_t for__asynch_mask;        ///< every signal: what is blocked around critical stretches

void for__reentrancy_init(void);     ///< initialises the locks of all tables, once per process
void for__reentrancy_cleanup(void);  ///< forgets the owners of the direct rows, once per process

/// Runs the routine exactly once per block. Ends the process with MSG_LOCK_CONTENTION when the block cannot be had.
void for__once_private(For_Once_Block* block, int (*routine)(void));

/// Spins until the word is taken: 0 or MSG_LOCK_CONTENTION.
[[nodiscard]] int for__acquire_semaphore_threaded(u32* word);

/// 0 or MSG_LOCK_CONTENTION. Below threaded mode a second acquisition fails at once.
[[nodiscard]] int for__resource_acquire(For_Resource* r);
[[nodiscard]] int for__resource_release(For_Resource* r);
int for__release_mutex(pthread_mutex_t* m);

/// Blocks every signal and stores the mask that was in force.
int for__disable_asynch_deliv_private(sigset_t* old);
int for__enable_asynch_deliv_private(sigset_t mask);

}  // extern "C"

inline bool threaded_mode() { return for__reentrancy_mode == FOR_K_REENTRANCY_THREADED; }

/// Threaded mode: takes the resource if nobody has it. Never waits, so that it may be tried with any lock held.
[[nodiscard]] inline bool resource_try_acquire(For_Resource& r) {
  u32 idle = 0;
  return __atomic_compare_exchange_n(&r.res_holds, &idle, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

/// Holds a simple semaphore for its scope.
class Semaphore_Guard {
 public:
  explicit Semaphore_Guard(u32& word);
  ~Semaphore_Guard();
  Semaphore_Guard(const Semaphore_Guard&) = delete;
  Semaphore_Guard& operator=(const Semaphore_Guard&) = delete;
  /// 0, or MSG_LOCK_CONTENTION when the semaphore is not held.
  [[nodiscard]] int status() const { return status_; }

 private:
  u32& word_;
  int status_;
};

#endif
