// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The elements of an array in index order.

#include "objects/element_walk.h"

#include <string.h>

#include <algorithm>

namespace {

/// Bytes from the base array's first element in this dimension to the one that value number `i` selects.
i64 offset_of_value(const For_Dim& dim, u64 i) {
  if (!has_vector_subscript(dim)) return static_cast<i64>(i) * dim.dim_stride;
  return (i64{subscript_value(dim, i)} - base_lower_bound(dim)) * dim.dim_stride;
}

}  // namespace

i32 subscript_value(const For_Dim& dim, u64 i) {
  const auto* const record = reinterpret_cast<const For_Vector_Subscript*>(dim.dim_lower);
  i32 value;
  memcpy(&value, record->vs_values->first + static_cast<i64>(i) * record->vs_values->distance, sizeof value);
  return value;
}

Element_Walk::Element_Walk(const For_Dope_Vector* d, u8* base) : address_(base), step_(0) {
  const i32 rank = static_cast<i32>(std::clamp<i64>(static_cast<i64>(d->dv_rank), 0, kMaxWalkRank));
  if (rank == 1 && !has_vector_subscript(d->dv_dim[0])) {
    step_ = d->dv_dim[0].dim_stride;
    return;
  }
  rank_ = rank;
  dim_ = d->dv_dim;
  for (i32 k = 0; k < rank; ++k) {
    position_[k] = 0;
    if (has_vector_subscript(dim_[k])) address_ += offset_of_value(dim_[k], 0);
  }
}

void Element_Walk::next_by_index() {
  for (i32 k = 0; k < rank_; ++k) {
    const u32 here = position_[k];
    const bool wraps = u64{here} + 1 >= dimension_count(dim_[k]);
    position_[k] = wraps ? 0 : here + 1;
    address_ += offset_of_value(dim_[k], position_[k]) - offset_of_value(dim_[k], here);
    if (!wraps) return;
  }
}
