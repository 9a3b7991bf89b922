// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted input: fields, short records, PAD=, ADVANCE=, EOR= and SIZE=.

#include <math.h>

#include <random>
#include <vector>

#include "memory_unit.h"
#include "support/soak.h"
#include "tamrun/messages.h"

namespace {

constexpr i32 kUntouched = -999;

struct Row {
  const char* format;
  const char* file;
  const char* variables;  ///< letters of Variables
  const char* values;
  i64 next_rec = 2;
};

const Row kRows[] = {
    {"(2I5)", "1,2\n", "ii", "1 2"},
    {"(2I5)", "1,,3\n", "ii", "1 0"},
    {"(3I12)", "1,          2,3\n", "iii", "1 2 3"},
    {"(I5)", "12", "i", "12"},
    {"(I5)", "\n", "i", "0"},
    {"(I5)", "12\r\n", "i", "12"},
    {"(I2)", "1\n22\n333\n", "iii", "1 22 33", 4},
    {"(I1,2/I1)", "1x\n\n2\n", "ii", "1 2", 4},
    {"(T3,I2,T1,I2)", "1234\n", "ii", "34 12"},
    {"(I4,TL2,I2)", "1234\n", "ii", "1234 34"},
    {"(I1,10X,TL10,I1)", "12\n", "ii", "1 2"},
    {"(T40,I2,T2,I1)", "12\n", "ii", "0 2"},
    {"(I1,TR9,I3)", "12\n", "ii", "1 0"},
    {"(I2,:,I2)", "1234\n", "i", "12"},
    {"(BZ,I3)", "1 2\n", "i", "102"},
    {"('abc',I2)", "xyz12\n", "i", "12"},
    {"(3Habc,I2)", "x\n", "i", "0"},
    {"(I2,Q)", "12abcde\n", "ii", "12 5"},
    {"(T9,Q)", "12\n", "i", "0"},
    {"(I2,$)", "12\n", "i", "12"},
    {"(I0,I2)", "          4213\n", "ii", "42 13"},
    {"(Z4,O3,B4)", "00FF0171010\n", "iii", "255 15 10"},
    {"(G5.0,L1,L2)", "   42TF.\n", "inn", "42 -1 0"},
    {"(I1,(I1,I2))", "1234\n567\n", "iiiii", "1 2 34 5 67", 3},
    {"(*(I1))", "1234\n", "iii", "1 2 3"},
    {"(A)", "abcdefg\n", "c", "[abcde]"},
    {"(A)", "a,b\n", "c", "[a,b  ]"},
    {"(A2)", "abcd\n", "c", "[ab   ]"},
    {"(A7)", "abcdefg\n", "c", "[cdefg]"},
    {"(G4.0)", "a,bc\n", "c", "[a    ]"},
    {"(2X,A)", "a\n", "c", "[     ]"},
    {"(A600)", "xy\n", "c", "[     ]"},
};

TEST(ReadFmt, Fields) {
  for (bool split : {false, true}) {
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.format);
      Memory_Unit unit({}, row.file);
      unit.lub().lub_f_blank_null = 1;
      Variables v(row.variables);
      if (split) {
        ASSERT_EQ(unit.read(row.format, v.items(0, 1).more()), 0);
        for (size_t i = 1; i < strlen(row.variables); ++i) ASSERT_EQ(unit.go_on(v.items(i, i + 1).more()), 0);
        ASSERT_EQ(unit.go_on({}), 0);
        EXPECT_EQ(unit.go_on({}), 0) << "a statement that is over";
      } else {
        EXPECT_EQ(unit.read(row.format, v.items()), 0);
      }
      EXPECT_EQ(v.text(), row.values);
      EXPECT_EQ(unit.lub().lub_next_rec, row.next_rec);
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
    }
  }
}

