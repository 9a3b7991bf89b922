// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Appending elements to a compiled format under construction.
#ifndef TAMRUN_FORMAT_FMT_EMIT_H
#define TAMRUN_FORMAT_FMT_EMIT_H

#include "core/heap.h"
#include "format/format_compiler.h"

/// The compiled buffer and the descriptor whose operands are still being counted. Operands are kept modulo 2^64.
struct For_Fmt_Build {
  u8* buffer = nullptr;  ///< owned until release()
  i64 used = 0;
  u8 code = 0;       ///< pending descriptor, 0 none
  u32 operands = 0;  ///< given so far, counting the repeat
  u64 repeat = 0, width = 0, d = 0, e = 0;

  For_Fmt_Build() = default;
  For_Fmt_Build(const For_Fmt_Build&) = delete;
  For_Fmt_Build& operator=(const For_Fmt_Build&) = delete;
  ~For_Fmt_Build() { for__free_vm(buffer); }

  void forget_operands() {
    operands = 0;
    repeat = width = d = e = 0;
  }
  u8* release() {
    u8* block = buffer;
    buffer = nullptr;
    return block;
  }
};

/// Appends the pending descriptor: 0, MSG_FORMAT_SYNTAX for a wrong count of operands, or MSG_NO_MEMORY.
[[nodiscard]] int emit_comp_fmt(For_Fmt_Build& state);
/// Appends a DT element with the pending repeat; neither text holds a NUL. 0 or MSG_NO_MEMORY.
[[nodiscard]] int emit_udio(For_Fmt_Build& state, const char* iotype, i64 iotype_length, const char* vlist,
                            i64 vlist_length);
/// Appends literal text and leaves the pending descriptor alone; nothing for an empty one. 0 or MSG_NO_MEMORY.
[[nodiscard]] int emit_literal(For_Fmt_Build& state, const char* text, i64 length);

#endif
