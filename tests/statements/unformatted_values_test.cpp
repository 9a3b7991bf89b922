// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Values of unformatted statements: sections, byte order, positions in a stream, and what passes the buffer.

#include <string.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "unformatted_unit.h"

namespace {

/// The bytes of a value, reversed piece by piece.
template <class T>
std::string reversed(const T& value, size_t piece = sizeof(T)) {
  std::string bytes(reinterpret_cast<const char*>(&value), sizeof value);
  for (size_t at = 0; at < bytes.size(); at += piece) std::reverse(bytes.begin() + at, bytes.begin() + at + piece);
  return bytes;
}

std::string record(const std::string& data) {
  return word(static_cast<i64>(data.size()), true) + data + word(static_cast<i64>(data.size()), true);
}

// Whole, in sections and past the end of the buffer; text stays as it is.
TEST(UnformattedValues, ABigEndianFileHasEachValueReversed) {
  for (i64 buffer_size : {64, 8192}) {
    Unf_Unit unit(layout_connection(Layout::variable_big_endian, buffer_size));
    std::vector<double> reals(100);
    std::vector<i16> halves(9);
    std::iota(reals.begin(), reals.end(), 0.1);
    std::iota(halves.begin(), halves.end(), 1000);
    const double complex[2] = {1.5, -2.5};
    const __float128 quad = 1;
    const i32 number = 77;
    const auto items = [&](ItemList& l) {
      l.pointer(ITM_INTEGER4, &number).scalar(ITM_CHARACTER, "text", 4).pointer(ITM_COMPLEX16, complex);
      l.array(ITM_REAL8, reals.data(), static_cast<i64>(reals.size() * sizeof(double)));
      l.section(ITM_INTEGER2, halves.data(), {{1, 3, 6}}).section(ITM_REAL8, &reals[9], {{1, 10, -8}});
      l.pointer(ITM_REAL16, &quad);
    };
    ASSERT_EQ(unit.write(items), 0);
    std::string data = reversed(number) + "text" + reversed(complex[0]) + reversed(complex[1]);
    for (double x : reals) data += reversed(x);
    for (int i : {0, 3, 6}) data += reversed(halves[i]);
    for (int i = 9; i >= 0; --i) data += reversed(reals[i]);
    data += reversed(quad);
    EXPECT_TRUE(unit.file() == record(data));

    unit.rewind();
    i32 number_back = 0;
    char text[4];
    double complex_back[2];
    std::vector<double> reals_back(100), section_back(10);
    std::vector<i16> halves_back(9, 0);
    __float128 quad_back = 0;
    ASSERT_EQ(unit.read([&](ItemList& l) {
      l.pointer(ITM_INTEGER4, &number_back).scalar(ITM_CHARACTER, text, 4).pointer(ITM_COMPLEX16, complex_back);
      l.array(ITM_REAL8, reals_back.data(), static_cast<i64>(reals.size() * sizeof(double)));
      l.section(ITM_INTEGER2, halves_back.data(), {{1, 3, 6}}).section(ITM_REAL8, &section_back[9], {{1, 10, -8}});
      l.pointer(ITM_REAL16, &quad_back);
    }),
              0);
    EXPECT_EQ(number_back, number);
    EXPECT_EQ(memcmp(text, "text", 4), 0);
    EXPECT_EQ(memcmp(complex_back, complex, sizeof complex), 0);
    EXPECT_EQ(reals_back, reals);
    EXPECT_EQ(halves_back, (std::vector<i16>{1000, 0, 0, 1003, 0, 0, 1006, 0, 0}));
    EXPECT_TRUE(std::equal(section_back.begin(), section_back.end(), reals.begin()));
    EXPECT_TRUE(quad_back == quad);
  }
}

TEST(UnformattedValues, EmptyListsAndArraysMakeEmptyRecords) {
  Unf_Unit unit(layout_connection(Layout::variable));
  EXPECT_EQ(unit.write([](ItemList&) {}), 0);
  EXPECT_EQ(unit.write([](ItemList& l) {
    l.array(ITM_REAL8, nullptr, 0).section(ITM_INTEGER4, nullptr, {{1, 0, 4}});
  }),
            0);
  EXPECT_EQ(unit.write([](ItemList& l) { l.array_elem(ITM_CHARACTER, "", 3, 0); }), 0);
  EXPECT_EQ(unit.file(), std::string(24, '\0'));
  unit.rewind();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(unit.read([](ItemList&) {}), 0);
  EXPECT_EQ(unit.read([](ItemList& l) { l.array(ITM_REAL8, nullptr, 0); }), 0);
  EXPECT_EQ(unit.read([](ItemList&) {}), -1);
}

// A statement of several calls makes one record.
TEST(UnformattedValues, FurtherCallsGoOnInTheRecord) {
  Unf_Unit unit(layout_connection(Layout::variable, 64));
  const std::string part(50, 'c');
  ItemList first, second, last;
  first.text(part).more();
  second.text(part).text(part).more();
  last.end();
  const For_IO_Flags flags = iof_iostat | iof_extended | iof_f90_rtl;
  ASSERT_EQ(for_write_seq(&unit.context(), unit.number(), flags, first.list(), first.args()), 0);
  ASSERT_EQ(for_write_seq_xmit(&unit.context(), second.list(), second.args()), 0);
  ASSERT_EQ(for_write_seq_xmit(&unit.context(), last.list(), last.args()), 0);
  EXPECT_EQ(unit.file(), word(150) + part + part + part + word(150));
}

// POS= moves within what is held, what has been read ahead and the file; what lies behind a WRITE stays.
TEST(UnformattedValues, StreamsArePositioned) {
  for (bool buffered : {false, true}) {
    Connection c = layout_connection(Layout::stream, 64);
    c.user_buffered = buffered;
    Unf_Unit unit(c);
    const auto at = [](i64 position) {
      ControlList control;
      control.pos(position).end();
      return control;
    };
    ControlList third = at(3), first = at(1), far = at(121), bad = at(0);
    std::string model(100, 'a');
    ASSERT_EQ(unit.write_bytes(model), 0);
    ASSERT_EQ(unit.write([](ItemList& l) { l.text("XYZ"); }, &third), 0);
    model.replace(2, 3, "XYZ");
    EXPECT_EQ(unit.file(), model);
    ASSERT_EQ(unit.write([](ItemList& l) { l.text("end"); }, &far), 0);
    model += std::string(20, '\0') + "end";
    char text[4] = {};
    ASSERT_EQ(unit.read([&](ItemList& l) { l.scalar(ITM_CHARACTER, text, 3); }, &third), 0);
    EXPECT_STREQ(text, "XYZ");
    EXPECT_EQ(unit.lub().lub_file_pos, 5);
    EXPECT_EQ(unit.read_bytes(4), "aaaa");
    ASSERT_EQ(unit.write([](ItemList& l) { l.text("w"); }), 0);  // behind what was read
    model[9] = 'w';
    ASSERT_EQ(unit.read([&](ItemList& l) { l.scalar(ITM_CHARACTER, text, 3); }, &far), 0);
    EXPECT_STREQ(text, "end");
    ASSERT_EQ(unit.read([&](ItemList& l) { l.scalar(ITM_CHARACTER, text, 1); }, &first), 0);
    EXPECT_EQ(unit.read([&](ItemList& l) { l.scalar(ITM_CHARACTER, text, 1); }, &bad), MSG_POS_RANGE);
    EXPECT_EQ(unit.file(), model);
  }
}

TEST(UnformattedValues, AWriteInTheMiddleEndsTheFile) {
  Unf_Unit unit(layout_connection(Layout::variable));
  for (const char* text : {"one", "two", "three"}) ASSERT_EQ(unit.write_bytes(text), 0);
  unit.rewind();
  EXPECT_EQ(unit.read_bytes(3), "one");
  unit.lub().lub_f_truncate_on_write = 1;
  ASSERT_EQ(unit.write_bytes("2"), 0);
  EXPECT_EQ(unit.file(), word(3) + "one" + word(3) + word(1) + "2" + word(1));
}

// One item that is a whole record leaves no trace in the buffer.
TEST(UnformattedValues, WholeRecordsPassTheBuffer) {
  constexpr i64 kRecl = 5000;
  const std::string data(kRecl, 'q');
  for (Layout layout : {Layout::fixed, Layout::variable}) {
    Unf_Unit unit(
        layout_connection(layout, layout == Layout::fixed ? 8192 : 1024, layout == Layout::fixed ? kRecl : 0));
    const auto trace = [&] {
      return std::string(unit.lub().lub_a_buffer, unit.lub().lub_a_buffer + unit.lub().lub_buffer_size).find("qqqq");
    };
    ASSERT_EQ(unit.write_bytes(data), 0);
    EXPECT_EQ(trace(), std::string::npos);
    unit.rewind();
    EXPECT_EQ(unit.read_bytes(kRecl), data);
    if (layout == Layout::fixed) EXPECT_EQ(trace(), std::string::npos);
  }
}

}  // namespace
