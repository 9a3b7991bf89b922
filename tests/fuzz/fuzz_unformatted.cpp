// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a file of any unformatted layout, read by READ statements of chosen lengths: each gets the data or the
// number that the file's bytes tell.

#include <stdio.h>

#include "fuzz/fuzz_input.h"
#include "statements/unformatted_oracle.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
  Fuzz_Input input(data, size);
  Unf_Reads::Choice choice;
  if (!input.take(choice)) return 0;
  const char* const wrong = Unf_Reads::check(choice, input.rest());
  if (wrong != nullptr) fprintf(stderr, "wrong: %s\n", wrong);
  require(wrong == nullptr);
  return 0;
}
