// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The answers of INQUIRE, a row per specifier.

#include "units/inquire.h"

#include <limits.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>

#include "core/failure.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"
#include "units/program_variable.h"

namespace {

using Subject = Inquire_Subject;

constexpr const char* kUnknown = "UNKNOWN";
constexpr const char* kUndefined = "UNDEFINED";

/// The word for what cannot be told.
const char* untold(const Subject& s) { return (s.flags & iof_f90_rtl) != 0 ? kUndefined : kUnknown; }

const char* yes_or_no(bool yes) { return yes ? "YES" : "NO"; }

/// YES or NO of a connected unit.
const char* connected_yes(const Subject& s, bool yes) { return s.connected() ? yes_or_no(yes) : kUnknown; }

bool flag(const Subject& s, bool value) { return s.lub != nullptr && value; }

/// One word of a table by the value of a field; `otherwise` beyond it.
template <size_t n>
const char* word_of(const char* const (&words)[n], u64 value, const char* otherwise) {
  return value < n && words[value] != nullptr ? words[value] : otherwise;
}

/// A mode of editing, of formatted connections only.
template <size_t n>
const char* mode_word(const Subject& s, const char* const (&words)[n], u8 For_Lub::*field) {
  return s.connected() && s.formatted() ? word_of(words, s.lub->*field, kUndefined) : kUndefined;
}

bool is_unformatted(const For_Lub& lub) { return lub.lub_f_unformatted || lub.lub_f_ms_unformatted; }

const char* access(const Subject& s) {
  if (!s.connected()) return untold(s);
  if (s.lub->lub_f_stream) return "STREAM";
  if (s.lub->lub_f_sequential) return "SEQUENTIAL";
  if (s.lub->lub_f_direct) return "DIRECT";
  return s.lub->lub_f_keyed ? "KEYED" : untold(s);
}

const char* mode_or(const Subject& s, const char* otherwise) {
  if (!s.connected()) return otherwise;
  return s.lub->lub_f_readonly ? "READ" : s.lub->lub_f_writeonly ? "WRITE" : "READWRITE";
}
const char* action(const Subject& s) { return mode_or(s, kUndefined); }
const char* mode(const Subject& s) { return mode_or(s, kUnknown); }

const char* asynchronous(const Subject& s) {
  return s.connected() ? yes_or_no(s.lub->lub_a_aio != nullptr) : kUndefined;
}

const char* binary(const Subject& s) { return connected_yes(s, s.connected() && s.lub->lub_f_binary); }

const char* blank(const Subject& s) {
  if (!s.formatted()) return untold(s);
  return s.lub->lub_f_blank_null ? "NULL" : "ZERO";
}

const char* buffered(const Subject& s) {
  return connected_yes(s, s.connected() && (s.lub->lub_f_buffered || s.lub->lub_f_user_buffered));
}

const char* carriagecontrol(const Subject& s) {
  constexpr const char* kWords[] = {nullptr, "FORTRAN", "LIST", "NONE"};
  return word_of(kWords, s.lub != nullptr ? s.lub->lub_cc : u8{CC_UNSET}, s.compat() ? kUndefined : kUnknown);
}

const char* convert(const Subject& s) {
  constexpr const char* kFormats[] = {nullptr, "VAXG", "VAXD", "IBM", "CRAY", "FDX", "FGX"};
  if (!s.connected()) return kUnknown;
  if (!s.lub->lub_f_convert) return "NATIVE";
  return word_of(kFormats, s.lub->lub_convert, s.lub->lub_f_big_endian_words ? "BIG_ENDIAN" : "LITTLE_ENDIAN");
}

const char* decimal(const Subject& s) {
  constexpr const char* kWords[] = {"POINT", "POINT", "COMMA"};
  return mode_word(s, kWords, &For_Lub::lub_decimal);
}

/// Null for a character that delimits nothing.
const char* delim(const Subject& s) {
  if (!s.connected() || !s.formatted()) return kUndefined;
  for (const u64 value : {DELIM_APOSTROPHE, DELIM_QUOTE, DELIM_NONE}) {
    if (s.lub->lub_delim != delimiter_character(value)) continue;
    return value == DELIM_APOSTROPHE ? "APOSTROPHE" : value == DELIM_QUOTE ? "QUOTE" : "NONE";
  }
  return nullptr;
}

const char* direct(const Subject& s) {
  if (flag(s, s.lub != nullptr && s.lub->lub_f_direct)) return "YES";
  return s.connected() ? "NO" : kUnknown;
}

const char* encoding(const Subject& s) {
  constexpr u8 kUtf8 = 2;
  if (s.connected() && !s.formatted()) return kUndefined;
  return s.lub != nullptr && s.lub->lub_encoding == kUtf8 ? "UTF-8" : kUnknown;
}

const char* form(const Subject& s) {
  if (!s.connected()) return untold(s);
  if (s.lub->lub_f_formatted) return "FORMATTED";
  if (s.lub->lub_f_binary) return "BINARY";
  return is_unformatted(*s.lub) ? "UNFORMATTED" : untold(s);
}

const char* formatted(const Subject& s) {
  if (s.formatted()) return "YES";
  return s.lub != nullptr && (is_unformatted(*s.lub) || s.lub->lub_f_binary) ? "NO" : kUnknown;
}

const char* keyed(const Subject& s) {
  if (s.lub == nullptr) return kUnknown;
  if (s.lub->lub_f_keyed) return "YES";
  return s.lub->lub_f_connected || s.lub->lub_f_define_file ? "NO" : kUnknown;
}

/// A negative number that is no file's: a console unit, or one that nobody has opened.
bool is_nameless_unit(const For_Lub& lub) {
  constexpr int kFirstNumberedNewunit = -129;
  return lub.lub_unit < 0 && lub.lub_unit > kFirstNumberedNewunit && lub.lub_default_state != DEFAULT_FROM_ENV;
}

const char* name(const Subject& s) {
  if (s.lub == nullptr) return s.compat() ? kUnknown : s.path != nullptr ? s.path : "";
  const For_Lub& lub = *s.lub;
  if (lub.lub_f_define_file) return "";
  if (is_nameless_unit(lub)) return lub.lub_f_compat_io && !lub.lub_f_connected ? kUnknown : "";
  const bool named = lub.lub_f_connected && lub.lub_a_file_name != nullptr;
  return named ? lub.lub_a_file_name : "";
}

const char* organization(const Subject& s) {
  constexpr const char* kWords[] = {nullptr, "SEQUENTIAL", "RELATIVE", "INDEXED"};
  return word_of(kWords, s.lub != nullptr ? s.lub->lub_org : 0u, kUnknown);
}

const char* pad(const Subject& s) { return yes_or_no(!s.connected() || s.lub->lub_f_pad); }

const char* position(const Subject& s) {
  if (!s.connected()) return kUndefined;
  const For_Lub& lub = *s.lub;
  if (!lub.lub_f_sequential) return lub.lub_f_direct && lub.lub_f_after_rewind ? "REWIND" : kUndefined;
  if (lub.lub_f_at_end) return "ASIS";
  if (lub.lub_next_rec == FOR_K_REC_UNKNOWN) return "APPEND";
  return lub.lub_next_rec >= 0 && lub.lub_next_rec < 2 ? "REWIND" : kUndefined;
}

const char* read(const Subject& s) { return connected_yes(s, s.connected() && !s.lub->lub_f_writeonly); }
const char* write(const Subject& s) { return connected_yes(s, s.connected() && !s.lub->lub_f_readonly); }
const char* readwrite(const Subject& s) {
  return connected_yes(s, s.connected() && !s.lub->lub_f_readonly && !s.lub->lub_f_writeonly);
}

const char* recordtype(const Subject& s) {
  constexpr const char* kWords[kRecordTypes] = {nullptr,  "FIXED",     "VARIABLE",  "SEGMENTED",  "VARIABLE",
                                                "STREAM", "STREAM_LF", "STREAM_CR", "STREAM_CRLF"};
  return word_of(kWords, s.lub != nullptr ? s.lub->lub_rectype : u8{RECTYPE_NONE}, kUnknown);
}

const char* round(const Subject& s) {
  constexpr const char* kWords[] = {"NEAREST", "UP", "DOWN", "ZERO", "NEAREST", "COMPATIBLE", "PROCESSOR_DEFINED"};
  return mode_word(s, kWords, &For_Lub::lub_round);
}

const char* sequential(const Subject& s) {
  if (!s.connected()) return kUnknown;
  const For_Lub& lub = *s.lub;
  return yes_or_no(lub.lub_f_sequential || (lub.lub_f_direct && lub.lub_f_formatted && lub.lub_f_compat_io));
}

const char* share(const Subject& s) {
  if (!s.connected()) return kUnknown;
  const For_Lub& lub = *s.lub;
  if (lub.lub_f_share_denynone) return "DENYNONE";
  if (lub.lub_f_share_denyrd) return "DENYRD";
  if (lub.lub_f_share_denyrw) return "DENYRW";
  return lub.lub_f_share_denywr ? "DENYWR" : "NODENY";
}

const char* sign(const Subject& s) {
  constexpr const char* kWords[] = {"PROCESSOR_DEFINED", "PROCESSOR_DEFINED", "PLUS", "SUPPRESS"};
  return mode_word(s, kWords, &For_Lub::lub_sign);
}

const char* stream(const Subject& s) { return connected_yes(s, s.connected() && s.lub->lub_f_stream); }

const char* unformatted(const Subject& s) {
  if (s.lub == nullptr) return kUnknown;
  const For_Lub& lub = *s.lub;
  if (lub.lub_f_formatted || lub.lub_f_binary) return "NO";
  if (is_unformatted(lub)) return "YES";
  return lub.lub_f_connected && lub.lub_f_compat_io ? "NO" : kUnknown;
}

const char* full_path(const Subject& s) { return s.exists && s.path != nullptr ? s.path : ""; }

i64 blocksize(const Subject& s) { return s.connected() ? s.lub->lub_blocksize : 0; }
i64 nextrec(const Subject& s) { return s.lub != nullptr && s.lub->lub_f_direct ? s.lub->lub_next_rec : 0; }
i64 pos(const Subject& s) { return s.lub != nullptr && s.lub->lub_f_stream ? s.lub->lub_file_pos + 1 : 0; }
i64 zero(const Subject&) { return 0; }

i64 number(const Subject& s) {
  const bool modern = (s.flags & iof_f90_rtl) != 0;
  if (s.lub == nullptr) return modern ? -1 : 0;
  return modern && !s.connected() ? -1 : s.lub->lub_unit;
}

i64 recl_of(const For_Lub& lub) {
  constexpr i64 kWord = 4;
  if (lub.lub_recl_limit == 0) return lub.lub_recl;
  return lub.lub_f_recl_in_words ? (lub.lub_recl_limit + kWord - 1) / kWord : lub.lub_recl_limit;
}

i64 recl(const Subject& s) {
  if (s.lub == nullptr) return 0;
  return s.lub->lub_f_stream ? INT64_MAX : recl_of(*s.lub);
}

i64 recl_later(const Subject& s) {
  constexpr i64 kNotConnected = -1, kStream = -2;
  if (!s.connected()) return kNotConnected;
  return s.lub->lub_f_stream ? kStream : recl_of(*s.lub);
}

/// Bytes of the file, those that are held for it included: -1 when there is no telling.
i64 size(const Subject& s) {
  constexpr i64 kUntold = -1;
  struct stat st;
  if (!s.connected()) return s.path != nullptr && ::stat(s.path, &st) == 0 ? st.st_size : kUntold;
  For_Lub& lub = *s.lub;
  // In the middle of a statement of this thread the buffer cannot be emptied.
  i64 held = 0;
  if (lub.lub_f_nested_inquire) {
    if (lub.lub_f_buffer_held && lub.lub_a_rec_start != nullptr) held = lub.lub_a_rec_start - lub.lub_a_buffer;
  } else if (for__write_output(&lub, nullptr, 0) < 0) {
    return kUntold;
  }
  if (fstat(lub.lub_fd, &st) != 0) return kUntold;
  return held > 0 ? std::max<i64>(st.st_size, lub.lub_disk_pos + held) : st.st_size;
}

bool exist(const Subject& s) { return s.exists; }
bool opened(const Subject& s) { return s.connected(); }

bool named(const Subject& s) {
  if (s.lub == nullptr) return s.path != nullptr;
  if (is_nameless_unit(*s.lub)) return false;
  return s.lub->lub_f_connected && s.lub->lub_a_file_name != nullptr && !s.lub->lub_f_scratch;
}

/// What a specifier's variable takes, and how it is found. Exactly one of them for a key with an answer, but for
/// PENDING=, which may fail.
struct Answer_Rule {
  const char* (*text)(const Subject&) = nullptr;
  i64 (*number)(const Subject&) = nullptr;
  bool (*truth)(const Subject&) = nullptr;
};

constexpr auto kAnswers = [] {
  struct {
    Answer_Rule by_key[KEY_LAST + 1];
  } t = {};
  const auto text = [&t](int key, const char* (*rule)(const Subject&)) { t.by_key[key].text = rule; };
  const auto value = [&t](int key, i64 (*rule)(const Subject&)) { t.by_key[key].number = rule; };
  const auto truth = [&t](int key, bool (*rule)(const Subject&)) { t.by_key[key].truth = rule; };
  text(KEY_ACCESS, access);
  text(KEY_ACTION, action);
  text(KEY_ASYNCHRONOUS, asynchronous);
  text(KEY_BINARY, binary);
  text(KEY_BLANK, blank);
  text(KEY_BUFFERED, buffered);
  text(KEY_CARRIAGECONTROL, carriagecontrol);
  text(KEY_CONVERT, convert);
  text(KEY_DECIMAL, decimal);
  text(KEY_DELIM, delim);
  text(KEY_DIRECT, direct);
  text(KEY_ENCODING, encoding);
  text(KEY_FORM, form);
  text(KEY_FORMATTED, formatted);
  text(KEY_FULL_PATH, full_path);
  text(KEY_KEYED, keyed);
  text(KEY_MODE, mode);
  text(KEY_NAME, name);
  text(KEY_ORGANIZATION, organization);
  text(KEY_PAD, pad);
  text(KEY_POSITION, position);
  text(KEY_READ, read);
  text(KEY_READWRITE, readwrite);
  text(KEY_RECORDTYPE, recordtype);
  text(KEY_ROUND, round);
  text(KEY_SEQUENTIAL, sequential);
  text(KEY_SHARE, share);
  text(KEY_SIGN, sign);
  text(KEY_STREAM, stream);
  text(KEY_UNFORMATTED, unformatted);
  text(KEY_WRITE, write);
  value(KEY_BLOCKSIZE, blocksize);
  value(KEY_NEXTREC, nextrec);
  value(KEY_NUMBER, number);
  value(KEY_POS, pos);
  value(KEY_RECL, recl);
  value(KEY_RECL_LATER, recl_later);
  value(KEY_SIZE, size);
  value(KEY_UNREAD66, zero);
  truth(KEY_EXIST, exist);
  truth(KEY_NAMED, named);
  truth(KEY_OPENED, opened);
  return t;
}();

/// What is asked of a unit alone; the units of internal files answer none of it.
bool is_common(int key) {
  constexpr u8 kCommon[] = {KEY_CONVERT, KEY_EXIST,  KEY_NEXTREC, KEY_POS,       KEY_OPENED,
                            KEY_MODE,    KEY_BINARY, KEY_SHARE,   KEY_BLOCKSIZE, KEY_UNREAD66};
  return std::find(std::begin(kCommon), std::end(kCommon), key) != std::end(kCommon);
}

/// True when there is outstanding work: 0 or MSG_ID_RANGE.
int ask_pending(const Subject& s, const For_Inquire_Args& args, bool* pending) {
  *pending = false;
  if (!s.connected() || s.lub->lub_a_aio == nullptr) return 0;
  int answer = 0;
  const int code = for__aio_pending(s.lub, args.id_given ? &args.id : nullptr, &answer);
  *pending = answer != 0;
  return code;
}

i64 truth_value(const Subject& s, bool truth) {
  const bool one = s.lub != nullptr ? s.lub->lub_f_true_is_one : (s.flags & iof_true_is_one) != 0;
  if (!truth) return 0;
  return one ? 1 : -1;
}

int answer_one(const Subject& s, const For_Inquire_Args& args, const Inquire_Variable& variable) {
  const Answer_Rule& rule = kAnswers.by_key[variable.key];
  if (rule.text != nullptr) {
    const char* text = rule.text(s);
    if (text == nullptr) return MSG_INVALID_ARGUMENT;
    fill_blank_padded(static_cast<char*>(variable.address), variable.length, text, strlen(text));
    return 0;
  }
  i64 value = 0;
  if (rule.number != nullptr) {
    value = rule.number(s);
  } else {
    bool truth = false;
    if (rule.truth != nullptr) {
      truth = rule.truth(s);
    } else if (const int code = ask_pending(s, args, &truth)) {
      return code;
    }
    value = truth_value(s, truth);
  }
  return store_integer(variable.type, variable.address, value) ? 0 : MSG_INVALID_ARGUMENT;
}

}  // namespace

bool inquire_answer_is_text(int key) { return kAnswers.by_key[key].text != nullptr; }

bool inquire_has_answer(int key) {
  if (key < KEY_FIRST || key > KEY_LAST) return false;
  const Answer_Rule& rule = kAnswers.by_key[key];
  return rule.text != nullptr || rule.number != nullptr || rule.truth != nullptr || key == KEY_PENDING;
}

int answer_inquire(const Inquire_Subject& subject, const For_Inquire_Args& args) {
  const bool internal =
      subject.lub != nullptr && (subject.lub->lub_unit == UNIT_INTERNAL || subject.lub->lub_unit == UNIT_INTERNAL_TOP);
  int result = 0;
  for (int i = 0; i < args.count; ++i) {
    const Inquire_Variable& variable = args.variable[i];
    if (internal && is_common(variable.key)) continue;
    const int code = answer_one(subject, args, variable);
    if (result == 0) result = code;
  }
  return result;
}
