// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Deep copy in a library that reaches no other image: coarray_ready refuses all requests that would need one, and the
// rest is local.

#include "objects/coarray_copy.h"

#include <string.h>

#include "tamrun/messages.h"

int coarray_ready() { return MSG_NO_COARRAY_LIBRARY; }

void coarray_attach(void*, u64, For_Alloc_Flags) {}

void coarray_detach(void*, u64, For_Alloc_Flags) {}

void do_copy_source_to_dest(u8** source, u8* destination, u64 bytes, coarray_info_t*) {
  // An assignment whose sides overlap is the program's error; it is to stay one of values.
  memmove(destination, *source, bytes);
}
