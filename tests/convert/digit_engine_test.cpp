// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digit engines of single and double against the C library's exact printf and against big integers.
#include "support/exact_decimal.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <fenv.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <random>
#include <string>

namespace {

constexpr u32 kModes[] = {CVT_ROUND_NEAREST, CVT_ROUND_ZERO, CVT_ROUND_DOWN, CVT_ROUND_UP, CVT_ROUND_AWAY};
constexpr Rounding kOracleModes[] = {Rounding::nearest, Rounding::zero, Rounding::down, Rounding::up, Rounding::away};
constexpr int kHardwareModes[] = {FE_TONEAREST, FE_TOWARDZERO, FE_DOWNWARD, FE_UPWARD};

struct Result {
  std::string digits;
  int start, end, exponent, cls, status;
};

char* engine(i64 c, i64 f, u32 o, char* d, Result& r, double v) {
  return cvtas_t_to_a(c, f, o, d, &r.start, &r.end, &r.exponent, &r.cls, &r.status, v);
}
char* engine(i64 c, i64 f, u32 o, char* d, Result& r, float v) {
  return cvtas_s_to_a(c, f, o, d, &r.start, &r.end, &r.exponent, &r.cls, &r.status, v);
}

/// Calls an engine and checks the frame of its result.
template <class Real>
Result convert(Real value, int capacity, int fraction, u32 options) {
  constexpr char kGuard = '\x7f';
  char text[512];
  memset(text, kGuard, sizeof text);
  Result r{"", -1, -1, -1, 99, -1};
  const char* first = engine(capacity, fraction, options, text, r, value);
  EXPECT_EQ(first, text + r.start);
  EXPECT_EQ(text[r.end], '\0');
  EXPECT_EQ(text[capacity < 1 ? 2 : capacity + 2], kGuard);
  r.digits.assign(first, r.end - r.start);
  return r;
}

Binary_Value binary(double value) {
  int exponent;
  const double fraction = frexp(fabs(value), &exponent);
  return {static_cast<u64>(ldexp(fraction, 53)), exponent - 53, signbit(value) != 0};
}

/// Values of many kinds: any bits, short decimals, short binary fractions, whole numbers, powers of ten and their
/// neighbours.
class Values {
 public:
  template <class Real>
  Real next() {
    const u64 bits = random_();
    switch (bits % 8) {
      case 0:
        return sign(static_cast<Real>(small()) / power<Real>());
      case 1:
        return sign(ldexp(static_cast<Real>(small()), -static_cast<int>(random_() % 20)));
      case 2:
        return sign(static_cast<Real>(small()) * power<Real>());
      case 3: {
        const Real p = static_cast<Real>(
            strtod(("1e" + std::to_string(static_cast<int>(random_() % 616) - 308)).c_str(), nullptr));
        const Real q = std::isfinite(p) && p != 0 ? p : Real{1};
        const int which = random_() % 3;
        return sign(which == 0 ? q : nextafter(q, static_cast<Real>(which)));
      }
      default:
        return any<Real>();
    }
  }
  template <class Real>
  Real any() {
    for (;;) {
      Real value;
      const u64 bits = random_();
      memcpy(&value, &bits, sizeof value);
      if (std::isfinite(value) && value != 0) return value;
    }
  }
  u64 below(u64 limit) { return random_() % limit; }

