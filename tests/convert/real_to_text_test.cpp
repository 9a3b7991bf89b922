// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The field builders: known fields byte for byte, random fields against Fortran's rules applied to printf's digits,
// and any arguments without a write outside the field.
#include "support/exact_decimal.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <random>
#include <string>

namespace {

constexpr u32 kRounded = CVT_M_ROUND_GIVEN;
constexpr u32 kEx = 0x1C40 | kRounded;
constexpr u32 kHarmless = 0x8;  // an option bit without a meaning, which keeps the short cut out

int build(const float* v, i32 w, i32 k, i32 d, i32 limit, i32 e, u32 o, char* dst, u64 ext, i32* n) {
  return cvt_ieee_s_to_text_ex(v, w, k, d, limit, e, o, dst, ext, n);
}
int build(const double* v, i32 w, i32 k, i32 d, i32 limit, i32 e, u32 o, char* dst, u64 ext, i32* n) {
  return cvt_ieee_t_to_text_ex(v, w, k, d, limit, e, o, dst, ext, n);
}
int build(const __float128* v, i32 w, i32 k, i32 d, i32 limit, i32 e, u32 o, char* dst, u64 ext, i32* n) {
  Cvt_Quad quad;
  memcpy(&quad, v, sizeof quad);
  return cvt_ieee_x_to_text_ex(&quad, w, k, d, limit, e, o, dst, ext, n);
}

struct Built {
  std::string text;
  int status, length;
};

/// Builds a field between guard bytes.
template <class Real>
Built field(Real value, int w, int k, int d, int e, u32 options, u64 ext = CVT_X_NONE, int limit = 0) {
  constexpr char kGuard = '\x7f';
  const int size = w < 0 ? 0 : w;
  std::string space(size + 64, kGuard);
  i32 length = -1;
  const int status = build(&value, w, k, d, limit, e, options, space.data() + 32, ext, &length);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(space[i], kGuard);
    EXPECT_EQ(space[size + 32 + i], kGuard);
  }
  return {space.substr(32, size), status, length};
}

struct Row {
  double value;
  int w, k, d, e;
  u32 options;
  u64 ext;
  const char* text;
  int status;
};

constexpr double kInfinity = HUGE_VAL, kNan = __builtin_nan("");
constexpr u32 F = CVT_M_F_FORM | kRounded, E = CVT_M_E_FORM | kRounded, EN = CVT_M_EN_FORM | kRounded,
              ES = CVT_M_ES_FORM | kRounded, G = kRounded, GS = kRounded | CVT_M_G_STANDARD;
constexpr u32 Ee = E | CVT_M_EXPONENT_GIVEN;

