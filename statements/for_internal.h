// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// READ and WRITE of internal files, ENCODE and DECODE. The first item of the list is the variable: of type character, an
// array of them for several records, or for ENCODE and DECODE an INTEGER(1) array of as many bytes as the count says.
#ifndef TAMRUN_STATEMENTS_FOR_INTERNAL_H
#define TAMRUN_STATEMENTS_FOR_INTERNAL_H

#include "tamrun/context.h"
#include "tamrun/io_flags.h"

// First calls. `format` is a compiled format, or with iof_format_text a For_Fmt_Text. A control list follows as two more
// pointers when iof_control_list is set. 0, or the value for IOSTAT=.
TAMRUN_ENTRY int for_write_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...);
TAMRUN_ENTRY int for_read_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...);
TAMRUN_ENTRY int for_write_int_fmt(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   const void* format, ...);
TAMRUN_ENTRY int for_read_int_fmt(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  const void* format, ...);

// Every further call of the statement.
TAMRUN_ENTRY int for_write_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_write_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

#endif
