// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Words at any address, and values in the other byte order.
#ifndef TAMRUN_CONVERT_BYTE_ORDER_H
#define TAMRUN_CONVERT_BYTE_ORDER_H

#include <string.h>

#include "tamrun/types.h"

inline void store_unaligned_short(void* to, u16 word) { memcpy(to, &word, sizeof word); }
inline void store_unaligned_int(void* to, u32 word) { memcpy(to, &word, sizeof word); }
inline void store_unaligned_long(void* to, u64 word) { memcpy(to, &word, sizeof word); }
inline u32 load_unaligned_int(const void* from) {
  u32 word;
  memcpy(&word, from, sizeof word);
  return word;
}
inline u64 load_unaligned_long(const void* from) {
  u64 word;
  memcpy(&word, from, sizeof word);
  return word;
}

/// Copies `count` values of `elem` bytes each, the bytes of each one in reverse. `to` is `from` or does not overlap it.
void reverse_elements(u8* to, const u8* from, i64 elem, i64 count);

#endif
