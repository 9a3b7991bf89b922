// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connecting a descriptor that a C caller has opened.

#include "core/heap.h"
#include "units/connection_options.h"
#include "units/open.h"
#include "units/specifiers.h"
#include "units/unit_table.h"

#include <errno.h>
#include <string.h>

namespace {

struct Option_Value {
  const char* name;
  const char* value;
  For_Open_Word word;
  u64 stored;
};

constexpr Option_Value kOptions[] = {
    {"NEWLINE", "YES", OPENW_CARRIAGECONTROL, CC_LIST},   {"NEWLINE", "NO", OPENW_CARRIAGECONTROL, CC_NONE},
    {"BLANK", "ZERO", OPENW_BLANK, BLANK_ZERO},           {"BLANK", "NULL", OPENW_BLANK, BLANK_NULL},
    {"STATUS", "OLD", OPENW_STATUS, STATUS_OLD},          {"STATUS", "SCRATCH", OPENW_STATUS, STATUS_UNKNOWN},
    {"STATUS", "UNKNOWN", OPENW_STATUS, STATUS_UNKNOWN},  {"FORM", "FORMATTED", OPENW_FORM, FORM_FORMATTED},
    {"FORM", "UNFORMATTED", OPENW_FORM, FORM_UNFORMATTED}};

bool is_white(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Copies the options without white space, in capitals.
void copy_options(char* to, const char* from, size_t length) {
  for (size_t i = 0; i < length && from[i] != '\0'; ++i) {
    if (!is_white(from[i])) *to++ = from[i] >= 'a' && from[i] <= 'z' ? static_cast<char>(from[i] - 'a' + 'A') : from[i];
  }
  *to = '\0';
}

int store_option(const char* name, const char* value, u64* word) {
  for (const Option_Value& option : kOptions) {
    if (value == nullptr || strcmp(name, option.name) != 0 || strcmp(value, option.value) != 0) continue;
    word[option.word] = option.stored;
    return 0;
  }
  return EINVAL;
}

int read_options(const char* options, size_t length, u64* word) {
  Vm_Block<char> copy;
  if (copy.allocate(static_cast<i64>(length) + 1) != 0) return ENOMEM;
  copy_options(copy.get(), options, length);
  char* rest = nullptr;
  for (char* name = strtok_r(copy.get(), "=", &rest); name != nullptr; name = strtok_r(nullptr, "=", &rest)) {
    if (const int error = store_option(name, strtok_r(nullptr, ",", &rest), word)) return error;
  }
  if (word[OPENW_FORM] == FORM_UNFORMATTED) word[OPENW_CARRIAGECONTROL] = 0;
  return 0;
}

/// A C caller has no compile-time choices; only how logicals look is kept.
void store_default_options(For_Lub& lub) {
  store_connection_options(
      lub, lub.lub_f_true_is_one ? For_IO_Flags{iof_f90_rtl | iof_true_is_one} : For_IO_Flags{iof_f90_rtl});
  lub.lub_f_no_wrap_margin = 0;
  lub.lub_convert = 0;
  lub.lub_f_convert = lub.lub_f_big_endian_words = 0;
  clear_specifiers(lub);
}

}  // namespace

int for_fdopen(int fd, int unit, const char* options, size_t length) {
  if (fd < 0) return EBADF;
  For_Open_Args args = {};
  args.word[OPENW_FORM] = FORM_FORMATTED;
  args.word[OPENW_STATUS] = STATUS_UNKNOWN;
  args.word[OPENW_DESCRIPTOR] = supplied_descriptor(fd);
  if (options != nullptr && length > 0)
    if (const int error = read_options(options, length, args.word)) return error;

  For_Lub* lub = nullptr;
  if (for__acquire_lun(unit, &lub, nullptr, STMT_OPEN) != 0) return EBADF;
  if (lub->lub_f_connected || lub->lub_f_define_file || in_child_statement(*lub)) {
    (void)for__release_lun(unit);
    return EBADF;
  }
  store_default_options(*lub);
  if (for__open_proc(&args, lub) != 0) {
    lub->lub_fd = 0;  // it stays the caller's
    for__abandon_connection(lub);
    (void)for__release_lun(unit);
    return EBADF;
  }
  clear_specifiers(*lub);
  return for__release_lun(unit) == 0 ? 0 : EBADF;
}
