// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every input operation with every group of item types.

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/format/editor.h"

namespace {

using tamrun_test::Editor;

constexpr u8 kIntegerOperations[] = {FMT_I, FMT_I_W, FMT_I_WM};
constexpr u8 kRealOperations[] = {FMT_D,  FMT_D_WD,  FMT_E,      FMT_E_WD, FMT_E_WDE, FMT_F,      FMT_F_WD,
                                  FMT_EN, FMT_EN_WD, FMT_EN_WDE, FMT_ES,   FMT_ES_WD, FMT_ES_WDE, FMT_EX};

struct Width {
  u32 type;
  int bytes;
  bool is_signed;
};
constexpr Width kTypes[] = {
    {ITM_INTEGER1, 1, true}, {ITM_UNSIGNED1, 1, false}, {ITM_INTEGER2, 2, true}, {ITM_UNSIGNED2, 2, false},
    {ITM_INTEGER4, 4, true}, {ITM_UNSIGNED4, 4, false}, {ITM_INTEGER8, 8, true}, {ITM_UNSIGNED8, 8, false},
    {ITM_LOGICAL, 4, true},  {ITM_LOGICAL1, 1, true},   {ITM_LOGICAL2, 2, true}, {ITM_LOGICAL4, 4, true},
    {ITM_LOGICAL8, 8, true},
};

/// The bytes read, as an unsigned number; the bytes behind them must keep their filling.
u64 read_bytes(Editor& edit, const Width& row, std::string_view text) {
  u8 bytes[16];
  edit.read(row.type, text, bytes, sizeof bytes);
  for (int i = row.bytes; i < 16; ++i) EXPECT_EQ(bytes[i], 0xAA) << "wrote past the value of type " << row.type;
  u64 value = 0;
  memcpy(&value, bytes, row.bytes);
  return value;
}

TEST(ValueInput, IntegersKeepTheirRange) {
  for (const Width& row : kTypes) {
    const __int128 one = 1;
    const int bits = 8 * row.bytes;
    const __int128 lowest = row.is_signed ? -(one << (bits - 1)) : 0;
    const __int128 highest = (one << (row.is_signed ? bits - 1 : bits)) - 1;
    for (const __int128 value : {lowest - 1, lowest, __int128{0}, __int128{100}, __int128{200}, highest, highest + 1}) {
      std::string text;
      for (unsigned __int128 rest = value < 0 ? -value : value; rest != 0; rest /= 10) {
        text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
      }
      if (value < 0) text.insert(text.begin(), '-');
      SCOPED_TRACE(std::to_string(row.type) + " '" + text + "'");
      const bool fits = value >= lowest && value <= highest;
      u64 expected = fits ? static_cast<u64>(value) : 0;
      if (row.bytes < 8) expected &= (u64{1} << bits) - 1;
      for (const u8 operation : kIntegerOperations) {
        Editor edit(operation, 0, 3);
        EXPECT_EQ(read_bytes(edit, row, text), expected);
        EXPECT_EQ(edit.result, fits ? 0 : MSG_INPUT_CONVERSION);
      }
      if (row.type >= ITM_LOGICAL) continue;
      for (const u8 operation : {FMT_G, FMT_G_WD, FMT_G_WDE}) {
        Editor edit(operation, 0, 3, 2);
        EXPECT_EQ(read_bytes(edit, row, text), expected);
      }
    }
  }
}

TEST(ValueInput, BlanksInIntegers) {
  for (const Width& row : kTypes) {
    Editor edit(FMT_I_W, 0);
    edit.isb.isb_flags = ISB_BN;
    EXPECT_EQ(read_bytes(edit, row, " 1 2 "), 12u);
    edit.isb.isb_flags = ISB_BZ;
    EXPECT_EQ(read_bytes(edit, row, " 1 2"), 102u);
    EXPECT_EQ(read_bytes(edit, row, "   "), 0u);
    EXPECT_EQ(edit.result, 0);
    EXPECT_EQ(read_bytes(edit, row, "1x"), 0u);
    EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
  }
}

TEST(ValueInput, LogicalLettersInIntegers) {
  for (const Width& row : kTypes) {
    Editor edit(FMT_I_W, 0);
    edit.isb.isb_flags = ISB_LOGICAL_LETTER;
    const u64 all_ones = row.bytes == 8 ? ~u64{0} : (u64{1} << (8 * row.bytes)) - 1;
    EXPECT_EQ(read_bytes(edit, row, "T"), row.is_signed ? all_ones : 0) << row.type;
    EXPECT_EQ(edit.result, row.is_signed ? 0 : MSG_INPUT_CONVERSION) << row.type;
    EXPECT_EQ(read_bytes(edit, row, "F"), 0u) << row.type;
  }
}

TEST(ValueInput, Logicals) {
  for (const Width& row : kTypes) {
    const u64 all_ones = row.bytes == 8 ? ~u64{0} : (u64{1} << (8 * row.bytes)) - 1;
    for (const u8 operation : {FMT_L, FMT_L_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
      if (operation != FMT_L && operation != FMT_L_W && row.type < ITM_LOGICAL) continue;
      SCOPED_TRACE(std::to_string(operation) + " " + std::to_string(row.type));
      Editor edit(operation, 0);
      EXPECT_EQ(read_bytes(edit, row, " .true."), all_ones);
      EXPECT_EQ(read_bytes(edit, row, " F"), 0u);
      EXPECT_EQ(edit.result, 0);
      EXPECT_EQ(read_bytes(edit, row, "x"), 0u);
      EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
    }
  }
}

TEST(ValueInput, BitImages) {
  struct Form {
    u8 operations[3];
    const char *text, *blanks_as_zeros;  ///< 0x52 read skipping blanks, and the same text with zeros for them
    u64 with_zeros;
  };
  const Form forms[] = {{{FMT_B, FMT_B_W, FMT_B_WM}, "101 0010", "1 1", 5},
                        {{FMT_O, FMT_O_W, FMT_O_WM}, "12 2", "1 2", 0102},
                        {{FMT_Z, FMT_Z_W, FMT_Z_WM}, " 5 2", "  7", 7}};
  const Width others[] = {{26, 4, false}, {29, 4, false}, {48, 8, false},
                          {44, 8, false}, {25, 4, false}, {45, 4, false}};
  for (const Form& form : forms) {
    for (const u8 operation : form.operations) {
      const auto check = [&](const Width& row) {
        SCOPED_TRACE(std::to_string(operation) + " " + std::to_string(row.type));
        Editor edit(operation, 0);
        EXPECT_EQ(read_bytes(edit, row, form.text), 0x52u);
        EXPECT_EQ(edit.result, 0);
        edit.isb.isb_flags = ISB_BZ;
        EXPECT_EQ(read_bytes(edit, row, form.blanks_as_zeros), form.with_zeros);
        read_bytes(edit, row, "9G");
        EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
      };
      for (const Width& row : kTypes) check(row);
      for (const Width& row : others) check(row);
    }
  }
  Editor hex(FMT_Z_W, 0);
  (void)hex.read<u8>(ITM_INTEGER1, "300");
  EXPECT_EQ(hex.result, MSG_INPUT_CONVERSION);
  EXPECT_EQ(hex.read<float>(ITM_REAL4, "3F800000"), 1.0f);
  EXPECT_EQ(hex.read<double>(ITM_REAL8, "BFF0000000000000"), -1.0);
  EXPECT_EQ(hex.read<__float128>(ITM_REAL16, "3FFF0000000000000000000000000000"), 1);
  char text[4];
  EXPECT_EQ(hex.read(ITM_CHARACTER, "434241", text, 3), 0);
  EXPECT_EQ(std::string(text, 3), "ABC");
}

TEST(ValueInput, Characters) {
  struct Row {
    const char* field;
    i64 length;
    const char *value, *value_of_a_letter;
  };
  for (const Row& row : {Row{"abc", 5, "abc  ", "abc  "}, Row{"abc", 3, "abc", "abc"}, Row{"abcde", 3, "cde", "abc"},
                         Row{"", 2, "  ", "  "}, Row{"abc", 0, "", ""}}) {
    for (const u8 operation : {FMT_A, FMT_LITERAL, FMT_A_W, FMT_G, FMT_G_WD, FMT_G_WDE}) {
      for (const u32 type : {ITM_CHARACTER, ITM_CHARACTER_ALT}) {
        char value[8];
        Editor edit(operation, 0);
        EXPECT_EQ(edit.read(type, row.field, value, row.length), 0);
        EXPECT_EQ(std::string(value, row.length), row.value);
        edit.isb.isb_flags = ISB_LOGICAL_LETTER;
        EXPECT_EQ(edit.read(type, row.field, value, row.length), 0);
        EXPECT_EQ(std::string(value, row.length), row.value_of_a_letter);
      }
    }
  }
}

/// The field in all three formats. `expected` must be exact in the narrowest.
void expect_real(Editor edit, const char* field, double expected) {
  SCOPED_TRACE(std::to_string(edit.isb.isb_code) + " of '" + field + "'");
  for (const u32 type : {26, 27, 28, 29, 30}) EXPECT_EQ(edit.read<float>(type, field), expected) << type;
  EXPECT_EQ(edit.result, 0);
  for (const u32 type : {40, 41, 44, 48, 49}) EXPECT_EQ(edit.read<double>(type, field), expected) << type;
  EXPECT_EQ(edit.result, 0);
  for (const u32 type : {50, 52}) EXPECT_TRUE(edit.read<__float128>(type, field) == expected) << type;
  EXPECT_EQ(edit.result, 0);
}

TEST(ValueInput, Reals) {
  for (const u8 operation : kRealOperations) {
    Editor edit(operation, 0, 2);
    edit.isb.isb_flags = ISB_BN;
    expect_real(edit, "  12.5", 12.5);
    expect_real(edit, "-1250", -12.5);
    expect_real(edit, "1.25D+1", 12.5);
    expect_real(edit, "1 2 . 5", 12.5);
    EXPECT_EQ(edit.read<double>(ITM_REAL8, "0.1"), strtod("0.1", nullptr));
    EXPECT_EQ(edit.read<float>(ITM_REAL4, "16777217.0"), strtof("16777217", nullptr));
    (void)edit.read<double>(ITM_REAL8, "1.5x");
    EXPECT_EQ(edit.result, MSG_INPUT_CONVERSION);
  }
  for (const u8 operation : {FMT_G, FMT_G_WD, FMT_G_WDE}) expect_real(Editor(operation, 0, 1), "125", 12.5);
}

TEST(ValueInput, RealModes) {
  for (const u8 operation : kRealOperations) {
    SCOPED_TRACE(int{operation});
    Editor edit(operation, 0);
    expect_real(edit, "1 2.5", 102.5);  // with neither mode as with BZ
    edit.isb.isb_flags = ISB_BZ;
    expect_real(edit, "1 2.5", 102.5);
  }

  Editor scaled(FMT_F_WD, 0);
  scaled.isb.isb_scale = 1;
  expect_real(scaled, "125.", 12.5);
  expect_real(scaled, "125.E0", 125);
  scaled.isb.isb_flags = ISB_TEXT_SCALE_ALWAYS;
  expect_real(scaled, "125.E0", 12.5);

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
    Editor edit(FMT_F_WD, 0);
    (void)edit.read<double>(ITM_REAL8, row.field);
    EXPECT_EQ(edit.result, row.without);
    edit.isb.isb_flags = row.flag;
    (void)edit.read<double>(ITM_REAL8, row.field);
    EXPECT_EQ(edit.result, row.with);
  }

  // Halfway between two floats, and just above it.
  const float below = 16777216, above = 16777218;
  struct Rounding {
    u8 mode;
    float value, negative;
  };
  for (const Rounding& row : {Rounding{ROUND_UNSET, below, -below},
                              {ROUND_UP, above, -below},
                              {ROUND_DOWN, below, -above},
                              {ROUND_ZERO, below, -below},
                              {ROUND_NEAREST, below, -below},
                              {ROUND_COMPATIBLE, above, -above},
                              {ROUND_PROCESSOR_DEFINED, below, -below}}) {
    Editor edit(FMT_F_WD, 0);
    edit.isb.isb_round = row.mode;
    EXPECT_EQ(edit.read<float>(ITM_REAL4, "16777217."), row.value) << int{row.mode};
    EXPECT_EQ(edit.read<float>(ITM_REAL4, "-16777217."), row.negative) << int{row.mode};
  }

  struct Decimal {
    u8 unit;
    u16 flags2;
    const char* field;
  };
  for (const Decimal& row : {Decimal{DECIMAL_UNSET, 0, "1.5"},
                             {DECIMAL_COMMA, 0, "1,5"},
                             {DECIMAL_POINT, ISB2_DC, "1,5"},
                             {DECIMAL_COMMA, ISB2_DP, "1.5"},
                             {DECIMAL_COMMA, ISB2_DC, "1,5"}}) {
    Editor edit(FMT_F_WD, 0);
    edit.lub.lub_decimal = row.unit;
    edit.isb.isb_flags2 = row.flags2;
    expect_real(edit, row.field, 1.5);
  }
  Editor alone(FMT_F_WD, 0);  // a conversion outside any statement
  alone.isb.isb_lub = nullptr;
  EXPECT_EQ(alone.read<double>(ITM_REAL8, "1.5"), 1.5);
}

TEST(ValueInput, LogicalLettersInReals) {
  Editor edit(FMT_G_WDE, 0);
  edit.isb.isb_flags = ISB_LOGICAL_LETTER;
  expect_real(edit, "T", -1.0);
  expect_real(edit, "F", 0.0);
  expect_real(edit, "f", 0.0);
  expect_real(edit, ".true.", -1.0);
}

TEST(ValueInput, Mismatches) {
  const auto result = [](u8 operation, u32 type) {
    u8 value[16];
    Editor edit(operation, 0);
    edit.read(type, "1", value, sizeof value);
    if (edit.result != 0) {
      for (const u8 byte : value) EXPECT_EQ(byte, 0xAA);
    }
    return edit.result;
  };
  for (const u8 operation : kRealOperations) {
    for (const u32 type : {5u, 12u, 13u, 17u, 25u, 31u, 42u, 43u, 45u, 46u, 47u, 51u, 56u, 63u, 99u}) {
      EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
    }
  }
  for (const u8 operation : {FMT_I, FMT_I_W, FMT_I_WM, FMT_L, FMT_L_W}) {
    for (const u32 type : {25u, 26u, 44u, 48u, 50u, 56u, 57u, 63u}) {
      EXPECT_EQ(result(operation, type), MSG_FORMAT_TYPE_MISMATCH) << type;
    }
  }
  for (const u32 type : {25u, 31u, 42u, 45u, 46u, 51u, 63u}) {
    EXPECT_EQ(result(FMT_G_WD, type), MSG_FORMAT_TYPE_MISMATCH) << type;
  }
  for (int operation = 0; operation < 256; ++operation) {
    if ((operation >= FMT_A && operation <= FMT_ES_WDE) || operation == FMT_EX) continue;
    EXPECT_EQ(result(static_cast<u8>(operation), ITM_INTEGER4), MSG_INVALID_ARGUMENT) << operation;
  }
}

}  // namespace
