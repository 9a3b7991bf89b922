// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Sections of arrays that the tests of this folder go through, and their elements found by the subscript formula.
#ifndef TAMRUN_TESTS_PARALLEL_SECTIONS_H
#define TAMRUN_TESTS_PARALLEL_SECTIONS_H

#include <string.h>

#include <random>
#include <vector>

#include "support/descriptor.h"

namespace tamrun_test {

struct Section {
  const char* name;
  i64 first;  ///< element of the storage at which it begins
  std::vector<i64> extents;
  std::vector<i64> strides;  ///< elements
};

inline constexpr size_t kStorage = 700;  ///< elements that hold any of the sections

inline const std::vector<Section>& sections() {
  static const std::vector<Section> all = {
      {"scalar", 5, {}, {}},
      {"dense", 1, {101}, {1}},
      {"every third", 0, {67}, {3}},
      {"backwards", 120, {61}, {-2}},
      {"columns", 0, {17, 3}, {1, 20}},
      {"matrix", 3, {5, 7}, {2, 20}},
      {"planes", 1, {4, 3, 5}, {1, 4, 40}},
      {"backwards cube", 400, {3, 4, 5}, {-2, 9, -50}},
      {"ones", 0, {1, 4, 1, 3}, {5, 5, 7, 50}},
      {"rank 7", 0, {2, 3, 2, 1, 2, 2, 2}, {2, 5, 20, 3, 50, 110, 300}},
      {"empty cube", 0, {5, 3, 0}, {2, 11, 60}},
  };
  return all;
}

inline i64 size_of(const Section& s) {
  i64 size = 1;
  for (i64 extent : s.extents) size *= extent;
  return size;
}

/// Places in the storage, first dimension fastest.
inline std::vector<i64> places_of(const Section& s) {
  std::vector<i64> places;
  for (i64 i = 0; i < size_of(s); ++i) {
    i64 rest = i, place = s.first;
    for (size_t k = 0; k < s.extents.size(); ++k) {
      place += rest % s.extents[k] * s.strides[k];
      rest /= s.extents[k];
    }
    places.push_back(place);
  }
  return places;
}

/// Lower bounds differ from 1: nothing may depend on them.
inline Descriptor describe(const Section& s, u8* storage, u64 elem_len) {
  const i64 bytes = static_cast<i64>(elem_len);
  Descriptor d(elem_len, static_cast<int>(s.extents.size()));
  d.shape(s.extents).defined(storage + s.first * bytes);
  for (size_t k = 0; k < s.extents.size(); ++k) {
    const int dim = static_cast<int>(k);
    d.stride(dim, s.strides[k] * bytes).lower(dim, static_cast<i64>(k) - 3);
  }
  return d;
}

}  // namespace tamrun_test

#endif
