// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digits of quads, and of all formats beyond 17 digits.
//
// Two oracles. Up to 17 digits, with powers of ten up to about 10^342, the digits are correctly rounded: strfromf128 in
// the hardware's rounding modes, big integers for ties away. Beyond that they are those of the scaled value, the power
// of ten being rounded to 128 bits after each product of table rows: that procedure is repeated here with big integers
// and has to agree to the digit. In nearest rounding up to 33 digits it can hardly differ from the exact digits,
// and the two are held against each other as well.
#include "convert/powers_of_ten.h"
#include "support/exact_decimal.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <fenv.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kMostDigits = 39;

/// A power of ten as mantissa / 2^128 * 2^bexp.
struct Power {
  Big_Integer mantissa;
  int bexp;
};

Power rounded_product(const Power& a, const Power& b) {
  Big_Integer product = a.mantissa * b.mantissa;
  int bexp = a.bexp + b.bexp - (256 - product.bits());
  const int dropped = product.bits() - 128;
  product = (product >> (dropped - 1)) + Big_Integer(1);
  if (product.bits() > 129) ++bexp;
  return {product >> (product.bits() - 128), bexp};
}

Power row(const u64 (&mantissa)[2], int bexp) { return {Big_Integer::from_words(mantissa[1], mantissa[0]), bexp}; }

Power near_row(int n) { return {Big_Integer(cvtas_pten_64[n + kNearPower]) << 64, cvtas_pten_64_bexp[n + kNearPower]}; }

/// 10^n from the rows that the tables offer for it: the steps from 4096 down, a sparse row, and the rest.
Power procedure_power(int n) {
  std::vector<Power> factors;
  if (n > 534 || n < -534) {
    for (int step = 3; step >= 0; --step) {
      const int p = 512 << step;
      if (n >= p) {
        factors.push_back(row(cvtas_huge_huge_pten_128[step], cvtas_huge_huge_pten_128_bexp[step]));
        n -= p;
      } else if (n <= -p) {
        factors.push_back(row(cvtas_tiny_tiny_pten_128[step], cvtas_tiny_tiny_pten_128_bexp[step]));
        n += p;
      }
    }
  }
  if (n >= -27 && n <= -1) {
    factors.push_back(row(cvtas_pten_128[n + 27], cvtas_pten_128_bexp[n + 27]));
    n = 0;
  } else if (n < 0) {
    constexpr int kTiny[] = {53, 108, 164, 219, 274, 327, 379, 425, 479, 534};
    const int i = std::lower_bound(kTiny, kTiny + 10, -n) - kTiny;
    factors.push_back(row(cvtas_tiny_pten_128[i], cvtas_tiny_pten_128_bexp[i]));
    n += kTiny[i];
  } else if (n >= 55) {
    constexpr int kHuge[] = {55, 110, 165, 219, 275, 315, 369, 425, 478, 534};
    const int i = std::upper_bound(kHuge, kHuge + 10, n) - kHuge - 1;
    factors.push_back(row(cvtas_huge_pten_128[i], cvtas_huge_pten_128_bexp[i]));
    n -= kHuge[i];
  }
  if (n == 55) {
    factors.push_back(row(cvtas_huge_pten_128[0], cvtas_huge_pten_128_bexp[0]));
  } else if (n > 27) {
    factors.push_back(rounded_product(near_row(27), near_row(n - 27)));
  } else if (n > 0 || factors.empty()) {
    factors.push_back(near_row(n));
  }
  Power power = factors[0];
  for (size_t i = 1; i < factors.size(); ++i) power = rounded_product(power, factors[i]);
  return power;
}

