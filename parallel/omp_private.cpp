// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Descriptors, storage and values of private copies.

#include "parallel/omp_private.h"

#include <stdlib.h>
#include <string.h>

#include "objects/object.h"
#include "parallel/section_walk.h"

namespace {

/// Gives priv the extents and lower bounds of orig, adjacent; priv has its element length. The bytes of the object.
u64 fill_dense_dimensions(For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  u64 stride = priv->dv_elem_len;
  for (i64 k = 0; k < static_cast<i64>(orig->dv_rank); ++k) {
    const For_Dim& from = orig->dv_dim[k];
    priv->dv_dim[k] = {from.dim_extent, static_cast<i64>(stride), from.dim_lower};
    stride *= static_cast<u64>(from.dim_extent);
  }
  return stride;
}

/// What every initialiser does first. False: orig is unallocated, and priv is cleared.
bool begin_private(For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  const bool exists = orig->dv_flags != 0;
  priv->dv_base = nullptr;
  priv->dv_elem_len = exists ? orig->dv_elem_len : 0;
  priv->dv_codims = 0;
  priv->dv_flags = orig->dv_flags;
  priv->dv_rank = exists ? orig->dv_rank : 0;
  priv->dv_reserved = exists ? orig->dv_reserved : 0;
  return exists;
}

/// dest := src, of elements that are only moved.
struct Replace {
  template <class T>
  static T apply(T, T src) {
    return src;
  }
};

template <size_t kBytes>
struct Opaque {
  u64 words[kBytes / sizeof(u64)];
};

/// Moves whole elements of this length; any other length has no loop, and compiled code never asks for one.
Loop_Kernel move_kernel(u64 elem_len) {
  switch (elem_len) {
    case 1:
      return loop_kernel<u8, Replace>;
    case 2:
      return loop_kernel<u16, Replace>;
    case 4:
      return loop_kernel<u32, Replace>;
    case 8:
      return loop_kernel<u64, Replace>;
    case 16:
      return loop_kernel<Opaque<16>, Replace>;
    case 32:
      return loop_kernel<Opaque<32>, Replace>;
    default:
      abort();
  }
}

/// Between the dense priv and orig, which is the destination or the source.
void copy_private(const For_Dope_Vector* priv, const For_Dope_Vector* orig, Section_Is orig_is) {
  const u64 elem_len = orig->dv_elem_len;
  const i64 count = priv->dv_rank == 0 ? 1 : extent_product(orig);
  if (priv->dv_rank == 0 || is_contiguous(orig)) {
    u8* dest = orig_is == Section_Is::kDest ? orig->dv_base : priv->dv_base;
    const u8* src = orig_is == Section_Is::kDest ? priv->dv_base : orig->dv_base;
    if (count > 0 && elem_len > 0) memcpy(dest, src, elem_len * static_cast<u64>(count));
    return;
  }
  walk_section(orig, orig_is, {priv->dv_base, 1}, elem_len, move_kernel(elem_len));
}

}  // namespace

extern "C" {

i64 _f90_dope_vector_init(For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  if (!begin_private(priv, orig)) return 0;
  priv->dv_reserved = fill_dense_dimensions(priv, orig);
  return static_cast<i64>(priv->dv_reserved);
}

i64 _f90_dope_vector_init2(For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  begin_private(priv, orig);
  if ((orig->dv_flags & DV_DEFINED) == 0) return -1;
  return static_cast<i64>(fill_dense_dimensions(priv, orig));
}

void* _f90_alloc_private(For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  if (!begin_private(priv, orig)) return nullptr;
  priv->dv_codims = orig->dv_codims;
  // The program's own block: it may outlive the region and is freed by free.
  priv->dv_base = static_cast<u8*>(malloc(fill_dense_dimensions(priv, orig)));
  return priv->dv_base;
}

i64 _f90_simd_dope_vector_init(For_Dope_Vector* priv, const For_Dope_Vector* orig, i32 lanes) {
  const u64 rank = orig->dv_rank;
  if (rank < 1 || rank > kMaxSimdRank) abort();
  priv->dv_base = nullptr;
  priv->dv_elem_len = orig->dv_elem_len;
  priv->dv_codims = 0;
  priv->dv_flags = orig->dv_flags;
  priv->dv_rank = rank + 1;
  priv->dv_dim[rank] = {lanes, static_cast<i64>(fill_dense_dimensions(priv, orig)), 1};
  const i64 count = extent_product(orig);
  priv->dv_reserved = priv->dv_elem_len * static_cast<u64>(count);
  return count;
}

void _f90_free_private(void** address) { free(*address); }

void _f90_firstprivate_copy(const For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  copy_private(priv, orig, Section_Is::kSource);
}

void _f90_lastprivate_copy(const For_Dope_Vector* priv, const For_Dope_Vector* orig) {
  copy_private(priv, orig, Section_Is::kDest);
}

}  // extern "C"
