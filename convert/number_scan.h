// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The scanner of real numbers: from the characters of a field to packed digits and an exponent. It reads nothing
// outside the field.
#ifndef TAMRUN_CONVERT_NUMBER_SCAN_H
#define TAMRUN_CONVERT_NUMBER_SCAN_H

#include "convert/digit_scan.h"
#include "tamrun/cvt.h"

enum class Number_Kind : u8 { number, infinity, nan };

/// What a field holds. Leading zeros are only counted; the digits from the first other one on are significant and are
/// packed into words, as many as fit. The scanner sets every member; initialisers would clear it all twice.
template <int kWords>
struct Scanned_Number {
  u64 word[kWords];
  const char* first;  ///< behind the sign
  const char* end;    ///< the character that stopped the scan
  i32 digits;         ///< significant digits, kept or not
  i32 zeros;          ///< leading zeros
  i32 before_point;   ///< digits and leading zeros before the decimal character
  i32 fraction;       ///< digits and leading zeros behind it
  i32 exponent;
  i32 at_word, in_word;  ///< where the next digit goes
  i32 status;
  Number_Kind kind;
  bool sticky;  ///< a significant digit behind the kept ones is not zero
  bool negative;
  bool plus;  ///< an explicit "+"
  bool point;
  bool has_exponent;
  bool exponent_digit;
  bool vast_exponent;  ///< more exponent digits than any format has use for
  bool hexadecimal;
};

inline constexpr int kWordDigits = 19;  // decimal digits that a word always holds
inline constexpr int kWordHexDigits = 16;

/// Significant digits that `kWords` words keep.
template <int kWords>
inline constexpr int kKeptDigits = kWords* kWordDigits;

/// True for a character that the options have skipped wherever it stands in a number.
inline bool is_skipped(char c, u32 options) {
  switch (c) {
    case '\t':
      return (options & CVT_M_TEXT_TABS) != 0;
    case ' ':
      return (options & CVT_M_TEXT_BLANKS_SKIP) != 0;
    case ',':
      return (options & CVT_M_TEXT_COMMAS) != 0;
    case '.':
      return (options & CVT_M_TEXT_POINTS) != 0;
    case '_':
      return (options & CVT_M_TEXT_UNDERSCORES) != 0;
    default:
      return false;
  }
}

inline bool is_zero_blank(char c, u32 options) {
  return c == ' ' && (options & (CVT_M_TEXT_BLANKS_SKIP | CVT_M_TEXT_BLANKS_ZERO)) == CVT_M_TEXT_BLANKS_ZERO;
}

inline bool is_white_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Characters of a well-formed "(...)" behind the word NaN, white space before it included; 0 if there is none.
i64 nan_group_length(const char* text, i64 length);

/// Characters of the word Infinity or NaN at `text`, 0 if neither stands there as a whole.
i64 special_word_length(const char* text, const char* end, Number_Kind* kind);

/// Reads one field. Positions go from step to step by value, so that the way through a plain number stays in registers.
template <int kWords>
class Number_Scanner {
 public:
  Number_Scanner(const char* text, i32 length, u32 options, char point)
      : text_(text),
        end_(text + length),
        options_(options),
        point_(is_skipped(point, options) ? kNoPoint : static_cast<u8>(point)) {}

  /// The length must be positive.
  [[gnu::always_inline]] void scan(Scanned_Number<kWords>& out) const {
    for (u64& word : out.word) word = 0;
    out.digits = out.zeros = out.before_point = out.fraction = out.exponent = out.at_word = out.in_word = 0;
    out.status = CVT_SUCCESS;
    out.kind = Number_Kind::number;
    out.sticky = out.negative = out.plus = out.point = false;
    out.has_exponent = out.exponent_digit = out.vast_exponent = out.hexadecimal = false;

    const char* p = text_;
    if (options_ & CVT_M_TEXT_LEADING_SPACE) {
      while (p != end_ && is_white_space(*p)) p = *p == ' ' ? skip_blanks(p, end_) : p + 1;
    }
    out.end = p;
    if (p == end_) return;
    if (*p == '-' || *p == '+') {
      out.plus = *p == '+';
      out.negative = !out.plus;
      out.end = ++p;
      if (p == end_) return;
    }
    out.first = p;
    p = scan_plain(p, out);
    if (p != end_) p = *p == 'E' ? scan_exponent(p + 1, options_, out) : scan_mantissa<10>(p, out);
    out.end = p;
    if (p != end_ || (options_ & CVT_M_TEXT_NEED_DIGITS) || out.hexadecimal) check_end(out);
    if (out.point) out.fraction = out.digits + out.zeros - out.before_point;
  }

