// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted WRITE and READ in every layout: the bytes on file, and what comes back.

#include "unformatted_unit.h"

#include <random>

#include "records/buffer.h"
#include "records/record_frame.h"

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

/// One way to run the round trip.
struct Round {
  Layout layout;
  i64 buffer_size;
  bool buffered;
  i64 limit;  ///< of a subrecord
};

std::string name_of(const Round& r) {
  return "layout " + std::to_string(static_cast<int>(r.layout)) + " buffer " + std::to_string(r.buffer_size) +
         (r.buffered ? " buffered" : "") + " limit " + std::to_string(r.limit);
}

Connection connection_of(const Round& r) {
  Connection c = layout_connection(r.layout, r.buffer_size, r.layout == Layout::fixed ? kRecl : 0);
  c.user_buffered = r.buffered;
  return c;
}

std::vector<Round> rounds() {
  std::vector<Round> all;
  for (Layout layout : kLayouts) {
    const i64 least = layout == Layout::fixed ? kRecl + 4 : layout == Layout::segmented ? 2060 : 600;
    for (bool buffered : {false, true}) {
      all.push_back({layout, 8192, buffered, kMostSubrecord});
      all.push_back({layout, least, buffered, kMostSubrecord});
      all.push_back({layout, least, buffered, 700});
      all.push_back({layout, least, buffered, 600 - 2 * kLengthWord});
    }
  }
  return all;
}

constexpr i64 kSizes[] = {0,   1,    2,    127,  128,  129,  256,  300,  592,  593,  600,  700,
                          701, 1400, 1401, 2043, 2044, 2045, 4088, 4089, 4096, 4499, 4500, 50000};

TEST(Unformatted, EveryLayoutHoldsTheRecordsAndGivesThemBack) {
  for (const Round& r : rounds()) {
    SCOPED_TRACE(name_of(r));
    const Subrecord_Limit limit(r.limit);
    Unf_Unit unit(connection_of(r));
    const i64 encoded_limit = r.layout == Layout::segmented ? 2044 : r.limit;
    std::string expected = r.layout == Layout::length_bytes ? "K" : "";
    std::vector<std::string> records;
    for (i64 size : kSizes) {
      if (r.layout == Layout::fixed && size > kRecl) continue;
      records.push_back(pattern(size, size));
      const std::string& data = records.back();
      expected += encode(r.layout, data, encoded_limit, kRecl);
      // In three items of unequal length, so that values end and begin anywhere.
      const int code = unit.write([&](ItemList& l) {
        l.scalar(ITM_CHARACTER, data.data(), size / 3);
        l.array(ITM_INTEGER1, data.data() + size / 3, size / 2 - size / 3);
        l.scalar(ITM_CHARACTER, data.data() + size / 2, size - size / 2);
      });
      ASSERT_EQ(code, 0) << size;
      if (unit.lub().lub_f_stream) EXPECT_EQ(unit.lub().lub_file_pos, static_cast<i64>(expected.size()));
    }
    if (r.layout == Layout::length_bytes) expected += '\x82';
    ASSERT_TRUE(unit.file() == expected);

    for (int way = 0; way < 3; ++way) {
      unit.rewind();
      for (const std::string& data : records) {
        const i64 size = static_cast<i64>(data.size());
        const i64 first = way == 0 ? size : way == 1 ? size / 3 : 0;  // what a shorter list leaves is passed over
        const i64 rest = way == 0 || !has_records(r.layout) ? size - first : 0;
        std::string back(size, '?');
        const int code = unit.read([&](ItemList& l) {
          l.scalar(ITM_CHARACTER, back.data(), first);
          l.array(ITM_INTEGER1, back.data() + first, rest);
        });
        if (code == -1 && size == 0 && !has_records(r.layout)) continue;
        ASSERT_EQ(code, 0) << size << " way " << way;
        ASSERT_TRUE(back.compare(0, first + rest, data, 0, first + rest) == 0) << size << " way " << way;
      }
      int code = 0;
      (void)unit.read_bytes(1, &code);
      EXPECT_EQ(code, -1);
    }
  }
}

}  // namespace
