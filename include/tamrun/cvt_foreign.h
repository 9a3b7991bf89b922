// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// IEEE reals to and from the formats of other machines: VAX F, D, G and H, IBM hexadecimal, Cray. The routines work on
// integer words only, take no lock and keep no state. Values may lie at any address; source and target may be the same.
#ifndef TAMRUN_CVT_FOREIGN_H
#define TAMRUN_CVT_FOREIGN_H

#include "tamrun/cvt.h"
#include "tamrun/types.h"

/// Options: at most one rounding, and the two bits beside it. Without a rounding, results in VAX F, D and G take
/// CVT_M_VAX_ROUNDING and all others CVT_M_ROUND_TO_NEAREST.
enum Cvt_Foreign_Option : u32 {
  CVT_M_REPORT_UNDERFLOW = 0x1000,    ///< CVT_UNDERFLOW where otherwise CVT_SUCCESS goes with the zero
  CVT_M_TRUNCATE = 0x2000,            ///< toward zero
  CVT_M_ROUND_TO_POS = 0x4000,        ///< toward +infinity
  CVT_M_ROUND_TO_NEG = 0x8000,        ///< toward -infinity
  CVT_M_ROUND_TO_NEAREST = 0x100000,  ///< to nearest, ties to the even fraction
  CVT_M_VAX_ROUNDING = 0x200000,      ///< to nearest, ties away from zero
  CVT_M_BIG_ENDIAN = 0x400000,        ///< the IEEE side is big-endian
};

/// X(lower-case name, upper-case name, source format, target format) of every conversion.
#define TAMRUN_FOREIGN_CONVERSIONS(X)                                                   \
  X(cvt_vax_f_to_ieee_single, CVT_VAX_F_TO_IEEE_SINGLE, Vax_F, Ieee_Single)             \
  X(cvt_vax_d_to_ieee_double, CVT_VAX_D_TO_IEEE_DOUBLE, Vax_D, Ieee_Double)             \
  X(cvt_vax_g_to_ieee_double, CVT_VAX_G_TO_IEEE_DOUBLE, Vax_G, Ieee_Double)             \
  X(cvt_vax_h_to_ieee_double, CVT_VAX_H_TO_IEEE_DOUBLE, Vax_H, Ieee_Double)             \
  X(cvt_ibm_short_to_ieee_single, CVT_IBM_SHORT_TO_IEEE_SINGLE, Ibm_Short, Ieee_Single) \
  X(cvt_ibm_long_to_ieee_double, CVT_IBM_LONG_TO_IEEE_DOUBLE, Ibm_Long, Ieee_Double)    \
  X(cvt_cray_to_ieee_single, CVT_CRAY_TO_IEEE_SINGLE, Cray, Ieee_Single)                \
  X(cvt_cray_to_ieee_double, CVT_CRAY_TO_IEEE_DOUBLE, Cray, Ieee_Double)                \
  X(cvt_ieee_single_to_vax_f, CVT_IEEE_SINGLE_TO_VAX_F, Ieee_Single, Vax_F)             \
  X(cvt_ieee_double_to_vax_d, CVT_IEEE_DOUBLE_TO_VAX_D, Ieee_Double, Vax_D)             \
  X(cvt_ieee_double_to_vax_g, CVT_IEEE_DOUBLE_TO_VAX_G, Ieee_Double, Vax_G)             \
  X(cvt_ieee_double_to_vax_h, CVT_IEEE_DOUBLE_TO_VAX_H, Ieee_Double, Vax_H)             \
  X(cvt_ieee_single_to_ibm_short, CVT_IEEE_SINGLE_TO_IBM_SHORT, Ieee_Single, Ibm_Short) \
  X(cvt_ieee_double_to_ibm_long, CVT_IEEE_DOUBLE_TO_IBM_LONG, Ieee_Double, Ibm_Long)    \
  X(cvt_ieee_single_to_cray, CVT_IEEE_SINGLE_TO_CRAY, Ieee_Single, Cray)                \
  X(cvt_ieee_double_to_cray, CVT_IEEE_DOUBLE_TO_CRAY, Ieee_Double, Cray)

/// The routine itself, and its two names for Fortran callers. A Cvt_Status: with CVT_INVALID_OPTIONS nothing is stored,
/// with any other status the target has a value.
#define TAMRUN_DECLARE_CONVERSION(lower, upper, from, to)                          \
  TAMRUN_ENTRY int lower(const void* source, u32 options, void* target);           \
  TAMRUN_ENTRY int lower##_(const void* source, const u32* options, void* target); \
  TAMRUN_ENTRY int upper(const void* source, const u32* options, void* target);
TAMRUN_FOREIGN_CONVERSIONS(TAMRUN_DECLARE_CONVERSION)
#undef TAMRUN_DECLARE_CONVERSION

/// Rows of the tables of special values. Each of the IEEE tables has two rows to one here, the second byte-reversed;
/// vax_c has rows of its own.
enum Cvt_Special : int {
  CVT_ROW_INVALID,
  CVT_ROW_ZERO,
  CVT_ROW_MINUS_ZERO,
  CVT_ROW_LARGEST,
  CVT_ROW_MINUS_LARGEST,
  CVT_ROW_INFINITY,
  CVT_ROW_MINUS_INFINITY,
};

TAMRUN_ENTRY const u32 ieee_s[14];
TAMRUN_ENTRY const u64 ieee_t[14];
TAMRUN_ENTRY const u8 vax_c[4][16];  ///< reserved operand, zero, largest, largest negative: the heads of F, D, G and H
TAMRUN_ENTRY const u8 ibm_s[8][4];
TAMRUN_ENTRY const u8 ibm_l[8][8];
TAMRUN_ENTRY const u8 cray[8][8];

#endif
