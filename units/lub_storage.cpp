// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Giving back what a logical unit block owns.

#include "units/lub_storage.h"

#include <string.h>
#include <unistd.h>

#include "tamrun/fmt_isb.h"
#include "tamrun/hooks.h"
#include "units/file_info_table.h"

extern "C" {
char for__default_name_str[] = "\"Unknown\"";
}

void free_runtime_format(For_Fmt_Isb& block) {
  if (!(block.isb_flags & ISB_RUNTIME_FORMAT)) return;
  block.isb_flags &= ~u32{ISB_RUNTIME_FORMAT};
  for__free_vm(const_cast<u8*>(block.isb_fmt_base));
}

void free_state_block(For_Lub& lub) {
  // Both views are one block as a rule; whichever is set leads to it.
  For_Fmt_Isb* block = lub.lub_a_fmt_isb != nullptr ? lub.lub_a_fmt_isb : lub.lub_a_ldir_isb;
  lub.lub_a_fmt_isb = nullptr;
  lub.lub_a_ldir_isb = nullptr;
  if (block == nullptr) return;
  free_runtime_format(*block);
  if (!in_child_statement(lub)) for__free_vm(block);  // the child's statement still runs on it
}

int free_connection(For_Lub& lub) {
  const int status = for__rm_from_lf_table(&lub);
  if (lub.lub_name_len != 0) for__free_vm(lub.lub_a_file_name);
  lub.lub_a_file_name = for__default_name_str;
  lub.lub_name_len = 0;
  for__free_vm(lub.lub_a_buffer);
  lub.lub_a_buffer = nullptr;
  free_state_block(lub);
  return status;
}

void wipe_lub(For_Lub& lub) {
  // Other threads read some of these while they look for a unit: none is touched, not even for a moment.
  struct Kept {
    size_t begin, end;
  };
#define KEPT(field) \
  { offsetof(For_Lub, field), offsetof(For_Lub, field) + sizeof(For_Lub::field) }
  static constexpr Kept kKept[] = {KEPT(lub_unit_copy),      KEPT(lub_thread),      KEPT(lub_f_deallocating),
                                   KEPT(lub_references),     KEPT(lub_a_hash_next), KEPT(lub_a_context),
                                   KEPT(lub_a_backup_scope), KEPT(lub_unit)};
#undef KEPT
  const bool busy = lub.lub_f_busy;
  const bool default_unit = lub.lub_default_state != DEFAULT_ORDINARY;
  __atomic_store_n(&lub.lub_a_aio, nullptr, __ATOMIC_RELEASE);
  u8* bytes = reinterpret_cast<u8*>(&lub);
  size_t from = offsetof(For_Lub, lub_a_aio) + sizeof lub.lub_a_aio;
  for (const Kept& kept : kKept) {
    memset(bytes + from, 0, kept.begin - from);
    from = kept.end;
  }
  memset(bytes + from, 0, sizeof lub - from);
  lub.lub_f_busy = busy;
  if (default_unit) lub.lub_default_state = DEFAULT_UNCONNECTED;
}

extern "C" void for__abandon_connection(For_Lub* lub) {
  (void)free_connection(*lub);
  if (lub->lub_fd > STDERR_FILENO) close(lub->lub_fd);
  wipe_lub(*lub);
}
