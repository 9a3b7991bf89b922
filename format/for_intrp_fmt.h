// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The format interpreter.
#ifndef TAMRUN_FORMAT_FOR_INTRP_FMT_H
#define TAMRUN_FORMAT_FOR_INTRP_FMT_H

#include "tamrun/compiled_format.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/lub.h"

extern "C" {
/// Walks the unit's format to the next stop: 0 with isb_code, isb_repeat, isb_width, isb_d and isb_e set, and
/// isb_literal or isb_dt_iotype and isb_dt_vlist with a literal or DT. MSG_FORMAT_SYNTAX, MSG_VFE_VALUE and
/// MSG_INFINITE_FORMAT_LOOP (a group that repeats without end and nothing in it stops) are for the statement to report;
/// MSG_RECURSIVE_IO and MSG_RECORD_OVERFLOW have been reported already: the run-time format is free and the unit
/// released.
///
/// With ISB_VFE_REACHED and ISB_CALL_ENDS both set on return the call is over. isb_repeat is 0 then when the element
/// waits for its item and will be met again.
[[nodiscard]] int for__interp_fmt(For_Lub* lub);

/// Value of one variable format expression.
i64 get_vfe_value(const u64* slots, const For_Fmt_Vfe* reference);
}

#endif
