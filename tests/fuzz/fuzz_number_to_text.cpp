// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bits as a number, edited with any options into a field of exactly its width: nothing beside the field is written,
// every column of it is, and the status is one of those that the converters have.

#include "fuzz/fuzz_input.h"
#include "tamrun/cvt.h"

namespace {

struct Choice {
  u8 value[16];
  u32 options;
  u64 ext;
  u8 width, decimals, limit, e, radix, bytes;
  i8 scale;
};

bool known_status(int status) { return status >= CVT_SUCCESS && status <= CVT_RECORD_OVERFLOW && status != 7; }

/// Columns that a minimal field may take beyond its width with the decimals and exponent digits of a Choice.
constexpr i32 kMinimalField = 2 * 255 + 8;

/// A field that holds no character that a number can have.
class Field {
 public:
  explicit Field(i32 width) : width_(width), text_(new char[width]) { memset(text_.get(), 0, width); }
  char* text() { return text_.get(); }
  void check(int status, i32 length) const {
    require(known_status(status));
    require(length >= 0 && length <= width_);
    for (i32 i = 0; i < length; i++) require(text_[i] >= ' ' && text_[i] <= '~');
  }

 private:
  i32 width_;
  std::unique_ptr<char[]> text_;
};

template <class Value, class Convert>
void write_real(Convert convert, const Choice& choice) {
  Value value;
  memcpy(&value, choice.value, sizeof value);
  Field field(choice.width + ((choice.options & CVT_M_LEFT_JUSTIFY) != 0 ? kMinimalField : 0));
  i32 length = 0;
  const int status = convert(&value, choice.width, choice.scale, choice.decimals, choice.limit, choice.e,
                             choice.options, field.text(), choice.ext, &length);
  field.check(status, length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choice choice;
  if (!Fuzz_Input(data, size).take(choice)) return 0;

  write_real<float>(cvt_ieee_s_to_text_ex, choice);
  write_real<double>(cvt_ieee_t_to_text_ex, choice);
  write_real<Cvt_Quad>(cvt_ieee_x_to_text_ex, choice);

  i64 integer;
  memcpy(&integer, choice.value, sizeof integer);
  const i32 width = choice.width, digits = choice.decimals, radix = choice.radix % 18;
  Field field(width);
  require(known_status(cvt_integer64_to_text(integer, width, digits, choice.options, field.text())));
  require(known_status(cvt_unsigned64_to_text(static_cast<u64>(integer), width, radix, digits, field.text())));
  require(known_status(
      cvt_data64_to_text(choice.value, width, choice.bytes % (sizeof choice.value + 1), radix, digits, field.text())));
  require(known_status(cvt_boolean64_to_text(integer, width, static_cast<i32>(choice.options), field.text())));
  return 0;
}
