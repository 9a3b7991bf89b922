// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The intrinsics INUM to QNUM: a text as a number, read as by the list-directed edit descriptor of the type over the
// whole text.

#include "core/failure.h"
#include "format/for_fmt_val.h"
#include "intrinsics/math_entries.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/item_list.h"
#include "tamrun/messages.h"

namespace {

/// 0 for a blank text, and after a message that does not end the process.
template <class Number>
Number number_of(const char* text, i64 length, For_Item_Type type, int message) {
  Number number = 0;
  while (length > 0 && text[length - 1] == ' ') --length;
  if (length < 1) return number;
  const For_Ldir_Field& field = for__wfs_table[type];
  For_Fmt_Isb isb = {};
  isb.isb_width = length;
  isb.isb_flags = ISB_LEFT_JUSTIFY;
  isb.isb_code = field.operation;
  isb.isb_e = field.e;
  For_Value_Info value = {};
  value.val_data = reinterpret_cast<u8*>(&number);
  value.val_type = type;
  value.val_total = value.val_elem = sizeof number;
  if (for__cvt_value(&isb, text, &value) != 0) for__issue_diagnostic(message, 0);
  return number;
}

}  // namespace

extern "C" {

#define TAMRUN_TEXT(name, Type, item, message) \
  Type name(const char* text, i64 length) { return number_of<Type>(text, length, item, message); }
TAMRUN_TEXT_NUMBERS(TAMRUN_TEXT)
#undef TAMRUN_TEXT

}  // extern "C"
