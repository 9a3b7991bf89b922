// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Walking all units of the table.

#include "tamrun/messages.h"
#include "units/evaporated.h"
#include "units/unit_search.h"

namespace {

/// Result for a caller that does not move on.
constexpr int kWalkStuck = 2;
constexpr int kWalkPatience = 4;

struct Walk_Guard {
  int looper = kWalkPatience;
  pthread_t thread = 0;
  int index = -1;
  const For_Lub* lub = nullptr;
};

/// Process-wide and unlocked on purpose: it stops a caller that asks for the same position over and over, no more.
Walk_Guard walk_guard;

bool caller_is_stuck(int index, const For_Lub* lub) {
  Walk_Guard& g = walk_guard;
  const pthread_t me = pthread_self();
  if (index >= 0 && peek(g.thread) == me && peek(g.index) == index && peek(g.lub) == lub)
    publish(g.looper, peek(g.looper) - 1);
  else
    publish(g.looper, kWalkPatience);
  publish(g.thread, me);
  publish(g.index, index);
  publish(g.lub, lub);
  return peek(g.looper) <= 0;
}

/// The unit whose LUB stood at this index. The index of a unit is its key of the table, so it stays good when the unit
/// itself has gone.
int unit_at(int index) {
  const int shifted = static_cast<int>(static_cast<u32>(index) + kFirstDirectUnit);
  return index < kFirstDirectUnit && index >= kLastNewunit ? index : shifted;
}

/// Takes the next LUB of the row: 0 with *lub null when there is none.
int take_next(For_Lub_Row& row, const u32* after, For_Lub** lub, int statement) {
  u32 passed;
  for (;;) {
    Lub_Reference next;
    {
      Held_Row held;
      if (const int status = held.acquire(row)) return status;
      next.reset(next_in_row(row, after));
      if (const int status = held.release()) return status;
    }
    *lub = next.get();
    if (*lub == nullptr) return 0;
    const int status = acquire_lub_resource(*lub, statement);
    // At exit a unit is closed even when this thread is in the middle of a statement on it.
    if (status == MSG_RECURSIVE_IO && statement == STMT_CLOSE) return 0;
    if (status != 0 || !peek((*lub)->lub_f_deallocating)) return status;
    passed = static_cast<u32>((*lub)->lub_unit);
    after = &passed;
    if (const int failed = release_lub_resource(**lub)) return failed;
  }
}

}  // namespace

extern "C" int for__get_next_lub(For_Lub** lub, int* index, int statement) {
  if (caller_is_stuck(*index, *lub)) return kWalkStuck;
  const bool begin = *index == -1;
  const int last = begin ? 0 : unit_at(*index);
  const u32 last_unsigned = static_cast<u32>(last);
  const u32* after = begin ? nullptr : &last_unsigned;
  *lub = nullptr;
  for (int row = begin ? 0 : unit_row(last); row < kUnitRows; ++row, after = nullptr) {
    if (peek(for__lub_table[row].row_head) == nullptr) continue;
    const int status = take_next(for__lub_table[row], after, lub, statement);
    if (*lub != nullptr) *index = static_cast<int>(unit_key((*lub)->lub_unit));
    if (status != 0) return status;
    if (*lub == nullptr) continue;
    return process_taken_lub(**lub, statement);
  }
  *index = -1;
  return 0;
}
