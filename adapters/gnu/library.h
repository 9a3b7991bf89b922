// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The library's entry points that the adapter calls and that an older libtamrunmt may lack. What is missing stays with
// the peer.
#ifndef TAMGNU_LIBRARY_H
#define TAMGNU_LIBRARY_H

#include "tamrun/tamrun.h"

extern "C" {
#define TAMGNU_WEAK __attribute__((weak))
TAMGNU_WEAK int for_write_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                  const void* format, ...);
TAMGNU_WEAK int for_write_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMGNU_WEAK int for_read_seq_fmt(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                 const void* format, ...);
TAMGNU_WEAK int for_read_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMGNU_WEAK int for_read_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args,
                                 ...);
TAMGNU_WEAK int for_read_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args);
TAMGNU_WEAK int for_open(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);
TAMGNU_WEAK int for_close(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);
#undef TAMGNU_WEAK
}

#endif
