// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Digits from the product of the significand with a 128-bit power of ten that is put together from few table rows.
#include "convert/digit_ladder.h"

#include "convert/digit_pairs.h"
#include "convert/power_product.h"

#include <algorithm>

namespace {

/// A fraction below the point, highest word first.
template <int Words>
struct Fraction {
  u64 word[Words];

  void shift_right(int bits) {
    if (bits == 0) return;
    for (int i = Words - 1; i > 0; --i) word[i] = word[i] >> bits | word[i - 1] << (64 - bits);
    word[0] >>= bits;
  }
  /// Returns the word that moves above the point.
  u64 multiply(u64 factor) {
    u64 carry = 0;
    for (int i = Words - 1; i >= 0; --i) {
      const u128 product = static_cast<u128>(word[i]) * factor + carry;
      word[i] = static_cast<u64>(product);
      carry = static_cast<u64>(product >> 64);
    }
    return carry;
  }
  u128 top() const { return static_cast<u128>(word[0]) << 64 | word[1]; }
  bool any_below_top() const {
    u64 any = 0;
    for (int i = 2; i < Words; ++i) any |= word[i];
    return any != 0;
  }
};

/// significand * power, all words kept, with the top bit of the result set; *bexp becomes that of the product.
Fraction<3> multiply(u64 significand, const Scaled_128& power, int* bexp) {
  const u128 low = static_cast<u128>(significand) * static_cast<u64>(power.mantissa);
  u128 high = static_cast<u128>(significand) * static_cast<u64>(power.mantissa >> 64) + (low >> 64);
  u64 last = static_cast<u64>(low);
  *bexp += power.exponent;
  if ((high >> 127) == 0) {
    high = high << 1 | last >> 63;
    last <<= 1;
    --*bexp;
  }
  return {{static_cast<u64>(high >> 64), static_cast<u64>(high), last}};
}

Fraction<4> multiply(u128 significand, const Scaled_128& power, int* bexp) {
  Product_256 product = multiply_128(significand, power.mantissa);
  *bexp += power.exponent;
  if ((product.high >> 127) == 0) {
    product.high = product.high << 1 | product.low >> 127;
    product.low <<= 1;
    --*bexp;
  }
  return {{static_cast<u64>(product.high >> 64), static_cast<u64>(product.high), static_cast<u64>(product.low >> 64),
           static_cast<u64>(product.low)}};
}

Fraction<3> unscaled(u64 significand) { return {{significand, 0, 0}}; }
Fraction<4> unscaled(u128 significand) {
  return {{static_cast<u64>(significand >> 64), static_cast<u64>(significand), 0, 0}};
}
u16 behind_first_bit(u64 significand) { return static_cast<u16>(significand >> 47); }
u16 behind_first_bit(u128 significand) { return static_cast<u16>(significand >> 111); }

/// Writes `count` digits of the fraction and leaves what is behind them.
template <int Words>
void generate(Fraction<Words>& fraction, char* text, int count) {
  constexpr int kChunk = 19;
  while (count > 0) {
    const int digits = std::min(count, kChunk);
    put_digits_before(text + digits, fraction.multiply(kPowersOfTen[digits]), digits);
    text += digits;
    count -= digits;
  }
}

/// Whether the remainder after `digits` digits is rounded up. With `doubtful` a remainder that lies within the error
/// of the scaled value from one half is one half, and one within it from a whole digit is that digit.
template <int Words>
bool remainder_rounds_up(const Fraction<Words>& fraction, int digits, bool doubtful, bool odd, bool negative,
                         u32 mask) {
  const u128 remainder = fraction.top();
  constexpr u128 kHalf = u128{1} << 127;
  if (doubtful) {
    const int growth = (digits * 217705 + 65535) >> 16;  // digits * log2(10), rounded up
    const u128 bound = u128{1} << growth;
    if (remainder + bound - kHalf <= 2 * bound) return rounds_up(mask, negative, false, odd, true);
    if (remainder <= bound) return rounds_up(mask, negative, false, odd, false);
    if (remainder >= -bound) return true;
  }
  const bool sticky = (remainder << 1) != 0 || fraction.any_below_top();
  return rounds_up(mask, negative, sticky, odd, remainder >= kHalf);
}

/// Digits to generate. Dropped digits are taken off the most that are ever generated, as long as some remain.
int generated_digits(const Digit_Plan& plan) {
  if (plan.kept <= 0) return 0;
  const i64 digits = std::min<i64>(plan.count, kMaxGenerated) - (plan.count - plan.kept);
  return static_cast<int>(digits > 0 ? digits : std::min<i64>(plan.kept, kMaxGenerated));
}

/// The lone 1 in the last kept position.
void set_lone_digit(const Digit_Request& request, int binary_exponent, Digit_String* result) {
  result->text[0] = '1';
  result->start = 0;
  result->end = 1;
  result->count = lone_digit_count(binary_exponent, std::max(-request.fraction, i64{0}), request.capacity);
  result->exponent = 1 - request.fraction;
}

template <class Word>
bool digits_of(const Unpacked<Word>& value, const Digit_Request& request, Digit_String* result) {
  constexpr int kCheckedDigits = 17, kCheckedFirst = -346, kCheckedLast = 341;
  int exponent = estimate_decimal_exponent(value.exponent, behind_first_bit(value.significand)) + 1;
  result->text[0] = '0';
  for (;; ++exponent) {
    const Digit_Plan plan = plan_digits(request, exponent);
    const bool behind = plan.kept < -1;  // the last kept position, even if the estimate is one too small
    int bexp = value.exponent;
    auto fraction = exponent == 0 || behind ? unscaled(value.significand)
                                            : multiply(value.significand, power_of_ten_128(-exponent), &bexp);
    if (bexp > 0 && !behind) continue;  // 1 or more: the estimate was too small
    if (plan.kept < 0) {
      if (!rounds_up(request.mask, value.negative, true, false, false)) return false;
      set_lone_digit(request, value.exponent, result);
      return true;
    }
    fraction.shift_right(-bexp);

    const bool doubtful =
        exponent != 0 && plan.count <= kCheckedDigits && exponent - 1 >= kCheckedFirst && exponent - 1 <= kCheckedLast;
    const int digits = generated_digits(plan);
    generate(fraction, result->text + 1, digits);
    result->start = 1;
    result->end = 1 + digits;
    result->count = plan.count;
    result->exponent = exponent;
    const bool odd = digits > 0 && (result->text[digits] & 1) != 0;
    const bool up = remainder_rounds_up(fraction, digits, doubtful, odd, value.negative, request.mask);
    if (digits == 0) {
      if (!up) return false;
      set_lone_digit(request, value.exponent, result);
    } else if (up && round_text_up(result->text, &result->end, '9', '1')) {
      result->start = 0;
      ++result->exponent;
      if (request.fixed) result->count = std::min(result->count + 1, request.capacity);
    }
    return true;
  }
}

}  // namespace

Digit_Plan plan_digits(const Digit_Request& request, i64 exponent) {
  if (!request.fixed) return {request.capacity, request.capacity};
  const i64 dropped = std::max(-request.fraction, i64{0});
  const i64 all = exponent + std::max(request.fraction, i64{0});
  return {std::min(all, request.capacity), std::min(all - dropped, request.capacity)};
}

bool round_text_up(char* text, int* end, char nine, char carry) {
  int last = *end - 1;
  while (last > 0 && text[last] == nine) --last;
  *end = last + 1;
  if (last == 0) {
    text[0] = carry;
    return true;
  }
  text[last] = text[last] == '9' ? static_cast<char>(nine - ('F' - 'A')) : static_cast<char>(text[last] + 1);
  return false;
}

bool ladder_digits(const Unpacked<u64>& value, const Digit_Request& request, Digit_String* result) {
  return digits_of(value, request, result);
}

bool ladder_digits(const Unpacked<u128>& value, const Digit_Request& request, Digit_String* result) {
  return digits_of(value, request, result);
}
