// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Text to IEEE reals, held against the C library's exact conversions and against the arithmetic each path promises.

#include "support/big_integer.h"
#include "support/exact_text.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfenv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

using tamrun_test::exact;

constexpr u32 kEven = CVT_M_ROUND_GIVEN, kZero = kEven | u32{CVT_ROUND_ZERO}, kDown = kEven | u32{CVT_ROUND_DOWN},
              kUp = kEven | u32{CVT_ROUND_UP}, kAway = kEven | u32{CVT_ROUND_AWAY};
constexpr double kInf = std::numeric_limits<double>::infinity();

template <class Real>
struct Interface;
template <>
struct Interface<float> {
  using Result = float;
  static constexpr auto field = cvt_text_to_ieee_s_ex;
  static constexpr auto engine = cvtas_a_to_s;
  static float library(const char* text) { return strtof(text, nullptr); }
};
template <>
struct Interface<double> {
  using Result = double;
  static constexpr auto field = cvt_text_to_ieee_t_ex;
  static constexpr auto engine = cvtas_a_to_t;
  static double library(const char* text) { return strtod(text, nullptr); }
};
template <>
struct Interface<_Float128> {
  using Result = Cvt_Quad;
  static constexpr auto field = cvt_text_to_ieee_x_ex;
  static constexpr auto engine = cvtas_a_to_x;
  static _Float128 library(const char* text) { return strtof128(text, nullptr); }
};

