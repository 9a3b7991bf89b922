// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted WRITE and READ of arrays, beside the same text from the C library: fprintf into a buffered stream, and
// strtod over the lines of one. The same values, the same columns.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "statements/for_rseq_fmt.h"
#include "statements/for_wseq_fmt.h"
#include "tamrun/compiled_format.h"
#include "tamrun/hooks.h"
#include "tamrun/item_list.h"

namespace {

constexpr int kValues = 8000, kPerLine = 8;

struct Values {
  std::vector<double> reals;
  std::vector<i32> integers;
};

const Values& values() {
  static const Values made = [] {
    std::mt19937_64 random(20240301);
    std::uniform_real_distribution<double> real(-9999.0, 9999.0);
    Values v;
    for (int i = 0; i < kValues; ++i) {
      v.reals.push_back(real(random));
      v.integers.push_back(static_cast<i32>(random()) >> (random() % 12 + 3));
    }
    return v;
  }();
  return made;
}

enum class Shape { Fixed, Exponent, Integer };

const char* format_of(Shape shape) {
  return shape == Shape::Fixed ? "(8F12.4)" : shape == Shape::Exponent ? "(8E16.8)" : "(8I12)";
}

constexpr For_IO_Flags kFlags = iof_f90_rtl | iof_extended | iof_iostat | iof_format_text;

/// One statement over the whole array.
template <class Entry>
int transfer(Entry entry, int unit, Shape shape, void* data) {
  const bool real = shape != Shape::Integer;
  const u8 items[] = {real ? ITM_REAL8 : ITM_INTEGER4, ACC_ARRAY, ITM_END_STATEMENT, 0};
  u64 words[] = {kValues * (real ? sizeof(double) : sizeof(i32)), reinterpret_cast<u64>(data)};
  const For_Fmt_Text format = {static_cast<i64>(strlen(format_of(shape))), format_of(shape)};
  For_Context context = {};
  return entry(&context, unit, kFlags, items, words, &format);
}

void* data_of(Shape shape) {
  return shape == Shape::Integer ? static_cast<void*>(const_cast<i32*>(values().integers.data()))
                                 : const_cast<double*>(values().reals.data());
}

int fresh_unit(const std::string& path) {
  static int unit = 700;
  ++unit;
  setenv(("FORT" + std::to_string(unit)).c_str(), path.c_str(), 1);
  setenv("FORT_BUFFERED", "TRUE", 1);
  return unit;
}

void tamrun_write(benchmark::State& state, Shape shape) {
  const int unit = fresh_unit("/dev/null");
  int status = 0;
  for (auto _ : state) status |= transfer(for_write_seq_fmt, unit, shape, data_of(shape));
  if (status != 0) state.SkipWithError("a statement failed");
  state.SetItemsProcessed(state.iterations() * kValues);
}

void print(FILE* stream, Shape shape) {
  for (int i = 0; i < kValues; ++i) {
    if (shape == Shape::Fixed) fprintf(stream, "%12.4f", values().reals[i]);
    if (shape == Shape::Exponent) fprintf(stream, "%16.8E", values().reals[i]);
    if (shape == Shape::Integer) fprintf(stream, "%12d", values().integers[i]);
    if (i % kPerLine == kPerLine - 1) putc_unlocked('\n', stream);
  }
}

void libc_write(benchmark::State& state, Shape shape) {
  FILE* stream = fopen("/dev/null", "w");
  for (auto _ : state) print(stream, shape);
  fclose(stream);
  state.SetItemsProcessed(state.iterations() * kValues);
}

/// A file with the values, gone at the end.
class Input {
 public:
  explicit Input(Shape shape) {
    FILE* stream = fdopen(mkstemp(path_), "w");
    print(stream, shape);
    fclose(stream);
  }
  ~Input() { unlink(path_); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  const char* path() const { return path_; }

 private:
  char path_[32] = "/tmp/bench_tamrun_XXXXXX";
};

/// Every statement opens the file, as the C library's side does.
int read_once(int unit, Shape shape, void* into) {
  const int status = transfer(for_read_seq_fmt, unit, shape, into);
  For_Lub* lub = nullptr;
  return status | for__acquire_lun(unit, &lub, nullptr, STMT_CLOSE) | for__close_default(lub, 1);
}

void tamrun_read(benchmark::State& state, Shape shape) {
  const Input input(shape);
  std::vector<double> into(kValues);
  const int unit = fresh_unit(input.path());
  int status = 0;
  for (auto _ : state) status |= read_once(unit, shape, into.data());
  if (status != 0) state.SkipWithError("a statement failed");
  state.SetItemsProcessed(state.iterations() * kValues);
}

void libc_read(benchmark::State& state, Shape shape) {
  const Input input(shape);
  const int width = shape == Shape::Exponent ? 16 : 12;
  double sum = 0;
  for (auto _ : state) {
    FILE* stream = fopen(input.path(), "r");
    char line[256];
    while (fgets(line, sizeof line, stream) != nullptr) {
      for (int i = 0; i < kPerLine; ++i) {
        char field[20];
        memcpy(field, line + i * width, width);
        field[width] = '\0';
        sum += shape == Shape::Integer ? static_cast<double>(strtol(field, nullptr, 10)) : strtod(field, nullptr);
      }
    }
    fclose(stream);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * kValues);
}

const int kRegistered = [] {
  const struct {
    const char* name;
    Shape shape;
  } shapes[] = {{"F12.4", Shape::Fixed}, {"E16.8", Shape::Exponent}, {"I12", Shape::Integer}};
  for (const auto& row : shapes) {
    const std::string write = std::string("WriteFmt/") + row.name, read = std::string("ReadFmt/") + row.name;
    const Shape shape = row.shape;
    benchmark::RegisterBenchmark((write + "/tamrun").c_str(), [=](benchmark::State& s) { tamrun_write(s, shape); });
    benchmark::RegisterBenchmark((write + "/fprintf").c_str(), [=](benchmark::State& s) { libc_write(s, shape); });
    benchmark::RegisterBenchmark((read + "/tamrun").c_str(), [=](benchmark::State& s) { tamrun_read(s, shape); });
    benchmark::RegisterBenchmark((read + "/strtod").c_str(), [=](benchmark::State& s) { libc_read(s, shape); });
  }
  return 0;
}();

}  // namespace
