// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The format interpreter.
#ifndef TAMRUN_FORMAT_FOR_INTRP_FMT_H
#define TAMRUN_FORMAT_FOR_INTRP_FMT_H

#include "tamrun/compiled_format.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/lub.h"

extern "C" {
/// Walks the unit's format to the next stop: 0 with isb_code, isb_repeat, isb_width, isb_d and isb_e set, or
/// MSG_RECURSIVE_IO, MSG_FORMAT_SYNTAX, MSG_RECORD_OVERFLOW or MSG_VFE_VALUE.
[[nodiscard]] int for__interp_fmt(For_Lub* lub);

/// Value of one variable format expression.
i64 get_vfe_value(const u64* slots, const For_Fmt_Vfe* reference);
}

#endif
