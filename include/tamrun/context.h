// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The block that compiled code owns for one running statement.
#ifndef TAMRUN_CONTEXT_H
#define TAMRUN_CONTEXT_H

#include "tamrun/types.h"

typedef struct For_Lub For_Lub;

/// Passed first to every call of a statement. Compiled code allocates at least the words that it uses; the library
/// writes word 1 only.
typedef struct For_Context {
  u64 ctx_word0;       ///< not touched by the data transfer entry points
  For_Lub* ctx_lub;    ///< unit of the running statement; null before and after it
  u64* ctx_vfe_slots;  ///< values and routines of variable format expressions; read only when a format has some
} For_Context;
static_assert(offsetof(For_Context, ctx_lub) == 8);
static_assert(offsetof(For_Context, ctx_vfe_slots) == 16);

#endif
