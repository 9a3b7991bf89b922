// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The mathematical intrinsics. A name is made of for_, the kind of the arguments (r, d: REAL(4), REAL(8); q: REAL(16);
// c, cd, cq: their complex), the function and the form: _a all arguments by address, _v by value, _av an integer by value
// and the rest by address. Kinds r and d return the result; an _a or _av form of the others has the result's address as
// its first argument. Addresses need no alignment.
#ifndef TAMRUN_INTRINSICS_MATH_ENTRIES_H
#define TAMRUN_INTRINSICS_MATH_ENTRIES_H

#include "platform/math.h"
#include "tamrun/types.h"

// clang-format off

/// for_<kind>_<name>_a(x): name, then the function called for r, d, q, c, cd, cq; an empty cell is no entry point.
#define TAMRUN_MATH_ONE(X) \
  X(acos,   acosf,  acos,  __acosq, , , ) \
  X(acosd,  acosdf, acosd, __acosdq, , , ) \
  X(acosh,  acoshf, acosh, __acoshq, , , ) \
  X(asin,   asinf,  asin,  __asinq, , , ) \
  X(asind,  asindf, asind, __asindq, , , ) \
  X(asinh,  asinhf, asinh, __asinhq, , , ) \
  X(atan,   atanf,  atan,  __atanq, , , ) \
  X(atand,  atandf, atand, __atandq, , , ) \
  X(atanh,  atanhf, atanh, __atanhq, , , ) \
  X(besj0,  j0f,    j0,    __j0q, , , ) \
  X(besj1,  j1f,    j1,    __j1q, , , ) \
  X(besy0,  y0f,    y0,    __y0q, , , ) \
  X(besy1,  y1f,    y1,    __y1q, , , ) \
  X(cbrt,   cbrtf,  cbrt,  __cbrtq, , , ) \
  X(ceil,   , ,            __ceilq, , , ) \
  X(cos,    cosf,   cos,   __cosq,   ccosf,   ccos,   __ccosq) \
  X(cosd,   cosdf,  cosd,  __cosdq, , , ) \
  X(cosh,   coshf,  cosh,  __coshq, , ,               __ccoshq) \
  X(cot,    , ,            __cotq, , , ) \
  X(cotan,  cotf,   cot,   __cotq, , , ) \
  X(cotand, cotdf,  cotd,  __cotdq, , , ) \
  X(erf,    erff,   erf,   __erfq, , , ) \
  X(erfc,   erfcf,  erfc,  __erfcq, , , ) \
  X(exp,    expf,   exp,   __expq,   cexpf,   cexp,   __cexpq) \
  X(exp10,  exp10f, exp10, __exp10q, cexp10f, cexp10, __cexp10q) \
  X(exp2,   , ,            __exp2q, , , ) \
  X(floor,  , ,            __floorq, , , ) \
  X(gamma,  , ,            __gammaq, , , ) \
  X(log,    logf,   log,   __logq,   clogf,   clog,   __clogq) \
  X(log10,  log10f, log10, __log10q, clog10f, clog10, __clog10q) \
  X(log2,   , ,            __log2q, , , ) \
  X(sin,    sinf,   sin,   __sinq,   csinf,   csin,   __csinq) \
  X(sind,   sindf,  sind,  __sindq, , , ) \
  X(sinh,   sinhf,  sinh,  __sinhq, , ,               __csinhq) \
  X(tan,    tanf,   tan,   __tanq,   ctanf,   ctan,   __ctanq) \
  X(tand,   tandf,  tand,  __tandq, , , ) \
  X(tanh,   tanhf,  tanh,  __tanhq, , ,               __ctanhq)

/// for_<kind>_<name>_a(x, y).
#define TAMRUN_MATH_TWO(X) \
  X(atan2, atan2f, atan2, __atan2q, , , ) \
  X(fmod,  , ,            __fmodq, , , ) \
  X(mod,   fmodf,  fmod,  __fmodq, , , ) \
  X(pow,   powf,   pow,   __powq, , , __cpowq)

/// for_<kind>_<name>_a(i32 order, x).
#define TAMRUN_MATH_ORDER(X) \
  X(besjn, jnf, jn, __jnq, , , ) \
  X(besyn, ynf, yn, __ynq, , , )

/// Calls by value: kind, name, type, function.
#define TAMRUN_MATH_COMPLEX_VALUE(X) \
  X(c, cos, Complex_Single, ccosf)  X(c, exp, Complex_Single, cexpf)  X(c, exp10, Complex_Single, cexp10f) \
  X(cd, cos, Complex_Double, ccos)  X(cd, exp, Complex_Double, cexp)  X(cd, exp10, Complex_Double, cexp10)

/// Inquiries and changes of the model number: bytes of the real, its type.
#define TAMRUN_MODEL_KINDS(X) X(4, float) X(8, double) X(16, Binary128)

