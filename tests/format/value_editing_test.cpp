// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every edit operation with every group of item types: what is written, and that reading it gives the value back.

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <vector>

#include "support/child.h"
#include "tests/format/editor.h"

namespace {

using tamrun_test::Editor;

constexpr u8 kIntegerOperations[] = {FMT_I, FMT_I_W, FMT_I_WM};
constexpr u8 kRealOperations[] = {FMT_D,  FMT_D_WD,  FMT_E,      FMT_E_WD, FMT_E_WDE, FMT_F,      FMT_F_WD,
                                  FMT_EN, FMT_EN_WD, FMT_EN_WDE, FMT_ES,   FMT_ES_WD, FMT_ES_WDE, FMT_EX};
constexpr u8 kGeneral[] = {FMT_G, FMT_G_WD, FMT_G_WDE};

struct Integer_Type {
  u32 type;
  int bytes;
  bool is_signed;
  const char *below, *above;  ///< the range
};
constexpr Integer_Type kIntegerTypes[] = {
    {ITM_INTEGER1, 1, true, "-129", "128"},
    {ITM_UNSIGNED1, 1, false, "-1", "256"},
    {ITM_INTEGER2, 2, true, "-32769", "32768"},
    {ITM_UNSIGNED2, 2, false, "-1", "65536"},
    {ITM_INTEGER4, 4, true, "-2147483649", "2147483648"},
    {ITM_UNSIGNED4, 4, false, "-1", "4294967296"},
    {ITM_INTEGER8, 8, true, "-9223372036854775809", "9223372036854775808"},
    {ITM_UNSIGNED8, 8, false, "-1", "18446744073709551616"},
    {ITM_LOGICAL1, 1, true, "-129", "128"},
    {ITM_LOGICAL2, 2, true, "-32769", "32768"},
    {ITM_LOGICAL, 4, true, "-2147483649", "2147483648"},
    {ITM_LOGICAL4, 4, true, "-2147483649", "2147483648"},
    {ITM_LOGICAL8, 8, true, "-9223372036854775809", "9223372036854775808"},
};
constexpr u64 kPatterns[] = {0,          7,          0x7F,       0x80,         0x7FFF, 0x8000,
                             0x12345678, 0x7FFFFFFF, 0x80000000, ~u64{0} >> 1, ~u64{0}};

u64 all_ones(int bytes) { return ~u64{0} >> (64 - 8 * bytes); }

/// Iw.m by the C library.
std::string printed(u64 pattern, const Integer_Type& row, int width, int digits, bool plus) {
  char text[80];
  if (row.is_signed) {
    const int shift = 64 - 8 * row.bytes;
    const long value = static_cast<long>(pattern << shift) >> shift;
    snprintf(text, sizeof text, plus ? "%+*.*ld" : "%*.*ld", width, digits, value);
  } else {
    snprintf(text, sizeof text, "%*.*lu", width, digits, static_cast<unsigned long>(pattern & all_ones(row.bytes)));
  }
  return text;
}

std::string in_radix(u64 value, int radix, int width, int digits) {
  std::string text;
  for (; value != 0; value /= radix) text.insert(text.begin(), "0123456789ABCDEF"[value % radix]);
  while (static_cast<int>(text.size()) < digits) text.insert(text.begin(), '0');
  while (static_cast<int>(text.size()) < width) text.insert(text.begin(), ' ');
  return text;
}

/// The bytes read, as an unsigned number; the bytes behind them must keep their filling.
u64 read_bytes(Editor& edit, u32 type, int size, std::string_view text) {
  u8 bytes[16];
  edit.read(type, text, bytes, sizeof bytes);
  for (int i = size; i < 16; ++i) EXPECT_EQ(bytes[i], 0xAA) << "wrote past the value of type " << type;
  u64 value = 0;
  memcpy(&value, bytes, size);
  return value;
}
u64 read_bytes(Editor& edit, const Integer_Type& row, std::string_view text) {
  return read_bytes(edit, row.type, row.bytes, text);
}

TEST(ValueEditing, IntegersOutAndBack) {
  const auto expect = [](u8 operation, const Integer_Type& row, u64 pattern, u32 flags, int width, int digits) {
    SCOPED_TRACE(std::to_string(operation) + " of type " + std::to_string(row.type) + ", " + std::to_string(pattern));
    Editor edit(operation, width, 3, 5);
    edit.isb.isb_flags = flags;
    const std::string field = printed(pattern, row, width, digits, flags == ISB_SP);
    EXPECT_EQ(edit.write(row.type, &pattern, row.bytes), field);
    EXPECT_EQ(edit.result, 0);
    EXPECT_EQ(read_bytes(edit, row, field), pattern & all_ones(row.bytes));
    EXPECT_EQ(edit.result, 0);
    EXPECT_EQ(edit.isb.isb_d, 3);
    EXPECT_EQ(edit.isb.isb_e, 5);
  };
  for (const Integer_Type& row : kIntegerTypes) {
    for (const u64 pattern : kPatterns) {
      for (const u8 operation : kIntegerOperations) {
        for (const u32 flags : {0u, u32{ISB_SP}, u32{ISB_SS}}) expect(operation, row, pattern, flags, 24, 3);
      }
      if (row.type >= ITM_LOGICAL) continue;
      for (const u8 operation : kGeneral) expect(operation, row, pattern, 0, 22, 1);  // as Iw.1, whatever d and e say
    }
  }
}

TEST(ValueEditing, IntegersOutOfRangeBlanksAndLetters) {
  for (const Integer_Type& row : kIntegerTypes) {
    SCOPED_TRACE(row.type);
    Editor edit(FMT_I_W, 0);
    for (const char* text : {row.below, row.above, "1x"}) {
      EXPECT_EQ(read_bytes(edit, row, text), 0u) << text;
      EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION) << text;
    }
    edit.isb.isb_flags = ISB_BN;
    EXPECT_EQ(read_bytes(edit, row, " 1 2 "), 12u);
    edit.isb.isb_flags = ISB_BZ;
    EXPECT_EQ(read_bytes(edit, row, " 1 2"), 102u);
    EXPECT_EQ(read_bytes(edit, row, "   "), 0u);
    EXPECT_EQ(edit.result, 0);
    edit.isb.isb_flags = ISB_LOGICAL_LETTER;
    EXPECT_EQ(read_bytes(edit, row, "F"), 0u);
    EXPECT_EQ(read_bytes(edit, row, "T"), row.is_signed ? all_ones(row.bytes) : 0);
    EXPECT_EQ(edit.result, row.is_signed ? 0 : MSG_INPUT_CONVERSION);

    Editor narrow(FMT_I_W, 2, 1);
    EXPECT_EQ(narrow.write(row.type, u64{100}), "**");
    EXPECT_EQ(narrow.result, MSG_OUTPUT_CONVERSION);
  }
}

