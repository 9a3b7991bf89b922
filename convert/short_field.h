// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Plain F and E fields of a single or double in one go, digits written where they stand. Whatever is out of the
// ordinary (no room, nothing left after rounding, a doubtful remainder) is declined, and the field builder decides.
#ifndef TAMRUN_CONVERT_SHORT_FIELD_H
#define TAMRUN_CONVERT_SHORT_FIELD_H

#include "convert/digit_scale.h"

#include <algorithm>

struct Short_Field {
  char* dst;
  i32 width;
  i32 decimals;
  u32 mask;  // rounding mask
  char point;
  bool force_plus;
};

/// Blanks up to the text of `length` columns at the right end, and the sign, which is counted in `length`.
inline char* put_lead(const Short_Field& field, int length, bool negative) {
  char* at = field.dst + (field.width - length);
  fill_columns(field.dst, ' ', static_cast<size_t>(field.width - length));
  if (negative || field.force_plus) *at++ = negative ? '-' : '+';
  return at;
}

/// F form without scale factor. False: nothing written.
inline bool put_short_fixed(const Unpacked<u64>& value, const Short_Field& field, i32 limit) {
  const int d = field.decimals;
  if (static_cast<u32>(d) > kFastDigits) return false;
  const int estimate = estimate_decimal_exponent(value.exponent, static_cast<u16>(value.significand >> 47)) + 1;
  if (estimate + d > kFastDigits) return false;
  const Scaled scaled = scale_by_power(value, d);
  u64 integer = scaled.integer;
  integer += rounds_up(field.mask, value.negative, scaled.sticky, (integer & 1) != 0, scaled.round);
  if (!scaled.certain || integer - 1 >= kPowersOfTen[kFastDigits] - 1) return false;

  const int whole = std::max(decimal_digits(integer) - d, 0);
  const bool sign = value.negative || field.force_plus;
  int length = whole + 1 + d + sign;
  if (length > field.width || (limit != 0 && limit < whole)) return false;
  const bool zero = whole == 0 && length < field.width;
  length += zero;
  put_lead(field, length, value.negative);
  char* at = field.dst + field.width - d;
  const u64 rest = put_digits_before(at + d, integer, d);
  *--at = field.point;
  if (zero) {
    *--at = '0';
  } else {
    put_decimal_before(at, rest);
  }
  return true;
}

/// The exponent E of 0.d1d2... * 10^E after rounding to `decimals` decimals, `capacity` digits at most, and, where
/// `significant` is told, to so many digits. False where that takes a second look: among leading nines or zeros, where
/// rounding may reach the next exponent or an unchecked digit may fall short of one, and where no digit is left.
inline bool short_g_exponent(const Unpacked<u64>& value, i64 capacity, i64 decimals, i64 significant, i64* exponent) {
  constexpr u32 kTruncate = 0;
  const Rounded_Digits first = round_to_digits(value, kFastDigits, kTruncate);
  const i64 digits = std::min({first.exponent + decimals, capacity, significant, i64{kFastDigits}});
  if (digits < 1 || !first.certain) return false;
  *exponent = first.exponent;
  return first.integer < kPowersOfTen[kFastDigits] - kPowersOfTen[kFastDigits - digits] &&
         first.integer != kPowersOfTen[kFastDigits - 1];
}

/// The longest exponent of a double.
inline constexpr int kShortExponentDigits = 3;

/// How the exponent of an E form is written: with no digits told, a letter and two, or three without the letter.
struct Short_Exponent {
  char letter;
  i32 digits;  // 0 to kShortExponentDigits
  bool given;  // neither more nor fewer digits than told
};

/// Digits of an exponent below 1000, or 0 if it does not fit.
inline int short_exponent_digits(const Short_Exponent& format, u32 magnitude) {
  const int natural = magnitude < 100 ? 2 : 3;
  if (format.given) return magnitude < kPowersOfTen[format.digits] ? format.digits : 0;
  return std::max(natural, format.digits);
}

/// E form with the scale factor 0 or 1. False: nothing written.
inline bool put_short_scientific(const Unpacked<u64>& value, const Short_Field& field, int scale,
                                 const Short_Exponent& format) {
  const int d = field.decimals;
  if (d < 1 || d > kFastDigits - scale) return false;
  const int count = d + scale;
  const Rounded_Digits rounded = round_to_digits(value, count, field.mask);
  const int exponent = rounded.exponent - scale;
  const u32 magnitude = static_cast<u32>(exponent < 0 ? -exponent : exponent);
  const int exponent_digits = short_exponent_digits(format, magnitude);
  const bool letter = format.digits != 0 || magnitude < 100;
  int length = (value.negative || field.force_plus) + scale + 1 + d + letter + 1 + exponent_digits;
  if (!rounded.certain || length > field.width || exponent_digits == 0) return false;
  const bool zero = scale == 0 && length < field.width;
  length += zero;

  char* at = put_lead(field, length, value.negative);
  if (zero) *at++ = '0';
  at[scale] = field.point;
  char* end = at + scale + 1 + d;
  const u64 rest = put_digits_before(end, rounded.integer, d);
  if (scale != 0) *at = static_cast<char>('0' + rest);
  if (letter) *end++ = format.letter;
  *end++ = exponent < 0 ? '-' : '+';
  if (exponent_digits == 2) {
    put_digit_pair(end, magnitude);
  } else if (exponent_digits == 3) {
    *end = static_cast<char>('0' + magnitude / 100);
    put_digit_pair(end + 1, magnitude % 100);
  } else {
    *end = static_cast<char>('0' + magnitude);
  }
  return true;
}

#endif