/// The bits of a value as an integer that counts representable values: neighbours differ by one.
template <class Real>
__int128 ordinal(Real value) {
  __int128 bits = 0;
  memcpy(&bits, &value, sizeof value);
  const __int128 sign = static_cast<__int128>(static_cast<unsigned __int128>(1) << (sizeof value * 8 - 1));
  if constexpr (sizeof value == 16) return bits < 0 ? -(bits - sign) : bits;
  return bits >= sign ? sign - bits : bits;
}
template <class Real>
__int128 distance(Real a, Real b) {
  const __int128 d = ordinal(a) - ordinal(b);
  return d < 0 ? -d : d;
}
/// Equal as bits, so that zeros have signs and NaNs are equal.
template <class Real>
bool same(Real a, Real b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

/// Reads a field from a heap copy of exactly its size.
template <class Real>
Real read(const std::string& text, u32 options = kEven, int* status = nullptr, i32 scale = 0, i32 decimals = 0,
          u64 ext = 4) {
  typename Interface<Real>::Result result = {};
  const int s =
      Interface<Real>::field(exact(text).get(), static_cast<i32>(text.size()), scale, decimals, options, &result, ext);
  if (status != nullptr) *status = s;
  return std::bit_cast<Real>(result);
}

/// Calls `body` with a value of each format.
void in_all_formats(const auto& body) {
  body(float{});
  body(double{});
  body(_Float128{});
}

struct FieldRow {
  std::string text;
  u32 options;
  double value;
  int result;
  i32 scale = 0, decimals = 0;
  u64 ext = 4;
};

/// Every row holds for all three formats: the values are exact in the smallest.
TEST(TextToReal, fields) {
  constexpr u32 kSkip = kEven | u32{CVT_M_TEXT_BLANKS_SKIP};
  constexpr u64 kComma = CVT_X_DECIMAL_COMMA;
  static const FieldRow rows[] = {
      {"", kEven, 0, 0},
      {" \t\n\v\f\r ", kEven, 0, 0},
      {"-", kEven, 0, 0},
      {"-   ", kSkip, 0, 0},
      {"-   ", kEven, -0.0, 0},
      {"-.", kEven, 0, 0},
      {"E5", kEven, 0, 0},
      {" -1.5", kEven, -1.5, 0},
      {"+.5", kEven, 0.5, 0},
      {"12550", kEven, 125.5, 0, 0, 2},
      {"12550E1", kEven, 1255, 0, 0, 2},
      {"125", kEven, 12500, 0, 0, -2},
      {"150", kEven, 1.5, 0, 2},
      {"1.5", kEven, 150, 0, -2},
      {"1.5E0", kEven, 1.5, 0, 2},
      {"150E0", kEven | u32{CVT_M_TEXT_SCALE_ALWAYS}, 1.5, 0, 2},
      {"1.5+3", kEven, 1500, 0},
      {"1500-3", kEven, 1.5, 0},
      {"1.5+3", kEven | u32{CVT_M_TEXT_NO_BARE_SIGN}, 0, 1},
      {"1.5d+3", kEven, 1500, 0},
      {"1500Q-03", kEven, 1.5, 0},
      {"1.5q3", kEven | u32{CVT_M_TEXT_E_ONLY}, 0, 1},
      {"1.5E", kEven, 1.5, 0},
      {"1.5E+", kEven, 0, 1},
      {"1.5E+-3", kEven, 0, 1},
      {"1 5", kSkip, 15, 0},
      {"1 5 ", kEven, 1050, 0},
      {"1.5E 1 ", kSkip, 15, 0},
      {"15E-1 ", kEven, 15e-10, 0},
      {"1.5E +1", kSkip, 15, 0},
      {"1.5E +1", kEven, 0, 1},
      {"1\t5", kSkip, 0, 1},
      {"1\t5", kSkip | u32{CVT_M_TEXT_TABS}, 15, 0},
      {"1,234.5", kEven | u32{CVT_M_TEXT_COMMAS}, 1234.5, 0},
      {"1,234.5", kEven, 0, 1},
      {"1.234,5", kEven | u32{CVT_M_TEXT_POINTS}, 1234.5, 0, 0, 0, kComma},
      {"1_234", kEven | u32{CVT_M_TEXT_UNDERSCORES}, 1234, 0},
      {"1_234", kEven, 0, 1},
      {"1,5", kEven, 1.5, 0, 0, 0, kComma},
      {"1.5", kEven, 0, 1, 0, 0, kComma},
      {"1.5.", kEven, 0, 1},
      {std::string("1.5\0", 4), kEven, 1.5, 0},
      {std::string("1.5\0", 4), 0, 0, 1},
      {"0x1.8P1", kEven, 3, 0},
      {"-0X.cp+2", kEven, -3, 0, 5, 5},
      {"0x1.8", kEven, 0, 1},
      {"0x1.8P", kEven, 0, 1},
      {"0x.P1", kEven, 0, 1},
      {"00x1P1", kEven, 0, 1},
      {"1x1P1", kEven, 0, 1},
      {"0x1P1 ", kSkip, 0, 1},
      {"0x1+1", kEven, 0, 1},
      {"Inf", kEven, kInf, 0},
      {" -INFINITY", kEven, -kInf, 0},
      {"Inf   ", kSkip, kInf, 0},
      {"Inf   ", kEven, kInf, 1},
      {"Infx", kEven, kInf, 1},
      {"Infin", kEven, 0, 1},
      {".Inf", kEven, 0, 1},
      {"1E1000000", kEven, kInf, 1},
      {"-1E999999999999999999999", kEven, -kInf, 1},
      {"-1E-1000000", kEven, -0.0, 0},
      {"1E-1000000", kEven | u32{CVT_M_TEXT_REPORT_UNDERFLOW}, 0, 1},
      {"0E1000000", kEven, 0, 0},
      {"1", kEven, 0, 0, INT_MAX, INT_MAX},
      {"1", kEven, kInf, 1, INT_MIN, INT_MIN},
  };
  for (const FieldRow& row : rows) {
    in_all_formats([&]<class Real>(Real) {
      SCOPED_TRACE(testing::Message() << "'" << row.text << "' options " << std::hex << row.options);
      int status = -1;
      const Real value = read<Real>(row.text, row.options, &status, row.scale, row.decimals, row.ext);
      EXPECT_EQ(row.result, status);
      if (row.result != 0 && !std::isinf(row.value)) return;
      EXPECT_TRUE(same(static_cast<Real>(row.value), value) || (sizeof value == 16 && row.value == 15e-10));
    });
  }
  double untouched = 77;
  EXPECT_EQ(1, cvt_text_to_ieee_t_ex("1", -1, 0, 0, kEven, &untouched, 4));
}

TEST(TextToReal, nan_has_its_sign_set_unless_plus) {
  struct {
    const char* text;
    u32 options;
    bool negative;
    int result;
  } static const rows[] = {
      {"NaN", kEven, true, 0},
      {"-nan", 0, true, 0},
      {"+NaN", kEven, false, 0},
      {"+NaN", 0, true, 0},
      {"NaN(abc_1)", kEven, true, 0},
      {"+NaN(abc_1)", kEven, false, 0},
      {"NaN (Z9)", kEven, true, 0},
      {"NaN()", kEven, true, 0},
      {"NaN(abc_1)", 0, true, 1},
      {"NaN(a-)", kEven, true, 1},
      {"NaN(a)  ", kEven | u32{CVT_M_TEXT_BLANKS_SKIP}, true, 0},
  };
  for (const auto& row : rows) {
    in_all_formats([&]<class Real>(Real) {
      int status;
      const Real value = read<Real>(row.text, row.options, &status);
      const Real quiet = static_cast<Real>(std::numeric_limits<double>::quiet_NaN());
      EXPECT_TRUE(same(row.negative ? -quiet : quiet, value)) << row.text;
      EXPECT_EQ(row.result, status) << row.text;
    });
  }
  EXPECT_EQ(7, cvtas__nan_s(" \t(abc)1", 8).consumed);
  EXPECT_EQ(0, cvtas__nan_s("(abc)", 4).consumed);
  EXPECT_EQ(5, cvtas__nan_t("(abc)", 5).consumed);
  EXPECT_EQ(0, cvtas__nan_x("(a b)", 5).consumed);
  EXPECT_TRUE(std::isnan(cvtas__nan_s("", 0).value) && std::isnan(cvtas__nan_t("", 0).value));
  EXPECT_EQ(0xFFFF800000000000, cvtas__nan_x("", 0).high);
}

struct EngineRow {
  const char* text;
  u32 options;
  int status;
  i32 end;  // offset of what `end` points to
  double value;
  int point = 0;
};

TEST(TextToReal, engine_statuses_and_ends) {
  constexpr u32 kSpecials = kEven | u32{CVT_M_TEXT_SPECIALS}, kReport = kSpecials | u32{CVT_M_SPECIAL_STATUS};
  constexpr u32 kWhole = kEven | u32{CVT_M_TEXT_WHOLE}, kNeed = kWhole | u32{CVT_M_TEXT_NEED_DIGITS};
  constexpr u32 kSkip = kEven | u32{CVT_M_TEXT_BLANKS_SKIP};
  static const EngineRow rows[] = {
      {"", kEven, 6, 0, 0},
      {" 1", kEven, 0, 0, 0},
      {" 1", kEven | u32{CVT_M_TEXT_LEADING_SPACE}, 0, 2, 1},
      {"1.5abc", kEven, 0, 3, 1.5},
      {"1.5abc", kWhole, 3, 3, 0},
      {"1.5  ", kSkip, 0, 5, 1.5},
      {"1.5  ", kSkip | u32{CVT_M_TEXT_END_OF_NUMBER}, 0, 3, 1.5},
      {"1.5 _x", kSkip | u32{CVT_M_TEXT_END_OF_NUMBER} | CVT_M_TEXT_UNDERSCORES, 0, 3, 1.5},
      {"1.5E1 x", kSkip, 0, 6, 15},
      {"1.5.5", kEven, 0, 3, 1.5},
      {"Inf", kEven, 0, 0, 0},
      {"-Infinity!", kSpecials, 0, 9, -kInf},
      {"Inf", kReport, 12, 3, kInf},
      {"Infini", kSpecials, 3, 0, 0},
      {"0x1P1", kEven, 0, 1, 0},
      {"0x1P1 1", kSkip | u32{CVT_M_TEXT_HEX}, 0, 5, 2},
      {".", kNeed, 3, 1, 0},
      {"E5", kNeed, 3, 2, 0},
      {"7", kNeed, 0, 1, 7},
      {"1;5", kEven | u32{CVT_M_TEXT_OWN_POINT}, 0, 3, 1.5, ';'},
      {"1.5", kEven | u32{CVT_M_TEXT_OWN_POINT}, 0, 1, 1, ';'},
      {"1,5", kEven | u32{CVT_M_TEXT_DECIMAL_COMMA}, 0, 3, 1.5},
      {"1E999999", kEven, 0, 8, kInf},
      {"1E999999", kEven | u32{CVT_M_TEXT_REPORT_OVERFLOW}, 8, 8, kInf},
      {"-1E-99999", kEven | u32{CVT_M_TEXT_REPORT_UNDERFLOW}, 9, 9, -0.0},
  };
  for (const EngineRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "'" << row.text << "' options " << std::hex << row.options);
    const i32 length = static_cast<i32>(strlen(row.text));
    const auto copy = exact(row.text);
    in_all_formats([&]<class Real>(Real) {
      char* end = nullptr;
      i32 status = -1;
      const auto value =
          std::bit_cast<Real>(Interface<Real>::engine(copy.get(), length, row.options, 0, 0, &end, &status, row.point));
      EXPECT_EQ(row.status, status);
      EXPECT_EQ(row.end, end - copy.get());
      EXPECT_TRUE(status == 3 || same(static_cast<Real>(row.value), value));
      EXPECT_TRUE(same(value, std::bit_cast<Real>(Interface<Real>::engine(copy.get(), length, row.options, 0, 0,
                                                                          nullptr, nullptr, row.point))));
    });
  }
  i32 status = 0;
  cvtas_a_to_t("NaN", 3, kReport, 0, 0, nullptr, &status);
  EXPECT_GE(status, 10);
  cvtas_a_to_t("NaN", -5, kReport, 0, 0, nullptr, &status);
  EXPECT_EQ(6, status);
}

