// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formats that a thread has compiled before: whatever the cache holds, a text gives what the compiler makes of it.

#include "format/format_cache.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "core/heap.h"
#include "format/format_compiler.h"
#include "support/fail_malloc.h"

namespace {

/// Compiles the text, which stands at `at`, with and without the cache; counts those that came without the heap.
void expect_same(char* at, const std::string& text, bool with_room, int* from_cache) {
  memcpy(at, text.data(), text.size());
  const For_Fmt_Text format = {static_cast<i64>(text.size()), at};
  u8 room[kFmtRoomBytes];
  memset(room, 0xA5, sizeof room);
  u8* plain = nullptr;
  i64 size = 0;
  const int expected = compile_format_text(format, 0, &plain, &size);
  const u8* compiled = nullptr;
  bool owned = false;
  ASSERT_EQ(compiled_format(format, 0, with_room ? room : nullptr, &compiled, &owned), expected) << text;
  if (expected == 0) {
    EXPECT_EQ(memcmp(compiled, plain, static_cast<size_t>(size)), 0) << text;
    EXPECT_EQ(compiled == room, !owned);
    *from_cache += !owned;
  }
  if (owned) for__free_vm(const_cast<u8*>(compiled));
  for__free_vm(plain);
}

TEST(FormatCache, TheTextIsTheKey) {
  const std::string long_text = "(" + std::string(300, ' ') + "I5)";
  std::string large_form = "(";  // short text, long form
  for (int i = 0; i < 50; ++i) large_form += "X,";
  large_form += "A)";
  struct Step {
    std::string text;
    bool with_room;
    bool cached;
  };
  const std::vector<Step> steps = {{"(I5,F8.3)", true, false},
                                   {"(I5,F8.3)", true, true},
                                   {"(I5,F8.4)", true, false},
                                   {"(I5,F8.3)", true, false},
                                   {"(I5,F8.3)", false, false},
                                   {"(I5,F8.3)", true, true},
                                   {"(I5)", true, false},
                                   {"(I5)", true, true},
                                   {"(I5,Y)", true, false},
                                   {"(I5)", true, true},
                                   {long_text, true, false},
                                   {long_text, true, false},
                                   {large_form, true, false},
                                   {large_form, true, false},
                                   {"(I5)", true, true},
                                   {"", true, false},
                                   {"('a(b',3(1X,A))", true, false},
                                   {"('a(b',3(1X,A))", true, true}};
  const long blocks = tamrun_test::vm_live_blocks();
  char at[512];
  for (const Step& step : steps) {
    int from_cache = 0;
    expect_same(at, step.text, step.with_room, &from_cache);
    EXPECT_EQ(from_cache, step.cached) << step.text;
  }
  EXPECT_EQ(tamrun_test::vm_live_blocks(), blocks);
}

TEST(FormatCache, ManyTextsAtManyAddresses) {
  std::vector<char> memory(4096);
  int from_cache = 0;
  u32 random = 1;
  for (int i = 0; i < 2000; ++i) {
    random = random * 1664525 + 1013904223;
    expect_same(&memory[(random >> 8) % 200 * 16], "(I" + std::to_string(1 + (random >> 20) % 3) + ",A)", true,
                &from_cache);
  }
  EXPECT_GT(from_cache, 0);
  EXPECT_LT(from_cache, 2000);
}

}  // namespace
