// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The fields of list-directed input: separators, null values, repeat counts, slash, numbers, logical values, text and
// the parentheses of complex constants. A source says where records come from. It is a class with
//
//   static constexpr bool kInternal   the source is an internal file
//   int next_record(For_Lub&)         cursor, end and lub_a_data_start are those of the next record: 0 or a message
#ifndef TAMRUN_STATEMENTS_LDIO_SCANNER_H
#define TAMRUN_STATEMENTS_LDIO_SCANNER_H

#include <limits.h>
#include <string.h>

#include <initializer_list>

#include "convert/plain_number.h"
#include "records/for_get.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/item_list.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"

/// What a byte of the input can be, apart from the separator, which depends on DECIMAL=.
enum Ldio_Byte : u8 {
  BYTE_SPACE = 1u << 0,      ///< white space
  BYTE_VALUE_END = 1u << 1,  ///< ends a number or a logical value
  BYTE_TEXT_END = 1u << 2,   ///< ends text without delimiters
  BYTE_DIGIT = 1u << 3,      //
  BYTE_SIGN = 1u << 5,
  BYTE_CONTINUES = 1u << 4,  ///< can go on with a number behind its digits
};

struct Ldio_Bytes {
  u8 of[256];
};

constexpr Ldio_Bytes make_ldio_bytes() {
  Ldio_Bytes t{};
  for (const char c : {' ', '\t', '\r', '\n'}) t.of[static_cast<u8>(c)] |= BYTE_SPACE | BYTE_VALUE_END;
  for (const char c : {')', '/'}) t.of[static_cast<u8>(c)] |= BYTE_VALUE_END;
  for (const char c : {'\0', '\t', '\n', ' ', '/'}) t.of[static_cast<u8>(c)] |= BYTE_TEXT_END;
  for (int c = '0'; c <= '9'; ++c) t.of[c] |= BYTE_DIGIT;
  for (int c = 'a'; c <= 'z'; ++c) t.of[c] |= BYTE_CONTINUES;
  for (int c = 'A'; c <= 'Z'; ++c) t.of[c] |= BYTE_CONTINUES;
  for (const char c : {'+', '-'}) t.of[static_cast<u8>(c)] |= BYTE_SIGN | BYTE_CONTINUES;
  return t;
}
inline constexpr Ldio_Bytes kLdioBytes = make_ldio_bytes();

inline bool byte_is(u8 c, u8 classes) { return (kLdioBytes.of[c] & classes) != 0; }

inline const u8* skip_digits(const u8* p, const u8* end) {
  while (p != end && byte_is(*p, BYTE_DIGIT)) ++p;
  return p;
}

/// Takes any number, long ones, words and the radix forms too, as far as the lexer of numbers goes: the byte behind it, or
/// null when what stands there is no whole number or longer than the converters count.
const u8* take_any_number(const u8* text, const u8* end, u8 point, Ldir_Constant& constant);

/// The same; plain numbers are gone through once, which gives their value along the way.
[[gnu::always_inline]] inline const u8* take_number(const u8* text, const u8* end, u8 point, Ldir_Constant& constant) {
  constexpr u64 kSmallLimit = 1000000000000000000;
  Plain_Number number;
  const u8* const p = reinterpret_cast<const u8*>(scan_plain_number(
      reinterpret_cast<const char*>(text), reinterpret_cast<const char*>(end), static_cast<char>(point), number));
  if (p == nullptr || p - text > INT_MAX || (p != end && byte_is(*p, BYTE_CONTINUES)) ||
      number.power < -kPlainPowerDouble || number.power > kPlainPowerDouble) [[unlikely]] {
    return take_any_number(text, end, point, constant);
  }
  constant.text = text;
  constant.length = p - text;
  const bool whole = !number.has_point && !number.has_exponent;
  constant.form = !whole ? Ldir_Form::decimal : number.digits < kSmallLimit ? Ldir_Form::small : Ldir_Form::integer;
  constant.negative = number.negative;
  constant.power = number.power;
  constant.digits = number.digits;
  return p;
}

