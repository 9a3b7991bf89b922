// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted input: fields, short records, PAD=, ADVANCE=, EOR= and SIZE=, and how it fails.

#include <fcntl.h>
#include <math.h>

#include <random>
#include <vector>

#include "core/thread_storage.h"
#include "fmt_unit.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Fail_Vm;
using tamrun_test::vm_live_blocks;

constexpr i32 kUntouched = -999;
constexpr int kEnd = -1, kEor = -2;

struct Integer_Row {
  const char* format;
  const char* file;
  std::vector<i32> values;
  i64 next_rec = 2;
};

const Integer_Row kIntegers[] = {
    {"(2I5)", "1,2\n", {1, 2}},
    {"(2I5)", "1,,3\n", {1, 0}},
    {"(3I12)", "1,          2,3\n", {1, 2, 3}},
    {"(I3,I3)", "  1 -2\n", {1, -2}},
    {"(I5)", "12\n", {12}},
    {"(I5)", "12", {12}},
    {"(I5)", "\n", {0}},
    {"(I5)", "12\r\n", {12}},
    {"(I2)", "1\n22\n333\n", {1, 22, 33}, 4},
    {"(I1/I1)", "1x\n2\n", {1, 2}, 3},
    {"(I1,2/I1)", "1x\n\n2\n", {1, 2}, 4},
    {"(2X,I2)", "ab12\n", {12}},
    {"(T3,I2,T1,I2)", "1234\n", {34, 12}},
    {"(I4,TL2,I2)", "1234\n", {1234, 34}},
    {"(I1,10X,TL10,I1)", "12\n", {1, 2}},
    {"(T40,I2,T2,I1)", "12\n", {0, 2}},
    {"(I1,TR9,I3)", "12\n", {1, 0}},
    {"(I2,:,I2)", "1234\n", {12}},
    {"(BZ,I3)", "1 2\n", {102}},
    {"(BN,I3)", "1 2\n", {12}},
    {"('abc',I2)", "xyz12\n", {12}},
    {"(3Habc,I2)", "x\n", {0}},
    {"(I2,Q)", "12abcde\n", {12, 5}},
    {"(T9,Q)", "12\n", {0}},
    {"(I2,$)", "12\n", {12}},
    {"(I)", "          42xxx\n", {42}},
    {"(I0,I2)", "          4213\n", {42, 13}},
    {"(Z4,O3,B4)", "00FF0171010\n", {255, 15, 10}},
    {"(G5.0,L1,L2)", "   42TF.\n", {42, -1, 0}},
    {"(I1,(I1,I2))", "1234\n567\n", {1, 2, 34, 5, 67}, 3},
    {"(*(I1))", "1234\n", {1, 2, 3}},
    {"(SP,RU,1P,I2)", "12\n", {12}},
};

TEST(ReadFmt, Integers) {
  for (bool split : {false, true}) {
    for (const Integer_Row& row : kIntegers) {
      SCOPED_TRACE(row.format);
      Fmt_Unit unit({}, row.file);
      unit.lub().lub_f_blank_null = 1;
      std::vector<i32> got(row.values.size(), kUntouched);
      if (split) {
        ItemList first;
        first.pointer(9, &got[0]).more();
        ASSERT_EQ(unit.read_items(row.format, first), 0);
        for (size_t i = 1; i < got.size(); ++i) {
          ItemList items;
          items.pointer(9, &got[i]).more();
          ASSERT_EQ(unit.read_more(items), 0);
        }
        ItemList last;
        last.end();
        ASSERT_EQ(unit.read_more(last), 0);
        EXPECT_EQ(unit.read_more(last), 0) << "a statement that is over";
      } else {
        EXPECT_EQ(unit.read(row.format, [&](ItemList& l) { l.array(9, got.data(), 4 * got.size()); }), 0);
      }
      EXPECT_EQ(got, row.values);
      EXPECT_EQ(unit.lub().lub_next_rec, row.next_rec);
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
    }
  }
}