/// A random decimal number; digits and power are what its value is made of.
struct Decimal {
  std::string text;
  u64 digits = 0;  // valid while significant <= 19
  int significant = 0, power = 0;
};

template <class Random>
Decimal a_decimal(Random& random, int max_digits, int exponent_range) {
  Decimal d;
  const int digits = 1 + random() % max_digits, point = random() % 3 ? static_cast<int>(random() % (digits + 1)) : -1;
  if (random() % 4 == 0) d.text += "-";
  for (int i = 0; i < digits; ++i) {
    if (i == point) d.text += '.';
    const int digit = random() % 8 ? random() % 10 : 0;
    d.text += static_cast<char>('0' + digit);
    d.digits = d.digits * 10 + digit;
    if (digit != 0 || d.significant != 0) ++d.significant;
  }
  if (digits == point) d.text += '.';
  if (point >= 0) d.power = point - digits;
  if (random() % 4) {
    const int exponent = static_cast<int>(random() % (2 * exponent_range + 1)) - exponent_range;
    d.text += "Ee"[random() % 2] + std::to_string(exponent);
    d.power += exponent;
  }
  return d;
}

TEST(TextToReal, doubles_are_exact_on_the_exact_paths_and_close_elsewhere) {
  std::mt19937_64 random(11);
  int exact_cases = 0, off_by_one = 0;
  for (long i = 0; i < soak_cases(1200000); ++i) {
    const Decimal d = i % 2 ? a_decimal(random, 17, 30) : a_decimal(random, i % 8 ? 20 : 45, 340);
    int status;
    const double value = read<double>(d.text, kEven, &status), expected = strtod(d.text.c_str(), nullptr);
    const bool is_exact =
        d.significant == 0 || (d.significant <= 15 && abs(d.power) <= 22) || (d.significant < 20 && d.power == 0) ||
        (d.significant <= 15 && d.power > 22 && d.significant + d.power <= 37) || (d.significant <= 38 && d.power == 0);
    ASSERT_LE(distance(value, expected), is_exact ? 0 : 1) << d.text << " gave " << value;
    ASSERT_EQ(std::isinf(expected), status == 1) << d.text;
    exact_cases += is_exact;
    off_by_one += value != expected;
  }
  EXPECT_GT(exact_cases, 300000);
  EXPECT_LT(off_by_one, 600);
}

