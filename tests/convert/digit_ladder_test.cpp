// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digits of quads, and of all formats beyond 17 digits.
//
// Two oracles. Up to 17 digits, with powers of ten up to about 10^342, the digits are correctly rounded: strfromf128 in
// the hardware's rounding modes, big integers for ties away. Beyond that they are those of the value scaled by a power of
// ten of 128 bits: big integers repeat that and have to agree to the digit. In nearest rounding up to 33 digits it can
// hardly differ from the exact digits, and the two are held against each other as well.
#include "convert/power_product.h"
#include "support/exact_decimal.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <fenv.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>

namespace {

constexpr int kMostDigits = 39;
constexpr u32 kNearest = CVT_M_ROUND_GIVEN, kTruncate = u32{CVT_M_ROUND_GIVEN} | CVT_ROUND_ZERO;

/// `count` digits of the scaled value, in nearest rounding or truncated; padded with zeros beyond 39.
Decimal_Value by_procedure(const Binary_Value& v, int count, bool nearest) {
  const Big_Integer significand =
      Big_Integer::from_words(static_cast<u64>(v.significand >> 64), static_cast<u64>(v.significand));
  int exponent = Exact_Decimal(v).exponent() - 1;
  for (;; ++exponent) {
    Big_Integer scaled = significand;
    int point = -v.exponent;  // the scaled value is scaled / 2^point
    if (exponent != 0) {
      const Scaled_128 power = power_of_ten_128(-exponent);
      scaled =
          scaled * Big_Integer::from_words(static_cast<u64>(power.mantissa >> 64), static_cast<u64>(power.mantissa));
      point += 128 - power.exponent;
    }
    if (scaled.bits() > point) continue;  // the rounded power takes it to 1
    Decimal_Value result{"", exponent};
    const int generated = std::min(count, kMostDigits);
    for (int i = 0; i < generated; ++i) {
      scaled.multiply(10);
      const Big_Integer digit = scaled >> point;
      result.digits += static_cast<char>('0' + digit.low_word());
      scaled = scaled - (digit << point);
    }
    const int half = compare(scaled << 1, Big_Integer(1) << point);
    if (nearest && (half > 0 || (half == 0 && (result.digits.back() & 1) != 0))) round_up(result);
    result.digits.resize(generated);
    result.digits.append(count - generated, '0');
    return result;
  }
}

struct Result {
  std::string digits;
  int exponent;
};

Result convert(__float128 value, int count, u32 options) {
  char text[80];
  u64 words[2];
  memcpy(words, &value, sizeof words);
  int start, end, exponent, cls, status;
  cvtas_x_to_a(words[0], words[1], count, 0, options, text, &start, &end, &exponent, &cls, &status);
  return {std::string(text + start, text + end), exponent};
}

Result convert(double value, int count, u32 options) {
  char text[80];
  int start, end, exponent, cls, status;
  cvtas_t_to_a(count, 0, options, text, &start, &end, &exponent, &cls, &status, value);
  return {std::string(text + start, text + end), exponent};
}

class Quads {
 public:
  __float128 next() {
    const u64 kind = below(8);
    if (kind == 0) return static_cast<__float128>(1 + (random_() >> below(60)));
    if (kind == 1) return static_cast<__float128>(1 + below(100000)) / 1000;
    if (kind == 2) return strtof128(("1e" + std::to_string(static_cast<int>(below(9800)) - 4900)).c_str(), nullptr);
    for (;;) {
      u64 words[2] = {random_(), random_() & 0x7FFFFFFFFFFFFFFF};
      // most of them where the procedure is checked
      if (kind >= 5) words[1] = (words[1] & 0xFFFFFFFFFFFF) | (16383 - 1130 + below(2260)) << 48;
      __float128 value;
      memcpy(&value, words, sizeof value);
      if (value < HUGE_VAL && value != 0) return value;
    }
  }
  u64 below(u64 limit) { return random_() % limit; }

