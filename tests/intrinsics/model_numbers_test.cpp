// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The model-number intrinsics against their definitions in terms of frexp and ldexp, and texts as numbers.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <bit>
#include <limits>
#include <random>
#include <string>

#include "intrinsics/math_entries.h"
#include "intrinsics/unaligned.h"
#include "real_model.h"
#include "support/child.h"
#include "support/soak.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::run_child;
typedef Binary128 Quad;

template <class Real>
struct Kind;

#define KIND(bytes, Real, frexp_, ldexp_, nextafter_, Word)            \
  template <>                                                          \
  struct Kind<Real> {                                                  \
    using Bits = Word;                                                 \
    static constexpr auto exponent = for_exponent##bytes##_v;          \
    static constexpr auto fraction = for_fraction##bytes##_v;          \
    static constexpr auto nearest = for_nearest##bytes##_v;            \
    static constexpr auto rrspacing = for_rrspacing##bytes##_v;        \
    static constexpr auto scale = for_scale##bytes##_v;                \
    static constexpr auto setexp = for_setexp##bytes##_v;              \
    static constexpr auto spacing = for_spacing##bytes##_v;            \
    static Real parts(Real x, int* power) { return frexp_(x, power); } \
    static Real scaled(Real x, int power) { return ldexp_(x, power); } \
    static Real towards(Real x, Real to) { return nextafter_(x, to); } \
  };
KIND(4, float, frexpf, ldexpf, nextafterf, u32)
KIND(8, double, frexp, ldexp, nextafter, u64)
KIND(16, Quad, frexpf128, ldexpf128, nextafterf128, unsigned __int128)

template <class Real>
class ModelNumbers : public testing::Test {
 protected:
  using K = Kind<Real>;
  static constexpr int kDigits = Real_Model<Real>::kDigits, kTop = Real_Model<Real>::kTop,
                       kLeast = Real_Model<Real>::kLeast;
  static Real power(int n) { return K::scaled(1, n); }
  static Real infinity() { return static_cast<Real>(HUGE_VAL); }
  static Real magnitude(Real x) { return x < 0 ? -x : x; }
};
using Kinds = testing::Types<float, double, Quad>;
TYPED_TEST_SUITE(ModelNumbers, Kinds);

TYPED_TEST(ModelNumbers, RandomImages) {
  using Real = TypeParam;
  using K = Kind<Real>;
  std::mt19937_64 random(99006);
  for (long i = 0; i < soak_cases(2000); ++i) {
    typename K::Bits image = random();
    if constexpr (sizeof image > sizeof(u64)) image = image << 64 | random();
    if (i % 4 == 0)
      image &= static_cast<typename K::Bits>(~typename K::Bits{0}) >> (random() % 20 + 9) |
               image << 127 % (8 * sizeof image);
    const Real x = std::bit_cast<Real>(image);
    if (!(x - x == 0) || x == 0) continue;
    int power;
    const Real fraction = K::parts(x, &power);
    EXPECT_EQ(K::exponent(x), power);
    EXPECT_TRUE(K::fraction(x) == fraction);
    EXPECT_TRUE(K::rrspacing(x) == K::scaled(this->magnitude(fraction), this->kDigits));
    const Real spacing = K::scaled(1, std::max(power - this->kDigits, this->kLeast - 1));
    EXPECT_TRUE(K::spacing(x) == spacing) << power;
    EXPECT_TRUE(K::nearest(x, 1) == K::towards(x, this->infinity()));
    EXPECT_TRUE(K::nearest(x, static_cast<Real>(-0.0)) == K::towards(x, -this->infinity()));
    const int shift = static_cast<int>(random() % 400) - 200;
    EXPECT_TRUE(K::scale(x, shift) == K::scaled(x, shift));
    const int exponent =
        this->kLeast + static_cast<int>(random() % static_cast<unsigned>(this->kTop - this->kLeast + 1));
    EXPECT_TRUE(K::setexp(x, exponent) == K::scaled(fraction, exponent)) << exponent;
    // A denormal result: rounded, but of singles cut off.
    const int low = this->kLeast - 1 - static_cast<int>(random() % static_cast<unsigned>(this->kDigits + 2));
    Real small = K::scaled(fraction, low);
    if (sizeof(Real) == sizeof(float) && this->magnitude(small) > this->magnitude(K::scaled(fraction, low - 40)) &&
        K::scaled(small, -low) != fraction) {
      const float cut = truncf(static_cast<float>(K::scaled(fraction, low + 149)));
      small = K::scaled(cut, -149);
    }
    EXPECT_TRUE(K::setexp(x, low) == small) << static_cast<double>(x) << " " << low;
  }
}

