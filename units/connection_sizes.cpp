// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Record length, line width, buffering and buffer size of a connection.

#include "units/connection_sizes.h"

#include "core/environment.h"
#include "core/heap.h"
#include "core/start.h"
#include "tamrun/cvt.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>

namespace {

constexpr i64 kBlockUnit = 512;
constexpr i64 kWorkingBlock = 8192;
constexpr i64 kCompatBlock = 1024;
constexpr i64 kWordBytes = 4;
constexpr i64 kListOverhead = 1, kFortranOverhead = 6;
constexpr i64 kSegmentControl = 4;
constexpr i64 kVirtualRecord = 20480;
constexpr i64 kVirtualReclLimit = 0xff0000000;
/// Bytes that every buffer has beyond one record.
constexpr i64 kRecordSlack = 4;
/// Far above every record, far from overflow.
constexpr i64 kMostRecl = 1ll << 48;

struct Default_Size {
  i64 rec_bytes, recl;
};

constexpr Default_Size kBinarySize = {1024, 65536};

Default_Size default_size(const For_Lub& lub) {
  if (lub.lub_f_binary || (lub.lub_f_stream && !lub.lub_f_formatted)) return kBinarySize;
  if (!lub.lub_f_formatted) return {2048, 510};
  if (lub.lub_f_compat_io) return {1024, 1024};
  return lub.lub_f_stream ? Default_Size{1025, 1024} : Default_Size{133, 132};
}

u8 record_overhead(const For_Lub& lub) {
  switch (lub.lub_rectype) {
    case RECTYPE_VARIABLE:
      return 8;
    case RECTYPE_SEGMENTED:
      return kSegmentControl;
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
      return lub.lub_cc == CC_NONE ? 1 : 0;
    case RECTYPE_STREAM_CRLF:
      return lub.lub_cc == CC_NONE ? 2 : 0;
    default:
      return 0;
  }
}

i64 round_up(i64 value, i64 unit) { return (value + unit - 1) / unit * unit; }

/// An integer from the environment: kUnsetVariable, kBadVariable or the number.
i32 integer_variable(const char* name, i32 least, i32 most) {
  const char* text = getenv(name);
  if (text == nullptr) return kUnsetVariable;
  const size_t length = strlen(text);
  i32 value = 0;
  if (length >= kMaxEnvValue) return kBadVariable;
  if (cvt_text_to_integer(text, static_cast<i32>(length), CVT_M_SKIP_BLANKS, &value) != CVT_SUCCESS) {
    return kBadVariable;
  }
  return value < least || value > most ? kBadVariable : value;
}

/// Size above which a record is virtual, 0 never.
i64 virtual_record_limit() {
  const char* text = getenv("FOR_CONTROL_VIRTUAL_RECL");
  if (text == nullptr) return kVirtualRecord;
  long long limit;
  if (sscanf(text, "%lld", &limit) == 1) return limit;
  fputs("FOR_CONTROL_VIRTUAL_RECL must be defined as a number; zero turns off virtualization.\n", stdout);
  return kVirtualRecord;
}

}  // namespace

extern "C" void for__default_io_sizes_env_init(void) {
  constexpr i32 kMostBlock = 2147467264, kMostBuffers = 127;
  if (for__l_blocksize != 0 || for__l_buffercount != 0 || for__l_fmtrecl != 0 || for__l_ufmtrecl != 0) return;
  for__l_blocksize = integer_variable("FORT_BLOCKSIZE", 0, kMostBlock);
  if (for__l_blocksize > 0) for__l_blocksize = static_cast<i32>(round_up(for__l_blocksize, kBlockUnit));
  for__l_buffercount = integer_variable("FORT_BUFFERCOUNT", 0, kMostBuffers);
  for__l_fmtrecl = integer_variable("FORT_FMT_RECL", 0, INT32_MAX);
  for__l_ufmtrecl = integer_variable("FORT_UFMT_RECL", 0, INT32_MAX);
}

int Connection_Sizes::take_default() {
  if (lub_.lub_rectype == RECTYPE_FIXED || lub_.lub_f_direct) {
    return o_.refuse(MSG_ILLEGAL_RECORD_NUMBER, MSG_RECORD_LENGTH);
  }
  const Default_Size size = default_size(lub_);
  lub_.lub_rec_bytes = size.rec_bytes;
  lub_.lub_recl = size.recl;
  lub_.lub_f_recl_defaulted = 1;
  return 0;
}

