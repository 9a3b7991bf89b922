// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any file through list-directed READ into items of any type.

#include "fuzz/kept_unit.h"
#include "statements/for_rseq_lis.h"
#include "support/item_list.h"

namespace {

constexpr int kUnit = 40, kItems = 16;
constexpr i64 kRecordBytes = 32, kItemBytes = 32, kGuardBytes = 16;
constexpr u8 kSmallReads = 32;  ///< of the mode
constexpr u8 kGuard = 0xA5;

struct Header {
  u8 mode, count, types[kItems];
};

/// The unit at the start of a file with this content, in one of several kinds of connection.
void load(Kept_Unit& unit, const Fuzz_Input& file, u8 mode) {
  For_Lub& lub = unit.load(file.data(), file.size(), (mode & kSmallReads) != 0);
  lub.lub_rec_bytes = lub.lub_recl = lub.lub_wrap_margin = kRecordBytes;
  lub.lub_rectype = mode & 1 ? (mode & 8 ? RECTYPE_STREAM : RECTYPE_FIXED) : RECTYPE_STREAM_LF;
  if (lub.lub_rectype == RECTYPE_STREAM) lub.lub_a_rec_end = lub.lub_a_read_end;
  if (lub.lub_a_rec_end == nullptr) lub.lub_a_rec_end = lub.lub_a_buffer;
  lub.lub_f_f90_rtl = (mode & 2) == 0;
  lub.lub_decimal = mode & 4 ? DECIMAL_COMMA : DECIMAL_POINT;
  lub.lub_f_stream = (mode & 8) != 0;
}

constexpr u8 kTypes[] = {ITM_INTEGER1,  ITM_INTEGER2,  ITM_INTEGER4, ITM_INTEGER8, ITM_UNSIGNED1, ITM_UNSIGNED2,
                         ITM_UNSIGNED4, ITM_UNSIGNED8, ITM_LOGICAL1, ITM_LOGICAL2, ITM_LOGICAL,   ITM_LOGICAL4,
                         ITM_LOGICAL8,  ITM_REAL4,     ITM_REAL8,    ITM_REAL16,   ITM_COMPLEX8,  ITM_COMPLEX16,
                         ITM_COMPLEX32, ITM_CHARACTER, ITM_REAL4_VAX};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
  static Kept_Unit unit(kUnit, false);
  Fuzz_Input input(data, size);
  Header header;
  if (!input.take(header)) return 0;
  const int count = header.count % (kItems + 1);

  u8 values[kItems][kItemBytes + kGuardBytes];
  memset(values, kGuard, sizeof values);
  ItemList list;
  i64 bytes[kItems];
  for (int i = 0; i < count; ++i) {
    const u8 type = kTypes[header.types[i] % sizeof kTypes];
    const int fixed = for__dsc_itm_table[type].size;
    bytes[i] = fixed > 0 ? fixed : header.types[i] >> 3;
    list.scalar(type, values[i], bytes[i]);
  }

  load(unit, input, header.mode);
  const For_IO_Flags flags = iof_extended | iof_iostat | (header.mode & 16 ? iof_strict_ldio : For_IO_Flags{0});
  for (int statement = 0; statement < 3; ++statement) {
    For_Context ctx{};
    const int result = first_call(for_read_seq_lis, ctx, kUnit, flags, list);
    require(result >= -1 && ctx.ctx_lub == nullptr);
    for (int i = 0; i < count; ++i) {
      for (i64 at = bytes[i]; at < kItemBytes + kGuardBytes; ++at) require(values[i][at] == kGuard);
    }
    require(unit.guard_is_whole());
  }
  return 0;
}
