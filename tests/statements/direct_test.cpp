// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// READ, WRITE and REWRITE of records by their number, against a file that is kept in a string.

#include <random>

#include "memory_unit.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

enum class Kind : u8 { unformatted, formatted, binary, crlf, relative, relative_text };
constexpr Kind kKinds[] = {Kind::unformatted, Kind::formatted, Kind::binary,
                           Kind::crlf,        Kind::relative,  Kind::relative_text};

bool is_text(Kind kind) { return kind == Kind::formatted || kind == Kind::crlf || kind == Kind::relative_text; }
bool is_relative(Kind kind) { return kind == Kind::relative || kind == Kind::relative_text; }

/// `held`: records that the buffer holds, 1 for a connection that is not buffered.
Connection connection(Kind kind, i64 recl, i64 held) {
  Connection c = {.rectype = RECTYPE_FIXED, .cc = CC_NONE, .recl = recl};
  c.direct = true;
  c.formatted = is_text(kind);
  c.compat = kind == Kind::crlf;
  c.buffered = held > 1;
  c.buffer_size = (recl + (c.compat ? 2 : 0) + is_relative(kind)) * held;
  return c;
}

class Direct_Unit : public Memory_Unit {
 public:
  Direct_Unit(Kind kind, i64 recl, i64 held = 1) : Memory_Unit(connection(kind, recl, held)), kind_(kind), recl_(recl) {
    lub().lub_f_binary = kind == Kind::binary;
    lub().lub_a_assoc_var = &next;
    lub().lub_assoc_var_type = ITM_INTEGER8;
    if (!is_relative(kind)) return;
    lub().lub_org = ORG_RELATIVE;
    lub().lub_f_legacy_defaults = 1;
    ++lub().lub_rec_bytes;
  }

  int write(i64 record, const ItemList& items, const char* format = "(99A)", const ControlList& control = {}) {
    return is_text(kind_) ? call(for_write_dir_fmt, items, control, record, Format_Text(format).argument())
                          : call(for_write_dir, items, control, record);
  }
  int read(i64 record, const ItemList& items, const char* format = "(99A)", const ControlList& control = {}) {
    return is_text(kind_) ? call(for_read_dir_fmt, items, control, record, Format_Text(format).argument())
                          : call(for_read_dir, items, control, record);
  }
  int rewrite(const ItemList& items, const char* format = "(99A)", const ControlList& control = {}) {
    return is_text(kind_) ? call(for_rewrite_fmt, items, control, Format_Text(format).argument())
                          : call(for_rewrite, items, control);
  }
  /// WRITE, READ or REWRITE.
  int run(int statement, i64 record, const ItemList& items, const char* format = "(99A)",
          const ControlList& control = {}) {
    return statement == 0   ? write(record, items, format, control)
           : statement == 1 ? read(record, items, format, control)
                            : rewrite(items, format, control);
  }
  int write_text(i64 record, const std::string& data) { return write(record, ItemList().text(data)); }
  std::string file() {
    EXPECT_GE(for__write_output(&lub(), nullptr, 0), 0);
    return contents(fd());
  }
  /// The record as it is to stand on file.
  std::string on_file(std::string data) const {
    data.resize(recl_, is_text(kind_) ? ' ' : '\0');
    return (is_relative(kind_) ? " " : "") + data + (kind_ == Kind::crlf ? "\r\n" : "");
  }

  i64 next = -1;  ///< ASSOCIATEVARIABLE

 private:
  template <class Entry, class... Extra>
  int call(Entry entry, const ItemList& items, const ControlList& control, Extra... extra) {
    const For_IO_Flags flags = kIostat | (is_text(kind_) ? For_IO_Flags{iof_format_text} : 0);
    const int result = first_call(entry, context(), number(), flags, items, control, extra...);
    EXPECT_EQ(context().ctx_lub, nullptr);
    return result;
  }

  Kind kind_;
  i64 recl_;
};

