// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted data in another byte order or another floating-point format, beside a plain copy of the same bytes. The
// sizes of the arrays are those of a first-level cache, of a second-level cache, and of neither.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

#include "convert/byte_order.h"
#include "convert/foreign_data.h"

namespace {

constexpr i64 kSmall = 8 << 10, kMiddle = 128 << 10, kLarge = 16 << 20;

/// Two arrays half a page apart modulo the page size: a string move is slow where the low bits of both addresses agree.
struct Arrays {
  explicit Arrays(i64 size)
      : bytes(size),
        memory(static_cast<u8*>(aligned_alloc(kPage, 2 * size + kPage))),
        from(memory.get()),
        to(from + size + kPage / 2) {
    memset(memory.get(), 0, 2 * size + kPage);
    std::mt19937_64 random(1);
    for (i64 i = 0; i < bytes; i += 8) {
      // Both halves are a single of moderate size, and the whole is a double.
      const u64 value = (random() & 0x80FFFFFF80FFFFFF) | 0x4000000040000000;
      memcpy(&from[i], &value, sizeof value);
    }
  }
  static constexpr i64 kPage = 4096;
  struct Free {
    void operator()(u8* p) const { free(p); }
  };
  const i64 bytes;
  std::unique_ptr<u8, Free> memory;
  u8 *const from, *const to;
};

/// `move` once per iteration; bytes and values are reported.
template <class Move>
void run(benchmark::State& state, i64 bytes, i64 elem, Move move) {
  Arrays arrays(bytes);
  for (auto _ : state) {
    move(arrays);
    benchmark::DoNotOptimize(arrays.to);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * bytes / elem);
  state.SetBytesProcessed(state.iterations() * bytes);
}

template <int kElem, i64 kBytes>
void reverse_copy(benchmark::State& state) {
  run(state, kBytes, kElem, [](Arrays& a) { reverse_elements(a.to, a.from, kElem, a.bytes / kElem); });
}

template <int kElem, i64 kBytes>
void reverse_in_place(benchmark::State& state) {
  run(state, kBytes, kElem, [](Arrays& a) { reverse_elements(a.from, a.from, kElem, a.bytes / kElem); });
}

template <int kElem, i64 kBytes>
void plain_copy(benchmark::State& state) {
  run(state, kBytes, kElem, [](Arrays& a) { memcpy(a.to, a.from, a.bytes); });
}

#define REVERSAL(elem, size)                                                                     \
  BENCHMARK(reverse_copy<elem, k##size>)->Name("Reverse/" #elem "/" #size "/tamrun");            \
  BENCHMARK(plain_copy<elem, k##size>)->Name("Reverse/" #elem "/" #size "/memcpy");              \
  BENCHMARK(reverse_in_place<elem, k##size>)->Name("ReverseInPlace/" #elem "/" #size "/tamrun"); \
  BENCHMARK(plain_copy<elem, k##size>)->Name("ReverseInPlace/" #elem "/" #size "/memcpy");
#define REVERSALS(size) REVERSAL(2, size) REVERSAL(4, size) REVERSAL(8, size) REVERSAL(16, size)
REVERSALS(Small)
REVERSALS(Middle)
REVERSALS(Large)

For_Lub connection(For_Foreign_Format format) {
  For_Lub lub = {};
  lub.lub_f_convert = 1;
  lub.lub_convert = format;
  lub.lub_f_big_endian_words = format == FOREIGN_IBM || format == FOREIGN_CRAY;
  return lub;
}

/// Reals to the file's form, and back.
void foreign_write(benchmark::State& state, For_Foreign_Format format, u32 type, i64 elem) {
  const For_Lub lub = connection(format);
  run(state, kSmall, elem, [&](Arrays& a) {
    const i64 count = a.bytes / elem;
    benchmark::DoNotOptimize(cvt_foreign_write_run(lub, type, elem, count, a.from, a.to));
  });
}

void foreign_read(benchmark::State& state, For_Foreign_Format format, u32 type, i64 elem) {
  const For_Lub lub = connection(format);
  Arrays file(kSmall);
  const i64 count = kSmall / elem;
  benchmark::DoNotOptimize(cvt_foreign_write_run(lub, type, elem, count, file.from, file.to));
  run(state, kSmall, elem,
      [&](Arrays& a) { benchmark::DoNotOptimize(cvt_foreign_read_run(lub, type, elem, count, file.to, a.to)); });
}

#define FORMAT(format, kind, type, elem)                                        \
  BENCHMARK_CAPTURE(foreign_write, format##kind, FOREIGN_##format, type, elem)  \
      ->Name("To/" #format "/" #kind "/tamrun");                                \
  BENCHMARK(plain_copy<elem, kSmall>)->Name("To/" #format "/" #kind "/memcpy"); \
  BENCHMARK_CAPTURE(foreign_read, format##kind, FOREIGN_##format, type, elem)   \
      ->Name("From/" #format "/" #kind "/tamrun");                              \
  BENCHMARK(plain_copy<elem, kSmall>)->Name("From/" #format "/" #kind "/memcpy")
FORMAT(VAXD, single, ITM_REAL4, 4);
FORMAT(VAXD, double, ITM_REAL8, 8);
FORMAT(VAXG, double, ITM_REAL8, 8);
FORMAT(IBM, single, ITM_REAL4, 4);
FORMAT(IBM, double, ITM_REAL8, 8);
FORMAT(CRAY, double, ITM_REAL8, 8);

}  // namespace
