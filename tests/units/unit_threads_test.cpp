// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units in several threads, units that are closed while others wait for them, and the walk over all units.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "acquire.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "units/evaporated.h"
#include "units/lub_lock.h"
#include "units/unit_search.h"

namespace {

using namespace tamrun_test;

/// Waits until another thread has found the unit, and gives it the time to block.
void await_waiting(const For_Lub& lub) {
  while (peek(lub.lub_references) < 2) std::this_thread::yield();
  usleep(2000);
}

TEST(UnitThreads, EightThreadsOnOverlappingUnits) {
  constexpr int kThreads = 8, kRounds = 2000;
  // Two direct units, three in one hashed row, one in another: each counts its statements in a field of its own.
  constexpr int kUnits[] = {20, 21, 100, 621, 1142, 1000};
  constexpr int kClosing = 7;
  const long blocks_before = vm_live_blocks();
  std::atomic<long> lost = 0, statements = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      u32 random = 12345 + t;
      for (int i = 0; i < kRounds; ++i) {
        random = random * 1664525 + 1013904223;
        const int unit = kUnits[(random >> 16) % std::size(kUnits)];
        For_Context ctx = {};
        For_Lub* lub = nullptr;
        if (for__acquire_lun(unit, &lub, &ctx, STMT_WRITE) != 0 || lub->lub_unit != unit) {
          ++lost;
          continue;
        }
        ++statements;
        // Only the holder touches these; another thread in here would show, also to the thread sanitizer.
        const i64 before = ++lub->lub_next_rec;
        lub->lub_f_pad = !lub->lub_f_pad;
        if (i % 16 == 0) std::this_thread::yield();
        if (lub->lub_next_rec != before || lub->lub_f_deallocating) ++lost;
        if ((random >> 8) % kClosing == 0 ? for__deallocate_lub(unit) : for__release_lun(unit)) ++lost;
        if (ctx.ctx_lub != nullptr) ++lost;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, lost.load());
  EXPECT_EQ(kThreads * kRounds, statements.load());
  for (int unit : kUnits) {
    drop(unit);
  }
  EXPECT_EQ(blocks_before, vm_live_blocks());
}

TEST(UnitThreads, AWaitingThreadOutlivesTheUnitItWaitedFor) {
  for (int unit : {30, 700}) {
    const long blocks = vm_live_blocks();
    For_Lub* closed = acquire(unit, STMT_CLOSE);
    closed->lub_recl = 4711;
    i64 recl = -1;
    int status = -1;
    std::thread waiting([&] {
      For_Lub* lub = nullptr;
      status = for__acquire_lun(unit, &lub, nullptr, STMT_WRITE);
      if (status != 0) return;
      recl = lub->lub_recl;
      status = for__release_lun(unit);
    });
    await_waiting(*closed);
    EXPECT_EQ(0, for__deallocate_lub(unit));
    waiting.join();
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, recl) << "the waiting statement got a fresh unit";
    drop(unit);
    EXPECT_EQ(blocks, vm_live_blocks());
  }
}

TEST(UnitThreads, ANestedStatementDoesNotMeetTheThreadThatWaitsForTheOuterOne) {
  // 100 and 621 share a row; 31 is asked about while another thread waits for it.
  for (const auto& [outer, nested] : {std::pair{100, 621}, std::pair{31, 31}}) {
    For_Lub* lub = acquire(outer, STMT_WRITE);
    std::thread waiting([unit = outer] {
      acquire(unit, STMT_WRITE);
      EXPECT_EQ(0, for__release_lun(unit));
    });
    await_waiting(*lub);
    acquire(nested, STMT_INQUIRE);
    EXPECT_EQ(0, for__release_lun(nested));
    EXPECT_TRUE(held_by_this_thread(*lub));
    EXPECT_EQ(0, for__release_lun(outer));
    waiting.join();
    for (int unit : {outer, nested}) {
      drop(unit);
    }
  }
}

TEST(UnitThreads, TheShortWayLeavesAllButIdleUnitsAlone) {
  for (const int unit : {33, 733}) {  // a row of its own, and a chain
    EXPECT_EQ(nullptr, take_idle_lub(unit)) << "not in the table";
    For_Lub* lub = acquire(unit, STMT_OPEN);
    EXPECT_EQ(nullptr, take_idle_lub(unit)) << "held";
    EXPECT_EQ(0, for__release_lun(unit));
    publish(lub->lub_f_deallocating, 1u);
    EXPECT_EQ(nullptr, take_idle_lub(unit));
    publish(lub->lub_f_deallocating, 0u);
    auto* const block = reinterpret_cast<For_Aio_Block*>(lub);
    publish(lub->lub_a_aio, block);
    EXPECT_EQ(nullptr, take_idle_lub(unit));
    publish(lub->lub_a_aio, nullptr);
    EXPECT_FALSE(held_by_this_thread(*lub));
    EXPECT_EQ(0u, lub->lub_resource.res_holds);
    EXPECT_EQ(0u, for__lub_table[unit_row(unit)].row_links);

    EXPECT_EQ(lub, take_idle_lub(unit));
    EXPECT_TRUE(held_by_this_thread(*lub));
    EXPECT_EQ(MSG_RECURSIVE_IO, acquire_lub_resource(lub, STMT_WRITE));
    EXPECT_EQ(0, for__deallocate_lub(unit));
  }
}