TEST(ReadFmt, DecimalCommaMakesTheSemicolonTheSeparator) {
  Memory_Unit unit({}, "1,5;2,5\n1,5;2,5\n1.5,2.5;\n");
  EXPECT_EQ(unit.get("(DC,2F5.0)", "dd"), "1.5 2.5");
  EXPECT_EQ(unit.get("(2F5.0)", "dd", kIostat, ControlList().decimal("COMMA")), "1.5 2.5");
  unit.lub().lub_decimal = DECIMAL_COMMA;
  EXPECT_EQ(unit.get("(DP,2F5.0)", "dd"), "64: 1.5 0") << "2.5; is no number";
}

// --- records that end too early -------------------------------------------------------------------------------------

enum Mode { kF77 = 1, kNoPad = 2, kNonAdvancing = 4 };

struct Cell {
  const char* what;
  int modes;
  For_IO_Flags flags;
  const char* file;
  const char* format;
  const char* variables;
  const char* values;
  i32 size;                    ///< kUntouched: SIZE= gets nothing
  const char* then = nullptr;  ///< what the next READ gets
};

const Cell kCells[] = {
    {"PAD fills every field", 0, 0, "ab\ncdef\n", "(2A4)", "cc", "[ab   ] [     ]", 2, "[cdef ]"},
    {"no PAD", kNoPad, 0, "ab\ncdef\n", "(A4)", "c", "67: [?????]", 0, "[cdef ]"},
    {"no PAD, just enough", kNoPad, 0, "abcd\nefgh\n", "(A4)", "c", "[abcd ]", 4, "[efgh ]"},
    {"EOR behind a padded field", kNonAdvancing, iof_eor, "ab\ncdef\n", "(A4)", "c", "-2: [ab   ]", 2, "[cdef ]"},
    {"EOR by IOSTAT=", kNonAdvancing, 0, "ab\ncdef\n", "(A4)", "c", "-2: [ab   ]", 2, "[cdef ]"},
    {"nothing left", kNonAdvancing, 0, "abcd\nefgh\n", "(2A4)", "cc", "-2: [abcd ] [?????]", 4, "[efgh ]"},
    {"EOR without PAD", kNonAdvancing | kNoPad, iof_eor, "ab\ncdef\n", "(A4)", "c", "-2: [?????]", 0, "[cdef ]"},
    {"second field", kNonAdvancing, 0, "abcdef\nghij\n", "(2A4)", "cc", "-2: [abcd ] [ef   ]", 6, "[ghij ]"},
    {"no EOR", kNonAdvancing, 0, "abcdefgh\n", "(A4)", "c", "[abcd ]", 4, "[efgh ]"},
    {"a separator is counted", kNonAdvancing, 0, "12,3\n", "(I4)", "i", "12", 3, "[3    ]"},
    {"numbers are counted", kNonAdvancing, 0, "1234567\n", "(2I3)", "ii", "123 456", 6, "[7    ]"},
    {"f77rtl takes what is there", kF77, 0, "ab\ncdef\n", "(A4)", "c", "[ab   ]", 2, "[cdef ]"},
    {"f77rtl without PAD too", kF77 | kNoPad, 0, "ab\ncdef\n", "(A4)", "c", "[ab   ]", 2, "[cdef ]"},
    {"f77rtl non-advancing", kF77 | kNonAdvancing, 0, "ab\ncdef\n", "(A4)", "c", "-2: [ab   ]", 2, "[cdef ]"},
    {"end of file", 0, 0, "", "(A4)", "c", "-1: [?????]", kUntouched},
    {"end of file with END=", kNonAdvancing, iof_end, "", "(A4)", "c", "-1: [?????]", kUntouched},
    {"end of file at a slash", 0, 0, "abcd\n", "(A4/A4)", "cc", "-1: [abcd ] [?????]", 4},
    {"end of file when the format starts over", 0, 0, "abcd\n", "(A4)", "cc", "-1: [abcd ] [?????]", 4},
    {"conversion", kNonAdvancing, 0, "xx12\n34\n", "(I2)", "i", "64: 0", 2, "[12   ]"},
};

