// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Taking a unit for a statement and giving it back.

#include "core/failure.h"
#include "core/start.h"
#include "units/evaporated.h"
#include "units/internal_units.h"
#include "units/unit_hold.h"

namespace {

/// What for__acquire_lun knows when it has the unit.
struct Taken_Lub {
  For_Lub* lub = nullptr;
  bool existed = false;
};

bool is_negative_user_unit(int unit) { return unit < kFirstDirectUnit; }

/// True for a LUB that the asynchronous machinery hands out in place of the table.
bool left_to_aio(const For_Lub& lub, int statement) {
  if (statement == STMT_OPEN_ASYNC && lub.lub_default_state != DEFAULT_ORDINARY && !lub.lub_f_connected) return true;
  return peek(lub.lub_a_aio) != nullptr;
}

/// What a search of the row found or made.
struct Found_Lub {
  Lub_Reference lub;
  bool existed = false;
  bool taken = false;  ///< the asynchronous machinery has taken it already
};

/// Finds or makes the LUB: 0, FOR_AIO_RETRY to start over, or a message number.
int search_row(int unit, int statement, bool newunit, Found_Lub& found) {
  For_Lub_Row& row = for__lub_table[unit_row(unit)];
  Held_Row held;
  if (const int status = held.acquire(row)) return status;

  For_Lub* lub = enter_row_and_find(row, unit);
  found.existed = lub != nullptr;
  if (lub == nullptr || left_to_aio(*lub, statement)) {
    For_Lub* asynchronous = nullptr;
    int existed = 0, released = 0;
    const int status = for__aio_acquire_lun(unit, &asynchronous, statement, &existed, &released, &row.row_resource);
    if (released) held.forget_lock();
    if (status != 0) return status;
    if (asynchronous != nullptr) {
      lub = asynchronous;
      found.existed = existed != 0;
      found.taken = true;
    }
  }
  if (lub == nullptr) {
    if (is_negative_user_unit(unit) && !newunit) return MSG_INVALID_UNIT;
    if (const int status = for__create_lub(unit, &lub)) return status;
    link_lub(row, lub);
  }
  found.lub.reset(lub);
  return held.release();
}

/// Takes the LUB that was found, without the row: another statement may keep it for long, and that statement may need
/// the row. FOR_AIO_RETRY when the LUB evaporated meanwhile.
int take_found(For_Lub* lub, int statement) {
  const int status = acquire_lub_resource(lub, statement);
  // A child statement goes on with its parent's hold.
  if (status == MSG_RECURSIVE_IO && in_child_statement(*lub)) return 0;
  if (status != 0) return status;
  if (!peek(lub->lub_f_deallocating)) return 0;
  (void)release_lub_resource(*lub);
  return FOR_AIO_RETRY;
}

/// One attempt at taking the unit: 0 with the LUB, FOR_AIO_RETRY to start over, or a message number.
int try_to_take(int unit, int statement, bool newunit, Taken_Lub& taken) {
  Found_Lub found;
  if (const int status = search_row(unit, statement, newunit, found)) return status;
  For_Lub* lub = found.lub.get();
  if (!found.taken)
    if (const int status = take_found(lub, statement)) return status;
  announce_unit_to_close();
  taken = {lub, found.existed};
  return 0;
}

int finish_acquisition(const Taken_Lub& taken, For_Lub** out, For_Context* ctx, int statement) {
  For_Lub& lub = *taken.lub;
  if (ctx != nullptr) ctx->ctx_lub = &lub;
  // The marks of the statement belong to the one that the INQUIRE interrupts.
  if (!lub.lub_f_nested_inquire) enter_statement(lub, ctx, statement);
  if (taken.existed)
    if (const int failed = process_taken_lub(lub, statement)) return failed;
  *out = taken.lub;
  return 0;
}

/// Gives the keywords that the statement overrode their value of the connection back.
void restore_overrides(For_Lub& lub) {
  if (!has_override(lub)) return;
  if (lub.lub_f_blank_override) lub.lub_f_blank_null = lub.lub_f_blank_saved;
  if (lub.lub_f_decimal_override) lub.lub_decimal = lub.lub_decimal_saved;
  if (lub.lub_f_delim_override) lub.lub_delim = lub.lub_delim_saved;
  if (lub.lub_f_pad_override) lub.lub_f_pad = lub.lub_f_pad_saved;
  if (lub.lub_f_round_override) lub.lub_round = lub.lub_round_saved;
  if (lub.lub_f_sign_override) lub.lub_sign = lub.lub_sign_saved;
  lub.lub_f_blank_override = lub.lub_f_decimal_override = lub.lub_f_delim_override = 0;
  lub.lub_f_pad_override = lub.lub_f_round_override = lub.lub_f_sign_override = 0;
}

For_Context* take_context(For_Lub& lub) {
  For_Context* ctx = lub.lub_a_context;
  lub.lub_a_context = nullptr;
  return ctx;
}

void end_context(For_Context* ctx) {
  if (ctx != nullptr) ctx->ctx_lub = nullptr;
}

/// Takes an ordinary unit out of the table. It stays on the evaporated list until the threads that wait for it have
/// gone through.
int evaporate(For_Lub* lub, int unit) {
  int status = add_evaporated(lub);
  if (status == 0) {
    publish(lub->lub_f_deallocating, 1u);
    For_Lub_Row& row = for__lub_table[unit_row(unit)];
    Held_Row held;
    status = held.acquire(row);
    if (status == 0) {
      unlink_lub(row, lub);
      status = held.release();
    }
  }
  const bool gone = status == 0;
  if (const int failed = release_lub_resource(*lub)) status = failed;
  if (gone) drop_lub_reference(lub);
  return status;
}

/// for__acquire_lun of a unit that cannot be had at once.
[[gnu::noinline]] int acquire_lun(int unit, For_Lub** out, For_Context* ctx, int statement) {
  if (threaded_mode() && is_data_transfer(statement)) {
    if (For_Lub* lub = take_idle_lub(unit)) {
      announce_unit_to_close();
      return finish_acquisition({lub, true}, out, ctx, statement);
    }
  }
  const bool newunit = statement == STMT_OPEN_NEWUNIT || statement == STMT_OPEN_ASYNC_NEWUNIT;
  if (newunit) statement = statement == STMT_OPEN_NEWUNIT ? STMT_OPEN : STMT_OPEN_ASYNC;
  for__reentrancy_init();
  for__aio_init();
  if (statement == STMT_OPEN_ASYNC && !threaded_mode()) for__reentrancy_mode = FOR_K_REENTRANCY_THREADED;
  if (unit == UNIT_INTERNAL || unit == UNIT_INTERNAL_TOP) return acquire_internal_lub(unit, out, ctx, statement);

  Taken_Lub taken;
  int status;
  do status = try_to_take(unit, statement, newunit, taken);
  while (status == FOR_AIO_RETRY);
  if (status != 0) return status;

  return finish_acquisition(taken, out, ctx, statement);
}

}  // namespace

