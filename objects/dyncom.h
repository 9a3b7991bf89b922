// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Dynamic COMMON: blocks that get their storage when the first procedure that names them is entered.
#ifndef TAMRUN_OBJECTS_DYNCOM_H
#define TAMRUN_OBJECTS_DYNCOM_H

#include "tamrun/types.h"

/// One block of a request.
struct For_Dyncom_Block {
  const char* dcb_name;  ///< NUL-terminated; kept, not copied
  void** dcb_where;      ///< receives the block's address
  i64 dcb_size;          ///< declared size in bytes
};
static_assert(sizeof(For_Dyncom_Block) == 24);

enum For_Dyncom_Flags : u64 { DCR_FILL = 0x1 };  ///< fill new blocks

/// Argument of f90_dyncom, laid out by compiled code.
struct For_Dyncom_Request {
  i64 dcr_count;
  const char* dcr_procedure;  ///< NUL-terminated name of the caller
  u64 dcr_flags;              ///< For_Dyncom_Flags
  For_Dyncom_Block dcr_block[1];
};
static_assert(offsetof(For_Dyncom_Request, dcr_block) == 24);

/// A block allocator: fills *address and sets *size to what it gave, at least what was asked. `name` is the block's.
typedef int (*For_Ftn_Alloc)(void** address, i64* size, const char* name);

/// Gives each block of the request its address. A block whose size has grown, or that cannot be had, ends the program.
TAMRUN_ENTRY void f90_dyncom(const For_Dyncom_Request* request);
/// Installs the block allocator, null for none; returns the one before.
TAMRUN_ENTRY For_Ftn_Alloc for__set_ftn_alloc(For_Ftn_Alloc routine);
/// The block allocator of programs that bring none: 0 or MSG_NO_MEMORY with *size 0.
TAMRUN_ENTRY int default_FTN_ALLOC(void** address, i64* size);

#endif
