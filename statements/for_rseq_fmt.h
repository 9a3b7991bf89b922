// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted READ from external units.
#ifndef TAMRUN_STATEMENTS_FOR_RSEQ_FMT_H
#define TAMRUN_STATEMENTS_FOR_RSEQ_FMT_H

#include "tamrun/context.h"
#include "tamrun/io_flags.h"

/// ADVANCE= and SIZE= of a READ.
struct For_Read_Args {
  i32 advance;     ///< 1 YES, 0 NO
  void* size_var;  ///< null: no SIZE=
  u32 size_type;   ///< item type
};

extern "C" {
/// Reads ADVANCE= and SIZE= from the head of the item list, as the high half of the statement's flags says that they are
/// there: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] int for__read_args(const u8** item_list, void** item_args, u32 high_flags, For_Read_Args* out);
}

/// First call. `format` is a compiled format, or with iof_format_text a For_Fmt_Text. With iof_advance_given the item
/// list begins with the text of ADVANCE=, with iof_size_given the variable of SIZE= follows. A control list follows as
/// two more pointers when iof_control_list is set. 0, or the value for IOSTAT=.
TAMRUN_ENTRY int for_read_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  const void* format, ...);
/// Every further call of the statement. Nothing happens when the statement is over.
TAMRUN_ENTRY int for_read_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

#endif
