// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Internal files: list-directed and formatted READ and WRITE, ENCODE and DECODE. A variable stands between guard bytes.

#include <functional>
#include <thread>

#include "memory_unit.h"
#include "statements/for_internal.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

using tamrun_test::Fail_Vm;
using tamrun_test::vm_live_blocks;

namespace {

constexpr For_IO_Flags kOld = iof_extended | iof_iostat | iof_legacy_defaults;
constexpr For_IO_Flags kF77 = iof_extended | iof_iostat;

/// A variable of type character: `elem` bytes an element, an array unless `elem` is the whole.
class Variable {
 public:
  explicit Variable(const std::string& content, i64 elem = -1)
      : bytes_(kGuard + content + kGuard), size_(static_cast<i64>(content.size())), elem_(elem < 0 ? size_ : elem) {}
  ~Variable() {
    EXPECT_EQ(bytes_.substr(0, kGuard.size()), kGuard);
    EXPECT_EQ(bytes_.substr(kGuard.size() + size_), kGuard);
  }

  char* data() { return bytes_.data() + kGuard.size(); }
  std::string text() const { return bytes_.substr(kGuard.size(), size_); }

  /// A list whose first item is the variable.
  ItemList head() {
    ItemList items;
    if (elem_ == size_) return items.scalar(ITM_CHARACTER, data(), size_);
    return items.array_elem(ITM_CHARACTER, data(), size_, elem_);
  }

