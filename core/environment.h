// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Environment variables.
#ifndef TAMRUN_CORE_ENVIRONMENT_H
#define TAMRUN_CORE_ENVIRONMENT_H

#include "tamrun/types.h"

/// Longest value that the library looks at, in bytes.
inline constexpr int kMaxEnvValue = 260;

/// True when the variable's value, of at most kMaxEnvValue bytes, begins with T, t, Y or y, or consists of decimal
/// digits only and is not zero.
TAMRUN_ENTRY int for_check_env_name(const char* name);

/// The variable's value when it is set, not empty and not longer than kMaxEnvValue bytes, else null.
const char* env_value(const char* name);

#endif
