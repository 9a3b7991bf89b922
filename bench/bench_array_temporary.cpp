// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A strided section of rank 2 packed into a temporary and unpacked again, beside the loops that a program would hold for
// it, compiled with -O3: once with strides that come at run time, once with the stride of 2 elements in the source text.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <vector>

#include "objects/array_temporary.h"

namespace {

/// a(1:rows*step:step, 1:columns) of an array with some more rows.
template <class T>
struct Section {
  i64 rows, columns, step;
  i64 column;  // elements between columns
  std::vector<T> array;
  struct {
    For_Dope_Vector d;
    For_Dim second;
  } words = {};

  Section(i64 rows, i64 columns, i64 step) : rows(rows), columns(columns), step(step), column(rows * step + 6) {
    array.resize(static_cast<size_t>(column * columns));
    const i64 length = sizeof(T);
    words.d = {reinterpret_cast<u8*>(array.data()), sizeof(T), 0, DV_DEFINED, 2, 0, {{rows, step * length, 1}}};
    words.second = {columns, column * length, 1};
  }
};

template <class T, i64 kRows, i64 kColumns, i64 kStep>
void tamrun(benchmark::State& state) {
  Section<T> section(kRows, kColumns, kStep);
  for (auto _ : state) {
    void* const copy = for_array_copy_in(&section.words.d);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    for_array_copy_out(copy, &section.words.d);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * section.rows * section.columns);
}

template <class T>
[[gnu::noipa]] void pack(T* __restrict to, const T* __restrict from, i64 rows, i64 columns, i64 step, i64 column) {
  for (i64 j = 0; j < columns; ++j)
    for (i64 i = 0; i < rows; ++i) to[j * rows + i] = from[j * column + i * step];
}

template <class T>
[[gnu::noipa]] void unpack(const T* __restrict from, T* __restrict to, i64 rows, i64 columns, i64 step, i64 column) {
  for (i64 j = 0; j < columns; ++j)
    for (i64 i = 0; i < rows; ++i) to[j * column + i * step] = from[j * rows + i];
}

template <class T, i64 kRows, i64 kColumns, i64 kStep>
void loop_o3(benchmark::State& state) {
  Section<T> s(kRows, kColumns, kStep);
  for (auto _ : state) {
    T* const copy = static_cast<T*>(malloc(sizeof(T) * static_cast<size_t>(s.rows * s.columns)));
    pack(copy, s.array.data(), s.rows, s.columns, s.step, s.column);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    unpack(copy, s.array.data(), s.rows, s.columns, s.step, s.column);
    free(copy);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * s.rows * s.columns);
}

template <class T>
[[gnu::noipa]] void pack_2(T* __restrict to, const T* __restrict from, i64 rows, i64 columns, i64 column) {
  for (i64 j = 0; j < columns; ++j)
    for (i64 i = 0; i < rows; ++i) to[j * rows + i] = from[j * column + i * 2];
}

template <class T>
[[gnu::noipa]] void unpack_2(const T* __restrict from, T* __restrict to, i64 rows, i64 columns, i64 column) {
  for (i64 j = 0; j < columns; ++j)
    for (i64 i = 0; i < rows; ++i) to[j * column + i * 2] = from[j * rows + i];
}

template <class T, i64 kRows, i64 kColumns, i64 kStep>
void loop_o3_of_2(benchmark::State& state) {
  Section<T> s(kRows, kColumns, kStep);
  for (auto _ : state) {
    T* const copy = static_cast<T*>(malloc(sizeof(T) * static_cast<size_t>(s.rows * s.columns)));
    pack_2(copy, s.array.data(), s.rows, s.columns, s.column);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    unpack_2(copy, s.array.data(), s.rows, s.columns, s.column);
    free(copy);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * s.rows * s.columns);
}

#define COPY_CASE_BY(function, T, rows, columns, step) \
  BENCHMARK(function<T, rows, columns, step>)->Name("copy_in_out/" #T "/" #rows "x" #columns "/" #step "/" #function)
#define COPY_CASE(T, rows, columns, step)       \
  COPY_CASE_BY(tamrun, T, rows, columns, step); \
  COPY_CASE_BY(loop_o3, T, rows, columns, step)
#define COPY_CASE_OF_2(T, rows, columns) \
  COPY_CASE(T, rows, columns, 2);        \
  COPY_CASE_BY(loop_o3_of_2, T, rows, columns, 2)

COPY_CASE_OF_2(double, 4, 4);
COPY_CASE_OF_2(double, 100, 100);
COPY_CASE_OF_2(float, 100, 100);
COPY_CASE_OF_2(double, 1000, 1000);
COPY_CASE(double, 100, 100, 3);
COPY_CASE(double, 100, 100, 1);
COPY_CASE(double, 4, 2500, 1);
COPY_CASE(double, 4, 2500, 3);

}  // namespace
