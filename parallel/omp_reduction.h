// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Reductions of arrays in OpenMP regions: the identity that a private copy starts from, and dest := dest op src for each
// element at the end. Compiled code serialises what goes into the shared array. Codes that it cannot mean end the
// process by abort.
#ifndef TAMRUN_PARALLEL_OMP_REDUCTION_H
#define TAMRUN_PARALLEL_OMP_REDUCTION_H

#include "tamrun/descriptor.h"

enum For_Reduction_Operator : u32 {
  RED_ADD = 1,
  RED_MUL = 2,
  RED_SUB = 3,
  RED_MAX = 4,
  RED_MIN = 5,
  RED_AND = 6,
  RED_OR = 7,
  RED_IAND = 8,
  RED_IOR = 9,
  RED_IEOR = 10,
  RED_XOR = 11,
  RED_EQV = 12,
  RED_NEQV = 13,
};

/// Type codes; the gaps are no types.
enum For_Reduction_Type : u32 {
  RED_U1 = 1,
  RED_I1 = 2,
  RED_U2 = 3,
  RED_I2 = 4,
  RED_U4 = 5,
  RED_I4 = 6,
  RED_U8 = 7,
  RED_I8 = 8,
  RED_R4 = 9,
  RED_R8 = 10,
  RED_R16 = 13,
  RED_C8 = 20,  ///< complex: the bytes of both parts
  RED_C16 = 21,
  RED_C32 = 23,
};

/// Fills with the identity of the operator.
TAMRUN_ENTRY void _f90_reduction_init(const For_Dope_Vector* d, u32 op, u32 type);
TAMRUN_ENTRY void _f90_reduction_init_array(void* base, i64 count, i32 op, u32 type);
/// Combines src, a dense copy, into dest, any section. An integer type with an operator that is none has no effect.
TAMRUN_ENTRY void _f90_reduction_final(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type);
/// The same with every stride-th element of src, complex ones included: a stride counts whole elements.
TAMRUN_ENTRY void _f90_reduction_final_strided(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op,
                                               u32 type, u32 stride);
TAMRUN_ENTRY void _f90_simd_reduction_final(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type,
                                            u32 stride, i32 use_stride);
/// `count` adjacent elements. With `lanes_inner` src holds the lanes of an element side by side and the first of them
/// is taken; otherwise the first lane lies before the others.
TAMRUN_ENTRY void _f90_simd_reduction_final_array(void* dest, void* src, i64 count, i32 lanes, i32 lanes_inner, i32 op,
                                                  u32 type);

#endif
