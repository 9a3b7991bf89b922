// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unit numbers for NEWUNIT=.

#include "core/heap.h"
#include "core/locks.h"
#include "tamrun/item_list.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

#include <string.h>
#include <bit>

extern "C" {
u32 for__newunit_semaphore;
u32* for__newunit_map;  ///< bit b from the top of word w: unit -(32 w + b) - 1 is taken
}

namespace {

constexpr int kMapWords = 1024;
constexpr int kWordBits = 32;
/// Words that hold the units a one-byte variable can name.
constexpr int kOneByteWords = 4;
/// Units -1 to -6 are never given out.
constexpr u32 kReservedUnits = 0xFC000000;
constexpr u32 kTopBit = 0x80000000;

int make_map() {
  if (for__newunit_map != nullptr) return 0;
  void* map;
  if (const int status = for__get_vm(kMapWords * sizeof(u32), 0, &map)) return status;
  memset(map, 0, kMapWords * sizeof(u32));
  for__newunit_map = static_cast<u32*>(map);
  for__newunit_map[0] = kReservedUnits;
  return 0;
}

}  // namespace

extern "C" int for__get_free_newunit(int* unit, int type) {
  Semaphore_Guard guard(for__newunit_semaphore);
  if (guard.status() != 0) return guard.status();
  if (const int status = make_map()) return status;
  const bool one_byte = type == ITM_INTEGER1;
  const int end = one_byte ? kOneByteWords : kMapWords;
  for (int word = one_byte ? 0 : kOneByteWords; word < end; ++word) {
    u32& taken = for__newunit_map[word];
    if (taken == ~0u) continue;
    const int bit = std::countl_one(taken);
    taken |= kTopBit >> bit;
    *unit = -(kWordBits * word + bit) - 1;
    return 0;
  }
  *unit = kLastNewunit - 1;
  return MSG_INTEGER_ASSIGNMENT_OVERFLOW;
}

extern "C" void for__release_newunit(int unit) {
  if (unit > kFirstNewunit || unit < kLastNewunit) return;
  Semaphore_Guard guard(for__newunit_semaphore);
  if (guard.status() != 0 || for__newunit_map == nullptr) return;
  const int place = -unit - 1;
  for__newunit_map[place / kWordBits] &= ~(kTopBit >> (place % kWordBits));
}
