// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Position editing: where in the record the next character goes.
#ifndef TAMRUN_FORMAT_POSITION_H
#define TAMRUN_FORMAT_POSITION_H

#include "tamrun/lub.h"

/// nX and TRn: 0, or the failure of a record that cannot grow.
[[nodiscard]] int position_right(For_Lub& lub, i64 columns);
/// Tn; columns count from 1.
void position_to(For_Lub& lub, i64 column);
/// TLn, not before column 1.
void position_left(For_Lub& lub, i64 columns);

#endif
