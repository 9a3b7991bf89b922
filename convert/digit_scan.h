// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Characters of numbers taken apart: digit values, and eight decimal digits at once. Shared by all readers.
#ifndef TAMRUN_CONVERT_DIGIT_SCAN_H
#define TAMRUN_CONVERT_DIGIT_SCAN_H

#include "tamrun/types.h"

#include <string.h>

#include <array>

inline constexpr u8 kNotADigit = 0xFF;

/// Value of a character as a digit of radix 16 or below, kNotADigit for all others.
inline constexpr std::array<u8, 256> kDigitValue = [] {
  std::array<u8, 256> values{};
  values.fill(kNotADigit);
  for (int i = 0; i < 10; ++i) values['0' + i] = static_cast<u8>(i);
  for (int i = 0; i < 6; ++i) values['A' + i] = values['a' + i] = static_cast<u8>(10 + i);
  return values;
}();

inline u32 digit_value(char c) { return kDigitValue[static_cast<u8>(c)]; }

inline u64 load_eight(const char* text) {
  u64 chars;
  memcpy(&chars, text, sizeof chars);
  return chars;
}

inline constexpr u64 kEightZeros = 0x3030303030303030, kEightBlanks = 0x2020202020202020;

/// True if all eight characters are decimal digits. What is above '9' reaches the top bit of its byte when it is lifted,
/// what is below '0' when that is taken off; the first character that is no digit shows, whatever it does to the next.
inline bool eight_digits(u64 chars) {
  constexpr u64 kLift = 0x4646464646464646, kTops = 0x8080808080808080;
  return (((chars + kLift) | (chars - kEightZeros)) & kTops) == 0;
}

/// The number that eight decimal digits make, the first character being the most significant. Pairs, then fours,
/// then all are joined, several in each multiplication.
inline u32 eight_digit_value(u64 chars) {
  constexpr u64 kLanes = 0x000000FF000000FF;
  constexpr u64 kFirstFactors = 100 + (u64{1000000} << 32), kSecondFactors = 1 + (u64{10000} << 32);
  chars -= kEightZeros;
  chars = chars * 10 + (chars >> 8);
  return static_cast<u32>(((chars & kLanes) * kFirstFactors + ((chars >> 16) & kLanes) * kSecondFactors) >> 32);
}

/// The value of the up to eight characters before `end`: those further left are masked out. False if one is no digit.
/// The field must have at least 8 characters in all.
inline bool closing_digits(const char* field, const char* end, i64 count, u64& value) {
  const i64 before = end - field;
  const u64 others = count < 8 ? ~u64{0} >> 8 * count : 0;
  u64 chars = before >= 8 ? load_eight(end - 8) : load_eight(field) << 8 * (8 - before);
  chars = (chars & ~others) | (kEightZeros & others);
  value = eight_digit_value(chars);
  return eight_digits(chars);
}

/// Digits that closing_number takes.
inline constexpr i64 kClosingDigits = 16;

/// The same for up to kClosingDigits characters.
inline bool closing_number(const char* field, const char* end, i64 count, u64& value) {
  if (count <= 8) return closing_digits(field, end, count, value);
  u64 low;
  const bool front = closing_digits(field, end - 8, count - 8, value);
  const bool back = closing_digits(field, end, 8, low);
  value = value * 100000000 + low;
  return front && back;
}

/// The first character that is no blank, or `end`. Fields are right-justified more often than not.
inline const char* skip_blanks(const char* text, const char* end) {
  for (; end - text >= 8; text += 8) {
    const u64 other = load_eight(text) ^ kEightBlanks;
    if (other != 0) return text + (__builtin_ctzll(other) >> 3);
  }
  while (text != end && *text == ' ') ++text;
  return text;
}

#endif
