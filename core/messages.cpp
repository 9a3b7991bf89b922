// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The message table and its optional translation through a message catalogue.

#include "core/messages.h"

#include <nl_types.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "core/environment.h"
#include "tamrun/hooks.h"

constexpr For_Message_Row for_msgtab_velox[kMessageRows] = {
#define MSG(number, severity, name, text) {number, severity, text},
#include "tamrun/messages.def"
#undef MSG
};

namespace {

constexpr bool ascending_and_unique() {
  for (int row = 1; row < kMessageRows; ++row)
    if (for_msgtab_velox[row - 1].number >= for_msgtab_velox[row].number) return false;
  return true;
}
static_assert(ascending_and_unique() && for_msgtab_velox[kMessageRows - 1].number == MSG_IN_COARRAY_IMAGE_TEAM);

constexpr char kCatalogName[] = "tamrun_msg.cat";
constexpr int kMessageSet = 1;
constexpr int kPrefixRows = 5;

constexpr const char* kBuiltinPrefix[] = {
    "tamrtl: ",
    "tamrtl: info (%i): ",
    "tamrtl: warning (%i): ",
    "tamrtl: error (%i): ",
    "tamrtl: severe (%i): ",
    "In coarray image %d\n",
    "In coarray image %d (original image %d, team %d)\n",
};
/// Where the catalogue translates each row of severity_table.
constexpr int kPrefixMessage[] = {MSG_PREFIX_SUCCESS, MSG_PREFIX_INFO,      MSG_PREFIX_WARNING,       MSG_PREFIX_ERROR,
                                  MSG_PREFIX_SEVERE,  MSG_IN_COARRAY_IMAGE, MSG_IN_COARRAY_IMAGE_TEAM};
static_assert(std::size(kBuiltinPrefix) == std::size(kPrefixMessage));

i32 first_msg;
i32 use_internal_msg;  ///< 1 while texts come from message_catalog
nl_catd message_catalog;

const nl_catd kNoCatalog = reinterpret_cast<nl_catd>(-1);

/// Tries the locale name of LANG without its codeset.
nl_catd open_without_codeset() {
  const char* lang = env_value("LANG");
  const char* dot = lang == nullptr ? nullptr : strchr(lang, '.');
  if (dot == nullptr) return kNoCatalog;

  char full[kMaxEnvValue + 1], cut[kMaxEnvValue + 1];
  strcpy(full, lang);
  memcpy(cut, lang, dot - lang);
  cut[dot - lang] = '\0';
  setenv("LANG", cut, 1);
  const nl_catd catalog = catopen(kCatalogName, 0);
  setenv("LANG", full, 1);
  return catalog;
}

void translate_fixed_texts() {
  int severity;
  const char* text;
  for (size_t row = 0; row < std::size(kPrefixMessage); ++row) {
    if (get_message(kPrefixMessage[row], &severity, &text) != 0) continue;
    void* copy;
    const size_t bytes = strlen(text) + 1;
    if (for__get_vm(static_cast<i64>(bytes), 0, &copy) != 0) continue;
    memcpy(copy, text, bytes);
    severity_table[row] = static_cast<const char*>(copy);
  }
  if (get_message(MSG_PROGRAM_NAME, &severity, &text) == 0) {
    const size_t length = strnlen(text, sizeof tamrtl_header - 1);
    memcpy(tamrtl_header, text, length);
    tamrtl_header[length] = '\0';
  }
}

void open_catalog() {
  nl_catd catalog = catopen(kCatalogName, 0);
  if (catalog == kNoCatalog) catalog = open_without_codeset();
  if (catalog == kNoCatalog) return;
  message_catalog = catalog;
  __atomic_store_n(&use_internal_msg, 1, __ATOMIC_RELEASE);
  translate_fixed_texts();
}

}  // namespace

extern "C" {

const char* severity_table[7] = {kBuiltinPrefix[0], kBuiltinPrefix[1], kBuiltinPrefix[2], kBuiltinPrefix[3],
                                 kBuiltinPrefix[4], kBuiltinPrefix[5], kBuiltinPrefix[6]};
char tamrtl_header[16] = "tamrtl";

int get_message(int number, int* severity, const char** text) {
  // The mark goes up before the work, so that a second thread, and the translation itself, go on with what there is.
  if (__atomic_load_n(&first_msg, __ATOMIC_RELAXED) == 0 && __atomic_exchange_n(&first_msg, 1, __ATOMIC_ACQ_REL) == 0)
    open_catalog();

  const auto* row = std::lower_bound(
      std::begin(for_msgtab_velox), std::end(for_msgtab_velox), number,
      [](const For_Message_Row& r, int wanted) { return static_cast<i64>(r.number) < static_cast<i64>(wanted); });
  if (row == std::end(for_msgtab_velox) || static_cast<i64>(row->number) != number) return 1;
  *severity = static_cast<int>(row->severity);
  *text = row->text;
  if (__atomic_load_n(&use_internal_msg, __ATOMIC_ACQUIRE) == 1)
    *text = catgets(message_catalog, kMessageSet, number, row->text);
  return 0;
}

void for__message_catalog_close(void) {
  if (use_internal_msg != 1) return;
  use_internal_msg = 0;
  for (int row = 0; row < kPrefixRows; ++row) {
    // Diagnostics may still come: the row is valid again before its text goes.
    const char* translated = severity_table[row];
    severity_table[row] = kBuiltinPrefix[row];
    if (translated != kBuiltinPrefix[row]) for__free_vm(const_cast<char*>(translated));
  }
  catclose(message_catalog);
}

}  // extern "C"

void format_message(char* out, size_t capacity, int number, int nargs, va_list args) {
  int severity;
  const char* text;
  *out = '\0';
  if (get_message(number, &severity, &text) != 0 || strcmp(text, "place holder") == 0) return;
  if (nargs > 0) {
    vsnprintf(out, capacity, text, args);
  } else {
    const size_t length = strnlen(text, capacity - 1);
    memcpy(out, text, length);
    out[length] = '\0';
  }
}
