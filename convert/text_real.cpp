// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Text to IEEE reals of 32, 64 and 128 bits: one scanner, one value path for each format, one final rounding.

#include "convert/digit_pairs.h"
#include "convert/number_scan.h"
#include "convert/plain_number.h"
#include "convert/power_product.h"
#include "convert/powers_of_ten.h"
#include "tamrun/cvt.h"

#include <stdarg.h>

#include <array>
#include <bit>

// Result constants. Each pair is a positive entry and its negative.

const u32 cvtas_globals_s[16] = {
    0,          0x80000000,  // zero
    0x7FC00000, 0xFFC00000,  // quiet NaN
    0x7F800000, 0xFF800000,  // infinity
    0x00000001, 0x80000001,  // smallest denormal
    0x007FFFFF, 0x807FFFFF,  // largest denormal
    0x00800000, 0x80800000,  // smallest normal
    0x7F7FFFFF, 0xFF7FFFFF,  // largest finite
    0,          0,
};

const u64 cvtas_globals_t[18] = {
    0,
    0x8000000000000000,
    0x7FF8000000000000,
    0xFFF8000000000000,
    0x7FF0000000000000,
    0xFFF0000000000000,
    0x3CA0000000000000,  // 2^-53
    0x47EFFFFFEFFFFFFF,  // the last double that does not overflow 32 bits
    0x380FFFFFF0000000,
    0x36A0000000000000,  // 2^-149
    0x0000000000000001,
    0x8000000000000001,
    0x000FFFFFFFFFFFFF,
    0x800FFFFFFFFFFFFF,
    0x001FFFFFFFFFFFFF,
    0x801FFFFFFFFFFFFF,
    0x7FEFFFFFFFFFFFFF,
    0xFFEFFFFFFFFFFFFF,
};

const Cvt_Quad cvtas_globals_x[14] = {
    {0, 0},
    {0, 0x8000000000000000},
    {0, 0x7FFF800000000000},
    {0, 0xFFFF800000000000},
    {0, 0x7FFF000000000000},
    {0, 0xFFFF000000000000},
    {1, 0},
    {1, 0x8000000000000000},
    {~u64{0}, 0x0000FFFFFFFFFFFF},
    {~u64{0}, 0x8000FFFFFFFFFFFF},
    {0, 0x0001000000000000},
    {0, 0x8001000000000000},
    {~u64{0}, 0x7FFEFFFFFFFFFFFF},
    {~u64{0}, 0xFFFEFFFFFFFFFFFF},
};

