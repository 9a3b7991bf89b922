// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units that have been closed while other threads may still wait for them.

#include "units/evaporated.h"

#include "core/heap.h"
#include "units/lub_lock.h"

#include <stdio.h>

namespace {

struct Evaporated_Lub {
  For_Lub* lub;
  Evaporated_Lub* next;
};

Evaporated_Lub* evaporated_LUB_list;

void free_entry(Evaporated_Lub* entry) {
  if (for__free_vm(entry) != 0) fputs("== Error: could not free evaporated list entry.\n", stdout);
}

}  // namespace

extern "C" {
u32 for__evaporate_list_flag;
}

int add_evaporated(For_Lub* lub) {
  Vm_Block<Evaporated_Lub> entry;
  if (const int status = entry.allocate(sizeof(Evaporated_Lub))) return status;
  Semaphore_Guard guard(for__evaporate_list_flag);
  if (guard.status() != 0) return guard.status();
  *entry.get() = {lub, evaporated_LUB_list};
  publish(evaporated_LUB_list, entry.release());
  return 0;
}

void remove_evaporated(const For_Lub* lub) {
  if (peek(evaporated_LUB_list) == nullptr) return;
  Evaporated_Lub* entry;
  {
    Semaphore_Guard guard(for__evaporate_list_flag);
    if (guard.status() != 0) return;
    Evaporated_Lub** link = &evaporated_LUB_list;
    while (*link != nullptr && (*link)->lub != lub) link = &(*link)->next;
    entry = *link;
    if (entry == nullptr) return;
    publish(*link, entry->next);
  }
  free_entry(entry);
}

void drop_lub_reference(For_Lub* lub) {
  if (__atomic_sub_fetch(&lub->lub_references, 1u, __ATOMIC_ACQ_REL) != 0) return;
  remove_evaporated(lub);
  free_scratch_lub(lub);
}

void Lub_Reference::reset(For_Lub* lub) {
  if (lub != nullptr) __atomic_add_fetch(&lub->lub_references, 1u, __ATOMIC_ACQ_REL);
  if (lub_ != nullptr) drop_lub_reference(lub_);
  lub_ = lub;
}

void free_evaporated_LUBs(void) {
  Semaphore_Guard guard(for__evaporate_list_flag);
  if (guard.status() != 0) return;
  while (Evaporated_Lub* entry = evaporated_LUB_list) {
    publish(evaporated_LUB_list, entry->next);
    if (entry->lub->lub_default_state == DEFAULT_ORDINARY) free_scratch_lub(entry->lub);
    free_entry(entry);
  }
}
