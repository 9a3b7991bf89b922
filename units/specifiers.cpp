// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ERR=, IOSTAT= and IOMSG= of statements that are over in one call.

#include "units/specifiers.h"

#include "core/failure.h"
#include "units/unit_table.h"

void store_specifiers(For_Lub& lub, const Specifiers& specifiers) {
  lub.lub_f_err = (specifiers.flags & iof_err) != 0;
  lub.lub_f_iostat = (specifiers.flags & iof_iostat) != 0;
  lub.lub_a_iomsg = specifiers.iomsg;
  lub.lub_iomsg_len = specifiers.iomsg != nullptr ? specifiers.iomsg_length : 0;
}

void clear_specifiers(For_Lub& lub) {
  lub.lub_f_err = lub.lub_f_end = lub.lub_f_eor = lub.lub_f_iostat = 0;
  lub.lub_a_iomsg = nullptr;
  lub.lub_iomsg_len = 0;
}

int fail_without_unit(int code, int unit, const Specifiers& specifiers) {
  if (!specifiers.catch_failures()) {
    for__issue_diagnostic(code, 2, unit, "unknown");
    return code;
  }
  if (specifiers.iomsg == nullptr) return code;
  For_Lub* scratch = nullptr;
  if (for__create_lub(unit, &scratch) != 0) return code;
  store_specifiers(*scratch, specifiers);
  scratch->lub_f_err = scratch->lub_f_iostat = 1;
  const int result = for__io_return(FOR_IOR_NONE, code, code, scratch);
  free_scratch_lub(scratch);
  return result;
}

int refuse_in_child(For_Lub& lub, int code, const Specifiers& specifiers) {
  const Specifiers parents = {lub.lub_f_err * For_IO_Flags{iof_err} | lub.lub_f_iostat * For_IO_Flags{iof_iostat},
                              lub.lub_a_iomsg, lub.lub_iomsg_len};
  store_specifiers(lub, specifiers);
  const int result = report_failure(FOR_IOR_RELEASE, code, code, &lub);
  store_specifiers(lub, parents);
  return result;
}
