// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The models of the three kinds of reals, errors in units of the last place, and calls with all places unaligned.
#ifndef TAMRUN_TESTS_INTRINSICS_REAL_MODEL_H
#define TAMRUN_TESTS_INTRINSICS_REAL_MODEL_H

#include <math.h>
#include <string.h>

#include <algorithm>
#include <limits>

#include "intrinsics/unaligned.h"
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

/// A value with the sign of zero and NaNs told apart from others.
template <class Real>
bool same(Real a, Real b) {
  return memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}

/// The place as the type that the entry point's last argument points to.
template <class Argument>
inline Argument odd_place(void (*)(void*, const void*, Argument), char* place) {
  return reinterpret_cast<Argument>(place);
}

/// What a stored result is, with arguments and result at odd addresses.
template <class Result, class Call, class... Arguments>
Result stored(Call call, Arguments... arguments) {
  char result[sizeof(Result) + 1], copies[sizeof...(Arguments)][sizeof(Complex_Binary128) + 1];
  size_t n = 0;
  (memcpy(copies[n++] + 1, &arguments, sizeof arguments), ...);
  if constexpr (sizeof...(Arguments) == 1) call(result + 1, copies[0] + 1);
  if constexpr (sizeof...(Arguments) == 2) call(result + 1, copies[0] + 1, odd_place(call, copies[1] + 1));
  return load<Result>(result + 1);
}

#endif
