// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Fields of edit descriptors that leave their width open.

#include "statements/fmt_width.h"

#include <string.h>

#include <algorithm>
#include <array>

#include "format/for_fmt_val.h"
#include "statements/for_desc_item.h"
#include "tamrun/messages.h"

namespace {

/// Where a width comes from when the format gives none.
enum class Width_Source : u8 {
  given,        ///< the format always gives it
  element,      ///< the length of the character value
  integer,      ///< for__i_fmt_table
  logical,      ///< two columns
  octal_hex,    ///< for__oz_fmt_table
  binary,       ///< for__b_fmt_table
  real_field,   ///< width, d and e of for__fedg_fmt_table
  real_digits,  ///< the integer digits of for__fedg_fmt_table, and d
  general,      ///< by the type of the value
};

struct Width_Rule {
  Width_Source source;
  bool no_width;  ///< the descriptor has no width at all; otherwise the rule is for w = 0
};

struct Rule_Row {
  u8 code;
  Width_Rule rule;
};

constexpr Rule_Row kRuleRows[] = {
    {FMT_A, {Width_Source::element, true}},           {FMT_D, {Width_Source::real_field, true}},
    {FMT_E, {Width_Source::real_field, true}},        {FMT_F, {Width_Source::real_field, true}},
    {FMT_G, {Width_Source::general, true}},           {FMT_I, {Width_Source::integer, true}},
    {FMT_L, {Width_Source::logical, true}},           {FMT_O, {Width_Source::octal_hex, true}},
    {FMT_Z, {Width_Source::octal_hex, true}},         {FMT_D_WD, {Width_Source::real_digits, false}},
    {FMT_E_WD, {Width_Source::real_digits, false}},   {FMT_E_WDE, {Width_Source::real_digits, false}},
    {FMT_F_WD, {Width_Source::real_digits, false}},   {FMT_G_WD, {Width_Source::general, false}},
    {FMT_G_WDE, {Width_Source::general, false}},      {FMT_I_W, {Width_Source::integer, false}},
    {FMT_I_WM, {Width_Source::integer, false}},       {FMT_O_W, {Width_Source::octal_hex, false}},
    {FMT_O_WM, {Width_Source::octal_hex, false}},     {FMT_Z_W, {Width_Source::octal_hex, false}},
    {FMT_Z_WM, {Width_Source::octal_hex, false}},     {FMT_B, {Width_Source::binary, true}},
    {FMT_B_W, {Width_Source::binary, false}},         {FMT_B_WM, {Width_Source::binary, false}},
    {FMT_EN, {Width_Source::real_field, true}},       {FMT_EN_WD, {Width_Source::real_digits, false}},
    {FMT_EN_WDE, {Width_Source::real_digits, false}}, {FMT_ES, {Width_Source::real_field, true}},
    {FMT_ES_WD, {Width_Source::real_digits, false}},  {FMT_ES_WDE, {Width_Source::real_digits, false}},
    {FMT_EX, {Width_Source::real_digits, false}},
};

constexpr auto kRules = [] {
  std::array<Width_Rule, kFmtCodes> rules{};
  for (const Rule_Row& row : kRuleRows) rules[row.code] = row.rule;
  return rules;
}();

constexpr i64 kLogicalWidth = 2;
/// Columns of a G field beside its digits: sign, point, and an exponent with three digits.
constexpr i64 kGeneralOverhead = 8;

constexpr bool is_integer(u32 type) { return type >= kFirstIntegerType && type <= kLastIntegerType; }
constexpr bool is_real(u32 type) { return type >= kFirstRealType && type <= kLastRealType; }

/// Default width of a bit image; a negative row stands for `columns` per byte of the text, at least `least`.
i64 image_width(i64 row, i64 element, i64 columns, i64 least) {
  return row >= 0 ? row : std::max(element * columns, least);
}

/// The columns that an integer or bit image takes.
void widen_for_digits(Fmt_Field& field) {
  if (field.minimal) field.width = std::max<i64>(field.width, field.d + 1);
}

void plan_real_field(Fmt_Field& field, u8 code, u32 type) {
  const For_Real_Field& row = for__fedg_fmt_table[type - kFirstRealType];
  field.width = row.width;
  field.d = static_cast<u16>(code == FMT_EN ? row.d - 1 : row.d);
  field.e = static_cast<u16>(row.e);
}

/// False when G does not take the type.
bool plan_general(Fmt_Field& field, u32 type, i64 element, bool no_width) {
  if (is_integer(type)) {
    field.width = for__i_fmt_table[type - kFirstIntegerType];
  } else if (item_is_character(type)) {
    field.width = element;
    field.minimal = false;  // its blanks belong to it
  } else if (is_real(type)) {
    const For_Real_Field& row = for__fedg_fmt_table[type - kFirstRealType];
    if (no_width || field.d == 0) field.d = static_cast<u16>(row.d);
    field.e = static_cast<u16>(row.e);
    field.width = row.width;
    if (field.minimal) field.width = std::max<i64>(field.width, field.d + kGeneralOverhead);
  } else {
    return false;
  }
  return true;
}

/// Works the width out: false when the descriptor does not take the type.
bool plan_open_width(Fmt_Field& field, u8 code, Width_Rule rule, u32 type, i64 element) {
  constexpr i64 kOctalPerByte = 3, kLeastOctal = 7, kBinaryPerByte = 8, kLeastBinary = 17;
  switch (rule.source) {
    case Width_Source::given:
      return true;
    case Width_Source::element:
      field.width = element;
      return true;
    case Width_Source::integer:
      if (!is_integer(type)) return false;
      field.width = for__i_fmt_table[type - kFirstIntegerType];
      widen_for_digits(field);
      return true;
    case Width_Source::logical:
      field.width = kLogicalWidth;
      return is_integer(type);
    case Width_Source::octal_hex:
      field.width = image_width(for__oz_fmt_table[type], element, kOctalPerByte, kLeastOctal);
      widen_for_digits(field);
      return true;
    case Width_Source::binary:
      field.width = image_width(for__b_fmt_table[type], element, kBinaryPerByte, kLeastBinary);
      widen_for_digits(field);
      return true;
    case Width_Source::real_field:
      if (!is_real(type)) return false;
      plan_real_field(field, code, type);
      return true;
    case Width_Source::real_digits:
      if (!is_real(type)) return false;
      field.width = for__fedg_fmt_table[type - kFirstRealType].integer_digits + field.d;
      return true;
    case Width_Source::general:
      return plan_general(field, type, element, rule.no_width);
  }
  return false;
}

}  // namespace