/// CEILING and FLOOR: behind the function's name, result, argument, and the bounds of the arguments that have a result:
/// above the first, not above the second.
#define TAMRUN_WHOLE_NUMBERS(X) \
  X(4,  i32, float, -0x1p63f, 0x1p31f) \
  X(8,  i32, double, -0x1p63, 0x1.fffffffcp30) \
  X(k4, i64, float, -0x1p63f, 0x1p63f) \
  X(k8, i64, double, -0x1p63, 0x1p63) \
  X(h4, i16, float, -0x1p15f, 0x1.fffcp14f) \
  X(h8, i16, double, -0x1p15, 0x1.fffcp14)

/// Text to a number: entry point, result, item type, message of a failure.
#define TAMRUN_TEXT_NUMBERS(X) \
  X(for_inum, i16, ITM_INTEGER2, MSG_INVALID_INTEGER) \
  X(for_jnum, i32, ITM_INTEGER4, MSG_INVALID_INTEGER) \
  X(for_knum, i64, ITM_INTEGER8, MSG_INVALID_INTEGER) \
  X(for_rnum, float, ITM_REAL4, MSG_INVALID_REAL) \
  X(for_dnum, double, ITM_REAL8, MSG_INVALID_REAL) \
  X(for_qnum, Binary128, ITM_REAL16, MSG_INVALID_REAL)

// clang-format on