int Connection_Sizes::take_recl(i64 recl) {
  const bool unstructured = lub_.lub_f_binary || (lub_.lub_f_unformatted && lub_.lub_f_stream);
  if (lub_.lub_rectype == RECTYPE_STREAM && unstructured) return take_default();
  if (recl > kMostRecl) return MSG_RECL_TOO_LARGE;
  const bool words = lub_.lub_f_recl_in_words;
  const i64 bytes = words ? recl * kWordBytes : recl;
  recl_given_ = true;
  lub_.lub_recl = recl;
  lub_.lub_recl_limit = bytes;
  lub_.lub_rec_overhead = record_overhead(lub_);
  lub_.lub_rec_bytes = bytes + lub_.lub_rec_overhead;
  if (lub_.lub_rectype != RECTYPE_SEGMENTED) return 0;
  lub_.lub_rec_bytes = bytes;
  lub_.lub_recl -= words ? kSegmentControl / kWordBytes : kSegmentControl;
  return bytes > kSegmentControl ? 0 : MSG_SEGMENTED_RECL;
}

int Connection_Sizes::check_recl() {
  constexpr u64 kCompatLimit = 4294967291;
  if (lub_.lub_f_stream) return MSG_RECL_ON_STREAM;
  if (lub_.lub_f_compat_io) return o_[OPENW_RECL] >= kCompatLimit ? MSG_ILLEGAL_RECL_VALUE : 0;
  return static_cast<i64>(o_[OPENW_RECL]) < 1 ? MSG_RECL_NOT_POSITIVE : 0;
}

int Connection_Sizes::settle_record() {
  const bool unformatted = lub_.lub_f_unformatted || lub_.lub_f_ms_unformatted;
  if (unformatted && !lub_.lub_f_define_file && o_[OPENW_RECL_IN_BYTES] == 0) lub_.lub_f_recl_in_words = 1;
  lub_.lub_rec_overhead = 0;
  if (o_[OPENW_RECL] != 0) {
    if (const int status = check_recl()) return status;
    return take_recl(static_cast<i64>(o_[OPENW_RECL]));
  }
  const i32 from_env = lub_.lub_f_formatted ? for__l_fmtrecl : for__l_ufmtrecl;
  if (lub_.lub_f_stream || from_env == 0 || from_env == kUnsetVariable) return take_default();
  if (from_env == kBadVariable) return lub_.lub_f_formatted ? MSG_FMT_RECL_SYNTAX : MSG_UFMT_RECL_SYNTAX;
  return take_recl(from_env);
}

void Connection_Sizes::settle_buffering() {
  lub_.lub_f_buffered = lub_.lub_f_user_buffered = 0;
  if (for_check_env_name("FORT_NO_BUFFERING")) {
    lub_.lub_buffer_threshold = 1;
    lub_.lub_f_threshold_set = 1;
    return;
  }
  const u64 asked = o_[OPENW_BUFFERED];
  if (!o_.on_standard_stream()) {
    const bool by_default = lub_.lub_f_buffered_default || for_check_env_name("FORT_BUFFERED");
    lub_.lub_f_buffered = lub_.lub_f_user_buffered = asked == ANSWER_YES || (asked != ANSWER_NO && by_default);
  } else if (prints_on_standard_output(lub_)) {
    lub_.lub_f_buffered = lub_.lub_f_buffer_stdout || for_check_env_name("FORT_BUFFER_STDOUT");
  }
}

void Connection_Sizes::add_carriage_control() {
  constexpr i64 kRecordStatus = 1, kCrLf = 2;
  i64 bytes = 0;
  if (lub_.lub_rectype != RECTYPE_FIXED) {
    if (lub_.lub_cc == CC_FORTRAN) bytes = kFortranOverhead;
    if (lub_.lub_cc == CC_LIST) bytes = kListOverhead;
  }
  if (lub_.lub_f_direct) {
    if (lub_.lub_f_legacy_defaults && lub_.lub_org == ORG_RELATIVE) bytes += kRecordStatus;
    if (lub_.lub_f_formatted && lub_.lub_f_compat_io) bytes += kCrLf;
  }
  lub_.lub_rec_bytes += bytes;
  lub_.lub_rec_overhead = static_cast<u8>(lub_.lub_rec_overhead + bytes);
}

void Connection_Sizes::settle_wrap_margin() {
  constexpr i64 kList = 80, kFortran = 81, kFortranColumns = 4;
  if (for_check_env_name("FORT_FMT_NO_WRAP_MARGIN")) lub_.lub_f_no_wrap_margin = 1;
  if (recl_given_) {
    lub_.lub_wrap_margin = lub_.lub_rec_bytes;
    return;
  }
  i64 margin = lub_.lub_cc == CC_FORTRAN ? kFortran : kList;
  if (lub_.lub_f_compat_io) --margin;
  if (lub_.lub_cc == CC_FORTRAN && lub_.lub_rectype != RECTYPE_FIXED) margin += kFortranColumns;
  lub_.lub_wrap_margin = margin;
}

