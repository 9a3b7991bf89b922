// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connecting the default units to the standard streams.

#include "tamrun/messages.h"
#include "units/connection.h"

#include <stdio.h>

namespace {

constexpr size_t kTerminalName = 256;

int console_descriptor(int unit) {
  switch (unit) {
    case UNIT_READ:
    case UNIT_ACCEPT:
    case UNIT_STDIN:
      return fileno(stdin);
    case UNIT_STDERR:
      return fileno(stderr);
    default:
      return fileno(stdout);
  }
}

}  // namespace

int connect_console(For_Lub& lub) {
  lub.lub_fd = console_descriptor(lub.lub_unit);
  char name[kTerminalName];
  if (ttyname_r(lub.lub_fd, name, sizeof name) != 0)
    snprintf(name, sizeof name, "/proc/%d/fd/%d", static_cast<int>(getpid()), lub.lub_fd);
  if (const int status = store_file_name(lub, name)) return status;

  lub.lub_f_sequential = lub.lub_f_formatted = 1;
  lub.lub_f_readonly = lub.lub_fd == STDIN_FILENO;
  lub.lub_f_writeonly = lub.lub_fd == STDOUT_FILENO;
  if (lub.lub_f_readonly) lub.lub_f_status_old = 1;
  return connect_descriptor(lub, false);
}
