// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Mathematics: binary128 under the names __<function>q, arithmetic on it by address, functions of angles in degrees,
// cotangents, and what the C library lacks for complex values. Names that the C library has otherwise are its functions,
// called directly.
#ifndef TAMRUN_PLATFORM_MATH_H
#define TAMRUN_PLATFORM_MATH_H

#include <string.h>

#include "tamrun/types.h"

typedef __float128 Binary128;

/// Passed, returned and laid out as the compilers' complex types.
struct Complex_Binary128 {
  Binary128 re, im;
};
typedef _Complex float Complex_Single;
typedef _Complex double Complex_Double;

// clang-format off

/// (x): the name behind the underscores and the C library's.
#define TAMRUN_QUAD_ONE(X) \
  X(acos, acosf128) X(acosh, acoshf128) X(asin, asinf128) X(asinh, asinhf128) X(atan, atanf128) X(atanh, atanhf128) \
  X(cbrt, cbrtf128) X(ceil, ceilf128) X(cos, cosf128) X(cosh, coshf128) X(erf, erff128) X(erfc, erfcf128) \
  X(exp, expf128) X(exp10, exp10f128) X(exp2, exp2f128) X(fabs, fabsf128) X(floor, floorf128) X(gamma, tgammaf128) \
  X(j0, j0f128) X(j1, j1f128) X(log, logf128) X(log10, log10f128) X(log2, log2f128) X(nint, roundf128) X(sin, sinf128) \
  X(sinh, sinhf128) X(tan, tanf128) X(tanh, tanhf128) X(trunc, truncf128) X(y0, y0f128) X(y1, y1f128)

/// (x, y).
#define TAMRUN_QUAD_TWO(X) X(atan2, atan2f128) X(fmod, fmodf128) X(nextafter, nextafterf128) X(pow, powf128)

/// (z).
#define TAMRUN_QUAD_COMPLEX(X) \
  X(ccos, ccosf128) X(ccosh, ccoshf128) X(cexp, cexpf128) X(clog, clogf128) X(clog10, clog10f128) X(csin, csinf128) \
  X(csinh, csinhf128) X(ctan, ctanf128) X(ctanh, ctanhf128)

// clang-format on

/// The whole number that a rounded value is; the least integer for what does not fit, as the processor gives it.
template <class Int>
Int whole_binary128(Binary128 x) {
  constexpr Int kLeast = static_cast<Int>(Int{1} << (8 * sizeof(Int) - 1));
  const Binary128 bound = -static_cast<Binary128>(kLeast);
  return x >= -bound && x < bound ? static_cast<Int>(x) : kLeast;
}

inline Complex_Single complex_of(float re, float im) {
  Complex_Single z;
  __real__ z = re;
  __imag__ z = im;
  return z;
}
inline Complex_Double complex_of(double re, double im) {
  Complex_Double z;
  __real__ z = re;
  __imag__ z = im;
  return z;
}

extern "C" {

#define TAMRUN_ONE(name, function) Binary128 __##name##q(Binary128 x) __asm__(#function);
#define TAMRUN_TWO(name, function) Binary128 __##name##q(Binary128 x, Binary128 y) __asm__(#function);
#define TAMRUN_COMPLEX(name, function) Complex_Binary128 __##name##q(Complex_Binary128 z) __asm__(#function);
TAMRUN_QUAD_ONE(TAMRUN_ONE)
TAMRUN_QUAD_TWO(TAMRUN_TWO)
TAMRUN_QUAD_COMPLEX(TAMRUN_COMPLEX)
#undef TAMRUN_ONE
#undef TAMRUN_TWO
#undef TAMRUN_COMPLEX
Complex_Binary128 __cpowq(Complex_Binary128 z, Complex_Binary128 power) __asm__("cpowf128");
Binary128 __cabsq(Complex_Binary128 z) __asm__("cabsf128");
Binary128 __ldexpq(Binary128 x, i32 exponent) __asm__("ldexpf128");
Binary128 __frexpq(Binary128 x, i32* exponent) __asm__("frexpf128");
Binary128 __jnq(i32 order, Binary128 x) __asm__("jnf128");
Binary128 __ynq(i32 order, Binary128 x) __asm__("ynf128");
/// x to a whole power.
Binary128 __powiq(Binary128 x, i32 power);

// Angles in degrees. The argument is reduced in degrees, where that is exact: multiples of 30 and 45 give the exact
// result where there is one. A sine or tangent of 0 has the argument's sign, a cosine of 0 is +0, and what divides by
// such a zero is the infinity of that sign. Single and double results are within 1 unit in the last place.
#define TAMRUN_DEGREES(X) X(sind) X(cosd) X(tand) X(cotd) X(asind) X(acosd) X(atand)
#define TAMRUN_THREE_KINDS(name) \
  float name##f(float x);        \
  double name(double x);         \
  Binary128 __##name##q(Binary128 x);
TAMRUN_DEGREES(TAMRUN_THREE_KINDS)
/// Cotangent of an angle in radians.
TAMRUN_THREE_KINDS(cot)
#undef TAMRUN_THREE_KINDS

/// 10 to the power z.
Complex_Single cexp10f(Complex_Single z);
Complex_Double cexp10(Complex_Double z);
Complex_Binary128 __cexp10q(Complex_Binary128 z);

// Arithmetic by address; any alignment, and the result may be an operand.

inline Binary128 binary128_at(const void* x) {
  Binary128 value;
  memcpy(&value, x, sizeof value);
  return value;
}
inline void store_binary128(void* result, Binary128 value) { memcpy(result, &value, sizeof value); }

inline void __addq(void* result, const void* a, const void* b) {
  store_binary128(result, binary128_at(a) + binary128_at(b));
}
inline void __subq(void* result, const void* a, const void* b) {
  store_binary128(result, binary128_at(a) - binary128_at(b));
}
inline void __mulq(void* result, const void* a, const void* b) {
  store_binary128(result, binary128_at(a) * binary128_at(b));
}
inline void __negq(void* result, const void* a) { store_binary128(result, -binary128_at(a)); }

/// Negative, 0 or positive as a is below, equal to or above b; positive with a NaN.
inline int __compareq(const void* a, const void* b) {
  const Binary128 left = binary128_at(a), right = binary128_at(b);
  return left < right ? -1 : left == right ? 0 : 1;
}

inline void __itoq(void* result, i32 value) { store_binary128(result, value); }
inline void __jtoq(void* result, i64 value) { store_binary128(result, value); }
inline void __dtoq(void* result, double value) { store_binary128(result, value); }

/// How a conversion to an integer rounds.
enum Quad_Rounding : int { QUAD_ROUNDED_ALREADY = 1 };
inline i32 __qtoi(const void* x, Quad_Rounding) { return whole_binary128<i32>(binary128_at(x)); }
inline i64 __qtoj(const void* x, Quad_Rounding) { return whole_binary128<i64>(binary128_at(x)); }

}  // extern "C"

#endif