double power_of_ten(int n) { return strtod(("1E" + std::to_string(n)).c_str(), nullptr); }

TEST(TextToReal, singles_are_the_rounded_double_product) {
  std::mt19937_64 random(12);
  int products = 0;
  for (long i = 0; i < soak_cases(500000); ++i) {
    const Decimal d = a_decimal(random, i % 8 ? 15 : 45, i % 2 ? 20 : 50);
    const float value = read<float>(d.text), expected = strtof(d.text.c_str(), nullptr);
    ASSERT_LE(distance(value, expected), 1) << d.text << " gave " << value;
    if (d.significant == 0 || d.significant > 15 || d.power < -46 || d.power > 38) continue;
    const double product = static_cast<double>(d.digits) * power_of_ten(d.power);
    ASSERT_EQ(d.text[0] == '-' ? -static_cast<float>(product) : static_cast<float>(product), value) << d.text;
    ++products;
  }
  EXPECT_GT(products, 200000);
}

TEST(TextToReal, quads_are_close_and_exact_where_the_power_is) {
  std::mt19937_64 random(13);
  int off_by_one = 0;
  for (long i = 0; i < soak_cases(500000); ++i) {
    const Decimal d = a_decimal(random, i % 4 ? 36 : 70, i % 2 ? 40 : 4990);
    int status;
    const _Float128 value = read<_Float128>(d.text, kEven, &status), expected = strtof128(d.text.c_str(), nullptr);
    const bool is_exact = d.significant <= 38 && d.power >= 0 && d.power <= 27;
    ASSERT_LE(static_cast<i64>(distance(value, expected)), is_exact ? 0 : 1) << d.text;
    ASSERT_EQ(expected != 0 && expected + expected == expected, status == 1) << d.text;
    off_by_one += value != expected;
  }
  EXPECT_LT(off_by_one, 100);
}