 private:
  std::mt19937_64 random_{77};
};

std::string describe(__float128 value, int count) {
  char text[80];
  strfromf128(text, sizeof text, "%.36e", value);
  return text + (" digits " + std::to_string(count));
}

Result by_library(__float128 value, int count) {
  char text[80], format[8];
  snprintf(format, sizeof format, "%%.%de", count - 1);
  strfromf128(text, sizeof text, format, value);
  if (count > 1) text[1] = text[0];
  return {std::string(text + (count > 1), count), atoi(strchr(text, 'e') + 1) + 1};
}

/// Values whose digits are correctly rounded up to 17.
bool is_checked(__float128 value) { return value < 1e340Q && value > 1e-340Q; }

TEST(DigitLadder, QuadDigitsLikeTheLibrary) {
  constexpr int kMachine[] = {FE_TONEAREST, FE_TOWARDZERO, FE_DOWNWARD, FE_UPWARD};
  constexpr u32 kModes[] = {CVT_ROUND_NEAREST, CVT_ROUND_ZERO, CVT_ROUND_DOWN, CVT_ROUND_UP};
  Quads quads;
  int differing = 0;
  const long count = soak_cases(500000);
  for (long i = 0; i < count && !HasFailure(); ++i) {
    const __float128 value = quads.next();
    const int digits = 1 + static_cast<int>(i % 33);
    const bool checked = digits <= 17 && is_checked(value);
    const u64 mode = checked ? quads.below(4) : 0;
    const Result r = convert(value, digits, CVT_M_ROUND_GIVEN | kModes[mode]);
    fesetround(kMachine[mode]);
    const Result expected = by_library(value, digits);
    fesetround(FE_TONEAREST);
    if (r.digits == expected.digits && r.exponent == expected.exponent) continue;
    EXPECT_FALSE(checked) << describe(value, digits) << " mode " << mode << ' ' << r.digits;
    const Decimal_Value procedure = by_procedure(binary_value(value), digits, true);
    EXPECT_EQ(r.digits, procedure.digits) << describe(value, digits);
    ++differing;
  }
  EXPECT_LT(differing, count / 100);
}

TEST(DigitLadder, QuadTiesAwayLikeBigIntegers) {
  Quads quads;
  for (long i = 0, cases = soak_cases(3000); i < cases && !HasFailure(); ++i) {
    const __float128 value = i % 2 == 0 ? static_cast<__float128>(quads.below(1u << 20)) / 64 + 1 : quads.next();
    if (!is_checked(value)) continue;
    const int digits = 1 + static_cast<int>(i % 17);
    const Result r = convert(value, digits, u32{CVT_M_ROUND_GIVEN} | CVT_ROUND_AWAY);
    const Decimal_Value expected = Exact_Decimal(binary_value(value)).significant(digits, Rounding::away);
    EXPECT_EQ(r.digits, expected.digits.substr(0, digits)) << describe(value, digits);
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits);
  }
}

template <class Real>
void expect_procedure(Real value, int digits) {
  for (bool nearest : {true, false}) {
    const Result r = convert(value, digits, nearest ? kNearest : kTruncate);
    const Decimal_Value expected = by_procedure(binary_value(value), digits, nearest);
    EXPECT_EQ(r.digits, expected.digits) << describe(value, digits) << (nearest ? " nearest" : " truncated");
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits);
  }
}

TEST(DigitLadder, ManyDigitsFollowTheProcedure) {
  Quads quads;
  for (long i = 0, cases = soak_cases(8000); i < cases && !HasFailure(); ++i) {
    const int digits = 18 + static_cast<int>(i % 33);
    expect_procedure(quads.next(), digits);
    const double narrow = static_cast<double>(quads.next());
    if (std::isfinite(narrow) && narrow != 0) expect_procedure(narrow, digits);
  }
}

TEST(DigitLadder, QuadHexadecimal) {
  const __float128 value = strtof128("0x1.23456789abcdef0123456789abcdp+100", nullptr);
  EXPECT_EQ(convert(value, 29, kNearest | CVT_M_HEX_FORM | CVT_M_HEX_UPPER).digits, "91A2B3C4D5E6F78091A2B3C4D5E68");
  EXPECT_EQ(convert(value, 8, kNearest | CVT_M_HEX_FORM).digits, "91a2b3c5");
  EXPECT_EQ(convert(value, 1, kNearest | CVT_M_HEX_FORM).exponent, 101);
}

}  // namespace
