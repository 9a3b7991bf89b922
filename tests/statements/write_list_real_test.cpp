// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed output of reals and complex numbers. What a field holds is computed with the C library.

#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>

#include "list_output.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

/// Gw.dEe with a scale factor of 1, of a value that is not zero.
std::string g_field(double v, int w, int d, int e) {
  char text[80];
  snprintf(text, sizeof text, "%.*e", d - 1, v);
  const int digits_before_point = atoi(strchr(text, 'e') + 1) + 1;
  if (digits_before_point >= 0 && digits_before_point <= d) {
    snprintf(text, sizeof text, "%#*.*f", w - e - 2, d - digits_before_point, v);
    return text + blanks(e + 2);
  }
  snprintf(text, sizeof text, "%.*e", d, v);
  char* exponent = strchr(text, 'e');
  char field[120];
  const int value = atoi(exponent + 1);
  *exponent = '\0';
  snprintf(field, sizeof field, "%sE%c%0*d", text, value < 0 ? '-' : '+', e, abs(value));
  return blanks(w - strlen(field)) + field;
}

std::string trimmed(const std::string& field) {
  const size_t from = field.find_first_not_of(' ');
  return field.substr(from, field.find_last_not_of(' ') - from + 1);
}

std::string r4(float v) { return g_field(v, 15, 7, 2); }
std::string r8(double v) { return g_field(v, 24, 15, 3); }
std::string c8(float re, float im) {
  return " (" + trimmed(g_field(re, 14, 7, 2)) + "," + trimmed(g_field(im, 14, 7, 2)) + ")";
}

TEST(WriteListReal, KnownFields) {
  struct Row {
    std::function<void(ItemList&)> build;
    std::string written;
  };
  const Row rows[] = {
      {[](ItemList& l) { l.real4(1); }, "   1.000000    "},
      {[](ItemList& l) { l.real8(1); }, "   1.00000000000000     "},
      {[](ItemList& l) { l.real8(0.1); }, "  0.100000000000000     "},
      {[](ItemList& l) { l.real8(-1e100); }, " -1.000000000000000E+100"},
      {[](ItemList& l) { l.real4(0); }, "  0.0000000E+00"},
      {[](ItemList& l) { l.real8(-1234567.875); }, "  -1234567.87500000     "},
      {[](ItemList& l) { l.real16(2); }, "   2.00000000000000000000000000000000      "},
      {[](ItemList& l) { l.real8(__builtin_inf()).real8(-__builtin_inf()); },
       "                Infinity               -Infinity"},
      {[](ItemList& l) { l.real4(__builtin_nanf("")); }, "            NaN"},
      {[](ItemList& l) { l.int4(5).real8(0.5).text("x"); }, "           5  0.500000000000000      x"},
      {[](ItemList& l) { l.complex8(1, -2); }, " (1.000000,-2.000000)"},
      {[](ItemList& l) { l.complex16(1, 0.5); }, " (1.000000000000000,0.5000000000000000)"},
      {[](ItemList& l) { l.text("z=").complex8(1, 2).complex8(3, 4); }, " z= (1.000000,2.000000) (3.000000,4.000000)"},
  };
  for (const Row& row : rows) {
    List_Unit unit;
    EXPECT_EQ(unit.write(row.build), 0);
    EXPECT_EQ(unit.text(), row.written + "\n");
  }
}

TEST(WriteListReal, RandomFields) {
  std::mt19937_64 random(7);
  List_Unit unit;
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const u64 bits = random();
    double d;
    float f;
    const u32 low = static_cast<u32>(bits);
    memcpy(&d, &bits, sizeof d);
    memcpy(&f, &low, sizeof f);
    if (i % 2) d = static_cast<double>(static_cast<i64>(bits)) / static_cast<double>(1ull << (random() % 63));
    if (!__builtin_isfinite(d) || !__builtin_isfinite(f) || f == 0 || d == 0) continue;
    ASSERT_EQ(unit.write([&](ItemList& l) { l.real8(d).real4(f).int4(i); }), 0);
    char integer[16];
    snprintf(integer, sizeof integer, "%12d", i);
    expected += r8(d) + r4(f) + integer + "\n";
  }
  const std::string text = unit.text();
  const size_t length = std::min(text.size(), expected.size());
  size_t at = 0;
  while (at < length && text[at] == expected[at]) ++at;
  const size_t from = at < 60 ? 0 : at - 60;
  EXPECT_TRUE(text == expected) << text.substr(from, 120) << "\nwanted\n" << expected.substr(from, 120);
}

TEST(WriteListReal, CompactForm) {
  Connection c;
  c.compact = true;
  List_Unit unit(c);
  EXPECT_EQ(unit.write([](ItemList& l) { l.real8(0.5).int4(-7).real4(1e20f).logical4(1); }), 0);
  EXPECT_EQ(unit.write([](ItemList& l) { l.int4(1).complex8(1, 2).text("t"); }), 0);
  EXPECT_EQ(unit.text(), " " + trimmed(r8(0.5)) + " -7 " + trimmed(r4(1e20f)) + " T\n 1 (1.000000,2.000000) t\n");
}

