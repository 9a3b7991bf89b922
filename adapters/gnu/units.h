// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Who serves which unit, the console apart. A unit has one owner as long as it is connected.
#ifndef TAMGNU_UNITS_H
#define TAMGNU_UNITS_H

#include "adapters/gnu/gfortran_abi.h"
#include "tamrun/io_flags.h"

enum class Owner : u8 {
  none,   ///< not connected as far as the adapter knows
  ours,   ///< the library's
  peers,  ///< the peer's
};

/// Unformatted records as both sides write them: no option of the compiler and no variable changes their byte order,
/// their length words or the size of subrecords for the peer.
bool serves_unformatted();
void leave_unformatted_to_peer();

/// The library serves files as well, unless TAMRUN_GNU_FILES says no, or is not set and the program needs the peer for them. Read with the environment of the console.
bool serves_files();
void read_files_environment();

Owner owner_of(i32 unit);
void set_owner(i32 unit, Owner owner);
/// The unit's owner, which is `owner` from now on when it had none.
Owner claim(i32 unit, Owner owner);
/// True while the library has a unit other than the console.
bool any_unit_is_ours();
/// What the library holds back goes out, of one unit or, when null, of all that it has.
void flush_our_files(const i32* unit);

/// The flags that go with a unit from its connection on, and those of a statement's specifiers.
For_IO_Flags connection_flags(i32 unit);
For_IO_Flags specifier_flags(u32 gfc_flags);

/// Stores what the library answered where compiled code looks for it: false for 0, else true.
bool store_result(Gfc_Common& common, int result);

#endif
