// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Giving back what a logical unit block owns.

#include "core/lub_storage.h"

#include <string.h>

#include "tamrun/fmt_isb.h"
#include "tamrun/hooks.h"

void free_state_block(For_Lub& lub) {
  // Both views are one block as a rule; whichever is set leads to it.
  For_Fmt_Isb* block = lub.lub_a_fmt_isb != nullptr ? lub.lub_a_fmt_isb : lub.lub_a_ldir_isb;
  lub.lub_a_fmt_isb = nullptr;
  lub.lub_a_ldir_isb = nullptr;
  if (block == nullptr) return;
  if (block->isb_flags & ISB_RUNTIME_FORMAT) for__free_vm(const_cast<u8*>(block->isb_fmt_base));
  for__free_vm(block);
}

void wipe_lub(For_Lub& lub) {
  const pthread_t thread = lub.lub_thread;
  For_Lub* const hash_next = lub.lub_a_hash_next;
  For_Backup_Scope* const backup_scope = lub.lub_a_backup_scope;
  For_Context* const context = lub.lub_a_context;
  const i32 unit = lub.lub_unit;
  const i64 unit_copy = lub.lub_unit_copy;
  const bool busy = lub.lub_f_busy;
  const bool default_unit = lub.lub_default_state != DEFAULT_ORDINARY;

  constexpr size_t kKeptHead = offsetof(For_Lub, lub_a_aio);
  memset(reinterpret_cast<char*>(&lub) + kKeptHead, 0, sizeof lub - kKeptHead);

  lub.lub_thread = thread;
  lub.lub_a_hash_next = hash_next;
  lub.lub_a_backup_scope = backup_scope;
  lub.lub_a_context = context;
  lub.lub_unit = unit;
  lub.lub_unit_copy = unit_copy;
  lub.lub_f_busy = busy;
  if (default_unit) lub.lub_default_state = DEFAULT_UNCONNECTED;
}
