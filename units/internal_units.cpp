// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units of internal files: a stack per thread.

#include "units/internal_units.h"

#include <string.h>

#include "core/heap.h"
#include "core/thread_storage.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/lub_storage.h"

namespace {

void set_context(For_Lub& lub, For_Context* ctx) {
  if (ctx != nullptr) ctx->ctx_lub = &lub;
  lub.lub_a_context = ctx;
}

/// Takes the thread's spare LUB with all but its flags clean; null: it has none. A signal handler that comes in between
/// has done with its statements when this one goes on, so that a LUB that both have found is clean again.
For_Lub* take_spare(For_Thread_Storage& ts) {
  For_Lub* const lub = ts.ts_spare_internal;
  if (lub == nullptr) return nullptr;
  ts.ts_spare_internal = nullptr;
  For_Fmt_Isb* const state = lub->lub_a_fmt_isb;
  u8* const from = reinterpret_cast<u8*>(&lub->lub_a_aio);
  memset(from, 0, lub_flag_bytes(*lub) - from);
  lub->lub_thread = pthread_self();
  lub->lub_references = 1;
  lub->lub_unit = UNIT_INTERNAL;
  lub->lub_a_fmt_isb = lub->lub_a_ldir_isb = state;
  return lub;
}

void push(For_Thread_Storage& ts, For_Lub& lub, For_Context* ctx, int statement) {
  lub.lub_a_internal_next = ts.ts_internal_lubs;
  ts.ts_internal_lubs = &lub;
  lub.lub_statement = static_cast<u8>(statement);
  set_context(lub, ctx);
}

}  // namespace

int acquire_internal_lub(int unit, For_Lub** out, For_Context* ctx, int statement) {
  For_Thread_Storage* ts;
  if (const int status = thread_storage(&ts)) return status;
  if (unit == UNIT_INTERNAL_TOP) {
    For_Lub* top = ts->ts_internal_lubs;
    if (top == nullptr) return MSG_INVALID_UNIT;
    if (in_child_statement(*top)) {
      set_context(*top, ctx);
      *out = top;
      return 0;
    }
  }
  For_Lub* lub = take_spare(*ts);
  if (lub != nullptr) {
    memset(lub_flag_bytes(*lub), 0, kLubFlagBytes);
  } else if (const int status = for__create_lub(UNIT_INTERNAL, &lub)) {
    return status;
  }
  // No other thread reaches it: there is nothing to lock.
  lub->lub_f_busy = 1;
  push(*ts, *lub, ctx, statement);
  *out = lub;
  return 0;
}

For_Lub* acquire_spare_internal_lub(For_Context* ctx, int statement, const u8* flags) {
  For_Thread_Storage* ts;
  if (thread_storage(&ts) != 0) return nullptr;
  For_Lub* const lub = take_spare(*ts);
  if (lub == nullptr) return nullptr;
  memcpy(lub_flag_bytes(*lub), flags, kLubFlagBytes);
  push(*ts, *lub, ctx, statement);
  return lub;
}

int release_internal_lub() {
  For_Thread_Storage* ts;
  if (const int status = thread_storage(&ts)) return status;
  For_Lub* lub = ts->ts_internal_lubs;
  if (lub == nullptr || in_child_statement(*lub)) return 0;
  ts->ts_internal_lubs = lub->lub_a_internal_next;
  if (lub->lub_a_context != nullptr) lub->lub_a_context->ctx_lub = nullptr;
  free_runtime_format(*lub->lub_a_fmt_isb);
  if (ts->ts_spare_internal == nullptr) {
    ts->ts_spare_internal = lub;
    return 0;
  }
  free_state_block(*lub);
  return for__free_vm(lub) == 0 ? 0 : MSG_FREE_FAILED;
}
