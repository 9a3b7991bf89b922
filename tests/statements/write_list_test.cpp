// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed output of text, integers and logicals: layout, folding, records.

#include <gtest/gtest.h>

#include "list_output.h"
#include "tamrun/messages.h"

namespace {

std::string i12(long v) {
  char text[32];
  snprintf(text, sizeof text, "%12ld", v);
  return text;
}

struct Layout_Row {
  const char* what;
  std::function<void(Connection&)> connect;
  std::function<void(ItemList&)> build;
  std::string written;
  int next_rec = 2;
};

void as_is(Connection&) {}

const i32 kFive[] = {1, -2, 3, -4, 5};
const char kWords[] = "onetwosix";
const i64 kRank15[2] = {7, -8};

const Layout_Row kLayouts[] = {
    {"nothing", as_is, [](ItemList&) {}, " \n"},
    {"an integer", as_is, [](ItemList& l) { l.int4(1); }, i12(1) + "\n"},
    {"every integer kind", as_is, [](ItemList& l) { l.int1(-128).int2(-32768).int4(INT32_MIN).int8(INT64_MIN); },
     " -128 -32768" + i12(INT32_MIN) + "  -9223372036854775808\n"},
    {"unsigned kinds", as_is,
     [](ItemList& l) {
       l.inline_value(6, u8{255}).inline_value(8, u16{65535}).inline_value(10, ~u32{0}).inline_value(12, ~u64{0});
     },
     "  255  65535  4294967295  18446744073709551615\n"},
    {"the other field table", [](Connection& c) { c.msf_layout = true; },
     [](ItemList& l) { l.int1(-1).int2(2).int4(3).int8(4); }, i12(-1) + i12(2) + i12(3) + blanks(21) + "4\n"},
    {"logicals", as_is,
     [](ItemList& l) {
       l.logical4(-1)
           .logical4(0)
           .inline_value(14, i8{-1})
           .inline_value(15, i16{0})
           .inline_value(17, i64{-1})
           .inline_value(13, i32{-1});
     },
     " T F T F T T\n"},
    {"texts run together", as_is, [](ItemList& l) { l.text("abc").text("def"); }, " abcdef\n"},
    {"number, then text", as_is, [](ItemList& l) { l.int4(1).text("abc").text("d"); }, i12(1) + " abcd\n"},
    {"text, then number", as_is, [](ItemList& l) { l.text("abc").int4(1); }, " abc" + i12(1) + "\n"},
    {"no blank wanted", [](Connection& c) { c.no_char_blank = true; }, [](ItemList& l) { l.int4(1).text("abc"); },
     i12(1) + "abc\n"},
    {"f77rtl: no separator", [](Connection& c) { c.f90_rtl = false; }, [](ItemList& l) { l.int4(1).text("abc"); },
     i12(1) + "abc\n"},
    {"empty text", as_is, [](ItemList& l) { l.text(""); }, " \n"},
    {"empty text between", as_is, [](ItemList& l) { l.text("a").text("").int4(2).text("").text("b"); },
     " a" + i12(2) + " b\n"},
    {"empty array", as_is, [](ItemList& l) { l.array(9, kFive, 0); }, " \n"},
    {"empty array among others", as_is,
     [](ItemList& l) {
       l.int4(1).array(9, kFive, 0).section(9, kFive, {{1, 0, 4}});
     },
     i12(1) + "\n"},
    {"array", as_is, [](ItemList& l) { l.array(9, kFive, 20); }, i12(1) + i12(-2) + i12(3) + i12(-4) + i12(5) + "\n"},
    {"backwards", as_is,
     [](ItemList& l) {
       l.section(9, kFive + 4, {{1, 3, -8}});
     },
     i12(5) + i12(3) + i12(1) + "\n"},
    {"text array", as_is, [](ItemList& l) { l.array_elem(56, kWords, 9, 3); }, " onetwosix\n"},
    {"array of empty text", as_is, [](ItemList& l) { l.array_elem(56, kWords, 9, 0).int4(1); }, " " + i12(1) + "\n"},
    {"rank 15", as_is,
     [](ItemList& l) {
       l.section(11, kRank15,
                 {{1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {1, 1, 0},
                  {0, 1, 8}});
     },
     blanks(21) + "7" + blanks(20) + "-8\n"},
    {"quotes", [](Connection& c) { c.delim = '"'; }, [](ItemList& l) { l.text("a\"b").text("").text("c"); },
     " \"a\"\"b\" \"\" \"c\"\n"},
    {"apostrophes behind a number", [](Connection& c) { c.delim = '\''; }, [](ItemList& l) { l.int4(1).text("it's"); },
     i12(1) + " 'it''s'\n"},
    {"f77rtl knows no delimiter", [](Connection& c) { c.delim = '"', c.f90_rtl = false; },
     [](ItemList& l) { l.text("a\"b"); }, " a\"b\n"},
    {"compact", [](Connection& c) { c.compact = true; },
     [](ItemList& l) { l.logical4(1).int4(1).int8(-22).logical4(0).int1(-100).text("x"); }, " T 1 -22 F -100 x\n"},
    {"six integers fit, the seventh folds", as_is, [](ItemList& l) { l.array(9, kFive, 20).array(9, kFive, 12); },
     i12(1) + i12(-2) + i12(3) + i12(-4) + i12(5) + i12(1) + "\n" + i12(-2) + i12(3) + "\n", 3},
    {"a line of 80", as_is, [](ItemList& l) { l.int8(1).int8(1).int4(1).int4(1).int4(1).text("x"); },
     blanks(21) + "1" + blanks(21) + "1" + i12(1) + i12(1) + i12(1) + "\n x\n", 3},
    {"79 columns when compatible", [](Connection& c) { c.compat = true; },
     [](ItemList& l) { l.text(std::string(66, 'a')).int4(1).logical4(1).text("b"); },
     " " + std::string(66, 'a') + i12(1) + "\n T b\n", 3},
    {"80 columns when not", as_is, [](ItemList& l) { l.text(std::string(66, 'a')).int4(1).logical4(1); },
     " " + std::string(66, 'a') + i12(1) + "\n T\n", 3},
    {"text that just fits", as_is, [](ItemList& l) { l.text(std::string(79, 'a')); },
     " " + std::string(79, 'a') + "\n"},
    {"text one too long", as_is, [](ItemList& l) { l.text(std::string(80, 'a')); },
     " " + std::string(79, 'a') + "\n a\n", 3},
    {"text of three lines", as_is, [](ItemList& l) { l.text(std::string(200, 'a')).int4(7); },
     " " + std::string(79, 'a') + "\n " + std::string(79, 'a') + "\n " + std::string(42, 'a') + i12(7) + "\n", 4},
    {"text moves whole to the next line", as_is, [](ItemList& l) { l.int4(1).text(std::string(70, 'a')); },
     i12(1) + " \n " + std::string(70, 'a') + "\n", 3},
    {"text fills the line first", [](Connection& c) { c.msf_layout = true; },
     [](ItemList& l) { l.int4(1).text(std::string(70, 'a')); },
     i12(1) + " " + std::string(67, 'a') + "\n " + std::string(3, 'a') + "\n", 3},
    {"delimited text goes on without a blank", [](Connection& c) { c.delim = '"'; },
     [](ItemList& l) { l.text(std::string(100, 'a')); },
     " \"" + std::string(78, 'a') + "\n" + std::string(22, 'a') + "\"\n", 3},
    {"RECL counts", [](Connection& c) { c.recl = 20; }, [](ItemList& l) { l.text(std::string(45, 'a')); },
     " " + std::string(20, 'a') + "\n " + std::string(20, 'a') + "\n " + std::string(5, 'a') + "\n", 4},
    {"FORTRAN carriage control", [](Connection& c) { c.cc = CC_FORTRAN; }, [](ItemList& l) { l.text("abc").int4(1); },
     "abc" + i12(1) + "\r"},
    {"FORTRAN folds at 79 and the control column", [](Connection& c) { c.cc = CC_FORTRAN; },
     [](ItemList& l) { l.text(std::string(90, 'a')); }, std::string(79, 'a') + "\r\n" + std::string(11, 'a') + "\r", 3},
    {"FORTRAN, nothing", [](Connection& c) { c.cc = CC_FORTRAN; }, [](ItemList&) {}, "\r"},
    {"NONE on a stream type", [](Connection& c) { c.cc = CC_NONE, c.rectype = 5; }, [](ItemList& l) { l.text("ab"); },
     " ab"},
    {"CR", [](Connection& c) { c.rectype = 7; }, [](ItemList& l) { l.text("ab"); }, " ab\r"},
    {"CR LF", [](Connection& c) { c.rectype = 8; }, [](ItemList& l) { l.text("ab"); }, " ab\r\n"},
    {"fixed", [](Connection& c) { c.rectype = 1, c.cc = CC_NONE, c.recl = 6; }, [](ItemList& l) { l.text("abcdefgh"); },
     " abcde fgh  ", 3},
    {"variable", [](Connection& c) { c.rectype = 4, c.cc = CC_NONE; }, [](ItemList& l) { l.text("ab"); },
     std::string("\3\0\0\0 ab\3\0\0\0", 11)},
    {"stream access folds without a mark", [](Connection& c) { c.stream = true; },
     [](ItemList& l) { l.text(std::string(90, 'a')).int4(3); }, " " + std::string(90, 'a') + i12(3) + "\n", 3},
    {"one column", [](Connection& c) { c.recl = 1; }, [](ItemList& l) { l.text("ab"); }, " a\n b\n", 3},
};

TEST(WriteList, Layout) {
  for (bool buffered : {false, true}) {
    for (const Layout_Row& row : kLayouts) {
      Connection c;
      c.buffered = buffered;
      row.connect(c);
      List_Unit unit(c);
      EXPECT_EQ(unit.write(row.build), 0) << row.what;
      EXPECT_EQ(unit.text(), row.written) << row.what;
      EXPECT_EQ(unit.lub().lub_next_rec, row.next_rec) << row.what;
      EXPECT_EQ(unit.context().ctx_lub, nullptr) << row.what;
      // The next statement begins afresh.
      EXPECT_EQ(unit.write([](ItemList& l) { l.text("z"); }), 0) << row.what;
      EXPECT_EQ(unit.text().substr(0, row.written.size()), row.written) << row.what;
    }
  }
}

TEST(WriteList, OneStatementInManyCalls) {
  List_Unit unit;
  ItemList first, second, third;
  first.int4(1).text("a").more();
  second.text("b").int4(2).more();
  third.end();
  EXPECT_EQ(unit.write(first), 0);
  EXPECT_NE(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(unit.text(), "") << "the record is still open";
  EXPECT_EQ(for_write_seq_lis_xmit(&unit.context(), second.list(), second.args()), 0);
  EXPECT_EQ(for_write_seq_lis_xmit(&unit.context(), third.list(), third.args()), 0);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(unit.text(), i12(1) + " ab" + i12(2) + "\n");
}

TEST(WriteList, WrapMarginCanBeTurnedOff) {
  Connection c;
  c.buffer_size = 1000;
  List_Unit unit(c);
  unit.lub().lub_f_no_wrap_margin = 1;
  std::string expected = " ";
  EXPECT_EQ(unit.write([](ItemList& l) { l.text(std::string(500, 'a')).text(std::string(600, 'b')); }), 0);
  EXPECT_EQ(unit.text(), " " + std::string(500, 'a') + "\n " + std::string(600, 'b') + "\n");
}

TEST(WriteList, VirtualRecordGrowsForDelimitedText) {
  for (bool virtual_recl : {false, true}) {
    Connection c;
    c.delim = '\'';
    c.virtual_recl = virtual_recl;
    List_Unit unit(c);
    const std::string text(300, 'a');
    EXPECT_EQ(unit.write([&](ItemList& l) { l.text(text); }), virtual_recl ? 0 : MSG_WRITE_EXCEEDS_RECORD);
    if (virtual_recl) {
      EXPECT_EQ(unit.text(), " '" + std::string(78, 'a') + "\n" + std::string(80, 'a') + "\n" + std::string(80, 'a') +
                                 "\n" + std::string(62, 'a') + "'\n");
    }
  }
}

TEST(WriteList, OverlongNumbersStayInsideTheBuffer) {
  // Records shorter than a number: the number is written whole, as far as there is storage for it.
  for (i64 storage : {14, 16, 64}) {
    Connection c;
    c.recl = 4;
    c.buffer_size = storage;
    List_Unit unit(c);
    const int code = unit.write([](ItemList& l) { l.int4(5).int8(6); });
    EXPECT_EQ(code, storage < 24 ? MSG_RECORD_OVERFLOW : 0) << storage;
  }
}

TEST(WriteList, ControlListChangesOneStatement) {
  List_Unit unit;
  ControlList control;
  control.delim("quote").sign("PLUS").end();
  EXPECT_EQ(unit.write([](ItemList& l) { l.int4(5).text("a"); }, &control), 0);
  EXPECT_EQ(unit.write([](ItemList& l) { l.int4(5).text("a"); }), 0);
  EXPECT_EQ(unit.text(), blanks(10) + "+5 \"a\"\n" + i12(5) + " a\n");
  EXPECT_EQ(unit.lub().lub_delim, 0);
  EXPECT_EQ(unit.lub().lub_sign, 0);
}

TEST(WriteList, OpenRecordGoesOnOnItsUnit) {
  List_Unit unit;
  For_Lub& lub = unit.lub();
  // What a non-advancing statement leaves behind.
  EXPECT_EQ(unit.write([](ItemList& l) { l.text("first"); }), 0);
  memcpy(lub.lub_a_cursor, "open", 4);
  lub.lub_a_high_water = lub.lub_a_cursor += 4;
  lub.lub_a_file_info->fi_record_open = 1;
  lub.lub_a_file_info->saved_lub = &lub;
  EXPECT_EQ(unit.write([](ItemList& l) { l.int4(9); }), 0);
  EXPECT_EQ(unit.text(), " first\nopen" + i12(9) + "\n");
  EXPECT_EQ(lub.lub_a_file_info->fi_record_open, 0);
}

TEST(WriteList, OpenRecordOfAnotherUnitIsFinishedFirst) {
  const int fd = memory_file();
  Connected_Unit one(41, dup(fd), {}, "shared"), two(42, fd, {}, "shared");
  For_Lub& lub = one.lub();
  memcpy(lub.lub_a_cursor, "open", 4);
  lub.lub_a_high_water = lub.lub_a_cursor += 4;
  ASSERT_EQ(lub.lub_a_file_info, two.lub().lub_a_file_info);
  lub.lub_a_file_info->fi_record_open = 1;
  lub.lub_a_file_info->saved_lub = &lub;
  ItemList items;
  items.text("other").end();
  For_Context ctx{};
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 42, kIostat, items), 0);
  EXPECT_EQ(contents(fd), "open\n other\n");
  EXPECT_EQ(lub.lub_next_rec, 2);
}

TEST(WriteList, StreamPositions) {
  for (bool buffered : {false, true}) {
    Connection c;
    c.stream = true;
    c.buffered = buffered;
    List_Unit unit(c);
    ControlList at_four, at_end;
    at_four.pos(4).end();
    EXPECT_EQ(unit.write([](ItemList& l) { l.text("abcdef"); }), 0);
    EXPECT_EQ(unit.write([](ItemList& l) { l.text("ghi"); }), 0);
    EXPECT_EQ(unit.lub().lub_file_pos, 13);
    EXPECT_EQ(unit.write([](ItemList& l) { l.text("X"); }, &at_four), 0);
    EXPECT_EQ(unit.text(), " ab X\n") << "a formatted stream ends behind what was written last";
    EXPECT_EQ(unit.lub().lub_file_pos, 6);
  }
}

TEST(WriteList, ChildStatementsShareTheParentsRecord) {
  List_Unit unit;
  ItemList parent, rest;
  parent.int4(1).more();
  rest.int4(3).end();
  ASSERT_EQ(unit.write(parent), 0);
  For_Lub& lub = unit.lub();
  ++lub.lub_udio_depth;
  ItemList child;
  child.text("child").end();
  For_Context child_context{};
  EXPECT_EQ(first_call(for_write_seq_lis, child_context, unit.number(), kIostat, child), 0);
  EXPECT_EQ(child_context.ctx_lub, nullptr);
  ControlList pos;
  pos.pos(1).end();
  EXPECT_EQ(first_call(for_write_seq_lis, child_context, unit.number(), kIostat, child, &pos), MSG_UDIO_POS_OR_REC);
  --lub.lub_udio_depth;
  EXPECT_EQ(for_write_seq_lis_xmit(&unit.context(), rest.list(), rest.args()), 0);
  EXPECT_EQ(unit.text(), i12(1) + " child" + i12(3) + "\n");
}

}  // namespace
