// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Signed and unsigned integers to text.

#include "convert/digit_pairs.h"
#include "convert/radix_digits.h"
#include "tamrun/cvt.h"

#include <type_traits>

namespace {

constexpr u32 kDecimal = 10, kMinRadix = 2, kMaxRadix = 16;

int field_overflow(char* dst, i32 width) {
  fill_columns(dst, '*', width);
  return CVT_FIELD_OVERFLOW;
}

/// Lays out one number: `count` digits, which `put` writes before an address, zeros up to `digits`, and `sign`
/// unless it is 0. A single required zero may be missing where no sign is due.
template <class Put>
inline int put_field(int count, char sign, i32 width, i32 digits, char* dst, Put put) {
  const i64 needed = digits > count ? digits : count;
  const i64 columns = needed + (sign != 0);
  if (columns <= width) [[likely]] {
    fill_columns(dst, ' ', width);
    char* first = put(dst + width);
    if (digits > count) {
      first -= digits - count;
      memset(first, '0', digits - count);
    }
    if (sign != 0) first[-1] = sign;
    return CVT_SUCCESS;
  }
  if (sign != 0 || count > width || needed > i64{width} + 1) return field_overflow(dst, width);
  memset(dst, '0', width);
  put(dst + width);
  return CVT_SUCCESS;
}

template <class Int>
inline int signed_to_text(Int value, i32 width, i32 digits, u32 options, char* dst) {
  using Magnitude = std::make_unsigned_t<Int>;
  if (width == 0) return CVT_SUCCESS;
  if (width < 0 || digits < 0) return CVT_INVALID_LENGTH;
  if (options > CVT_M_FORCE_PLUS) return CVT_INVALID_OPTIONS;
  const Magnitude magnitude = value < 0 ? Magnitude{0} - static_cast<Magnitude>(value) : static_cast<Magnitude>(value);
  char sign = 0;
  if (value < 0) {
    sign = '-';
  } else if (options == CVT_M_FORCE_PLUS && (value != 0 || digits != 0)) {
    sign = '+';
  }
  return put_field(decimal_digits(magnitude), sign, width, digits, dst,
                   [=](char* end) { return put_decimal_before(end, magnitude); });
}

/// Number of digits of `value` and the writer that puts them before an address, for any radix.
struct RadixDigits {
  u64 value;
  u32 radix;

  int count() const {
    if (value == 0) return 0;
    if (const int bits = digit_bits(radix); bits != 0) return (63 - __builtin_clzll(value)) / bits + 1;
    int n = 0;
    for (u64 rest = value; rest != 0; rest /= radix) ++n;
    return n;
  }
  char* operator()(char* end) const {
    if (const int bits = digit_bits(radix); bits != 0) {
      return put_radix_before(end, reinterpret_cast<const u8*>(&value), sizeof value, count(), bits);
    }
    for (u64 rest = value; rest != 0; rest /= radix) *--end = kRadixDigits[rest % radix];
    return end;
  }
};

inline int unsigned_to_text(u64 value, i32 width, i32 radix, i32 digits, char* dst) {
  if (width == 0) return CVT_SUCCESS;
  if (width < 0 || digits < 0) return CVT_INVALID_LENGTH;
  const u32 base = static_cast<u32>(radix);
  if (base == kDecimal) {
    return put_field(decimal_digits(value), 0, width, digits, dst,
                     [=](char* end) { return put_decimal_before(end, value); });
  }
  if (base < kMinRadix || base > kMaxRadix) return CVT_INVALID_RADIX;
  const RadixDigits put{value, base};
  return put_field(put.count(), 0, width, digits, dst, put);
}

}  // namespace

const u8 int_c[32] = {0,    0,    0,    0,    0,    0,    0,    0,    0, 0, 0, 0,    0,    0, 0, 0,
                      0xFF, 0xFF, 0xFF, 0x7F, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80, 0x80, 0, 0, 0};

int cvt_integer_to_text(i32 value, i32 width, i32 digits, u32 options, char* dst) {
  return signed_to_text(value, width, digits, options, dst);
}
int cvt_integer64_to_text(i64 value, i32 width, i32 digits, u32 options, char* dst) {
  return signed_to_text(value, width, digits, options, dst);
}
int cvt_unsigned_to_text(u32 value, i32 width, i32 radix, i32 digits, char* dst) {
  return unsigned_to_text(value, width, radix, digits, dst);
}
int cvt_unsigned64_to_text(u64 value, i32 width, i32 radix, i32 digits, char* dst) {
  return unsigned_to_text(value, width, radix, digits, dst);
}
