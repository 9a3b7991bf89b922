// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The objects of ALLOCATE and DEALLOCATE: which heap a block comes from and goes back to.
#ifndef TAMRUN_OBJECTS_ALLOCATE_H
#define TAMRUN_OBJECTS_ALLOCATE_H

#include "tamrun/descriptor.h"
#include "tamrun/messages.h"

inline constexpr u32 kAlignLog2Bits = 5;         ///< width of the field at FA_ALIGN_LOG2_SHIFT
inline constexpr u32 kOmpAllocatorMask = 0xF;    ///< of the field at FA_OMP_ALLOCATOR_SHIFT
inline constexpr u32 kOmpAllocatorHandle = 0xF;  ///< in that field: the handle argument is the allocator
inline constexpr u32 kOmpRequestBits = 5;        ///< allocator number and FA_OMP together

// Within the library: 0 or the message number, whatever FA_STAT says, and nothing is reported.
[[nodiscard]] int allocate_block(u64 size, void** where, For_Alloc_Flags flags, u64 handle = 0);
/// The same for an array; MSG_ARRAY_SIZE_OVERFLOW when its size has no number.
[[nodiscard]] int allocate_elements(u64 elem_len, u64 count, u8** where, For_Alloc_Flags flags, u64 handle = 0);
/// MSG_NOT_ALLOCATED for a null address.
[[nodiscard]] int free_allocatable(void* address, For_Alloc_Flags flags, u64 handle = 0);
/// The end of an entry point: hands a failure back with FA_STAT, otherwise reports it, which ends the process unless a
/// user's handler takes it; the result is 0 then.
int finish_request(int message, For_Alloc_Flags flags);

// What compiled code calls. `*where` receives the address, or null after a failure other than an overflow.
TAMRUN_ENTRY int for_allocate(u64 size, void** where, For_Alloc_Flags flags);
TAMRUN_ENTRY int for_allocate_handle(u64 size, void** where, For_Alloc_Flags flags, u64 handle);
TAMRUN_ENTRY int for_alloc_allocatable(u64 size, void** where, For_Alloc_Flags flags);
TAMRUN_ENTRY int for_alloc_allocatable_handle(u64 size, void** where, For_Alloc_Flags flags, u64 handle);
TAMRUN_ENTRY int for_deallocate(void* address, For_Alloc_Flags flags);
TAMRUN_ENTRY int for_deallocate_handle(void* address, For_Alloc_Flags flags, u64 handle);
TAMRUN_ENTRY int for_dealloc_allocatable(void* address, For_Alloc_Flags flags);
TAMRUN_ENTRY int for_dealloc_allocatable_handle(void* address, For_Alloc_Flags flags, u64 handle);

/// The product of the n factors behind n: 1 when it overflows, with *result left alone, else 0.
TAMRUN_ENTRY int for_check_mult_overflow(u32* result, i32 n, ...);
TAMRUN_ENTRY int for_check_mult_overflow64(u64* result, i32 n, ...);

/// Bytes of a contiguous array; -1 for no descriptor and for one without storage.
TAMRUN_ENTRY i64 _f90_dope_vector_size(const For_Dope_Vector* d);

#endif
