// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Reading the keyword lists of OPEN, CLOSE and INQUIRE.
#ifndef TAMRUN_UNITS_KEYWORD_LIST_H
#define TAMRUN_UNITS_KEYWORD_LIST_H

#include <string.h>

#include "tamrun/hooks.h"
#include "tamrun/item_list.h"
#include "tamrun/messages.h"

/// One decoded keyword.
struct Keyword {
  int key;
  For_Value_Info value;
  bool in_line;  ///< the value stands in the argument words

  bool is_text() const { return value.val_type == ITM_CHARACTER; }
  const char* text() const { return reinterpret_cast<const char*>(value.val_data); }
};

/// A value that is a number, or a mark without a value, which counts as 1: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] inline int number_of(const Keyword& k, u64* number) {
  const For_Item_Row& row = for__dsc_itm_table[k.value.val_type];
  if (k.is_text()) return MSG_INVALID_ARGUMENT;
  if (row.size == ITEM_SIZE_NON_DATA) {
    *number = row.words != 0 ? reinterpret_cast<u64>(k.value.val_data) : 1;
    return 0;
  }
  if (k.value.val_data == nullptr || row.size < 1 || row.size > static_cast<i8>(sizeof(u64))) {
    return MSG_INVALID_ARGUMENT;
  }
  i64 bits = 0;
  memcpy(&bits, k.value.val_data, static_cast<size_t>(row.size));
  const int unused = 64 - 8 * row.size;
  *number = static_cast<u64>(static_cast<i64>(static_cast<u64>(bits) << unused) >> unused);
  return 0;
}

/// Text that is no character item ends with a NUL: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] inline int text_of(const Keyword& k, u64* address, u64* length) {
  if (k.value.val_data == nullptr && (!k.is_text() || k.value.val_total != 0)) return MSG_INVALID_ARGUMENT;
  *address = reinterpret_cast<u64>(k.value.val_data);
  *length = k.is_text() ? static_cast<u64>(k.value.val_total) : strlen(k.text());
  return 0;
}

/// Hands each keyword to `store` until one fails: 0 or a message number. The list then stands behind that keyword.
template <class Store>
[[nodiscard]] int walk_keywords(const u8** keys, void** values, Store store) {
  while (*keys != nullptr && **keys != ITM_END_STATEMENT && **keys != ITM_END_CALL) {
    Keyword k;
    For_Item_Shape shape;
    if (const int status = for__key_desc_ret_item(keys, values, &k.value, &shape, &k.key)) return status;
    k.in_line = shape.shp_access == ACC_INLINE;
    if (const int status = store(k)) return status;
  }
  return 0;
}

#endif