/// `count` digits by the procedure, in nearest rounding or truncated; padded with zeros beyond 39.
Decimal_Value by_procedure(const Binary_Value& v, int count, bool nearest) {
  Big_Integer significand =
      Big_Integer::from_words(static_cast<u64>(v.significand >> 64), static_cast<u64>(v.significand));
  const int bits = significand.bits();
  const u64 fraction = ((significand << (128 - bits)) >> 111).low_word() & 0xFFFF;
  const i64 log2 = static_cast<i64>(v.exponent + bits - 1) * 65536 + static_cast<i64>(fraction);
  const __int128 product = static_cast<__int128>(log2) * (0x4D104D42 + (log2 < 0));
  int exponent = static_cast<int>(product >> 48) + 1;
  for (;; ++exponent) {
    Big_Integer scaled = significand;
    int point = -v.exponent;  // the scaled value is scaled / 2^point
    if (exponent != 0) {
      const Power power = procedure_power(-exponent);
      scaled = scaled * power.mantissa;
      point += 128 - power.bexp;
    }
    if (scaled.bits() > point) continue;
    Decimal_Value result{"", exponent};
    const int generated = std::min(count, kMostDigits);
    for (int i = 0; i < generated; ++i) {
      scaled.multiply(10);
      const Big_Integer digit = scaled >> point;
      result.digits += static_cast<char>('0' + digit.low_word());
      scaled = scaled - (digit << point);
    }
    const int half = compare(scaled << 1, Big_Integer(1) << point);
    if (nearest && (half > 0 || (half == 0 && (result.digits.back() & 1) != 0))) {
      int i = generated - 1;
      for (; i >= 0 && result.digits[i] == '9'; --i) result.digits[i] = '0';
      if (i < 0) {
        result.digits = "1" + result.digits.substr(0, generated - 1);
        ++result.exponent;
      } else {
        ++result.digits[i];
      }
    }
    result.digits.append(count - generated, '0');
    return result;
  }
}

struct Result {
  std::string digits;
  int exponent;
};

constexpr u32 kNearest = CVT_M_ROUND_GIVEN, kTruncate = u32{CVT_M_ROUND_GIVEN} | CVT_ROUND_ZERO;

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

Binary_Value binary(__float128 value) {
  unsigned __int128 bits;
  memcpy(&bits, &value, sizeof bits);
  const int biased = static_cast<int>(bits >> 112) & 0x7FFF;
  const unsigned __int128 fraction = bits & ((static_cast<unsigned __int128>(1) << 112) - 1);
  return {fraction | static_cast<unsigned __int128>(biased != 0) << 112, std::max(biased, 1) - 16383 - 112,
          bits >> 127 != 0};
}

