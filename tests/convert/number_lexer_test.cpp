// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The lexer of numbers against a grammar: what it accepts are exactly the beginnings of numbers.

#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr u32 kPoint = u32{'.'} << 12, kComma = u32{','} << 12;

struct Verdict {
  size_t accepted;  // characters
  bool complete;    // what was accepted is a whole number
};

Verdict lex(const std::string& text, u32 state = kPoint) {
  size_t n = 0;
  while (n < text.size() && cvt__lex_number_char(&state, text[n])) ++n;
  return {n, cvt__lex_number_complete(&state) != 0};
}

/// All numbers there are. A sign may stand behind a leading point, and an exponent letter may stand alone.
const std::regex& grammar() {
  static const std::regex pattern(
      "[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([deq]([+-]?[0-9]+)?|[+-][0-9]+)?"
      "|\\.[+-][0-9]+([deq]([+-]?[0-9]+)?|[+-][0-9]+)?"
      "|[+-]?0x([0-9a-f]+\\.?[0-9a-f]*|\\.[0-9a-f]+)p[+-]?[0-9]+"
      "|[+-]?inf(inity)?"
      "|[+-]?nan(\\([0-9a-z_]*\\))?",
      std::regex::icase | std::regex::optimize);
  return pattern;
}

/// Calls `visit` with every string of up to `longest` characters of the alphabet.
template <class Visit>
void all_strings(const std::string& alphabet, size_t longest, std::string& text, Visit visit) {
  visit(text);
  if (text.size() == longest) return;
  for (char c : alphabet) {
    text.push_back(c);
    all_strings(alphabet, longest, text, visit);
    text.pop_back();
  }
}

TEST(NumberLexer, accepts_the_beginnings_of_numbers_and_nothing_else) {
  struct {
    const char* alphabet;
    size_t longest;     // of the strings tried
    size_t conclusive;  // any beginning so long has a completion among them
  } static const rows[] = {
      {"+-0.1E", 6, 4}, {"0x.1aP-", 6, 3}, {"1d+Q.F", 5, 3}, {"nAa(_9)+", 6, 3}, {"iNf0Ta.", 5, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.alphabet);
    std::set<std::string> beginnings;
    std::string text;
    all_strings(row.alphabet, row.longest, text, [&](const std::string& candidate) {
      if (!std::regex_match(candidate, grammar())) return;
      for (size_t n = 0; n <= candidate.size(); ++n) beginnings.insert(candidate.substr(0, n));
    });
    all_strings(row.alphabet, row.longest, text, [&](const std::string& candidate) {
      const Verdict verdict = lex(candidate);
      const bool accepted = verdict.accepted == candidate.size();
      if (beginnings.count(candidate) || candidate.size() <= row.conclusive) {
        ASSERT_EQ(beginnings.count(candidate) == 1, accepted) << candidate;
      }
      ASSERT_EQ(std::regex_match(candidate.substr(0, verdict.accepted), grammar()), verdict.complete) << candidate;
    });
  }
}

TEST(NumberLexer, words_letter_by_letter) {
  for (const char* word : {"Infinity", "-iNFINITY", "+NaN(aZ_09)", "nan()"}) {
    const std::string text = word;
    for (size_t n = 1; n <= text.size(); ++n) {
      const std::string part = text.substr(0, n);
      EXPECT_EQ(n, lex(part).accepted) << part;
      EXPECT_EQ(std::regex_match(part, grammar()), lex(part).complete) << part;
    }
    for (int c = 0; c < 256; ++c) EXPECT_EQ(text.size(), lex(text + static_cast<char>(c)).accepted) << text << c;
  }
}

TEST(NumberLexer, every_character_at_the_start) {
  const std::string starters = "+-0123456789.IiNn";
  for (int c = 0; c < 256; ++c) {
    const bool starts = c != 0 && starters.find(static_cast<char>(c)) != std::string::npos;
    EXPECT_EQ(starts, lex(std::string(1, static_cast<char>(c))).accepted == 1) << c;
  }
}

TEST(NumberLexer, decimal_character_is_the_callers) {
  EXPECT_EQ(3u, lex("1,5", kComma).accepted);
  EXPECT_TRUE(lex("1,5", kComma).complete);
  EXPECT_EQ(1u, lex("1.5", kComma).accepted);
  EXPECT_EQ(1u, lex("1,5").accepted);
  EXPECT_EQ(3u, lex("1,5,5", kComma).accepted);
  EXPECT_EQ(3u, lex("1\247"
                    "5",
                    0247u << 12)
                    .accepted);
}

TEST(NumberLexer, what_it_remembers) {
  u32 state = kPoint;
  for (char c : std::string("-0x1F.8p+3")) ASSERT_TRUE(cvt__lex_number_char(&state, c));
  EXPECT_EQ(0x2E000u | 1 << 0 | 1 << 3 | 1 << 4 | 1 << 5 | 1 << 6 | 1 << 7, state);
  const u32 before = state;
  EXPECT_FALSE(cvt__lex_number_char(&state, ' '));
  EXPECT_EQ(before, state);
  state = kPoint;
  for (char c : std::string("+1d")) ASSERT_TRUE(cvt__lex_number_char(&state, c));
  EXPECT_EQ(0x2E000u | 1 << 7, state);  // the letter forgets the number's sign and digits
}

}  // namespace
