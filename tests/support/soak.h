// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// How many cases a randomised test takes: few in the daily run, TAMRUN_SOAK times as many in `./tam soak`.
#ifndef TAMRUN_TESTS_SUPPORT_SOAK_H
#define TAMRUN_TESTS_SUPPORT_SOAK_H

#include <stdlib.h>

inline long soak_cases(long daily) {
  const char* factor = getenv("TAMRUN_SOAK");
  return factor != nullptr && atol(factor) > 0 ? daily * atol(factor) : daily;
}

#endif
