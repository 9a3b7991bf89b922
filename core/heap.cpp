// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The heap wrappers. The C library's heap is not reentrant: while a thread is inside it, the signal handler puts its
// signal off, and the wrapper sends it again when the heap has been left.

#include "core/heap.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "tamrun/messages.h"

namespace {

i32 for__signal_num;
i32 for__dont_free;

}  // namespace

extern "C" {

__thread volatile i32 for__protect_signal_ops;
i32 for__signal_ops_is_on;

void for__unset_signal_ops(void) {
  __atomic_store_n(&for__signal_ops_is_on, 0, __ATOMIC_RELEASE);
  // Several threads may leave the heap at once: one of them finds the signal.
  const int held_back = __atomic_exchange_n(&for__signal_num, 0, __ATOMIC_ACQ_REL);
  if (held_back != 0) kill(getpid(), held_back);
}

int for__get_vm(i64 size, int, void** out) {
  *out = nullptr;
  if (size == 0) return 0;
  if (size < 0) return MSG_NO_MEMORY;
  Heap_Scope scope;
  *out = malloc(static_cast<size_t>(size));
  return *out == nullptr ? MSG_NO_MEMORY : 0;
}

int for__realloc_vm(i64 new_size, void** inout, i64 old_size) {
  if (new_size < 0) return MSG_NO_MEMORY;
  Heap_Scope scope;
  // A request for nothing keeps a block, so that the caller's pointer stays one that can be freed.
  const size_t bytes = static_cast<size_t>(std::max<i64>(new_size, 1));
  void* block = realloc(*inout, bytes);
  if (block == nullptr) {
    block = malloc(bytes);
    if (block == nullptr) return MSG_NO_MEMORY;
    if (*inout != nullptr) {
      memcpy(block, *inout, static_cast<size_t>(std::clamp<i64>(old_size, 0, new_size)));
      free(*inout);
    }
  }
  *inout = block;
  return 0;
}

int for__free_vm(void* p) {
  if (p == nullptr || for__dont_free != 0) return 0;
  Heap_Scope scope;
  free(p);
  return 0;
}

void for__disable_vm(void) { for__dont_free = 1; }

int for__set_signal_ops_during_vm(int signal) {
  if (for__protect_signal_ops == 0) return 1;
  __atomic_store_n(&for__signal_num, signal, __ATOMIC_RELEASE);
  __atomic_store_n(&for__signal_ops_is_on, 1, __ATOMIC_RELEASE);
  return 0;
}

void for__clear_signal_ops_during_vm(void) {
  for__protect_signal_ops = 0;
  __atomic_store_n(&for__signal_ops_is_on, 0, __ATOMIC_RELEASE);
  __atomic_store_n(&for__signal_num, 0, __ATOMIC_RELEASE);
}

}  // extern "C"
