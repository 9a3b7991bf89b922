// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The field builders: random fields against Fortran's rules applied to printf's digits, the short cut against the
// builder, known fields byte for byte where these rules say nothing, and any arguments without a write outside the
// field.
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr u32 kHarmless = 0x8;  // an option bit without a meaning, which keeps the short cut out
constexpr char kGuard = '\x7f';

struct Arguments {
  i32 w, k, d, e;
  u32 options;
  u64 ext = CVT_X_NONE;
  i32 limit = 0;
};

struct Built {
  std::string text;
  int status;
  i32 length;
  bool operator==(const Built&) const = default;
};

int build(const float* v, const Arguments& a, char* dst, i32* n) {
  return cvt_ieee_s_to_text_ex(v, a.w, a.k, a.d, a.limit, a.e, a.options, dst, a.ext, n);
}
int build(const double* v, const Arguments& a, char* dst, i32* n) {
  return cvt_ieee_t_to_text_ex(v, a.w, a.k, a.d, a.limit, a.e, a.options, dst, a.ext, n);
}
int build(const __float128* v, const Arguments& a, char* dst, i32* n) {
  Cvt_Quad quad;
  memcpy(&quad, v, sizeof quad);
  return cvt_ieee_x_to_text_ex(&quad, a.w, a.k, a.d, a.limit, a.e, a.options, dst, a.ext, n);
}

/// Builds a field between guard bytes.
template <class Real>
Built field(Real value, const Arguments& a) {
  const int size = std::max(a.w, 0);
  static std::string space;
  space.assign(size + 64, kGuard);
  i32 length = -1;
  const int status = build(&value, a, space.data() + 32, &length);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(space[i], kGuard);
    EXPECT_EQ(space[32 + size + i], kGuard);
  }
  return {space.substr(32, size), status, length};
}

std::string describe(double value, const Arguments& a) {
  char text[160];
  snprintf(text, sizeof text, "%a w=%d k=%d d=%d e=%d options=%#x ext=%#llx", value, a.w, a.k, a.d, a.e, a.options,
           static_cast<unsigned long long>(a.ext));
  return text;
}

// The oracle. Numbers are cut from printf's text; k moves the point.

std::string stars(int w) { return std::string(w, '*'); }

/// Right-justifies; a zero before the point goes when there is no room for it.
std::string justify(const std::string& sign, const std::string& body, bool zero_is_optional, int w) {
  std::string text = sign + body;
  if (static_cast<int>(text.size()) > w && zero_is_optional && body[0] == '0') text = sign + body.substr(1);
  if (static_cast<int>(text.size()) > w) return stars(w);
  return std::string(w - text.size(), ' ') + text;
}

/// |value| * 10^k with d decimals.
std::string scaled_fixed(double value, int k, int d) {
  char text[700];
  snprintf(text, sizeof text, "%.*f", d + k, fabs(value));
  std::string digits(text);
  const size_t point = std::min(digits.find('.'), digits.size());
  std::string whole = digits.substr(0, point), behind = point < digits.size() ? digits.substr(point + 1) : "";
  for (; k > 0; --k) {
    whole += behind[0];
    behind.erase(0, 1);
  }
  for (; k < 0; ++k) {
    behind.insert(0, 1, whole.empty() ? '0' : whole.back());
    if (!whole.empty()) whole.pop_back();
  }
  whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
  return (whole.empty() ? "0" : whole) + '.' + behind;
}

std::string sign_of(double value, const std::string& body, bool plus) {
  const bool zero = body.find_first_of("123456789") > std::min(body.find('E'), body.size());
  if (value < 0) return zero ? "" : "-";
  return plus ? "+" : "";
}

std::string f_oracle(double value, const Arguments& a) {
  const std::string body = scaled_fixed(value, a.k, a.d);
  return justify(sign_of(value, body, (a.options & CVT_M_FORCE_PLUS) != 0), body, a.d > 0, a.w);
}

