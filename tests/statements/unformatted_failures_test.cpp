// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted statements that fail: broken files, lists that do not fit, calls that fail.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <numeric>
#include <random>
#include <thread>

#include "records/length_byte_form.h"
#include "support/child.h"
#include "support/soak.h"
#include "unformatted_oracle.h"
#include "unformatted_unit.h"

namespace {

// Files of a few records, cut short or with bytes changed.
TEST(UnformattedFailures, BrokenFilesAgreeWithTheirOracle) {
  constexpr Layout kLayouts[] = {Layout::variable, Layout::segmented, Layout::length_bytes, Layout::fixed,
                                 Layout::stream};
  std::mt19937 random(3);
  const auto below = [&](u32 n) { return static_cast<u8>(random() % n); };
  for (long n = soak_cases(30000); n > 0; --n) {
    Unf_Reads::Choice choice = {below(Unf_Reads::kLayouts), below(64), below(255), below(255), {}};
    Layout layout = kLayouts[choice.layout];
    if (layout == Layout::variable && (choice.flags & 1)) layout = Layout::variable_big_endian;
    const i64 recl = 1 + choice.fixed % Unf_Reads::kLeastBuffer;
    std::string file = layout == Layout::length_bytes ? "K" : "";
    for (u8& wanted : choice.wanted) {
      const u8 size = layout == Layout::fixed ? below(recl + 1) : below(8) != 0 ? below(24) : below(200);
      wanted = random() % 4 == 0 ? below(40) : size;
      if (random() % 16 == 0) file += random() % 2 ? std::string("\1\0\x1a\0", 4) : word(1) + "\x1a" + word(1);
      file += encode(layout, std::string(size, static_cast<char>('a' + below(26))), 1 + below(60), recl);
    }
    if (layout == Layout::length_bytes) file += '\x82';
    const u8 interesting[] = {0, 1, 2, 3, 26, 0x7f, 0x80, 0x81, 0x82, 0x83, 0xff};
    for (int changes = below(3); changes > 0; --changes)
      file[random() % (random() % 2 ? file.size() : std::min<size_t>(file.size(), 12))] =
          static_cast<char>(random() % 2 ? interesting[random() % sizeof interesting] : random());
    if (random() % 3 == 0) file.resize(random() % file.size());
    const char* wrong = Unf_Reads::check(choice, file);
    ASSERT_EQ(wrong, nullptr) << wrong << ", case " << n << ", layout " << int{choice.layout};
  }
}

// A long record of which the buffer holds one byte is none of one byte: Ctrl-Z there ends no file.
TEST(UnformattedFailures, CtrlZAtTheEndOfTheBuffer) {
  Unf_Unit unit(layout_connection(Layout::variable, 64));
  const std::string first(64 - 2 * kLengthWord - kLengthWord - 1, 'a'), second = "\x1a" + std::string(200, 'b');
  ASSERT_EQ(unit.write_bytes(first), 0);
  ASSERT_EQ(unit.write_bytes(second), 0);
  unit.rewind();
  EXPECT_EQ(unit.read_bytes(static_cast<i64>(first.size())), first);
  EXPECT_EQ(unit.read_bytes(static_cast<i64>(second.size())), second);
}

// What has been read keeps its value, and the next statement takes the next record.
TEST(UnformattedFailures, AListTooLongTakesWhatThereIs) {
  constexpr i64 kValue = sizeof(i64);
  for (Layout layout : {Layout::variable, Layout::variable_big_endian, Layout::segmented, Layout::fixed}) {
    for (i64 buffer_size : {64, 8192}) {
      for (bool array : {false, true}) {
        SCOPED_TRACE(std::to_string(static_cast<int>(layout)) + ' ' + std::to_string(buffer_size));
        const Subrecord_Limit limit(30);
        Unf_Unit unit(layout_connection(layout, buffer_size, layout == Layout::fixed ? 40 : 0));
        if (layout == Layout::segmented) unit.lub().lub_rec_bytes = 30;
        std::string first(40, 'a');
        const std::string second(40, 'b');
        std::iota(first.begin(), first.end(), 'A');
        ASSERT_EQ(unit.write_bytes(first), 0);
        ASSERT_EQ(unit.write_bytes(second), 0);
        unit.rewind();
        i64 numbers[6] = {};
        ItemList items;
        if (array) items.array(ITM_INTEGER8, numbers, sizeof numbers);
        for (int i = 0; !array && i < 6; ++i) items.pointer(ITM_INTEGER8, &numbers[i]);
        EXPECT_EQ(unit.read(items), MSG_INPUT_TOO_MUCH_DATA);
        for (int i = 0; i < 5 && layout == Layout::variable_big_endian; ++i)
          std::reverse(first.begin() + i * kValue, first.begin() + (i + 1) * kValue);
        EXPECT_EQ(memcmp(numbers, first.data(), 40), 0);
        EXPECT_EQ(unit.read_bytes(40), second);
      }
    }
  }
}

// What is appended stays where it is, so that a long record leaves with its length.
TEST(UnformattedFailures, RecordsThatAreAppendedAreWhole) {
  Unf_Unit unit(layout_connection(Layout::variable, 64));
  ASSERT_EQ(fcntl(unit.fd(), F_SETFL, O_APPEND), 0);
  const std::string part(50, 'x');
  for (int i = 0; i < 2; ++i) ASSERT_EQ(unit.write(ItemList().text(part).text(part)), 0);
  const std::string record = word(100) + part + part + word(100);
  EXPECT_EQ(unit.file(), record + record);
}

// A sequential WRITE of a compatible program knows no status byte.
TEST(UnformattedFailures, SequentialRecordsOfRelativeFilesHaveTheirLength) {
  Connection c = {.rectype = RECTYPE_FIXED, .cc = CC_NONE, .recl = 9};
  c.formatted = false;
  c.direct = c.compat = true;
  Unf_Unit unit(c);
  unit.lub().lub_org = ORG_RELATIVE;
  unit.lub().lub_f_legacy_defaults = 1;
  for (const char* data : {"abcdefghi", "ABCDEFGH"}) ASSERT_EQ(unit.write_bytes(data), 0);
  EXPECT_EQ(unit.file(), std::string("abcdefghiABCDEFGH\0", 18));
}

// The file may not pass a limit in the middle of a record: all that were written before can be read, and it cannot.
TEST(UnformattedFailures, AWriteThatFailsLeavesEarlierRecordsReadable) {
  constexpr i64 kWhole = 10, kBytes = 1000, kLimit = kWhole * (kBytes + 20) + 3000, kPart = 100;
  const std::string record(kBytes, 'r'), part(kPart, 'x');
  struct Row {
    Layout layout;
    i64 last, subrecord = kMostSubrecord;
  };
  for (const Row& row : {Row{Layout::variable, kBytes},
                         {Layout::variable, 100000},
                         {Layout::variable, 100000, 1100},
                         {Layout::segmented, kBytes},
                         {Layout::segmented, 100000},
                         {Layout::fixed, kBytes},
                         {Layout::length_bytes, kBytes},
                         {Layout::length_bytes, 100000}}) {
    for (bool buffered : {false, true}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(row.layout)) + ' ' + std::to_string(buffered) + ' ' +
                   std::to_string(row.last));
      const Subrecord_Limit subrecords(row.subrecord);
      tamrun_test::Temp_Dir folder;
      const std::string name = folder.file("records");
      Connection c = layout_connection(row.layout, 8192, row.layout == Layout::fixed ? kBytes : 0);
      c.buffered = c.user_buffered = buffered;
      ItemList parts;
      for (i64 done = 0; done < row.last; done += kPart) parts.text(part);
      const auto child = tamrun_test::run_child([&] {
        const rlimit limit = {kLimit, RLIM_INFINITY};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        Unf_Unit unit(c);
        unit.redirect(open(name.c_str(), O_RDWR | O_CREAT, 0600));
        for (i64 i = 0; i < kWhole; ++i) EXPECT_EQ(unit.write_bytes(record), 0);
        int code = 0;
        for (int i = 0; code == 0 && i < 5; ++i) code = unit.write(parts);
        if (code == 0 && buffered) code = for__write_output(&unit.lub(), nullptr, 0) < 0 ? MSG_WRITE_ERROR : 0;
        EXPECT_EQ(code, MSG_WRITE_ERROR);
      });
      EXPECT_EQ(child.status, 0) << child.err;
      Unf_Unit unit(c, tamrun_test::read_file(name));
      for (i64 i = 0; i < kWhole; ++i) EXPECT_EQ(unit.read_bytes(kBytes), record) << i;
      int code = 0;
      for (int i = 0; code == 0 && i < (row.last == kBytes ? 5 : 1); ++i) (void)unit.read_bytes(1, &code);
      EXPECT_TRUE(code == MSG_READ_ERROR || code == -1) << code;
    }
  }
}

