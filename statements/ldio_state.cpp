// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What list-directed writers share beside their walk.

#include "statements/ldio_writer.h"
#include "statements/statement.h"

Ldio_State::Ldio_State(For_Lub& unit)
    : lub(unit), ldir(ldir_state(unit)), table(unit.lub_f_msf_layout ? for__wfs_msf_table : for__wfs_table), isb{} {
  isb.isb_lub = &lub;
  isb.isb_scale = 1;
  isb.isb_round = lub.lub_round;
  isb.isb_flags = ISB_LIST_G | sign_flags(lub);
  if (lub.lub_f_msf_layout) isb.isb_flags2 |= ISB2_MSF_LAYOUT;
  if (ldir.ldir_flags & LDIR_VALUE_OPTION) isb.isb_flags2 |= ISB2_VALUE_OPTION;
  ldir.ldir_error = 0;
}

i64 ensure_one_leading_blank_before_data(u8* field, i64 width) {
  u8* const end = field + width;
  u8* const text = std::find_if(field, end, [](u8 c) { return c != ' '; });
  const i64 index = text - field;
  if (text == end || index == 1) return width;
  if (index > 1) {
    memmove(field + 1, text, end - text);
    memset(end - (index - 1), ' ', index - 1);
    return width - index + 1;
  }
  const bool filled = width > 0 && end[-1] != ' ';
  memmove(field + 1, field, filled ? width : width - 1);
  *field = ' ';
  return filled ? width + 1 : width;
}
