// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The mathematical intrinsics that are one call of the mathematical library.

#include <math.h>

#include "intrinsics/math_entries.h"
#include "intrinsics/unaligned.h"

extern "C" {

// The C library's, whose header is for C alone.
#define TAMRUN_COMPLEX(name)              \
  Complex_Single name##f(Complex_Single); \
  Complex_Double name(Complex_Double);
TAMRUN_COMPLEX(ccos)
TAMRUN_COMPLEX(cexp)
TAMRUN_COMPLEX(clog)
TAMRUN_COMPLEX(clog10)
TAMRUN_COMPLEX(csin)
TAMRUN_COMPLEX(ctan)
#undef TAMRUN_COMPLEX

#define TAMRUN_ONE_RETURNED(kind, Type, name, function) \
  Type for_##kind##_##name##_a(const void* x) { return function(load<Type>(x)); }
#define TAMRUN_ONE_STORED(kind, Type, name, function) \
  void for_##kind##_##name##_a(void* result, const void* x) { store<Type>(result, function(load<Type>(x))); }
#define TAMRUN_ROW(...) TAMRUN_MATH_ROW(TAMRUN_ONE, __VA_ARGS__)
TAMRUN_MATH_ONE(TAMRUN_ROW)
#undef TAMRUN_ROW

#define TAMRUN_TWO_RETURNED(kind, Type, name, function) \
  Type for_##kind##_##name##_a(const void* x, const void* y) { return function(load<Type>(x), load<Type>(y)); }
#define TAMRUN_TWO_STORED(kind, Type, name, function)                        \
  void for_##kind##_##name##_a(void* result, const void* x, const void* y) { \
    store<Type>(result, function(load<Type>(x), load<Type>(y)));             \
  }
#define TAMRUN_ROW(...) TAMRUN_MATH_ROW(TAMRUN_TWO, __VA_ARGS__)
TAMRUN_MATH_TWO(TAMRUN_ROW)
#undef TAMRUN_ROW

#define TAMRUN_ORDER_RETURNED(kind, Type, name, function) \
  Type for_##kind##_##name##_a(const void* order, const void* x) { return function(load<i32>(order), load<Type>(x)); }
#define TAMRUN_ORDER_STORED(kind, Type, name, function)                          \
  void for_##kind##_##name##_a(void* result, const void* order, const void* x) { \
    store<Type>(result, function(load<i32>(order), load<Type>(x)));              \
  }
#define TAMRUN_ROW(...) TAMRUN_MATH_ROW(TAMRUN_ORDER, __VA_ARGS__)
TAMRUN_MATH_ORDER(TAMRUN_ROW)
#undef TAMRUN_ROW

#define TAMRUN_CALL(kind, name, Complex, function) \
  Complex for_##kind##_##name##_v(Complex z) { return function(z); }
TAMRUN_MATH_COMPLEX_VALUE(TAMRUN_CALL)
#undef TAMRUN_CALL

float for_r_pow_v(float x, float y) { return powf(x, y); }
double for_d_pow_v(double x, double y) { return pow(x, y); }

void for_q_besjn_av(void* result, i32 order, const void* x) { store(result, __jnq(order, load<Binary128>(x))); }
void for_q_besyn_av(void* result, i32 order, const void* x) { store(result, __ynq(order, load<Binary128>(x))); }
void for_q_ldexp_av(void* result, const void* x, i32 exponent) {
  store(result, __ldexpq(load<Binary128>(x), exponent));
}
void for_q_ldexp_a(void* result, const void* x, const i32* exponent) { for_q_ldexp_av(result, x, load<i32>(exponent)); }
void for_q_frexp_a(void* result, const void* x, i32* exponent) {
  i32 power;
  store(result, __frexpq(load<Binary128>(x), &power));
  store(exponent, power);
}

// Roundings that the library's functions are.
float r_int(const void* x) { return truncf(load<float>(x)); }
float r_int_val(float x) { return truncf(x); }
double d_int(const void* x) { return trunc(load<double>(x)); }
double d_int_val(double x) { return trunc(x); }
float r_nint(const void* x) { return roundf(load<float>(x)); }
float f_lanint_val(float x) { return roundf(x); }
double d_nint(const void* x) { return round(load<double>(x)); }
double f_ldnint_val(double x) { return round(x); }
i64 b_nint(const void* x) { return lroundf(load<float>(x)); }
i64 h_nint(const void* x) { return lroundf(load<float>(x)); }
i64 i_nint(const void* x) { return lroundf(load<float>(x)); }
i64 k_nint(const void* x) { return llroundf(load<float>(x)); }
i64 b_dnnt(const void* x) { return lround(load<double>(x)); }
i64 h_dnnt(const void* x) { return lround(load<double>(x)); }
i64 i_dnnt(const void* x) { return lround(load<double>(x)); }
i64 k_dnnt(const void* x) { return llround(load<double>(x)); }
void a_nintq(void* result, const void* x) { store(result, __nintq(load<Binary128>(x))); }
void f_lqnint(void* result, const void* x) { store(result, __nintq(load<Binary128>(x))); }
void a_intq(void* result, const void* x) { store(result, __truncq(load<Binary128>(x))); }
void f_lqint(void* result, const void* x) { store(result, __truncq(load<Binary128>(x))); }

}  // extern "C"

namespace {

i32 rounded_int(Binary128 rounded) { return __qtoi(&rounded, QUAD_ROUNDED_ALREADY); }
i64 rounded_long(Binary128 rounded) { return __qtoj(&rounded, QUAD_ROUNDED_ALREADY); }

}  // namespace

extern "C" {

void f_qnint(i32* result, const void* x) { store(result, rounded_int(__nintq(load<Binary128>(x)))); }
i32 h_iqnint(const void* x) { return rounded_int(__nintq(load<Binary128>(x))); }
i32 i_iqnint(const void* x) { return rounded_int(__nintq(load<Binary128>(x))); }
i64 k_iqnint(const void* x) { return rounded_long(__nintq(load<Binary128>(x))); }
i32 for_h_qint_a(const void* x) { return rounded_int(__truncq(load<Binary128>(x))); }
i32 for_i_qint_a(const void* x) { return rounded_int(__truncq(load<Binary128>(x))); }
i64 for_k_qint_a(const void* x) { return rounded_long(__truncq(load<Binary128>(x))); }

}  // extern "C"
