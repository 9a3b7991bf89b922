// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Element by element work between the section that a descriptor describes and elements that lie in a line. The two
// innermost loops are compiled for each element type and operation; what is around them is here once.
#ifndef TAMRUN_PARALLEL_SECTION_WALK_H
#define TAMRUN_PARALLEL_SECTION_WALK_H

#include "tamrun/descriptor.h"

inline constexpr i64 kMaxSectionRank = 32;

/// One side of two nested loops; distances are in elements.
struct Loop_Side {
  u8* first;
  i64 step;
  i64 row_step;
};

struct Element_Loops {
  Loop_Side dest;
  Loop_Side src;
  i64 count;  ///< of the inner loop
  i64 rows;
};
using Loop_Kernel = void (*)(const Element_Loops& loops);

/// The elements in a line: `step` elements apart, in the order of the section's.
struct Element_Line {
  u8* first;
  i64 step;
};

enum class Section_Is { kDest, kSource };

/// Product of the extents, 1 for a scalar.
i64 extent_product(const For_Dope_Vector* d);

/// Runs the kernel over all elements of a section, first dimension fastest. Strides count in whole elements.
void walk_section(const For_Dope_Vector* section, Section_Is role, const Element_Line& line, u64 element_bytes,
                  Loop_Kernel kernel);

/// A value at any address. Reading it through its own type, not as bytes, lets every loop become vectors.
template <class T>
struct __attribute__((packed, may_alias)) Loose {
  T value;
};
template <class T>
inline Loose<T>& loose(u8* at) {
  return *reinterpret_cast<Loose<T>*>(at);
}
template <class T>
inline const Loose<T>& loose(const u8* at) {
  return *reinterpret_cast<const Loose<T>*>(at);
}

/// Complex elements are read part by part, for the same reason.
template <class T>
inline T read_element(const u8* at) {
  if constexpr (requires { typename T::Part; }) {
    using Part = typename T::Part;
    return {loose<Part>(at).value, loose<Part>(at + sizeof(Part)).value};
  } else {
    return loose<T>(at).value;
  }
}

template <class T>
inline void write_element(u8* at, T value) {
  if constexpr (requires { typename T::Part; }) {
    using Part = typename T::Part;
    loose<Part>(at).value = value.re;
    loose<Part>(at + sizeof(Part)).value = value.im;
  } else {
    loose<T>(at).value = value;
  }
}

/// Private and shared elements never overlap.
template <class T, class Operation>
inline void combine_element(u8* __restrict dest, const u8* __restrict src) {
  write_element(dest, Operation::apply(read_element<T>(dest), read_element<T>(src)));
}

/// Between adjacent elements.
template <class T, class Operation>
inline void dense_loop(u8* __restrict dest, const u8* __restrict src, i64 count) {
#pragma GCC unroll 4
  for (i64 i = 0; i < count * static_cast<i64>(sizeof(T)); i += static_cast<i64>(sizeof(T)))
    combine_element<T, Operation>(dest + i, src + i);
}

/// Of one lane into adjacent elements: becomes vectors as well.
template <class T, class Operation>
inline void lane_loop(u8* __restrict dest, const u8* __restrict src, i64 src_step, i64 count) {
  for (i64 i = 0; i < count; ++i) {
    combine_element<T, Operation>(dest + i * static_cast<i64>(sizeof(T)), src);
    src += src_step * static_cast<i64>(sizeof(T));
  }
}

template <class T, class Operation>
inline void strided_loop(u8* __restrict dest, i64 dest_step, const u8* __restrict src, i64 src_step, i64 count) {
#pragma GCC unroll 4
  for (i64 i = 0; i < count; ++i) {
    combine_element<T, Operation>(dest, src);
    dest += dest_step * static_cast<i64>(sizeof(T));
    src += src_step * static_cast<i64>(sizeof(T));
  }
}

template <class T, class Operation>
void loop_kernel(const Element_Loops& loops) {
  const i64 dest_step = loops.dest.step, src_step = loops.src.step, count = loops.count, rows = loops.rows;
  const i64 dest_row = loops.dest.row_step * static_cast<i64>(sizeof(T));
  const i64 src_row = loops.src.row_step * static_cast<i64>(sizeof(T));
  u8* dest = loops.dest.first;
  const u8* src = loops.src.first;
  for (i64 row = 0; row < rows; ++row, dest += dest_row, src += src_row) {
    if (dest_step == 1 && src_step == 1) {
      dense_loop<T, Operation>(dest, src, count);
    } else if (dest_step == 1) {
      lane_loop<T, Operation>(dest, src, src_step, count);
    } else {
      strided_loop<T, Operation>(dest, dest_step, src, src_step, count);
    }
  }
}

#endif