extern "C" int for__acquire_lun(int unit, For_Lub** out, For_Context* ctx, int statement) {
  if (out == nullptr) {
    TAMRUN_INTERNAL_ERROR("for_lub_mgt");
    return MSG_INTERNAL_CONSISTENCY;
  }
  *out = is_data_transfer(statement) ? find_free_unit(unit) : nullptr;
  if (*out == nullptr) return acquire_lun(unit, out, ctx, statement);
  hold_free_unit(**out, ctx, statement);
  return 0;
}

int release_held_lun(For_Lub& lub) {
  if (give_unit_back_at_once(lub)) return 0;
  if (lub.lub_unit == UNIT_INTERNAL) return release_internal_lub();
  if (peek(lub.lub_a_aio) != nullptr) {
    (void)for__aio_release_lun(lub.lub_unit, 0);
    return 0;
  }
  // A failure may already have ended the statement.
  if (!held_by_this_thread(lub)) return 0;
  if (lub.lub_f_nested_inquire) {
    lub.lub_f_nested_inquire = 0;
    return 0;
  }
  For_Context* ctx = take_context(lub);
  restore_overrides(lub);
  if (!in_child_statement(lub))
    if (const int status = end_lub_hold(lub)) return status;
  end_context(ctx);
  return 0;
}

extern "C" int for__release_lun(int unit) {
  if (unit == UNIT_INTERNAL) return release_internal_lub();
  For_Lub* lub = find_own_lub(unit);
  if (lub != nullptr) return release_held_lun(*lub);
  (void)for__aio_release_lun(unit, 0);
  return 0;
}

extern "C" int for__deallocate_lub(int unit) {
  if (unit == UNIT_INTERNAL) return release_internal_lub();
  For_Lub* lub = find_own_lub(unit);
  if (lub == nullptr || peek(lub->lub_a_aio) != nullptr) {
    (void)for__aio_release_lun(unit, 0);
    return 0;
  }
  if (lub->lub_f_nested_inquire) {
    lub->lub_f_nested_inquire = 0;
    return 0;
  }
  For_Context* ctx = take_context(*lub);
  int status;
  if (lub->lub_default_state != DEFAULT_ORDINARY) {
    (void)free_connection(*lub);
    wipe_lub(*lub);
    lub->lub_f_closed_default = 1;
    status = release_lub_resource(*lub);
  } else {
    status = evaporate(lub, unit);
  }
  end_context(ctx);
  return status;
}

extern "C" void for__init_table_locks(void) {
  for (For_File_Info_Row& row : for__file_info_hash_table) row.row_resource = {};
  for (For_Lub_Row& row : for__lub_table) row.row_resource = {-1, 0, 0, 0};
}

extern "C" void for__forget_row_owners(void) {
  for (int i = 0; i < kDirectRows; ++i) {
    For_Resource& r = for__lub_table[i].row_resource;
    publish(r.res_owned, 0u);
    publish(r.res_owner, i64{-1});
  }
}
