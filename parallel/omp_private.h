// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Private copies of arrays in OpenMP regions: dense descriptors with the shape of the shared object, their storage, and
// the values in and out. `priv` is the thread's own descriptor, with room for the rank of `orig`, the shared one.
#ifndef TAMRUN_PARALLEL_OMP_PRIVATE_H
#define TAMRUN_PARALLEL_OMP_PRIVATE_H

#include "tamrun/descriptor.h"

inline constexpr u64 kMaxSimdRank = 6;

/// Describes and allocates a private copy: its address, null when orig is unallocated or storage is short.
TAMRUN_ENTRY void* _f90_alloc_private(For_Dope_Vector* priv, const For_Dope_Vector* orig);
/// Describes a private copy without storage: its bytes, 0 when orig is unallocated.
TAMRUN_ENTRY i64 _f90_dope_vector_init(For_Dope_Vector* priv, const For_Dope_Vector* orig);
/// The same, but orig's reserved word is kept; -1 unless orig has storage.
TAMRUN_ENTRY i64 _f90_dope_vector_init2(For_Dope_Vector* priv, const For_Dope_Vector* orig);
/// Describes `lanes` copies side by side as one more, last dimension: elements of one lane. Rank 1 to kMaxSimdRank.
TAMRUN_ENTRY i64 _f90_simd_dope_vector_init(For_Dope_Vector* priv, const For_Dope_Vector* orig, i32 lanes);
/// Frees what *address names.
TAMRUN_ENTRY void _f90_free_private(void** address);
/// Values of orig into priv, which is dense.
TAMRUN_ENTRY void _f90_firstprivate_copy(const For_Dope_Vector* priv, const For_Dope_Vector* orig);
/// Values of priv back into orig.
TAMRUN_ENTRY void _f90_lastprivate_copy(const For_Dope_Vector* priv, const For_Dope_Vector* orig);

#endif
