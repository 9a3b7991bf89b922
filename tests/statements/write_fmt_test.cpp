// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted output: what each format makes of its items, byte for byte.

#include <math.h>
#include <stdarg.h>

#include <algorithm>
#include <random>
#include <vector>

#include "memory_unit.h"
#include "tamrun/compiled_format.h"
#include "tamrun/messages.h"

namespace {

const i32 kSix[] = {1, -2, 3, -4, 5, -6};
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

ItemList none() { return {}; }
ItemList one() { return ItemList().int4(1); }
ItemList two() { return ItemList().int4(1).int4(2); }
ItemList six(i64 count) { return ItemList().array(ITM_INTEGER4, kSix, 4 * count); }
ItemList real(double v) { return ItemList().real8(v); }
ItemList text(const std::string& t) { return ItemList().text(t); }
ItemList words(i64 bytes, i64 each) { return ItemList().array_elem(ITM_CHARACTER, kWords, bytes, each); }

struct Row {
  const char* format;
  ItemList items;
  std::string written;
};

const Row kValues[] = {
    // Descriptors with a width.
    {"(I5,I8,I3)", ItemList().int4(-42).int8(123456).int1(-7), printed("%5d%8d%3d\n", -42, 123456, -7)},
    {"(2F8.3,ES12.4)", real(3.14159).real4(-2.5f).real8(12345.678),
     printed("%8.3f%8.3f%12.4E\n", 3.14159, -2.5, 12345.678)},
    {"(A,A5,A2)", text("abc").text("xy").text("longer"), "abc   xylo\n"},
    {"(G12.4,G5.2,G3.1)", real(1.5).int4(7).logical4(-1), "   1.500        7  T\n"},
    {"(SP,I4,SS,I4,RU,F6.1,RD,F6.1)", two().real8(9.21).real8(9.29), "  +1   2   9.3   9.2\n"},
    {"(DC,F6.1,DP,2PF8.1,0P,F8.1)", real(1.5).real8(1.5).real8(1.5), "   1,5   150.0     1.5\n"},
    // Descriptors without one.
    {"(4I)", ItemList().int1(7).int2(8).int8(9).int4(1), printed("%7d%7d%23d%12d\n", 7, 8, 9, 1)},
    {"(F,E)", ItemList().real4(1.5f).real8(1.5), printed("%15.7f", 1.5) + "   0.1500000000000000E+01\n"},
    {"(EN)", real(1500.0), "    1.500000000000000E+03\n"},
    {"(ES)", ItemList().real4(1500.0f), printed("%15.7E\n", 1500.0)},
    {"(L)", ItemList().logical4(-1), " T\n"},
    {"(Z,O,Z)", ItemList().int1(10).int8(64).text("ab"), printed("%7X%23o%7s\n", 10, 64, "6261")},
    {"(B)", ItemList().int1(5), blanks(14) + "101\n"},
    {"(G,G,G)", ItemList().int4(3).text("xyz").logical4(0), printed("%12d", 3) + "xyz           F\n"},
    {"(G)", ItemList().real4(0.5f), "   .5000000    \n"},
    // Minimal forms.
    {"(I0,',',I0,',',I0)", ItemList().int4(0).int8(INT64_MIN).int1(127), "0,-9223372036854775808,127\n"},
    {"('[',I0.0,']',I0.4,SP,I0)", ItemList().int4(0).int4(-7).int4(7), "[ ]-0007+7\n"},
    {"(Z0,1X,O0,1X,B0,1X,Z0.6)", ItemList().int4(255).int4(8).int4(5).int4(255), "FF 10 101 0000FF\n"},
    {"(B0)", text("abcdefghij"), "1101010011010010110100001100111011001100110010101100100011000110110001001100001\n"},
    {"(F0.2,1X,F0.3,1X,F0.1)", real(0.5).real8(-123.4567).real4(-0.04f), ".50 -123.457 .0\n"},
    {"(F0.0)", real(1e22), "10000000000000000000000.\n"},
    {"(F0.220)", real(1e-200), printed("%.220f\n", 1e-200).substr(1)},
    {"(3(F0.1,1X))", real(INFINITY).real8(-INFINITY).real8(NAN), "Inf -Inf NaN\n"},
    {"(G0,',',G0,',',G0,G0.4,G0.3)", ItemList().int4(3).text(" a ").logical4(-1).real8(1.5).int4(42),
     "3, a ,T1.50042\n"},
    // Text and positions.
    {"('it''s',1X,\"q\",3Habc)", none(), "it's qabc\n"},
    {"(A)", text(""), "\n"},
    {"()", none(), "\n"},
    {"(I5)", none(), "\n"},
    {"('a',I3,'b',I3,'c')", one(), "a  1b\n"},
    {"(I2,10X)", one(), " 1\n"},
    {"(10X,A)", text(""), blanks(10) + "\n"},
    {"(T5,A,T1,A)", text("xy").text("ab"), "ab  xy\n"},
    {"('abcdef',TL3,'X')", none(), "abcXef\n"},
    {"(T200,'x')", none(), blanks(199) + "x\n"},
    {"(200X,I1)", one(), blanks(200) + "1\n"},
    // Records.
    {"(I3/)", one(), "  1\n\n"},
    {"(3/'a')", none(), "\n\n\na\n"},
    {"(A/5X)", text("a"), "a\n\n"},
    {"(4I3)", six(6), "  1 -2  3 -4\n  5 -6\n"},
    {"(3I3,I5)", six(6).int4(9), "  1 -2  3   -4\n  5 -6  9\n"},
    {"(I1,(I3,I4))", ItemList().int4(0).array(ITM_INTEGER4, kSix, 24), "0  1  -2\n  3  -4\n  5  -6\n"},
    {"('a',2(I2,'b'))", six(4), "a 1b-2b\n 3b-4b\n"},
    {"('a',*(I2,:,','))", six(3), "a 1,-2, 3\n"},
    // Sections, complex values, text arrays.
    {"(3I3)", ItemList().section(ITM_INTEGER4, kSix, {{1, 3, 8}}), "  1  3  5\n"},
    {"(I2,I3)", ItemList().section(ITM_INTEGER4, kSix, {{1, 2, 4}, {1, 2, 12}}), " 1 -2\n-4  5\n"},
    {"(2F5.1)", ItemList().array(ITM_COMPLEX8, kPairs, 16), "  1.0  2.0\n  3.0  4.0\n"},
    {"(F5.1,ES9.1)", ItemList().complex16(1, 20), "  1.0  2.0E+01\n"},
    {"(3(A4,'|'))", words(9, 3), " one| two| six|\n"},
    // Empty arrays.
    {"(I5)", six(0), "\n"},
    {"(I5)", one().array(ITM_INTEGER4, kSix, 0), "    1\n"},
    {"(I5)", one().section(ITM_INTEGER4, kSix, {{1, 0, 4}}), "    1\n"},
    {"(I5)", six(0).int4(1), "    1\n"},
    {"(I5)", one().array(ITM_INTEGER4, kSix, 0).int4(2), "    1\n    2\n"},
    {"(I5,'x')", one().array(ITM_INTEGER4, kSix, 0), "    1x\n"},
    {"(I5/)", one().array(ITM_INTEGER4, kSix, 0), "    1\n\n"},
    {"(I5,:,'x')", one().array(ITM_INTEGER4, kSix, 0), "    1\n"},
    {"()", six(0), "\n"},
    {"(A)", words(2, 0), "\n\n"},
    // A derived type whose components go one by one.
    {"(2I3)", ItemList().raw(64, 3, {0}).int4(1).raw(65, 1).raw(64, 3, {0}).int4(2).raw(65, 1), "  1  2\n"},
};

TEST(WriteFmt, Values) {
  for (bool buffered : {false, true}) {
    for (const Row& row : kValues) {
      SCOPED_TRACE(row.format);
      Memory_Unit unit({.buffered = buffered});
      EXPECT_EQ(unit.write(row.format, row.items), 0);
      EXPECT_EQ(unit.text(), row.written);
      EXPECT_EQ(unit.lub().lub_next_rec, 1 + std::count(row.written.begin(), row.written.end(), '\n'));
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
      EXPECT_EQ(unit.write("(A)", text("next")), 0);
      EXPECT_EQ(unit.text(), row.written + "next\n");
    }
  }
}

TEST(WriteFmt, OneCallPerItem) {
  struct Split_Row {
    const char* format;
    std::vector<ItemList> calls;
    std::string written;
  };
  const ItemList empty = six(0);
  const Split_Row rows[] = {
      {"(2I2)", {one(), two(), none(), none(), one()}, " 1 1\n 2 1\n"},
      {"(I2,:,'-')", {one(), one()}, " 1-\n 1\n"},
      {"(*(I2,:,'-'))", {one(), two()}, " 1- 1- 2\n"},
      {"(I2/I3)", {one(), two()}, " 1\n  1\n 2\n\n"},
      {"(I2,3/)", {one(), one()}, " 1\n\n\n\n 1\n\n\n\n"},
      {"(I2)", {one(), empty}, " 1\n"},
      {"(I2)", {empty, empty}, "\n"},
      {"(I2)", {two(), empty, empty, none()}, " 1\n 2\n"},
      {"('only')", {none(), none()}, "only\n"},
  };
  for (const Split_Row& row : rows) {
    SCOPED_TRACE(row.format);
    Memory_Unit unit;
    for (size_t i = 0; i < row.calls.size(); ++i) {
      ItemList items = row.calls[i];
      items.more();
      ASSERT_EQ(i == 0 ? unit.write(row.format, items) : unit.go_on(items), 0);
      ASSERT_NE(unit.context().ctx_lub, nullptr);
    }
    ASSERT_EQ(unit.go_on({}), 0);
    EXPECT_EQ(unit.text(), row.written);
    EXPECT_EQ(unit.go_on({}), 0) << "a statement that is over";
    EXPECT_EQ(unit.text(), row.written);
  }
}

// Small values take a shorter way than arrays do. Whatever way an item comes, the file and the result are the same.
TEST(WriteFmt, EveryWayOfAnItemGivesTheSame) {
  enum Form { kInline, kByAddress, kArrayOfOne, kCallPerItem, kForms };
  constexpr u8 kTypes[] = {ITM_INTEGER4, ITM_INTEGER8, ITM_REAL8, ITM_REAL4, ITM_CHARACTER, ITM_LOGICAL4, ITM_INTEGER2};
  std::mt19937_64 random(7);
  for (int round = 0; round < 12; ++round) {
    for (const char* format : {"(I8,1X,A,1X,F10.3)", "(3I5,2(A,I12),F8.2)", "(I5,T20,A,TL3,I4,TR2,F6.1)",
                               "(I5,:,' and ',I5,/,A)", "(SP,I6,SS,I6,1P,ES12.3,0P,F9.2)", "(I0,1X,F0.3,A)",
                               "(5X,G0,2X,G12.4)", "(I5.3,I5.0,L3,A2,Z8)", "(I3,200X,I3)", "(2(I4,3X,2(A,1X)),$)",
                               "(I5,5X)", "('text only')", "(EN12.2,E12.4E3,D12.3)", "(*(I12,','))", "(I2,A1)"}) {
      // Most lists hold one type or two, so that many formats take them.
      const u8 first = kTypes[random() % std::size(kTypes)], second = kTypes[random() % std::size(kTypes)];
      std::vector<u8> types(random() % 8);
      std::vector<std::string> values;
      for (u8& type : types) {
        type = random() % 2 ? first : second;
        const i64 number = static_cast<i64>(random()) >> (random() % 64);
        const double real = static_cast<double>(static_cast<i64>(random())) * 1e-14;
        values.push_back(type == ITM_REAL8       ? bytes_of(real)
                         : type == ITM_REAL4     ? bytes_of(static_cast<float>(real))
                         : type == ITM_CHARACTER ? std::string(1 + random() % 9, static_cast<char>('a' + random() % 26))
                                                 : bytes_of(number).substr(0, for__dsc_itm_table[type].size));
      }
      int result[kForms] = {};
      std::string written[kForms];
      for (int form = 0; form < kForms; ++form) {
        Memory_Unit unit;
        ItemList list;
        if (form == kCallPerItem) result[form] = unit.write(format, list.more());
        for (size_t i = 0; i < types.size(); ++i) {
          const void* const at = values[i].data();
          const i64 length = static_cast<i64>(values[i].size());
          if (form == kCallPerItem) list = {};
          if (form == kArrayOfOne) {
            list.array_elem(types[i], at, length, length);
          } else if (types[i] == ITM_CHARACTER) {
            list.scalar(types[i], at, length);
          } else if (form == kByAddress) {
            list.pointer(types[i], at);
          } else {
            list.inline_bytes(types[i], at, values[i].size());
          }
          if (form == kCallPerItem && result[form] == 0) result[form] = unit.go_on(list.more());
        }
        if (form != kCallPerItem) result[form] = unit.write(format, list);
        if (form == kCallPerItem && result[form] == 0) result[form] = unit.go_on({});
        written[form] = unit.text();
        EXPECT_EQ(result[form], result[0]) << format << " form " << form;
        EXPECT_EQ(written[form], written[0]) << format << " form " << form;
      }
    }
  }
}

// --- non-advancing output, $ and carriage control ----------------------------------------------------------------------

struct Step {
  const char* format;
  const char* item;               ///< one text
  const char* advance = nullptr;  ///< null: not given
};
struct Sequence_Row {
  const char* what;
  Connection connection;
  std::vector<Step> steps;
  std::string written;
};

const Connection kFortran = {.cc = CC_FORTRAN};

const Sequence_Row kSequences[] = {
    {"an open record goes on", {}, {{"(A)", "ab", "NO"}, {"(A)", "cd", "no  "}, {"(A)", "ef", "Yes"}}, "abcdef\n"},
    {"no ADVANCE= ends it", {}, {{"(A)", "ab", "NO"}, {"(A)", "cd"}, {"(A)", "ef"}}, "abcd\nef\n"},
    {"columns count from where the statement began",
     {},
     {{"(A)", "abc", "NO"}, {"(T3,A)", "x", "NO"}, {"(TL9,A)", "y"}},
     "abc  xy\n"},
    {"blanks at the end of a part stay", {}, {{"(A,2X)", "a", "NO"}, {"(A)", "b"}}, "a  b\n"},
    {"a slash ends a record of an open statement", {}, {{"(A/'x')", "a", "NO"}, {"(A)", "b"}}, "a\nxb\n"},
    {"and a console line", {.stream_kind = STREAM_CONSOLE_OUT}, {{"(A/'x')", "a", "NO"}, {"(A)", "b"}}, "a\nxb\n"},
    {"no terminator on an open console line",
     {.stream_kind = STREAM_CONSOLE_OUT},
     {{"(A)", "ab", "NO"}, {"(A)", "cd"}},
     "abcd\n"},
    {"$ leaves the line end off", {}, {{"(A,$)", "ab"}, {"(A)", "cd"}}, "abcd\n"},
    {"backslash too", {}, {{"(A,\\)", "ab"}, {"(A)", "cd"}}, "abcd\n"},
    {"$ keeps the record open when compatible", {.compat = true}, {{"(A,$)", "ab"}, {"(A)", "cd"}}, "abcd\n"},
    {"FORTRAN control characters",
     kFortran,
     {{"(A)", " one"}, {"(A)", "0two"}, {"(A)", "+three"}, {"(A)", "1four"}},
     "one\r\n\ntwo\rthree\r\ffour\r"},
    {"FORTRAN $ makes a prompt", kFortran, {{"(A,$)", " one"}, {"(A)", " two"}}, "one\ntwo\r"},
    {"FORTRAN $ on an overprinting line",
     kFortran,
     {{"(A)", " one"}, {"(A,$)", "+two"}, {"(A)", "+six"}},
     "one\rtwosix\r"},
    {"FORTRAN $ at the end of a part",
     kFortran,
     {{"(A)", " one", "NO"}, {"(A,$)", "two"}, {"(A)", " six"}},
     "onetwo\nsix\r"},
    {"NONE", {.rectype = RECTYPE_STREAM, .cc = CC_NONE}, {{"(A)", "ab"}, {"(A)", "c"}}, "abc"},
    {"CR LF", {.rectype = RECTYPE_STREAM_CRLF}, {{"(A/A)", "ab"}}, "ab\r\n\r\n"},
    {"fixed", {.rectype = RECTYPE_FIXED, .cc = CC_NONE, .recl = 4}, {{"(A)", "ab"}, {"(A)", "cdef"}}, "ab  cdef"},
    {"variable", {.rectype = RECTYPE_VARIABLE, .cc = CC_NONE}, {{"(A)", "ab"}}, std::string("\2\0\0\0ab\2\0\0\0", 10)},
};

TEST(WriteFmt, Sequences) {
  for (bool buffered : {false, true}) {
    for (const Sequence_Row& row : kSequences) {
      SCOPED_TRACE(row.what);
      Connection c = row.connection;
      c.buffered = buffered && c.stream_kind != STREAM_CONSOLE_OUT;
      Memory_Unit unit(c);
      for (const Step& step : row.steps) {
        EXPECT_EQ(step.advance ? unit.write_part(step.format, step.item, step.advance)
                               : unit.write(step.format, text(step.item)),
                  0);
      }
      EXPECT_EQ(unit.file().fi_record_open, 0);
      EXPECT_EQ(unit.text(), row.written);
    }
  }
  Memory_Unit unit;
  for (const char* answer : {"MAYBE", "", "Y", "NOT", " YES"}) {
    EXPECT_EQ(unit.write_part("(A)", "x", answer), MSG_INVALID_ARGUMENT) << answer;
    unit.expect_released();
  }
}

TEST(WriteFmt, AnOpenRecordIsFinishedForAnotherUnit) {
  const int fd = memory_file();
  Connected_Unit one(41, dup(fd), {}, "shared"), two(42, fd, {}, "shared");
  For_Context ctx{};
  const Format_Text format("(A)");
  const For_IO_Flags flags = kIostat | iof_format_text;
  EXPECT_EQ(
      first_call(for_write_seq_fmt, ctx, 41, flags | iof_advance_given, text("NO").text("open"), {}, format.argument()),
      0);
  EXPECT_EQ(contents(fd), "");
  EXPECT_EQ(first_call(for_write_seq_fmt, ctx, 42, flags, text("other"), {}, format.argument()), 0);
  EXPECT_EQ(contents(fd), "open\nother\n");
}

TEST(WriteFmt, RecordsGrow) {
  for (bool buffered : {false, true}) {
    Memory_Unit unit({.buffer_size = 150, .buffered = buffered});
    const std::string long_text(1000, 'a'), literal(700, 'b');
    EXPECT_EQ(unit.write("(A,'" + literal + "')", text(long_text)), 0);
    ItemList numbers;
    std::string expected = long_text + literal + "\n";
    for (int i = 0; i < 300; ++i) {
      numbers.int4(i);
      expected += printed("%5d", i);
    }
    EXPECT_EQ(unit.write("(300I5)", numbers), 0);
    EXPECT_EQ(unit.write("(T2000,'x',T1,I2)", one()), 0);
    EXPECT_TRUE(unit.text() == expected + "\n 1" + blanks(1997) + "x\n");
  }
}

TEST(WriteFmt, ControlListCompiledFormatsAndCoercion) {
  Memory_Unit unit;
  const ItemList items = real(1.19).int4(2);
  EXPECT_EQ(unit.write("(F6.1,I3)", items, kIostat, ControlList().decimal("COMMA").round("DOWN").sign("PLUS")), 0);
  EXPECT_EQ(unit.write("(F6.1,I3)", items), 0);
  // Short forms of compiled code: start, 2I4, 'x', end.
  const u8 compiled[] = {54, 0, 0, 0, 86, 2, 4, 0, 28, 0, 1, 0, 'x', 0, 0, 0, 55, 0, 0, 0};
  EXPECT_EQ(first_call(for_write_seq_fmt, unit.context(), 40, kIostat, six(3), {}, compiled), 0);
  const i32 bits = 0x40200000;  // 2.5
  EXPECT_EQ(unit.write("(F5.1)", ItemList().int4(bits), kIostat | iof_coerce_types), 0);
  EXPECT_EQ(unit.write("(I12)", ItemList().real4(2.5f), kIostat | iof_coerce_types), 0);
  EXPECT_EQ(unit.text(), "  +1,1 +2\n   1.2  2\n   1  -2x\n   3\n  2.5\n" + printed("%12d\n", bits));
}

TEST(WriteFmt, VariableFormatExpressionsWaitForTheirItems) {
  // I<n> whose n changes between the calls of the statement: start, I with an expression, its operand, end.
  i32 n = 3;
  u64 slots[1] = {reinterpret_cast<u64>(&n)};
  u8 compiled[52] = {1};
  const u8 edit[] = {36, FMTL_VFE_WIDTH, 0, 0, 1}, operand[] = {VFE_POINTER, VFE_INT32};
  memcpy(compiled + 12, edit, sizeof edit);
  memcpy(compiled + 30, operand, sizeof operand);
  compiled[40] = 2;
  Memory_Unit unit;
  unit.context().ctx_vfe_slots = slots;
  EXPECT_EQ(first_call(for_write_seq_fmt, unit.context(), 40, kIostat, one().more(), {}, compiled), 0);
  n = 6;
  ItemList second = ItemList().int4(2).end();
  EXPECT_EQ(for_write_seq_fmt_xmit(&unit.context(), second.list(), second.args()), 0);
  EXPECT_EQ(unit.text(), "  1\n     2\n");
}

TEST(WriteFmt, ChildStatementsGoOnInTheParentsRecord) {
  Memory_Unit unit;
  ASSERT_EQ(unit.write("(I2,I4)", one().more()), 0);
  For_Lub& lub = unit.lub();
  For_Fmt_Isb child_block = {}, *parent_block = lub.lub_a_fmt_isb;
  lub.lub_a_fmt_isb = &child_block;
  ++lub.lub_udio_depth;
  For_Context ctx{};
  EXPECT_EQ(first_call(for_write_seq_fmt, ctx, 40, kIostat | iof_format_text, text("child"), {},
                       Format_Text("(T2,A3)").argument()),
            0);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  --lub.lub_udio_depth;
  lub.lub_a_fmt_isb = parent_block;
  EXPECT_EQ(unit.go_on(ItemList().int4(3)), 0);
  EXPECT_EQ(unit.text(), " chi   3\n");
}

}  // namespace
