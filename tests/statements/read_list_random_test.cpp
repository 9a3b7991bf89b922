// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ against list-directed WRITE and against itself: values come back from what was written, and
// records that end anywhere leave nothing behind.

#include "list_input.h"
#include "list_output.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "tamrun/messages.h"

#include <random>

namespace {

constexpr u8 kTypes[] = {ITM_INTEGER1,  ITM_INTEGER2,  ITM_INTEGER4,  ITM_INTEGER8, ITM_UNSIGNED1, ITM_UNSIGNED2,
                         ITM_UNSIGNED4, ITM_UNSIGNED8, ITM_LOGICAL4,  ITM_REAL4,    ITM_REAL8,     ITM_REAL16,
                         ITM_COMPLEX8,  ITM_COMPLEX16, ITM_COMPLEX32, ITM_CHARACTER};

/// One item: its type and what it holds.
struct Value {
  u8 type;
  std::string bytes;
};

template <class Real>
void append_real(std::string& bytes, std::mt19937& random) {
  // The default fields have enough columns and digits for these to come back as they were.
  const int digits = sizeof(Real) == 4 ? 1000 : 100000000;
  Real v = 1 + static_cast<Real>(static_cast<int>(random() % digits)) / (1 << random() % (sizeof(Real) == 4 ? 4 : 8));
  if (random() % 2) v = -v;
  bytes.append(reinterpret_cast<const char*>(&v), sizeof v);
}

Value random_value(std::mt19937& random) {
  Value v{kTypes[random() % (sizeof kTypes)], ""};
  const int size = for__dsc_itm_table[v.type].size;
  switch (v.type) {
    case ITM_REAL4:
    case ITM_COMPLEX8:
      while (static_cast<int>(v.bytes.size()) < size) append_real<float>(v.bytes, random);
      return v;
    case ITM_REAL8:
    case ITM_COMPLEX16:
      while (static_cast<int>(v.bytes.size()) < size) append_real<double>(v.bytes, random);
      return v;
    case ITM_REAL16:
    case ITM_COMPLEX32:
      while (static_cast<int>(v.bytes.size()) < size) append_real<__float128>(v.bytes, random);
      return v;
    case ITM_CHARACTER: {
      const std::string alphabet = "ab ,;/*(1.T\t'\"";
      for (unsigned n = random() % 200; n > 0; --n) v.bytes += alphabet[random() % alphabet.size()];
      return v;
    }
    case ITM_LOGICAL4: {
      const i32 truth = random() % 2 ? -1 : 0;
      v.bytes.assign(reinterpret_cast<const char*>(&truth), sizeof truth);
      return v;
    }
    default:
      for (int i = 0; i < size; ++i) v.bytes += static_cast<char>(random());
      // Fields are too narrow for the longest integers.
      if (size == 8 || size == 4) v.bytes[size - 1] = static_cast<char>(random() % 2 && v.type % 2 ? -1 : 0);
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
    const bool comma = random() % 4 == 0;
    List_Unit out(c);
    std::vector<Value> values;
    ItemList written, read;
    for (unsigned count = random() % 20; count > 0; --count) values.push_back(random_value(random));
    std::vector<std::string> results;
    for (const Value& v : values) results.emplace_back(v.bytes.size(), '?');
    for (size_t i = 0; i < values.size(); ++i) {
      const i64 length = static_cast<i64>(values[i].bytes.size());
      written.scalar(values[i].type, values[i].bytes.data(), length);
      read.scalar(values[i].type, results[i].data(), length);
    }
    written.end();
    read.end();
    ControlList first, second;
    if (comma) first.decimal("COMMA"), second.decimal("COMMA");
    first.end();
    second.end();
    ASSERT_EQ(out.write(written, &first), 0) << out.text();
    const std::string text = out.text();
    List_Input in(text, c);
    ASSERT_EQ(in.read(read, &second), 0) << text;
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
    std::string text;
    for (unsigned length = random() % 60; length > 0; --length) text += alphabet[random() % alphabet.size()];
    if (random() % 8 == 0) text.insert(random() % (text.size() + 1), 1, '\0');
    Connection c;
    c.buffer_size = 16 << random() % 4;
    c.recl = 8;
    c.f90_rtl = random() % 4 != 0;
    c.msf_layout = random() % 4 == 0;
    c.stream = random() % 8 == 0;
    c.rectype = random() % 8 == 0 ? RECTYPE_FIXED : RECTYPE_STREAM_LF;
    List_Input in(text, c);
    std::string names;
    for (unsigned count = random() % 6; count > 0; --count) names += letters[random() % letters.size()];
    Variables v(names);
    ItemList items = v.items();
    ControlList control;
    if (random() % 4 == 0) control.decimal("COMMA");
    control.end();
    const For_IO_Flags strict = random() % 2 ? For_IO_Flags{iof_strict_ldio} : 0;
    for (int statement = 0; statement < 4; ++statement) {
      switch (const int result = in.read(items, &control, kIostat | strict)) {
        case 0:
        case -1:
        case MSG_LIST_IO_SYNTAX:
        case MSG_INPUT_CONVERSION:
        case MSG_INPUT_REPEAT_COUNT_NOT_UNSIGNED:
        case MSG_INPUT_REPEAT_COUNT_ZERO_ERROR:
        case MSG_READ_ERROR:
          break;
        default:
          FAIL() << result << " from " << text << " for " << names;
      }
      ASSERT_EQ(in.context().ctx_lub, nullptr);
    }
  }
}

// A text that grows its record and its buffer while it is being read.
TEST(ReadListRandom, RecordsOutgrowTheBuffer) {
  Connection c;
  c.buffer_size = 32;
  const long blocks = tamrun_test::vm_live_blocks();
  {
    std::string text, expected;
    for (int i = 0; i < 500; ++i) text += std::to_string(i) + (i % 7 ? " " : ",");
    List_Input in("2*(1\n" + std::string(100, ' ') + ",\n" + std::string(200, ' ') + "-2.5)\n" + text, c);
    Variables pairs("yz");
    i32 numbers[500] = {};
    ItemList items = pairs.items(), more;
    EXPECT_EQ(in.read(items), 0);
    EXPECT_EQ(pairs.text(), "(1,-2.5) (1,-2.5)");
    more.array(ITM_INTEGER4, numbers, sizeof numbers).end();
    EXPECT_EQ(in.read(more), 0);
    for (int i = 0; i < 500; ++i) EXPECT_EQ(numbers[i], i);
  }
  EXPECT_EQ(tamrun_test::vm_live_blocks(), blocks);
}

}  // namespace
