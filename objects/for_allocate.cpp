// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ALLOCATE and DEALLOCATE: the choice among the aligned heap, the OpenMP run-time's allocators and high-bandwidth
// memory. Deallocation finds the same heap from the same flags.

#include <stdarg.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "core/heap.h"
#include "core/locks.h"
#include "objects/allocate.h"
#include "objects/fast_memory.h"
#include "objects/optional_heaps.h"
#include "platform/aligned_heap.h"

namespace {

/// Smallest alignment handed out: 32 bytes.
constexpr u32 kMinAlignLog2 = 5;
/// With FA_OMP clear this allocator number asks for high-bandwidth memory.
constexpr u32 kAllocatorFastMemory = 1;
/// Flags that leave the road of an ordinary request.
constexpr u32 kSpecialRequest =
    FA_PAGE_ALIGN | FA_SIZE_OVERFLOW | FA_SHARED | FA_FASTMEM | FA_OMP | kOmpAllocatorMask << FA_OMP_ALLOCATOR_SHIFT;

// What the OpenMP run-time offers, found out at the first request. The words are set once and never cleared.
u32 need_to_check_KMP = 1;
u32 checked_KMP_env_var;
u32 for__protect_KMP_check;
u32 KMPC_is_available;
u32 KMP_is_available;
u32 KMPC_aligned_is_available;
u32 KMPC_OMP_available;
/// Set when the probe has been made and found no kmp_aligned_malloc: a request without special flags is for the aligned
/// heap, with nothing more to be asked.
u32 plain_heap_only;

void check_KMP() {
  Semaphore_Guard guard(for__protect_KMP_check);
  if (checked_KMP_env_var == 0) {
    checked_KMP_env_var = 1;
    // The variable spares the probe its repetition, which the end of the first probe does in any case.
    if (getenv("FOR_DISABLE_KMP_MALLOC") != nullptr) need_to_check_KMP = 0;
  }
  KMPC_is_available = kmpc_sharable_malloc != nullptr && kmpc_sharable_free != nullptr;
  KMP_is_available = kmp_aligned_malloc != nullptr && kmp_free != nullptr && kmp_realloc != nullptr;
  KMPC_aligned_is_available = __kmpc_aligned_alloc != nullptr;
  KMPC_OMP_available = __kmpc_global_thread_num != nullptr && __kmpc_free != nullptr &&
                       (__kmpc_alloc != nullptr || KMPC_aligned_is_available != 0);
  __atomic_store_n(&plain_heap_only, KMP_is_available == 0, __ATOMIC_RELEASE);
  __atomic_store_n(&need_to_check_KMP, 0u, __ATOMIC_RELEASE);
}

/// No flag needs a look at anything but the aligned heap.
bool is_plain(For_Alloc_Flags flags) {
  return __builtin_expect((flags & kSpecialRequest) == 0 && __atomic_load_n(&plain_heap_only, __ATOMIC_ACQUIRE) != 0,
                          1);
}

void probe_once() {
  if (__builtin_expect(__atomic_load_n(&need_to_check_KMP, __ATOMIC_ACQUIRE) != 0, 0)) check_KMP();
}

u32 omp_allocator_number(For_Alloc_Flags flags) { return flags >> FA_OMP_ALLOCATOR_SHIFT & kOmpAllocatorMask; }

u64 omp_allocator(For_Alloc_Flags flags, u64 handle) {
  const u32 number = omp_allocator_number(flags);
  return number == kOmpAllocatorHandle ? handle : number;
}

bool wants_fast_memory(For_Alloc_Flags flags) {
  return (flags & FA_FASTMEM) != 0 || ((flags & FA_OMP) == 0 && omp_allocator_number(flags) == kAllocatorFastMemory);
}

i32 omp_thread() {
  u64 ident[kOmpIdentWords] = {};
  return __kmpc_global_thread_num(ident);
}

u64 alignment_of(For_Alloc_Flags flags) {
  if ((flags & FA_PAGE_ALIGN) != 0) return static_cast<u64>(sysconf(_SC_PAGESIZE));
  return u64{1} << std::max(flags >> FA_ALIGN_LOG2_SHIFT & ((1u << kAlignLog2Bits) - 1), kMinAlignLog2);
}

void* plain_block(u64 size, For_Alloc_Flags flags) {
  const bool kmp = KMP_is_available != 0 && ((flags & FA_SHARED) == 0 || (flags & FA_KMP) != 0);
  return kmp ? kmp_aligned_malloc(size, alignment_of(flags)) : _mm_malloc(size, alignment_of(flags));
}

/// A request for something else than an ordinary block. *missing is the message for a null result.
void* special_block(u64 size, For_Alloc_Flags flags, u64 handle, int* missing) {
  if ((flags & FA_SHARED) != 0 && KMPC_is_available != 0) {
    Heap_Scope scope;
    return kmpc_sharable_malloc(size);
  }
  if (wants_fast_memory(flags)) {
    const Fast_Memory_Choice choice = choose_fast_memory();
    if (choice.message != 0) {
      *missing = choice.message;
      return nullptr;
    }
    Heap_Scope scope;
    if (!choice.fast) return _mm_malloc(size, alignment_of(flags));
    void* block = nullptr;
    return hbw_posix_memalign(&block, alignment_of(flags), size) == 0 ? block : nullptr;
  }
  Heap_Scope scope;
  if ((flags & FA_OMP) != 0 && KMPC_OMP_available != 0) {
    const u64 allocator = omp_allocator(flags, handle);
    return KMPC_aligned_is_available != 0 ? __kmpc_aligned_alloc(omp_thread(), alignment_of(flags), size, allocator)
                                          : __kmpc_alloc(omp_thread(), size, allocator);
  }
  return plain_block(size, flags);
}

void free_fast_or_plain(void* address, For_Alloc_Flags flags) {
  const bool fast = wants_fast_memory(flags) && for_get_hbw_availability() == HBW_AVAILABLE;
  Heap_Scope scope;
  fast ? hbw_free(address) : _mm_free(address);
}

[[nodiscard]] int free_special(void* address, For_Alloc_Flags flags, u64 handle) {
  probe_once();
  if ((flags & FA_CANNOT_FREE) != 0) return MSG_CANNOT_DEALLOCATE;
  if ((flags & FA_FASTMEM) == 0 && (flags & FA_OMP) != 0 && KMPC_OMP_available != 0) {
    Heap_Scope scope;
    __kmpc_free(omp_thread(), address, omp_allocator(flags, handle));
    return 0;
  }
  if (!wants_fast_memory(flags)) {
    const bool shared = (flags & FA_SHARED) != 0;
    if (KMP_is_available != 0 && (!shared || (flags & FA_KMP) != 0)) {
      Heap_Scope scope;
      kmp_free(address);
      return 0;
    }
    if (shared && KMPC_is_available != 0) {
      Heap_Scope scope;
      kmpc_sharable_free(address);
      return 0;
    }
  }
  free_fast_or_plain(address, flags);
  return 0;
}

[[nodiscard]] inline int free_block(void* address, For_Alloc_Flags flags, u64 handle) {
  if ((flags & FA_CANNOT_FREE) != 0 || !is_plain(flags)) return free_special(address, flags, handle);
  Heap_Scope scope;
  _mm_free(address);
  return 0;
}

[[nodiscard]] int allocate_special(u64 size, void** where, For_Alloc_Flags flags, u64 handle) {
  probe_once();
  if ((flags & FA_SIZE_OVERFLOW) != 0) return MSG_ARRAY_SIZE_OVERFLOW;
  int missing = MSG_NO_MEMORY;
  *where = special_block(size + (size == 0), flags, handle, &missing);
  return *where != nullptr ? 0 : missing;
}

[[nodiscard]] inline int allocate(u64 size, void** where, For_Alloc_Flags flags, u64 handle) {
  if (!is_plain(flags)) return allocate_special(size, where, flags, handle);
  void* block;
  {
    Heap_Scope scope;
    // An empty object has an address of its own too.
    block = _mm_malloc(size + (size == 0), alignment_of(flags));
  }
  *where = block;
  return __builtin_expect(block != nullptr, 1) ? 0 : MSG_NO_MEMORY;
}

}  // namespace

