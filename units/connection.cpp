// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What connecting and disconnecting a unit have in common.

#include "units/connection.h"

#include "core/heap.h"

#include <string.h>

namespace {

/// Room behind a file name.
constexpr size_t kNameSlack = 10;

}  // namespace

int store_file_name(For_Lub& lub, const char* name) {
  const size_t length = strlen(name);
  void* copy;
  if (const int status = for__get_vm(static_cast<i64>(length + kNameSlack), 0, &copy)) return status;
  memcpy(copy, name, length + 1);
  lub.lub_a_file_name = static_cast<char*>(copy);
  lub.lub_name_len = static_cast<i16>(length);
  return 0;
}
