// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Plain numbers: a sign, digits with or without a decimal character, an exponent with a letter. Nearly all input is made
// of them, so that they are read in one pass that keeps everything in registers; what is anything else is declined, and
// the scanner with all its options decides. The values are those of the general road, bit for bit.
#ifndef TAMRUN_CONVERT_PLAIN_NUMBER_H
#define TAMRUN_CONVERT_PLAIN_NUMBER_H

#include "convert/digit_scan.h"

/// digits * 10^power.
struct Plain_Number {
  u64 digits;
  i32 power;
  bool negative;
  bool has_point;
  bool has_exponent;
};

/// Powers of ten within these bounds leave no number of up to 19 digits out of the range of its format.
inline constexpr int kPlainPowerDouble = 270, kPlainPowerSingle = 20;

inline constexpr int kPlainDigits = 19;  // any so many decimal digits fit in 64 bits

/// The bits of a number whose power is within bounds, rounded by the CVT_ROUND field of `options`, which are those of the
/// readers of text.
[[nodiscard]] u64 plain_double_bits(u64 digits, int power, bool negative, u32 options);
[[nodiscard]] u32 plain_single_bits(u64 digits, int power, bool negative, u32 options);

/// Appends the digits at `p` to `value`, modulo 2^64.
[[gnu::always_inline]] inline const char* append_digits(const char* p, const char* end, u64& value) {
  u64 sum = value;
  while (end - p >= 8) {
    const u64 chars = load_eight(p);
    if (!eight_digits(chars)) break;
    sum = sum * 100000000 + eight_digit_value(chars);
    p += 8;
  }
  for (u32 digit; p != end && (digit = static_cast<u8>(*p) - u32{'0'}) < 10; ++p) sum = sum * 10 + digit;
  value = sum;
  return p;
}

/// Reads the exponent behind its letter: the character behind it, or null when it has no digit or too many.
[[gnu::always_inline]] inline const char* scan_plain_exponent(const char* p, const char* end, i64& exponent) {
  constexpr i64 kMostDigits = 4;
  const auto digit_at = [](const char* at) { return static_cast<u8>(*at) - u32{'0'}; };
  if (end - p == 3 && (*p == '+' || *p == '-')) {  // as edit descriptors write it
    const u32 tens = digit_at(p + 1), ones = digit_at(p + 2);
    if (tens < 10 && ones < 10) {
      const i64 value = tens * 10 + ones;
      exponent = *p == '-' ? -value : value;
      return end;
    }
  }
  const bool negative = p != end && *p == '-';
  if (p != end && (*p == '+' || *p == '-')) ++p;
  const char* const first = p;
  u32 value = 0;
  for (u32 digit; p != end && (digit = digit_at(p)) < 10; ++p) value = value * 10 + digit;
  exponent = negative ? -i64{value} : i64{value};
  return p != first && p - first <= kMostDigits ? p : nullptr;
}

/// Reads a plain number as far as it goes and gives the character behind it, or null when none begins at `p`.
[[gnu::always_inline]] inline const char* scan_plain_number(const char* p, const char* end, char point,
                                                            Plain_Number& number) {
  number.negative = false;
  if (p != end && (*p == '-' || *p == '+')) number.negative = *p++ == '-';
  const char* const begin = p;
  while (p != end && *p == '0') ++p;
  const char* const whole = p;
  u64 digits = 0;
  for (u32 digit; p != end && (digit = static_cast<u8>(*p) - u32{'0'}) < 10; ++p) digits = digits * 10 + digit;
  i64 significant = p - whole, any = p - begin;
  i64 power = 0;
  number.has_point = p != end && *p == point;
  if (number.has_point) {
    const char* const fraction = ++p;
    if (significant == 0) {
      while (p != end && *p == '0') ++p;
    }
    const char* const first = p;
    p = append_digits(p, end, digits);
    significant += p - first;
    power = fraction - p;
    any -= power;
  }
  if (any == 0 || significant > kPlainDigits) [[unlikely]]
    return nullptr;
  number.has_exponent = false;
  if (p != end && ((*p | 0x20) == 'e' || (*p | 0x20) == 'd')) {
    i64 exponent;
    p = scan_plain_exponent(p + 1, end, exponent);
    if (p == nullptr) return nullptr;
    number.has_exponent = true;
    power += exponent;
  }
  constexpr i64 kFar = 1 << 20;  // out of bounds for every format
  number.digits = digits;
  number.power = static_cast<i32>(power < -kFar ? -kFar : power);
  return p;
}

#endif
