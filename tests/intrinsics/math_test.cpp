// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The mathematical intrinsics against the C library's binary128 functions, their definitions and their edge cases.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "intrinsics/math_entries.h"
#include "intrinsics/unaligned.h"
#include "real_model.h"

namespace {

typedef Binary128 Quad;
typedef Complex_Binary128 Complex_Quad;

std::mt19937_64 g_random(9906);

double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(g_random); }

struct One {
  const char* name;
  float (*r)(const void*);
  double (*d)(const void*);
  void (*q)(void*, const void*);
  Quad (*oracle)(Quad);
  double low, high;
};

#define ROW(name, oracle, low, high) \
  { #name, for_r_##name##_a, for_d_##name##_a, for_q_##name##_a, oracle, low, high }
#define QUAD_ROW(name, oracle) \
  { #name, nullptr, nullptr, for_q_##name##_a, oracle, 0.1, 9 }
Quad cotangent(Quad x) { return 1 / tanf128(x); }

const One kOne[] = {
    ROW(acos, acosf128, -1, 1),     ROW(acosh, acoshf128, 1, 90),   ROW(asin, asinf128, -1, 1),
    ROW(asinh, asinhf128, -90, 90), ROW(atan, atanf128, -90, 90),   ROW(atanh, atanhf128, -1, 1),
    ROW(besj0, j0f128, 0.1, 2),     ROW(besj1, j1f128, 0.1, 3),     ROW(besy0, y0f128, 1, 3),
    ROW(besy1, y1f128, 0.1, 2),     ROW(cbrt, cbrtf128, -90, 90),   ROW(cos, cosf128, -90, 90),
    ROW(cosh, coshf128, -80, 80),   ROW(cotan, cotangent, -90, 90), ROW(erf, erff128, -3, 3),
    ROW(erfc, erfcf128, -3, 3),     ROW(exp, expf128, -80, 80),     ROW(exp10, exp10f128, -37, 37),
    ROW(log, logf128, 0.1, 90),     ROW(log10, log10f128, 0.1, 90), ROW(sin, sinf128, -90, 90),
    ROW(sinh, sinhf128, -80, 80),   ROW(tan, tanf128, -90, 90),     ROW(tanh, tanhf128, -3, 3),
    QUAD_ROW(ceil, ceilf128),       QUAD_ROW(cot, cotangent),       QUAD_ROW(exp2, exp2f128),
    QUAD_ROW(floor, floorf128),     QUAD_ROW(gamma, tgammaf128),    QUAD_ROW(log2, log2f128),
};

TEST(Math, OneArgumentLikeTheLibrary) {
  constexpr double kFewUlps = 8;  // of the C library's own functions
  for (const One& row : kOne) {
    SCOPED_TRACE(row.name);
    for (int i = 0; i < 50; ++i) {
      const float single = static_cast<float>(uniform(row.low, row.high));
      const double value = uniform(row.low, row.high);
      const Quad quad = value + static_cast<Quad>(value) * 0x1p-70;
      if (row.r != nullptr) {
        EXPECT_LE(ulps(row.r(&single), row.oracle(single)), kFewUlps) << single;
        EXPECT_LE(ulps(row.d(&value), row.oracle(value)), kFewUlps) << value;
      }
      EXPECT_TRUE(same(stored<Quad>(row.q, quad), row.oracle(quad))) << value;
    }
  }
}

TEST(Math, TwoArgumentsLikeTheLibrary) {
  for (int i = 0; i < 50; ++i) {
    const double x = uniform(0.1, 9), y = uniform(0.1, 9);
    const float rx = static_cast<float>(x), ry = static_cast<float>(y);
    const Quad qx = x, qy = y;
    const i32 order = 2 + i % 3;
    EXPECT_EQ(for_r_atan2_a(&rx, &ry), atan2f(rx, ry));
    EXPECT_EQ(for_d_atan2_a(&x, &y), atan2(x, y));
    EXPECT_TRUE(same(stored<Quad>(for_q_atan2_a, qx, qy), atan2f128(qx, qy)));
    EXPECT_EQ(for_r_mod_a(&rx, &ry), fmodf(rx, ry));
    EXPECT_EQ(for_d_mod_a(&x, &y), fmod(x, y));
    EXPECT_TRUE(same(stored<Quad>(for_q_mod_a, qx, qy), fmodf128(qx, qy)));
    EXPECT_TRUE(same(stored<Quad>(for_q_fmod_a, qx, qy), fmodf128(qx, qy)));
    EXPECT_EQ(for_r_pow_a(&rx, &ry), powf(rx, ry));
    EXPECT_EQ(for_r_pow_v(rx, ry), powf(rx, ry));
    EXPECT_EQ(for_d_pow_a(&x, &y), pow(x, y));
    EXPECT_EQ(for_d_pow_v(x, y), pow(x, y));
    EXPECT_TRUE(same(stored<Quad>(for_q_pow_a, qx, qy), powf128(qx, qy)));
    EXPECT_EQ(for_r_besjn_a(&order, &rx), jnf(order, rx));
    EXPECT_EQ(for_d_besyn_a(&order, &x), yn(order, x));
    EXPECT_TRUE(same(stored<Quad>(for_q_besjn_a, order, qx), jnf128(order, qx)));
    EXPECT_TRUE(same(stored<Quad>(for_q_besyn_a, order, qx), ynf128(order, qx)));
    Quad result;
    for_q_besjn_av(&result, order, &qx);
    EXPECT_TRUE(same(result, jnf128(order, qx)));
    for_q_besyn_av(&result, order, &qx);
    EXPECT_TRUE(same(result, ynf128(order, qx)));
    EXPECT_TRUE(same(stored<Quad>(for_q_ldexp_a, qx, order), ldexpf128(qx, order)));
    for_q_ldexp_av(&result, &qx, -order);
    EXPECT_TRUE(same(result, ldexpf128(qx, -order)));
    i32 exponent;
    for_q_frexp_a(&result, &qx, &exponent);
    EXPECT_TRUE(result >= 0.5 && result < 1 && ldexpf128(result, exponent) == qx);
  }
}

Complex_Quad over(Complex_Quad a, Complex_Quad b) {
  const Quad size = b.re * b.re + b.im * b.im;
  return {(a.re * b.re + a.im * b.im) / size, (a.im * b.re - a.re * b.im) / size};
}
Complex_Quad sine(Complex_Quad z) { return {sinf128(z.re) * coshf128(z.im), cosf128(z.re) * sinhf128(z.im)}; }
Complex_Quad cosine(Complex_Quad z) { return {cosf128(z.re) * coshf128(z.im), -sinf128(z.re) * sinhf128(z.im)}; }
Complex_Quad tangent(Complex_Quad z) { return over(sine(z), cosine(z)); }
/// A circular function as the hyperbolic one: f(iz) = factor x g(z).
Complex_Quad times_i(Complex_Quad z) { return {-z.im, z.re}; }
Complex_Quad over_i(Complex_Quad z) { return {z.im, -z.re}; }
Complex_Quad hyperbolic_sine(Complex_Quad z) { return over_i(sine(times_i(z))); }
Complex_Quad hyperbolic_cosine(Complex_Quad z) { return cosine(times_i(z)); }
Complex_Quad hyperbolic_tangent(Complex_Quad z) { return over_i(tangent(times_i(z))); }
Complex_Quad power(Complex_Quad z) { return {expf128(z.re) * cosf128(z.im), expf128(z.re) * sinf128(z.im)}; }
Complex_Quad logarithm(Complex_Quad z) { return {logf128(hypotf128(z.re, z.im)), atan2f128(z.im, z.re)}; }
Complex_Quad power_of_10(Complex_Quad z) { return power({z.re * M_LN10f128, z.im * M_LN10f128}); }
Complex_Quad logarithm_10(Complex_Quad z) {
  const Complex_Quad natural = logarithm(z);
  return {natural.re / M_LN10f128, natural.im / M_LN10f128};
}

/// Distance in units of the last place of the larger part.
double distance(Complex_Quad got, Complex_Quad want, int digits) {
  const Quad size = hypotf128(want.re, want.im), off = hypotf128(got.re - want.re, got.im - want.im);
  return static_cast<double>(ldexpf128(off / size, digits));
}

template <class Complex>
Complex_Quad widened(Complex z) {
  return {__real__ z, __imag__ z};
}

TEST(Math, ComplexValues) {
  static const struct {
    const char* name;
    void (*c)(void*, const void*);
    void (*cd)(void*, const void*);
    void (*cq)(void*, const void*);
    Complex_Quad (*oracle)(Complex_Quad);
    Complex_Single (*c_value)(Complex_Single);
    Complex_Double (*cd_value)(Complex_Double);
  } kRows[] = {
      {"cos", for_c_cos_a, for_cd_cos_a, for_cq_cos_a, cosine, for_c_cos_v, for_cd_cos_v},
      {"exp", for_c_exp_a, for_cd_exp_a, for_cq_exp_a, power, for_c_exp_v, for_cd_exp_v},
      {"exp10", for_c_exp10_a, for_cd_exp10_a, for_cq_exp10_a, power_of_10, for_c_exp10_v, for_cd_exp10_v},
      {"log", for_c_log_a, for_cd_log_a, for_cq_log_a, logarithm, nullptr, nullptr},
      {"log10", for_c_log10_a, for_cd_log10_a, for_cq_log10_a, logarithm_10, nullptr, nullptr},
      {"sin", for_c_sin_a, for_cd_sin_a, for_cq_sin_a, sine, nullptr, nullptr},
      {"tan", for_c_tan_a, for_cd_tan_a, for_cq_tan_a, tangent, nullptr, nullptr},
      {"sinh", nullptr, nullptr, for_cq_sinh_a, hyperbolic_sine, nullptr, nullptr},
      {"cosh", nullptr, nullptr, for_cq_cosh_a, hyperbolic_cosine, nullptr, nullptr},
      {"tanh", nullptr, nullptr, for_cq_tanh_a, hyperbolic_tangent, nullptr, nullptr},
  };
  constexpr double kFewUlps = 16;
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    for (int i = 0; i < 50; ++i) {
      const Complex_Double z = complex_of(uniform(-3, 3), uniform(-3, 3));
      const Complex_Single s = complex_of(static_cast<float>(__real__ z), static_cast<float>(__imag__ z));
      const Complex_Quad single = widened(s), wide = widened(z);
      EXPECT_LE(distance(stored<Complex_Quad>(row.cq, wide), row.oracle(wide), 113), kFewUlps);
      if (row.c == nullptr) continue;
      EXPECT_LE(distance(widened(stored<Complex_Single>(row.c, s)), row.oracle(single), 24), kFewUlps);
      EXPECT_LE(distance(widened(stored<Complex_Double>(row.cd, z)), row.oracle(wide), 53), kFewUlps);
      if (row.c_value == nullptr) continue;
      EXPECT_LE(distance(widened(row.c_value(s)), row.oracle(single), 24), kFewUlps);
      EXPECT_LE(distance(widened(row.cd_value(z)), row.oracle(wide), 53), kFewUlps);
    }
  }
  // Powers of 10 out of range whose products with cosine and sine are in range, and one below all numbers.
  const Complex_Double tall = complex_of(308.3, 0.3411);
  EXPECT_LE(distance(widened(for_cd_exp10_v(tall)), power_of_10(widened(tall)), 53), 2);
  const Complex_Quad taller = {4932.2, 0.3411}, tenth = power_of_10({taller.re - 1, taller.im});
  const Complex_Quad tallest = stored<Complex_Quad>(for_cq_exp10_a, taller);
  constexpr double kOracleError = 0x1p16;  // of the product of so large an exponent and ln 10
  EXPECT_LE(distance({tallest.re / 10, tallest.im / 10}, tenth, 113), kOracleError);
  const Complex_Double nothing = for_cd_exp10_v(complex_of(-HUGE_VAL, 1.0));
  EXPECT_TRUE(__real__ nothing == 0 && __imag__ nothing == 0);
}

// What compiled code passes and takes: pairs in registers, pairs of 32 bytes in memory.
TEST(Math, ComplexByValue) {
  struct Pair {
    float re, im;
  };
  struct Double_Pair {
    double re, im;
  };
  const Pair one = std::bit_cast<Pair (*)(Pair)>(&for_c_cos_v)({0, 0});
  EXPECT_TRUE(one.re == 1 && one.im == 0);
  const Double_Pair ten = std::bit_cast<Double_Pair (*)(Double_Pair)>(&for_cd_exp10_v)({1, 0});
  EXPECT_TRUE(ten.re == 10 && ten.im == 0);
  EXPECT_EQ(std::bit_cast<float (*)(Pair)>(&for_r_creal_v)({3, 4}), 3);
  EXPECT_EQ(std::bit_cast<double (*)(Double_Pair)>(&for_d_creal_v)({3, 4}), 3);
  const Complex_Quad mirrored = std::bit_cast<Complex_Quad (*)(Complex_Quad)>(&for_cq_conjg_v)({3, 4});
  EXPECT_TRUE(mirrored.re == 3 && mirrored.im == -4);

  const Complex_Quad z = {3, -4};
  const Complex_Single c = complex_of(3.0f, -4.0f);
  const Complex_Double cd = complex_of(3.0, -4.0);
  EXPECT_EQ(for_r_creal_a(&c), 3);
  EXPECT_EQ(for_r_cimag_a(&c), -4);
  EXPECT_EQ(for_d_creal_a(&cd), 3);
  EXPECT_EQ(for_d_cdimag_a(&cd), -4);
  EXPECT_TRUE(for_q_cqreal_v(&z) == 3 && for_q_cqimag_v(&z) == -4);
  EXPECT_TRUE(stored<Quad>(for_q_cqreal_a, z) == 3 && stored<Quad>(for_q_cqimag_a, z) == -4);
  EXPECT_EQ(for_r_cabs_a(&c), 5);
  EXPECT_EQ(for_d_cabs_a(&cd), 5);
  EXPECT_EQ(for_d_cdabs_a(&cd), 5);
  EXPECT_TRUE(stored<Quad>(for_q_cqabs_a, z) == 5);
  const Complex_Quad size = stored<Complex_Quad>(for_cq_abs_a, z);
  EXPECT_TRUE(size.re == 5 && same<Quad>(size.im, 0));
  const Complex_Double large = complex_of(1e200, 1.0);
  EXPECT_EQ(for_d_cabs_a(&large), HUGE_VAL);
  EXPECT_EQ(__imag__ stored<Complex_Single>(for_c_conjg_a, c), 4);
  EXPECT_EQ(__imag__ stored<Complex_Double>(for_cd_conjg_a, cd), 4);
  const Complex_Quad square = stored<Complex_Quad>(for_cq_conjg_a, z);
  EXPECT_TRUE(square.re == 3 && square.im == 4);
  Complex_Quad result;
  for_cq_ipow_av(&result, &z, 2);
  EXPECT_LE(distance(result, {-7, -24}, 113), 16);
  for_cq_kpow_av(&result, &z, -1);
  EXPECT_LE(distance(result, {Quad{3} / 25, Quad{4} / 25}, 113), 16);
  result = stored<Complex_Quad>(for_cq_pow_a, z, Complex_Quad{2, 0});
  EXPECT_LE(distance(result, {-7, -24}, 113), 16);
}

const double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Math, SignsAndDifferences) {
  static const double kValues[] = {0.0,   -0.0,     1,         1 / 3.0, -1,    2.5,      -2.5,
                                   1e300, HUGE_VAL, -HUGE_VAL, kNan,    -kNan, 0x1p-1074};
  for (double a : kValues) {
    const float ra = static_cast<float>(a);
    EXPECT_TRUE(same(for_r_abs_a(&ra), fabsf(ra)) && same(for_r_fabs_a(&ra), fabsf(ra)));
    EXPECT_TRUE(same(for_d_abs_a(&a), fabs(a)) && same(for_d_fabs_a(&a), fabs(a)));
    EXPECT_TRUE(same(stored<Quad>(for_q_abs_a, Quad{a}), fabsf128(a)));
    EXPECT_TRUE(same(stored<Quad>(for_q_fabs_a, Quad{a}), fabsf128(a)));
    EXPECT_TRUE(same(for_r_sqrt_a(&ra), sqrtf(ra)));
    EXPECT_TRUE(same(for_d_sqrt_a(&a), sqrt(a)));
    EXPECT_TRUE(same(for_r_dsqrt_a(&a), static_cast<float>(sqrt(a))));
    for (double b : kValues) {
      SCOPED_TRACE(testing::Message() << a << " " << b);
      const float rb = static_cast<float>(b);
      EXPECT_TRUE(same(for_d_sign_a(&a, &b), b >= 0 ? fabs(a) : -fabs(a)));
      EXPECT_TRUE(same(for_r_sign_a(&ra, &rb), b >= 0 ? fabsf(ra) : -fabsf(ra)));
      const Quad by_bit = stored<Quad>(for_q_sign_a, Quad{a}, Quad{b});
      EXPECT_TRUE(same(by_bit, copysignf128(a, b)) && signbit(static_cast<double>(by_bit)) == signbit(b));
      EXPECT_TRUE(same(for_d_dim_a(&a, &b), b < a ? a - b : 0.0));
      EXPECT_TRUE(same(for_r_dim_a(&ra, &rb), rb < ra ? ra - rb : 0.0f));
      EXPECT_TRUE(same(stored<Quad>(for_q_dim_a, Quad{a}, Quad{b}), a < b ? Quad{0} : Quad{a} - Quad{b}));
      EXPECT_TRUE(same(for_d_prod_a(&ra, &rb), static_cast<double>(ra) * rb));
      EXPECT_TRUE(same(stored<Quad>(for_q_prod_a, a, b), Quad{a} * b));
    }
  }
  EXPECT_EQ(for_d_atan2d_v(1, 1), 45);
  EXPECT_EQ(for_r_atan2d_v(1, -1), 135);
  const double y = -1, x = 0;
  const float ry = -1, rx = 0;
  EXPECT_EQ(for_d_atan2d_a(&y, &x), -90);
  EXPECT_EQ(for_r_atan2d_a(&ry, &rx), -90);
}