/// The position in the input and the constant in hand, which live in the LUB and in its state block.
template <class Source>
class Ldio_Scanner {
 public:
  Ldio_Scanner(For_Lub& lub, For_Ldir_Read_Isb& state, Source& source)
      : lub_(lub),
        s_(state),
        source_(source),
        separator_(lub.lub_decimal == DECIMAL_COMMA ? ';' : ','),
        point_(lub.lub_decimal == DECIMAL_COMMA ? ',' : '.'),
        stream_(!Source::kInternal && lub.lub_rectype == RECTYPE_STREAM) {}

  /// Brings the next constant for an item of that type into ldir_field, with its repeat count: 0 or a message. Whether
  /// a slash stood there instead LDIR_STOP tells.
  [[gnu::always_inline]] int find_constant(u32 type) {
    const bool text_item = type == ITM_CHARACTER && lub_.lub_f_f90_rtl;
    if (!text_item && !stream_ && stands_at_number()) return take_number(false);
    return find_field(text_item, false);
  }

  /// Steps over the rest of a complex constant of which only the first part is wanted; the second is in ldir_imag.
  int pass_second_part();

  /// Makes sure that a repeated constant whose second part is still to come outlives its record: 0 or
  /// MSG_LIST_IO_SYNTAX.
  int keep_first_part() { return s_.ldir_repeat > 0 ? keep(s_.ldir_field, 0) : 0; }

  /// The blank that opens a record is no part of what a defined-I/O routine reads: 0 or MSG_LIST_IO_SYNTAX.
  int pass_opening_blank() {
    const bool opens = s_.ldir_flags & LDIR_NEW_RECORD;
    s_.ldir_flags &= ~LDIR_NEW_RECORD;
    if (!opens || lub_.lub_a_data_start >= lub_.lub_a_rec_end || *lub_.lub_a_data_start != ' ') return 0;
    if (at_end() || *lub_.lub_a_cursor != ' ') return MSG_LIST_IO_SYNTAX;
    ++lub_.lub_a_cursor;
    return 0;
  }

 private:
  static constexpr i64 kLongestPlainText = 2048, kLongestDelimitedText = 2049;
  static_assert(kLongestDelimitedText <= kLdirTextBytes);

  bool at_end() const { return lub_.lub_a_cursor >= lub_.lub_a_rec_end; }
  bool has(u32 flag) const { return (s_.ldir_flags & flag) != 0; }

  int take(const u8* text, i64 length, Ldir_Form form) {
    s_.ldir_field = {text, length, form, false, 0, 0};
    return 0;
  }
  int take_null() { return take(nullptr, 0, Ldir_Form::null); }
  int keep(Ldir_Constant& part, i64 at) {
    if (part.length > kLdirTextBytes - at) return MSG_LIST_IO_SYNTAX;
    memmove(s_.ldir_text + at, part.text, part.length);
    part.text = s_.ldir_text + at;
    return 0;
  }
  /// No value may stand between the second part of a complex constant and its closing parenthesis.
  bool misses_parenthesis() const { return has(LDIR_PART_TWO); }

  bool stands_at_number();
  int find_field(bool text_item, bool repeated);
  int skip_space();
  int cross_record();
  int complete_constant();
  int bring_more(bool* more);
  bool ends_constant(u8 c) const {
    return c == separator_ || c == '/' || c == '"' || c == '\'' || byte_is(c, BYTE_SPACE);
  }
  bool separator_ends_value();
  int take_number(bool repeated);
  int take_logical();
  int take_plain_text(bool repeated);
  int take_delimited_text();
  int copy_delimited_text(u8 delimiter);
  int take_repeat(const u8* count, bool text_item);

  For_Lub& lub_;
  For_Ldir_Read_Isb& s_;
  Source& source_;
  const u8 separator_;
  const u8 point_;
  const bool stream_;  ///< there are no records, and the buffer may end anywhere
};

