// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Aligned heap on malloc: the block stands inside a larger one, whose address is kept in the word before it. The C
// library's own aligned allocation would do, but it bypasses the per-thread cache that makes small blocks cheap.

#include "platform/aligned_heap.h"

#include <stdlib.h>

#include <algorithm>

namespace {

/// malloc returns multiples of this, so that an aligned place with a word before it needs no more than the alignment.
constexpr size_t kMallocAlignment = 16;

void*& word_before(void* block) { return static_cast<void**>(block)[-1]; }

}  // namespace

extern "C" {

void* _mm_malloc(size_t size, size_t alignment) {
  const size_t step = std::max(alignment, kMallocAlignment);
  size_t bytes;
  if (__builtin_add_overflow(size, step, &bytes)) return nullptr;
  void* const whole = malloc(bytes);
  if (whole == nullptr) return nullptr;
  void* const block = reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(whole) + step) & ~(step - 1));
  word_before(block) = whole;
  return block;
}

void _mm_free(void* block) {
  if (block != nullptr) free(word_before(block));
}

}  // extern "C"
