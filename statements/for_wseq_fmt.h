// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted WRITE and PRINT to external units.
#ifndef TAMRUN_STATEMENTS_FOR_WSEQ_FMT_H
#define TAMRUN_STATEMENTS_FOR_WSEQ_FMT_H

#include "tamrun/context.h"
#include "tamrun/io_flags.h"

/// First call. `format` is a compiled format, or with iof_format_text a For_Fmt_Text. With iof_advance_given the item
/// list begins with the text of ADVANCE=. A control list follows as two more pointers when iof_control_list is set.
/// 0, or the value for IOSTAT=.
TAMRUN_ENTRY int for_write_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   const void* format, ...);
/// Every further call of the statement. Nothing happens when the statement is over.
TAMRUN_ENTRY int for_write_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

#endif
