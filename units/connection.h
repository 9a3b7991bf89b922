// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What connecting and disconnecting a unit have in common.
#ifndef TAMRUN_UNITS_CONNECTION_H
#define TAMRUN_UNITS_CONNECTION_H

#include "tamrun/lub.h"

#include <unistd.h>

/// Descriptors of the console, which the library never closes.
inline bool is_standard_stream(int fd) { return fd >= STDIN_FILENO && fd <= STDERR_FILENO; }

/// Units that print on standard output when nothing else is said.
inline bool prints_on_standard_output(const For_Lub& lub) {
  return lub.lub_unit == UNIT_TYPE || lub.lub_unit == UNIT_PRINT || lub.lub_unit == UNIT_STDOUT;
}

/// Gives the unit a name of its own, heap-owned: 0 or MSG_NO_MEMORY.
[[nodiscard]] int store_file_name(For_Lub& lub, const char* name);

/// Replaces the disposition of the unit by a value of DISPOSE=, 0 for no change: 0, MSG_INCONSISTENT_OPEN_CLOSE or
/// MSG_INVALID_ARGUMENT, with the disposition as it was.
[[nodiscard]] int set_disposition(For_Lub& lub, u64 value, bool may_delete);

/// Runs the commands that the disposition asks for and removes the file if that is left to do: 0, MSG_CLOSE_ERROR with
/// lub_errno set, or MSG_NO_MEMORY.
[[nodiscard]] int dispose_of_file(For_Lub& lub);

#endif
