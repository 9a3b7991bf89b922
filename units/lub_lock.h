// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Holding a unit or a table row.
//
// Lock order: unit, table row, simple semaphores; file-info rows are leaves. A statement may start another on a second
// unit, so that a row is taken with a unit held; therefore nobody waits for a unit with a row held. A unit that was
// found in a row is kept alive by a reference until its lock is taken. A unit that nobody has is taken without the row:
// row_links keeps it in the table meanwhile, and trying its lock does not wait.
#ifndef TAMRUN_UNITS_LUB_LOCK_H
#define TAMRUN_UNITS_LUB_LOCK_H

#include "core/locks.h"
#include "core/start.h"
#include "units/file_info_table.h"
#include "units/unit_table.h"

#include <atomic>

// Some fields are read by threads that do not hold the lock that their writers hold. They go through here.
template <class T>
T peek(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}
template <class T, class V>
void publish(T& field, V value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

/// Tells the exit handler that some unit may need closing. Threads tell it at once, and the exit reads it.
inline void announce_unit_to_close() {
  if (peek(for__l_exit_hand_decl) == 0) publish(for__l_exit_hand_decl, 1);
}

/// True while the calling thread runs a statement on the unit.
inline bool held_by_this_thread(const For_Lub& lub) { return peek(lub.lub_thread) == pthread_self() && lub.lub_f_busy; }

/// Takes the unit for a statement, or shares the hold of the thread's own statement when a child statement or an
/// INQUIRE may: 0, MSG_RECURSIVE_IO, MSG_LOCK_CONTENTION, or MSG_UNIT_PROMPT for no unit at all.
[[nodiscard]] int acquire_lub_resource(For_Lub* lub, int statement);

inline void set_owner(For_Resource& r, pthread_t me) {
  publish(r.res_owner, static_cast<i64>(me));
  publish(r.res_owned, 1u);
}

inline void clear_owner(For_Resource& r) {
  publish(r.res_owned, 0u);
  publish(r.res_owner, i64{-1});
}

/// Gives a unit or row back: 0 or MSG_LOCK_CONTENTION.
[[nodiscard]] inline int give_back(For_Resource& r) {
  if (!threaded_mode()) return for__resource_release(&r);
  clear_owner(r);
  resource_give_back(r);
  return 0;
}

inline void mark_busy(For_Lub& lub, pthread_t me) {
  publish(lub.lub_thread, me);
  lub.lub_f_busy = 1;
}

/// Threaded mode: takes a unit that nobody has, without waiting. False, with nothing changed, when somebody has it.
[[nodiscard]] inline bool try_acquire_lub(For_Lub& lub) {
  if (!resource_try_acquire(lub.lub_resource)) return false;
  const pthread_t me = pthread_self();
  set_owner(lub.lub_resource, me);
  mark_busy(lub, me);
  return true;
}

/// Ends a hold that no other statement shares: 0 or MSG_LOCK_CONTENTION.
[[nodiscard]] inline int end_lub_hold(For_Lub& lub) {
  publish(lub.lub_thread, pthread_t{0});
  lub.lub_f_busy = 0;
  const int status = give_back(lub.lub_resource);
  if (status != 0) lub.lub_f_busy = 1;
  return status;
}

/// Ends the hold; one that is shared stays with the outer statement. 0 or MSG_LOCK_CONTENTION.
int release_lub_resource(For_Lub& lub);

/// Blocks signals in FOR_K_REENTRANCY_ASYNCH while a row is held.
class Row_Signals {
 public:
  void block() {
    if (for__reentrancy_mode != FOR_K_REENTRANCY_ASYNCH) return;
    for__disable_asynch_deliv_private(&former_.mask);
    blocked_ = true;
  }
  /// Leaves the former mask in the row, where a debugger finds it.
  void show(For_Saved_Mask& mask) const {
    if (blocked_) mask = former_;
  }
  void restore() {
    if (blocked_) for__enable_asynch_deliv_private(former_.mask);
    blocked_ = false;
  }

 private:
  For_Saved_Mask former_;
  bool blocked_ = false;
};

/// A row of the unit table held by its scope.
class Held_Row {
 public:
  Held_Row() = default;
  ~Held_Row() { (void)release(); }
  Held_Row(const Held_Row&) = delete;
  Held_Row& operator=(const Held_Row&) = delete;

  /// 0, MSG_RECURSIVE_IO when this thread has the row already, or MSG_LOCK_CONTENTION.
  [[nodiscard]] int acquire(For_Lub_Row& row);
  /// 0 or MSG_LOCK_CONTENTION; a row whose release failed stays marked busy.
  int release();
  /// The lock itself has been given back by somebody else.
  void forget_lock();

 private:
  void forget_thread();

  For_Lub_Row* row_ = nullptr;
  Row_Signals signals_;
};

/// Holds a row of the file-info table for its scope.
class Held_File_Row {
 public:
  explicit Held_File_Row(For_File_Info_Row& row);
  ~Held_File_Row();
  Held_File_Row(const Held_File_Row&) = delete;
  Held_File_Row& operator=(const Held_File_Row&) = delete;
  /// 0, or MSG_LOCK_CONTENTION when the row is not held.
  [[nodiscard]] int status() const { return status_; }

 private:
  For_File_Info_Row& row_;
  Row_Signals signals_;
  int status_;
};

#endif
