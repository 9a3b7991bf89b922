// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Functions of angles in degrees: exact results, signs of zero, and random arguments against binary128.
#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <random>

#include "intrinsics/math_entries.h"
#include "real_model.h"
#include "support/soak.h"

namespace {

typedef Binary128 Quad;

template <class Real, Real (*f)(const void*)>
Real call(Real x) {
  return f(&x);
}

template <void (*f)(void*, const void*)>
Quad call(Quad x) {
  Quad result;
  f(&result, &x);
  return result;
}

struct Function {
  const char* name;
  float (*r)(float);
  double (*d)(double);
  Quad (*q)(Quad);
  Quad (*oracle)(Quad);
  bool takes_angle;
};

constexpr double kHalfCircle = 180;

/// What is left of an angle of at most 2^113 after full turns, exact.
Quad radians(Quad degrees) { return fmodf128(degrees, 360) * M_PIf128 / kHalfCircle; }
Quad degrees(Quad angle) { return angle * kHalfCircle / M_PIf128; }
Quad sine(Quad x) { return sinf128(radians(x)); }
Quad cosine(Quad x) { return cosf128(radians(x)); }
Quad tangent(Quad x) { return tanf128(radians(x)); }
Quad cotangent(Quad x) { return 1 / tanf128(radians(x)); }
Quad arc_sine(Quad x) { return degrees(asinf128(x)); }
Quad arc_cosine(Quad x) { return degrees(acosf128(x)); }
Quad arc_tangent(Quad x) { return degrees(atanf128(x)); }

#define ROW(name, oracle, takes_angle)                                                                          \
  {                                                                                                             \
#name, call < float, for_r_##name##_a>, call < double, for_d_##name##_a>, call < for_q_##name##_a>, oracle, \
        takes_angle                                                                                             \
  }
const Function kFunctions[] = {
    ROW(sind, sine, true),          ROW(cosd, cosine, true),     ROW(tand, tangent, true),
    ROW(cotand, cotangent, true),   ROW(asind, arc_sine, false), ROW(acosd, arc_cosine, false),
    ROW(atand, arc_tangent, false),
};

/// Bits before and behind the point of random angles, beyond one turn and far below a degree.
constexpr int kHighestAngle = 40, kLowestAngle = -30;

template <class Real>
Real argument(std::mt19937_64& random, bool takes_angle) {
  const double fraction = std::uniform_real_distribution<double>(-1, 1)(random);
  if (!takes_angle) return static_cast<Real>(fraction);
  if (random() % 2 == 0) return static_cast<Real>(fraction * 2 * kHalfCircle);
  return static_cast<Real>(ldexp(fraction, std::uniform_int_distribution<int>(kLowestAngle, kHighestAngle)(random)));
}

/// Error of the function; on the axes the oracle has no zeros.
template <class Real>
double error(Real (*f)(Real), Quad (*oracle)(Quad), bool takes_angle, Real x) {
  constexpr double kQuarter = 90;
  return takes_angle && fmodf128(x, kQuarter) == 0 ? 0 : ulps<Real>(f(x), oracle(x));
}

TEST(MathDegrees, RandomArgumentsWithinOneUnit) {
  std::mt19937_64 random(9936);
  constexpr double kQuadUlps = 4;
  const long cases = soak_cases(4000);
  for (const Function& f : kFunctions) {
    double worst_single = 0, worst_double = 0, worst_quad = 0;
    for (long i = 0; i < cases; ++i) {
      const float single = argument<float>(random, f.takes_angle);
      const double value = argument<double>(random, f.takes_angle);
      worst_single = fmax(worst_single, error(f.r, f.oracle, f.takes_angle, single));
      worst_double = fmax(worst_double, error(f.d, f.oracle, f.takes_angle, value));
      // The oracle's own reduction is less exact near the zeros beyond 0.
      if (!f.takes_angle || fabs(value) < 45)
        worst_quad = fmax(worst_quad, error<Quad>(f.q, f.oracle, f.takes_angle, value));
    }
    EXPECT_LE(worst_single, 1) << f.name;
    EXPECT_LE(worst_double, 1) << f.name;
    EXPECT_LE(worst_quad, kQuadUlps) << f.name;
  }
}

struct Exact {
  int function;  ///< in kFunctions
  double x, result;
};

const Exact kExact[] = {
    {0, 30, 0.5},       {0, 150, 0.5},        {0, 210, -0.5},      {0, -30, -0.5}, {0, 90, 1},
    {0, 270, -1},       {0, 0.0, 0.0},        {0, -0.0, -0.0},     {0, 180, 0.0},  {0, -180, -0.0},
    {0, 360, 0.0},      {0, 36e9, 0.0},       {0, 36e9 + 30, .5},  {1, 60, 0.5},   {1, 120, -0.5},
    {1, 300, 0.5},      {1, 90, 0.0},         {1, -90, 0.0},       {1, 270, 0.0},  {1, 0, 1},
    {1, 180, -1},       {1, 36e9, 1},         {1, 36e9 + 90, 0.0}, {2, 45, 1},     {2, 135, -1},
    {2, 225, 1},        {2, -45, -1},         {2, -0.0, -0.0},     {2, 360, 0.0},  {2, 180, -0.0},
    {2, 90, HUGE_VAL},  {2, 270, -HUGE_VAL},  {2, -90, -HUGE_VAL}, {3, 45, 1},     {3, 135, -1},
    {3, 0.0, HUGE_VAL}, {3, -0.0, -HUGE_VAL}, {3, 90, 0.0},        {4, 0.5, 30},   {4, -0.5, -30},
    {4, 1, 90},         {4, -1, -90},         {4, -0.0, -0.0},     {5, 0.5, 60},   {5, -0.5, 120},
    {5, 1, 0.0},        {5, -1, 180},         {5, 0.0, 90},        {6, 1, 45},     {6, -1, -45},
    {6, HUGE_VAL, 90},  {6, -HUGE_VAL, -90},  {6, -0.0, -0.0},
};

TEST(MathDegrees, ExactResultsAndSignsOfZero) {
  for (const Exact& row : kExact) {
    const Function& f = kFunctions[row.function];
    SCOPED_TRACE(testing::Message() << f.name << " " << row.x);
    // 36e9 + 30 and the like are no singles.
    if (static_cast<float>(row.x) == row.x) {
      EXPECT_EQ(f.r(static_cast<float>(row.x)), row.result);
      EXPECT_EQ(signbit(f.r(static_cast<float>(row.x))), signbit(row.result));
    }
    EXPECT_EQ(f.d(row.x), row.result);
    EXPECT_EQ(signbit(f.d(row.x)), signbit(row.result));
    const Quad quad = f.q(row.x);
    EXPECT_TRUE(quad == row.result) << static_cast<double>(quad - row.result);
    EXPECT_EQ(signbit(static_cast<double>(quad)), signbit(row.result));
  }
}

TEST(MathDegrees, ArgumentsWithoutResult) {
  for (const Function& f : kFunctions) {
    const double outside = f.takes_angle ? HUGE_VAL : strcmp(f.name, "atand") == 0 ? NAN : 1.5;
    EXPECT_TRUE(isnan(f.r(static_cast<float>(outside))) && isnan(f.d(outside))) << f.name;
    const Quad quad = f.q(outside);
    EXPECT_TRUE(quad != quad) << f.name;
    EXPECT_TRUE(isnan(f.d(NAN))) << f.name;
  }
}

}  // namespace
