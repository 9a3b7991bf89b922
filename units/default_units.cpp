// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The units that every program has without an OPEN statement.

#include "units/unit_search.h"

#include <stdlib.h>

namespace {

struct Default_Unit {
  int unit;
  const char* variable;  ///< names the unit's file when set, or null
};

constexpr Default_Unit kDefaultUnits[] = {{UNIT_READ, nullptr},  {UNIT_ACCEPT, nullptr}, {UNIT_PRINT, nullptr},
                                          {UNIT_TYPE, nullptr},  {UNIT_STDERR, "FORT0"}, {UNIT_STDIN, "FORT5"},
                                          {UNIT_STDOUT, "FORT6"}};

For_Lub default_lubs[std::size(kDefaultUnits)];

}  // namespace

extern "C" void for__preconnected_units_create(void) {
  For_Lub* lub = default_lubs;
  for (const Default_Unit& unit : kDefaultUnits) {
    For_Lub_Row& row = for__lub_table[unit_row(unit.unit)];
    // Statements may have run before the main program's first call: their unit stays.
    if (peek(row.row_head) == nullptr) {
      lub->lub_unit = unit.unit;
      lub->lub_unit_copy = unit.unit;
      const bool from_env = unit.variable != nullptr && getenv(unit.variable) != nullptr;
      lub->lub_default_state = from_env ? DEFAULT_FROM_ENV : DEFAULT_UNCONNECTED;
      lub->lub_resource.res_owner = -1;
      lub->lub_references = 1;
      publish(row.row_head, lub);
    }
    ++lub;
  }
}
