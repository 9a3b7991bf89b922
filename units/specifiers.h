// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ERR=, IOSTAT= and IOMSG= of statements that are over in one call.
#ifndef TAMRUN_UNITS_SPECIFIERS_H
#define TAMRUN_UNITS_SPECIFIERS_H

#include "tamrun/io_flags.h"
#include "tamrun/lub.h"

/// What a statement gives for its failures.
struct Specifiers {
  For_IO_Flags flags;  ///< iof_err and iof_iostat count
  char* iomsg = nullptr;
  i64 iomsg_length = 0;

  bool catch_failures() const { return (flags & (iof_err | iof_iostat)) != 0; }
};

void store_specifiers(For_Lub& lub, const Specifiers& specifiers);

/// Ends the specifiers of the running statement.
void clear_specifiers(For_Lub& lub);

/// Reports a failure that happened before the statement had a unit: what compiled code gets.
int fail_without_unit(int code, int unit, const Specifiers& specifiers);

/// Refuses a statement that a child statement's routine made on its parent's unit, whose own specifiers stay: what
/// compiled code gets.
int refuse_in_child(For_Lub& lub, int code, const Specifiers& specifiers);

#endif
