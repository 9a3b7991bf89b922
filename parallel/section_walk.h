// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Element by element work between the section that a descriptor describes and elements that lie in a line. The two
// innermost loops are compiled for each element type and operation; what is around them is here once.
#ifndef TAMRUN_PARALLEL_SECTION_WALK_H
#define TAMRUN_PARALLEL_SECTION_WALK_H

#include <string.h>

#include <type_traits>

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

/// Elements may lie at any address. Complex ones are read part by part, which lets their loops become vectors.
template <class T>
inline T read_element(const u8* at) {
  T value;
  if constexpr (requires { typename T::Part; }) {
    memcpy(&value.re, at, sizeof value.re);
    memcpy(&value.im, at + sizeof value.re, sizeof value.im);
  } else {
    memcpy(&value, at, sizeof value);
  }
  return value;
}

template <class T>
inline void write_element(u8* at, const T& value) {
  if constexpr (requires { typename T::Part; }) {
    memcpy(at, &value.re, sizeof value.re);
    memcpy(at + sizeof value.re, &value.im, sizeof value.im);
  } else {
    memcpy(at, &value, sizeof value);
  }
}

/// One loop with its steps known where they are 1, so that it becomes vectors. Private and shared elements never overlap.
template <class T, class Operation, class Dest_Step, class Src_Step>
inline void element_loop(u8* __restrict dest, Dest_Step dest_step, const u8* __restrict src, Src_Step src_step,
                         i64 count) {
#pragma GCC unroll 4
  for (i64 i = 0; i < count; ++i) {
    write_element(dest, Operation::apply(read_element<T>(dest), read_element<T>(src)));
    dest += dest_step * static_cast<i64>(sizeof(T));
    src += src_step * static_cast<i64>(sizeof(T));
  }
}

template <class T, class Operation>
void loop_kernel(const Element_Loops& loops) {
  constexpr std::integral_constant<i64, 1> kOne;
  const i64 dest_step = loops.dest.step, src_step = loops.src.step, count = loops.count, rows = loops.rows;
  const i64 dest_row = loops.dest.row_step * static_cast<i64>(sizeof(T));
  const i64 src_row = loops.src.row_step * static_cast<i64>(sizeof(T));
  u8* dest = loops.dest.first;
  const u8* src = loops.src.first;
  for (i64 row = 0; row < rows; ++row, dest += dest_row, src += src_row) {
    if (dest_step == kOne && src_step == kOne) {
      element_loop<T, Operation>(dest, kOne, src, kOne, count);
    } else if (dest_step == kOne) {
      element_loop<T, Operation>(dest, kOne, src, src_step, count);
    } else if (src_step == kOne) {
      element_loop<T, Operation>(dest, dest_step, src, kOne, count);
    } else {
      element_loop<T, Operation>(dest, dest_step, src, src_step, count);
    }
  }
}

#endif
