// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The field tables, recomputed from what the types can hold where that settles them.

#include <gtest/gtest.h>

#include "format/for_fmt_val.h"
#include "format/format_compiler.h"

namespace {

/// Bytes of an element; 0 for types without a fixed size.
int type_bytes(int type) {
  if (type >= 5 && type <= 12) return 1 << ((type - 5) / 2);
  if (type == 14) return 1;
  if (type == 15) return 2;
  if (type == 13 || type == 16) return 4;
  if (type == 17) return 8;
  if (type >= 25 && type <= 31) return 4;
  if ((type >= 42 && type <= 46) || type == 40 || type == 48) return 8;
  if (type == 41 || type == 47 || (type >= 49 && type <= 52)) return 16;
  return 0;
}

TEST(FieldTables, Widths) {
  for (int type = 0; type < kItemTypes; ++type) {
    SCOPED_TRACE(type);
    const int bytes = type_bytes(type);
    const bool character = type == ITM_CHARACTER || type == ITM_CHARACTER_ALT;
    // A sign, the octal digits and one more; the narrow types share the field of two bytes.
    const int octal = bytes == 0 ? 0 : bytes <= 2 ? 7 : (8 * bytes + 2) / 3 + 1;
    EXPECT_EQ(for__oz_fmt_table[type], character ? -1 : octal);
    EXPECT_EQ(for__b_fmt_table[type], character ? -1 : bytes == 0 ? 0 : bytes <= 2 ? 17 : 8 * bytes + 1);
    if (type >= kFirstIntegerType && type <= kLastIntegerType) {
      EXPECT_EQ(for__i_fmt_table[type - kFirstIntegerType], octal);
    }
  }
  for (int type = kFirstRealType; type <= kLastRealType; ++type) {
    SCOPED_TRACE(type);
    const For_Real_Field& row = for__fedg_fmt_table[type - kFirstRealType];
    const int bytes = type_bytes(type);
    const bool quad = type >= 50, wide = quad || type == 41 || type == 49;
    // The largest value's digits and a margin.
    EXPECT_EQ(row.integer_digits, bytes == 0   ? 0
                                  : bytes == 4 ? __FLT_MAX_10_EXP__ + 3
                                  : quad       ? __LDBL_MAX_10_EXP__ + 3
                                               : __DBL_MAX_10_EXP__ + 3);
    EXPECT_EQ(row.d, bytes == 0 ? 0 : bytes == 4 ? 7 : wide ? 33 : 16);
    EXPECT_EQ(row.e, bytes == 0 ? 0 : wide ? 3 : 2);
    EXPECT_EQ(row.width, bytes == 0 ? 0 : bytes == 4 ? 15 : wide ? 42 : 25);
  }
}

TEST(FieldTables, ListDirectedFieldsHoldTheirValues) {
  for (int type = 0; type < kItemTypes; ++type) {
    SCOPED_TRACE(type);
    const int bytes = type_bytes(type), digits = (8 * bytes * 30103 + 99999) / 100000;
    for (const For_Ldir_Field& row : {for__wfs_table[type], for__wfs_msf_table[type]}) {
      if (type >= ITM_INTEGER1 && type <= ITM_UNSIGNED8) {
        EXPECT_EQ(row.operation, FMT_I_W);
        EXPECT_GE(row.width, digits + 2);  // a sign, and a blank between two items
      } else if (type >= ITM_LOGICAL && type <= ITM_LOGICAL8) {
        EXPECT_EQ(row.operation, FMT_L_W);
        EXPECT_EQ(row.width, 2);
      } else if (bytes != 0) {
        EXPECT_EQ(row.operation, FMT_G_WDE);
        EXPECT_GE(row.width, 3 + row.d + 4);  // sign, "0.", the digits, "E+" and two digits or three without the letter
      } else {
        EXPECT_EQ(row.operation, type == ITM_CHARACTER ? FMT_A_W : 0);
      }
    }
  }
}

TEST(FieldTables, Coercions) {
  for (int operation = 0; operation < 60; ++operation) {
    SCOPED_TRACE(operation);
    const bool real = (operation >= FMT_D && operation <= FMT_F) || (operation >= FMT_D_WD && operation <= FMT_F_WD) ||
                      (operation >= FMT_EN && operation <= FMT_ES_WDE);
    const bool integer = operation == FMT_I || operation == FMT_L || (operation >= FMT_I_W && operation <= FMT_L_W);
    const u8* table = for__coerce_data_types[operation];
    ASSERT_EQ(table != nullptr, real || integer);
    if (table == nullptr) continue;
    for (int type = 0; type < kItemTypes; ++type) {
      int expected = 0;
      if (real && (type == 9 || type == 10 || type == 16)) expected = ITM_REAL4;
      if (real && (type == 11 || type == 12 || type == 17)) expected = ITM_REAL8;
      if (integer && (type == 25 || type == 26)) expected = ITM_INTEGER4;
      if (integer && (type == 45 || type == 46 || type == 48)) expected = ITM_INTEGER8;
      EXPECT_EQ(table[type], expected) << type;
    }
  }
}

}  // namespace
