// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The state block of a formatted statement. The same storage serves list-directed statements as For_Ldir_Isb
// and For_Ldir_Read_Isb.
#ifndef TAMRUN_FMT_ISB_H
#define TAMRUN_FMT_ISB_H

#include "tamrun/compiled_format.h"
#include "tamrun/types.h"

struct For_Lub;

enum For_Isb_Flags : u32 {
  ISB_BN = 1u << 0,
  ISB_BZ = 1u << 1,
  ISB_SP = 1u << 2,
  ISB_SS = 1u << 3,
  ISB_S = 1u << 4,
  ISB_SIGN_BITS = ISB_SP | ISB_SS | ISB_S,
  ISB_LEFT_JUSTIFY = 1u << 6,  ///< minimal real field
  ISB_TEXT_E_ONLY = 1u << 14,  ///< real input options, set by no statement of the library
  ISB_TEXT_NO_BARE_SIGN = 1u << 15,
  ISB_TEXT_REPORT_OVERFLOW = 1u << 16,
  ISB_TEXT_SCALE_ALWAYS = 1u << 18,
  ISB_TEXT_REPORT_UNDERFLOW = 1u << 19,
  ISB_DATA_EDIT_SEEN = 1u << 21,  ///< a data edit descriptor has been met in this pass of the format
  ISB_RUNTIME_FORMAT = 1u << 25,  ///< the format was compiled at run time and is owned here
  ISB_LOGICAL_LETTER = 1u << 26,  ///< input: the field is the letter of a logical value
  ISB_LIST_G = 1u << 27,          ///< the list-directed choice of G options
  ISB_VFE_REACHED = 1u << 28,     ///< a variable format expression has been reached
  ISB_CALL_ENDS = 1u << 29,       ///< the item list has no more item in this call
  ISB_STATEMENT_ENDS = 1u << 30,  ///< the next item ends the statement
  ISB_EMPTY_FORMAT = 1u << 31,    ///< the format is "()"
};

enum For_Isb_Flags2 : u16 {
  ISB2_MSF_LAYOUT = 1u << 0,         ///< list-directed: lub_f_msf_layout
  ISB2_MINIMAL = 1u << 1,            ///< minimal form (w = 0) in this value
  ISB2_DC = 1u << 2,                 ///< decimal comma in force; overrides the unit's DECIMAL
  ISB2_DP = 1u << 3,                 ///< decimal point in force
  ISB2_G_NO_WIDTH = 1u << 4,         ///< G without a usable width
  ISB2_KEEP_ROUNDED_SIGN = 1u << 5,  ///< iof_format_option8
  ISB2_VALUE_OPTION = 1u << 6,       ///< list-directed: iof_ldio_value_option
  ISB2_STANDARD_G0 = 1u << 7,        ///< iof_f90_rtl
  ISB2_G_IN_PROGRESS = 1u << 8,
  ISB2_D_GIVEN = 1u << 9,
  ISB2_W_ZERO = 1u << 10,
};

/// One per formatted unit, reached through lub_a_fmt_isb.
struct For_Fmt_Isb {
  For_Lub* isb_lub;
  const u8* isb_fmt_base;           ///< where the compiled format begins
  const u8* isb_fmt_pc;             ///< next element; null: no format is active
  const char* isb_dt_iotype;        ///< the DT element's iotype text, or null
  const char* isb_dt_vlist;         ///< the DT element's value-list text, or null
  i64 isb_repeat;                   ///< repeat of the current element, counted down by the statement
  i64 isb_error;                    ///< output conversion error remembered by the statement
  i64 isb_group_count[kFmtLevels];  ///< remaining repeats of the group at levels 1 to 8 (row level - 1)
  u32 isb_group_start[kFmtLevels];  ///< offset from isb_fmt_base of the element behind the group's "("
  i64 isb_width_saved;              ///< width of the current element, for its repeats
  u32 isb_minimal_saved;            ///< bit 0 restores ISB2_MINIMAL on a repeat; cleared at every element
  i64 isb_width;                    ///< w
  const char* isb_literal;          ///< characters of a literal
  u16 isb_d, isb_e;                 ///< d or m, and e
  i8 isb_scale;                     ///< scale factor of P
  i8 isb_depth;                     ///< group level, 0 outside all groups
  u32 isb_reversion;                ///< offset where the format reverts to; formats may be longer than 64 KiB
  u8 isb_code;                      ///< For_Fmt_Op that stopped the interpreter
  u8 isb_round;                     ///< For_Round_Mode
  u32 isb_flags;                    ///< For_Isb_Flags
  u16 isb_flags2;                   ///< For_Isb_Flags2
};
static_assert(offsetof(For_Fmt_Isb, isb_lub) == 0);

