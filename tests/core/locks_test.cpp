// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Locks, once-blocks, semaphores and thread storage in the three reentrancy modes.

#include "core/locks.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/thread_storage.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

constexpr int kThreads = 8;

/// The reentrancy mode of a scope.
class Mode {
 public:
  explicit Mode(int mode) : old_(for_set_reentrancy(&mode)) {}
  ~Mode() { for_set_reentrancy(&old_); }

 private:
  int old_;
};

template <class F>
void in_threads(F&& body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(body);
  for (std::thread& thread : threads) thread.join();
}

bool blocked(int signal) {
  sigset_t now;
  pthread_sigmask(SIG_BLOCK, nullptr, &now);
  return sigismember(&now, signal) == 1;
}

TEST(Reentrancy, AskingLeavesTheModeAlone) {
  const auto asked = [] {
    int mode = FOR_K_REENTRANCY_INFO;
    return for_set_reentrancy(&mode);
  };
  EXPECT_EQ(asked(), FOR_K_REENTRANCY_THREADED);
  {
    Mode scope(FOR_K_REENTRANCY_NONE);
    EXPECT_EQ(asked(), FOR_K_REENTRANCY_NONE);
  }
  EXPECT_EQ(asked(), FOR_K_REENTRANCY_THREADED);
}

std::atomic<int> once_runs, once_finished;
bool once_blocked;
int count_once() {
  ++once_runs;
  once_blocked = blocked(SIGUSR1);
  usleep(20000);
  ++once_finished;
  return 0;
}

TEST(Once, EightThreadsRunItOnceAndAllWaitForIt) {
  For_Once_Block block = {};
  once_runs = once_finished = 0;
  in_threads([&] {
    for__once_private(&block, count_once);
    EXPECT_EQ(once_finished, 1);
  });
  EXPECT_EQ(once_runs, 1);
  EXPECT_EQ(block.busy, 0u);
  EXPECT_EQ(block.done, 1u);
}

TEST(Once, BelowThreadedModeSignalsWaitInModeOneOnly) {
  for (int mode : {FOR_K_REENTRANCY_NONE, FOR_K_REENTRANCY_ASYNCH}) {
    Mode scope(mode);
    For_Once_Block block = {};
    once_runs = 0;
    for__once_private(&block, count_once);
    for__once_private(&block, count_once);
    EXPECT_EQ(once_runs, 1);
    EXPECT_EQ(once_blocked, mode == FOR_K_REENTRANCY_ASYNCH);
    EXPECT_FALSE(blocked(SIGUSR1));
    EXPECT_EQ(block.busy, 0u);
  }
}

TEST(Once, BusyBelowThreadedModeEndsTheProcess) {
  const auto child = run_child([] {
    Mode scope(FOR_K_REENTRANCY_NONE);
    For_Once_Block block = {1, 0};
    for__once_private(&block, count_once);
  });
  EXPECT_EQ(child.status, MSG_LOCK_CONTENTION);
}

TEST(Resource, BelowThreadedModeASecondHoldFailsAtOnce) {
  for (int mode : {FOR_K_REENTRANCY_NONE, FOR_K_REENTRANCY_ASYNCH}) {
    Mode scope(mode);
    For_Resource r = {};
    EXPECT_EQ(for__resource_acquire(&r), 0);
    EXPECT_EQ(for__resource_acquire(&r), MSG_LOCK_CONTENTION);
    EXPECT_EQ(for__resource_release(&r), 0);
    EXPECT_EQ(for__resource_acquire(&r), 0);
    EXPECT_EQ(for__resource_release(&r), 0);
  }
}

TEST(Resource, ThreadsExcludeEachOther) {
  For_Resource r = {};
  u32 word = 0;
  long by_resource = 0, by_semaphore = 0;  // plain on purpose: the locks alone protect them
  constexpr long kRounds = 5000;
  in_threads([&] {
    for (long i = 0; i < kRounds; ++i) {
      ASSERT_EQ(for__resource_acquire(&r), 0);
      ++by_resource;
      ASSERT_EQ(for__resource_release(&r), 0);
      Semaphore_Guard guard(word);
      ASSERT_EQ(guard.status(), 0);
      ++by_semaphore;
    }
  });
  EXPECT_EQ(by_resource, kThreads * kRounds);
  EXPECT_EQ(by_semaphore, kThreads * kRounds);
  EXPECT_EQ(r.res_holds, 0u);
  EXPECT_EQ(r.res_guard, 0u);
  EXPECT_EQ(word, 0u);
}

