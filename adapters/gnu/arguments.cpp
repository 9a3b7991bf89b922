// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The argument vector: GET_COMMAND_ARGUMENT, GET_COMMAND, GETARG, IARGC.

#include <string.h>

#include <algorithm>

#include "adapters/gnu/program.h"
#include "tamrun/types.h"

namespace {

/// STATUS= of a text that did not fit, and of an argument that is not there.
constexpr int kCut = -1, kFailure = 42;

template <class Int>
void store(Int* variable, i64 value) {
  if (variable != nullptr) *variable = static_cast<Int>(value);
}

/// A CHARACTER variable that is filled piece by piece; null for a keyword that is not given.
class Text {
 public:
  Text(char* to, i64 length) : to_(to), room_(to == nullptr ? 0 : length) {
    if (room_ > 0) memset(to_, ' ', static_cast<size_t>(room_));
  }
  void append(const char* text, i64 length) {
    const i64 taken = std::min(length, room_);
    if (taken > 0) {
      memcpy(to_, text, static_cast<size_t>(taken));
      to_ += taken;
      room_ -= taken;
    }
    length_ += length;
    cut_ = cut_ || taken < length;
  }
  i64 length() const { return length_; }
  bool cut() const { return to_ != nullptr && cut_; }

 private:
  char* to_;
  i64 room_;
  i64 length_ = 0;
  bool cut_ = false;
};

template <class Int>
void get_argument(Int number, char* value, i64 value_length, Int* length, Int* status) {
  Text text(value, value_length);
  const Argument_Vector arguments = argument_vector();
  const bool there = number >= 0 && number < arguments.count;
  if (there) {
    const char* const argument = arguments.words[number];
    text.append(argument, static_cast<i64>(strlen(argument)));
  }
  store(length, text.length());
  const bool none = !there || (value != nullptr && value_length < 1);
  store(status, none ? kFailure : text.cut() ? kCut : 0);
}

template <class Int>
void get_command(char* value, i64 value_length, Int* length, Int* status) {
  Text text(value, value_length);
  const Argument_Vector arguments = argument_vector();
  for (int i = 0; i < arguments.count; ++i) {
    if (i > 0) text.append(" ", 1);
    text.append(arguments.words[i], static_cast<i64>(strlen(arguments.words[i])));
  }
  store(length, text.length());
  store(status, value != nullptr && value_length < 1 ? kFailure : text.cut() ? kCut : 0);
}

}  // namespace

TAMRUN_ENTRY void _gfortran_get_command_argument_i4(const i32* number, char* value, i32* length, i32* status,
                                                    size_t value_length) {
  get_argument(*number, value, static_cast<i64>(value_length), length, status);
}

TAMRUN_ENTRY void _gfortran_get_command_argument_i8(const i64* number, char* value, i64* length, i64* status,
                                                    size_t value_length) {
  get_argument(*number, value, static_cast<i64>(value_length), length, status);
}

TAMRUN_ENTRY void _gfortran_get_command_i4(char* value, i32* length, i32* status, size_t value_length) {
  get_command(value, static_cast<i64>(value_length), length, status);
}

TAMRUN_ENTRY void _gfortran_get_command_i8(char* value, i64* length, i64* status, size_t value_length) {
  get_command(value, static_cast<i64>(value_length), length, status);
}

TAMRUN_ENTRY void _gfortran_getarg_i4(const i32* number, char* value, size_t value_length) {
  get_argument<i32>(*number, value, static_cast<i64>(value_length), nullptr, nullptr);
}

TAMRUN_ENTRY void _gfortran_getarg_i8(const i64* number, char* value, size_t value_length) {
  get_argument<i64>(*number, value, static_cast<i64>(value_length), nullptr, nullptr);
}

TAMRUN_ENTRY i32 _gfortran_iargc(void) { return std::max(argument_vector().count - 1, 0); }
