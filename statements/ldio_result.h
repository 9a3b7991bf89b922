// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// How one call of a list-directed statement came to its end, for writers and readers.
#ifndef TAMRUN_STATEMENTS_LDIO_RESULT_H
#define TAMRUN_STATEMENTS_LDIO_RESULT_H

#include "tamrun/types.h"

enum class Ldio_End : u8 {
  statement,  ///< the end mark of the statement
  call,       ///< the end mark of the call
  failed,     ///< `code` and `user_code` are to be reported
  child,      ///< a child statement has failed and reported `code`
};
struct Ldio_Result {
  Ldio_End end;
  int code;
  int user_code;
};

#endif
