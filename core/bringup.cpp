// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Weak definitions that let each floor link and be tested while its neighbours are being built.

#include "core/environment.h"
#include "core/failure.h"
#include "core/heap.h"
#include "core/locks.h"
#include "core/messages.h"
#include "core/start.h"
#include "core/thread_storage.h"
#include "format/for_fmt_val.h"
#include "format/for_intrp_fmt.h"
#include "format/format_compiler.h"
#include "records/buffer.h"
#include "records/for_put.h"
#include "records/record_frame.h"
#include "units/file_info_table.h"
#include "units/open.h"
#include "units/unit_table.h"

#define WEAK __attribute__((weak))

extern "C" {
WEAK int cvt_integer_to_text(i32, i32, i32, u32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_integer64_to_text(i64, i32, i32, u32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_unsigned_to_text(u32, i32, i32, i32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_unsigned64_to_text(u64, i32, i32, i32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_data_to_text(const u8*, i32, i32, i32, i32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_data64_to_text(const u8*, i32, i32, i32, i32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_boolean_to_text_ex(i32, i32, i32, char*, u64) { return CVT_INVALID_VALUE; }
WEAK int cvt_boolean64_to_text(i64, i32, i32, char*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_integer(const char*, i32, u32, i32*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_integer64(const char*, i32, u32, i64*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_unsigned(const char*, i32, i32, u32, u32*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_unsigned64(const char*, i32, i32, u32, u64*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_data(const char*, i32, i32, i32, u32, u8*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_boolean(const char*, i32, i32, i32*) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_boolean64(const char*, i32, i32, i64*) { return CVT_INVALID_VALUE; }
WEAK int cvt_ieee_s_to_text_ex(const float*, i32, i32, i32, i32, i32, u32, char*, u64, i32*) {
  return CVT_INVALID_VALUE;
}
WEAK int cvt_ieee_t_to_text_ex(const double*, i32, i32, i32, i32, i32, u32, char*, u64, i32*) {
  return CVT_INVALID_VALUE;
}
WEAK int cvt_ieee_x_to_text_ex(const Cvt_Quad*, i32, i32, i32, i32, i32, u32, char*, u64, i32*) {
  return CVT_INVALID_VALUE;
}
WEAK int cvt_text_to_ieee_s_ex(const char*, i32, i32, i32, u32, float*, u64) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_ieee_t_ex(const char*, i32, i32, i32, u32, double*, u64) { return CVT_INVALID_VALUE; }
WEAK int cvt_text_to_ieee_x_ex(const char*, i32, i32, i32, u32, Cvt_Quad*, u64) { return CVT_INVALID_VALUE; }
}
