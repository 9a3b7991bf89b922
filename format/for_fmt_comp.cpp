// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Compiling format text in one pass. A descriptor that takes operands stays pending until the next delimiter, because
// the numbers behind it are its operands.
#include <string.h>

#include "core/failure.h"
#include "format/fmt_emit.h"
#include "format/format_compiler.h"

namespace {

constexpr unsigned char kFirstAllowed = 9, kLastAllowed = 122;
constexpr i64 kMostShown = 80;  // characters of the text that a diagnostic quotes

constexpr bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

class Scanner {
 public:
  Scanner(const char* text, i64 length, bool report)
      : at_(text), end_(text + length), token_(text), length_(length), report_(report) {}

  /// 0 with the compiled format in build(), or a message number.
  [[nodiscard]] int run();
  For_Fmt_Build& build() { return build_; }

 private:
  [[nodiscard]] int error_at(const char* place);
  [[nodiscard]] int error() { return error_at(token_); }

  void skip_blanks() {
    while (at_ < end_ && is_blank(*at_)) ++at_;
  }
  /// The next character that is not blank, in capitals; 0 at the end. It is not consumed.
  char peek() {
    skip_blanks();
    return at_ < end_ ? upper(*at_) : '\0';
  }
  bool accept(char c) {
    if (peek() != c) return false;
    ++at_;
    return true;
  }

  void clear_number() {
    number_ = 0;
    number_given_ = false;
    sign_ = 0;
  }
  bool nothing_before() const { return !number_given_ && sign_ == 0 && build_.code == 0; }

  [[nodiscard]] int take_operand();
  [[nodiscard]] int flush();
  [[nodiscard]] int take_repeat();
  [[nodiscard]] int emit_bare(u8 code);
  [[nodiscard]] int data_descriptor(u8 code, u64 d = 0);
  [[nodiscard]] int bare_descriptor(u8 code);

  [[nodiscard]] int character(char c);
  [[nodiscard]] int letter(char c);
  [[nodiscard]] int open_group();
  [[nodiscard]] int close_group();
  [[nodiscard]] int unlimited();
  [[nodiscard]] int comma();
  [[nodiscard]] int point();
  [[nodiscard]] int slash();
  [[nodiscard]] int control(u8 code);
  [[nodiscard]] int sign(int value);
  [[nodiscard]] int quoted(char quote);
  [[nodiscard]] int hollerith();
  [[nodiscard]] int letter_b();
  [[nodiscard]] int letter_d();
  [[nodiscard]] int letter_e();
  [[nodiscard]] int letter_r();
  [[nodiscard]] int letter_s();
  [[nodiscard]] int scale_factor();
  [[nodiscard]] int skip_columns();
  [[nodiscard]] int tabulator();
  [[nodiscard]] int derived_type();
  [[nodiscard]] int value_list(const char** text, i64* length);

