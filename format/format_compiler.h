// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Run-time format text into the compiled form.
#ifndef TAMRUN_FORMAT_FORMAT_COMPILER_H
#define TAMRUN_FORMAT_FORMAT_COMPILER_H

#include "tamrun/compiled_format.h"
#include "tamrun/fmt_isb.h"

/// An element code and what operands it takes.
struct For_Fmt_Check {
  u8 operands;  ///< counting the repeat
  u8 upgrade;   ///< code when more operands were given, 0 none
};

extern "C" {
extern const For_Fmt_Check fmt_check[kFmtCodes];

/// Compiles the text; *result receives a heap block that for__format_free or for__free_vm gives back. 0,
/// MSG_FORMAT_SYNTAX, MSG_EMPTY_UNLIMITED_GROUP or MSG_NO_MEMORY. `report` not 0 issues MSG_FORMAT_SYNTAX_AT.
[[nodiscard]] int for__format_compiler(const For_Fmt_Text* text, u8** result, int report);

/// Gives a run-time format back; nothing for a format of compiled code.
void for__format_free(For_Fmt_Isb* isb);
}

/// for__format_compiler, with the size of the compiled form.
[[nodiscard]] int compile_format_text(const For_Fmt_Text& text, int report, u8** result, i64* size);

#endif