using u128 = unsigned __int128;

/// The bits of significand * 2^exponent in a format of so many bits of precision, whose unit is 2^least at least.
u128 rounded(const Big_Integer& significand, int exponent, bool negative, u32 mode, int precision, int least) {
  if (significand.is_zero()) return 0;
  const int unit = std::max(significand.bits() + exponent - precision, least), lost = unit - exponent;
  Big_Integer kept = lost <= 0 ? significand << -lost : significand >> lost;
  const Big_Integer rest = lost <= 0 ? Big_Integer() : significand - (kept << lost);
  const int half = lost <= 0 ? -1 : compare(rest << 1, Big_Integer(1) << lost);
  const bool outwards = mode == (negative ? kDown : kUp);
  if (mode == kEven   ? half > 0 || (half == 0 && kept.is_odd())
      : mode == kAway ? half >= 0
                      : outwards && !rest.is_zero()) {
    kept = kept + Big_Integer(1);
  }
  // The hidden bit adds one to the exponent, and so does a carry out of the fraction.
  const Big_Integer bits = kept + (Big_Integer(static_cast<u64>(unit - least)) << (precision - 1));
  const Big_Integer infinity = Big_Integer(static_cast<u64>(5 - 2 * (least + precision))) << (precision - 1);
  const bool overflows = !(bits < infinity), to_infinity = mode == kEven || mode == kAway || outwards;
  const Big_Integer result = !overflows ? bits : to_infinity ? infinity : infinity - Big_Integer(1);
  return u128{(result >> 64).low_word()} << 64 | result.low_word();
}

/// Hexadecimal numbers need no scaling: every mode is exact over the whole range, denormals and overflow included. The
/// C library drops the last bits of some denormals in the directed modes, and does not know ties away from zero.
template <class Real>
void hexadecimal_is_exact(int max_digits, int precision, int least) {
  std::mt19937_64 random(14);
  for (long i = 0; i < soak_cases(20000); ++i) {
    const bool negative = random() % 2;
    std::string text = negative ? "-0x" : "0X";
    const int digits = 1 + random() % max_digits, point = random() % (digits + 1);
    Big_Integer significand;
    for (int d = 0; d < digits; ++d) {
      if (d == point) text += '.';
      const int digit = random() % 3 ? random() % 16 : std::array{0, 8, 15}[random() % 3];
      text += "0123456789abcdefABCDEF"[digit < 10 || random() % 2 ? digit : digit + 6];
      significand = (significand << 4) + Big_Integer(digit);
    }
    const int around = std::array{0, 2 - least - precision, least}[random() % 3];
    const int power = around + static_cast<int>(random() % 300) - 150;
    text += "Pp"[random() % 2] + std::to_string(power);
    for (const u32 mode : {kEven, kZero, kDown, kUp, kAway}) {
      const u128 sign = u128{negative} << (8 * sizeof(Real) - 1);
      const u128 expected = sign | rounded(significand, power - 4 * (digits - point), negative, mode, precision, least);
      const Real value = read<Real>(text, mode);
      ASSERT_EQ(0, memcmp(&value, &expected, sizeof value)) << text << std::hex << " mode " << mode;
    }
  }
}
TEST(TextToReal, hexadecimal_singles_in_all_modes) { hexadecimal_is_exact<float>(28, 24, -149); }
TEST(TextToReal, hexadecimal_doubles_in_all_modes) { hexadecimal_is_exact<double>(40, 53, -1074); }
TEST(TextToReal, hexadecimal_quads_in_all_modes) { hexadecimal_is_exact<_Float128>(56, 113, -16494); }