TEST(ReadFmt, DecimalCommaMakesTheSemicolonTheSeparator) {
  Fmt_Unit unit({}, "1,5;2,5\n1,5;2,5\n1.5,2.5;\n");
  double got[2] = {};
  const Build two = [&](ItemList& l) { l.array(48, got, 16); };
  EXPECT_EQ(unit.read("(DC,2F5.0)", two), 0);
  EXPECT_EQ(got[0] + 10 * got[1], 26.5);
  ControlList control;
  control.decimal("COMMA").end();
  EXPECT_EQ(unit.read("(2F5.0)", two, kText, &control), 0);
  EXPECT_EQ(got[0] + 10 * got[1], 26.5);
  unit.lub().lub_decimal = DECIMAL_COMMA;
  EXPECT_EQ(unit.read("(DP,2F5.0)", two, kText), MSG_INPUT_CONVERSION) << "2.5; is no number";
  EXPECT_EQ(got[0], 1.5);
}

struct Text_Row {
  const char* format;
  const char* file;
  size_t length;
  const char* value;
};

const Text_Row kTexts[] = {
    {"(A)", "abcdef\n", 4, "abcd"},  {"(A)", "ab\n", 4, "ab  "},           {"(A2)", "abcd\n", 4, "ab  "},
    {"(A5)", "abcdefg\n", 3, "cde"}, {"(A10)", "abc\n", 10, "abc       "}, {"(A)", "a,b;c\n", 5, "a,b;c"},
    {"(A5)", "\n", 5, "     "},      {"(G4.0)", "a,bc\n", 4, "a   "},      {"(T3,A2)", "abcd\n", 2, "cd"},
    {"(2X,A)", "a\n", 2, "  "},      {"(A600)", "xy\n", 2, "  "},
};

TEST(ReadFmt, Texts) {
  for (const Text_Row& row : kTexts) {
    SCOPED_TRACE(row.format);
    Fmt_Unit unit({}, row.file);
    std::string got(row.length, '#');
    EXPECT_EQ(unit.read(row.format, [&](ItemList& l) { l.scalar(56, got.data(), row.length); }), 0);
    EXPECT_EQ(got, row.value);
  }
}

// --- records that end too early -------------------------------------------------------------------------------------

struct Cell {
  const char* what;
  bool f90, pad, advance;
  For_IO_Flags flags;
  const char* file;
  const char* format;
  std::vector<const char*> values;  ///< of items of four characters
  int code;
  i32 size;                    ///< kUntouched: no SIZE=
  const char* then = nullptr;  ///< four characters that the next READ gets
};

const Cell kCells[] = {
    {"PAD fills", true, true, true, 0, "ab\ncdef\n", "(A4)", {"ab  "}, 0, 2, "cdef"},
    {"PAD fills every field", true, true, true, 0, "ab\ncdef\n", "(2A4)", {"ab  ", "    "}, 0, 2, "cdef"},
    {"no PAD", true, false, true, 0, "ab\ncdef\n", "(A4)", {"####"}, MSG_INPUT_TOO_MUCH_DATA, 0, "cdef"},
    {"no PAD, just enough", true, false, true, 0, "abcd\nefgh\n", "(A4)", {"abcd"}, 0, 4, "efgh"},
    {"EOR behind a padded field", true, true, false, iof_eor, "ab\ncdef\n", "(A4)", {"ab  "}, kEor, 2, "cdef"},
    {"EOR by IOSTAT=", true, true, false, 0, "ab\ncdef\n", "(A4)", {"ab  "}, kEor, 2, "cdef"},
    {"EOR with nothing left", true, true, false, 0, "abcd\nefgh\n", "(2A4)", {"abcd", "####"}, kEor, 4, "efgh"},
    {"EOR without PAD", true, false, false, iof_eor, "ab\ncdef\n", "(A4)", {"####"}, kEor, 0, "cdef"},
    {"EOR in the second field", true, true, false, 0, "abcdef\nghij\n", "(2A4)", {"abcd", "ef  "}, kEor, 6, "ghij"},
    {"no EOR", true, true, false, 0, "abcdefgh\n", "(A4)", {"abcd"}, 0, 4, "efgh"},
    {"a separator is counted", true, true, false, 0, "12,3\n", "(I4)", {"\14\0\0\0"}, 0, 3, "3   "},
    {"f77rtl with PAD takes what is there", false, true, true, 0, "ab\ncdef\n", "(A4)", {"ab  "}, 0, 2, "cdef"},
    {"f77rtl without PAD takes what is there", false, false, true, 0, "ab\ncdef\n", "(A4)", {"ab  "}, 0, 2, "cdef"},
    {"f77rtl non-advancing", false, true, false, 0, "ab\ncdef\n", "(A4)", {"ab  "}, kEor, 2, "cdef"},
    {"end of file", true, true, true, 0, "", "(A4)", {"####"}, kEnd, kUntouched},
    {"end of file with END=", true, true, false, iof_end, "", "(A4)", {"####"}, kEnd, kUntouched},
    {"end of file at a slash", true, true, true, 0, "abcd\n", "(A4/A4)", {"abcd", "####"}, kEnd, 4},
    {"end of file when the format starts over", true, true, true, 0, "abcd\n", "(A4)", {"abcd", "####"}, kEnd, 4},
};

