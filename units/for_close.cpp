// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The CLOSE statement.

#include "core/failure.h"
#include "units/open.h"
#include "units/specifiers.h"
#include "units/unit_table.h"

namespace {

void warn_of_unopened(int unit, For_IO_Flags flags) {
  if (flags & iof_close_warning) for__issue_diagnostic(MSG_ATTEMPT_CLOSE_UNIT_WHICH_NOT, 1, unit);
}

int take_away(For_Lub& lub, int unit) {
  return lub.lub_a_aio != nullptr ? for__aio_release_lun(unit, 1) : for__deallocate_lub(unit);
}

int close_connected(For_Lub& lub, int unit, const For_Close_Args& args, int argument_error) {
  int status = argument_error;
  if (status == 0) {
    lub.lub_f_closing = 1;
    status = for__close_proc(&args, &lub);
  }
  if (status == 0) {
    status = take_away(lub, unit);
    if (status != 0) return report_failure(FOR_IOR_RELEASE, status, status, &lub);
    for__release_newunit(unit);
    return 0;
  }
  // A file that could not be closed properly is gone all the same, and its unit is to be as new.
  lub.lub_f_closing = 0;
  return report_failure(lub.lub_f_connected ? FOR_IOR_RELEASE : FOR_IOR_ABANDON, status, status, &lub);
}

}  // namespace

int for_close(For_Context* ctx, int unit, For_IO_Flags given, const u8* keys, void* values) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Close_Args args;
  const int argument_error = for__close_args(keys, values, &args);
  const Specifiers specifiers = {flags, args.iomsg, args.iomsg_length};

  For_Lub* lub = nullptr;
  if (const int code = for__acquire_lun(unit, &lub, ctx, STMT_CLOSE)) {
    if (code != MSG_INVALID_UNIT) return fail_without_unit(code, unit, specifiers);
    warn_of_unopened(unit, flags);
    return 0;
  }
  if (in_child_statement(*lub)) return refuse_in_child(*lub, MSG_UDIO_CLOSE, specifiers);
  if (lub->lub_f_connected) {
    store_specifiers(*lub, specifiers);
    return close_connected(*lub, unit, args, argument_error);
  }
  warn_of_unopened(unit, flags);
  if (const int code = for__deallocate_lub(unit)) return fail_without_unit(code, unit, specifiers);
  return 0;
}
