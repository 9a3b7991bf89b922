// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The connection that a unit gets without an OPEN statement.

#include "core/failure.h"
#include "units/connection.h"
#include "units/open.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

/// Arguments of an INQUIRE, which only settles the default state.
constexpr int kDecideOnly = -1;
constexpr int kAccessSequential = 1, kStatusOld = 1, kFormFormatted = 1;

/// Longest path, the terminating NUL not counted.
constexpr size_t kMaxPath = 4096;
constexpr mode_t kFileMode = 0666;

/// The variable that names a default unit's file, or null.
const char* file_variable(int unit) {
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
      return nullptr;
  }
}

bool is_default_unit(int unit) {
  return unit == UNIT_STDERR || unit == UNIT_STDIN || unit == UNIT_STDOUT || file_variable(unit) != nullptr;
}

/// Variables name the files of the units without a number, unless blank names come from the command line.
const char* unnumbered_unit_file(const For_Lub& lub) {
  const char* variable = file_variable(lub.lub_unit);
  if (variable == nullptr || (lub.lub_f_files_from_cmd && !lub.lub_f_legacy_defaults)) return nullptr;
  return getenv(variable);
}

/// Value of FORTn for unit n, or null.
const char* numbered_unit_file(int unit) {
  char variable[sizeof "FORT-2147483648"];
  snprintf(variable, sizeof variable, "FORT%d", unit);
  return getenv(variable);
}

/// The full path of the file that the environment or the unit number names: 0, MSG_FILE_NAME or MSG_PATH_TOO_LONG.
int default_path(const For_Lub& lub, char (&path)[kMaxPath + 1]) {
  char numbered[sizeof "fort.-2147483648"];
  const char* name = unnumbered_unit_file(lub);
  if (name == nullptr) name = numbered_unit_file(lub.lub_unit);
  if (name == nullptr) {
    snprintf(numbered, sizeof numbered, "fort.%d", lub.lub_unit);
    name = numbered;
  }
  while (*name == ' ') ++name;
  size_t length = strlen(name);
  while (length > 0 && name[length - 1] == ' ') --length;
  if (length == 0) return MSG_FILE_NAME;

  size_t start = 0;
  if (*name != '/') {
    if (getcwd(path, sizeof path) == nullptr) strcpy(path, ".");
    start = strlen(path);
    if (path[start - 1] != '/') path[start++] = '/';
  }
  if (start + length > kMaxPath) return MSG_PATH_TOO_LONG;
  memcpy(path + start, name, length);
  path[start + length] = '\0';
  return 0;
}

int open_failure(int error) {
  switch (error) {
    case ENOENT:
      return MSG_FILE_NOT_FOUND;
    case EACCES:
    case EROFS:
      return MSG_PERMISSION_DENIED;
    case EMFILE:
      return MSG_TOO_MANY_OPEN_FILES;
    default:
      return MSG_OPEN_FAILURE;
  }
}

/// Opens the file for reading and writing, or for reading where no more is allowed.
int open_file(For_Lub& lub, const char* path, int status) {
  const int create = status == kStatusOld ? 0 : O_CREAT;
  lub.lub_fd = open(path, O_RDWR | create, kFileMode);
  if (lub.lub_fd < 0 && !lub.lub_f_legacy_defaults && (errno == EPERM || errno == EACCES || errno == EROFS)) {
    lub.lub_fd = open(path, O_RDONLY);
    if (lub.lub_fd >= 0) lub.lub_f_readonly = lub.lub_f_readonly_keyword = 1;
  }
  if (lub.lub_fd >= 0) return 0;
  lub.lub_errno = errno;
  return open_failure(errno);
}

/// A sequential connection to the file that the environment or the unit number names.
int connect_named_file(For_Lub& lub, int access, int status, int form) {
  if (access != kAccessSequential) return MSG_RECORD_LENGTH;
  char path[kMaxPath + 1];
  if (const int failed = default_path(lub, path)) return failed;
  if (const int failed = store_file_name(lub, path)) return failed;
  lub.lub_f_sequential = 1;
  if (form == kFormFormatted)
    lub.lub_f_formatted = 1;
  else if (lub.lub_f_ms_unformatted_default)
    lub.lub_f_ms_unformatted = 1;
  else
    lub.lub_f_unformatted = 1;
  if (status == kStatusOld) lub.lub_f_status_old = 1;
  if (const int failed = open_file(lub, path, status)) return failed;
  return connect_descriptor(lub, true);
}

}  // namespace

extern "C" int for__open_default(For_Lub* lub, int access, int status, int form) {
  if (lub->lub_default_state == DEFAULT_UNCONNECTED) {
    if (!is_default_unit(lub->lub_unit)) {
      TAMRUN_INTERNAL_ERROR("for_open");
      return MSG_INTERNAL_CONSISTENCY;
    }
    if (unnumbered_unit_file(*lub) != nullptr)
      lub->lub_default_state = DEFAULT_FROM_ENV;
    else if (access != kDecideOnly && (file_variable(lub->lub_unit) || !numbered_unit_file(lub->lub_unit)))
      return connect_console(*lub);
  }
  if (access == kDecideOnly) return 0;
  return connect_named_file(*lub, access, status, form);
}
