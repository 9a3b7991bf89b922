// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The connection that a unit gets without an OPEN statement.

#include "core/failure.h"
#include "units/file_name.h"
#include "units/open.h"

#include <stdlib.h>

namespace {

/// Arguments of an INQUIRE, which only settles the default state.
constexpr int kDecideOnly = -1;

/// A default unit that no variable redirects.
struct Console_Rule {
  int unit;
  u64 action, status;
};

constexpr Console_Rule kConsoleRules[] = {
    {UNIT_READ, MODE_READ, STATUS_OLD},       {UNIT_ACCEPT, MODE_READ, STATUS_OLD},
    {UNIT_TYPE, MODE_WRITE, STATUS_UNKNOWN},  {UNIT_PRINT, MODE_WRITE, STATUS_UNKNOWN},
    {UNIT_STDERR, 0, STATUS_UNKNOWN},         {UNIT_STDIN, MODE_READ, STATUS_OLD},
    {UNIT_STDOUT, MODE_WRITE, STATUS_UNKNOWN}};

const Console_Rule* console_rule(int unit) {
  for (const Console_Rule& rule : kConsoleRules) {
    if (rule.unit == unit) return &rule;
  }
  return nullptr;
}

bool is_redirected(const For_Lub& lub) {
  const char* variable = unnumbered_unit_variable(lub);
  return variable != nullptr && getenv(variable) != nullptr;
}

u64 delim_value(u8 character) {
  return character == '"' ? DELIM_QUOTE : character == '\'' ? DELIM_APOSTROPHE : DELIM_NONE;
}

/// What an earlier connection or DEFINE FILE has left to a formatted connection.
void keep_modes(const For_Lub& lub, u64* word) {
  word[OPENW_DELIM] = delim_value(lub.lub_delim);
  if (lub.lub_f_blank_null) word[OPENW_BLANK] = BLANK_NULL;
  word[OPENW_PAD] = lub.lub_f_pad || lub.lub_f_f90_rtl ? ANSWER_YES : ANSWER_NO;
  word[OPENW_ROUND] = lub.lub_round;
  word[OPENW_DECIMAL] = lub.lub_decimal;
  word[OPENW_SIGN] = lub.lub_sign;
  word[OPENW_ENCODING] = lub.lub_encoding;
}

int connect(For_Lub& lub, u64 access, u64 status, u64 form, u64 action) {
  For_Open_Args args = {};
  u64* const word = args.word;
  word[OPENW_ACCESS] = access;
  word[OPENW_STATUS] = status;
  word[OPENW_FORM] = form;
  word[OPENW_ACTION] = action;
  word[OPENW_DEFAULT_CONNECTION] = 1;
  if (lub.lub_f_define_file) {
    word[OPENW_RECL] = static_cast<u64>(lub.lub_recl);
    word[OPENW_MAXREC] = static_cast<u64>(lub.lub_maxrec);
    word[OPENW_ASSOC_VAR] = reinterpret_cast<u64>(lub.lub_a_assoc_var);
    word[OPENW_ASSOC_VAR_TYPE] = lub.lub_assoc_var_type;
  }
  if (form == FORM_FORMATTED) keep_modes(lub, word);
  return for__open_proc(&args, &lub);
}

}  // namespace

extern "C" int for__open_default(For_Lub* lub, int access, int status, int form) {
  const Console_Rule* console = nullptr;
  if (lub->lub_default_state == DEFAULT_UNCONNECTED) {
    console = console_rule(lub->lub_unit);
    if (console == nullptr) {
      TAMRUN_INTERNAL_ERROR("for_open");
      return MSG_INTERNAL_CONSISTENCY;
    }
    if (is_redirected(*lub)) {
      lub->lub_default_state = DEFAULT_FROM_ENV;
      console = nullptr;
    }
  }
  if (access == kDecideOnly) return 0;
  if (console != nullptr) return connect(*lub, ACCESS_SEQUENTIAL, console->status, FORM_FORMATTED, console->action);
  return connect(*lub, static_cast<u64>(access), static_cast<u64>(status), static_cast<u64>(form), 0);
}
