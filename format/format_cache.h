// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Run-time formats that a thread has compiled before: a statement in a loop brings the same text every time.
#ifndef TAMRUN_FORMAT_FORMAT_CACHE_H
#define TAMRUN_FORMAT_FORMAT_CACHE_H

#include "tamrun/fmt_isb.h"

/// The compiled form of the text, in `room` of kFmtRoomBytes where it fits there; otherwise, and with `room` null, in a
/// heap block, which *owned tells. 0, or what for__format_compiler gives.
[[nodiscard]] int compiled_format(const For_Fmt_Text& text, int report, u8* room, const u8** result, bool* owned);

#endif
