// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The character intrinsics of kind 1. The library's searching and trimming entry points take lengths of 32 bits: longer
// strings go to the peer.

#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>

#include <algorithm>

#include "adapters/gnu/peer.h"
#include "adapters/gnu/refuse.h"
#include "intrinsics/for_f90str.h"
#include "intrinsics/string_compare.h"

namespace {

template <class... Lengths>
bool fit(Lengths... lengths) {
  return (... && (lengths <= size_t{INT_MAX}));
}

/// A block that compiled code frees unless its length is 0.
char* allocate(size_t length) {
  static char none;
  if (length == 0) return &none;
  char* block = static_cast<char*>(malloc(length));
  if (block == nullptr) refuse("no memory for a string of %zu bytes", length);
  return block;
}

i32 narrow(size_t length) { return static_cast<i32>(length); }
i64 wide(size_t length) { return static_cast<i64>(length); }

}  // namespace

TAMRUN_ENTRY int _gfortran_compare_string(size_t a_len, const char* a, size_t b_len, const char* b) {
  return compare_padded<u8>(a, wide(a_len), b, wide(b_len));
}

TAMRUN_ENTRY void _gfortran_concat_string(size_t dst_len, char* dst, size_t a_len, const char* a, size_t b_len,
                                          const char* b) {
  const For_Concat_Operand operands[] = {{a, wide(a_len)}, {b, wide(b_len)}};
  for_concat(operands, 2, dst, wide(dst_len));
}

TAMRUN_ENTRY void _gfortran_string_trim(size_t* result_len, void** result, size_t len, const char* s) {
  if (!fit(len)) return peer().string_trim(result_len, result, len, s);
  const size_t trimmed = static_cast<size_t>(for_len_trim(s, narrow(len)));
  char* block = allocate(trimmed);
  for_cpystr(block, wide(trimmed), s, wide(trimmed), 0);
  *result_len = trimmed;
  *result = block;
}

TAMRUN_ENTRY size_t _gfortran_string_len_trim(size_t len, const char* s) {
  return fit(len) ? static_cast<size_t>(for_len_trim(s, narrow(len))) : peer().string_len_trim(len, s);
}

#define TAMGNU_SEARCH(name, entry)                                                                            \
  TAMRUN_ENTRY size_t _gfortran_string_##name(size_t len, const char* s, size_t other_len, const char* other, \
                                              i32 back) {                                                     \
    if (!fit(len, other_len)) return peer().string_##name(len, s, other_len, other, back);                    \
    return static_cast<size_t>(entry(s, narrow(len), other, narrow(other_len), back));                        \
  }
TAMGNU_SEARCH(index, for_f90_index)
TAMGNU_SEARCH(scan, for_f90_scan)
TAMGNU_SEARCH(verify, for_f90_verify)
#undef TAMGNU_SEARCH

TAMRUN_ENTRY void _gfortran_adjustl(char* dst, size_t len, const char* s) {
  if (!fit(len)) return peer().adjustl(dst, len, s);
  for_adjustl(dst, wide(len), s, narrow(len));
}

TAMRUN_ENTRY void _gfortran_adjustr(char* dst, size_t len, const char* s) {
  if (!fit(len)) return peer().adjustr(dst, len, s);
  for_adjustr(dst, wide(len), s, narrow(len));
}

/// MAX for a `which` above 0, MIN below; `count` pairs of length and address, null for an optional argument that is absent.
/// The result is as long as the longest, the first of equal ones.
TAMRUN_ENTRY void _gfortran_string_minmax(size_t* result_len, void** result, int which, int count, ...) {
  va_list arguments;
  va_start(arguments, count);
  size_t longest = va_arg(arguments, size_t), best_len = longest;
  const char* best = va_arg(arguments, const char*);
  if (best == nullptr) refuse("the first argument of %s is absent", which > 0 ? "MAX" : "MIN");
  while (--count > 0) {
    const size_t len = va_arg(arguments, size_t);
    const char* s = va_arg(arguments, const char*);
    if (s == nullptr) continue;
    longest = std::max(longest, len);
    const int order = compare_padded<u8>(s, wide(len), best, wide(best_len));
    if (which > 0 ? order <= 0 : order >= 0) continue;
    best = s;
    best_len = len;
  }
  va_end(arguments);
  *result_len = longest;
  char* block = allocate(longest);
  for_cpystr(block, wide(longest), best, wide(best_len), 0);
  *result = block;
}
