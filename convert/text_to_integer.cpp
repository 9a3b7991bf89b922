// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Text to signed and unsigned integers.

#include "convert/digit_scan.h"
#include "tamrun/cvt.h"

#include <limits>

namespace {

constexpr u32 kDecimal = 10, kMinRadix = 2, kMaxRadix = 16;
constexpr int kSafeDecimalDigits = 19;  // any so many decimal digits fit in 64 bits

/// Moves over leading blanks and tabs. False at a tab that the options do not allow.
bool skip_leading(const char*& text, const char* end, u32 options) {
  for (;; ++text) {
    text = skip_blanks(text, end);
    if (text == end || *text != '\t') return true;
    if ((options & CVT_M_SKIP_TABS) == 0) return false;
  }
}

int accumulate(const char* text, const char* end, u32 radix, u32 options, u64& value) {
  for (; text != end; ++text) {
    u32 digit = digit_value(*text);
    if (digit >= radix) {
      switch (*text) {
        case '\t':
          if (options & CVT_M_SKIP_TABS) continue;
          return CVT_INVALID_CHARACTER;
        case '_':
          if (options & CVT_M_SKIP_UNDERSCORES) continue;
          return CVT_INVALID_CHARACTER;
        case ' ':
          if (options & CVT_M_BLANKS_AS_ZEROS) break;
          if (options & CVT_M_SKIP_BLANKS) continue;
          return CVT_INVALID_CHARACTER;
        default:
          return CVT_INVALID_CHARACTER;
      }
      digit = 0;
    }
    if (__builtin_mul_overflow(value, u64{radix}, &value) || __builtin_add_overflow(value, u64{digit}, &value)) {
      return CVT_VALUE_OVERFLOW;
    }
  }
  return CVT_SUCCESS;
}

/// Blanks, then digits up to `end`. `value` counts only with status 0. The field begins at `field`.
inline int scan_unsigned(const char* field, const char* text, const char* end, u32 radix, u32 options, u64& value) {
  value = 0;
  if (!skip_leading(text, end, options)) return CVT_INVALID_CHARACTER;
  const i64 count = end - text;
  if (radix != kDecimal || count == 0) return accumulate(text, end, radix, options, value);
  // Lengths differ from field to field; digits taken from the end cost no branch for each.
  if (count <= kClosingDigits && end - field >= 8) {
    if (closing_number(field, end, count, value)) return CVT_SUCCESS;
  } else if (count <= kSafeDecimalDigits) {
    const char* p = text;
    for (u32 digit; p != end && (digit = static_cast<u8>(*p) - u32{'0'}) < kDecimal; ++p) value = value * 10 + digit;
    if (p == end) return CVT_SUCCESS;
  }
  value = 0;
  return accumulate(text, end, radix, options, value);
}

bool valid_options(u32 options) { return (options & ~u32{CVT_M_INTEGER_INPUT_MASK}) == 0; }

template <class Unsigned>
inline int text_to_unsigned(const char* text, i32 length, i32 radix, u32 options, Unsigned* result) {
  Unsigned narrow = 0;
  memcpy(result, &narrow, sizeof narrow);
  if (length < 0) return CVT_INVALID_LENGTH;
  if (!valid_options(options)) return CVT_INVALID_OPTIONS;
  const u32 base = static_cast<u32>(radix);
  if (base < kMinRadix || base > kMaxRadix) return CVT_INVALID_RADIX;
  u64 value;
  const int status = scan_unsigned(text, text, text + length, base, options, value);
  if (status != CVT_SUCCESS) return status;
  if (value > std::numeric_limits<Unsigned>::max()) return CVT_VALUE_OVERFLOW;
  narrow = static_cast<Unsigned>(value);
  memcpy(result, &narrow, sizeof narrow);
  return CVT_SUCCESS;
}

template <class Int>
inline int text_to_signed(const char* text, i32 length, u32 options, Int* result) {
  Int narrow = 0;
  memcpy(result, &narrow, sizeof narrow);
  if (length < 0) return CVT_INVALID_LENGTH;
  if (!valid_options(options)) return CVT_INVALID_OPTIONS;
  const char* const field = text;
  const char* const end = text + length;
  if (!skip_leading(text, end, options)) return CVT_INVALID_CHARACTER;
  bool negative = false;
  if (text != end && (*text == '-' || *text == '+')) negative = *text++ == '-';
  u64 magnitude;
  const int status = scan_unsigned(field, text, end, kDecimal, options, magnitude);
  if (status != CVT_SUCCESS) return status;
  const u64 largest = static_cast<u64>(std::numeric_limits<Int>::max());
  if (magnitude > largest + negative) return CVT_VALUE_OVERFLOW;
  narrow = static_cast<Int>(negative ? u64{0} - magnitude : magnitude);
  memcpy(result, &narrow, sizeof narrow);
  return CVT_SUCCESS;
}

}  // namespace

int cvt_text_to_integer(const char* text, i32 length, u32 options, i32* result) {
  return text_to_signed(text, length, options, result);
}
int cvt_text_to_integer64(const char* text, i32 length, u32 options, i64* result) {
  return text_to_signed(text, length, options, result);
}
int cvt_text_to_unsigned(const char* text, i32 length, i32 radix, u32 options, u32* result) {
  return text_to_unsigned(text, length, radix, options, result);
}
int cvt_text_to_unsigned64(const char* text, i32 length, i32 radix, u32 options, u64* result) {
  return text_to_unsigned(text, length, radix, options, result);
}