/// Reads a repeat count: 0 or a message.
int read_repeat_count(For_Lub& lub, const u8* text, i64 length, u32* count);

template <class Source>
int Ldio_Scanner<Source>::cross_record() {
  if (has(LDIR_FIELD_SEEN)) {
    s_.ldir_flags |= LDIR_CROSSED_RECORD;
    const u8* last = lub_.lub_a_rec_end;
    while (last > lub_.lub_a_data_start && byte_is(last[-1], BYTE_SPACE)) --last;
    if (last > lub_.lub_a_data_start && last[-1] == separator_) s_.ldir_flags |= LDIR_SEP_AT_END;
  }
  if (int code = source_.next_record(lub_)) return code;
  s_.ldir_flags |= LDIR_NEW_RECORD;
  return 0;
}

/// White space is blank, tab, CR and LF, and the ends of records.
template <class Source>
int Ldio_Scanner<Source>::skip_space() {
  for (;;) {
    const u8* const end = lub_.lub_a_rec_end;
    u8* p = lub_.lub_a_cursor;
    while (p < end && byte_is(*p, BYTE_SPACE)) ++p;
    lub_.lub_a_cursor = p;
    if (p < end) {
      s_.ldir_flags |= LDIR_FIELD_SEEN;
      return stream_ ? complete_constant() : 0;
    }
    if (int code = cross_record()) return code;
  }
}

/// Bytes of a STREAM unit behind those from the cursor on: 0 or a message.
template <class Source>
int Ldio_Scanner<Source>::bring_more(bool* more) {
  const int code = extend_stream_input(lub_, more);
  lub_.lub_a_data_start = lub_.lub_a_cursor;
  return code == MSG_RECORD_TOO_LONG ? int{MSG_LIST_IO_SYNTAX} : code;
}

/// Makes sure that a constant of a STREAM unit is not cut short by the buffer's end: 0 or a message. Text in delimiters
/// is brought piece by piece.
template <class Source>
int Ldio_Scanner<Source>::complete_constant() {
  bool more = true;
  for (i64 seen = 0; more;) {
    const u8* const text = lub_.lub_a_cursor;
    for (const i64 length = lub_.lub_a_rec_end - text; seen < length; ++seen) {
      if (ends_constant(text[seen])) return 0;
    }
    if (int code = bring_more(&more)) return code;
  }
  return 0;
}

/// True when the separator at the cursor ends the value before it; otherwise a null value stands in front of it.
template <class Source>
bool Ldio_Scanner<Source>::separator_ends_value() {
  if (has(LDIR_NEW_RECORD)) {
    s_.ldir_flags &= ~LDIR_NEW_RECORD;
    return (s_.ldir_flags & (LDIR_CROSSED_RECORD | LDIR_SEP_AT_END)) == LDIR_CROSSED_RECORD;
  }
  if (has(LDIR_SEP_AT_END)) return false;
  const u8* before = lub_.lub_a_cursor;
  while (before > lub_.lub_a_data_start && byte_is(before[-1], BYTE_SPACE)) --before;
  if (before <= lub_.lub_a_data_start || before[-1] == separator_) return false;
  s_.ldir_flags |= LDIR_SEP_AT_END;
  return true;
}

/// The common case: a number in this record, behind blanks and the separator of the value before it. The cursor moves to
/// the number, or not at all.
template <class Source>
[[gnu::always_inline]] inline bool Ldio_Scanner<Source>::stands_at_number() {
  const u8* const end = lub_.lub_a_rec_end;
  u8* p = lub_.lub_a_cursor;
  if (p >= end || has(LDIR_COMPLEX)) return false;
  if (*p == separator_ && !has(LDIR_NEW_RECORD) && p > lub_.lub_a_data_start && p[-1] != separator_ &&
      !byte_is(p[-1], BYTE_SPACE)) {
    ++p;
  }
  while (p != end && *p == ' ') ++p;
  if (p == end || !byte_is(*p, BYTE_DIGIT | BYTE_SIGN)) return false;
  lub_.lub_a_cursor = p;
  s_.ldir_flags |= LDIR_FIELD_SEEN;
  return true;
}

