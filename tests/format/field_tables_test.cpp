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
  // 4932 decimal digits and a margin of three; binary128 has 33 digits behind the first.
  const For_Real_Field quad = for__fedg_fmt_table[ITM_REAL16 - kFirstRealType];
  EXPECT_EQ(quad.integer_digits, __LDBL_MAX_10_EXP__ + 3);
  EXPECT_EQ(quad.width, 42);
  EXPECT_EQ(quad.d, 33);
  EXPECT_EQ(quad.e, 3);
  for (int type = kFirstRealType; type <= kLastRealType; ++type) {
    SCOPED_TRACE(type);
    const For_Real_Field& row = for__fedg_fmt_table[type - kFirstRealType];
    const int digits = type_bytes(type) == 0                                             ? 0
                       : type_bytes(type) == 4                                           ? __FLT_MAX_10_EXP__ + 3
                       : type_bytes(type) == 8 || type == 41 || type == 47 || type == 49 ? __DBL_MAX_10_EXP__ + 3
                                                                                         : __LDBL_MAX_10_EXP__ + 3;
    EXPECT_EQ(row.integer_digits, digits);
    EXPECT_EQ(row.width != 0, digits != 0);
    // Sign, "0.", the digits, "E+" and the exponent fit.
    EXPECT_GE(row.width, digits == 0 ? 0 : 3 + row.d + 2 + row.e);
  }
}

TEST(FieldTables, ListDirectedFields) {
  struct Row {
    int type, width, d, e, operation, msf_width, msf_d;
  };
  constexpr Row kRows[] = {
      {5, 5, 0, 0, FMT_I_W, 12, 0},
      {6, 5, 0, 0, FMT_I_W, 12, 0},
      {7, 7, 0, 0, FMT_I_W, 12, 0},
      {8, 7, 0, 0, FMT_I_W, 12, 0},
      {9, 12, 0, 0, FMT_I_W, 12, 0},
      {10, 12, 0, 0, FMT_I_W, 12, 0},
      {11, 22, 0, 0, FMT_I_W, 22, 0},
      {12, 22, 0, 0, FMT_I_W, 22, 0},
      {13, 2, 0, 0, FMT_L_W, 2, 0},
      {17, 2, 0, 0, FMT_L_W, 2, 0},
      {25, 15, 7, 2, FMT_G_WDE, 15, 7},
      {26, 15, 7, 2, FMT_G_WDE, 16, 6},
      {27, 15, 7, 2, FMT_G_WDE, 15, 7},
      {28, 14, 7, 2, FMT_G_WDE, 14, 7},
      {29, 14, 7, 2, FMT_G_WDE, 16, 6},
      {30, 14, 7, 2, FMT_G_WDE, 14, 7},
      {31, 14, 7, 2, FMT_G_WDE, 14, 7},
      {40, 23, 15, 3, FMT_G_WDE, 25, 15},
      {41, 42, 33, 4, FMT_G_WDE, 42, 33},
      {42, 23, 16, 2, FMT_G_WDE, 23, 16},
      {43, 23, 15, 3, FMT_G_WDE, 23, 15},
      {44, 23, 16, 3, FMT_G_WDE, 23, 16},
      {45, 24, 16, 2, FMT_G_WDE, 24, 16},
      {46, 24, 15, 3, FMT_G_WDE, 24, 15},
      {47, 43, 33, 4, FMT_G_WDE, 43, 33},
      {48, 24, 15, 3, FMT_G_WDE, 25, 15},
      {50, 43, 33, 4, FMT_G_WDE, 43, 33},
      {52, 42, 33, 4, FMT_G_WDE, 42, 33},
      {56, 255, 0, 0, FMT_A_W, 255, 0},
      {57, 255, 0, 0, 0, 255, 0},
      {1, 0, 0, 0, 0, 0, 0},
      {32, 0, 0, 0, 0, 0, 0},
      {63, 0, 0, 0, 0, 0, 0},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.type);
    const For_Ldir_Field& plain = for__wfs_table[row.type];
    const For_Ldir_Field& msf = for__wfs_msf_table[row.type];
    EXPECT_EQ(plain.width, row.width);
    EXPECT_EQ(plain.d, row.d);
    EXPECT_EQ(plain.e, row.e);
    EXPECT_EQ(plain.operation, row.operation);
    EXPECT_EQ(msf.width, row.msf_width);
    EXPECT_EQ(msf.d, row.msf_d);
    EXPECT_EQ(msf.e, row.e);
    EXPECT_EQ(msf.operation, row.operation);
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

TEST(FieldTables, ElementRowsAgree) {
  for (int code = 0; code < kFmtCodes; ++code) {
    SCOPED_TRACE(code);
    const For_Fmt_Cat row = fmt_cat[code];
    // The long form of an operation is its own operation, and an upgrade leads to a code that takes more.
    const bool is_long = row.category >= FMTC_LONG_FIRST && row.category <= FMTC_LONG_LAST;
    EXPECT_TRUE(!is_long || row.operation == code);
    EXPECT_TRUE(row.operation == 0 || fmt_cat[row.operation].operation == row.operation);
    const For_Fmt_Check check = fmt_check[code];
    EXPECT_TRUE(check.upgrade == 0 || fmt_check[check.upgrade].operands > check.operands);
  }
}

}  // namespace
