// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any text and any options through the readers of integers, bit images and logicals; what was read is written and read
// again.

#include <vector>

#include "fuzz/fuzz_input.h"
#include "tamrun/cvt.h"

namespace {

void integers(const char* text, i32 length, i32 radix, u32 options) {
  i32 narrow = 1;
  i64 wide = 1;
  const int narrow_status = cvt_text_to_integer(text, length, options, &narrow);
  const int wide_status = cvt_text_to_integer64(text, length, options, &wide);
  require(wide_status == CVT_SUCCESS || wide == 0);
  require(narrow_status == CVT_SUCCESS ? narrow == wide : narrow == 0);
  char field[70];
  i64 back = 1;
  require(cvt_integer64_to_text(wide, 22, 1, 0, field) == CVT_SUCCESS);
  require(cvt_text_to_integer64(field, 22, 0, &back) == CVT_SUCCESS && back == wide);

  u32 unsigned_narrow = 1;
  u64 unsigned_wide = 1;
  const int u_narrow_status = cvt_text_to_unsigned(text, length, radix, options, &unsigned_narrow);
  const int u_wide_status = cvt_text_to_unsigned64(text, length, radix, options, &unsigned_wide);
  require(u_wide_status == CVT_SUCCESS || unsigned_wide == 0);
  require(u_narrow_status == CVT_SUCCESS ? unsigned_narrow == unsigned_wide : unsigned_narrow == 0);
  if (u_wide_status != CVT_SUCCESS || length == 0) return;
  u64 unsigned_back = 1;
  require(cvt_unsigned64_to_text(unsigned_wide, 70, radix, 1, field) == CVT_SUCCESS);
  require(cvt_text_to_unsigned64(field, 70, radix, 0, &unsigned_back) == CVT_SUCCESS);
  require(unsigned_back == unsigned_wide);
}

void images(const char* text, i32 length, i32 bytes, i32 radix, u32 options) {
  const std::unique_ptr<u8[]> image(new u8[bytes]), back(new u8[bytes]);
  const int status = cvt_text_to_data(text, length, bytes, radix, options, image.get());
  if (status != CVT_SUCCESS || (radix != 2 && radix != 8 && radix != 16)) return;
  const i32 width = bytes * 8 + 1;
  std::vector<char> field(width);
  require(cvt_data_to_text(image.get(), width, bytes, radix, 1, field.data()) == CVT_SUCCESS);
  require(cvt_text_to_data64(field.data(), width, bytes, radix, 0, back.get()) == CVT_SUCCESS);
  require(memcmp(image.get(), back.get(), bytes) == 0);
  const std::unique_ptr<char[]> narrow(new char[bytes]);  // may overflow, must not overrun
  (void)cvt_data_to_text(image.get(), bytes, bytes, radix, length, narrow.get());
}

void logicals(const char* text, i32 length, i32 options) {
  i32 narrow = 1;
  i64 wide = 1;
  require(cvt_text_to_boolean(text, length, options, &narrow) == cvt_text_to_boolean64(text, length, options, &wide));
  require(narrow == wide && narrow >= -1 && narrow <= 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
  Fuzz_Input input(data, size);
  u32 options;
  u8 radix, bytes;
  if (!input.take(options) || !input.take(radix) || !input.take(bytes)) return 0;
  constexpr u32 kModerate = 0x800000;  // most inputs should get past the options
  if (options & kModerate) options &= CVT_M_INTEGER_INPUT_MASK;
  const Exact_Text text(input);
  integers(text.data(), text.length(), radix % 20, options);
  images(text.data(), text.length(), 1 + bytes % 40, radix % 20, options);
  for (i32 o : {static_cast<i32>(options), i32{CVT_M_BOOLEAN_LETTER}, 0}) logicals(text.data(), text.length(), o);
  return 0;
}
