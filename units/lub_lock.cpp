// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Holding a unit or a table row.

#include "units/lub_lock.h"

#include "tamrun/messages.h"

namespace {

i64 this_thread() { return static_cast<i64>(pthread_self()); }

bool owned_by_this_thread(const For_Resource& r) {
  return peek(r.res_owned) != 0 && peek(r.res_owner) == this_thread();
}

/// The part that units and rows share: below threaded mode whoever finds the guard set has come back to what it holds.
int take(For_Resource& r) {
  if (!threaded_mode()) return for__resource_acquire(&r) == 0 ? 0 : MSG_RECURSIVE_IO;
  if (owned_by_this_thread(r)) return MSG_RECURSIVE_IO;
  if (for__resource_acquire(&r) != 0) return MSG_LOCK_CONTENTION;
  set_owner(r, pthread_self());
  return 0;
}

}  // namespace

int acquire_lub_resource(For_Lub* lub, int statement) {
  if (lub == nullptr) return MSG_UNIT_PROMPT;
  const pthread_t me = pthread_self();
  if (peek(lub->lub_thread) == me) {
    if (in_child_statement(*lub)) return 0;
    if (statement == STMT_INQUIRE && lub->lub_f_busy) {
      lub->lub_f_nested_inquire = 1;
      return 0;
    }
  }
  if (const int status = take(lub->lub_resource)) return status;
  mark_busy(*lub, me);
  return 0;
}

int release_lub_resource(For_Lub& lub) {
  if (peek(lub.lub_thread) == pthread_self()) {
    if (in_child_statement(lub)) return 0;
    if (lub.lub_f_nested_inquire) {
      lub.lub_f_nested_inquire = 0;
      return 0;
    }
  }
  return end_lub_hold(lub);
}

int Held_Row::acquire(For_Lub_Row& row) {
  signals_.block();
  if (const int status = take(row.row_resource)) {
    signals_.restore();
    return status;
  }
  row_ = &row;
  signals_.show(row.row_sigmask);
  row.row_busy = 1;
  row.row_thread = static_cast<u64>(this_thread());
  return 0;
}

void Held_Row::forget_thread() {
  row_->row_busy = 0;
  row_->row_thread = 0;
}

int Held_Row::release() {
  if (row_ == nullptr) return 0;
  forget_thread();
  const int status = give_back(row_->row_resource);
  if (status != 0) row_->row_busy = 1;
  row_ = nullptr;
  signals_.restore();
  return status;
}

void Held_Row::forget_lock() {
  if (row_ == nullptr) return;
  row_ = nullptr;
  signals_.restore();
}

Held_File_Row::Held_File_Row(For_File_Info_Row& row) : row_(row) {
  signals_.block();
  status_ = for__resource_acquire(&row.row_resource);
  if (status_ == 0)
    signals_.show(row.row_sigmask);
  else
    signals_.restore();
}

Held_File_Row::~Held_File_Row() {
  if (status_ != 0) return;
  (void)for__resource_release(&row_.row_resource);
  signals_.restore();
}
