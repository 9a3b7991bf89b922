// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Text to reals, beside the C and C++ libraries reading the same texts.

#include "tamrun/cvt.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kCount = 4096;
enum Mix { kShort, kFifteen, kSeventeen, kMixed, kThirtyFour };
constexpr const char* kMixNames[] = {"short", "15_digits", "17_digits", "mixed", "34_digits"};

std::string a_text(std::mt19937_64& random, int mix) {
  char text[96];
  switch (mix) {
    case kShort:
      if (random() % 2) {
        snprintf(text, sizeof text, "%d.%d", static_cast<int>(random() % 1000), static_cast<int>(random() % 100));
      } else {
        snprintf(text, sizeof text, "%d", static_cast<int>(random() % 1000000));
      }
      break;
    case kFifteen:
      snprintf(text, sizeof text, "%.14E", std::bit_cast<double>(random() % (u64{0x7FE} << 52)));
      break;
    case kSeventeen:
      snprintf(text, sizeof text, "%.16E", std::bit_cast<double>(random() % (u64{0x7FE} << 52)));
      break;
    case kMixed:
      return a_text(random, static_cast<int>(random() % 3));
    default:
      snprintf(text, sizeof text, "%.16f%017lluE%d", 1.0 + (random() % 1000) / 1001.0,
               static_cast<unsigned long long>(random() % 100000000000000000), static_cast<int>(random() % 600) - 300);
  }
  return text;
}

/// Texts, one after another with a NUL behind each for the C library.
const std::vector<std::string>& texts(int mix, bool narrow) {
  static std::vector<std::string> all[2][5];
  std::vector<std::string>& list = all[narrow][mix];
  std::mt19937_64 random(1);
  while (list.size() < kCount) {
    std::string text = a_text(random, mix);
    const float value = strtof(text.c_str(), nullptr);
    if (!narrow || (value > 1e-37f && value < 3e38f)) list.push_back(text);
  }
  return list;
}

template <class Real, class Convert>
void read_all(benchmark::State& state, int mix, Convert convert) {
  const auto& list = texts(mix, sizeof(Real) == sizeof(float));
  for (auto _ : state) {
    for (const std::string& text : list) {
      Real value;
      convert(text, &value);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

constexpr u32 kOptions = u32{CVT_M_ROUND_GIVEN} | CVT_M_TEXT_BLANKS_SKIP;

int convert_field(const std::string& text, float* value) {
  return cvt_text_to_ieee_s_ex(text.data(), static_cast<i32>(text.size()), 0, 0, kOptions, value, CVT_X_NONE);
}
int convert_field(const std::string& text, double* value) {
  return cvt_text_to_ieee_t_ex(text.data(), static_cast<i32>(text.size()), 0, 0, kOptions, value, CVT_X_NONE);
}
int convert_field(const std::string& text, Cvt_Quad* value) {
  return cvt_text_to_ieee_x_ex(text.data(), static_cast<i32>(text.size()), 0, 0, kOptions, value, CVT_X_NONE);
}

template <class Real>
void tamrun(benchmark::State& state, int mix) {
  read_all<Real>(state, mix,
                 [](const std::string& text, Real* value) { benchmark::DoNotOptimize(convert_field(text, value)); });
}

template <class Real>
void from_chars(benchmark::State& state, int mix) {
  read_all<Real>(state, mix, [](const std::string& text, Real* value) {
    std::from_chars(text.data(), text.data() + text.size(), *value);
  });
}

void from_c_library(const char* text, float* value) { *value = strtof(text, nullptr); }
void from_c_library(const char* text, double* value) { *value = strtod(text, nullptr); }
void from_c_library(const char* text, Cvt_Quad* value) { *value = std::bit_cast<Cvt_Quad>(strtof128(text, nullptr)); }

template <class Real>
void strtod_family(benchmark::State& state, int mix) {
  read_all<Real>(state, mix, [](const std::string& text, Real* value) { from_c_library(text.c_str(), value); });
}

const bool registered = [] {
  const auto add = [](const char* kind, int mix, const char* who, void (*run)(benchmark::State&, int)) {
    benchmark::RegisterBenchmark((std::string("read/") + kind + "/" + kMixNames[mix] + "/" + who).c_str(), run, mix);
  };
  for (int mix = kShort; mix <= kMixed; ++mix) {
    add("double", mix, "tamrun", tamrun<double>);
    add("double", mix, "from_chars", from_chars<double>);
    add("double", mix, "strtod", strtod_family<double>);
    add("single", mix, "tamrun", tamrun<float>);
    add("single", mix, "from_chars", from_chars<float>);
    add("single", mix, "strtof", strtod_family<float>);
  }
  for (int mix = kShort; mix <= kThirtyFour; ++mix) {
    add("quad", mix, "tamrun", tamrun<Cvt_Quad>);
    add("quad", mix, "strtof128", strtod_family<Cvt_Quad>);
  }
  return true;
}();

}  // namespace
