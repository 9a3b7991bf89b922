// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units of internal files: a stack per thread.
#ifndef TAMRUN_UNITS_INTERNAL_UNITS_H
#define TAMRUN_UNITS_INTERNAL_UNITS_H

#include "units/unit_table.h"

/// UNIT_INTERNAL pushes a new LUB. UNIT_INTERNAL_TOP gives the top one to a child statement of it; MSG_INVALID_UNIT
/// with an empty stack.
[[nodiscard]] int acquire_internal_lub(int unit, For_Lub** out, For_Context* ctx, int statement);

/// The flags of a LUB and all behind them.
inline constexpr size_t kLubFlagBytes = sizeof(For_Lub) - offsetof(For_Lub, lub_size_type);
inline u8* lub_flag_bytes(For_Lub& lub) { return reinterpret_cast<u8*>(&lub) + offsetof(For_Lub, lub_size_type); }

/// The short road of a thread that has had an internal file before: pushes its spare LUB, with these flag bytes of an
/// earlier one. Null: for__acquire_lun has to be asked.
For_Lub* acquire_spare_internal_lub(For_Context* ctx, int statement, const u8* flags);

/// Pops the top LUB unless a child statement runs on it: 0 or MSG_FREE_FAILED. The thread keeps one for the next
/// statement; further ones are freed.
int release_internal_lub();

#endif
