// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// State shared by all units that are connected to one file.
#ifndef TAMRUN_FILE_INFO_H
#define TAMRUN_FILE_INFO_H

#include "tamrun/types.h"

struct For_Lub;

/// A pending end of line belongs to the file or terminal, not to the unit. Touched only by a thread that holds one
/// of the units on the file.
struct For_File_Info {
  For_File_Info* fi_next;
  For_File_Info* fi_prev;
  char* fi_name;          ///< own copy of the key, NUL-terminated
  For_Lub* saved_lub;     ///< unit that left a record open
  For_Lub* fi_cc_owner;   ///< unit of the last carriage-control record
  i32 fi_row;             ///< row of for__file_info_hash_table
  i32 fi_references;      ///< units on this file
  u8 fi_cc_after_cr;      ///< the last record ended in CR: a line feed is owed
  u8 fi_cc_after_prompt;  ///< the last record left its line open: a line feed is owed
  u8 fi_record_open;      ///< a non-advancing output record is open
  u8 fi_read_open;        ///< a non-advancing input record is open
  u8 fi_cc_unterminated;  ///< the last output went without its terminator
};

#endif
