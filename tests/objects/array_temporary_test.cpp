// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Temporaries of array arguments, against the subscripts' own arithmetic; reallocation of left sides; shapes.

#include "objects/array_temporary.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "objects/allocate.h"
#include "objects/element_walk.h"
#include "objects/object.h"
#include "support/child.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

constexpr int kStatusMask = 0xFF;  // of an exit status

/// Every stride is the size of what lies before it.
bool is_adjacent(const For_Dope_Vector* d) {
  i64 size = static_cast<i64>(d->dv_elem_len);
  for (u64 k = 0; k < d->dv_rank; size *= d->dv_dim[k++].dim_extent)
    if (d->dv_dim[k].dim_stride != size) return false;
  return true;
}

TEST(ArrayTemporary, TheFlagDecidesBeforeTheStrides) {
  EXPECT_EQ(for_contig_array(Descriptor(8)), 1);
  EXPECT_EQ(for_contig_array(Descriptor(8, 1).shape({5}).stride(0, 16).flags(DV_CONTIGUOUS)), 1);
}

/// A random section that lies within a buffer, with its elements apart.
Descriptor random_section(std::mt19937& random, std::vector<u8>& buffer) {
  const auto below = [&random](u32 n) { return static_cast<i64>(random() % n); };
  constexpr u64 kLengths[] = {1, 2, 3, 4, 8, 12, 16, 24, 40};
  const u64 length = kLengths[below(9)];
  const int rank = 1 + static_cast<int>(below(3));
  Descriptor d(length, rank);
  i64 distance = static_cast<i64>(length);
  i64 first = 0;
  for (int k = 0; k < rank; ++k) {
    const i64 extent = below(8) == 0 ? below(2) : 1 + below(k == 0 ? 37 : 4);
    const i64 gaps[] = {1, 1, 2, 2, 3, 4};
    distance *= gaps[below(6)];
    const bool backwards = below(4) == 0;
    d->dv_dim[k] = {extent, backwards ? -distance : distance, below(100) - 50};
    if (backwards && extent > 0) first += (extent - 1) * distance;
    distance *= std::max<i64>(extent, 1);
    if (below(3) == 0) distance += static_cast<i64>(length) * below(3);
  }
  buffer.resize(static_cast<size_t>(distance) + 1);
  d.defined(&buffer[static_cast<size_t>(first)]);
  return d;
}