const Row kRows[] = {
    // F
    {0.996, 4, 0, 2, 0, F, 0, "1.00", 0},
    {0.5, 2, 0, 0, 0, F, 0, "0.", 0},
    {1.5, 2, 0, 0, 0, F, 0, "2.", 0},
    {0.5, 1, 0, 0, 0, F, 0, "*", 2},
    {0.0, 1, 0, 0, 0, F, 0, "*", 2},
    {-0.001, 5, 0, 1, 0, F, 0, "  0.0", 0},
    {-0.001, 5, 0, 1, 0, F, CVT_X_KEEP_ROUNDED_SIGN, " -0.0", 0},
    {-0.001, 5, 0, 1, 0, F, CVT_X_MINUS_ZERO, "  0.0", 0},
    {-0.0, 5, 0, 1, 0, F, CVT_X_MINUS_ZERO, " -0.0", 0},
    {-0.0, 5, 0, 1, 0, F, CVT_X_KEEP_ROUNDED_SIGN, "  0.0", 0},
    {-0.0, 5, 0, 1, 0, F | CVT_M_FORCE_PLUS, 0, "  0.0", 0},
    {0.0, 5, 0, 1, 0, F | CVT_M_FORCE_PLUS, 0, " +0.0", 0},
    {0.001, 5, 0, 1, 0, F | CVT_ROUND_UP, 0, "  0.1", 0},
    {-0.001, 5, 0, 1, 0, F | CVT_ROUND_UP, 0, "  0.0", 0},
    {-0.001, 5, 0, 1, 0, F | CVT_ROUND_DOWN, 0, " -0.1", 0},
    {1.5, 6, 0, 2, 0, F | CVT_ROUND_UP, 0, "  1.50", 0},
    {0.5, 3, 0, 2, 0, F, 0, ".50", 0},
    {-0.5, 4, 0, 2, 0, F, 0, "-.50", 0},
    {-0.5, 3, 0, 2, 0, F, 0, "***", 2},
    {-0.5, 2, 0, 0, 0, F | CVT_ROUND_AWAY, 0, "**", 2},
    {0.25, 1, 0, 0, 0, F, 0, "*", 2},
    {123.456, 8, 0, 2, 0, F, 0, "  123.46", 0},
    {123.456, 8, 0, 2, 0, F, CVT_X_DECIMAL_COMMA, "  123,46", 0},
    {123.456, 8, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY, 0, "123.46  ", 0},
    {0.25, 8, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY, 0, "0.25    ", 0},
    {123.456, 8, 2, 2, 0, F, 0, "12345.60", 0},
    {123.456, 8, -2, 2, 0, F, 0, "    1.23", 0},
    {0.0001234, 10, 0, 6, 0, F, 0, "  0.000123", 0},
    {0.25, 8, 0, 3, 0, F, CVT_X_G0, "    .250", 0},
    {1e22, 30, 0, 2, 0, F, 0, "    10000000000000000000000.00", 0},
    {1e9, 8, 0, 2, 0, F, 0, "********", 2},
    // E and D
    {0.0, 12, 0, 4, 0, E, 0, "  0.0000E+00", 0},
    {-0.0, 12, 1, 4, 0, E, CVT_X_MINUS_ZERO, " -0.0000E+00", 0},
    {1.0e100, 10, 0, 3, 0, E, 0, " 0.100+101", 0},
    {1.0e100, 9, 0, 3, 0, E, 0, "0.100+101", 0},
    {1.0e100, 8, 0, 3, 0, E, 0, ".100+101", 0},
    {1.0e100, 7, 0, 3, 0, E, 0, "*******", 2},
    {1.0e-99, 12, 0, 3, 0, E, 0, "   0.100E-98", 0},
    {1.0e100, 12, 0, 3, 3, Ee, 0, "  0.100E+101", 0},
    {1.0e100, 12, 0, 3, 2, Ee, 0, "************", 2},
    {1.0e10, 12, 0, 3, 0, Ee, 0, "   0.100E+11", 0},
    {1.0, 12, 0, 3, 0, Ee, 0, "    0.100E+1", 0},
    {1.0, 12, 0, 3, 3, E, 0, "  0.100E+001", 0},
    {1.5, 12, 0, 3, 0, E | CVT_M_D_LETTER, 0, "   0.150D+01", 0},
    {1.5, 12, 0, 3, 0, E | CVT_M_FORCE_PLUS, 0, "  +0.150E+01", 0},
    {-1.5, 9, 0, 3, 0, E, 0, "-.150E+01", 0},
    {-1.5, 8, 0, 3, 0, E, 0, "********", 2},
    {1.5, 12, 0, 3, 0, E | CVT_M_LEFT_JUSTIFY, 0, "0.150E+01   ", 0},
    {123.456, 12, 2, 3, 0, E, 0, "   12.35E+01", 0},
    {123.456, 12, -1, 3, 0, E, 0, "   0.012E+04", 0},
    {123.456, 12, -2, 3, 0, E, 0, "   0.001E+05", 0},
    {123.456, 12, 4, 3, 0, E, 0, "   1235.E-01", 0},
    {123.456, 12, -3, 3, 0, E, 0, "************", 2},
    {123.456, 12, 5, 3, 0, E, 0, "************", 2},
    {123.456, 12, -3, 3, 0, E, CVT_X_G0, "*********   ", 2},
    {1.0, 12, 0, 0, 0, E, 0, "************", 2},
    {9.9996, 12, 0, 4, 0, E, 0, "  0.1000E+02", 0},
    // EN and ES
    {1234.5, 9, 0, 3, 0, EN, 0, "1.234E+03", 0},
    {99.96, 9, 0, 1, 0, EN, 0, "100.0E+00", 0},
    {9.996, 9, 0, 2, 0, EN, 0, "10.00E+00", 0},
    {999.96, 9, 0, 1, 0, EN, 0, "  1.0E+03", 0},
    {0.0012, 10, 0, 2, 0, EN, 0, "  1.20E-03", 0},
    {0.012, 10, 0, 2, 0, EN, 0, " 12.00E-03", 0},
    {0.12, 10, 0, 2, 0, EN, 0, "120.00E-03", 0},
    {0.0, 10, 0, 2, 0, EN, 0, "  0.00E+00", 0},
    {0.0, 10, 0, 2, 0, ES, 0, "  0.00E+00", 0},
    {123.456, 10, 0, 2, 0, ES, 0, "  1.23E+02", 0},
    {123.456, 10, 3, 0, 0, ES, 0, "    1.E+02", 0},
    {1e-300, 10, 0, 2, 0, ES, 0, "  1.00-300", 0},
    // EX
    {1.0, 24, 0, 1, 0, kEx, 0, "                0X8.0P-3", 0},
    {0.0, 10, 0, 1, 0, kEx, 0, "  0X0.0P+0", 0},
    {-0.0, 10, 0, 1, 0, kEx, 0, " -0X0.0P+0", 0},
    {1.0, 10, 0, 0, 0, kEx, 0, "   0X8.P-3", 0},
    {0x1.8cp10, 12, 0, 0, 0, kEx, 0, "    0XC.6P+7", 0},
    {0x1.8cp10, 14, 0, 2, 3, kEx, 0, "   0XC.60P+007", 0},
    // G
    {0.0, 12, 0, 4, 0, G, 0, "  0.0000E+00", 0},
    {0.0, 12, 0, 4, 0, GS, 0, "   0.000    ", 0},
    {0.0, 12, 0, 4, 0, G | CVT_M_G_ZERO_AS_F, 0, "   0.000    ", 0},
    {0.0, 12, 0, 4, 0, G | CVT_M_G_ZERO_AS_F, CVT_X_LIST_G, "      0.0000", 0},
    {0.0, 12, 0, 0, 0, GS, 0, "************", 2},
    {12.5, 12, 0, 4, 0, G, 0, "   12.50    ", 0},
    {12.5, 14, 0, 4, 3, G, 0, "    12.50     ", 0},
    {0.1, 12, 0, 4, 0, G, 0, "  0.1000    ", 0},
    {0.01, 12, 0, 4, 0, G, 0, "  0.1000E-01", 0},
    {12345.0, 12, 0, 4, 0, G, 0, "  0.1234E+05", 0},
    {1234.0, 12, 2, 4, 0, G, 0, "   1234.    ", 0},
    {9.96, 10, 0, 2, 0, G, CVT_X_STANDARD_G0, "   10.    ", 0},
    {1.0e7, 16, 0, 6, 0, G, CVT_X_LIST_G, "    0.100000E+08", 0},
    {9999999.0, 16, 0, 6, 0, G, CVT_X_LIST_G, "  9999999.000000", 0},
    {0.5, 16, 0, 6, 0, G, CVT_X_LIST_G, "    0.500000E+00", 0},
    // special values
    {kInfinity, 8, 0, 2, 0, F | CVT_M_FORCE_PLUS, 0, "    +Inf", 12},
    {kInfinity, 9, 0, 2, 0, F | CVT_M_FORCE_PLUS, 0, "+Infinity", 12},
    {kInfinity, 2, 0, 0, 0, F, 0, "**", 12},
    {-kInfinity, 3, 0, 1, 0, E, 0, "***", 12},
    {-kInfinity, 10, 0, 1, 0, E, 0, " -Infinity", 12},
    {-kInfinity, 10, 0, 1, 0, EN, 0, " -Infinity", 12},
    {kInfinity, 10, 0, 1, 0, G, 0, "  Infinity", 12},
    {kInfinity, 10, 0, 1, 0, F | CVT_M_LEFT_JUSTIFY, 0, "Infinity  ", 12},
    {kNan, 2, 0, 0, 0, F, 0, "**", 10},
    {kNan, 5, 0, 2, 0, E | CVT_M_FORCE_PLUS, 0, "  NaN", 10},
    {-kNan, 5, 0, 2, 0, G, 0, "  NaN", 10},
    {kNan, 5, 0, 2, 0, F | CVT_M_LEFT_JUSTIFY, 0, "NaN  ", 10},
    {1.0, 0, 0, 0, 0, F, 0, "", 6},
    {1.0, -5, 0, 0, 0, E, 0, "", 6},
};