 private:
  u64 small() { return 1 + random_() % (u64{1} << (1 + random_() % 23)); }
  template <class Real>
  Real power() {
    return static_cast<Real>(pow(10.0, static_cast<double>(random_() % 12)));
  }
  template <class Real>
  Real sign(Real value) {
    return (random_() & 1) != 0 ? -value : value;
  }
  std::mt19937_64 random_{20260101};
};

std::string describe(double value, int capacity, int fraction, u32 options) {
  char text[120];
  snprintf(text, sizeof text, "%a c=%d f=%d options=%#x", value, capacity, fraction, options);
  return text;
}

/// The E form that printf gives in a hardware rounding mode.
void expect_printf(double value, int count, const Result& r, const std::string& what) {
  char text[64];
  snprintf(text, sizeof text, "%.*e", count - 1, fabs(value));
  std::string digits(1, text[0]);
  if (count > 1) digits.append(text + 2, count - 1);
  EXPECT_EQ(r.digits, digits) << what;
  EXPECT_EQ(r.exponent, atoi(strchr(text, 'e') + 1) + 1) << what;
}

// printf is asked for the magnitude, so the directed modes change places for a negative value.
int hardware_mode(int i, bool negative) {
  const int mode = kHardwareModes[i];
  return !negative ? mode : mode == FE_DOWNWARD ? FE_UPWARD : mode == FE_UPWARD ? FE_DOWNWARD : mode;
}

template <class Real>
void significant_against_printf(long count) {
  Values values;
  for (long i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    const Real value = values.next<Real>();
    const int digits = 1 + static_cast<int>(i % 17), mode = static_cast<int>(values.below(4));
    const u32 options = CVT_M_E_FORM | CVT_M_ROUND_GIVEN | kModes[mode];
    const Result r = convert(value, digits, 0, options);
    fesetround(hardware_mode(mode, value < 0));
    expect_printf(value, digits, r, describe(value, digits, 0, options));
    fesetround(FE_TONEAREST);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.cls, (std::fpclassify(value) == FP_NORMAL ? 3 : 2) * (value < 0 ? -1 : 1));
  }
}

TEST(DigitEngine, DoubleSignificantDigitsLikePrintf) { significant_against_printf<double>(soak_cases(1000000)); }
TEST(DigitEngine, SingleSignificantDigitsLikePrintf) { significant_against_printf<float>(soak_cases(1000000)); }

/// Digits of an F form as they stand in printf's text, without leading zeros.
std::string fixed_by_printf(double value, int fraction) {
  static char text[1024];
  snprintf(text, sizeof text, "%.*f", fraction, fabs(value));
  std::string digits;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c != '.' && (*c != '0' || !digits.empty())) digits += *c;
  }
  return digits;
}

template <class Real>
void fixed_against_printf(long count) {
  Values values;
  for (long i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    const Real value = values.next<Real>();
    const int mode = static_cast<int>(values.below(4)), capacity = 1 + static_cast<int>(values.below(30));
    const int exponent = static_cast<int>(floor(log10(fabs(static_cast<double>(value)))));
    const int fraction = static_cast<int>(values.below(18)) - exponent - 1;
    if (fraction < 0) continue;
    const u32 options = CVT_M_F_FORM | CVT_M_ROUND_GIVEN | kModes[mode];
    const std::string what = describe(value, capacity, fraction, options);
    const Result r = convert(value, capacity, fraction, options);
    fesetround(hardware_mode(mode, value < 0));
    const std::string digits = fixed_by_printf(value, fraction);
    if (digits.empty()) {
      EXPECT_EQ(r.digits, std::string(fraction < capacity ? fraction + 1 : capacity, '0')) << what;
      EXPECT_EQ(r.status, CVT_IS_ZERO) << what;
    } else if (static_cast<int>(digits.size()) <= std::min(capacity, 17)) {
      EXPECT_EQ(r.digits, digits) << what;
      EXPECT_EQ(r.exponent, static_cast<int>(digits.size()) - fraction) << what;
    } else if (capacity < static_cast<int>(digits.size()) - 1 && capacity <= 17) {
      expect_printf(value, capacity, r, what);  // no room: the first digits
    }
    fesetround(FE_TONEAREST);
  }
}

TEST(DigitEngine, DoubleFixedDigitsLikePrintf) { fixed_against_printf<double>(soak_cases(500000)); }
TEST(DigitEngine, SingleFixedDigitsLikePrintf) { fixed_against_printf<float>(soak_cases(500000)); }

