// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digit engines of single and double against big integers.
#include "support/exact_decimal.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <random>
#include <string>

namespace {

struct Mode {
  u32 option;
  Rounding rounding;
};
constexpr Mode kModes[] = {{CVT_ROUND_NEAREST, Rounding::nearest},
                           {CVT_ROUND_ZERO, Rounding::zero},
                           {CVT_ROUND_DOWN, Rounding::down},
                           {CVT_ROUND_UP, Rounding::up},
                           {CVT_ROUND_AWAY, Rounding::away}};

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

/// Values of many kinds: any bits, short decimals, short binary fractions, whole numbers, powers of ten and their
/// neighbours.
class Values {
 public:
  template <class Real>
  Real next() {
    switch (below(8)) {
      case 0:
        return sign(static_cast<Real>(small()) / power<Real>());
      case 1:
        return sign(ldexp(static_cast<Real>(small()), -static_cast<int>(below(20))));
      case 2:
        return sign(static_cast<Real>(small()) * power<Real>());
      case 3: {
        const Real p =
            static_cast<Real>(strtod(("1e" + std::to_string(static_cast<int>(below(616)) - 308)).c_str(), nullptr));
        const Real q = std::isfinite(p) && p != 0 ? p : Real{1};
        const u64 which = below(3);
        return sign(which == 0 ? q : nextafter(q, static_cast<Real>(which)));
      }
      default:
        return any<Real>();
    }
  }
  u64 below(u64 limit) { return random_() % limit; }

 private:
  template <class Real>
  Real any() {
    for (;;) {
      Real value;
      const u64 bits = random_();
      memcpy(&value, &bits, sizeof value);
      if (std::isfinite(value) && value != 0) return value;
    }
  }
  u64 small() { return 1 + below(u64{1} << (1 + below(23))); }
  template <class Real>
  Real power() {
    return static_cast<Real>(pow(10.0, static_cast<double>(below(12))));
  }
  template <class Real>
  Real sign(Real value) {
    return below(2) != 0 ? -value : value;
  }
  std::mt19937_64 random_{20260101};
};

std::string describe(double value, int capacity, int fraction, u32 options) {
  char text[120];
  snprintf(text, sizeof text, "%a c=%d f=%d options=%#x", value, capacity, fraction, options);
  return text;
}

/// The E form, and the F form with and without room for all digits and with whole digits dropped.
template <class Real>
void digits_like_big_integers(long count) {
  Values values;
  for (long i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    const Real value = values.next<Real>();
    const Exact_Decimal exact(binary_value(value));
    const Mode& mode = kModes[i % 5];
    const int digits = 1 + static_cast<int>(values.below(17));
    u32 options = CVT_M_ROUND_GIVEN | mode.option;
    Result r = convert(value, digits, 0, options);
    Decimal_Value expected = exact.significant(digits, mode.rounding);
    EXPECT_EQ(r.digits, expected.digits.substr(0, digits)) << describe(value, digits, 0, options);
    EXPECT_EQ(r.exponent, expected.exponent) << describe(value, digits, 0, options);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.cls, (std::fpclassify(value) == FP_NORMAL ? 3 : 2) * (value < 0 ? -1 : 1));

    options |= CVT_M_F_FORM;
    const int places = digits - exact.exponent() - static_cast<int>(values.below(3)), dropped = std::max(-places, 0);
    const int capacity = values.below(2) != 0 ? 400 : 1 + static_cast<int>(values.below(20));
    if (exact.exponent() + places > 16 || exact.exponent() > 350) continue;
    const std::string what = describe(value, capacity, places, options);
    r = convert(value, capacity, places, options);
    expected = exact.fixed(places, mode.rounding);
    if (expected.digits.empty()) {
      EXPECT_EQ(r.status, CVT_IS_ZERO) << what;
      EXPECT_EQ(r.digits, std::string(std::min(std::max(places, 0) + 1, capacity), '0')) << what;
      continue;
    }
    if (exact.exponent() > 17 && dropped > 0) continue;  // the unchecked digits have their own test
    if (capacity < exact.exponent() + places) {          // no room: the first digits
      expected = exact.significant(capacity, mode.rounding);
    } else {
      const bool lone = exact.exponent() + places <= 0 && exact.exponent() < 1;
      expected.digits.append(lone ? 0 : dropped, '0');
    }
    EXPECT_EQ(r.digits, expected.digits.substr(0, capacity)) << what;
    EXPECT_EQ(r.exponent, expected.exponent) << what;
  }
}

