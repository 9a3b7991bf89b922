// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Fields of one width side by side, as the fields of a repeated descriptor are, into values at one distance from each
// other: no work is done twice for a field that need only be done once for all of them.
#ifndef TAMRUN_CONVERT_PLAIN_FIELDS_H
#define TAMRUN_CONVERT_PLAIN_FIELDS_H

#include "tamrun/types.h"

/// How plain fields are read.
struct Plain_Format {
  i32 decimals;  ///< implied where the text has no point
  i32 scale;     ///< P, where the text has no exponent
  u32 options;   ///< of the readers of text: the rounding
  char point;
};

struct Plain_Run {
  const char* field;
  i64 width;
  i64 count;  ///< fields
  u8* data;
  i64 stride;  ///< bytes from one value to the next
};

/// Each reads fields while they are blanks and then one plain number that fits the type, and gives how many it has read.
/// Nothing is stored for the field that it stops at.
using Plain_Reader = i64(const Plain_Run&, const Plain_Format&);
Plain_Reader read_plain_singles, read_plain_doubles;
Plain_Reader read_plain_bytes, read_plain_halves, read_plain_words, read_plain_longs;

#endif
