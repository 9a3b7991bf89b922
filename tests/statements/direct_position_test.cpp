// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random statements of all kinds on one direct access unit, held against a list of records in memory. Compatible
// programs may read and write it in sequence too; others may have records collect in the buffer.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "memory_unit.h"
#include "support/child.h"
#include "support/open_list.h"
#include "support/soak.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr int kUnit = 40;
constexpr i64 kRecl = 12, kRecords = 30;

struct Kind {
  bool formatted, compat, buffered;
};

class Random_Direct_Unit {
 public:
  Random_Direct_Unit(const Kind& kind, unsigned seed)
      : formatted_(kind.formatted),
        compat_(kind.compat),
        buffered_(kind.buffered),
        flags_(kind.compat ? kIostat | iof_compat_io : kIostat),
        random_(seed) {
    open("NEW");
  }
  ~Random_Direct_Unit() { close(); }

  void step() {
    const i64 anywhere = 1 + static_cast<i64>(random_() % kRecords);
    const i64 near = random_() % 4 != 0 ? next_ : random_() % 2 == 0 ? std::max<i64>(next_ - 1, 1) : anywhere;
    switch ("wwwwrrrsssqqbbBfdReE"[random_() % 20]) {
      case 'w':
        return write(near);
      case 'r':
        return read(near);
      case 's':
        return read(0);
      case 'q':
        return write(0);
      case 'B':
        return random_() % 4 == 0 ? rewind() : backspace();
      case 'b':
        return backspace();
      case 'f':
        return flush_or_ask();
      case 'd':
        return find(near);
      case 'R':
        return rewrite();
      case 'E':
        return random_() % 4 == 0 ? end_or_reopen() : inquire();
      default:
        return inquire();
    }
  }

 private:
  void open(const char* status) {
    KeyList keys;
    keys.file(dir_.file("data")).status(status).access("DIRECT").form(formatted_ ? "FORMATTED" : "UNFORMATTED");
    keys.number(KEY_RECL_BYTES, kRecl).text(KEY_BUFFERED, buffered_ ? "YES" : "NO").number(KEY_BLOCKSIZE, 100);
    ASSERT_EQ(open_unit(kUnit, keys.end(), flags_), 0);
    next_ = 1;
  }
  void close() {
    EXPECT_EQ(close_unit(kUnit), 0);
    std::string expected;
    for (const std::string& r : records_) expected += r;
    EXPECT_EQ(read_file(dir_.file("data")), expected);
  }
  i64 size() const { return kRecl + (formatted_ && compat_ ? 2 : 0); }
  i64 count() const { return static_cast<i64>(records_.size()); }

  template <class Direct, class Direct_Fmt, class Seq, class Seq_Fmt>
  int transfer(i64 record, Direct direct, Direct_Fmt direct_fmt, Seq seq, Seq_Fmt seq_fmt, std::string& data) {
    ItemList items;
    const i64 part = random_() % 2 == 0 ? kRecl : 5;
    items.scalar(ITM_CHARACTER, data.data(), part);
    if (part < kRecl) items.scalar(ITM_CHARACTER, data.data() + part, kRecl - part);
    const Format_Text format("(2A)");
    For_Context ctx{};
    if (record == 0) {
      return formatted_ ? first_call(seq_fmt, ctx, kUnit, format_flags(), items, {}, format.argument())
                        : first_call(seq, ctx, kUnit, flags_, items);
    }
    return formatted_ ? first_call(direct_fmt, ctx, kUnit, format_flags(), items, {}, record, format.argument())
                      : first_call(direct, ctx, kUnit, flags_, items, {}, record);
  }
  For_IO_Flags format_flags() const { return flags_ | iof_format_text; }
  void refused(int code, int expected) { ASSERT_EQ(code, expected); }
  std::string some_data() {
    std::string data(kRecl, 'x');
    for (char& byte : data) byte = static_cast<char>('a' + random_() % 26);
    return data;
  }
  void put(const std::string& data) {
    if (count() < next_) records_.resize(next_, std::string(size(), '\0'));
    records_[next_ - 1] = data + (formatted_ && compat_ ? "\r\n" : "");
    ++next_;
    at_eof_ = false;
  }

