// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Byte order, foreign formats and line ends of a connection, as CONVERT= and the environment give them.
#ifndef TAMRUN_UNITS_CONVERSION_OPTIONS_H
#define TAMRUN_UNITS_CONVERSION_OPTIONS_H

#include "tamrun/lub.h"
#include "tamrun/open_args.h"

/// What F_UFMTENDIAN gives a unit; 0 leaves it alone.
enum For_Endian_Setting : i32 { ENDIAN_BIG = 1, ENDIAN_LITTLE = -1 };

extern "C" {
/// Scans F_UFMTENDIAN, once per process. A value that breaks the grammar is warned about and ignored.
void SetEndian(void);

/// For_Endian_Setting that F_UFMTENDIAN gives the unit, or 0.
int CheckEndian(int unit);

/// Record type that FOR_FMT_TERMINATOR gives the unit, or 0. The variable is scanned once per process.
int CheckStreamRecortType(int unit);

/// Settles the conversion of an unformatted or binary connection by CONVERT=, F_UFMTENDIAN, FORT_CONVERT.ext or
/// FORT_CONVERT_ext, and FORT_CONVERTn; the later one wins. 0 or a message number.
[[nodiscard]] int for__set_foreign_bits(For_Lub* lub, For_Open_Args* args);

/// Applies one conversion name, in letters of either case: 0 or MSG_INCONSISTENT_OPEN_CLOSE.
[[nodiscard]] int for__set_conversion_option(For_Lub* lub, const char* text);

/// Takes the line end of FOR_FMT_TERMINATOR, when it names the unit: always 0.
int for__set_terminator_option(For_Lub* lub);
}

#endif
