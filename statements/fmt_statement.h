// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What formatted statements share beside their loop: how the state block begins and how it is given up.
#ifndef TAMRUN_STATEMENTS_FMT_STATEMENT_H
#define TAMRUN_STATEMENTS_FMT_STATEMENT_H

#include "statements/fmt_loop.h"
#include "statements/statement.h"

/// Clears the state block, takes the modes of the unit and the format, which is compiled if it is text: 0, or a message
/// with nothing held.
[[nodiscard]] int begin_format(For_Lub& lub, For_IO_Flags flags, const void* format);

/// Frees a run-time format and fails the statement: what compiled code gets.
int fail_formatted(For_Lub& lub, int message, int user_code);
inline int fail_formatted(For_Lub& lub, int message) { return fail_formatted(lub, message, message); }

/// Ends the statement, with the output conversion error that it remembers if there is one: what compiled code gets.
int end_formatted(For_Lub& lub);

/// The file's state of open records; `none` stands in for a connection without one.
inline For_File_Info& open_records(For_Lub& lub, For_File_Info& none) {
  return lub.lub_a_file_info != nullptr ? *lub.lub_a_file_info : none;
}

#endif
