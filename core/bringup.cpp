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