/// Whole numbers need no scaling either, once they are too long for the machine's own conversion.
template <class Real>
void expect_library_value(const std::string& text) {
  constexpr std::pair<u32, int> kModes[] = {
      {kEven, FE_TONEAREST}, {kZero, FE_TOWARDZERO}, {kDown, FE_DOWNWARD}, {kUp, FE_UPWARD}};
  for (const auto& [mode, machine] : kModes) {
    fesetround(machine);
    const Real expected = Interface<Real>::library(text.c_str());
    fesetround(FE_TONEAREST);
    ASSERT_TRUE(same(read<Real>(text, mode), expected)) << text << " mode " << machine;
  }
}
TEST(TextToReal, whole_numbers_round_in_all_modes) {
  std::mt19937_64 random(15);
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 2, '-');
    text += static_cast<char>('1' + random() % 9);
    const int digits = 1 + random() % 56;
    for (int d = 1; d < digits; ++d) text += static_cast<char>(random() % 2 ? '0' + random() % 10 : '0');
    if (digits <= 15) expect_library_value<float>(text);
    if (digits >= 20 && digits <= 38) expect_library_value<double>(text);
    expect_library_value<_Float128>(text);
  }
}

TEST(TextToReal, ties_and_their_neighbours_in_every_mode) {
  struct {
    const char* text;
    u32 zero, down, up, even, away;  // last hexadecimal digits of the result's bits
  } static const rows[] = {
      {"16777217", 0x4B800000, 0x4B800000, 0x4B800001, 0x4B800000, 0x4B800001},
      {"-16777217", 0xCB800000, 0xCB800001, 0xCB800000, 0xCB800000, 0xCB800001},
      {"16777217.0000001", 0x4B800000, 0x4B800000, 0x4B800001, 0x4B800001, 0x4B800001},
      {"1E-46", 0, 0, 1, 0, 0},
      {"3.5E38", 0x7F7FFFFF, 0x7F7FFFFF, 0x7F800000, 0x7F800000, 0x7F800000},
      {"1E39", 0x7F7FFFFF, 0x7F7FFFFF, 0x7F800000, 0x7F800000, 0x7F800000},
      {"-1E1000000", 0xFF7FFFFF, 0xFF800000, 0xFF7FFFFF, 0xFF800000, 0xFF800000},
      {"3.4028235E38", 0x7F7FFFFF, 0x7F7FFFFF, 0x7F800000, 0x7F7FFFFF, 0x7F7FFFFF},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.zero, std::bit_cast<u32>(read<float>(row.text, kZero))) << row.text;
    EXPECT_EQ(row.down, std::bit_cast<u32>(read<float>(row.text, kDown))) << row.text;
    EXPECT_EQ(row.up, std::bit_cast<u32>(read<float>(row.text, kUp))) << row.text;
    EXPECT_EQ(row.even, std::bit_cast<u32>(read<float>(row.text, kEven))) << row.text;
    EXPECT_EQ(row.away, std::bit_cast<u32>(read<float>(row.text, kAway))) << row.text;
    EXPECT_EQ(row.away, std::bit_cast<u32>(read<float>(row.text, 0))) << row.text;
    EXPECT_EQ(row.even, std::bit_cast<u32>(read<float>(row.text, CVT_ROUND_UP))) << row.text;  // not marked valid
    EXPECT_EQ(row.zero, std::bit_cast<u32>(read<float>(row.text, CVT_ROUND_ZERO))) << row.text;
  }
  // (2^53 + 1) * 2^12: a tie in 20 digits. The machine's own conversions, up to 19 digits, know only nearest.
  EXPECT_EQ(0x1p65, read<double>("36893488147419107328", kEven));
  EXPECT_EQ(0x1.0000000000001p65, read<double>("36893488147419107328", kAway));
  EXPECT_EQ(0x1.0000000000001p65, read<double>("36893488147419107328.0", 0));
  EXPECT_EQ(0x1p53, read<double>("9007199254740993", kUp));
  // 2^113 + 1 in binary128
  EXPECT_TRUE(read<_Float128>("10384593717069655257060992658440193", kEven) == 0x1p113);
  EXPECT_TRUE(read<_Float128>("10384593717069655257060992658440193", kAway) == static_cast<_Float128>(0x1p113) + 2);
}