class Quads {
 public:
  __float128 next() {
    const u64 kind = random_() % 8;
    if (kind == 0) return static_cast<__float128>(1 + (random_() >> (random_() % 60)));
    if (kind == 1) return static_cast<__float128>(1 + random_() % 100000) / 1000;
    if (kind == 2)
      return strtof128(("1e" + std::to_string(static_cast<int>(random_() % 9800) - 4900)).c_str(), nullptr);
    for (;;) {
      u64 words[2] = {random_(), random_() & 0x7FFFFFFFFFFFFFFF};
      // most of them where the procedure is checked
      if (kind >= 5) words[1] = (words[1] & 0xFFFFFFFFFFFF) | (16383 - 1130 + random_() % 2260) << 48;
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
  std::string digits(1, text[0]);
  if (count > 1) digits.append(text + 2, count - 1);
  return {digits, atoi(strchr(text, 'e') + 1) + 1};
}

TEST(DigitLadder, QuadDigitsLikeTheLibrary) {
  constexpr int kHardware[] = {FE_TONEAREST, FE_TOWARDZERO, FE_DOWNWARD, FE_UPWARD};
  constexpr u32 kModes[] = {CVT_ROUND_NEAREST, CVT_ROUND_ZERO, CVT_ROUND_DOWN, CVT_ROUND_UP};
  Quads quads;
  int differing = 0;
  const long count = soak_cases(500000);
  for (long i = 0; i < count && !HasFailure(); ++i) {
    const __float128 value = quads.next();
    const int digits = 1 + static_cast<int>(i % 33);
    const bool checked = digits <= 17 && value < 1e340Q && value > 1e-340Q;
    const int mode = checked ? static_cast<int>(quads.below(4)) : 0;
    const Result r = convert(value, digits, CVT_M_ROUND_GIVEN | kModes[mode]);
    fesetround(kHardware[mode]);
    const Result expected = by_library(value, digits);
    fesetround(FE_TONEAREST);
    if (r.digits == expected.digits && r.exponent == expected.exponent) continue;
    EXPECT_FALSE(checked) << describe(value, digits) << " mode " << mode << ' ' << r.digits;
    const Decimal_Value procedure = by_procedure(binary(value), digits, true);
    EXPECT_EQ(r.digits, procedure.digits) << describe(value, digits);
    ++differing;
  }
  EXPECT_LT(differing, count / 100);
}

TEST(DigitLadder, QuadTiesAwayLikeBigIntegers) {
  Quads quads;
  for (long i = 0, cases = soak_cases(3000); i < cases && !HasFailure(); ++i) {
    const __float128 value = i % 2 == 0 ? static_cast<__float128>(quads.below(1u << 20)) / 64 + 1 : quads.next();
    if (value > 1e340Q || value < 1e-340Q) continue;
    const int digits = 1 + static_cast<int>(i % 17);
    const Result r = convert(value, digits, u32{CVT_M_ROUND_GIVEN} | CVT_ROUND_AWAY);
    const Decimal_Value expected = Exact_Decimal(binary(value)).significant(digits, Rounding::away);
    EXPECT_EQ(r.digits, expected.digits.substr(0, digits)) << describe(value, digits);
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits);
  }
}

template <class Real>
void expect_procedure(Real value, int digits) {
  const Binary_Value bits = binary(value);
  for (bool nearest : {true, false}) {
    const Result r = convert(value, digits, nearest ? kNearest : kTruncate);
    const Decimal_Value expected = by_procedure(bits, digits, nearest);
    EXPECT_EQ(r.digits, expected.digits) << describe(value, digits) << (nearest ? " nearest" : " truncated");
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits);
  }
}

TEST(DigitLadder, ManyDigitsFollowTheProcedure) {
  Quads quads;
  for (long i = 0, cases = soak_cases(8000); i < cases && !testing::Test::HasFailure(); ++i) {
    const int digits = 18 + static_cast<int>(i % 30);
    expect_procedure(quads.next(), digits);
    const double narrow = static_cast<double>(quads.next());
    if (std::isfinite(narrow) && narrow != 0) expect_procedure(narrow, digits);
  }
}

// Every power of ten, so that every way to put one together is taken; few digits where the range has no check.
TEST(DigitLadder, EveryPowerFollowsTheProcedure) {
  for (int n = -4930; n <= 4930; ++n) {
    const __float128 value = strtof128(("3.7e" + std::to_string(n)).c_str(), nullptr);
    expect_procedure(value, 36);
    if (n > 345 || n < -350) expect_procedure(value, 5);
  }
}

TEST(DigitLadder, FiftyDigitsEndInElevenZeros) {
  const Result r = convert(strtof128("0.1", nullptr) / 3, 50, kNearest);
  ASSERT_EQ(r.digits.size(), 50u);
  EXPECT_EQ(r.digits.substr(39), std::string(11, '0'));
  EXPECT_NE(r.digits[38], '0');
}

TEST(DigitLadder, QuadHexadecimal) {
  const __float128 value = strtof128("0x1.23456789abcdef0123456789abcdp+100", nullptr);
  EXPECT_EQ(convert(value, 29, kNearest | CVT_M_HEX_FORM | CVT_M_HEX_UPPER).digits, "91A2B3C4D5E6F78091A2B3C4D5E68");
  EXPECT_EQ(convert(value, 8, kNearest | CVT_M_HEX_FORM).digits, "91a2b3c5");
  EXPECT_EQ(convert(value, 31, kNearest | CVT_M_HEX_FORM | CVT_M_STRIP_ZEROS).digits, "91a2b3c4d5e6f78091a2b3c4d5e68");
  EXPECT_EQ(convert(value, 1, kNearest | CVT_M_HEX_FORM).exponent, 101);
}

}  // namespace
