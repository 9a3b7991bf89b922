// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ against list-directed WRITE and against itself: values come back from what was written, and
// records that end anywhere leave nothing behind.

#include <random>

#include "memory_unit.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "tamrun/messages.h"

namespace {

constexpr u8 kTypes[] = {ITM_INTEGER1,  ITM_INTEGER2,  ITM_INTEGER4,  ITM_INTEGER8, ITM_UNSIGNED1, ITM_UNSIGNED2,
                         ITM_UNSIGNED4, ITM_UNSIGNED8, ITM_LOGICAL4,  ITM_REAL4,    ITM_REAL8,     ITM_REAL16,
                         ITM_COMPLEX8,  ITM_COMPLEX16, ITM_COMPLEX32, ITM_CHARACTER};

/// One item: its type and what it holds.
struct Value {
  u8 type;
  std::string bytes;
};

/// One number or a pair, for which the default fields have enough columns and digits to come back as it was.
template <class Real>
std::string reals(std::mt19937& random, int bytes) {
  constexpr bool kSingle = sizeof(Real) == sizeof(float);
  std::string all;
  while (static_cast<int>(all.size()) < bytes) {
    const Real v = 1 + static_cast<Real>(random() % (kSingle ? 1000 : 100000000)) / (1 << random() % (kSingle ? 4 : 8));
    all += bytes_of(random() % 2 ? -v : v);
  }
  return all;
}

Value random_value(std::mt19937& random) {
  Value v{kTypes[random() % (sizeof kTypes)], ""};
  const int size = for__dsc_itm_table[v.type].size;
  switch (v.type) {
    case ITM_REAL4:
    case ITM_COMPLEX8:
      return {v.type, reals<float>(random, size)};
    case ITM_REAL8:
    case ITM_COMPLEX16:
      return {v.type, reals<double>(random, size)};
    case ITM_REAL16:
    case ITM_COMPLEX32:
      return {v.type, reals<__float128>(random, size)};
    case ITM_CHARACTER: {
      const std::string alphabet = "ab ,;/*(1.T\t'\"";
      for (unsigned n = random() % 200; n > 0; --n) v.bytes += alphabet[random() % alphabet.size()];
      return v;
    }
    case ITM_LOGICAL4:
      return {v.type, bytes_of(random() % 2 ? -1 : 0)};
    default:
      for (int i = 0; i < size; ++i) v.bytes += static_cast<char>(random());
      // Fields are too narrow for the longest integers.
      if (size >= 4) v.bytes[size - 1] = static_cast<char>(random() % 2 && v.type % 2 ? -1 : 0);
      return v;
  }
}

TEST(ReadListRandom, WhatWasWrittenComesBack) {
  std::mt19937 random(4);
  for (long n = soak_cases(1500); n > 0; --n) {
    Connection c;
    c.delim = random() % 2 ? '"' : '\'';
    c.compact = random() % 3 == 0;
    c.recl = 500 + random() % 500;  // enough for any text in its delimiters
    if (random() % 2) c.wrap_margin = 80;
    const ControlList control = random() % 4 == 0 ? ControlList().decimal("COMMA") : ControlList();
    std::vector<Value> values;
    for (unsigned count = random() % 20; count > 0; --count) values.push_back(random_value(random));
    std::vector<std::string> results;
    for (const Value& v : values) results.emplace_back(v.bytes.size(), '?');
    ItemList written, read;
    for (size_t i = 0; i < values.size(); ++i) {
      const i64 length = static_cast<i64>(values[i].bytes.size());
      written.scalar(values[i].type, values[i].bytes.data(), length);
      read.scalar(values[i].type, results[i].data(), length);
    }
    Memory_Unit out(c);
    ASSERT_EQ(out.write(written, kIostat, control), 0) << out.text();
    const std::string text = out.text();
    Memory_Unit in(c, text, 41);
    ASSERT_EQ(in.read(read, kIostat, control), 0) << text;
    for (size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(results[i], values[i].bytes) << "item " << i << " of type " << int{values[i].type} << " in\n" << text;
    }
  }
}

// Bytes of list-directed input in any order, through buffers of any size, in one statement or several: every result is
// a known one, the guard behind the buffer stands, and the next statement finds the unit free.
TEST(ReadListRandom, AnyInputEndsTheStatement) {
  std::mt19937 random(5);
  const std::string alphabet = "0123 \n\n\t\r,,;;**((()))''\"\"//..TtFfeEdD+-abInfNaN\x01\x80";
  const std::string letters = "bhijBHUJlmnoLrdqyzxcs";
  for (long n = soak_cases(20000); n > 0; --n) {
    std::string text, names;
    for (unsigned length = random() % 60; length > 0; --length) text += alphabet[random() % alphabet.size()];
    if (random() % 8 == 0) text.insert(random() % (text.size() + 1), 1, '\0');
    for (unsigned count = random() % 6; count > 0; --count) names += letters[random() % letters.size()];
    Connection c;
    c.buffer_size = 16 << random() % 4;
    c.recl = 8;
    c.f90_rtl = random() % 4 != 0;
    c.msf_layout = random() % 4 == 0;
    c.stream = random() % 8 == 0;
    c.rectype = random() % 8 == 0 ? RECTYPE_FIXED : RECTYPE_STREAM_LF;
    Memory_Unit in(c, text);
    Variables v(names);
    const ControlList control = random() % 4 == 0 ? ControlList().decimal("COMMA") : ControlList();
    const For_IO_Flags strict = random() % 2 ? For_IO_Flags{iof_strict_ldio} : 0;
    for (int statement = 0; statement < 4; ++statement) {
      const int result = in.read(v.items(), kIostat | strict, control);
      const bool known = result == 0 || result == -1 || result == MSG_LIST_IO_SYNTAX ||
                         result == MSG_INPUT_CONVERSION || result == MSG_INPUT_REPEAT_COUNT_NOT_UNSIGNED ||
                         result == MSG_INPUT_REPEAT_COUNT_ZERO_ERROR || result == MSG_READ_ERROR;
      ASSERT_TRUE(known) << result << " from " << text << " for " << names;
      ASSERT_EQ(in.context().ctx_lub, nullptr);
    }
  }
}

// A text that grows its record and its buffer while it is being read.
TEST(ReadListRandom, RecordsOutgrowTheBuffer) {
  const long blocks = tamrun_test::vm_live_blocks();
  {
    std::string text;
    for (int i = 0; i < 500; ++i) text += std::to_string(i) + (i % 7 ? " " : ",");
    Memory_Unit in({.buffer_size = 32}, "2*(1\n" + blanks(100) + ",\n" + blanks(200) + "-2.5)\n" + text);
    i32 numbers[500] = {};
    EXPECT_EQ(in.get("yz"), "(1,-2.5) (1,-2.5)");
    EXPECT_EQ(in.read(ItemList().array(ITM_INTEGER4, numbers, sizeof numbers)), 0);
    for (int i = 0; i < 500; ++i) EXPECT_EQ(numbers[i], i);
  }
  EXPECT_EQ(tamrun_test::vm_live_blocks(), blocks);
}

}  // namespace
