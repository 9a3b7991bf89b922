// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Lets the n-th allocation of the library fail, and counts the blocks that it holds. The test executables link
// for__get_vm, for__realloc_vm and for__free_vm, and the aligned heap of the program's own objects, through the linker's
// --wrap, so that the library itself knows nothing of it.
#ifndef TAMRUN_TESTS_SUPPORT_FAIL_MALLOC_H
#define TAMRUN_TESTS_SUPPORT_FAIL_MALLOC_H

namespace tamrun_test {

/// While in scope the n-th allocation of any thread, counted from 1, answers MSG_NO_MEMORY. Requests for 0 bytes,
/// which cannot fail, are not counted. One at a time.
class Fail_Vm {
 public:
  explicit Fail_Vm(long n);
  ~Fail_Vm();
  Fail_Vm(const Fail_Vm&) = delete;
  Fail_Vm& operator=(const Fail_Vm&) = delete;
  /// True when the failure has been delivered. A loop over n ends at the first run that does not get there.
  bool hit() const;
};

/// Blocks that the library has allocated and not freed.
long vm_live_blocks();

}  // namespace tamrun_test

#endif
