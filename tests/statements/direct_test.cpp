// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// READ, WRITE and REWRITE of records by their number, against a file that is kept in a string.

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <random>
#include <string>

#include "records/buffer.h"
#include "records/for_put.h"
#include "support/item_list.h"
#include "support/unit.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using Build = std::function<void(ItemList&)>;

enum class Kind : u8 { unformatted, formatted, binary, crlf, relative, relative_text };
constexpr Kind kKinds[] = {Kind::unformatted, Kind::formatted, Kind::binary,
                           Kind::crlf,        Kind::relative,  Kind::relative_text};

bool is_text(Kind kind) { return kind == Kind::formatted || kind == Kind::crlf || kind == Kind::relative_text; }
bool is_relative(Kind kind) { return kind == Kind::relative || kind == Kind::relative_text; }

/// `held`: records that the buffer holds, 1 for a connection that is not buffered.
Connection connection(Kind kind, i64 recl, i64 held) {
  Connection c;
  c.rectype = RECTYPE_FIXED;
  c.cc = CC_NONE;
  c.direct = true;
  c.formatted = is_text(kind);
  c.compat = kind == Kind::crlf;
  c.recl = recl;
  c.buffered = held > 1;
  c.buffer_size = (recl + (c.compat ? 2 : 0) + is_relative(kind)) * held;
  return c;
}

class Direct_Unit {
 public:
  Direct_Unit(Kind kind, i64 recl, i64 held = 1)
      : kind_(kind), recl_(recl), fd_(memory_file()), unit_(51, fd_, connection(kind, recl, held)) {
    For_Lub& lub = unit_.lub();
    lub.lub_f_binary = kind == Kind::binary;
    lub.lub_a_assoc_var = &next;
    lub.lub_assoc_var_type = ITM_INTEGER8;
    if (!is_relative(kind)) return;
    lub.lub_org = ORG_RELATIVE;
    lub.lub_f_legacy_defaults = 1;
    ++lub.lub_rec_bytes;
  }

  int write(i64 record, const Build& build, const std::string& format = "(99A)", ControlList* control = nullptr) {
    return is_text(kind_) ? call(for_write_dir_fmt, build, control, record, text_of(format))
                          : call(for_write_dir, build, control, record);
  }
  int read(i64 record, const Build& build, const std::string& format = "(99A)", ControlList* control = nullptr) {
    return is_text(kind_) ? call(for_read_dir_fmt, build, control, record, text_of(format))
                          : call(for_read_dir, build, control, record);
  }
  int rewrite(const Build& build, const std::string& format = "(99A)", ControlList* control = nullptr) {
    return is_text(kind_) ? call(for_rewrite_fmt, build, control, text_of(format)) : call(for_rewrite, build, control);
  }
  int write_text(i64 record, const std::string& data) {
    return write(record, [&](ItemList& l) { l.text(data); });
  }
  std::string file() {
    EXPECT_GE(for__write_output(&lub(), nullptr, 0), 0);
    return contents(fd_);
  }
  /// The record as it is to stand on file.
  std::string on_file(std::string data) const {
    data.resize(recl_, is_text(kind_) ? ' ' : '\0');
    return (is_relative(kind_) ? " " : "") + data + (kind_ == Kind::crlf ? "\r\n" : "");
  }
  i64 size() const { return static_cast<i64>(on_file("").size()); }
  For_Lub& lub() { return unit_.lub(); }
  For_Context& context() { return ctx_; }

  i64 next = -1;  ///< ASSOCIATEVARIABLE

 private:
  const void* text_of(const std::string& format) {
    format_text_ = format;
    format_ = {static_cast<i64>(format_text_.size()), format_text_.data()};
    return &format_;
  }
  template <class Entry, class... Extra>
  int call(Entry entry, const Build& build, ControlList* control, Extra... extra) {
    ItemList items;
    build(items);
    items.end();
    const For_IO_Flags flags = kIostat | (is_text(kind_) ? For_IO_Flags{iof_format_text} : 0);
    const int result = control == nullptr ? entry(&ctx_, 51, flags, items.list(), items.args(), extra...)
                                          : entry(&ctx_, 51, flags | iof_control_list, items.list(), items.args(),
                                                  extra..., control->list(), control->args());
    EXPECT_EQ(ctx_.ctx_lub, nullptr);
    return result;
  }

