// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted records out of the buffer.
#ifndef TAMRUN_RECORDS_FOR_PUT_H
#define TAMRUN_RECORDS_FOR_PUT_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

extern "C" {
// for__put_sf, which writes the current formatted record, is declared in tamrun/hooks.h: 0, MSG_WRITE_ERROR with
// lub_errno set, or what the failure road returned for MSG_RECORD_OVERFLOW.

/// Moves record bytes towards the file: 1 kept in the buffer, 0 written, -1 the write failed. Length 0 flushes.
int for__write_output(For_Lub* lub, const u8* data, i64 length);
}

#endif