TEST(DigitEngine, DoublesInAllModesLikeBigIntegers) { digits_like_big_integers<double>(soak_cases(80000)); }
TEST(DigitEngine, SinglesInAllModesLikeBigIntegers) { digits_like_big_integers<float>(soak_cases(80000)); }

TEST(DigitEngine, SpecialValuesAndOptions) {
  constexpr u32 kAlt = CVT_M_ROUND_GIVEN | CVT_M_ALT_SPELLING, kHex = CVT_M_HEX_FORM | CVT_M_ROUND_GIVEN;
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
      {infinity, 3, 0, 0, "Infi", 4, 4, 0},  // what capacity + 2 bytes hold
      {quiet, 17, 0, CVT_M_SPECIAL_STATUS, "NaN", 3, 0, CVT_IS_NAN},
      {-quiet, 17, 0, kAlt | CVT_M_SPECIAL_STATUS, "nan", 3, -5, CVT_IS_NAN},
      {signalling, 17, 0, kAlt | CVT_M_HEX_UPPER, "NAN", 3, 6, 0},
      {0.0, 5, 0, 0, "00000", 1, 1, CVT_IS_ZERO},
      {-0.0, 5, 0, CVT_M_STRIP_ZEROS, "0", 1, -1, CVT_IS_ZERO},
      {0.0, 5, 2, CVT_M_F_FORM, "000", 1, 1, CVT_IS_ZERO},
      {0.0, 5, -3, CVT_M_F_FORM, "0", 1, 1, CVT_IS_ZERO},
      {tiny, 3, 0, CVT_M_FLUSH_DENORMALS, "000", 1, 1, CVT_IS_ZERO},
      {1.25, 0, 0, 0, "0", 1, 99, CVT_IS_ZERO},
      {1.25, -5, 0, 0, "0", 1, 99, CVT_IS_ZERO},
      {1.25, 6, 0, CVT_M_STRIP_ZEROS, "125", 1, 3, 0},
      {2.75, 5, 0, u32{CVT_M_F_FORM} | CVT_ROUND_ZERO, "2", 1, 3, 0},  // odd: valid by itself
      {2.25, 5, 0, u32{CVT_M_F_FORM} | CVT_ROUND_UP, "2", 1, 3, 0},    // even: needs the bit
      {1.0, 2, 0, kHex, "80", 1, 3, 0},
      {1.0, 2, 0, CVT_M_HEX_FORM, "10", 1, 3, 0},
      {0x1.fffffffffffffp0, 14, 0, kHex, "fffffffffffff8", 1, 3, 0},
      {0x1.fffffffffffffp0, 13, 0, kHex, "8000000000000", 2, 3, 0},
      {0x1.3ap5, 1, 0, kHex | CVT_M_HEX_UPPER | CVT_ROUND_UP, "A", 6, 3, 0},
      {0x1.3ap5, 3, 0, kHex | CVT_M_HEX_UPPER, "9D0", 6, 3, 0},
      {tiny, 20, 0, kHex | CVT_M_STRIP_ZEROS, "8", -1073, 2, 0},
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
  char text[8];
  int exponent, cls;
  EXPECT_STREQ(cvtas_t_to_a(3, 0, 0, text, nullptr, nullptr, &exponent, &cls, nullptr, 1.5), "150");
}

}  // namespace
