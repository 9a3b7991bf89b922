// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every output operation with every group of item types.

#include <gtest/gtest.h>
#include <inttypes.h>
#include <stdio.h>

#include "support/child.h"
#include "tests/format/editor.h"

namespace {

using tamrun_test::Editor;

constexpr u8 kRealOperations[] = {FMT_D,  FMT_D_WD,  FMT_E,      FMT_E_WD, FMT_E_WDE, FMT_F,      FMT_F_WD,
                                  FMT_EN, FMT_EN_WD, FMT_EN_WDE, FMT_ES,   FMT_ES_WD, FMT_ES_WDE, FMT_EX};
constexpr u8 kGeneral[] = {FMT_G, FMT_G_WD, FMT_G_WDE};

/// Right-justified in `width` columns, with `digits` digits at least: what the C library prints.
std::string decimal(i64 value, int width, int digits, bool plus = false) {
  char text[80];
  snprintf(text, sizeof text, plus ? "%+*.*" PRId64 : "%*.*" PRId64, width, digits, value);
  return text;
}

std::string in_radix(u64 value, int radix, int width, int digits) {
  std::string text;
  for (; value != 0; value /= radix) text.insert(text.begin(), "0123456789ABCDEF"[value % radix]);
  while (static_cast<int>(text.size()) < digits) text.insert(text.begin(), '0');
  while (static_cast<int>(text.size()) < width) text.insert(text.begin(), ' ');
  return text;
}

struct Integer_Type {
  u32 type;
  int bytes;
  bool is_signed;
};
constexpr Integer_Type kIntegerTypes[] = {
    {ITM_INTEGER1, 1, true}, {ITM_UNSIGNED1, 1, false}, {ITM_INTEGER2, 2, true}, {ITM_UNSIGNED2, 2, false},
    {ITM_INTEGER4, 4, true}, {ITM_UNSIGNED4, 4, false}, {ITM_INTEGER8, 8, true}, {ITM_UNSIGNED8, 8, false},
    {ITM_LOGICAL, 4, true},  {ITM_LOGICAL1, 1, true},   {ITM_LOGICAL2, 2, true}, {ITM_LOGICAL4, 4, true},
    {ITM_LOGICAL8, 8, true},
};
constexpr u64 kPatterns[] = {0,
                             1,
                             7,
                             42,
                             0x7F,
                             0x80,
                             0x7FFF,
                             0xFFFF,
                             0x12345678,
                             0x80000000,
                             0xFFFFFFFF,
                             0x7FFFFFFFFFFFFFFF,
                             0xFFFFFFFFFFFFFFFF};

/// The low bytes of the pattern as the type reads them.
u64 low_bytes(u64 pattern, int bytes) { return bytes == 8 ? pattern : pattern & ((u64{1} << (8 * bytes)) - 1); }
i64 as_signed(u64 pattern, int bytes) {
  const int shift = 64 - 8 * bytes;
  return static_cast<i64>(pattern << shift) >> shift;
}

TEST(ValueOutput, Integers) {
  for (const Integer_Type& row : kIntegerTypes) {
    for (const u64 pattern : kPatterns) {
      SCOPED_TRACE(std::to_string(row.type) + " " + std::to_string(pattern));
      const u64 raw = low_bytes(pattern, row.bytes);
      for (const u8 operation : {FMT_I, FMT_I_W, FMT_I_WM}) {
        Editor edit(operation, 24, 3);
        for (const u32 flags : {u32{0}, u32{ISB_SP}, u32{ISB_SS}}) {
          edit.isb.isb_flags = flags;
          std::string expected;
          if (row.is_signed) {
            expected = decimal(as_signed(pattern, row.bytes), 24, 3, flags == ISB_SP);
          } else {
            expected = in_radix(raw, 10, 24, 3);
          }
          EXPECT_EQ(edit.write(row.type, &pattern, row.bytes), expected);
          EXPECT_EQ(edit.result, 0);
        }
      }
      if (row.type >= ITM_LOGICAL) continue;
      for (const u8 operation : kGeneral) {  // as Iw.1, whatever d and e say
        Editor edit(operation, 22, 9, 5);
        EXPECT_EQ(edit.write(row.type, &pattern, row.bytes),
                  row.is_signed ? decimal(as_signed(pattern, row.bytes), 22, 1) : in_radix(raw, 10, 22, 1));
        EXPECT_EQ(edit.isb.isb_d, 9);
        EXPECT_EQ(edit.isb.isb_e, 5);
      }
    }
  }
}

TEST(ValueOutput, Logicals) {
  for (const Integer_Type& row : kIntegerTypes) {
    for (const u64 pattern : {u64{0}, u64{1}, u64{2}, u64{3}, ~u64{0}}) {
      for (const bool nonzero : {false, true}) {
        SCOPED_TRACE(std::to_string(row.type) + " " + std::to_string(pattern));
        const bool any = nonzero && row.bytes != 8;
        const std::string expected = (any ? pattern != 0 : (pattern & 1) != 0) ? "   T" : "   F";
        for (const u8 operation : {FMT_L, FMT_L_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
          if (operation != FMT_L && operation != FMT_L_W && row.type < ITM_LOGICAL) continue;
          Editor edit(operation, 4, 2, 1);
          edit.lub.lub_f_logical_nonzero = nonzero;
          EXPECT_EQ(edit.write(row.type, &pattern, row.bytes), expected);
          EXPECT_EQ(edit.result, 0);
        }
      }
    }
  }
}

TEST(ValueOutput, BitImages) {
  struct Form {
    u8 operations[3];
    int radix;
  };
  constexpr Form kForms[] = {
      {{FMT_B, FMT_B_W, FMT_B_WM}, 2}, {{FMT_O, FMT_O_W, FMT_O_WM}, 8}, {{FMT_Z, FMT_Z_W, FMT_Z_WM}, 16}};
  struct Type {
    u32 type;
    int bytes;  ///< that are edited
  };
  std::vector<Type> types = {{26, 4}, {27, 4}, {28, 4}, {29, 4}, {30, 4}, {40, 8}, {41, 8}, {44, 8},
                             {48, 8}, {49, 8}, {25, 4}, {31, 4}, {45, 4}, {46, 4}, {42, 4}, {ITM_DERIVED, 4}};
  for (const Integer_Type& row : kIntegerTypes) types.push_back({row.type, row.bytes});
  for (const Form& form : kForms) {
    for (const u8 operation : form.operations) {
      for (const Type& row : types) {
        for (const u64 pattern : kPatterns) {
          SCOPED_TRACE(std::to_string(operation) + " " + std::to_string(row.type) + " " + std::to_string(pattern));
          Editor edit(operation, 70, 5);
          EXPECT_EQ(edit.write(row.type, pattern), in_radix(low_bytes(pattern, row.bytes), form.radix, 70, 5));
          EXPECT_EQ(edit.result, 0);
        }
      }
    }
  }
  const u64 quad[] = {0x0123456789ABCDEF, 0x3FFF000000000000};
  EXPECT_EQ(Editor(FMT_Z, 34, 1).write(ITM_REAL16, quad), "  3FFF0000000000000123456789ABCDEF");
  EXPECT_EQ(Editor(FMT_Z_W, 8, 1).write(ITM_CHARACTER, "ABC", 3), "  434241");
  EXPECT_EQ(Editor(FMT_O_W, 8, 1).write(ITM_CHARACTER_ALT, "AB", 2), "   41101");
  EXPECT_EQ(Editor(FMT_B_W, 8, 1).write(ITM_CHARACTER, "A", 1), " 1000001");
  const i32 minus_one = -1;
  Editor narrow(FMT_Z_W, 7, 1);
  EXPECT_EQ(narrow.write(ITM_INTEGER4, minus_one), "*******");
  EXPECT_EQ(narrow.result, MSG_OUTPUT_CONVERSION);
}

TEST(ValueOutput, Characters) {
  struct Row {
    i64 width;
    const char *value, *field;
  };
  for (const Row& row :
       {Row{5, "abc", "  abc"}, Row{3, "abc", "abc"}, Row{2, "abc", "ab"}, Row{4, "", "    "}, Row{0, "abc", ""}}) {
    for (const u8 operation : {FMT_A, FMT_LITERAL, FMT_A_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
      for (const u32 type : {ITM_CHARACTER, ITM_CHARACTER_ALT}) {
        Editor edit(operation, row.width, 2, 1);
        EXPECT_EQ(edit.write(type, row.value, strlen(row.value)), row.field);
        EXPECT_EQ(edit.result, 0);
      }
    }
  }
}

/// The same value in every real format that holds it.
void expect_real(Editor edit, double value, const std::string& field, int result = 0) {
  SCOPED_TRACE(std::to_string(edit.isb.isb_code) + " of " + std::to_string(value));
  const float narrow = static_cast<float>(value);
  const __float128 wide = value;
  for (const u32 type : {26, 27, 28, 29, 30}) {
    EXPECT_EQ(edit.write(type, narrow), field) << type;
    EXPECT_EQ(edit.result, result) << type;
  }
  for (const u32 type : {40, 41, 44, 48, 49}) {
    EXPECT_EQ(edit.write(type, value), field) << type;
    EXPECT_EQ(edit.result, result) << type;
  }
  for (const u32 type : {50, 52}) {
    EXPECT_EQ(edit.write(type, wide), field) << type;
    EXPECT_EQ(edit.result, result) << type;
  }
}

TEST(ValueOutput, Reals) {
  struct Row {
    u8 operation;
    i64 width;
    u16 d, e;
    i8 scale;
    double value;
    const char* field;
  };
  constexpr Row kRows[] = {
      {FMT_F, 10, 3, 0, 0, 1234.5625, "  1234.562"},         {FMT_F_WD, 10, 3, 0, 0, -1234.5625, " -1234.562"},
      {FMT_F_WD, 10, 1, 0, 2, 1234.5625, "  123456.2"},      {FMT_D, 13, 4, 2, 0, 1234.5625, "   0.1235D+04"},
      {FMT_D_WD, 13, 4, 0, 1, 1234.5625, "   1.2346D+03"},   {FMT_E, 13, 4, 2, 0, 1234.5625, "   0.1235E+04"},
      {FMT_E_WD, 13, 4, 0, -1, 1234.5625, "   0.0123E+05"},  {FMT_E_WDE, 13, 4, 3, 0, 1234.5625, "  0.1235E+004"},
      {FMT_EN, 13, 3, 0, 0, 0.001953125, "    1.953E-03"},   {FMT_EN_WD, 13, 3, 0, 0, 12345.625, "   12.346E+03"},
      {FMT_EN_WDE, 13, 3, 1, 0, 12345.625, "    12.346E+3"}, {FMT_ES, 13, 3, 0, 0, 12345.625, "    1.235E+04"},
      {FMT_ES_WD, 13, 3, 0, 5, 12345.625, "    1.235E+04"},  {FMT_ES_WDE, 13, 3, 4, 0, -12345.625, " -1.235E+0004"},
      {FMT_G, 13, 4, 2, 0, 1234.5625, "    1235.    "},      {FMT_G_WD, 13, 4, 0, 0, 12.5, "    12.50    "},
      {FMT_G_WD, 13, 4, 0, 0, 123456.5, "   0.1235E+06"},    {FMT_G_WDE, 13, 4, 3, 0, 12.5, "   12.50     "},
      {FMT_G_WDE, 13, 4, 3, 0, 0.0078125, "  0.7812E-002"},
  };
  for (const Row& row : kRows) {
    Editor edit(row.operation, row.width, row.d, row.e);
    edit.isb.isb_scale = row.scale;
    expect_real(edit, row.value, row.field);
  }
  EXPECT_EQ(Editor(FMT_EX, 12, 1, 0).write(ITM_REAL4, 1.0f), "    0X8.0P-3");
  EXPECT_EQ(Editor(FMT_EX, 14, 3, 4).write(ITM_REAL8, -1.0), "-0X8.000P-0003");
}

TEST(ValueOutput, RealModes) {
  Editor plus(FMT_F_WD, 7, 2);
  plus.isb.isb_flags = ISB_SP;
  expect_real(plus, 3.125, "  +3.12");

  Editor left(FMT_F_WD, 8, 1);
  left.isb.isb_flags = ISB_LEFT_JUSTIFY;
  expect_real(left, 12.5, "12.5    ");

  struct Rounding {
    u8 mode;
    const char *tie, *negative_tie, *small;
  };
  for (const Rounding& row : {Rounding{ROUND_UNSET, " 2.2", "-2.2", " 0.0"},
                              {ROUND_UP, " 2.3", "-2.2", " 0.1"},
                              {ROUND_DOWN, " 2.2", "-2.3", " 0.0"},
                              {ROUND_ZERO, " 2.2", "-2.2", " 0.0"},
                              {ROUND_NEAREST, " 2.2", "-2.2", " 0.0"},
                              {ROUND_COMPATIBLE, " 2.3", "-2.3", " 0.0"},
                              {ROUND_PROCESSOR_DEFINED, " 2.2", "-2.2", " 0.0"}}) {
    SCOPED_TRACE(int{row.mode});
    Editor edit(FMT_F_WD, 4, 1);
    edit.isb.isb_round = row.mode;
    expect_real(edit, 2.25, row.tie);
    expect_real(edit, -2.25, row.negative_tie);
    expect_real(edit, 0.0078125, row.small);
  }

  struct Decimal {
    u8 unit;
    u16 flags2;
    const char* field;
  };
  for (const Decimal& row : {Decimal{DECIMAL_UNSET, 0, " 1.5"},
                             {DECIMAL_POINT, 0, " 1.5"},
                             {DECIMAL_COMMA, 0, " 1,5"},
                             {DECIMAL_POINT, ISB2_DC, " 1,5"},
                             {DECIMAL_COMMA, ISB2_DP, " 1.5"},
                             {DECIMAL_COMMA, ISB2_DC, " 1,5"}}) {
    Editor edit(FMT_F_WD, 4, 1);
    edit.lub.lub_decimal = row.unit;
    edit.isb.isb_flags2 = row.flags2;
    expect_real(edit, 1.5, row.field);
  }

  Editor zero(FMT_F_WD, 5, 1);
  expect_real(zero, -0.0, "  0.0");
  expect_real(zero, -0.0078125, "  0.0");
  zero.lub.lub_f_minus_zero = 1;
  expect_real(zero, -0.0, " -0.0");
  expect_real(zero, -0.0078125, "  0.0");
  zero.lub.lub_f_minus_zero = 0;
  zero.isb.isb_flags2 = ISB2_KEEP_ROUNDED_SIGN;
  expect_real(zero, -0.0, "  0.0");
  expect_real(zero, -0.0078125, " -0.0");
}

TEST(ValueOutput, GeneralFormChoices) {
  constexpr const char *kFixed = "   0.000    ", *kExponent = "  0.0000E+00";
  struct Row {
    bool f90, compact;
    u32 flags;
    u16 flags2;
    const char* field;  ///< of zero
  };
  for (const Row& row :
       {Row{false, false, 0, 0, kExponent}, Row{true, false, 0, 0, kFixed}, Row{false, true, 0, 0, kExponent},
        Row{true, false, ISB_LIST_G, 0, kExponent}, Row{false, true, ISB_LIST_G, 0, kFixed},
        Row{false, false, ISB_LIST_G, ISB2_VALUE_OPTION, kFixed}, Row{false, false, 0, ISB2_VALUE_OPTION, kExponent}}) {
    Editor edit(FMT_G_WD, 12, 4);
    edit.lub.lub_f_f90_rtl = row.f90;
    edit.lub.lub_f_compact_ldio = row.compact;
    edit.isb.isb_flags = row.flags;
    edit.isb.isb_flags2 = row.flags2;
    expect_real(edit, 0.0, row.field);
  }
  Editor list(FMT_G_WDE, 16, 6, 2);
  list.lub.lub_f_msf_layout = 1;
  expect_real(list, 1234.5, "     1234.500000");
  expect_real(list, 0.5, "    0.500000E+00");

  Editor minimal(FMT_G_WDE, 4, 6);  // a field too small for a computed width
  minimal.isb.isb_flags2 = ISB2_MINIMAL | ISB2_G_NO_WIDTH | ISB2_STANDARD_G0 | ISB2_D_GIVEN;
  expect_real(minimal, 123.5, "****", MSG_RECORD_OVERFLOW);
}

TEST(ValueOutput, MinimalForms) {
  struct Row {
    u16 flags2;
    u8 operation;
    u16 d;
    double value;
    const char* field;  ///< of 16 columns
    int result;
  };
  constexpr u16 kStandard = ISB2_MINIMAL | ISB2_G_NO_WIDTH | ISB2_STANDARD_G0;
  for (const Row& row : {Row{0, FMT_F_WD, 2, 0.5, "            0.50", 0},
                         {ISB2_MINIMAL, FMT_F_WD, 2, 0.5, "             .50", 0},
                         {ISB2_G_NO_WIDTH, FMT_F_WD, 2, 0.5, "             .50", 0},
                         {ISB2_STANDARD_G0 | ISB2_W_ZERO | ISB2_D_GIVEN, FMT_F_WD, 2, 0.5, "            0.50", 0},
                         // Asterisks over the columns that the descriptor is worth, or over all of them.
                         {ISB2_MINIMAL, FMT_F_WD, 2, 0x1p100, "********        ", MSG_OUTPUT_CONVERSION},
                         {ISB2_MINIMAL | ISB2_W_ZERO, FMT_F_WD, 2, 0x1p100, "********        ", MSG_OUTPUT_CONVERSION},
                         {ISB2_MINIMAL | ISB2_W_ZERO | ISB2_STANDARD_G0, FMT_F_WD, 2, 0x1p100, "****************",
                          MSG_OUTPUT_CONVERSION},
                         {kStandard | ISB2_D_GIVEN, FMT_G_WDE, 5, 1048576e10, "      .10486E+17", 0}}) {
    SCOPED_TRACE(row.flags2);
    Editor edit(row.operation, 16, row.d);
    edit.isb.isb_flags2 = row.flags2;
    EXPECT_EQ(edit.write(ITM_REAL8, row.value), row.field);
    EXPECT_EQ(edit.result, row.result);
  }
  // Without a given d the digits begin at one.
  Editor search(FMT_G_WDE, 16, 5);
  search.isb.isb_flags2 = kStandard;
  EXPECT_EQ(search.write(ITM_REAL8, 1e20), "          .1E+21");
  search.isb.isb_flags2 = kStandard | ISB2_D_GIVEN;
  EXPECT_EQ(search.write(ITM_REAL8, 1e20), "      .10000E+21");
}

TEST(ValueOutput, Statuses) {
  const double infinity = __builtin_inf(), nan = __builtin_nan("");
  expect_real(Editor(FMT_F_WD, 5, 1), 12345.5, "*****", MSG_OUTPUT_CONVERSION);
  expect_real(Editor(FMT_E_WD, 5, 3), 1.5, "*****", MSG_OUTPUT_CONVERSION);
  expect_real(Editor(FMT_F_WD, 9, 1), -infinity, "-Infinity");
  expect_real(Editor(FMT_E_WD, 2, 1), infinity, "**");
  expect_real(Editor(FMT_G_WD, 4, 1), nan, " NaN");
  Editor narrow(FMT_I_W, 2, 1);
  EXPECT_EQ(narrow.write(ITM_INTEGER4, i32{123}), "**");
  EXPECT_EQ(narrow.result, MSG_OUTPUT_CONVERSION);
  EXPECT_EQ(narrow.write(ITM_UNSIGNED8, u64{123}), "**");
  EXPECT_EQ(narrow.result, MSG_OUTPUT_CONVERSION);
}

TEST(ValueOutput, Mismatches) {
  const u8 value[32] = {};
  const auto result = [&](u8 operation, u32 type) {
    Editor edit(operation, 20, 3, 2);
    const std::string field = edit.write(type, value, 16);
    EXPECT_TRUE(edit.result == 0 || field == std::string(20, '#')) << int{operation} << ' ' << type;
    return edit.result;
  };
  for (const u32 type :
       {5u, 6u, 9u, 11u, 12u, 13u, 16u, 17u, 56u, 57u, 25u, 31u, 42u, 43u, 45u, 46u, 47u, 51u, 63u, 200u}) {
    for (const u8 operation : kRealOperations) EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
  }
  for (const u32 type : {25u, 26u, 31u, 42u, 45u, 48u, 50u, 56u, 57u, 63u, 71u}) {
    for (const u8 operation : {FMT_I, FMT_I_W, FMT_I_WM, FMT_L, FMT_L_W}) {
      EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
    }
  }
  for (const u32 type : {25u, 31u, 42u, 43u, 45u, 46u, 47u, 51u, 63u}) {
    for (const u8 operation : kGeneral) EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
  }
  for (int operation = 0; operation < 256; ++operation) {
    const bool edits = (operation >= FMT_A && operation <= FMT_ES_WDE) || operation == FMT_EX;
    if (edits) continue;
    EXPECT_EQ(result(static_cast<u8>(operation), ITM_INTEGER4), operation == FMT_Q ? 0 : MSG_INVALID_ARGUMENT);
  }
}

TEST(ValueOutput, NeedsAUnit) {
  const auto child = tamrun_test::run_child([] {
    Editor edit(FMT_I_W, 4);
    edit.isb.isb_lub = nullptr;
    edit.write(ITM_INTEGER4, i32{1});
  });
  EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY);
  EXPECT_NE(child.err.find("file for_fmt_val, line"), std::string::npos) << child.err;
}

}  // namespace
