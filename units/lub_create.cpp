// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Making and freeing the block of a unit.

#include "core/heap.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

#include <string.h>

extern "C" int for__create_lub(int unit, For_Lub** out) {
  void* block;
  *out = nullptr;
  if (const int status = for__get_vm(sizeof(For_Lub), 0, &block)) return status;
  memset(block, 0, sizeof(For_Lub));
  For_Lub* lub = static_cast<For_Lub*>(block);
  lub->lub_thread = pthread_self();
  lub->lub_unit = unit;
  lub->lub_resource.res_owner = -1;
  lub->lub_references = 1;
  if (unit == UNIT_INTERNAL) {
    if (const int status = allocate_state_block(*lub)) {
      free_scratch_lub(lub);
      return status;
    }
  }
  *out = lub;
  return 0;
}

int allocate_state_block(For_Lub& lub) {
  void* block;
  if (const int status = for__get_vm(kStateBlockBytes, 0, &block)) return status;
  memset(block, 0, kStateBlockBytes);
  lub.lub_a_fmt_isb = lub.lub_a_ldir_isb = static_cast<For_Fmt_Isb*>(block);
  lub.lub_a_fmt_isb->isb_lub = &lub;
  return 0;
}

void free_scratch_lub(For_Lub* lub) {
  (void)free_connection(*lub);
  for__free_vm(lub);
}
