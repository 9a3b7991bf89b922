// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The model-number intrinsics: EXPONENT, FRACTION, NEAREST, RRSPACING, SCALE, SET_EXPONENT and SPACING.

#include <math.h>

#include <bit>
#include <limits>

#include "convert/ieee_format.h"
#include "intrinsics/math_entries.h"
#include "intrinsics/unaligned.h"

namespace {

float split(float x, i32* exponent) { return frexpf(x, exponent); }
double split(double x, i32* exponent) { return frexp(x, exponent); }
Binary128 split(Binary128 x, i32* exponent) { return __frexpq(x, exponent); }
float neighbour(float x, float to) { return nextafterf(x, to); }
double neighbour(double x, double to) { return nextafter(x, to); }
Binary128 neighbour(Binary128 x, Binary128 to) { return __nextafterq(x, to); }
float scaled(float x, i32 power) { return static_cast<float>(ldexp(static_cast<double>(x), power)); }
double scaled(double x, i32 power) { return ldexp(x, power); }
Binary128 scaled(Binary128 x, i32 power) { return __ldexpq(x, power); }

template <class Real>
struct Format_Of;
template <>
struct Format_Of<float> : Ieee_Single {};
template <>
struct Format_Of<double> : Ieee_Double {};
template <>
struct Format_Of<Binary128> : Ieee_Quad {};

template <class Real>
struct Model {
  using Ieee = Format_Of<Real>;
  using Bits = typename Ieee::Bits;
  static constexpr int kDigits = Ieee::kSignificandBits, kFraction = kDigits - 1, kTopField = 2 * Ieee::kBias + 1;
  static constexpr Bits kOneField = Bits{1} << kFraction, kFractionMask = kOneField - 1;
  static constexpr Bits kSign = Bits{1} << (8 * sizeof(Bits) - 1);

  static Bits bits(Real x) { return std::bit_cast<Bits>(x); }
  static Real real(Bits bits) { return std::bit_cast<Real>(bits); }
  static int field(Bits bits) { return static_cast<int>(bits >> kFraction) & kTopField; }
  static Real assembled(Bits sign, int field, Bits fraction) {
    return real((sign & kSign) | static_cast<Bits>(field) << kFraction | (fraction & kFractionMask));
  }

  static i32 exponent(Real x) {
    if (field(bits(x)) == kTopField) return std::numeric_limits<i32>::max();
    i32 power;
    split(x, &power);
    return power;
  }

  static Real fraction(Real x) {
    i32 power;
    return split(x, &power);
  }

  /// Only the sign of the direction counts.
  static Real nearest(Real x, Real direction) { return neighbour(x, assembled(bits(direction), kTopField, 0)); }

  /// A NaN of 16 bytes gives a number: only its bits are looked at.
  static Real rrspacing(Real x) {
    Bits image = bits(x);
    if ((image & ~kSign) == 0 || (sizeof(Real) < sizeof(Binary128) && x != x)) return 0;
    if (field(image) == 0) {
      const Real power = assembled(0, Ieee::kBias + kFraction, 0);
      image = bits(x * power);
    }
    return assembled(0, Ieee::kBias + kFraction, image);
  }

  /// Never below the smallest normal number; infinities and NaNs give a number by their exponent field.
  static Real spacing(Real x) {
    const int from = field(bits(x));
    return assembled(0, from <= kFraction ? 1 : from - kFraction, 0);
  }

  static Real setexp(Real x, i32 exponent) {
    constexpr i32 kLeast = 2 - Ieee::kBias;  // exponent of the smallest normal number
    if (x == 0) return x;
    Bits image = bits(x);
    if (exponent > Ieee::kBias + 1) return assembled(image, kTopField, 0);
    if (field(image) == 0) image = bits(scaled(x, kDigits));
    if (exponent >= kLeast) return assembled(image, exponent + Ieee::kBias - 1, image);
    if constexpr (sizeof(Real) == sizeof(float)) return denormal(image, static_cast<i64>(kLeast) - 1 - exponent);
    return scaled(assembled(image, 1, image), exponent - kLeast);
  }

 private:
  /// The fraction with its first bit, `places` right of the highest place that a denormal has; bits are cut off.
  static Real denormal(Bits image, i64 places) {
    const Bits digits = (kOneField | (image & kFractionMask)) >> 1;
    return assembled(image, 0, places < kFraction ? digits >> places : 0);
  }
};

}  // namespace

extern "C" {

#define TAMRUN_MODEL(bytes, Real)                                                                    \
  i32 for_exponent##bytes##_v(Real x) { return Model<Real>::exponent(x); }                           \
  Real for_fraction##bytes##_v(Real x) { return Model<Real>::fraction(x); }                          \
  Real for_nearest##bytes##_v(Real x, Real direction) { return Model<Real>::nearest(x, direction); } \
  Real for_rrspacing##bytes##_v(Real x) { return Model<Real>::rrspacing(x); }                        \
  Real for_scale##bytes##_v(Real x, i32 power) { return scaled(x, power); }                          \
  Real for_setexp##bytes##_v(Real x, i32 exponent) { return Model<Real>::setexp(x, exponent); }      \
  Real for_spacing##bytes##_v(Real x) { return Model<Real>::spacing(x); }
TAMRUN_MODEL_KINDS(TAMRUN_MODEL)
#undef TAMRUN_MODEL

i32 for_exponent16_a(const void* x) { return for_exponent16_v(load<Binary128>(x)); }
void for_fraction16_a(void* result, const void* x) { store(result, for_fraction16_v(load<Binary128>(x))); }
void for_nearest16_a(void* result, const void* x, const void* direction) {
  store(result, for_nearest16_v(load<Binary128>(x), load<Binary128>(direction)));
}
void for_rrspacing16_a(void* result, const void* x) { store(result, for_rrspacing16_v(load<Binary128>(x))); }
void for_scale16_a(void* result, const void* x, const i32* power) {
  store(result, for_scale16_v(load<Binary128>(x), load<i32>(power)));
}
void for_setexp16_a(void* result, const void* x, const i32* exponent) {
  store(result, for_setexp16_v(load<Binary128>(x), load<i32>(exponent)));
}
void for_spacing16_a(void* result, const void* x) { store(result, for_spacing16_v(load<Binary128>(x))); }

}  // extern "C"
