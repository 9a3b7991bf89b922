// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Every power of ten that takes a double to an integer of up to 17 digits, rounded up to 128 bits, for the fast path of
// the digit engine. decimal_scale.cpp is written by tools/make_powers.py.
#ifndef TAMRUN_CONVERT_DECIMAL_SCALE_H
#define TAMRUN_CONVERT_DECIMAL_SCALE_H

#include "tamrun/types.h"

/// 10^n = (high * 2^64 + low) / 2^128 * 2^decimal_scale_bexp(n), top bit set. Exact for n = 0 to 55.
struct Decimal_Scale {
  u64 high, low;
};

inline constexpr int kDecimalScaleFirst = -309, kDecimalScaleLast = 340, kDecimalScaleLastExact = 55;
extern const Decimal_Scale kDecimalScale[kDecimalScaleLast - kDecimalScaleFirst + 1];

inline const Decimal_Scale& decimal_scale(int n) { return kDecimalScale[n - kDecimalScaleFirst]; }
inline constexpr int decimal_scale_bexp(int n) { return (n * 217706 >> 16) + 1; }  // log2(10) in 1/65536

#endif
