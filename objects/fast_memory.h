// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// High-bandwidth memory: whether there is any, and what a request does when there is none.
#ifndef TAMRUN_OBJECTS_FAST_MEMORY_H
#define TAMRUN_OBJECTS_FAST_MEMORY_H

#include "tamrun/types.h"

/// for__hbw_availability.
enum For_Hbw_Availability : i32 {
  HBW_UNKNOWN = 0,
  HBW_AVAILABLE = 1,
  HBW_NOT_LINKED = 2,  ///< the program does not link memkind
  HBW_NO_MEMORY = 3,   ///< the node has no such memory
};

/// for__fastmem_policy.
enum For_Fastmem_Policy : i32 {
  FOR_FASTMEM_POLICY_NORETRY = 1,     ///< the request fails
  FOR_FASTMEM_POLICY_RETRY_WARN = 2,  ///< it is served from the ordinary heap, with a warning
  FOR_FASTMEM_POLICY_RETRY = 3,       ///< the same in silence
};

/// The heap of one request for fast memory.
struct Fast_Memory_Choice {
  bool fast;    ///< high-bandwidth memory; otherwise the ordinary heap
  int message;  ///< not 0: no heap at all, and why
};
/// Follows the policy; issues its warning.
Fast_Memory_Choice choose_fast_memory();

/// Returns the policy that was in force; one outside 1 to 3 changes nothing.
TAMRUN_ENTRY i32 for_set_fastmem_policy(i32 policy);
/// For_Hbw_Availability, but HBW_UNKNOWN.
TAMRUN_ENTRY i32 for_get_hbw_availability(void);
/// Hands the policy to memkind, if it is there.
extern "C" void for__hbw_set_policy(u64 policy);

#endif