TEST(ReadFmt, ShortRecords) {
  for (const Cell& cell : kCells) {
    SCOPED_TRACE(cell.what);
    const bool f90 = (cell.modes & kF77) == 0;
    Memory_Unit unit({.f90_rtl = f90}, cell.file);
    unit.lub().lub_f_pad = (cell.modes & kNoPad) == 0;
    i32 size = kUntouched;
    For_IO_Flags flags = kIostat | iof_advance_given | iof_size_given | cell.flags;
    if (!f90) flags &= ~For_IO_Flags{iof_f90_rtl};
    const char* const advance = (cell.modes & kNonAdvancing) != 0 ? "NO" : "YES";
    const ItemList head = ItemList().text(advance).pointer(ITM_INTEGER4, &size);
    EXPECT_EQ(unit.get(cell.format, cell.variables, flags, {}, head), cell.values);
    EXPECT_EQ(size, cell.size);
    unit.expect_released();
    unit.lub().lub_f_pad = 1;
    if (cell.then == nullptr) continue;
    EXPECT_EQ(unit.get("(A4)", "c"), cell.then);
  }
}

TEST(ReadFmt, F77WithoutPadTakesTheRestFromThenOn) {
  Memory_Unit unit({.f90_rtl = false}, "12345\n67\n");
  unit.lub().lub_f_pad = 0;
  EXPECT_EQ(unit.get("(I3,I3/I1)", "iii", kIostat & ~For_IO_Flags{iof_f90_rtl}), "123 45 67");
}

TEST(ReadFmt, AnEmptyListAtTheEndOfTheFile) {
  Memory_Unit unit;
  EXPECT_EQ(unit.get("(A)", ""), "");
  EXPECT_EQ(unit.get_part("(A)", ""), "-1: ");
  unit.expect_released();
}

TEST(ReadFmt, SizeVariablesOfEveryKind) {
  for (u8 type : {ITM_INTEGER1, ITM_UNSIGNED1, ITM_INTEGER2, ITM_INTEGER4, ITM_UNSIGNED4, ITM_INTEGER8, ITM_LOGICAL8}) {
    Memory_Unit unit({}, "abc\n");
    i64 size = -1, expected = -1;
    EXPECT_EQ(unit.get("(A5)", "c", kIostat | iof_size_given, {}, ItemList().pointer(type, &size)), "[abc  ]");
    memset(&expected, 0, for__dsc_itm_table[type].size);
    memcpy(&expected, "\3", 1);
    EXPECT_EQ(size, expected) << int{type};
  }
}

// --- sequences ------------------------------------------------------------------------------------------------------

TEST(ReadFmt, NonAdvancingReadsGoOnInTheirRecord) {
  Memory_Unit unit({}, "abcdefgh\nsecond\n");
  EXPECT_EQ(unit.get_part("(A2)", "c"), "[ab   ]");
  EXPECT_EQ(unit.lub().lub_file_pos, 2);
  EXPECT_EQ(unit.get_part("(T2,A2)", "c"), "[de   ]") << "columns count from where the statement began";
  EXPECT_EQ(unit.get("(A1)", "c"), "[f    ]");
  EXPECT_EQ(unit.get_part("(A3)", "c"), "[sec  ]");
  EXPECT_EQ(unit.get_part("(A4)", "c"), "-2: [ond  ]");
  EXPECT_EQ(unit.get_part("(A4)", "c"), "-1: [?????]");
}

