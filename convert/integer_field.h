// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The plain field of an integer: blanks, a minus sign where there is one, digits.
#ifndef TAMRUN_CONVERT_INTEGER_FIELD_H
#define TAMRUN_CONVERT_INTEGER_FIELD_H

#include <type_traits>

#include "convert/digit_pairs.h"

/// Writes all `width` columns, at least one digit among them: what cvt_integer_to_text does with one digit required and no
/// options. False when the number does not fit, with asterisks in its place.
template <class Int>
inline bool put_integer_field(char* dst, Int value, u32 width) {
  using Magnitude = std::make_unsigned_t<Int>;
  const Magnitude magnitude = value < 0 ? Magnitude{0} - static_cast<Magnitude>(value) : static_cast<Magnitude>(value);
  const u32 columns = static_cast<u32>(decimal_digits(magnitude | 1)) + (value < 0);
  if (columns > width) [[unlikely]] {
    fill_columns(dst, '*', width);
    return false;
  }
  fill_columns(dst, ' ', width);
  char* const end = dst + width;
  if (magnitude == 0) {
    end[-1] = '0';
    return true;
  }
  char* const first = put_decimal_before(end, magnitude);
  if (value < 0) first[-1] = '-';
  return true;
}

#endif
