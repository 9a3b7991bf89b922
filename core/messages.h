// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Looking up messages, in the built-in table or a catalogue.
#ifndef TAMRUN_CORE_MESSAGES_H
#define TAMRUN_CORE_MESSAGES_H

#include <stdarg.h>

#include "tamrun/messages.h"

struct For_Message_Row {
  u32 number;
  u32 severity;
  const char* text;
};

extern "C" {
extern const char* severity_table[7];  ///< prefixes by severity, then the two coarray lines
extern char tamrtl_header[16];         ///< argument of perror

/// 0 when found, 1 when not. The severity comes from the table, the text from the catalogue when one is open.
int get_message(int number, int* severity, const char** text);
/// Closes the catalogue; severity_table falls back to the built-in prefixes.
void for__message_catalog_close(void);
}

/// Rows of severity_table behind the five prefixes.
inline constexpr int kImageRow = 5, kImageTeamRow = 6;

inline constexpr int kMessageRows = 571;
extern const For_Message_Row for_msgtab_velox[kMessageRows];  ///< ascending by number

/// Formats a message with `nargs` arguments, or copies its text when there are none. Cut to capacity - 1 bytes and
/// NUL-terminated; empty for an unknown number.
void format_message(char* out, size_t capacity, int number, int nargs, va_list args);

#endif
