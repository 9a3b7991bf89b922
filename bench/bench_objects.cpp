// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ALLOCATE and DEALLOCATE beside the aligned heap alone; deep copy of a flat array beside a copy of its bytes.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "objects/allocate.h"
#include "objects/deep_copy.h"
#include "platform/aligned_heap.h"

namespace {

constexpr size_t kAlignment = 32;

void allocate_and_deallocate(benchmark::State& state) {
  const u64 size = static_cast<u64>(state.range(0));
  void* block = nullptr;
  for (auto _ : state) {
    benchmark::DoNotOptimize(for_allocate(size, &block, FA_STAT));
    benchmark::DoNotOptimize(block);
    benchmark::DoNotOptimize(for_deallocate(block, FA_STAT));
  }
  state.SetItemsProcessed(state.iterations());
}

void aligned_heap(benchmark::State& state) {
  const u64 size = static_cast<u64>(state.range(0));
  for (auto _ : state) {
    void* block = _mm_malloc(size, kAlignment);
    benchmark::DoNotOptimize(block);
    _mm_free(block);
  }
  state.SetItemsProcessed(state.iterations());
}

void c_library(benchmark::State& state) {
  const u64 size = static_cast<u64>(state.range(0));
  for (auto _ : state) {
    void* block = aligned_alloc(kAlignment, size);
    benchmark::DoNotOptimize(block);
    free(block);
  }
  state.SetItemsProcessed(state.iterations());
}

/// A rank 1 array of a type of 64 bytes without components of its own.
struct Flat_Array {
  static constexpr u64 kElement = 64;
  For_Type_Node node = {"flat", nullptr, nullptr};
  struct {
    For_Dope_Vector d;
    xdesc_fixed_t block;
  } words = {};

  For_Dope_Vector* d() { return &words.d; }
  Flat_Array(u64 bytes, u64 flags, u8* base) {
    words.d = {base, kElement, 0, flags, 1, 0, {{static_cast<i64>(bytes / kElement), kElement, 1}}};
    words.block.xd_type = &node;
  }
};

void copy_flat(benchmark::State& state) {
  std::vector<u8> data(static_cast<size_t>(state.range(0)), 1);
  Flat_Array from(data.size(), DV_DEFINED, data.data()), to(data.size(), DV_ALLOCATABLE, nullptr);
  for (auto _ : state) {
    benchmark::DoNotOptimize(for_alloc_copy(from.d(), from.d()->dv_base, to.d(), to.d()->dv_base, FA_STAT));
    benchmark::DoNotOptimize(for_deallocate_all(to.d(), to.d()->dv_base, FA_STAT));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetItemsProcessed(state.iterations());
}

void heap_and_memcpy(benchmark::State& state) {
  std::vector<u8> data(static_cast<size_t>(state.range(0)), 1);
  for (auto _ : state) {
    void* block = _mm_malloc(data.size(), kAlignment);
    memcpy(block, data.data(), data.size());
    benchmark::DoNotOptimize(block);
    benchmark::ClobberMemory();
    _mm_free(block);
  }
  state.SetItemsProcessed(state.iterations());
}

/// Both arrays as ALLOCATE places them, so that both cases copy between the same alignments.
struct Two_Blocks {
  explicit Two_Blocks(size_t bytes)
      : from(static_cast<u8*>(_mm_malloc(bytes, kAlignment))), to(static_cast<u8*>(_mm_malloc(bytes, kAlignment))) {
    memset(from, 1, bytes);
    memset(to, 2, bytes);
  }
  ~Two_Blocks() {
    _mm_free(from);
    _mm_free(to);
  }
  Two_Blocks(const Two_Blocks&) = delete;
  Two_Blocks& operator=(const Two_Blocks&) = delete;
  u8 *from, *to;
};

void assign_flat(benchmark::State& state) {
  const u64 bytes = static_cast<u64>(state.range(0));
  Two_Blocks blocks(bytes);
  Flat_Array from(bytes, DV_DEFINED, blocks.from), to(bytes, DV_ALLOCATABLE | DV_DEFINED, blocks.to);
  for (auto _ : state) {
    benchmark::DoNotOptimize(for_alloc_assign(from.d(), from.d()->dv_base, to.d(), to.d()->dv_base, FA_STAT));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

void plain_memcpy(benchmark::State& state) {
  const u64 bytes = static_cast<u64>(state.range(0));
  Two_Blocks blocks(bytes);
  for (auto _ : state) {
    memcpy(blocks.to, blocks.from, bytes);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

#define ALLOCATE_PAIR(size)                                                         \
  BENCHMARK(allocate_and_deallocate)->Name("allocate/" #size "/tamrun")->Arg(size); \
  BENCHMARK(aligned_heap)->Name("allocate/" #size "/aligned_heap")->Arg(size);      \
  BENCHMARK(c_library)->Name("allocate/" #size "/aligned_alloc")->Arg(size)
ALLOCATE_PAIR(64);
ALLOCATE_PAIR(1024);
ALLOCATE_PAIR(16384);
ALLOCATE_PAIR(131072);
ALLOCATE_PAIR(1048576);

#define COPY_PAIR(size)                                                                      \
  BENCHMARK(copy_flat)->Name("deep_copy/source/" #size "/tamrun")->Arg(size);                \
  BENCHMARK(heap_and_memcpy)->Name("deep_copy/source/" #size "/heap_and_memcpy")->Arg(size); \
  BENCHMARK(assign_flat)->Name("deep_copy/assign/" #size "/tamrun")->Arg(size);              \
  BENCHMARK(plain_memcpy)->Name("deep_copy/assign/" #size "/memcpy")->Arg(size)
COPY_PAIR(4096);
COPY_PAIR(65536);
COPY_PAIR(1048576);
COPY_PAIR(16777216);

}  // namespace
