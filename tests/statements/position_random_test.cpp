// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random statements on one unit, held against a list of records in memory.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/child.h"
#include "support/open_list.h"
#include "support/soak.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"
#include "unformatted_unit.h"

namespace {

using namespace tamrun_test;

constexpr int kUnit = 40;
constexpr i64 kFixed = 24;

constexpr i64 kNotCounted = -1;
constexpr char kEndMark = '\x82';  // of a length-byte file

struct File_Layout {
  const char* recordtype;
  const char* access;
  i64 overhead;  ///< bytes of the file that each record takes besides its data
  bool buffered;
  i64 blocksize;
  bool formatted = true;
  For_IO_Flags flags = 0;  ///< of each statement

  bool length_bytes() const { return (flags & iof_msf_layout) != 0; }
};

/// What the file is to hold and where the unit stands in it.
struct Model {
  std::vector<std::string> records;
  size_t at = 0;
  bool at_eof = false;
  bool write_open = false;  ///< the last record written is still open
  bool flushed = false;     ///< and FLUSH has put a part of it out
  size_t read_rest = 0;     ///< bytes taken of the record before `at`, which is still open for reading
  bool read_open = false;

  void finish_open() { write_open = read_open = false; }
  i64 bytes(i64 overhead) const {
    i64 sum = 0;
    for (const std::string& r : records) sum += static_cast<i64>(r.size()) + overhead;
    return sum;
  }
};

class Random_Unit {
 public:
  Random_Unit(const File_Layout& layout, unsigned seed) : layout_(layout), random_(seed) { open("REWIND"); }
  ~Random_Unit() { close(); }

  void step() {
    if (model_.write_open && random_() % 4 == 0) return flush();
    switch ("wwwWrrrrRbbbbBei"[random_() % 16]) {
      case 'w':
        return write(false);
      case 'W':
        return write(layout_.formatted);
      case 'r':
        return read(false);
      case 'R':
        return read(layout_.formatted);
      case 'b':
        return backspace();
      case 'B':
        return random_() % 4 == 0 ? rewind() : backspace();
      case 'e':
        return random_() % 8 == 0 ? endfile() : random_() % 2 == 0 ? flush() : ask_end();
      default:
        return random_() % 16 == 0 ? reopen() : inquire();
    }
  }

 private:
  void open(const char* position) {
    KeyList keys;
    keys.file(dir_.file("data")).status("UNKNOWN").text(KEY_POSITION, position);
    keys.text(KEY_RECORDTYPE, layout_.recordtype);
    keys.access(layout_.access).form(layout_.formatted ? "FORMATTED" : "UNFORMATTED");
    keys.number(KEY_BLOCKSIZE, layout_.blocksize);
    keys.text(KEY_BUFFERED, layout_.buffered ? "YES" : "NO");
    if (is_fixed()) keys.number(KEY_RECL_BYTES, kFixed);
    ASSERT_EQ(open_unit(kUnit, keys.end(), kIostat | layout_.flags), 0) << layout_.recordtype;
  }
  void close() {
    EXPECT_EQ(close_unit(kUnit), 0);
    if (!layout_.length_bytes() || testing::Test::HasFailure()) return;
    std::string expected = "K";
    for (const std::string& r : model_.records) expected += encode(Layout::length_bytes, r, 0, 0);
    std::string found = read_file(dir_.file("data"));
    if (found.empty() && model_.records.empty()) return;               // ENDFILE behind REWIND cuts all
    if (found.empty() || found.back() != kEndMark) found += kEndMark;  // ENDFILE cuts it
    EXPECT_EQ(found, expected + kEndMark);
  }
  void reopen() {
    end_written();
    close();
    appended_ = random_() % 2 == 0 && !model_.records.empty();
    // BACKSPACE refuses lines longer than the buffer, which has not grown yet.
    for (const std::string& r : model_.records) appended_ &= r.size() < 500;
    open(appended_ ? "APPEND" : "REWIND");
    model_.at = appended_ ? model_.records.size() : 0;
    model_.at_eof = model_.read_open = false;
  }

  bool is_stream() const { return std::string(layout_.access) == "STREAM"; }
  bool is_fixed() const { return std::string(layout_.recordtype) == "FIXED"; }

  std::string some_text() {
    const unsigned kind = random_() % 32;
    const size_t length = is_fixed() ? random_() % (kFixed + 1) : kind == 0 ? random_() % 3000 : random_() % 40;
    std::string text(length, 'x');
    for (char& byte : text) byte = static_cast<char>('a' + random_() % 26);
    return text;
  }