TEST(ArrayTemporary, PacksAndUnpacksEverySection) {
  std::mt19937 random(20010115);
  for (int round = 0; round < 1500; ++round) {
    std::vector<u8> buffer;
    const Descriptor d = random_section(random, buffer);
    for (size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<u8>(i * 37 + i / 256);
    const u64 length = d->dv_elem_len;
    const bool own = is_adjacent(d);
    ASSERT_EQ(for_contig_array(d), own);
    const long blocks = vm_live_blocks();
    auto* const copy = static_cast<u8*>(for_array_copy_in(d));
    ASSERT_EQ(copy == d.base(), own);
    ASSERT_EQ(vm_live_blocks(), blocks + !own);
    std::vector<u8> expected = buffer;
    const u64 count = count_elements(d);
    Element_Walk walk(d, d.base());
    for (u64 i = 0; i < count; ++i, walk.next()) {
      ASSERT_EQ(memcmp(copy + i * length, walk.address(), length), 0) << "round " << round << " element " << i;
      u8* const there = &expected[static_cast<size_t>(walk.address() - buffer.data())];
      for (u64 byte = 0; byte < length; ++byte) there[byte] = static_cast<u8>(there[byte] + 1);
      if (own) continue;
      for (u64 byte = 0; byte < length; ++byte) ++copy[i * length + byte];
    }
    for_array_copy_out(copy, d);
    ASSERT_EQ(vm_live_blocks(), blocks);
    ASSERT_TRUE(own || buffer == expected) << "round " << round;
  }
}

TEST(ArrayTemporary, RowsAsTheRecursionCountsThem) {
  u8 data[64] = {}, packed[64];
  const Descriptor none = Descriptor(4, 2).shape({0, 3}), negative = Descriptor(4, 2).shape({-2, 0});
  const Descriptor two = Descriptor(4, 2).shape({3, 2}).stride(0, 8).stride(1, 24);
  EXPECT_EQ(recur_copy(none, 1, data, packed, nullptr), 0);
  EXPECT_EQ(recur_copy(negative, 0, data, packed, nullptr), -8);
  EXPECT_EQ(recur_copy(negative, 1, data, packed, nullptr), 0);
  EXPECT_EQ(recur_copy(two, 0, data, packed, nullptr), 12);
  EXPECT_EQ(recur_copy(two, 1, data, nullptr, packed), 24);
}

TEST(ArrayTemporary, NoMemory) {
  i64 data[8];
  const Descriptor strided = Descriptor(8, 1).shape({4}).stride(0, 16).defined(data);
  const Descriptor huge = Descriptor(8, 2).shape({i64{1} << 40, i64{1} << 40}).stride(0, 16).defined(data);
  const Descriptor vector = Descriptor(8, 1).subscripts(0, {1, 3}).stride(0, 16).defined(data);
  struct {
    const Descriptor& d;
    long fails;
  } const rows[] = {{strided, 1}, {huge, 0}, {vector, 0}};
  for (const auto& row : rows) {
    const Child_Result result = run_child([&row] {
      Fail_Vm fail(row.fails);
      for_array_copy_in(row.d);
    });
    EXPECT_EQ(result.status, MSG_CANNOT_ALLOCATE_ARRAY_TEMPORARY_OUT & kStatusMask);
    EXPECT_NE(result.err.find("Cannot allocate array temporary - out of memory"), std::string::npos) << result.err;
  }
}

std::string shape_of(const For_Dope_Vector* d) {
  std::string text = std::to_string(d->dv_elem_len);
  for (u64 k = 0; k < d->dv_rank; ++k) {
    const For_Dim& dim = d->dv_dim[k];
    text += ' ' + std::to_string(dim.dim_lower) + '+' + std::to_string(dim.dim_extent) + '*' +
            std::to_string(dim.dim_stride);
  }
  return text;
}

TEST(ReallocLhs, TakesTheShapeWhenItMust) {
  struct {
    Descriptor d;
    bool allocated;
    Descriptor rhs;
    bool kept;
    const char* shape;
  } const rows[] = {
      {Descriptor(8, 1).shape({3}).lower(0, 5), true, Descriptor(8, 1).shape({3}).stride(0, 16), true, "8 5+3*8"},
      {Descriptor(8, 1).shape({3}).lower(0, 5), true, Descriptor(8), true, "8 5+3*8"},
      {Descriptor(8, 1).shape({3}).lower(0, 5), true, Descriptor(4), false, "4 5+3*4"},
      {Descriptor(8, 1).shape({3}).lower(0, 5), true, Descriptor(8, 1).shape({4}).lower(0, -2).stride(0, 24), false,
       "8 -2+4*8"},
      {Descriptor(8, 2).shape({2, 3}), true, Descriptor(4, 2).shape({2, 3}).lower(1, 7), false, "4 1+2*4 7+3*8"},
      {Descriptor(8, 2).shape({2, 3}), true, Descriptor(8, 2).shape({2, 0}), false, "8 1+2*8 1+0*16"},
      {Descriptor(8, 2), false, Descriptor(2, 2).shape({2, 3}), false, "2 1+2*2 1+3*4"},
      {Descriptor(8), false, Descriptor(16), false, "16"},
      {Descriptor(8), true, Descriptor(16), false, "16"},
      {Descriptor(8), true, Descriptor(8), true, "8"},
  };
  for (const auto& row : rows) {
    const long blocks = vm_live_blocks();
    void* before = nullptr;
    if (row.allocated) {
      ASSERT_EQ(for_allocate(64, &before, 0), 0);
      row.d->dv_base = static_cast<u8*>(before);
      row.d->dv_flags |= DV_DEFINED;
    }
    Fail_Vm fail(row.kept ? 1 : 0);
    void* const address = for_realloc_lhs(row.d, row.rhs, 0);
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(address, row.d.base());
    EXPECT_TRUE(!row.kept || address == before);
    EXPECT_EQ(shape_of(row.d), row.shape);
    EXPECT_EQ(row.d->dv_flags, row.kept ? u64{DV_DEFINED} : DV_DEFINED | DV_CONTIGUOUS);
    EXPECT_EQ(vm_live_blocks(), blocks + 1);
    EXPECT_EQ(for_deallocate(address, 0), 0);
  }
}

TEST(ReallocLhs, Failures) {
  const long blocks = vm_live_blocks();
  Descriptor d = Descriptor(8, 1).shape({3});
  void* before = nullptr;
  ASSERT_EQ(for_allocate(24, &before, 0), 0);
  d.defined(before);
  {
    Fail_Vm fail(1);
    EXPECT_EQ(for_realloc_lhs(d, Descriptor(8, 1).shape({4}), FA_STAT), nullptr);
  }
  EXPECT_FALSE(d.is_defined());
  EXPECT_EQ(d.base(), nullptr);
  EXPECT_EQ(vm_live_blocks(), blocks);
  EXPECT_EQ(for_realloc_lhs(d, Descriptor(8, 1).shape({i64{1} << 62}), FA_STAT), nullptr);
  struct {
    int message;
    Descriptor d, rhs;
  } const rows[] = {
      {MSG_SCALAR_TO_UNALLOCATED, Descriptor(8, 1).shape({3}), Descriptor(8)},
      {MSG_COARRAY_IN_ASSIGNMENT, Descriptor(8, 1, 1).shape({3}), Descriptor(8, 1).shape({3})},
      {MSG_NO_MEMORY, Descriptor(8, 1), Descriptor(8, 1).shape({3})},
  };
  for (const auto& row : rows) {
    const Child_Result result = run_child([&row] {
      Fail_Vm fail(1);
      for_realloc_lhs(row.d, row.rhs, 0);
    });
    EXPECT_EQ(result.status, row.message & kStatusMask) << result.err;
  }
}

TEST(CheckShape, MessagesAndWhatPasses) {
  const auto array = [](std::vector<i64> extents) {
    return Descriptor(4, static_cast<int>(extents.size())).shape(extents).flags(DV_DEFINED);
  };
  struct {
    int message;
    const char* text;
    Descriptor a, b;
  } const rows[] = {
      {0, "", array({2, 3}), array({2, 3}).stride(0, 40).lower(1, 9)},
      {0, "", array({2, 3}), array({})},
      {0, "", array({}), array({5})},
      {MSG_POINTER_NOT_ASSOCIATED, "invalid attempt to assign into a pointer that is not associated",
       Descriptor(4, 1).shape({2}), Descriptor(4)},
      {MSG_REFERENCE_UNINITIALISED_POINTER, "Reference to uninitialised POINTER", array({2}), Descriptor(4)},
      {MSG_SHAPE_MISMATCH_DIMENSION_EXTENTS_ARE, "Shape mismatch: Dimension 2 extents are 3 and 4", array({2, 3, 5}),
       array({2, 4, 6})},
  };
  for (const auto& row : rows) {
    const Child_Result result = run_child([&row] { for_check_shape(row.a, row.b); });
    EXPECT_EQ(result.status, row.message & kStatusMask);
    EXPECT_NE(result.err.find(row.text), std::string::npos) << result.err;
  }
}

}  // namespace
