// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted WRITE to sequential and stream units.
#ifndef TAMRUN_STATEMENTS_FOR_WSEQ_H
#define TAMRUN_STATEMENTS_FOR_WSEQ_H

#include "tamrun/context.h"
#include "tamrun/io_flags.h"

/// First call. A control list follows as two more pointers when iof_control_list is set. 0, or the value for IOSTAT=.
TAMRUN_ENTRY int for_write_seq(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                               ...);
/// Every further call of the statement.
TAMRUN_ENTRY int for_write_seq_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/// Begins a record: 0 or a message number. A child statement goes on in its parent's.
[[nodiscard]] int begin_unformatted_record(For_Lub& lub);
/// Ends the record, whichever way it has gone to the file: 0 or a message number.
[[nodiscard]] int finish_unformatted_record(For_Lub& lub);

#endif
