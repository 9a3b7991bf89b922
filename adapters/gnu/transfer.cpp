// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The entry points of READ, WRITE and PRINT. The first call decides who serves the statement, and every further call
// with the same parameter block follows it.

#include "adapters/gnu/item.h"
#include "adapters/gnu/keywords.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/refuse.h"
#include "adapters/gnu/statement.h"
#include "adapters/gnu/units.h"
#include "tamrun/lub.h"

namespace {

/// Specifiers that a statement served by the library may have, on files REC= as well. A namelist group and an item with defined input or
/// output each set another bit, and so does a failure before the first call.
constexpr u32 kServedFlags = GFC_DT_LIST_DIRECTED | GFC_DT_FORMAT | GFC_DT_ADVANCE | GFC_DT_SIZE | GFC_DT_POS |
                             GFC_ERR | GFC_END | GFC_EOR | GFC_IOSTAT | GFC_IOMSG | GFC_DT_BLANK | GFC_DT_DECIMAL |
                             GFC_DT_DELIM | GFC_DT_PAD | GFC_DT_ROUND | GFC_DT_SIGN | GFC_DT_DEC_EXTENSIONS;

/// True for transfers with nothing but specifiers that the library takes.
bool has_served_flags(const Gfc_Dt& block, u32 on_files = 0) {
  u32 flags = block.common.flags & ~on_files;
  if ((flags & GFC_DT_ASYNCHRONOUS) != 0 && is_word(block.asynchronous, block.asynchronous_len, "NO"))
    flags &= ~static_cast<u32>(GFC_DT_ASYNCHRONOUS);
  return (flags & ~kServedFlags) == 0;
}

inline bool is_unformatted(const Gfc_Dt& block) {
  return (block.common.flags & (GFC_DT_LIST_DIRECTED | GFC_DT_FORMAT)) == 0;
}

/// List-directed and formatted transfers.
bool is_served_form(const Gfc_Dt& block) { return !is_unformatted(block) && has_served_flags(block); }

/// Of a file also unformatted ones, unless the program wants the peer's own variants of their records.
bool is_served_form_of_file(const Gfc_Dt& block) {
  return has_served_flags(block, GFC_DT_REC) && (!is_unformatted(block) || serves_unformatted());
}

bool is_ours(const Gfc_Dt& block, const Console& console) {
  // A child of the peer's defined output, or a recursive statement that the peer reports.
  if (console.peer_depth > 0) return false;
  // Recursive whatever its form, and the library reports it.
  if (console.our_depth > 0) return true;
  return !console.peer_owned && is_served_form(block);
}

bool file_is_ours(const Gfc_Dt& block, Verb verb) {
  if (!serves_files()) return false;
  const i32 unit = block.common.unit;
  const bool served = is_served_form_of_file(block);
  // Negative numbers that no OPEN has given are the peer's own, for child statements.
  const Owner owner = unit < 0 ? owner_of(unit) : claim(unit, served ? Owner::ours : Owner::peers);
  if (owner != Owner::ours) return false;
  if (!served) refuse_statement(block.common, verb == Verb::read ? "this form of READ" : "this form of WRITE");
  return true;
}

/// Internal files need no unit, so that each statement may be served by either side.
bool internal_file_is_ours(const Gfc_Dt& block) {
  const u32 flags = block.common.flags & ~static_cast<u32>(GFC_DT_INTERNAL);
  return block.common.unit == kGfcInternalUnit && (flags & (GFC_DT_LIST_DIRECTED | GFC_DT_FORMAT)) != 0 &&
         (flags & ~kServedFlags) == 0 && internal_file_is_contiguous(block);
}

/// A member, so that the peer is looked up by those statements only that it serves.
typedef void (*Peer::*Peer_Call)(Gfc_Dt*);

void begin_any_transfer(Gfc_Dt* block, Verb verb, Peer_Call peer_call) {
  start_library();
  if ((block->common.flags & GFC_DT_INTERNAL) != 0) {
    if (internal_file_is_ours(*block)) return begin_statement(block, verb, nullptr);
    return (peer().*peer_call)(block);
  }
  Console* console = console_of(block->common.unit);
  if (console == nullptr) {
    if (file_is_ours(*block, verb)) return begin_statement(block, verb, nullptr);
    return (peer().*peer_call)(block);
  }
  console->lock();
  if (is_ours(*block, *console)) {
    console->enter_ours();
    return begin_statement(block, verb, console);
  }
  if (console->unit == UNIT_STDIN && console->peer_depth == 0) console->give_to_peer();
  console->enter_peers();
  (peer().*peer_call)(block);
}

/// Most statements are on a file that is the library's already, which has been started then.
[[gnu::always_inline]] inline void begin_transfer(Gfc_Dt* block, Verb verb, Peer_Call peer_call) {
  const bool plain = (block->common.flags & ~(kServedFlags | GFC_DT_REC)) == 0 && !is_console(block->common.unit) &&
                     owner_of(block->common.unit) == Owner::ours;
  if (plain && (!is_unformatted(*block) || serves_unformatted()) && begin_plain_statement(block, verb, nullptr))
      [[likely]] {
    // A record with a number is in the buffer or goes there, whatever its items are.
    if ((block->common.flags & GFC_DT_REC) != 0 && t_innermost->begins_in_place) begin_in_place(t_innermost);
    return;
  }
  begin_any_transfer(block, verb, peer_call);
}

void end_transfer(Gfc_Dt* block, Peer_Call peer_call) {
  if (Statement* statement = statement_of(block)) {
    Console* console = statement->console;
    if (console == nullptr) return statement->values_in_place ? end_in_place(statement) : end_statement(statement);
    end_statement(statement);
    console->leave_ours();
    return console->unlock();
  }
  Console* console = console_of(block->common.unit);
  (peer().*peer_call)(block);
  if (console == nullptr) return;
  console->leave_peers();
  console->unlock();
}

}  // namespace

