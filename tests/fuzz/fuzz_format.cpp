// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a run-time format: compiled from a copy of exactly their size, then walked by the interpreter for some
// steps over a small record. The first byte chooses direction and modes.

#include "format/fmt_element.h"
#include "format/for_intrp_fmt.h"
#include "format/format_compiler.h"
#include "fuzz/fuzz_input.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

namespace {

constexpr int kSteps = 200;
constexpr i64 kMostRepeats = 2;  // of a group: more only takes time
constexpr i64 kRecord = 24;
constexpr i64 kFarthest = i64{1} << 40;

/// Cuts the repeats of groups down, but for the unlimited ones, and returns the bytes of the format.
i64 tame_groups(u8* format) {
  u8* at = format;
  For_Fmt_Element element;
  do {
    require(decode_fmt_element(at, element));
    if (element.operation == FMT_GROUP && element.repeat > kMostRepeats && element.repeat <= kFmtUnlimited / 2) {
      const bool wide = element.size == sizeof(For_Fmt_Wide);
      memcpy(at + (wide ? offsetof(For_Fmt_Wide, repeat) : offsetof(For_Fmt_Narrow, repeat)), &kMostRepeats,
             wide ? sizeof(i64) : sizeof(u32));
    }
    at += element.size;
  } while (element.operation != FMT_END);
  return at - format;
}

void walk(u8* format, u8 modes) {
  const i64 size = tame_groups(format);
  alignas(8) u8 record[kRecord];
  auto lub = std::make_unique<For_Lub>();
  For_Fmt_Isb isb = {};
  For_Context context = {};
  isb.isb_lub = lub.get();
  isb.isb_fmt_pc = format;
  lub->lub_a_fmt_isb = &isb;
  lub->lub_a_context = &context;
  lub->lub_unit = UNIT_INTERNAL;  // a record that does not grow
  lub->lub_statement = modes & 1 ? STMT_WRITE : STMT_READ;
  lub->lub_f_pad_in_force = (modes >> 1) & 1;
  lub->lub_a_buffer = lub->lub_a_data_start = lub->lub_a_cursor = record;
  lub->lub_a_rec_end = record + kRecord;
  for (int step = 0; step < kSteps; ++step) {
    if (modes & 4) isb.isb_flags |= ISB_CALL_ENDS;
    const int result = for__interp_fmt(lub.get());
    require(isb.isb_fmt_pc >= format && isb.isb_fmt_pc < format + size);
    require(isb.isb_depth >= 0 && isb.isb_depth < kFmtLevels);
    const i64 column = lub->lub_a_cursor - record;
    require(column >= 0 && column <= kFarthest);
    require(lub->lub_pad_count >= 0 && lub->lub_pad_count <= kFarthest);
    if (result != 0) {
      require(result == MSG_FORMAT_SYNTAX || result == MSG_INFINITE_FORMAT_LOOP);
      return;
    }
    if (isb.isb_code == FMT_LITERAL) {
      require(reinterpret_cast<const u8*>(isb.isb_literal) + isb.isb_width <= format + size);
    }
    if (isb.isb_code == FMT_END && !(isb.isb_flags & ISB_DATA_EDIT_SEEN)) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Input input(data, size);
  u8 modes;
  if (!input.take(modes)) return 0;
  u8* format = nullptr;
  int result;
  {
    const Exact_Text text(input);
    const For_Fmt_Text argument = {text.length(), text.data()};
    result = for__format_compiler(&argument, &format, 0);
  }
  if (result == 0) {
    walk(format, modes);
    for__free_vm(format);
  } else {
    require(format == nullptr && (result == MSG_FORMAT_SYNTAX || result == MSG_EMPTY_UNLIMITED_GROUP));
  }
  return 0;
}
