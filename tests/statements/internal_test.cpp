// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Internal files: list-directed and formatted READ and WRITE, ENCODE and DECODE. A variable stands between guard bytes.

#include <gtest/gtest.h>
#include <stdio.h>

#include <functional>
#include <string>
#include <thread>

#include "core/thread_storage.h"
#include "list_input.h"
#include "statements/for_internal.h"
#include "support/fail_malloc.h"
#include "tamrun/compiled_format.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

using tamrun_test::Fail_Vm;
using tamrun_test::vm_live_blocks;

namespace {

using Build = std::function<void(ItemList&)>;
constexpr For_IO_Flags kText = kIostat | iof_format_text;
constexpr For_IO_Flags kOld = iof_extended | iof_iostat | iof_legacy_defaults;

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

  /// The variable as the first item of a list.
  ItemList& head(ItemList& items) {
    if (elem_ == size_) return items.scalar(ITM_CHARACTER, data(), size_);
    return items.array_elem(ITM_CHARACTER, data(), size_, elem_);
  }

 private:
  inline static const std::string kGuard = std::string(8, '#');
  std::string bytes_;
  i64 size_, elem_;
};

/// One statement of the list; a null format is list-directed.
int call(bool writes, const char* format, ItemList& items, For_IO_Flags flags, ControlList* control = nullptr) {
  For_Context ctx{};
  ControlList none;
  if (control != nullptr) flags |= iof_extended | iof_control_list;
  ControlList& keys = control != nullptr ? *control : none.end();
  int result;
  if (format == nullptr) {
    result = (writes ? for_write_int_lis : for_read_int_lis)(&ctx, flags, items.list(), items.args(), keys.list(),
                                                             keys.args());
  } else {
    const For_Fmt_Text text = {static_cast<i64>(strlen(format)), format};
    result = (writes ? for_write_int_fmt : for_read_int_fmt)(&ctx, flags | iof_format_text, items.list(), items.args(),
                                                             &text, keys.list(), keys.args());
  }
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

int put(Variable& v, const char* format, const Build& build, For_IO_Flags flags = kIostat,
        ControlList* control = nullptr) {
  ItemList items;
  v.head(items);
  build(items);
  items.end();
  return call(true, format, items, flags, control);
}

/// What the variables named by `letters` hold behind a READ, and its result where that is not 0.
std::string get(Variable& v, const char* format, const std::string& letters, For_IO_Flags flags = kIostat,
                ControlList* control = nullptr) {
  ItemList items;
  Variables variables(letters);
  v.head(items);
  variables.add_to(items, 0, letters.size());
  items.end();
  const int result = call(false, format, items, flags, control);
  return (result != 0 ? std::to_string(result) + ": " : "") + variables.text();
}

void none(ItemList&) {}
void one(ItemList& l) { l.int4(1); }
void two(ItemList& l) { l.int4(1).int4(2); }
void number_text(ItemList& l) { l.int4(7).text("abc"); }

TEST(InternalFiles, Write) {
  const std::string x24(24, 'x');
  static const i32 whole[3] = {1, 2, 3};
  struct Case {
    const char* format;
    i64 elem, size;
    Build build;
    For_IO_Flags flags;
    int result;
    std::string text;  ///< of a variable that held x
  };
  const Case cases[] = {
      // List-directed: one field a number, column 1 of the first record stays blank before text.
      {nullptr, 20, 20, one, kIostat, 0, "           1        "},
      {nullptr, 5, 5, [](ItemList& l) { l.text("abc"); }, kIostat, 0, " abc "},
      {nullptr, 4, 4, [](ItemList& l) { l.text("abcd"); }, kIostat, MSG_RECORD_OVERFLOW, "    "},
      {nullptr, 4, 8, [](ItemList& l) { l.text("abcd"); }, kIostat, 0, "    abcd"},
      {nullptr, 4, 4, [](ItemList& l) { l.text("ab").text("c"); }, kIostat, 0, " abc"},
      {nullptr, 5, 5, [](ItemList& l) { l.text("abcd"); }, iof_extended | iof_iostat, 0, "abcd "},
      {nullptr, 5, 5, [](ItemList& l) { l.text("abcd"); }, kOld, 0, " abcd"},
      {nullptr, 16, 16, number_text, kIostat, 0, "           7 abc"},
      {nullptr, 15, 15, number_text, kIostat, MSG_RECORD_OVERFLOW, "           7   "},
      {nullptr, 15, 15, number_text, kIostat | iof_no_char_blank, 0, "           7abc"},
      {nullptr, 12, 24, number_text, kIostat, 0, "           7 abcxxxxxxxx"},
      {nullptr, 12, 24, two, kIostat, 0, "           1           2"},
      {nullptr, 14, 28, two, kIostat, 0, "           1             2xx"},
      {nullptr, 12, 12, two, kIostat, MSG_RECORD_OVERFLOW, "           1"},
      {nullptr, 11, 22, one, kIostat, MSG_RECORD_OVERFLOW, "           xxxxxxxxxxx"},
      {nullptr, 0, 0, none, kIostat, 0, ""},
      {nullptr, 0, 0, one, kIostat, MSG_RECORD_OVERFLOW, ""},
      {nullptr, 6, 6, [](ItemList& l) { l.int1(-5).logical4(0); }, kIostat, MSG_RECORD_OVERFLOW, "   -5 "},
      {nullptr, 4, 4, [](ItemList& l) { l.int4(1).int4(2); }, kIostat | iof_compact_ldio, MSG_RECORD_OVERFLOW, "    "},
      {nullptr, 14, 14, two, kIostat | iof_compact_ldio, 0, " 1 2          "},
      {nullptr, 24, 24, [](ItemList& l) { l.real8(1.5); }, kIostat | iof_compact_ldio, 0, " 1.50000000000000       "},
      {nullptr, 23, 23, [](ItemList& l) { l.real8(1.5); }, kIostat, MSG_RECORD_OVERFLOW, std::string(23, ' ')},
      {nullptr, 24, 24, [](ItemList& l) { l.complex8(1, -2); }, kIostat, 0, " (1.000000,-2.000000)   "},
      {nullptr, 20, 20, [](ItemList& l) { l.complex8(1, -2); }, kIostat, MSG_RECORD_OVERFLOW, std::string(20, ' ')},
      {nullptr, 12, 24, [](ItemList& l) { l.complex8(1, -2); }, kIostat, 0, " (1.000000,  -2.000000)x"},
      {nullptr, 11, 22, [](ItemList& l) { l.complex8(1, -2); }, kIostat, 0, " (1.000000, -2.000000)"},
      {nullptr, 15, 30, [](ItemList& l) { l.complex8(1, -1e-10f); }, kIostat, 0, " (1.000000,    -1.0000000E-10)"},
      {nullptr, 10, 20, [](ItemList& l) { l.complex8(1, -2); }, kIostat, MSG_RECORD_OVERFLOW, "          xxxxxxxxxx"},
      // Formatted: each record is blanked as it is begun.
      {"(I0)", 5, 5, one, kIostat, 0, "1    "},
      {"(I5)", 4, 4, one, kIostat, MSG_RECORD_OVERFLOW, "    "},
      {"(I5)", 5, 5, two, kIostat, MSG_TOO_MANY_RECORDS, "    1"},
      {"(I3)", 4, 12, two, kIostat, 0, "  1   2 xxxx"},
      {"(I3/)", 4, 12, one, kIostat, 0, "  1     xxxx"},
      {"(I3///)", 4, 12, one, kIostat, MSG_TOO_MANY_RECORDS, "  1         "},
      {"(T3,I1,T1,I1)", 4, 4, two, kIostat, 0, "2 1 "},
      {"(I2,9X)", 4, 4, one, kIostat, 0, " 1  "},
      {"(9X,I2)", 4, 4, one, kIostat, MSG_RECORD_OVERFLOW, "    "},
      {"('ab$',$)", 4, 4, none, kIostat, 0, "ab$ "},
      {"('ab')", 4, 4, one, kIostat, MSG_NO_DATA_EDIT, "ab  "},
      {"(3I2)", 2, 2, [](ItemList& l) { l.array(ITM_INTEGER4, whole, sizeof whole); }, kIostat, MSG_RECORD_OVERFLOW,
       " 1"},
      {"(I2)", 2, 6, [](ItemList& l) { l.array(ITM_INTEGER4, whole, sizeof whole); }, kIostat, 0, " 1 2 3"},
      {"(I1)", 4, 4, [](ItemList& l) { l.int4(12); }, kIostat, MSG_OUTPUT_CONVERSION, "*   "},
      {"(I1)", 4, 4, [](ItemList& l) { l.int4(12); }, kIostat | iof_ignore_conv_error, 0, "*   "},
      {"(I5", 4, 4, one, kIostat, MSG_FORMAT_SYNTAX, "xxxx"},
      {"(A)", 3, 3, [](ItemList& l) { l.text(""); }, kIostat, 0, "   "},
  };
  for (const Case& c : cases) {
    const long blocks = vm_live_blocks();
    Variable v(std::string(c.size, 'x'), c.elem);
    EXPECT_EQ(put(v, c.format, c.build, c.flags), c.result) << c.text;
    EXPECT_EQ(v.text(), c.text);
    EXPECT_LE(vm_live_blocks(), blocks + 3) << "the thread keeps its storage and one unit";
  }
  Variable v(x24);
  ItemList itself;
  v.head(itself).scalar(ITM_CHARACTER, v.data() + 23, 1).end();
  EXPECT_EQ(call(true, nullptr, itself, kIostat), MSG_WRITE_TO_SELF);
  EXPECT_EQ(call(true, "(A)", itself, kIostat), MSG_WRITE_TO_SELF);
  ItemList beside;
  v.head(beside).scalar(ITM_CHARACTER, v.data() + 24, 1).end();
  EXPECT_EQ(call(true, "(A)", beside, kIostat), 0);
  EXPECT_EQ(v.text(), "#" + std::string(23, ' '));
}

TEST(InternalFiles, Read) {
  struct Case {
    const char* format;
    std::string text;
    i64 elem;  ///< -1 a scalar
    const char* letters;
    For_IO_Flags flags;
    const char* values;
  };
  const std::string nul("5   \0\0\0\0", 8);
  const Case cases[] = {
      {nullptr, "12,-7 2.5", -1, "iid", kIostat, "12 -7 2.5"},
      {nullptr, "12", -1, "ii", kIostat, "-1: 12 -99"},
      {nullptr, "12  34  ", 4, "ii", kIostat, "12 34"},
      {nullptr, "1       ", 4, "ii", kIostat, "-1: 1 -99"},
      {nullptr, "1,  ,2  ", 4, "iii", kIostat, "1 -99 2"},
      {nullptr, "1   ,2  ", 4, "ii", kIostat, "1 2"},
      {nullptr, "'it''s' x", -1, "cs", kIostat, "[it's ] [x]"},
      {nullptr, "'ab cd' ", 4, "c", kIostat, "[ab cd]"},
      {nullptr, "'abc", -1, "c", kIostat, "59: [?????]"},
      {nullptr, "2*7 / 5", -1, "iii", kIostat, "7 7 -99"},
      {nullptr, "(1,2) 3", -1, "yi", kIostat, "(1,2) 3"},
      {nullptr, "(1,2) 3", -1, "ri", kIostat, "1 3"},
      {nullptr, "1\t\n2", -1, "ii", kIostat, "1 2"},
      {nullptr, "1;2", -1, "i", kIostat, "59: -99"},
      {nullptr, "T", -1, "i", kIostat | iof_strict_ldio, "-1"},
      {nullptr, nul, 4, "ii", kIostat, "-1: 5 -99"},
      {nullptr, "", -1, "i", kIostat, "-1: -99"},
      {nullptr, "", -1, "", kIostat, ""},
      {nullptr, "", 3, "i", kIostat, "-1: -99"},
      {"(I2,I3)", "12345", -1, "ii", kIostat, "12 345"},
      {"(2I5)", "1,2", -1, "ii", kIostat, "1 2"},
      {"(I3)", "12", -1, "i", kIostat, "12"},
      {"(I3)", "12", -1, "i", iof_extended | iof_iostat, "12"},
      {"(I3)", "12", -1, "i", iof_extended | iof_iostat | iof_advance_given, "-2: -99"},
      {"(I4)", "1 2 ", -1, "i", kIostat, "12"},
      {"(I4)", "1 2 ", -1, "i", kOld, "1020"},
      {"(I2)", "1 2 ", 2, "ii", kIostat, "1 2"},
      {"(I2)", "1 2 ", 2, "iii", kIostat, "-1: 1 2 -99"},
      {"(I2/I2)", "1 2 ", 2, "ii", kIostat, "1 2"},
      {"(I2///I2)", "1 2 ", 2, "ii", kIostat, "-1: 1 -99"},
      {"(T3,I2,T1,I2)", "12345", -1, "ii", kIostat, "34 12"},
      {"(2X,A3,Q)", "12abc67", -1, "si", kIostat, "[c] 2"},
      {"(A2)", "xyz", -1, "i", kIostat, "538999160"},
      {"(I2)", "x1", -1, "i", kIostat, "64: 0"},
      {"(I2)", "", -1, "i", kIostat, "0"},
      {"(I2)", "", -1, "i", iof_extended | iof_iostat, "-1: -99"},
      {"(I2)", "", -1, "", kIostat, ""},
      {"(I2)", "", 2, "i", kIostat, "-1: -99"},
      {"(I2)", "", 2, "", kIostat, ""},
      {"('x')", "12", -1, "i", kIostat, "105: -99"},
  };
  for (const Case& c : cases) {
    Variable v(c.text, c.elem);
    EXPECT_EQ(get(v, c.format, c.letters, c.flags), c.values) << (c.format ? c.format : "*") << " of " << c.text;
    EXPECT_EQ(v.text(), c.text);
  }
}

TEST(InternalFiles, EncodeAndDecodeTakeTheCountGiven) {
  Variable v("xxxxxxxxxx");
  ItemList encode;
  encode.array(ITM_INTEGER1, v.data(), 6).int4(42).end();
  EXPECT_EQ(call(true, "(I4)", encode, kIostat), 0);
  EXPECT_EQ(v.text(), "  42  xxxx");
  i32 number = 0;
  ItemList decode;
  decode.array(ITM_INTEGER1, v.data(), 3).pointer(ITM_INTEGER4, &number).end();
  EXPECT_EQ(call(false, "(I8)", decode, kIostat), 0);
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
  const Case cases[] = {{true, nullptr, false, "record, unit -5, file Internal List-Directed Write"},
                        {false, nullptr, false, "error, unit -5, file Internal List-Directed Read"},
                        {true, "(I9)", false, "record, unit -5, file Internal Formatted Write"},
                        {false, "(I1)", false, "error, unit -5, file Internal Formatted Read"},
                        {true, "(I9)", true, "record, unit -5, file ENCODE"},
                        {false, "(I1)", true, "error, unit -5, file DECODE"}};
  for (const Case& c : cases) {
    i32 number = 5;
    char text[120];
    ControlList control;
    control.iomsg(text, sizeof text).end();
    ItemList items;
    if (c.counted)
      items.array(ITM_INTEGER1, v.data(), 1);
    else
      v.head(items);
    *v.data() = '?';
    items.pointer(ITM_INTEGER4, &number).end();
    EXPECT_GT(call(c.writes, c.format, items, kIostat, &control), 0);
    EXPECT_NE(std::string(text, sizeof text).find(std::string(c.name) + " "), std::string::npos) << text;
  }
  // Before the variable has been looked at; and what is no variable at all.
  for (const bool writes : {true, false}) {
    char text[120];
    ControlList control;
    control.iomsg(text, sizeof text).pos(5).end();
    EXPECT_EQ(put(v, writes ? nullptr : "(I1)", one, kIostat, &control), MSG_STREAM_UNOPENED);
    ItemList items;
    items.int4(1).end();
    for (const char* format : {static_cast<const char*>(nullptr), "(I1)"})
      EXPECT_EQ(call(writes, format, items, kIostat), MSG_INVALID_ARGUMENT);
    ItemList nowhere;
    nowhere.scalar(ITM_CHARACTER, nullptr, 4).end();
    EXPECT_EQ(call(writes, "(I1)", nowhere, kIostat), MSG_INVALID_ARGUMENT);
  }
}

TEST(InternalFiles, KeywordsHoldForTheStatement) {
  Variable v(std::string(8, 'x')), in("1 2,5;7 ");
  ControlList comma, plus, zero, no_pad, quote;
  comma.decimal("COMMA").end();
  plus.sign("PLUS").end();
  zero.blank("ZERO").end();
  no_pad.pad("NO").end();
  quote.delim("QUOTE").end();
  EXPECT_EQ(put(
                v, "(F8.2)", [](ItemList& l) { l.real8(1.25); }, kIostat, &comma),
            0);
  EXPECT_EQ(v.text(), "    1,25");
  EXPECT_EQ(put(v, "(I3)", one, kIostat, &plus), 0);
  EXPECT_EQ(v.text(), " +1     ");
  EXPECT_EQ(put(
                v, nullptr, [](ItemList& l) { l.int1(1).text("a"); }, kIostat, &quote),
            0);
  EXPECT_EQ(v.text(), "    1a  ") << "delimiters are never written";
  EXPECT_EQ(get(in, nullptr, "dd", kIostat, &comma), "1 2.5");
  EXPECT_EQ(get(in, "(I3)", "i", kIostat, &zero), "102");
  EXPECT_EQ(get(in, "(I3)", "i"), "12") << "the next statement has its own";
  EXPECT_EQ(get(in, "(T8,I3)", "i", kIostat, &no_pad), "67: -99");
}

TEST(InternalFiles, StatementsGoOnInFurtherCallsAndNest) {
  Variable outer("xxxxxxxx"), inner("xxxxxxxx");
  const For_Fmt_Text format = {4, "(I2)"};
  For_Context ctx{};
  ItemList first, next, last;
  outer.head(first).more();
  next.int4(4).more();
  last.end();
  ASSERT_EQ(for_write_int_fmt(&ctx, kText, first.list(), first.args(), &format), 0);
  EXPECT_EQ(put(inner, nullptr, [](ItemList& l) { l.int1(7); }), 0);
  ASSERT_EQ(for_write_int_fmt_xmit(&ctx, next.list(), next.args()), 0);
  EXPECT_EQ(get(inner, nullptr, "i"), "7");
  ASSERT_EQ(for_write_int_fmt_xmit(&ctx, last.list(), last.args()), 0);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  EXPECT_EQ(outer.text(), " 4      ");

  Variable list("3*1.5 2 'a'");
  Variables v("dddic");
  ItemList head;
  list.head(head).more();
  ASSERT_EQ(for_read_int_lis(&ctx, kIostat, head.list(), head.args()), 0);
  for (size_t i = 0; i < 5; ++i) {
    ItemList item;
    v.add_to(item, i, i + 1);
    item.more();
    ASSERT_EQ(for_read_int_lis_xmit(&ctx, item.list(), item.args()), 0);
  }
  ASSERT_EQ(for_read_int_lis_xmit(&ctx, last.list(), last.args()), 0);
  EXPECT_EQ(v.text(), "1.5 1.5 1.5 2 [a    ]");
}

TEST(InternalFiles, AThreadKeepsOneUnitAndGivesItBack) {
  const auto statements = [] {
    Variable v(std::string(24, ' '));
    EXPECT_EQ(put(v, nullptr, one), 0);
    Fail_Vm fail(1);  // from here on nothing may be allocated
    EXPECT_EQ(put(v, nullptr, two), 0);
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
    EXPECT_EQ(put(v, nullptr, none), MSG_NO_MEMORY) << n;
    EXPECT_EQ(v.text(), "xxxx");
  }
  EXPECT_EQ(for__release_lun(UNIT_INTERNAL), 0);
  EXPECT_EQ(for__release_lun(UNIT_INTERNAL), 0);
}

}  // namespace