TEST(ReadFmt, ShortRecords) {
  for (const Cell& cell : kCells) {
    SCOPED_TRACE(cell.what);
    Connection c;
    c.f90_rtl = cell.f90;
    Fmt_Unit unit(c, cell.file);
    unit.lub().lub_f_pad = cell.pad;
    char got[2][5] = {"####", "####"};
    i32 size = kUntouched;
    For_IO_Flags flags = kIostat | iof_format_text | iof_advance_given | iof_size_given | cell.flags;
    if (!cell.f90) flags &= ~For_IO_Flags{iof_f90_rtl};
    if (cell.advance) flags &= ~For_IO_Flags{iof_eor};
    const bool number = std::string(cell.format) == "(I4)";
    const Build build = [&](ItemList& l) {
      l.text(cell.advance ? "YES" : "NO").pointer(9, &size);
      for (size_t i = 0; i < cell.values.size(); ++i) {
        if (number) {
          l.pointer(9, got[i]);
        } else {
          l.scalar(56, got[i], 4);
        }
      }
    };
    EXPECT_EQ(unit.read(cell.format, build, flags), cell.code);
    for (size_t i = 0; i < cell.values.size(); ++i) {
      EXPECT_EQ(std::string(got[i], 4), std::string(cell.values[i], 4));
    }
    EXPECT_EQ(size, cell.size);
    EXPECT_EQ(unit.context().ctx_lub, nullptr);
    if (cell.then == nullptr) continue;
    unit.lub().lub_f_pad = 1;
    EXPECT_EQ(unit.read("(A4)", [&](ItemList& l) { l.scalar(56, got[0], 4); }), 0);
    EXPECT_STREQ(got[0], cell.then);
  }
}

TEST(ReadFmt, F77WithoutPadTakesTheRestFromThenOn) {
  Connection c;
  c.f90_rtl = false;
  Fmt_Unit unit(c, "12345\n67\n");
  unit.lub().lub_f_pad = 0;
  i32 got[3] = {};
  EXPECT_EQ(unit.read(
                "(I3,I3/I1)", [&](ItemList& l) { l.array(9, got, 12); }, kText & ~For_IO_Flags{iof_f90_rtl}),
            0);
  EXPECT_EQ(got[0], 123);
  EXPECT_EQ(got[1], 45);
  EXPECT_EQ(got[2], 67);
}

TEST(ReadFmt, AnEmptyListAtTheEndOfTheFile) {
  for (bool advance : {true, false}) {
    Fmt_Unit unit;
    const For_IO_Flags flags = kText | iof_advance_given;
    const Build build = [&](ItemList& l) { l.text(advance ? "YES" : "NO"); };
    EXPECT_EQ(unit.read("(A)", build, flags), advance ? 0 : kEnd);
    EXPECT_EQ(unit.context().ctx_lub, nullptr);
  }
}

TEST(ReadFmt, SizeVariablesOfEveryKind) {
  for (u8 type : {5, 6, 7, 9, 10, 11, 12, 16, 17}) {
    Fmt_Unit unit({}, "abc\n");
    i64 size = -1;
    char text[9] = "########";
    const Build build = [&](ItemList& l) { l.pointer(type, &size).scalar(56, text, 8); };
    EXPECT_EQ(unit.read("(A8)", build, kText | iof_size_given), 0);
    const int bytes = for__dsc_itm_table[type].size;
    i64 expected = -1;
    memset(&expected, 0, bytes);
    memcpy(&expected, "\3", 1);
    EXPECT_EQ(size, expected) << int{type};
  }
}

// --- sequences ------------------------------------------------------------------------------------------------------

