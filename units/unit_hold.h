// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Taking a unit for a data transfer statement and giving it back where nobody can be in the way: the process has one
// thread, the unit stands in the table and no statement has it. for__acquire_lun and release_held_lun do the same and all
// the rest.
#ifndef TAMRUN_UNITS_UNIT_HOLD_H
#define TAMRUN_UNITS_UNIT_HOLD_H

#include "units/unit_search.h"

/// Statement codes of READ and WRITE on records that exist or follow.
constexpr bool is_data_transfer(int statement) { return statement <= STMT_WRITE_SEQ; }

/// The marks of the statement that has taken the unit.
inline void enter_statement(For_Lub& lub, For_Context* ctx, int statement) {
  lub.lub_a_context = ctx;
  if (statement != STMT_INQUIRE && statement != STMT_WAIT && statement != STMT_EOF)
    lub.lub_f_after_rewind = statement == STMT_REWIND;
  lub.lub_statement = static_cast<u8>(statement == STMT_OPEN_ASYNC ? STMT_OPEN : statement);
  lub.lub_f_nml_position = 0;
  lub.lub_f_ldio_read = 0;
}

/// True when no other unit can have left a record open on the file.
inline bool has_no_record_open(const For_Lub& lub) {
  const For_File_Info* file = lub.lub_a_file_info;
  return file == nullptr || (lub.lub_f_formatted && !file->fi_record_open);
}

/// The unit's LUB when a data transfer statement of the calling thread can have it at once, otherwise null.
inline For_Lub* find_free_unit(int unit) {
  if (!threaded_mode() || !alone_in_process()) return nullptr;
  For_Lub* lub = for__lub_table[unit_row(unit)].row_head;
  while (lub != nullptr && lub->lub_unit != unit) lub = lub->lub_a_hash_next;
  if (lub == nullptr || lub->lub_f_deallocating || lub->lub_a_aio != nullptr || lub->lub_resource.res_holds != 0)
    return nullptr;
  return has_no_record_open(*lub) ? lub : nullptr;
}

/// Takes a unit that find_free_unit has given for a statement.
inline void hold_free_unit(For_Lub& lub, For_Context* ctx, int statement) {
  const pthread_t me = pthread_self();
  lub.lub_resource.res_holds = 1;
  set_owner(lub.lub_resource, me);
  mark_busy(lub, me);
  announce_unit_to_close();
  if (ctx != nullptr) ctx->ctx_lub = &lub;
  enter_statement(lub, ctx, statement);
}

/// True when the statement has changed a mode of the connection.
inline bool has_override(const For_Lub& lub) {
  return lub.lub_f_blank_override || lub.lub_f_decimal_override || lub.lub_f_delim_override || lub.lub_f_pad_override ||
         lub.lub_f_round_override || lub.lub_f_sign_override;
}

/// release_held_lun: false, with nothing changed, where that has more to do.
inline bool give_unit_back_at_once(For_Lub& lub) {
  if (!threaded_mode() || !alone_in_process() || lub.lub_a_aio != nullptr || in_child_statement(lub)) return false;
  if (!lub.lub_f_busy || lub.lub_f_nested_inquire || has_override(lub) || lub.lub_unit == UNIT_INTERNAL) return false;
  For_Context* ctx = lub.lub_a_context;
  lub.lub_a_context = nullptr;
  lub.lub_thread = 0;
  lub.lub_f_busy = 0;
  clear_owner(lub.lub_resource);
  lub.lub_resource.res_holds = 0;
  if (ctx != nullptr) ctx->ctx_lub = nullptr;
  return true;
}

#endif
