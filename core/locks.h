// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Locks in the three reentrancy modes, once-blocks and simple semaphores.
#ifndef TAMRUN_CORE_LOCKS_H
#define TAMRUN_CORE_LOCKS_H

#include <sys/single_threaded.h>

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

inline constexpr u32 kHeldAndAwaited = 2;  ///< res_holds: somebody may sleep

/// True while the process has no second thread: nobody contends for a lock or sleeps on one, and plain loads and stores do
/// for locked instructions. It turns false before a second thread runs, which then sees all stores before.
inline bool alone_in_process() { return __libc_single_threaded != 0; }

/// Threaded mode: takes the resource if nobody has it. Never waits, so that it may be tried with any lock held.
[[nodiscard]] inline bool resource_try_acquire(For_Resource& r) {
  u32 idle = 0;
  if (alone_in_process()) {
    if (__atomic_load_n(&r.res_holds, __ATOMIC_RELAXED) != 0) return false;
    __atomic_store_n(&r.res_holds, 1u, __ATOMIC_RELAXED);
    return true;
  }
  return __atomic_compare_exchange_n(&r.res_holds, &idle, 1u, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

/// Wakes one who sleeps on the resource.
void resource_wake(For_Resource& r);

/// Threaded mode: gives the resource back.
inline void resource_give_back(For_Resource& r) {
  if (alone_in_process()) {
    __atomic_store_n(&r.res_holds, 0u, __ATOMIC_RELEASE);
    return;
  }
  // The next holder may free the record as soon as the word is 0: waking somebody at its address does no harm then.
  if (__atomic_exchange_n(&r.res_holds, 0u, __ATOMIC_RELEASE) == kHeldAndAwaited) [[unlikely]]
    resource_wake(r);
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
