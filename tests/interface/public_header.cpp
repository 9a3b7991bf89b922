// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The declarations for outside agree with the library's own: a difference in any argument does not compile.
#include "tamrun/tamrun.h"

#include "core/locks.h"
#include "core/start.h"
