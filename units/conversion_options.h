// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Byte order, foreign formats and line ends of a connection, as CONVERT= and the environment give them.
#ifndef TAMRUN_UNITS_CONVERSION_OPTIONS_H
#define TAMRUN_UNITS_CONVERSION_OPTIONS_H

#include "tamrun/lub.h"
#include "tamrun/open_args.h"

extern "C" {
/// Record type that FOR_FMT_TERMINATOR gives the unit, or 0.
int CheckStreamRecortType(int unit);

/// Settles the conversion of an unformatted or binary connection: 0 or a message number.
[[nodiscard]] int for__set_foreign_bits(For_Lub* lub, For_Open_Args* args);

/// Applies one conversion name: 0 or MSG_INCONSISTENT_OPEN_CLOSE.
[[nodiscard]] int for__set_conversion_option(For_Lub* lub, const char* text);

/// Takes the line end of FOR_FMT_TERMINATOR, when it names the unit: always 0.
int for__set_terminator_option(For_Lub* lub);
}

#endif
