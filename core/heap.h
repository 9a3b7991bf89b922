// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The heap wrappers through which all library memory goes. A signal that arrives inside is held back and sent again.
#ifndef TAMRUN_CORE_HEAP_H
#define TAMRUN_CORE_HEAP_H

#include "tamrun/hooks.h"
#include "tamrun/types.h"

extern "C" {
// for__get_vm(size, reserved, &pointer) and for__free_vm(pointer) are declared in tamrun/hooks.h: 0 or MSG_NO_MEMORY;
// size 0 gives a null pointer and 0, a negative size MSG_NO_MEMORY.

/// Grows or shrinks *inout. On failure the old block stays valid: MSG_NO_MEMORY.
[[nodiscard]] int for__realloc_vm(i64 new_size, void** inout, i64 old_size);
/// From now on for__free_vm frees nothing.
void for__disable_vm(void);
/// For the signal handler: 0 when the signal has been put off, 1 when the thread is not in the heap.
int for__set_signal_ops_during_vm(int signal);
void for__clear_signal_ops_during_vm(void);
}

// Read and written by the signal handler: volatile, and the flag without a lazily made thread-local block.
extern "C" {
extern __thread volatile i32 for__protect_signal_ops __attribute__((tls_model("initial-exec")));
extern i32 for__signal_ops_is_on;  ///< a signal has been put off
void for__unset_signal_ops(void);  ///< sends the signal that has been put off
}

/// The stretch in which this thread is inside a heap: a signal that arrives waits until its end. Not to be nested.
class Heap_Scope {
 public:
  Heap_Scope() { for__protect_signal_ops = 1; }
  ~Heap_Scope() {
    for__protect_signal_ops = 0;
    if (__builtin_expect(__atomic_load_n(&for__signal_ops_is_on, __ATOMIC_RELAXED) != 0, 0)) for__unset_signal_ops();
  }
  Heap_Scope(const Heap_Scope&) = delete;
  Heap_Scope& operator=(const Heap_Scope&) = delete;
};

/// A heap block owned by its scope.
template <class T = void>
class Vm_Block {
 public:
  Vm_Block() = default;
  ~Vm_Block() { for__free_vm(block_); }
  Vm_Block(const Vm_Block&) = delete;
  Vm_Block& operator=(const Vm_Block&) = delete;

  /// 0 or MSG_NO_MEMORY. Any former block is freed.
  [[nodiscard]] int allocate(i64 bytes) {
    for__free_vm(block_);
    block_ = nullptr;
    return for__get_vm(bytes, 0, &block_);
  }
  T* get() const { return static_cast<T*>(block_); }
  /// Hands the block to the caller.
  T* release() {
    T* block = get();
    block_ = nullptr;
    return block;
  }

 private:
  void* block_ = nullptr;
};

#endif
