// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The compiled loops of each element type and reduction operator.
#ifndef TAMRUN_PARALLEL_REDUCTION_CELLS_H
#define TAMRUN_PARALLEL_REDUCTION_CELLS_H

#include "parallel/omp_reduction.h"
#include "parallel/section_walk.h"

struct Reduction_Cell {
  Loop_Kernel combine;                 ///< null: the type has no such operator
  void (*fill)(u8* first, i64 count);  ///< with the identity; null as well
};

struct Reduction_Type {
  u64 bytes;        ///< 0: no such type
  bool is_integer;  ///< of either sign
  Reduction_Cell cell[RED_NEQV + 1];
};

/// The row of a type; ends the process where there is none.
const Reduction_Type& reduction_type(u32 type);

#endif
