// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What programs from other environments call directly: a file by the character and by the offset, on the units of the
// statements, and the keyboard. Failures are results; the last one stands in the thread's ts_errsns, and nothing is
// printed.
#ifndef TAMRUN_PORT_FOR_PORTLIB_H
#define TAMRUN_PORT_FOR_PORTLIB_H

#include "tamrun/types.h"

/// Results of a read that found no byte.
inline constexpr i64 kPortFailed = -1, kPortAtEnd = -2;

/// The unit's descriptor, or -1. `name` may be null; otherwise it receives the file's name, NUL-terminated, and *length
/// that name's length, if it is shorter than *length.
TAMRUN_ENTRY i64 __msportlib_d_gethandle(i64 unit, char* name, i64* length);
/// Offset of the next byte of the program's, or -1. The second form has no offsets above 2147483647.
TAMRUN_ENTRY i64 __msportlib_d_curpos_i8(i64 unit);
TAMRUN_ENTRY i64 __msportlib_d_curpos(i64 unit);
/// `whence` is 0 from the start, 1 from here, 2 from the end: 0 or -1.
TAMRUN_ENTRY i64 __msportlib_d_fseek_i8(i64 unit, i64 offset, i64 whence);
TAMRUN_ENTRY i64 __msportlib_d_fseek(i64 unit, i64 offset, i64 whence);
/// The next byte, -1 for a failure, -2 at the end of the file. On text CR LF is one LF.
TAMRUN_ENTRY i64 __msportlib_d_readchar(i64 unit);
/// 0 or -1.
TAMRUN_ENTRY i64 __msportlib_d_writechar(i64 unit, i32 character);
/// No effect; 1.
TAMRUN_ENTRY i32 __msportlib_set_posix_io_flag(void);
/// 1 when what the unit holds back has gone to the file, for the first to the device as well; else 0.
TAMRUN_ENTRY i32 commitqq_(const i32* unit);
TAMRUN_ENTRY i32 flushqq_(const i32* unit);

/// Keys arrive one by one from now on, unseen with `echo_off`; the second gives the terminal back its settings.
TAMRUN_ENTRY void set_keypress(i32 echo_off);
TAMRUN_ENTRY i32 reset_keypress(void);
/// Reads keys into blanked `text`, up to one that is no character: how many there are.
TAMRUN_ENTRY i64 getstrqq_(char* text, i64 length);
/// Reads a key unseen: `out`.
TAMRUN_ENTRY char* getcharqq_(char* out);
/// 1 when a key waits.
TAMRUN_ENTRY i32 peekcharqq_(void);

#endif