enum For_Ldir_Flags : u32 {
  LDIR_REAL_DONE = 1u << 12,     ///< the real part of a complex waits in its text buffer
  LDIR_COMPLEX_DONE = 1u << 13,  ///< a complex pair has been put out
  LDIR_NEED_BLANK = 1u << 20,    ///< the record has no data yet: a character item begins with a blank
  LDIR_VALUE_OPTION = 1u << 28,  ///< handed to the value editor as ISB2_VALUE_OPTION
};

/// List-directed view of the state block.
struct For_Ldir_Isb {
  For_Lub* ldir_lub;
  i64 ldir_error;  ///< error remembered by the statement
  u32 ldir_flags;  ///< For_Ldir_Flags
};
static_assert(offsetof(For_Ldir_Isb, ldir_lub) == 0);

enum For_Ldir_Read_Flags : u32 {
  LDIR_COMPLEX = 1u << 4,          ///< the parenthesis of a complex constant is open
  LDIR_STOP = 1u << 9,             ///< a slash was read: no item is assigned any more
  LDIR_SEP_AT_END = 1u << 16,      ///< the previous value's separator has been passed
  LDIR_PART_TWO = 1u << 19,        ///< both parts of the complex constant have been read
  LDIR_NEW_RECORD = 1u << 20,      ///< a record was fetched since the last field
  LDIR_PAIR = 1u << 21,            ///< the constant in hand is complex: ldir_imag holds its second part
  LDIR_FIELD_SEEN = 1u << 22,      ///< a field was found in the statement
  LDIR_CROSSED_RECORD = 1u << 26,  ///< the last search for a field crossed a record end
};

enum class Ldir_Form : u8 {
  null,     ///< leaves the item as it is
  number,   ///< with a point, an exponent or a word
  decimal,  ///< with a point or an exponent, whose digits and power are known
  integer,  ///< a number that is digits and a sign only
  small,    ///< an integer whose digits are known, below 10^18
  logical,  ///< the letter of a logical value
  text,
};

/// Text of one constant, in the record or in ldir_text.
struct Ldir_Constant {
  const u8* text;
  i64 length;
  Ldir_Form form;
  bool negative;  ///< of Ldir_Form::small and decimal, whose value is digits * 10^power
  i32 power;
  u64 digits;
};

/// Longest character constant and longest part of a repeated complex constant that crosses records.
inline constexpr i64 kLdirTextBytes = 2050;

/// View of the state block that a list-directed READ has. ldir_text need not be cleared. It keeps clear of the format's
/// view, whose flags tell at CLOSE whether a format is to be freed with the block.
struct For_Ldir_Read_Isb {
  For_Lub* ldir_lub;
  i64 ldir_repeat;           ///< further values that take the constant in hand
  Ldir_Constant ldir_field;  ///< the constant in hand, of a complex one the first part
  Ldir_Constant ldir_imag;   ///< with LDIR_PAIR
  u32 ldir_flags;            ///< For_Ldir_Read_Flags
  u8 ldir_apart[sizeof(For_Fmt_Isb)];
  u8 ldir_text[kLdirTextBytes];
};
static_assert(offsetof(For_Ldir_Read_Isb, ldir_lub) == 0);
static_assert(offsetof(For_Ldir_Read_Isb, ldir_apart) <= offsetof(For_Fmt_Isb, isb_flags));

/// Bytes behind the block of a formatted statement for a compiled format.
inline constexpr i64 kFmtRoomBytes = 512;

/// The view of a formatted statement with that room. A child statement leaves the room to its parent.
struct For_Fmt_State {
  For_Fmt_Isb isb;
  alignas(8) u8 room[kFmtRoomBytes];
};

/// Bytes of the block that serves all views.
inline constexpr size_t kStateBlockBytes = sizeof(For_Fmt_State) > sizeof(For_Ldir_Read_Isb)
                                               ? sizeof(For_Fmt_State)
                                               : sizeof(For_Ldir_Read_Isb);

#endif
