// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Values of a connection whose file has another byte order or another floating-point format.
#ifndef TAMRUN_STATEMENTS_UNF_CONVERT_H
#define TAMRUN_STATEMENTS_UNF_CONVERT_H

#include "convert/foreign_data.h"
#include "core/failure.h"

/// Most bytes of a value that has two forms.
inline constexpr i64 kMostConverted = 16;

/// True when the values of the item differ between variable and file.
inline bool needs_conversion(const For_Lub& lub, const For_Value_Info& val) {
  if (!lub.lub_f_convert && !lub.lub_f_big_endian_words) return false;
  return val.val_elem <= kMostConverted && for__cvt_foreign_check(&val, &lub) != 0;
}

/// Each value that its new form cannot express is reported; the statement goes on.
inline void report_conversions(i64 failed) {
  for (; failed > 0; --failed) for__issue_diagnostic(MSG_FLOATING_CONVERSION_FAILED, 0);
}

/// `count` values of `elem` bytes side by side in the file's form, or back in the variable's.
inline void convert_for_write(const For_Lub& lub, u32 type, i64 elem, i64 count, const u8* from, u8* to) {
  report_conversions(cvt_foreign_write_run(lub, type, elem, count, from, to));
}
inline void convert_after_read(const For_Lub& lub, u32 type, i64 elem, i64 count, const u8* from, u8* to) {
  report_conversions(cvt_foreign_read_run(lub, type, elem, count, from, to));
}

#endif
