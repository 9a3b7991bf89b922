// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every row of the tables of powers of ten against exact arithmetic, and what is composed of the rows that the maps name
// against the error that its roundings may leave.
#include "convert/powers_of_ten.h"

#include "convert/decimal_scale.h"
#include "convert/power_product.h"
#include "support/big_integer.h"

#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>
#include <iterator>

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
  bool at_most(u64 percent) const {
    Big_Integer e = error, u = unit;
    e.multiply(100);
    u.multiply(percent);
    return compare(e, u) <= 0;
  }
};

Distance distance(unsigned __int128 mantissa, int bits, int bexp, int n) {
  Big_Integer row = Big_Integer::from_words(static_cast<u64>(mantissa >> 64), static_cast<u64>(mantissa)), unit(1),
              exact(1);
  (n < 0 ? row : exact) = (n < 0 ? row : exact) * Big_Integer::power_of_ten(abs(n));
  if (n < 0) unit = Big_Integer::power_of_ten(-n);
  const int shift = bexp - bits;
  if (shift >= 0) {
    row = row << shift, unit = unit << shift;
  } else {
    exact = exact << -shift;
  }
  const bool below = row < exact;
  return {below ? exact - row : row - exact, unit, below};
}

/// The top bit is set, and the error is a part of the last place.
void expect_close(unsigned __int128 mantissa, int bits, int bexp, int n, u64 percent) {
  EXPECT_EQ(static_cast<u64>(mantissa >> (bits - 1)), 1u) << n;
  EXPECT_TRUE(distance(mantissa, bits, bexp, n).at_most(percent)) << bits << " bits, 10^" << n;
}

constexpr u64 kNearest = 50;

void expect_nearest(double value, int n) {
  int bexp;
  const double fraction = frexp(value, &bexp);
  expect_close(static_cast<u64>(ldexp(fraction, 53)), 53, bexp, n, kNearest);
}

unsigned __int128 wide(const u64 (&row)[2]) { return static_cast<unsigned __int128>(row[1]) << 64 | row[0]; }

TEST(PowersOfTen, RowsOfDoubles) {
  for (int n = -47; n <= 47; ++n) expect_nearest(cvtas_pten_t[n + kNearPower], n);
  EXPECT_EQ(cvtas_pten_t[95], 0.0);
  for (size_t i = 0; i < std::size(kTinyT); ++i) expect_nearest(cvtas_tiny_pten_t[i], -kTinyT[i]);
  for (size_t i = 0; i < std::size(kHugeT); ++i) expect_nearest(cvtas_huge_pten_t[i], kHugeT[i]);
}

TEST(PowersOfTen, RowsOf64Bits) {
  constexpr u64 kSparse = 30;  // per cent
  for (int n = 0; n < 20; ++n) EXPECT_TRUE(Big_Integer(cvtas_pten_word[n]) == Big_Integer::power_of_ten(n));
  for (int n = -47; n <= 47; ++n) {
    const int i = n + kNearPower;
    expect_close(cvtas_pten_64[i], 64, cvtas_pten_64_bexp[i], n, n >= 0 && n <= 27 ? 0 : kNearest);
  }
  for (size_t i = 0; i < std::size(kTiny64); ++i) {
    expect_close(cvtas_tiny_pten_64[i], 64, cvtas_tiny_pten_64_bexp[i], -kTiny64[i], kSparse);
  }
  for (size_t i = 0; i < std::size(kHuge64); ++i) {
    expect_close(cvtas_huge_pten_64[i], 64, cvtas_huge_pten_64_bexp[i], kHuge64[i], kSparse);
  }
}

TEST(PowersOfTen, RowsOf128Bits) {
  constexpr u64 kSparse = 25;
  for (int n = -27; n <= -1; ++n) {
    expect_close(wide(cvtas_pten_128[n + 27]), 128, cvtas_pten_128_bexp[n + 27], n, kNearest);
  }
  for (int i = 0; i < 10; ++i) {
    expect_close(wide(cvtas_tiny_pten_128[i]), 128, cvtas_tiny_pten_128_bexp[i], -kTiny128[i], kSparse);
    expect_close(wide(cvtas_huge_pten_128[i]), 128, cvtas_huge_pten_128_bexp[i], kHuge128[i], kSparse);
  }
  for (int i = 0; i < 4; ++i) {
    expect_close(wide(cvtas_tiny_tiny_pten_128[i]), 128, cvtas_tiny_tiny_pten_128_bexp[i], -(512 << i), kNearest);
    expect_close(wide(cvtas_huge_huge_pten_128[i]), 128, cvtas_huge_huge_pten_128_bexp[i], 512 << i, kNearest);
  }
}

// The map of the tiny doubles names the first row at or beyond 8 times the index, that of the huge ones the last row
// not beyond it.
TEST(PowersOfTen, MapsOfDoubles) {
  for (int i = 0; i < static_cast<int>(std::size(cvtas_tiny_pten_t_map)); ++i) {
    const auto row = i < 39 ? std::lower_bound(kTinyT, std::end(kTinyT), 8 * i) - kTinyT : i - 24;  // denormals
    EXPECT_EQ(cvtas_tiny_pten_t_map[i], kTinyT[row] << 5 | row) << i;
  }
  for (int i = 0; i < static_cast<int>(std::size(cvtas_huge_pten_t_map)); ++i) {
    const auto beyond = std::max(std::upper_bound(kHugeT, std::end(kHugeT), 8 * i) - kHugeT, 1l);
    const auto row = i == 23 ? 7 : beyond - 1;
    EXPECT_EQ(cvtas_huge_pten_t_map[i], kHugeT[row] << 5 | row) << i;
  }
}

TEST(PowersOfTen, ProductsOfRows) {
  for (int n = kMinPower64; n <= kMaxPower64; ++n) {
    const Scaled_64 power = power_of_ten_64(n);
    expect_close(power.mantissa, 64, power.exponent, n, 80);
  }
  for (int n = kMinPower128; n <= kMaxPower128; n += n < -600 || n > 600 ? 7 : 1) {
    const Scaled_128 power = power_of_ten_128(n);
    expect_close(power.mantissa, 128, power.exponent, n, n >= -534 && n <= 534 ? 65 : 280);
  }
}

TEST(PowersOfTen, DecimalScaleIsRoundedUp) {
  for (int n = kDecimalScaleFirst; n <= kDecimalScaleLast; ++n) {
    const Decimal_Scale& row = decimal_scale(n);
    EXPECT_NE(row.high >> 63, 0u) << n;
    const Distance d = distance(wide({row.low, row.high}), 128, decimal_scale_bexp(n), n);
    EXPECT_EQ(d.error.is_zero(), n >= 0 && n <= kDecimalScaleLastExact) << n;
    EXPECT_FALSE(d.below) << n;
    EXPECT_TRUE(d.error < d.unit) << n;
  }
}

}  // namespace
