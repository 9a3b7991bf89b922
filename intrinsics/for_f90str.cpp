// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Character assignment, concatenation, comparison, TRIM and ADJUSTL, ADJUSTR.

#include "intrinsics/for_f90str.h"

#include <algorithm>
#include <iterator>

#include "core/failure.h"
#include "core/heap.h"
#include "intrinsics/string_compare.h"
#include "intrinsics/string_copy.h"

namespace {

/// A target that an operand overlaps is built aside: on the stack up to this size.
constexpr i64 kStackTemporary = 256;

/// An operand that has bytes in the target. (A length below 0 may give either answer: nothing is taken of such a one.)
bool overlaps(const For_Concat_Operand& operand, const char* dst, i64 dst_len) {
  // Addresses of different objects: as integers. The operand starts less than its length before the target, or in it.
  const u64 length = static_cast<u64>(operand.len);
  const u64 ahead = reinterpret_cast<u64>(operand.addr) - reinterpret_cast<u64>(dst);
  return ahead + length - 1 < static_cast<u64>(dst_len) + length - 1;
}

[[gnu::noinline]] void concatenate(const For_Concat_Operand* operands, const For_Concat_Operand* end, char* to,
                                   size_t room) {
  for (; operands != end; ++operands) {
    const size_t length = std::min(room, string_length(operands->len));
    move_bytes(to, operands->addr, length);
    to += length;
    room -= length;
  }
  fill_bytes(to, ' ', room);
}

[[gnu::noinline]] void concatenate_aside(const For_Concat_Operand* operands, const For_Concat_Operand* end, char* dst,
                                         i64 dst_len) {
  char on_stack[kStackTemporary];
  Vm_Block<char> on_heap;
  char* temporary = on_stack;
  if (dst_len > kStackTemporary) {
    if (on_heap.allocate(dst_len) != 0) {
      for__issue_diagnostic(MSG_NO_MEMORY, 0);
      return;
    }
    temporary = on_heap.get();
  }
  concatenate(operands, end, temporary, static_cast<size_t>(dst_len));
  memcpy(dst, temporary, static_cast<size_t>(dst_len));
}

[[gnu::noinline]] void concatenate_any(const For_Concat_Operand* operands, const For_Concat_Operand* end, char* dst,
                                       i64 dst_len) {
  bool overlap = false;
  for (const For_Concat_Operand* each = operands; each != end; ++each) overlap |= overlaps(*each, dst, dst_len);
  if (overlap) {
    concatenate_aside(operands, end, dst, dst_len);
  } else {
    concatenate(operands, end, dst, static_cast<size_t>(dst_len));
  }
}

[[gnu::noinline]] void move_two(char* dst, const char* a, size_t first, const char* b, size_t second) {
  memmove(dst, a, first);
  move_bytes(dst + first, b, second);
}

/// What a comparison found, as a bit, so that an operator is the set of findings that make it true.
enum Finding : u8 { kLess = 1, kEqual = 2, kGreater = 4 };
constexpr u8 kTrueFor[] = {kGreater, kLess, kEqual, kLess | kGreater, kGreater | kEqual, kLess | kEqual};
static_assert(std::size(kTrueFor) == FOR_CPSTR_LE + 1);

/// Where for_cpstr reports an operator that it does not know.
constexpr const char* kSourceName = "for_f90str";
constexpr int kBadOperatorLine = 647;

constexpr i32 logical(bool truth) { return truth ? -1 : 0; }

}  // namespace

void for_cpystr(char* dst, i64 dst_len, const char* src, i64 src_len, int nul_pad) {
  const size_t room = string_length(dst_len), length = string_length(src_len);
  if (room <= length) {
    move_bytes(dst, src, room);
  } else {
    move_bytes(dst, src, length);
    fill_bytes(dst + length, nul_pad != 0 ? '\0' : ' ', room - length);
  }
}

