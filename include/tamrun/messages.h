// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Message numbers and severities. Every fallible function of the library returns 0 or one of these numbers.
#ifndef TAMRUN_MESSAGES_H
#define TAMRUN_MESSAGES_H

#include "tamrun/types.h"

enum For_Message : int {
#define MSG(number, severity, name, text) MSG_##name = number,
#include "tamrun/messages.def"
#undef MSG
};

/// How far a message reaches. SEV_SEVERE ends the process with the message number as its status.
enum For_Severity : int { SEV_SUCCESS = 0, SEV_INFO = 1, SEV_WARNING = 2, SEV_ERROR = 3, SEV_SEVERE = 4 };

/// Results of a statement that compiled code sees in place of a message number.
inline constexpr int FOR_IOS_END = -1;
inline constexpr int FOR_IOS_EOR = -2;

/// Position in a record that is neither known nor needed: lub_next_rec of a unit that stands at its end.
inline constexpr i64 FOR_K_REC_UNKNOWN = -2147483648LL;

#endif