TEST(ValueEditing, LogicalsOutAndBack) {
  for (const Integer_Type& row : kIntegerTypes) {
    for (const u8 operation : {FMT_L, FMT_L_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
      if (operation != FMT_L && operation != FMT_L_W && row.type < ITM_LOGICAL) continue;
      SCOPED_TRACE(std::to_string(operation) + " " + std::to_string(row.type));
      Editor edit(operation, 4, 2, 1);
      for (const u64 pattern : {u64{0}, u64{1}, u64{2}, ~u64{0}}) {
        for (const bool nonzero : {false, true}) {
          edit.lub.lub_f_logical_nonzero = nonzero;
          const bool any = nonzero && row.bytes != 8;
          const bool value = any ? pattern != 0 : (pattern & 1) != 0;
          edit.isb.isb_width = 4;
          EXPECT_EQ(edit.write(row.type, &pattern, row.bytes), value ? "   T" : "   F") << pattern;
          EXPECT_EQ(edit.result, 0);
        }
      }
      EXPECT_EQ(read_bytes(edit, row, " .true."), all_ones(row.bytes));
      EXPECT_EQ(read_bytes(edit, row, " F"), 0u);
      EXPECT_EQ(edit.result, 0);
      EXPECT_EQ(read_bytes(edit, row, "x"), 0u);
      EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
    }
  }
}

TEST(ValueEditing, BitImagesOutAndBack) {
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
                             {48, 8}, {49, 8}, {25, 4}, {31, 4}, {45, 4}, {46, 4}, {42, 4}};
  for (const Integer_Type& row : kIntegerTypes) types.push_back({row.type, row.bytes});
  for (const Form& form : kForms) {
    for (const u8 operation : form.operations) {
      for (const Type& row : types) {
        SCOPED_TRACE(std::to_string(operation) + " of type " + std::to_string(row.type));
        Editor edit(operation, 70, 5);
        for (const u64 pattern : kPatterns) {
          const u64 raw = pattern & all_ones(row.bytes);
          const std::string field = in_radix(raw, form.radix, 70, 5);
          EXPECT_EQ(edit.write(row.type, pattern), field);
          EXPECT_EQ(edit.result, 0);
          EXPECT_EQ(read_bytes(edit, row.type, row.bytes, field), raw);
          EXPECT_EQ(edit.result, 0);
        }
        EXPECT_EQ(read_bytes(edit, row.type, row.bytes, " 1 0"), static_cast<u64>(form.radix));
        edit.isb.isb_flags = ISB_BZ;
        EXPECT_EQ(read_bytes(edit, row.type, row.bytes, " 1 "), static_cast<u64>(form.radix));
        read_bytes(edit, row.type, row.bytes, "9G");
        EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
      }
    }
  }
  const __float128 quad = 1;
  Editor hex(FMT_Z, 34, 1);
  EXPECT_EQ(hex.write(ITM_REAL16, quad), "  3FFF0000000000000000000000000000");
  EXPECT_EQ(hex.read<__float128>(ITM_REAL16, "3FFF0000000000000000000000000000"), quad);
  EXPECT_EQ(Editor(FMT_Z_W, 8, 1).write(ITM_CHARACTER, "ABC", 3), "  434241");
  EXPECT_EQ(Editor(FMT_O_W, 8, 1).write(ITM_CHARACTER_ALT, "AB", 2), "   41101");
  EXPECT_EQ(Editor(FMT_Z_W, 8, 1).write(ITM_DERIVED, u32{0xAF}), "      AF");
  char text[3];
  EXPECT_EQ(hex.read(ITM_CHARACTER, "434241", text, 3), 0);
  EXPECT_EQ(std::string(text, 3), "ABC");
  (void)hex.read<u8>(ITM_INTEGER1, "300");
  EXPECT_EQ(hex.result, MSG_INPUT_CONVERSION);
  Editor narrow(FMT_Z_W, 7, 1);
  EXPECT_EQ(narrow.write(ITM_INTEGER4, i32{-1}), "*******");
  EXPECT_EQ(narrow.result, MSG_OUTPUT_CONVERSION);
}

