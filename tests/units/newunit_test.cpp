// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unit numbers for NEWUNIT=.

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/item_list.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

int take(int type) {
  int unit = 0;
  EXPECT_EQ(0, for__get_free_newunit(&unit, type));
  return unit;
}

// Each test has a map of its own, made in a child.

TAMRUN_CHILD_TEST(Newunit, NumbersDescendAndTheNearestToZeroIsReused) {
  int unit = 0;
  {
    tamrun_test::Fail_Vm fail(1);
    EXPECT_EQ(MSG_NO_MEMORY, for__get_free_newunit(&unit, ITM_INTEGER4));
  }
  for__release_newunit(-129);  // there is no map yet
  for (int next = -7; next >= -128; --next) EXPECT_EQ(next, take(ITM_INTEGER1));
  EXPECT_EQ(MSG_INTEGER_ASSIGNMENT_OVERFLOW, for__get_free_newunit(&unit, ITM_INTEGER1));
  EXPECT_EQ(-32769, unit);
  for (int type : {int{ITM_INTEGER2}, int{ITM_INTEGER4}, int{ITM_INTEGER8}})
    EXPECT_EQ(-129 - (type - ITM_INTEGER2) / 2, take(type));
  for (int back : {-9, -8, -100, -130, -129}) for__release_newunit(back);
  for (int next : {-8, -9, -100}) EXPECT_EQ(next, take(ITM_INTEGER1));
  EXPECT_EQ(-129, take(ITM_INTEGER4));
  // Numbers that were never given out come back without harm.
  for (int never : {0, 5, -1, -6, -32769, -2147483647 - 1}) for__release_newunit(never);
  EXPECT_EQ(MSG_INTEGER_ASSIGNMENT_OVERFLOW, for__get_free_newunit(&unit, ITM_INTEGER1));
  EXPECT_EQ(-130, take(ITM_INTEGER4));
  for (int next = -132; next >= -32768; --next) ASSERT_EQ(next, take(ITM_INTEGER4));
  EXPECT_EQ(MSG_INTEGER_ASSIGNMENT_OVERFLOW, for__get_free_newunit(&unit, ITM_INTEGER4));
  for__release_newunit(-32768);
  EXPECT_EQ(-32768, take(ITM_INTEGER8));
}

TAMRUN_CHILD_TEST(Newunit, ThreadsNeverShareANumber) {
  constexpr int kThreads = 8, kRounds = 300;
  std::vector<std::vector<int>> taken(kThreads);
  std::vector<std::thread> threads;
  for (auto& mine : taken)
    threads.emplace_back([&mine] {
      for (int i = 0; i < kRounds; ++i) {
        mine.push_back(take(ITM_INTEGER4));
        if (i % 3 != 0) continue;
        for__release_newunit(mine.back());
        mine.pop_back();
      }
    });
  for (auto& thread : threads) thread.join();
  std::set<int> all;
  for (const auto& mine : taken) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(static_cast<size_t>(kThreads * kRounds * 2 / 3), all.size());
}

}  // namespace