TEST(Resource, ABlockedThreadCountsAsAHolder) {
  For_Resource r = {};
  ASSERT_EQ(for__resource_acquire(&r), 0);
  std::thread waiter([&] {
    EXPECT_EQ(for__resource_acquire(&r), 0);
    EXPECT_EQ(for__resource_release(&r), 0);
  });
  while (__atomic_load_n(&r.res_holds, __ATOMIC_RELAXED) != 2) std::this_thread::yield();
  EXPECT_EQ(for__resource_release(&r), 0);
  waiter.join();
  EXPECT_EQ(r.res_holds, 0u);
}

TAMRUN_CHILD_TEST(Resource, IsTakenOnceAloneAndBesideAnotherThread) {
  For_Resource r = {};
  auto take_twice = [&r] {
    EXPECT_TRUE(resource_try_acquire(r));
    EXPECT_FALSE(resource_try_acquire(r));
    EXPECT_EQ(for__resource_release(&r), 0);
    EXPECT_EQ(r.res_holds, 0u);
  };
  take_twice();
  // Taken while the process has one thread, given back while it has two.
  EXPECT_TRUE(resource_try_acquire(r));
  std::atomic<bool> tried = false, over = false;
  std::thread other([&] {
    EXPECT_FALSE(resource_try_acquire(r));
    tried = true;
    while (!over) std::this_thread::yield();
  });
  EXPECT_FALSE(alone_in_process());
  while (!tried) std::this_thread::yield();
  EXPECT_EQ(for__resource_release(&r), 0);
  take_twice();
  over = true;
  other.join();
}

TEST(Semaphore, BelowThreadedModeIsAPlainFlag) {
  Mode scope(FOR_K_REENTRANCY_NONE);
  u32 word = 0;
  {
    Semaphore_Guard guard(word), again(word);
    EXPECT_EQ(word, 1u);
    EXPECT_EQ(again.status(), 0);
  }
  EXPECT_EQ(word, 0u);
}

TEST(Signals, EverySignalIsBlockedAndTheMaskComesBack) {
  sigset_t old;
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, SIGUSR2);
  pthread_sigmask(SIG_BLOCK, &one, nullptr);
  ASSERT_EQ(for__disable_asynch_deliv_private(&old), 0);
  for (int signal : {SIGHUP, SIGINT, SIGUSR1, SIGALRM, SIGCHLD, SIGRTMIN, SIGRTMAX}) EXPECT_TRUE(blocked(signal));
  ASSERT_EQ(for__enable_asynch_deliv_private(old), 0);
  EXPECT_FALSE(blocked(SIGINT));
  EXPECT_TRUE(blocked(SIGUSR2));
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
}

TEST(ThreadStorage, EachThreadHasItsOwnAndItEndsWithTheThread) {
  For_Thread_Storage* own;
  ASSERT_EQ(thread_storage(&own), 0);
  const long before = vm_live_blocks();
  std::thread([&] {
    For_Thread_Storage* other;
    {
      Fail_Vm fail(1);
      EXPECT_EQ(thread_storage(&other), MSG_NO_MEMORY);
      EXPECT_TRUE(fail.hit());
    }
    ASSERT_EQ(thread_storage(&other), 0);
    EXPECT_NE(other, own);
    EXPECT_EQ(other->ts_ran_seeds[0], 0x7FFFFFAA);
    EXPECT_EQ(other->ts_ran_seeds[1], 0x7FFFFF06);
    EXPECT_EQ(vm_live_blocks(), before + 1);
    For_Thread_Storage* again;
    ASSERT_EQ(thread_storage(&again), 0);
    EXPECT_EQ(again, other);
  }).join();
  EXPECT_EQ(vm_live_blocks(), before);
}

TEST(ThreadStorage, BelowThreadedModeOneBlockServesAll) {
  Mode scope(FOR_K_REENTRANCY_ASYNCH);
  For_Thread_Storage* own;
  ASSERT_EQ(thread_storage(&own), 0);
  EXPECT_EQ(own, &for__static_threadstor_private);
  ASSERT_EQ(for__acquire_threadstor_threads(&own), 0);
  EXPECT_TRUE(blocked(SIGUSR1));
  for__enable_asynch_deliv_private(own->ts_sigmask.mask);
  EXPECT_FALSE(blocked(SIGUSR1));
}

}  // namespace
