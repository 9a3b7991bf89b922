// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What becomes of a file when its unit is closed.

#include "core/heap.h"
#include "tamrun/messages.h"
#include "tamrun/open_args.h"
#include "units/connection.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

int close_failure(For_Lub& lub) {
  lub.lub_errno = errno;
  return MSG_CLOSE_ERROR;
}

/// Hands a command to the shell, which goes on in the background: 0, MSG_CLOSE_ERROR or MSG_NO_MEMORY. `room` is that
/// of the command without the file's names.
template <class... Parts>
int run_in_background(For_Lub& lub, i64 names, i64 room, const char* format, Parts... parts) {
  const i64 bytes = names * lub.lub_name_len + room;
  Vm_Block<char> command;
  if (const int status = command.allocate(bytes)) return status;
  snprintf(command.get(), static_cast<size_t>(bytes), format, parts...);
  return system(command.get()) == -1 ? close_failure(lub) : 0;
}

/// Runs the file as a script.
int submit(For_Lub& lub) {
  constexpr i64 kNames = 3, kRoom = 60;
  const char* name = lub.lub_a_file_name;
  if (!lub.lub_f_dispose_delete)
    return run_in_background(lub, kNames, kRoom, "(%s %s; %s ;%s %s) &", "chmod +x", name, name, "chmod -x", name);
  lub.lub_f_dispose_delete = 0;
  return run_in_background(lub, kNames, kRoom, "(%s %s;%s ;%s %s) &", "chmod +x", name, name, "rm", name);
}

int print(For_Lub& lub) {
  constexpr i64 kRoom = 30, kRoomWithDelete = 40;
  const char* name = lub.lub_a_file_name;
  if (!lub.lub_f_dispose_delete) return run_in_background(lub, 1, kRoom, "(%s %s) &", "lpr", name);
  lub.lub_f_dispose_delete = 0;
  return run_in_background(lub, 2, kRoomWithDelete, "(%s %s;%s %s) &", "lpr", name, "rm", name);
}

}  // namespace

int set_disposition(For_Lub& lub, u64 value, bool may_delete) {
  if (value == 0) return 0;
  if (value > DISPOSE_SUBMIT_DELETE) return MSG_INVALID_ARGUMENT;
  const bool removes = value == DISPOSE_DELETE || value == DISPOSE_PRINT_DELETE || value == DISPOSE_SUBMIT_DELETE;
  if (lub.lub_f_scratch && value != DISPOSE_DELETE) return MSG_INCONSISTENT_OPEN_CLOSE;
  if (removes && !may_delete) return MSG_INCONSISTENT_OPEN_CLOSE;
  lub.lub_f_dispose_delete = removes;
  lub.lub_f_dispose_print = value == DISPOSE_PRINT || value == DISPOSE_PRINT_DELETE;
  lub.lub_f_dispose_submit = value == DISPOSE_SUBMIT || value == DISPOSE_SUBMIT_DELETE;
  return 0;
}

int dispose_of_file(For_Lub& lub) {
  int result = 0;
  if (lub.lub_f_dispose_submit) result = submit(lub);
  if (result == MSG_NO_MEMORY) return result;
  if (lub.lub_f_dispose_print) {
    if (const int status = print(lub)) result = status;
  }
  if (result == MSG_NO_MEMORY) return result;
  if ((lub.lub_f_scratch || lub.lub_f_dispose_delete) && unlink(lub.lub_a_file_name) != 0) result = close_failure(lub);
  return result;
}