template <class Real>
void expect_rows() {
  for (const Row& row : kRows) {
    if (sizeof(Real) == 4 && row.value != static_cast<double>(static_cast<float>(row.value))) continue;
    for (u32 harmless : {u32{0}, kHarmless}) {
      const Built built =
          field(static_cast<Real>(row.value), row.w, row.k, row.d, row.e, row.options | harmless, row.ext | CVT_X_NONE);
      EXPECT_EQ(built.text, row.text) << row.value << " w=" << row.w << " k=" << row.k << " d=" << row.d;
      EXPECT_EQ(built.status, row.status) << row.value << " w=" << row.w << " d=" << row.d;
    }
  }
}

TEST(RealToText, KnownFieldsSingle) { expect_rows<float>(); }
TEST(RealToText, KnownFieldsDouble) { expect_rows<double>(); }
TEST(RealToText, KnownFieldsQuad) { expect_rows<__float128>(); }

TEST(RealToText, MinimalForms) {
  constexpr u64 kW0 = CVT_X_WIDTH_COMPUTED, kG0 = kW0 | CVT_X_G0, kStandard = kG0 | CVT_X_STANDARD_G0;
  const struct {
    double value;
    int w, d, e;
    u32 options;
    u64 ext;
    const char* text;
    int status, length;
  } rows[] = {
      {0.25, 12, 3, 0, F, kW0, "        .250", 0, 12},
      {1e9, 12, 3, 0, F, kW0, "*********   ", 2, 12},  // 2 + 7
      {1e9, 9, 3, 0, F, kW0, "*********", 2, 9},       // not below the width
      {1e9, 12, 3, 0, F, kW0 | CVT_X_STANDARD_G0 | CVT_X_W_ZERO, "************", 2, 12},
      {1.5, 12, 3, 0, E, kW0, "     .150+01", 0, 12},  // the letter is left out
      {1.5, 12, 3, 0, E, kW0 | CVT_X_STANDARD_G0, "    .150E+01", 0, 12},
      {1.5, 12, 3, 0, ES, kW0, "    1.500+00", 0, 12},
      {kInfinity, 12, 3, 0, ES, kW0, "         Inf", 12, 3},
      {kNan, 12, 3, 0, ES, kW0, "         NaN", 10, 3},
      {kNan, 2, 3, 0, ES, kW0, "**", 14, 2},
      {0.5, 12, 4, 0, G, kStandard | CVT_X_D_GIVEN, "    .5000   ", 0, 9},
      {1e-10, 12, 4, 0, G, kStandard | CVT_X_D_GIVEN, "    .1000E-9", 0, 12},
      {1.2345e-10, 12, 4, 0, G, kStandard, "    .1234E-9", 0, 12},  // 1.2345e-10 lies below the tie
      {1.5e-10, 14, 9, 0, G, kStandard, "        .15E-9", 0, 14},   // no more digits than tell the value
      {2e-10, 14, 9, 0, G, kStandard, "         .2E-9", 0, 14},
      {1.0 / 3e10, 14, 7, 0, G, kStandard, "  .3333333E-10", 0, 14},
      {123456.0, 12, 4, 0, G, kG0, "   .1235E+06", 0, 12},
  };
  for (const auto& row : rows) {
    const Built built = field(row.value, row.w, 0, row.d, row.e, row.options, row.ext | CVT_X_NONE);
    EXPECT_EQ(built.text, row.text) << row.value << ' ' << row.w;
    EXPECT_EQ(built.status, row.status) << row.value << ' ' << row.w;
    EXPECT_EQ(built.length, row.length) << row.value << ' ' << row.w;
  }
}

