// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The compile-time choices of the calling program, as a unit keeps them from its connection on.
#ifndef TAMRUN_UNITS_CONNECTION_OPTIONS_H
#define TAMRUN_UNITS_CONNECTION_OPTIONS_H

#include "tamrun/io_flags.h"
#include "tamrun/lub.h"

/// Stores the bits of connection scope in the LUB. CONVERT, which only an OPEN brings, is not among them.
void store_connection_options(For_Lub& lub, For_IO_Flags flags);

/// Stores the CONVERT value that an OPEN may bring in its flags.
void store_convert_option(For_Lub& lub, For_IO_Flags flags);

#endif
