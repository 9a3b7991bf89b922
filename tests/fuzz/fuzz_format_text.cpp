// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as run-time format text: they compile or are refused, and what was compiled can be walked to its end.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/heap.h"
#include "format/fmt_element.h"
#include "format/format_compiler.h"
#include "tamrun/messages.h"

namespace {

/// The compiled form of a character of text is never longer than a wide long element.
constexpr size_t kMostBytesPerCharacter = sizeof(For_Fmt_Wide);
constexpr size_t kFrameBytes = 64;

void walk(const u8* compiled, size_t text_length) {
  const u8* pc = compiled;
  for (;;) {
    For_Fmt_Element element;
    if (!decode_fmt_element(pc, element) || element.size <= 0 || element.size % 4 != 0) abort();
    if (pc == compiled && element.operation != FMT_START) abort();
    pc += element.size;
    if (static_cast<size_t>(pc - compiled) > kFrameBytes + text_length * kMostBytesPerCharacter) abort();
    if (element.operation == FMT_END) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::unique_ptr<char[]> exact(new char[size]);  // so that the sanitizer sees a read behind the text
  for (size_t i = 0; i < size; i++) exact[i] = static_cast<char>(data[i]);
  const For_Fmt_Text text = {static_cast<i64>(size), exact.get()};
  u8* compiled = nullptr;
  switch (for__format_compiler(&text, &compiled, 0)) {
    case 0:
      walk(compiled, size);
      break;
    case MSG_FORMAT_SYNTAX:
    case MSG_EMPTY_UNLIMITED_GROUP:
      break;
    default:
      abort();
  }
  for__free_vm(compiled);
  return 0;
}
