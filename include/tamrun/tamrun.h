/* SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception */
/*
 * Entry points for C and C++ programs and for other run-time libraries. Compiled Fortran code calls the same ones.
 * docs/abi.md describes the arguments.
 */
#ifndef TAMRUN_TAMRUN_H
#define TAMRUN_TAMRUN_H

#include "tamrun/context.h"
#include "tamrun/io_flags.h"
#include "tamrun/item_list.h"
#include "tamrun/types.h"

/* First and last call of a main program; either argument of the first may be null. */
TAMRUN_ENTRY void for_rtl_init_(int* argc, char** argv);
TAMRUN_ENTRY int for_rtl_finish_(void);

/* Closes all units and ends the process with *status. */
TAMRUN_ENTRY void for_exit(int* status);

/* Reentrancy mode: 0 none, 1 signals blocked, 2 threads (the default), 3 ask only. Returns the mode before. */
TAMRUN_ENTRY int for_set_reentrancy(int* mode);

/*
 * Statements: the first call, and further calls with more items. 0, -1 at the end of the file, -2 at the end of a
 * record, or a message number.
 */
TAMRUN_ENTRY int for_write_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   ...);
TAMRUN_ENTRY int for_write_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  ...);
TAMRUN_ENTRY int for_read_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/* Unformatted. */
TAMRUN_ENTRY int for_write_seq(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                               ...);
TAMRUN_ENTRY int for_write_seq_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_seq(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                              ...);
TAMRUN_ENTRY int for_read_seq_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/* The same with a format: a compiled one, or with iof_format_text the address of its length (i64) and its text. */
TAMRUN_ENTRY int for_write_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   const void* format, ...);
TAMRUN_ENTRY int for_write_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  const void* format, ...);
TAMRUN_ENTRY int for_read_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/* Records of a direct access unit by their number, from 1 on. */
TAMRUN_ENTRY int for_write_dir(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                               i64 record, ...);
TAMRUN_ENTRY int for_write_dir_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_dir(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                              i64 record, ...);
TAMRUN_ENTRY int for_read_dir_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_write_dir_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   i64 record, const void* format, ...);
TAMRUN_ENTRY int for_write_dir_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_dir_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  i64 record, const void* format, ...);
TAMRUN_ENTRY int for_read_dir_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/* Replaces the record that was last read or written. */
TAMRUN_ENTRY int for_rewrite(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...);
TAMRUN_ENTRY int for_rewrite_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_rewrite_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                 const void* format, ...);
TAMRUN_ENTRY int for_rewrite_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/*
 * The same on internal files, whose variable is the first item of the list: of type character or an array of it, or for
 * ENCODE and DECODE an INTEGER(1) array of as many bytes as the count says.
 */
TAMRUN_ENTRY int for_write_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...);
TAMRUN_ENTRY int for_write_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...);
TAMRUN_ENTRY int for_read_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_write_int_fmt(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args,
                                   const void* format, ...);
TAMRUN_ENTRY int for_write_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMRUN_ENTRY int for_read_int_fmt(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  const void* format, ...);
TAMRUN_ENTRY int for_read_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);

/* OPEN and CLOSE: keyed items and their words. */
TAMRUN_ENTRY int for_open(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);
TAMRUN_ENTRY int for_close(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);

/* FLUSH: what the unit holds back goes to the file. With iof_control_list IOMSG= may follow. */
TAMRUN_ENTRY int for_flush(For_Context* ctx, int unit, For_IO_Flags flags, ...);

/* REWIND, BACKSPACE, ENDFILE, and the EOF function, which answers 0 for false; and what works on a record by number. */
TAMRUN_ENTRY int for_rewind(For_Context* ctx, int unit, For_IO_Flags flags, ...);
TAMRUN_ENTRY int for_backspace(For_Context* ctx, int unit, For_IO_Flags flags, ...);
TAMRUN_ENTRY int for_endfile(For_Context* ctx, int unit, For_IO_Flags flags, ...);
TAMRUN_ENTRY int for_eof(For_Context* ctx, int unit, For_IO_Flags flags, ...);
TAMRUN_ENTRY int for_find(For_Context* ctx, int unit, For_IO_Flags flags, u64 record, ...);
TAMRUN_ENTRY int for_delete(For_Context* ctx, int unit, For_IO_Flags flags, u64 record, ...);
TAMRUN_ENTRY int for_unlock(For_Context* ctx, int unit, For_IO_Flags flags);
TAMRUN_ENTRY int for_define_file(For_Context* ctx, int unit, For_IO_Flags flags, i32 maxrec, i32 recl, void* assoc_var,
                                 u8 assoc_type);

/* INQUIRE: keyed items, of which most are variables that take an answer. */
TAMRUN_ENTRY int for_inquire(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);

#endif
