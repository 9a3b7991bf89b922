// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connecting units.
#ifndef TAMRUN_UNITS_OPEN_H
#define TAMRUN_UNITS_OPEN_H

#include "tamrun/lub.h"
#include "tamrun/open_args.h"

extern "C" {
/// Matches a keyword's text, without regard to case and trailing blanks, with the table of `key`: 0, or
/// MSG_OPEN_KEYWORD_VALUE, MSG_CLOSE_KEYWORD_VALUE or MSG_IO_KEYWORD_VALUE by `context` (For_Key_Context).
[[nodiscard]] int for__open_key(const char* text, int length, int key, i64* value, int context);

/// The connection that a unit gets without an OPEN statement: 0 or a message number. `status` is 4 for output and 1
/// for input; all three are -1 from INQUIRE, which only decides the default state.
[[nodiscard]] int for__open_default(For_Lub* lub, int access, int status, int form);
}

#endif