 private:
  inline static const std::string kGuard = std::string(8, '#');
  std::string bytes_;
  i64 size_, elem_;
};

/// One statement of the list; a null format is list-directed.
int call(bool writes, const char* format, ItemList items, For_IO_Flags flags = kIostat, ControlList keys = {}) {
  For_Context ctx{};
  items.finish();
  if (!keys.empty()) flags |= iof_extended | iof_control_list;
  keys.end();
  int result;
  if (format == nullptr) {
    result = (writes ? for_write_int_lis : for_read_int_lis)(&ctx, flags, items.list(), items.args(), keys.list(),
                                                             keys.args());
  } else {
    const Format_Text text(format);
    result = (writes ? for_write_int_fmt : for_read_int_fmt)(&ctx, flags | iof_format_text, items.list(), items.args(),
                                                             text.argument(), keys.list(), keys.args());
  }
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

/// What the variables named by `letters` hold behind a READ, and its result where that is not 0.
std::string get(Variable& v, const char* format, const std::string& letters, For_IO_Flags flags = kIostat,
                const ControlList& control = {}) {
  Variables variables(letters);
  ItemList items = v.head();
  variables.add_to(items, 0, letters.size());
  return variables.told(call(false, format, items, flags, control));
}

ItemList& none(ItemList& l) { return l; }
ItemList& one(ItemList& l) { return l.int4(1); }
ItemList& two(ItemList& l) { return l.int4(1).int4(2); }
ItemList& twelve(ItemList& l) { return l.int4(12); }
ItemList& number_text(ItemList& l) { return l.int4(7).text("abc"); }
ItemList& abcd(ItemList& l) { return l.text("abcd"); }
ItemList& pair(ItemList& l) { return l.complex8(1, -2); }
ItemList& long_pair(ItemList& l) { return l.complex8(1, -1e-10f); }
ItemList& real(ItemList& l) { return l.real8(1.5); }

TEST(InternalFiles, Write) {
  static const i32 whole[3] = {1, 2, 3};
  const auto array = [](ItemList& l) -> ItemList& { return l.array(ITM_INTEGER4, whole, sizeof whole); };
  struct Case {
    const char* format;
    i64 elem, size;
    std::function<ItemList&(ItemList&)> add;
    int result;
    std::string text;  ///< of a variable that held x
    For_IO_Flags flags = kIostat;
  };
  const Case cases[] = {
      // List-directed: one field a number, column 1 of the first record stays blank before text.
      {nullptr, 20, 20, one, 0, "           1        "},
      {nullptr, 4, 4, abcd, MSG_RECORD_OVERFLOW, "    "},
      {nullptr, 4, 8, abcd, 0, "    abcd"},
      {nullptr, 5, 5, abcd, 0, "abcd ", kF77},
      {nullptr, 5, 5, abcd, 0, " abcd", kOld},
      {nullptr, 16, 16, number_text, 0, "           7 abc"},
      {nullptr, 15, 15, number_text, MSG_RECORD_OVERFLOW, "           7   "},
      {nullptr, 15, 15, number_text, 0, "           7abc", kIostat | iof_no_char_blank},
      {nullptr, 12, 24, number_text, 0, "           7 abcxxxxxxxx"},
      {nullptr, 14, 28, two, 0, "           1             2xx"},
      {nullptr, 12, 12, two, MSG_RECORD_OVERFLOW, "           1"},
      {nullptr, 11, 22, one, MSG_RECORD_OVERFLOW, "           xxxxxxxxxxx"},
      {nullptr, 0, 0, none, 0, ""},
      {nullptr, 0, 0, one, MSG_RECORD_OVERFLOW, ""},
      {nullptr, 4, 4, two, MSG_RECORD_OVERFLOW, "    ", kIostat | iof_compact_ldio},
      {nullptr, 24, 24, real, 0, " 1.50000000000000       ", kIostat | iof_compact_ldio},
      {nullptr, 23, 23, real, MSG_RECORD_OVERFLOW, std::string(23, ' ')},
      {nullptr, 20, 20, pair, MSG_RECORD_OVERFLOW, std::string(20, ' ')},
      {nullptr, 12, 24, pair, 0, " (1.000000,  -2.000000)x"},
      {nullptr, 11, 22, pair, 0, " (1.000000, -2.000000)"},
      {nullptr, 15, 30, long_pair, 0, " (1.000000,    -1.0000000E-10)"},
      {nullptr, 10, 20, pair, MSG_RECORD_OVERFLOW, "          xxxxxxxxxx"},
      // Formatted: each record is blanked as it is begun.
      {"(I5)", 4, 4, one, MSG_RECORD_OVERFLOW, "    "},
      {"(I5)", 5, 5, two, MSG_TOO_MANY_RECORDS, "    1"},
      {"(I3)", 4, 12, two, 0, "  1   2 xxxx"},
      {"(I3/)", 4, 12, one, 0, "  1     xxxx"},
      {"(I3///)", 4, 12, one, MSG_TOO_MANY_RECORDS, "  1         "},
      {"(I2,9X)", 4, 4, one, 0, " 1  "},
      {"(9X,I2)", 4, 4, one, MSG_RECORD_OVERFLOW, "    "},
      {"('ab$',$)", 4, 4, none, 0, "ab$ "},
      {"('ab')", 4, 4, one, MSG_NO_DATA_EDIT, "ab  "},
      {"(3I2)", 2, 2, array, MSG_RECORD_OVERFLOW, " 1"},
      {"(I2)", 2, 6, array, 0, " 1 2 3"},
      {"(I1)", 4, 4, twelve, MSG_OUTPUT_CONVERSION, "*   "},
      {"(I1)", 4, 4, twelve, 0, "*   ", kIostat | iof_ignore_conv_error},
      {"(I5", 4, 4, one, MSG_FORMAT_SYNTAX, "xxxx"},
  };
  for (const Case& c : cases) {
    const long blocks = vm_live_blocks();
    Variable v(std::string(c.size, 'x'), c.elem);
    ItemList items = v.head();
    EXPECT_EQ(call(true, c.format, c.add(items), c.flags), c.result) << c.text;
    EXPECT_EQ(v.text(), c.text);
    EXPECT_LE(vm_live_blocks(), blocks + 3) << "the thread keeps its storage and one unit";
  }
  Variable v(std::string(24, 'x'));
  const ItemList itself = v.head().scalar(ITM_CHARACTER, v.data() + 23, 1);
  for (const char* format : {static_cast<const char*>(nullptr), "(A)"})
    EXPECT_EQ(call(true, format, itself), MSG_WRITE_TO_SELF);
  EXPECT_EQ(call(true, "(A)", v.head().scalar(ITM_CHARACTER, v.data() + 24, 1)), 0);
  EXPECT_EQ(v.text(), "#" + std::string(23, ' '));
}

TEST(InternalFiles, Read) {
  struct Case {
    const char* format;
    std::string text;
    i64 elem;  ///< -1 a scalar
    const char* letters;
    const char* values;
    For_IO_Flags flags = kIostat;
  };
  const Case cases[] = {
      {nullptr, "12,-7 2.5", -1, "iid", "12 -7 2.5"},
      {nullptr, "12", -1, "ii", "-1: 12 -99"},
      {nullptr, "1       ", 4, "ii", "-1: 1 -99"},
      {nullptr, "1,  ,2  ", 4, "iii", "1 -99 2"},
      {nullptr, "'ab cd' ", 4, "c", "[ab cd]"},
      {nullptr, "'abc", -1, "c", "59: [?????]"},
      {nullptr, "2*7 / 5", -1, "iii", "7 7 -99"},
      {nullptr, "(1,2) 3", -1, "ri", "1 3"},
      {nullptr, "1\t\n2", -1, "ii", "1 2"},
      {nullptr, "T", -1, "i", "-1", kIostat | iof_strict_ldio},
      {nullptr, std::string("5   \0\0\0\0", 8), 4, "ii", "-1: 5 -99"},
      {nullptr, "", -1, "i", "-1: -99"},
      {nullptr, "", -1, "", ""},
      {nullptr, "", 3, "i", "-1: -99"},
      {"(2I5)", "1,2", -1, "ii", "1 2"},
      {"(I3)", "12", -1, "i", "12"},
      {"(I3)", "12", -1, "i", "12", kF77},
      {"(I3)", "12", -1, "i", "-2: -99", kF77 | iof_advance_given},
      {"(I4)", "1 2 ", -1, "i", "12"},
      {"(I4)", "1 2 ", -1, "i", "1020", kOld},
      {"(I2)", "1 2 ", 2, "iii", "-1: 1 2 -99"},
      {"(I2///I2)", "1 2 ", 2, "ii", "-1: 1 -99"},
      {"(2X,A3,Q)", "12abc67", -1, "si", "[c] 2"},
      {"(I2)", "", -1, "i", "0"},
      {"(I2)", "", -1, "i", "-1: -99", kF77},
      {"(I2)", "", -1, "", ""},
      {"(I2)", "", 2, "i", "-1: -99"},
      {"(I2)", "", 2, "", ""},
      {"('x')", "12", -1, "i", "105: -99"},
  };
  for (const Case& c : cases) {
    Variable v(c.text, c.elem);
    EXPECT_EQ(get(v, c.format, c.letters, c.flags), c.values) << (c.format ? c.format : "*") << " of " << c.text;
    EXPECT_EQ(v.text(), c.text);
  }
}

TEST(InternalFiles, EncodeAndDecodeTakeTheCountGiven) {
  Variable v("xxxxxxxxxx");
  EXPECT_EQ(call(true, "(I4)", ItemList().array(ITM_INTEGER1, v.data(), 6).int4(42)), 0);
  EXPECT_EQ(v.text(), "  42  xxxx");
  i32 number = 0;
  EXPECT_EQ(call(false, "(I8)", ItemList().array(ITM_INTEGER1, v.data(), 3).pointer(ITM_INTEGER4, &number)), 0);
  EXPECT_EQ(number, 4);
}

TEST(InternalFiles, MessagesNameTheStatement) {
  Variable v("x");
  struct Case {
    bool writes;
    const char* format;
    bool counted;
    const char* name;
  };
  const Case cases[] = {{true, nullptr, false, "record, unit -5, file Internal List-Directed Write "},
                        {false, nullptr, false, "error, unit -5, file Internal List-Directed Read "},
                        {true, "(I9)", false, "record, unit -5, file Internal Formatted Write "},
                        {false, "(I1)", false, "error, unit -5, file Internal Formatted Read "},
                        {true, "(I9)", true, "record, unit -5, file ENCODE "},
                        {false, "(I1)", true, "error, unit -5, file DECODE "}};
  char text[120];
  const ControlList iomsg = ControlList().iomsg(text, sizeof text);
  for (const Case& c : cases) {
    i32 number = 5;
    ItemList items = c.counted ? ItemList().array(ITM_INTEGER1, v.data(), 1) : v.head();
    *v.data() = '?';
    EXPECT_GT(call(c.writes, c.format, items.pointer(ITM_INTEGER4, &number), kIostat, iomsg), 0);
    EXPECT_NE(std::string(text, sizeof text).find(c.name), std::string::npos) << text;
  }
  // Before the variable has been looked at; and what is no variable at all.
  for (const bool writes : {true, false}) {
    for (const char* format : {static_cast<const char*>(nullptr), "(I1)"}) {
      EXPECT_EQ(call(writes, format, v.head(), kIostat, ControlList(iomsg).pos(5)), MSG_STREAM_UNOPENED);
      EXPECT_EQ(call(writes, format, ItemList().int4(1)), MSG_INVALID_ARGUMENT);
      EXPECT_EQ(call(writes, format, ItemList().scalar(ITM_CHARACTER, nullptr, 4)), MSG_INVALID_ARGUMENT);
    }
  }
}

TEST(InternalFiles, KeywordsHoldForTheStatement) {
  Variable v(std::string(8, 'x')), in("1 2,5;7 ");
  const ControlList comma = ControlList().decimal("COMMA");
  EXPECT_EQ(call(true, "(F8.2)", v.head().real8(1.25), kIostat, comma), 0);
  EXPECT_EQ(v.text(), "    1,25");
  EXPECT_EQ(call(true, "(I3)", v.head().int4(1), kIostat, ControlList().sign("PLUS")), 0);
  EXPECT_EQ(v.text(), " +1     ");
  EXPECT_EQ(call(true, nullptr, v.head().int1(1).text("a"), kIostat, ControlList().delim("QUOTE")), 0);
  EXPECT_EQ(v.text(), "    1a  ") << "delimiters are never written";
  EXPECT_EQ(get(in, nullptr, "dd", kIostat, comma), "1 2.5");
  EXPECT_EQ(get(in, "(I3)", "i", kIostat, ControlList().blank("ZERO")), "102");
  EXPECT_EQ(get(in, "(I3)", "i"), "12") << "the next statement has its own";
  EXPECT_EQ(get(in, "(T8,I3)", "i", kIostat, ControlList().pad("NO")), "67: -99");
}

TEST(InternalFiles, StatementsGoOnInFurtherCallsAndNest) {
  Variable outer("xxxxxxxx"), inner("xxxxxxxx");
  For_Context ctx{};
  ItemList first = outer.head().more(), next = ItemList().int4(4).more(), last = ItemList().end();
  const For_IO_Flags flags = kIostat | iof_format_text;
  ASSERT_EQ(for_write_int_fmt(&ctx, flags, first.list(), first.args(), Format_Text("(I2)").argument()), 0);
  EXPECT_EQ(call(true, nullptr, inner.head().int1(7)), 0);
  ASSERT_EQ(for_write_int_fmt_xmit(&ctx, next.list(), next.args()), 0);
  EXPECT_EQ(get(inner, nullptr, "i"), "7");
  ASSERT_EQ(for_write_int_fmt_xmit(&ctx, last.list(), last.args()), 0);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  EXPECT_EQ(outer.text(), " 4      ");

  Variable list("3*1.5 2 'a'");
  Variables v("dddic");
  ItemList head = list.head().more();
  ASSERT_EQ(for_read_int_lis(&ctx, kIostat, head.list(), head.args()), 0);
  for (size_t i = 0; i < 5; ++i) {
    ItemList item = v.items(i, i + 1).more();
    ASSERT_EQ(for_read_int_lis_xmit(&ctx, item.list(), item.args()), 0);
  }
  ASSERT_EQ(for_read_int_lis_xmit(&ctx, last.list(), last.args()), 0);
  EXPECT_EQ(v.text(), "1.5 1.5 1.5 2 [a    ]");
}

TEST(InternalFiles, AThreadKeepsOneUnitAndGivesItBack) {
  const auto statements = [] {
    Variable v(std::string(24, ' '));
    EXPECT_EQ(call(true, nullptr, v.head().int4(1)), 0);
    Fail_Vm fail(1);  // from here on nothing may be allocated
    EXPECT_EQ(call(true, nullptr, v.head().int4(1).int4(2)), 0);
    EXPECT_EQ(get(v, nullptr, "ii"), "1 2");
    EXPECT_FALSE(fail.hit());
  };
  statements();
  const long blocks = vm_live_blocks();
  std::thread(statements).join();
  EXPECT_EQ(vm_live_blocks(), blocks);
}

TEST(InternalFiles, NoMemory) {
  For_Lub *held = nullptr, *second = nullptr;
  ASSERT_EQ(for__acquire_lun(UNIT_INTERNAL, &held, nullptr, STMT_WRITE), 0);
  ASSERT_EQ(for__acquire_lun(UNIT_INTERNAL, &second, nullptr, STMT_WRITE), 0);
  for (long n = 1; n <= 2; ++n) {
    Variable v("xxxx");
    Fail_Vm fail(n);
    EXPECT_EQ(call(true, nullptr, v.head()), MSG_NO_MEMORY) << n;
    EXPECT_EQ(v.text(), "xxxx");
  }
  EXPECT_EQ(for__release_lun(UNIT_INTERNAL), 0);
  EXPECT_EQ(for__release_lun(UNIT_INTERNAL), 0);
}

}  // namespace
