// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Values of any length as binary, octal or hexadecimal text, and back. The bytes are one little-endian number.

#include "convert/digit_pairs.h"
#include "convert/digit_scan.h"
#include "tamrun/cvt.h"

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";
constexpr u32 kMinRadix = 2, kMaxRadix = 16;
constexpr u32 kDataInputOptions = 83;  // every word up to this one is taken

/// Bits of a digit, 0 for a radix whose digits are not whole bits.
int digit_bits(i32 radix) { return radix == 2 ? 1 : radix == 8 ? 3 : radix == 16 ? 4 : 0; }

/// Writes the last `count` digits of the number before `end`. Six bytes hold a whole number of digits of each size.
template <int kBits>
char* put_digits(const u8* data, i64 bytes, i64 count, char* end) {
  constexpr i64 kChunk = 6, kChunkDigits = kChunk * 8 / kBits;
  while (count > 0) {
    u64 chunk = 0;
    const i64 taken = bytes < kChunk ? bytes : kChunk;
    memcpy(&chunk, data, taken);
    data += taken;
    bytes -= taken;
    const i64 digits = count < kChunkDigits ? count : kChunkDigits;
    for (i64 i = 0; i < digits; ++i) {
      *--end = kDigits[chunk & ((1u << kBits) - 1)];
      chunk >>= kBits;
    }
    count -= digits;
  }
  return end;
}

int data_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst) {
  if (width == 0) return CVT_SUCCESS;
  if (width < 0 || digits < 0 || bytes < 1) return CVT_INVALID_LENGTH;
  if (static_cast<u32>(radix) < kMinRadix || static_cast<u32>(radix) > kMaxRadix) return CVT_INVALID_RADIX;
  const int bits = digit_bits(radix);
  if (bits == 0) return CVT_FIELD_OVERFLOW;

  i64 used = bytes;
  while (used > 0 && data[used - 1] == 0) --used;
  const i64 used_bits = used == 0 ? 0 : used * 8 - (__builtin_clz(data[used - 1]) - 24);
  const i64 count = (used_bits + bits - 1) / bits;
  if (count > width) {
    fill_columns(dst, '*', width);
    return CVT_FIELD_OVERFLOW;
  }
  fill_columns(dst, ' ', width);
  char* const end = dst + width;
  char* const first = bits == 1   ? put_digits<1>(data, used, count, end)
                      : bits == 3 ? put_digits<3>(data, used, count, end)
                                  : put_digits<4>(data, used, count, end);
  const i64 shown = digits < width ? digits : width;
  if (shown > count) memset(first - (shown - count), '0', shown - count);
  return CVT_SUCCESS;
}

/// Receives digits from the least significant on and stores each byte as it fills.
struct BitSink {
  u8* next;
  u8* const end;
  u32 pending = 0;
  int pending_bits = 0;

  /// Stores the lowest pending byte. False if it is not zero and there is no room for it.
  bool store() {
    const u8 byte = static_cast<u8>(pending);
    pending >>= 8;
    if (next == end) return byte == 0;
    *next++ = byte;
    return true;
  }
  bool take(u32 digit, int bits) {
    pending |= digit << pending_bits;
    pending_bits += bits;
    if (pending_bits < 8) return true;
    pending_bits -= 8;
    return store();
  }
};

int text_to_data(const char* text, i32 length, i32 bytes, i32 radix, u32 options, u8* result) {
  if (bytes > 0) memset(result, 0, bytes);
  if (length == 0) return CVT_SUCCESS;
  if (length < 0 || bytes < 1) return CVT_INVALID_LENGTH;
  if (options > kDataInputOptions) return CVT_INVALID_OPTIONS;
  const int bits = digit_bits(radix);
  if (bits == 0) return CVT_INVALID_RADIX;

  const char* p = text + length;
  for (; text != p && (*text == ' ' || *text == '\t'); ++text) {
    if (*text == '\t' && (options & CVT_M_SKIP_TABS) == 0) return CVT_INVALID_CHARACTER;
  }
  BitSink sink{result, result + bytes};
  while (p != text) {
    const char c = *--p;
    u32 digit = digit_value(c);
    if (digit == kNotADigit) {
      switch (c) {
        case '\n':
          digit = 10;
          break;
        case ' ':
          if (options & CVT_M_BLANKS_AS_ZEROS) {
            digit = 0;
            break;
          }
          if (options & CVT_M_SKIP_BLANKS) continue;
          return CVT_INVALID_CHARACTER;
        case '\t':
          if (options & CVT_M_SKIP_TABS) continue;
          return CVT_INVALID_CHARACTER;
        case '_':
          if (options & CVT_M_SKIP_UNDERSCORES) continue;
          return CVT_INVALID_CHARACTER;
        default:
          return CVT_INVALID_CHARACTER;
      }
    }
    if (digit >= static_cast<u32>(radix)) return CVT_INVALID_CHARACTER;
    if (!sink.take(digit, bits)) return CVT_VALUE_OVERFLOW;
  }
  if (sink.pending != 0 && !sink.store()) return CVT_VALUE_OVERFLOW;
  return CVT_SUCCESS;
}

}  // namespace

int cvt_data_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst) {
  return data_to_text(data, width, bytes, radix, digits, dst);
}
int cvt_data64_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst) {
  return data_to_text(data, width, bytes, radix, digits, dst);
}
int cvt_text_to_data(const char* text, i32 length, i32 bytes, i32 radix, u32 options, u8* result) {
  return text_to_data(text, length, bytes, radix, options, result);
}
int cvt_text_to_data64(const char* text, i32 length, i32 bytes, i32 radix, u32 options, u8* result) {
  return text_to_data(text, length, bytes, radix, options, result);
}