TYPED_TEST(ModelNumbers, Edges) {
  using Real = TypeParam;
  using K = Kind<Real>;
  constexpr int kLargest = std::numeric_limits<i32>::max();
  const Real infinity = this->infinity(), nan = infinity - infinity, zero = 0;
  EXPECT_EQ(K::exponent(0), 0);
  EXPECT_EQ(K::exponent(infinity), kLargest);
  EXPECT_EQ(K::exponent(-infinity), kLargest);
  EXPECT_EQ(K::exponent(nan), kLargest);
  EXPECT_TRUE(K::spacing(1) == this->power(1 - this->kDigits));
  const Real least = this->power(this->kLeast - 1);
  EXPECT_TRUE(K::spacing(0) == least && K::spacing(least * 2) == least && K::spacing(-least / 4) == least);
  EXPECT_TRUE(K::spacing(infinity) == this->power(this->kTop + 1 - this->kDigits) &&
              K::spacing(nan) == K::spacing(infinity));
  EXPECT_TRUE(K::nearest(1, -5) == 1 - this->power(-this->kDigits));
  EXPECT_TRUE(K::rrspacing(1) == this->power(this->kDigits - 1));
  EXPECT_TRUE(K::rrspacing(0) == 0 && K::rrspacing(-zero) == 0);
  EXPECT_TRUE(sizeof(Real) == sizeof(Quad) ? K::rrspacing(nan) > 0 : K::rrspacing(nan) == 0);
  EXPECT_TRUE(K::setexp(3, 1) == static_cast<Real>(1.5));
  EXPECT_TRUE(K::setexp(3, this->kTop) == K::scaled(3, this->kTop - 2));
  EXPECT_TRUE(K::setexp(3, this->kTop + 1) == infinity && K::setexp(-3, kLargest) == -infinity);
  EXPECT_TRUE(K::setexp(3, -20000) == 0 && K::setexp(3, -kLargest - 1) == 0 && 1 / K::setexp(-3, -20000) == -infinity);
  EXPECT_TRUE(1 / K::setexp(-zero, 5) == -infinity);
}

TEST(ModelNumbersByAddress, SixteenBytes) {
  const Quad x = 3, down = -1;
  const i32 two = 2;
  char odd[sizeof x + 1];
  store(odd + 1, x);
  EXPECT_EQ(for_exponent16_a(odd + 1), 2);
  EXPECT_TRUE(stored<Quad>(for_fraction16_a, x) == 0.75);
  EXPECT_TRUE(stored<Quad>(for_nearest16_a, x, down) == x - 0x1p-111);
  EXPECT_TRUE(stored<Quad>(for_rrspacing16_a, x) == ldexpf128(x, 111));
  EXPECT_TRUE(stored<Quad>(for_scale16_a, x, two) == 12);
  EXPECT_TRUE(stored<Quad>(for_setexp16_a, x, two) == 3);
  EXPECT_TRUE(stored<Quad>(for_spacing16_a, x) == 0x1p-111);
}

struct Text {
  const char* text;
  double number;
};

TEST(TextNumbers, Read) {
  static const Text kIntegers[] = {{"12", 12}, {" 12  ", 12}, {"-7 ", -7},  {"+32767", 32767},
                                   {"", 0},    {"     ", 0},  {"1 2 ", 12}, {"-32768", -32768}};
  for (const Text& row : kIntegers) {
    const i64 length = static_cast<i64>(strlen(row.text));
    EXPECT_EQ(for_inum(row.text, length), row.number) << row.text;
    EXPECT_EQ(for_jnum(row.text, length), row.number) << row.text;
    EXPECT_EQ(for_knum(row.text, length), row.number) << row.text;
  }
  static const Text kReals[] = {{" 2.5 ", 2.5}, {"25", 25}, {"-1.5E3", -1500}, {"1d2", 100},
                                {"", 0},        {"   ", 0}, {".125", .125}};
  for (const Text& row : kReals) {
    const i64 length = static_cast<i64>(strlen(row.text));
    EXPECT_EQ(for_rnum(row.text, length), row.number) << row.text;
    EXPECT_EQ(for_dnum(row.text, length), row.number) << row.text;
    EXPECT_TRUE(for_qnum(row.text, length) == row.number) << row.text;
  }
  EXPECT_EQ(for_knum("9223372036854775807", 19), std::numeric_limits<i64>::max());
  EXPECT_EQ(for_jnum("123456", 3), 123);
  EXPECT_EQ(for_jnum("5", 0), 0);
  EXPECT_EQ(for_dnum(nullptr, -1), 0);
  EXPECT_EQ(for_dnum("0.1", 3), 0.1);
  EXPECT_TRUE(for_qnum("0.1", 3) == strtof128("0.1", nullptr));
}

TEST(TextNumbers, WhatIsNoNumberEndsTheProcess) {
  static const struct {
    void (*read)();
    int message;
    const char* line;
  } kRows[] = {
      {[] { for_inum("32768", 5); }, MSG_INVALID_INTEGER, "tamrtl: severe (545): invalid INTEGER"},
      {[] { for_jnum("1x", 2); }, MSG_INVALID_INTEGER, "tamrtl: severe (545): invalid INTEGER"},
      {[] { for_rnum("1.5.2", 5); }, MSG_INVALID_REAL, "tamrtl: severe (547): invalid REAL"},
      {[] { for_dnum("abc", 3); }, MSG_INVALID_REAL, "tamrtl: severe (547): invalid REAL"},
      {[] { for_qnum("1x", 2); }, MSG_INVALID_REAL, "tamrtl: severe (547): invalid REAL"},
  };
  for (const auto& row : kRows) {
    const auto child = run_child(row.read);
    EXPECT_EQ(child.status, row.message & 0xFF);
    EXPECT_EQ(child.err.substr(0, strlen(row.line)), row.line);
  }
}

}  // namespace
