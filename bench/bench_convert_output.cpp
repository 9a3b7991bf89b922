// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Reals to text: the field builders beside std::to_chars and the C library on the same values.
#include "tamrun/cvt.h"

#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr u32 kNearest = CVT_M_ROUND_GIVEN;
constexpr size_t kValues = 4096;

/// Values over the whole range of the type for E forms, and of 1 to 10^6 for F forms.
template <class Real>
std::vector<Real> wide_values() {
  std::mt19937_64 random(1);
  std::vector<Real> values;
  while (values.size() < kValues) {
    const u64 bits = random();
    Real value;
    memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value) && value != 0) values.push_back(value);
  }
  return values;
}

template <class Real>
std::vector<Real> near_values() {
  std::mt19937_64 random(2);
  std::vector<Real> values;
  for (size_t i = 0; i < kValues; ++i) {
    values.push_back(static_cast<Real>(pow(10.0, 6.0 * static_cast<double>(random() >> 11) * 0x1p-53)));
  }
  return values;
}

/// Short decimals such as programs print: 0.25, 17.5, 300.
std::vector<double> round_values() {
  std::mt19937_64 random(3);
  std::vector<double> values;
  for (size_t i = 0; i < kValues; ++i) values.push_back(static_cast<double>(1 + random() % 4000) / 16.0);
  return values;
}

/// Registers one case that edits the values one after another.
template <class Real, class Edit>
void add(const std::string& name, const std::vector<Real>& values, Edit edit) {
  benchmark::RegisterBenchmark(name.c_str(), [values, edit](benchmark::State& state) {
    char text[128];
    size_t i = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(edit(text, values[i++ % kValues]));
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
  });
}

int build(const float* v, int w, int k, int d, int e, u32 o, char* dst) {
  i32 n;
  return cvt_ieee_s_to_text_ex(v, w, k, d, w, e, o, dst, CVT_X_NONE, &n);
}
int build(const double* v, int w, int k, int d, int e, u32 o, char* dst) {
  i32 n;
  return cvt_ieee_t_to_text_ex(v, w, k, d, w, e, o, dst, CVT_X_NONE, &n);
}
int build(const __float128* v, int w, int k, int d, int e, u32 o, char* dst) {
  i32 n;
  Cvt_Quad bits;
  memcpy(&bits, v, sizeof bits);
  return cvt_ieee_x_to_text_ex(&bits, w, k, d, w, e, o, dst, CVT_X_NONE, &n);
}

/// ES and F fields beside std::to_chars and snprintf.
template <class Real>
void add_pair(const std::string& topic, const std::vector<Real>& values, bool scientific, int d) {
  const u32 form = scientific ? CVT_M_ES_FORM : CVT_M_F_FORM;
  const auto chars = scientific ? std::chars_format::scientific : std::chars_format::fixed;
  const char* format = scientific ? "%*.*E" : "%*.*f";
  const int w = d + 12;
  add(topic + "/tamrun", values,
      [=](char* text, const Real& v) { return build(&v, w, 0, d, 0, form | kNearest, text); });
  add(topic + "/to_chars", values,
      [=](char* text, const Real& v) { return std::to_chars(text, text + 128, v, chars, d); });
  add(topic + "/snprintf", values,
      [=](char* text, const Real& v) { return snprintf(text, 128, format, w, d, static_cast<double>(v)); });
}

template <class Real>
void add_list(const std::string& topic, int w, int d, int e) {
  add(topic + "/tamrun", near_values<Real>(),
      [=](char* text, const Real& v) { return build(&v, w, 1, d, e, CVT_M_EXPONENT_GIVEN | kNearest, text); });
  add(topic + "/snprintf", near_values<Real>(),
      [=](char* text, const Real& v) { return snprintf(text, 128, "%*.*g", w, d, static_cast<double>(v)); });
}

void add_quad(int digits) {
  std::vector<__float128> values;
  for (double v : wide_values<double>()) values.push_back(static_cast<__float128>(v) / 3);
  const std::string topic = "ES" + std::to_string(digits) + "/quad/wide";
  const std::string format = "%." + std::to_string(digits - 1) + "E";
  add(topic + "/tamrun", values, [=](char* text, const __float128& v) {
    return build(&v, digits + 9, 0, digits - 1, 0, CVT_M_ES_FORM | kNearest, text);
  });
  add(topic + "/strfromf128", values,
      [=](char* text, const __float128& v) { return strfromf128(text, 128, format.c_str(), v); });
}

const bool kAdded = [] {
  for (int digits : {7, 14, 15, 16, 17, 25}) {
    add_pair("ES" + std::to_string(digits) + "/double/wide", wide_values<double>(), true, digits - 1);
  }
  add_pair("ES9/single/wide", wide_values<float>(), true, 8);
  for (int d : {4, 15}) add_pair("F" + std::to_string(d) + "/double/near", near_values<double>(), false, d);
  add_pair("F4/single/near", near_values<float>(), false, 4);
  add_pair("F2/double/round", round_values(), false, 2);
  add_list<double>("G15/double/list", 23, 15, 3);
  add_list<float>("G7/single/list", 15, 7, 2);
  add_quad(16);
  add_quad(34);
  return true;
}();

}  // namespace
