// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted statements that fail: broken files, lists that do not fit, calls that fail, units of another kind.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <thread>

#include "records/length_byte_form.h"
#include "support/child.h"
#include "unformatted_oracle.h"
#include "unformatted_unit.h"

namespace {

using namespace std::string_literals;

struct Broken {
  const char* what;
  Layout layout;
  std::string file;
  i64 wanted;
  int code;
};

const Broken kBroken[] = {
    {"no file", Layout::variable, "", 1, -1},
    {"part of a length word", Layout::variable, "\1\0\0"s, 1, -1},
    {"more than the file", Layout::variable, word(100) + "abcdef", 2, MSG_READ_ERROR},
    {"the largest length", Layout::variable, word(INT32_MAX) + "abcdef", 2, MSG_READ_ERROR},
    {"the smallest length", Layout::variable, word(INT32_MIN) + "abcdef", 2, MSG_READ_ERROR},
    {"no trailing word", Layout::variable, word(4) + "abcd", 4, MSG_READ_ERROR},
    {"part of a trailing word", Layout::variable, word(4) + "abcd\4"s, 4, MSG_READ_ERROR},
    {"no successor", Layout::variable, word(-4) + "abcd" + word(4), 4, -1},
    {"part of a successor's word", Layout::variable, word(-4) + "abcd" + word(4) + "\1\0"s, 4, MSG_READ_ERROR},
    {"a successor cut short", Layout::variable, word(-4) + "abcd" + word(4) + word(3) + "ab", 6, MSG_READ_ERROR},
    {"an end mark", Layout::variable, word(1) + "\x1a" + word(1), 1, -1},
    {"the other byte order", Layout::variable_big_endian, word(4) + "abcd" + word(4), 4, MSG_READ_ERROR},
    {"a list too long", Layout::variable, word(4) + "abcd" + word(4), 5, MSG_INPUT_TOO_MUCH_DATA},
    {"a segment in the middle", Layout::segmented, "\6\0\0\0abcd"s, 4, MSG_SEGMENTED_FORMAT},
    {"the last segment first", Layout::segmented, "\6\0\2\0abcd"s, 4, MSG_SEGMENTED_FORMAT},
    {"a control word too large", Layout::segmented, "\6\0\3\1abcd"s, 4, MSG_SEGMENTED_FORMAT},
    {"no control word", Layout::segmented, "\0\0\6\0"s, 4, MSG_SEGMENTED_FORMAT},
    {"half a control word", Layout::segmented, "\1\0\3\0"s, 4, MSG_SEGMENTED_FORMAT},
    {"the first segment twice", Layout::segmented, "\6\0\1\0abcd\6\0\1\0efgh"s, 8, MSG_SEGMENTED_FORMAT},
    {"no last segment", Layout::segmented, "\6\0\1\0abcd"s, 4, -1},
    {"a segment cut short", Layout::segmented, "\xff\xff\3\0abcd"s, 4, MSG_READ_ERROR},
    {"an end mark", Layout::segmented, "\1\0\x1a\0"s, 1, -1},
    {"a list too long", Layout::segmented, "\6\0\3\0abcd"s, 5, MSG_INPUT_TOO_MUCH_DATA},
    {"no file mark", Layout::length_bytes, "\4abcd\4\x82"s, 4, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE},
    {"another tail", Layout::length_bytes, "K\4abcd\5\x82"s, 4, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE},
    {"no length", Layout::length_bytes, "K\xc8"s + std::string(300, 'x'), 4, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE},
    {"a reader's state", Layout::length_bytes, "K\x83"s, 4, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE},
    {"the end", Layout::length_bytes, "K\x82"s, 4, -1},
    {"a block cut short", Layout::length_bytes, "K\4ab"s, 4, -1},
    {"a list too long", Layout::length_bytes, "K\4abcd\4\x82"s, 5, MSG_TOO_MANY_BYTES_READ_FROM},
    {"a record cut short", Layout::fixed, "abcdef", 4, MSG_READ_ERROR},
    {"less than asked for", Layout::stream, "abcdef", 7, -1},
};

TEST(UnformattedFailures, BrokenFilesGiveTheirNumbers) {
  for (const Broken& b : kBroken) {
    for (i64 buffer_size : {16, 8192}) {
      SCOPED_TRACE(std::string(b.what) + " buffer " + std::to_string(buffer_size));
      Unf_Unit unit(layout_connection(b.layout, buffer_size, b.layout == Layout::fixed ? 8 : 0), b.file);
      int code = 0;
      (void)unit.read_bytes(b.wanted, &code);
      EXPECT_EQ(code, b.code);
      EXPECT_LE(unit.lub().lub_buffer_size, buffer_size + 2 * static_cast<i64>(b.file.size()));
    }
  }
}

// What has been read keeps its value, and the next statement takes the next record.
TEST(UnformattedFailures, AListTooLongTakesWhatThereIs) {
  for (Layout layout : {Layout::variable, Layout::segmented, Layout::fixed}) {
    for (i64 buffer_size : {64, 8192}) {
      const Subrecord_Limit limit(30);
      Unf_Unit unit(layout_connection(layout, buffer_size, layout == Layout::fixed ? 40 : 0));
      if (layout == Layout::segmented) unit.lub().lub_rec_bytes = 30;
      const std::string first(40, 'a'), second(40, 'b');
      ASSERT_EQ(unit.write_bytes(first), 0);
      ASSERT_EQ(unit.write_bytes(second), 0);
      unit.rewind();
      i64 numbers[6] = {};
      const int code = unit.read([&](ItemList& l) {
        for (i64& n : numbers) l.pointer(ITM_INTEGER8, &n);
      });
      EXPECT_EQ(code, MSG_INPUT_TOO_MUCH_DATA);
      EXPECT_EQ(memcmp(numbers, first.data(), 40), 0);
      EXPECT_EQ(unit.read_bytes(40), second) << static_cast<int>(layout) << ' ' << buffer_size;
    }
  }
}

TEST(UnformattedFailures, ARecordThatMayNotGrowOverflows) {
  Unf_Unit unit(layout_connection(Layout::fixed, 64, 8));
  EXPECT_EQ(unit.write_bytes("123456789"), MSG_RECORD_OVERFLOW);
  EXPECT_EQ(unit.write_bytes("12345678"), 0);
  EXPECT_EQ(unit.file(), "12345678");
}

struct Refusal {
  const char* what;
  void (*change)(Connection&);
  bool writes;
  int code;
};

TEST(UnformattedFailures, UnitsOfAnotherKindAreRefused) {
  const Refusal kRefusals[] = {
      {"formatted", [](Connection& c) { c.formatted = true; }, true, MSG_MIXED_ACCESS},
      {"formatted", [](Connection& c) { c.formatted = true; }, false, MSG_MIXED_ACCESS},
      {"direct", [](Connection& c) { c.direct = true; }, true, MSG_MIXED_ACCESS},
      {"direct", [](Connection& c) { c.direct = true; }, false, MSG_MIXED_ACCESS},
  };
  for (const Refusal& r : kRefusals) {
    Connection c = layout_connection(Layout::variable);
    r.change(c);
    Unf_Unit unit(c);
    const auto no_items = [](ItemList&) {};
    EXPECT_EQ(r.writes ? unit.write(no_items) : unit.read(no_items), r.code) << r.what;
  }
  Unf_Unit unit(layout_connection(Layout::variable));
  ControlList pos, decimal;
  pos.pos(1).end();
  decimal.decimal("COMMA").end();
  const auto no_items = [](ItemList&) {};
  EXPECT_EQ(unit.write(no_items, &pos), MSG_MIXED_ACCESS);
  EXPECT_EQ(unit.write(no_items, &decimal), MSG_KEYWORD_UNFORMATTED);
  EXPECT_EQ(unit.read(no_items, &decimal), MSG_KEYWORD_UNFORMATTED);
  unit.lub().lub_f_readonly = 1;
  EXPECT_EQ(unit.write(no_items), MSG_WRITE_READONLY);
}

// The file may not pass a limit in the middle of a record: all that were written before can be read, and it cannot.
TEST(UnformattedFailures, AWriteThatFailsLeavesEarlierRecordsReadable) {
  constexpr i64 kWhole = 10, kBytes = 1000, kLimit = kWhole * (kBytes + 20) + 3000;
  const std::string record(kBytes, 'r');
  for (Layout layout : {Layout::variable, Layout::segmented, Layout::fixed, Layout::length_bytes}) {
    for (bool buffered : {false, true}) {
      for (i64 last : {kBytes, i64{100000}}) {
        if (layout == Layout::fixed && last > kBytes) continue;
        SCOPED_TRACE(std::to_string(static_cast<int>(layout)) + ' ' + std::to_string(buffered) + ' ' +
                     std::to_string(last));
        tamrun_test::Temp_Dir folder;
        const std::string name = folder.file("records");
        Connection c = layout_connection(layout, 8192, layout == Layout::fixed ? kBytes : 0);
        c.buffered = c.user_buffered = buffered;
        const auto child = tamrun_test::run_child([&] {
          const rlimit limit = {kLimit, RLIM_INFINITY};
          signal(SIGXFSZ, SIG_IGN);
          setrlimit(RLIMIT_FSIZE, &limit);
          Unf_Unit unit(c);
          EXPECT_EQ(dup2(open(name.c_str(), O_RDWR | O_CREAT, 0600), unit.fd()), unit.fd());
          for (i64 i = 0; i < kWhole; ++i) EXPECT_EQ(unit.write_bytes(record), 0);
          const std::string part(100, 'x');
          int code = 0;
          for (int i = 0; code == 0 && i < 5; ++i) {
            code = unit.write([&](ItemList& l) {
              for (i64 done = 0; done < last; done += 100) l.text(part);
            });
          }
          if (code == 0 && buffered) code = for__write_output(&unit.lub(), nullptr, 0) < 0 ? MSG_WRITE_ERROR : 0;
          EXPECT_EQ(code, MSG_WRITE_ERROR);
        });
        EXPECT_EQ(child.status, 0) << child.err;
        Unf_Unit unit(c, tamrun_test::read_file(name));
        for (i64 i = 0; i < kWhole; ++i) EXPECT_EQ(unit.read_bytes(kBytes), record) << i;
        int code = 0;
        for (int i = 0; code == 0 && i < (last == kBytes ? 5 : 1); ++i) (void)unit.read_bytes(1, &code);
        EXPECT_TRUE(code == MSG_READ_ERROR || code == -1) << code;
      }
    }
  }
}

// A record that the pipe's buffer does not hold, in both directions: nothing can be put right behind it.
TEST(UnformattedFailures, PipesCarryRecordsOfAnyLength) {
  const std::string data(300000, 'p');
  for (Layout layout : {Layout::variable, Layout::segmented, Layout::stream, Layout::length_bytes}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::string back;
    std::thread reader([&] {
      Unf_Unit unit(layout_connection(layout), "", 42);
      EXPECT_EQ(dup2(ends[0], unit.fd()), unit.fd());
      unit.lub().lub_f_seekable = 0;
      (void)unit.read_bytes(100);
      back = unit.read_bytes(static_cast<i64>(data.size()) - (layout == Layout::stream ? 100 : 0));
    });
    {
      Unf_Unit unit(layout_connection(layout), "", 43);
      EXPECT_EQ(dup2(ends[1], unit.fd()), unit.fd());
      close(ends[1]);
      unit.lub().lub_f_seekable = 0;
      unit.lub().lub_f_truncate_on_write = 1;
      EXPECT_EQ(unit.write_bytes(data), 0);
      if (layout != Layout::stream) EXPECT_EQ(unit.write_bytes(data), 0);
      unit.flush();
    }
    reader.join();
    close(ends[0]);  // not before the writer has written what ends the last record
    EXPECT_TRUE(data.compare(0, back.size(), back) == 0 && back.size() >= data.size() - 100)
        << static_cast<int>(layout);
  }
}

}  // namespace
