// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units of internal files: a stack per thread.

#include "units/internal_units.h"

#include "core/heap.h"
#include "core/thread_storage.h"
#include "tamrun/messages.h"
#include "units/evaporated.h"
#include "units/lub_lock.h"

namespace {

void set_context(For_Lub& lub, For_Context* ctx) {
  if (ctx != nullptr) ctx->ctx_lub = &lub;
  lub.lub_a_context = ctx;
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
  if (const int status = for__create_lub(UNIT_INTERNAL, &lub)) return status;
  if (const int status = acquire_lub_resource(lub, statement)) {
    free_scratch_lub(lub);
    return status;
  }
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
  free_state_block(*lub);
  if (const int status = release_lub_resource(*lub)) return status;
  remove_evaporated(lub);
  return for__free_vm(lub) == 0 ? 0 : MSG_FREE_FAILED;
}