  Kind kind_;
  i64 recl_;
  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
  std::string format_text_;
  For_Fmt_Text format_{};
};

/// What the file is to hold.
class Model {
 public:
  explicit Model(i64 size) : size_(size) {}
  void put(i64 record, const std::string& bytes) {
    if (static_cast<i64>(file.size()) < record * size_) file.resize(record * size_, '\0');
    file.replace((record - 1) * size_, size_, bytes);
  }
  bool has(i64 record) const { return static_cast<i64>(file.size()) >= record * size_; }
  std::string get(i64 record) const { return file.substr((record - 1) * size_, size_); }
  std::string file;

 private:
  i64 size_;
};

/// Puts text as one item or three, the middle one an array.
void add_parts(ItemList& l, std::string& data, bool whole) {
  const i64 size = static_cast<i64>(data.size()), a = size / 3, b = size / 2;
  if (whole) {
    l.scalar(ITM_CHARACTER, data.data(), size);
    return;
  }
  l.scalar(ITM_CHARACTER, data.data(), a);
  l.array_elem(ITM_CHARACTER, data.data() + a, b - a, 1);
  l.scalar(ITM_CHARACTER, data.data() + b, size - b);
}

TEST(Direct, RandomStatementsOnEveryKindOfFile) {
  constexpr i64 kRecl = 24, kRecords = 40;
  for (Kind kind : kKinds) {
    for (i64 held : {1, 2, 5, 64}) {
      SCOPED_TRACE("kind " + std::to_string(static_cast<int>(kind)) + " held " + std::to_string(held));
      std::mt19937 random(static_cast<unsigned>(held) * 10 + static_cast<unsigned>(kind));
      Direct_Unit unit(kind, kRecl, held);
      Model model(unit.size());
      i64 record = 1;
      for (int step = 0; step < 1500; ++step) {
        const i64 moves[] = {record + 1, record + 1, record + 1,
                             record - 1, record,     1 + static_cast<i64>(random() % kRecords)};
        const i64 wanted = std::max<i64>(moves[random() % std::size(moves)], 1);
        const bool whole = random() % 2 == 0;
        std::string data(random() % 3 == 0 ? kRecl : random() % (kRecl + 1), '\0');
        for (char& c : data) c = static_cast<char>('a' + random() % 26);
        const unsigned what = random() % 8;
        int code = 0;
        if (what == 0) {  // the record last read or written
          record = std::max<i64>(unit.lub().lub_next_rec - 1, 1);
          code = unit.rewrite([&](ItemList& l) { add_parts(l, data, whole); });
          model.put(record, unit.on_file(data));
          ASSERT_EQ(code, 0);
          ASSERT_EQ(unit.next, record + 1);
        } else if (what <= 4) {
          record = wanted;
          code = unit.write(record, [&](ItemList& l) { add_parts(l, data, whole); });
          model.put(record, unit.on_file(data));
          ASSERT_EQ(code, 0);
          ASSERT_EQ(unit.next, record + 1);
        } else {
          record = wanted;
          std::string back(data.size(), '?');
          code = unit.read(record, [&](ItemList& l) { add_parts(l, back, whole); });
          const std::string expected = model.has(record) ? model.get(record) : "";
          if (expected.empty() || (is_relative(kind) && expected[0] == '\0')) {
            ASSERT_EQ(code, MSG_NO_SUCH_RECORD) << record;
            ASSERT_EQ(unit.lub().lub_next_rec, record);
          } else {
            ASSERT_EQ(code, 0) << record;
            ASSERT_EQ(back, expected.substr(is_relative(kind), data.size())) << "step " << step;
            ASSERT_EQ(unit.next, record + 1);
          }
        }
      }
      EXPECT_TRUE(unit.file() == model.file);
    }
  }
}

