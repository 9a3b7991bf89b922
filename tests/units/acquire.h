// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Takes units as statements do.
#ifndef TAMRUN_TESTS_UNITS_ACQUIRE_H
#define TAMRUN_TESTS_UNITS_ACQUIRE_H

#include <gtest/gtest.h>

#include "units/unit_table.h"

inline For_Lub* acquire(int unit, int statement, For_Context* ctx = nullptr) {
  For_Lub* lub = nullptr;
  EXPECT_EQ(0, for__acquire_lun(unit, &lub, ctx, statement)) << unit;
  return lub;
}

/// Takes the unit away again.
inline void drop(int unit) {
  acquire(unit, STMT_CLOSE);
  EXPECT_EQ(0, for__deallocate_lub(unit));
}

#endif
