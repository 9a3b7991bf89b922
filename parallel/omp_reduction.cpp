// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Entry points of reductions.

#include "parallel/omp_reduction.h"

#include <stdlib.h>

#include "parallel/reduction_cells.h"

namespace {

constexpr Reduction_Cell kNoCell = {nullptr, nullptr};

const Reduction_Cell& cell_of(const Reduction_Type& type, u32 op) { return op <= RED_NEQV ? type.cell[op] : kNoCell; }

/// Elements of `step` in a line into dest.
void combine(const For_Dope_Vector* dest, void* src, i64 step, u32 op, u32 type_code) {
  const Reduction_Type& type = reduction_type(type_code);
  const Loop_Kernel kernel = cell_of(type, op).combine;
  if (kernel != nullptr) {
    walk_section(dest, Section_Is::kDest, {static_cast<u8*>(src), step}, type.bytes, kernel);
  } else if (!type.is_integer) {
    abort();
  }
}

}  // namespace

extern "C" {

void _f90_reduction_init_array(void* base, i64 count, i32 op, u32 type) {
  const Reduction_Cell& cell = cell_of(reduction_type(type), static_cast<u32>(op));
  if (cell.fill == nullptr) abort();
  cell.fill(static_cast<u8*>(base), count);
}

void _f90_reduction_init(const For_Dope_Vector* d, u32 op, u32 type) {
  _f90_reduction_init_array(d->dv_base, extent_product(d), static_cast<i32>(op), type);
}

void _f90_reduction_final(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type) {
  combine(dest, src->dv_base, 1, static_cast<u32>(op), type);
}

void _f90_reduction_final_strided(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type,
                                  u32 stride) {
  combine(dest, src->dv_base, stride, static_cast<u32>(op), type);
}

void _f90_simd_reduction_final(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type, u32 stride,
                               i32 use_stride) {
  combine(dest, src->dv_base, use_stride == 0 ? 1 : stride, static_cast<u32>(op), type);
}

void _f90_simd_reduction_final_array(void* dest, void* src, i64 count, i32 lanes, i32 lanes_inner, i32 op, u32 type) {
  const u64 bytes = reduction_type(type).bytes;
  const For_Dope_Vector line = {static_cast<u8*>(dest), bytes, 0, 0, 1, 0, {{count, static_cast<i64>(bytes), 1}}};
  combine(&line, src, lanes_inner == 0 ? 1 : lanes, static_cast<u32>(op), type);
}

}  // extern "C"
