// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The shutdown: the floating-point summary, and closing every unit.

#include "core/failure.h"
#include "core/locks.h"
#include "core/start.h"
#include "tamrun/hooks.h"

namespace {

constexpr char kSource[] = "for_exit_handler.c";

/// Closes one unit and takes its block away. A failure is printed and does not stop the other units' closing.
void close_unit(For_Lub* lub) {
  const int unit = lub->lub_unit;
  if (lub->lub_f_connected) {
    lub->lub_f_closing = 1;
    if (int code = for__close_proc(nullptr, lub)) {
      lub->lub_f_connected = 0;
      const char* name = lub->lub_a_file_name != nullptr ? lub->lub_a_file_name : "\"Unknown\"";
      for__issue_diagnostic(code, 2, unit, name);
    }
  }
  if (for__deallocate_lub(unit) != 0) TAMRUN_INTERNAL_ERROR(kSource);
}

void close_all_units() {
  constexpr int kEnd = -1;  // of the walk; NEWUNIT= numbers have other indices below 0
  For_Lub* lub = nullptr;
  int index = kEnd;
  for (;;) {
    const int code = for__get_next_lub(&lub, &index, STMT_CLOSE);
    if (code == 0 && index == kEnd) return;
    if (code == MSG_RECURSIVE_IO) {
      if (index == kEnd) return;
      continue;
    }
    if (code != 0) {
      TAMRUN_INTERNAL_ERROR(kSource);
      return;
    }
    close_unit(lub);
  }
}

}  // namespace

extern "C" {

i32 for__l_exit_hand_decl;
i32 for__l_exit_termination;
u32 for__l_fpe_mask;
u32 for__l_undcnt, for__l_ovfcnt, for__l_div0cnt, for__l_invcnt, for__l_inecnt;

int for__decl_exit_hand(void) { return 0; }

void for__fpe_exit_handler(void) {
  const struct {
    u32 bit, count;
    int message;
  } summary[] = {{FPE_MSG_UND, for__l_undcnt, MSG_UNDERFLOW_TRAPS},
                 {FPE_MSG_OVF, for__l_ovfcnt, MSG_OVERFLOW_TRAPS},
                 {FPE_MSG_DIV0, for__l_div0cnt, MSG_DIVIDE_BY_ZERO_TRAPS},
                 {FPE_MSG_INV, for__l_invcnt, MSG_INVALID_TRAPS},
                 {FPE_MSG_INE, for__l_inecnt, MSG_INEXACT_TRAPS}};
  for (const auto& kind : summary)
    if ((for__l_fpe_mask & kind.bit) != 0 && kind.count != 0) for__issue_diagnostic(kind.message, 1, kind.count);
}

int for__exit_handler(int has_value, int value) {
  const int result = has_value != 0 ? value : 0;
  for__fpe_exit_handler();
  for__l_exit_termination = 1;
  if (for_rtl_PGAS_FINALIZE != nullptr) for_rtl_PGAS_FINALIZE(has_value, value);
  for__free_vm(for__l_excpt_info);
  for__l_excpt_info = nullptr;
  if (for__l_exit_hand_decl == 0) return result;
  for__l_exit_hand_decl = 0;

  // From here locks are plain flags: a lock that a stopped thread holds cannot block the exit.
  const i32 previous_mode = for__reentrancy_mode;
  for__reentrancy_mode = FOR_K_REENTRANCY_ASYNCH;
  for__aio_release();
  close_all_units();
  if (previous_mode == FOR_K_REENTRANCY_NONE) for__reentrancy_mode = FOR_K_REENTRANCY_NONE;
  for__reentrancy_cleanup();
  for__l_exit_termination = 0;
  return result;
}

}  // extern "C"
