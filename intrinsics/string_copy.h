// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Moving and filling bytes. Fortran's strings are short: up to 64 bytes go without a call, everything being read before
// anything is written, so that source and target may overlap.
#ifndef TAMRUN_INTRINSICS_STRING_COPY_H
#define TAMRUN_INTRINSICS_STRING_COPY_H

#include "intrinsics/byte_vector.h"

/// Moves n bytes, sizeof(Word) to twice that many.
template <class Word>
inline void move_ends(char* to, const char* from, size_t n) {
  const Word first = load_word<Word>(from);
  const Word last = load_word<Word>(from + n - sizeof(Word));
  memcpy(to, &first, sizeof(Word));
  memcpy(to + n - sizeof(Word), &last, sizeof(Word));
}

inline constexpr size_t kMovedInline = 4 * kVector;

/// Moves up to kMovedInline bytes.
inline void move_short(char* to, const char* from, size_t n) {
  if (n > 2 * kVector) {
    const __m128i a = load_vector(from), b = load_vector(from + kVector);
    const __m128i c = load_vector(from + n - 2 * kVector), d = load_vector(from + n - kVector);
    store_vector(to, a);
    store_vector(to + kVector, b);
    store_vector(to + n - 2 * kVector, c);
    store_vector(to + n - kVector, d);
  } else if (n >= kVector) {
    move_ends<__m128i>(to, from, n);
  } else if (n >= sizeof(u64)) {
    move_ends<u64>(to, from, n);
  } else if (n >= sizeof(u32)) {
    move_ends<u32>(to, from, n);
  } else if (n >= sizeof(u16)) {
    move_ends<u16>(to, from, n);
  } else if (n != 0) {
    *to = *from;
  }
}

inline void move_bytes(char* to, const char* from, size_t n) {
  if (n > kMovedInline) {
    memmove(to, from, n);
  } else {
    move_short(to, from, n);
  }
}

inline void fill_bytes(char* to, char byte, size_t n) {
  constexpr u64 kEach = 0x0101010101010101;
  const u64 word = static_cast<u8>(byte) * kEach;
  const auto ends = [to, n](auto part) {
    memcpy(to, &part, sizeof part);
    memcpy(to + n - sizeof part, &part, sizeof part);
  };
  if (n > 2 * kVector) {
    memset(to, byte, n);
  } else if (n >= kVector) {
    ends(_mm_set1_epi8(byte));
  } else if (n >= sizeof(u64)) {
    ends(word);
  } else if (n >= sizeof(u32)) {
    ends(static_cast<u32>(word));
  } else if (n >= sizeof(u16)) {
    ends(static_cast<u16>(word));
  } else if (n != 0) {
    *to = byte;
  }
}

#endif
