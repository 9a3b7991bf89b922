// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What fuzz targets share: the input taken apart, and requirements that end the process.
#ifndef TAMRUN_TESTS_FUZZ_FUZZ_INPUT_H
#define TAMRUN_TESTS_FUZZ_FUZZ_INPUT_H

#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "tamrun/types.h"

inline void require(bool truth) {
  if (!truth) abort();
}

/// The bytes of an input, taken from the front.
class Fuzz_Input {
 public:
  Fuzz_Input(const u8* data, size_t size) : data_(data), size_(size) {}

  /// False when there are not as many bytes.
  template <class T>
  bool take(T& value) {
    if (size_ < sizeof value) return false;
    memcpy(&value, data_, sizeof value);
    skip(sizeof value);
    return true;
  }
  void skip(size_t bytes) { data_ += bytes, size_ -= bytes; }
  const u8* data() const { return data_; }
  size_t size() const { return size_; }
  std::string rest() const { return std::string(reinterpret_cast<const char*>(data_), size_); }

 private:
  const u8* data_;
  size_t size_;
};

/// A copy of some text in a block of exactly its size, for the address sanitizer.
class Exact_Text {
 public:
  Exact_Text(const void* from, size_t length) : length_(length), text_(new char[length]) {
    memcpy(text_.get(), from, length);
  }
  explicit Exact_Text(const Fuzz_Input& rest) : Exact_Text(rest.data(), rest.size()) {}
  const char* data() const { return text_.get(); }
  i32 length() const { return static_cast<i32>(length_); }

 private:
  size_t length_;
  std::unique_ptr<char[]> text_;
};

#endif
