// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Powers of 10 of complex values, and whole powers of binary128.

#include <math.h>

#include "platform/math.h"

extern "C" Complex_Single cexpf(Complex_Single z);
extern "C" Complex_Double cexp(Complex_Double z);
/// The compiler's own: as many products as the power has bits.
extern "C" Binary128 __powitf2(Binary128 x, int power);

namespace {

constexpr Binary128 kLog10 = 2.30258509299404568401799145468436417702784514Q;
constexpr Binary128 kLeastNormal = 0x1p-16382Q;

/// Powers up to here take two products in a row at most, and are as accurate as the library's function.
constexpr i32 kFewProducts = 4;

template <class Real>
bool is_finite(Real x) {
  return x - x == 0;
}

}  // namespace

extern "C" {

Binary128 __powiq(Binary128 x, i32 power) {
  return power >= 0 && power <= kFewProducts ? __powitf2(x, power) : __powq(x, power);
}

// The wider type holds 10 to the real part where only its product with the cosine is in range.

Complex_Single cexp10f(Complex_Single z) {
  const double re = __real__ z, im = __imag__ z, angle = im * static_cast<double>(kLog10);
  if (!is_finite(re) || !is_finite(im)) return cexpf(complex_of(__real__ z, static_cast<float>(angle)));
  const double size = exp10(re);
  return complex_of(static_cast<float>(size * cos(angle)), static_cast<float>(size * sin(angle)));
}

Complex_Double cexp10(Complex_Double z) {
  const long double re = __real__ z, im = __imag__ z, angle = im * static_cast<long double>(kLog10);
  if (!is_finite(re) || !is_finite(im)) return cexp(complex_of(__real__ z, static_cast<double>(angle)));
  const long double size = exp10l(re);
  return complex_of(static_cast<double>(size * cosl(angle)), static_cast<double>(size * sinl(angle)));
}

Complex_Binary128 __cexp10q(Complex_Binary128 z) {
  const Binary128 angle = z.im * kLog10;
  if (!is_finite(z.re) || !is_finite(z.im)) return __cexpq({z.re, angle});
  Binary128 size = __exp10q(z.re), rest = 1;
  if (!is_finite(size) || size < kLeastNormal) size = rest = __exp10q(z.re / 2);
  return {size * __cosq(angle) * rest, size * __sinq(angle) * rest};
}

}  // extern "C"
