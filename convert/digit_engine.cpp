// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The digit engine and its three exported shells.
#include "convert/digit_engine.h"

#include <algorithm>
#include <bit>

namespace {

int signed_class(Real_Class cls, bool negative) { return negative ? -cls : cls; }

void set_zero(const Digit_Request& request, u32 options, Real_Digits* digits) {
  i64 count = request.capacity;
  if ((options & CVT_M_STRIP_ZEROS) != 0) {
    count = 1;
  } else if (request.fixed && request.fraction < request.capacity) {
    count = std::max(request.fraction, i64{0}) + 1;
  }
  digits->text[0] = '0';
  digits->start = 0;
  digits->end = 1;
  digits->count = count;
  digits->exponent = 1;
  digits->status = CVT_IS_ZERO;
}

void set_special(Real_Class cls, bool negative, u32 options, Real_Digits* digits) {
  const bool infinite = cls == REAL_INFINITY;
  const bool told_apart = (options & CVT_M_ROUND_GIVEN) != 0 && (options & CVT_M_ALT_SPELLING) != 0;
  digits->start = digits->end = 0;
  digits->count = digits->exponent = 0;
  digits->cls = infinite || told_apart ? signed_class(cls, negative) : REAL_NONE;
  digits->status = infinite ? CVT_IS_INFINITY : CVT_IS_NAN;
}

void set_integer(u64 integer, int stored, bool carried, Real_Digits* digits) {
  digits->start = !carried;
  digits->end = digits->start + stored;
  digits->text[0] = '0';
  put_digits_before(digits->text + digits->end, integer, stored);
}

void ladder(const auto& value, const Digit_Request& request, u32 options, Real_Digits* digits) {
  if (!ladder_digits(value, request, digits)) return set_zero(request, options, digits);
  const char* first = digits->text + digits->start;
  const char* last = digits->text + digits->end;
  if (std::all_of(first, last, [](char c) { return c == '0'; })) digits->status = CVT_IS_ZERO;
}

/// E form by the fast path; false if it cannot serve.
bool significant_digits(const Unpacked<u64>& value, const Digit_Request& request, Real_Digits* digits) {
  if (request.capacity > kFastDigits) return false;
  const int count = static_cast<int>(request.capacity);
  const Rounded_Digits rounded = round_to_digits(value, count, request.mask);
  if (!rounded.certain) return false;
  set_integer(rounded.integer, count, rounded.carried, digits);
  digits->count = count;
  digits->exponent = rounded.exponent;
  return true;
}

/// F form by the fast path; false if it cannot serve. `fraction` may be negative.
bool fixed_digits(const Unpacked<u64>& value, const Digit_Request& request, u32 options, Real_Digits* digits) {
  const int estimate = estimate_decimal_exponent(value.exponent, static_cast<u16>(value.significand >> 47)) + 1;
  const i64 fraction = request.fraction;
  const i64 whole = std::max(-fraction, i64{0});  // whole digits to drop
  if (fraction > kDecimalScaleLast || estimate + fraction > kFastDigits) return false;
  if (whole > 0 && estimate >= kFastDigits) return false;  // 18 digits with the dropped ones
  Scaled scaled{0, false, true, true};
  if (fraction >= kDecimalScaleFirst) scaled = scale_by_power(value, static_cast<int>(fraction));
  if (!scaled.certain || scaled.integer >= kPowersOfTen[kFastDigits]) return false;
  const int kept = decimal_digits(scaled.integer);
  if (kept > request.capacity) {
    Digit_Request first = request;
    first.fixed = false;  // as many significant digits as there is room for, then the zeros of dropped digits
    return significant_digits(value, first, digits);
  }
  u64 integer = scaled.integer;
  integer += rounds_up(request.mask, value.negative, scaled.sticky, (integer & 1) != 0, scaled.round);
  if (integer == 0) {
    set_zero(request, options, digits);
    return true;
  }
  const bool carried = integer == kPowersOfTen[kept];
  if (carried && kept == request.capacity) integer /= 10;
  const int stored = static_cast<int>(std::min<i64>(kept + carried, request.capacity));
  set_integer(integer, stored, carried, digits);
  digits->count = kept == 0 ? lone_digit_count(value.exponent, whole, request.capacity)
                            : std::min(stored + whole, request.capacity);
  digits->exponent = kept + carried - fraction;
  return true;
}

void finite_digits(const Unpacked<u64>& value, const Digit_Request& request, u32 options, Real_Digits* digits) {
  const bool done =
      request.fixed ? fixed_digits(value, request, options, digits) : significant_digits(value, request, digits);
  if (!done) ladder(value, request, options, digits);
}

void finite_digits(const Unpacked<u128>& value, const Digit_Request& request, u32 options, Real_Digits* digits) {
  ladder(value, request, options, digits);
}

/// Hexadecimal digits d1.d2d3... * 2^(exponent - 4), d1 from 8 to F.
template <class Word>
void hex_digits(const Unpacked<Word>& value, const Digit_Request& request, bool upper, Real_Digits* digits) {
  constexpr int kWordDigits = 2 * sizeof(Word), kTop = 8 * sizeof(Word) - 4;
  const char* alphabet = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  const int stored = static_cast<int>(std::min<i64>(request.capacity, kWordDigits));
  Word rest = value.significand;
  digits->text[0] = '0';
  for (int i = 1; i <= stored; ++i, rest <<= 4) digits->text[i] = alphabet[static_cast<int>(rest >> kTop)];
  digits->start = 1;
  digits->end = 1 + stored;
  digits->count = request.capacity;
  digits->exponent = value.exponent;
  const bool odd = (value.significand >> (kTop + 4 - 4 * stored) & 1) != 0;
  const bool round = static_cast<bool>(rest >> (kTop + 3)), sticky = (rest << 1) != 0;
  if (rounds_up(request.mask, value.negative, sticky, odd, round) &&
      round_text_up(digits->text, &digits->end, upper ? 'F' : 'f', '8')) {
    digits->start = 0;
    ++digits->exponent;
  }
}

const char* special_spelling(int status, u32 options) {
  if ((options & CVT_M_ROUND_GIVEN) == 0 || (options & CVT_M_ALT_SPELLING) == 0) {
    return status == CVT_IS_NAN ? "NaN" : "Infinity";
  }
  if ((options & CVT_M_HEX_UPPER) != 0) return status == CVT_IS_NAN ? "NAN" : "INFINITY";
  return status == CVT_IS_NAN ? "nan" : "infinity";
}

void store(int* where, i64 value) {
  if (where != nullptr) *where = static_cast<i32>(value);
}

/// The exported form: digits and NUL at `dst`, which holds capacity + 2 bytes.
template <class Ieee>
char* digits_to_text(typename Ieee::Bits bits, i32 capacity, i32 fraction, u32 options, char* dst, i32* start, i32* end,
                     i32* exponent, i32* cls, i32* status) {
  Real_Digits digits;
  make_digits<Ieee>(bits, capacity, fraction, options, &digits);
  i64 first = digits.start, count = digits.count;
  dst[0] = '0';
  if (digits.status == CVT_IS_NAN || digits.status == CVT_IS_INFINITY) {
    const char* spelling = special_spelling(digits.status, options);
    count = std::min<i64>(strlen(spelling), i64{capacity} + 1);
    memcpy(dst, spelling, count);
    digits.exponent = count;
    if ((options & CVT_M_SPECIAL_STATUS) == 0) digits.status = CVT_SUCCESS;
  } else {
    if ((options & CVT_M_STRIP_ZEROS) != 0) {
      count = std::clamp<i64>(digits.significant(), 1, count);
    }
    digits.put(dst + first, 0, count);
  }
  dst[first + count] = '\0';
  store(start, first);
  store(end, first + count);
  store(status, digits.status);
  store(exponent, digits.exponent);
  if (capacity >= 1) store(cls, digits.cls);
  return dst + first;
}

}  // namespace