/// `text_item`: what is not delimited is text without delimiters. `repeated`: a repeat count has been read.
template <class Source>
int Ldio_Scanner<Source>::find_field(bool text_item, bool repeated) {
  for (;; ++lub_.lub_a_cursor) {
    if (int code = skip_space()) return code;
    const u8 c = *lub_.lub_a_cursor;
    if (c == separator_) {
      if (separator_ends_value()) continue;
      if (misses_parenthesis()) return MSG_LIST_IO_SYNTAX;
      ++lub_.lub_a_cursor;
      return take_null();
    }
    switch (c) {
      case '"':
      case '\'':
        return take_delimited_text();
      case '/':
        s_.ldir_flags |= LDIR_STOP;
        return take_null();
      case ')':
        if (text_item && !has(LDIR_COMPLEX)) return take_plain_text(repeated);
        if (!has(LDIR_COMPLEX) || !has(LDIR_PART_TWO)) return MSG_LIST_IO_SYNTAX;
        s_.ldir_flags &= LDIR_FIELD_SEEN;
        continue;
      case '(':
        if (text_item) return take_plain_text(repeated);
        if (has(LDIR_COMPLEX)) return MSG_LIST_IO_SYNTAX;
        s_.ldir_flags = (s_.ldir_flags & ~LDIR_NEW_RECORD) | LDIR_COMPLEX | LDIR_PAIR;
        continue;
      case 'F':
      case 'T':
      case 'f':
      case 't':
        return text_item ? take_plain_text(repeated) : take_logical();
      case '.':
        if (!text_item && lub_.lub_a_rec_end - lub_.lub_a_cursor > 1 &&
            memchr("FTft", lub_.lub_a_cursor[1], 4) != nullptr) {
          ++lub_.lub_a_cursor;
          return take_logical();
        }
        [[fallthrough]];
      default:
        return text_item ? take_plain_text(repeated) : take_number(repeated);
    }
  }
}

template <class Source>
[[gnu::always_inline]] inline int Ldio_Scanner<Source>::take_number(bool repeated) {
  const u8* const text = lub_.lub_a_cursor;
  const u8* const behind = ::take_number(text, lub_.lub_a_rec_end, point_, s_.ldir_field);
  if (behind == nullptr || misses_parenthesis()) return MSG_LIST_IO_SYNTAX;
  lub_.lub_a_cursor += behind - text;
  if (behind != lub_.lub_a_rec_end) {
    const u8 c = *behind;
    if (c == '*' && !repeated && !has(LDIR_COMPLEX)) return take_repeat(text, false);
    if (c != separator_ && !byte_is(c, BYTE_VALUE_END)) return MSG_LIST_IO_SYNTAX;
  }
  return 0;
}

/// The letter decides; what follows it up to the end of the word is passed over.
template <class Source>
int Ldio_Scanner<Source>::take_logical() {
  if (misses_parenthesis()) return MSG_LIST_IO_SYNTAX;
  u8* const letter = lub_.lub_a_cursor;
  u8* p = letter;
  while (p < lub_.lub_a_rec_end && *p != separator_ && !byte_is(*p, BYTE_VALUE_END)) ++p;
  lub_.lub_a_cursor = p;
  return take(letter, 1, Ldir_Form::logical);
}

template <class Source>
int Ldio_Scanner<Source>::take_plain_text(bool repeated) {
  if (misses_parenthesis()) return MSG_LIST_IO_SYNTAX;
  u8* const text = lub_.lub_a_cursor;
  const u8* const end = lub_.lub_a_rec_end;
  if (!repeated && byte_is(*text, BYTE_DIGIT)) {
    const u8* const behind = skip_digits(text, end);
    if (behind != end && *behind == '*') {
      if (has(LDIR_COMPLEX)) return MSG_LIST_IO_SYNTAX;
      lub_.lub_a_cursor += behind - text;
      return take_repeat(text, true);
    }
  }
  u8* p = text;
  while (p < end && *p != separator_ && !byte_is(*p, BYTE_TEXT_END)) ++p;
  if (p - text > kLongestPlainText) return MSG_LIST_IO_SYNTAX;
  lub_.lub_a_cursor = p;
  return take(text, p - text, Ldir_Form::text);
}

