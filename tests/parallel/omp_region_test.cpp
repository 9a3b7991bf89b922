// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Private copies and reductions where they belong: in parallel regions, each thread with a descriptor of its own.

#include <gtest/gtest.h>

#include <algorithm>

#include "parallel/omp_private.h"
#include "parallel/omp_reduction.h"
#include "sections.h"

namespace {

using namespace tamrun_test;

constexpr int kThreads = 4;
constexpr int kIterations = 100;

/// What iteration i brings to element e.
i64 contribution(int i, i64 e) { return (i * 37 + e * 11) % 101 - 50; }

i64 accumulate(i64 value, i64 more, u32 op) {
  if (op == RED_MAX) return more > value ? more : value;
  return value + more;
}

/// reduction(op: shared), shared being any section of reals.
void reduce_in_region(const Section& s, u32 op, std::vector<double>& storage) {
  const Descriptor shared = describe(s, reinterpret_cast<u8*>(storage.data()), sizeof(double));
  const i64 size = size_of(s);
#pragma omp parallel num_threads(kThreads)
  {
    Descriptor priv(sizeof(double), static_cast<int>(s.extents.size()));
    void* block = _f90_alloc_private(priv, shared);
    double* mine = static_cast<double*>(block);
    _f90_reduction_init(priv, op, RED_R8);
#pragma omp for
    for (int i = 0; i < kIterations; ++i)
      for (i64 e = 0; e < size; ++e)
        mine[e] = op == RED_MAX ? std::max(mine[e], static_cast<double>(contribution(i, e)))
                                : mine[e] + static_cast<double>(contribution(i, e));
#pragma omp critical
    _f90_reduction_final(shared, priv, static_cast<i32>(op), RED_R8);
    _f90_free_private(&block);
  }
}

TEST(OmpRegion, ReducesAsASerialLoopDoes) {
  for (const Section& s : sections()) {
    if (s.extents.empty()) continue;
    for (u32 op : {RED_ADD, RED_SUB, RED_MAX}) {
      SCOPED_TRACE(std::string(s.name) + ", operator " + std::to_string(op));
      std::vector<double> storage(kStorage, 7.0), want = storage;
      const std::vector<i64> places = places_of(s);
      for (size_t e = 0; e < places.size(); ++e) {
        i64 value = op == RED_MAX ? 7 : 0;
        for (int i = 0; i < kIterations; ++i) value = accumulate(value, contribution(i, static_cast<i64>(e)), op);
        want[static_cast<size_t>(places[e])] = static_cast<double>(op == RED_MAX   ? value
                                                                   : op == RED_SUB ? 7 - value
                                                                                   : 7 + value);
      }
      reduce_in_region(s, op, storage);
      EXPECT_EQ(storage, want);
    }
  }
}

TEST(OmpRegion, FirstprivateAndLastprivate) {
  for (const Section& s : sections()) {
    if (s.extents.empty()) continue;
    SCOPED_TRACE(s.name);
    std::vector<i32> storage(kStorage);
    for (size_t i = 0; i < storage.size(); ++i) storage[i] = static_cast<i32>(i);
    std::vector<i32> want = storage;
    for (i64 place : places_of(s)) want[static_cast<size_t>(place)] += kIterations - 1;
    const Descriptor shared = describe(s, reinterpret_cast<u8*>(storage.data()), sizeof(i32));
    const i64 size = size_of(s);
#pragma omp parallel num_threads(kThreads)
    {
      Descriptor priv(sizeof(i32), static_cast<int>(s.extents.size()));
      void* block = _f90_alloc_private(priv, shared);
      i32* mine = static_cast<i32*>(block);
      std::vector<i32> kept(static_cast<size_t>(size));
      _f90_firstprivate_copy(priv, shared);
      std::copy(mine, mine + size, kept.begin());
      bool has_last = false;
#pragma omp for
      for (int i = 0; i < kIterations; ++i) {
        for (i64 e = 0; e < size; ++e) mine[e] = kept[static_cast<size_t>(e)] + i;
        has_last = i == kIterations - 1;
      }
      if (has_last) _f90_lastprivate_copy(priv, shared);
      _f90_free_private(&block);
    }
    EXPECT_EQ(storage, want);
  }
}

/// Each lane of a SIMD loop has a copy of its own; they come together lane by lane.
TEST(OmpRegion, ReducesTheLanesOfASimdCopy) {
  constexpr i32 kLanes = 8;
  for (const Section& s : sections()) {
    const size_t rank = s.extents.size();
    if (rank < 1 || rank > kMaxSimdRank) continue;
    SCOPED_TRACE(s.name);
    std::vector<i64> storage(kStorage, 3), want = storage;
    const Descriptor shared = describe(s, reinterpret_cast<u8*>(storage.data()), sizeof(i64));
    Descriptor priv(sizeof(i64), static_cast<int>(rank) + 1);
    const i64 size = _f90_simd_dope_vector_init(priv, shared, kLanes);
    ASSERT_EQ(size, size_of(s));
    std::vector<i64> lanes(static_cast<size_t>(size) * kLanes);
    priv.defined(lanes.data());
    _f90_reduction_init(priv, RED_ADD, RED_I8);
    for (i64 lane = 0; lane < kLanes; ++lane)
      for (i64 e = 0; e < size; ++e)
        lanes[static_cast<size_t>(lane * size + e)] += contribution(static_cast<int>(lane), e);
    const std::vector<i64> places = places_of(s);
    for (size_t e = 0; e < places.size(); ++e)
      for (int lane = 0; lane < kLanes; ++lane)
        want[static_cast<size_t>(places[e])] += contribution(lane, static_cast<i64>(e));
    for (i64 lane = 0; lane < kLanes; ++lane) {
      priv.defined(lanes.data() + lane * size);
      _f90_simd_reduction_final(shared, priv, RED_ADD, RED_I8, kLanes, 0);
    }
    EXPECT_EQ(storage, want);
  }
}

}  // namespace
