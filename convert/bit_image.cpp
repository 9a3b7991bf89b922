// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Values of any length as binary, octal or hexadecimal text, and back. The bytes are one little-endian number.

#include "convert/digit_pairs.h"
#include "convert/digit_scan.h"
#include "convert/radix_digits.h"
#include "tamrun/cvt.h"

namespace {

constexpr u32 kMinRadix = 2, kMaxRadix = 16;
constexpr u32 kDataInputOptions = 83;  // every word up to this one is taken

/// Bits of the number without its leading zeros.
i64 significant_bits(const u8* data, i64 bytes) {
  for (; bytes >= 8; bytes -= 8) {
    u64 word;
    memcpy(&word, data + bytes - 8, sizeof word);
    if (word != 0) return bytes * 8 - __builtin_clzll(word);
  }
  for (; bytes > 0; --bytes) {
    if (const u32 byte = data[bytes - 1]; byte != 0) return bytes * 8 - (__builtin_clz(byte) - 24);
  }
  return 0;
}

int data_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst) {
  if (width == 0) return CVT_SUCCESS;
  if (width < 0 || digits < 0 || bytes < 1) return CVT_INVALID_LENGTH;
  if (static_cast<u32>(radix) < kMinRadix || static_cast<u32>(radix) > kMaxRadix) return CVT_INVALID_RADIX;
  const int bits = digit_bits(static_cast<u32>(radix));
  if (bits == 0) return CVT_FIELD_OVERFLOW;

  const i64 used_bits = significant_bits(data, bytes);
  const i64 count = (used_bits + bits - 1) / bits;
  if (count > width) {
    fill_columns(dst, '*', width);
    return CVT_FIELD_OVERFLOW;
  }
  fill_columns(dst, ' ', width);
  char* const first = put_radix_before(dst + width, data, bytes, count, bits);
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
  const int bits = digit_bits(static_cast<u32>(radix));
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
