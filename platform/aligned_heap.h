// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Aligned heap: what a program's own allocations come from.
#ifndef TAMRUN_PLATFORM_ALIGNED_HEAP_H
#define TAMRUN_PLATFORM_ALIGNED_HEAP_H

#include "tamrun/types.h"

extern "C" {
/// A block of `size` bytes at a multiple of `alignment`, a power of two; null when there is none. Freed by _mm_free only.
void* _mm_malloc(size_t size, size_t alignment);
/// `block` may be null.
void _mm_free(void* block);
}

#endif