TEST(ReadFmt, NonAdvancingReadsGoOnInTheirRecord) {
  Fmt_Unit unit({}, "abcdefgh\nsecond\n");
  char text[5] = "";
  const auto read_part = [&](const char* format) {
    return unit.read(
        format, [&](ItemList& l) { l.text("NO").scalar(56, text, 4); }, kText | iof_advance_given);
  };
  EXPECT_EQ(read_part("(A2)"), 0);
  EXPECT_STREQ(text, "ab  ");
  EXPECT_EQ(unit.lub().lub_file_pos, 2);
  EXPECT_EQ(read_part("(T2,A2)"), 0) << "columns count from where the statement began";
  EXPECT_STREQ(text, "de  ");
  EXPECT_EQ(unit.read("(A1)", [&](ItemList& l) { l.scalar(56, text, 4); }), 0);
  EXPECT_STREQ(text, "f   ");
  EXPECT_EQ(read_part("(A3)"), 0);
  EXPECT_STREQ(text, "sec ");
  EXPECT_EQ(read_part("(A4)"), kEor);
  EXPECT_STREQ(text, "ond ");
  EXPECT_EQ(read_part("(A4)"), kEnd);
}

TEST(ReadFmt, CharacterByCharacter) {
  const std::string file = "ab\n\ncd,e\n";
  Fmt_Unit unit({}, file);
  std::string got;
  for (;;) {
    char c = '?';
    const int code = unit.read(
        "(A1)", [&](ItemList& l) { l.text("NO").scalar(56, &c, 1); }, kText | iof_advance_given);
    if (code == kEnd) break;
    ASSERT_TRUE(code == 0 || code == kEor);
    got += code == kEor ? '\n' : c;
  }
  EXPECT_EQ(got, file);
}

TEST(ReadFmt, ReadsAndWritesInTurns) {
  Fmt_Unit unit({}, "first\nsecond\nthird\n");
  char text[7] = "";
  const Build three = [&](ItemList& l) { l.scalar(56, text, 6); };
  const Build part = [&](ItemList& l) { l.text("NO").scalar(56, text, 6); };
  EXPECT_EQ(unit.read("(A3)", part, kText | iof_advance_given), 0);
  EXPECT_EQ(unit.write("(A)", [](ItemList& l) { l.text("NEW"); }), 0) << "the record that was being read is dropped";
  EXPECT_EQ(unit.file().fi_read_open, 0);
  EXPECT_EQ(unit.text(), "first\nNEW\nnd\nthird\n");
  EXPECT_EQ(unit.read("(A)", three), 0);
  EXPECT_STREQ(text, "nd    ");
  // An open written record goes out before input; a non-advancing READ must not follow it.
  EXPECT_EQ(unit.write_part("(A)", [](ItemList& l) { l.text("ope"); }), 0);
  EXPECT_EQ(unit.read("(A3)", part, kText | iof_advance_given), MSG_READ_AFTER_NONADVANCING_WRITE);
  EXPECT_EQ(unit.write_part("(A)", [](ItemList& l) { l.text("x"); }), 0);
  EXPECT_EQ(unit.read("(A)", three), kEnd);
  EXPECT_EQ(unit.file().fi_record_open, 0);
  EXPECT_EQ(unit.text(), "first\nNEW\nnd\nope\nx\n");
}

TEST(ReadFmt, StreamPositions) {
  Connection c;
  c.stream = true;
  Fmt_Unit unit(c, "abcdef\nghi\n");
  char text[4] = "";
  ControlList at_three;
  at_three.pos(3).end();
  EXPECT_EQ(unit.read("(A3)", [&](ItemList& l) { l.scalar(56, text, 3); }), 0);
  EXPECT_EQ(unit.lub().lub_file_pos, 7);
  EXPECT_EQ(unit.read(
                "(A3)", [&](ItemList& l) { l.scalar(56, text, 3); }, kText, &at_three),
            0);
  EXPECT_STREQ(text, "cde");
  EXPECT_EQ(unit.read("(A3)", [&](ItemList& l) { l.scalar(56, text, 3); }), 0);
  EXPECT_STREQ(text, "ghi");
}

