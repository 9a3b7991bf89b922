// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ: what each form of input gives to each type of item, and how each malformed one fails.

#include <bit>
#include <random>

#include "memory_unit.h"
#include "statements/ldio_scanner.h"
#include "support/soak.h"
#include "tamrun/cvt.h"
#include "tamrun/messages.h"

namespace {

struct Row {
  std::string input;
  std::string variables;  ///< letters of Variables
  std::string values;     ///< behind the statement; the number of the message in front when it failed
};

void check(const std::vector<Row>& rows, const Connection& c = {}, For_IO_Flags flags = kIostat,
           const ControlList& control = {}) {
  for (const Row& row : rows) {
    EXPECT_EQ(Memory_Unit(c, row.input).get(row.variables, flags, control), row.values) << "input " << row.input;
  }
}

TEST(ReadList, NullValuesAndSeparators) {
  check({
      {"1,,3\n", "iii", "1 -99 3"},
      {"  ,2\n", "ii", "-99 2"},
      {"1\n,2\n", "ii", "1 2"},
      {"1 \n \n  ,2\n", "ii", "1 2"},
      {"1,\n,2\n", "iii", "1 -99 2"},
      {"1 , \t\n  ,2\n", "iii", "1 -99 2"},
      {"1\n,\n,2\n", "iii", "1 -99 2"},
      {"\n,7\n", "ii", "-99 7"},
      {"1 2\t3\r\n4", "iiii", "1 2 3 4"},
      {"a,,b\n", "ccc", "[a    ] [?????] [b    ]"},
      {"1,,(1,2),T\n", "izyn", "1 (-99,-99) (1,2) -1"},
  });
}

TEST(ReadList, RepeatCounts) {
  check({
      {"2*5 6\n", "iii", "5 5 6"},
      {"2*\n", "ii", "-99 -99"},
      {"2*,3\n", "iii", "-99 -99 3"},
      {"2*\n,3\n", "iii", "-99 -99 3"},
      {"2*,,3\n", "iiii", "-99 -99 -99 3"},
      {"1*7 3*2.5 2*T\n", "irrrnn", "7 2.5 2.5 2.5 -1 -1"},
      {"4*2\n", "irjq", "2 2 2 2"},
      {"2*'it''s' z\n", "ccc", "[it's ] [it's ] [z    ]"},
      {"2*, a\n", "ccc", "[?????] [?????] [a    ]"},
      {"2*(1\n,\n2\n) 7\n", "yzi", "(1,2) (1,2) 7"},
      {"3*(1,2) 7\n", "rydi", "1 (1,2) 1 7"},
      {"3*(1,2) 7\n", "yryi", "(1,2) 1 (1,2) 7"},
      {"2*1.5 7\n", "zzi", "(1.5,0) (1.5,0) 7"},
      {"2*, 7\n", "zzi", "(-99,-99) (-99,-99) 7"},
      {"2*/ 7\n", "ii", "-99 -99"},
      {"0*5\n", "i", "495: -99"},
      {"-2*5\n", "i", "494: -99"},
      {"-x*5\n", "i", "59: -99"},
      {"99999999999*5\n", "i", "64: -99"},
      {"*5\n", "i", "59: -99"},
      {"2*3*5\n", "i", "59: -99"},
      {"2*)\n", "i", "59: -99"},
      {"0*a\n", "c", "495: [?????]"},
      {"x*a\n", "c", "[x*a  ]"},
      {"(2*1.5)\n", "y", "59: (-99,-99)"},
  });
}

// A count holds for one statement, whose first record is dropped with the rest of its values.
TEST(ReadList, StatementsBeginOnFreshRecords) {
  Memory_Unit input({}, "5*1 2\n3 / 4\n5 6\n7\n");
  EXPECT_EQ(input.get("ii"), "1 1");
  EXPECT_EQ(input.get("iii"), "3 -99 -99");
  EXPECT_EQ(input.get(""), "");
  EXPECT_EQ(input.lub().lub_next_rec, 4);
  EXPECT_EQ(input.lub().lub_file_pos, 16);
  EXPECT_EQ(input.get("i"), "7");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(input.get("i"), "-1: -99");
}

TEST(ReadList, Slash) {
  check({
      {"1/2\n", "iii", "1 -99 -99"},
      {"/\n", "czn", "[?????] (-99,-99) -99"},
      {"(1,/\n", "yi", "(1,-99) -99"},
      {"(/\n", "yi", "(-99,-99) -99"},
      {"T/\n", "ni", "-1 -99"},
      {"'a/b' /\n", "cc", "[a/b  ] [?????]"},
  });
}

TEST(ReadList, ComplexConstants) {
  check({
      {"(1.0,2.0) 3\n", "di", "1 3"},
      {" ( 1e1 ,\t-2.5d0 ) ,3\n", "zi", "(10,-2.5) 3"},
      {"(1\n,2\n)\n3\n", "xi", "(1,2) 3"},
      {"( 1 \n , \n 2 \n ) 3\n", "ri", "1 3"},
      {"(1,2)(3,4)\n", "yz", "(1,2) (3,4)"},
      {"1.5 (2,3)\n", "zz", "(1.5,0) (2,3)"},
      {"(1,2) 3\n", "iii", "59: 1 2 -99"},
      {"(inf,nan)\n", "y", "(inf,-nan)"},
      {"(T,F)\n", "y", "(-1,0)"},
      {"(1 2)\n", "y", "(1,2)"},
      {"(1,,2)\n", "yii", "59: (1,-99) 2 -99"},
      // malformed
      {"(1)\n", "y", "59: (1,-99)"},
      {"(1,)\n", "y", "59: (1,-99)"},
      {"()\n", "y", "59: (-99,-99)"},
      {"(1,(2)\n", "y", "59: (1,-99)"},
      {"(1,2,3)\n", "yr", "59: (1,2) -99"},
      {"(1,2 'a'\n", "yc", "59: (1,2) [?????]"},
      {"(1,x)\n", "y", "59: (1,-99)"},
      {"('1',2)\n", "y", "64: (-99,-99)"},
      {"'1'\n", "y", "64: (-99,-99)"},
      {")\n", "y", "59: (-99,-99)"},
      {"1)\n", "ii", "59: 1 -99"},
      {"(1", "y", "-1: (1,-99)"},
      {"(1,", "y", "-1: (1,-99)"},
      {"(1 2)\n", "r", "59: 1"},
      {"(1,2\n3)\n", "r", "59: 1"},
      {"(1,2*3)\n", "r", "59: 1"},
      {"(1,2", "r", "-1: 1"},
  });
}

TEST(ReadList, Numbers) {
  check({
      {"-128 -32768 -2147483648 -9223372036854775808\n", "bhij", "-128 -32768 -2147483648 -9223372036854775808"},
      {"255 65535 4294967295 18446744073709551615\n", "BHUJ", "255 65535 4294967295 18446744073709551615"},
      {"1. .5 -1.5e2 1d-2 2q1 1+2 1.5-1\n", "ddddddd", "1 0.5 -150 0.01 20 100 0.15"},
      {"+1 .2E+1 3\n", "rdq", "1 2 3"},
      {"inf -Infinity NaN nan(abc) +inf\n", "rdrdq", "inf -inf -nan -nan inf"},
      {"0x1.8p1\n", "d", "3"},
      {"1e30 1e-30 1e38 1e-44\n", "rrrr",
       "1.00000001504747e+30 1.00000000317108e-30 9.99999968028569e+37 9.80908925027372e-45"},
      {"00000000000000000000000000000000000000000001.5\n", "d", "1.5"},
      {"128\n", "b", "64: 0"},
      {"256\n", "B", "64: 0"},
      {"4294967296\n", "i", "64: 0"},
      {"1x\n", "i", "59: -99"},
      {"1e\n", "r", "1"},
      {"1e+\n", "r", "59: -99"},
      {"1;2\n", "ii", "59: -99 -99"},
      {"1'a'\n", "ic", "59: -99 [?????]"},
      {std::string("1\0 2", 4), "ii", "59: -99 -99"},
      {"\x80\n", "i", "59: -99"},
  });
}

// A constant of another form is converted where the item is an integer or logical one.
TEST(ReadList, Coercions) {
  check({
      {"1.5 -2.9 3e2 2.99999999999\n", "bhij", "1 -2 300 2"},
      {"1.5 -2.9 3e2 2.99999999999\n", "BHUJ", "1 65534 300 2"},
      {"300.7 70000.5 4294967295.5 1e19\n", "bhUJ", "44 4464 4294967295 10000000000000000000"},
      {"-1. -1. 18446744073709551615.\n", "UJJ", "4294967295 18446744073709551615 18446744073709551615"},
      {"9223372036854775807.0 9007199254740993.0\n", "jj", "9223372036854775807 9007199254740993"},
      {"1e10 1e30 nan\n", "iji", "-2147483648 -9223372036854775808 -2147483648"},
      {"T .f. .TRUE. false\n", "bhij", "-1 0 -1 0"},
      {"T .f. .TRUE. false\n", "rdqd", "-1 0 -1 0"},
      {"1 0 2.5 -1\n", "lmno", "1 0 2 -1"},
      {"1\n", "L", "64: -99"},
      {"T\n", "U", "64: 0"},
      {"'7' '-1' '300' '5'\n", "lmno", "7 -1 300 5"},
      {"'7'\n", "L", "64: -99"},
      {"'7'\n", "i", "64: -99"},
      {"'x'\n", "n", "64: -99"},
  });
  check(
      {
          {"T\n", "i", "64: -99"},
          {"T\n", "r", "64: -99"},
          {"T\n", "y", "64: (-99,-99)"},
          {"1\n", "n", "64: -99"},
          {"'1'\n", "n", "64: -99"},
          {"1.5 T T 2 ,,\n", "incdn", "1 -1 [T    ] 2 -99"},
      },
      {}, kIostat | iof_strict_ldio);
}

TEST(ReadList, LogicalValues) {
  check({
      {".T .F .t. .false.\n", "nnlo", "-1 0 -1 0"},
      {"Tuesday;x Friday/\n", "Ln", "-1 0"},
      {".x\n", "n", "59: -99"},
      {"x\n", "n", "59: -99"},
      {"T)\n", "nn", "59: -1 -99"},
  });
}

TEST(ReadList, Text) {
  const auto x = [](size_t n) { return std::string(n, 'x'); };
  check({
      {"\"it's\" 'a\"b'\n", "cc", "[it's ] [a\"b  ]"},
      {"'' \"\"\"\"\n", "cc", "[     ] [\"    ]"},
      {"'ab\ncd' 7\n", "ci", "[abcd ] 7"},
      {"'a''\n''b' c\n", "cc", "[a''b ] [c    ]"},
      {"'a'\n'b'\n", "cc", "[a    ] [b    ]"},
      {"'a''\n'\n", "c", "[a'   ]"},
      {"'toolong' toolong\n", "cc", "[toolo] [toolo]"},
      {"a,b c/d\n", "cccc", "[a    ] [b    ] [c    ] [?????]"},
      {"a'b (1) T .x 12 3*\n", "cccccccc", "[a'b  ] [(1)  ] [T    ] [.x   ] [12   ] [?????] [?????] [?????]"},
      {"(1,2) )x)\n", "yc", "(1,2) [)x)  ]"},
      {std::string("ab\0cd", 5), "c", "[ab   ]"},
      {"\"abc'\n", "c", "59: [?????]"},
      {"'", "c", "59: [?????]"},
      {"'" + x(2049) + "'", "c", "[xxxxx]"},
      {"'" + x(2050) + "'", "c", "59: [?????]"},
      {"'''" + x(2048) + "'", "c", "['xxxx]"},
      {"'''" + x(2049) + "'", "c", "59: [?????]"},
      {x(2048), "c", "[xxxxx]"},
      {x(2049), "c", "59: [?????]"},
  });
  check(
      {
          {"'a' 2*\"b\"\n", "ccc", "[a    ] [b    ] [b    ]"},
          {"abc\n", "c", "59: [?????]"},
          {"(1,2)\n", "c", "59: [?????]"},
      },
      {.f90_rtl = false});
}

TEST(ReadList, DecimalComma) {
  check(
      {
          {"1,5;2,5\n", "rd", "1.5 2.5"},
          {";;3\n", "iii", "-99 -99 3"},
          {"(1,5;2,5) 3\n", "ri", "1.5 3"},
          {"1;\n;2\n", "iii", "1 -99 2"},
          {"a,b;c\n", "cc", "[a,b  ] [c    ]"},
          {"2*;1,5\n", "ddd", "-99 -99 1.5"},
          {"1,7\n", "i", "1"},
          {"1.5\n", "r", "59: -99"},
          {".T.;.F.\n", "nn", "-1 0"},
      },
      {}, kIostat, ControlList().decimal("COMMA"));
}

TEST(ReadList, EndOfInput) {
  check({
      {"", "i", "-1: -99"},
      {"", "", "-1: "},
      {"\n", "i", "-1: -99"},
      {"2*1\n", "iii", "-1: 1 1 -99"},
      {"1", "i", "1"},
      {"1,", "ii", "-1: 1 -99"},
      {"1,,", "ii", "1 -99"},
      {"\x1a\n", "i", "-1: -99"},
  });
}

TEST(ReadList, ArraysAndSections) {
  Memory_Unit input({}, "1 2 3*4\n5,,7\n(1,2) 9 (3,4)\nab cd ef\n");
  i32 whole[5] = {};
  i32 grid[6] = {-1, -1, -1, -1, -1, -1};
  float pairs[6] = {};
  char texts[6];
  EXPECT_EQ(input.read(ItemList().array(ITM_INTEGER4, whole, sizeof whole).array(ITM_INTEGER4, nullptr, 0)), 0);
  EXPECT_EQ(std::vector<i32>(whole, whole + 5), (std::vector<i32>{1, 2, 4, 4, 4}));
  EXPECT_EQ(input.read(ItemList().section(ITM_INTEGER4, grid, {{1, 3, 8}})), 0);
  EXPECT_EQ(std::vector<i32>(grid, grid + 6), (std::vector<i32>{5, -1, -1, -1, 7, -1}));
  EXPECT_EQ(input.read(ItemList().section(ITM_COMPLEX8, pairs + 4, {{1, 3, -8}})), 0);
  EXPECT_EQ(std::vector<float>(pairs, pairs + 6), (std::vector<float>{3, 4, 9, 0, 1, 2}));
  EXPECT_EQ(input.read(ItemList().array_elem(ITM_CHARACTER, texts, 6, 2)), 0);
  EXPECT_EQ(std::string(texts, 6), "abcdef");
}

// The state of the statement lives from call to call.
TEST(ReadList, FurtherCalls) {
  Memory_Unit input({}, "4*1 2*(3,4)\n,5 /\n6\n");
  Variables v("iiiiyryii");
  EXPECT_EQ(input.read(v.items(0, 2).more()), 0);
  EXPECT_EQ(input.context().ctx_lub, &input.lub());
  EXPECT_EQ(input.go_on(v.items(2, 5).more()), 0);
  EXPECT_EQ(input.go_on(v.items(5)), 0);
  EXPECT_EQ(input.context().ctx_lub, nullptr);
  EXPECT_EQ(v.text(), "1 1 1 1 (3,4) 3 (5,0) -99 -99");
  EXPECT_EQ(input.get("i"), "6");
}

TEST(ReadList, ContinuesAnOpenRecord) {
  Memory_Unit input({}, "12,34 56\n78\n");
  EXPECT_EQ(input.get_part("(A2)", "s"), "[2]");
  EXPECT_EQ(input.get("iii"), "-99 34 56");
  EXPECT_FALSE(input.file().fi_read_open);
  EXPECT_EQ(input.get("i"), "78");
}

TEST(ReadList, StreamPositions) {
  Memory_Unit input({.stream = true}, "1 2\n3 4\n5 6\n");
  const auto at = [&](i64 position) { return input.get("i", kIostat, ControlList().pos(position)); };
  EXPECT_EQ(input.get("i"), "1");
  EXPECT_EQ(input.lub().lub_file_pos, 4);
  EXPECT_EQ(at(9), "5");
  EXPECT_EQ(at(3), "2");
  EXPECT_EQ(input.get("ii"), "3 4");
  EXPECT_EQ(input.get("i"), "5");
  EXPECT_EQ(input.lub().lub_file_pos, 12);
  EXPECT_EQ(at(5), "3");
  EXPECT_EQ(at(100), "-1: -99");
  EXPECT_EQ(at(0), "111: -99");
  EXPECT_EQ(at(1), "1");
}

// A STREAM unit has no records: the end of its buffer is nothing that the input knows of.
TEST(ReadList, StreamBuffersEndAnywhere) {
  const std::string content = "12345 -6.5E+2,'it''s' 3*678 (1.5,-2.5) .TRUE. abcd , \"'\"\"\" 2*'a''' 7,8/";
  const char* const letters = "idciiizncccciii";
  const std::string expected = Memory_Unit({}, content).get(letters);
  ASSERT_EQ(expected.substr(0, 5), "12345");
  constexpr i64 kLongestConstant = 8, kWhole = 80;
  for (i64 bytes = kLongestConstant; bytes < kWhole; ++bytes) {
    const Connection stream = {.rectype = RECTYPE_STREAM, .buffer_size = bytes};
    EXPECT_EQ(Memory_Unit(stream, content).get(letters), expected) << bytes;
    EXPECT_EQ(Memory_Unit(stream, "  1234567 5").get("ii"), "1234567 5") << bytes;
  }
  const Connection small = {.rectype = RECTYPE_STREAM, .buffer_size = kLongestConstant};
  EXPECT_EQ(Memory_Unit(small, " 123456789 5").get("i"), "59: -99") << "a number that fills the buffer is not cut";
}

// A child goes on in the parent's record with a state of its own, and the parent behind it.
TEST(ReadList, ChildStatementsShareTheParentsRecord) {
  Memory_Unit input({}, "2*1 7,\n,8 (1,2) 9\n10\n");
  For_Lub& lub = input.lub();
  Variables parent("iiyi"), child("iii");
  ASSERT_EQ(input.read(parent.items(0, 2).more()), 0);
  For_Fmt_Isb* const block = lub.lub_a_ldir_isb;
  For_Ldir_Read_Isb own{};
  lub.lub_a_ldir_isb = reinterpret_cast<For_Fmt_Isb*>(&own);
  ++lub.lub_udio_depth;
  For_Context context{};
  EXPECT_EQ(first_call(for_read_seq_lis, context, input.number(), kIostat, child.items()), 0);
  EXPECT_EQ(context.ctx_lub, nullptr);
  EXPECT_EQ(first_call(for_read_seq_lis, context, input.number(), kIostat, child.items(), ControlList().pos(1)),
            MSG_UDIO_POS_OR_REC);
  --lub.lub_udio_depth;
  lub.lub_a_ldir_isb = block;
  EXPECT_EQ(input.go_on(parent.items(2)), 0);
  EXPECT_EQ(child.text(), "7 -99 8");
  EXPECT_EQ(parent.text(), "1 1 (1,2) 9");
  EXPECT_EQ(input.get("i"), "10");
}

// Every number that the lexer of numbers delimits is delimited alike on the short road, and has the value that the
// scanning engine gives it.
TEST(ReadList, NumbersAreMeasuredAsTheLexerDoes) {
  constexpr int kDecimalShift = 12;
  constexpr u32 kOptions = CVT_M_ROUND_GIVEN;
  std::mt19937 random(1);
  const std::string alphabet = "0123456789..++--eEdDqxpINFinfay,()_ ";
  for (long n = soak_cases(200000); n > 0; --n) {
    std::string text;
    const size_t letters = random() % 2 ? alphabet.size() : 14;  // the first ones make plain numbers
    for (unsigned length = random() % (random() % 4 ? 9 : 26); length > 0; --length)
      text += alphabet[random() % letters];
    const u8 point = random() % 4 == 0 ? ',' : '.';
    const u8* const begin = reinterpret_cast<const u8*>(text.data());
    Ldir_Constant constant;
    const u8* const behind = take_number(begin, begin + text.size(), point, constant);
    u32 state = u32{point} << kDecimalShift;
    size_t length = 0;
    while (length < text.size() && cvt__lex_number_char(&state, text[length])) ++length;
    ASSERT_EQ(behind != nullptr, cvt__lex_number_complete(&state) != 0) << text;
    if (behind == nullptr) continue;
    ASSERT_EQ(behind - begin, static_cast<i64>(length)) << text;
    ASSERT_EQ(constant.length, static_cast<i64>(length)) << text;
    const bool digits_only = text.find_first_not_of("0123456789", text.find_first_of("+-") == 0) >= length;
    if (length == text.size()) {
      ASSERT_EQ(constant.form == Ldir_Form::small || constant.form == Ldir_Form::integer, digits_only) << text;
    }
    if (constant.form != Ldir_Form::decimal && constant.form != Ldir_Form::small) continue;
    const u32 comma = point == ',' ? u32{CVT_M_TEXT_DECIMAL_COMMA} : 0;
    const double value = cvtas_a_to_t(text.data(), static_cast<i32>(length), kOptions | comma, 0, 0, nullptr, nullptr);
    ASSERT_EQ(plain_double_bits(constant.digits, constant.power, constant.negative, kOptions),
              std::bit_cast<u64>(value))
        << text;
  }
}

}  // namespace
