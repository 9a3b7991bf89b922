// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Assignment, concatenation, comparison, TRIM and ADJUST against std::string, on strings that touch forbidden pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "guarded.h"
#include "intrinsics/for_f90str.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::below;
using tamrun_test::Guarded;
using tamrun_test::random_text;

std::string fitted(std::string text, size_t length, char pad = ' ') {
  text.resize(length, pad);
  return text;
}

/// Lengths on both sides of every boundary of the copying and the searching loops, and beyond.
size_t random_length() { return below(4) != 0 ? below(70) : below(300); }

i64 signed_size(const std::string& text) { return static_cast<i64>(text.size()); }
i32 short_size(const std::string& text) { return static_cast<i32>(text.size()); }

TEST(Assignment, CutsAndPads) {
  Guarded from, to;
  for (long n = soak_cases(4000); n > 0; --n) {
    const std::string text = random_text(random_length(), "abc ");
    const size_t room = random_length();
    const bool nul = below(2) != 0;
    char* dst = to.put(std::string(room, '#'), n % 2 != 0);
    for_cpystr(dst, static_cast<i64>(room), from.put(text, n % 4 < 2), signed_size(text), nul);
    ASSERT_EQ(std::string(dst, room), fitted(text, room, nul ? '\0' : ' ')) << text.size();
  }
}

TEST(Assignment, ToleratesOverlap) {
  for (long n = soak_cases(2000); n > 0; --n) {
    std::string field = random_text(400, "abcdefgh");
    const size_t src = below(100), dst = below(100), length = random_length(), room = random_length();
    std::string expected = field;
    expected.replace(dst, room, fitted(field.substr(src, length), room));
    for_cpystr(field.data() + dst, static_cast<i64>(room), field.data() + src, static_cast<i64>(length), 0);
    ASSERT_EQ(field, expected);
  }
}

/// `count` operands, inside of the target's field or outside of it.
void concatenate_randomly(size_t field_length) {
  std::string field = random_text(field_length, "abcdef"), outside = random_text(200, "UVWXYZ"), joined;
  const size_t start = below(field_length / 3), room = below(field_length - start);
  std::vector<For_Concat_Operand> operands(1 + below(5));
  for (For_Concat_Operand& each : operands) {
    const std::string& home = below(3) == 0 ? field : outside;
    const size_t at = below(home.size());
    each = {home.data() + at,
            static_cast<i64>(std::min(home.size() - at, random_length())) - (below(9) == 0 ? 400 : 0)};
    if (each.len > 0) joined.append(each.addr, static_cast<size_t>(each.len));
  }
  std::string expected = field;
  expected.replace(start, room, fitted(joined, room));
  for_concat(operands.data(), static_cast<int>(operands.size()), field.data() + start, static_cast<i64>(room));
  ASSERT_EQ(field, expected);
}

TEST(Concatenation, OperandsMayLieInTheTarget) {
  const long held = tamrun_test::vm_live_blocks();
  for (long n = soak_cases(3000); n > 0; --n) ASSERT_NO_FATAL_FAILURE(concatenate_randomly(n % 4 != 0 ? 120 : 900));
  EXPECT_EQ(tamrun_test::vm_live_blocks(), held);
}

TEST(Concatenation, TakesTheHeapForLargeOverlapsAlone) {
  for (const i64 room : {256, 257}) {
    const auto end = tamrun_test::run_child([=] {
      std::string field(300, 'x');
      const For_Concat_Operand operands[] = {{field.data(), room - 1}, {"<", 1}};
      tamrun_test::Fail_Vm fail(1);
      for_concat(operands, 2, field.data(), room);
    });
    EXPECT_EQ(end.status, room > 256 ? MSG_NO_MEMORY : 0);
    EXPECT_EQ(end.err.find("insufficient virtual memory") != std::string::npos, room > 256);
  }
}

TEST(Concatenation, OperandsBehindAFullTargetAreNotTouched) {
  char to[] = "....#";
  const For_Concat_Operand operands[] = {{"ab", 2}, {"cdef", 4}, {nullptr, 7}};
  for_concat(operands, 3, to, 4);
  EXPECT_STREQ(to, "abcd#");
  for_concat(operands, 0, to, 4);
  for_concat(operands, -1, to, 4);
  for_concat(operands, 3, to, 0);
  EXPECT_STREQ(to, "abcd#");
}

template <class Byte>
int padded_order(const std::string& a, const std::string& b) {
  const size_t length = std::max(a.size(), b.size());
  const std::string x = fitted(a, length), y = fitted(b, length);
  for (size_t i = 0; i < length; ++i) {
    if (x[i] != y[i]) return static_cast<Byte>(x[i]) - static_cast<Byte>(y[i]);
  }
  return 0;
}

void expect_relations(const char* a, const std::string& left, const char* b, const std::string& right) {
  const i64 n = signed_size(left), m = signed_size(right);
  const int order = padded_order<u8>(left, right);
  const int found[] = {for_cpstr_gt(a, n, b, m), for_cpstr_lt(a, n, b, m), for_cpstr_eq(a, n, b, m),
                       for_cpstr_ne(a, n, b, m), for_cpstr_ge(a, n, b, m), for_cpstr_le(a, n, b, m)};
  const int expected[] = {order > 0, order < 0, order == 0, order != 0, order >= 0, order <= 0};
  for (int op = FOR_CPSTR_GT; op <= FOR_CPSTR_LE; ++op) {
    ASSERT_EQ(found[op], expected[op]) << op << " [" << left << "] [" << right << "]";
    ASSERT_EQ(for_cpstr(a, n, b, m, op), expected[op]) << op;
  }
  const i32 short_n = short_size(left), short_m = short_size(right);
  const int difference = padded_order<i8>(left, right);
  ASSERT_EQ(for__strncmp(a, b, short_n, short_m), difference) << "[" << left << "] [" << right << "]";
  ASSERT_EQ(for_llt(a, short_n, b, short_m), difference < 0 ? -1 : 0);
  ASSERT_EQ(for_lle(a, short_n, b, short_m), difference <= 0 ? -1 : 0);
  ASSERT_EQ(for_lgt(a, short_n, b, short_m), difference > 0 ? -1 : 0);
  ASSERT_EQ(for_lge(a, short_n, b, short_m), difference >= 0 ? -1 : 0);
}

