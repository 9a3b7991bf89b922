// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random item lists on random connections: whatever they are, the statement ends, the unit is free, and nothing is
// written outside the record buffer. Under the sanitizers this also finds reads outside the values.

#include <random>
#include <set>

#include "memory_unit.h"
#include "support/guarded_buffer.h"
#include "tamrun/messages.h"

namespace {

constexpr i64 kArena = 4096;
alignas(32) u8 arena[kArena];

class Generator {
 public:
  explicit Generator(u64 seed) : random_(seed) {}

  i64 below(i64 n) { return static_cast<i64>(random_() % static_cast<u64>(n)); }
  bool chance(int percent) { return below(100) < percent; }
  u8 pick(std::initializer_list<u8> values) { return values.begin()[below(static_cast<i64>(values.size()))]; }

  Connection connection() {
    Connection c;
    c.rectype = pick({RECTYPE_FIXED, 2, RECTYPE_VARIABLE, RECTYPE_STREAM, RECTYPE_STREAM_LF, RECTYPE_STREAM_CR,
                      RECTYPE_STREAM_CRLF});
    c.cc = pick({CC_FORTRAN, CC_LIST, CC_NONE});
    c.stream_kind = chance(30) ? STREAM_CONSOLE_OUT : STREAM_FMT_SEQUENTIAL;
    if (c.rectype == RECTYPE_FIXED || chance(50)) c.recl = 1 + below(chance(50) ? 12 : 300);
    c.delim = pick({0, '\'', '"'});
    c.f90_rtl = chance(70);
    c.compat = chance(30);
    c.buffered = chance(50);
    c.user_buffered = chance(20);
    c.msf_layout = chance(30);
    c.compact = chance(30);
    c.virtual_recl = chance(30);
    c.no_char_blank = chance(30);
    c.stream = c.rectype >= RECTYPE_STREAM && chance(20);
    const i64 record = (c.recl ? c.recl : 133) + 16;  // a buffer holds at least one record
    c.buffer_size = record + below(chance(50) ? 20 : 4000);
    return c;
  }

  void item(ItemList& l) {
    const u8 type = pick({5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 26, 28, 29, 40, 44, 48, 50, 52, 56});
    const u8* at = arena + below(kArena / 2) / 32 * 32;
    switch (below(6)) {
      case 0:
        l.pointer(type, at);
        break;
      case 1:
        l.scalar(ITM_CHARACTER, at, below(chance(80) ? 90 : 1000));
        break;
      case 2:
        l.array(type, at, below(200));
        break;
      case 3:
        l.array_elem(ITM_CHARACTER, at, below(300), below(40));
        break;
      case 4:
        l.section(type, arena + kArena / 2, {{below(4), below(6), (below(9) - 4) * 32}, {1, below(3), 64}});
        break;
      default:
        l.section_elem(ITM_CHARACTER, arena + kArena / 2, below(30), {{1, below(20), below(41) - 20}});
    }
  }

  void malformed(ItemList& l) {
    const u8 access = pick({0, 1, 4, 5, 6, 13, 77});
    l.raw(pick({9, 60, 61, 65, 70, 71, 200}), access, {below(40), reinterpret_cast<i64>(arena), below(40) - 20, 0});
  }

 private:
  std::mt19937_64 random_;
};

TEST(WriteListRandom, EndsAndStaysInItsBuffer) {
  Generator g(20);
  for (u8& byte : arena) byte = static_cast<u8>(g.below(256));
  for (u8& byte : arena) {
    if (byte < ' ' && g.chance(90)) byte = 'a';
  }
  const std::set<int> known = {0,
                               MSG_INVALID_ARGUMENT,
                               MSG_RECORD_OVERFLOW,
                               MSG_WRITE_EXCEEDS_RECORD,
                               MSG_OUTPUT_CONVERSION,
                               MSG_FORMAT_TYPE_MISMATCH};
  std::set<int> seen;
  for (int round = 0; round < 1500; ++round) {
    SCOPED_TRACE(round);
    Memory_Unit unit(g.connection());
    unit.lub().lub_sign = static_cast<u8>(g.below(4));
    unit.lub().lub_decimal = static_cast<u8>(g.below(3));
    if (g.chance(10)) unit.lub().lub_f_no_wrap_margin = 1;
    for (int statement = 0; statement < 5; ++statement) {
      ItemList items, rest;
      const bool two_calls = g.chance(30), broken = g.chance(10);
      for (i64 n = g.below(12); n > 0; --n) g.item(items);
      if (broken) g.malformed(items);
      if (two_calls) {
        items.more();
        for (i64 n = g.below(5); n > 0; --n) g.item(rest);
      }
      int code = unit.write(items, kIostat | (g.chance(50) ? u64{iof_ignore_conv_error} : 0));
      ASSERT_TRUE(known.count(code)) << code;
      seen.insert(code);
      if (unit.context().ctx_lub != nullptr) {
        ASSERT_TRUE(two_calls);
        code = unit.go_on(rest);
        ASSERT_TRUE(known.count(code)) << code;
      }
      ASSERT_EQ(unit.context().ctx_lub, nullptr);
      ASSERT_TRUE(guard_is_whole(unit.lub()));
    }
  }
  EXPECT_GE(seen.size(), 4u);
}

}  // namespace
