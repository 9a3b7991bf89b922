// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Numbers into variables of the program.
#ifndef TAMRUN_UNITS_PROGRAM_VARIABLE_H
#define TAMRUN_UNITS_PROGRAM_VARIABLE_H

#include <string.h>

#include "tamrun/item_list.h"

/// True for the integers and logicals.
constexpr bool is_integer_item(u32 type) { return type >= ITM_INTEGER1 && type <= ITM_LOGICAL8; }

/// Stores a number in a variable, cut to its type: false when the type is no integer or logical.
inline bool store_integer(u32 type, void* to, i64 value) {
  if (!is_integer_item(type)) return false;
  memcpy(to, &value, static_cast<size_t>(for__dsc_itm_table[type].size));
  return true;
}

#endif