TEST(TextToReal, digits_beyond_the_kept_ones_only_say_that_there_is_more) {
  // (2^53 + 1) * 2^72 in 38 digits and (2^113 + 1) * 2^75 in 57: ties that fill all that is kept
  const std::string tie = "42535295865117312655288308798616240128", zeros(40, '0');
  EXPECT_EQ(0x1p125, read<double>(tie + "." + zeros));
  EXPECT_EQ(0x1.0000000000001p125, read<double>(tie + "." + zeros + "1"));
  EXPECT_EQ(0x1.0000000000001p125, read<double>(tie + "." + zeros + "10"));
  EXPECT_EQ(0x1.0000000000001p125, read<double>(tie + zeros + "1E-41"));
  EXPECT_EQ(0x1p24f, read<float>("16777217." + zeros));
  EXPECT_EQ(0x1.000002p24f, read<float>("16777217." + zeros + "000001"));
  const std::string quad_tie = "392318858461667547739736838950479188785329078236163866624";
  EXPECT_TRUE(read<_Float128>(quad_tie + "." + zeros) == 0x1p188);
  EXPECT_TRUE(read<_Float128>(quad_tie + "." + zeros + "1") ==
              strtof128("0x1.0000000000000000000000000001p188", nullptr));
  const std::string ones(100000, '1');
  EXPECT_EQ(strtod(("0." + ones).c_str(), nullptr), read<double>("0." + ones));
  EXPECT_EQ(1.0, read<double>("0." + std::string(500, '0') + "1E501"));
}

TEST(TextToReal, flush_takes_denormals_only) {
  struct {
    const char* text;
    u64 ext;
    float value;
    int status;
  } static const rows[] = {{"0x1P-127", 4, 0x1p-127f, 0},
                           {"-0x1P-127", CVT_X_FLUSH, -0.0f, 1},
                           {"0x1P-126", CVT_X_FLUSH, 0x1p-126f, 0},
                           {"0x1.FFFFFFFP-127", CVT_X_FLUSH, 0x1p-126f, 0}};
  int status;
  for (const auto& row : rows) {
    const float value = read<float>(row.text, kEven | u32{CVT_M_TEXT_REPORT_UNDERFLOW}, &status, 0, 0, row.ext);
    EXPECT_TRUE(same(row.value, value)) << row.text;
    EXPECT_EQ(row.status, status) << row.text;
  }
  EXPECT_EQ(0.0, cvtas_a_to_t("1E-310", 6, kEven | u32{CVT_M_TEXT_FLUSH}, 0, 0, nullptr, &status));
  EXPECT_EQ(0, status);
}

TEST(TextToReal, result_tables_hold_the_limits) {
  const auto pairs = [](const auto* at, const auto& values) {
    for (const auto value : values) {
      EXPECT_EQ(0, memcmp(at++, &value, sizeof value));
      const auto negative = -value;
      EXPECT_EQ(0, memcmp(at++, &negative, sizeof value));
    }
  };
  using S = std::numeric_limits<float>;
  using T = std::numeric_limits<double>;
  pairs(cvtas_globals_s, std::array{0.0f, S::quiet_NaN(), S::infinity(), S::denorm_min(), S::min() - S::denorm_min(),
                                    S::min(), S::max()});
  EXPECT_EQ(0u, cvtas_globals_s[14] | cvtas_globals_s[15]);
  pairs(cvtas_globals_t, std::array{0.0, T::quiet_NaN(), T::infinity()});
  const double between[] = {0x1p-53, std::nextafter(S::max() + 0x1p103, 0), 0x1.ffffffp-127, S::denorm_min()};
  EXPECT_EQ(0, memcmp(cvtas_globals_t + 6, between, sizeof between));
  pairs(cvtas_globals_t + 10,
        std::array{T::denorm_min(), T::min() - T::denorm_min(), 2 * T::min() - T::denorm_min(), T::max()});
  const auto quad = [](const char* text) { return strtof128(text, nullptr); };
  pairs(cvtas_globals_x, std::array{quad("0"), quad("nan"), quad("inf"), quad("0x1p-16494"),
                                    quad("0x0.ffffffffffffffffffffffffffffp-16382"), quad("0x1p-16382"),
                                    quad("0x1.ffffffffffffffffffffffffffffp16383")});
}

