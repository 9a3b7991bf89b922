// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digit engine: one real as a string of decimal or hexadecimal digits, an exponent, a class and a status.
#ifndef TAMRUN_CONVERT_DIGIT_ENGINE_H
#define TAMRUN_CONVERT_DIGIT_ENGINE_H

#include "convert/digit_ladder.h"
#include "convert/digit_scale.h"
#include "convert/ieee_format.h"

/// What the engine found.
struct Real_Digits : Digit_String {
  int cls;     // signed Real_Class
  int status;  // 0, CVT_IS_NAN, CVT_IS_ZERO or CVT_IS_INFINITY

  /// Stored digits without the zeros at their end.
  int significant() const {
    int last = end;
    while (last > start && text[last - 1] == '0') --last;
    return last - start;
  }

  /// Copies the digits `from` (0 is the first) to `from + n - 1`.
  char* put(char* dst, i64 from, i64 n) const {
    const i64 stored = end - start - from;
    const i64 copied = stored < 0 ? 0 : stored < n ? stored : n;
    memcpy(dst, text + start + (copied > 0 ? from : 0), static_cast<size_t>(copied));
    fill_columns(dst + copied, '0', static_cast<size_t>(n - copied));
    return dst + n;
  }
};

/// Digits of a real whose bits are given. `options` are Cvt_Real_Output; `capacity` and `fraction` as in
/// cvtas_t_to_a; NaN and Infinity are always told by their statuses, and have no digits.
template <class Ieee>
void make_digits(typename Ieee::Bits bits, i64 capacity, i64 fraction, u32 options, Real_Digits* digits);

extern template void make_digits<Ieee_Single>(u32, i64, i64, u32, Real_Digits*);
extern template void make_digits<Ieee_Double>(u64, i64, i64, u32, Real_Digits*);
extern template void make_digits<Ieee_Quad>(u128, i64, i64, u32, Real_Digits*);

#endif
