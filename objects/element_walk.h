// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The elements of an array in index order, first dimension fastest, also through vector subscripts.
#ifndef TAMRUN_OBJECTS_ELEMENT_WALK_H
#define TAMRUN_OBJECTS_ELEMENT_WALK_H

#include "tamrun/descriptor.h"

inline constexpr i32 kMaxWalkRank = 32;

/// What dim_lower of a vector-subscripted dimension points at.
struct For_Vector_Subscript {
  u64 vs_unread;
  i32 vs_base_lower;  ///< lower bound of this dimension of the base array
  i32 vs_reserved;
  struct {
    u8* first;     ///< first subscript value, 32 bits signed
    i64 distance;  ///< bytes between values
  } * vs_values;
};
static_assert(offsetof(For_Vector_Subscript, vs_base_lower) == 8 && offsetof(For_Vector_Subscript, vs_values) == 16);

/// Number of values of a dimension with or without vector subscripts.
inline u64 dimension_count(const For_Dim& dim) {
  const i64 extent = static_cast<i32>(dim.dim_extent);
  return static_cast<u64>(extent < 0 ? -extent : extent);
}

inline bool has_vector_subscript(const For_Dim& dim) { return dim.dim_extent < 0; }
/// Value number `i`, from 0, of a dimension with vector subscripts.
i32 subscript_value(const For_Dim& dim, u64 i);
/// Lower bound of the base array in such a dimension.
inline i32 base_lower_bound(const For_Dim& dim) {
  return reinterpret_cast<const For_Vector_Subscript*>(dim.dim_lower)->vs_base_lower;
}

/// The caller counts the elements; there is at least one.
class Element_Walk {
 public:
  /// Elements `step` bytes apart.
  Element_Walk(u8* base, u64 step) : address_(base), step_(static_cast<i64>(step)) {}
  /// The elements of an array; a scalar is visited again and again.
  Element_Walk(const For_Dope_Vector* d, u8* base);

  u8* address() const { return address_; }
  void next() {
    if (rank_ == 0) {
      address_ += step_;
    } else {
      next_by_index();
    }
  }

 private:
  void next_by_index();

  u8* address_;
  i64 step_;
  i32 rank_ = 0;  // 0: one step after the other
  const For_Dim* dim_ = nullptr;
  u32 position_[kMaxWalkRank];  // from 0
};

#endif
