// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The loops around the kernels.

#include "parallel/section_walk.h"

#include <stdlib.h>

namespace {

/// Dimensions that the kernel itself walks.
constexpr int kKernelDims = 2;

struct Walk_Dim {
  i64 extent;
  i64 step;   ///< elements
  i64 index;  ///< unused in those of the kernel
};

/// Fills `dim` from the descriptor and gives their number. Dimensions that continue the one before are one with it, so
/// that a dense array is a single loop and the inner loops are as long as can be.
int loop_dimensions(const For_Dope_Vector* section, Walk_Dim* dim) {
  const i64 rank = static_cast<i64>(section->dv_rank);
  const i64 elem_len = static_cast<i64>(section->dv_elem_len);
  if (rank > kMaxSectionRank || elem_len <= 0) abort();
  int dims = 0;
  for (i64 k = 0; k < rank; ++k) {
    const i64 extent = section->dv_dim[k].dim_extent;
    const i64 step = section->dv_dim[k].dim_stride / elem_len;
    if (extent == 1) continue;
    if (dims > 0 && step == dim[dims - 1].step * dim[dims - 1].extent) {
      dim[dims - 1].extent *= extent;
    } else {
      dim[dims++] = {extent, step, 0};
    }
  }
  while (dims < kKernelDims) dim[dims++] = {1, 1, 0};
  return dims;
}

}  // namespace

i64 extent_product(const For_Dope_Vector* d) {
  u64 product = 1;
  for (i64 k = 0; k < static_cast<i64>(d->dv_rank); ++k) product *= static_cast<u64>(d->dv_dim[k].dim_extent);
  return static_cast<i64>(product);
}

void walk_section(const For_Dope_Vector* section, Section_Is role, const Element_Line& line, u64 element_bytes,
                  Loop_Kernel kernel) {
  if (extent_product(section) < 1) return;
  Walk_Dim dim[kMaxSectionRank + kKernelDims];
  const int dims = loop_dimensions(section, dim);
  const i64 bytes = static_cast<i64>(element_bytes);
  const i64 count = dim[0].extent, rows = dim[1].extent;
  const Loop_Side array = {section->dv_base, dim[0].step, dim[1].step};
  const Loop_Side linear = {line.first, line.step, line.step * count};

  Element_Loops loops =
      role == Section_Is::kDest ? Element_Loops{array, linear, count, rows} : Element_Loops{linear, array, count, rows};
  u8*& at = role == Section_Is::kDest ? loops.dest.first : loops.src.first;
  u8*& in_line = role == Section_Is::kDest ? loops.src.first : loops.dest.first;
  for (;;) {
    kernel(loops);
    int k = kKernelDims;
    for (; k < dims; ++k) {
      at += dim[k].step * bytes;
      if (++dim[k].index < dim[k].extent) break;
      at -= dim[k].step * bytes * dim[k].extent;
      dim[k].index = 0;
    }
    if (k == dims) return;
    in_line += linear.row_step * rows * bytes;
  }
}
