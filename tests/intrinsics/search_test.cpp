// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// INDEX, SCAN and VERIFY against std::string, on strings that touch forbidden pages.
#include <gtest/gtest.h>

#include <string>

#include "guarded.h"
#include "intrinsics/for_f90str.h"
#include "support/soak.h"

namespace {

using tamrun_test::below;
using tamrun_test::Guarded;
using tamrun_test::random_text;

/// Text of one short piece again and again, with a few faults: many places nearly fit.
std::string repetitive(size_t length) {
  const std::string piece = random_text(1 + below(7), "ab");
  std::string text;
  while (text.size() < length) text += piece;
  text.resize(length);
  for (size_t faults = below(4); faults > 0 && length > 0; --faults) text[below(length)] = below(2) != 0 ? 'a' : 'b';
  return text;
}

/// Position from 1 of what std::string tells, 0 for none.
i32 position(size_t found) { return static_cast<i32>(found + 1); }
i32 size_of(const std::string& text) { return static_cast<i32>(text.size()); }

void expect_index(const char* s, const std::string& text, const char* sub, const std::string& part) {
  const i32 n = size_of(text), m = size_of(part), first = position(text.find(part)), last = position(text.rfind(part));
  ASSERT_EQ(for_index(s, n, sub, m), first) << "[" << text << "] [" << part << "]";
  ASSERT_EQ(for_index_ssll(s, sub, n, m), first);
  ASSERT_EQ(for_string_index(s, n, sub, m), first - 1);
  ASSERT_EQ(for_f90_index(s, n, sub, m, 0), first);
  ASSERT_EQ(for_index_back(s, n, sub, m), last) << "[" << text << "] [" << part << "]";
  ASSERT_EQ(for_f90_index(s, n, sub, m, 4), last);
}

TEST(Index, AgreesWithStrings) {
  Guarded text_room, part_room;
  for (long n = soak_cases(20000); n > 0; --n) {
    const bool nuls = below(8) == 0;
    const std::string text = nuls ? random_text(below(40), std::string_view("\0a", 2)) : repetitive(below(90));
    const std::string part = nuls                            ? random_text(below(3), std::string_view("\0a", 2))
                             : below(2) != 0 || text.empty() ? repetitive(below(12))
                                                             : text.substr(below(text.size()), below(40));
    ASSERT_NO_FATAL_FAILURE(expect_index(text_room.put(text, n % 2 != 0), text, part_room.put(part, n % 4 < 2), part));
  }
}

/// Long runs of a period between faults, and a run that is longer than most: what has matched is left and taken up again.
TEST(Index, RunsOfOnePeriod) {
  for (long n = soak_cases(2000); n > 0; --n) {
    const std::string piece = random_text(1 + below(7), "ab");
    const auto run = [&](size_t length) {
      std::string periods;
      while (periods.size() < length) periods += piece;
      return periods.substr(0, length);
    };
    std::string part = run(60 + below(80)), text;
    if (below(2) != 0) part.insert(below(2) != 0 ? below(8) : part.size() - below(8), 1, 'a');
    while (text.size() < 1500 + below(1500)) {
      std::string near = run(part.size() + below(20));
      for (int faults = 0; faults < 2; ++faults) near[below(near.size())] ^= 'a' ^ 'b';
      text += run(below(160)) + random_text(below(3), "ab") + part.substr(below(20), 40 + below(100)) + near;
    }
    ASSERT_NO_FATAL_FAILURE(expect_index(text.data(), text, part.data(), part));
    const std::string unlike = part + "c";
    ASSERT_NO_FATAL_FAILURE(expect_index(text.data(), text, unlike.data(), unlike));
  }
}

/// A search that is not linear would take days.
TEST(Index, LinearInTheWorstCase) {
  constexpr size_t kText = 3'000'000, kHalf = 500'000;
  const std::string run(kHalf, 'a'), text(kText, 'a');
  for (const std::string& part : {run + 'b' + run, 'b' + run, run + 'b', 'a' + run + 'b' + 'a', run}) {
    const bool there = part == run;
    EXPECT_EQ(for_index(text.data(), kText, part.data(), size_of(part)), there ? 1 : 0);
    EXPECT_EQ(for_index_back(text.data(), kText, part.data(), size_of(part)), there ? position(kText - kHalf) : 0);
  }
}

TEST(Index, EmptyStrings) {
  const char* s = "ABAB";
  EXPECT_EQ(for_index(s, 4, nullptr, 0), 1);
  EXPECT_EQ(for_index(nullptr, -1, nullptr, -1), 1);
  EXPECT_EQ(for_index_back(s, 4, nullptr, -2), 5);
  EXPECT_EQ(for_index_back(nullptr, -7, nullptr, 0), 1);
  EXPECT_EQ(for_string_index(s, 4, nullptr, 0), 0);
  EXPECT_EQ(for_index(nullptr, 0, "A", 1), 0);
  EXPECT_EQ(for_index_back(nullptr, -1, "A", 1), 0);
  EXPECT_EQ(for_string_index("A", 1, "AB", 2), -1);
}

void expect_sets(const char* s, const std::string& text, const char* set, const std::string& members) {
  const i32 n = size_of(text), m = size_of(members);
  const i32 scan = position(text.find_first_of(members)), scan_back = position(text.find_last_of(members));
  const i32 verify = position(text.find_first_not_of(members)), verify_back = position(text.find_last_not_of(members));
  ASSERT_EQ(for_f90_scan(s, n, set, m, 0), scan) << "[" << text << "] [" << members << "]";
  ASSERT_EQ(for_string_search(s, n, set, m), scan - 1);
  ASSERT_EQ(for_f90_scan(s, n, set, m, -1), scan_back) << "[" << text << "] [" << members << "]";
  ASSERT_EQ(for_scan_back(s, n, set, m), scan_back);
  ASSERT_EQ(for_f90_verify(s, n, set, m, 0), verify) << "[" << text << "] [" << members << "]";
  ASSERT_EQ(for_string_verify(s, n, set, m), verify - 1);
  ASSERT_EQ(for_f90_verify(s, n, set, m, 1), verify_back) << "[" << text << "] [" << members << "]";
  ASSERT_EQ(for_verify_back(s, n, set, m), verify_back);
}

TEST(ScanVerify, AgreeWithStrings) {
  Guarded text_room, set_room;
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  for (long n = soak_cases(20000); n > 0; --n) {
    const std::string_view some = std::string_view(all).substr(below(256), 1 + below(60));
    const std::string members = random_text(below(40), some);
    // All in the set, all but one, or at random.
    std::string text = random_text(below(90), members.empty() || below(3) == 0 ? some : std::string_view(members));
    if (!text.empty() && below(2) != 0) text[below(text.size())] = static_cast<char>(below(256));
    ASSERT_NO_FATAL_FAILURE(
        expect_sets(text_room.put(text, n % 2 != 0), text, set_room.put(members, n % 4 < 2), members));
  }
}

TEST(ScanVerify, EmptyStrings) {
  for (const i32 none : {0, -1}) {
    EXPECT_EQ(for_f90_scan("AB", 2, nullptr, none, 0), 0);
    EXPECT_EQ(for_scan_back("AB", 2, nullptr, none), 0);
    EXPECT_EQ(for_string_search(nullptr, none, "A", 1), -1);
    EXPECT_EQ(for_f90_verify("AB", 2, nullptr, none, 0), 1);
    EXPECT_EQ(for_verify_back("AB", 2, nullptr, none), 2);
    EXPECT_EQ(for_string_verify("AB", 2, nullptr, none), 0);
    EXPECT_EQ(for_f90_verify(nullptr, none, "A", 1, 0), 0);
    EXPECT_EQ(for_verify_back(nullptr, none, nullptr, none), 0);
    EXPECT_EQ(for_string_verify(nullptr, none, "A", 1), -1);
  }
}

}  // namespace