int allocate_block(u64 size, void** where, For_Alloc_Flags flags, u64 handle) {
  return allocate(size, where, flags, handle);
}

int allocate_elements(u64 elem_len, u64 count, u8** where, For_Alloc_Flags flags, u64 handle) {
  u64 bytes;
  if (__builtin_mul_overflow(elem_len, count, &bytes)) return MSG_ARRAY_SIZE_OVERFLOW;
  return allocate_block(bytes, reinterpret_cast<void**>(where), flags, handle);
}

int free_allocatable(void* address, For_Alloc_Flags flags, u64 handle) {
  if ((flags & FA_CANNOT_FREE) != 0) return MSG_CANNOT_DEALLOCATE;
  if (address == nullptr) return MSG_NOT_ALLOCATED;
  return free_block(address, flags, handle);
}

namespace {

[[gnu::noinline, gnu::cold]] int report_request(int message, For_Alloc_Flags flags) {
  if ((flags & FA_STAT) != 0) return message;
  for__issue_diagnostic(message, 0);
  return 0;
}

}  // namespace

int finish_request(int message, For_Alloc_Flags flags) {
  return __builtin_expect(message == 0, 1) ? 0 : report_request(message, flags);
}

extern "C" {

int for_allocate_handle(u64 size, void** where, For_Alloc_Flags flags, u64 handle) {
  return finish_request(allocate(size, where, flags, handle), flags);
}

int for_allocate(u64 size, void** where, For_Alloc_Flags flags) {
  return finish_request(allocate(size, where, flags, 0), flags);
}

int for_alloc_allocatable_handle(u64 size, void** where, For_Alloc_Flags flags, u64 handle) {
  return finish_request(*where != nullptr ? MSG_ALREADY_ALLOCATED : allocate_block(size, where, flags, handle), flags);
}

int for_alloc_allocatable(u64 size, void** where, For_Alloc_Flags flags) {
  return for_alloc_allocatable_handle(size, where, flags, 0);
}

int for_deallocate_handle(void* address, For_Alloc_Flags flags, u64 handle) {
  return finish_request(free_block(address, flags, handle), flags);
}

int for_deallocate(void* address, For_Alloc_Flags flags) {
  return finish_request(free_block(address, flags, 0), flags);
}

int for_dealloc_allocatable_handle(void* address, For_Alloc_Flags flags, u64 handle) {
  return finish_request(free_allocatable(address, flags, handle), flags);
}

int for_dealloc_allocatable(void* address, For_Alloc_Flags flags) {
  return for_dealloc_allocatable_handle(address, flags, 0);
}

i64 _f90_dope_vector_size(const For_Dope_Vector* d) {
  if (d == nullptr || (d->dv_flags & DV_DEFINED) == 0) return -1;
  const i64 rank = static_cast<i64>(d->dv_rank);
  if (rank < 1) return static_cast<i64>(d->dv_elem_len);
  const For_Dim& last = d->dv_dim[rank - 1];
  // Unsigned: a nonsensical descriptor must not stop the program here.
  return static_cast<i64>(static_cast<u64>(last.dim_extent) * static_cast<u64>(last.dim_stride));
}

}  // extern "C"

namespace {

/// The product of n factors of the list: true on overflow.
template <class Int>
bool product_overflows(Int* result, i32 n, va_list factors) {
  Int product = n > 0 ? va_arg(factors, Int) : 0;
  for (i32 i = 1; i < n; ++i) {
    const Int factor = va_arg(factors, Int);
    if (__builtin_mul_overflow(product, factor, &product)) return true;
  }
  *result = product;
  return false;
}

}  // namespace

extern "C" {

int for_check_mult_overflow(u32* result, i32 n, ...) {
  va_list factors;
  va_start(factors, n);
  const bool overflows = product_overflows(result, n, factors);
  va_end(factors);
  return overflows;
}

int for_check_mult_overflow64(u64* result, i32 n, ...) {
  va_list factors;
  va_start(factors, n);
  const bool overflows = product_overflows(result, n, factors);
  va_end(factors);
  return overflows;
}

}  // extern "C"
