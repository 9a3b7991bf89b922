// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The compiled format: an array of elements, each aligned to 4 bytes, that begins with FMT_START and ends with
// FMT_END. Compiled code passes such arrays ready-made; run-time text is compiled into the same form.
#ifndef TAMRUN_COMPILED_FORMAT_H
#define TAMRUN_COMPILED_FORMAT_H

#include "tamrun/types.h"

/// Operations: what an element means. Codes 0 to 51 and 100 to 120 of an element are their own operation; the codes
/// between are short forms that map to one of these through fmt_cat.
enum For_Fmt_Op : u8 {
  FMT_INVALID = 0,
  FMT_START = 1,
  FMT_END = 2,
  FMT_GROUP = 3,
  FMT_GROUP_END = 4,
  FMT_BN = 5,
  FMT_BZ = 6,
  FMT_SP = 7,
  FMT_SS = 8,
  FMT_S = 9,
  FMT_P = 10,
  FMT_X = 11,
  FMT_T = 12,
  FMT_TL = 13,
  FMT_TR = 14,
  FMT_Q = 15,
  FMT_DOLLAR = 16,
  FMT_COLON = 17,
  FMT_SLASH = 18,
  FMT_A = 19,
  FMT_D = 20,
  FMT_E = 21,
  FMT_F = 22,
  FMT_G = 23,
  FMT_I = 24,
  FMT_L = 25,
  FMT_O = 26,
  FMT_Z = 27,
  FMT_LITERAL = 28,
  FMT_A_W = 29,
  FMT_D_WD = 30,
  FMT_E_WD = 31,
  FMT_E_WDE = 32,
  FMT_F_WD = 33,
  FMT_G_WD = 34,
  FMT_G_WDE = 35,
  FMT_I_W = 36,
  FMT_I_WM = 37,
  FMT_L_W = 38,
  FMT_O_W = 39,
  FMT_O_WM = 40,
  FMT_Z_W = 41,
  FMT_Z_WM = 42,
  FMT_B = 43,
  FMT_B_W = 44,
  FMT_B_WM = 45,
  FMT_EN = 46,
  FMT_EN_WD = 47,
  FMT_EN_WDE = 48,
  FMT_ES = 49,
  FMT_ES_WD = 50,
  FMT_ES_WDE = 51,
  FMT_RU = 108,
  FMT_RD = 109,
  FMT_RZ = 110,
  FMT_RN = 111,
  FMT_RC = 112,
  FMT_RP = 113,
  FMT_DC = 114,
  FMT_DP = 115,
  FMT_DT = 116,          ///< also the code of a DT element that the compiler made
  FMT_DT_RUNTIME = 119,  ///< code of a DT element compiled at run time; its operation is FMT_DT
  FMT_EX = 120,
};
inline constexpr int kFmtCodes = 128;
inline constexpr u8 FMT_SHORT_END = 55;  ///< short form of FMT_END

/// Category of a code: the layout of its element.
enum For_Fmt_Category : u8 {
  FMTC_INVALID = 0,
  FMTC_LONG_FIRST = 1,
  FMTC_LONG_LAST = 5,     ///< long elements of 12, 24, 28 or 40 bytes
  FMTC_BARE = 6,          ///< 4 bytes, no operand
  FMTC_REPEAT = 7,        ///< repeat in bits 16 to 31
  FMTC_WIDTH = 8,         ///< width in bits 16 to 31; FMT_LITERAL: length, the text follows
  FMTC_REPEAT_WIDTH = 9,  ///< repeat in byte 1, width in bits 16 to 31
  FMTC_REPEAT_WD = 10,    ///< repeat in byte 1, width in byte 2, d in byte 3
  FMTC_DT = 11,
  FMTC_DT_RUNTIME = 12,
};

/// Byte 1 of a long element.
enum For_Fmt_Long_Flags : u8 {
  FMTL_VFE_REPEAT = 0x01,
  FMTL_VFE_WIDTH = 0x02,
  FMTL_VFE_D = 0x04,
  FMTL_VFE_E = 0x08,
  FMTL_VFE = 0x0F,
  FMTL_WIDE = 0x10,  ///< 64-bit repeat and width
};

/// Long element, narrow layout; behind it four For_Fmt_Vfe when a bit of FMTL_VFE is set.
struct For_Fmt_Narrow {
  u8 code, flags, e, d;
  u32 repeat;
  u32 width;
};
static_assert(sizeof(For_Fmt_Narrow) == 12 && offsetof(For_Fmt_Narrow, repeat) == 4 &&
              offsetof(For_Fmt_Narrow, width) == 8);

/// Long element, wide layout. Elements are aligned to 4 bytes only.
struct __attribute__((packed, aligned(4))) For_Fmt_Wide {
  u8 code, flags, e, d;
  u32 unused;
  i64 repeat;
  i64 width;
};
static_assert(sizeof(For_Fmt_Wide) == 24 && offsetof(For_Fmt_Wide, repeat) == 8 && offsetof(For_Fmt_Wide, width) == 16);

/// Reference to a variable format expression, resolved through ctx_vfe_slots.
struct For_Fmt_Vfe {
  u16 slot;
  u8 kind;  ///< VFE_POINTER or VFE_ROUTINE
  u8 type;  ///< VFE_INT32 or VFE_INT64
};
static_assert(sizeof(For_Fmt_Vfe) == 4);
enum For_Fmt_Vfe_Kind : u8 { VFE_POINTER = 3, VFE_ROUTINE = 10 };
enum For_Fmt_Vfe_Type : u8 { VFE_INT32 = 9, VFE_INT64 = 11 };

/// DT element compiled at run time: i64 repeat, then iotype and value list, each NUL-terminated.
inline constexpr i64 kDtRepeatOffset = 8, kDtTextOffset = 16;
/// Its size, given the length of both texts together.
constexpr i64 dt_runtime_size(i64 text_length) { return kDtTextOffset + 4 + (text_length + 1) / 4 * 4; }

/// Deepest nesting of parentheses, the outermost counting.
inline constexpr int kFmtLevels = 8;
/// Repeat of an unlimited group.
inline constexpr i64 kFmtUnlimited = 0x7FFFFFFFFFFFFFFF;

/// Run-time format text as passed with iof_format_text.
struct For_Fmt_Text {
  i64 length;
  const char* address;
};
static_assert(sizeof(For_Fmt_Text) == 16);

struct For_Fmt_Cat {
  u8 category;   ///< For_Fmt_Category
  u8 operation;  ///< For_Fmt_Op
};
extern "C" {
extern const For_Fmt_Cat fmt_cat[kFmtCodes];
}

#endif
