// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The mathematical intrinsics with some logic of their own: signs, differences, whole powers, parts of complex values,
// and whole numbers.

#include <immintrin.h>
#include <math.h>

#include <bit>
#include <limits>
#include <type_traits>

#include "convert/ieee_format.h"
#include "intrinsics/math_entries.h"
#include "intrinsics/unaligned.h"

extern "C" {
// The compiler's whole powers.
float __powisf2(float x, int n);
double __powidf2(double x, int n);
float cabsf(Complex_Single z);
}

namespace {

constexpr double kDegreesPerRadian = std::bit_cast<double>(u64{0x404CA5DC1A63C1F8});

template <class Real>
using Format = std::conditional_t<sizeof(Real) == sizeof(float), Ieee_Single, Ieee_Double>;

bool sign_bit(Binary128 x) { return (std::bit_cast<u128>(x) >> 127) != 0; }

template <class Real>
Real magnitude(Real x) {
  using Bits = typename Format<Real>::Bits;
  return std::bit_cast<Real>(std::bit_cast<Bits>(x) & static_cast<Bits>(~Bits{0} >> 1));
}

template <class Real>
Real difference(Real x, Real y) {
  return y < x ? x - y : 0;
}

template <class Real>
Real with_sign(Real a, Real b) {
  return 0 <= b ? magnitude(a) : -magnitude(a);
}

// The processor's, which sets no errno.
float root(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }
double root(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }

double angle(double y, double x) { return atan2(y, x) * kDegreesPerRadian; }

/// Cuts the fraction off the image; below 1 in size +0.
template <class Real>
Real truncated(Real x) {
  using Ieee = Format<Real>;
  using Bits = typename Ieee::Bits;
  constexpr int kFraction = Ieee::kSignificandBits - 1, kFields = 2 * Ieee::kBias + 1;
  const Bits bits = std::bit_cast<Bits>(x);
  const int exponent = static_cast<int>(bits >> kFraction) & kFields, whole_bits = exponent - Ieee::kBias;
  if (whole_bits < 0) return 0;
  if (whole_bits >= kFraction) return x;
  return std::bit_cast<Real>(static_cast<Bits>(bits & ~Bits{0} << (kFraction - whole_bits)));
}

double nearest(double x) { return x >= 0 ? floor(x + 0.5) : -floor(0.5 - x); }

// Conversions of the processor: the least integer stands for all that does not fit.
i64 truncated_to(float x, i64) { return _mm_cvttss_si64(_mm_set_ss(x)); }
i64 truncated_to(double x, i64) { return _mm_cvttsd_si64(_mm_set_sd(x)); }
i32 truncated_to(float x, i32) { return _mm_cvttss_si32(_mm_set_ss(x)); }
i32 truncated_to(double x, i32) { return _mm_cvttsd_si32(_mm_set_sd(x)); }
i16 truncated_to(float x, i16) { return static_cast<i16>(truncated_to(x, i32{})); }
i16 truncated_to(double x, i16) { return static_cast<i16>(truncated_to(x, i32{})); }

/// `step` of a truncated value that is on the wrong side of x; the least integer outside of the bounds.
template <class Int, class Real, class Step>
Int whole_number(Real x, Real above, Real up_to, Step step) {
  constexpr Int kLeast = std::numeric_limits<Int>::min();
  if (!(x > above && x <= up_to)) return kLeast;
  const Int whole = truncated_to(x, Int{});
  return whole == kLeast ? kLeast : static_cast<Int>(whole + step(static_cast<Real>(whole)));
}

template <class Complex>
Complex conjugate(Complex z) {
  __imag__ z = -__imag__ z;
  return z;
}

Complex_Binary128 power_of(Complex_Binary128 z, Binary128 exponent) { return __cpowq(z, {exponent, 0}); }

}  // namespace