Fmt_Field plan_field(const For_Fmt_Isb& isb, u32 type, i64 element, bool writing) {
  Fmt_Field field = {0, isb.isb_width, isb.isb_d, isb.isb_e, 0, false};
  const Width_Rule rule = kRules[isb.isb_code];
  if (rule.source == Width_Source::general) field.flags2 |= ISB2_G_IN_PROGRESS;
  if (rule.source == Width_Source::given || (!rule.no_width && field.width != 0)) return field;

  field.minimal = writing && !rule.no_width;
  if (field.d != 0) field.flags2 |= ISB2_D_GIVEN;
  if (rule.source == Width_Source::general) field.flags2 |= ISB2_G_NO_WIDTH;
  if (!plan_open_width(field, isb.isb_code, rule, type, element)) field.failure = MSG_FORMAT_TYPE_MISMATCH;
  if (field.minimal) field.flags2 |= ISB2_MINIMAL | ISB2_W_ZERO;
  return field;
}

Minimal_Text minimal_text(const char* field, i64 width, u16 d) {
  constexpr char kInfinity[] = "Infinity";
  constexpr i64 kInfinityLength = sizeof kInfinity - 1, kShortInfinity = 3;
  const char* const end = field + width;
  const char* const start = std::find_if(field, end, [](char c) { return c != ' '; });
  if (start == end) return {field, d == 0 && width > 0 ? 1 : 0};
  i64 length = std::find(start, end, ' ') - start;
  const i64 sign = *start == '-' || *start == '+';
  if (length == sign + kInfinityLength && memcmp(start + sign, kInfinity, kInfinityLength) == 0) {
    length = sign + kShortInfinity;
  }
  return {start, length};
}