TAMRUN_ENTRY void _gfortran_st_write(Gfc_Dt* block) { begin_transfer(block, Verb::write, &Peer::st_write); }
TAMRUN_ENTRY void _gfortran_st_write_done(Gfc_Dt* block) { end_transfer(block, &Peer::st_write_done); }
TAMRUN_ENTRY void _gfortran_st_read(Gfc_Dt* block) { begin_transfer(block, Verb::read, &Peer::st_read); }
TAMRUN_ENTRY void _gfortran_st_read_done(Gfc_Dt* block) { end_transfer(block, &Peer::st_read_done); }

/// The items of a type for the kinds that most values have.
struct Usual_Items {
  For_Item_Type four, eight;  ///< by bytes; ITM_END_STATEMENT: there is none
};

constexpr Usual_Items usual_items(Gfc_Type type) {
  switch (type) {
    case GFC_INTEGER:
      return {ITM_INTEGER4, ITM_INTEGER8};
    case GFC_LOGICAL:
      return {ITM_LOGICAL4, ITM_LOGICAL8};
    case GFC_REAL:
      return {ITM_REAL4, ITM_REAL8};
    default:
      return {ITM_END_STATEMENT, ITM_END_STATEMENT};
  }
}

/// Transfers a value of a usual kind: false, with nothing done, for what is not, and where something else comes first.
template <Gfc_Type Type, class Word>
[[gnu::always_inline]] inline bool transfer_usual(Statement* statement, For_Item_Type item, void* value) {
  if (statement->values_in_place) return move_in_place(statement, value, sizeof(Word));
  if (statement->begins_in_place) return false;
  if (statement->takes_values) {
    Word word;
    __builtin_memcpy(&word, value, sizeof word);
    return put_word(statement, item, word);
  }
  return Type != GFC_LOGICAL && read_value(statement, item, value);  // a logical that is read needs more
}

template <Gfc_Type Type>
[[gnu::always_inline]] inline bool transfer_usual_kind(Statement* statement, void* value, int kind) {
  constexpr Usual_Items kItems = usual_items(Type);
  if (kItems.four == ITM_END_STATEMENT) return false;
  if (kind == sizeof(u64)) return transfer_usual<Type, u64>(statement, kItems.eight, value);
  return kind == sizeof(u32) && transfer_usual<Type, u32>(statement, kItems.four, value);
}

