// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The one decoder of compiled format elements.
#ifndef TAMRUN_FORMAT_FMT_ELEMENT_H
#define TAMRUN_FORMAT_FMT_ELEMENT_H

#include "tamrun/compiled_format.h"

/// One element. What its layout does not give is 0. Pointers lead into the compiled format.
struct For_Fmt_Element {
  u8 code;
  u8 operation;  ///< For_Fmt_Op
  u8 vfe_flags;  ///< FMTL_VFE bits: the operands that are variable format expressions
  u8 d, e;
  i64 repeat;
  i64 width;               ///< of a literal its length
  i64 size;                ///< bytes up to the next element
  const For_Fmt_Vfe* vfe;  ///< the four references of a long element with vfe_flags, else null
  const char* text;        ///< characters of a literal, or the iotype of a DT element, NUL-terminated, or null
  const char* vlist;       ///< value list of a DT element, NUL-terminated, or null
};

/// Decodes the element at `pc`. False when its code names no layout; then only `code` is set.
[[nodiscard]] bool decode_fmt_element(const u8* pc, For_Fmt_Element& element);

#endif
