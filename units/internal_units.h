// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units of internal files: a stack per thread.
#ifndef TAMRUN_UNITS_INTERNAL_UNITS_H
#define TAMRUN_UNITS_INTERNAL_UNITS_H

#include "units/unit_table.h"

/// UNIT_INTERNAL pushes a new LUB. UNIT_INTERNAL_TOP gives the top one to a child statement of it; MSG_INVALID_UNIT
/// with an empty stack.
[[nodiscard]] int acquire_internal_lub(int unit, For_Lub** out, For_Context* ctx, int statement);

/// Pops the top LUB unless a child statement runs on it: 0 or MSG_FREE_FAILED. The thread keeps one for the next
/// statement; further ones are freed.
int release_internal_lub();

#endif
