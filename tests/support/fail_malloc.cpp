// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Lets the n-th allocation of the library fail, and counts the blocks that it holds.

#include "support/fail_malloc.h"

#include <atomic>

#include "tamrun/messages.h"
#include "tamrun/types.h"

namespace {

constexpr long kNever = -1;
std::atomic<long> until_failure{kNever};  // allocations left before the one that fails
std::atomic<long> live_blocks{0};

bool fails_now() {
  long left = until_failure.load();
  do {
    if (left <= 0) return false;
  } while (!until_failure.compare_exchange_weak(left, left - 1));
  return left == 1;
}

}  // namespace

extern "C" {

// An allocation that cannot be had is an answer, not a fault of the program: the sanitizers' heaps are to say so too.
const char* __asan_default_options() { return "allocator_may_return_null=1"; }
const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

int __real_for__get_vm(i64 size, int reserved, void** out);
int __real_for__realloc_vm(i64 new_size, void** inout, i64 old_size);
int __real_for__free_vm(void* p);
void* __real__mm_malloc(size_t size, size_t alignment);
void __real__mm_free(void* p);

int __wrap_for__get_vm(i64 size, int reserved, void** out) {
  if (size > 0 && fails_now()) {
    *out = nullptr;
    return MSG_NO_MEMORY;
  }
  const int code = __real_for__get_vm(size, reserved, out);
  if (*out != nullptr) ++live_blocks;
  return code;
}

int __wrap_for__realloc_vm(i64 new_size, void** inout, i64 old_size) {
  if (fails_now()) return MSG_NO_MEMORY;
  const bool fresh = *inout == nullptr;
  const int code = __real_for__realloc_vm(new_size, inout, old_size);
  if (code == 0 && fresh) ++live_blocks;
  return code;
}

int __wrap_for__free_vm(void* p) {
  if (p != nullptr) --live_blocks;
  return __real_for__free_vm(p);
}

void* __wrap__mm_malloc(size_t size, size_t alignment) {
  void* const block = fails_now() ? nullptr : __real__mm_malloc(size, alignment);
  if (block != nullptr) ++live_blocks;
  return block;
}

void __wrap__mm_free(void* p) {
  if (p != nullptr) --live_blocks;
  __real__mm_free(p);
}

}  // extern "C"

namespace tamrun_test {

Fail_Vm::Fail_Vm(long n) { until_failure = n; }
Fail_Vm::~Fail_Vm() { until_failure = kNever; }
bool Fail_Vm::hit() const { return until_failure == 0; }
long vm_live_blocks() { return live_blocks; }

}  // namespace tamrun_test
