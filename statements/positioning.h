// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the statements that position a file have in common. Each is over in one call.
#ifndef TAMRUN_STATEMENTS_POSITIONING_H
#define TAMRUN_STATEMENTS_POSITIONING_H

#include "core/failure.h"
#include "statements/statement.h"

/// Takes the unit and stores the statement's flags and control list.
[[nodiscard]] Statement_Start begin_positioning(For_Statement_Code code, For_Context* ctx, int unit, For_IO_Flags flags,
                                                const Control_List& control);

/// Whether a record that ADVANCE='NO' has left half read goes on with the next READ.
enum class Open_Read : u8 { ends, stays };

/// Ends the statement: what compiled code gets. `at_eof` tells whether the unit stands behind its end from then on.
int end_positioning(For_Lub& lub, bool at_eof = false, Open_Read open_read = Open_Read::ends);

/// A default unit that is not connected to a file: to position it means nothing.
inline bool is_terminal(const For_Lub& lub) {
  return lub.lub_default_state != DEFAULT_ORDINARY && !(lub.lub_f_connected && lub.lub_f_seekable);
}

/// Puts out what the unit holds back: 0 or `message`, with lub_errno set.
[[nodiscard]] int write_held_output(For_Lub& lub, int message);

/// Gives what was read ahead back to the file: 0 or `message`, with lub_errno set.
[[nodiscard]] int give_read_ahead_back(For_Lub& lub, int message);

/// Ends a length-byte file that is being written: 0 or a message number.
[[nodiscard]] int finish_length_byte_file(For_Lub& lub);

/// Connects an unconnected unit as for__open_default does with these arguments: 0 or a message number.
[[nodiscard]] int connect_unit(For_Lub& lub, For_IO_Flags flags, int access, int form);

/// Moves a direct access unit to a record: 0 or `message`, with lub_errno set.
[[nodiscard]] int move_to_record(For_Lub& lub, u64 record, int message);

/// True when the record number is one of the file's.
inline bool is_record_number(const For_Lub& lub, u64 record) {
  return record != 0 && (lub.lub_maxrec == 0 || record <= static_cast<u64>(lub.lub_maxrec));
}

/// Gives ASSOCIATEVARIABLE= the next record: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] int store_associated_variable(For_Lub& lub);

#endif
