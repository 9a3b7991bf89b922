// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The one comparison of strings: the shorter one counts as continued by blanks.
#ifndef TAMRUN_INTRINSICS_STRING_COMPARE_H
#define TAMRUN_INTRINSICS_STRING_COMPARE_H

#include <algorithm>
#include <type_traits>

#include "intrinsics/byte_vector.h"

/// Common parts up to this length are compared without a call.
inline constexpr size_t kCompareInline = 4 * kVector;
/// Longer ones are compared in pieces if the place of the difference is wanted.
inline constexpr size_t kComparePiece = 512;

/// Two words that differ: the difference of their first bytes, from the low end, that do.
template <class Byte>
inline int deciding_bytes(u64 a, u64 b) {
  const int shift = __builtin_ctzll(a ^ b) & ~7;
  return static_cast<Byte>(a >> shift) - static_cast<Byte>(b >> shift);
}

/// Strings of one length, not below a vector's, by their first difference.
template <class Byte>
[[gnu::noinline]] int compare_by_place(const char* a, const char* b, size_t n) {
  size_t at = 0;
  while (n - at > kComparePiece && memcmp(a + at, b + at, kComparePiece) == 0) at += kComparePiece;
  const size_t start = std::min(at, n - kVector);
  const size_t i = start + first_difference(a + start, b + start, n - start);
  return i < n ? static_cast<Byte>(a[i]) - static_cast<Byte>(b[i]) : 0;
}

/// Strings of one length. Equal ones up to 64 bytes need no call.
template <class Byte>
[[gnu::always_inline]] inline int compare_common(const char* a, const char* b, size_t n) {
  const auto words = [](u64 x, u64 y) { return x == y ? 0 : deciding_bytes<Byte>(x, y); };
  if (n < sizeof(u64)) return words(load_short(a, n), load_short(b, n));
  if (n <= kVector) {
    const size_t last = n - sizeof(u64);
    const int order = words(load_word<u64>(a), load_word<u64>(b));
    return order != 0 ? order : words(load_word<u64>(a + last), load_word<u64>(b + last));
  }
  if (n <= kCompareInline) {
    // Two vectors from either end; they may overlap.
    const size_t second = n < 2 * kVector ? 0 : kVector, last = n - kVector, third = last - second;
    const auto same = [=](size_t at) { return _mm_cmpeq_epi8(load_vector(a + at), load_vector(b + at)); };
    const __m128i low = _mm_and_si128(same(0), same(second)), high = _mm_and_si128(same(third), same(last));
    if (mask_of(_mm_and_si128(low, high)) == kAllBytes) return 0;
  } else if (std::is_same_v<Byte, u8>) {
    return memcmp(a, b, n);
  }
  return compare_by_place<Byte>(a, b, n);
}

/// A string beside blanks.
template <class Byte>
inline int compare_blanks(const char* s, size_t n) {
  constexpr u64 kBlanks = 0x2020202020202020;
  if (n <= sizeof(u64)) {
    const u64 text = load_short(s, n), blanks = n == 0 ? 0 : kBlanks >> (8 * (sizeof(u64) - n));
    return text == blanks ? 0 : deciding_bytes<Byte>(text, blanks);
  }
  const size_t i = leading_blanks(s, n);
  return i < n ? static_cast<Byte>(s[i]) - ' ' : 0;
}

template <class Byte>
[[gnu::noinline]] int compare_unequal_lengths(const char* a, i64 a_len, const char* b, i64 b_len) {
  const size_t n = string_length(a_len), m = string_length(b_len), common = std::min(n, m);
  const int order = compare_common<Byte>(a, b, common);
  if (order != 0) return order;
  return n > m ? compare_blanks<Byte>(a + common, n - common) : -compare_blanks<Byte>(b + common, m - common);
}

/// Below, equal or above 0. `Byte` is u8 or i8 and tells the order of the bytes; with i8 the result is the difference of
/// the bytes that decide.
template <class Byte>
[[gnu::always_inline]] inline int compare_padded(const char* a, i64 a_len, const char* b, i64 b_len) {
  if (a_len == b_len) return compare_common<Byte>(a, b, string_length(a_len));
  return compare_unequal_lengths<Byte>(a, a_len, b, b_len);
}

#endif
