// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Record length, line width and buffer size of a connection.

#include "units/connection_sizes.h"

#include "core/environment.h"
#include "core/start.h"
#include "tamrun/cvt.h"
#include "tamrun/messages.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>

namespace {

/// Value of a size variable that could not be read.
constexpr i32 kBadVariable = -2;

constexpr i64 kWorkingBlock = 8192;
constexpr i64 kCompatBlock = 1024;
constexpr i64 kWordBytes = 4;
constexpr i64 kListOverhead = 1, kFortranOverhead = 6;
constexpr i64 kVirtualRecord = 20480;
constexpr i64 kVirtualReclLimit = 0xff0000000;
/// Bytes that every buffer has beyond one record.
constexpr i64 kRecordSlack = 4;

struct Default_Size {
  i64 rec_bytes, recl;
};

Default_Size default_size(const For_Lub& lub) {
  if (lub.lub_f_binary || (lub.lub_f_stream && !lub.lub_f_formatted)) return {1024, 65536};
  if (!lub.lub_f_formatted) return {2048, 510};
  if (lub.lub_f_compat_io) return {1024, 1024};
  return lub.lub_f_stream ? Default_Size{1025, 1024} : Default_Size{133, 132};
}

u8 record_overhead(const For_Lub& lub) {
  switch (lub.lub_rectype) {
    case RECTYPE_VARIABLE:
      return 8;
    case RECTYPE_SEGMENTED:
      return 4;
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
      return lub.lub_cc == CC_NONE ? 1 : 0;
    case RECTYPE_STREAM_CRLF:
      return lub.lub_cc == CC_NONE ? 2 : 0;
    default:
      return 0;
  }
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

/// Reads FORT_BUFFERING_THRESHOLD: 0 or MSG_BUFFERING_THRESHOLD_SYNTAX.
int read_threshold(For_Lub& lub) {
  const char* text = getenv("FORT_BUFFERING_THRESHOLD");
  if (text == nullptr) return 0;
  i32 value;
  const size_t length = strlen(text);
  if (length >= kMaxEnvValue ||
      cvt_text_to_integer(text, static_cast<i32>(length), CVT_M_SKIP_BLANKS, &value) != CVT_SUCCESS || value < 1)
    return MSG_BUFFERING_THRESHOLD_SYNTAX;
  lub.lub_buffer_threshold = value;
  lub.lub_f_threshold_set = 1;
  return 0;
}

}  // namespace

void Connection_Sizes::take_recl(i64 recl) {
  i64 bytes = recl;
  if (!lub_.lub_f_formatted) {
    lub_.lub_f_recl_in_words = 1;
    bytes *= kWordBytes;
  }
  recl_given_ = true;
  lub_.lub_recl = recl;
  lub_.lub_recl_limit = bytes;
  lub_.lub_rec_overhead = record_overhead(lub_);
  lub_.lub_rec_bytes = bytes + lub_.lub_rec_overhead;
}

void Connection_Sizes::take_default() {
  const Default_Size size = default_size(lub_);
  lub_.lub_rec_bytes = size.rec_bytes;
  lub_.lub_recl = size.recl;
  lub_.lub_rec_overhead = 0;
  lub_.lub_f_recl_defaulted = 1;
}

int Connection_Sizes::settle_record() {
  const i32 from_env = lub_.lub_f_formatted ? for__l_fmtrecl : for__l_ufmtrecl;
  if (lub_.lub_f_stream || from_env == 0 || from_env == -1) {
    take_default();
    return 0;
  }
  if (from_env == kBadVariable) return lub_.lub_f_formatted ? MSG_FMT_RECL_SYNTAX : MSG_UFMT_RECL_SYNTAX;
  take_recl(from_env);
  return 0;
}

void Connection_Sizes::add_carriage_control() {
  if (lub_.lub_rectype == RECTYPE_FIXED || (lub_.lub_cc != CC_FORTRAN && lub_.lub_cc != CC_LIST)) return;
  const i64 bytes = lub_.lub_cc == CC_FORTRAN ? kFortranOverhead : kListOverhead;
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

int Connection_Sizes::settle_buffer(i64 file_block) {
  settle_wrap_margin();
  if (lub_.lub_f_user_buffered)
    if (const int status = read_threshold(lub_)) return status;

  if (for__l_buffercount == kBadVariable) return MSG_BUFFERCOUNT_SYNTAX;
  const i64 count = std::max<i64>(for__l_buffercount, 1);
  i64 working = kWorkingBlock;
  if (lub_.lub_f_compat_io) {
    lub_.lub_blocksize = kCompatBlock;
  } else if (for__l_blocksize == kBadVariable) {
    return MSG_BLOCKSIZE_SYNTAX;
  } else if (for__l_blocksize > 0) {
    working = lub_.lub_blocksize = for__l_blocksize;
  } else {
    lub_.lub_blocksize = std::max(file_block, kDefaultBlocksize);
  }
  lub_.lub_buffer_size = std::max(count * working, lub_.lub_rec_bytes + kRecordSlack);
  return 0;
}

void Connection_Sizes::make_virtual() {
  const i64 asked = virtual_record_limit();
  if (asked == 0 || lub_.lub_rectype == RECTYPE_FIXED || lub_.lub_rectype == RECTYPE_SEGMENTED) return;
  const i64 limit = std::max(asked, lub_.lub_wrap_margin);
  if (lub_.lub_rec_bytes <= limit) return;
  lub_.lub_f_virtual_recl = 1;
  if (lub_.lub_recl_limit == 0) lub_.lub_recl_limit = kVirtualReclLimit;
  lub_.lub_rec_bytes = lub_.lub_rec_overhead + limit;
  if (lub_.lub_buffer_size > limit) lub_.lub_buffer_size = lub_.lub_rec_bytes;
}