TEST(Math, WholePowers) {
  const float r = 1.5f;
  const double d = 1.5;
  const Quad q = 1.5;
  for (i32 n : {0, 1, 2, 3, 4, 5, 10, 31, -1, -2, -31}) {
    EXPECT_LE(ulps(for_r_ipow_a(&r, &n), powf128(r, n)), 8) << n;
    EXPECT_LE(ulps(for_d_ipow_a(&d, &n), powf128(d, n)), 8) << n;
    EXPECT_EQ(for_r_ipow_v(r, n), for_r_ipow_a(&r, &n));
    EXPECT_EQ(for_d_ipow_v(d, n), for_d_ipow_a(&d, &n));
    EXPECT_LE(ulps(stored<Quad>(for_q_ipow_a, q, n), powf128(q, n)), 2) << n;
    EXPECT_TRUE(same(stored<Quad>(for_q_kpow_a, q, i64{n} + (i64{5} << 32)), stored<Quad>(for_q_ipow_a, q, n))) << n;
  }
  Quad least;
  const Quad two = 2;
  for_q_ipow_av(&least, &two, -16400);
  EXPECT_TRUE(least == ldexpf128(1, -16400));
  for_q_kpow_av(&least, &two, 16383);
  EXPECT_TRUE(least == ldexpf128(1, 16383));
}