  int transfer(bool writes, const std::string& format, bool advance, ItemList& items) {
    For_Context ctx{};
    if (!layout_.formatted)
      return first_call(writes ? for_write_seq : for_read_seq, ctx, kUnit, kIostat | layout_.flags, items);
    const For_IO_Flags flags = kIostat | iof_format_text | (advance ? For_IO_Flags{0} : iof_advance_given);
    return first_call(writes ? for_write_seq_fmt : for_read_seq_fmt, ctx, kUnit, flags, items, {},
                      Format_Text(format).argument());
  }

  void write(bool open) {
    if (model_.read_open && open) return;
    // A record of FIXED length may not become longer.
    const bool continues = model_.write_open;
    std::string text = some_text();
    // What has left the buffer makes it no larger, and BACKSPACE refuses lines longer than the buffer.
    model_.flushed &= continues;
    if (model_.flushed) text.resize(std::min<size_t>(text.size(), 20));
    if (continues && is_fixed()) text.resize(std::min(text.size(), kFixed - model_.records.back().size()));
    ItemList items;
    if (open) items.text("NO");
    items.text(text);
    ASSERT_EQ(transfer(true, "(a)", !open, items), 0);
    if (model_.read_open && is_stream()) {  // the position counts, not the record
      model_.records.resize(model_.at);
      model_.records.back().resize(model_.read_rest);
      model_.records.back() += text;
    } else if (continues) {
      model_.records.back() += text;
    } else {
      model_.records.resize(model_.at);
      model_.records.push_back(text);
      ++model_.at;
    }
    model_.finish_open();
    model_.write_open = open;
    model_.at_eof = false;
    if (!open) pad_last();
  }
  void pad_last() {
    if (is_fixed()) model_.records.back().resize(kFixed, layout_.formatted ? ' ' : '\0');
  }
  /// Any statement but WRITE ends the record that ADVANCE='NO' has left open.
  void end_written() {
    if (model_.write_open) pad_last();
    model_.write_open = false;
  }

  void read(bool open) {
    if (model_.write_open && open) return;  // refused
    end_written();
    char text[64];
    std::string format = open ? "(a1)" : "(a64)";
    // Only a formatted record is padded.
    const bool at_end = model_.at == model_.records.size();
    const size_t wanted = open                          ? 1
                          : layout_.formatted || at_end ? 64
                                                        : std::min<size_t>(64, model_.records[model_.at].size());
    ItemList items;
    if (open) items.text("NO");
    items.scalar(ITM_CHARACTER, text, static_cast<i64>(wanted));
    const int result = transfer(false, format, !open, items);
    const bool continues = model_.read_open;
    if (!continues && model_.at == model_.records.size()) {
      ASSERT_EQ(result, FOR_IOS_END);
      model_.at_eof = true;
      return;
    }
    if (!continues) ++model_.at, model_.read_rest = 0;
    const std::string rest = model_.records[model_.at - 1].substr(model_.read_rest);
    model_.at_eof = model_.read_open = false;
    if (open && rest.empty()) {
      ASSERT_EQ(result, FOR_IOS_EOR);
      return;
    }
    ASSERT_EQ(result, 0);
    if (open) {
      ASSERT_EQ(text[0], rest[0]);
      model_.read_open = true;
      ++model_.read_rest;
    } else {
      std::string expected = rest.substr(0, wanted);
      expected.resize(wanted, ' ');
      ASSERT_EQ(std::string(text, wanted), expected);
    }
  }

  template <class Entry>
  int position(Entry entry) {
    end_written();
    model_.read_open = false;
    For_Context ctx{};
    return entry(&ctx, kUnit, kIostat | layout_.flags);
  }
  void backspace() {
    // The first line of a file has no line end in front, and its number is not known.
    if (appended_ && model_.at <= 1) return rewind();
    ASSERT_EQ(position(for_backspace), 0);
    if (!model_.at_eof && model_.at > 0) --model_.at;
    model_.at_eof = false;
  }
  void rewind() {
    ASSERT_EQ(position(for_rewind), 0);
    model_.at = 0;
    model_.at_eof = appended_ = false;
  }
  void endfile() {
    if (is_stream() && model_.read_open) return;  // cuts the record
    // Unformatted FIXED files have no end to mark.
    const bool refused = is_fixed() && !layout_.formatted;
    ASSERT_EQ(position(for_endfile), refused ? int{MSG_ENDFILE_ERROR} : 0);
    if (refused) return;
    model_.records.resize(model_.at);
    model_.at_eof = true;
  }
  /// Records that ADVANCE='NO' has left open go on behind it.
  void flush() {
    if (model_.write_open && model_.records.back().size() > 200) return;
    model_.flushed = model_.write_open;
    For_Context ctx{};
    ASSERT_EQ(for_flush(&ctx, kUnit, kIostat | layout_.flags), 0);
  }
  void ask_end() {
    end_written();
    For_Context ctx{};
    ASSERT_EQ(for_eof(&ctx, kUnit, kIostat), model_.at_eof || model_.at == model_.records.size() ? -1 : 0);
  }

