// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Exact decimal digits of a binary floating-point value, rounded as a mode asks: the oracle of the real converters.
#ifndef TAMRUN_TESTS_SUPPORT_EXACT_DECIMAL_H
#define TAMRUN_TESTS_SUPPORT_EXACT_DECIMAL_H

#include "support/big_integer.h"
#include "tamrun/types.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <string>

enum class Rounding { nearest, zero, down, up, away };

/// significand * 2^exponent, not zero, with its sign apart.
struct Binary_Value {
  unsigned __int128 significand;
  int exponent;
  bool negative;
};

/// Any finite value but zero; narrower formats are exact in this one.
inline Binary_Value binary_value(__float128 value) {
  constexpr int kFraction = 112, kBias = 16383;
  unsigned __int128 bits;
  memcpy(&bits, &value, sizeof bits);
  const int biased = static_cast<int>(bits >> kFraction) & 0x7FFF;
  const unsigned __int128 hidden = static_cast<unsigned __int128>(1) << kFraction, fraction = bits & (hidden - 1);
  return {biased != 0 ? hidden | fraction : fraction, std::max(biased, 1) - kBias - kFraction, bits >> 127 != 0};
}

/// 0.d1d2... * 10^exponent; no digits: zero.
struct Decimal_Value {
  std::string digits;
  int exponent;
};

/// One more in the last digit. A carry out of the first one adds a digit and moves the point.
inline void round_up(Decimal_Value& value) {
  int i = static_cast<int>(value.digits.size()) - 1;
  for (; i >= 0 && value.digits[i] == '9'; --i) value.digits[i] = '0';
  if (i >= 0) {
    ++value.digits[i];
  } else {
    value.digits.insert(0, 1, '1');
    ++value.exponent;
  }
}

class Exact_Decimal {
 public:
  explicit Exact_Decimal(const Binary_Value& v) : negative_(v.negative) {
    numerator_ = Big_Integer::from_words(static_cast<u64>(v.significand >> 64), static_cast<u64>(v.significand));
    const double log2 = numerator_.bits() + v.exponent;
    exponent_ = static_cast<int>(floor((log2 - 1) * 0.30102999566398120)) + 1;
    if (exponent_ >= 0) {
      denominator_ = Big_Integer::power_of_ten(exponent_);
    } else {
      numerator_ = numerator_ * Big_Integer::power_of_ten(-exponent_);
    }
    if (v.exponent >= 0) {
      numerator_ = numerator_ << v.exponent;
    } else {
      denominator_ = denominator_ << -v.exponent;
    }
    for (; !(numerator_ < denominator_); ++exponent_) denominator_.multiply(10);
  }

  int exponent() const { return exponent_; }

  Decimal_Value significant(int count, Rounding mode) const { return rounded(count, mode); }
  /// Digits to the n-th place behind the point.
  Decimal_Value fixed(int places, Rounding mode) const { return rounded(exponent_ + places, mode); }

 private:
  Decimal_Value rounded(int count, Rounding mode) const {
    Decimal_Value result{"", exponent_};
    Big_Integer rest = numerator_;
    for (int i = 0; i < count; ++i) {
      rest.multiply(10);
      char digit = '0';
      for (; !(rest < denominator_); ++digit) rest = rest - denominator_;
      result.digits += digit;
    }
    const int half = count < 0 ? -1 : compare(rest << 1, denominator_);
    const bool odd = count > 0 && (result.digits.back() & 1) != 0;
    bool up = false;
    switch (mode) {
      case Rounding::nearest:
        up = half > 0 || (half == 0 && odd);
        break;
      case Rounding::away:
        up = half >= 0;
        break;
      case Rounding::zero:
        break;
      case Rounding::down:
        up = negative_ && !rest.is_zero();
        break;
      case Rounding::up:
        up = !negative_ && !rest.is_zero();
        break;
    }
    if (!up) return result;
    if (count < 0) return {"1", exponent_ - count + 1};
    round_up(result);
    return result;
  }

  Big_Integer numerator_, denominator_{1};  // 0.1 <= numerator / denominator < 1
  int exponent_;
  bool negative_;
};

#endif
