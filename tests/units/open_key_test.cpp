// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The words of character keywords.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "support/child.h"
#include "tamrun/messages.h"
#include "units/open.h"

namespace {

/// The words of a keyword that stand for 1, 2, 3 and so on; "-" where none does.
constexpr struct {
  int key;
  const char* words;
} kWords[] = {
    {2, "SEQUENTIAL DIRECT APPEND KEYED STREAM"},
    {6, "ZERO NULL"},
    {8, "FORTRAN LIST NONE"},
    {12, "SAVE DELETE PRINT SUBMIT PRINT/DELETE SUBMIT/DELETE"},
    {12, "KEEP"},
    {15, "FORMATTED UNFORMATTED - BINARY"},
    {18, "SEQUENTIAL RELATIVE INDEXED"},
    {23, "FIXED VARIABLE SEGMENTED - STREAM STREAM_LF STREAM_CR STREAM_CRLF"},
    {26, "OLD NEW SCRATCH UNKNOWN REPLACE"},
    {52, "BIG_ENDIAN LITTLE_ENDIAN VAXD VAXG IBM CRAY FDX FGX NATIVE"},
    {58, "READ READWRITE WRITE"},
    {67, "READ READWRITE WRITE"},
    {59, "APOSTROPHE NONE QUOTE"},
    {60, "NO YES"},
    {71, "NO YES"},
    {75, "NO YES"},
    {61, "APPEND ASIS REWIND"},
    {68, "COMPAT DENYNONE DENYRD DENYRW DENYWR"},
    {81, "UP DOWN ZERO NEAREST COMPATIBLE PROCESSOR_DEFINED"},
    {82, "POINT COMMA"},
    {83, "PROCESSOR_DEFINED PLUS SUPPRESS"},
    {84, "DEFAULT UTF-8"},
};

int look_up(const std::string& text, int key, i64* value, int context) {
  // Exactly as long as it is: a read past the end shows under the address sanitizer.
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  std::copy(text.begin(), text.end(), exact.get());
  return for__open_key(exact.get(), static_cast<int>(text.size()), key, value, context);
}

TEST(OpenKey, FindsEveryWordInAnyCaseWithTrailingBlanks) {
  for (const auto& row : kWords) {
    std::istringstream words(row.words);
    std::string word;
    for (i64 expected = 1; words >> word; ++expected) {
      if (word == "-") continue;
      std::string mixed = word;
      for (size_t i = 0; i < mixed.size(); i += 2) mixed[i] = static_cast<char>(tolower(mixed[i]));
      for (const std::string& text : {word, mixed, mixed + "   "}) {
        i64 value = -1;
        EXPECT_EQ(0, look_up(text, row.key, &value, KEYCTX_OPEN)) << text;
        EXPECT_EQ(expected, value) << row.key << " " << text;
      }
      for (const std::string& text : {" " + mixed, mixed + "X", mixed.substr(0, mixed.size() - 1)}) {
        i64 value = -1;
        const bool is_a_word = text == "sTrEaM_Cr";
        EXPECT_EQ(is_a_word ? 0 : int{MSG_OPEN_KEYWORD_VALUE}, look_up(text, row.key, &value, KEYCTX_OPEN)) << text;
        EXPECT_EQ(is_a_word ? 7 : -1, value) << text;
      }
    }
  }
}

TEST(OpenKey, UnknownWordsFailByStatement) {
  for (const char* text : {"OLDE", "", "    ", "READ\n"}) {
    i64 value = 0;
    EXPECT_EQ(45, look_up(text, KEY_STATUS, &value, KEYCTX_OPEN));
    EXPECT_EQ(115, look_up(text, KEY_DISPOSE, &value, KEYCTX_CLOSE));
    EXPECT_EQ(116, look_up(text, KEY_ROUND, &value, KEYCTX_TRANSFER));
  }
}

TEST(OpenKey, KeysWithoutWordsAreInternalErrors) {
  for (int key : {-1, 0, 13, 78, 88, 1000}) {
    const auto child = tamrun_test::run_child([key] {
      i64 value;
      (void)for__open_key("OLD", 3, key, &value, KEYCTX_OPEN);
    });
    EXPECT_EQ(MSG_INTERNAL_CONSISTENCY, child.status) << key;
  }
}

}  // namespace