template <class Ieee>
void make_digits(typename Ieee::Bits bits, i64 capacity, i64 fraction, u32 options, Real_Digits* digits) {
  const bool fixed = (options & CVT_M_F_FORM) != 0;
  const Digit_Request request{capacity, fraction, fixed, rounding_mask(options)};
  digits->cls = REAL_NONE;
  digits->status = CVT_SUCCESS;
  if (capacity < 1) {
    set_zero({1, 0, false, 0}, options, digits);
    return;
  }
  const auto value = unpack<Ieee>(bits);
  if (value.cls > REAL_NORMAL) return set_special(value.cls, value.negative, options, digits);
  const bool flushed = value.cls == REAL_DENORMAL && (options & CVT_M_FLUSH_DENORMALS) != 0;
  digits->cls = signed_class(flushed ? REAL_ZERO : value.cls, value.negative);
  if (value.cls == REAL_ZERO || flushed) return set_zero(request, options, digits);
  if ((options & CVT_M_HEX_FORM) != 0 && (options & CVT_M_ROUND_GIVEN) != 0) {
    return hex_digits(value, request, (options & CVT_M_HEX_UPPER) != 0, digits);
  }
  finite_digits(value, request, options, digits);
}

template void make_digits<Ieee_Single>(u32, i64, i64, u32, Real_Digits*);
template void make_digits<Ieee_Double>(u64, i64, i64, u32, Real_Digits*);
template void make_digits<Ieee_Quad>(u128, i64, i64, u32, Real_Digits*);

char* cvtas_s_to_a(i64 capacity, i64 fraction, u32 options, char* dst, i32* start, i32* end, i32* exponent, i32* cls,
                   i32* status, float value) {
  return digits_to_text<Ieee_Single>(std::bit_cast<u32>(value), static_cast<i32>(capacity), static_cast<i32>(fraction),
                                     options, dst, start, end, exponent, cls, status);
}

char* cvtas_t_to_a(i64 capacity, i64 fraction, u32 options, char* dst, i32* start, i32* end, i32* exponent, i32* cls,
                   i32* status, double value) {
  return digits_to_text<Ieee_Double>(std::bit_cast<u64>(value), static_cast<i32>(capacity), static_cast<i32>(fraction),
                                     options, dst, start, end, exponent, cls, status);
}

char* cvtas_x_to_a(u64 low, u64 high, i64 capacity, i64 fraction, u32 options, char* dst, i32* start, i32* end,
                   i32* exponent, i32* cls, i32* status) {
  return digits_to_text<Ieee_Quad>(static_cast<u128>(high) << 64 | low, static_cast<i32>(capacity),
                                   static_cast<i32>(fraction), options, dst, start, end, exponent, cls, status);
}
