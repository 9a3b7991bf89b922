// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Runs of plain fields, held against the scanning engines field by field.

#include "convert/plain_fields.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>

#include "support/soak.h"
#include "tamrun/cvt.h"

namespace {

constexpr i64 kFields = 4;
constexpr u32 kModes[] = {CVT_ROUND_NEAREST, CVT_ROUND_UP, CVT_ROUND_DOWN, CVT_ROUND_ZERO, CVT_ROUND_AWAY};

/// A field that is plain more often than not, with digits, powers and blanks of all amounts.
std::string a_field(std::mt19937_64& random, i64 width, bool real) {
  std::string text;
  const auto digits = [&](u64 most) {
    for (u64 n = random() % (most + 1); n > 0; --n) text += static_cast<char>('0' + random() % 10);
  };
  if (random() % 3 == 0) text += random() % 2 ? '-' : '+';
  if (random() % 4 == 0) text += "00";
  digits(real ? 12 : 20);
  if (real && random() % 4) {
    text += '.';
    if (random() % 6 == 0) text += "000";
    digits(random() % 3 ? 17 : 5);
  }
  if (real && random() % 2) {
    text += "EeDdQ+"[random() % 6];
    if (random() % 2) text += random() % 2 ? '-' : '+';
    digits(3);
  }
  if (random() % 16 == 0 && !text.empty()) text[random() % text.size()] = static_cast<char>(random() % 128);
  if (random() % 16 == 0) text += ' ';
  const i64 length = static_cast<i64>(text.size());
  return length < width ? std::string(width - length, ' ') + text : text.substr(0, width);
}

struct Single {
  using Bits = u32;
  static constexpr Plain_Reader* kReader = read_plain_singles;
  static constexpr auto kEngine = cvtas_a_to_s;
};
struct Double {
  using Bits = u64;
  static constexpr Plain_Reader* kReader = read_plain_doubles;
  static constexpr auto kEngine = cvtas_a_to_t;
};

template <class Real>
void reals_are_those_of_the_engine() {
  constexpr u32 kFieldOptions =
      CVT_M_TEXT_LEADING_SPACE | CVT_M_TEXT_WHOLE | CVT_M_TEXT_BLANKS_SKIP | CVT_M_ROUND_GIVEN;
  std::mt19937_64 random(7);
  i64 taken = 0, runs = 0;
  for (long n = soak_cases(60000); n > 0; --n, ++runs) {
    const i64 width = 1 + static_cast<i64>(random() % 30);
    std::string fields;
    for (i64 i = 0; i < kFields; ++i) fields += a_field(random, width, true);
    const Plain_Format format = {static_cast<i32>(random() % 3), static_cast<i32>(random() % 5) - 2,
                                 CVT_M_ROUND_GIVEN | kModes[random() % 5], random() % 4 ? '.' : ','};
    typename Real::Bits values[2 * kFields + 1] = {};
    const i64 read =
        Real::kReader({fields.data(), width, kFields, reinterpret_cast<u8*>(values), 2 * sizeof *values}, format);
    ASSERT_TRUE(read >= 0 && read <= kFields);
    taken += read;
    for (i64 i = 0; i < read; ++i) {
      const std::string field = fields.substr(i * width, width);
      i32 status = -1;
      const u32 options = format.options | kFieldOptions | (format.point == ',' ? u32{CVT_M_TEXT_DECIMAL_COMMA} : 0);
      const auto value = Real::kEngine(field.data(), static_cast<i32>(width), options, format.decimals, format.scale,
                                       nullptr, &status);
      ASSERT_EQ(std::bit_cast<typename Real::Bits>(value), values[2 * i]) << field;
      ASSERT_EQ(status, 0) << field;
    }
    for (i64 i = 0; i < kFields; ++i) ASSERT_EQ(values[2 * i + 1], 0u);
    for (i64 i = read; i < kFields; ++i) ASSERT_EQ(values[2 * i], 0u) << "stored without being read";
  }
  EXPECT_GT(taken, runs) << "too few fields are plain for the test to say anything";
}

TEST(PlainFields, SinglesAreThoseOfTheEngine) { reals_are_those_of_the_engine<Single>(); }
TEST(PlainFields, DoublesAreThoseOfTheEngine) { reals_are_those_of_the_engine<Double>(); }

template <class Int>
void integers_are_those_of_the_converter(Plain_Reader* reader) {
  std::mt19937_64 random(11);
  i64 taken = 0, runs = 0;
  for (long n = soak_cases(30000); n > 0; --n, ++runs) {
    const i64 width = 1 + static_cast<i64>(random() % (random() % 2 ? 24 : 2 + sizeof(Int)));
    std::string fields;
    for (i64 i = 0; i < kFields; ++i) fields += a_field(random, width, false);
    Int values[kFields] = {};
    const i64 read = reader({fields.data(), width, kFields, reinterpret_cast<u8*>(values), sizeof(Int)}, {});
    ASSERT_TRUE(read >= 0 && read <= kFields);
    taken += read;
    for (i64 i = 0; i < kFields; ++i) {
      const std::string field = fields.substr(i * width, width);
      i64 value = 0;
      if (i < read) {
        ASSERT_EQ(cvt_text_to_integer64(field.data(), static_cast<i32>(width), CVT_M_SKIP_BLANKS, &value), 0) << field;
      }
      ASSERT_EQ(i64{values[i]}, value) << field;
    }
  }
  EXPECT_GT(taken, runs / 2);
}

TEST(PlainFields, IntegersAreThoseOfTheConverter) {
  integers_are_those_of_the_converter<i8>(read_plain_bytes);
  integers_are_those_of_the_converter<i16>(read_plain_halves);
  integers_are_those_of_the_converter<i32>(read_plain_words);
  integers_are_those_of_the_converter<i64>(read_plain_longs);
}

}  // namespace