// Ties away from zero and dropped whole digits, which printf does not know.
TEST(DigitEngine, AllModesLikeBigIntegers) {
  Values values;
  for (long i = 0, cases = soak_cases(150000); i < cases && !HasFailure(); ++i) {
    const double value = values.next<double>();
    const Exact_Decimal exact(binary(value));
    const int mode = i % 3 == 0 ? static_cast<int>(values.below(5)) : 4;
    const int digits = 1 + static_cast<int>(values.below(17));
    u32 options = CVT_M_ROUND_GIVEN | kModes[mode];
    Result r = convert(value, digits, 0, options);
    Decimal_Value expected = exact.significant(digits, kOracleModes[mode]);
    EXPECT_EQ(r.digits, expected.digits.substr(0, digits)) << describe(value, digits, 0, options);
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits, 0, options);

    options |= CVT_M_F_FORM;
    const int places = digits - exact.exponent() - static_cast<int>(i % 2) * 2;
    const int dropped = std::max(-places, 0);
    if (exact.exponent() + places > 16 || exact.exponent() > 350) continue;
    r = convert(value, 400, places, options);
    expected = exact.fixed(places, kOracleModes[mode]);
    const std::string what = describe(value, 400, places, options);
    if (expected.digits.empty()) {
      EXPECT_EQ(r.status, CVT_IS_ZERO) << what;
      continue;
    }
    if (exact.exponent() > 17 && dropped > 0) continue;  // the unchecked digits have their own test
    const bool lone = exact.exponent() + places <= 0;
    const int zeros = lone && exact.exponent() < 1 ? 0 : dropped;
    EXPECT_EQ(r.digits, expected.digits + std::string(zeros, '0')) << what;
    EXPECT_EQ(r.exponent, expected.exponent) << what;
  }
}

