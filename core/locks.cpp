// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Locks in the three reentrancy modes, once-blocks and simple semaphores.

#include "core/locks.h"

#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "core/start.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

namespace {

constexpr u32 kMaxSpins = 0x7FFFFFE;
constexpr u32 kSpinsPerSleep = 10;
constexpr long kMaxSleepNanoseconds = 10000;

For_Once_Block init_once;
For_Once_Block cleanup_once;

/// Takes the word: 0 or MSG_LOCK_CONTENTION. The pauses grow with the time spent waiting.
[[nodiscard]] int spin_acquire(u32& word) {
  for (u32 round = 1;; ++round) {
    if (__atomic_exchange_n(&word, 1u, __ATOMIC_ACQUIRE) == 0) return 0;
    if (round >= kMaxSpins) return MSG_LOCK_CONTENTION;
    if (round % kSpinsPerSleep == 0) {
      const timespec pause = {0, std::min(static_cast<long>(10 * (round / 1000)), kMaxSleepNanoseconds)};
      nanosleep(&pause, nullptr);
    }
  }
}

constexpr sigset_t all_signals() {
  sigset_t all = {};
  for (auto& word : all.__val) word = ~0ul;
  return all;
}

void spin_release(u32& word) { __atomic_store_n(&word, 0u, __ATOMIC_RELEASE); }

/// Sleeps until the lock can be had: 0 or MSG_LOCK_CONTENTION. Whoever has slept cannot know who else does, so that it
/// holds the lock as one that is awaited.
[[nodiscard]] int wait_for_resource(u32& holds) {
  while (__atomic_exchange_n(&holds, kHeldAndAwaited, __ATOMIC_ACQUIRE) != 0) {
    const long failed = syscall(SYS_futex, &holds, FUTEX_WAIT_PRIVATE, kHeldAndAwaited, nullptr, nullptr, 0);
    if (failed != 0 && errno != EAGAIN && errno != EINTR) return MSG_LOCK_CONTENTION;
  }
  return 0;
}

[[noreturn]] void end_for_contention() {
  int status = MSG_LOCK_CONTENTION;
  for_exit(&status);
  __builtin_unreachable();
}

int reentrancy_init() {
  for__init_table_locks();
  ++for__reentrancy_initialized;
  return 0;
}

int reentrancy_cleanup() {
  for__forget_row_owners();
  return 0;
}

}  // namespace

extern "C" {

i32 for__reentrancy_mode = FOR_K_REENTRANCY_THREADED;
i32 for__reentrancy_initialized = 0;
sigset_t for__asynch_mask = all_signals();

int for_set_reentrancy(int* mode) {
  const int previous = for__reentrancy_mode;
  if (*mode != FOR_K_REENTRANCY_INFO) for__reentrancy_mode = *mode;
  return previous;
}

void for__reentrancy_init(void) { for__once_private(&init_once, reentrancy_init); }
void for__reentrancy_cleanup(void) { for__once_private(&cleanup_once, reentrancy_cleanup); }

void for__once_private(For_Once_Block* block, int (*routine)(void)) {
  // Every statement comes here: what is done is seen without taking the word.
  if (__atomic_load_n(&block->done, __ATOMIC_ACQUIRE) != 0) return;

  if (threaded_mode()) {
    if (spin_acquire(block->busy) != 0) end_for_contention();
  } else {
    if (block->busy != 0) end_for_contention();
    block->busy = 1;
  }
  if (block->done == 0) {
    const bool block_signals = for__reentrancy_mode == FOR_K_REENTRANCY_ASYNCH;
    sigset_t old;
    if (block_signals) for__disable_asynch_deliv_private(&old);
    routine();
    __atomic_store_n(&block->done, 1u, __ATOMIC_RELEASE);
    if (block_signals) for__enable_asynch_deliv_private(old);
  }
  spin_release(block->busy);
}

int for__acquire_semaphore_threaded(u32* word) { return spin_acquire(*word); }

int for__resource_acquire(For_Resource* r) {
  if (!threaded_mode()) {
    // The guard stays set until the release, so that a second acquisition is seen at once.
    if (r->res_guard != 0) return MSG_LOCK_CONTENTION;
    r->res_guard = 1;
    return 0;
  }
  return resource_try_acquire(*r) ? 0 : wait_for_resource(r->res_holds);
}

int for__resource_release(For_Resource* r) {
  if (!threaded_mode()) {
    r->res_guard = 0;
    return 0;
  }
  resource_give_back(*r);
  return 0;
}

int for__release_mutex(pthread_mutex_t* m) {
  pthread_mutex_unlock(m);
  return 0;
}

int for__disable_asynch_deliv_private(sigset_t* old) { return pthread_sigmask(SIG_BLOCK, &for__asynch_mask, old); }
int for__enable_asynch_deliv_private(sigset_t mask) { return pthread_sigmask(SIG_SETMASK, &mask, nullptr); }

}  // extern "C"

void resource_wake(For_Resource& r) { syscall(SYS_futex, &r.res_holds, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0); }

Semaphore_Guard::Semaphore_Guard(u32& word) : word_(word), status_(0) {
  if (threaded_mode()) {
    status_ = for__acquire_semaphore_threaded(&word_);
  } else if (word_ == 0) {
    word_ = 1;
  }
}

Semaphore_Guard::~Semaphore_Guard() {
  if (status_ == 0) spin_release(word_);
}