TEST(ReadFmt, ReadsAndWritesInTurns) {
  Memory_Unit unit({}, "first\nsecond\nthird\n");
  EXPECT_EQ(unit.get_part("(A3)", "c"), "[fir  ]");
  EXPECT_EQ(unit.write("(A)", ItemList().text("NEW")), 0) << "the record that was being read is dropped";
  EXPECT_EQ(unit.file().fi_read_open, 0);
  EXPECT_EQ(unit.text(), "first\nNEW\nnd\nthird\n");
  EXPECT_EQ(unit.get("(A)", "c"), "[nd   ]");
  // An open written record goes out before input; a non-advancing READ must not follow it.
  EXPECT_EQ(unit.write_part("(A)", "ope"), 0);
  EXPECT_EQ(unit.get_part("(A3)", "c"), std::to_string(MSG_READ_AFTER_NONADVANCING_WRITE) + ": [?????]");
  EXPECT_EQ(unit.write_part("(A)", "x"), 0);
  EXPECT_EQ(unit.get("(A)", "c"), "-1: [?????]");
  EXPECT_EQ(unit.file().fi_record_open, 0);
  EXPECT_EQ(unit.text(), "first\nNEW\nnd\nope\nx\n");
}

TEST(ReadFmt, StreamPositions) {
  Memory_Unit unit({.stream = true}, "abcdef\nghi\n");
  EXPECT_EQ(unit.get("(A3)", "c"), "[abc  ]");
  EXPECT_EQ(unit.lub().lub_file_pos, 7);
  EXPECT_EQ(unit.get("(A3)", "c", kIostat, ControlList().pos(3)), "[cde  ]");
  EXPECT_EQ(unit.get("(A3)", "c"), "[ghi  ]");
}

TEST(ReadFmt, ChildStatementsGoOnInTheParentsRecord) {
  Memory_Unit unit({}, "12345678\n90\n");
  Variables v("iii");
  ASSERT_EQ(unit.read("(I2,I3)", v.items(0, 1).more()), 0);
  For_Lub& lub = unit.lub();
  For_Fmt_Isb child_block = {}, *parent_block = lub.lub_a_fmt_isb;
  lub.lub_a_fmt_isb = &child_block;
  ++lub.lub_udio_depth;
  For_Context ctx{};
  EXPECT_EQ(first_call(for_read_seq_fmt, ctx, 40, kIostat | iof_format_text, v.items(1, 2), {},
                       Format_Text("(1X,I2)").argument()),
            0);
  --lub.lub_udio_depth;
  lub.lub_a_fmt_isb = parent_block;
  unit.file().fi_read_open = 0;
  EXPECT_EQ(unit.go_on(v.items(2)), 0);
  EXPECT_EQ(v.text(), "12 45 678");
}

// --- what is written reads back -------------------------------------------------------------------------------------

TEST(FmtRoundTrip, RandomValuesAndFormats) {
  std::mt19937_64 random(71);
  const auto below = [&](u64 n) { return static_cast<int>(random() % n); };
  const char* const edits[] = {"(I12,1X))", "F30.8)", "(E26.17E3,:,','))", "G30.17E3)"};
  for (long round = 0; round < soak_cases(400); ++round) {
    const int kind = below(4), count = 1 + below(20);
    const std::string format = "(" + std::to_string(1 + below(6)) + edits[kind];
    std::vector<i64> values(count), back(count);  // the bits of an INTEGER(4) or of a REAL(8)
    for (i64& value : values) {
      value = static_cast<i32>(random()) >> below(31);
      if (kind == 0) continue;
      const double fraction = static_cast<double>(static_cast<i64>(random())) / 9e18;
      const double real = kind == 1 ? static_cast<double>(value) / 256 : ldexp(fraction, below(1200) - 600);
      memcpy(&value, &real, sizeof value);
    }
    const u8 type = kind == 0 ? ITM_INTEGER8 : ITM_REAL8;
    const int buffer = 300 + below(3000);
    Memory_Unit unit({.buffer_size = buffer, .buffered = below(2) != 0});
    ASSERT_EQ(unit.write(format, ItemList().array(type, values.data(), 8 * count)), 0);
    const std::string text = unit.text();
    lseek(unit.fd(), 0, SEEK_SET);
    ASSERT_EQ(unit.read(format, ItemList().array(type, back.data(), 8 * count)), 0) << format << text;
    ASSERT_EQ(values, back) << format << text;
  }
}

}  // namespace