// The roundings, in all their names, of one value; what the integers show is meaningless out of their range.
TEST(Math, Roundings) {
  for (const double x : {0.0, -0.5, 0.5, -0.25, 2.5, -2.5, 3.49, 1e6 + 0.75, -0.75, 8388607.5}) {
    SCOPED_TRACE(x);
    const float r = static_cast<float>(x);
    const Quad q = x;
    const double cut = trunc(x) + 0.0, nearest = round(x);  // the one has no negative zero
    const float r_cut = truncf(r) + 0.0f, r_nearest = roundf(r);
    EXPECT_TRUE(same(for_r_int_a(&r), r_cut) && same(for_r_int_v(r), r_cut) && same(for_r_dint_a(&x), r_cut));
    EXPECT_TRUE(same(for_d_int_a(&x), cut) && same(for_d_int_v(x), cut));
    EXPECT_TRUE(same(r_int(&r), truncf(r)) && same(r_int_val(r), truncf(r)));
    EXPECT_TRUE(same(d_int(&x), trunc(x)) && same(d_int_val(x), trunc(x)));
    EXPECT_TRUE(same(stored<Quad>(a_intq, q), truncf128(q)) && same(stored<Quad>(f_lqint, q), truncf128(q)));
    EXPECT_TRUE(for_r_nint_a(&r) == r_nearest && for_r_nint_v(r) == r_nearest && for_r_dnint_a(&x) == r_nearest);
    EXPECT_TRUE(for_d_nint_a(&x) == nearest && for_d_nint_v(x) == nearest);
    EXPECT_TRUE(r_nint(&r) == r_nearest && f_lanint_val(r) == r_nearest);
    EXPECT_TRUE(d_nint(&x) == nearest && f_ldnint_val(x) == nearest);
    EXPECT_TRUE(stored<Quad>(a_nintq, q) == nearest && stored<Quad>(f_lqnint, q) == nearest);
    const i32 whole = static_cast<i32>(nearest), trunc = static_cast<i32>(cut);
    EXPECT_TRUE(static_cast<i8>(b_nint(&r)) == static_cast<i8>(whole) && h_nint(&r) == whole && i_nint(&r) == whole);
    EXPECT_TRUE(b_dnnt(&x) == whole && h_dnnt(&x) == whole && i_dnnt(&x) == whole);
    EXPECT_TRUE(k_nint(&r) == whole && k_dnnt(&x) == whole && k_iqnint(&q) == whole);
    EXPECT_TRUE(h_iqnint(&q) == whole && i_iqnint(&q) == whole);
    EXPECT_TRUE(for_h_qint_a(&q) == trunc && for_i_qint_a(&q) == trunc && for_k_qint_a(&q) == trunc);
    i32 by_address;
    f_qnint(&by_address, &q);
    EXPECT_EQ(by_address, whole);
  }
  const double far = -0x1p62;
  const Quad q = far, beyond = 0x1p63;
  EXPECT_EQ(k_dnnt(&far), -(i64{1} << 62));
  EXPECT_EQ(k_iqnint(&q), -(i64{1} << 62));
  EXPECT_EQ(for_k_qint_a(&beyond), std::numeric_limits<i64>::min());
  EXPECT_EQ(i_iqnint(&q), std::numeric_limits<i32>::min());
  for (double x : {HUGE_VAL, -HUGE_VAL, kNan, 1e300, 0x1p53 - 1}) EXPECT_TRUE(same(for_d_int_v(x), x));
  for (double x : {HUGE_VAL, -HUGE_VAL, kNan, 1e300}) EXPECT_TRUE(same(for_d_nint_v(x), x));
}

