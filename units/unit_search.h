// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finding and linking units in the table. The row must be held, but for find_own_lub and
// take_idle_lub.
#ifndef TAMRUN_UNITS_UNIT_SEARCH_H
#define TAMRUN_UNITS_UNIT_SEARCH_H

#include "units/lub_lock.h"

inline constexpr int kFirstDirectUnit = -6;

/// Units -6 to 99, which have a row of their own.
constexpr bool is_direct_unit(int unit) { return unit >= kFirstDirectUnit && unit < kFirstDirectUnit + kDirectRows; }

/// Number that selects a unit's row: unique per unit.
constexpr u32 unit_key(int unit) {
  return unit < kFirstDirectUnit ? static_cast<u32>(unit) : static_cast<u32>(unit) - kFirstDirectUnit;
}

/// Row of for__lub_table, 0 to kUnitRows - 1.
constexpr int unit_row(int unit) {
  return is_direct_unit(unit) ? unit - kFirstDirectUnit : kDirectRows + static_cast<int>(unit_key(unit) % kHashedRows);
}

/// The unit's LUB, or null. Units that are on their way out are taken from the row.
For_Lub* enter_row_and_find(For_Lub_Row& row, int unit);

/// Puts a LUB where its unit belongs.
void link_lub(For_Lub_Row& row, For_Lub* lub);

/// Takes a LUB out of the row; nothing happens when it has left already.
void unlink_lub(For_Lub_Row& row, For_Lub* lub);

/// The LUB of a unit that the calling thread holds; needs no row. Null when the table has none.
For_Lub* find_own_lub(int unit);

/// Threaded mode, needs no row: takes the unit when it stands in the table, is no asynchronous one and nobody has it.
/// Otherwise null, with nothing changed.
For_Lub* take_idle_lub(int unit);

/// First LUB of the row whose unit, unsigned, is above `after`, or the first of all. Null when there is none.
For_Lub* next_in_row(For_Lub_Row& row, const u32* after);

#endif
