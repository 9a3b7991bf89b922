// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Logical values to text and back.

#include "convert/digit_pairs.h"
#include "tamrun/cvt.h"

namespace {

/// `text` at the right end of the field, blanks before it; asterisks where it does not fit.
int put_right(const char* text, i32 length, i32 width, char* dst) {
  if (length > width) {
    fill_columns(dst, '*', width);
    return CVT_FIELD_OVERFLOW;
  }
  fill_columns(dst, ' ', width);
  memcpy(dst + width - length, text, length);
  return CVT_SUCCESS;
}

template <class Int>
int boolean_to_text(Int value, i32 width, i32 options, char* dst, bool any_nonzero) {
  if (width == 0) return CVT_SUCCESS;
  if (width < 0) return CVT_INVALID_LENGTH;
  if (options < 0) return CVT_INVALID_OPTIONS;
  const bool odd = (value & 1) != 0;
  if (options == 0) return put_right(odd ? "0" : "1", 1, width, dst);
  if (options & CVT_M_BOOLEAN_LETTER) {
    const bool truth = any_nonzero ? value != 0 : odd;
    fill_columns(dst, ' ', width);
    dst[width - 1] = truth ? 'T' : 'F';
    return CVT_SUCCESS;
  }
  if (options & CVT_M_BOOLEAN_WORD)
    return value != 0 ? put_right("TRUE", 4, width, dst) : put_right("FALSE", 5, width, dst);
  return CVT_SUCCESS;
}

template <class Int>
int text_to_boolean(const char* text, i32 length, i32 options, Int* result) {
  Int value = 0;
  memcpy(result, &value, sizeof value);
  if (length == 0) return CVT_SUCCESS;
  if (length < 0) return CVT_INVALID_LENGTH;
  if (options < 0) return CVT_INVALID_OPTIONS;
  if (options != 0 && (options & (CVT_M_BOOLEAN_LETTER | CVT_M_BOOLEAN_WORD)) == 0) return CVT_SUCCESS;

  const char* const end = text + length;
  while (text != end && *text == ' ') ++text;
  if (options == 0) {
    if (text == end || (*text != '0' && *text != '1')) return CVT_INVALID_VALUE;
    value = *text == '0';
    memcpy(result, &value, sizeof value);
    return CVT_SUCCESS;
  }
  if (text == end) return CVT_SUCCESS;
  if (*text == '.' && ++text == end) return CVT_INVALID_VALUE;
  switch (*text) {
    case 'T':
    case 't':
      value = -1;
      memcpy(result, &value, sizeof value);
      return CVT_SUCCESS;
    case 'F':
    case 'f':
      return CVT_SUCCESS;
    default:
      return CVT_INVALID_VALUE;
  }
}

}  // namespace

int cvt_boolean_to_text(i32 value, i32 width, i32 options, char* dst) {
  return cvt_boolean_to_text_ex(value, width, options, dst, CVT_X_NONE);
}
int cvt_boolean_to_text_ex(i32 value, i32 width, i32 options, char* dst, u64 ext) {
  return boolean_to_text(value, width, options, dst, (ext & CVT_X_ANY_NONZERO_TRUE) != 0);
}
int cvt_boolean64_to_text(i64 value, i32 width, i32 options, char* dst) {
  return boolean_to_text(value, width, options, dst, false);
}
int cvt_text_to_boolean(const char* text, i32 length, i32 options, i32* result) {
  return text_to_boolean(text, length, options, result);
}
int cvt_text_to_boolean64(const char* text, i32 length, i32 options, i64* result) {
  return text_to_boolean(text, length, options, result);
}