namespace {

/// A format of the reader: where its range of decimal magnitudes M of 0.ddd x 10^M ends, how many words of digits count.
template <class Ieee, int kUnderflow, int kOverflow, int kWords_>
struct Format {
  using Bits = typename Ieee::Bits;
  using Fraction = typename Ieee::Significand;
  using Number = Scanned_Number<kWords_>;
  static constexpr int kPrecision = Ieee::kSignificandBits, kBias = Ieee::kBias, kWords = kWords_;
  static constexpr int kUnderflowMagnitude = kUnderflow;  // at or below: underflow
  static constexpr int kOverflowMagnitude = kOverflow;    // above: overflow
  static constexpr int kFractionBits = sizeof(Fraction) * 8;
  static constexpr int kSmallestNormal = 2 - kBias;  // binary exponents of fractions 0.1xxx
  static constexpr int kLargestFinite = kBias + 1;
  static constexpr Bits kSign = Bits{1} << (sizeof(Bits) * 8 - 1);
  static constexpr Bits kHidden = Bits{1} << (kPrecision - 1);
  static constexpr Bits kInfinity = kSign - kHidden;
  static constexpr Bits kQuietNan = kInfinity | kHidden >> 1;
};
using Single = Format<Ieee_Single, -46, 39, 2>;
using Double = Format<Ieee_Double, -324, 309, 2>;
using Quad = Format<Ieee_Quad, -4966, 4933, 3>;

/// The rounding field that is in force. Unlike on output, no field at all means ties away from zero.
[[gnu::always_inline]] inline u32 rounding_of(u32 options) {
  const u32 field = options & CVT_ROUND_MASK;
  if (options & CVT_M_ROUND_GIVEN) return field;
  if (field == 0) return CVT_ROUND_AWAY;
  return field & CVT_ROUND_ZERO ? field : u32{CVT_ROUND_NEAREST};
}

/// Fields come in pairs of one meaning but for the first two.
bool is_toward_zero(u32 rounding) { return rounding == CVT_ROUND_ZERO; }
bool is_downward(u32 rounding) { return (rounding & ~u32{CVT_ROUND_ZERO}) == CVT_ROUND_DOWN; }
bool is_upward(u32 rounding) { return (rounding & ~u32{CVT_ROUND_ZERO}) == CVT_ROUND_UP; }

template <class F>
struct Converted {
  typename F::Bits bits;
  int status;
};

template <class F>
[[gnu::noinline]] Converted<F> overflow(bool negative, u32 options) {
  const u32 rounding = rounding_of(options);
  const typename F::Bits sign = negative ? F::kSign : 0;
  if (is_toward_zero(rounding) || (negative ? is_upward(rounding) : is_downward(rounding))) {
    return {sign | (F::kInfinity - 1), CVT_SUCCESS};
  }
  return {sign | F::kInfinity, options & CVT_M_TEXT_REPORT_OVERFLOW ? CVT_VALUE_OVERFLOW : CVT_SUCCESS};
}

template <class F>
[[gnu::noinline]] Converted<F> underflow(bool negative, u32 options) {
  const u32 rounding = rounding_of(options);
  const typename F::Bits sign = negative ? F::kSign : 0;
  if (negative ? is_downward(rounding) : is_upward(rounding)) return {sign | 1, CVT_SUCCESS};
  return {sign, options & CVT_M_TEXT_REPORT_UNDERFLOW ? CVT_UNDERFLOW : CVT_SUCCESS};
}

/// Rounds 0.1xxx * 2^exponent, whose bits are `fraction` from the top and then anything if `sticky`, to the format.
template <class F>
Converted<F> round_and_assemble(typename F::Fraction fraction, i64 exponent, bool sticky, bool negative, u32 options) {
  using Bits = typename F::Bits;
  const bool denormal = exponent < F::kSmallestNormal;
  const i64 kept_bits = denormal ? exponent - F::kSmallestNormal + F::kPrecision : F::kPrecision;
  if (kept_bits < 0) return underflow<F>(negative, options);
  if (exponent > F::kLargestFinite) return overflow<F>(negative, options);

  const int below = F::kFractionBits - static_cast<int>(kept_bits);  // bits that do not fit
  const auto half = typename F::Fraction{1} << (below - 1);
  Bits bits = kept_bits == 0 ? 0 : static_cast<Bits>(fraction >> below);
  const bool rest = sticky || (fraction & (half - 1)) != 0;
  const u32 mask = kRoundingMasks[rounding_of(options) >> CVT_ROUND_SHIFT];
  bits += rounds_up(mask, negative, rest, (bits & 1) != 0, (fraction & half) != 0);
  if (!denormal) {
    // the hidden bit adds 1 to the exponent, and so does a carry out of the fraction
    bits += static_cast<Bits>(exponent - F::kSmallestNormal) << (F::kPrecision - 1);
    if (bits >= F::kInfinity) return overflow<F>(negative, options);
  } else if (bits == 0 || ((options & CVT_M_TEXT_FLUSH) && bits < F::kHidden)) {
    return underflow<F>(negative, options);
  }
  return {negative ? bits | F::kSign : bits, CVT_SUCCESS};
}

/// Digits times 10^power as a double, with the rounding of the machine at each step.
double scaled_in_double(const Single::Number& number, int power) {
  double value = static_cast<double>(number.word[0]);
  if (number.digits > kWordDigits) {
    const int kept = number.digits < kKeptDigits<2> ? number.digits : kKeptDigits<2>;
    value = value * cvtas_pten_t[kNearPower + kept - kWordDigits] + static_cast<double>(number.word[1]);
  }
  if (power > -kNearPower) return value * cvtas_pten_t[kNearPower + power];
  const Power_Row at = power_row_above(cvtas_tiny_pten_t_map, -power);
  return value * (cvtas_tiny_pten_t[at.row] * cvtas_pten_t[kNearPower + at.exponent + power]);
}

/// The rounded double product as a single.
Converted<Single> narrowed(double product, bool sticky, bool negative, u32 options) {
  constexpr int kFractionBits = 52, kExponentOffset = 1022;
  constexpr u64 kRoundBit = u64{1} << (kFractionBits - Single::kPrecision);
  constexpr u64 kLargest = 0x47EFFFFFEFFFFFFF;
  u64 bits = std::bit_cast<u64>(product);
  if (is_toward_zero(rounding_of(options))) bits &= ~kRoundBit;
  if (bits > kLargest) return overflow<Single>(negative, options);
  const u64 fraction = u64{1} << 63 | bits << (63 - kFractionBits);
  return round_and_assemble<Single>(fraction, static_cast<i64>(bits >> kFractionBits) - kExponentOffset, sticky,
                                    negative, options);
}

Converted<Single> decimal_value(const Single::Number& number, int power, u32 options, Single) {
  return narrowed(scaled_in_double(number, power), number.sticky, number.negative, options);
}

/// A whole number as a fraction, its top bit set, times a power of two.
Scaled_128 normalised(u128 value) {
  const int shift = leading_zeros(value);
  return {value << shift, 128 - shift};
}

u128 joined_words(u64 first, u64 second, int second_digits) {
  return u128{first} * cvtas_pten_word[second_digits] + second;
}

Converted<Double> multiplied(const Double::Number& number, u128 digits, int power, u32 options) {
  const Scaled_128 value = normalised(digits);
  const u64 high = static_cast<u64>(value.mantissa >> 64);
  if (power == 0) {
    const bool rest = static_cast<u64>(value.mantissa) != 0 || number.sticky;
    return round_and_assemble<Double>(high, value.exponent, rest, number.negative, options);
  }
  const Scaled_64 scale = power_of_ten_64(power);
  int exponent = value.exponent + scale.exponent;
  u64 factor = high + (static_cast<u64>(value.mantissa) >> 63);
  if (factor == 0) {
    factor = u64{1} << 63;
    ++exponent;
  }
  const u128 product = normalised_product(u128{factor} * scale.mantissa, &exponent);
  return round_and_assemble<Double>(static_cast<u64>(product >> 64), exponent,
                                    static_cast<u64>(product) != 0 || number.sticky, number.negative, options);
}

/// A double from its magnitude.
u64 with_sign(double magnitude, bool negative) { return std::bit_cast<u64>(magnitude) | u64{negative} << 63; }

constexpr int kExactPower = 22;  // 10^22 is a double

/// word * 10^power for an exact word and -kExactPower <= power <= kExactPower, with the rounding of the machine.
double scaled_once(double word, int power) {
  return power < 0 ? word / cvtas_pten_t[kNearPower - power] : word * cvtas_pten_t[kNearPower + power];
}

bool is_exact_double(u64 word) { return word >> 53 == 0 || word >> __builtin_ctzll(word) >> 53 == 0; }

/// What the machine's arithmetic gives in one or two exact steps and a rounded one: false where it takes more.
[[gnu::always_inline]] inline bool scaled_by_machine(u64 word, int power, bool negative, u64* bits) {
  constexpr int kExactDigits = 15, kLargestExactMagnitude = 37;
  if (power == 0) {
    *bits = with_sign(static_cast<double>(word), negative);
    return true;
  }
  if (power >= -kExactPower && power <= kExactPower) {
    if (!is_exact_double(word)) return false;
    *bits = with_sign(scaled_once(static_cast<double>(word), power), negative);
    return true;
  }
  if (power < 0) return false;
  const int digits = decimal_digits(word);
  if (digits > kExactDigits || digits + power > kLargestExactMagnitude) return false;
  const int first = kExactDigits - digits;
  const double value = static_cast<double>(static_cast<i64>(word)) * cvtas_pten_t[kNearPower + first];
  *bits = with_sign(value * cvtas_pten_t[kNearPower + power - first], negative);
  return true;
}

Converted<Double> decimal_value(const Double::Number& number, int power, u32 options, Double) {
  const u64 word = number.word[0];
  u64 bits;
  if (number.digits <= kWordDigits) {
    if (scaled_by_machine(word, power, number.negative, &bits)) return {bits, CVT_SUCCESS};
    return multiplied(number, word, power, options);
  }
  const int kept = number.digits < kKeptDigits<2> ? number.digits : kKeptDigits<2>;
  const u128 digits = joined_words(word, number.word[1], kept - kWordDigits);
  if (power >= -kExactPower && power <= kExactPower && !number.sticky) {
    const Scaled_128 value = normalised(digits);
    if (value.mantissa << 53 == 0) {
      return {with_sign(scaled_once(static_cast<double>(digits), power), number.negative), CVT_SUCCESS};
    }
  }
  return multiplied(number, digits, power, options);
}

/// The kept digits of up to three words, normalised, as 128 bits and the 64 below them.
struct Fraction_192 {
  u128 high;
  u64 low;
  int exponent;
};

Fraction_192 normalised_digits(const Quad::Number& number) {
  const int digits = number.digits < kKeptDigits<3> ? number.digits : kKeptDigits<3>;
  if (digits <= 2 * kWordDigits) {
    const u128 value = digits <= kWordDigits ? u128{number.word[0]}
                                             : joined_words(number.word[0], number.word[1], digits - kWordDigits);
    const Scaled_128 fraction = normalised(value);
    return {fraction.mantissa, 0, fraction.exponent};
  }
  const u128 two = joined_words(number.word[0], number.word[1], kWordDigits);
  const u64 factor = cvtas_pten_word[digits - 2 * kWordDigits];
  const u128 low = u128{static_cast<u64>(two)} * factor + number.word[2];
  const u128 high = u128{static_cast<u64>(two >> 64)} * factor + (low >> 64);
  const Scaled_128 fraction = normalised(high);  // more than 38 digits: not zero
  const int shift = 128 - fraction.exponent;
  const u64 bottom = static_cast<u64>(low);
  u128 top = fraction.mantissa;
  if (shift >= 64) {
    top |= u128{bottom} << (shift - 64);
    return {top, 0, fraction.exponent + 64};
  }
  if (shift != 0) top |= bottom >> (64 - shift);
  return {top, bottom << shift, fraction.exponent + 64};
}

Converted<Quad> decimal_value(const Quad::Number& number, int power, u32 options, Quad) {
  const Fraction_192 value = normalised_digits(number);
  if (power == 0) {
    return round_and_assemble<Quad>(value.high, value.exponent, value.low != 0 || number.sticky, number.negative,
                                    options);
  }
  const Scaled_128 scale = power_of_ten_128(power);
  int exponent = value.exponent + scale.exponent;
  u128 factor = value.high + (value.low >> 63);
  if (factor == 0) {
    factor = u128{1} << 127;
    ++exponent;
  }
  Product_256 product = multiply_128(factor, scale.mantissa);
  if (product.high >> 127 == 0) {
    product.high = product.high << 1 | product.low >> 127;
    product.low <<= 1;
    --exponent;
  }
  return round_and_assemble<Quad>(product.high, exponent, product.low != 0 || number.sticky, number.negative, options);
}

/// Hexadecimal digits need no scaling: they are shifted to the top and rounded.
template <class F>
Converted<F> hexadecimal_value(const typename F::Number& number, u32 options) {
  u64 top[F::kWords] = {};
  int left = number.digits;
  for (int i = 0; i < F::kWords && left > 0; ++i, left -= kWordHexDigits) {
    top[i] = left < kWordHexDigits ? number.word[i] << 4 * (kWordHexDigits - left) : number.word[i];
  }
  u128 fraction = u128{top[0]} << 64 | top[1];
  bool sticky = number.sticky;
  const int shift = leading_zeros(top[0]);
  fraction <<= shift;
  if constexpr (F::kWords > 2) {
    if (shift != 0) fraction |= top[2] >> (64 - shift);
    sticky = sticky || top[2] << shift != 0;
  }
  const i64 exponent = number.exponent + 4 * (i64{number.digits} - number.fraction) - shift;
  if constexpr (F::kFractionBits == 64) {
    return round_and_assemble<F>(static_cast<u64>(fraction >> 64), exponent, sticky || static_cast<u64>(fraction) != 0,
                                 number.negative, options);
  } else {
    return round_and_assemble<F>(fraction, exponent, sticky, number.negative, options);
  }
}

template <class F>
Converted<F> special_value(const typename F::Number& number, u32 options) {
  const bool report = (options & CVT_M_SPECIAL_STATUS) != 0;
  if (number.kind == Number_Kind::infinity) {
    const int status = number.status != CVT_SUCCESS ? number.status : report ? CVT_IS_INFINITY : CVT_SUCCESS;
    return {number.negative ? F::kSign | F::kInfinity : F::kInfinity, status};
  }
  const bool positive = number.plus && (options & CVT_M_ROUND_GIVEN);
  return {positive ? F::kQuietNan : F::kSign | F::kQuietNan, report ? CVT_IS_NAN | number.status : number.status};
}

template <class F>
Converted<F> value_of(const typename F::Number& number, u32 options, i32 decimals, i32 scale) {
  if (number.kind != Number_Kind::number) [[unlikely]]
    return special_value<F>(number, options);
  const typename F::Bits zero = number.negative && number.digits + number.zeros != 0 ? F::kSign : 0;
  if (number.status != CVT_SUCCESS || number.digits == 0) return {zero, number.status};
  if (number.vast_exponent) {
    return number.exponent < 0 ? underflow<F>(number.negative, options) : overflow<F>(number.negative, options);
  }
  if (number.hexadecimal) return hexadecimal_value<F>(number, options);

  i64 power = i64{number.exponent} - (number.point ? number.fraction : decimals);
  if (!number.has_exponent || (options & CVT_M_TEXT_SCALE_ALWAYS)) power -= scale;
  const i64 magnitude = number.digits + power;
  if (magnitude <= F::kUnderflowMagnitude) return underflow<F>(number.negative, options);
  if (magnitude > F::kOverflowMagnitude) return overflow<F>(number.negative, options);
  if (number.digits > kKeptDigits<F::kWords>) power += number.digits - kKeptDigits<F::kWords>;
  return decimal_value(number, static_cast<int>(power), options, F{});
}

/// `*end` receives where the scan, or the number, ended. `length` may be anything.
template <class F>
inline Converted<F> convert(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char point,
                            char** end) {
  if (length < 1) {
    if (end != nullptr) *end = const_cast<char*>(text);
    return {0, CVT_INVALID_LENGTH};
  }
  typename F::Number number;
  Number_Scanner<F::kWords>(text, length, options, point).scan(number);
  if (end != nullptr) {
    const char* stop = number.end;
    if (options & CVT_M_TEXT_END_OF_NUMBER) {
      while (stop != text && is_skipped(stop[-1], options)) --stop;
    }
    *end = const_cast<char*>(stop);
  }
  return value_of<F>(number, options, decimals, scale);
}

char decimal_character(u32 options) { return options & CVT_M_TEXT_DECIMAL_COMMA ? ',' : '.'; }

template <class F>
auto interface_value(typename F::Bits bits) {
  if constexpr (sizeof(bits) == sizeof(float)) {
    return std::bit_cast<float>(bits);
  } else if constexpr (sizeof(bits) == sizeof(double)) {
    return std::bit_cast<double>(bits);
  } else {
    return Cvt_Quad{static_cast<u64>(bits), static_cast<u64>(bits >> 64)};
  }
}

/// What formatted input always asks for.
constexpr u32 kFieldOptions = CVT_M_TEXT_LEADING_SPACE | CVT_M_TEXT_BLANKS_ZERO | CVT_M_TEXT_SPECIALS | CVT_M_TEXT_HEX |
                              CVT_M_TEXT_REPORT_OVERFLOW | CVT_M_TEXT_WHOLE | 1u << 26;

/// Reads a plain number between leading blanks and the end of the field: false if there is anything else.
template <class F>
[[gnu::always_inline]] inline bool read_plain(const char* text, const char* end, i32 scale, i32 decimals, u32 options,
                                              typename F::Bits* bits) {
  constexpr bool kDouble = sizeof(*bits) == sizeof(u64);
  constexpr i64 kMostPower = kDouble ? kPlainPowerDouble : kPlainPowerSingle;
  constexpr u32 kOtherWays = CVT_M_TEXT_POINTS | CVT_M_TEXT_E_ONLY | CVT_M_TEXT_SCALE_ALWAYS | CVT_M_TEXT_NEED_DIGITS;
  if (options & kOtherWays) return false;
  Plain_Number number;
  const char* const behind = scan_plain_number(skip_blanks(text, end), end, decimal_character(options), number);
  if (behind == nullptr || behind != end) return false;
  i64 power = number.power;
  if (!number.has_point) power -= decimals;
  if (!number.has_exponent) power -= scale;
  if (power < -kMostPower || power > kMostPower) return false;
  if constexpr (kDouble) {
    *bits = plain_double_bits(number.digits, static_cast<int>(power), number.negative, options);
  } else {
    *bits = plain_single_bits(number.digits, static_cast<int>(power), number.negative, options);
  }
  return true;
}

template <class F, class Value>
int field_to_real(const char* text, i32 length, i32 scale, i32 decimals, u32 options, Value* result, u64 ext) {
  Converted<F> converted = {0, CVT_SUCCESS};
  if (length != 0) {
    options |= kFieldOptions;
    if (ext & CVT_X_DECIMAL_COMMA) options |= CVT_M_TEXT_DECIMAL_COMMA;
    if constexpr (sizeof(Value) <= sizeof(u64)) {
      if (length > 0 && read_plain<F>(text, text + length, scale, decimals, options, &converted.bits)) {
        memcpy(result, &converted.bits, sizeof converted.bits);
        return CVT_SUCCESS;
      }
    }
    converted = convert<F>(text, length, options, decimals, scale, decimal_character(options), nullptr);
  }
  memcpy(result, &converted.bits, sizeof converted.bits);
  return converted.status != CVT_SUCCESS;
}

/// The body of a scanning engine. The decimal character is an argument only where the options say so.
#define TAMRUN_SCANNING_ENGINE(F)                                                        \
  char point = decimal_character(options);                                               \
  if (options & CVT_M_TEXT_OWN_POINT) {                                                  \
    va_list arguments;                                                                   \
    va_start(arguments, status);                                                         \
    point = static_cast<char>(va_arg(arguments, int));                                   \
    va_end(arguments);                                                                   \
  }                                                                                      \
  const auto converted = convert<F>(text, length, options, decimals, scale, point, end); \
  if (status != nullptr) *status = converted.status;                                     \
  return interface_value<F>(converted.bits)

}  // namespace

