// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The table of files, by name, that joins all units on one file.
#ifndef TAMRUN_UNITS_FILE_INFO_TABLE_H
#define TAMRUN_UNITS_FILE_INFO_TABLE_H

#include "tamrun/lub.h"

inline constexpr int kFileInfoRows = 521;

struct For_File_Info_Row {
  For_File_Info* row_head;
  For_Resource row_resource;
  For_Saved_Mask row_sigmask;
};

extern "C" {
extern For_File_Info_Row for__file_info_hash_table[kFileInfoRows];

/// Gives the LUB the record of its file name: 0 or a message number.
[[nodiscard]] int for__add_to_lf_table(For_Lub* lub);
[[nodiscard]] int for__rm_from_lf_table(For_Lub* lub);
}

/// Row of a file name of `length` bytes, 0 to kFileInfoRows - 1.
int file_info_row(const char* key, size_t length);

#endif
