// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The per-thread block.

#include "core/thread_storage.h"

#include <string.h>

#include "core/locks.h"
#include "tamrun/hooks.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"

thread_local For_Thread_Storage* t_thread_storage;

namespace {

pthread_key_t threadstor_key;
bool threadstor_key_made;
For_Once_Block threadstor_key_once;

void destroy_threadstor(void* block) {
  t_thread_storage = nullptr;
  For_Lub* lub = static_cast<For_Thread_Storage*>(block)->ts_spare_internal;
  if (lub != nullptr) for__free_vm(lub->lub_a_fmt_isb);
  for__free_vm(lub);
  for__free_vm(block);
}

int make_threadstor_key() {
  threadstor_key_made = pthread_key_create(&threadstor_key, destroy_threadstor) == 0;
  return 0;
}

}  // namespace

extern "C" {

For_Thread_Storage for__static_threadstor_private = {
    .ts_internal_lubs = nullptr,
    .ts_ran_seeds = {0x7FFFFFAA, 0x7FFFFF06},
    .ts_errsns = {},
    .ts_errsns_text = {},
    .ts_sigmask = {},
    .ts_spare_internal = nullptr,
};

int for__access_threadstor_threads(For_Thread_Storage** out) {
  *out = t_thread_storage;
  if (t_thread_storage != nullptr) return 0;
  for__once_private(&threadstor_key_once, make_threadstor_key);
  if (!threadstor_key_made) return MSG_NO_MEMORY;

  void* block;
  if (int code = for__get_vm(sizeof(For_Thread_Storage), 0, &block)) return code;
  memcpy(block, &for__static_threadstor_private, sizeof(For_Thread_Storage));
  if (pthread_setspecific(threadstor_key, block) != 0) {
    for__free_vm(block);
    return MSG_NO_MEMORY;
  }
  t_thread_storage = static_cast<For_Thread_Storage*>(block);
  t_thread_storage->ts_internal_lubs = t_thread_storage->ts_spare_internal = nullptr;
  *out = t_thread_storage;
  return 0;
}

int for__acquire_threadstor_threads(For_Thread_Storage** out) {
  if (int code = for__access_threadstor_threads(out)) return code;
  if (for__reentrancy_mode == FOR_K_REENTRANCY_ASYNCH) for__disable_asynch_deliv_private(&(*out)->ts_sigmask.mask);
  return 0;
}

}  // extern "C"

void copy_until_equal(void* to, const void* from, size_t bytes) {
  do {
    memcpy(to, from, bytes);
    // The compare has to look at memory again: a handler may have stored in between.
    asm volatile("" ::: "memory");
  } while (memcmp(to, from, bytes) != 0);
}
