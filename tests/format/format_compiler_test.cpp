// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Format text against the elements that it must give, and the errors against their number and place.

#include <gtest/gtest.h>

#include "core/failure.h"
#include "format/fmt_element.h"
#include "support/fail_malloc.h"
#include "tests/format/format_text.h"

namespace {

using tamrun_test::Compiled;

/// The elements: a W before wide ones, the code, what is not 0, texts in brackets.
std::string listing(const u8* at) {
  std::string out;
  const auto note = [&](const char* name, i64 value) {
    if (value != 0) out += name + std::to_string(value);
  };
  for (For_Fmt_Element element;; at += element.size) {
    if (!decode_fmt_element(at, element)) return out + "no element";
    const bool wide = (at[1] & FMTL_WIDE) != 0;
    out += (wide ? "W" : "") + std::to_string(element.code);
    note(" r", element.repeat);
    if (element.code == FMT_LITERAL) {
      out += " <" + std::string(element.text, element.width) + ">";
    } else if (element.code == FMT_DT_RUNTIME) {
      const auto text = [](const char* t) { return std::string(t != nullptr ? t : ""); };
      out += " <" + text(element.text) + "|" + text(element.vlist) + ">";
    } else {
      note(" w", element.width);
      note(" d", element.d);
      note(" e", element.e);
    }
    if (element.code == FMT_END) return out;
    out += "; ";
  }
}

struct Good {
  const char* text;
  const char* elements;  ///< between the start and the end element
};

constexpr Good kGood[] = {
    {"()", ""},
    {" \t\n( )", ""},
    {"(I5,F8.3)", "37 r1 w5 d1; 33 r1 w8 d3; "},
    {"(I5.3)", "37 r1 w5 d3; "},
    {"(I)", "24 r1 d1; "},
    {"(I0)", "37 r1 d1; "},
    {"(3I 1 2)", "37 r3 w12 d1; "},
    {"(A,D,E,F,G,L)", "19 r1; 20 r1; 21 r1; 22 r1; 23 r1; 25 r1; "},
    {"(2A10,L7,F0.0)", "29 r2 w10; 38 r1 w7; 33 r1; "},
    {"(D12.5,E12.5,G12.5)", "30 r1 w12 d5; 31 r1 w12 d5; 34 r1 w12 d5; "},
    {"(e12.5e3)", "32 r1 w12 d5 e3; "},
    {"(G12.5E2)", "35 r1 w12 d5 e2; "},
    {"(G0,G0.5)", "35 r1; 35 r1 d5; "},
    {"(G0.5E2)", "35 r1 d5 e2; "},
    {"(O,O6,O6.2)", "26 r1 d1; 40 r1 w6 d1; 40 r1 w6 d2; "},
    {"(Z,Z6,Z6.2)", "27 r1 d1; 42 r1 w6 d1; 42 r1 w6 d2; "},
    {"(B,B6,B6.2)", "43 r1 d1; 45 r1 w6 d1; 45 r1 w6 d2; "},
    {"(EN,EN12.3,EN12.3E1)", "46 r1; 47 r1 w12 d3; 48 r1 w12 d3 e1; "},
    {"(ES,ES12.3,ES12.3E1)", "49 r1; 50 r1 w12 d3; 51 r1 w12 d3 e1; "},
    {"(EX12.3,2EX12.3E1,E X 9.0)", "120 r1 w12 d3; 120 r2 w12 d3 e1; 120 r1 w9; "},
    {"(BNBZSPSSSQ)", "5; 6; 7; 8; 9; 15; "},
    {"(RURDRZRNRCRP)", "108; 109; 110; 111; 112; 113; "},
    {"(DC,DP)", "114; 115; "},
    {"(T5,TL6,TR7)", "12 r1 w5; 13 r1 w6; 14 r1 w7; "},
    {"(X,3X,2XI5)", "11 r1; 11 r3; 11 r2; 37 r1 w5 d1; "},
    {"(2PE12.3)", "10 w2; 31 r1 w12 d3; "},
    {"(+2P,P)", "10 w2; 10; "},
    {"(-2P,F8.3)", "W10 w-2; 33 r1 w8 d3; "},
    {"($,\\)", "16; 16; "},
    {"(I5:I5/I5$)", "37 r1 w5 d1; 17; 37 r1 w5 d1; 18 r1; 37 r1 w5 d1; 16; "},
    {"(/,3/)", "18 r1; 18 r3; "},
    {"(3(I2),2X,'it''s')", "3 r3; 37 r1 w2 d1; 4; 11 r2; 28 <it'>; 28 <s>; "},
    {"(\"a\"\"b'c\")", "28 <a\">; 28 <b'c>; "},
    {"('''')", "28 <'>; "},
    {"(I5'x')", "37 r1 w5 d1; 28 <x>; "},
    {"('x'I5)", "28 <x>; 37 r1 w5 d1; "},
    {"(3Ha)',Hx)", "28 <a)'>; 28 <x>; "},
    {"(0(I2))", "3 r1; 37 r1 w2 d1; 4; "},
    {"(I2,(I3,(I4)))", "37 r1 w2 d1; 3 r1; 37 r1 w3 d1; 3 r1; 37 r1 w4 d1; 4; 4; "},
    {"(A,* (I5) )", "19 r1; W3 r9223372036854775807; 37 r1 w5 d1; 4; "},
    {"(A,*())", "19 r1; W3 r9223372036854775807; 4; "},
    {"(2(*(I5),A))", "3 r2; W3 r9223372036854775807; 37 r1 w5 d1; 4; 19 r1; 4; "},
    {"(I5))junk", "37 r1 w5 d1; "},
    {"(,,I5,,)", "37 r1 w5 d1; "},
    {"((((((((I1))))))))", "3 r1; 3 r1; 3 r1; 3 r1; 3 r1; 3 r1; 3 r1; 37 r1 w1 d1; 4; 4; 4; 4; 4; 4; 4; "},
    {"(DT'x'(1,-2))", "119 r1 <x|1,-2>; "},
    {"(3 D T \"it's\" ( + 1 2 , -3 ) , A)", "119 r3 <it's| + 1 2 , -3 >; 19 r1; "},
    {"(DT(),DT'abcd'())", "119 r1 <|>; 119 r1 <abcd|>; "},
    {"(E300.300E300)", "32 r1 w300 d255 e255; "},
    {"(4294967295A)", "19 r4294967295; "},
    {"(4294967296A)", "W19 r4294967296; "},
    {"(A4294967296)", "W29 r1 w4294967296; "},
    {"(A18446744073709551617)", "29 r1 w1; "},
};

TEST(FormatCompiler, Elements) {
  for (const Good& row : kGood) {
    SCOPED_TRACE(row.text);
    const Compiled compiled(row.text);
    ASSERT_EQ(compiled.result(), 0);
    EXPECT_EQ(listing(compiled.format()), std::string("1; ") + row.elements + "2");
  }
}

constexpr int kSilent = -1, kFormatEnd = -2;

struct Bad {
  const char* text;
  int place;  ///< index of the character that the diagnostic quotes from, kSilent or kFormatEnd
  int message = MSG_FORMAT_SYNTAX;
};

constexpr Bad kBad[] = {
    {"", kFormatEnd},
    {"   ", kFormatEnd},
    {"I5)", 0},
    {" x(I5)", 1},
    {"(I5", kFormatEnd},
    {"(I5;I5)", 3},
    {"(C5)", 1},
    {"(I5\x7f)", 3},
    {"(\xe4)", 1},
    {"(E8)", 3},
    {"(E8.3E)", 6},
    {"(F8.3E2)", kSilent},
    {"(EX8)", 4},
    {"(A5.2)", 5},
    {"(I5.2.1)", 5},
    {"(I5.A)", 4},
    {"(I.2)", 2},
    {"(I+5.2)", 4},
    {"(5)", 2},
    {"(5:I5)", kSilent},
    {"(I5 F8.3)", kSilent},
    {"(I5BN)", 3},
    {"(A(I3))", 2},
    {"(F8,I5)", kSilent},
    {"(0I2)", 2},
    {"(0X)", 2},
    {"(-3I2)", 3},
    {"(-)", 2},
    {"(--2P)", 2},
    {"(2-P)", 2},
    {"(I5,-/)", 5},
    {"(-'x')", 2},
    {"(3'x')", 2},
    {"(A'x')", 5},
    {"(A'x'5)", 6},
    {"(A'x',I5)", kSilent},
    {"('x)", 1},
    {"(5Habc)", 2},
    {"(3BN)", 2},
    {"(RX)", 1},
    {"(T)", 2},
    {"(2T5)", 2},
    {"(DC5)", 4},
    {"(*I5)", 2},
    {"(*(I5),A)", 6},
    {"(*(I5),*(I5))", 6},
    {"(*(A,*(I5)))", 5},
    {"(((((((((I1)))))))))", 8},
    {"(DT'x)", 3},
    {"(DT(1,))", 6},
    {"(DT(1 -2))", 6},
    {"(DT(a))", 4},
    {"(DT(1)", kFormatEnd},
    {"(DT/)", 3},
    {"(*())", kSilent, MSG_EMPTY_UNLIMITED_GROUP},
    {"(2(*(TL3)))", kSilent, MSG_EMPTY_UNLIMITED_GROUP},
};

/// While in scope diagnostics come here and go no further.
class Reports {
 public:
  Reports() { for__establish_user_error_handler(keep, this, nullptr, nullptr); }
  ~Reports() { for__establish_user_error_handler(nullptr, nullptr, nullptr, nullptr); }
  int count = 0;
  int message = 0;
  std::string text;