TEST(Direct, ConsecutiveRecordsCollectInTheBuffer) {
  for (Kind kind : {Kind::unformatted, Kind::formatted}) {
    Direct_Unit unit(kind, 8, 4);
    Model model(8);
    for (const auto& [record, text] : {std::pair{1, "one"}, {2, "two"}, {2, "again"}, {3, "three"}, {3, "third"}}) {
      ASSERT_EQ(unit.write_text(record, text), 0);
      model.put(record, unit.on_file(text));
      EXPECT_EQ(contents(unit.lub().lub_fd), "");
    }
    ASSERT_EQ(unit.write_text(4, "four"), 0);
    model.put(4, unit.on_file("four"));
    EXPECT_EQ(contents(unit.lub().lub_fd), model.file);
    // A statement that fails leaves those before it in the chain.
    ASSERT_EQ(unit.write_text(5, "five"), 0);
    EXPECT_EQ(unit.write_text(6, "much too long"), MSG_RECORD_OVERFLOW);
    EXPECT_EQ(unit.write_text(6, "six"), 0);
    model.put(5, unit.on_file("five"));
    model.put(6, unit.on_file("six"));
    EXPECT_EQ(unit.file(), model.file);
  }
}

TEST(Direct, ListsThatAreNotOneRecord) {
  const int empty = 0;
  const Build nothing = [](ItemList&) {};
  const Build empty_array = [&](ItemList& l) { l.array(ITM_INTEGER4, &empty, 0); };
  for (i64 held : {1, 4}) {
    for (Kind kind : {Kind::unformatted, Kind::formatted, Kind::relative}) {
      Direct_Unit unit(kind, 4, held);
      EXPECT_EQ(unit.write(3, empty_array, "(I4)"), 0);
      EXPECT_EQ(unit.lub().lub_next_rec, 3);
      EXPECT_EQ(unit.file(), "");
      EXPECT_EQ(unit.write(1, nothing, "(I4)"), 0);
      EXPECT_EQ(unit.file(), unit.on_file(""));
      EXPECT_EQ(unit.read(1, nothing, "(I4)"), 0);
      EXPECT_EQ(unit.next, 2);
      EXPECT_EQ(unit.read(5, nothing, "(I4)"), MSG_NO_SUCH_RECORD);
    }
    {
      Direct_Unit text(Kind::formatted, 4, held);
      EXPECT_EQ(text.write(
                    2, [](ItemList& l) { l.int4(12).int4(345); }, "(I3/I3)"),
                0);
      EXPECT_EQ(text.next, 4);
      EXPECT_EQ(text.file(), std::string(4, '\0') + " 12 345 ");
      i32 back[2] = {};
      const Build both = [&](ItemList& l) { l.array(ITM_INTEGER4, back, sizeof back); };
      EXPECT_EQ(text.read(2, both, "(I3)"), 0);
      EXPECT_EQ(back[0] * 1000 + back[1], 12345);
      EXPECT_EQ(text.next, 4);
      EXPECT_EQ(text.read(3, both, "(I3)"), MSG_NO_SUCH_RECORD);
    }

    // A value of a binary connection runs on into the next record.
    Direct_Unit binary(Kind::binary, 4, held);
    const std::string value = "abcdefghij";
    EXPECT_EQ(binary.write(2, [&](ItemList& l) { l.array(ITM_INTEGER2, value.data(), 10); }), 0);
    EXPECT_EQ(binary.next, 5);
    EXPECT_EQ(binary.file(), std::string(4, '\0') + value + std::string(2, '\0'));
    std::string run(10, '?');
    EXPECT_EQ(binary.read(2, [&](ItemList& l) { l.scalar(ITM_CHARACTER, run.data(), 10); }), 0);
    EXPECT_EQ(run, value);
    EXPECT_EQ(binary.next, 5);
  }
  Direct_Unit prompt(Kind::formatted, 6);
  prompt.lub().lub_cc = CC_FORTRAN;
  EXPECT_EQ(prompt.write(
                1, [](ItemList& l) { l.text(" ask"); }, "(A,$)"),
            0);
  EXPECT_EQ(prompt.write(
                2, [](ItemList& l) { l.text(" say"); }, "(A)"),
            0);
  EXPECT_EQ(prompt.file(), "$ask   say  ");
}