/// Exponent field for an exponent; empty if there is no room for it.
std::string exponent_text(int exponent, const Arguments& a) {
  char text[32];
  const int magnitude = abs(exponent), digits = magnitude > 99 ? 3 : magnitude > 9 ? 2 : 1;
  const char sign = exponent < 0 ? '-' : '+';
  if ((a.options & CVT_M_EXPONENT_GIVEN) != 0 && a.e > 0) {
    if (digits > a.e) return "";
    snprintf(text, sizeof text, "E%c%0*d", sign, std::min(a.e, 9), magnitude);
  } else if (a.options & CVT_M_EXPONENT_GIVEN) {
    snprintf(text, sizeof text, "E%c%d", sign, magnitude);
  } else if (a.e == 0 && digits == 3) {
    snprintf(text, sizeof text, "%c%d", sign, magnitude);
  } else {
    snprintf(text, sizeof text, "E%c%0*d", sign, std::clamp(a.e, 2, 9), magnitude);
  }
  return text;
}

/// Significant digits and the exponent of d1.d2d3...
std::string significant(double value, int count, int* exponent) {
  if (count == 0) return *exponent = -1, "";
  char text[64];
  snprintf(text, sizeof text, "%.*e", count - 1, fabs(value));
  *exponent = value == 0 ? -1 : atoi(strchr(text, 'e') + 1);
  std::string digits(1, text[0]);
  if (count > 1) digits.append(text + 2, count - 1);
  return digits;
}

std::string e_oracle(double value, const Arguments& a, int k) {
  if (k <= -a.d || k >= a.d + 2) return stars(a.w);
  if (value == 0) k = 0;
  int exponent;
  const std::string digits = significant(value, k > 0 ? a.d + 1 : a.d + k, &exponent);
  const std::string tail = exponent_text(exponent + 1 - k, a);
  if (tail.empty()) return stars(a.w);
  const std::string body = k > 0 ? digits.substr(0, k) + '.' + digits.substr(k) : "0." + std::string(-k, '0') + digits;
  return justify(sign_of(value, body, (a.options & CVT_M_FORCE_PLUS) != 0), body + tail, a.d > 0 && k <= 0, a.w);
}

std::string en_oracle(double value, const Arguments& a) {
  int exponent = 0;
  std::string body = "0." + std::string(a.d, '0');
  if (value != 0) {
    significant(value, 17, &exponent);
    exponent = static_cast<int>(floor(exponent / 3.0)) * 3;
    int leading;
    significant(value, 17, &leading);
    // the decimals of value / 10^exponent are significant digits of the value
    std::string digits = significant(value, leading - exponent + 1 + a.d, &leading);
    int whole = leading - exponent + 1;
    if (whole > 3) {  // rounded up to 1000
      exponent += 3;
      whole = 1;
    }
    digits.append(std::max<int>(whole + a.d - digits.size(), 0), '0');
    body = digits.substr(0, whole) + '.' + digits.substr(whole, a.d);
  }
  const std::string tail = exponent_text(exponent, a);
  if (tail.empty()) return stars(a.w);
  return justify(sign_of(value, body, (a.options & CVT_M_FORCE_PLUS) != 0), body + tail, false, a.w);
}

