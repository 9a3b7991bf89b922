// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The exported conversions between IEEE and foreign reals, and their special values.

#include "convert/foreign_real.h"

const u32 ieee_s[14] = {
    0x7FBFFFFF, 0xFFFFBF7F,  // NaN
    0x00000000, 0x00000000,  // zero
    0x80000000, 0x00000080,  // -zero
    0x7F7FFFFF, 0xFFFF7F7F,  // largest
    0xFF7FFFFF, 0xFFFF7FFF,  // -largest
    0x7F800000, 0x0000807F,  // infinity
    0xFF800000, 0x000080FF,  // -infinity
};

const u64 ieee_t[14] = {
    0x7FF7FFFFFFFFFFFF, 0xFFFFFFFFFFFFF77F,  // NaN
    0x0000000000000000, 0x0000000000000000,  // zero
    0x8000000000000000, 0x0000000000000080,  // -zero
    0x7FEFFFFFFFFFFFFF, 0xFFFFFFFFFFFFEF7F,  // largest
    0xFFEFFFFFFFFFFFFF, 0xFFFFFFFFFFFFEFFF,  // -largest
    0x7FF0000000000000, 0x000000000000F07F,  // infinity
    0xFFF0000000000000, 0x000000000000F0FF,  // -infinity
};

const u8 vax_c[4][16] = {
    {0x00, 0x80},  // reserved operand
    {0x00},        // zero
    {0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // largest
    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // -largest
};

const u8 ibm_s[8][4] = {
    {0xFF},                    // invalid
    {0x00},                    // zero
    {0x80},                    // -zero
    {0x7F, 0xFF, 0xFF, 0xFF},  // largest
    {0xFF, 0xFF, 0xFF, 0xFF},  // -largest
    {0x7F, 0xFF, 0xFF, 0xFF},  // in the place of infinity
    {0xFF, 0xFF, 0xFF, 0xFF},  // in the place of -infinity
    {0x00},                    // zero
};

const u8 ibm_l[8][8] = {
    {0xFF},                                            // invalid
    {0x00},                                            // zero
    {0x80},                                            // -zero
    {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // largest
    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // -largest
    {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // in the place of infinity
    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // in the place of -infinity
    {0x00},                                            // zero
};

const u8 cray[8][8] = {
    {0x60},                                            // invalid
    {0x00},                                            // zero
    {0x80},                                            // -zero
    {0x5F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // largest
    {0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // -largest
    {0x60},                                            // infinity
    {0xE0},                                            // -infinity
    {0x00},                                            // zero
};

namespace {

constexpr u32 kNoRounding = ~0u;

/// The mask of the rounding that the options ask for, or kNoRounding when they are not allowed.
u32 rounding_asked_for(u32 options, Foreign_Rounding otherwise) {
  switch (options & ~u32{CVT_M_REPORT_UNDERFLOW | CVT_M_BIG_ENDIAN}) {
    case 0:
      return otherwise;
    case CVT_M_TRUNCATE:
      return FOREIGN_TRUNCATED;
    case CVT_M_ROUND_TO_POS:
      return FOREIGN_UPWARD;
    case CVT_M_ROUND_TO_NEG:
      return FOREIGN_DOWNWARD;
    case CVT_M_ROUND_TO_NEAREST:
      return FOREIGN_NEAREST_EVEN;
    case CVT_M_VAX_ROUNDING:
      return FOREIGN_NEAREST_AWAY;
    default:
      return kNoRounding;
  }
}

/// The bits in the byte order that the options give an IEEE value.
template <class Form>
typename Form::Bits in_order(typename Form::Bits bits, u32 options) {
  if constexpr (Form::kIsIeee) {
    if (options & CVT_M_BIG_ENDIAN) return byte_swapped(bits);
  }
  return bits;
}

template <class From, class To>
int convert(const void* source, u32 options, void* target) {
  const u32 mask = rounding_asked_for(options, To::kRounding);
  if (mask == kNoRounding) return CVT_INVALID_OPTIONS;
  const auto bits = in_order<From>(From::load(static_cast<const u8*>(source)), options);
  const Foreign_Result<To> result = convert_foreign<From, To>(bits, mask);
  To::store(static_cast<u8*>(target), in_order<To>(result.bits, options));
  return result.status == CVT_UNDERFLOW && !(options & CVT_M_REPORT_UNDERFLOW) ? CVT_SUCCESS : result.status;
}

}  // namespace

#define TAMRUN_CONVERSION(lower, upper, From, To)                                                                \
  int lower(const void* source, u32 options, void* target) {                                                     \
    return convert<Form_##From, Form_##To>(source, options, target);                                             \
  }                                                                                                              \
  int lower##_(const void* source, const u32* options, void* target) { return lower(source, *options, target); } \
  int upper(const void* source, const u32* options, void* target) { return lower(source, *options, target); }

TAMRUN_FOREIGN_CONVERSIONS(TAMRUN_CONVERSION)
