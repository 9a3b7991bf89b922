// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted records out of the buffer.
#ifndef TAMRUN_RECORDS_FOR_PUT_H
#define TAMRUN_RECORDS_FOR_PUT_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

extern "C" {
// for__write_output is declared in tamrun/hooks.h, and so is for__put_sf, which writes the current formatted record:
// 0, MSG_WRITE_ERROR with lub_errno set, or what the failure road returned for MSG_RECORD_OVERFLOW.
}

#endif
