// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Reductions where they belong: in parallel regions, each thread with a descriptor and a copy of its own.

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

double accumulate(double value, i64 more, u32 op) {
  return op == RED_MAX ? std::max(value, static_cast<double>(more)) : value + static_cast<double>(more);
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
      for (i64 e = 0; e < size; ++e) mine[e] = accumulate(mine[e], contribution(i, e), op);
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
        double value = op == RED_MAX ? 7 : 0;
        for (int i = 0; i < kIterations; ++i) value = accumulate(value, contribution(i, static_cast<i64>(e)), op);
        want[static_cast<size_t>(places[e])] = op == RED_MAX ? value : op == RED_SUB ? 7 - value : 7 + value;
      }
      reduce_in_region(s, op, storage);
      EXPECT_EQ(storage, want);
    }
  }
}

}  // namespace
