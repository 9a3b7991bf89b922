// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// STOP, ERROR STOP, ABORT and PAUSE. The entry points differ in how they form the message and the status; none of the
// STOP family returns but for a message that could not be written, with the number of that failure, -1 from ERROR STOP.
#ifndef TAMRUN_EXCEPTIONS_FOR_STOP_H
#define TAMRUN_EXCEPTIONS_FOR_STOP_H

#include "tamrun/io_flags.h"
#include "tamrun/types.h"

/// Bits of the flags that STOP reads besides iof_err and iof_iostat, and those of a connection.
inline constexpr For_IO_Flags stopf_old_messages = iof_compat_io;  ///< to unit 6, and there is always a message
inline constexpr For_IO_Flags stopf_ieee_notes = 1ull << 38;       ///< report the raised floating-point flags

/// Status of ERROR STOP without a code, and of ABORT.
inline constexpr int kErrorStopStatus = 128, kAbortStatus = 134;

/// `given`: the code counts, and is the status. Text lengths are bytes.
TAMRUN_ENTRY int for_stop(const char* text, i32 length);
TAMRUN_ENTRY int for_stop_core(const char* text, i32 length, For_IO_Flags flags, i32 code, i32 given);
TAMRUN_ENTRY int for_stop_core8(const char* text, i32 length, For_IO_Flags flags, i64 code, i32 given);
TAMRUN_ENTRY int for_stop_core_quiet(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i32 code, i32 given);
TAMRUN_ENTRY int for_stop_core_quiet_int8(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i64 code,
                                          i32 given);
TAMRUN_ENTRY int for_error_stop(const char* text, i32 length, For_IO_Flags flags, i32 code, i32 given);
TAMRUN_ENTRY int for_error_stop8(const char* text, i32 length, For_IO_Flags flags, i64 code, i32 given);
TAMRUN_ENTRY int for_error_stop_quiet(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i32 code, i32 given);
TAMRUN_ENTRY int for_error_stop_quiet_int8(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i64 code,
                                           i32 given);
TAMRUN_ENTRY int for_abort(const char* text, i32 length);

/// The message is the code in digits. For ERROR STOP `value` counts when it is given; otherwise *code, which may be null.
TAMRUN_ENTRY int for_stop_core_int(const i32* code, i32 unused, i32 quiet, For_IO_Flags flags);
TAMRUN_ENTRY int for_stop_core_int8(const i64* code, i32 unused, i32 quiet, For_IO_Flags flags);
TAMRUN_ENTRY int for_error_stop_int(const i32* code, i32 unused, i32 quiet, For_IO_Flags flags, i32 value, i32 given);
TAMRUN_ENTRY int for_error_stop_int8(const i64* code, i32 unused, i32 quiet, For_IO_Flags flags, i64 value, i32 given);

/// PAUSE: prompts and goes on or ends the program. `length` 0: no text is given; below 0: no line at all.
TAMRUN_ENTRY void for_pause(const char* text, i32 length);

extern "C" {
/// What all of the STOP family come to. The low 32 bits of `code` are the status if it is given and `code_width` is 4 or 8.
int for_stop_core_impl(i32 is_error_stop, const char* text, i32 text_length, i32 quiet, For_IO_Flags flags, u64 code,
                       i32 code_width, i32 code_given);
}

#endif