extern "C" {

float for_r_abs_a(const void* x) { return magnitude(load<float>(x)); }
float for_r_fabs_a(const void* x) { return magnitude(load<float>(x)); }
double for_d_abs_a(const void* x) { return magnitude(load<double>(x)); }
double for_d_fabs_a(const void* x) { return magnitude(load<double>(x)); }
void for_q_abs_a(void* result, const void* x) { store(result, __fabsq(load<Binary128>(x))); }
void for_q_fabs_a(void* result, const void* x) { store(result, __fabsq(load<Binary128>(x))); }

float for_r_dim_a(const void* x, const void* y) { return difference(load<float>(x), load<float>(y)); }
double for_d_dim_a(const void* x, const void* y) { return difference(load<double>(x), load<double>(y)); }
void for_q_dim_a(void* result, const void* x, const void* y) {
  if (__compareq(x, y) < 0) {
    store<Binary128>(result, 0);
  } else {
    __subq(result, x, y);
  }
}

float for_r_sign_a(const void* a, const void* b) { return with_sign(load<float>(a), load<float>(b)); }
double for_d_sign_a(const void* a, const void* b) { return with_sign(load<double>(a), load<double>(b)); }
void for_q_sign_a(void* result, const void* a, const void* b) {
  const Binary128 value = load<Binary128>(a);
  if (sign_bit(value) != sign_bit(load<Binary128>(b))) {
    __negq(result, &value);
  } else {
    store(result, value);
  }
}

float for_r_sqrt_a(const void* x) { return root(load<float>(x)); }
double for_d_sqrt_a(const void* x) { return root(load<double>(x)); }
float for_r_dsqrt_a(const void* x) { return static_cast<float>(root(load<double>(x))); }

double for_d_prod_a(const void* x, const void* y) { return static_cast<double>(load<float>(x)) * load<float>(y); }
void for_q_prod_a(void* result, const void* x, const void* y) {
  Binary128 left, right;
  __dtoq(&left, load<double>(x));
  __dtoq(&right, load<double>(y));
  __mulq(result, &left, &right);
}

float for_r_atan2d_v(float y, float x) { return static_cast<float>(angle(y, x)); }
float for_r_atan2d_a(const void* y, const void* x) { return for_r_atan2d_v(load<float>(y), load<float>(x)); }
double for_d_atan2d_v(double y, double x) { return angle(y, x); }
double for_d_atan2d_a(const void* y, const void* x) { return angle(load<double>(y), load<double>(x)); }

float for_r_int_v(float x) { return truncated(x); }
float for_r_int_a(const void* x) { return truncated(load<float>(x)); }
double for_d_int_v(double x) { return truncated(x); }
double for_d_int_a(const void* x) { return truncated(load<double>(x)); }
float for_r_dint_a(const void* x) { return static_cast<float>(truncated(load<double>(x))); }
float for_r_nint_v(float x) { return static_cast<float>(nearest(x)); }
float for_r_nint_a(const void* x) { return for_r_nint_v(load<float>(x)); }
double for_d_nint_v(double x) { return nearest(x); }
double for_d_nint_a(const void* x) { return nearest(load<double>(x)); }
float for_r_dnint_a(const void* x) { return static_cast<float>(nearest(load<double>(x))); }

#define TAMRUN_WHOLE(suffix, Int, Real, above, up_to)                                                \
  Int for_ceil##suffix##_v(Real x) {                                                                 \
    return whole_number<Int, Real>(x, above, up_to, [x](Real whole) { return whole < x ? 1 : 0; });  \
  }                                                                                                  \
  Int for_floor##suffix##_v(Real x) {                                                                \
    return whole_number<Int, Real>(x, above, up_to, [x](Real whole) { return whole > x ? -1 : 0; }); \
  }
TAMRUN_WHOLE_NUMBERS(TAMRUN_WHOLE)
#undef TAMRUN_WHOLE

float for_r_ipow_v(float x, i32 n) { return __powisf2(x, n); }
float for_r_ipow_a(const void* x, const i32* n) { return __powisf2(load<float>(x), load<i32>(n)); }
double for_d_ipow_v(double x, i32 n) { return __powidf2(x, n); }
double for_d_ipow_a(const void* x, const i32* n) { return __powidf2(load<double>(x), load<i32>(n)); }
void for_q_ipow_av(void* result, const void* x, i32 n) { store(result, __powiq(load<Binary128>(x), n)); }
void for_q_ipow_a(void* result, const void* x, const i32* n) { for_q_ipow_av(result, x, load<i32>(n)); }
void for_q_kpow_av(void* result, const void* x, i64 n) { for_q_ipow_av(result, x, static_cast<i32>(n)); }
void for_q_kpow_a(void* result, const void* x, const i64* n) { for_q_kpow_av(result, x, load<i64>(n)); }
void for_cq_ipow_av(void* result, const void* x, i32 n) {
  Binary128 exponent;
  __itoq(&exponent, n);
  store(result, power_of(load<Complex_Binary128>(x), exponent));
}
void for_cq_kpow_av(void* result, const void* x, i64 n) {
  Binary128 exponent;
  __jtoq(&exponent, n);
  store(result, power_of(load<Complex_Binary128>(x), exponent));
}

float for_r_creal_v(Complex_Single z) { return __real__ z; }
double for_d_creal_v(Complex_Double z) { return __real__ z; }
float for_r_creal_a(const void* z) { return __real__ load<Complex_Single>(z); }
float for_r_cimag_a(const void* z) { return __imag__ load<Complex_Single>(z); }
double for_d_creal_a(const void* z) { return __real__ load<Complex_Double>(z); }
double for_d_cdimag_a(const void* z) { return __imag__ load<Complex_Double>(z); }
Binary128 for_q_cqreal_v(const void* z) { return load<Complex_Binary128>(z).re; }
Binary128 for_q_cqimag_v(const void* z) { return load<Complex_Binary128>(z).im; }
void for_q_cqreal_a(void* result, const void* z) { store(result, for_q_cqreal_v(z)); }
void for_q_cqimag_a(void* result, const void* z) { store(result, for_q_cqimag_v(z)); }

void for_c_conjg_a(void* result, const void* z) { store(result, conjugate(load<Complex_Single>(z))); }
void for_cd_conjg_a(void* result, const void* z) { store(result, conjugate(load<Complex_Double>(z))); }
void* for_cq_conjg_v(void* result, Complex_Binary128 z) {
  __negq(&z.im, &z.im);
  store(result, z);
  return result;
}
void for_cq_conjg_a(void* result, const void* z) { for_cq_conjg_v(result, load<Complex_Binary128>(z)); }

float for_r_cabs_a(const void* z) { return cabsf(load<Complex_Single>(z)); }
double for_d_cabs_a(const void* z) {
  const double re = for_d_creal_a(z), im = for_d_cdimag_a(z);
  return root(re * re + im * im);
}
double for_d_cdabs_a(const void* z) { return for_d_cabs_a(z); }
void for_q_cqabs_a(void* result, const void* z) { store(result, __cabsq(load<Complex_Binary128>(z))); }
void for_cq_abs_a(void* result, const void* z) {
  store<Complex_Binary128>(result, {__cabsq(load<Complex_Binary128>(z)), 0});
}

}  // extern "C"
