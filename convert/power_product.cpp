// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Powers of ten composed of table rows.

#include "convert/power_product.h"

#include "convert/powers_of_ten.h"

namespace {

constexpr int kNearPower128 = 27;       // 10^-27 to 10^-1 have rows of their own
constexpr int kExactPower64 = 27;       // up to here a 64-bit row is exact
constexpr int kFirstHugePower128 = 55;  // the first row of the sparse table, one more than two exact rows reach
constexpr int kLastSparsePower128 = 534;
constexpr int kFirstBigPower = 512, kBigRows = 4;  // each the square of the one before

u128 wide(const u64 (&row)[2]) { return u128{row[1]} << 64 | row[0]; }

Scaled_64 near_power_64(int n) { return {cvtas_pten_64[n + kNearPower], cvtas_pten_64_bexp[n + kNearPower]}; }

Scaled_64 multiply(Scaled_64 a, Scaled_64 b) {
  int exponent = a.exponent + b.exponent;
  const u128 product = normalised_product(u128{a.mantissa} * b.mantissa, &exponent);
  const u64 high = static_cast<u64>(product >> 64);
  const u64 rounded = high + (static_cast<u64>(product) >> 63);
  if (rounded < high) return {u64{1} << 63, exponent + 1};
  return {rounded, exponent};
}

Scaled_128 multiply(Scaled_128 a, Scaled_128 b) {
  Product_256 product = multiply_128(a.mantissa, b.mantissa);
  int exponent = a.exponent + b.exponent;
  if (product.high >> 127 == 0) {
    product.high = product.high << 1 | product.low >> 127;
    product.low <<= 1;
    --exponent;
  }
  const u128 rounded = product.high + (product.low >> 127);
  if (rounded < product.high) return {u128{1} << 127, exponent + 1};
  return {rounded, exponent};
}

/// 10^n for 0 <= n <= kFirstHugePower128, exact below it.
Scaled_128 small_power_128(int n) {
  if (n == kFirstHugePower128) return {wide(cvtas_huge_pten_128[0]), cvtas_huge_pten_128_bexp[0]};
  const int first = n > kExactPower64 ? kExactPower64 : n;
  const Scaled_64 row = near_power_64(first), rest = near_power_64(n - first);
  const Scaled_128 power = {u128{row.mantissa} << 64, row.exponent};
  return n == first ? power : multiply(power, {u128{rest.mantissa} << 64, rest.exponent});
}

}  // namespace

Scaled_64 power_of_ten_64(int n) {
  if (n >= -kNearPower && n <= kNearPower) return near_power_64(n);
  if (n < 0) {
    const Power_Row at = power_row_above(cvtas_tiny_pten_64_map, -n);
    const Scaled_64 row = {cvtas_tiny_pten_64[at.row], cvtas_tiny_pten_64_bexp[at.row]};
    return multiply(row, near_power_64(at.exponent + n));
  }
  const Power_Row at = power_row_below(cvtas_huge_pten_64_map, n);
  const Scaled_64 row = {cvtas_huge_pten_64[at.row], cvtas_huge_pten_64_bexp[at.row]};
  return multiply(row, near_power_64(n - at.exponent));
}

Scaled_128 power_of_ten_128(int n) {
  Scaled_128 power = {u128{1} << 127, 1};
  bool started = false;
  const auto take = [&](const u64(&mantissa)[2], int exponent) {
    const Scaled_128 row = {wide(mantissa), exponent};
    power = started ? multiply(power, row) : row;
    started = true;
  };
  if (n > kLastSparsePower128 || n < -kLastSparsePower128) {
    for (int row = kBigRows - 1; row >= 0; --row) {
      const int big = kFirstBigPower << row;
      if (n >= big) {
        take(cvtas_huge_huge_pten_128[row], cvtas_huge_huge_pten_128_bexp[row]);
        n -= big;
      } else if (n <= -big) {
        take(cvtas_tiny_tiny_pten_128[row], cvtas_tiny_tiny_pten_128_bexp[row]);
        n += big;
      }
    }
  }
  if (n < 0 && n >= -kNearPower128) {
    take(cvtas_pten_128[n + kNearPower128], cvtas_pten_128_bexp[n + kNearPower128]);
    return power;
  }
  if (n < 0) {
    const Power_Row at = power_row_above(cvtas_tiny_pten_128_map, -n);
    take(cvtas_tiny_pten_128[at.row], cvtas_tiny_pten_128_bexp[at.row]);
    n += at.exponent;
  } else if (n >= kFirstHugePower128) {
    const Power_Row at = power_row_below(cvtas_huge_pten_128_map, n);
    take(cvtas_huge_pten_128[at.row], cvtas_huge_pten_128_bexp[at.row]);
    n -= at.exponent;
  }
  if (n == 0) return power;
  return started ? multiply(power, small_power_128(n)) : small_power_128(n);
}
