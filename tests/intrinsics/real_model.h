// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The models of the three kinds of reals, and errors in units of the last place.
#ifndef TAMRUN_TESTS_INTRINSICS_REAL_MODEL_H
#define TAMRUN_TESTS_INTRINSICS_REAL_MODEL_H

#include <math.h>

#include <algorithm>
#include <limits>

#include "platform/math.h"

/// Digits and least and largest exponent; the C++ library has none for binary128.
template <class Real>
struct Real_Model {
  static constexpr int kDigits = std::numeric_limits<Real>::digits, kLeast = std::numeric_limits<Real>::min_exponent,
                       kTop = std::numeric_limits<Real>::max_exponent;
};
template <>
struct Real_Model<Binary128> {
  static constexpr int kDigits = 113, kLeast = -16381, kTop = 16384;
};

/// Error of a result in units of its last place.
template <class Real>
double ulps(Real got, Binary128 want) {
  int exponent;
  frexpf128(want, &exponent);
  exponent = std::max(exponent, Real_Model<Real>::kLeast);
  return static_cast<double>(fabsf128(ldexpf128(got - want, Real_Model<Real>::kDigits - exponent)));
}

#endif