TEST(WriteListReal, DecimalComma) {
  List_Unit unit;
  ControlList control;
  control.decimal("COMMA").end();
  EXPECT_EQ(unit.write([](ItemList& l) { l.real4(1.5f).complex8(1, 2); }, &control), 0);
  EXPECT_EQ(unit.text(), "   1,500000     (1,000000;2,000000)\n");
}

TEST(WriteListReal, LinesFold) {
  List_Unit unit;
  const double values[] = {1, 2, 3, 4};
  EXPECT_EQ(unit.write([&](ItemList& l) { l.array(48, values, sizeof values); }), 0);
  EXPECT_EQ(unit.text(), r8(1) + r8(2) + r8(3) + "\n" + r8(4) + "\n");
  EXPECT_EQ(unit.lub().lub_next_rec, 3);
}

// Each part debits its nominal width when it has been edited, the real part before the pair is placed.
TEST(WriteListReal, ComplexPairsKeepTogether) {
  const float values[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2, 3};
  List_Unit unit;
  EXPECT_EQ(unit.write([&](ItemList& l) { l.array(29, values, sizeof values); }), 0);
  EXPECT_EQ(unit.text(), c8(1, 2) + c8(3, 4) + "\n" + c8(5, 6) + c8(7, 8) + c8(9, 1) + "\n" + c8(2, 3) + "\n");

  // Sections of pairs, apart and backwards.
  List_Unit sections({}, 41);
  EXPECT_EQ(sections.write([&](ItemList& l) { l.section(29, values + 8, {{1, 2, -16}}); }), 0);
  EXPECT_EQ(sections.text(), c8(9, 1) + c8(5, 6) + "\n");
}

TEST(WriteListReal, ComplexPairIsSplitWhenNoLineHoldsIt) {
  struct Row {
    i64 recl;
    int code;
    std::string written;
  };
  // The pair of 8 and 9 characters takes 21 columns, its opening piece 11, its closing one 10. The real part has debited
  // 14 columns when the pair is placed, so that a short line is left empty.
  const Row rows[] = {
      {20, 0, "\n (1.000000,-2.000000)\n"},
      {19, 0, "\n (1.000000,\n -2.000000)\n"},
      {11, 0, "\n (1.000000,\n -2.000000)\n"},
      {34, 0, " (1.000000,-2.000000)\n"},
      {9, MSG_RECORD_OVERFLOW, ""},
  };
  for (const Row& row : rows) {
    Connection c;
    c.recl = row.recl;
    List_Unit unit(c);
    EXPECT_EQ(unit.write([](ItemList& l) { l.complex8(1, -2); }), row.code) << row.recl;
    EXPECT_EQ(unit.text(), row.written) << row.recl;
  }
}

TEST(WriteListReal, PartWiderThanItsFieldIsWrittenWhole) {
  // 17 digits, a sign and a three-digit exponent take 24 columns, the field table gives 23.
  List_Unit unit;
  EXPECT_EQ(unit.write([](ItemList& l) { l.complex16(-1.2345678901234567e100, 1).int4(1); }), 0);
  EXPECT_EQ(unit.text(), " (-1.2345678901234567E+100,1.000000000000000)           1\n");
}

TEST(WriteListReal, OneWriteForEachRecordAndNothingFromTheHeap) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);  // each write arrives as a message of its own
  Connected_Unit unit(40, ends[1], {});
  For_Context ctx{};
  for (int i = 1; i <= 3; ++i) {
    ItemList items;
    items.int4(i).real8(i).end();
    const tamrun_test::Fail_Vm fail(1);
    EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, items), 0);
    EXPECT_FALSE(fail.hit());
  }
  char message[200];
  for (int i = 1; i <= 3; ++i) {
    char integer[16];
    snprintf(integer, sizeof integer, "%12d", i);
    const ssize_t got = recv(ends[0], message, sizeof message, MSG_DONTWAIT);
    ASSERT_GT(got, 0);
    EXPECT_EQ(std::string(message, got), integer + r8(i) + "\n");
  }
  EXPECT_LT(recv(ends[0], message, sizeof message, MSG_DONTWAIT), 0);
  close(ends[0]);
}

TEST(WriteListReal, MsfLayoutSpreadsPairs) {
  Connection c;
  c.msf_layout = true;
  List_Unit unit(c);
  EXPECT_EQ(unit.write([](ItemList& l) { l.complex8(1, 2).real4(1.5f); }), 0);
  const std::string text = unit.text();
  const size_t open = text.find('('), close = text.find(')');
  ASSERT_NE(close, std::string::npos);
  // Two fields of 16 columns, a separator and the parentheses: the pair ends where those would.
  EXPECT_EQ(close + 1, 2u * 16 + 2);
  EXPECT_EQ(text.substr(0, open), blanks(open));
}

}  // namespace