/// What transfer_usual_kind leaves, of any statement.
[[gnu::noinline]] static void transfer_other(Gfc_Dt* block, void* value, int kind, Gfc_Type type,
                                             void (*Peer::*peer_call)(Gfc_Dt*, void*, int)) {
  if (Statement* statement = statement_of(block)) {
    if (statement->begins_in_place) begin_in_place(statement);
    return transfer_scalar(statement, type, kind, value);
  }
  (peer().*peer_call)(block, value, kind);
}

#define TAMGNU_SCALAR_TRANSFER(name, type)                                         \
  TAMRUN_ENTRY void _gfortran_##name(Gfc_Dt* block, void* value, int kind) {       \
    Statement* statement = t_innermost;                                            \
    const bool innermost = statement != nullptr && statement->block == block;      \
    if (innermost && transfer_usual_kind<type>(statement, value, kind)) [[likely]] \
      return;                                                                      \
    transfer_other(block, value, kind, type, &Peer::name);                         \
  }
TAMGNU_SCALAR_TRANSFER(transfer_integer, GFC_INTEGER)
TAMGNU_SCALAR_TRANSFER(transfer_integer_write, GFC_INTEGER)
TAMGNU_SCALAR_TRANSFER(transfer_logical, GFC_LOGICAL)
TAMGNU_SCALAR_TRANSFER(transfer_logical_write, GFC_LOGICAL)
TAMGNU_SCALAR_TRANSFER(transfer_real, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_real_write, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_real128, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_real128_write, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_complex, GFC_COMPLEX)
TAMGNU_SCALAR_TRANSFER(transfer_complex_write, GFC_COMPLEX)
TAMGNU_SCALAR_TRANSFER(transfer_complex128, GFC_COMPLEX)
TAMGNU_SCALAR_TRANSFER(transfer_complex128_write, GFC_COMPLEX)

#define TAMGNU_TEXT_TRANSFER(name)                                            \
  TAMRUN_ENTRY void _gfortran_##name(Gfc_Dt* block, void* text, i64 length) { \
    Statement* statement = statement_of(block);                               \
    if (statement == nullptr) return peer().name(block, text, length);        \
    if (put_few_characters(statement, text, length)) return;                  \
    if (statement->begins_in_place) begin_in_place(statement);                \
    transfer_text(statement, static_cast<char*>(text), length);               \
  }
TAMGNU_TEXT_TRANSFER(transfer_character)
TAMGNU_TEXT_TRANSFER(transfer_character_write)

#define TAMGNU_WIDE_TEXT_TRANSFER(name)                                                 \
  TAMRUN_ENTRY void _gfortran_##name(Gfc_Dt* block, void* text, i64 length, int kind) { \
    if (Statement* statement = statement_of(block))                                     \
      transfer_wide_text(statement, static_cast<u32*>(text), length);                   \
    else                                                                                \
      peer().name(block, text, length, kind);                                           \
  }
TAMGNU_WIDE_TEXT_TRANSFER(transfer_character_wide)
TAMGNU_WIDE_TEXT_TRANSFER(transfer_character_wide_write)

#define TAMGNU_ARRAY_TRANSFER(name)                                                           \
  TAMRUN_ENTRY void _gfortran_##name(Gfc_Dt* block, Gfc_Array* array, int kind, i64 length) { \
    if (Statement* statement = statement_of(block))                                           \
      transfer_array(statement, *array, kind, length);                                        \
    else                                                                                      \
      peer().name(block, array, kind, length);                                                \
  }
TAMGNU_ARRAY_TRANSFER(transfer_array)
TAMGNU_ARRAY_TRANSFER(transfer_array_write)

TAMRUN_ENTRY void _gfortran_transfer_derived(Gfc_Dt* block, void* object, void* procedure) {
  if (Statement* statement = statement_of(block)) {
    if (statement->over) return;
    // Defined transfer of a component, which the block has not announced: in time while the list has no other item.
    Console* console = statement->console;
    if ((console == nullptr && !statement->internal) || !abandon_statement(statement))
      refuse_item(statement, statement->verb == Verb::read ? "a component with defined input behind other items"
                                                           : "a component with defined output behind other items");
    if (console != nullptr) {
      console->leave_ours();
      if (console->unit == UNIT_STDIN) console->give_to_peer();
      console->enter_peers();
    }
    if (statement->verb == Verb::read)
      peer().st_read(block);
    else
      peer().st_write(block);
  }
  peer().transfer_derived(block, object, procedure);
}
