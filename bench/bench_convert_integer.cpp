// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Integers to and from fields, beside the C and C++ libraries doing the same to the same numbers.

#include "tamrun/cvt.h"

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kCount = 4096;

/// Numbers of all lengths, so that no digit count can be guessed.
template <class Int>
const std::vector<Int>& numbers() {
  static const std::vector<Int> values = [] {
    std::mt19937_64 random(1);
    std::vector<Int> v(kCount);
    for (Int& x : v) x = static_cast<Int>((random() >> (random() % 64)) * (random() % 2 ? 1 : -1));
    return v;
  }();
  return values;
}

template <class Int>
constexpr int kWidth = sizeof(Int) == 4 ? 12 : 22;

template <class Int, class Convert>
void write_all(benchmark::State& state, Convert convert) {
  char field[64];
  for (auto _ : state) {
    for (Int value : numbers<Int>()) {
      convert(value, field);
      benchmark::DoNotOptimize(field);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

template <class Int>
void integer_to_field(benchmark::State& state) {
  write_all<Int>(state, [](Int value, char* field) {
    if constexpr (sizeof(Int) == 4) {
      benchmark::DoNotOptimize(cvt_integer_to_text(value, kWidth<Int>, 1, 0, field));
    } else {
      benchmark::DoNotOptimize(cvt_integer64_to_text(value, kWidth<Int>, 1, 0, field));
    }
  });
}

template <class Int>
void to_chars_and_padding(benchmark::State& state) {
  write_all<Int>(state, [](Int value, char* field) {
    char digits[24];
    const size_t n = std::to_chars(digits, digits + sizeof digits, value).ptr - digits;
    memset(field, ' ', kWidth<Int> - n);
    memcpy(field + kWidth<Int> - n, digits, n);
  });
}

template <class Int>
void snprintf_field(benchmark::State& state) {
  write_all<Int>(
      state, [](Int value, char* field) { snprintf(field, 64, "%*lld", kWidth<Int>, static_cast<long long>(value)); });
}

void hexadecimal_to_field(benchmark::State& state) {
  write_all<i64>(state, [](i64 value, char* field) {
    benchmark::DoNotOptimize(cvt_data_to_text(reinterpret_cast<const u8*>(&value), 22, 8, 16, 1, field));
  });
}

void hexadecimal_to_chars_and_padding(benchmark::State& state) {
  write_all<i64>(state, [](i64 value, char* field) {
    char digits[24];
    const size_t n = std::to_chars(digits, digits + sizeof digits, static_cast<u64>(value), 16).ptr - digits;
    memset(field, ' ', 22 - n);
    memcpy(field + 22 - n, digits, n);
  });
}

/// The numbers right-justified in fields, as a formatted READ meets them.
template <class Int>
const std::string& fields() {
  static const std::string text = [] {
    std::string all;
    char field[64];
    for (Int value : numbers<Int>()) {
      snprintf(field, sizeof field, "%*lld", kWidth<Int>, static_cast<long long>(value));
      all += field;
    }
    return all;
  }();
  return text;
}

template <class Int, class Convert>
void read_all(benchmark::State& state, Convert convert) {
  const std::string& text = fields<Int>();
  for (auto _ : state) {
    for (size_t at = 0; at < text.size(); at += kWidth<Int>) {
      Int value = 0;
      convert(text.data() + at, &value);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

template <class Int>
void field_to_integer(benchmark::State& state) {
  read_all<Int>(state, [](const char* field, Int* value) {
    if constexpr (sizeof(Int) == 4) {
      benchmark::DoNotOptimize(cvt_text_to_integer(field, kWidth<Int>, CVT_M_SKIP_BLANKS, value));
    } else {
      benchmark::DoNotOptimize(cvt_text_to_integer64(field, kWidth<Int>, CVT_M_SKIP_BLANKS, value));
    }
  });
}

template <class Int>
void skip_and_from_chars(benchmark::State& state) {
  read_all<Int>(state, [](const char* field, Int* value) {
    const char* const end = field + kWidth<Int>;
    while (*field == ' ') ++field;
    std::from_chars(field, end, *value);
  });
}

BENCHMARK(integer_to_field<i32>)->Name("integer_output/i32/tamrun");
BENCHMARK(to_chars_and_padding<i32>)->Name("integer_output/i32/to_chars");
BENCHMARK(snprintf_field<i32>)->Name("integer_output/i32/snprintf");
BENCHMARK(integer_to_field<i64>)->Name("integer_output/i64/tamrun");
BENCHMARK(to_chars_and_padding<i64>)->Name("integer_output/i64/to_chars");
BENCHMARK(snprintf_field<i64>)->Name("integer_output/i64/snprintf");
BENCHMARK(hexadecimal_to_field)->Name("hexadecimal_output/tamrun");
BENCHMARK(hexadecimal_to_chars_and_padding)->Name("hexadecimal_output/to_chars");
BENCHMARK(field_to_integer<i32>)->Name("integer_input/i32/tamrun");
BENCHMARK(skip_and_from_chars<i32>)->Name("integer_input/i32/from_chars");
BENCHMARK(field_to_integer<i64>)->Name("integer_input/i64/tamrun");
BENCHMARK(skip_and_from_chars<i64>)->Name("integer_input/i64/from_chars");

}  // namespace