/// Text in one record without a doubled delimiter stays where it is.
template <class Source>
int Ldio_Scanner<Source>::take_delimited_text() {
  if (misses_parenthesis()) return MSG_LIST_IO_SYNTAX;
  const u8 delimiter = *lub_.lub_a_cursor++;
  u8* const text = lub_.lub_a_cursor;
  const i64 left = lub_.lub_a_rec_end - text;
  const void* found = left > 0 ? memchr(text, delimiter, left) : nullptr;
  if (found == nullptr) return copy_delimited_text(delimiter);
  const i64 length = static_cast<const u8*>(found) - text;
  if (length + 1 == left ? stream_ : text[length + 1] == delimiter) return copy_delimited_text(delimiter);
  if (length > kLongestDelimitedText) return MSG_LIST_IO_SYNTAX;
  lub_.lub_a_cursor = text + length + 1;
  return take(text, length, Ldir_Form::text);
}

/// Text that goes on in the next record, which adds nothing to it, or that holds its delimiter doubled.
template <class Source>
int Ldio_Scanner<Source>::copy_delimited_text(u8 delimiter) {
  for (i64 length = 0;;) {
    if (at_end()) {
      if (cross_record() != 0) return MSG_LIST_IO_SYNTAX;
      continue;
    }
    const u8 c = *lub_.lub_a_cursor++;
    if (c == delimiter) {
      bool more = stream_;
      if (more && at_end()) {
        if (int code = bring_more(&more)) return code;
      }
      if (at_end() || *lub_.lub_a_cursor != delimiter) return take(s_.ldir_text, length, Ldir_Form::text);
      ++lub_.lub_a_cursor;
    }
    if (length == kLongestDelimitedText) return MSG_LIST_IO_SYNTAX;
    s_.ldir_text[length++] = c;
  }
}

/// r*c or r*; the cursor is at the asterisk, `count` at the r.
template <class Source>
int Ldio_Scanner<Source>::take_repeat(const u8* count, bool text_item) {
  u32 repeat = 0;
  if (int code = read_repeat_count(lub_, count, lub_.lub_a_cursor - count, &repeat)) return code;
  ++lub_.lub_a_cursor;
  s_.ldir_flags &= LDIR_FIELD_SEEN;
  int code = 0;
  if (at_end()) {
    code = take_null();
  } else if (*lub_.lub_a_cursor == separator_ || byte_is(*lub_.lub_a_cursor, BYTE_SPACE)) {
    ++lub_.lub_a_cursor;
    code = take_null();
  } else {
    code = find_field(text_item, true);
  }
  s_.ldir_repeat = repeat - 1;
  return code;
}

template <class Source>
int Ldio_Scanner<Source>::pass_second_part() {
  if (int code = skip_space()) return code;
  if (*lub_.lub_a_cursor != separator_) return MSG_LIST_IO_SYNTAX;
  ++lub_.lub_a_cursor;
  if (int code = skip_space()) return code;
  const u8* const text = lub_.lub_a_cursor;
  const u8* const behind = ::take_number(text, lub_.lub_a_rec_end, point_, s_.ldir_imag);
  if (behind == nullptr) return MSG_LIST_IO_SYNTAX;
  lub_.lub_a_cursor += behind - text;
  if (s_.ldir_repeat > 0) {
    if (int code = keep(s_.ldir_imag, s_.ldir_field.length)) return code;
  }
  if (int code = skip_space()) return code;
  if (*lub_.lub_a_cursor != ')') return MSG_LIST_IO_SYNTAX;
  ++lub_.lub_a_cursor;
  s_.ldir_flags &= ~LDIR_COMPLEX;
  return 0;
}

#endif
