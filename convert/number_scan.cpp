// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The words that stand for numbers: Infinity and NaN.

#include "convert/number_scan.h"

namespace {

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Characters of `text` that agree with `word` (small letters), whatever their case.
template <size_t kSize>
i64 match(const char* text, const char* end, const char (&word)[kSize]) {
  i64 n = 0;
  while (n < i64{kSize} - 1 && text + n != end && lower(text[n]) == word[n]) ++n;
  return n;
}

bool is_group_character(char c) {
  const char small = lower(c);
  return (small >= 'a' && small <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

i64 special_word_length(const char* text, const char* end, Number_Kind* kind) {
  constexpr i64 kInf = 3, kInfinity = 8, kNan = 3;
  if (const i64 n = match(text, end, "infinity"); n == kInf || n == kInfinity) {
    *kind = Number_Kind::infinity;
    return n;
  }
  if (match(text, end, "nan") == kNan) {
    *kind = Number_Kind::nan;
    return kNan;
  }
  return 0;
}

i64 nan_group_length(const char* text, i64 length) {
  i64 at = 0;
  while (at < length && is_white_space(text[at])) ++at;
  if (at >= length || text[at] != '(') return 0;
  ++at;
  while (at < length && is_group_character(text[at])) ++at;
  return at < length && text[at] == ')' ? at + 1 : 0;
}
