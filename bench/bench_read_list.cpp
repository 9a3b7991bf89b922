// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ of a file of numbers, beside the C library on the same file: fscanf, and fgets with strtol or
// strtod. Ten numbers to a line, an array of a thousand to a statement.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <random>
#include <string>

#include "tamrun/tamrun.h"

namespace {

constexpr int kArray = 1000, kColumns = 10, kStatements = 500;
constexpr size_t kLine = 512;

enum class Kind { Integers, ShortReals, Reals };

/// A file of kStatements times kArray numbers, gone at the end.
class Numbers {
 public:
  explicit Numbers(Kind kind) {
    const int fd = mkstemp(path_.data());
    FILE* file = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (file == nullptr) abort();
    std::mt19937_64 random(20240229);
    std::uniform_real_distribution<double> exponent(-6.0, 12.0);
    for (int i = 0; i < kStatements * kArray; ++i) {
      const i32 integer = static_cast<i32>(random()) >> (random() % 31);
      const double real = std::pow(10.0, exponent(random)) * (random() % 2 != 0 ? 1 : -1);
      if (kind == Kind::Integers) fprintf(file, " %11d", integer);
      if (kind == Kind::ShortReals) fprintf(file, " %.3f", integer % 100000 / 1000.0);
      if (kind == Kind::Reals) fprintf(file, " %23.15E", real);
      if (i % kColumns == kColumns - 1) putc('\n', file);
    }
    fclose(file);
  }
  ~Numbers() { unlink(path_.c_str()); }
  Numbers(const Numbers&) = delete;
  Numbers& operator=(const Numbers&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_ = "/tmp/bench_tamrun_XXXXXX";
};

/// Runs `read_array` once an iteration and `rewind` when the file has been read.
template <class Read, class Rewind>
void run(benchmark::State& state, Read&& read_array, Rewind&& rewind) {
  int left = kStatements;
  for (auto _ : state) {
    if (left-- == 0) {
      state.PauseTiming();
      rewind();
      left = kStatements - 1;
      state.ResumeTiming();
    }
    if (!read_array()) return state.SkipWithError("a read failed");
  }
  state.SetItemsProcessed(state.iterations() * kArray);
}

void tamrun_case(benchmark::State& state, Kind kind) {
  static int unit = 1000;  // a fresh unit each time: a connection reads its environment once
  unit++;
  const Numbers numbers(kind);
  constexpr For_IO_Flags kFlags = iof_f90_rtl | iof_extended | iof_iostat;
  static union {
    i32 integer[kArray];
    double real[kArray];
  } array;
  const bool integers = kind == Kind::Integers;
  const u8 items[] = {integers ? u8{ITM_INTEGER4} : u8{ITM_REAL8}, ACC_ARRAY, ITM_END_STATEMENT, 0};
  u64 words[] = {integers ? sizeof array.integer : sizeof array.real, reinterpret_cast<u64>(&array)};
  const auto connect = [&] {
    unit++;
    setenv(("FORT" + std::to_string(unit)).c_str(), numbers.path(), 1);
  };
  connect();
  run(
      state,
      [&] {
        For_Context context = {};
        return for_read_seq_lis(&context, unit, kFlags, items, words) == 0;
      },
      connect);
}

void fscanf_case(benchmark::State& state, Kind kind) {
  const Numbers numbers(kind);
  FILE* file = fopen(numbers.path(), "r");
  if (file == nullptr) return state.SkipWithError("cannot open the file");
  run(
      state,
      [&] {
        i32 integer = 0;
        double real = 0;
        bool good = true;
        for (int i = 0; i < kArray; ++i) {
          good &= kind == Kind::Integers ? fscanf(file, "%d", &integer) == 1 : fscanf(file, "%lf", &real) == 1;
        }
        benchmark::DoNotOptimize(integer);
        benchmark::DoNotOptimize(real);
        return good;
      },
      [&] { rewind(file); });
  fclose(file);
}

void strtod_case(benchmark::State& state, Kind kind) {
  const Numbers numbers(kind);
  FILE* file = fopen(numbers.path(), "r");
  if (file == nullptr) return state.SkipWithError("cannot open the file");
  run(
      state,
      [&] {
        char line[kLine];
        for (int i = 0; i < kArray / kColumns; ++i) {
          if (fgets(line, sizeof line, file) == nullptr) return false;
          char* p = line;
          for (int column = 0; column < kColumns; ++column) {
            if (kind == Kind::Integers) {
              benchmark::DoNotOptimize(strtol(p, &p, 10));
            } else {
              benchmark::DoNotOptimize(strtod(p, &p));
            }
          }
        }
        return true;
      },
      [&] { rewind(file); });
  fclose(file);
}

}  // namespace

BENCHMARK_CAPTURE(tamrun_case, integers, Kind::Integers)->Name("ReadList/integers/tamrun");
BENCHMARK_CAPTURE(fscanf_case, integers, Kind::Integers)->Name("ReadList/integers/fscanf");
BENCHMARK_CAPTURE(strtod_case, integers, Kind::Integers)->Name("ReadList/integers/strtod");
BENCHMARK_CAPTURE(tamrun_case, short_reals, Kind::ShortReals)->Name("ReadList/short_reals/tamrun");
BENCHMARK_CAPTURE(fscanf_case, short_reals, Kind::ShortReals)->Name("ReadList/short_reals/fscanf");
BENCHMARK_CAPTURE(strtod_case, short_reals, Kind::ShortReals)->Name("ReadList/short_reals/strtod");
BENCHMARK_CAPTURE(tamrun_case, reals, Kind::Reals)->Name("ReadList/reals/tamrun");
BENCHMARK_CAPTURE(fscanf_case, reals, Kind::Reals)->Name("ReadList/reals/fscanf");
BENCHMARK_CAPTURE(strtod_case, reals, Kind::Reals)->Name("ReadList/reals/strtod");