TEST(ValueEditing, Characters) {
  struct Row {
    std::string value;
    i64 width;
    const char* field;
  };
  struct Field {
    std::string field, value, value_of_a_letter;
  };
  for (const u8 operation : {FMT_A, FMT_LITERAL, FMT_A_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
    for (const u32 type : {ITM_CHARACTER, ITM_CHARACTER_ALT}) {
      for (const Row& row :
           {Row{"abc", 5, "  abc"}, Row{"abc", 3, "abc"}, Row{"abc", 2, "ab"}, Row{"", 4, "    "}, Row{"abc", 0, ""}}) {
        Editor edit(operation, row.width, 2, 1);
        EXPECT_EQ(edit.write(type, row.value.data(), static_cast<i64>(row.value.size())), row.field);
        EXPECT_EQ(edit.result, 0);
      }
      for (const Field& row : {Field{"abc", "abc  ", "abc  "}, Field{"abc", "abc", "abc"}, Field{"abcde", "cde", "abc"},
                               Field{"", "  ", "  "}, Field{"abc", "", ""}}) {
        char value[8];
        Editor edit(operation, 0);
        for (const bool letter : {false, true}) {
          edit.isb.isb_flags = letter ? u32{ISB_LOGICAL_LETTER} : 0;
          const i64 length = static_cast<i64>(row.value.size());
          EXPECT_EQ(edit.read(type, row.field, value, length), 0);
          EXPECT_EQ(std::string(value, length), letter ? row.value_of_a_letter : row.value);
        }
      }
    }
  }
}

/// Calls `body` with each type of a real and the value in its format.
void in_all_formats(double value, const auto& body) {
  for (const u32 type : {26, 27, 28, 29, 30}) body(type, static_cast<float>(value));
  for (const u32 type : {40, 41, 44, 48, 49}) body(type, value);
  for (const u32 type : {50, 52}) body(type, static_cast<__float128>(value));
}

/// The field of the same value in every format. It must be exact in the narrowest.
void expect_written(Editor edit, double value, const std::string& field, int result = 0) {
  SCOPED_TRACE(std::to_string(edit.isb.isb_code) + " of " + std::to_string(value));
  in_all_formats(value, [&](u32 type, auto real) {
    EXPECT_EQ(edit.write(type, real), field) << type;
    EXPECT_EQ(edit.result, result) << type;
  });
}
void expect_read(Editor edit, const char* field, double value) {
  SCOPED_TRACE(std::to_string(edit.isb.isb_code) + " of '" + field + "'");
  in_all_formats(value, [&](u32 type, auto real) {
    EXPECT_TRUE(edit.read<decltype(real)>(type, field) == real) << type;
    EXPECT_EQ(edit.result, 0) << type;
  });
}

TEST(ValueEditing, RealsOut) {
  struct Row {
    u8 operation;
    i64 width;
    u16 d, e;
    i8 scale;
    double value;
    const char* field;
  };
  constexpr Row kRows[] = {
      {FMT_F, 10, 3, 0, 0, 1234.5625, "  1234.562"},          {FMT_F_WD, 10, 1, 0, 2, 1234.5625, "  123456.2"},
      {FMT_D, 13, 4, 2, 0, 1234.5625, "   0.1235D+04"},       {FMT_D_WD, 13, 4, 0, 1, 1234.5625, "   1.2346D+03"},
      {FMT_E, 13, 4, 2, 0, 1234.5625, "   0.1235E+04"},       {FMT_E_WD, 13, 4, 0, -1, 1234.5625, "   0.0123E+05"},
      {FMT_E_WDE, 13, 4, 3, 0, 1234.5625, "  0.1235E+004"},   {FMT_EN, 13, 3, 0, 0, 0.001953125, "    1.953E-03"},
      {FMT_EN_WD, 13, 3, 0, 0, 12345.625, "   12.346E+03"},   {FMT_EN_WDE, 13, 3, 1, 0, 12345.625, "    12.346E+3"},
      {FMT_ES, 13, 3, 0, 0, 12345.625, "    1.235E+04"},      {FMT_ES_WD, 13, 3, 0, 5, 12345.625, "    1.235E+04"},
      {FMT_ES_WDE, 13, 3, 4, 0, -12345.625, " -1.235E+0004"}, {FMT_EX, 14, 3, 4, 0, -1.0, "-0X8.000P-0003"},
      {FMT_G, 13, 4, 2, 0, 1234.5625, "    1235.    "},       {FMT_G_WD, 13, 4, 0, 0, 123456.5, "   0.1235E+06"},
      {FMT_G_WDE, 13, 4, 3, 0, 12.5, "   12.50     "},        {FMT_G_WDE, 13, 4, 3, 0, 0.0078125, "  0.7812E-002"},
  };
  for (const Row& row : kRows) {
    Editor edit(row.operation, row.width, row.d, row.e);
    edit.isb.isb_scale = row.scale;
    expect_written(edit, row.value, row.field);
  }
  const double infinity = __builtin_inf();
  expect_written(Editor(FMT_F_WD, 5, 1), 12345.5, "*****", MSG_OUTPUT_CONVERSION);
  expect_written(Editor(FMT_F_WD, 9, 1), -infinity, "-Infinity");
  expect_written(Editor(FMT_E_WD, 2, 1), infinity, "**");
  expect_written(Editor(FMT_G_WD, 4, 1), __builtin_nan(""), " NaN");
}

TEST(ValueEditing, RealsIn) {
  for (const u8 operation : kRealOperations) {
    Editor edit(operation, 0, 2);
    expect_read(edit, "1 2.5", 102.5);  // with neither mode as with BZ
    edit.isb.isb_flags = ISB_BZ;
    expect_read(edit, "1 2.5", 102.5);
    edit.isb.isb_flags = ISB_BN;
    expect_read(edit, "-1250", -12.5);
    expect_read(edit, "1.25D+1", 12.5);
    expect_read(edit, "1 2 . 5", 12.5);
    EXPECT_EQ(edit.read<double>(ITM_REAL8, "0.1"), 0.1);
    (void)edit.read<double>(ITM_REAL8, "1.5x");
    EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
  }
  for (const u8 operation : kGeneral) {
    Editor edit(operation, 0, 1);
    expect_read(edit, "125", 12.5);
    edit.isb.isb_flags = ISB_LOGICAL_LETTER;
    expect_read(edit, ".true.", -1.0);
    expect_read(edit, "f", 0.0);
  }
  Editor scaled(FMT_F_WD, 0);
  scaled.isb.isb_scale = 1;
  expect_read(scaled, "125.", 12.5);
  expect_read(scaled, "125.E0", 125);
  scaled.isb.isb_flags = ISB_TEXT_SCALE_ALWAYS;
  expect_read(scaled, "125.E0", 12.5);
  Editor alone(FMT_F_WD, 0);  // a conversion outside any statement
  alone.isb.isb_lub = nullptr;
  EXPECT_EQ(alone.read<double>(ITM_REAL8, "1.5"), 1.5);

  struct Option {
    u32 flag;
    const char* field;
    int without, with;
  };
  for (const Option& row : {Option{ISB_TEXT_E_ONLY, "1.5D2", 0, MSG_INPUT_CONVERSION},
                            Option{ISB_TEXT_NO_BARE_SIGN, "1.5+2", 0, MSG_INPUT_CONVERSION},
                            Option{ISB_TEXT_REPORT_UNDERFLOW, "1E-9999", 0, MSG_INPUT_CONVERSION},
                            Option{ISB_TEXT_REPORT_OVERFLOW, "1E9999", MSG_INPUT_CONVERSION, MSG_INPUT_CONVERSION}}) {
    SCOPED_TRACE(row.field);
    for (const u32 flag : {u32{0}, row.flag}) {
      Editor edit(FMT_F_WD, 0);
      edit.isb.isb_flags = flag;
      (void)edit.read<double>(ITM_REAL8, row.field);
      EXPECT_EQ(edit.result, flag == 0 ? row.without : row.with);
    }
  }
}

TEST(ValueEditing, RoundingOfReals) {
  struct Row {
    u8 mode;
    const char *tie, *negative_tie, *small;
    double single, negative_single;  ///< of the tie 16777217
  };
  for (const Row& row : {Row{ROUND_UNSET, " 2.2", "-2.2", " 0.0", 16777216, -16777216},
                         {ROUND_UP, " 2.3", "-2.2", " 0.1", 16777218, -16777216},
                         {ROUND_DOWN, " 2.2", "-2.3", " 0.0", 16777216, -16777218},
                         {ROUND_ZERO, " 2.2", "-2.2", " 0.0", 16777216, -16777216},
                         {ROUND_NEAREST, " 2.2", "-2.2", " 0.0", 16777216, -16777216},
                         {ROUND_COMPATIBLE, " 2.3", "-2.3", " 0.0", 16777218, -16777218},
                         {ROUND_PROCESSOR_DEFINED, " 2.2", "-2.2", " 0.0", 16777216, -16777216}}) {
    SCOPED_TRACE(int{row.mode});
    Editor edit(FMT_F_WD, 4, 1);
    edit.isb.isb_round = row.mode;
    expect_written(edit, 2.25, row.tie);
    expect_written(edit, -2.25, row.negative_tie);
    expect_written(edit, 0.0078125, row.small);
    EXPECT_EQ(edit.read<float>(ITM_REAL4, "16777217."), row.single);
    EXPECT_EQ(edit.read<float>(ITM_REAL4, "-16777217."), row.negative_single);
  }
}

TEST(ValueEditing, SignsPointsAndPlacesOfReals) {
  Editor plus(FMT_F_WD, 7, 2);
  plus.isb.isb_flags = ISB_SP;
  expect_written(plus, 3.125, "  +3.12");
  Editor left(FMT_F_WD, 8, 1);
  left.isb.isb_flags = ISB_LEFT_JUSTIFY;
  expect_written(left, 12.5, "12.5    ");

  struct Decimal {
    u8 unit;
    u16 flags2;
    const char* field;
  };
  for (const Decimal& row : {Decimal{DECIMAL_UNSET, 0, " 1.5"},
                             {DECIMAL_COMMA, 0, " 1,5"},
                             {DECIMAL_POINT, ISB2_DC, " 1,5"},
                             {DECIMAL_COMMA, ISB2_DP, " 1.5"},
                             {DECIMAL_COMMA, ISB2_DC, " 1,5"}}) {
    Editor edit(FMT_F_WD, 4, 1);
    edit.lub.lub_decimal = row.unit;
    edit.isb.isb_flags2 = row.flags2;
    expect_written(edit, 1.5, row.field);
    expect_read(edit, row.field, 1.5);
  }

  struct Zero {
    bool minus_zero;
    u16 flags2;
    const char *zero, *rounded;
  };
  for (const Zero& row : {Zero{false, 0, "  0.0", "  0.0"}, Zero{true, 0, " -0.0", "  0.0"},
                          Zero{false, ISB2_KEEP_ROUNDED_SIGN, "  0.0", " -0.0"}}) {
    Editor edit(FMT_F_WD, 5, 1);
    edit.lub.lub_f_minus_zero = row.minus_zero;
    edit.isb.isb_flags2 = row.flags2;
    expect_written(edit, -0.0, row.zero);
    expect_written(edit, -0.0078125, row.rounded);
  }
}

TEST(ValueEditing, GeneralFormChoices) {
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
    expect_written(edit, 0.0, row.field);
  }
  Editor list(FMT_G_WDE, 16, 6, 2);
  list.lub.lub_f_msf_layout = 1;
  expect_written(list, 1234.5, "     1234.500000");
  expect_written(list, 0.5, "    0.500000E+00");

  Editor minimal(FMT_G_WDE, 4, 6);  // a field too small for a computed width
  minimal.isb.isb_flags2 = ISB2_MINIMAL | ISB2_G_NO_WIDTH | ISB2_STANDARD_G0 | ISB2_D_GIVEN;
  expect_written(minimal, 123.5, "****", MSG_RECORD_OVERFLOW);
}