 private:
  using Number = Scanned_Number<kWords>;
  static constexpr int kNoPoint = -1;
  static constexpr int kExponentDigits = 6;
  static constexpr u32 kWantDigits = u32{CVT_M_TEXT_WHOLE} | CVT_M_TEXT_NEED_DIGITS;

  void check_end(Number& out) const {
    if (out.kind == Number_Kind::number) {
      if (out.hexadecimal && (out.digits + out.zeros == 0 || !out.exponent_digit)) out.status = CVT_INVALID_CHARACTER;
      if (out.digits == 0 && (options_ & kWantDigits) == kWantDigits) out.status = CVT_INVALID_CHARACTER;
    }
    if ((options_ & CVT_M_TEXT_WHOLE) && out.end != end_ && !((options_ & CVT_M_ROUND_GIVEN) && *out.end == '\0')) {
      out.status = CVT_INVALID_CHARACTER;
    }
  }

  /// Digits with or without a decimal character, as far as one word holds them: nearly always the whole mantissa.
  /// Where it stops the general scan goes on.
  [[gnu::always_inline]] const char* scan_plain(const char* p, Number& out) const {
    u64 word = 0;
    const char* const begin = p;
    while (p != end_ && *p == '0') ++p;
    out.zeros = static_cast<i32>(p - begin);
    const char* const whole = p;
    p = take_run<10>(p, kWordDigits, word);
    i32 digits = static_cast<i32>(p - whole);
    if (p != end_ && static_cast<u8>(*p) == point_) {
      out.point = true;
      out.before_point = digits + out.zeros;
      const char* const behind = ++p;
      const char* significant = behind;
      if (digits == 0) {
        while (significant != end_ && *significant == '0') ++significant;
        out.zeros += static_cast<i32>(significant - behind);
      }
      p = take_run<10>(significant, kWordDigits - digits, word);
      digits += static_cast<i32>(p - significant);
    }
    out.word[0] = word;
    out.digits = digits;
    out.in_word = digits;
    if (digits == kWordDigits) {
      out.in_word = 0;
      out.at_word = 1;
    }
    return p;
  }

  /// Digits, the decimal character and what may stand among them, up to the end of the number.
  template <u32 kRadix>
  const char* scan_mantissa(const char* p, Number& out) const {
    const u32 options = options_ & ~(kRadix == 16 ? u32{CVT_M_TEXT_BLANKS_SKIP} | CVT_M_TEXT_BLANKS_ZERO : 0);
    while (p != end_) {
      const char c = *p;
      if (digit_of<kRadix>(c) < kRadix) {
        p = take_digits<kRadix>(p, out);
      } else if (static_cast<u8>(c) == point_) {
        if (out.point) return p;
        out.point = true;
        out.before_point = out.digits + out.zeros;
        ++p;
      } else if (kRadix == 10 && begins_exponent(c)) {
        return scan_exponent(c == '+' || c == '-' ? p : p + 1, options, out);
      } else if (c == ' ' && (options & CVT_M_TEXT_BLANKS_SKIP)) {
        p = skip_blanks(p, end_);
      } else if (is_skipped(c, options)) {
        ++p;
      } else if (is_zero_blank(c, options)) {
        ++p;
        take_digit<kRadix>(out, 0);
      } else if (kRadix == 16) {
        return c == 'P' || c == 'p' ? scan_exponent(p + 1, options, out) : p;
      } else {
        return scan_rare(p, out);
      }
    }
    return p;
  }

  template <u32 kRadix>
  static u32 digit_of(char c) {
    return kRadix == 10 ? static_cast<u8>(c) - u32{'0'} : digit_value(c);
  }

  bool begins_exponent(char c) const {
    switch (c) {
      case 'E':
      case 'e':
        return true;
      case 'D':
      case 'd':
      case 'Q':
      case 'q':
        return (options_ & CVT_M_TEXT_E_ONLY) == 0;
      case '+':
      case '-':
        return (options_ & CVT_M_TEXT_NO_BARE_SIGN) == 0;
      default:
        return false;
    }
  }