TEST(DigitEngine, SpecialValues) {
  constexpr u32 kAlt = CVT_M_ROUND_GIVEN | CVT_M_ALT_SPELLING;
  const double infinity = HUGE_VAL, quiet = std::bit_cast<double>(0x7FF8000000000000u),
               signalling = std::bit_cast<double>(0x7FF0000000000001u), tiny = 0x1p-1074;
  const struct {
    double value;
    int capacity, fraction;
    u32 options;
    const char* digits;
    int exponent, cls, status;
  } rows[] = {
      {infinity, 17, 0, CVT_M_SPECIAL_STATUS, "Infinity", 8, 4, CVT_IS_INFINITY},
      {-infinity, 17, 0, 0, "Infinity", 8, -4, 0},
      {infinity, 17, 0, kAlt, "infinity", 8, 4, 0},
      {-infinity, 17, 0, kAlt | CVT_M_HEX_UPPER, "INFINITY", 8, -4, 0},
      {infinity, 17, 0, CVT_M_ALT_SPELLING, "Infinity", 8, 4, 0},
      {quiet, 17, 0, CVT_M_SPECIAL_STATUS, "NaN", 3, 0, CVT_IS_NAN},
      {quiet, 17, 0, kAlt, "nan", 3, 5, 0},
      {-quiet, 17, 0, kAlt | CVT_M_SPECIAL_STATUS, "nan", 3, -5, CVT_IS_NAN},
      {signalling, 17, 0, kAlt | CVT_M_HEX_UPPER, "NAN", 3, 6, 0},
      {infinity, 3, 0, 0, "Infi", 4, 4, 0},  // what capacity + 2 bytes hold
      {0.0, 5, 0, 0, "00000", 1, 1, CVT_IS_ZERO},
      {-0.0, 5, 0, CVT_M_STRIP_ZEROS, "0", 1, -1, CVT_IS_ZERO},
      {0.0, 5, 2, CVT_M_F_FORM, "000", 1, 1, CVT_IS_ZERO},
      {0.0, 5, 5, CVT_M_F_FORM, "00000", 1, 1, CVT_IS_ZERO},
      {0.0, 5, -3, CVT_M_F_FORM, "0", 1, 1, CVT_IS_ZERO},
      {tiny, 3, 0, CVT_M_FLUSH_DENORMALS, "000", 1, 1, CVT_IS_ZERO},
      {tiny, 3, 0, 0, "494", -323, 2, 0},
      {1.25, 0, 0, 0, "0", 1, 99, CVT_IS_ZERO},
      {1.25, -5, 0, 0, "0", 1, 99, CVT_IS_ZERO},
      {1.25, 6, 0, CVT_M_STRIP_ZEROS, "125", 1, 3, 0},
      {1.25, 6, 0, 0, "125000", 1, 3, 0},
      {0.125, 50, 0, 0, "12500000000000000000000000000000000000000000000000", 0, 3, 0},
      {9.96, 2, 0, 0, "10", 2, 3, 0},
      {0.996, 5, 2, CVT_M_F_FORM, "100", 1, 3, 0},
      {0.5, 5, 0, CVT_M_F_FORM, "0", 1, 3, CVT_IS_ZERO},
      {1.5, 5, 0, CVT_M_F_FORM, "2", 1, 3, 0},
      {2.5, 5, 0, CVT_M_F_FORM, "2", 1, 3, 0},
      {2.5, 5, 0, CVT_M_F_FORM | CVT_M_ROUND_GIVEN | CVT_ROUND_AWAY, "3", 1, 3, 0},
      {0.125, 5, 2, CVT_M_F_FORM, "12", 0, 3, 0},
      {0.001, 5, 1, CVT_M_F_FORM | CVT_M_ROUND_GIVEN | CVT_ROUND_UP, "1", 0, 3, 0},
      {-0.001, 5, 1, CVT_M_F_FORM | CVT_M_ROUND_GIVEN | CVT_ROUND_UP, "00", 1, -3, CVT_IS_ZERO},
      {2.75, 5, 0, u32{CVT_M_F_FORM} | CVT_ROUND_ZERO, "2", 1, 3, 0},  // odd: valid by itself
      {2.25, 5, 0, u32{CVT_M_F_FORM} | CVT_ROUND_UP, "2", 1, 3, 0},    // even: needs the bit
      {1.0, 2, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN, "80", 1, 3, 0},
      {1.0, 2, 0, CVT_M_HEX_FORM, "10", 1, 3, 0},
      {0x1.fffffffffffffp0, 14, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN, "fffffffffffff8", 1, 3, 0},
      {0x1.fffffffffffffp0, 13, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN, "8000000000000", 2, 3, 0},
      {0x1.3ap5, 1, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN | CVT_M_HEX_UPPER | CVT_ROUND_UP, "A", 6, 3, 0},
      {0x1.3ap5, 3, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN | CVT_M_HEX_UPPER, "9D0", 6, 3, 0},
      {tiny, 20, 0, CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN | CVT_M_STRIP_ZEROS, "8", -1073, 2, 0},
  };
  for (const auto& row : rows) {
    const Result r = convert(row.value, row.capacity, row.fraction, row.options);
    const std::string what = describe(row.value, row.capacity, row.fraction, row.options);
    EXPECT_EQ(r.digits, row.digits) << what;
    EXPECT_EQ(r.exponent, row.exponent) << what;
    EXPECT_EQ(r.cls, row.cls) << what;
    EXPECT_EQ(r.status, row.status) << what;
  }
}

TEST(DigitEngine, StartTellsTheGuardDigit) {
  EXPECT_EQ(convert(1.25, 3, 0, 0).start, 1);
  EXPECT_EQ(convert(0.0, 3, 0, 0).start, 0);
  EXPECT_EQ(convert(9.996, 3, 0, 0).start, 0);
  EXPECT_EQ(convert(9.996, 5, 2, CVT_M_F_FORM).digits, "1000");
  char text[8];
  int exponent, cls;
  EXPECT_STREQ(cvtas_t_to_a(3, 0, 0, text, nullptr, nullptr, &exponent, &cls, nullptr, 1.5), "150");
}

}  // namespace
