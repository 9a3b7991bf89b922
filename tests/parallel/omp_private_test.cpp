// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Private copies: what the descriptors become, and values that go in and out of any section.

#include "parallel/omp_private.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include "sections.h"
#include "support/child.h"

namespace {

using namespace tamrun_test;

constexpr u64 kFlags = DV_DEFINED | DV_ALLOCATABLE;

std::vector<u8> random_bytes(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<u8> bytes(count);
  for (u8& byte : bytes) byte = static_cast<u8>(random());
  return bytes;
}

/// A descriptor that nothing has been written to.
Descriptor garbage(int rank) {
  Descriptor d(7, rank, 1);
  d.shape(std::vector<i64>(static_cast<size_t>(rank), 99)).flags(0xFFFF);
  d->dv_reserved = 99;
  d->dv_base = reinterpret_cast<u8*>(8);
  return d;
}

/// Three by four elements of 8 bytes in every second row of a larger array.
Descriptor three_by_four(void* base) {
  Descriptor d(8, 2, 1);
  d.shape({3, 4}).stride(0, 16).stride(1, 100).lower(0, -5).lower(1, 0).flags(kFlags).defined(base);
  d->dv_reserved = 77;
  return d;
}

TEST(OmpPrivate, DescribesADenseCopy) {
  u8 byte = 0;
  const Descriptor orig = three_by_four(&byte);
  const auto expect = [](const Descriptor& priv, u64 rank, u64 codims, u64 reserved, const void* base) {
    EXPECT_EQ(priv->dv_elem_len, 8u);
    EXPECT_EQ(priv->dv_flags, kFlags);
    EXPECT_EQ(priv->dv_rank, rank);
    EXPECT_EQ(priv->dv_codims, codims);
    EXPECT_EQ(priv->dv_reserved, reserved);
    EXPECT_EQ(priv->dv_base, base);
    const For_Dim want[] = {{3, 8, -5}, {4, 24, 0}, {8, 96, 1}};
    EXPECT_EQ(memcmp(priv->dv_dim, want, rank * sizeof *want), 0);
  };
  Descriptor priv = garbage(2);
  EXPECT_EQ(_f90_dope_vector_init(priv, orig), 96);
  expect(priv, 2, 0, 96, nullptr);
  priv = garbage(2);
  EXPECT_EQ(_f90_dope_vector_init2(priv, orig), 96);
  expect(priv, 2, 0, 77, nullptr);
  priv = garbage(3);
  EXPECT_EQ(_f90_simd_dope_vector_init(priv, orig, 8), 12);
  expect(priv, 3, 0, 96, nullptr);
  priv = garbage(2);
  void* block = _f90_alloc_private(priv, orig);
  ASSERT_NE(block, nullptr);
  expect(priv, 2, 1, 77, block);
  memset(block, 1, 96);
  _f90_free_private(&block);
}

TEST(OmpPrivate, ScalarsAndObjectsWithoutStorage) {
  double value = 2.5;
  const Descriptor scalar = Descriptor(8).defined(&value);
  Descriptor priv = garbage(0);
  EXPECT_EQ(_f90_dope_vector_init(priv, scalar), 8);
  EXPECT_EQ(priv->dv_reserved, 8u);
  EXPECT_EQ(_f90_dope_vector_init2(priv, scalar), 8);

  // An unallocated array that has a shape from before: its descriptor is defined in nothing but the flags.
  Descriptor orig = three_by_four(nullptr);
  orig->dv_flags = 0;
  const u8 zeros[kDopeHeadBytes] = {};
  const auto expect_head_alone = [&](auto init, i64 result) {
    priv = garbage(2);
    const For_Dim before = priv->dv_dim[0];
    EXPECT_EQ((i64)init(priv, orig), result);
    EXPECT_EQ(memcmp(priv->dv_dim, &before, sizeof before), 0);
  };
  expect_head_alone(_f90_dope_vector_init, 0);
  EXPECT_EQ(memcmp(priv.get(), zeros, sizeof zeros), 0);
  expect_head_alone(_f90_dope_vector_init2, -1);
  EXPECT_EQ(memcmp(priv.get(), zeros, sizeof zeros), 0);
  expect_head_alone(_f90_alloc_private, 0);
  EXPECT_EQ(memcmp(priv.get(), zeros, sizeof zeros), 0);

  orig->dv_flags = DV_ALLOCATABLE;
  expect_head_alone(_f90_dope_vector_init2, -1);
  EXPECT_EQ(priv->dv_rank, 2u);
  EXPECT_EQ(priv->dv_elem_len, 8u);
}

TEST(OmpPrivate, StorageOfNoBytesAndOfTooMany) {
  Descriptor priv = garbage(2);
  u8 byte = 0;
  const Descriptor empty = Descriptor(8, 2).shape({3, 0}).defined(&byte);
  void* block = _f90_alloc_private(priv, empty);
  _f90_firstprivate_copy(priv, empty);
  _f90_free_private(&block);

  const Descriptor huge = Descriptor(8, 2).shape({i64{1} << 30, i64{1} << 28}).defined(&byte);
  EXPECT_EQ(_f90_alloc_private(priv, huge), nullptr);
  EXPECT_EQ(priv.base(), nullptr);
}

TEST(OmpPrivate, ValuesGoInAndOutOfSections) {
  for (u64 elem_len : {1, 2, 4, 8, 16, 32}) {
    for (const Section& s : sections()) {
      SCOPED_TRACE(std::string(s.name) + ", length " + std::to_string(elem_len));
      std::vector<u8> shared = random_bytes(kStorage * elem_len, 1);
      const Descriptor orig = describe(s, shared.data(), elem_len);
      Descriptor priv = garbage(static_cast<int>(s.extents.size()));
      const size_t bytes = static_cast<size_t>(_f90_dope_vector_init(priv, orig));
      std::vector<u8> copy(bytes + elem_len, 0x5A), want = copy;  // one element behind it stays
      priv.defined(copy.data());

      const std::vector<i64> places = places_of(s);
      for (size_t i = 0; i < places.size(); ++i)
        memcpy(&want[i * elem_len], &shared[static_cast<u64>(places[i]) * elem_len], elem_len);
      const std::vector<u8> before = shared;
      _f90_firstprivate_copy(priv, orig);
      EXPECT_EQ(copy, want);
      EXPECT_EQ(shared, before);

      copy = random_bytes(copy.size(), 2);
      want = shared;
      for (size_t i = 0; i < places.size(); ++i)
        memcpy(&want[static_cast<u64>(places[i]) * elem_len], &copy[i * elem_len], elem_len);
      _f90_lastprivate_copy(priv.defined(copy.data()), orig);
      EXPECT_EQ(shared, want);
    }
  }
}

TEST(OmpPrivate, AnyElementLengthWhereAllIsAdjacent) {
  for (u64 elem_len : {3, 12, 24, 100}) {
    const std::vector<u8> shared = random_bytes(20 * elem_len, 3);
    std::vector<u8> copy(shared.size());
    const Descriptor orig = Descriptor(elem_len, 2).shape({4, 5}).defined(const_cast<u8*>(shared.data()));
    Descriptor priv = garbage(2);
    _f90_dope_vector_init(priv, orig);
    _f90_firstprivate_copy(priv.defined(copy.data()), orig);
    EXPECT_EQ(copy, shared);
  }
}

TEST(OmpPrivate, EndsTheProcessWhereThereIsNoLoop) {
  std::vector<u8> storage(1000);
  for (u64 elem_len : {3, 12, 24}) {
    const Descriptor orig = describe({"", 0, {5}, {2}}, storage.data(), elem_len);
    Descriptor priv = Descriptor(elem_len, 1).shape({5}).defined(&storage[500]);
    EXPECT_EQ(run_child([&] { _f90_firstprivate_copy(priv, orig); }).signal, SIGABRT) << elem_len;
    EXPECT_EQ(run_child([&] { _f90_lastprivate_copy(priv, orig); }).signal, SIGABRT) << elem_len;
  }
  for (int rank : {0, 7}) {
    const Descriptor orig = Descriptor(8, rank).shape(std::vector<i64>(static_cast<size_t>(rank), 1)).defined(&storage);
    Descriptor priv(8, rank + 1);
    EXPECT_EQ(run_child([&] { _f90_simd_dope_vector_init(priv, orig, 4); }).signal, SIGABRT) << rank;
  }
}

}  // namespace