// A record that the pipe's buffer does not hold, in both directions: nothing can be put right behind it.
TEST(UnformattedFailures, PipesCarryRecordsOfAnyLength) {
  const std::string data(300000, 'p');
  for (Layout layout : {Layout::variable, Layout::segmented, Layout::stream, Layout::length_bytes}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int kept = dup(ends[0]);  // until the writer has written what ends the last record
    std::string back;
    std::thread reader([&] {
      Unf_Unit unit(layout_connection(layout), "", 42);
      unit.redirect(ends[0]);
      unit.lub().lub_f_seekable = 0;
      (void)unit.read_bytes(100);
      back = unit.read_bytes(static_cast<i64>(data.size()) - (layout == Layout::stream ? 100 : 0));
    });
    {
      Unf_Unit unit(layout_connection(layout), "", 43);
      unit.redirect(ends[1]);
      unit.lub().lub_f_seekable = 0;
      unit.lub().lub_f_truncate_on_write = 1;
      for (int n = layout == Layout::stream ? 1 : 2; n > 0; --n) EXPECT_EQ(unit.write_bytes(data), 0);
      unit.flush();
    }
    reader.join();
    close(kept);
    EXPECT_TRUE(data.compare(0, back.size(), back) == 0 && back.size() >= data.size() - 100)
        << static_cast<int>(layout);
  }
}

}  // namespace