TEST(ReadFmt, ChildStatementsGoOnInTheParentsRecord) {
  Fmt_Unit unit({}, "12345678\n90\n");
  i32 got[3] = {};
  ItemList parent, rest, child;
  parent.pointer(9, &got[0]).more();
  rest.pointer(9, &got[2]).end();
  child.array(9, &got[1], 4).end();
  ASSERT_EQ(unit.read_items("(I2,I3)", parent), 0);
  For_Lub& lub = unit.lub();
  For_Fmt_Isb child_block = {}, *parent_block = lub.lub_a_fmt_isb;
  lub.lub_a_fmt_isb = &child_block;
  ++lub.lub_udio_depth;
  For_Context ctx{};
  const For_Fmt_Text format = {7, "(1X,I2)"};
  EXPECT_EQ(formatted_call(for_read_seq_fmt, ctx, 40, kText, child, &format), 0);
  --lub.lub_udio_depth;
  lub.lub_a_fmt_isb = parent_block;
  unit.file().fi_read_open = 0;
  EXPECT_EQ(unit.read_more(rest), 0);
  EXPECT_EQ(got[0] * 10000 + got[1] * 1000 + got[2], 12 * 10000 + 45 * 1000 + 678);
}

// --- failures -------------------------------------------------------------------------------------------------------

struct Failure_Row {
  const char* what;
  const char* file;
  std::function<void(Connection&)> connect;
  std::function<void(For_Lub&)> adjust;
  const char* format;
  For_IO_Flags flags;
  Build build;
  int code;
};

i32 number;
double real;
void same(Connection&) {}
void leave(For_Lub&) {}
void one(ItemList& l) { l.pointer(9, &number); }

const Failure_Row kFailures[] = {
    {"format text", "1\n", same, leave, "(I5", 0, one, MSG_FORMAT_SYNTAX},
    {"no data edit", "1\n2\n", same, leave, "('a')", 0, one, MSG_NO_DATA_EDIT},
    {"conversion", "x1\n", same, leave, "(I2)", 0, one, MSG_INPUT_CONVERSION},
    {"integer by F", "1\n", same, leave, "(F5.1)", 0, one, MSG_FORMAT_TYPE_MISMATCH},
    {"real by I", "1\n", same, leave, "(I5)", 0, [](ItemList& l) { l.pointer(48, &real); }, MSG_FORMAT_TYPE_MISMATCH},
    {"real by Q", "1\n", same, leave, "(Q)", 0, [](ItemList& l) { l.pointer(48, &real); }, MSG_FORMAT_TYPE_MISMATCH},
    {"number by DT", "1\n", same, leave, "(DT)", 0, one, MSG_FORMAT_TYPE_MISMATCH},
    {"derived type that needs DT", "1\n", same, leave, "(I5)", 0, [](ItemList& l) { l.raw(66, 3, {0}); },
     MSG_NEEDS_DT_EDIT},
    {"malformed item", "1\n", same, leave, "(I5)", 0, [](ItemList& l) { l.raw(9, 0); }, MSG_INVALID_ARGUMENT},
    {"EOR= and ADVANCE='YES'", "1\n", same, leave, "(I5)", iof_advance_given | iof_eor,
     [](ItemList& l) { one(l.text("YES")); }, MSG_EOR_WITH_ADVANCE},
    {"EOR= and SIZE= alone", "1\n", same, leave, "(I5)", iof_size_given | iof_eor,
     [](ItemList& l) { one(l.pointer(9, &number)); }, MSG_EOR_WITH_ADVANCE},
    {"all branches", "1\n", same, leave, "(I5)", iof_size_given | iof_eor | iof_err | iof_end,
     [](ItemList& l) { one(l.pointer(9, &number)); }, 0},
    {"SIZE= of a real", "1\n", same, leave, "(I5)", iof_size_given, [](ItemList& l) { one(l.pointer(48, &real)); },
     MSG_SIZE_NOT_INTEGER},
    {"ADVANCE='PERHAPS'", "1\n", same, leave, "(I5)", iof_advance_given, [](ItemList& l) { one(l.text("PERHAPS")); },
     MSG_INVALID_ARGUMENT},
    {"keyed unit", "1\n", same, [](For_Lub& u) { u.lub_f_keyed = 1; }, "(I5)", 0, one, MSG_MIXED_ACCESS},
    {"unformatted unit", "1\n", same, [](For_Lub& u) { u.lub_f_formatted = 0, u.lub_f_unformatted = 1; }, "(I5)", 0,
     one, MSG_MIXED_ACCESS},
    {"direct unit", "1\n", [](Connection& c) { c.direct = true; }, leave, "(I5)", 0, one, MSG_MIXED_ACCESS},
    {"no file", "", same,
     [](For_Lub& u) {
       close(u.lub_fd);
       u.lub_fd = open("/", O_RDONLY);
     },
     "(I5)", 0, one, MSG_READ_ERROR},
};

