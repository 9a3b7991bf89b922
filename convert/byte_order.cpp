// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Values in the other byte order. Element sizes of 2, 4, 8 and 16 bytes are reversed a vector at a time: by one byte
// shuffle where the processor has it, otherwise by shifts and word shuffles.

#include "convert/byte_order.h"

#include <immintrin.h>

#include <utility>

namespace {

constexpr i64 kVector = 16;
constexpr i64 kWideVector = 32;

/// Reverses the bytes of each element of a vector.
template <int kElem>
[[gnu::always_inline]] inline __m128i reversed(__m128i v) {
  constexpr int kSwapPairs = _MM_SHUFFLE(2, 3, 0, 1), kBackwards = _MM_SHUFFLE(0, 1, 2, 3);
  constexpr int kSwapHalves = _MM_SHUFFLE(1, 0, 3, 2);
  v = _mm_or_si128(_mm_srli_epi16(v, 8), _mm_slli_epi16(v, 8));
  if constexpr (kElem == 2) return v;
  constexpr int kWords = kElem == 4 ? kSwapPairs : kBackwards;
  v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, kWords), kWords);
  return kElem == 16 ? _mm_shuffle_epi32(v, kSwapHalves) : v;
}

/// Reverses whole vectors: the bytes done.
template <int kElem>
i64 reverse_vectors(u8* to, const u8* from, i64 bytes) {
  i64 at = 0;
  for (; bytes - at >= kVector; at += kVector) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), reversed<kElem>(v));
  }
  return at;
}

/// Byte i of a vector comes from byte i ^ (kElem - 1).
template <int kElem>
[[gnu::target("avx2")]] i64 reverse_wide_vectors(u8* to, const u8* from, i64 bytes) {
  constexpr u64 kLow = 0x0706050403020100, kHigh = 0x0F0E0D0C0B0A0908, kFlip = 0x0101010101010101 * (kElem - 1);
  const __m256i order = _mm256_set_epi64x(kHigh ^ kFlip, kLow ^ kFlip, kHigh ^ kFlip, kLow ^ kFlip);
  i64 at = 0;
  for (; bytes - at >= 2 * kWideVector; at += 2 * kWideVector) {
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + at));
    const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + at + kWideVector));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at), _mm256_shuffle_epi8(first, order));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at + kWideVector), _mm256_shuffle_epi8(second, order));
  }
  return at;
}

/// Reverses one element of any size.
void reverse_element(u8* to, const u8* from, i64 elem) {
  for (i64 low = 0, high = elem - 1; low <= high; ++low, --high) {
    const u8 byte = from[low];
    to[low] = from[high];
    to[high] = byte;
  }
}

template <int kElem>
void reverse_sized(u8* to, const u8* from, i64 bytes) {
  i64 at = 0;
  if (bytes >= 2 * kWideVector && __builtin_cpu_supports("avx2")) at = reverse_wide_vectors<kElem>(to, from, bytes);
  at += reverse_vectors<kElem>(to + at, from + at, bytes - at);
  for (; at < bytes; at += kElem) {
    if constexpr (kElem == 8) {
      store_unaligned_long(to + at, __builtin_bswap64(load_unaligned_long(from + at)));
    } else if constexpr (kElem == 4) {
      store_unaligned_int(to + at, __builtin_bswap32(load_unaligned_int(from + at)));
    } else {
      reverse_element(to + at, from + at, kElem);
    }
  }
}

}  // namespace

void reverse_elements(u8* to, const u8* from, i64 elem, i64 count) {
  switch (elem) {
    case 2:
      return reverse_sized<2>(to, from, 2 * count);
    case 4:
      return reverse_sized<4>(to, from, 4 * count);
    case 8:
      return reverse_sized<8>(to, from, 8 * count);
    case 16:
      return reverse_sized<16>(to, from, 16 * count);
    default:
      for (i64 i = 0; i < count; ++i) reverse_element(to + i * elem, from + i * elem, elem);
  }
}
