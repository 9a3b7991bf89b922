// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The parts of the scanner of list-directed input that few fields need.

#include "statements/ldio_scanner.h"

#include "format/for_fmt_val.h"
#include "tamrun/cvt.h"

namespace {

/// Digits with or without a decimal character, and an exponent with a letter, however long.
const u8* pass_decimal_number(const u8* p, const u8* end, u8 point, Ldir_Form* form) {
  if (p != end && (*p == '+' || *p == '-')) ++p;
  const u8* const whole = p;
  p = skip_digits(p, end);
  i64 digits = p - whole;
  *form = Ldir_Form::integer;
  if (p != end && *p == point) {
    const u8* const fraction = ++p;
    p = skip_digits(p, end);
    digits += p - fraction;
    *form = Ldir_Form::number;
  }
  if (digits == 0) return nullptr;
  if (p == end || !byte_is(*p, BYTE_CONTINUES)) return p;
  if ((*p | 0x20) != 'e' && (*p | 0x20) != 'd') return nullptr;
  *form = Ldir_Form::number;
  if (++p != end && (*p == '+' || *p == '-')) ++p;
  const u8* const exponent = p;
  p = skip_digits(exponent, end);
  return p != exponent ? p : nullptr;
}

}  // namespace

const u8* take_any_number(const u8* text, const u8* end, u8 point, Ldir_Constant& constant) {
  Ldir_Form form;
  const u8* p = pass_decimal_number(text, end, point, &form);
  if (p == nullptr) {
    constexpr int kDecimalShift = 12;  // where the lexer's state keeps the decimal character
    u32 state = u32{point} << kDecimalShift;
    p = text;
    while (p != end && cvt__lex_number_char(&state, static_cast<char>(*p))) ++p;
    if (!cvt__lex_number_complete(&state)) return nullptr;
    form = Ldir_Form::number;
  }
  constant = {text, p - text, form, false, 0, 0};
  return constant.length <= INT_MAX ? p : nullptr;
}

int read_repeat_count(For_Lub& lub, const u8* text, i64 length, u32* count) {
  const For_Ldir_Field& field = for__wfs_table[ITM_UNSIGNED4];
  For_Fmt_Isb isb{};
  isb.isb_lub = &lub;
  isb.isb_width = length;
  isb.isb_code = field.operation;
  For_Value_Info val = {reinterpret_cast<u8*>(count), sizeof *count, ITM_UNSIGNED4, sizeof *count, nullptr};
  if (int code = for__cvt_value(&isb, reinterpret_cast<const char*>(text), &val)) {
    return *text == '-' ? MSG_INPUT_REPEAT_COUNT_NOT_UNSIGNED : code;
  }
  return *count != 0 ? 0 : MSG_INPUT_REPEAT_COUNT_ZERO_ERROR;
}