TEST(ReadFmtFailure, MessagesAndRelease) {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
  for (const Failure_Row& row : kFailures) {
    SCOPED_TRACE(row.what);
    Connection c;
    row.connect(c);
    Fmt_Unit unit(c, row.file);
    row.adjust(unit.lub());
    const long blocks = vm_live_blocks();
    EXPECT_EQ(unit.read(row.format, row.build, kText | row.flags), row.code);
    EXPECT_EQ(vm_live_blocks(), blocks);
    EXPECT_EQ(unit.context().ctx_lub, nullptr);
    unit.lub().lub_f_formatted = 1;
  }
}

TEST(ReadFmtFailure, AfterAConversionErrorTheFieldIsPassed) {
  Fmt_Unit unit({}, "xx12\n34\n");
  i32 size = kUntouched, got = 0;
  const Build build = [&](ItemList& l) { l.text("NO").pointer(9, &size).pointer(9, &got); };
  const For_IO_Flags flags = kText | iof_advance_given | iof_size_given;
  EXPECT_EQ(unit.read("(I2)", build, flags), MSG_INPUT_CONVERSION);
  EXPECT_EQ(size, 2);
  EXPECT_EQ(unit.read("(I2)", build, flags), 0);
  EXPECT_EQ(got, 12);
}

TEST(ReadFmtFailure, EveryAllocationThatFails) {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
  bool hit = true;
  int n = 1;
  for (; hit; ++n) {
    ASSERT_LT(n, 20);
    Connection c;
    c.buffer_size = 64;
    Fmt_Unit unit(c, std::string(200, 'a') + "\n");
    char text[4];
    const long blocks = vm_live_blocks();
    int code;
    {
      const Fail_Vm fail(n);
      code = unit.read("(A700)", [&](ItemList& l) { l.scalar(56, text, 4); });
      hit = fail.hit();
    }
    EXPECT_TRUE(hit ? code == MSG_NO_MEMORY || code == MSG_NO_BUFFER_MEMORY : code == 0) << n << ": " << code;
    EXPECT_EQ(vm_live_blocks(), blocks);
  }
  EXPECT_GT(n, 3);
}

// --- what is written reads back -------------------------------------------------------------------------------------

TEST(FmtRoundTrip, RandomValuesAndFormats) {
  std::mt19937_64 random(71);
  const auto below = [&](u64 n) { return static_cast<int>(random() % n); };
  for (long round = 0; round < soak_cases(400); ++round) {
    const int count = 1 + below(20), per_record = 1 + below(6);
    const char letter = "FEGI"[below(4)];
    Connection c;
    c.buffered = below(2);
    c.buffer_size = 300 + below(3000);
    const std::string n = std::to_string(per_record);
    std::string format = "(" + n;
    if (letter == 'I') format += "(I12,1X))";
    if (letter == 'F') format += "F30.8)";
    if (letter == 'E') format += "(E26.17E3,:,','))";
    if (letter == 'G') format += "G30.17E3)";
    std::vector<double> reals(count), reals_back(count);
    std::vector<i32> integers(count), integers_back(count);
    for (int i = 0; i < count; ++i) {
      integers[i] = static_cast<i32>(random()) >> below(31);
      const double fraction = static_cast<double>(static_cast<i64>(random())) / 9e18;
      reals[i] = letter == 'F' ? static_cast<double>(integers[i]) / 256 : ldexp(fraction, below(1200) - 600);
    }
    Fmt_Unit unit(c);
    const bool integer = letter == 'I';
    ASSERT_EQ(unit.write(format,
                         [&](ItemList& l) {
                           integer ? l.array(9, integers.data(), 4 * count) : l.array(48, reals.data(), 8 * count);
                         }),
              0);
    (void)unit.text();
    lseek(unit.lub().lub_fd, 0, SEEK_SET);
    ASSERT_EQ(unit.read(format,
                        [&](ItemList& l) {
                          integer ? l.array(9, integers_back.data(), 4 * count)
                                  : l.array(48, reals_back.data(), 8 * count);
                        }),
              0)
        << format << unit.text();
    if (integer) {
      ASSERT_EQ(integers, integers_back) << format << unit.text();
    } else {
      ASSERT_EQ(reals, reals_back) << format << unit.text();
    }
  }
}

}  // namespace
