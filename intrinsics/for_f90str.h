// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Character assignment, concatenation, comparison and the string intrinsics, as compiled code calls them. Strings are
// counted; a length below 1 is an empty string. Lengths have 64 bits in assignment, concatenation and for_cpstr, 32 in
// all others: their entry points look at the low half of what is passed.
#ifndef TAMRUN_INTRINSICS_FOR_F90STR_H
#define TAMRUN_INTRINSICS_FOR_F90STR_H

#include "tamrun/types.h"

/// An operand of for_concat.
struct For_Concat_Operand {
  const char* addr;
  i64 len;
};
static_assert(sizeof(For_Concat_Operand) == 0x10 && offsetof(For_Concat_Operand, len) == 8);

/// `op` of for_cpstr.
enum For_Cpstr_Op : int { FOR_CPSTR_GT, FOR_CPSTR_LT, FOR_CPSTR_EQ, FOR_CPSTR_NE, FOR_CPSTR_GE, FOR_CPSTR_LE };

/// Assignment, cut or padded: with blanks, with NUL if `nul_pad` is not 0. The strings may overlap.
TAMRUN_ENTRY void for_cpystr(char* dst, i64 dst_len, const char* src, i64 src_len, int nul_pad);
/// The operands one after the other, cut or padded with blanks. They may lie in `dst`.
TAMRUN_ENTRY void for_concat(const For_Concat_Operand* operands, int count, char* dst, i64 dst_len);

/// The relational operators: 1 or 0. Bytes are unsigned.
TAMRUN_ENTRY int for_cpstr(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len, int op);
TAMRUN_ENTRY int for_cpstr_gt(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);
TAMRUN_ENTRY int for_cpstr_lt(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);
TAMRUN_ENTRY int for_cpstr_eq(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);
TAMRUN_ENTRY int for_cpstr_ne(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);
TAMRUN_ENTRY int for_cpstr_ge(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);
TAMRUN_ENTRY int for_cpstr_le(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len);

/// LLT, LLE, LGT, LGE: -1 or 0. Bytes are signed.
TAMRUN_ENTRY i32 for_llt(const char* a, i32 a_len, const char* b, i32 b_len);
TAMRUN_ENTRY i32 for_lle(const char* a, i32 a_len, const char* b, i32 b_len);
TAMRUN_ENTRY i32 for_lgt(const char* a, i32 a_len, const char* b, i32 b_len);
TAMRUN_ENTRY i32 for_lge(const char* a, i32 a_len, const char* b, i32 b_len);

// LEN, LEN_TRIM and TRIM give 64 bits, so that callers of either width see the sign of a length that was negative.

TAMRUN_ENTRY i64 for_length(const char* s, i32 len);
/// A length below 1 is returned as it is.
TAMRUN_ENTRY i64 for_len_trim(const char* s, i32 len);
/// Copies the trimmed text; its length. `dst_len` is ignored.
TAMRUN_ENTRY i64 for_trim(char* dst, i64 dst_len, const char* src, i32 len);
/// `len` bytes of result; `dst_len` is ignored. The strings may overlap.
TAMRUN_ENTRY void for_adjustl(char* dst, i64 dst_len, const char* src, i32 len);
TAMRUN_ENTRY void for_adjustr(char* dst, i64 dst_len, const char* src, i32 len);

// INDEX, SCAN and VERIFY: a position from 1, 0 if there is none; for_string_: from 0, -1 if there is none.

TAMRUN_ENTRY i32 for_index(const char* s, i32 s_len, const char* sub, i32 sub_len);
TAMRUN_ENTRY i32 for_index_ssll(const char* s, const char* sub, i32 s_len, i32 sub_len);
TAMRUN_ENTRY i32 for_index_back(const char* s, i32 s_len, const char* sub, i32 sub_len);
TAMRUN_ENTRY i32 for_f90_index(const char* s, i32 s_len, const char* sub, i32 sub_len, i32 back);
TAMRUN_ENTRY i32 for_string_index(const char* s, i32 s_len, const char* sub, i32 sub_len);
TAMRUN_ENTRY i32 for_f90_scan(const char* s, i32 s_len, const char* set, i32 set_len, i32 back);
TAMRUN_ENTRY i32 for_scan_back(const char* s, i32 s_len, const char* set, i32 set_len);
TAMRUN_ENTRY i32 for_string_search(const char* s, i32 s_len, const char* set, i32 set_len);
TAMRUN_ENTRY i32 for_f90_verify(const char* s, i32 s_len, const char* set, i32 set_len, i32 back);
TAMRUN_ENTRY i32 for_verify_back(const char* s, i32 s_len, const char* set, i32 set_len);
TAMRUN_ENTRY i32 for_string_verify(const char* s, i32 s_len, const char* set, i32 set_len);

/// CHAR and ICHAR: the byte at `code` as a character; the character's byte, which is signed.
TAMRUN_ENTRY void for_char(char* dst, i64 dst_len, const char* code);
TAMRUN_ENTRY i32 for_ichar(const char* c);

extern "C" {

/// The difference of the first bytes that differ, as signed bytes; 0 when equal.
int for__strncmp(const char* a, const char* b, i32 a_len, i32 b_len);
/// Strips blanks at both ends; `len` is at least 1. A NUL goes behind the text unless it fills all of `len`.
void for__trim(const char* src, i64 len, char* dst);

}  // extern "C"

#endif
