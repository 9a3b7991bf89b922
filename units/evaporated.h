// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Units that have been closed while other threads may still wait for them.
#ifndef TAMRUN_UNITS_EVAPORATED_H
#define TAMRUN_UNITS_EVAPORATED_H

#include "units/unit_table.h"

/// 0, MSG_NO_MEMORY or MSG_LOCK_CONTENTION.
[[nodiscard]] int add_evaporated(For_Lub* lub);

/// Nothing happens when the LUB is not on the list.
void remove_evaporated(const For_Lub* lub);

/// Gives a reference to a LUB back. Whoever gives the last one frees the LUB, which has left the table by then.
void drop_lub_reference(For_Lub* lub);

/// Keeps a LUB alive from the moment it is found in a held row until its lock is taken without the row.
class Lub_Reference {
 public:
  Lub_Reference() = default;
  ~Lub_Reference() { reset(); }
  Lub_Reference(const Lub_Reference&) = delete;
  Lub_Reference& operator=(const Lub_Reference&) = delete;
  void reset(For_Lub* lub = nullptr);
  For_Lub* get() const { return lub_; }

 private:
  For_Lub* lub_ = nullptr;
};

#endif
