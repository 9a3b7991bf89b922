// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Text at the end of its memory, for tests of the readers.
#ifndef TAMRUN_TESTS_SUPPORT_EXACT_TEXT_H
#define TAMRUN_TESTS_SUPPORT_EXACT_TEXT_H

#include <string.h>

#include <memory>
#include <string_view>

namespace tamrun_test {

/// A copy of exactly the text's size, so that an address sanitizer sees every read beside it.
inline std::unique_ptr<char[]> exact(std::string_view text) {
  std::unique_ptr<char[]> copy(new char[text.size()]);
  memcpy(copy.get(), text.data(), text.size());
  return copy;
}

}  // namespace tamrun_test

#endif
