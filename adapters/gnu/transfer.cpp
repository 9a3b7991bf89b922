// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The entry points of WRITE and PRINT. The first call decides who serves the statement, and every further call with the
// same parameter block follows it.

#include "adapters/gnu/item.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/statement.h"

namespace {

/// Specifiers that a statement served by the library may have. A format, a namelist group, POS=, REC=, ADVANCE=,
/// ASYNCHRONOUS= and an item with defined output each set another bit, and so does a failure before the first call.
constexpr u32 kServedFlags = GFC_DT_LIST_DIRECTED | GFC_ERR | GFC_IOSTAT | GFC_IOMSG | GFC_DT_DECIMAL | GFC_DT_DELIM |
                             GFC_DT_ROUND | GFC_DT_SIGN;

bool served_here(const Gfc_Dt& block, const Console& console) {
  // A child of the peer's defined output, or a recursive statement that the peer reports.
  if (console.peer_depth > 0) return false;
  // Recursive whatever its form, and the library reports it.
  if (console.our_depth > 0) return true;
  u32 flags = block.common.flags;
  return !console.peer_owned && (flags & GFC_DT_LIST_DIRECTED) != 0 && (flags & ~kServedFlags) == 0;
}

}  // namespace

TAMRUN_ENTRY void _gfortran_st_write(Gfc_Dt* block) {
  Console* console = console_of(block->common.unit);
  if (console == nullptr) return peer().st_write(block);
  start_library();
  console->lock();
  if (served_here(*block, *console)) {
    console->enter_ours();
    begin_statement(block, console);
  } else {
    console->enter_peers();
    peer().st_write(block);
  }
}

TAMRUN_ENTRY void _gfortran_st_write_done(Gfc_Dt* block) {
  if (Statement* statement = statement_of(block)) {
    Console* console = statement->console;
    end_statement(statement);
    console->leave_ours();
    console->unlock();
    return;
  }
  Console* console = console_of(block->common.unit);
  peer().st_write_done(block);
  if (console != nullptr) {
    console->leave_peers();
    console->unlock();
  }
}

#define TAMGNU_SCALAR_TRANSFER(name, type)                                   \
  TAMRUN_ENTRY void _gfortran_##name(Gfc_Dt* block, void* value, int kind) { \
    if (Statement* statement = statement_of(block))                          \
      put_scalar(statement, type, kind, value);                              \
    else                                                                     \
      peer().name(block, value, kind);                                       \
  }

TAMGNU_SCALAR_TRANSFER(transfer_integer_write, GFC_INTEGER)
TAMGNU_SCALAR_TRANSFER(transfer_logical_write, GFC_LOGICAL)
TAMGNU_SCALAR_TRANSFER(transfer_real_write, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_real128_write, GFC_REAL)
TAMGNU_SCALAR_TRANSFER(transfer_complex_write, GFC_COMPLEX)
TAMGNU_SCALAR_TRANSFER(transfer_complex128_write, GFC_COMPLEX)

TAMRUN_ENTRY void _gfortran_transfer_character_write(Gfc_Dt* block, void* text, i64 length) {
  if (Statement* statement = statement_of(block))
    put_text(statement, static_cast<const char*>(text), length);
  else
    peer().transfer_character_write(block, text, length);
}

TAMRUN_ENTRY void _gfortran_transfer_character_wide_write(Gfc_Dt* block, void* text, i64 length, int kind) {
  if (Statement* statement = statement_of(block))
    put_wide_text(statement, static_cast<const u32*>(text), length);
  else
    peer().transfer_character_wide_write(block, text, length, kind);
}

TAMRUN_ENTRY void _gfortran_transfer_array_write(Gfc_Dt* block, Gfc_Array* array, int kind, i64 length) {
  if (Statement* statement = statement_of(block))
    put_array(statement, *array, kind, length);
  else
    peer().transfer_array_write(block, array, kind, length);
}

TAMRUN_ENTRY void _gfortran_transfer_derived(Gfc_Dt* block, void* object, void* procedure) {
  if (Statement* statement = statement_of(block)) {
    if (statement->over) return;
    // Defined output of a component, which the block has not announced: in time while the list has no other item.
    Console* console = statement->console;
    if (!abandon_statement(statement)) refuse_item(statement, "a component with defined output behind other items");
    console->leave_ours();
    console->enter_peers();
    peer().st_write(block);
  }
  peer().transfer_derived(block, object, procedure);
}

TAMRUN_ENTRY void _gfortran_st_open(Gfc_Common* block) {
  if ((block->flags & GFC_OPEN_NEWUNIT) == 0) give_to_peer(block->unit);
  peer().st_open(block);
}

TAMRUN_ENTRY void _gfortran_st_close(Gfc_Common* block) {
  give_to_peer(block->unit);
  peer().st_close(block);
}

TAMRUN_ENTRY void _gfortran_st_flush(Gfc_Common* block) {
  flush_ours_if_free(&block->unit);
  peer().st_flush(block);
}

TAMRUN_ENTRY void _gfortran_flush_i4(i32* unit) {
  flush_ours_if_free(unit);
  peer().flush_i4(unit);
}

TAMRUN_ENTRY void _gfortran_flush_i8(i64* unit) {
  i32 number = unit != nullptr ? static_cast<i32>(*unit) : 0;
  flush_ours_if_free(unit != nullptr ? &number : nullptr);
  peer().flush_i8(unit);
}
