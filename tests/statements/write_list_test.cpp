// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed output of text, integers and logicals: layout, folding, records.

#include "memory_unit.h"
#include "tamrun/messages.h"

namespace {

std::string i12(long v) {
  char text[32];
  snprintf(text, sizeof text, "%12ld", v);
  return text;
}
std::string a(size_t n) { return std::string(n, 'a'); }

ItemList one() { return ItemList().int4(1); }
ItemList text(const std::string& t) { return ItemList().text(t); }

struct Layout_Row {
  const char* what;
  Connection connection;
  ItemList items;
  std::string written;
  int next_rec = 2;
};

const i32 kFive[] = {1, -2, 3, -4, 5};
const char kWords[] = "onetwosix";
const Connection kFortran = {.cc = CC_FORTRAN};

const Layout_Row kLayouts[] = {
    {"nothing", {}, {}, " \n"},
    {"every integer kind",
     {},
     ItemList().int1(-128).int2(-32768).int4(INT32_MIN).int8(INT64_MIN),
     " -128 -32768" + i12(INT32_MIN) + "  -9223372036854775808\n"},
    {"unsigned kinds",
     {},
     ItemList()
         .inline_value(ITM_UNSIGNED1, u8{255})
         .inline_value(ITM_UNSIGNED2, u16{65535})
         .inline_value(ITM_UNSIGNED4, ~u32{0})
         .inline_value(ITM_UNSIGNED8, ~u64{0}),
     "  255  65535  4294967295  18446744073709551615\n"},
    {"the other field table",
     {.msf_layout = true},
     ItemList().int1(-1).int2(2).int4(3).int8(4),
     i12(-1) + i12(2) + i12(3) + blanks(21) + "4\n"},
    {"logicals",
     {},
     ItemList()
         .inline_value(ITM_LOGICAL1, i8{-1})
         .inline_value(ITM_LOGICAL2, i16{0})
         .logical4(-1)
         .inline_value(ITM_LOGICAL8, i64{0})
         .inline_value(ITM_LOGICAL, i32{-1}),
     " T F T F T\n"},
    {"number, then texts", {}, one().text("abc").text("d"), i12(1) + " abcd\n"},
    {"text, then number", {}, text("abc").int4(1), " abc" + i12(1) + "\n"},
    {"no blank wanted", {.no_char_blank = true}, one().text("abc"), i12(1) + "abc\n"},
    {"f77rtl: no separator", {.f90_rtl = false}, one().text("abc"), i12(1) + "abc\n"},
    {"empty text", {}, text(""), " \n"},
    {"empty text between", {}, text("a").text("").int4(2).text("").text("b"), " a" + i12(2) + " b\n"},
    {"empty array", {}, ItemList().array(ITM_INTEGER4, kFive, 0), " \n"},
    {"empty arrays among others",
     {},
     one().array(ITM_INTEGER4, kFive, 0).section(ITM_INTEGER4, kFive, {{1, 0, 4}}),
     i12(1) + "\n"},
    {"backwards", {}, ItemList().section(ITM_INTEGER4, kFive + 4, {{1, 3, -8}}), i12(5) + i12(3) + i12(1) + "\n"},
    {"text array", {}, ItemList().array_elem(ITM_CHARACTER, kWords, 9, 3), " onetwosix\n"},
    {"array of empty text", {}, ItemList().array_elem(ITM_CHARACTER, kWords, 9, 0).int4(1), " " + i12(1) + "\n"},
    {"quotes", {.delim = '"'}, text("a\"b").text("").text("c"), " \"a\"\"b\" \"\" \"c\"\n"},
    {"apostrophes behind a number", {.delim = '\''}, one().text("it's"), i12(1) + " 'it''s'\n"},
    {"f77rtl knows no delimiter", {.delim = '"', .f90_rtl = false}, text("a\"b"), " a\"b\n"},
    {"compact",
     {.compact = true},
     ItemList().logical4(1).int4(1).int8(-22).logical4(0).int1(-100).text("x"),
     " T 1 -22 F -100 x\n"},
    {"six integers fit, the seventh folds",
     {},
     ItemList().array(ITM_INTEGER4, kFive, 20).array(ITM_INTEGER4, kFive, 12),
     i12(1) + i12(-2) + i12(3) + i12(-4) + i12(5) + i12(1) + "\n" + i12(-2) + i12(3) + "\n",
     3},
    {"a line of 80",
     {},
     ItemList().int8(1).int8(1).int4(1).int4(1).int4(1).text("x"),
     blanks(21) + "1" + blanks(21) + "1" + i12(1) + i12(1) + i12(1) + "\n x\n",
     3},
    {"79 columns when compatible",
     {.compat = true},
     text(a(66)).int4(1).logical4(1).text("b"),
     " " + a(66) + i12(1) + "\n T b\n",
     3},
    {"80 columns when not", {}, text(a(66)).int4(1).logical4(1), " " + a(66) + i12(1) + "\n T\n", 3},
    {"text that just fits", {}, text(a(79)), " " + a(79) + "\n"},
    {"text one too long", {}, text(a(80)), " " + a(79) + "\n a\n", 3},
    {"text of three lines", {}, text(a(200)).int4(7), " " + a(79) + "\n " + a(79) + "\n " + a(42) + i12(7) + "\n", 4},
    {"text moves whole to the next line", {}, one().text(a(70)), i12(1) + " \n " + a(70) + "\n", 3},
    {"text fills the line first",
     {.msf_layout = true},
     one().text(a(70)),
     i12(1) + " " + a(67) + "\n " + a(3) + "\n",
     3},
    {"delimited text goes on without a blank", {.delim = '"'}, text(a(100)), " \"" + a(78) + "\n" + a(22) + "\"\n", 3},
    {"RECL counts", {.recl = 20}, text(a(45)), " " + a(20) + "\n " + a(20) + "\n " + a(5) + "\n", 4},
    {"FORTRAN carriage control", kFortran, text("abc").int4(1), "abc" + i12(1) + "\r"},
    {"FORTRAN folds at 79 and the control column", kFortran, text(a(90)), a(79) + "\r\n" + a(11) + "\r", 3},
    {"FORTRAN, nothing", kFortran, {}, "\r"},
    {"NONE on a stream type", {.rectype = RECTYPE_STREAM, .cc = CC_NONE}, text("ab"), " ab"},
    {"CR", {.rectype = RECTYPE_STREAM_CR}, text("ab"), " ab\r"},
    {"fixed", {.rectype = RECTYPE_FIXED, .cc = CC_NONE, .recl = 6}, text("abcdefgh"), " abcde fgh  ", 3},
    {"variable", {.rectype = RECTYPE_VARIABLE, .cc = CC_NONE}, text("ab"), std::string("\3\0\0\0 ab\3\0\0\0", 11)},
    {"stream access folds without a mark", {.stream = true}, text(a(90)).int4(3), " " + a(90) + i12(3) + "\n", 3},
    {"one column", {.recl = 1}, text("ab"), " a\n b\n", 3},
};

TEST(WriteList, Layout) {
  for (bool buffered : {false, true}) {
    for (const Layout_Row& row : kLayouts) {
      SCOPED_TRACE(row.what);
      Connection c = row.connection;
      c.buffered = buffered;
      Memory_Unit unit(c);
      EXPECT_EQ(unit.write(row.items), 0);
      EXPECT_EQ(unit.text(), row.written);
      EXPECT_EQ(unit.lub().lub_next_rec, row.next_rec);
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
      // The next statement begins afresh.
      EXPECT_EQ(unit.write(text("z")), 0);
      EXPECT_EQ(unit.text().substr(0, row.written.size()), row.written);
    }
  }
}

TEST(WriteList, OneStatementInManyCalls) {
  Memory_Unit unit;
  EXPECT_EQ(unit.write(one().text("a").more()), 0);
  EXPECT_NE(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(unit.text(), "") << "the record is still open";
  EXPECT_EQ(unit.go_on(text("b").int4(2).more()), 0);
  EXPECT_EQ(unit.go_on({}), 0);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(unit.text(), i12(1) + " ab" + i12(2) + "\n");
}

TEST(WriteList, WrapMarginCanBeTurnedOff) {
  Memory_Unit unit({.buffer_size = 1000});
  unit.lub().lub_f_no_wrap_margin = 1;
  EXPECT_EQ(unit.write(text(a(500)).text(std::string(600, 'b'))), 0);
  EXPECT_EQ(unit.text(), " " + a(500) + "\n " + std::string(600, 'b') + "\n");
}

TEST(WriteList, VirtualRecordGrowsForDelimitedText) {
  EXPECT_EQ(Memory_Unit({.delim = '\''}).write(text(a(300))), MSG_WRITE_EXCEEDS_RECORD);
  Memory_Unit unit({.delim = '\'', .virtual_recl = true});
  EXPECT_EQ(unit.write(text(a(300))), 0);
  EXPECT_EQ(unit.text(), " '" + a(78) + "\n" + a(80) + "\n" + a(80) + "\n" + a(62) + "'\n");
}

TEST(WriteList, OverlongNumbersStayInsideTheBuffer) {
  // Records shorter than a number: the number is written whole, as far as there is storage for it.
  for (i64 storage : {14, 16, 64}) {
    Memory_Unit unit({.recl = 4, .buffer_size = storage});
    EXPECT_EQ(unit.write(ItemList().int4(5).int8(6)), storage < 24 ? MSG_RECORD_OVERFLOW : 0) << storage;
  }
}

TEST(WriteList, ControlListChangesOneStatement) {
  Memory_Unit unit;
  const ItemList items = ItemList().int4(5).text("a");
  EXPECT_EQ(unit.write(items, kIostat, ControlList().delim("quote").sign("PLUS")), 0);
  EXPECT_EQ(unit.write(items), 0);
  EXPECT_EQ(unit.text(), blanks(10) + "+5 \"a\"\n" + i12(5) + " a\n");
}

TEST(WriteList, OpenRecordGoesOnOnItsUnit) {
  Memory_Unit unit;
  EXPECT_EQ(unit.write_part("(A)", "open"), 0);
  EXPECT_EQ(unit.write(ItemList().int4(9)), 0);
  EXPECT_EQ(unit.text(), "open" + i12(9) + "\n");
  EXPECT_EQ(unit.file().fi_record_open, 0);
}

TEST(WriteList, StreamPositions) {
  for (bool buffered : {false, true}) {
    Memory_Unit unit({.stream = true, .buffered = buffered});
    EXPECT_EQ(unit.write(text("abcdef")), 0);
    EXPECT_EQ(unit.write(text("ghi")), 0);
    EXPECT_EQ(unit.lub().lub_file_pos, 13);
    EXPECT_EQ(unit.write(text("X"), kIostat, ControlList().pos(4)), 0);
    EXPECT_EQ(unit.text(), " ab X\n") << "a formatted stream ends behind what was written last";
    EXPECT_EQ(unit.lub().lub_file_pos, 6);
  }
}

TEST(WriteList, ChildStatementsShareTheParentsRecord) {
  Memory_Unit unit;
  ASSERT_EQ(unit.write(one().more()), 0);
  ++unit.lub().lub_udio_depth;
  For_Context child{};
  EXPECT_EQ(first_call(for_write_seq_lis, child, unit.number(), kIostat, text("child")), 0);
  EXPECT_EQ(child.ctx_lub, nullptr);
  EXPECT_EQ(first_call(for_write_seq_lis, child, unit.number(), kIostat, text("child"), ControlList().pos(1)),
            MSG_UDIO_POS_OR_REC);
  --unit.lub().lub_udio_depth;
  EXPECT_EQ(unit.go_on(ItemList().int4(3)), 0);
  EXPECT_EQ(unit.text(), i12(1) + " child" + i12(3) + "\n");
}

}  // namespace