std::string g_oracle(double value, const Arguments& a) {
  const int behind = (a.options & CVT_M_EXPONENT_GIVEN) != 0 && a.e == 0 ? -1 : a.e != 0 ? a.e + 2 : 4;
  Arguments f = a;
  f.k = 0;
  if (value == 0) {
    if ((a.options & (CVT_M_G_STANDARD | CVT_M_G_ZERO_AS_F)) == 0) return e_oracle(value, a, a.k);
    if (a.d == 0) return stars(a.w);
    f.d = a.d - 1;
  } else {
    const std::string body = scaled_fixed(value, 0, a.d);
    const size_t point = body.find('.');
    int exponent = body[0] != '0' ? static_cast<int>(point) : 1 - static_cast<int>(body.find_first_not_of('0', 2) - 1);
    if (body.find_first_of("123456789") == std::string::npos) return e_oracle(value, a, a.k);
    if ((a.ext & CVT_X_STANDARD_G0) != 0 && exponent != 0) {
      if (a.d == 0) return "";
      int e10;
      significant(value, a.d, &e10);  // by significant digits, not by decimals
      exponent = e10 + 1;
    }
    if (exponent < 0 || exponent > a.d) return e_oracle(value, a, a.k);
    f.d = a.d - exponent;
  }
  f.w = a.w - (behind < 0 ? 3 : behind);
  if (f.w < 1) return stars(a.w);
  const std::string text = f_oracle(value, f);
  return text[0] == '*' ? stars(a.w) : text + std::string(a.w - f.w, ' ');
}

class Random {
 public:
  int in(int low, int high) { return low + static_cast<int>(engine_() % static_cast<u64>(high - low + 1)); }
  u64 bits() { return engine_(); }
  double value() {
    switch (in(0, 5)) {
      case 0:
        return 0.0;
      case 1:
        return (in(0, 1) != 0 ? -1 : 1) * in(1, 99999) / 1000.0;
      case 2:
        return (in(0, 1) != 0 ? -1 : 1) * in(1, 4096) / 64.0;
      case 3:
        return (10 - in(0, 3) * pow(10, -in(0, 14))) * pow(10, in(-5, 5));
      default:
        return (in(0, 1) != 0 ? -1 : 1) * pow(10, in(-2000, 2000) / 100.0 * in(1, 15));
    }
  }

 private:
  std::mt19937_64 engine_{4711};
};

TEST(RealToText, FollowsFortransRules) {
  Random random;
  constexpr u32 kForms[] = {CVT_M_F_FORM, CVT_M_E_FORM, CVT_M_ES_FORM, CVT_M_EN_FORM, 0};
  for (long i = 0, cases = soak_cases(400000); i < cases && !HasFailure(); ++i) {
    const u32 form = kForms[i % 5];
    const double value = random.value();
    const int k = random.in(0, 3) == 0 ? random.in(0, 1) : random.in(-2, 3);
    Arguments a{random.in(2, 30), form == CVT_M_EN_FORM ? 0 : k, random.in(0, 14), 0, form | CVT_M_ROUND_GIVEN};
    if (random.in(0, 3) == 0) a.options |= CVT_M_FORCE_PLUS;
    if (form != CVT_M_F_FORM && random.in(0, 2) == 0) a.e = random.in(1, 4);
    if (form != CVT_M_F_FORM && random.in(0, 2) == 0) a.options |= CVT_M_EXPONENT_GIVEN;
    if (form == 0 && random.in(0, 1) == 0) a.options |= CVT_M_G_STANDARD;
    if (form == 0 && random.in(0, 1) == 0) a.ext |= CVT_X_STANDARD_G0;
    if (form == CVT_M_F_FORM && a.d + a.k < 0) continue;
    // Beyond 17 digits the engine does not vouch for the last one; the capacity of a G field cuts digits off, too.
    const double magnitude = log10(fabs(value) + 1e-320);
    if (form == CVT_M_F_FORM && magnitude + a.d + a.k > 15) continue;
    if (form == 0 && value != 0 && (magnitude + a.d > 15 || magnitude + a.d >= a.w - 3 || a.d == 0)) continue;
    if (form == CVT_M_EN_FORM && value == 0 && a.d == 0) continue;  // asks for a column more than it takes
    if (form == 0 && (a.options & CVT_M_EXPONENT_GIVEN) != 0 && a.e == 0 && fabs(magnitude) > 9) continue;

    const std::string expected = form == CVT_M_F_FORM    ? f_oracle(value, a)
                                 : form == CVT_M_E_FORM  ? e_oracle(value, a, a.k)
                                 : form == CVT_M_ES_FORM ? e_oracle(value, a, 1)
                                 : form == CVT_M_EN_FORM ? en_oracle(value, a)
                                                         : g_oracle(value, a);
    const Built built = field(value, a);
    EXPECT_EQ(built.text, expected) << describe(value, a);
    EXPECT_EQ(built.status, expected[0] == '*' ? CVT_FIELD_OVERFLOW : CVT_SUCCESS) << describe(value, a);
  }
}

