// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The one decoder of compiled format elements.
#ifndef TAMRUN_FORMAT_FMT_ELEMENT_H
#define TAMRUN_FORMAT_FMT_ELEMENT_H

#include "tamrun/compiled_format.h"

/// One element. Operands that its layout does not give are 0. Pointers lead into the compiled format.
struct For_Fmt_Element {
  u8 code;
  u8 operation;  ///< For_Fmt_Op
  u8 vfe_flags;  ///< FMTL_VFE bits: the operands that are variable format expressions
  u8 d, e;
  i64 repeat;
  i64 width;               ///< of a literal its length
  i64 size;                ///< bytes up to the next element
  const For_Fmt_Vfe* vfe;  ///< the four references of a long element with vfe_flags, else not set
  const char* text;        ///< characters of a literal, or the iotype of a DT element, NUL-terminated, or null
  const char* vlist;       ///< value list of a DT element, NUL-terminated, or null; text and vlist of others: not set
};

/// decode_fmt_element for the layouts with text and the long ones.
[[nodiscard]] bool decode_rare_fmt_element(const u8* pc, For_Fmt_Cat row, For_Fmt_Element& element);

/// Decodes the element at `pc`. False when its code names no layout; then only `code` is set.
[[nodiscard]] inline bool decode_fmt_element(const u8* pc, For_Fmt_Element& element) {
  constexpr u32 kByte = 8, kHalf = 16;
  element.code = pc[0];
  if (element.code >= kFmtCodes) return false;
  const For_Fmt_Cat row = fmt_cat[element.code];
  u32 word;
  __builtin_memcpy(&word, pc, sizeof word);
  element.operation = row.operation;
  element.vfe_flags = element.d = element.e = 0;
  element.size = sizeof word;
  element.repeat = element.width = 0;
  if (row.category >= FMTC_LONG_FIRST && row.category <= FMTC_LONG_LAST && pc[1] == 0) {
    element.e = static_cast<u8>(word >> kHalf);
    element.d = static_cast<u8>(word >> (kHalf + kByte));
    __builtin_memcpy(&word, pc + offsetof(For_Fmt_Narrow, repeat), sizeof word);
    element.repeat = word;
    __builtin_memcpy(&word, pc + offsetof(For_Fmt_Narrow, width), sizeof word);
    element.width = word;
    element.size = sizeof(For_Fmt_Narrow);
    return true;
  }
  switch (row.category) {
    case FMTC_BARE:
      return true;
    case FMTC_REPEAT:
      element.repeat = word >> kHalf;
      return true;
    case FMTC_REPEAT_WIDTH:
      element.repeat = pc[1];
      element.width = word >> kHalf;
      return true;
    case FMTC_REPEAT_WD:
      element.repeat = pc[1];
      element.width = static_cast<u8>(word >> kHalf);
      element.d = static_cast<u8>(word >> (kHalf + kByte));
      return true;
    default:
      return decode_rare_fmt_element(pc, row, element);
  }
}

#endif