TEST(Direct, RecordsThatSeveralCallsTransfer) {
  for (i64 held : {1, 3}) {
    Direct_Unit unit(Kind::unformatted, 12, held);
    i32 values[] = {1, 2, 3}, back[3] = {};
    for (bool writes : {true, false}) {
      ItemList first, second, last;
      first.pointer(ITM_INTEGER4, writes ? &values[0] : &back[0]).more();
      second.pointer(ITM_INTEGER4, writes ? &values[1] : &back[1])
          .pointer(ITM_INTEGER4, writes ? &values[2] : &back[2]);
      second.more();
      last.end();
      For_Context& ctx = unit.context();
      const auto begin = writes ? for_write_dir : for_read_dir;
      const auto go_on = writes ? for_write_dir_xmit : for_read_dir_xmit;
      ASSERT_EQ(begin(&ctx, 51, kIostat, first.list(), first.args(), 2), 0);
      ASSERT_EQ(go_on(&ctx, second.list(), second.args()), 0);
      ASSERT_EQ(go_on(&ctx, last.list(), last.args()), 0);
      EXPECT_EQ(unit.next, 3);
    }
    EXPECT_EQ(memcmp(values, back, sizeof back), 0);
  }
}

TEST(Direct, RefusedStatements) {
  struct Case {
    const char* what;
    Kind kind;
    std::function<void(For_Lub&)> change;
    i64 record;
    int write, read, rewrite;
  };
  const Case cases[] = {
      {"none", Kind::unformatted, [](For_Lub&) {}, 2, 0, 0, 0},
      {"read-only", Kind::unformatted, [](For_Lub& l) { l.lub_f_readonly = 1; }, 2, 47, 0, 47},
      {"formatted", Kind::unformatted, [](For_Lub& l) { l.lub_f_formatted = 1; }, 2, 31, 31, 31},
      {"unformatted", Kind::formatted, [](For_Lub& l) { l.lub_f_formatted = 0; }, 2, 31, 31, 31},
      {"keyed", Kind::unformatted, [](For_Lub& l) { l.lub_f_keyed = 1; }, 2, 31, 31, 0},
      {"not direct", Kind::formatted, [](For_Lub& l) { l.lub_f_direct = 0; }, 2, 554, 554, 0},
      {"sequential", Kind::formatted, [](For_Lub& l) { l.lub_f_sequential = 1; }, 2, 0, 0, 31},
      {"zero", Kind::unformatted, [](For_Lub& l) { l.lub_next_rec = 0; }, 0, 25, 25, 25},
      {"negative", Kind::formatted, [](For_Lub& l) { l.lub_next_rec = -3; }, -3, 25, 25, 25},
      {"beyond MAXREC", Kind::unformatted, [](For_Lub& l) { l.lub_maxrec = 2; }, 3, 25, 25, 0},
      {"last of MAXREC", Kind::unformatted, [](For_Lub& l) { l.lub_maxrec = 2; }, 2, 0, 0, 0},
      {"no variable", Kind::unformatted, [](For_Lub& l) { l.lub_assoc_var_type = ITM_REAL4; }, 2, 48, 48, 48},
      {"order of checks", Kind::unformatted,
       [](For_Lub& l) {
         l.lub_f_direct = 0;
         l.lub_f_keyed = 1;
       },
       0, 31, 31, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    for (int statement = 0; statement < 3; ++statement) {
      Direct_Unit unit(c.kind, 4);
      for (int record : {1, 2, 3}) ASSERT_EQ(unit.write_text(record, "abcd"), 0);
      c.change(unit.lub());
      std::string data = "wxyz";
      const Build build = [&](ItemList& l) { l.scalar(ITM_CHARACTER, data.data(), 4); };
      const int expected = statement == 0 ? c.write : statement == 1 ? c.read : c.rewrite;
      const i64 before = unit.lub().lub_next_rec;
      EXPECT_EQ(statement == 0   ? unit.write(c.record, build)
                : statement == 1 ? unit.read(c.record, build)
                                 : unit.rewrite(build),
                expected)
          << statement;
      if (expected != 0 && expected != MSG_INVALID_ARGUMENT) EXPECT_EQ(unit.lub().lub_next_rec, before);
    }
  }
  For_Context ctx{};
  ItemList none;
  none.end();
  EXPECT_EQ(for_rewrite(&ctx, 52, kIostat, none.list(), none.args()), MSG_NO_CURRENT_RECORD);
}

TEST(Direct, KeywordsOfUnformattedStatements) {
  struct Case {
    u8 key;
    const char* value;
    bool write, read;  ///< refused
  };
  for (const Case& c : {Case{KEY_BLANK, "NULL", false, true},
                        {KEY_DECIMAL, "COMMA", true, true},
                        {KEY_DELIM, "QUOTE", true, false},
                        {KEY_PAD, "NO", false, true},
                        {KEY_ROUND, "UP", true, true},
                        {KEY_SIGN, "PLUS", true, false}}) {
    for (Kind kind : {Kind::unformatted, Kind::formatted}) {
      Direct_Unit unit(kind, 4);
      const bool unformatted = kind == Kind::unformatted;
      const Build nothing = [](ItemList&) {};
      const auto code = [&](bool refused) { return unformatted && refused ? int{MSG_KEYWORD_UNFORMATTED} : 0; };
      const auto control = [&](int statement) {
        ControlList list;
        list.keyword(c.key, c.value).end();
        return statement == 0   ? unit.write(1, nothing, "(A)", &list)
               : statement == 1 ? unit.read(1, nothing, "(A)", &list)
                                : unit.rewrite(nothing, "(A)", &list);
      };
      ASSERT_EQ(unit.write(1, nothing), 0);
      EXPECT_EQ(control(0), code(c.write)) << int{c.key};
      EXPECT_EQ(control(1), code(c.read)) << int{c.key};
      EXPECT_EQ(control(2), code(c.write)) << int{c.key};
    }
  }
}

TEST(Direct, ListsLongerThanTheRecordAndFailedCalls) {
  for (Kind kind : {Kind::unformatted, Kind::formatted}) {
    for (i64 held : {1, 4}) {
      Direct_Unit unit(kind, 4, held);
      unit.lub().lub_f_pad = 0;
      ASSERT_EQ(unit.write_text(1, "abcd"), 0);
      std::string data = "123456789";
      const Build build = [&](ItemList& l) { l.scalar(ITM_CHARACTER, data.data(), 9); };
      EXPECT_EQ(unit.write(2, build), MSG_RECORD_OVERFLOW);
      EXPECT_EQ(unit.lub().lub_next_rec, 2);
      EXPECT_EQ(unit.read(1, build), MSG_INPUT_TOO_MUCH_DATA);
      if (kind == Kind::unformatted) EXPECT_EQ(data, "abcd56789");
      EXPECT_EQ(unit.file().substr(0, 4), "abcd");

      const int saved = dup(unit.lub().lub_fd);
      close(unit.lub().lub_fd);
      EXPECT_EQ(unit.read(1, [](ItemList&) {}), held == 1 ? int{MSG_READ_ERROR} : 0);  // from the buffer
      EXPECT_EQ(unit.read(9, [](ItemList&) {}), MSG_READ_ERROR);
      EXPECT_EQ(unit.write_text(3, "abcd"), MSG_WRITE_ERROR);
      EXPECT_EQ(unit.write(i64{1} << 62, [](ItemList&) {}), MSG_WRITE_ERROR);
      EXPECT_EQ(dup2(saved, unit.lub().lub_fd), unit.lub().lub_fd);
      close(saved);
      EXPECT_EQ(unit.write_text(2, "efgh"), 0);
      EXPECT_EQ(unit.file().substr(0, 8), "abcdefgh");
    }
  }
}

}  // namespace
