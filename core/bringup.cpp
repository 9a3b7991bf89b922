// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Weak definitions that let each floor link and be tested while its neighbours are being built.

#include "tamrun/messages.h"
#include "units/conversion_options.h"
#include "units/file_name.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define WEAK __attribute__((weak))

namespace {

int standard_descriptor(int unit) {
  switch (unit) {
    case UNIT_READ:
    case UNIT_ACCEPT:
    case UNIT_STDIN:
      return STDIN_FILENO;
    case UNIT_TYPE:
    case UNIT_PRINT:
    case UNIT_STDOUT:
      return STDOUT_FILENO;
    case UNIT_STDERR:
      return STDERR_FILENO;
    default:
      return -1;
  }
}

const char* variable_of(int unit, char (&name)[32]) {
  switch (unit) {
    case UNIT_READ:
      return "FOR_READ";
    case UNIT_ACCEPT:
      return "FOR_ACCEPT";
    case UNIT_TYPE:
      return "FOR_TYPE";
    case UNIT_PRINT:
      return "FOR_PRINT";
    default:
      snprintf(name, sizeof name, "FORT%d", unit);
      return name;
  }
}

}  // namespace

extern "C" {
WEAK int for__compute_filename(For_Lub* lub, For_File_Name_Args* ctx, char* out, int* needs_open, int* positionable) {
  *needs_open = *positionable = 1;
  if (ctx->status == 3 && !lub->lub_f_connected) {
    strcpy(out, "/tmp/fortXXXXXX");
    lub->lub_fd = mkstemp(out);
    *needs_open = 0;
    return 0;
  }
  char variable[32], numbered[32];
  const char* name = ctx->file;
  i64 length = ctx->file_length;
  if (lub->lub_unit < UNIT_STDERR || name == nullptr) {
    name = getenv(variable_of(lub->lub_unit, variable));
    if (lub->lub_unit < UNIT_STDERR && lub->lub_f_files_from_cmd && !lub->lub_f_legacy_defaults) name = nullptr;
    if (name == nullptr && standard_descriptor(lub->lub_unit) >= 0) {
      lub->lub_fd = standard_descriptor(lub->lub_unit);
      *needs_open = *positionable = 0;
      if (ttyname_r(lub->lub_fd, out, kMaxFileName) != 0)
        snprintf(out, kMaxFileName, "/proc/%d/fd/%d", getpid(), lub->lub_fd);
      return 0;
    }
    if (name == nullptr && lub->lub_f_connected) {
      strcpy(out, lub->lub_a_file_name);
      ctx->status = 0;
      return 0;
    }
    if (name == nullptr) {
      snprintf(numbered, sizeof numbered, "fort.%d", lub->lub_unit);
      name = numbered;
    }
    length = static_cast<i64>(strlen(name));
  }
  while (length > 0 && *name == ' ') ++name, --length;
  while (length > 0 && name[length - 1] == ' ') --length;
  if (length == 0) return MSG_FILE_NAME;
  size_t at = 0;
  if (*name != '/') {
    if (getcwd(out, kMaxFileName) == nullptr) strcpy(out, ".");
    at = strlen(out);
    out[at++] = '/';
  }
  if (at + length > kMaxFileName) return MSG_PATH_TOO_LONG;
  memcpy(out + at, name, length);
  out[at + length] = '\0';
  return 0;
}
WEAK int CheckStreamRecortType(int) { return 0; }
WEAK int for__set_foreign_bits(For_Lub*, For_Open_Args*) { return 0; }
WEAK int for__set_terminator_option(For_Lub*) { return 0; }
}
