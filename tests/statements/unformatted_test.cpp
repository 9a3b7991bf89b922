// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted WRITE and READ in every layout: the bytes on file, and what comes back; sections, byte order, positions in
// a stream, and what passes the buffer.

#include <numeric>
#include <random>
#include <vector>

#include "records/record_frame.h"
#include "unformatted_unit.h"

namespace {

constexpr Layout kLayouts[] = {Layout::variable, Layout::variable_big_endian, Layout::segmented, Layout::fixed,
                               Layout::stream,   Layout::length_bytes,        Layout::binary};
constexpr i64 kRecl = 4500;  ///< of the FIXED file

bool has_records(Layout layout) { return layout != Layout::stream && layout != Layout::binary; }

std::string pattern(i64 size, unsigned seed) {
  std::mt19937 random(seed);
  std::string data(size, '\0');
  for (char& c : data) c = static_cast<char>(random());
  return data;
}

constexpr i64 kSizes[] = {0,   1,    2,    127,  128,  129,  256,  300,  592,  593,  600,  700,
                          701, 1400, 1401, 2043, 2044, 2045, 4088, 4089, 4096, 4499, 4500, 50000};

void round_trip(Layout layout, i64 buffer_size, bool buffered, i64 subrecord) {
  SCOPED_TRACE("layout " + std::to_string(static_cast<int>(layout)) + " buffer " + std::to_string(buffer_size) +
               (buffered ? " buffered" : "") + " limit " + std::to_string(subrecord));
  const Subrecord_Limit limit(subrecord);
  Connection c = layout_connection(layout, buffer_size, layout == Layout::fixed ? kRecl : 0);
  c.user_buffered = buffered;
  Unf_Unit unit(c);
  std::string expected = layout == Layout::length_bytes ? "K" : "";
  std::vector<std::string> records;
  for (i64 size : kSizes) {
    if (layout == Layout::fixed && size > kRecl) continue;
    records.push_back(pattern(size, size));
    const std::string& data = records.back();
    expected += encode(layout, data, layout == Layout::segmented ? 2044 : subrecord, kRecl);
    // In three items of unequal length, so that values end and begin anywhere.
    ASSERT_EQ(unit.write(ItemList()
                             .scalar(ITM_CHARACTER, data.data(), size / 3)
                             .array(ITM_INTEGER1, data.data() + size / 3, size / 2 - size / 3)
                             .scalar(ITM_CHARACTER, data.data() + size / 2, size - size / 2)),
              0)
        << size;
    if (!unit.lub().lub_f_stream) continue;
    EXPECT_EQ(unit.lub().lub_file_pos, static_cast<i64>(expected.size()));
  }
  if (layout == Layout::length_bytes) expected += '\x82';
  ASSERT_TRUE(unit.file() == expected);

  for (int way = 0; way < 3; ++way) {
    unit.rewind();
    for (const std::string& data : records) {
      const i64 size = static_cast<i64>(data.size());
      const i64 first = way == 0 ? size : way == 1 ? size / 3 : 0;  // what a shorter list leaves is passed over
      const i64 rest = way == 0 || !has_records(layout) ? size - first : 0;
      std::string back(size, '?');
      const int code = unit.read(
          ItemList().scalar(ITM_CHARACTER, back.data(), first).array(ITM_INTEGER1, back.data() + first, rest));
      if (code == -1 && size == 0 && !has_records(layout)) continue;
      ASSERT_EQ(code, 0) << size << " way " << way;
      ASSERT_TRUE(back.compare(0, first + rest, data, 0, first + rest) == 0) << size << " way " << way;
    }
    int code = 0;
    (void)unit.read_bytes(1, &code);
    EXPECT_EQ(code, -1);
  }
}

TEST(Unformatted, EveryLayoutHoldsTheRecordsAndGivesThemBack) {
  for (Layout layout : kLayouts) {
    const i64 least = layout == Layout::fixed ? kRecl + 4 : layout == Layout::segmented ? 2060 : 600;
    for (bool buffered : {false, true}) {
      round_trip(layout, 8192, buffered, kMostSubrecord);
      for (i64 limit : {i64{kMostSubrecord}, i64{700}, i64{600 - 2 * kLengthWord}})
        round_trip(layout, least, buffered, limit);
    }
  }
}

/// The bytes of a value, reversed.
template <class T>
std::string reversed(const T& value) {
  std::string bytes = bytes_of(value);
  std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

/// Variables of every size, whole and in sections.
struct Values {
  i32 number = 0;
  char text[4] = {};
  double complex[2] = {};
  std::vector<double> reals = std::vector<double>(100), section = std::vector<double>(10);
  std::vector<i16> halves = std::vector<i16>(9);
  __float128 quad = 0;

  ItemList items() {
    return ItemList()
        .pointer(ITM_INTEGER4, &number)
        .scalar(ITM_CHARACTER, text, sizeof text)
        .pointer(ITM_COMPLEX16, complex)
        .array(ITM_REAL8, reals.data(), static_cast<i64>(reals.size() * sizeof(double)))
        .section(ITM_INTEGER2, halves.data(), {{1, 3, 6}})
        .section(ITM_REAL8, &section[9], {{1, 10, -8}})
        .pointer(ITM_REAL16, &quad);
  }
};

// Whole, in sections and past the end of the buffer; text stays as it is.
TEST(Unformatted, ABigEndianFileHasEachValueReversed) {
  for (i64 buffer_size : {64, 8192}) {
    Unf_Unit unit(layout_connection(Layout::variable_big_endian, buffer_size));
    Values v, back;
    v.number = 77;
    memcpy(v.text, "text", sizeof v.text);
    v.complex[0] = 1.5, v.complex[1] = -2.5;
    v.quad = 1;
    std::iota(v.reals.begin(), v.reals.end(), 0.1);
    std::iota(v.section.begin(), v.section.end(), 0.7);
    for (int i : {0, 3, 6}) v.halves[i] = static_cast<i16>(1000 + i);
    ASSERT_EQ(unit.write(v.items()), 0);
    std::string data = reversed(v.number) + "text" + reversed(v.complex[0]) + reversed(v.complex[1]);
    for (double x : v.reals) data += reversed(x);
    for (int i : {0, 3, 6}) data += reversed(v.halves[i]);
    for (int i = 9; i >= 0; --i) data += reversed(v.section[i]);
    data += reversed(v.quad);
    EXPECT_TRUE(unit.file() == encode(Layout::variable_big_endian, data, kMostSubrecord, 0));

    unit.rewind();
    ASSERT_EQ(unit.read(back.items()), 0);
    EXPECT_EQ(back.number, v.number);
    EXPECT_EQ(memcmp(back.text, v.text, sizeof v.text), 0);
    EXPECT_EQ(memcmp(back.complex, v.complex, sizeof v.complex), 0);
    EXPECT_EQ(back.reals, v.reals);
    EXPECT_EQ(back.halves, v.halves);
    EXPECT_EQ(back.section, v.section);
    EXPECT_TRUE(back.quad == v.quad);
  }
}

TEST(Unformatted, EmptyListsAndArraysMakeEmptyRecords) {
  Unf_Unit unit(layout_connection(Layout::variable));
  const ItemList empty_array = ItemList().array(ITM_REAL8, nullptr, 0);
  EXPECT_EQ(unit.write({}), 0);
  EXPECT_EQ(unit.write(ItemList(empty_array).section(ITM_INTEGER4, nullptr, {{1, 0, 4}})), 0);
  EXPECT_EQ(unit.write(ItemList().array_elem(ITM_CHARACTER, "", 3, 0)), 0);
  EXPECT_EQ(unit.file(), std::string(24, '\0'));
  unit.rewind();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(unit.read({}), 0);
  EXPECT_EQ(unit.read(empty_array), 0);
  EXPECT_EQ(unit.read({}), -1);
}

TEST(Unformatted, FurtherCallsGoOnInTheRecord) {
  Unf_Unit unit(layout_connection(Layout::variable, 64));
  const std::string part(50, 'c');
  ASSERT_EQ(unit.write(ItemList().text(part).more()), 0);
  ASSERT_EQ(unit.go_on(ItemList().text(part).text(part).more()), 0);
  ASSERT_EQ(unit.go_on({}), 0);
  EXPECT_EQ(unit.file(), word(150) + part + part + part + word(150));
}

// POS= moves within what is held, what has been read ahead and the file; what lies behind a WRITE stays.
TEST(Unformatted, StreamsArePositioned) {
  for (bool buffered : {false, true}) {
    Connection c = layout_connection(Layout::stream, 64);
    c.user_buffered = buffered;
    Unf_Unit unit(c);
    const auto at = [](i64 position) { return ControlList().pos(position); };
    std::string model(100, 'a');
    ASSERT_EQ(unit.write_bytes(model), 0);
    ASSERT_EQ(unit.write(ItemList().text("XYZ"), kIostat, at(3)), 0);
    model.replace(2, 3, "XYZ");
    EXPECT_EQ(unit.file(), model);
    ASSERT_EQ(unit.write(ItemList().text("end"), kIostat, at(121)), 0);
    model += std::string(20, '\0') + "end";
    EXPECT_EQ(unit.read_bytes(3, nullptr, at(3)), "XYZ");
    EXPECT_EQ(unit.lub().lub_file_pos, 5);
    EXPECT_EQ(unit.read_bytes(4), "aaaa");
    ASSERT_EQ(unit.write_bytes("w"), 0);  // behind what was read
    model[9] = 'w';
    EXPECT_EQ(unit.read_bytes(3, nullptr, at(121)), "end");
    EXPECT_EQ(unit.read_bytes(1, nullptr, at(1)), "a");
    int code = 0;
    (void)unit.read_bytes(1, &code, at(0));
    EXPECT_EQ(code, MSG_POS_RANGE);
    EXPECT_EQ(unit.file(), model);
  }
}

TEST(Unformatted, AWriteInTheMiddleEndsTheFile) {
  Unf_Unit unit(layout_connection(Layout::variable));
  for (const char* text : {"one", "two", "three"}) ASSERT_EQ(unit.write_bytes(text), 0);
  unit.rewind();
  EXPECT_EQ(unit.read_bytes(3), "one");
  unit.lub().lub_f_truncate_on_write = 1;
  ASSERT_EQ(unit.write_bytes("2"), 0);
  EXPECT_EQ(unit.file(), word(3) + "one" + word(3) + word(1) + "2" + word(1));
}

// One item that is a whole record leaves no trace in the buffer.
TEST(Unformatted, WholeRecordsPassTheBuffer) {
  const std::string data(kRecl, 'q');
  for (bool fixed : {true, false}) {
    Unf_Unit unit(fixed ? layout_connection(Layout::fixed, 8192, kRecl) : layout_connection(Layout::variable, 1024));
    const For_Lub& lub = unit.lub();
    const auto trace = [&] { return std::string(lub.lub_a_buffer, lub.lub_a_buffer + lub.lub_buffer_size); };
    ASSERT_EQ(unit.write_bytes(data), 0);
    EXPECT_EQ(trace().find("qqqq"), std::string::npos);
    unit.rewind();
    EXPECT_EQ(unit.read_bytes(kRecl), data);
    EXPECT_TRUE(!fixed || trace().find("qqqq") == std::string::npos);
  }
}

}  // namespace
