// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any file through list-directed READ into items of any type.

#include "statements/for_rseq_lis.h"

#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tamrun/cvt.h"
#include "tamrun/hooks.h"
#include "tamrun/item_list.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

constexpr int kUnit = 40, kItems = 16;
constexpr i64 kBufferBytes = 64, kItemBytes = 32, kGuardBytes = 16;
constexpr u8 kGuard = 0xA5;

void require(bool truth) {
  if (!truth) abort();
}

/// A unit that stays connected to one file in memory.
struct Unit {
  For_Lub* lub = nullptr;

  Unit() {
    require(for__acquire_lun(kUnit, &lub, nullptr, STMT_OPEN) == 0);
    lub->lub_fd = memfd_create("fuzz", 0);
    lub->lub_cc = CC_LIST;
    lub->lub_stream_kind = STREAM_FMT_SEQUENTIAL;
    lub->lub_org = ORG_SEQUENTIAL;
    lub->lub_f_formatted = lub->lub_f_sequential = lub->lub_f_seekable = 1;
    require(allocate_state_block(*lub) == 0);
    lub->lub_f_connected = 1;
    require(for__release_lun(kUnit) == 0);
  }

  /// Puts the file in place and forgets what was read of the last one.
  void load(const u8* data, size_t size, u8 mode) {
    require(ftruncate(lub->lub_fd, 0) == 0 && lseek(lub->lub_fd, 0, SEEK_SET) == 0);
    require(write(lub->lub_fd, data, size) == static_cast<ssize_t>(size) && lseek(lub->lub_fd, 0, SEEK_SET) == 0);
    for__free_vm(lub->lub_a_buffer);
    void* buffer = nullptr;
    require(for__get_vm(kBufferBytes + sizeof kBufferGuard, 0, &buffer) == 0);
    lub->lub_a_buffer = static_cast<u8*>(buffer);
    memcpy(lub->lub_a_buffer + kBufferBytes, kBufferGuard, sizeof kBufferGuard);
    lub->lub_buffer_size = kBufferBytes;
    lub->lub_rec_bytes = lub->lub_recl = lub->lub_wrap_margin = kBufferBytes / 2;
    lub->lub_a_cursor = lub->lub_a_rec_end = lub->lub_a_data_start = lub->lub_a_buffer;
    lub->lub_a_read_next = lub->lub_a_read_end = nullptr;
    lub->lub_read_ahead = lub->lub_file_pos = lub->lub_disk_pos = 0;
    lub->lub_rec_buffered = lub->lub_span_bytes = lub->lub_span_left = 0;
    lub->lub_f_read_ahead = 0;
    lub->lub_next_rec = 1;
    lub->lub_rectype = mode & 1 ? RECTYPE_FIXED : RECTYPE_STREAM_LF;
    lub->lub_f_f90_rtl = (mode & 2) == 0;
    lub->lub_decimal = mode & 4 ? DECIMAL_COMMA : DECIMAL_POINT;
    lub->lub_f_stream = (mode & 8) != 0;
  }
};

constexpr u8 kTypes[] = {ITM_INTEGER1,  ITM_INTEGER2,  ITM_INTEGER4, ITM_INTEGER8, ITM_UNSIGNED1, ITM_UNSIGNED2,
                         ITM_UNSIGNED4, ITM_UNSIGNED8, ITM_LOGICAL1, ITM_LOGICAL2, ITM_LOGICAL,   ITM_LOGICAL4,
                         ITM_LOGICAL8,  ITM_REAL4,     ITM_REAL8,    ITM_REAL16,   ITM_COMPLEX8,  ITM_COMPLEX16,
                         ITM_COMPLEX32, ITM_CHARACTER, ITM_REAL4_VAX};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
  static Unit unit;
  constexpr size_t kHeader = 2;
  if (size < kHeader + kItems) return 0;
  const u8 mode = data[0], count = data[1] % (kItems + 1);
  const u8* const types = data + kHeader;

  u8 values[kItems][kItemBytes + kGuardBytes];
  memset(values, kGuard, sizeof values);
  u8 list[2 * kItems + 2];
  u64 words[2 * kItems + 1] = {};
  i64 bytes[kItems];
  for (int i = 0; i < count; ++i) {
    const u8 type = kTypes[types[i] % sizeof kTypes];
    const int fixed = for__dsc_itm_table[type].size;
    bytes[i] = fixed > 0 ? fixed : types[i] >> 3;
    list[2 * i] = type;
    list[2 * i + 1] = ACC_SCALAR;
    words[2 * i] = static_cast<u64>(bytes[i]);
    words[2 * i + 1] = reinterpret_cast<u64>(values[i]);
  }
  list[2 * count] = ITM_END_STATEMENT;
  list[2 * count + 1] = 0;

  unit.load(data + kHeader + kItems, size - kHeader - kItems, mode);
  For_IO_Flags flags = iof_extended | iof_iostat | (mode & 16 ? iof_strict_ldio : For_IO_Flags{0});
  for (int statement = 0; statement < 3; ++statement) {
    For_Context ctx{};
    const int result = for_read_seq_lis(&ctx, kUnit, flags, list, words);
    require(result >= -1 && ctx.ctx_lub == nullptr);
    for (int i = 0; i < count; ++i) {
      for (i64 at = bytes[i]; at < kItemBytes + kGuardBytes; ++at) require(values[i][at] == kGuard);
    }
    require(memcmp(unit.lub->lub_a_buffer + unit.lub->lub_buffer_size, kBufferGuard, sizeof kBufferGuard) == 0);
  }
  return 0;
}