  /// Record 0: in sequence.
  void write(i64 record) {
    std::string data = some_data();
    const int code = transfer(record, for_write_dir, for_write_dir_fmt, for_write_seq, for_write_seq_fmt, data);
    if (record == 0 && !compat_) return refused(code, MSG_MIXED_ACCESS);
    ASSERT_EQ(code, 0);
    if (record != 0) next_ = record;
    put(data);
  }
  void read(i64 record) {
    std::string data(kRecl, '?');
    const int code = transfer(record, for_read_dir, for_read_dir_fmt, for_read_seq, for_read_seq_fmt, data);
    if (record == 0 && !compat_) return refused(code, MSG_MIXED_ACCESS);
    if (record != 0) next_ = record;
    if (next_ > count()) {
      at_eof_ |= record == 0;
      ASSERT_EQ(code, record == 0 ? int{FOR_IOS_END} : int{MSG_NO_SUCH_RECORD}) << record;
      return;
    }
    ASSERT_EQ(code, 0) << record;
    ASSERT_EQ(data, records_[next_ - 1].substr(0, kRecl)) << record << " next " << next_;
    ++next_;
    at_eof_ = false;
  }
  void rewrite() {
    const std::string data = some_data();
    const ItemList items = ItemList().text(data);
    For_Context ctx{};
    ASSERT_EQ(formatted_
                  ? first_call(for_rewrite_fmt, ctx, kUnit, format_flags(), items, {}, Format_Text("(A)").argument())
                  : first_call(for_rewrite, ctx, kUnit, flags_, items),
              0);
    next_ = std::max<i64>(next_ - 1, 1);
    put(data);
  }

  void backspace() {
    For_Context ctx{};
    const int code = for_backspace(&ctx, kUnit, flags_);
    if (!compat_ && !at_eof_) return refused(code, MSG_BACKSPACE_ERROR);
    ASSERT_EQ(code, 0);
    if (compat_) next_ = std::max<i64>(next_ - 1, 1);
    at_eof_ = false;
  }
  void rewind() {
    For_Context ctx{};
    ASSERT_EQ(for_rewind(&ctx, kUnit, flags_), 0);
    next_ = 1;
    at_eof_ = false;
  }
  void find(i64 record) {
    For_Context ctx{};
    ASSERT_EQ(for_find(&ctx, kUnit, flags_, static_cast<u64>(record)), 0);
    next_ = record;
    at_eof_ = false;
  }
  void flush_or_ask() {
    For_Context ctx{};
    if (random_() % 2 == 0) {
      ASSERT_EQ(for_flush(&ctx, kUnit, flags_), 0);
    } else {
      ASSERT_EQ(for_eof(&ctx, kUnit, flags_), at_eof_ || next_ > count() ? -1 : 0);
    }
  }
  void end_or_reopen() {
    if (random_() % 2 == 0) {
      close();
      open("OLD");
      at_eof_ = false;
      return;
    }
    For_Context ctx{};
    const int code = for_endfile(&ctx, kUnit, flags_);
    if (!formatted_ && !compat_) return refused(code, MSG_ENDFILE_ERROR);
    ASSERT_EQ(code, 0);
    if (next_ <= count()) records_.resize(next_ - 1);
    at_eof_ = true;
  }
  void inquire() {
    i64 bytes = -7, next = -7;
    ItemList items = ItemList().pointer(ITM_INTEGER8, &next).pair(KEY_NEXTREC, 0);
    items.pointer(ITM_INTEGER8, &bytes).pair(KEY_SIZE, 0).end();
    For_Context ctx{};
    ASSERT_EQ(for_inquire(&ctx, kUnit, flags_, items.list(), items.args()), 0);
    EXPECT_EQ(next, next_);
    EXPECT_EQ(bytes, count() * size());
  }

  Temp_Dir dir_;
  bool formatted_, compat_, buffered_;
  For_IO_Flags flags_;
  std::mt19937 random_;
  std::vector<std::string> records_;
  i64 next_ = 1;
  bool at_eof_ = false;
};

TEST(DirectPosition, StatementsAgreeWithAListOfRecords) {
  constexpr int kSteps = 300;
  constexpr Kind kKinds[] = {{false, true, false}, {true, true, false},  {false, false, false},
                             {true, false, false}, {false, false, true}, {true, false, true}};
  for (long round = 0; round < soak_cases(5); ++round) {
    for (const Kind& kind : kKinds) {
      SCOPED_TRACE("kind " + std::to_string(&kind - kKinds) + ", seed " + std::to_string(round));
      Random_Direct_Unit unit(kind, static_cast<unsigned>(round));
      for (int i = 0; i < kSteps && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        unit.step();
      }
      if (testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
