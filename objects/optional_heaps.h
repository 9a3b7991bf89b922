// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Heaps of other libraries, weak: each name is null unless the program links its library.
#ifndef TAMRUN_OBJECTS_OPTIONAL_HEAPS_H
#define TAMRUN_OBJECTS_OPTIONAL_HEAPS_H

#include "tamrun/types.h"

extern "C" {

// The OpenMP run-time. `ident` names a source position: a zeroed block of kOmpIdentWords words will do.
__attribute__((weak)) void* kmp_aligned_malloc(size_t size, size_t alignment);
__attribute__((weak)) void* kmp_realloc(void* block, size_t size);
__attribute__((weak)) void kmp_free(void* block);
__attribute__((weak)) void* kmpc_sharable_malloc(size_t size);
__attribute__((weak)) void kmpc_sharable_free(void* block);
__attribute__((weak)) i32 __kmpc_global_thread_num(void* ident);
__attribute__((weak)) void* __kmpc_alloc(i32 thread, size_t size, u64 allocator);
__attribute__((weak)) void* __kmpc_aligned_alloc(i32 thread, size_t alignment, size_t size, u64 allocator);
__attribute__((weak)) void __kmpc_free(i32 thread, void* block, u64 allocator);

// memkind: high-bandwidth memory.
__attribute__((weak)) int hbw_check_available(void);  ///< 0: there is some
__attribute__((weak)) int hbw_posix_memalign(void** block, size_t alignment, size_t size);
__attribute__((weak)) void hbw_free(void* block);
__attribute__((weak)) int hbw_set_policy(int policy);

}  // extern "C"

inline constexpr int kOmpIdentWords = 3;

#endif
