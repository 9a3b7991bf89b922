// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The fast path of the digit engine: a single or double times a power of ten as an integer and what is left over,
// from one product with a 128-bit power.
#ifndef TAMRUN_CONVERT_DIGIT_SCALE_H
#define TAMRUN_CONVERT_DIGIT_SCALE_H

#include "convert/decimal_scale.h"
#include "convert/digit_pairs.h"
#include "convert/ieee_format.h"

/// Digits that the fast path can give: 10^18 leaves 68 bits of the product for the remainder.
inline constexpr int kFastDigits = 17;

struct Scaled {
  u64 integer;
  bool round;    // the remainder is at least one half
  bool sticky;   // and it is neither zero nor exactly one half
  bool certain;  // false: too near to zero or one half for 128 bits
};

/// `value` * 10^n, which must lie below 10^18. n lies in the range of decimal_scale().
///
/// The power is at most one unit in the last place too large, so the upper 128 bits of the product are right, or one
/// unit too large. They can only deceive when all bits behind the first one of the remainder are zero. With an exact
/// power nothing is lost. A power down to 10^-22 has been divided out of an integer times a power of two that is
/// greater than 10^22 / 2^53: its remainder is a multiple of 2^-54, so that one of 2^-68 cannot be but zero. And no
/// double is a multiple of half a power of ten beyond these.
inline Scaled scale_by_power(const Unpacked<u64>& value, int n) {
  constexpr int kLastExactDivisor = -22;
  const Decimal_Scale& power = decimal_scale(n);
  const u128 low = static_cast<u128>(value.significand) * power.low;
  const u128 top = static_cast<u128>(value.significand) * power.high + static_cast<u64>(low >> 64);
  const int below = 128 - value.exponent - decimal_scale_bexp(n);  // bits of `top` behind the point
  Scaled result;
  u128 remainder;
  if (below < 128) [[likely]] {
    result.integer = static_cast<u64>(top >> 64) >> (below - 64);
    remainder = top << (128 - below);
  } else if (below == 128) {
    result.integer = 0;
    remainder = top;
  } else {
    return {0, false, true, true};
  }
  result.round = static_cast<bool>(remainder >> 127);
  result.sticky = true;
  result.certain = true;
  if ((remainder << 1) == 0) [[unlikely]] {
    result.sticky = n >= 0 && static_cast<u64>(low) != 0;
    result.certain = n >= kLastExactDivisor && n <= kDecimalScaleLastExact;
  }
  return result;
}

/// The first `count` (1 to kFastDigits) digits of a value, rounded, and the exponent of 0.d1d2....
struct Rounded_Digits {
  u64 integer;  // has exactly `count` digits
  int exponent;
  bool carried;  // rounding went up to the next power of ten
  bool certain;
};

inline Rounded_Digits round_to_digits(const Unpacked<u64>& value, int count, u32 mask) {
  int exponent = estimate_decimal_exponent(value.exponent, static_cast<u16>(value.significand >> 47)) + 1;
  const u64 limit = kPowersOfTen[count];
  Scaled scaled = scale_by_power(value, count - exponent);
  if (scaled.integer >= limit) {
    ++exponent;
    scaled = scale_by_power(value, count - exponent);
  }
  u64 integer = scaled.integer;
  integer += rounds_up(mask, value.negative, scaled.sticky, (integer & 1) != 0, scaled.round);
  const bool carried = integer == limit;
  if (carried) [[unlikely]] {
    integer = kPowersOfTen[count - 1];
    ++exponent;
  }
  return {integer, exponent, carried, scaled.certain};
}

#endif
