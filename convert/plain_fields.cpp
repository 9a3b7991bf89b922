// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Fields of one width side by side into values.

#include "convert/plain_fields.h"

#include "convert/plain_number.h"

namespace {

struct Double_Value {
  using Bits = u64;
  static constexpr i64 kMostPower = kPlainPowerDouble;
  static Bits bits(const Plain_Number& number, int power, u32 options) {
    return plain_double_bits(number.digits, power, number.negative, options);
  }
};

struct Single_Value {
  using Bits = u32;
  static constexpr i64 kMostPower = kPlainPowerSingle;
  static Bits bits(const Plain_Number& number, int power, u32 options) {
    return plain_single_bits(number.digits, power, number.negative, options);
  }
};

template <class Value>
i64 read_reals(const Plain_Run& run, const Plain_Format& format) {
  const char* field = run.field;
  u8* data = run.data;
  i64 left = run.count;
  for (; left > 0; --left, data += run.stride) {
    const char* const end = field + run.width;
    Plain_Number number;
    const char* const behind = scan_plain_number(skip_blanks(field, end), end, format.point, number);
    if (behind == nullptr || behind != end) break;
    i64 power = number.power;
    if (!number.has_point) power -= format.decimals;
    if (!number.has_exponent) power -= format.scale;
    if (power < -Value::kMostPower || power > Value::kMostPower) break;
    const typename Value::Bits bits = Value::bits(number, static_cast<int>(power), format.options);
    memcpy(data, &bits, sizeof bits);
    field = end;
  }
  return run.count - left;
}

/// Digits up to `end` of a field that may be short.
inline bool few_digits(const char* p, const char* end, u64& value) {
  value = 0;
  for (u32 digit; p != end && (digit = static_cast<u8>(*p) - u32{'0'}) < 10; ++p) value = value * 10 + digit;
  return p == end;
}

template <class Int>
i64 read_integers(const Plain_Run& run, const Plain_Format&) {
  const bool wide = run.width >= 8;
  const char* field = run.field;
  u8* data = run.data;
  i64 left = run.count;
  for (; left > 0; --left, data += run.stride) {
    const char* const end = field + run.width;
    const char* p = skip_blanks(field, end);
    bool negative = false;
    if (p != end && (*p == '-' || *p == '+')) negative = *p++ == '-';
    const i64 count = end - p;
    if (count <= 0 || count > kClosingDigits) break;
    u64 magnitude;
    if (!(wide ? closing_number(field, end, count, magnitude) : few_digits(p, end, magnitude))) break;
    const i64 value = negative ? -static_cast<i64>(magnitude) : static_cast<i64>(magnitude);
    const Int narrow = static_cast<Int>(value);
    if (narrow != value) break;
    memcpy(data, &narrow, sizeof narrow);
    field = end;
  }
  return run.count - left;
}

}  // namespace

i64 read_plain_singles(const Plain_Run& run, const Plain_Format& format) {
  return read_reals<Single_Value>(run, format);
}
i64 read_plain_doubles(const Plain_Run& run, const Plain_Format& format) {
  return read_reals<Double_Value>(run, format);
}
i64 read_plain_bytes(const Plain_Run& run, const Plain_Format& format) { return read_integers<i8>(run, format); }
i64 read_plain_halves(const Plain_Run& run, const Plain_Format& format) { return read_integers<i16>(run, format); }
i64 read_plain_words(const Plain_Run& run, const Plain_Format& format) { return read_integers<i32>(run, format); }
i64 read_plain_longs(const Plain_Run& run, const Plain_Format& format) { return read_integers<i64>(run, format); }