/// The least number of the kind stands for what lies out of its range.
template <class Int, class Real>
void expect_whole(Int (*ceiling)(Real), Int (*floored)(Real), double value) {
  using Limits = std::numeric_limits<Int>;
  const Real x = static_cast<Real>(value);
  const bool fits = Quad{x} >= Limits::min() && Quad{x} <= Limits::max();
  EXPECT_EQ(ceiling(x), fits ? static_cast<Int>(std::ceil(x)) : Limits::min()) << x;
  EXPECT_EQ(floored(x), fits ? static_cast<Int>(std::floor(x)) : Limits::min()) << x;
}

TEST(Math, CeilingAndFloor) {
  for (const double x :
       {0.0,         -0.5,     0.5,          2.0,          -2.0,         32766.5,      -32767.5,      32767.5,
        -32768.0,    -32768.5, 2147483520.0, 2147483646.5, 2147483647.0, 2147483647.5, -2147483647.5, 0x1p32,
        1e10 + 0.25, -0x1p62,  0x1p64,       -0x1p64,      -1e300,       kNan,         HUGE_VAL,      -HUGE_VAL}) {
    expect_whole(for_ceil4_v, for_floor4_v, x);
    expect_whole(for_ceil8_v, for_floor8_v, x);
    expect_whole(for_ceilh4_v, for_floorh4_v, x);
    expect_whole(for_ceilh8_v, for_floorh8_v, x);
    expect_whole(for_ceilk4_v, for_floork4_v, x);
    expect_whole(for_ceilk8_v, for_floork8_v, x);
  }
}

}  // namespace
