// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Arguments by reference may stand at any address.
#ifndef TAMRUN_INTRINSICS_UNALIGNED_H
#define TAMRUN_INTRINSICS_UNALIGNED_H

#include <string.h>

template <class T>
T load(const void* p) {
  T value;
  memcpy(&value, p, sizeof value);
  return value;
}

template <class T>
void store(void* p, T value) {
  memcpy(p, &value, sizeof value);
}

#endif
