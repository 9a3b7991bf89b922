// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The words of character keywords.

#include <gtest/gtest.h>

#include <string>

#include "support/child.h"
#include "tamrun/messages.h"
#include "units/open.h"

namespace {

using tamrun_test::run_child;

struct Word_Row {
  int key;
  const char* text;
  i64 value;
};

constexpr Word_Row kWords[] = {{2, "SEQUENTIAL", 1},
                               {2, "DIRECT", 2},
                               {2, "APPEND", 3},
                               {2, "KEYED", 4},
                               {2, "STREAM", 5},
                               {6, "ZERO", 1},
                               {6, "NULL", 2},
                               {8, "FORTRAN", 1},
                               {8, "LIST", 2},
                               {8, "NONE", 3},
                               {12, "SAVE", 1},
                               {12, "KEEP", 1},
                               {12, "DELETE", 2},
                               {12, "PRINT", 3},
                               {12, "SUBMIT", 4},
                               {12, "PRINT/DELETE", 5},
                               {12, "SUBMIT/DELETE", 6},
                               {15, "FORMATTED", 1},
                               {15, "UNFORMATTED", 2},
                               {15, "BINARY", 4},
                               {18, "SEQUENTIAL", 1},
                               {18, "RELATIVE", 2},
                               {18, "INDEXED", 3},
                               {23, "FIXED", 1},
                               {23, "VARIABLE", 2},
                               {23, "SEGMENTED", 3},
                               {23, "STREAM", 5},
                               {23, "STREAM_LF", 6},
                               {23, "STREAM_CR", 7},
                               {23, "STREAM_CRLF", 8},
                               {26, "OLD", 1},
                               {26, "NEW", 2},
                               {26, "SCRATCH", 3},
                               {26, "UNKNOWN", 4},
                               {26, "REPLACE", 5},
                               {52, "BIG_ENDIAN", 1},
                               {52, "LITTLE_ENDIAN", 2},
                               {52, "VAXD", 3},
                               {52, "VAXG", 4},
                               {52, "IBM", 5},
                               {52, "CRAY", 6},
                               {52, "FDX", 7},
                               {52, "FGX", 8},
                               {52, "NATIVE", 9},
                               {58, "READ", 1},
                               {58, "READWRITE", 2},
                               {58, "WRITE", 3},
                               {67, "READ", 1},
                               {67, "READWRITE", 2},
                               {67, "WRITE", 3},
                               {59, "APOSTROPHE", 1},
                               {59, "NONE", 2},
                               {59, "QUOTE", 3},
                               {60, "NO", 1},
                               {60, "YES", 2},
                               {71, "NO", 1},
                               {71, "YES", 2},
                               {75, "NO", 1},
                               {75, "YES", 2},
                               {61, "APPEND", 1},
                               {61, "ASIS", 2},
                               {61, "REWIND", 3},
                               {68, "COMPAT", 1},
                               {68, "DENYNONE", 2},
                               {68, "DENYRD", 3},
                               {68, "DENYRW", 4},
                               {68, "DENYWR", 5},
                               {81, "UP", 1},
                               {81, "DOWN", 2},
                               {81, "ZERO", 3},
                               {81, "NEAREST", 4},
                               {81, "COMPATIBLE", 5},
                               {81, "PROCESSOR_DEFINED", 6},
                               {82, "POINT", 1},
                               {82, "COMMA", 2},
                               {83, "PROCESSOR_DEFINED", 1},
                               {83, "PLUS", 2},
                               {83, "SUPPRESS", 3},
                               {84, "DEFAULT", 1},
                               {84, "UTF-8", 2}};

int look_up(const std::string& text, int key, i64* value, int context) {
  // Exactly as long as it is: a read past the end shows under the address sanitizer.
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  std::copy(text.begin(), text.end(), exact.get());
  return for__open_key(exact.get(), static_cast<int>(text.size()), key, value, context);
}

TEST(OpenKey, FindsEveryWordInAnyCaseWithTrailingBlanks) {
  for (const Word_Row& row : kWords) {
    std::string mixed = row.text;
    for (size_t i = 0; i < mixed.size(); i += 2) mixed[i] = static_cast<char>(tolower(mixed[i]));
    for (const std::string& text : {std::string(row.text), mixed, mixed + "   "}) {
      i64 value = -1;
      EXPECT_EQ(0, look_up(text, row.key, &value, KEYCTX_OPEN)) << text;
      EXPECT_EQ(row.value, value) << row.key << " " << text;
    }
    for (const std::string& text : {" " + mixed, mixed + "X", mixed.substr(0, mixed.size() - 1)}) {
      i64 value = -1;
      const int status = look_up(text, row.key, &value, KEYCTX_OPEN);
      // STREAM_CR is a word in its own right.
      if (text == "sTrEaM_Cr" || status == 0) {
        EXPECT_NE(row.value, value) << text;
      } else {
        EXPECT_EQ(MSG_OPEN_KEYWORD_VALUE, status) << text;
        EXPECT_EQ(-1, value);
      }
    }
  }
}

TEST(OpenKey, UnknownWordsFailByStatement) {
  for (const char* text : {"OLDE", "", " ", "    ", "READ\n"}) {
    i64 value = 0;
    EXPECT_EQ(45, look_up(text, KEY_STATUS, &value, KEYCTX_OPEN));
    EXPECT_EQ(115, look_up(text, KEY_DISPOSE, &value, KEYCTX_CLOSE));
    EXPECT_EQ(116, look_up(text, KEY_ROUND, &value, KEYCTX_TRANSFER));
  }
}

TEST(OpenKey, KeysWithoutWordsAreInternalErrors) {
  for (int key : {-1, 0, 13, 78, 87, 88, 1000}) {
    const auto child = run_child([key] {
      i64 value;
      (void)for__open_key("OLD", 3, key, &value, KEYCTX_OPEN);
    });
    EXPECT_EQ(MSG_INTERNAL_CONSISTENCY, child.status) << key;
  }
}

}  // namespace
