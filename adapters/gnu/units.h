// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Who serves which unit, the console apart. A unit has one owner as long as it is connected.
#ifndef TAMGNU_UNITS_H
#define TAMGNU_UNITS_H

#include <atomic>

#include "adapters/gnu/gfortran_abi.h"
#include "tamrun/io_flags.h"
#include "tamrun/lub.h"

enum class Owner : u8 {
  none,   ///< not connected as far as the adapter knows
  ours,   ///< the library's
  peers,  ///< the peer's
};

/// Flags that go with every unit from its connection on.
extern For_IO_Flags g_connection_flags;
extern bool g_peers_unformatted;

/// Unformatted records as both sides write them: no option of the compiler and no variable changes their byte order,
/// their length words or the size of subrecords for the peer.
inline bool serves_unformatted() { return !__atomic_load_n(&g_peers_unformatted, __ATOMIC_RELAXED); }
void leave_unformatted_to_peer();

/// The library serves files as well, unless TAMRUN_GNU_FILES says no, or is not set and the program needs the peer for them. Read with the environment of the console.
bool serves_files();
void read_files_environment();

/// One unit number that has ever had an owner. Entries stay, so that a look-up needs no lock.
struct Owned_Unit {
  i32 unit;
  std::atomic<Owner> owner;
  Owned_Unit* next;
};

inline constexpr u32 kOwnerBuckets = 256;  // a power of 2
extern std::atomic<Owned_Unit*> g_owners[kOwnerBuckets];

inline std::atomic<Owned_Unit*>& owner_bucket(i32 unit) {
  return g_owners[static_cast<u32>(unit) & (kOwnerBuckets - 1)];
}

/// The unit's entry, or null.
inline Owned_Unit* find_owned_unit(i32 unit) {
  Owned_Unit* entry = owner_bucket(unit).load(std::memory_order_acquire);
  while (entry != nullptr && entry->unit != unit) entry = entry->next;
  return entry;
}

inline Owner owner_of(i32 unit) {
  const Owned_Unit* entry = find_owned_unit(unit);
  return entry == nullptr ? Owner::none : entry->owner.load(std::memory_order_acquire);
}
void set_owner(i32 unit, Owner owner);
/// The unit's owner, which is `owner` from now on when it had none.
Owner claim(i32 unit, Owner owner);
/// True while the library has a unit other than the console.
bool any_unit_is_ours();
/// What the library holds back goes out, of one unit or, when null, of all that it has.
void flush_our_files(const i32* unit);

/// The flags that go with a unit from its connection on, and those of a statement's specifiers.
For_IO_Flags connection_flags_of_stdout();
/// -fsign-zero, which is GNU Fortran's default: a negative zero is written with its sign.
inline bool keeps_sign_of_zero() { return (g_connection_flags & iof_minus_zero) != 0; }
inline void keep_sign_of_zero(bool keeps) {
  g_connection_flags =
      (g_connection_flags & ~static_cast<For_IO_Flags>(iof_minus_zero)) | (keeps ? For_IO_Flags{iof_minus_zero} : 0);
}
inline For_IO_Flags connection_flags(i32 unit) {
  return unit == UNIT_STDOUT ? connection_flags_of_stdout() : g_connection_flags;
}
inline For_IO_Flags specifier_flags(u32 gfc_flags) {
  if ((gfc_flags & (GFC_ERR | GFC_END | GFC_EOR | GFC_IOSTAT)) == 0) return 0;
  For_IO_Flags flags = 0;
  if ((gfc_flags & GFC_ERR) != 0) flags |= iof_err;
  if ((gfc_flags & GFC_END) != 0) flags |= iof_end;
  if ((gfc_flags & GFC_EOR) != 0) flags |= iof_eor;
  if ((gfc_flags & GFC_IOSTAT) != 0) flags |= iof_iostat;
  return flags;
}

/// Stores what the library answered where compiled code looks for it.
void store_outcome(Gfc_Common& common, int result);
/// The same: false for 0, where nothing is to be stored, else true.
inline bool store_result(Gfc_Common& common, int result) {
  if (result == 0) [[likely]]
    return false;
  store_outcome(common, result);
  return true;
}

#endif