TEST(TextToReal, nothing_outside_the_field_is_read_and_no_text_does_harm) {
  std::mt19937_64 random(16);
  const std::string alphabet = " \t0011123456789..,_+-EeDdQqXxPpInfityNaN()aF";
  for (int i = 0; i < 300000; ++i) {
    std::string text(random() % 30, ' ');
    for (char& c : text) c = random() % 40 ? alphabet[random() % alphabet.size()] : static_cast<char>(random());
    const u32 options = static_cast<u32>(random()) & ~u32{CVT_M_TEXT_OWN_POINT};
    const auto copy = exact(text);
    const i32 length = static_cast<i32>(text.size());
    auto check = [&](auto engine) {
      char* end = nullptr;
      i32 status = 0;
      (void)engine(copy.get(), length, options, static_cast<i32>(random()), static_cast<i32>(random()), &end, &status);
      ASSERT_TRUE(end >= copy.get() && end <= copy.get() + length) << text;
    };
    check(cvtas_a_to_s);
    check(cvtas_a_to_t);
    check(cvtas_a_to_x);
  }
}

template <class Real>
constexpr auto kWriter = cvt_ieee_t_to_text_ex;
template <>
constexpr auto kWriter<float> = cvt_ieee_s_to_text_ex;
template <>
constexpr auto kWriter<_Float128> = cvt_ieee_x_to_text_ex;

/// Writes random values of all magnitudes, denormals among them, and reads them back. Returns how many came back
/// changed; none may be further off than its neighbour.
template <class Real>
int changed_by_a_round_trip(int count, u32 form, int digits, int width) {
  std::mt19937_64 random(17);
  int changed = 0;
  for (int i = 0; i < count; ++i) {
    Real value;
    do {
      u64 words[2] = {random(), random()};
      memcpy(&value, reinterpret_cast<char*>(words) + 16 - sizeof value, sizeof value);
    } while (!(value - value == 0));
    char field[64];
    i32 length = 0;
    EXPECT_EQ(0, kWriter<Real>(reinterpret_cast<const typename Interface<Real>::Result*>(&value), width, 0, digits, 0,
                               5, kEven | form | CVT_M_EXPONENT_GIVEN, field, 4, &length));
    const Real back = read<Real>(std::string(field, width));
    EXPECT_LE(static_cast<i64>(distance(value, back)), 1) << std::string(field, width);
    changed += !same(value, back);
  }
  return changed;
}

TEST(TextToReal, written_then_read_gives_it_back) {
  EXPECT_EQ(0, changed_by_a_round_trip<float>(60000, CVT_M_E_FORM, 9, 20));
  EXPECT_LE(changed_by_a_round_trip<double>(60000, CVT_M_E_FORM, 17, 30), 60);  // the reader is not always exact
  EXPECT_LE(changed_by_a_round_trip<_Float128>(30000, CVT_M_E_FORM, 36, 50), 10);
  constexpr u32 kHexForm = CVT_M_ES_FORM | CVT_M_HEX_FORM | CVT_M_HEX_UPPER;
  EXPECT_EQ(0, changed_by_a_round_trip<float>(20000, kHexForm, 5, 30));
  EXPECT_EQ(0, changed_by_a_round_trip<double>(20000, kHexForm, 13, 40));
  EXPECT_EQ(0, changed_by_a_round_trip<_Float128>(20000, kHexForm, 28, 50));
}

}  // namespace
