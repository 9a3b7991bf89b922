// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Shapes of assignments: an allocatable left side takes that of the right side; other arrays must have it.

#include <algorithm>

#include "core/failure.h"
#include "objects/allocate.h"
#include "objects/array_temporary.h"
#include "objects/wrapping.h"

namespace {

i64 rank_of(const For_Dope_Vector* d) { return static_cast<i64>(d->dv_rank); }

bool is_defined(const For_Dope_Vector* d) { return (d->dv_flags & DV_DEFINED) != 0; }

bool same_extents(const For_Dope_Vector* a, const For_Dope_Vector* b) {
  return rank_of(a) == rank_of(b) &&
         std::equal(a->dv_dim, a->dv_dim + std::max<i64>(rank_of(a), 0), b->dv_dim,
                    [](const For_Dim& i, const For_Dim& j) { return i.dim_extent == j.dim_extent; });
}

/// A scalar goes into any array of its element length.
bool keeps_storage(const For_Dope_Vector* d, const For_Dope_Vector* rhs) {
  return d->dv_elem_len == rhs->dv_elem_len && (rhs->dv_rank == 0 || same_extents(d, rhs));
}

/// Gives d, densely, the extents and lower bounds of `shape`, which may be its own: bytes, and whether they overflow.
bool take_shape(For_Dope_Vector* d, const For_Dope_Vector* shape, u64* bytes) {
  *bytes = d->dv_elem_len;
  bool overflows = false;
  bool is_empty = false;
  for (i64 k = 0; k < rank_of(shape); ++k) {
    const For_Dim from = shape->dv_dim[k];
    if (k < rank_of(d)) d->dv_dim[k] = {from.dim_extent, static_cast<i64>(*bytes), from.dim_lower};
    is_empty |= from.dim_extent == 0;
    overflows |= from.dim_extent < 0;
    overflows |= __builtin_mul_overflow(*bytes, static_cast<u64>(from.dim_extent), bytes);
  }
  return overflows && !is_empty;
}

}  // namespace

extern "C" {

void* for_realloc_lhs(For_Dope_Vector* d, const For_Dope_Vector* rhs, For_Alloc_Flags flags) {
  const bool was_defined = is_defined(d);
  if (was_defined && keeps_storage(d, rhs)) return d->dv_base;
  if (!was_defined && rank_of(d) > 0 && rhs->dv_rank == 0) {
    for__issue_diagnostic(MSG_SCALAR_TO_UNALLOCATED, 0);
    return nullptr;
  }
  if (d->dv_codims != 0) {
    for__issue_diagnostic(MSG_COARRAY_IN_ASSIGNMENT, 0);
    return nullptr;
  }
  if (was_defined) {
    // Whatever was wrong with the old storage, the variable leaves it.
    for_dealloc_allocatable(d->dv_base, flags);
    d->dv_base = nullptr;
    d->dv_flags &= ~static_cast<u64>(DV_DEFINED | DV_CONTIGUOUS);
  }
  d->dv_elem_len = rhs->dv_elem_len;
  u64 bytes;
  const bool overflows = take_shape(d, rank_of(rhs) > 0 ? rhs : d, &bytes);
  void* address = nullptr;
  for_alloc_allocatable(bytes, &address, flags | (overflows ? For_Alloc_Flags{FA_SIZE_OVERFLOW} : 0));
  d->dv_base = static_cast<u8*>(address);
  if (address != nullptr) d->dv_flags |= DV_DEFINED | DV_CONTIGUOUS;
  return address;
}

void for_check_shape(const For_Dope_Vector* a, const For_Dope_Vector* b) {
  if (!is_defined(a) || !is_defined(b)) {
    for__issue_diagnostic(is_defined(a) ? MSG_REFERENCE_UNINITIALISED_POINTER : MSG_POINTER_NOT_ASSOCIATED, 0);
    return;
  }
  const i64 rank = std::min(rank_of(a), rank_of(b));
  for (i64 k = 0; k < rank; ++k) {
    const i64 extents[] = {a->dv_dim[k].dim_extent, b->dv_dim[k].dim_extent};
    if (extents[0] == extents[1]) continue;
    for__issue_diagnostic(MSG_SHAPE_MISMATCH_DIMENSION_EXTENTS_ARE, 3, static_cast<i32>(k + 1),
                          static_cast<i32>(extents[0]), static_cast<i32>(extents[1]));
    return;
  }
}

}  // extern "C"
