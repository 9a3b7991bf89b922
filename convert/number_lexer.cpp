// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The lexer of numbers: says of one character after another whether it can continue a number. All it knows is in the
// caller's state word.

#include "tamrun/cvt.h"

namespace {

enum State : u32 {
  kSign = 1u << 0,      // of the number, and once the exponent has begun with a letter, of the exponent
  kInfinity = 1u << 1,  // inside the word
  kNan = 1u << 2,       // inside the word
  kZero = 1u << 3,      // a leading zero
  kHex = 1u << 4,
  kDigit = 1u << 5,  // since the exponent began, if it has
  kPoint = 1u << 6,
  kExponent = 1u << 7,
};
constexpr int kPositionShift = 8, kDecimalShift = 12;
constexpr u32 kPositionMask = 0xFu << kPositionShift;

constexpr char kInfinityWord[] = "infinity";
constexpr char kNanWord[] = "nan";
constexpr u32 kInfLength = 3, kInfinityLength = 8, kNanLength = 3, kInGroup = 4, kBehindGroup = 5;

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_letter(char small) { return small >= 'a' && small <= 'z'; }

u32 position(u32 state) { return (state & kPositionMask) >> kPositionShift; }

int move_to(u32* state, u32 place) {
  *state = (*state & ~kPositionMask) | place << kPositionShift;
  return 1;
}

int set(u32* state, u32 bits) {
  *state |= bits;
  return 1;
}

int begin_exponent(u32* state) {
  *state = (*state & ~u32{kDigit}) | kExponent;
  return 1;
}

int continue_infinity(u32* state, char small) {
  const u32 at = position(*state);
  return at < kInfinityLength && small == kInfinityWord[at] ? move_to(state, at + 1) : 0;
}

int continue_nan(u32* state, char small) {
  const u32 at = position(*state);
  if (at < kNanLength) return small == kNanWord[at] ? move_to(state, at + 1) : 0;
  if (at == kNanLength) return small == '(' ? move_to(state, kInGroup) : 0;
  if (at != kInGroup) return 0;
  if (small == ')') return move_to(state, kBehindGroup);
  return is_digit(small) || is_letter(small) || small == '_';
}

int take_sign(u32* state) {
  if (*state & kExponent) return *state & (kSign | kDigit) ? 0 : set(state, kSign);
  if (*state & kHex) return 0;
  if (*state & (kDigit | kZero)) {
    begin_exponent(state);
    return set(state, kSign);
  }
  return *state & kSign ? 0 : set(state, kSign);
}

int take_letter(u32* state, char small) {
  const bool hex_digits = (*state & (kHex | kExponent)) == kHex;
  const bool digits = (*state & (kDigit | kZero)) != 0;
  const bool decimal_mantissa = (*state & (kHex | kExponent)) == 0;
  switch (small) {
    case 'd':
    case 'e':
    case 'q':
      if (hex_digits && small != 'q') return set(state, kDigit);
      if (!decimal_mantissa || !digits) return 0;
      *state &= ~u32{kSign};
      return begin_exponent(state);
    case 'a':
    case 'b':
    case 'c':
    case 'f':
      return hex_digits ? set(state, kDigit) : 0;
    case 'p':
      if (!hex_digits || !(*state & kDigit)) return 0;
      *state &= ~u32{kSign};
      return begin_exponent(state);
    case 'x':
      return (*state & (kZero | kHex | kDigit | kPoint | kExponent)) == kZero ? set(state, kHex) : 0;
    case 'i':
    case 'n':
      if (*state & (kZero | kDigit | kPoint | kExponent)) return 0;
      *state |= small == 'i' ? kInfinity : kNan;
      return move_to(state, 1);
    default:
      return 0;
  }
}

}  // namespace

int cvt__lex_number_char(u32* state, char c) {
  const char small = lower(c);
  if (*state & kInfinity) return continue_infinity(state, small);
  if (*state & kNan) return continue_nan(state, small);
  if (c == '0') return set(state, *state & (kZero | kExponent) ? kDigit : kZero);
  if (is_digit(c)) return set(state, kDigit);
  if (c == '+' || c == '-') return take_sign(state);
  if (is_letter(small)) return take_letter(state, small);
  if (static_cast<u8>(c) != (*state >> kDecimalShift & 0xFF)) return 0;
  return *state & (kPoint | kExponent) ? 0 : set(state, kPoint);
}

int cvt__lex_number_complete(const u32* state) {
  const u32 at = position(*state);
  if (*state & kInfinity) return at == kInfLength || at == kInfinityLength;
  if (*state & kNan) return at == kNanLength || at == kBehindGroup;
  if (*state & kExponent) return (*state & kDigit) != 0 || (*state & (kHex | kSign)) == 0;
  return (*state & (kDigit | kZero)) != 0 && !(*state & kHex);
}