TEST(Comparison, AgreesWithPaddedStrings) {
  Guarded left_room, right_room;
  constexpr std::string_view kBytes("\0\t AZ\x7f\x80\xe4\xff", 9);
  for (long n = soak_cases(6000); n > 0; --n) {
    // Mostly equal: one text, cut, and perhaps one byte of it changed; or followed by blanks.
    std::string left = random_text(random_length(), kBytes), right = left;
    if (below(3) != 0 && !right.empty()) right[below(right.size())] = kBytes[below(kBytes.size())];
    if (below(2) != 0) right.resize(below(right.size() + 40), below(4) != 0 ? ' ' : '\t');
    if (below(2) != 0) left.swap(right);
    ASSERT_NO_FATAL_FAILURE(
        expect_relations(left_room.put(left, n % 2 != 0), left, right_room.put(right, n % 4 < 2), right));
  }
  EXPECT_EQ(for_cpstr_eq("AB", -1, "  ", 2), 1);
}

TEST(Comparison, EveryPlaceDecides) {
  const std::string left(1500, 'x');
  for (size_t place = 0; place < left.size(); ++place) {
    std::string right = left;
    right[place] = 'z';
    ASSERT_NO_FATAL_FAILURE(expect_relations(left.data(), left, right.data(), right)) << place;
  }
}

TEST(Comparison, UnknownOperatorIsAnInternalError) {
  for (const int op : {6, -1}) {
    const auto end = tamrun_test::run_child([=] { for_cpstr("a", 1, "b", 1, op); });
    EXPECT_EQ(end.status, MSG_INTERNAL_CONSISTENCY);
    EXPECT_NE(end.err.find("internal consistency check failure, file for_f90str, line 647"), std::string::npos)
        << end.err;
  }
}

std::string random_blanks_around() {
  const auto some = [](size_t most) { return below(3) == 0 ? std::string() : std::string(below(most), ' '); };
  return some(40) + random_text(below(40), "ab ") + some(below(3) != 0 ? 40 : 300);
}

TEST(Trimming, AgreesWithStrings) {
  Guarded from, to;
  for (long n = soak_cases(5000); n > 0; --n) {
    const std::string text = random_blanks_around();
    const size_t length = text.size(), start = std::min(text.find_first_not_of(' '), length);
    const std::string tail = text.substr(start), kept = text.substr(0, text.find_last_not_of(' ') + 1);
    const char* src = from.put(text, n % 2 != 0);
    const i32 len = short_size(text);
    ASSERT_EQ(for_len_trim(src, len), signed_size(kept));

    char* dst = to.put(std::string(kept.size(), '#'), n % 4 < 2);
    ASSERT_EQ(for_trim(dst, 0, src, len), signed_size(kept));
    ASSERT_EQ(std::string(dst, kept.size()), kept);

    dst = to.put(std::string(length, '#'), n % 4 < 2);
    for_adjustl(dst, 0, src, len);
    ASSERT_EQ(std::string(dst, length), fitted(tail, length));
    for_adjustr(dst, 0, src, len);
    ASSERT_EQ(std::string(dst, length), std::string(length - kept.size(), ' ') + kept);

    if (length == 0) continue;
    const std::string inner = start < kept.size() ? kept.substr(start) : "";
    dst = to.put(std::string(length, '#'), n % 4 < 2);
    for__trim(src, len, dst);
    const std::string behind = inner.size() < length ? '\0' + std::string(length - inner.size() - 1, '#') : "";
    ASSERT_EQ(std::string(dst, length), inner + behind);
  }
}

TEST(Trimming, InPlace) {
  for (size_t blanks = 0; blanks <= 100; ++blanks) {
    const std::string text = "left to right" + std::string(blanks, ' ');
    std::string field = text;
    for_adjustr(field.data(), signed_size(field), field.data(), short_size(field));
    ASSERT_EQ(field, std::string(blanks, ' ') + "left to right");
    for_adjustl(field.data(), signed_size(field), field.data(), short_size(field));
    ASSERT_EQ(field, text);
  }
}

TEST(Strings, LengthsBelowOneAreEmpty) {
  char to[] = "xyz";
  for_cpystr(to, -1, "ab", 2, 0);
  for_cpystr(to, 0, nullptr, 0, 0);
  for (const i32 len : {0, -1, -300}) {
    EXPECT_EQ(for_len_trim(nullptr, len), len);
    EXPECT_EQ(for_length(nullptr, len), len);
    EXPECT_EQ(for_trim(to, 3, nullptr, len), 0);
    for_adjustl(to, 3, nullptr, len);
    for_adjustr(to, 3, nullptr, len);
  }
  EXPECT_STREQ(to, "xyz");
  for_cpystr(to, 2, nullptr, -5, 0);
  EXPECT_STREQ(to, "  z");
}

TEST(Characters, CharAndIchar) {
  for (int code = 0; code < 256; ++code) {
    const char c = static_cast<char>(code);
    char stored[] = "..";
    for_char(stored, 9, &c);
    EXPECT_EQ(stored[0], c);
    EXPECT_EQ(stored[1], '.');
    EXPECT_EQ(for_ichar(&c), code < 128 ? code : code - 256);
  }
}

}  // namespace
