// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Stand-ins for what core/ calls upwards: they note each call and answer as told. The coarray library is among them.
#ifndef TAMRUN_TESTS_CORE_DOUBLES_H
#define TAMRUN_TESTS_CORE_DOUBLES_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tamrun/hooks.h"

namespace tamrun_test {

struct Doubles {
  std::vector<std::string> calls;   ///< name and arguments of each call, in order
  std::map<int, For_Lub*> units;    ///< what for__acquire_lun and the walk find; other units are not to be had
  std::set<int> held;               ///< units that the walk reports as held by this thread
  std::map<int, int> close_result;  ///< of for__close_proc
  std::string written;              ///< bytes of for__write_output
  bool write_fails = false;
  bool trace = false;  ///< tbk_stack_trace appends "TRACE\n"
  bool aio_parks = false;

  // The coarray library.
  int image = 0, original_image = 0, team = 0;
  bool probably_abort = false;
  std::vector<std::string> aborts;  ///< texts given to for_rtl_PGAS_ABORT, "(null)" for none
};

/// One per process; reset by assigning {}.
Doubles& doubles();

}  // namespace tamrun_test

#endif
