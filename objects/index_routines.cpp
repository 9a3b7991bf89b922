// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Walks by a vector of indices that the caller keeps.

#include "objects/index_routines.h"

#include "objects/element_walk.h"

namespace {

i64 rank_of(const For_Dope_Vector* d) { return static_cast<i64>(d->dv_rank); }

i64 index_value(u32 index) { return static_cast<i32>(index); }

/// Steps to the next value of a dimension: true when there is one; otherwise back to the first.
bool advance_plain(u32* index, const For_Dim& dim) {
  if (index_value(*index) == dim.dim_extent) {
    *index = 1;
    return false;
  }
  ++*index;
  return true;
}

bool advance_subscript(u32* index, u32* position, const For_Dim& dim) {
  const bool more = *position != dimension_count(dim);
  if (!more) *position = 0;
  *index = static_cast<u32>(subscript_value(dim, *position));
  ++*position;
  return more;
}

}  // namespace

extern "C" {

int for__qnca_dim_has_vector_subs(For_Dim dim) { return has_vector_subscript(dim); }

int for__qnca_has_vector_subs(const For_Dope_Vector* d) {
  for (i64 k = 0; k < rank_of(d); ++k) {
    if (has_vector_subscript(d->dv_dim[k])) return 1;
  }
  return 0;
}

void for__set_indices_routine(const For_Dope_Vector* d, For_Init_Indices* init, For_Update_Indices* update,
                              For_Current_Addr* address) {
  const bool vector = for__qnca_has_vector_subs(d) != 0;
  *init = vector ? for__init_indices_vs : for__init_indices;
  *update = vector ? for__update_indices_vs : for__update_indices;
  *address = vector ? for__get_current_addr_vs : for__get_current_addr;
}

void for__init_indices(u32* index, i32 rank, const For_Dope_Vector*, u32*) {
  for (i32 k = 0; k < rank; ++k) index[k] = 1;
}

int for__update_indices(u32* index, const For_Dope_Vector* d, u32*) {
  for (i64 k = 0; k < rank_of(d); ++k) {
    if (advance_plain(&index[k], d->dv_dim[k])) return 0;
  }
  return 1;
}

u8* for__get_current_addr(u32* index, const For_Dope_Vector* d, u8* base) {
  for (i64 k = 0; k < rank_of(d); ++k) base += (index_value(index[k]) - 1) * d->dv_dim[k].dim_stride;
  return base;
}

void for__init_indices_vs(u32* index, i32 rank, const For_Dope_Vector* d, u32* position) {
  for (i32 k = 0; k < rank; ++k) {
    const bool vector = has_vector_subscript(d->dv_dim[k]);
    index[k] = vector ? static_cast<u32>(subscript_value(d->dv_dim[k], 0)) : 1;
    if (vector) position[k] = 1;
  }
}

int for__update_indices_vs(u32* index, const For_Dope_Vector* d, u32* position) {
  for (i64 k = 0; k < rank_of(d); ++k) {
    const For_Dim& dim = d->dv_dim[k];
    const bool more =
        has_vector_subscript(dim) ? advance_subscript(&index[k], &position[k], dim) : advance_plain(&index[k], dim);
    if (more) return 0;
  }
  return 1;
}

u8* for__get_current_addr_vs(u32* index, const For_Dope_Vector* d, u8* base) {
  for (i64 k = 0; k < rank_of(d); ++k) {
    const For_Dim& dim = d->dv_dim[k];
    const i64 origin = has_vector_subscript(dim) ? base_lower_bound(dim) : 1;
    base += (index_value(index[k]) - origin) * dim.dim_stride;
  }
  return base;
}

}  // extern "C"