/// What the file is to hold.
class Model {
 public:
  explicit Model(const Direct_Unit& unit) : unit_(unit), size_(static_cast<i64>(unit.on_file("").size())) {}
  void put(i64 record, const std::string& data) {
    if (!has(record)) file.resize(record * size_, '\0');
    file.replace((record - 1) * size_, size_, unit_.on_file(data));
  }
  bool has(i64 record) const { return static_cast<i64>(file.size()) >= record * size_; }
  std::string get(i64 record) const { return file.substr((record - 1) * size_, size_); }
  std::string file;

 private:
  const Direct_Unit& unit_;
  i64 size_;
};

/// Text as one item or three, the middle one an array.
ItemList parts(std::string& data, bool whole) {
  const i64 size = static_cast<i64>(data.size()), a = size / 3, b = size / 2;
  ItemList items;
  if (whole) return items.scalar(ITM_CHARACTER, data.data(), size);
  items.scalar(ITM_CHARACTER, data.data(), a).array_elem(ITM_CHARACTER, data.data() + a, b - a, 1);
  return items.scalar(ITM_CHARACTER, data.data() + b, size - b);
}

TEST(Direct, RandomStatementsOnEveryKindOfFile) {
  constexpr i64 kRecl = 24, kRecords = 40;
  for (Kind kind : kKinds) {
    for (i64 held : {1, 2, 5, 64}) {
      SCOPED_TRACE("kind " + std::to_string(static_cast<int>(kind)) + " held " + std::to_string(held));
      std::mt19937 random(static_cast<unsigned>(held) * 10 + static_cast<unsigned>(kind));
      Direct_Unit unit(kind, kRecl, held);
      Model model(unit);
      i64 record = 1;
      for (int step = 0; step < 1500; ++step) {
        const i64 moves[] = {record + 1, record + 1, record + 1,
                             record - 1, record,     1 + static_cast<i64>(random() % kRecords)};
        const i64 wanted = std::max<i64>(moves[random() % std::size(moves)], 1);
        const bool whole = random() % 2 == 0;
        std::string data(random() % 3 == 0 ? kRecl : random() % (kRecl + 1), '\0');
        for (char& c : data) c = static_cast<char>('a' + random() % 26);
        const unsigned what = random() % 8;
        if (what <= 4) {  // REWRITE takes the record last read or written
          record = what == 0 ? std::max<i64>(unit.lub().lub_next_rec - 1, 1) : wanted;
          ASSERT_EQ(what == 0 ? unit.rewrite(parts(data, whole)) : unit.write(record, parts(data, whole)), 0);
          model.put(record, data);
          ASSERT_EQ(unit.next, record + 1);
          continue;
        }
        record = wanted;
        std::string back(data.size(), '?');
        const int code = unit.read(record, parts(back, whole));
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
      EXPECT_TRUE(unit.file() == model.file);
    }
  }
}

TEST(Direct, ConsecutiveRecordsCollectInTheBuffer) {
  for (Kind kind : {Kind::unformatted, Kind::formatted}) {
    Direct_Unit unit(kind, 8, 4);
    Model model(unit);
    const auto put = [&](i64 record, const char* text) {
      ASSERT_EQ(unit.write_text(record, text), 0);
      model.put(record, text);
    };
    for (const auto& [record, text] : {std::pair{1, "one"}, {2, "two"}, {2, "again"}, {3, "three"}, {3, "third"}}) {
      put(record, text);
      EXPECT_EQ(contents(unit.fd()), "");
    }
    put(4, "four");
    EXPECT_EQ(contents(unit.fd()), model.file);
    // A statement that fails leaves those before it in the chain.
    put(5, "five");
    EXPECT_EQ(unit.write_text(6, "much too long"), MSG_RECORD_OVERFLOW);
    put(6, "six");
    EXPECT_EQ(unit.file(), model.file);
  }
}

TEST(Direct, ListsThatAreNotOneRecord) {
  const int empty = 0;
  for (i64 held : {1, 4}) {
    for (Kind kind : {Kind::unformatted, Kind::formatted, Kind::relative}) {
      Direct_Unit unit(kind, 4, held);
      EXPECT_EQ(unit.write(3, ItemList().array(ITM_INTEGER4, &empty, 0), "(I4)"), 0);
      EXPECT_EQ(unit.lub().lub_next_rec, 3);
      EXPECT_EQ(unit.file(), "");
      EXPECT_EQ(unit.write(1, {}, "(I4)"), 0);
      EXPECT_EQ(unit.file(), unit.on_file(""));
      EXPECT_EQ(unit.read(1, {}, "(I4)"), 0);
      EXPECT_EQ(unit.next, 2);
      EXPECT_EQ(unit.read(5, {}, "(I4)"), MSG_NO_SUCH_RECORD);
    }
    Direct_Unit text(Kind::formatted, 4, held);
    EXPECT_EQ(text.write(2, ItemList().int4(12).int4(345), "(I3/I3)"), 0);
    EXPECT_EQ(text.next, 4);
    EXPECT_EQ(text.file(), std::string(4, '\0') + " 12 345 ");
    Variables both("ii");
    EXPECT_EQ(text.read(2, both.items(), "(I3)"), 0);
    EXPECT_EQ(both.text(), "12 345");
    EXPECT_EQ(text.next, 4);
    EXPECT_EQ(text.read(3, both.items(), "(I3)"), MSG_NO_SUCH_RECORD);
  }
  for (i64 held : {1, 4}) {  // a value of a binary connection runs on into the next record
    Direct_Unit binary(Kind::binary, 4, held);
    const std::string value = "abcdefghij";
    EXPECT_EQ(binary.write(2, ItemList().array(ITM_INTEGER2, value.data(), 10)), 0);
    EXPECT_EQ(binary.next, 5);
    EXPECT_EQ(binary.file(), std::string(4, '\0') + value + std::string(2, '\0'));
    std::string run(10, '?');
    EXPECT_EQ(binary.read(2, ItemList().scalar(ITM_CHARACTER, run.data(), 10)), 0);
    EXPECT_EQ(run, value);
    EXPECT_EQ(binary.next, 5);
  }
  Direct_Unit prompt(Kind::formatted, 6);
  prompt.lub().lub_cc = CC_FORTRAN;
  EXPECT_EQ(prompt.write(1, ItemList().text(" ask"), "(A,$)"), 0);
  EXPECT_EQ(prompt.write(2, ItemList().text(" say"), "(A)"), 0);
  EXPECT_EQ(prompt.file(), "$ask   say  ");
}

TEST(Direct, RecordsThatSeveralCallsTransfer) {
  for (i64 held : {1, 3}) {
    Direct_Unit unit(Kind::unformatted, 12, held);
    i32 values[] = {1, 2, 3}, back[3] = {};
    for (bool writes : {true, false}) {
      i32* const v = writes ? values : back;
      ItemList second = ItemList().pointer(ITM_INTEGER4, v + 1).pointer(ITM_INTEGER4, v + 2).more();
      ItemList last = ItemList().end();
      For_Context& ctx = unit.context();
      const auto go_on = writes ? for_write_dir_xmit : for_read_dir_xmit;
      ASSERT_EQ(first_call(writes ? for_write_dir : for_read_dir, ctx, unit.number(), kIostat,
                           ItemList().pointer(ITM_INTEGER4, v).more(), {}, 2),
                0);
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
    void (*change)(For_Lub&);
    i64 record;
    int codes[3];  ///< of WRITE, READ and REWRITE
  };
  const Case cases[] = {
      {"none", Kind::unformatted, [](For_Lub&) {}, 2, {0, 0, 0}},
      {"read-only", Kind::unformatted, [](For_Lub& l) { l.lub_f_readonly = 1; }, 2, {47, 0, 47}},
      {"formatted", Kind::unformatted, [](For_Lub& l) { l.lub_f_formatted = 1; }, 2, {31, 31, 31}},
      {"unformatted", Kind::formatted, [](For_Lub& l) { l.lub_f_formatted = 0; }, 2, {31, 31, 31}},
      {"keyed", Kind::unformatted, [](For_Lub& l) { l.lub_f_keyed = 1; }, 2, {31, 31, 0}},
      {"not direct", Kind::formatted, [](For_Lub& l) { l.lub_f_direct = 0; }, 2, {554, 554, 0}},
      {"sequential", Kind::formatted, [](For_Lub& l) { l.lub_f_sequential = 1; }, 2, {0, 0, 31}},
      {"zero", Kind::unformatted, [](For_Lub& l) { l.lub_next_rec = 0; }, 0, {25, 25, 25}},
      {"negative", Kind::formatted, [](For_Lub& l) { l.lub_next_rec = -3; }, -3, {25, 25, 25}},
      {"beyond MAXREC", Kind::unformatted, [](For_Lub& l) { l.lub_maxrec = 2; }, 3, {25, 25, 0}},
      {"last of MAXREC", Kind::unformatted, [](For_Lub& l) { l.lub_maxrec = 2; }, 2, {0, 0, 0}},
      {"no variable", Kind::unformatted, [](For_Lub& l) { l.lub_assoc_var_type = ITM_REAL4; }, 2, {48, 48, 48}},
      {"order of checks", Kind::unformatted, [](For_Lub& l) { l.lub_f_direct = 0, l.lub_f_keyed = 1; }, 0, {31, 31, 0}},
  };
  for (const Case& c : cases) {
    for (int statement = 0; statement < 3; ++statement) {
      SCOPED_TRACE(std::string(c.what) + ' ' + std::to_string(statement));
      Direct_Unit unit(c.kind, 4);
      for (int record : {1, 2, 3}) ASSERT_EQ(unit.write_text(record, "abcd"), 0);
      c.change(unit.lub());
      std::string data = "wxyz";
      const int expected = c.codes[statement];
      const i64 before = unit.lub().lub_next_rec;
      EXPECT_EQ(unit.run(statement, c.record, ItemList().scalar(ITM_CHARACTER, data.data(), 4)), expected);
      if (expected == 0 || expected == MSG_INVALID_ARGUMENT) continue;
      EXPECT_EQ(unit.lub().lub_next_rec, before);
    }
  }
  For_Context ctx{};
  EXPECT_EQ(first_call(for_rewrite, ctx, 52, kIostat, {}), MSG_NO_CURRENT_RECORD);
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
      ASSERT_EQ(unit.write(1, {}), 0);
      for (int statement = 0; statement < 3; ++statement) {
        const bool refused = kind == Kind::unformatted && (statement == 1 ? c.read : c.write);
        EXPECT_EQ(unit.run(statement, 1, {}, "(A)", ControlList().keyword(c.key, c.value)),
                  refused ? int{MSG_KEYWORD_UNFORMATTED} : 0)
            << int{c.key} << ' ' << statement;
      }
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
      const ItemList nine = ItemList().scalar(ITM_CHARACTER, data.data(), 9);
      EXPECT_EQ(unit.write(2, nine), MSG_RECORD_OVERFLOW);
      EXPECT_EQ(unit.lub().lub_next_rec, 2);
      EXPECT_EQ(unit.read(1, nine), MSG_INPUT_TOO_MUCH_DATA);
      EXPECT_EQ(data, kind == Kind::unformatted ? "abcd56789" : "123456789");
      EXPECT_EQ(unit.file().substr(0, 4), "abcd");

      const int saved = dup(unit.fd());
      close(unit.fd());
      EXPECT_EQ(unit.read(1, {}), held == 1 ? int{MSG_READ_ERROR} : 0);  // from the buffer
      EXPECT_EQ(unit.read(9, {}), MSG_READ_ERROR);
      EXPECT_EQ(unit.write_text(3, "abcd"), MSG_WRITE_ERROR);
      EXPECT_EQ(unit.write(i64{1} << 62, {}), MSG_WRITE_ERROR);
      unit.redirect(saved);
      EXPECT_EQ(unit.write_text(2, "efgh"), 0);
      EXPECT_EQ(unit.file().substr(0, 8), "abcdefgh");
    }
  }
}

}  // namespace
