// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The entry points of OPEN and CLOSE: who is to have the unit, and the statement as the library takes it.

#include <string.h>

#include "adapters/gnu/console.h"
#include "adapters/gnu/keywords.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/refuse.h"
#include "adapters/gnu/units.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

namespace {

bool is_given(const Gfc_Open& block, u32 flag) { return (block.common.flags & flag) != 0; }

/// Unformatted connections are those that say so, and of streams and direct access those that do not say otherwise.
bool is_unformatted(const Gfc_Open& block) {
  if (is_given(block, GFC_OPEN_FORM)) return is_word(block.form, block.form_len, "UNFORMATTED");
  return is_given(block, GFC_OPEN_ACCESS) &&
         (is_word(block.access, block.access_len, "STREAM") || is_word(block.access, block.access_len, "DIRECT"));
}

bool is_served(const Gfc_Open& block) {
  if (is_unformatted(block) && !serves_unformatted()) return false;
  return !is_given(block, GFC_OPEN_ASYNCHRONOUS) || !is_word(block.asynchronous, block.asynchronous_len, "YES");
}

/// Only changes the modes of a unit that is connected.
bool changes_modes(const Gfc_Open& block) {
  return !is_given(block, GFC_OPEN_FILE) && !is_given(block, GFC_OPEN_NEWUNIT) &&
         !(is_given(block, GFC_OPEN_STATUS) && is_word(block.status, block.status_len, "SCRATCH"));
}

/// IOMSG= first, so that a bad value of any other specifier can be told there.
class Open_Keys : public Keyword_List<22> {
 public:
  explicit Open_Keys(const Gfc_Open& block) {
    const u32 flags = block.common.flags;
    text(flags & GFC_IOMSG, KEY_IOMSG, block.common.iomsg, block.common.iomsg_len);
    text(flags & GFC_OPEN_FILE, KEY_FILE, block.file, block.file_len);
    // The library takes an OPEN without STATUS= for that of a new file.
    constexpr const char* kDefaultStatus = "UNKNOWN";
    if ((flags & GFC_OPEN_STATUS) != 0)
      text(true, KEY_STATUS, block.status, block.status_len);
    else
      text(true, KEY_STATUS, kDefaultStatus, static_cast<i64>(strlen(kDefaultStatus)));
    text(flags & GFC_OPEN_ACCESS, KEY_ACCESS, block.access, block.access_len);
    text(flags & GFC_OPEN_FORM, KEY_FORM, block.form, block.form_len);
    constexpr const char* kUnformatted = "UNFORMATTED";
    constexpr const char* kBigEndian = "BIG_ENDIAN";
    const bool unformatted = is_unformatted(block);
    text(unformatted && (flags & GFC_OPEN_FORM) == 0, KEY_FORM, kUnformatted, static_cast<i64>(strlen(kUnformatted)));
    number(flags & GFC_OPEN_RECL, unformatted ? KEY_RECL_BYTES : KEY_RECL, block.recl);
    text(flags & GFC_OPEN_BLANK, KEY_BLANK, block.blank, block.blank_len);
    text(flags & GFC_OPEN_POSITION, KEY_POSITION, block.position, block.position_len);
    // READONLY comes as ACTION='READ' as well.
    const bool readonly = (flags & GFC_OPEN_READONLY) != 0 && block.readonly != 0;
    number(readonly, KEY_READONLY, 1);
    text((flags & GFC_OPEN_ACTION) && !readonly, KEY_ACTION, block.action, block.action_len);
    text(flags & GFC_OPEN_DELIM, KEY_DELIM, block.delim, block.delim_len);
    text(flags & GFC_OPEN_PAD, KEY_PAD, block.pad, block.pad_len);
    // SWAP is the peer's name for the byte order that the machine does not have.
    const bool swap = (flags & GFC_OPEN_CONVERT) && is_word(block.convert, block.convert_len, "SWAP");
    text(swap, KEY_CONVERT, kBigEndian, static_cast<i64>(strlen(kBigEndian)));
    text((flags & GFC_OPEN_CONVERT) && !swap, KEY_CONVERT, block.convert, block.convert_len);
    text(flags & GFC_OPEN_DECIMAL, KEY_DECIMAL, block.decimal, block.decimal_len);
    text(flags & GFC_OPEN_ENCODING, KEY_ENCODING, block.encoding, block.encoding_len);
    text(flags & GFC_OPEN_ROUND, KEY_ROUND, block.round, block.round_len);
    text(flags & GFC_OPEN_SIGN, KEY_SIGN, block.sign, block.sign_len);
    text(flags & GFC_OPEN_CARRIAGECONTROL, KEY_CARRIAGECONTROL, block.carriagecontrol, block.carriagecontrol_len);
    text(flags & GFC_OPEN_SHARE, KEY_SHARE, block.share, block.share_len);
    variable(flags & GFC_OPEN_NEWUNIT, KEY_NEWUNIT, block.newunit);
  }
};

/// Both sides count NEWUNIT= numbers, from different starts.
[[noreturn]] void refuse_number(const Gfc_Open& block, i32 unit, const char* owner) {
  refuse("OPEN: unit %d is connected in %s already (%s, line %d)", unit, owner, block.common.source_name,
         block.common.source_line);
}

void open_ours(Gfc_Open& block) {
  For_Context context{};
  Open_Keys keys(block);
  const i32 unit = block.common.unit;
  const For_IO_Flags flags = connection_flags(unit) | specifier_flags(block.common.flags);
  if (store_result(block.common, for_open(&context, unit, flags, keys.list(), keys.args()))) return;
  const i32 connected = is_given(block, GFC_OPEN_NEWUNIT) ? *block.newunit : unit;
  if (owner_of(connected) == Owner::peers) refuse_number(block, connected, "libgfortran");
  set_owner(connected, Owner::ours);
}

/// A CLOSE of ours without specifiers: what it returns is not told to anyone.
void close_quietly(i32 unit) {
  For_Context context{};
  Keyword_List<1> none;
  (void)for_close(&context, unit, connection_flags(unit) | iof_iostat, none.list(), none.args());
}

void close_peers_quietly(const Gfc_Common& caller) {
  i32 iostat = 0;
  Gfc_Close block{};
  block.common = caller;
  block.common.flags = GFC_IOSTAT;
  block.common.iostat = &iostat;
  peer().st_close(&block.common);
}

void open_peers(Gfc_Open& block) {
  peer().st_open(&block.common);
  if (!serves_files()) return;
  const bool newunit = is_given(block, GFC_OPEN_NEWUNIT);
  if (newunit && (block.common.flags & GFC_OUTCOME_MASK) != 0) return;
  const i32 connected = newunit ? *block.newunit : block.common.unit;
  if (newunit && owner_of(connected) == Owner::ours) refuse_number(block, connected, "the library");
  set_owner(connected, Owner::peers);
}

class Close_Keys : public Keyword_List<2> {
 public:
  explicit Close_Keys(const Gfc_Close& block) {
    const u32 flags = block.common.flags;
    text(flags & GFC_IOMSG, KEY_IOMSG, block.common.iomsg, block.common.iomsg_len);
    text(flags & GFC_CLOSE_STATUS, KEY_DISPOSE, block.status, block.status_len);
  }
};

}  // namespace

