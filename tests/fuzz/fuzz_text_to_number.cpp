// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a numeric input field, with any options: nothing beside the field is read or written, and the status is
// one of those that the converters have. The first bytes choose the options.
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "tamrun/cvt.h"

namespace {

struct Choice {
  u32 options;
  i8 scale, decimals;
  u8 radix, bytes, flush;
};

void require(bool condition) {
  if (!condition) abort();
}

bool known_status(int status) { return status >= CVT_SUCCESS && status <= CVT_RECORD_OVERFLOW && status != 7; }

template <class Result, class Convert>
void read_real(Convert convert, const char* text, i32 length, const Choice& choice) {
  Result result;
  const u64 ext = choice.flush % 2 != 0 ? CVT_X_NONE | CVT_X_FLUSH : u64{CVT_X_NONE};
  const int status = convert(text, length, choice.scale, choice.decimals, choice.options, &result, ext);
  require(status == CVT_SUCCESS || status == CVT_INVALID_VALUE);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choice choice;
  if (size < sizeof choice) return 0;
  memcpy(&choice, data, sizeof choice);
  const i32 length = static_cast<i32>(size - sizeof choice);
  const std::unique_ptr<char[]> text(new char[length]);
  memcpy(text.get(), data + sizeof choice, length);

  read_real<float>(cvt_text_to_ieee_s_ex, text.get(), length, choice);
  read_real<double>(cvt_text_to_ieee_t_ex, text.get(), length, choice);
  read_real<Cvt_Quad>(cvt_text_to_ieee_x_ex, text.get(), length, choice);

  const u32 options = choice.options & CVT_M_INTEGER_INPUT_MASK;
  const i32 radix = choice.radix % 18;
  i64 integer;
  u64 natural;
  require(known_status(cvt_text_to_integer64(text.get(), length, options, &integer)));
  require(known_status(cvt_text_to_unsigned64(text.get(), length, radix, options, &natural)));
  require(known_status(cvt_text_to_boolean64(text.get(), length, static_cast<i32>(choice.options), &integer)));
  const i32 bytes = choice.bytes % 40;
  const std::unique_ptr<u8[]> image(new u8[bytes]);
  require(known_status(cvt_text_to_data64(text.get(), length, bytes, radix, options, image.get())));
  return 0;
}