TEST(ValueEditing, MinimalForms) {
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

TEST(ValueEditing, Mismatches) {
  for (const bool writing : {true, false}) {
    const auto result = [&](u8 operation, u32 type) {
      SCOPED_TRACE(std::to_string(operation) + " of type " + std::to_string(type));
      u8 value[16] = {};
      Editor edit(operation, 20, 3, 2);
      if (writing) {
        const std::string field = edit.write(type, value, sizeof value);
        EXPECT_TRUE(edit.result == 0 || field == std::string(20, '#'));
      } else {
        edit.read(type, "1", value, sizeof value);
        EXPECT_TRUE(edit.result == 0 || std::string(16, '\xAA') == std::string(value, value + 16));
      }
      return edit.result;
    };
    for (const u32 type : {5u, 12u, 13u, 17u, 25u, 31u, 42u, 43u, 45u, 46u, 47u, 51u, 56u, 57u, 63u, 200u}) {
      for (const u8 operation : kRealOperations) EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
    }
    for (const u32 type : {25u, 26u, 31u, 42u, 44u, 48u, 50u, 56u, 57u, 63u, 71u}) {
      for (const u8 operation : {FMT_I, FMT_I_W, FMT_I_WM, FMT_L, FMT_L_W}) {
        EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
      }
    }
    for (const u32 type : {25u, 31u, 42u, 43u, 45u, 46u, 47u, 51u, 63u}) {
      for (const u8 operation : kGeneral) EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
    }
    for (int operation = 0; operation < 256; ++operation) {
      if ((operation >= FMT_A && operation <= FMT_ES_WDE) || operation == FMT_EX) continue;
      EXPECT_EQ(result(static_cast<u8>(operation), ITM_INTEGER4),
                writing && operation == FMT_Q ? 0 : MSG_INVALID_ARGUMENT);
    }
  }
}

TEST(ValueEditing, NeedsAUnit) {
  const auto child = tamrun_test::run_child([] {
    Editor edit(FMT_I_W, 4);
    edit.isb.isb_lub = nullptr;
    edit.write(ITM_INTEGER4, i32{1});
  });
  EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY);
  EXPECT_NE(child.err.find("file for_fmt_val, line"), std::string::npos) << child.err;
}

}  // namespace
