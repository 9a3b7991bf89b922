// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The heap wrappers and the signals that they hold back; the environment's boolean variables.

#include "core/heap.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <string>
#include <thread>

#include "core/environment.h"
#include "support/child.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::run_child;

constexpr i64 kImpossible = i64{1} << 62;

TEST(Heap, SizesAtTheEdge) {
  for (const i64 size : {i64{0}, i64{-1}, kImpossible}) {
    void* p = &p;
    EXPECT_EQ(for__get_vm(size, 0, &p), size == 0 ? 0 : MSG_NO_MEMORY);
    EXPECT_EQ(p, nullptr);
  }
  EXPECT_EQ(for__free_vm(nullptr), 0);
}

TEST(Heap, ReallocKeepsTheContentAndOnFailureTheBlock) {
  void* p = nullptr;
  ASSERT_EQ(for__realloc_vm(5, &p, 0), 0);
  memcpy(p, "abcd", 5);
  ASSERT_EQ(for__realloc_vm(100000, &p, 5), 0);
  EXPECT_STREQ(static_cast<char*>(p), "abcd");
  void* const before = p;
  EXPECT_EQ(for__realloc_vm(kImpossible, &p, 100000), MSG_NO_MEMORY);
  EXPECT_EQ(p, before);
  EXPECT_STREQ(static_cast<char*>(p), "abcd");
  EXPECT_EQ(for__free_vm(p), 0);
}

TAMRUN_CHILD_TEST(Heap, DisabledItFreesNothing) {
  void* p;
  ASSERT_EQ(for__get_vm(64, 0, &p), 0);
  memset(p, 7, 64);
  for__disable_vm();
  EXPECT_EQ(for__free_vm(p), 0);
  EXPECT_EQ(static_cast<char*>(p)[63], 7);  // the address sanitizer would object to a freed block
}

std::atomic<long> put_off, delivered;

void hold_back_or_count(int signal) {
  if (for__set_signal_ops_during_vm(signal) == 0) {
    ++put_off;
  } else {
    ++delivered;
  }
}

TEST(Heap, ASignalInsideIsDeliveredOnceBehindIt) {
  run_child([] {
    struct sigaction action = {};
    action.sa_handler = hold_back_or_count;
    sigaction(SIGUSR1, &action, nullptr);
    const pthread_t heap_user = pthread_self();
    constexpr long kSignals = 100;
    std::atomic<bool> finished = false;
    std::thread sender([&] {
      sigset_t mine;
      sigemptyset(&mine);
      sigaddset(&mine, SIGUSR1);
      pthread_sigmask(SIG_BLOCK, &mine, nullptr);
      for (long sent = 1; sent <= kSignals; ++sent) {
        pthread_kill(heap_user, SIGUSR1);
        while (delivered < sent) std::this_thread::yield();
        EXPECT_EQ(delivered, sent);
      }
      finished = true;
    });
    while (!finished) {
      void* p = nullptr;
      ASSERT_EQ(for__get_vm(8 << 20, 0, &p), 0);
      ASSERT_EQ(for__realloc_vm(16 << 20, &p, 8 << 20), 0);
      for__free_vm(p);
    }
    sender.join();
    EXPECT_EQ(delivered, kSignals);
    EXPECT_GT(put_off, 0) << "no signal met the thread inside the heap";
  });
}

TAMRUN_CHILD_TEST(Heap, OutsideNothingIsHeldBack) {
  EXPECT_EQ(for__set_signal_ops_during_vm(SIGUSR1), 1);
  void* p;
  for__clear_signal_ops_during_vm();
  ASSERT_EQ(for__get_vm(1, 0, &p), 0);
  for__free_vm(p);
}

TEST(Environment, Booleans) {
  const struct {
    const char* value;
    int answer;
  } rows[] = {{"T", 1},  {"true", 1}, {"Y", 1},    {"yes", 1},  {"yonder", 1}, {"no", 0},
              {"F", 0},  {"", 0},     {"0000", 0}, {"10", 1},   {"1a", 0},     {"-1", 0},
              {" 1", 0}, {"1 ", 0},   {"1", 1},    {"0001", 1}, {"+1", 0},     {"4294967296", 0}};
  for (const auto& row : rows) {
    setenv("TAMRUN_TEST_SWITCH", row.value, 1);
    EXPECT_EQ(for_check_env_name("TAMRUN_TEST_SWITCH"), row.answer) << row.value;
  }
  for (const size_t length : {260, 261}) {
    setenv("TAMRUN_TEST_SWITCH", std::string(length, 'T').c_str(), 1);
    EXPECT_EQ(for_check_env_name("TAMRUN_TEST_SWITCH"), length == 260);
  }
  unsetenv("TAMRUN_TEST_SWITCH");
  EXPECT_EQ(for_check_env_name("TAMRUN_TEST_SWITCH"), 0);
  EXPECT_EQ(for_check_env_name(nullptr), 0);
}

}  // namespace