int Connection_Sizes::settle_block(i64 file_block, i64* working) {
  constexpr u64 kCompatMost = 2147483136;
  const u64 asked = o_[OPENW_BLOCKSIZE];
  *working = kWorkingBlock;
  if (asked != 0) {
    if (asked > static_cast<u64>(kMostRecl)) return MSG_NO_MEMORY;
    lub_.lub_blocksize = round_up(static_cast<i64>(asked), kBlockUnit);
    if (lub_.lub_f_compat_io) lub_.lub_blocksize = std::min<i64>(lub_.lub_blocksize, kCompatMost);
    *working = lub_.lub_blocksize;
  } else if (lub_.lub_f_compat_io) {
    lub_.lub_blocksize = kCompatBlock;
  } else if (for__l_blocksize == kBadVariable) {
    return MSG_BLOCKSIZE_SYNTAX;
  } else if (for__l_blocksize > 0) {
    *working = lub_.lub_blocksize = for__l_blocksize;
  } else {
    lub_.lub_blocksize = std::max(file_block, kDefaultBlocksize);
  }
  return 0;
}

int Connection_Sizes::settle_buffer_size(i64 count, i64 working) {
  const i64 record = lub_.lub_rec_bytes;
  i64 each = working;
  if (lub_.lub_f_direct) {
    if (lub_.lub_f_compat_io) lub_.lub_f_buffered = lub_.lub_f_user_buffered = 0;
    if (!lub_.lub_f_buffered) count = 1;
    each = lub_.lub_f_buffered && working >= record ? working / record * record : record;
  }
  i64 size;
  if (__builtin_mul_overflow(count, each, &size) || size > kMostRecl * kWordBytes) return MSG_NO_MEMORY;
  if (!lub_.lub_f_direct) size = std::max(size, record + kRecordSlack);
  const bool segmented = lub_.lub_rectype == RECTYPE_SEGMENTED && !lub_.lub_f_formatted;
  constexpr i64 kSegmentRoom = 8;
  if (segmented && size < record + kSegmentRoom) size += kSegmentRoom;
  lub_.lub_buffer_size = size;
  return 0;
}

int Connection_Sizes::settle_buffer(i64 file_block) {
  settle_wrap_margin();
  if (lub_.lub_f_user_buffered) {
    const i32 threshold = integer_variable("FORT_BUFFERING_THRESHOLD", 1, INT32_MAX);
    if (threshold == kBadVariable) return MSG_BUFFERING_THRESHOLD_SYNTAX;
    if (threshold != kUnsetVariable) {
      lub_.lub_buffer_threshold = threshold;
      lub_.lub_f_threshold_set = 1;
    }
  }
  i64 count = static_cast<i64>(o_[OPENW_BUFFERCOUNT]);
  if (count == 0) {
    if (for__l_buffercount == kBadVariable) return MSG_BUFFERCOUNT_SYNTAX;
    count = for__l_buffercount;
  }
  i64 working;
  if (const int status = settle_block(file_block, &working)) return status;
  return settle_buffer_size(std::max<i64>(count, 1), working);
}

void Connection_Sizes::make_virtual() {
  const i64 asked = virtual_record_limit();
  if (asked == 0 || lub_.lub_rectype == RECTYPE_FIXED || lub_.lub_rectype == RECTYPE_SEGMENTED) return;
  // The line of a connection with RECL= is the whole record, which is not to be had at once.
  constexpr i64 kLeastRecord = 128;
  const i64 limit = std::max(asked, recl_given_ ? kLeastRecord : lub_.lub_wrap_margin);
  if (lub_.lub_rec_bytes <= limit) return;
  lub_.lub_f_virtual_recl = 1;
  if (lub_.lub_recl_limit == 0) lub_.lub_recl_limit = kVirtualReclLimit;
  lub_.lub_rec_bytes = lub_.lub_rec_overhead + limit;
  if (lub_.lub_buffer_size > limit) lub_.lub_buffer_size = lub_.lub_rec_bytes;
}

int Connection_Sizes::allocate_buffer() {
  void* buffer;
  if (const int status = for__get_vm(lub_.lub_buffer_size + static_cast<i64>(sizeof kBufferGuard), 0, &buffer))
    return status;
  lub_.lub_a_buffer = static_cast<u8*>(buffer);
  memcpy(lub_.lub_a_buffer + lub_.lub_buffer_size, kBufferGuard, sizeof kBufferGuard);
  lub_.lub_a_cursor = lub_.lub_a_read_end = lub_.lub_a_buffer;
  lub_.lub_a_rec_end = lub_.lub_a_buffer + lub_.lub_rec_bytes;
  return 0;
}
