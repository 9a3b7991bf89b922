// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Environment variables.

#include "core/environment.h"

#include <stdlib.h>
#include <string.h>

#include "tamrun/types.h"

const char* env_value(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr || *value == '\0' || strnlen(value, kMaxEnvValue + 1) > kMaxEnvValue) return nullptr;
  return value;
}

int for_check_env_name(const char* name) {
  const char* value = name == nullptr ? nullptr : env_value(name);
  if (value == nullptr) return 0;
  if (strchr("TtYy", *value) != nullptr) return 1;
  if (value[strspn(value, "0123456789")] != '\0') return 0;
  return static_cast<u32>(strtoul(value, nullptr, 10)) != 0;
}
