// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every row of the tables of powers of ten against exact arithmetic, and every entry of the maps against its rule.
#include "convert/powers_of_ten.h"

#include "convert/decimal_scale.h"
#include "support/big_integer.h"

#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>
#include <vector>

namespace {

constexpr int kTinyT[] = {22, 45, 66, 85, 107, 127, 150, 173, 187, 206, 220, 243, 266, 289, 305, 306, 307};
constexpr int kHugeT[] = {22, 43, 65, 86, 109, 132, 155, 177, 180, 203, 220, 240, 263, 286, 307};
constexpr int kTiny64[] = {25, 53, 81, 104, 132, 157, 184, 210, 233, 261, 289, 314, 342, 367, 395};
constexpr int kHuge64[] = {27, 55, 77, 105, 133, 161, 188, 214, 242, 269, 297, 320, 345};
constexpr int kTiny128[] = {53, 108, 164, 219, 274, 327, 379, 425, 479, 534};
constexpr int kHuge128[] = {55, 110, 165, 219, 275, 315, 369, 425, 478, 534};

// The distance of mantissa * 2^(bexp - bits) from 10^n, in units of the last place, scaled to `unit`.
struct Distance {
  Big_Integer error, unit;
  bool below;  // the row is less than 10^n
  bool at_most(u64 num, u64 den) const {
    Big_Integer e = error, u = unit;
    e.multiply(den);
    u.multiply(num);
    return compare(e, u) <= 0;
  }
};

Distance distance(u64 high, u64 low, int bits, int bexp, int n) {
  Big_Integer row = Big_Integer::from_words(high, low), unit(1), exact(1);
  (n < 0 ? row : exact) = (n < 0 ? row : exact) * Big_Integer::power_of_ten(abs(n));
  if (n < 0) unit = unit * Big_Integer::power_of_ten(-n);
  const int shift = bexp - bits;
  if (shift >= 0) {
    row = row << shift, unit = unit << shift;
  } else {
    exact = exact << -shift;
  }
  const bool below = row < exact;
  return {below ? exact - row : row - exact, unit, below};
}

void expect_nearest(u64 high, u64 low, int bits, int bexp, int n) {
  EXPECT_NE((bits == 128 ? high : low) >> 63, 0u) << n;
  EXPECT_TRUE(distance(high, low, bits, bexp, n).at_most(1, 2)) << bits << " bits, 10^" << n;
}

void expect_nearest(double value, int n) {
  int bexp;
  const double fraction = frexp(value, &bexp);
  EXPECT_TRUE(distance(0, static_cast<u64>(ldexp(fraction, 53)), 53, bexp, n).at_most(1, 2)) << "10^" << n;
}

template <size_t Rows>
void expect_map(const u16* map, size_t entries, const int (&exponents)[Rows], bool tiny,
                std::vector<std::pair<size_t, int>> exceptions = {}) {
  for (size_t i = 0; i < entries; ++i) {
    int row = 0;
    if (tiny) {
      row = std::find_if(exponents, exponents + Rows, [&](int p) { return p >= 8 * static_cast<int>(i); }) - exponents;
    } else {
      while (row + 1 < static_cast<int>(Rows) && exponents[row + 1] <= 8 * static_cast<int>(i)) ++row;
    }
    for (auto [index, special] : exceptions) {
      if (index == i) row = special;
    }
    ASSERT_LT(row, static_cast<int>(Rows));
    EXPECT_EQ(map[i], exponents[row] << 5 | row) << (tiny ? "tiny " : "huge ") << i;
  }
}

TEST(PowersOfTen, Words) {
  u64 power = 1;
  for (int n = 0; n < 20; ++n, power *= 10) EXPECT_EQ(cvtas_pten_word[n], power);
}

TEST(PowersOfTen, DoublesAreNearest) {
  for (int n = -47; n <= 47; ++n) expect_nearest(cvtas_pten_t[n + kNearPower], n);
  EXPECT_EQ(cvtas_pten_t[95], 0.0);
  for (size_t i = 0; i < std::size(kTinyT); ++i) expect_nearest(cvtas_tiny_pten_t[i], -kTinyT[i]);
  for (size_t i = 0; i < std::size(kHugeT); ++i) expect_nearest(cvtas_huge_pten_t[i], kHugeT[i]);
}

TEST(PowersOfTen, WordsOf64BitsAreNearest) {
  for (int n = -47; n <= 47; ++n) {
    expect_nearest(0, cvtas_pten_64[n + kNearPower], 64, cvtas_pten_64_bexp[n + kNearPower], n);
    if (n >= 0 && n <= 27) {
      EXPECT_TRUE(distance(0, cvtas_pten_64[n + 47], 64, cvtas_pten_64_bexp[n + 47], n).error.is_zero()) << n;
    }
  }
  for (size_t i = 0; i < std::size(kTiny64); ++i) {
    EXPECT_NE(cvtas_tiny_pten_64[i] >> 63, 0u);
    EXPECT_TRUE(distance(0, cvtas_tiny_pten_64[i], 64, cvtas_tiny_pten_64_bexp[i], -kTiny64[i]).at_most(3, 10)) << i;
  }
  for (size_t i = 0; i < std::size(kHuge64); ++i) {
    EXPECT_NE(cvtas_huge_pten_64[i] >> 63, 0u);
    EXPECT_TRUE(distance(0, cvtas_huge_pten_64[i], 64, cvtas_huge_pten_64_bexp[i], kHuge64[i]).at_most(3, 10)) << i;
  }
}

TEST(PowersOfTen, WordsOf128BitsAreNearest) {
  for (int n = -27; n <= -1; ++n) {
    expect_nearest(cvtas_pten_128[n + 27][1], cvtas_pten_128[n + 27][0], 128, cvtas_pten_128_bexp[n + 27], n);
  }
  for (int i = 0; i < 10; ++i) {
    const u64 *tiny = cvtas_tiny_pten_128[i], *huge = cvtas_huge_pten_128[i];
    EXPECT_NE(tiny[1] >> 63 & huge[1] >> 63, 0u);
    EXPECT_TRUE(distance(tiny[1], tiny[0], 128, cvtas_tiny_pten_128_bexp[i], -kTiny128[i]).at_most(1, 4)) << i;
    EXPECT_TRUE(distance(huge[1], huge[0], 128, cvtas_huge_pten_128_bexp[i], kHuge128[i]).at_most(1, 4)) << i;
  }
  for (int i = 0; i < 4; ++i) {
    const u64 *tiny = cvtas_tiny_tiny_pten_128[i], *huge = cvtas_huge_huge_pten_128[i];
    expect_nearest(tiny[1], tiny[0], 128, cvtas_tiny_tiny_pten_128_bexp[i], -(512 << i));
    expect_nearest(huge[1], huge[0], 128, cvtas_huge_huge_pten_128_bexp[i], 512 << i);
  }
}

TEST(PowersOfTen, Maps) {
  expect_map(cvtas_tiny_pten_t_map, std::size(cvtas_tiny_pten_t_map), kTinyT, true, {{39, 15}, {40, 16}});
  expect_map(cvtas_huge_pten_t_map, std::size(cvtas_huge_pten_t_map), kHugeT, false, {{23, 7}});
  expect_map(cvtas_tiny_pten_64_map, std::size(cvtas_tiny_pten_64_map), kTiny64, true);
  expect_map(cvtas_huge_pten_64_map, std::size(cvtas_huge_pten_64_map), kHuge64, false);
  expect_map(cvtas_tiny_pten_128_map, std::size(cvtas_tiny_pten_128_map), kTiny128, true);
  expect_map(cvtas_huge_pten_128_map, std::size(cvtas_huge_pten_128_map), kHuge128, false);
}

// What remains beside a sparse row must lie in the small table of the same precision.
TEST(PowersOfTen, SplitsLeaveASmallPower) {
  for (int n = 48; n <= 345; ++n) {
    const Power_Row below = power_row_below(cvtas_huge_pten_64_map, n);
    const Power_Row above = power_row_above(cvtas_tiny_pten_64_map, n);
    EXPECT_TRUE(below.exponent <= n && n - below.exponent <= 28) << n;
    EXPECT_TRUE(above.exponent >= n && above.exponent - n <= 28) << n;
  }
  for (int n = 55; n <= 534; ++n) {
    const Power_Row below = power_row_below(cvtas_huge_pten_128_map, n);
    EXPECT_TRUE(below.exponent <= n && n - below.exponent <= 55) << n;
  }
  for (int n = 28; n <= 534; ++n) {
    const Power_Row above = power_row_above(cvtas_tiny_pten_128_map, n);
    EXPECT_TRUE(above.exponent >= n && above.exponent - n <= 55) << n;
  }
}

TEST(PowersOfTen, DecimalScaleIsRoundedUp) {
  for (int n = kDecimalScaleFirst; n <= kDecimalScaleLast; ++n) {
    const Decimal_Scale& row = decimal_scale(n);
    EXPECT_NE(row.high >> 63, 0u) << n;
    const Distance d = distance(row.high, row.low, 128, decimal_scale_bexp(n), n);
    EXPECT_EQ(d.error.is_zero(), n >= 0 && n <= kDecimalScaleLastExact) << n;
    EXPECT_FALSE(d.below) << n;
    EXPECT_TRUE(d.error < d.unit) << n;
  }
}

}  // namespace
