// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed output of reals and complex numbers. What a field holds is computed with the C library.

#include <sys/socket.h>

#include <random>

#include "memory_unit.h"
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

std::string i12(int v) {
  char text[16];
  snprintf(text, sizeof text, "%12d", v);
  return text;
}
std::string r4(float v) { return g_field(v, 15, 7, 2); }
std::string r8(double v) { return g_field(v, 24, 15, 3); }
std::string c8(float re, float im) {
  return " (" + trimmed(g_field(re, 14, 7, 2)) + "," + trimmed(g_field(im, 14, 7, 2)) + ")";
}

struct Row {
  ItemList items;
  std::string written;
  Connection connection = {};
  int code = 0;
};

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    Memory_Unit unit(row.connection);
    EXPECT_EQ(unit.write(row.items), row.code);
    EXPECT_EQ(unit.text(), row.written);
  }
}

TEST(WriteListReal, KnownFields) {
  constexpr double kInfinity = __builtin_inf();
  check({
      {ItemList().real4(1), "   1.000000    \n"},
      {ItemList().real8(0.1), "  0.100000000000000     \n"},
      {ItemList().real8(-1e100), " -1.000000000000000E+100\n"},
      {ItemList().real4(0), "  0.0000000E+00\n"},
      {ItemList().real16(2), "   2.00000000000000000000000000000000      \n"},
      {ItemList().real8(kInfinity).real8(-kInfinity), "                Infinity               -Infinity\n"},
      {ItemList().real4(__builtin_nanf("")), "            NaN\n"},
      {ItemList().int4(5).real8(0.5).text("x"), "           5  0.500000000000000      x\n"},
      {ItemList().complex16(1, 0.5), " (1.000000000000000,0.5000000000000000)\n"},
      {ItemList().text("z=").complex8(1, 2).complex8(3, 4), " z= (1.000000,2.000000) (3.000000,4.000000)\n"},
      // 17 digits, a sign and a three-digit exponent take 24 columns, the field table gives 23.
      {ItemList().complex16(-1.2345678901234567e100, 1).int4(1),
       " (-1.2345678901234567E+100,1.000000000000000)           1\n"},
      {ItemList().real8(0.5).int4(-7).real4(1e20f).logical4(1),
       " " + trimmed(r8(0.5)) + " -7 " + trimmed(r4(1e20f)) + " T\n",
       {.compact = true}},
      {ItemList().int4(1).complex8(1, 2).text("t"), " 1 (1.000000,2.000000) t\n", {.compact = true}},
  });
  Memory_Unit unit;
  EXPECT_EQ(unit.write(ItemList().real4(1.5f).complex8(1, 2), kIostat, ControlList().decimal("COMMA")), 0);
  EXPECT_EQ(unit.text(), "   1,500000     (1,000000;2,000000)\n");
}

TEST(WriteListReal, RandomFields) {
  std::mt19937_64 random(7);
  Memory_Unit unit;
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const u64 bits = random();
    double d = value_at<double>(reinterpret_cast<const char*>(&bits));
    const float f = value_at<float>(reinterpret_cast<const char*>(&bits));
    if (i % 2) d = static_cast<double>(static_cast<i64>(bits)) / static_cast<double>(1ull << (random() % 63));
    if (!__builtin_isfinite(d) || !__builtin_isfinite(f) || f == 0 || d == 0) continue;
    ASSERT_EQ(unit.write(ItemList().real8(d).real4(f).int4(i)), 0);
    expected += r8(d) + r4(f) + i12(i) + "\n";
  }
  const std::string text = unit.text();
  const size_t length = std::min(text.size(), expected.size());
  size_t at = 0;
  while (at < length && text[at] == expected[at]) ++at;
  const size_t from = at < 60 ? 0 : at - 60;
  EXPECT_TRUE(text == expected) << text.substr(from, 120) << "\nwanted\n" << expected.substr(from, 120);
}

TEST(WriteListReal, LinesFold) {
  const double reals[] = {1, 2, 3, 4};
  const float pairs[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2, 3};
  check({
      {ItemList().array(ITM_REAL8, reals, sizeof reals), r8(1) + r8(2) + r8(3) + "\n" + r8(4) + "\n"},
      // Each part debits its nominal width when it has been edited, the real part before the pair is placed.
      {ItemList().array(ITM_COMPLEX8, pairs, sizeof pairs),
       c8(1, 2) + c8(3, 4) + "\n" + c8(5, 6) + c8(7, 8) + c8(9, 1) + "\n" + c8(2, 3) + "\n"},
      {ItemList().section(ITM_COMPLEX8, pairs + 8, {{1, 2, -16}}), c8(9, 1) + c8(5, 6) + "\n"},
      // A pair that no line holds. Of 8 and 9 characters it takes 21 columns, its opening piece 11, its closing one 10.
      // The real part has debited 14 columns when the pair is placed, so that a short line is left empty.
      {ItemList().complex8(1, -2), "\n (1.000000,-2.000000)\n", {.recl = 20}},
      {ItemList().complex8(1, -2), "\n (1.000000,\n -2.000000)\n", {.recl = 19}},
      {ItemList().complex8(1, -2), "\n (1.000000,\n -2.000000)\n", {.recl = 11}},
      {ItemList().complex8(1, -2), " (1.000000,-2.000000)\n", {.recl = 34}},
      {ItemList().complex8(1, -2), "", {.recl = 9}, MSG_RECORD_OVERFLOW},
  });
}

TEST(WriteListReal, OneWriteForEachRecordAndNothingFromTheHeap) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);  // each write arrives as a message of its own
  Connected_Unit unit(40, ends[1], {});
  For_Context ctx{};
  for (int i = 1; i <= 3; ++i) {
    const tamrun_test::Fail_Vm fail(1);
    EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, ItemList().int4(i).real8(i)), 0);
    EXPECT_FALSE(fail.hit());
  }
  char message[200];
  for (int i = 1; i <= 3; ++i) {
    const ssize_t got = recv(ends[0], message, sizeof message, MSG_DONTWAIT);
    ASSERT_GT(got, 0);
    EXPECT_EQ(std::string(message, got), i12(i) + r8(i) + "\n");
  }
  EXPECT_LT(recv(ends[0], message, sizeof message, MSG_DONTWAIT), 0);
  close(ends[0]);
}

TEST(WriteListReal, MsfLayoutSpreadsPairs) {
  Memory_Unit unit({.msf_layout = true});
  EXPECT_EQ(unit.write(ItemList().complex8(1, 2).real4(1.5f)), 0);
  const std::string text = unit.text();
  const size_t open = text.find('('), close = text.find(')');
  // Two fields of 16 columns, a separator and the parentheses: the pair ends where those would.
  EXPECT_EQ(close + 1, 2u * 16 + 2);
  EXPECT_EQ(text.substr(0, open), blanks(open));
}

}  // namespace
