// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Appending elements to a compiled format under construction.
#include "format/fmt_emit.h"

#include <string.h>

#include "tamrun/messages.h"

namespace {

constexpr i64 kGrowth = 512;
constexpr i64 kMaxLiteral = 0xFFFF;  // the length field has 16 bits

/// The capacity follows from the bytes used and is not kept.
constexpr i64 capacity_for(i64 used) { return (used + kGrowth - 1) / kGrowth * kGrowth; }

/// Room for `size` more bytes, zeroed and counted as used; null when memory runs out.
u8* append(For_Fmt_Build& state, i64 size) {
  const i64 used = state.used + size;
  if (used > capacity_for(state.used)) {
    void* block = state.buffer;
    if (for__realloc_vm(capacity_for(used), &block, capacity_for(state.used)) != 0) return nullptr;
    state.buffer = static_cast<u8*>(block);
  }
  u8* element = state.buffer + state.used;
  memset(element, 0, size);
  state.used = used;
  return element;
}

void finish_pending(For_Fmt_Build& state) {
  state.code = 0;
  state.forget_operands();
}

constexpr u8 byte_capped(u64 value) { return value > 0xFF ? 0xFF : static_cast<u8>(value); }

constexpr bool needs_wide(u64 value) { return value >> 32 != 0; }

/// Settles the code by the count of operands: 0 or MSG_FORMAT_SYNTAX.
int choose_code(For_Fmt_Build& state) {
  if (state.operands > fmt_check[state.code].operands) state.code = fmt_check[state.code].upgrade;
  if (state.operands == 2 && state.d == 1) state.operands = 3;  // the preset m of Iw
  if (state.code == 0) return MSG_FORMAT_SYNTAX;
  if (state.code == FMT_EX) return state.operands < 3 ? MSG_FORMAT_SYNTAX : 0;
  if (state.code == FMT_G_WD && state.width == 0) {
    state.code = FMT_G_WDE;
    return 0;
  }
  return state.operands == fmt_check[state.code].operands ? 0 : MSG_FORMAT_SYNTAX;
}

}  // namespace

int emit_comp_fmt(For_Fmt_Build& state) {
  if (const int failure = choose_code(state)) return failure;
  const bool wide = needs_wide(state.repeat) || needs_wide(state.width);
  u8* element = append(state, wide ? sizeof(For_Fmt_Wide) : sizeof(For_Fmt_Narrow));
  if (element == nullptr) return MSG_NO_MEMORY;
  const u8 e = byte_capped(state.e), d = byte_capped(state.d);
  if (wide) {
    const For_Fmt_Wide content = {
        state.code, FMTL_WIDE, e, d, 0, static_cast<i64>(state.repeat), static_cast<i64>(state.width)};
    memcpy(element, &content, sizeof content);
  } else {
    const For_Fmt_Narrow content = {state.code, 0, e, d, static_cast<u32>(state.repeat), static_cast<u32>(state.width)};
    memcpy(element, &content, sizeof content);
  }
  finish_pending(state);
  return 0;
}

int emit_udio(For_Fmt_Build& state, const char* iotype, i64 iotype_length, const char* vlist, i64 vlist_length) {
  u8* element = append(state, dt_runtime_size(iotype_length + vlist_length));
  if (element == nullptr) return MSG_NO_MEMORY;
  element[0] = FMT_DT_RUNTIME;
  memcpy(element + kDtRepeatOffset, &state.repeat, sizeof state.repeat);
  u8* text = element + kDtTextOffset;
  if (iotype_length != 0) memcpy(text, iotype, iotype_length);
  if (vlist_length != 0) memcpy(text + iotype_length + 1, vlist, vlist_length);
  finish_pending(state);
  return 0;
}

int emit_literal(For_Fmt_Build& state, const char* text, i64 length) {
  while (length > 0) {
    const u16 piece = static_cast<u16>(length < kMaxLiteral ? length : kMaxLiteral);
    u8* element = append(state, 4 + (piece + 3) / 4 * 4);
    if (element == nullptr) return MSG_NO_MEMORY;
    element[0] = FMT_LITERAL;
    memcpy(element + 2, &piece, sizeof piece);
    memcpy(element + 4, text, piece);
    text += piece;
    length -= piece;
  }
  return 0;
}
