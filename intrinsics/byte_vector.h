// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Sixteen bytes at a time over counted strings. Nothing here reads or writes a byte outside of what it is given: a rest
// of less than a vector is put together from loads that lie inside of it, a rest behind a full vector is covered by one
// that ends with the string.
#ifndef TAMRUN_INTRINSICS_BYTE_VECTOR_H
#define TAMRUN_INTRINSICS_BYTE_VECTOR_H

#include <emmintrin.h>
#include <string.h>

#include "tamrun/types.h"

inline constexpr size_t kVector = sizeof(__m128i);
inline constexpr u32 kAllBytes = 0xFFFF;  ///< mask of a whole vector: bit i stands for byte i
inline constexpr int kTopBit = 31;        ///< of a mask word

/// A length that compiled code passed: below 1 means an empty string.
constexpr size_t string_length(i64 length) { return length > 0 ? static_cast<size_t>(length) : 0; }

template <class Word>
Word load_word(const char* p) {
  Word word;
  memcpy(&word, p, sizeof word);
  return word;
}

inline __m128i load_vector(const char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store_vector(char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

/// The n bytes at p, n up to 8, as the low bytes of a word.
inline u64 load_short(const char* p, size_t n) {
  if (n >= sizeof(u32)) return load_word<u32>(p) | u64{load_word<u32>(p + n - 4)} << (8 * (n - 4));
  if (n == 0) return 0;
  const auto byte = [p](size_t i) { return u64{static_cast<u8>(p[i])} << (8 * i); };
  return byte(0) | byte(n / 2) | byte(n - 1);
}

/// The n bytes at p, n below 16, as the low bytes of a vector.
inline __m128i load_part(const char* p, size_t n) {
  if (n <= sizeof(u64)) return _mm_cvtsi64_si128(static_cast<i64>(load_short(p, n)));
  const u64 high = load_word<u64>(p + n - 8) >> (8 * (kVector - n));
  return _mm_set_epi64x(static_cast<i64>(high), load_word<i64>(p));
}

inline u32 mask_of(__m128i equal) { return static_cast<u32>(_mm_movemask_epi8(equal)); }
inline constexpr u32 low_bits(size_t n) { return (u32{1} << n) - 1; }
/// Of a vector's mask, which is not 0.
inline size_t first_bit(u32 mask) {
  const size_t bit = static_cast<size_t>(__builtin_ctz(mask));
  if (bit >= kVector) __builtin_unreachable();
  return bit;
}
inline size_t last_bit(u32 mask) { return static_cast<size_t>(kTopBit - __builtin_clz(mask)); }

/// The first i below n for which bit i of a block's mask is set, n if there is none. `full(i)` is the mask of the 16
/// bytes from i, `part(count)` that of the first bytes of a string shorter than a vector.
template <class Full, class Part>
inline size_t find_first(size_t n, Full full, Part part) {
  if (n < kVector) {
    const u32 mask = part(n) & low_bits(n);
    return mask != 0 ? first_bit(mask) : n;
  }
  size_t i = 0;
  for (; i + kVector <= n; i += kVector) {
    const u32 mask = full(i);
    if (mask != 0) return i + first_bit(mask);
  }
  if (i == n) return n;
  const u32 mask = full(n - kVector);
  return mask != 0 ? n - kVector + first_bit(mask) : n;
}

/// One more than the last such i, 0 if there is none.
template <class Full, class Part>
inline size_t find_last(size_t n, Full full, Part part) {
  if (n < kVector) {
    const u32 mask = part(n) & low_bits(n);
    return mask != 0 ? last_bit(mask) + 1 : 0;
  }
  size_t i = n;
  for (; i >= kVector; i -= kVector) {
    const u32 mask = full(i - kVector);
    if (mask != 0) return i - kVector + last_bit(mask) + 1;
  }
  if (i == 0) return 0;
  const u32 mask = full(0);  // none of the bytes that have been seen has its bit
  return mask != 0 ? last_bit(mask) + 1 : 0;
}

inline u32 not_blank(__m128i v) { return mask_of(_mm_cmpeq_epi8(v, _mm_set1_epi8(' '))) ^ kAllBytes; }

/// The blanks that the string begins with.
[[gnu::noinline]] inline size_t leading_blanks(const char* s, size_t n) {
  return find_first(
      n, [s](size_t i) { return not_blank(load_vector(s + i)); },
      [s](size_t count) { return not_blank(load_part(s, count)); });
}

/// The length without the blanks that the string ends with.
inline size_t trimmed_length(const char* s, size_t n) {
  constexpr size_t kBlock = 4 * kVector;
  const __m128i blanks = _mm_set1_epi8(' ');
  for (; n >= kBlock; n -= kBlock) {
    const auto blank = [&](size_t back) { return _mm_cmpeq_epi8(load_vector(s + n - back * kVector), blanks); };
    const __m128i all = _mm_and_si128(_mm_and_si128(blank(1), blank(2)), _mm_and_si128(blank(3), blank(4)));
    if (mask_of(all) != kAllBytes) break;
  }
  return find_last(
      n, [s](size_t i) { return not_blank(load_vector(s + i)); },
      [s](size_t count) { return not_blank(load_part(s, count)); });
}

/// Bytes of two vectors that are not the same.
inline u32 different(const char* a, const char* b) {
  return mask_of(_mm_cmpeq_epi8(load_vector(a), load_vector(b))) ^ kAllBytes;
}

/// The first place where the strings differ, n if they do not; n is a vector's length at least.
inline size_t first_difference(const char* a, const char* b, size_t n) {
  return find_first(
      n, [=](size_t i) { return different(a + i, b + i); }, [](size_t) { return u32{0}; });
}

#endif