u64 plain_double_bits(u64 digits, int power, bool negative, u32 options) {
  constexpr int kBelow = Double::kFractionBits - Double::kPrecision;
  constexpr u64 kHalf = u64{1} << (kBelow - 1);
  if (digits == 0) return u64{negative} << 63;
  u64 bits;
  if (scaled_by_machine(digits, power, negative, &bits)) return bits;
  const int shift = leading_zeros(digits);
  const Scaled_64 scale = power_of_ten_64(power);
  int exponent = 64 - shift + scale.exponent;
  const u128 product = normalised_product(u128{digits << shift} * scale.mantissa, &exponent);
  const u64 fraction = static_cast<u64>(product >> 64);
  const bool rest = (fraction & (kHalf - 1)) != 0 || static_cast<u64>(product) != 0;
  bits = fraction >> kBelow;
  const u32 mask = kRoundingMasks[rounding_of(options) >> CVT_ROUND_SHIFT];
  bits += rounds_up(mask, negative, rest, (bits & 1) != 0, (fraction & kHalf) != 0);
  // the hidden bit adds 1 to the exponent, and so does a carry out of the fraction
  bits += static_cast<u64>(exponent - Double::kSmallestNormal) << (Double::kPrecision - 1);
  return bits | u64{negative} << 63;
}

