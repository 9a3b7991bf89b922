// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any text and any options through the three readers of reals and the lexer of numbers.

#include "fuzz/fuzz_input.h"
#include "tamrun/cvt.h"

namespace {

/// What precedes the text in an input.
struct [[gnu::packed]] Header {
  u32 options;
  u64 ext;
  i32 scale, decimals;
  u8 point;
};

/// The readers at their engine and at their field interface agree on what can be seen of both.
template <class Value, class Engine, class Field>
void read_twice(const char* text, i32 length, const Header& h, Engine engine, Field field) {
  char* end = nullptr;
  i32 status = -1;
  const Value value = engine(text, length, h.options, h.decimals, h.scale, &end, &status, int{h.point});
  require(end >= text && end <= text + length && status >= 0);
  const Value again = engine(text, length, h.options, h.decimals, h.scale, nullptr, nullptr, int{h.point});
  require(memcmp(&value, &again, sizeof value) == 0);
  Value result[2];
  memset(result, 0xA5, sizeof result);
  const int failed = field(text, length, h.scale, h.decimals, h.options, result, h.ext);
  require(failed == 0 || failed == 1);
  const unsigned char* const behind = reinterpret_cast<const unsigned char*>(&result[1]);
  for (size_t i = 0; i < sizeof result[1]; ++i) require(behind[i] == 0xA5);
}

void lex(const char* text, i32 length, u8 point) {
  u32 state = u32{point} << 12;
  for (i32 i = 0; i < length; ++i) {
    const u32 before = state;
    const int taken = cvt__lex_number_char(&state, text[i]);
    require(taken == 1 || (taken == 0 && state == before));
    (void)cvt__lex_number_complete(&state);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
  Fuzz_Input input(data, size);
  Header header;
  if (!input.take(header)) return 0;
  // Most inputs should get past the options and the scale.
  if (header.ext & 1) header.options = u32{CVT_M_ROUND_GIVEN} | CVT_M_TEXT_BLANKS_SKIP;
  if (header.ext & 2) header.scale = header.decimals = 0;

  const Exact_Text text(input);
  read_twice<float>(text.data(), text.length(), header, cvtas_a_to_s, cvt_text_to_ieee_s_ex);
  read_twice<double>(text.data(), text.length(), header, cvtas_a_to_t, cvt_text_to_ieee_t_ex);
  read_twice<Cvt_Quad>(text.data(), text.length(), header, cvtas_a_to_x, cvt_text_to_ieee_x_ex);
  (void)cvtas__nan_s(text.data(), text.length());
  lex(text.data(), text.length(), header.point);
  return 0;
}
