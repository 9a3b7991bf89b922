// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Binary, octal and hexadecimal digits, eight at a time: eight digits of b bits are b bytes.
#ifndef TAMRUN_CONVERT_RADIX_DIGITS_H
#define TAMRUN_CONVERT_RADIX_DIGITS_H

#include "tamrun/types.h"

#include <string.h>

inline constexpr char kRadixDigits[] = "0123456789ABCDEF";

/// Bits of a digit, 0 for a radix whose digits are not whole bits.
inline int digit_bits(u32 radix) { return radix == 2 ? 1 : radix == 8 ? 3 : radix == 16 ? 4 : 0; }

/// The characters of eight digits, the most significant first. The digits are dealt out to halves, quarters and bytes.
template <int kBits>
inline u64 eight_radix_digits(u64 value) {
  constexpr u64 kHalves = 0x0000000100000001, kQuarters = 0x0001000100010001, kBytes = 0x0101010101010101;
  value = (value | value << (32 - 4 * kBits)) & kHalves * ((1u << 4 * kBits) - 1);
  value = (value | value << (16 - 2 * kBits)) & kQuarters * ((1u << 2 * kBits) - 1);
  value = (value | value << (8 - kBits)) & kBytes * ((1u << kBits) - 1);
  u64 characters = value + kBytes * '0';
  if constexpr (kBits == 4) characters += ((value + kBytes * 6) >> 4 & kBytes) * ('A' - '9' - 1);
  return __builtin_bswap64(characters);
}

/// The last `count` digits of a little-endian number, ending before `end`. Returns the first digit.
template <int kBits>
inline char* put_radix_before(char* end, const u8* data, i64 bytes, i64 count) {
  for (; count >= 8; count -= 8, data += kBits, bytes -= kBits) {
    u64 value = 0;
    memcpy(&value, data, kBits);
    const u64 characters = eight_radix_digits<kBits>(value);
    end -= 8;
    memcpy(end, &characters, 8);
  }
  if (count == 0) return end;
  u64 value = 0;
  for (i64 i = 0; i < bytes && i < kBits; ++i) value |= u64{data[i]} << 8 * i;
  u64 characters = eight_radix_digits<kBits>(value);
  for (int piece = 4; piece != 0; piece /= 2) {
    if ((count & piece) == 0) continue;
    const u64 last = characters >> 8 * (8 - piece);
    end -= piece;
    memcpy(end, &last, piece);
    characters <<= 8 * piece;
  }
  return end;
}

inline char* put_radix_before(char* end, const u8* data, i64 bytes, i64 count, int bits) {
  return bits == 1   ? put_radix_before<1>(end, data, bytes, count)
         : bits == 3 ? put_radix_before<3>(end, data, bytes, count)
                     : put_radix_before<4>(end, data, bytes, count);
}

#endif
