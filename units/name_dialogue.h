// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Asking at the terminal for the name of a file.
#ifndef TAMRUN_UNITS_NAME_DIALOGUE_H
#define TAMRUN_UNITS_NAME_DIALOGUE_H

#include "units/file_name.h"

#include <string_view>

/// Asks for the name of the file that `asker` is to be connected to, until the reply is not blank. *name is the reply
/// without the blanks around it, in `buffer`. 0, MSG_PATH_TOO_LONG, MSG_FILE_NAME after a failure to ask that has been
/// reported, or why the console could not be had or read, with the cause in lub_errno.
[[nodiscard]] int ask_for_file_name(For_Lub& asker, File_Name_Buffer& buffer, std::string_view* name);

#endif
