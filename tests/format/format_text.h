// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Format text for tests: compiled from a copy of exactly its size, so that a sanitizer sees any byte read outside.
#ifndef TAMRUN_TESTS_FORMAT_FORMAT_TEXT_H
#define TAMRUN_TESTS_FORMAT_FORMAT_TEXT_H

#include <memory>
#include <string>
#include <string_view>

#include "format/format_compiler.h"
#include "support/exact_text.h"
#include "tamrun/hooks.h"

namespace tamrun_test {

/// The text compiled, freed with the object.
class Compiled {
 public:
  explicit Compiled(std::string_view text, bool report = false) : copy_(exact(text)) {
    const For_Fmt_Text argument = {static_cast<i64>(text.size()), copy_.get()};
    result_ = for__format_compiler(&argument, &format_, report);
  }
  ~Compiled() { for__free_vm(format_); }
  Compiled(const Compiled&) = delete;
  Compiled& operator=(const Compiled&) = delete;
  int result() const { return result_; }
  const u8* format() const { return format_; }

 private:
  std::unique_ptr<char[]> copy_;
  u8* format_ = nullptr;
  int result_;
};

}  // namespace tamrun_test

#endif
