// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What statements on internal files share: the LUB that points into the variable, and the step from one element to the
// next. There is no buffer: values are edited and found where the program has them.
#ifndef TAMRUN_STATEMENTS_INTERNAL_FILE_H
#define TAMRUN_STATEMENTS_INTERNAL_FILE_H

#include "statements/statement.h"
#include "tamrun/item_list.h"

/// What distinguishes the beginning of one entry point from that of the others. The names stand in messages.
struct Internal_Rule {
  u8 code;  ///< For_Statement_Code
  bool writes;
  bool formatted;
  char* name_before;   ///< until the variable is known
  char* name;          ///< the variable is of type character
  char* counted_name;  ///< ENCODE and DECODE: bytes with a count
};

/// Takes a unit of its own for the statement and stores flags and control list in it.
[[nodiscard]] Statement_Start begin_internal_statement(const Internal_Rule& rule, For_Context* ctx, For_IO_Flags flags,
                                                       const Control_List& control);

/// Decodes the variable, the first item of the list, and puts the unit at its first record: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] int take_variable(For_Lub& lub, const Internal_Rule& rule, const u8** item_list, void** item_args);

/// Steps to the next record: false at the last one, where the position stays.
inline bool next_internal_record(For_Lub& lub) {
  if (--lub.lub_maxrec < 1) return false;
  lub.lub_a_cursor = lub.lub_a_rec_end;
  lub.lub_a_rec_end += lub.lub_rec_bytes;
  return true;
}

/// Bytes of the record behind the cursor.
inline i64 internal_room(const For_Lub& lub) { return lub.lub_a_rec_end - lub.lub_a_cursor; }

/// True for a value of the list that lies in the variable that is written.
inline bool lies_in_variable(const For_Lub& lub, const u8* data, i64 bytes) {
  const u64 offset = reinterpret_cast<u64>(data) - reinterpret_cast<u64>(lub.lub_a_internal_pos);
  return offset < static_cast<u64>(lub.lub_internal_size) && bytes > 0;
}

#endif
