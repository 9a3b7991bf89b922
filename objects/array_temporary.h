// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What compiled code needs around arrays: contiguous copies of arguments, and the shapes of assignments.
#ifndef TAMRUN_OBJECTS_ARRAY_TEMPORARY_H
#define TAMRUN_OBJECTS_ARRAY_TEMPORARY_H

#include "tamrun/descriptor.h"

/// 1 if the elements are adjacent, else 0.
TAMRUN_ENTRY int for_contig_array(const For_Dope_Vector* d);
/// Contiguous data of d: its own, or a copy, which goes back through for_array_copy_out.
TAMRUN_ENTRY void* for_array_copy_in(const For_Dope_Vector* d);
/// Stores what a copy holds in the elements of d, which has not changed since, and frees the copy.
TAMRUN_ENTRY void for_array_copy_out(void* temporary, const For_Dope_Vector* d);

/// Moves the elements of the first `dimension` + 1 dimensions between a section and packed data, one of packed_out and
/// packed_in, the other being null. The bytes packed or unpacked.
extern "C" i64 recur_copy(const For_Dope_Vector* d, i64 dimension, u8* strided, u8* packed_out, const u8* packed_in);

/// Gives the allocatable d the shape that an assignment of rhs takes; its address, or null after a failure.
TAMRUN_ENTRY void* for_realloc_lhs(For_Dope_Vector* d, const For_Dope_Vector* rhs, For_Alloc_Flags flags);
/// Ends the program unless both are defined and their extents agree; a scalar b goes with all.
TAMRUN_ENTRY void for_check_shape(const For_Dope_Vector* a, const For_Dope_Vector* b);

#endif