TEST(RealToText, MinimalFieldTakesWhatItNeeds) {
  char space[32];
  memset(space, '#', sizeof space);
  const double value = -1.25e100;
  i32 length = 0;
  EXPECT_EQ(cvt_ieee_t_to_text_ex(&value, 11, 1, 4, 0, 3, E | CVT_M_EXPONENT_GIVEN | CVT_M_LEFT_JUSTIFY, space,
                                  CVT_X_NONE, &length),
            0);
  EXPECT_EQ(std::string(space, 13), "-1.2500E+100#");
  EXPECT_EQ(length, 12);
}

TEST(RealToText, FourDigitExponents) {
  const __float128 big = strtof128("1e4000", nullptr);
  EXPECT_EQ(field(big, 20, 0, 3, 0, E).text, std::string(20, '*'));
  EXPECT_EQ(field(big, 20, 0, 3, 4, E).text, "         0.100E+4001");
  EXPECT_EQ(field(big, 20, 0, 3, 4, Ee).text, "         0.100E+4001");
}

TEST(RealToText, IntegerDigitLimit) {
  EXPECT_EQ(field(123.0, 10, 0, 1, 0, F, CVT_X_NONE, 3).text, "     123.0");
  EXPECT_EQ(field(123.0, 10, 0, 1, 0, F, CVT_X_NONE, 2).text, "**********");
}

}  // namespace