 private:
  static int keep(int* message, int*, char* text, void* context, size_t length) {
    auto* reports = static_cast<Reports*>(context);
    ++reports->count;
    reports->message = *message;
    reports->text.assign(text, length);
    return 1;
  }
};

TEST(FormatCompiler, Errors) {
  for (const Bad& row : kBad) {
    SCOPED_TRACE(row.text);
    for (const bool report : {false, true}) {
      Reports reports;
      const Compiled compiled(row.text, report);
      EXPECT_EQ(compiled.result(), row.message);
      EXPECT_EQ(compiled.format(), nullptr);
      EXPECT_EQ(reports.count, report && row.place != kSilent ? 1 : 0);
      if (reports.count == 0) continue;
      const std::string quoted = row.place == kFormatEnd ? "" : row.text + row.place;
      EXPECT_EQ(reports.message, MSG_FORMAT_SYNTAX_AT);
      EXPECT_NE(reports.text.find("format syntax error at or near " + quoted + "\n"), std::string::npos)
          << reports.text;
    }
  }
}

TEST(FormatCompiler, LongReportIsCut) {
  Reports reports;
  const Compiled compiled("(A,;" + std::string(200, 'y') + ")", true);
  EXPECT_EQ(compiled.result(), MSG_FORMAT_SYNTAX);
  EXPECT_NE(reports.text.find("near ;" + std::string(79, 'y') + "\n"), std::string::npos) << reports.text;
}

TEST(FormatCompiler, TextWithNul) {
  using namespace std::string_view_literals;
  EXPECT_EQ(Compiled("(I5\0)"sv).result(), MSG_FORMAT_SYNTAX);
  EXPECT_EQ(Compiled("(DT'a\0b')"sv).result(), MSG_FORMAT_SYNTAX);
  const Compiled literal("('a\0b')"sv);
  ASSERT_EQ(literal.result(), 0);
  EXPECT_EQ(memcmp(literal.format() + 12, "\x1c\0\3\0a\0b", 7), 0);
  u8* untouched = nullptr;
  const For_Fmt_Text negative = {-5, "(A)"};
  EXPECT_EQ(for__format_compiler(&negative, &untouched, 0), MSG_FORMAT_SYNTAX);
  EXPECT_EQ(untouched, nullptr);
}

TEST(FormatCompiler, LiteralLongerThanItsLengthField) {
  const std::string text(70000, 'q');
  for (const std::string& format : {"('" + text + "')", "(70000H" + text + ")"}) {
    const Compiled compiled(format);
    ASSERT_EQ(compiled.result(), 0);
    EXPECT_EQ(listing(compiled.format()), "1; 28 <" + text.substr(0, 65535) + ">; 28 <" + text.substr(65535) + ">; 2");
  }
}

TEST(FormatCompiler, FailedAllocationLeavesNothing) {
  std::string text = "(";
  for (int i = 0; i < 100; ++i) text += "I5,'abc',DT'x'(1),";
  text += "A)";
  const long before = tamrun_test::vm_live_blocks();
  int failures = 0;
  for (long n = 1;; ++n) {
    const tamrun_test::Fail_Vm fail(n);
    const Compiled compiled(text);
    if (!fail.hit()) {
      EXPECT_EQ(compiled.result(), 0);
      break;
    }
    ++failures;
    EXPECT_EQ(compiled.result(), MSG_NO_MEMORY);
  }
  EXPECT_GT(failures, 5);
  EXPECT_EQ(tamrun_test::vm_live_blocks(), before);
}

TEST(FormatCompiler, FreeTakesBackOnlyItsOwn) {
  For_Fmt_Isb isb = {};
  const u8 compiled_code[] = {FMT_SHORT_END, 0, 0, 0};
  isb.isb_fmt_base = isb.isb_fmt_pc = compiled_code;
  for__format_free(&isb);
  EXPECT_EQ(isb.isb_fmt_pc, compiled_code);

  const long before = tamrun_test::vm_live_blocks();
  for (const bool started : {false, true}) {  // the base is known once the start element has been met
    u8* format = nullptr;
    const For_Fmt_Text text = {3, "(A)"};
    ASSERT_EQ(for__format_compiler(&text, &format, 0), 0);
    isb = {};
    isb.isb_fmt_pc = started ? format + 12 : format;
    isb.isb_fmt_base = started ? format : nullptr;
    isb.isb_flags = ISB_RUNTIME_FORMAT | ISB_BN;
    for__format_free(&isb);
    EXPECT_EQ(isb.isb_flags, u32{ISB_BN});
    EXPECT_EQ(isb.isb_fmt_pc, nullptr);
    EXPECT_EQ(isb.isb_fmt_base, nullptr);
    for__format_free(&isb);
  }
  EXPECT_EQ(tamrun_test::vm_live_blocks(), before);
}

}  // namespace