template <class Real>
void short_cut_is_the_builder() {
  Random random;
  constexpr u64 kExt[] = {CVT_X_MINUS_ZERO, CVT_X_KEEP_ROUNDED_SIGN, CVT_X_DECIMAL_COMMA, CVT_X_STANDARD_G0,
                          CVT_X_D_GIVEN};
  for (long i = 0, cases = soak_cases(250000); i < cases && !testing::Test::HasFailure(); ++i) {
    Real value = static_cast<Real>(random.value());
    if (i % 3 == 0) {
      const u64 bits = random.bits();
      memcpy(&value, &bits, sizeof value);
    }
    Arguments a{random.in(1, 40), random.in(-1, 2), random.in(0, 20), random.in(0, 1) * random.in(0, 5),
                CVT_M_ROUND_GIVEN | static_cast<u32>(random.in(0, 7)) << 22};
    a.limit = random.in(0, 1) * random.in(0, 20);
    a.options |= static_cast<u32>(random.bits()) & (CVT_M_E_FORM | CVT_M_F_FORM | CVT_M_ES_FORM | CVT_M_D_LETTER |
                                                    CVT_M_FORCE_PLUS | CVT_M_EXPONENT_GIVEN | CVT_M_G_STANDARD);
    if (random.in(0, 1) == 0) a.options &= ~(CVT_M_E_FORM | CVT_M_ES_FORM);
    for (u64 bit : kExt) {
      if (random.in(0, 4) == 0) a.ext |= bit;
    }
    Arguments slow = a;
    slow.options |= kHarmless;
    const Built expected = field(value, slow), built = field(value, a);
    EXPECT_EQ(built.text, expected.text) << describe(static_cast<double>(value), a);
    EXPECT_TRUE(built == expected) << describe(static_cast<double>(value), a);
  }
}

TEST(RealToText, ShortCutIsTheBuilderSingle) { short_cut_is_the_builder<float>(); }
TEST(RealToText, ShortCutIsTheBuilderDouble) { short_cut_is_the_builder<double>(); }

// Any arguments: nothing outside the field, a known status, and a field that is either filled or untouched.
TEST(RealToText, AnyArgumentsStayInside) {
  Random random;
  const auto any = [&](int low, int high) -> i32 {
    constexpr i32 kExtremes[] = {std::numeric_limits<i32>::min(),     std::numeric_limits<i32>::min() + 1, -1, 0,  1,
                                 std::numeric_limits<i32>::max() - 1, std::numeric_limits<i32>::max(),     40, 99, -40};
    const int kind = random.in(0, 9);
    if (kind == 0) return kExtremes[random.in(0, 9)];
    if (kind == 1) return static_cast<i32>(random.bits());
    return random.in(low, high);
  };
  for (long i = 0, cases = soak_cases(400000); i < cases && !HasFailure(); ++i) {
    Arguments a{0, any(-5, 5), any(-1, 45), any(0, 6), static_cast<u32>(random.bits()), random.bits(), any(0, 30)};
    a.w = random.in(0, 20) == 0 ? -random.in(0, 0x7FFFFFFE) : random.in(0, 90);
    if (random.in(0, 1) == 0) a.options &= static_cast<u32>(random.bits());
    if (random.in(0, 1) == 0) a.ext &= random.bits() & random.bits();
    a.options &= ~CVT_M_LEFT_JUSTIFY;  // there the text decides the length
    const auto built_of = [&]<class Real>(Real value) {
      u64 words[2] = {random.bits(), random.bits()};
      if (random.in(0, 15) == 0) words[0] = words[1] = random.in(0, 1) != 0 ? 0x7FF0000000000000 : 0xFFFF000000000000;
      if (random.in(0, 2) != 0) memcpy(&value, words, sizeof value);
      return field(value, a);
    };
    const double value = random.value();
    const Built built = i % 3 == 0   ? built_of(static_cast<float>(value))
                        : i % 3 == 1 ? built_of(value)
                                     : built_of(static_cast<__float128>(value));
    const std::string what = describe(0, a);
    if (a.w < 1) {
      EXPECT_EQ(built.status, CVT_INVALID_LENGTH) << what;
      continue;
    }
    EXPECT_TRUE(built.status == 0 || built.status == 2 || built.status == 10 || built.status == 12 ||
                built.status == 14)
        << what << " status " << built.status;
    EXPECT_EQ(built.text.find(kGuard), std::string::npos) << what << " [" << built.text << ']';
    EXPECT_TRUE(built.length >= 1 && built.length <= a.w) << what << ' ' << built.length;
  }
}

