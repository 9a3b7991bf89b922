// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Which file a unit means.
#ifndef TAMRUN_UNITS_FILE_NAME_H
#define TAMRUN_UNITS_FILE_NAME_H

#include "tamrun/lub.h"

#include <string_view>

/// Longest file name, the terminating NUL not counted.
inline constexpr int kMaxFileName = 4096;

/// Room for a file name and its NUL.
using File_Name_Buffer = char[kMaxFileName + 1];

/// Drops leading blanks, then trailing blanks and NULs.
std::string_view trim_file_name(std::string_view text);

/// What of an OPEN or INQUIRE names the file: five words.
struct For_File_Name_Args {
  u64 status;  ///< value of STATUS=, 0 absent; cleared when a connected unit keeps its name
  const char* file;
  i64 file_length;
  const char* default_file;
  i64 default_file_length;
};
static_assert(sizeof(For_File_Name_Args) == 40);

/// The variable that names the file of a unit without a number. Null for other units, and for all units while blank
/// names come from the command line, unless the program has the old defaults.
const char* unnumbered_unit_variable(const For_Lub& lub);

extern "C" {
/// Writes the path, of at most kMaxFileName bytes and a NUL, to `out`. *needs_open is 1 when the file must still be
/// opened by name, 0 when lub_fd holds its descriptor; *positionable is 0 for a standard stream. 0, MSG_FILE_NAME,
/// MSG_PATH_TOO_LONG or the failure of the dialogue that asks for a name.
[[nodiscard]] int for__compute_filename(For_Lub* lub, For_File_Name_Args* ctx, char* out, int* needs_open,
                                        int* positionable);

/// Writes "/proc/<pid>/fd/<digit>" to a zeroed buffer, the digit for descriptors 0 to 2 only.
void fname_from_piped_fd(int fd, int pid, char* out);
}

#endif
