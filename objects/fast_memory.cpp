// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// High-bandwidth memory: whether there is any, and what a request does when there is none.

#include "objects/fast_memory.h"

#include "core/failure.h"
#include "objects/optional_heaps.h"
#include "tamrun/messages.h"

namespace {

// Plain words: two threads that find the availability out at once find the same.
i32 for__hbw_availability = HBW_UNKNOWN;
i32 for__fastmem_policy = FOR_FASTMEM_POLICY_NORETRY;

i32 find_availability() {
  if (hbw_posix_memalign == nullptr || hbw_check_available == nullptr || hbw_free == nullptr) return HBW_NOT_LINKED;
  return hbw_check_available() == 0 ? HBW_AVAILABLE : HBW_NO_MEMORY;
}

}  // namespace

Fast_Memory_Choice choose_fast_memory() {
  const i32 availability = for_get_hbw_availability();
  if (availability == HBW_AVAILABLE) return {true, 0};
  const bool linked = availability != HBW_NOT_LINKED;
  switch (__atomic_load_n(&for__fastmem_policy, __ATOMIC_RELAXED)) {
    case FOR_FASTMEM_POLICY_RETRY_WARN:
      for__issue_diagnostic(linked ? MSG_FASTMEM_NOT_AVAILABLE_RETRIED : MSG_FASTMEM_NOT_LINKED_RETRIED, 0);
      return {false, 0};
    case FOR_FASTMEM_POLICY_RETRY:
      return {false, 0};
    default:
      return {false, linked ? MSG_FASTMEM_NOT_AVAILABLE : MSG_FASTMEM_NOT_LINKED};
  }
}

extern "C" {

i32 for_set_fastmem_policy(i32 policy) {
  const i32 before = __atomic_load_n(&for__fastmem_policy, __ATOMIC_RELAXED);
  if (policy >= FOR_FASTMEM_POLICY_NORETRY && policy <= FOR_FASTMEM_POLICY_RETRY)
    __atomic_store_n(&for__fastmem_policy, policy, __ATOMIC_RELAXED);
  return before;
}

i32 for_get_hbw_availability(void) {
  i32 availability = __atomic_load_n(&for__hbw_availability, __ATOMIC_RELAXED);
  if (availability == HBW_UNKNOWN) {
    availability = find_availability();
    __atomic_store_n(&for__hbw_availability, availability, __ATOMIC_RELAXED);
  }
  return availability;
}

void for__hbw_set_policy(u64 policy) {
  if (hbw_set_policy != nullptr) hbw_set_policy(static_cast<int>(policy));
}

}  // extern "C"