struct Row {
  double value;
  Arguments arguments;
  const char* text;
  int status;
};

constexpr double kInfinity = HUGE_VAL, kNan = __builtin_nan("");
constexpr u32 F = CVT_M_F_FORM | CVT_M_ROUND_GIVEN, E = CVT_M_E_FORM | CVT_M_ROUND_GIVEN, Ee = E | CVT_M_EXPONENT_GIVEN,
              EN = CVT_M_EN_FORM | CVT_M_ROUND_GIVEN, ES = CVT_M_ES_FORM | CVT_M_ROUND_GIVEN, G = CVT_M_ROUND_GIVEN,
              EX = ES | CVT_M_HEX_FORM | CVT_M_HEX_UPPER | CVT_M_EXPONENT_GIVEN;

const Row kRows[] = {
    // F
    {0.996, {4, 0, 2, 0, F}, "1.00", 0},
    {0.5, {2, 0, 0, 0, F}, "0.", 0},
    {1.5, {2, 0, 0, 0, F}, "2.", 0},
    {0.5, {1, 0, 0, 0, F}, "*", 2},
    {0.0, {1, 0, 0, 0, F}, "*", 2},
    {-0.001, {5, 0, 1, 0, F}, "  0.0", 0},
    {-0.001, {5, 0, 1, 0, F, CVT_X_KEEP_ROUNDED_SIGN}, " -0.0", 0},
    {-0.001, {5, 0, 1, 0, F, CVT_X_MINUS_ZERO}, "  0.0", 0},
    {-0.0, {5, 0, 1, 0, F, CVT_X_MINUS_ZERO}, " -0.0", 0},
    {-0.0, {5, 0, 1, 0, F, CVT_X_KEEP_ROUNDED_SIGN}, "  0.0", 0},
    {-0.0, {5, 0, 1, 0, F | CVT_M_FORCE_PLUS}, "  0.0", 0},
    {0.001, {5, 0, 1, 0, F | CVT_ROUND_UP}, "  0.1", 0},
    {-0.001, {5, 0, 1, 0, F | CVT_ROUND_UP}, "  0.0", 0},
    {-0.001, {5, 0, 1, 0, F | CVT_ROUND_DOWN}, " -0.1", 0},
    {-0.5, {2, 0, 0, 0, F | CVT_ROUND_AWAY}, "**", 2},
    {123.456, {8, 0, 2, 0, F, CVT_X_DECIMAL_COMMA}, "  123,46", 0},
    {123.456, {8, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY}, "123.46  ", 0},
    {0.25, {8, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY}, "0.25    ", 0},
    {0.25, {3, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY}, ".25", 0},
    {0.25, {8, 0, 3, 0, F, CVT_X_G0}, "    .250", 0},
    {123.0, {10, 0, 1, 0, F, CVT_X_NONE, 3}, "     123.0", 0},
    {123.0, {10, 0, 1, 0, F, CVT_X_NONE, 2}, "**********", 2},
    // E and D
    {-0.0, {12, 1, 4, 0, E, CVT_X_MINUS_ZERO}, " -0.0000E+00", 0},
    {1.0e100, {10, 0, 3, 0, E}, " 0.100+101", 0},
    {1.5, {12, 0, 3, 0, E | CVT_M_D_LETTER}, "   0.150D+01", 0},
    {1.5, {12, 0, 3, 0, E | CVT_M_LEFT_JUSTIFY}, "0.150E+01   ", 0},
    {123.456, {12, -2, 3, 0, E}, "   0.001E+05", 0},
    {123.456, {12, 4, 3, 0, E}, "   1235.E-01", 0},
    {123.456, {12, -3, 3, 0, E}, "************", 2},
    {123.456, {12, 5, 3, 0, E}, "************", 2},
    {123.456, {12, -3, 3, 0, E, CVT_X_G0}, "*********   ", 2},
    // EN, ES and EX
    {1234.5, {9, 0, 3, 0, EN}, "1.234E+03", 0},
    {99.96, {9, 0, 1, 0, EN}, "100.0E+00", 0},
    {1e-300, {10, 0, 2, 0, ES}, "  1.00-300", 0},
    {1.0, {24, 0, 1, 0, EX}, "                0X8.0P-3", 0},
    {-0.0, {10, 0, 1, 0, EX}, " -0X0.0P+0", 0},
    {1.0, {10, 0, 0, 0, EX}, "   0X8.P-3", 0},
    {0x1.8cp10, {12, 0, 0, 0, EX}, "    0XC.6P+7", 0},
    {0x1.8cp10, {14, 0, 2, 3, EX}, "   0XC.60P+007", 0},
    // G
    {0.0, {12, 0, 4, 0, G | CVT_M_G_ZERO_AS_F}, "   0.000    ", 0},
    {0.0, {12, 0, 4, 0, G | CVT_M_G_ZERO_AS_F, CVT_X_LIST_G}, "      0.0000", 0},
    {0.0, {12, 0, 0, 0, G | CVT_M_G_STANDARD}, "************", 2},
    {1.0e7, {16, 0, 6, 0, G, CVT_X_LIST_G}, "    0.100000E+08", 0},
    {9999999.0, {16, 0, 6, 0, G, CVT_X_LIST_G}, "  9999999.000000", 0},
    {0.5, {16, 0, 6, 0, G, CVT_X_LIST_G}, "    0.500000E+00", 0},
    // special values
    {kInfinity, {8, 0, 2, 0, F | CVT_M_FORCE_PLUS}, "    +Inf", 12},
    {kInfinity, {9, 0, 2, 0, F | CVT_M_FORCE_PLUS}, "+Infinity", 12},
    {kInfinity, {2, 0, 0, 0, F}, "**", 12},
    {kInfinity, {10, 0, 1, 0, F | CVT_M_LEFT_JUSTIFY}, "Infinity  ", 12},
    {-kInfinity, {3, 0, 1, 0, E}, "***", 12},
    {-kInfinity, {10, 0, 1, 0, EN}, " -Infinity", 12},
    {kInfinity, {10, 0, 1, 0, G}, "  Infinity", 12},
    {kNan, {2, 0, 0, 0, F}, "**", 10},
    {kNan, {5, 0, 2, 0, E | CVT_M_FORCE_PLUS}, "  NaN", 10},
    {-kNan, {5, 0, 2, 0, G}, "  NaN", 10},
    {kNan, {5, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY}, "NaN  ", 10},
};

