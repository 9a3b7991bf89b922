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

/// Takes the thread's spare LUB, or makes one: 0 or MSG_NO_MEMORY. A signal handler that comes in between has done with
/// its statements when this one goes on, so that a LUB that both have found is clean again.
int take_lub(For_Thread_Storage& ts, For_Lub** out) {
  For_Lub* lub = ts.ts_spare_internal;
  ts.ts_spare_internal = nullptr;
  if (lub == nullptr) return for__create_lub(UNIT_INTERNAL, out);
  For_Fmt_Isb* const state = lub->lub_a_fmt_isb;
  u8* const from = reinterpret_cast<u8*>(&lub->lub_a_aio);
  memset(from, 0, reinterpret_cast<u8*>(lub + 1) - from);
  lub->lub_thread = pthread_self();
  lub->lub_references = 1;
  lub->lub_unit = UNIT_INTERNAL;
  lub->lub_a_fmt_isb = lub->lub_a_ldir_isb = state;
  *out = lub;
  return 0;
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
  For_Lub* lub;
  if (const int status = take_lub(*ts, &lub)) return status;
  // No other thread reaches it: there is nothing to lock.
  lub->lub_f_busy = 1;
  lub->lub_a_internal_next = ts->ts_internal_lubs;
  ts->ts_internal_lubs = lub;
  lub->lub_statement = static_cast<u8>(statement);
  set_context(*lub, ctx);
  *out = lub;
  return 0;
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
