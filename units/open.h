// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connecting and disconnecting units.
#ifndef TAMRUN_UNITS_OPEN_H
#define TAMRUN_UNITS_OPEN_H

#include "tamrun/io_flags.h"
#include "tamrun/lub.h"
#include "tamrun/open_args.h"

/// The OPEN statement: 0 or what the failure road gives.
TAMRUN_ENTRY int for_open(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);

/// The CLOSE statement: 0 or what the failure road gives.
TAMRUN_ENTRY int for_close(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values);

/// Connects an open descriptor to a unit. `options`, of `length` bytes, holds NAME=VALUE pairs separated by commas. 0 or
/// EBADF, ENOMEM, EINVAL; after a failure the descriptor is still the caller's.
TAMRUN_ENTRY int for_fdopen(int fd, int unit, const char* options, size_t length);

/// Value of a DOS-style device name, which is cut at its extension, or -1.
TAMRUN_ENTRY int for__is_special_device(For_Lub* lub, char* name);

extern "C" {
/// Fills the block from the keyword list of an OPEN: 0 or a message number, with IOMSG= in the block all the same.
[[nodiscard]] int for__open_args(const u8* keys, void* values, For_Open_Args* args);
/// The same for a CLOSE.
[[nodiscard]] int for__close_args(const u8* keys, void* values, For_Close_Args* args);

/// Matches a keyword's text, without regard to case and trailing blanks, with the table of `key`: 0, or
/// MSG_OPEN_KEYWORD_VALUE, MSG_CLOSE_KEYWORD_VALUE or MSG_IO_KEYWORD_VALUE by `context` (For_Key_Context).
[[nodiscard]] int for__open_key(const char* text, int length, int key, i64* value, int context);

/// Connects an unconnected unit: 0 or a message number. A unit that failed is left half-filled for FOR_IOR_ABANDON.
[[nodiscard]] int for__open_proc(For_Open_Args* args, For_Lub* lub);

/// The connection that a unit gets without an OPEN statement: 0 or a message number. `status` is 4 for output and 1
/// for input; all three are -1 from INQUIRE, which only decides the default state.
[[nodiscard]] int for__open_default(For_Lub* lub, int access, int status, int form);

/// What an OPEN of a connected unit means: 0 the file it has, FOR_REOPEN_CLOSED another file, the unit is blank now;
/// otherwise a message number.
[[nodiscard]] int for__reopen_file(For_Open_Args* args, For_Lub* lub);

/// Changes what an OPEN may change on a connected file and holds the other keywords against the connection: 0 or a
/// message number, with lub_a_message_arg set where the text names a keyword.
[[nodiscard]] int for__update_reopen_keywords(For_Open_Args* args, For_Lub* lub);
}

/// Answer of for__reopen_file: the former file has been closed.
inline constexpr int FOR_REOPEN_CLOSED = -1;

/// OPENW_DESCRIPTOR for a descriptor that is open already.
constexpr u64 supplied_descriptor(int fd) { return 1 | static_cast<u64>(static_cast<u32>(fd)) << 32; }
constexpr bool has_descriptor(u64 word) { return (word & 0xffffffff) != 0; }
constexpr int descriptor_of(u64 word) { return static_cast<int>(word >> 32); }

#endif