  For_Fmt_Build build_;
  const char* at_;     // next character
  const char* end_;    // behind the last one
  const char* token_;  // character being acted on
  const i64 length_;
  const bool report_;
  bool done_ = false;
  u64 number_ = 0;
  bool number_given_ = false;
  int sign_ = 0;  // +1 or -1 once a sign stands before the number
  int level_ = 0;
  bool unlimited_seen_ = false;
  bool group_empty_[kFmtLevels + 1] = {};  // by level, 1 to 8
  bool group_unlimited_[kFmtLevels + 1] = {};
};

int Scanner::error_at(const char* place) {
  if (report_) {
    i64 shown = end_ - place;
    if (shown > length_) shown = length_;
    if (shown > kMostShown) shown = kMostShown;
    for__issue_diagnostic(MSG_FORMAT_SYNTAX_AT, 2, static_cast<int>(shown), shown > 0 ? place : "");
  }
  return MSG_FORMAT_SYNTAX;
}

int Scanner::run() {
  if (peek() != '(') return error_at(at_);
  while (at_ < end_) {
    token_ = at_;
    const char c = *at_++;
    const auto byte = static_cast<unsigned char>(c);
    if (byte < kFirstAllowed || byte > kLastAllowed) return error();
    if (is_blank(c)) continue;
    if (const int failure = character(upper(c))) return failure;
    if (done_) return 0;
  }
  return error_at(end_);
}

int Scanner::character(char c) {
  switch (c) {
    case '(':
      return open_group();
    case ')':
      return close_group();
    case '*':
      return unlimited();
    case ',':
      return comma();
    case '.':
      return point();
    case '/':
      return slash();
    case ':':
      return control(FMT_COLON);
    case '$':
    case '\\':
      return control(FMT_DOLLAR);
    case '\'':
    case '"':
      return quoted(c);
    case '+':
      return sign(1);
    case '-':
      return sign(-1);
    default:
      if (!is_digit(c)) return letter(c);
      number_ = number_ * 10 + static_cast<u64>(c - '0');
      number_given_ = true;
      return 0;
  }
}

int Scanner::letter(char c) {
  switch (c) {
    case 'A':
      return data_descriptor(FMT_A);
    case 'B':
      return letter_b();
    case 'D':
      return letter_d();
    case 'E':
      return letter_e();
    case 'F':
      return data_descriptor(FMT_F);
    case 'G':
      return data_descriptor(FMT_G);
    case 'H':
      return hollerith();
    case 'I':
      return data_descriptor(FMT_I, 1);
    case 'L':
      return data_descriptor(FMT_L);
    case 'O':
      return data_descriptor(FMT_O, 1);
    case 'P':
      return scale_factor();
    case 'Q':
      return bare_descriptor(FMT_Q);
    case 'R':
      return letter_r();
    case 'S':
      return letter_s();
    case 'T':
      return tabulator();
    case 'X':
      return skip_columns();
    case 'Z':
      return data_descriptor(FMT_Z, 1);
    default:
      return error();
  }
}

/// The number read last becomes the next operand of the pending descriptor.
int Scanner::take_operand() {
  switch (build_.operands) {
    case 1:
      build_.width = number_;
      break;
    case 2:
      build_.d = number_;
      break;
    case 3:
      build_.e = number_;
      break;
    default:
      return MSG_FORMAT_SYNTAX;
  }
  ++build_.operands;
  clear_number();
  return 0;
}

/// Emits the pending descriptor, if there is one, with the number behind it.
int Scanner::flush() {
  if (number_given_) {
    if (const int failure = take_operand()) return failure;
  }
  return build_.code == 0 ? 0 : emit_comp_fmt(build_);
}

/// The number before a descriptor is its repeat, 1 when there is none.
int Scanner::take_repeat() {
  if (build_.code != 0) return MSG_FORMAT_SYNTAX;
  if (sign_ != 0 || (number_given_ && number_ == 0)) return error();
  build_.repeat = number_given_ ? number_ : 1;
  build_.operands = 1;
  clear_number();
  return 0;
}

int Scanner::emit_bare(u8 code) {
  build_.code = code;
  return emit_comp_fmt(build_);
}

int Scanner::data_descriptor(u8 code, u64 d) {
  if (const int failure = take_repeat()) return failure;
  build_.code = code;
  build_.d = d;
  group_empty_[level_] = false;
  return 0;
}

/// A descriptor without operands.
int Scanner::bare_descriptor(u8 code) { return nothing_before() ? emit_bare(code) : error(); }

int Scanner::open_group() {
  if (build_.code != 0 || sign_ < 0) return error();
  if (level_ == 0) {
    if (const int failure = emit_bare(FMT_START)) return failure;
  } else {
    if (level_ == kFmtLevels) return error();
    build_.repeat = number_ != 0 ? number_ : 1;
    build_.operands = 1;
    if (const int failure = emit_bare(FMT_GROUP)) return failure;
  }
  ++level_;
  group_empty_[level_] = true;
  group_unlimited_[level_] = false;
  clear_number();
  return 0;
}

int Scanner::close_group() {
  if (sign_ != 0) return error();
  if (const int failure = flush()) return failure == MSG_FORMAT_SYNTAX ? error() : failure;
  if (!group_empty_[level_]) {
    group_empty_[level_ - 1] = false;
  } else if (group_unlimited_[level_]) {
    return MSG_EMPTY_UNLIMITED_GROUP;
  }
  done_ = level_ == 1;
  --level_;
  return emit_bare(done_ ? FMT_END : FMT_GROUP_END);
}

int Scanner::unlimited() {
  if (unlimited_seen_) return error();
  if (peek() != '(') return error_at(at_);
  group_unlimited_[level_] = true;
  unlimited_seen_ = true;
  number_ = kFmtUnlimited;
  number_given_ = true;
  return 0;
}

int Scanner::comma() {
  if (sign_ != 0) return error();
  if (build_.code != 0) return flush();
  if (number_given_ || (level_ == 1 && unlimited_seen_)) return error();
  return 0;
}

int Scanner::point() {
  if (build_.code == 0 || !number_given_ || sign_ != 0 || build_.operands >= 2) return error();
  if (const int failure = take_operand()) return failure;
  return is_digit(peek()) ? 0 : error_at(at_);
}

int Scanner::slash() {
  if (sign_ != 0) return error();
  u64 repeat = 1;
  if (build_.code == 0 && number_given_) {
    repeat = number_;
    clear_number();
  }
  if (const int failure = flush()) return failure;
  build_.repeat = repeat;
  group_empty_[level_] = false;
  return emit_bare(FMT_SLASH);
}

int Scanner::control(u8 code) {
  if (sign_ != 0) return error();
  if (const int failure = flush()) return failure;
  return emit_bare(code);
}

int Scanner::sign(int value) {
  if (sign_ != 0 || number_given_) return error();
  sign_ = value;
  return 0;
}

int Scanner::quoted(char quote) {
  if (sign_ != 0 || (number_given_ && build_.code == 0)) return error();
  if (number_given_) {
    if (const int failure = flush()) return failure;
  } else {
    build_.forget_operands();
  }
  const auto* close = static_cast<const char*>(memchr(at_, quote, end_ - at_));
  if (close == nullptr) return error();
  // Of a doubled quote the first belongs to this literal and the second opens the next one.
  const bool doubled = close + 1 < end_ && close[1] == quote;
  if (const int failure = emit_literal(build_, at_, close - at_ + doubled)) return failure;
  at_ = close + 1;
  group_empty_[level_] = false;
  return 0;
}

int Scanner::hollerith() {
  if (sign_ != 0 || build_.code != 0) return error();
  const u64 length = number_given_ ? number_ : 1;
  if (length > static_cast<u64>(end_ - at_)) return error();
  if (const int failure = emit_literal(build_, at_, static_cast<i64>(length))) return failure;
  at_ += length;
  group_empty_[level_] = false;
  clear_number();
  return 0;
}

int Scanner::letter_b() {
  if (accept('N')) return bare_descriptor(FMT_BN);
  if (accept('Z')) return bare_descriptor(FMT_BZ);
  return data_descriptor(FMT_B, 1);
}

int Scanner::letter_d() {
  if (accept('T')) return derived_type();
  const bool comma_mode = accept('C');
  if (!comma_mode && !accept('P')) return data_descriptor(FMT_D);
  if (!nothing_before()) return error();
  build_.code = comma_mode ? FMT_DC : FMT_DP;
  return 0;
}

int Scanner::letter_e() {
  if (build_.operands == 2 && number_given_ && sign_ == 0) {
    u8 with_exponent = 0;
    switch (build_.code) {
      case FMT_E:
        with_exponent = FMT_E_WDE;
        break;
      case FMT_G:
        with_exponent = FMT_G_WDE;
        break;
      case FMT_EN:
        with_exponent = FMT_EN_WDE;
        break;
      case FMT_ES:
        with_exponent = FMT_ES_WDE;
        break;
      case FMT_EX:
        with_exponent = FMT_EX;
        break;
      default:
        break;
    }
    if (with_exponent != 0) {
      build_.code = with_exponent;
      return take_operand();
    }
  }
  if (accept('N')) return data_descriptor(FMT_EN);
  if (accept('S')) return data_descriptor(FMT_ES);
  if (accept('X')) return data_descriptor(FMT_EX);
  return data_descriptor(FMT_E);
}

int Scanner::letter_r() {
  struct Mode {
    char letter;
    u8 code;
  };
  constexpr Mode kModes[] = {{'C', FMT_RC}, {'D', FMT_RD}, {'N', FMT_RN}, {'P', FMT_RP}, {'U', FMT_RU}, {'Z', FMT_RZ}};
  for (const Mode& mode : kModes) {
    if (accept(mode.letter)) return bare_descriptor(mode.code);
  }
  return error();
}

int Scanner::letter_s() {
  if (accept('P')) return bare_descriptor(FMT_SP);
  if (accept('S')) return bare_descriptor(FMT_SS);
  return bare_descriptor(FMT_S);
}

int Scanner::scale_factor() {
  if (build_.code != 0 || (sign_ != 0 && !number_given_)) return error();
  build_.width = sign_ < 0 ? 0 - number_ : number_;
  build_.operands = 2;
  clear_number();
  return emit_bare(FMT_P);
}

int Scanner::skip_columns() {
  if (const int failure = take_repeat()) return failure;
  return emit_bare(FMT_X);
}

int Scanner::tabulator() {
  const bool left = accept('L');
  const bool right = !left && accept('R');
  if (!nothing_before()) return error();
  build_.code = left ? FMT_TL : right ? FMT_TR : FMT_T;
  build_.repeat = 1;
  build_.operands = 1;
  if (build_.code == FMT_T) group_empty_[level_] = false;
  return 0;
}

int Scanner::derived_type() {
  if (const int failure = take_repeat()) return failure;
  const char *iotype = nullptr, *vlist = nullptr;
  i64 iotype_length = 0, vlist_length = 0;
  const char quote = peek();
  if (quote == '\'' || quote == '"') {
    const char* open = at_++;
    const auto* close = static_cast<const char*>(memchr(at_, quote, end_ - at_));
    if (close == nullptr || memchr(at_, '\0', close - at_) != nullptr) return error_at(open);
    iotype = at_;
    iotype_length = close - at_;
    at_ = close + 1;
  }
  if (accept('(')) {
    if (const int failure = value_list(&vlist, &vlist_length)) return failure;
  }
  const char next = peek();
  if (next != ',' && next != ')') return error_at(at_);
  return emit_udio(build_, iotype, iotype_length, vlist, vlist_length);
}

/// The integers behind the "(" of a DT element, kept as text.
int Scanner::value_list(const char** text, i64* length) {
  *text = at_;
  if (peek() != ')') {
    do {
      if (!accept('+')) (void)accept('-');
      if (!is_digit(peek())) return error_at(at_);
      while (is_digit(peek())) ++at_;
    } while (accept(','));
  }
  if (peek() != ')') return error_at(at_);
  *length = at_ - *text;
  ++at_;
  return 0;
}

}  // namespace

int compile_format_text(const For_Fmt_Text& text, int report, u8** result, i64* size) {
  Scanner scanner(text.address, text.length > 0 ? text.length : 0, report != 0);
  if (const int failure = scanner.run()) return failure;
  *size = scanner.build().used;
  *result = scanner.build().release();
  return 0;
}

int for__format_compiler(const For_Fmt_Text* text, u8** result, int report) {
  i64 size;
  return compile_format_text(*text, report, result, &size);
}

void for__format_free(For_Fmt_Isb* isb) {
  if (!(isb->isb_flags & ISB_RUNTIME_FORMAT)) return;
  isb->isb_flags &= ~u32{ISB_RUNTIME_FORMAT};
  // Until the start element has been interpreted only isb_fmt_pc knows the block.
  for__free_vm(const_cast<u8*>(isb->isb_fmt_base != nullptr ? isb->isb_fmt_base : isb->isb_fmt_pc));
  isb->isb_fmt_base = nullptr;
  isb->isb_fmt_pc = nullptr;
}
