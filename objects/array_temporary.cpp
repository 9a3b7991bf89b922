// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Contiguous copies of array arguments.

#include "objects/array_temporary.h"

#include <string.h>

#include <algorithm>

#include "core/failure.h"
#include "objects/wrapping.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

namespace {

constexpr u64 kAnyLength = 0;

/// The first dimensions of a section as far as their elements follow each other at one distance.
struct Row {
  i64 count;
  i64 stride;
  i64 dimensions;
};

Row leading_row(const For_Dope_Vector* d, i64 dimensions) {
  Row row = {d->dv_dim[0].dim_extent, d->dv_dim[0].dim_stride, 1};
  for (; row.dimensions < dimensions; ++row.dimensions) {
    const For_Dim& dim = d->dv_dim[row.dimensions];
    if (dim.dim_extent == 1) continue;
    if (row.count == 1) row.stride = dim.dim_stride;
    if (row.count < 1 || dim.dim_extent < 1 || dim.dim_stride != wrapping_product(row.stride, row.count)) break;
    row.count *= dim.dim_extent;
  }
  return row;
}

/// Rows up to this size are moved by a loop: a call would cost more than it saves.
constexpr i64 kShortRowBytes = 128;

/// Moves elements of one length, known at compile time unless it is kAnyLength.
template <bool kPack, u64 kLength>
class Mover {
 public:
  Mover(const For_Dope_Vector* d, i64 dimensions)
      : d_(d), row_(leading_row(d, dimensions)), length_(static_cast<i64>(d->dv_elem_len)) {}

  i64 move(i64 dimension, u8* strided, u8* packed) const {
    if (dimension < row_.dimensions) return move_rows({1, 0, 0}, strided, packed);
    if (dimension == row_.dimensions) return move_rows(d_->dv_dim[dimension], strided, packed);
    const For_Dim& dim = d_->dv_dim[dimension];
    i64 total = 0;
    for (i64 i = 0; i < dim.dim_extent; ++i) total += move(dimension - 1, strided + i * dim.dim_stride, packed + total);
    return total;
  }

 private:
  enum Way { kBlock, kAdjacent, kEverySecond, kStrided };

  i64 length() const { return kLength == kAnyLength ? length_ : static_cast<i64>(kLength); }

  Way way() const {
    if (row_.stride == length()) {
      const bool block = kLength == kAnyLength || row_.count * length() > kShortRowBytes;
      return block ? kBlock : kAdjacent;
    }
    // With the distance known the compiler makes vectors.
    return kLength != kAnyLength && row_.stride == 2 * length() ? kEverySecond : kStrided;
  }

  /// The rows of one dimension.
  i64 move_rows(const For_Dim& dim, u8* strided, u8* packed) const {
    switch (way()) {
      case kBlock:
        return move_rows<kBlock>(dim, strided, packed);
      case kAdjacent:
        return move_rows<kAdjacent>(dim, strided, packed);
      case kEverySecond:
        return move_rows<kEverySecond>(dim, strided, packed);
      default:
        return move_rows<kStrided>(dim, strided, packed);
    }
  }

  template <Way kWay>
  i64 move_rows(const For_Dim dim, u8* __restrict strided, u8* __restrict packed) const {
    const i64 count = row_.count;
    const i64 step = length();
    const i64 row_bytes = count * step;
    const i64 stride = kWay == kAdjacent ? step : kWay == kEverySecond ? 2 * step : row_.stride;
    const i64 total = std::max<i64>(dim.dim_extent, 0) * row_bytes;
    if (count < 1) return total;
    for (i64 j = 0; j < dim.dim_extent; ++j, strided += dim.dim_stride, packed += row_bytes) {
      if constexpr (kWay == kBlock) {
        memcpy(kPack ? packed : strided, kPack ? strided : packed, static_cast<size_t>(row_bytes));
      } else {
        for (i64 i = 0; i < count; ++i) {
          u8* const there = strided + i * stride;
          u8* const here = packed + i * step;
          memcpy(kPack ? here : there, kPack ? there : here, static_cast<size_t>(length()));
        }
      }
    }
    return total;
  }

  const For_Dope_Vector* d_;
  Row row_;
  i64 length_;
};

template <bool kPack>
i64 move_section(const For_Dope_Vector* d, i64 dimension, u8* strided, u8* packed) {
  switch (d->dv_elem_len) {
    case 1:
      return Mover<kPack, 1>(d, dimension + 1).move(dimension, strided, packed);
    case 2:
      return Mover<kPack, 2>(d, dimension + 1).move(dimension, strided, packed);
    case 4:
      return Mover<kPack, 4>(d, dimension + 1).move(dimension, strided, packed);
    case 8:
      return Mover<kPack, 8>(d, dimension + 1).move(dimension, strided, packed);
    case 16:
      return Mover<kPack, 16>(d, dimension + 1).move(dimension, strided, packed);
    default:
      return Mover<kPack, kAnyLength>(d, dimension + 1).move(dimension, strided, packed);
  }
}

/// Bytes of all elements; -1 when that is no number.
i64 packed_bytes(const For_Dope_Vector* d) {
  constexpr i64 kNone = -1;
  i64 bytes = static_cast<i64>(d->dv_elem_len);
  bool overflows = bytes < 0;
  for (i64 k = 0; k < static_cast<i64>(d->dv_rank); ++k) {
    if (d->dv_dim[k].dim_extent == 0) return 0;
    overflows |= __builtin_mul_overflow(bytes, d->dv_dim[k].dim_extent, &bytes);
  }
  return overflows ? kNone : bytes;
}

}  // namespace

extern "C" {

int for_contig_array(const For_Dope_Vector* d) {
  const i64 rank = static_cast<i64>(d->dv_rank);
  if ((d->dv_flags & DV_CONTIGUOUS) != 0) return 1;
  i64 adjacent = static_cast<i64>(d->dv_elem_len);
  for (i64 k = 0; k < rank; ++k) {
    if (d->dv_dim[k].dim_stride != adjacent) return 0;
    adjacent = wrapping_product(adjacent, d->dv_dim[k].dim_extent);
  }
  return 1;
}

i64 recur_copy(const For_Dope_Vector* d, i64 dimension, u8* strided, u8* packed_out, const u8* packed_in) {
  return packed_out != nullptr ? move_section<true>(d, dimension, strided, packed_out)
                               : move_section<false>(d, dimension, strided, const_cast<u8*>(packed_in));
}

void* for_array_copy_in(const For_Dope_Vector* d) {
  if (for_contig_array(d) != 0) return d->dv_base;
  // A copy of nothing has an address too.
  void* temporary = nullptr;
  const i64 bytes = packed_bytes(d);
  if (bytes < 0 || for__get_vm(std::max<i64>(bytes, 1), 0, &temporary) != 0) {
    for__issue_diagnostic(MSG_CANNOT_ALLOCATE_ARRAY_TEMPORARY_OUT, 0);
    return nullptr;
  }
  if (bytes > 0) recur_copy(d, static_cast<i64>(d->dv_rank) - 1, d->dv_base, static_cast<u8*>(temporary), nullptr);
  return temporary;
}

void for_array_copy_out(void* temporary, const For_Dope_Vector* d) {
  if (temporary == d->dv_base) return;
  const i64 rank = static_cast<i64>(d->dv_rank);
  if (rank > 0 && packed_bytes(d) > 0) recur_copy(d, rank - 1, d->dv_base, nullptr, static_cast<const u8*>(temporary));
  for__free_vm(temporary);
}

}  // extern "C"
