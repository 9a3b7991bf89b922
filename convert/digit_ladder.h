// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The slow rung of the digit engine: decimal digits from 128-bit powers of ten, for any format and any digit count.
#ifndef TAMRUN_CONVERT_DIGIT_LADDER_H
#define TAMRUN_CONVERT_DIGIT_LADDER_H

#include "convert/ieee_format.h"

/// Digits are never generated beyond this one; the engine fills up with zeros.
inline constexpr int kMaxGenerated = 39;

/// What is asked of the digit engine.
struct Digit_Request {
  i64 capacity;  // digits at most; without `fixed` the significant digits wanted
  i64 fraction;  // with `fixed`: digits behind the point, negative for whole digits to drop
  bool fixed;    // F form
  u32 mask;      // rounding mask
};

/// How many digits a value 0.d1d2... * 10^exponent gets.
struct Digit_Plan {
  i64 count;  // digits of the result, dropped ones included
  i64 kept;   // digits before the rounding position; below 1 if the value lies behind it
};

Digit_Plan plan_digits(const Digit_Request& request, i64 exponent);

/// The digits text[start] to text[end - 1], then zeros up to `count` digits: 0.d1d2d3... * 10^exponent.
struct Digit_String {
  char text[kMaxGenerated + 1];  // text[0] is the guard digit "0" that takes a carry
  int start, end;
  i64 count;
  i64 exponent;
};

/// `value` finite and not zero. A remainder that 128 bits cannot tell from one half or from zero counts as such up to
/// 17 digits; beyond them the digits are those of the product, unchecked. False if the value rounds to nothing.
[[nodiscard]] bool ladder_digits(const Unpacked<u64>& value, const Digit_Request& request, Digit_String* result);
[[nodiscard]] bool ladder_digits(const Unpacked<u128>& value, const Digit_Request& request, Digit_String* result);

/// Digits of the result when all that is left of a value is a 1 in the last kept position, the `dropped` zeros behind
/// it included if the value reaches into the whole numbers.
inline i64 lone_digit_count(int binary_exponent, i64 dropped, i64 capacity) {
  const i64 count = binary_exponent >= 1 ? dropped + 1 : 1;
  return count < capacity ? count : capacity;
}

/// Adds one at the last of the digits text[1] to text[*end - 1], dropping the `nine`s that overflow. True if the carry
/// went into the guard digit text[0], which becomes `carry`.
bool round_text_up(char* text, int* end, char nine, char carry);

#endif
