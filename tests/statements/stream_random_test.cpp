// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random statements on a stream unit, with and without POS=, held against the bytes of the file in memory.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/child.h"
#include "support/open_list.h"
#include "support/soak.h"
#include "support/unit.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr int kUnit = 40;

class Random_Stream {
 public:
  Random_Stream(bool formatted, bool buffered, bool large, unsigned seed) : formatted_(formatted), random_(seed) {
    while (large && file_.size() < 70000) file_ += some_text() + '\n';
    write_file(dir_.file("data"), file_);
    KeyList keys;
    keys.file(dir_.file("data")).status("OLD").access("STREAM").form(formatted ? "FORMATTED" : "UNFORMATTED");
    keys.text(KEY_POSITION, "REWIND").text(KEY_BUFFERED, buffered ? "YES" : "NO");
    EXPECT_EQ(open_unit(kUnit, keys.number(KEY_BLOCKSIZE, large ? 9000 : 512).end()), 0);
  }
  ~Random_Stream() {
    EXPECT_EQ(close_unit(kUnit), 0);
    EXPECT_EQ(read_file(dir_.file("data")), file_);
  }

  void step() {
    const unsigned what = random_() % 16;
    if (what < 5 || what == 13 || what == 15) half_read_ = false;
    if (what < 5) return write();
    if (what < 12) return read(formatted_ && what < 7);
    if (what < 14) return formatted_ && what == 13 ? backspace() : inquire();
    For_Context ctx{};
    const bool ends = what == 15 && known_ && random_() % 8 == 0;
    const auto statement = what == 14 ? for_flush : ends ? for_endfile : for_rewind;
    ASSERT_EQ(statement(&ctx, kUnit, kIostat), 0);
    if (ends) file_.resize(std::min(file_.size(), at_));
    if (what == 15) ended_ = ends;
    if (what == 15 && !ends) at_ = 0, known_ = counted_ = true;
  }

  /// What a REWRITE of one byte gives.
  int rewrite() {
    ItemList items;
    items.text("!").end();
    const For_Fmt_Text format = {3, "(A)"};
    For_Context ctx{};
    return formatted_ ? for_rewrite_fmt(&ctx, kUnit, kIostat | iof_format_text, items.list(), items.args(), &format)
                      : for_rewrite(&ctx, kUnit, kIostat, items.list(), items.args());
  }
  void read_near_the_start() {
    char byte = '?';
    const i64 at = static_cast<i64>(random_() % 4000);
    control_ = {};
    control_.pos(at + 1);
    ItemList items;
    items.scalar(ITM_CHARACTER, &byte, 1).end();
    ASSERT_EQ(start(false, items, "(A1)", kIostat, control_), 0);
    ASSERT_EQ(byte, file_[at] == '\n' && formatted_ ? ' ' : file_[at]);
  }

 private:
  /// POS= of most statements, which are near each other.
  const ControlList& choose_position() {
    control_ = {};
    ended_ = false;
    const size_t before = known_ ? at_ : std::string::npos;
    const unsigned kind = random_() % 8;
    if (known_ && kind < 3) return control_;
    const size_t far = kind < 7 ? file_.size() : file_.size() + 20;
    at_ = kind < 6 ? std::min(at_ + random_() % 300, far) - std::min<size_t>(at_, random_() % 300)
                   : random_() % (far + 1);
    at_ = std::min(at_, far);
    if (at_ != before) counted_ = at_ == 0;
    control_.pos(static_cast<i64>(at_) + 1);
    return control_;
  }
  int transfer(bool writes, bool open, std::string& text, const std::string& format) {
    const ControlList& control = choose_position();
    ItemList items;
    if (open) items.text("NO");
    items.scalar(ITM_CHARACTER, text.data(), static_cast<i64>(text.size())).end();
    return start(writes, items, format, kIostat | (open ? iof_advance_given : For_IO_Flags{0}), control);
  }
  int start(bool writes, ItemList& items, const std::string& format, For_IO_Flags flags, const ControlList& control) {
    For_Context ctx{};
    if (!formatted_) return first_call(writes ? for_write_seq : for_read_seq, ctx, kUnit, kIostat, items, control);
    const For_Fmt_Text given = {static_cast<i64>(format.size()), format.data()};
    return first_call(writes ? for_write_seq_fmt : for_read_seq_fmt, ctx, kUnit, flags | iof_format_text, items,
                      control, &given);
  }
  std::string some_text() {
    std::string text(random_() % 16 == 0 ? random_() % 1500 : 1 + random_() % 40, '?');
    for (char& byte : text) byte = static_cast<char>('a' + random_() % 26);
    return text;
  }

