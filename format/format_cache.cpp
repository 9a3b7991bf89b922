// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Run-time formats that a thread has compiled before.
//
// The text itself is the key, as a program may build another format at the same address. A statement works on a copy, so
// that a slot can be filled anew at any time and nothing has to be given back.

#include "format/format_cache.h"

#include <string.h>

#include "core/heap.h"
#include "format/format_compiler.h"

namespace {

constexpr i64 kLongestText = 112;
constexpr size_t kSlots = 8;  ///< a power of 2

struct Slot {
  i64 length;  ///< of the text; 0: the slot is empty
  i64 size;    ///< bytes of the compiled form
  char text[kLongestText];
  u8 compiled[kFmtRoomBytes];
};

thread_local Slot t_slots[kSlots];

/// Texts differ in their address as a rule, which thus chooses the slot and no more.
Slot& slot_of(const For_Fmt_Text& text) {
  const auto address = reinterpret_cast<uintptr_t>(text.address);
  return t_slots[(address ^ address >> 3 ^ address >> 6) & (kSlots - 1)];
}

}  // namespace

int compiled_format(const For_Fmt_Text& text, int report, u8* room, const u8** result, bool* owned) {
  const bool fits = room != nullptr && text.length > 0 && text.length <= kLongestText;
  Slot* const slot = fits ? &slot_of(text) : nullptr;
  if (fits && slot->length == text.length && memcmp(slot->text, text.address, static_cast<size_t>(text.length)) == 0) {
    memcpy(room, slot->compiled, static_cast<size_t>(slot->size));
    *result = room;
    *owned = false;
    return 0;
  }
  u8* block = nullptr;
  i64 size = 0;
  if (const int code = compile_format_text(text, report, &block, &size)) return code;
  *result = block;
  *owned = true;
  if (!fits || size > kFmtRoomBytes) return 0;
  *slot = {text.length, size, {}, {}};
  memcpy(slot->text, text.address, static_cast<size_t>(text.length));
  memcpy(slot->compiled, block, static_cast<size_t>(size));
  return 0;
}
