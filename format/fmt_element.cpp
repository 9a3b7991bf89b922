// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decoding one element of a compiled format.
#include "format/fmt_element.h"

#include <string.h>

namespace {

constexpr i64 kUnit = 4;  // elements and their texts are padded to this

constexpr i64 padded(i64 length) { return (length + kUnit - 1) / kUnit * kUnit; }

template <class T>
T load(const u8* at) {
  T value;
  memcpy(&value, at, sizeof value);
  return value;
}

void decode_long(const u8* pc, For_Fmt_Element& element) {
  const u8 flags = pc[offsetof(For_Fmt_Narrow, flags)];
  element.e = pc[offsetof(For_Fmt_Narrow, e)];
  element.d = pc[offsetof(For_Fmt_Narrow, d)];
  if (flags & FMTL_WIDE) {
    element.repeat = load<i64>(pc + offsetof(For_Fmt_Wide, repeat));
    element.width = load<i64>(pc + offsetof(For_Fmt_Wide, width));
    element.size = sizeof(For_Fmt_Wide);
  } else {
    element.repeat = load<u32>(pc + offsetof(For_Fmt_Narrow, repeat));
    element.width = load<u32>(pc + offsetof(For_Fmt_Narrow, width));
    element.size = sizeof(For_Fmt_Narrow);
  }
  element.vfe_flags = flags & FMTL_VFE;
  if (element.vfe_flags) {
    element.vfe = reinterpret_cast<const For_Fmt_Vfe*>(pc + element.size);
    element.size += 4 * sizeof(For_Fmt_Vfe);
  }
}

/// A DT element of compiled code: a head, then tagged blocks whose texts stand behind a 32-byte block head.
void decode_dt(const u8* pc, For_Fmt_Element& element) {
  constexpr i64 kRepeat = 24, kHead = 32, kBlockHead = 32, kBlockTail = 4, kCountAt = 12, kCountSize = 16;
  element.repeat = load<u32>(pc + kRepeat);
  i64 size = kHead;
  const auto take_text = [&] {
    const char* text = reinterpret_cast<const char*>(pc + size + kBlockHead);
    size += kBlockHead + kBlockTail + padded(static_cast<i64>(strlen(text)));
    return text;
  };
  if (pc[size] == 'u') element.text = take_text();
  if (pc[size] == 'v') element.vlist = take_text();
  if (element.repeat == 1 && pc[size] == 't') {
    const u32 count = load<u32>(pc + size + kCountAt);
    if (count != 0) element.repeat = count;
    size += kCountSize;
  }
  element.size = size;
}

void decode_dt_runtime(const u8* pc, For_Fmt_Element& element) {
  element.repeat = load<i64>(pc + kDtRepeatOffset);
  const char* text = reinterpret_cast<const char*>(pc + kDtTextOffset);
  const i64 iotype_length = static_cast<i64>(strlen(text));
  const char* vlist = text + iotype_length + 1;
  const i64 vlist_length = static_cast<i64>(strlen(vlist));
  if (iotype_length != 0) element.text = text;
  if (vlist_length != 0) element.vlist = vlist;
  element.size = dt_runtime_size(iotype_length + vlist_length);
}

}  // namespace

bool decode_rare_fmt_element(const u8* pc, For_Fmt_Cat row, For_Fmt_Element& element) {
  element.text = element.vlist = nullptr;
  switch (row.category) {
    case FMTC_INVALID:
      return false;
    case FMTC_WIDTH:
      element.width = load<u16>(pc + 2);
      if (row.operation == FMT_LITERAL) {
        element.text = reinterpret_cast<const char*>(pc + kUnit);
        element.size += padded(element.width);
      }
      break;
    case FMTC_DT:
      decode_dt(pc, element);
      break;
    case FMTC_DT_RUNTIME:
      decode_dt_runtime(pc, element);
      break;
    default:
      decode_long(pc, element);
      break;
  }
  return true;
}