  /// Appends the run of digits at `p`, at most `room` of them, to `word`.
  template <u32 kRadix>
  [[gnu::always_inline]] const char* take_run(const char* p, i64 room, u64& word) const {
    const char* const limit = end_ - p > room ? p + room : end_;
    u64 value = word;
    if constexpr (kRadix == 10) {
      while (limit - p >= 8) {
        const u64 chars = load_eight(p);
        if (!eight_digits(chars)) break;
        value = value * 100000000 + eight_digit_value(chars);
        p += 8;
      }
    }
    for (u32 digit; p != limit && (digit = digit_of<kRadix>(*p)) < kRadix; ++p) value = value * kRadix + digit;
    word = value;
    return p;
  }

  /// The run of digits that begins here, whatever came before.
  template <u32 kRadix>
  const char* take_digits(const char* p, Number& out) const {
    constexpr int kRoom = kRadix == 10 ? kWordDigits : kWordHexDigits;
    if (out.digits == 0) {
      const char* const begin = p;
      while (p != end_ && *p == '0') ++p;
      out.zeros += static_cast<i32>(p - begin);
    }
    const char* const run = p;
    while (out.at_word < kWords) {
      const char* const start = p;
      p = take_run<kRadix>(p, kRoom - out.in_word, out.word[out.at_word]);
      out.in_word += static_cast<int>(p - start);
      if (out.in_word < kRoom) break;
      out.in_word = 0;
      ++out.at_word;
    }
    if (out.at_word == kWords) {
      for (u32 digit; p != end_ && (digit = digit_of<kRadix>(*p)) < kRadix; ++p) out.sticky |= digit != 0;
    }
    out.digits += static_cast<i32>(p - run);
    return p;
  }

  template <u32 kRadix>
  static void take_digit(Number& out, u32 digit) {
    constexpr int kRoom = kRadix == 10 ? kWordDigits : kWordHexDigits;
    if (out.digits == 0 && digit == 0) {
      ++out.zeros;
      return;
    }
    ++out.digits;
    if (out.at_word == kWords) {
      out.sticky |= digit != 0;
      return;
    }
    out.word[out.at_word] = out.word[out.at_word] * kRadix + digit;
    if (++out.in_word == kRoom) {
      out.in_word = 0;
      ++out.at_word;
    }
  }

  /// One sign, digits and what may stand among them.
  [[gnu::always_inline]] const char* scan_exponent(const char* p, u32 options, Number& out) const {
    bool sign = false, negative = false, any = false;
    int significant = 0;
    i32 value = 0;
    for (; p != end_; ++p) {
      const char c = *p;
      u32 digit = digit_of<10>(c);
      if (digit >= 10) {
        if ((c == '+' || c == '-') && !sign && !any) {
          sign = true;
          negative = c == '-';
          continue;
        }
        if (is_skipped(c, options)) continue;
        if (!is_zero_blank(c, options)) break;
        digit = 0;
      }
      any = true;
      if (significant == 0 && digit == 0) continue;
      if (++significant <= kExponentDigits) value = value * 10 + static_cast<i32>(digit);
    }
    out.has_exponent = true;
    out.exponent_digit = any;
    out.exponent = negative ? -value : value;
    out.vast_exponent = significant > kExponentDigits;
    if (sign && !any) out.status = CVT_INVALID_CHARACTER;
    return p;
  }

  /// A character that is no part of a plain number: it begins hexadecimal digits or a word, or ends the number.
  [[gnu::noinline]] const char* scan_rare(const char* p, Number& out) const {
    switch (*p) {
      case 'X':
      case 'x':
        if (!(options_ & CVT_M_TEXT_HEX) || p != out.first + 1 || *out.first != '0') return p;
        out.hexadecimal = true;
        out.zeros = 0;
        return scan_mantissa<16>(p + 1, out);
      case 'I':
      case 'i':
      case 'N':
      case 'n':
        if (!(options_ & CVT_M_TEXT_SPECIALS) || out.point || out.digits + out.zeros != 0) return p;
        return scan_special(p, out);
      default:
        return p;
    }
  }

  const char* scan_special(const char* p, Number& out) const {
    const i64 length = special_word_length(p, end_, &out.kind);
    if (length == 0) {
      out.status = CVT_INVALID_CHARACTER;
      return p;
    }
    p += length;
    if (out.kind == Number_Kind::nan && (options_ & CVT_M_ROUND_GIVEN)) p += nan_group_length(p, end_ - p);
    return options_ & CVT_M_TEXT_BLANKS_SKIP ? skip_blanks(p, end_) : p;
  }

  const char* const text_;
  const char* const end_;
  const u32 options_;
  const int point_;
};

#endif
