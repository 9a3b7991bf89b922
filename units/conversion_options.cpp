// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Byte order, foreign formats and line ends of a connection, as CONVERT= and the environment give them.

#include "units/conversion_options.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "core/environment.h"
#include "core/failure.h"
#include "core/heap.h"
#include "core/locks.h"

namespace {

using std::string_view;
using namespace std::string_view_literals;

constexpr int kMaxRanges = 64;

// What F_UFMTENDIAN says, ENDIAN_BIG or ENDIAN_LITTLE, and FOR_FMT_TERMINATOR, a record type: for the units of the
// list, and for all others. 0 is no setting. The bounds of a range belong to it.
u32 endian_var_scanned, rectype_var_scanned;
i32 endianmode, rectype_mode;
i32 endianexception, rectype_exception;
i32 exceptioncount, rectype_exceptioncount;
i32 exceptionbeg[kMaxRanges], rectype_exceptionbeg[kMaxRanges];
i32 exceptionend[kMaxRanges], rectype_exceptionend[kMaxRanges];

struct Word {
  string_view text;
  i32 value;
};

constexpr Word kEndianWords[] = {{"big", ENDIAN_BIG}, {"little", ENDIAN_LITTLE}};
constexpr Word kTerminatorWords[] = {
    {"CR", RECTYPE_STREAM_CR}, {"LF", RECTYPE_STREAM_LF}, {"CRLF", RECTYPE_STREAM_CRLF}};

/// An environment variable that gives units a value: [word;][[word:]range,range...], or a word alone.
struct Unit_Variable {
  const char* name;
  std::span<const Word> words;
  i32 listed;  ///< value of the listed units when no word says otherwise
  u32& scanned;
  i32 &mode, &exception, &count;
  i32 *beg, *end;
};

constexpr Unit_Variable kEndian = {"F_UFMTENDIAN",  kEndianWords,   ENDIAN_BIG,   endian_var_scanned, endianmode,
                                   endianexception, exceptioncount, exceptionbeg, exceptionend};
constexpr Unit_Variable kTerminator = {"FOR_FMT_TERMINATOR",   kTerminatorWords,     RECTYPE_STREAM_CR,
                                       rectype_var_scanned,    rectype_mode,         rectype_exception,
                                       rectype_exceptioncount, rectype_exceptionbeg, rectype_exceptionend};

/// Held while a variable is scanned.
u32 scan_semaphore;

const Word* find_word(std::span<const Word> words, string_view text) {
  const auto found = std::find_if(words.begin(), words.end(), [text](const Word& word) { return word.text == text; });
  return found == words.end() ? nullptr : &*found;
}

/// Takes a word and the mark behind it off the text, if the text holds the mark at all. False when something else
/// stands in front of the mark.
bool take_word(std::span<const Word> words, char mark, string_view& text, i32& value) {
  const size_t at = text.find(mark);
  if (at == string_view::npos) return true;
  const Word* word = find_word(words, text.substr(0, at));
  if (word == nullptr) return false;
  value = word->value;
  text.remove_prefix(at + 1);
  return true;
}

bool take_char(string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

/// A decimal number, modulo 2^32.
bool take_number(string_view& text, i32& number) {
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  u32 value = 0;
  for (const char digit : text.substr(0, digits)) value = value * 10 + static_cast<u32>(digit - '0');
  text.remove_prefix(digits);
  number = static_cast<i32>(value);
  return digits > 0;
}

bool parse_ranges(const Unit_Variable& var, string_view text) {
  do {
    if (var.count == kMaxRanges) return false;
    i32 beg, end;
    if (!take_number(text, beg)) return false;
    end = beg;
    if (take_char(text, '-') && (!take_number(text, end) || beg > end)) return false;
    var.beg[var.count] = beg;
    var.end[var.count] = end;
    ++var.count;
  } while (take_char(text, ','));
  return text.empty();
}

bool parse_value(const Unit_Variable& var, string_view text) {
  if (const Word* word = find_word(var.words, text)) {
    var.mode = word->value;
    return true;
  }
  if (!take_word(var.words, ';', text, var.mode)) return false;
  var.exception = var.listed;
  if (!take_word(var.words, ':', text, var.exception)) return false;
  if (!parse_ranges(var, text)) return false;
  if (var.exception == var.mode) var.exception = 0;
  return true;
}

/// Scans the variable unless that has been done. False when its value, which is then ignored, breaks the grammar.
bool scan(const Unit_Variable& var) {
  const Semaphore_Guard guard(scan_semaphore);
  if (guard.status() != 0 || __atomic_load_n(&var.scanned, __ATOMIC_RELAXED)) return true;
  var.mode = var.exception = var.count = 0;
  const char* value = env_value(var.name);
  const bool good = value == nullptr || parse_value(var, value);
  if (!good) var.mode = var.exception = var.count = 0;
  __atomic_store_n(&var.scanned, 1, __ATOMIC_RELEASE);
  return good;
}

/// A user's handler may do input and output, so that the warning waits until the scan is over.
void scan_and_warn(const Unit_Variable& var) {
  if (!scan(var)) for__issue_diagnostic(MSG_UFMTENDIAN_SYNTAX, 0);
}

i32 value_for(const Unit_Variable& var, int unit) {
  if (!__atomic_load_n(&var.scanned, __ATOMIC_ACQUIRE)) scan_and_warn(var);
  if (var.exception == 0) return var.mode;
  for (int i = 0; i < var.count; ++i) {
    if (unit >= var.beg[i] && unit <= var.end[i]) return var.exception;
  }
  return var.mode;
}

struct Conversion {
  string_view name;
  bool convert, big_endian;
  u8 format;  ///< For_Foreign_Format
};

/// In the order of the values of CONVERT=, from 1.
constexpr Conversion kConversions[] = {
    {"BIG_ENDIAN", true, true, FOREIGN_NONE}, {"LITTLE_ENDIAN", false, false, FOREIGN_NONE},
    {"VAXD", true, false, FOREIGN_VAXD},      {"VAXG", true, false, FOREIGN_VAXG},
    {"IBM", true, true, FOREIGN_IBM},         {"CRAY", true, true, FOREIGN_CRAY},
    {"FDX", true, false, FOREIGN_FDX},        {"FGX", true, false, FOREIGN_FGX},
    {"NATIVE", false, false, FOREIGN_NONE}};

/// What an unknown name leaves behind.
constexpr Conversion kUnknownConversion = {"", true, false, FOREIGN_NONE};

/// Longest text that is looked at.
constexpr size_t kConversionText = 20;

void apply(For_Lub& lub, const Conversion& conversion) {
  lub.lub_f_convert = conversion.convert;
  lub.lub_f_big_endian_words = conversion.big_endian;
  lub.lub_convert = conversion.format;
}

int apply_keyword(For_Lub& lub, u64 value) {
  if (value > std::size(kConversions)) {
    TAMRUN_INTERNAL_ERROR("for_open");
    return MSG_INTERNAL_CONSISTENCY;
  }
  if (value != 0) apply(lub, kConversions[value - 1]);
  return 0;
}

/// Applies the variable when it is set: 0 or MSG_INCONSISTENT_OPEN_CLOSE. *used tells whether it was.
int apply_variable(For_Lub& lub, const char* variable, bool* used) {
  const char* value = env_value(variable);
  *used = value != nullptr;
  return *used ? for__set_conversion_option(&lub, value) : 0;
}

constexpr string_view kConvertPrefix = "FORT_CONVERT";

/// The file's extension with its dot, up to a directory's end, or an empty text. A dot at the end of the name is none.
string_view extension_of(string_view name) {
  if (name.ends_with('.')) name.remove_suffix(1);
  const size_t dot = name.rfind('.');
  if (dot == string_view::npos) return {};
  name.remove_prefix(dot);
  return name.substr(0, name.find('/'));
}

/// FORT_CONVERT.ext, or FORT_CONVERT_ext for shells that know no dots in names.
int apply_extension(For_Lub& lub) {
  const string_view name(lub.lub_a_file_name, lub.lub_name_len > 0 ? lub.lub_name_len : 0);
  Vm_Block<char> block;
  if (const int status = block.allocate(static_cast<i64>(name.size() + kConvertPrefix.size() + 1))) return status;
  const string_view extension = extension_of(name);
  if (extension.empty()) return 0;

  char* const variable = block.get();
  char* const dot = std::copy(kConvertPrefix.begin(), kConvertPrefix.end(), variable);
  *std::copy(extension.begin(), extension.end(), dot) = '\0';
  bool used;
  const int status = apply_variable(lub, variable, &used);
  if (used) return status;
  *dot = '_';
  return apply_variable(lub, variable, &used);
}

int apply_unit(For_Lub& lub) {
  char variable[64];
  snprintf(variable, sizeof variable, "FORT_CONVERT%d", lub.lub_unit);
  bool used;
  return apply_variable(lub, variable, &used);
}

}  // namespace

extern "C" {

void SetEndian(void) { scan_and_warn(kEndian); }

int CheckEndian(int unit) { return value_for(kEndian, unit); }

int CheckStreamRecortType(int unit) { return value_for(kTerminator, unit); }

int for__set_conversion_option(For_Lub* lub, const char* text) {
  char capitals[kConversionText];
  const size_t length = strnlen(text, sizeof capitals);
  std::transform(text, text + length, capitals, [](char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; });
  const string_view name(capitals, length);
  for (const Conversion& conversion : kConversions) {
    if (conversion.name != name) continue;
    apply(*lub, conversion);
    return 0;
  }
  apply(*lub, kUnknownConversion);
  return MSG_INCONSISTENT_OPEN_CLOSE;
}

int for__set_foreign_bits(For_Lub* lub, For_Open_Args* args) {
  if (const int status = apply_keyword(*lub, args->word[OPENW_CONVERT])) return status;
  if (const int endian = value_for(kEndian, lub->lub_unit)) {
    const char* name = endian == ENDIAN_BIG ? "BIG_ENDIAN" : "LITTLE_ENDIAN";
    if (const int status = for__set_conversion_option(lub, name)) return status;
  }
  if (const int status = apply_extension(*lub)) return status;
  return apply_unit(*lub);
}

int for__set_terminator_option(For_Lub* lub) {
  if (const int type = CheckStreamRecortType(lub->lub_unit)) {
    lub->lub_rectype = static_cast<u8>(type);
    lub->lub_cc = CC_NONE;
  }
  return 0;
}

}  // extern "C"