/// The cells of a row: the forms <form>_RETURNED and <form>_STORED with kind, type, name and function.
#define TAMRUN_MATH_ROW(form, name, in_r, in_d, in_q, in_c, in_cd, in_cq) \
  TAMRUN_MATH_CELL(form##_RETURNED, r, float, name, in_r)                 \
  TAMRUN_MATH_CELL(form##_RETURNED, d, double, name, in_d)                \
  TAMRUN_MATH_CELL(form##_STORED, q, Binary128, name, in_q)               \
  TAMRUN_MATH_CELL(form##_STORED, c, Complex_Single, name, in_c)          \
  TAMRUN_MATH_CELL(form##_STORED, cd, Complex_Double, name, in_cd)        \
  TAMRUN_MATH_CELL(form##_STORED, cq, Complex_Binary128, name, in_cq)
#define TAMRUN_MATH_CELL(form, kind, Type, name, ...) __VA_OPT__(form(kind, Type, name, __VA_ARGS__))

#define TAMRUN_ONE_RETURNED(kind, Type, name, function) TAMRUN_ENTRY Type for_##kind##_##name##_a(const void* x);
#define TAMRUN_ONE_STORED(kind, Type, name, function) \
  TAMRUN_ENTRY void for_##kind##_##name##_a(void* result, const void* x);
#define TAMRUN_TWO_RETURNED(kind, Type, name, function) \
  TAMRUN_ENTRY Type for_##kind##_##name##_a(const void* x, const void* y);
#define TAMRUN_TWO_STORED(kind, Type, name, function) \
  TAMRUN_ENTRY void for_##kind##_##name##_a(void* result, const void* x, const void* y);
#define TAMRUN_ROW(...) TAMRUN_MATH_ROW(TAMRUN_ONE, __VA_ARGS__)
TAMRUN_MATH_ONE(TAMRUN_ROW)
#undef TAMRUN_ROW
#define TAMRUN_ROW(...) TAMRUN_MATH_ROW(TAMRUN_TWO, __VA_ARGS__)
TAMRUN_MATH_TWO(TAMRUN_ROW)
TAMRUN_MATH_ORDER(TAMRUN_ROW)
#undef TAMRUN_ROW
#undef TAMRUN_ONE_RETURNED
#undef TAMRUN_ONE_STORED
#undef TAMRUN_TWO_RETURNED
#undef TAMRUN_TWO_STORED

#define TAMRUN_CALL(kind, name, Complex, function) TAMRUN_ENTRY Complex for_##kind##_##name##_v(Complex z);
TAMRUN_MATH_COMPLEX_VALUE(TAMRUN_CALL)
#undef TAMRUN_CALL
#define TAMRUN_MODEL(bytes, Real)                                   \
  TAMRUN_ENTRY i32 for_exponent##bytes##_v(Real x);                 \
  TAMRUN_ENTRY Real for_fraction##bytes##_v(Real x);                \
  TAMRUN_ENTRY Real for_nearest##bytes##_v(Real x, Real direction); \
  TAMRUN_ENTRY Real for_rrspacing##bytes##_v(Real x);               \
  TAMRUN_ENTRY Real for_scale##bytes##_v(Real x, i32 power);        \
  TAMRUN_ENTRY Real for_setexp##bytes##_v(Real x, i32 exponent);    \
  TAMRUN_ENTRY Real for_spacing##bytes##_v(Real x);
TAMRUN_MODEL_KINDS(TAMRUN_MODEL)
#undef TAMRUN_MODEL
#define TAMRUN_WHOLE(suffix, Int, Real, above, up_to) \
  TAMRUN_ENTRY Int for_ceil##suffix##_v(Real x);      \
  TAMRUN_ENTRY Int for_floor##suffix##_v(Real x);
TAMRUN_WHOLE_NUMBERS(TAMRUN_WHOLE)
#undef TAMRUN_WHOLE
#define TAMRUN_TEXT(name, Type, item, message) TAMRUN_ENTRY Type name(const char* text, i64 length);
TAMRUN_TEXT_NUMBERS(TAMRUN_TEXT)
#undef TAMRUN_TEXT

// The model numbers of REAL(16) by address.
TAMRUN_ENTRY i32 for_exponent16_a(const void* x);
TAMRUN_ENTRY void for_fraction16_a(void* result, const void* x);
TAMRUN_ENTRY void for_nearest16_a(void* result, const void* x, const void* direction);
TAMRUN_ENTRY void for_rrspacing16_a(void* result, const void* x);
TAMRUN_ENTRY void for_scale16_a(void* result, const void* x, const i32* power);
TAMRUN_ENTRY void for_setexp16_a(void* result, const void* x, const i32* exponent);
TAMRUN_ENTRY void for_spacing16_a(void* result, const void* x);

// Further forms of the tables' calls.
TAMRUN_ENTRY float for_r_pow_v(float x, float y);
TAMRUN_ENTRY double for_d_pow_v(double x, double y);
TAMRUN_ENTRY void for_q_besjn_av(void* result, i32 order, const void* x);
TAMRUN_ENTRY void for_q_besyn_av(void* result, i32 order, const void* x);
TAMRUN_ENTRY void for_q_ldexp_av(void* result, const void* x, i32 exponent);
TAMRUN_ENTRY void for_q_ldexp_a(void* result, const void* x, const i32* exponent);
TAMRUN_ENTRY void for_q_frexp_a(void* result, const void* x, i32* exponent);

// Parts of a complex, its conjugate and its size.
TAMRUN_ENTRY float for_r_creal_a(const void* z);
TAMRUN_ENTRY float for_r_cimag_a(const void* z);
TAMRUN_ENTRY double for_d_creal_a(const void* z);
TAMRUN_ENTRY double for_d_cdimag_a(const void* z);
TAMRUN_ENTRY void for_q_cqreal_a(void* result, const void* z);
TAMRUN_ENTRY void for_q_cqimag_a(void* result, const void* z);
TAMRUN_ENTRY float for_r_creal_v(Complex_Single z);
TAMRUN_ENTRY double for_d_creal_v(Complex_Double z);
TAMRUN_ENTRY Binary128 for_q_cqreal_v(const void* z);
TAMRUN_ENTRY Binary128 for_q_cqimag_v(const void* z);
TAMRUN_ENTRY void for_c_conjg_a(void* result, const void* z);
TAMRUN_ENTRY void for_cd_conjg_a(void* result, const void* z);
TAMRUN_ENTRY void for_cq_conjg_a(void* result, const void* z);
TAMRUN_ENTRY void* for_cq_conjg_v(void* result, Complex_Binary128 z);  ///< gives `result`
TAMRUN_ENTRY float for_r_cabs_a(const void* z);
/// Not scaled: squares of the parts beyond the largest REAL(8) give an infinity.
TAMRUN_ENTRY double for_d_cabs_a(const void* z);
TAMRUN_ENTRY double for_d_cdabs_a(const void* z);
TAMRUN_ENTRY void for_q_cqabs_a(void* result, const void* z);
TAMRUN_ENTRY void for_cq_abs_a(void* result, const void* z);  ///< a complex result, imaginary part 0

// Whole powers. Those of 64 bits count modulo 2^32 but for complex values.
TAMRUN_ENTRY float for_r_ipow_a(const void* x, const i32* n);
TAMRUN_ENTRY float for_r_ipow_v(float x, i32 n);
TAMRUN_ENTRY double for_d_ipow_a(const void* x, const i32* n);
TAMRUN_ENTRY double for_d_ipow_v(double x, i32 n);
TAMRUN_ENTRY void for_q_ipow_a(void* result, const void* x, const i32* n);
TAMRUN_ENTRY void for_q_ipow_av(void* result, const void* x, i32 n);
TAMRUN_ENTRY void for_q_kpow_a(void* result, const void* x, const i64* n);
TAMRUN_ENTRY void for_q_kpow_av(void* result, const void* x, i64 n);
TAMRUN_ENTRY void for_cq_ipow_av(void* result, const void* x, i32 n);
TAMRUN_ENTRY void for_cq_kpow_av(void* result, const void* x, i64 n);

// Sign, difference, square root, product, angle.
TAMRUN_ENTRY float for_r_abs_a(const void* x);
TAMRUN_ENTRY float for_r_fabs_a(const void* x);
TAMRUN_ENTRY double for_d_abs_a(const void* x);
TAMRUN_ENTRY double for_d_fabs_a(const void* x);
TAMRUN_ENTRY void for_q_abs_a(void* result, const void* x);
TAMRUN_ENTRY void for_q_fabs_a(void* result, const void* x);
/// x - y, or +0 unless y is below x.
TAMRUN_ENTRY float for_r_dim_a(const void* x, const void* y);
TAMRUN_ENTRY double for_d_dim_a(const void* x, const void* y);
TAMRUN_ENTRY void for_q_dim_a(void* result, const void* x, const void* y);  ///< a NaN with a NaN
/// |a| with the sign of b by its value: -0 counts as positive, a NaN as negative.
TAMRUN_ENTRY float for_r_sign_a(const void* a, const void* b);
TAMRUN_ENTRY double for_d_sign_a(const void* a, const void* b);
TAMRUN_ENTRY void for_q_sign_a(void* result, const void* a, const void* b);  ///< by the sign bit of b
TAMRUN_ENTRY float for_r_sqrt_a(const void* x);
TAMRUN_ENTRY double for_d_sqrt_a(const void* x);
TAMRUN_ENTRY float for_r_dsqrt_a(const void* x);                             ///< of a double
TAMRUN_ENTRY double for_d_prod_a(const void* x, const void* y);              ///< of two singles, exact
TAMRUN_ENTRY void for_q_prod_a(void* result, const void* x, const void* y);  ///< of two doubles, exact
TAMRUN_ENTRY float for_r_atan2d_a(const void* y, const void* x);
TAMRUN_ENTRY float for_r_atan2d_v(float y, float x);
TAMRUN_ENTRY double for_d_atan2d_a(const void* y, const void* x);
TAMRUN_ENTRY double for_d_atan2d_v(double y, double x);

// Whole numbers as reals. The for_ forms of AINT give +0 for every value below 1 in size.
TAMRUN_ENTRY float for_r_int_a(const void* x);
TAMRUN_ENTRY float for_r_int_v(float x);
TAMRUN_ENTRY double for_d_int_a(const void* x);
TAMRUN_ENTRY double for_d_int_v(double x);
TAMRUN_ENTRY float for_r_dint_a(const void* x);  ///< of a double
TAMRUN_ENTRY float for_r_nint_a(const void* x);
TAMRUN_ENTRY float for_r_nint_v(float x);
TAMRUN_ENTRY double for_d_nint_a(const void* x);
TAMRUN_ENTRY double for_d_nint_v(double x);
TAMRUN_ENTRY float for_r_dnint_a(const void* x);  ///< of a double
TAMRUN_ENTRY float r_int(const void* x);
TAMRUN_ENTRY float r_int_val(float x);
TAMRUN_ENTRY double d_int(const void* x);
TAMRUN_ENTRY double d_int_val(double x);
TAMRUN_ENTRY float r_nint(const void* x);
TAMRUN_ENTRY float f_lanint_val(float x);
TAMRUN_ENTRY double d_nint(const void* x);
TAMRUN_ENTRY double f_ldnint_val(double x);
TAMRUN_ENTRY void a_nintq(void* result, const void* x);
TAMRUN_ENTRY void f_lqnint(void* result, const void* x);
TAMRUN_ENTRY void a_intq(void* result, const void* x);
TAMRUN_ENTRY void f_lqint(void* result, const void* x);

// Nearest or whole integers: of the results wider than the name's width the caller takes the low bytes.
TAMRUN_ENTRY i64 b_nint(const void* x);
TAMRUN_ENTRY i64 h_nint(const void* x);
TAMRUN_ENTRY i64 i_nint(const void* x);
TAMRUN_ENTRY i64 k_nint(const void* x);
TAMRUN_ENTRY i64 b_dnnt(const void* x);
TAMRUN_ENTRY i64 h_dnnt(const void* x);
TAMRUN_ENTRY i64 i_dnnt(const void* x);
TAMRUN_ENTRY i64 k_dnnt(const void* x);
TAMRUN_ENTRY void f_qnint(i32* result, const void* x);
TAMRUN_ENTRY i32 h_iqnint(const void* x);
TAMRUN_ENTRY i32 i_iqnint(const void* x);
TAMRUN_ENTRY i64 k_iqnint(const void* x);
TAMRUN_ENTRY i32 for_h_qint_a(const void* x);
TAMRUN_ENTRY i32 for_i_qint_a(const void* x);
TAMRUN_ENTRY i64 for_k_qint_a(const void* x);

#endif