u32 plain_single_bits(u64 digits, int power, bool negative, u32 options) {
  if (digits == 0) return u32{negative} << 31;
  const double product = static_cast<double>(digits) * cvtas_pten_t[kNearPower + power];
  return narrowed(product, false, negative, options).bits;
}

float cvtas_a_to_s(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end, i32* status, ...) {
  TAMRUN_SCANNING_ENGINE(Single);
}
double cvtas_a_to_t(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end, i32* status, ...) {
  TAMRUN_SCANNING_ENGINE(Double);
}
Cvt_Quad cvtas_a_to_x(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end, i32* status,
                      ...) {
  TAMRUN_SCANNING_ENGINE(Quad);
}

int cvt_text_to_ieee_s_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options, float* result, u64 ext) {
  if (ext & CVT_X_FLUSH) options |= CVT_M_TEXT_FLUSH;
  return field_to_real<Single>(text, length, scale, decimals, options, result, ext);
}
int cvt_text_to_ieee_t_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options, double* result, u64 ext) {
  return field_to_real<Double>(text, length, scale, decimals, options, result, ext);
}
int cvt_text_to_ieee_x_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options, Cvt_Quad* result,
                          u64 ext) {
  return field_to_real<Quad>(text, length, scale, decimals, options, result, ext);
}

Cvt_Nan_S cvtas__nan_s(const char* text, i32 length) {
  return {nan_group_length(text, length), interface_value<Single>(Single::kSign | Single::kQuietNan)};
}
Cvt_Nan_T cvtas__nan_t(const char* text, i32 length) {
  return {nan_group_length(text, length), interface_value<Double>(Double::kSign | Double::kQuietNan)};
}
Cvt_Nan_X cvtas__nan_x(const char* text, i32 length) {
  return {nan_group_length(text, length), interface_value<Quad>(Quad::kSign | Quad::kQuietNan).high};
}
