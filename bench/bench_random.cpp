// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// RANDOM_NUMBER: the scalar call beside the same step inlined, and the vector forms. Items are values.

#include <benchmark/benchmark.h>
#include <immintrin.h>

#include "tamrun/types.h"

extern "C" {
double for_random_number(void);
__m128d for_simd_random_number(void);
__m128 for_simd_random_number_single(void);
__m256d for_simd_random_number_avx(void);
__m256 for_simd_random_number_single_avx(void);
__m512d for_simd_random_number_avx512(void);
__m512 for_simd_random_number_single_avx512(void);
}

namespace {

/// One step as the method is written down: quotient and remainder of each modulus by its multiplier.
void inlined_step(benchmark::State& state) {
  i32 s1 = 0x7FFFFFAA, s2 = 0x7FFFFF06;
  for (auto _ : state) {
    const i32 k1 = s1 / 53668, k2 = s2 / 52774;
    s1 = 40014 * (s1 - k1 * 53668) - k1 * 12211;
    if (s1 < 0) s1 += 2147483563;
    s2 = 40692 * (s2 - k2 * 52774) - k2 * 3791;
    if (s2 < 0) s2 += 2147483399;
    i32 z = s1 - s2;
    if (z < 1) z += 2147483562;
    benchmark::DoNotOptimize(z * 4.65661305739176e-10);
  }
  state.SetItemsProcessed(state.iterations());
}

void scalar(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(for_random_number());
  state.SetItemsProcessed(state.iterations());
}

#define VECTOR_BENCH(name, lanes, set)                                                        \
  __attribute__((target(set))) void name##_values(benchmark::State& state) {                  \
    if (!__builtin_cpu_supports(set)) return state.SkipWithError("the processor lacks " set); \
    for (auto _ : state) {                                                                    \
      auto values = name();                                                                   \
      benchmark::DoNotOptimize(&values);                                                      \
      benchmark::ClobberMemory();                                                             \
    }                                                                                         \
    state.SetItemsProcessed(state.iterations() * (lanes));                                    \
  }                                                                                           \
  BENCHMARK(name##_values)

BENCHMARK(inlined_step);
BENCHMARK(scalar);
VECTOR_BENCH(for_simd_random_number, 2, "sse2");
VECTOR_BENCH(for_simd_random_number_single, 4, "sse2");
VECTOR_BENCH(for_simd_random_number_avx, 4, "avx");
VECTOR_BENCH(for_simd_random_number_single_avx, 8, "avx");
VECTOR_BENCH(for_simd_random_number_avx512, 8, "avx512f");
VECTOR_BENCH(for_simd_random_number_single_avx512, 16, "avx512f");

}  // namespace
