// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The format interpreter.
#ifndef TAMRUN_FORMAT_FOR_INTRP_FMT_H
#define TAMRUN_FORMAT_FOR_INTRP_FMT_H

#include <initializer_list>

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

constexpr bool is_data_edit(u8 operation) {
  return (operation >= FMT_A && operation <= FMT_ES_WDE && operation != FMT_LITERAL) || operation == FMT_EX;
}

/// How the data edit descriptors of compiled text stop: the element gives all that there is to know.
enum Plain_Stop : u8 { PLAIN_NONE, PLAIN_DATA, PLAIN_DEFAULT_M };

inline constexpr auto kPlainStops = [] {
  struct {
    u8 of[256];  // any byte may stand in a format
  } table = {};
  for (int code = FMT_A; code <= FMT_ES_WDE; ++code) {
    if (is_data_edit(static_cast<u8>(code))) table.of[code] = PLAIN_DATA;
  }
  for (const u8 code : {FMT_I, FMT_L, FMT_O, FMT_Z, FMT_I_W, FMT_O_W, FMT_Z_W, FMT_B, FMT_B_W})
    table.of[code] = PLAIN_DEFAULT_M;
  table.of[FMT_G_WDE] = PLAIN_NONE;  // has a combination that is no format
  return table;
}();

/// True when stop_at_plain_data stops at an element of this code without flags.
constexpr bool stops_plainly(u8 code) { return kPlainStops.of[code] != PLAIN_NONE; }

/// True when the next element is a data edit descriptor without expressions in the narrow layout.
inline bool stands_at_plain_data(const For_Fmt_Isb& isb) {
  return stops_plainly(isb.isb_fmt_pc[0]) && isb.isb_fmt_pc[1] == 0;
}

/// Stops at such an element.
inline void stop_at_plain_data(For_Fmt_Isb& isb) {
  const u8* pc = isb.isb_fmt_pc;
  const u8 code = pc[0];
  For_Fmt_Narrow element;
  __builtin_memcpy(&element, pc, sizeof element);
  isb.isb_code = code;
  isb.isb_repeat = element.repeat;
  isb.isb_width = isb.isb_width_saved = element.width;
  isb.isb_d = kPlainStops.of[code] == PLAIN_DEFAULT_M ? 1 : element.d;
  isb.isb_e = element.e;
  isb.isb_minimal_saved = 0;
  isb.isb_flags = (isb.isb_flags | ISB_DATA_EDIT_SEEN) & ~u32{ISB_CALL_ENDS};
  isb.isb_fmt_pc = pc + sizeof element;
}

/// Carries out the start element of `size` bytes that stands at isb_fmt_pc.
inline void start_format(For_Fmt_Isb& isb, i64 size) {
  isb.isb_flags &= ~u32{ISB_DATA_EDIT_SEEN};
  isb.isb_reversion = 0;
  isb.isb_fmt_base = isb.isb_fmt_pc;
  const u8 next = isb.isb_fmt_pc[size];
  if (next == FMT_END || next == FMT_SHORT_END) isb.isb_flags |= ISB_EMPTY_FORMAT;
}

/// The start element of compiled text: false when another element stands there.
inline bool pass_plain_start(For_Fmt_Isb& isb) {
  const u8* pc = isb.isb_fmt_pc;
  if (pc[0] != FMT_START || pc[1] != 0) return false;
  start_format(isb, sizeof(For_Fmt_Narrow));
  isb.isb_fmt_pc = pc + sizeof(For_Fmt_Narrow);
  return true;
}

/// Passes over the columns of an X element without expressions that ends within the record.
inline bool pass_plain_columns(For_Lub& lub, For_Fmt_Isb& isb) {
  const u8* pc = isb.isb_fmt_pc;
  if (pc[0] != FMT_X || pc[1] != 0 || lub.lub_pad_count != 0) return false;
  For_Fmt_Narrow element;
  __builtin_memcpy(&element, pc, sizeof element);
  if (lub.lub_a_rec_end - lub.lub_a_cursor <= i64{element.repeat} || lub.lub_a_cursor < lub.lub_a_data_start)
    return false;
  lub.lub_a_cursor += element.repeat;
  isb.isb_fmt_pc = pc + sizeof element;
  return true;
}

#endif
