// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted output: what each format makes of its items, byte for byte.

#include <math.h>
#include <stdarg.h>

#include <algorithm>
#include <vector>

#include "fmt_unit.h"
#include "tamrun/messages.h"

namespace {

void none(ItemList&) {}
void as_is(Connection&) {}

const i32 kEight[] = {1, -2, 3, -4, 5, -6, 7, -8};
const double kReals[] = {0.5, -1.25, 1000.0, 3.0e-5};
const char kWords[] = "onetwosix";
const float kPairs[] = {1, 2, 3, 4};

std::string printed(const char* format, ...) {
  char text[400];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

struct Row {
  const char* format;
  Build build;
  std::string written;
};

const Row kValues[] = {
    // Descriptors with a width.
    {"(I5,I8,I3)", [](ItemList& l) { l.int4(-42).int8(123456).int1(-7); }, printed("%5d%8d%3d\n", -42, 123456, -7)},
    {"(I5.3)", [](ItemList& l) { l.int4(-4); }, " -004\n"},
    {"(2F8.3)", [](ItemList& l) { l.real8(3.14159).real4(-2.5f); }, printed("%8.3f%8.3f\n", 3.14159, -2.5)},
    {"(ES12.4)", [](ItemList& l) { l.real8(12345.678); }, printed("%12.4E\n", 12345.678)},
    {"(A,A5,A2)", [](ItemList& l) { l.text("abc").text("xy").text("longer"); }, "abc   xylo\n"},
    {"(L3,L1)", [](ItemList& l) { l.logical4(-1).logical4(0); }, "  TF\n"},
    {"(Z8.8,O6,B5)", [](ItemList& l) { l.int4(-1).int4(8).int4(5); }, "FFFFFFFF    10  101\n"},
    {"(G12.4,G5.2,G3.1)", [](ItemList& l) { l.real8(1.5).int4(7).logical4(-1); }, "   1.500        7  T\n"},
    {"(1PE12.3,F6.2)", [](ItemList& l) { l.real8(12.5).real8(0.25); }, "   1.250E+01  2.50\n"},
    // Descriptors without one.
    {"(I)", [](ItemList& l) { l.int4(7); }, printed("%12d\n", 7)},
    {"(4I)", [](ItemList& l) { l.int1(7).int2(8).int8(9).int4(1); }, printed("%7d%7d%23d%12d\n", 7, 8, 9, 1)},
    {"(F,E)", [](ItemList& l) { l.real4(1.5f).real8(1.5); }, printed("%15.7f", 1.5) + "   0.1500000000000000E+01\n"},
    {"(EN)", [](ItemList& l) { l.real8(1500.0); }, "    1.500000000000000E+03\n"},
    {"(ES)", [](ItemList& l) { l.real4(1500.0f); }, printed("%15.7E\n", 1500.0)},
    {"(D)", [](ItemList& l) { l.real4(1.5f); }, "  0.1500000D+01\n"},
    {"(L)", [](ItemList& l) { l.logical4(-1); }, " T\n"},
    {"(Z,O)", [](ItemList& l) { l.int1(10).int8(64); }, printed("%7X%23o\n", 10, 64)},
    {"(Z)", [](ItemList& l) { l.text("ab"); }, "   6261\n"},
    {"(B)", [](ItemList& l) { l.int1(5); }, blanks(14) + "101\n"},
    {"(G,G,G)", [](ItemList& l) { l.int4(3).text("xyz").logical4(0); }, printed("%12d", 3) + "xyz           F\n"},
    {"(G)", [](ItemList& l) { l.real4(0.5f); }, "   .5000000    \n"},
    // Minimal forms.
    {"(I0)", [](ItemList& l) { l.int4(0); }, "0\n"},
    {"(I0,',',I0,',',I0)", [](ItemList& l) { l.int4(-12).int8(INT64_MIN).int1(127); },
     "-12,-9223372036854775808,127\n"},
    {"('[',I0.0,']')", [](ItemList& l) { l.int4(0); }, "[ ]\n"},
    {"(I0.4,1X,I0.4)", [](ItemList& l) { l.int4(7).int4(-7); }, "0007 -0007\n"},
    {"(I0.15)", [](ItemList& l) { l.int4(-5); }, "-000000000000005\n"},
    {"(SP,I0)", [](ItemList& l) { l.int4(7); }, "+7\n"},
    {"(Z0,1X,O0,1X,B0,1X,Z0.6)", [](ItemList& l) { l.int4(255).int4(8).int4(5).int4(255); }, "FF 10 101 0000FF\n"},
    {"(B0)", [](ItemList& l) { l.text("abcdefghij"); },
     "1101010011010010110100001100111011001100110010101100100011000110110001001100001\n"},
    {"(F0.2)", [](ItemList& l) { l.real8(0.5); }, ".50\n"},
    {"(F0.3,1X,F0.1)", [](ItemList& l) { l.real8(-123.4567).real4(-0.04f); }, "-123.457 .0\n"},
    {"(F0.0)", [](ItemList& l) { l.real8(1e22); }, "10000000000000000000000.\n"},
    {"(F0.220)", [](ItemList& l) { l.real8(1e-200); }, printed("%.220f\n", 1e-200).substr(1)},
    {"(3(F0.1,1X))", [](ItemList& l) { l.real8(INFINITY).real8(-INFINITY).real8(NAN); }, "Inf -Inf NaN\n"},
    {"(F0.2)", [](ItemList& l) { l.real16(12.25); }, "12.25\n"},
    {"(G0,',',G0,',',G0)", [](ItemList& l) { l.int4(3).text(" a b ").logical4(-1); }, "3, a b ,T\n"},
    {"(G0.4)", [](ItemList& l) { l.real8(1.5); }, "1.500\n"},
    {"('<',G0.3,'>')", [](ItemList& l) { l.int4(42); }, "<42>\n"},
    // Text, positions, modes.
    {"('it''s',1X,\"q\",3Habc)", none, "it's qabc\n"},
    {"(A)", [](ItemList& l) { l.text(""); }, "\n"},
    {"()", none, "\n"},
    {"(I5)", none, "\n"},
    {"('a',I3,'b',I3,'c')", [](ItemList& l) { l.int4(1); }, "a  1b\n"},
    {"('a',I3,:,'b')", [](ItemList& l) { l.int4(1); }, "a  1\n"},
    {"(I2,3X,I2)", [](ItemList& l) { l.int4(1).int4(2); }, " 1    2\n"},
    {"(I2,10X)", [](ItemList& l) { l.int4(1); }, " 1\n"},
    {"(10X,A)", [](ItemList& l) { l.text(""); }, blanks(10) + "\n"},
    {"(T5,A,T1,A)", [](ItemList& l) { l.text("xy").text("ab"); }, "ab  xy\n"},
    {"('abcdef',TL3,'X')", none, "abcXef\n"},
    {"('ab',TR2,'c')", none, "ab  c\n"},
    {"(T200,'x')", none, blanks(199) + "x\n"},
    {"(200X,I1)", [](ItemList& l) { l.int4(1); }, blanks(200) + "1\n"},
    {"(F6.1)", [](ItemList& l) { l.real8(9.25); }, printed("%6.1f\n", 9.25)},
    {"(RU,F6.1,RD,F6.1)", [](ItemList& l) { l.real8(9.21).real8(9.29); }, "   9.3   9.2\n"},
    {"(DC,F6.1,DP,F6.1)", [](ItemList& l) { l.real8(1.5).real8(2.5); }, "   1,5   2.5\n"},
    {"(SP,I4,SS,I4)", [](ItemList& l) { l.int4(1).int4(2); }, "  +1   2\n"},
    {"(2PF8.1,0P,F8.1)", [](ItemList& l) { l.real8(1.5).real8(1.5); }, "   150.0     1.5\n"},
    // Records.
    {"(I3/I3)", [](ItemList& l) { l.int4(1).int4(2); }, "  1\n  2\n"},
    {"(I3/)", [](ItemList& l) { l.int4(1); }, "  1\n\n"},
    {"(3/'a')", none, "\n\n\na\n"},
    {"(A/5X)", [](ItemList& l) { l.text("a"); }, "a\n\n"},
    {"(I3)", [](ItemList& l) { l.array(9, kEight, 12); }, "  1\n -2\n  3\n"},
    {"(4I3)", [](ItemList& l) { l.array(9, kEight, 32); }, "  1 -2  3 -4\n  5 -6  7 -8\n"},
    {"(4I3)", [](ItemList& l) { l.array(9, kEight, 24); }, "  1 -2  3 -4\n  5 -6\n"},
    {"(3I3,I5)", [](ItemList& l) { l.array(9, kEight, 24).int4(9); }, "  1 -2  3   -4\n  5 -6  9\n"},
    {"(I1,(I3,I4))", [](ItemList& l) { l.int4(0).array(9, kEight, 24); }, "0  1  -2\n  3  -4\n  5  -6\n"},
    {"('a',2(I2,'b'))", [](ItemList& l) { l.array(9, kEight, 16); }, "a 1b-2b\n 3b-4b\n"},
    {"('a',*(I2,:,','))", [](ItemList& l) { l.array(9, kEight, 12); }, "a 1,-2, 3\n"},
    {"('x',I2)", [](ItemList& l) { l.int4(1).int4(2); }, "x 1\nx 2\n"},
    // Sections, complex values, text arrays.
    {"(3I3)",
     [](ItemList& l) {
       l.section(9, kEight, {{1, 3, 8}});
     },
     "  1  3  5\n"},
    {"(2F5.1)", [](ItemList& l) { l.array(29, kPairs, 16); }, "  1.0  2.0\n  3.0  4.0\n"},
    {"(F5.1,ES9.1)", [](ItemList& l) { l.complex16(1, 20); }, "  1.0  2.0E+01\n"},
    {"(3A4)", [](ItemList& l) { l.array_elem(56, kWords, 9, 3); }, " one two six\n"},
    {"(3(A,'|'))", [](ItemList& l) { l.array_elem(56, kWords, 9, 3); }, "one|two|six|\n"},
    // Empty arrays.
    {"(I5)", [](ItemList& l) { l.array(9, kEight, 0); }, "\n"},
    {"(I5)", [](ItemList& l) { l.int4(1).array(9, kEight, 0); }, "    1\n"},
    {"(I5)",
     [](ItemList& l) {
       l.int4(1).section(9, kEight, {{1, 0, 4}});
     },
     "    1\n"},
    {"(I5)", [](ItemList& l) { l.array(9, kEight, 0).int4(1); }, "    1\n"},
    {"(I5)", [](ItemList& l) { l.int4(1).array(9, kEight, 0).int4(2); }, "    1\n    2\n"},
    {"(I5,'x')", [](ItemList& l) { l.int4(1).array(9, kEight, 0); }, "    1x\n"},
    {"(I5/)", [](ItemList& l) { l.int4(1).array(9, kEight, 0); }, "    1\n\n"},
    {"(I5,:,'x')", [](ItemList& l) { l.int4(1).array(9, kEight, 0); }, "    1\n"},
    {"()", [](ItemList& l) { l.array(9, kEight, 0); }, "\n"},
    {"(A)", [](ItemList& l) { l.array_elem(56, kWords, 2, 0); }, "\n\n"},
    // A derived type whose components go one by one.
    {"(2I3)", [](ItemList& l) { l.raw(64, 3, {0}).int4(1).raw(65, 1).raw(64, 3, {0}).int4(2).raw(65, 1); }, "  1  2\n"},
    {"(I3)", [](ItemList& l) { l.raw(64, 3, {0}).int4(1).raw(65, 1); }, "  1\n"},
};

TEST(WriteFmt, Values) {
  for (bool buffered : {false, true}) {
    for (const Row& row : kValues) {
      SCOPED_TRACE(row.format);
      Connection c;
      c.buffered = buffered;
      Fmt_Unit unit(c);
      EXPECT_EQ(unit.write(row.format, row.build), 0);
      EXPECT_EQ(unit.text(), row.written);
      EXPECT_EQ(unit.lub().lub_next_rec, 1 + std::count(row.written.begin(), row.written.end(), '\n'));
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
      EXPECT_EQ(unit.write("(A)", [](ItemList& l) { l.text("next"); }), 0);
      EXPECT_EQ(unit.text(), row.written + "next\n");
    }
  }
}

/// The first `n` items of the list as one call each: type 2 behind every item.
TEST(WriteFmt, OneCallPerItem) {
  struct Split_Row {
    const char* format;
    std::vector<Build> calls;
    std::string written;
  };
  const Build one = [](ItemList&l) { l.int4(1); }, two = [](ItemList&l) { l.int4(2).int4(3); },
              empty = [](ItemList&l) { l.array(9, kEight, 0); };
  const Split_Row rows[] = {
      {"(I2)", {one, one}, " 1\n 1\n"},
      {"(4I2)", {one, two, one}, " 1 2 3 1\n"},
      {"(2I2)", {one, two, one}, " 1 2\n 3 1\n"},
      {"(2I2)", {one, two, none, none, one}, " 1 2\n 3 1\n"},
      {"('a',I2,'b')", {one, one}, "a 1b\na 1b\n"},
      {"(I2,:,'-')", {one, one}, " 1-\n 1\n"},
      {"(*(I2,:,'-'))", {one, two}, " 1- 2- 3\n"},
      {"(I2/I3)", {one, two}, " 1\n  2\n 3\n\n"},
      {"(I2,3/)", {one, one}, " 1\n\n\n\n 1\n\n\n\n"},
      {"(I2)", {one, empty}, " 1\n"},
      {"(I2)", {empty, one}, " 1\n"},
      {"(I2)", {empty, empty}, "\n"},
      {"(I2)", {two, empty, empty, none}, " 2\n 3\n"},
      {"('only')", {none, none}, "only\n"},
      {"(I0,1X)", {one, two}, "1\n2\n3\n"},
      {"(3I0)", {one, two}, "123\n"},
  };
  for (const Split_Row& row : rows) {
    SCOPED_TRACE(row.format);
    Fmt_Unit unit;
    ItemList first;
    row.calls[0](first);
    first.more();
    ASSERT_EQ(unit.write_items(row.format, first), 0);
    for (size_t i = 1; i < row.calls.size(); ++i) {
      ItemList items;
      row.calls[i](items);
      items.more();
      ASSERT_EQ(unit.write_more(items), 0);
      ASSERT_NE(unit.context().ctx_lub, nullptr);
    }
    ItemList last;
    last.end();
    ASSERT_EQ(unit.write_more(last), 0);
    EXPECT_EQ(unit.text(), row.written);
    EXPECT_EQ(unit.write_more(last), 0) << "a statement that is over";
    EXPECT_EQ(unit.text(), row.written);
  }
}

// --- non-advancing output, $ and carriage control ----------------------------------------------------------------------

struct Step {
  const char* format;
  const char* item;     ///< one text
  const char* advance;  ///< null: not given
};
struct Sequence_Row {
  const char* what;
  std::function<void(Connection&)> connect;
  std::vector<Step> steps;
  std::string written;
};

void console(Connection& c) { c.stream_kind = STREAM_CONSOLE_OUT; }
void fortran(Connection& c) { c.cc = CC_FORTRAN; }

const Sequence_Row kSequences[] = {
    {"an open record goes on", as_is, {{"(A)", "ab", "NO"}, {"(A)", "cd", "no  "}, {"(A)", "ef", "Yes"}}, "abcdef\n"},
    {"no ADVANCE= ends it", as_is, {{"(A)", "ab", "NO"}, {"(A)", "cd", nullptr}, {"(A)", "ef", nullptr}}, "abcd\nef\n"},
    {"columns count from where the statement began",
     as_is,
     {{"(A)", "abc", "NO"}, {"(T3,A)", "x", "NO"}, {"(TL9,A)", "y", nullptr}},
     "abc  xy\n"},
    {"blanks at the end of a part stay", as_is, {{"(A,2X)", "a", "NO"}, {"(A)", "b", nullptr}}, "a  b\n"},
    {"a slash ends a record of an open statement", as_is, {{"(A/'x')", "a", "NO"}, {"(A)", "b", nullptr}}, "a\nxb\n"},
    {"no terminator on an open console line", console, {{"(A)", "ab", "NO"}, {"(A)", "cd", nullptr}}, "abcd\n"},
    {"$ leaves the line end off", as_is, {{"(A,$)", "ab", nullptr}, {"(A)", "cd", nullptr}}, "abcd\n"},
    {"backslash too", as_is, {{"(A,\\)", "ab", nullptr}, {"(A)", "cd", nullptr}}, "abcd\n"},
    {"$ keeps the record open when compatible",
     [](Connection& c) { c.compat = true; },
     {{"(A,$)", "ab", nullptr}, {"(A)", "cd", nullptr}},
     "abcd\n"},
    {"FORTRAN control characters",
     fortran,
     {{"(A)", " one", nullptr}, {"(A)", "0two", nullptr}, {"(A)", "+three", nullptr}, {"(A)", "1four", nullptr}},
     "one\r\n\ntwo\rthree\r\ffour\r"},
    {"FORTRAN $ makes a prompt", fortran, {{"(A,$)", " one", nullptr}, {"(A)", " two", nullptr}}, "one\ntwo\r"},
    {"FORTRAN $ on an overprinting line",
     fortran,
     {{"(A)", " one", nullptr}, {"(A,$)", "+two", nullptr}, {"(A)", "+six", nullptr}},
     "one\rtwosix\r"},
    {"FORTRAN $ at the end of a part",
     fortran,
     {{"(A)", " one", "NO"}, {"(A,$)", "two", nullptr}, {"(A)", " six", nullptr}},
     "onetwo\nsix\r"},
    {"NONE",
     [](Connection& c) { c.cc = CC_NONE, c.rectype = RECTYPE_STREAM; },
     {{"(A)", "ab", nullptr}, {"(A)", "c", nullptr}},
     "abc"},
    {"CR LF", [](Connection& c) { c.rectype = RECTYPE_STREAM_CRLF; }, {{"(A/A)", "ab", nullptr}}, "ab\r\n\r\n"},
    {"fixed",
     [](Connection& c) { c.cc = CC_NONE, c.rectype = RECTYPE_FIXED, c.recl = 4; },
     {{"(A)", "ab", nullptr}, {"(A)", "cdef", nullptr}},
     "ab  cdef"},
    {"variable",
     [](Connection& c) { c.cc = CC_NONE, c.rectype = RECTYPE_VARIABLE; },
     {{"(A)", "ab", nullptr}},
     std::string("\2\0\0\0ab\2\0\0\0", 10)},
};

TEST(WriteFmt, Sequences) {
  for (bool buffered : {false, true}) {
    for (const Sequence_Row& row : kSequences) {
      SCOPED_TRACE(row.what);
      Connection c;
      row.connect(c);
      c.buffered = buffered && c.stream_kind != STREAM_CONSOLE_OUT;
      Fmt_Unit unit(c);
      for (const Step& step : row.steps) {
        const Build build = [&](ItemList& l) { l.text(step.item); };
        EXPECT_EQ(step.advance ? unit.write_part(step.format, build, step.advance) : unit.write(step.format, build), 0);
      }
      EXPECT_EQ(unit.file().fi_record_open, 0);
      EXPECT_EQ(unit.text(), row.written);
    }
  }
}

TEST(WriteFmt, AnOpenRecordIsFinishedForAnotherUnit) {
  const int fd = memory_file();
  Connected_Unit one(41, dup(fd), {}, "shared"), two(42, fd, {}, "shared");
  For_Context ctx{};
  ItemList part, other;
  part.text("NO").text("open").end();
  other.text("other").end();
  const For_Fmt_Text format = {3, "(A)"};
  EXPECT_EQ(formatted_call(for_write_seq_fmt, ctx, 41, kText | iof_advance_given, part, &format), 0);
  EXPECT_EQ(contents(fd), "");
  EXPECT_EQ(formatted_call(for_write_seq_fmt, ctx, 42, kText, other, &format), 0);
  EXPECT_EQ(contents(fd), "open\nother\n");
}

TEST(WriteFmt, RecordsGrow) {
  for (bool buffered : {false, true}) {
    Connection c;
    c.buffer_size = 150;
    c.buffered = buffered;
    Fmt_Unit unit(c);
    const std::string text(1000, 'a'), literal(700, 'b');
    EXPECT_EQ(unit.write("(A,'" + literal + "')", [&](ItemList& l) { l.text(text); }), 0);
    EXPECT_EQ(unit.write("(300I5)",
                         [&](ItemList& l) {
                           for (int i = 0; i < 300; ++i) l.int4(i);
                         }),
              0);
    EXPECT_EQ(unit.write("(T2000,'x',T1,I2)", [&](ItemList& l) { l.int4(5); }), 0);
    std::string expected = text + literal + "\n";
    for (int i = 0; i < 300; ++i) expected += printed("%5d", i);
    EXPECT_TRUE(unit.text() == expected + "\n 5" + blanks(1997) + "x\n");
  }
}

TEST(WriteFmt, ControlListAndCompiledFormats) {
  Fmt_Unit unit;
  ControlList control;
  control.decimal("COMMA").round("DOWN").sign("PLUS").end();
  EXPECT_EQ(unit.write(
                "(F6.1,I3)", [](ItemList& l) { l.real8(1.19).int4(2); }, kText, &control),
            0);
  EXPECT_EQ(unit.write("(F6.1,I3)", [](ItemList& l) { l.real8(1.19).int4(2); }), 0);
  // Short forms of compiled code: start, 2I4, 'x', end.
  const u8 compiled[] = {54, 0, 0, 0, 86, 2, 4, 0, 28, 0, 1, 0, 'x', 0, 0, 0, 55, 0, 0, 0};
  ItemList items;
  items.array(9, kEight, 12).end();
  EXPECT_EQ(formatted_call(for_write_seq_fmt, unit.context(), 40, kIostat, items, compiled), 0);
  EXPECT_EQ(unit.text(), "  +1,1 +2\n   1.2  2\n   1  -2x\n   3\n");
}

TEST(WriteFmt, CoercedTypesReadTheBits) {
  Fmt_Unit unit;
  const i32 bits = 0x40200000;  // 2.5
  EXPECT_EQ(unit.write(
                "(F5.1)", [&](ItemList& l) { l.int4(bits); }, kText | iof_coerce_types),
            0);
  EXPECT_EQ(unit.write(
                "(I12)", [&](ItemList& l) { l.real4(2.5f); }, kText | iof_coerce_types),
            0);
  EXPECT_EQ(unit.text(), "  2.5\n" + printed("%12d\n", bits));
}

TEST(WriteFmt, VariableFormatExpressionsWaitForTheirItems) {
  // I<n> whose n changes between the calls of the statement.
  u64 slots[1] = {};
  i32 n = 3;
  slots[0] = reinterpret_cast<u64>(&n);
  const u8 compiled[] = {1,           0,
                         0,           0,
                         0,           0,
                         0,           0,
                         0,           0,
                         0,           0,  //
                         36,          FMTL_VFE_WIDTH,
                         0,           0,
                         1,           0,
                         0,           0,
                         0,           0,
                         0,           0,  //
                         0,           0,
                         0,           0,
                         0,           0,
                         VFE_POINTER, VFE_INT32,
                         0,           0,
                         0,           0,
                         0,           0,
                         0,           0,  //
                         2,           0,
                         0,           0,
                         0,           0,
                         0,           0,
                         0,           0,
                         0,           0};
  Fmt_Unit unit;
  unit.context().ctx_vfe_slots = slots;
  ItemList first, second, last;
  first.int4(1).more();
  second.int4(2).more();
  last.end();
  EXPECT_EQ(formatted_call(for_write_seq_fmt, unit.context(), 40, kIostat, first, compiled), 0);
  n = 6;
  EXPECT_EQ(unit.write_more(second), 0);
  EXPECT_EQ(unit.write_more(last), 0);
  EXPECT_EQ(unit.text(), "  1\n     2\n");
}

TEST(WriteFmt, ChildStatementsGoOnInTheParentsRecord) {
  Fmt_Unit unit;
  ItemList parent, rest, child;
  parent.int4(1).more();
  rest.int4(3).end();
  ASSERT_EQ(unit.write_items("(I2,I4)", parent), 0);
  For_Lub& lub = unit.lub();
  For_Fmt_Isb child_block = {}, *parent_block = lub.lub_a_fmt_isb;
  lub.lub_a_fmt_isb = &child_block;
  ++lub.lub_udio_depth;
  child.text("child").end();
  For_Context ctx{};
  const For_Fmt_Text format = {7, "(T2,A3)"};
  EXPECT_EQ(formatted_call(for_write_seq_fmt, ctx, 40, kText, child, &format), 0);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  --lub.lub_udio_depth;
  lub.lub_a_fmt_isb = parent_block;
  EXPECT_EQ(unit.write_more(rest), 0);
  EXPECT_EQ(unit.text(), " chi   3\n");
}

}  // namespace
