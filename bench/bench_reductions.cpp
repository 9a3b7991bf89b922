// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Array reductions beside the loop that a compiler makes of them with -O3; items are elements. The references are compiled
// for the same processor as the library.

#include <benchmark/benchmark.h>
#include <string.h>

#include <vector>

#include "parallel/omp_private.h"
#include "parallel/omp_reduction.h"

#define LOOPS __attribute__((optimize("O3"), noipa))

namespace {

constexpr i64 kElements = 4096;
constexpr i64 kStride = 4;
constexpr i64 kRows = 64;
constexpr i64 kRowStep = 3;  ///< of the elements of a row of the section

template <class Real>
struct Pair {
  Real re, im;
};

struct Add {
  static auto apply(auto a, auto b) { return a + b; }
};
struct Multiply {
  static auto apply(auto a, auto b) { return a * b; }
  template <class Real>
  static Pair<Real> apply(Pair<Real> a, Pair<Real> b) {
    return {a.re * b.re - a.im * b.im, a.im * b.re + a.re * b.im};
  }
};
struct Larger {
  template <class T>
  static T apply(T a, T b) {
    return a > b ? a : b;
  }
};
template <class Real>
Pair<Real> operator+(Pair<Real> a, Pair<Real> b) {
  return {a.re + b.re, a.im + b.im};
}

template <class T, class Operation>
LOOPS void loop_dense(T* dest, const T* src, i64 count) {
  for (i64 i = 0; i < count; ++i) dest[i] = Operation::apply(dest[i], src[i]);
}
template <class T, class Operation>
LOOPS void loop_lanes(T* dest, const T* src, i64 stride, i64 count) {
  for (i64 i = 0; i < count; ++i) dest[i] = Operation::apply(dest[i], src[i * stride]);
}
template <class T, class Operation>
LOOPS void loop_section(T* dest, i64 step, i64 row_step, const T* src, i64 count, i64 rows) {
  for (i64 row = 0; row < rows; ++row)
    for (i64 i = 0; i < count; ++i) {
      T& element = dest[row * row_step + i * step];
      element = Operation::apply(element, src[row * count + i]);
    }
}

template <class T>
struct Arrays {
  std::vector<T> dest = std::vector<T>(kElements * kStride * 2), src = std::vector<T>(kElements * kStride);
  struct {
    For_Dope_Vector d;
    For_Dim second;
  } dense = {}, section = {}, mine = {};

  Arrays() {
    const i64 bytes = sizeof(T), row = kElements / kRows;
    u8* base = reinterpret_cast<u8*>(dest.data());
    dense.d = {base, sizeof(T), 0, DV_DEFINED, 1, 0, {{kElements, bytes, 1}}};
    section.d = {base, sizeof(T), 0, DV_DEFINED, 2, 0, {{row, kRowStep * bytes, 1}}};
    section.second = {kRows, (row * kRowStep + 1) * bytes, 1};
    mine.d = {reinterpret_cast<u8*>(src.data()), sizeof(T), 0, DV_DEFINED, 2, 0, {{row, bytes, 1}}};
    mine.second = {kRows, row * bytes, 1};
  }
};

enum Shape { kDense, kLanes, kSection };

template <class T, u32 type, u32 op, Shape shape>
void tamrun(benchmark::State& state) {
  Arrays<T> arrays;
  const For_Dope_Vector* dest = shape == kSection ? &arrays.section.d : &arrays.dense.d;
  for (auto _ : state) {
    if (shape == kLanes) {
      _f90_reduction_final_strided(dest, &arrays.mine.d, op, type, kStride);
    } else {
      _f90_reduction_final(dest, &arrays.mine.d, op, type);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}

template <class T, class Operation, Shape shape>
void plain_loop(benchmark::State& state) {
  Arrays<T> arrays;
  T *dest = arrays.dest.data(), *src = arrays.src.data();
  const i64 row = kElements / kRows;
  i64 stride = kStride, step = kRowStep, row_step = row * kRowStep + 1;
  benchmark::DoNotOptimize(stride);
  benchmark::DoNotOptimize(step);
  for (auto _ : state) {
    if (shape == kDense) loop_dense<T, Operation>(dest, src, kElements);
    if (shape == kLanes) loop_lanes<T, Operation>(dest, src, stride, kElements);
    if (shape == kSection) loop_section<T, Operation>(dest, step, row_step, src, row, kRows);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}

#define SHAPE_PAIR(topic, T, type, Operation, op, shape)                     \
  BENCHMARK(tamrun<T, type, op, shape>)->Name("reduction/" topic "/tamrun"); \
  BENCHMARK(plain_loop<T, Operation, shape>)->Name("reduction/" topic "/loop_O3")
#define OPERATOR_PAIRS(name, T, type, Operation, op)         \
  SHAPE_PAIR(name "/dense", T, type, Operation, op, kDense); \
  SHAPE_PAIR(name "/lanes", T, type, Operation, op, kLanes); \
  SHAPE_PAIR(name "/section", T, type, Operation, op, kSection)
#define ARITHMETIC_PAIRS(name, T, type)               \
  OPERATOR_PAIRS(name "/add", T, type, Add, RED_ADD); \
  OPERATOR_PAIRS(name "/mul", T, type, Multiply, RED_MUL)
#define ORDERED_PAIRS(name, T, type) \
  ARITHMETIC_PAIRS(name, T, type);   \
  OPERATOR_PAIRS(name "/max", T, type, Larger, RED_MAX)

ORDERED_PAIRS("u1", u8, RED_U1);
ORDERED_PAIRS("i1", i8, RED_I1);
ORDERED_PAIRS("u2", u16, RED_U2);
ORDERED_PAIRS("i2", i16, RED_I2);
ORDERED_PAIRS("u4", u32, RED_U4);
ORDERED_PAIRS("i4", i32, RED_I4);
ORDERED_PAIRS("u8", u64, RED_U8);
ORDERED_PAIRS("i8", i64, RED_I8);
ORDERED_PAIRS("r4", float, RED_R4);
ORDERED_PAIRS("r8", double, RED_R8);
ORDERED_PAIRS("r16", __float128, RED_R16);
ARITHMETIC_PAIRS("c8", Pair<float>, RED_C8);
ARITHMETIC_PAIRS("c16", Pair<double>, RED_C16);
ARITHMETIC_PAIRS("c32", Pair<__float128>, RED_C32);

/// Values of a private copy in from a section of 8-byte elements.
void firstprivate(benchmark::State& state) {
  Arrays<u64> arrays;
  for (auto _ : state) {
    _f90_firstprivate_copy(&arrays.mine.d, &arrays.section.d);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}

LOOPS void copy_section(u64* dest, const u64* src, i64 step, i64 row_step, i64 count, i64 rows) {
  for (i64 row = 0; row < rows; ++row)
    for (i64 i = 0; i < count; ++i) dest[row * count + i] = src[row * row_step + i * step];
}

void copy_loop(benchmark::State& state) {
  Arrays<u64> arrays;
  const i64 row = kElements / kRows;
  i64 step = kRowStep;
  benchmark::DoNotOptimize(step);
  for (auto _ : state) {
    copy_section(arrays.src.data(), arrays.dest.data(), step, row * kRowStep + 1, row, kRows);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}

BENCHMARK(firstprivate)->Name("firstprivate/section/tamrun");
BENCHMARK(copy_loop)->Name("firstprivate/section/loop_O3");

}  // namespace