  void write() {
    std::string text = some_text();
    ASSERT_EQ(transfer(true, false, text, "(A)"), 0);
    if (formatted_) text += '\n';
    if (at_ > 0 && at_ <= file_.size() && file_[at_ - 1] != '\n') counted_ = false;  // two records in a line
    if (formatted_ || at_ + text.size() > file_.size()) file_.resize(at_);
    file_.resize(std::max(at_, file_.size()));
    file_.replace(at_, text.size(), text);
    at_ += text.size();
    known_ = true;
  }
  /// `open`: without going on behind the line.
  void read(bool open) {
    std::string text = some_text() + '?';  // what a READ of nothing tells at the end depends on those before it
    const size_t wanted = text.size(), before = at_;
    const bool half_read = half_read_;
    half_read_ = false;
    const int code = transfer(false, open, text, "(A" + std::to_string(wanted) + ")");
    const size_t end = formatted_ ? std::min(file_.find('\n', at_), file_.size()) : file_.size();
    // A last line without an end that was read to its last character goes on, with nothing.
    const bool goes_on = half_read && at_ == before && at_ == file_.size();
    const bool ended = formatted_ ? at_ >= file_.size() && !goes_on : at_ + wanted > file_.size();
    const bool short_line = open && !ended && end - at_ < wanted;
    ASSERT_EQ(code, ended ? int{FOR_IOS_END} : short_line ? int{FOR_IOS_EOR} : 0) << at_;
    known_ = code == 0;
    if (!known_) return;
    std::string expected = file_.substr(at_, std::min(end - at_, wanted));
    expected.resize(wanted, ' ');
    ASSERT_EQ(text, expected) << "at " << at_;
    half_read_ = open;
    at_ = open || !formatted_ ? at_ + wanted : std::min(end + 1, file_.size());
  }
  /// From the start of a line to that of the line before, unless that is too long for the buffer. ENDFILE leaves an end
  /// to go back over first.
  void backspace() {
    if (!known_ || at_ > file_.size() || (at_ > 0 && file_[at_ - 1] != '\n')) return;
    const size_t end = at_ > 1 ? file_.rfind('\n', at_ - 2) : std::string::npos;
    const bool first = end == std::string::npos;
    const size_t start = ended_ ? at_ : first ? 0 : end + 1;
    if (at_ - start > 400) return;
    For_Context ctx{};
    const int code = for_backspace(&ctx, kUnit, kIostat);
    // A unit that has not counted its lines looks for the end of one before the first.
    ASSERT_TRUE(code == 0 || (code == MSG_BACKSPACE_ERROR && first && !counted_)) << code << " at " << at_;
    if (code == 0) at_ = start;
    ended_ = false;
  }
  void inquire() {
    i64 position = -7, size = -7;
    ItemList items;
    items.pointer(ITM_INTEGER8, &position).pair(KEY_POS, 0).pointer(ITM_INTEGER8, &size).pair(KEY_SIZE, 0).end();
    For_Context ctx{};
    ASSERT_EQ(for_inquire(&ctx, kUnit, kIostat, items.list(), items.args()), 0);
    if (known_) {
      EXPECT_EQ(position, static_cast<i64>(at_) + 1);
    }
    EXPECT_EQ(size, static_cast<i64>(file_.size()));
  }

  Temp_Dir dir_;
  bool formatted_;
  std::mt19937 random_;
  std::string file_;
  size_t at_ = 0;
  bool ended_ = false;
  bool half_read_ = false;  ///< the last READ has left its line open
  bool known_ = true;       ///< a statement that fails leaves the position to the next POS=
  bool counted_ = true;     ///< no POS= since the start of the file
  ControlList control_;
};

TEST(StreamRandom, StatementsAgreeWithTheBytesOfTheFile) {
  constexpr int kSteps = 500;
  for (long round = 0; round < soak_cases(4); ++round) {
    for (const int kind : {0, 1, 2, 3, 4, 5, 6, 7}) {
      SCOPED_TRACE("kind " + std::to_string(kind) + ", seed " + std::to_string(round));
      Random_Stream unit((kind & 1) != 0, (kind & 2) != 0, (kind & 4) != 0, static_cast<unsigned>(round));
      for (int i = 0; i < kSteps && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        unit.step();
      }
      if (testing::Test::HasFailure()) return;
    }
  }
}

// Each of these positions that lies in front of all before it may cost one read.
TEST(StreamPositions, WithinTheBufferCostNoRead) {
  if (read_calls() < 0) GTEST_SKIP() << "the system does not count";
  constexpr int kReads = 1000;
  for (const bool formatted : {false, true}) {
    Random_Stream unit(formatted, false, true, 1);
    const i64 before = read_calls();
    for (int i = 0; i < kReads; ++i) unit.read_near_the_start();
    EXPECT_LT(read_calls() - before, 30);
    EXPECT_EQ(unit.rewrite(), MSG_MIXED_ACCESS);  // there is no record to take the place of another
  }
}

}  // namespace
