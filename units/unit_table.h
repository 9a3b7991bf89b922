// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The unit table: finding a LUB, holding it for a statement, giving it back.
#ifndef TAMRUN_UNITS_UNIT_TABLE_H
#define TAMRUN_UNITS_UNIT_TABLE_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"
#include "units/lub_storage.h"

/// Rows of the table: units -6 to 99 have one each, all others share the hashed rows.
inline constexpr int kDirectRows = 106;
inline constexpr int kHashedRows = 521;
inline constexpr int kUnitRows = kDirectRows + kHashedRows;

/// Numbers that NEWUNIT= gives out, nearest to zero first.
inline constexpr int kFirstNewunit = -7;
inline constexpr int kLastNewunit = -32768;

/// Row of the unit table.
struct For_Lub_Row {
  For_Resource row_resource;
  For_Saved_Mask row_sigmask;
  For_Lub* row_head;
  u32 row_busy;    ///< 1 while the row is held
  u64 row_thread;  ///< owning thread
  u32 row_links;   ///< simple semaphore over row_head and the chain behind it; innermost of all locks
};

extern "C" {
extern For_Lub_Row for__lub_table[kUnitRows];

// for__acquire_lun, for__release_lun, for__deallocate_lub, for__get_next_lub and for__preconnected_units_create are
// declared in tamrun/hooks.h.

/// Allocates and initialises a block: 0 or MSG_NO_MEMORY. The block is not in the table.
[[nodiscard]] int for__create_lub(int unit, For_Lub** out);

/// `type` is the item type of the NEWUNIT= variable: 0 or MSG_INTEGER_ASSIGNMENT_OVERFLOW.
[[nodiscard]] int for__get_free_newunit(int* unit, int type);
void for__release_newunit(int unit);
}

/// Writes out the record that lub's file-info record holds open for another unit: 0 or what the failure road returned.
/// `keep_open_mark` leaves fi_record_open as it is.
[[nodiscard]] int write_held_record(For_Lub& lub, bool keep_open_mark);

/// What a statement does about a record that another unit left open on the file of `lub`: 0, a message number of the
/// writing, or MSG_INTERNAL_CONSISTENCY for a statement that may not come here.
[[nodiscard]] int process_existing_lub(For_Lub& lub, int statement);

/// The same for a unit that has just been taken: a failure gives it back.
[[nodiscard]] int finish_record_of_file(For_Lub& lub, int statement);
[[nodiscard]] inline int process_taken_lub(For_Lub& lub, int statement) {
  const For_File_Info* file = lub.lub_a_file_info;
  if (file == nullptr || (lub.lub_f_formatted && !file->fi_record_open)) return 0;
  return finish_record_of_file(lub, statement);
}

/// for__release_lun for the unit of a LUB that the caller's statement has, without a look into the table.
int release_held_lun(For_Lub& lub);

/// Frees what a LUB that stands in no table owns, and the LUB.
void free_scratch_lub(For_Lub* lub);

/// Gives the unit its zeroed state block: 0 or MSG_NO_MEMORY.
[[nodiscard]] int allocate_state_block(For_Lub& lub);

/// Empties the evaporated list.
TAMRUN_ENTRY void free_evaporated_LUBs(void);

#endif
