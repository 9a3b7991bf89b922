// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed WRITE of whole records to a descriptor, beside the same lines from the C library: fprintf through a
// buffered stream, or snprintf and one write per record. The same values, the same column widths, the same device.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "tamrun/tamrun.h"

namespace {

constexpr int kRecords = 1024;    // different records, so that no branch learns one value by heart
constexpr int kArray = 1000;      // elements of the array records
constexpr int kWrapColumns = 80;  // list-directed records fold here
constexpr size_t kStreamBuffer = 131072;

struct Record {
  i32 number;
  char letter;
  double real[3];
};

const std::vector<Record>& records() {
  static const std::vector<Record> made = [] {
    std::mt19937_64 random(20240229);
    std::uniform_real_distribution<double> exponent(-6.0, 12.0);
    std::uniform_int_distribution<i32> integer;
    std::vector<Record> list(kRecords);
    for (Record& record : list) {
      record.number = integer(random) >> (random() % 31);
      record.letter = static_cast<char>('A' + random() % 26);
      for (double& real : record.real) real = std::pow(10.0, exponent(random)) * (random() % 2 != 0 ? 1 : -1);
    }
    return list;
  }();
  return made;
}

struct Arrays {
  i32 integer[kArray];
  double real[kArray];
};

const Arrays& arrays() {
  static const Arrays made = [] {
    Arrays a;
    for (int i = 0; i < kArray; i++) {
      a.integer[i] = records()[i].number;
      a.real[i] = records()[i].real[0];
    }
    return a;
  }();
  return made;
}

enum class Shape { Mixed, CharacterReals, Integers, Reals };

constexpr int values_of(Shape shape) { return shape == Shape::Mixed ? 2 : shape == Shape::CharacterReals ? 4 : kArray; }

/// A path for the output: the null device, or a file that is gone at the end.
class Target {
 public:
  explicit Target(bool file) : file_(file) {
    if (!file) return;
    path_ = "/tmp/bench_tamrun_XXXXXX";
    const int fd = mkstemp(path_.data());
    if (fd >= 0) close(fd);
  }
  ~Target() {
    if (file_) unlink(path_.c_str());
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  const char* path() const { return path_.c_str(); }
  /// Keeps the disk from filling up; the position stays, so that the file goes on behind a hole.
  void empty() const {
    if (file_ && truncate(path(), 0) != 0) abort();
  }

 private:
  bool file_;
  std::string path_ = "/dev/null";
};

/// Records after which the file is emptied, outside the timed stretch.
constexpr i64 kEmptyEvery = 1024;

template <class Write>
void run(benchmark::State& state, Shape shape, const Target& target, Write&& write_record) {
  i64 count = 0;
  for (auto _ : state) {
    if (++count % kEmptyEvery == 0) {
      state.PauseTiming();
      target.empty();
      state.ResumeTiming();
    }
    write_record(records()[count % kRecords]);
  }
  state.SetItemsProcessed(state.iterations() * values_of(shape));
}

int write_statement(int unit, Shape shape, const Record& record) {
  constexpr For_IO_Flags kFlags = iof_f90_rtl | iof_extended | iof_iostat;
  For_Context context = {};
  const auto address = [](const void* p) { return reinterpret_cast<u64>(p); };
  switch (shape) {
    case Shape::Mixed: {
      static constexpr u8 kItems[] = {ITM_INTEGER4, ACC_POINTER, ITM_REAL8, ACC_POINTER, ITM_END_STATEMENT, 0};
      u64 words[] = {address(&record.number), address(&record.real[0])};
      return for_write_seq_lis(&context, unit, kFlags, kItems, words);
    }
    case Shape::CharacterReals: {
      static constexpr u8 kItems[] = {ITM_CHARACTER, ACC_SCALAR, ITM_REAL8,   ACC_POINTER,       ITM_REAL8,
                                      ACC_POINTER,   ITM_REAL8,  ACC_POINTER, ITM_END_STATEMENT, 0};
      u64 words[] = {1, address(&record.letter), address(&record.real[0]), address(&record.real[1]),
                     address(&record.real[2])};
      return for_write_seq_lis(&context, unit, kFlags, kItems, words);
    }
    case Shape::Integers: {
      static constexpr u8 kItems[] = {ITM_INTEGER4, ACC_ARRAY, ITM_END_STATEMENT, 0};
      u64 words[] = {sizeof(Arrays::integer), address(arrays().integer)};
      return for_write_seq_lis(&context, unit, kFlags, kItems, words);
    }
    case Shape::Reals: {
      static constexpr u8 kItems[] = {ITM_REAL8, ACC_ARRAY, ITM_END_STATEMENT, 0};
      u64 words[] = {sizeof(Arrays::real), address(arrays().real)};
      return for_write_seq_lis(&context, unit, kFlags, kItems, words);
    }
  }
  return -1;
}

void tamrun_case(benchmark::State& state, Shape shape, bool file, bool buffered) {
  static int unit = 100;  // a fresh unit each time: a connection reads its environment once
  unit++;
  Target target(file);
  setenv(("FORT" + std::to_string(unit)).c_str(), target.path(), 1);
  setenv("FORT_BUFFERED", buffered ? "TRUE" : "FALSE", 1);
  int status = 0;
  run(state, shape, target, [&](const Record& record) { status |= write_statement(unit, shape, record); });
  if (status != 0) state.SkipWithError("a statement failed");
}

constexpr char kReal[] = " %23.15G";
constexpr int kRealColumns = 24;
constexpr int kIntegerColumns = 12;

/// The record as text in the caller's buffer, folded as a list-directed record is: the length.
int format_record(Shape shape, const Record& record, char* text, size_t size) {
  switch (shape) {
    case Shape::Mixed:
      return snprintf(text, size, "%12d %23.15G\n", record.number, record.real[0]);
    case Shape::CharacterReals:
      return snprintf(text, size, " %c %23.15G %23.15G %23.15G\n", record.letter, record.real[0], record.real[1],
                      record.real[2]);
    default:
      return -1;
  }
}

void print_record(FILE* stream, Shape shape, const Record& record) {
  switch (shape) {
    case Shape::Mixed:
      fprintf(stream, "%12d %23.15G\n", record.number, record.real[0]);
      break;
    case Shape::CharacterReals:
      fprintf(stream, " %c %23.15G %23.15G %23.15G\n", record.letter, record.real[0], record.real[1], record.real[2]);
      break;
    case Shape::Integers:
      for (int i = 0; i < kArray; i++) {
        fprintf(stream, "%12d", arrays().integer[i]);
        if (i % (kWrapColumns / kIntegerColumns) == kWrapColumns / kIntegerColumns - 1) putc_unlocked('\n', stream);
      }
      putc_unlocked('\n', stream);
      break;
    case Shape::Reals:
      for (int i = 0; i < kArray; i++) {
        fprintf(stream, kReal, arrays().real[i]);
        if (i % (kWrapColumns / kRealColumns) == kWrapColumns / kRealColumns - 1) putc_unlocked('\n', stream);
      }
      putc_unlocked('\n', stream);
      break;
  }
}

void fprintf_case(benchmark::State& state, Shape shape, bool file) {
  Target target(file);
  std::vector<char> buffer(kStreamBuffer);
  FILE* stream = fopen(target.path(), "w");
  if (stream == nullptr) return state.SkipWithError("cannot open the target");
  setvbuf(stream, buffer.data(), _IOFBF, buffer.size());
  run(state, shape, target, [&](const Record& record) { print_record(stream, shape, record); });
  fclose(stream);
}

bool write_whole(int fd, const char* text, size_t length) {
  return write(fd, text, length) == static_cast<ssize_t>(length);
}

/// One write per line, as the library makes one per record on an unbuffered unit.
bool write_array_lines(int fd, Shape shape) {
  char line[2 * kWrapColumns];
  size_t length = 0;
  const size_t columns = shape == Shape::Integers ? kIntegerColumns : kRealColumns;
  for (int i = 0; i < kArray; i++) {
    length += shape == Shape::Integers ? snprintf(line + length, sizeof line - length, "%12d", arrays().integer[i])
                                       : snprintf(line + length, sizeof line - length, kReal, arrays().real[i]);
    if (length + columns > kWrapColumns || i == kArray - 1) {
      line[length++] = '\n';
      if (!write_whole(fd, line, length)) return false;
      length = 0;
    }
  }
  return true;
}

void snprintf_case(benchmark::State& state, Shape shape, bool file) {
  Target target(file);
  const int fd = open(target.path(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return state.SkipWithError("cannot open the target");
  bool good = true;
  run(state, shape, target, [&](const Record& record) {
    if (values_of(shape) == kArray) {
      good &= write_array_lines(fd, shape);
      return;
    }
    char text[128];
    good &= write_whole(fd, text, format_record(shape, record, text, sizeof text));
  });
  close(fd);
  if (!good) state.SkipWithError("write failed");
}

[[maybe_unused]] const int kRegistered = [] {
  static constexpr struct {
    Shape shape;
    const char* name;
  } kShapes[] = {{Shape::Mixed, "integer_real"},
                 {Shape::CharacterReals, "character_3_reals"},
                 {Shape::Integers, "1000_integers"},
                 {Shape::Reals, "1000_reals"}};
  for (const auto& row : kShapes) {
    for (const bool file : {false, true}) {
      const std::string topic = std::string("write_list/") + row.name + (file ? "/file" : "/null");
      const Shape shape = row.shape;
      using benchmark::RegisterBenchmark;
      using benchmark::State;
      RegisterBenchmark((topic + "/buffered/tamrun").c_str(),
                        [=](State& state) { tamrun_case(state, shape, file, true); });
      RegisterBenchmark((topic + "/buffered/fprintf").c_str(), [=](State& state) { fprintf_case(state, shape, file); });
      RegisterBenchmark((topic + "/unbuffered/tamrun").c_str(),
                        [=](State& state) { tamrun_case(state, shape, file, false); });
      RegisterBenchmark((topic + "/unbuffered/snprintf").c_str(),
                        [=](State& state) { snprintf_case(state, shape, file); });
    }
  }
  return 0;
}();

}  // namespace
