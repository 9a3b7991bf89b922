// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Functions of angles in degrees, and cotangents. A single is worked out in double precision and a double in extended
// precision, whose errors are far below the result's last place. binary128 has nothing wider; results that are exact are
// told apart there.

#include <math.h>

#include <type_traits>

#include "platform/math.h"

namespace {

inline double sine(double x) { return sin(x); }
inline double cosine(double x) { return cos(x); }
inline double tangent(double x) { return tan(x); }
inline double arc_sine(double x) { return asin(x); }
inline double arc_cosine(double x) { return acos(x); }
inline double arc_tangent(double x) { return atan(x); }
inline double remainder_of(double x, double by) { return fmod(x, by); }

inline long double sine(long double x) { return sinl(x); }
inline long double cosine(long double x) { return cosl(x); }
inline long double tangent(long double x) { return tanl(x); }
inline long double arc_sine(long double x) { return asinl(x); }
inline long double arc_cosine(long double x) { return acosl(x); }
inline long double arc_tangent(long double x) { return atanl(x); }

inline Binary128 sine(Binary128 x) { return __sinq(x); }
inline Binary128 cosine(Binary128 x) { return __cosq(x); }
inline Binary128 tangent(Binary128 x) { return __tanq(x); }
inline Binary128 arc_sine(Binary128 x) { return __asinq(x); }
inline Binary128 arc_cosine(Binary128 x) { return __acosq(x); }
inline Binary128 arc_tangent(Binary128 x) { return __atanq(x); }
inline Binary128 remainder_of(Binary128 x, Binary128 by) { return __fmodq(x, by); }

template <class Work>
constexpr Work kRadian = static_cast<Work>(0.0174532925199432957692369076848861285250933798Q);
template <class Work>
constexpr Work kDegrees = static_cast<Work>(57.2957795130823208767981548141051722660080813Q);
constexpr double kCircle = 360, kQuarter = 90;

/// Up to here the number of a quarter fits an integer and its multiple of 90 is exact.
constexpr double kManyTurns = 0x1p30;

/// 90 x quarter + degrees, with degrees between -45 and 45 or a rounding error outside.
template <class Real>
struct Angle {
  Real degrees;
  int quarter;
  bool on_axis() const { return degrees == 0; }
  bool odd() const { return (quarter & 1) != 0; }
};

template <class Real>
bool is_finite(Real x) {
  return x - x == 0;
}

/// Exact; `x` is finite.
template <class Real>
Angle<Real> reduced(Real x) {
  const Real turned = x > -kManyTurns && x < kManyTurns ? x : remainder_of(x, static_cast<Real>(kCircle));
  const i32 quarter = static_cast<i32>(turned / kQuarter + (turned < 0 ? -0.5 : 0.5));
  return {turned - quarter * static_cast<Real>(kQuarter), quarter & 3};
}

/// The functions for arguments of type `Real` with `Work` between argument and result.
template <class Real, class Work>
struct Degrees {
  static constexpr bool kNothingWider = std::is_same_v<Work, Binary128>;

  /// The exact results of a function that is odd: `first` gives `result` with its sign.
  static bool exact(Real x, Real first, Real result, Work* value) {
    if (!kNothingWider || (x != first && x != -first)) return false;
    *value = x < 0 ? -result : result;
    return true;
  }

  static Work near_sine(Real degrees) {
    Work value;
    return exact(degrees, 30, 0.5, &value) ? value : sine(degrees * kRadian<Work>);
  }
  static Work near_cosine(Real degrees) { return cosine(degrees * kRadian<Work>); }
  static Work near_tangent(Real degrees) {
    Work value;
    return exact(degrees, 45, 1, &value) ? value : tangent(degrees * kRadian<Work>);
  }

  static Work sind(Real x) {
    if (!is_finite(x)) return x - x;
    const Angle<Real> angle = reduced(x);
    if (angle.on_axis() && !angle.odd()) return x * 0;
    const Work value = angle.odd() ? near_cosine(angle.degrees) : near_sine(angle.degrees);
    return angle.quarter >= 2 ? -value : value;
  }

  static Work cosd(Real x) {
    if (!is_finite(x)) return x - x;
    const Angle<Real> angle = reduced(x);
    if (angle.on_axis() && angle.odd()) return 0;
    const Work value = angle.odd() ? near_sine(angle.degrees) : near_cosine(angle.degrees);
    return angle.quarter == 1 || angle.quarter == 2 ? -value : value;
  }

  static Work tand(Real x) {
    if (!is_finite(x)) return x - x;
    const Angle<Real> angle = reduced(x);
    if (angle.on_axis()) return sind(x) / cosd(x);
    const Work value = near_tangent(angle.degrees);
    return angle.odd() ? -1 / value : value;
  }

  static Work cotd(Real x) {
    if (!is_finite(x)) return x - x;
    const Angle<Real> angle = reduced(x);
    if (angle.on_axis()) return cosd(x) / sind(x);
    const Work value = near_tangent(angle.degrees);
    return angle.odd() ? -value : 1 / value;
  }

  static Work asind(Real x) {
    Work value;
    if (exact(x, 0.5, 30, &value) || exact(x, 1, 90, &value)) return value;
    return arc_sine(static_cast<Work>(x)) * kDegrees<Work>;
  }

  static Work acosd(Real x) {
    Work value;
    if (exact(x, 0.5, 30, &value) || exact(x, 1, 90, &value) || exact(x, 0, 0, &value)) return kQuarter - value;
    return arc_cosine(static_cast<Work>(x)) * kDegrees<Work>;
  }

  static Work atand(Real x) {
    Work value;
    if (exact(x, 1, 45, &value) || exact(x, HUGE_VAL, 90, &value)) return value;
    return arc_tangent(static_cast<Work>(x)) * kDegrees<Work>;
  }

  static Work cot(Real x) { return 1 / tangent(static_cast<Work>(x)); }
};

}  // namespace

extern "C" {

#define TAMRUN_THREE_KINDS(name)                                                               \
  float name##f(float x) { return static_cast<float>(Degrees<double, double>::name(x)); }      \
  double name(double x) { return static_cast<double>(Degrees<double, long double>::name(x)); } \
  Binary128 __##name##q(Binary128 x) { return Degrees<Binary128, Binary128>::name(x); }
TAMRUN_DEGREES(TAMRUN_THREE_KINDS)
TAMRUN_THREE_KINDS(cot)
#undef TAMRUN_THREE_KINDS

}  // extern "C"