TAMRUN_ENTRY void _gfortran_st_open(Gfc_Open* block) {
  start_library();
  const bool newunit = is_given(*block, GFC_OPEN_NEWUNIT);
  const i32 unit = block->common.unit;
  if (!newunit && console_of(unit) != nullptr) {
    give_to_peer(unit);
    return peer().st_open(&block->common);
  }
  const Owner now = newunit ? Owner::none : owner_of(unit);
  if (!serves_files() || (now == Owner::peers && changes_modes(*block))) return peer().st_open(&block->common);
  if (is_served(*block)) {
    if (now == Owner::peers) {
      set_owner(unit, Owner::none);
      close_peers_quietly(block->common);
    }
    return open_ours(*block);
  }
  if (now == Owner::ours) {
    set_owner(unit, Owner::none);
    close_quietly(unit);
  }
  open_peers(*block);
}

// The unit loses its owner before it is closed: another thread may get the number of a NEWUNIT= at once.
TAMRUN_ENTRY void _gfortran_st_close(Gfc_Close* block) {
  start_library();
  const i32 unit = block->common.unit;
  const Owner owner = owner_of(unit);
  if (owner != Owner::none) set_owner(unit, Owner::none);
  if (owner == Owner::ours) {
    For_Context context{};
    Close_Keys keys(*block);
    const For_IO_Flags flags = connection_flags(unit) | specifier_flags(block->common.flags);
    if (store_result(block->common, for_close(&context, unit, flags, keys.list(), keys.args())))
      set_owner(unit, Owner::ours);
    return;
  }
  give_to_peer(unit);
  peer().st_close(&block->common);
  if (owner == Owner::peers && (block->common.flags & GFC_OUTCOME_MASK) != 0) set_owner(unit, Owner::peers);
}
