// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Editing one value, and the tables of default field sizes.
#ifndef TAMRUN_FORMAT_FOR_FMT_VAL_H
#define TAMRUN_FORMAT_FOR_FMT_VAL_H

#include "convert/plain_fields.h"
#include "tamrun/cvt.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/item_list.h"
#include "tamrun/lub.h"

/// Default list-directed field of an item type.
struct For_Ldir_Field {
  u8 width;  ///< columns; 0: no such type
  u8 d;
  u8 e;
  u8 operation;  ///< For_Fmt_Op
};

/// Default real field of an item type.
struct For_Real_Field {
  i16 width;
  i16 integer_digits;  ///< of the largest value
  i16 d;
  i16 e;
};

/// How the bytes of an item type are read by the value editor.
enum For_Value_Group : u8 {
  VG_NONE,
  VG_I1,
  VG_U1,
  VG_I2,
  VG_U2,
  VG_I4,
  VG_U4,
  VG_I8,
  VG_U8,
  VG_L1,
  VG_L2,
  VG_L4,
  VG_L8,
  VG_REAL4,   ///< IEEE single, or one part of its complex
  VG_REAL8,   ///< IEEE double
  VG_REAL16,  ///< IEEE quad
  VG_CHARACTER,
};

inline constexpr int kFirstIntegerType = 5, kLastIntegerType = 17;
inline constexpr int kFirstRealType = 25, kLastRealType = 52;

// Default widths of descriptors without one.
TAMRUN_ENTRY const u8 for__i_fmt_table[13];                 ///< by type - kFirstIntegerType
TAMRUN_ENTRY const i8 for__oz_fmt_table[kItemTypes];        ///< by type; -1: 3 x length, at least 7
TAMRUN_ENTRY const i16 for__b_fmt_table[kItemTypes];        ///< by type; -1: 8 x length, at least 17
TAMRUN_ENTRY const For_Real_Field for__fedg_fmt_table[28];  ///< by type - kFirstRealType
TAMRUN_ENTRY const For_Ldir_Field for__wfs_table[kItemTypes];
TAMRUN_ENTRY const For_Ldir_Field for__wfs_msf_table[kItemTypes];  ///< under lub_f_msf_layout

extern "C" {
extern const u8* const for__coerce_data_types[60];  ///< by isb_code: table by item type, or null
extern const For_Value_Group for__value_groups[kItemTypes];

/// True when the decimal comma is in force, and with it the semicolon as separator.
bool for__decimal_comma(const For_Fmt_Isb& isb);

/// Writes isb_width columns at `field`: 0, MSG_INVALID_ARGUMENT, MSG_FORMAT_TYPE_MISMATCH, MSG_OUTPUT_CONVERSION,
/// MSG_INPUT_CONVERSION or MSG_RECORD_OVERFLOW.
[[nodiscard]] int for__format_value(const For_Value_Info* val, For_Fmt_Isb* isb, char* field);

/// Reads isb_width characters into the value: 0, MSG_INVALID_ARGUMENT, MSG_FORMAT_TYPE_MISMATCH or
/// MSG_INPUT_CONVERSION.
[[nodiscard]] int for__cvt_value(For_Fmt_Isb* isb, const char* field, For_Value_Info* val);
}

/// The reader of plain fields for values of that type in the field of the state block, and what it is to be told: null
/// where for__cvt_value reads each field.
Plain_Reader* plain_reader(const For_Fmt_Isb& isb, u32 type, Plain_Format* format);

/// Rounding field of the real converters by For_Round_Mode.
inline constexpr u32 kRoundingFields[] = {
    CVT_ROUND_NEAREST,  // unset
    CVT_ROUND_UP,      CVT_ROUND_DOWN, CVT_ROUND_ZERO, CVT_ROUND_NEAREST, CVT_ROUND_AWAY,
    CVT_ROUND_NEAREST,  // processor defined
};

/// Options of the converters of reals that say how to round.
constexpr u32 rounding_options(u8 mode) {
  return CVT_M_ROUND_GIVEN | kRoundingFields[mode <= ROUND_PROCESSOR_DEFINED ? mode : u8{ROUND_UNSET}];
}

#endif
