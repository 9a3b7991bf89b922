// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finding and linking units in the table.
//
// A statement gives its unit back while another thread may hold the row and wait for that very unit, so it must search
// without the row. row_links keeps the chain whole for that search: it is held only while pointers are read or moved.

#include "units/unit_search.h"

extern "C" {
For_Lub_Row for__lub_table[kUnitRows];
}

namespace {

class Held_Links {
 public:
  explicit Held_Links(For_Lub_Row& row) : row_(row), held_(threaded_mode() && !alone_in_process() && acquire(row)) {}
  ~Held_Links() {
    if (held_) publish(row_.row_links, 0u);
  }
  Held_Links(const Held_Links&) = delete;
  Held_Links& operator=(const Held_Links&) = delete;

 private:
  static bool acquire(For_Lub_Row& row) {
    if (__atomic_exchange_n(&row.row_links, 1u, __ATOMIC_ACQUIRE) == 0) [[likely]]
      return true;
    return for__acquire_semaphore_threaded(&row.row_links) == 0;
  }

  For_Lub_Row& row_;
  bool held_;
};

/// Pointer to the first LUB whose unit is not below `unit`: chains ascend by unsigned unit.
For_Lub** chain_position(For_Lub_Row& row, int unit) {
  For_Lub** link = &row.row_head;
  while (*link != nullptr && static_cast<u32>((*link)->lub_unit) < static_cast<u32>(unit))
    link = &(*link)->lub_a_hash_next;
  return link;
}

}  // namespace

For_Lub* enter_row_and_find(For_Lub_Row& row, int unit) {
  For_Lub** link = chain_position(row, unit);
  while (*link != nullptr && peek((*link)->lub_f_deallocating)) {
    Held_Links links(row);
    publish(*link, (*link)->lub_a_hash_next);
  }
  For_Lub* lub = *link;
  return lub != nullptr && lub->lub_unit == unit ? lub : nullptr;
}

void link_lub(For_Lub_Row& row, For_Lub* lub) {
  Held_Links links(row);
  For_Lub** link = chain_position(row, lub->lub_unit);
  lub->lub_a_hash_next = *link;
  publish(*link, lub);
}

void unlink_lub(For_Lub_Row& row, For_Lub* lub) {
  Held_Links links(row);
  For_Lub** link = &row.row_head;
  while (*link != nullptr && *link != lub) link = &(*link)->lub_a_hash_next;
  if (*link != nullptr) publish(*link, lub->lub_a_hash_next);
}

For_Lub* find_own_lub(int unit) {
  For_Lub_Row& row = for__lub_table[unit_row(unit)];
  if (is_direct_unit(unit)) return peek(row.row_head);
  Held_Links links(row);
  For_Lub* lub = *chain_position(row, unit);
  return lub != nullptr && lub->lub_unit == unit ? lub : nullptr;
}

For_Lub* take_idle_lub(int unit) {
  For_Lub_Row& row = for__lub_table[unit_row(unit)];
  if (peek(row.row_head) == nullptr) return nullptr;
  Held_Links links(row);
  For_Lub* lub = *chain_position(row, unit);
  if (lub == nullptr || lub->lub_unit != unit || peek(lub->lub_f_deallocating) || peek(lub->lub_a_aio) != nullptr)
    return nullptr;
  return try_acquire_lub(*lub) ? lub : nullptr;
}

For_Lub* next_in_row(For_Lub_Row& row, const u32* after) {
  For_Lub* lub = row.row_head;
  while (lub != nullptr &&
         (peek(lub->lub_f_deallocating) || (after != nullptr && static_cast<u32>(lub->lub_unit) <= *after)))
    lub = lub->lub_a_hash_next;
  return lub;
}