TEST(UnitThreads, TheEvaporatedListIsFreedOnDemand) {
  const long blocks = vm_live_blocks();
  For_Lub* lub = nullptr;
  ASSERT_EQ(0, for__create_lub(800, &lub));
  ASSERT_EQ(0, allocate_state_block(*lub));
  ASSERT_EQ(0, add_evaporated(lub));
  For_Lub static_lub = {};
  static_lub.lub_default_state = DEFAULT_FROM_ENV;
  ASSERT_EQ(0, add_evaporated(&static_lub));
  free_evaporated_LUBs();
  EXPECT_EQ(blocks, vm_live_blocks());
  free_evaporated_LUBs();
}

std::vector<int> walk(int statement) {
  std::vector<int> units;
  For_Lub* lub = nullptr;
  int index = -1;
  do {
    EXPECT_EQ(0, for__get_next_lub(&lub, &index, statement));
    if (index == -1) break;
    units.push_back(lub->lub_unit);
    EXPECT_EQ(0, for__release_lun(lub->lub_unit));
  } while (units.size() < 100);
  EXPECT_EQ(nullptr, lub);
  return units;
}

TAMRUN_CHILD_TEST(UnitWalk, VisitsRowsInOrderAndChainsByUnsignedUnit) {
  const long blocks = vm_live_blocks();
  EXPECT_EQ(std::vector<int>{}, walk(STMT_INQUIRE));
  // A NEWUNIT number of the row of unit 100, whose place by sign would be the first and is the last.
  int behind = -7;
  while (static_cast<u32>(behind) % 521 != 106) --behind;
  std::vector<int> units = {621, 100, 99, 7, 2147483647, 1142, behind, -7, -32768, -129};
  std::map<int, For_Lub*> lubs;
  for (int unit : units) {
    lubs[unit] = acquire(unit, unit < 0 ? STMT_OPEN_NEWUNIT : STMT_OPEN);
    EXPECT_EQ(0, for__release_lun(unit));
  }
  for (int unit : units) {
    EXPECT_EQ(lubs[unit], acquire(unit, STMT_READ)) << unit;
    EXPECT_EQ(0, for__release_lun(unit));
  }
  // Unsigned number, plus 6 unless below -6, modulo 521; within the row by the unsigned number.
  const auto place = [](int unit) {
    const u32 number = static_cast<u32>(unit);
    return std::pair{unit >= 0 && unit < 100 ? 0 : 1 + (unit < -6 ? number : number + 6) % 521, number};
  };
  std::sort(units.begin(), units.end(), [&](int a, int b) { return place(a) < place(b); });
  EXPECT_EQ(units, walk(STMT_INQUIRE));

  // Closing what the walk delivers does not disturb it.
  For_Lub* lub = nullptr;
  int index = -1;
  size_t closed = 0;
  while (for__get_next_lub(&lub, &index, STMT_CLOSE) == 0 && index != -1) {
    EXPECT_EQ(units[closed++], lub->lub_unit);
    EXPECT_EQ(0, for__deallocate_lub(lub->lub_unit));
  }
  EXPECT_EQ(units.size(), closed);
  EXPECT_EQ(std::vector<int>{}, walk(STMT_INQUIRE));
  EXPECT_EQ(blocks, vm_live_blocks());
}

TAMRUN_CHILD_TEST(UnitWalk, AHeldUnitStopsAllButTheClosingWalk) {
  acquire(40, STMT_READ);
  acquire(41, STMT_READ);
  EXPECT_EQ(0, for__release_lun(41));
  For_Lub* lub = nullptr;
  int index = -1;
  EXPECT_EQ(MSG_RECURSIVE_IO, for__get_next_lub(&lub, &index, STMT_FLUSH));
  ASSERT_NE(nullptr, lub);
  EXPECT_EQ(40, lub->lub_unit);
  EXPECT_EQ(0, for__get_next_lub(&lub, &index, STMT_FLUSH)) << "the walk goes on";
  EXPECT_EQ(41, lub->lub_unit);
  EXPECT_EQ(0, for__release_lun(41));
  index = -1;
  EXPECT_EQ(0, for__get_next_lub(&lub, &index, STMT_CLOSE));
  EXPECT_EQ(40, lub->lub_unit);
}

TAMRUN_CHILD_TEST(UnitWalk, ACallerThatDoesNotMoveOnIsStopped) {
  For_Lub* lub = nullptr;
  for (int unit : {40, 41}) {
    acquire(unit, STMT_READ);
    EXPECT_EQ(0, for__release_lun(unit));
  }
  const auto ask = [&lub](For_Lub* from, int index) {
    lub = from;
    const int status = for__get_next_lub(&lub, &index, STMT_INQUIRE);
    return status == 0 ? for__release_lun(lub->lub_unit) : status;
  };
  EXPECT_EQ(0, ask(nullptr, -1));
  For_Lub* const first = lub;
  // The first call sets the patience to 4, three more use it up but for one.
  for (int calls = 0; calls < 4; ++calls) EXPECT_EQ(0, ask(first, 40 + 6));
  EXPECT_EQ(2, ask(first, 40 + 6));
  EXPECT_EQ(0, ask(nullptr, -1)) << "a new walk is free";
}

}  // namespace
