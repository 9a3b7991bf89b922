// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Looking up messages, in the built-in table or a catalogue.
#ifndef TAMRUN_CORE_MESSAGES_H
#define TAMRUN_CORE_MESSAGES_H

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
void for__message_catalog_close(void);
}

#endif
