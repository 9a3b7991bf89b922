// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Steps that every connection of a unit to a descriptor goes through.
#ifndef TAMRUN_UNITS_CONNECTION_H
#define TAMRUN_UNITS_CONNECTION_H

#include "tamrun/lub.h"

#include <unistd.h>

/// Descriptors of the console, which the library never closes.
inline bool is_standard_stream(int fd) { return fd >= STDIN_FILENO && fd <= STDERR_FILENO; }

/// Gives the unit a name of its own, heap-owned: 0 or MSG_NO_MEMORY.
[[nodiscard]] int store_file_name(For_Lub& lub, const char* name);

/// Connects a unit that has its name, descriptor, form, access and direction, as far as no keyword says otherwise:
/// record type, carriage control, sizes, buffering, file-info record, buffer and state block. 0 or a message number; a
/// unit that failed is left half-filled for FOR_IOR_ABANDON.
[[nodiscard]] int connect_descriptor(For_Lub& lub, bool positionable);

/// Points a default unit at its standard stream, which is open already, and connects it.
[[nodiscard]] int connect_console(For_Lub& lub);

#endif