void for_concat(const For_Concat_Operand* operands, int count, char* dst, i64 dst_len) {
  if (count < 1 || dst_len < 1) return;
  if (count == 2) {
    // Two operands that fill the target, the usual case, need neither a loop nor a frame when the first is short.
    const For_Concat_Operand a = operands[0], b = operands[1];
    const size_t first = string_length(a.len), second = string_length(b.len);
    const bool overlap = overlaps(a, dst, dst_len) || overlaps(b, dst, dst_len);
    if (!overlap && first + second == static_cast<size_t>(dst_len)) {
      if (first > kMovedInline) return move_two(dst, a.addr, first, b.addr, second);
      move_short(dst, a.addr, first);
      return move_bytes(dst + first, b.addr, second);
    }
  }
  concatenate_any(operands, operands + count, dst, dst_len);
}

int for_cpstr(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len, int op) {
  if (op < 0 || op > FOR_CPSTR_LE) {
    for__issue_diagnostic(MSG_INTERNAL_CONSISTENCY, 2, kSourceName, kBadOperatorLine);
    return 0;
  }
  const int found = compare_padded<u8>(lhs, lhs_len, rhs, rhs_len);
  return (kTrueFor[op] & (found < 0 ? kLess : found > 0 ? kGreater : kEqual)) != 0;
}

#define TAMRUN_CPSTR(name, relation)                                                 \
  int for_cpstr_##name(const char* lhs, i64 lhs_len, const char* rhs, i64 rhs_len) { \
    return compare_padded<u8>(lhs, lhs_len, rhs, rhs_len) relation 0;                \
  }
TAMRUN_CPSTR(gt, >)
TAMRUN_CPSTR(lt, <)
TAMRUN_CPSTR(eq, ==)
TAMRUN_CPSTR(ne, !=)
TAMRUN_CPSTR(ge, >=)
TAMRUN_CPSTR(le, <=)
#undef TAMRUN_CPSTR

#define TAMRUN_LEXICAL(name, relation)                                 \
  i32 for_##name(const char* a, i32 a_len, const char* b, i32 b_len) { \
    return logical(for__strncmp(a, b, a_len, b_len) relation 0);       \
  }
TAMRUN_LEXICAL(llt, <)
TAMRUN_LEXICAL(lle, <=)
TAMRUN_LEXICAL(lgt, >)
TAMRUN_LEXICAL(lge, >=)
#undef TAMRUN_LEXICAL

int for__strncmp(const char* a, const char* b, i32 a_len, i32 b_len) { return compare_padded<i8>(a, a_len, b, b_len); }

i64 for_length(const char*, i32 len) { return len; }

i64 for_len_trim(const char* s, i32 len) {
  return len < 1 ? len : static_cast<i64>(trimmed_length(s, static_cast<size_t>(len)));
}

i64 for_trim(char* dst, i64, const char* src, i32 len) {
  const size_t length = trimmed_length(src, string_length(len));
  move_bytes(dst, src, length);
  return static_cast<i64>(length);
}

void for__trim(const char* src, i64 len, char* dst) {
  const size_t end = trimmed_length(src, string_length(len));
  const size_t start = leading_blanks(src, end);
  move_bytes(dst, src + start, end - start);
  if (end - start < string_length(len)) dst[end - start] = '\0';
}

void for_adjustl(char* dst, i64, const char* src, i32 len) {
  const size_t length = string_length(len), blanks = leading_blanks(src, length);
  move_bytes(dst, src + blanks, length - blanks);
  fill_bytes(dst + length - blanks, ' ', blanks);
}

void for_adjustr(char* dst, i64, const char* src, i32 len) {
  const size_t length = string_length(len), kept = trimmed_length(src, length);
  // The blanks come last, so that the source may be the target.
  move_bytes(dst + length - kept, src, kept);
  fill_bytes(dst, ' ', length - kept);
}

void for_char(char* dst, i64, const char* code) { *dst = *code; }

i32 for_ichar(const char* c) { return static_cast<i8>(*c); }
