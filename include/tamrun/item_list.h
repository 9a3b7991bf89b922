// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Item lists: how compiled code describes each transferred value. A list is an array of byte pairs (type, access)
// and an array of 8-byte argument words consumed in step with it.
#ifndef TAMRUN_ITEM_LIST_H
#define TAMRUN_ITEM_LIST_H

#include "tamrun/types.h"

/// First byte of a pair. Types not named here are invalid in a list.
enum For_Item_Type TAMRUN_BASE_U8 {
  ITM_END_STATEMENT = 1,
  ITM_END_CALL = 2,
  ITM_INTEGER1 = 5,
  ITM_UNSIGNED1 = 6,
  ITM_INTEGER2 = 7,
  ITM_UNSIGNED2 = 8,
  ITM_INTEGER4 = 9,
  ITM_UNSIGNED4 = 10,
  ITM_INTEGER8 = 11,
  ITM_UNSIGNED8 = 12,
  ITM_LOGICAL = 13,
  ITM_LOGICAL1 = 14,
  ITM_LOGICAL2 = 15,
  ITM_LOGICAL4 = 16,
  ITM_LOGICAL8 = 17,
  ITM_REAL4_VAX = 25,
  ITM_REAL4 = 26,
  ITM_COMPLEX8_ALT = 28,  ///< IEEE single parts
  ITM_COMPLEX8 = 29,      ///< IEEE single parts
  ITM_COMPLEX8_VAX = 31,
  ITM_COMPLEX16_ALT = 40,  ///< IEEE double parts
  ITM_COMPLEX16_VAXD = 42,
  ITM_COMPLEX16_VAXG = 43,
  ITM_COMPLEX16 = 44,  ///< IEEE double parts
  ITM_REAL8_VAXD = 45,
  ITM_REAL8_VAXG = 46,
  ITM_REAL8 = 48,
  ITM_REAL16 = 50,
  ITM_COMPLEX32 = 52,  ///< IEEE quad parts
  ITM_CHARACTER = 56,
  ITM_CHARACTER_ALT = 57,
  ITM_NON_DATA60 = 60,  ///< two words (length, value), no data
  ITM_NON_DATA61 = 61,
  ITM_NON_DATA62 = 62,
  ITM_DERIVED = 63,
  ITM_DERIVED_OPEN = 64,  ///< components follow as separate items
  ITM_DERIVED_CLOSE = 65,
  ITM_DERIVED_OPEN_DT = 66,  ///< as 64, and a DT edit descriptor is required
  ITM_NML67 = 67,
  ITM_NON_DATA68 = 68,
  ITM_NON_DATA69 = 69,
  ITM_RESERVED70 = 70,
};

/// Second byte of a pair: how the value reaches the library, and how many argument words it takes.
enum For_Item_Access TAMRUN_BASE_U8 {
  ACC_INLINE = 1,        ///< value in the argument words, count from the type's row
  ACC_POINTER = 3,       ///< 1 word: address
  ACC_SCALAR = 4,        ///< 2 words: length, address
  ACC_ARRAY = 5,         ///< 2 words: total bytes, address; element length from the type
  ACC_ARRAY_ELEM = 6,    ///< 3 words: total bytes, address, element length
  ACC_SECTION = 7,       ///< 2 + 3 x rank words: rank, base, then lower, upper, stride in bytes per dimension
  ACC_SECTION_ELEM = 8,  ///< 3 + 3 x rank words: rank, base, element length, then the dimensions
  ACC_POINTER_ALT = 10,  ///< as ACC_POINTER
  ACC_UDIO_SCALAR = 11,  ///< 2 words: defined-I/O routine, address of the value
  ACC_UDIO_ARRAY = 12,   ///< 2 words: defined-I/O routine, address of an array descriptor
};

#ifdef __cplusplus  // what follows is for the library itself

struct For_Dope_Vector;

/// Rows of for__dsc_itm_table: types 0 to 70.
inline constexpr int kItemTypes = 71;

/// Size classes of for__dsc_itm_table: negative sizes.
enum For_Item_Size_Class : i8 {
  ITEM_SIZE_GIVEN = -1,  ///< the length comes with the item
  ITEM_SIZE_RESERVED = -2,
  ITEM_SIZE_INVALID = -3,
  ITEM_SIZE_NON_DATA = -4,
};

struct For_Item_Row {
  i8 size;   ///< bytes of the value, or a For_Item_Size_Class
  i8 words;  ///< argument words of an inline value
};

extern "C" {
extern const For_Item_Row for__dsc_itm_table[kItemTypes];
}

/// One decoded item.
struct For_Value_Info {
  u8* val_data;               ///< address of the value
  i64 val_total;              ///< bytes of all elements
  u32 val_type;               ///< For_Item_Type
  i64 val_elem;               ///< element length in bytes (one part of a complex); routine address for access 11, 12
  For_Dope_Vector* val_dope;  ///< descriptor of access 12
};

/// Most dimensions that a section may have.
inline constexpr int kMaxSectionRank = 31;

struct For_Item_Dim {
  i64 upper;
  i64 lower;
  i64 stride;  ///< bytes
};

/// Shape of a decoded array item.
struct For_Item_Shape {
  u32 shp_access;  ///< For_Item_Access
  u32 shp_rank;
  u8* shp_base;
  For_Item_Dim shp_dim[kMaxSectionRank];
};

/// True for the complex types, whose element is one part.
constexpr bool item_is_complex(u32 type) { return (type >= 28 && type <= 44) || type == ITM_COMPLEX32; }

#endif  // __cplusplus

#endif
