// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decimal digits of unsigned integers, two or eight at a time, and the filling of output fields. Shared by the
// integer and the real converters.
#ifndef TAMRUN_CONVERT_DIGIT_PAIRS_H
#define TAMRUN_CONVERT_DIGIT_PAIRS_H

#include "tamrun/types.h"

#include <string.h>

#include <array>

/// "00", "01", ... "99", without separators.
inline constexpr std::array<char, 200> kDigitPairs = [] {
  std::array<char, 200> pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

/// 10^0 to 10^19: every power of ten that 64 bits hold.
inline constexpr std::array<u64, 20> kPowersOfTen = [] {
  std::array<u64, 20> powers{};
  u64 power = 1;
  for (u64& row : powers) {
    row = power;
    power *= 10;
  }
  return powers;
}();

/// Number of decimal digits of `value`; 0 has none.
inline int decimal_digits(u64 value) {
  // bits * log10(2) from below: right, or one too small
  const int bits = 64 - __builtin_clzll(value | 1);
  const int below = bits * 1233 >> 12;
  return below + (value >= kPowersOfTen[below]);
}

/// The two digits of `value` < 100 at `dst`.
inline void put_digit_pair(char* dst, u32 value) { memcpy(dst, &kDigitPairs[2 * value], 2); }

/// The eight digits of `value` < 10^8, leading zeros included, at `dst`.
inline void put_eight_digits(char* dst, u32 value) {
  const u32 high = value / 10000, low = value % 10000;
  put_digit_pair(dst, high / 100);
  put_digit_pair(dst + 2, high % 100);
  put_digit_pair(dst + 4, low / 100);
  put_digit_pair(dst + 6, low % 100);
}

/// The decimal digits of `value`, ending before `end`; 0 has none. Returns the first digit.
inline char* put_decimal_before(char* end, u64 value) {
  constexpr u32 kEight = 100000000;
  while (value >= kEight) {
    const u64 rest = value / kEight;
    end -= 8;
    put_eight_digits(end, static_cast<u32>(value - rest * kEight));
    value = rest;
  }
  u32 low = static_cast<u32>(value);
  while (low >= 100) {
    end -= 2;
    put_digit_pair(end, low % 100);
    low /= 100;
  }
  if (low >= 10) {
    end -= 2;
    put_digit_pair(end, low);
  } else if (low != 0) {
    *--end = static_cast<char>('0' + low);
  }
  return end;
}

/// Writes the lowest `count` digits of `value` before `end` and returns the number that stands before them.
inline u64 put_digits_before(char* end, u64 value, int count) {
  constexpr u32 kEight = 100000000;
  while (count >= 8) {
    const u64 rest = value / kEight;
    end -= 8;
    put_eight_digits(end, static_cast<u32>(value - rest * kEight));
    value = rest;
    count -= 8;
  }
  for (; count >= 2; count -= 2) {
    const u64 rest = value / 100;
    end -= 2;
    put_digit_pair(end, static_cast<u32>(value - rest * 100));
    value = rest;
  }
  if (count != 0) {
    const u64 rest = value / 10;
    *--end = static_cast<char>('0' + (value - rest * 10));
    value = rest;
  }
  return value;
}

/// Fills `count` columns with `c`. Widths are the same from call to call, so the branches on them are cheap; the
/// stores overlap instead of counting down.
inline void fill_columns(char* dst, char c, u32 count) {
  const u64 eight = 0x0101010101010101 * static_cast<u8>(c);
  if (count > 32) {
    memset(dst, c, count);
  } else if (count >= 16) {
    memcpy(dst, &eight, 8);
    memcpy(dst + 8, &eight, 8);
    memcpy(dst + count - 16, &eight, 8);
    memcpy(dst + count - 8, &eight, 8);
  } else if (count >= 8) {
    memcpy(dst, &eight, 8);
    memcpy(dst + count - 8, &eight, 8);
  } else if (count >= 4) {
    memcpy(dst, &eight, 4);
    memcpy(dst + count - 4, &eight, 4);
  } else {
    for (u32 i = 0; i < count; ++i) dst[i] = c;
  }
}

#endif
