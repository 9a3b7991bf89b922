// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any power of ten in range as a binary fraction of 64 or 128 bits, composed of rows of the tables. Each product is
// normalised and rounded, the first dropped bit being added.
#ifndef TAMRUN_CONVERT_POWER_PRODUCT_H
#define TAMRUN_CONVERT_POWER_PRODUCT_H

#include "convert/ieee_format.h"

/// mantissa / 2^bits * 2^exponent with the top bit of the mantissa set.
template <class Mantissa>
struct Binary_Scaled {
  Mantissa mantissa;
  int exponent;
};
using Scaled_64 = Binary_Scaled<u64>;
using Scaled_128 = Binary_Scaled<u128>;

/// The range of power_of_ten_64() and of power_of_ten_128().
inline constexpr int kMinPower64 = -395, kMaxPower64 = 351;
inline constexpr int kMinPower128 = -8191, kMaxPower128 = 8191;

Scaled_64 power_of_ten_64(int n);
Scaled_128 power_of_ten_128(int n);

/// All 256 bits of a product, high half first.
struct Product_256 {
  u128 high, low;
};
inline Product_256 multiply_128(u128 a, u128 b) {
  const u64 a1 = static_cast<u64>(a >> 64), a0 = static_cast<u64>(a);
  const u64 b1 = static_cast<u64>(b >> 64), b0 = static_cast<u64>(b);
  const u128 low = u128{a0} * b0, middle1 = u128{a1} * b0, middle2 = u128{a0} * b1;
  const u128 carry = (low >> 64) + static_cast<u64>(middle1) + static_cast<u64>(middle2);
  return {u128{a1} * b1 + (middle1 >> 64) + (middle2 >> 64) + (carry >> 64), (carry << 64) | static_cast<u64>(low)};
}

/// Shifts the top bit into place where a product of two normalised factors has not got it, and lowers the exponent.
/// The products fall either way, too often for a branch.
inline u128 normalised_product(u128 product, int* exponent) {
  const bool low = static_cast<i64>(product >> 64) >= 0;
  *exponent -= low;
  return product + (product & -u128{low});
}

#endif
