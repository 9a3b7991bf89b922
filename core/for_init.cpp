// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start and end of a Fortran program.

#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include "core/environment.h"
#include "core/failure.h"
#include "core/locks.h"
#include "core/messages.h"
#include "core/start.h"
#include "tamrun/hooks.h"

namespace {

For_Once_Block rtl_init_once_block;

/// Fast-memory policies by environment variable: the later one wins.
struct Fastmem_Policy {
  const char* name;
  i32 policy;
};
constexpr Fastmem_Policy kFastmemPolicies[] = {
    {"FOR_FASTMEM_NORETRY", 1}, {"FOR_FASTMEM_RETRY_WARN", 2}, {"FOR_FASTMEM_RETRY", 3}};
constexpr u64 kHbwPolicyInterleave = 2;

double seconds_since_epoch() {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-6;
}

void make_exception_record() {
  void* record;
  if (for__get_vm(sizeof(For_Excpt_Info), 0, &record) != 0) return;
  memset(record, 0, sizeof(For_Excpt_Info));
  for__l_excpt_info = static_cast<For_Excpt_Info*>(record);
}

void set_fastmem_policy() {
  for__hbw_set_policy(kHbwPolicyInterleave);
  for (const Fastmem_Policy& row : kFastmemPolicies)
    if (for_check_env_name(row.name)) for_set_fastmem_policy(row.policy);
  for_get_hbw_availability();
}

}  // namespace

extern "C" {

i32 for__l_argc;
char** for__a_argv;
i32 for__l_current_arg = 1;
i32 for__l_fmtrecl, for__l_ufmtrecl, for__l_blocksize, for__l_buffercount;
double for_process_start_time = 0.0;

void for_rtl_init_(int* argc, char** argv) {
  if (for_process_start_time == 0.0) for_process_start_time = seconds_since_epoch();
  if ((argc != nullptr || argv != nullptr) && for_rtl_PGAS_INIT != nullptr)
    for_rtl_PGAS_INIT(argc != nullptr ? *argc : 0, &argv, for__issue_diagnostic);
  for__reentrancy_init();

  Semaphore_Guard guard(rtl_init_once_block.busy);
  if (guard.status() != 0 || rtl_init_once_block.done != 0) return;
  make_exception_record();
  if (!for_check_env_name("FOR_IGNORE_EXCEPTIONS")) for__install_signal_handlers();
  for__l_argc = argc != nullptr ? *argc : 0;
  for__a_argv = argc != nullptr ? argv : nullptr;
  for__preconnected_units_create();
  for__aio_init();
  for__default_io_sizes_env_init();
  set_fastmem_policy();
  rtl_init_once_block.done = 1;
}

int for_rtl_finish_(void) {
  for__message_catalog_close();
  const int result = for__exit_handler(0, 0);
  for__disable_signal_stack();
  return result;
}

void for_exit(int* status) {
  for__exit_handler(0, 0);
  exit(*status);
}

}  // extern "C"