template <class Real>
void expect_rows() {
  for (const Row& row : kRows) {
    if (sizeof(Real) == 4 && row.value != static_cast<double>(static_cast<float>(row.value))) continue;
    const Built built = field(static_cast<Real>(row.value), row.arguments);
    EXPECT_EQ(built.text, row.text) << describe(row.value, row.arguments);
    EXPECT_EQ(built.status, row.status) << describe(row.value, row.arguments);
  }
}

TEST(RealToText, KnownFieldsSingle) { expect_rows<float>(); }
TEST(RealToText, KnownFieldsDouble) { expect_rows<double>(); }
TEST(RealToText, KnownFieldsQuad) {
  expect_rows<__float128>();
  const __float128 big = strtof128("1e4000", nullptr);  // an exponent of four digits
  EXPECT_EQ(field(big, {20, 0, 3, 0, E}).text, std::string(20, '*'));
  EXPECT_EQ(field(big, {20, 0, 3, 4, E}).text, "         0.100E+4001");
  EXPECT_EQ(field(big, {20, 0, 3, 4, Ee}).text, "         0.100E+4001");
}

TEST(RealToText, MinimalForms) {
  constexpr u64 kW0 = u64{CVT_X_NONE} | CVT_X_WIDTH_COMPUTED, kG0 = kW0 | CVT_X_G0, kStandard = kG0 | CVT_X_STANDARD_G0;
  const struct {
    Row row;
    int length;
  } rows[] = {
      {{0.25, {12, 0, 3, 0, F, kW0}, "        .250", 0}, 12},
      {{1e9, {12, 0, 3, 0, F, kW0}, "*********   ", 2}, 12},  // 2 + 7
      {{1e9, {9, 0, 3, 0, F, kW0}, "*********", 2}, 9},       // not below the width
      {{1e9, {12, 0, 3, 0, F, kW0 | CVT_X_STANDARD_G0 | CVT_X_W_ZERO}, "************", 2}, 12},
      {{1.5, {12, 0, 3, 0, E, kW0}, "     .150+01", 0}, 12},  // the letter is left out
      {{1.5, {12, 0, 3, 0, E, kW0 | CVT_X_STANDARD_G0}, "    .150E+01", 0}, 12},
      {{kInfinity, {12, 0, 3, 0, ES, kW0}, "         Inf", 12}, 3},
      {{kNan, {12, 0, 3, 0, ES, kW0}, "         NaN", 10}, 3},
      {{kNan, {2, 0, 3, 0, ES, kW0}, "**", 14}, 2},
      {{0.5, {12, 0, 4, 0, G, kStandard | CVT_X_D_GIVEN}, "    .5000   ", 0}, 9},
      {{1e-10, {12, 0, 4, 0, G, kStandard | CVT_X_D_GIVEN}, "    .1000E-9", 0}, 12},
      {{1.5e-10, {14, 0, 9, 0, G, kStandard}, "        .15E-9", 0}, 14},  // no more digits than tell the value
      {{1.0 / 3e10, {14, 0, 7, 0, G, kStandard}, "  .3333333E-10", 0}, 14},
      {{123456.0, {12, 0, 4, 0, G, kG0}, "   .1235E+06", 0}, 12},
  };
  for (const auto& [row, length] : rows) {
    EXPECT_TRUE(field(row.value, row.arguments) == (Built{row.text, row.status, length}))
        << describe(row.value, row.arguments) << field(row.value, row.arguments).text;
  }
}

TEST(RealToText, MinimalFieldTakesWhatItNeeds) {
  char space[32];
  memset(space, '#', sizeof space);
  const double value = -1.25e100;
  i32 length = 0;
  EXPECT_EQ(build(&value, {11, 1, 4, 3, Ee | CVT_M_LEFT_JUSTIFY}, space, &length), 0);
  EXPECT_EQ(std::string(space, 13), "-1.2500E+100#");
  EXPECT_EQ(length, 12);
}

}  // namespace