  void inquire() {
    char position[10];
    i64 size = -7;
    i32 opened = -7, nextrec = -7;
    ItemList items;
    items.scalar(ITM_CHARACTER, position, sizeof position).pair(KEY_POSITION, 0);
    items.pointer(ITM_LOGICAL4, &opened).pair(KEY_OPENED, 0);
    items.pointer(ITM_INTEGER4, &nextrec).pair(KEY_NEXTREC, 0);
    const bool with_size = !model_.write_open && layout_.overhead != kNotCounted;
    if (with_size) items.pointer(ITM_INTEGER8, &size).pair(KEY_SIZE, 0);
    items.end();
    For_Context ctx{};
    ASSERT_EQ(for_inquire(&ctx, kUnit, kIostat, items.list(), items.args()), 0);
    const bool open_at_start = model_.write_open && model_.at == 1;
    // A length-byte file has its mark in front of the first record, and BACKSPACE stops behind it.
    if (!layout_.length_bytes() && !appended_) {
      EXPECT_EQ(std::string(position, 10), model_.at == 0 || open_at_start ? "REWIND    " : "UNDEFINED ");
    }
    EXPECT_EQ(opened, -1);
    EXPECT_EQ(nextrec, 0);
    if (with_size) {
      EXPECT_EQ(size, model_.bytes(layout_.overhead));
    }
  }

  Temp_Dir dir_;
  File_Layout layout_;
  std::mt19937 random_;
  Model model_;
  bool appended_ = false;  ///< since OPEN has gone to the end of the file
};

constexpr File_Layout kRandomLayouts[] = {
    {"STREAM_LF", "SEQUENTIAL", 1, false, 512},
    {"STREAM_LF", "SEQUENTIAL", 1, true, 512},
    {"STREAM_LF", "SEQUENTIAL", 1, true, 8192},
    {"STREAM_CR", "SEQUENTIAL", 1, false, 512},
    {"STREAM_CR", "SEQUENTIAL", 1, true, 512},
    {"STREAM_CRLF", "SEQUENTIAL", 2, false, 512},
    {"STREAM_CRLF", "SEQUENTIAL", 2, true, 8192},
    {"FIXED", "SEQUENTIAL", 0, false, 512},
    {"FIXED", "SEQUENTIAL", 0, true, 512},
    {"VARIABLE", "SEQUENTIAL", 8, true, 512},
    {"STREAM_LF", "STREAM", 1, false, 512},
    {"STREAM_LF", "STREAM", 1, true, 512},
    {"VARIABLE", "SEQUENTIAL", 8, false, 512, false},
    {"VARIABLE", "SEQUENTIAL", 8, true, 512, false},
    {"VARIABLE", "SEQUENTIAL", 8, true, 8192, false},
    {"SEGMENTED", "SEQUENTIAL", kNotCounted, false, 512, false},
    {"SEGMENTED", "SEQUENTIAL", kNotCounted, true, 8192, false},
    {"FIXED", "SEQUENTIAL", 0, false, 512, false},
    {"FIXED", "SEQUENTIAL", 0, true, 512, false},
    {"STREAM", "SEQUENTIAL", kNotCounted, false, 512, false, iof_msf_layout},
    {"STREAM", "SEQUENTIAL", kNotCounted, true, 8192, false, iof_msf_layout},
};

TEST(PositionRandom, StatementsAgreeWithAListOfRecords) {
  constexpr int kSteps = 400;
  for (long round = 0; round < soak_cases(2); ++round) {
    for (const File_Layout& layout : kRandomLayouts) {
      SCOPED_TRACE(std::string(layout.recordtype) + ' ' + layout.access + (layout.formatted ? "" : " unformatted") +
                   (layout.buffered ? " buffered" : "") + ' ' + std::to_string(layout.blocksize) + ", seed " +
                   std::to_string(round));
      Random_Unit unit(layout, static_cast<unsigned>(round));
      for (int i = 0; i < kSteps && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        unit.step();
      }
      if (testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
