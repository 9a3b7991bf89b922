// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Variables of any type whose values are told as text.
#ifndef TAMRUN_TESTS_STATEMENTS_VARIABLES_H
#define TAMRUN_TESTS_STATEMENTS_VARIABLES_H

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "support/item_list.h"

/// A kind of variable: what it holds before a statement, and how its value is told.
struct Variable_Kind {
  char letter;
  u8 type;
  std::string unset;
  std::string (*tell)(const char* at);
};

template <class T>
T value_at(const char* at) {
  T value;
  memcpy(&value, at, sizeof value);
  return value;
}
template <class T>
std::string bytes_of(T value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
template <class T>
std::string tell_real(const char* at) {
  char text[64];
  snprintf(text, sizeof text, "%.15g", static_cast<double>(value_at<T>(at)));
  return text;
}
template <class T>
Variable_Kind integer_kind(char letter, u8 type) {
  return {letter, type, bytes_of(static_cast<T>(-99)), [](const char* at) { return std::to_string(value_at<T>(at)); }};
}
template <class T>
Variable_Kind real_kind(char letter, u8 type) {
  return {letter, type, bytes_of(static_cast<T>(-99)), tell_real<T>};
}
template <class T>
Variable_Kind complex_kind(char letter, u8 type) {
  const std::string part = bytes_of(static_cast<T>(-99));
  return {letter, type, part + part,
          [](const char* at) { return "(" + tell_real<T>(at) + "," + tell_real<T>(at + sizeof(T)) + ")"; }};
}
template <int length>
Variable_Kind text_kind(char letter) {
  return {letter, ITM_CHARACTER, std::string(length, '?'),
          [](const char* at) { return "[" + std::string(at, length) + "]"; }};
}

/// By letters: b, h, i, j INTEGER(1, 2, 4, 8); B, H, U, J the same unsigned; l, m, n, o LOGICAL(1, 2, 4, 8); L the
/// LOGICAL without a width; r, d, q REAL(4, 8, 16); y, z, x COMPLEX(4, 8, 16); c CHARACTER(5); s CHARACTER(1).
inline const Variable_Kind& variable_kind(char letter) {
  static const Variable_Kind kinds[] = {integer_kind<i8>('b', ITM_INTEGER1),
                                        integer_kind<i16>('h', ITM_INTEGER2),
                                        integer_kind<i32>('i', ITM_INTEGER4),
                                        integer_kind<i64>('j', ITM_INTEGER8),
                                        integer_kind<u8>('B', ITM_UNSIGNED1),
                                        integer_kind<u16>('H', ITM_UNSIGNED2),
                                        integer_kind<u32>('U', ITM_UNSIGNED4),
                                        integer_kind<u64>('J', ITM_UNSIGNED8),
                                        integer_kind<i8>('l', ITM_LOGICAL1),
                                        integer_kind<i16>('m', ITM_LOGICAL2),
                                        integer_kind<i32>('n', ITM_LOGICAL4),
                                        integer_kind<i64>('o', ITM_LOGICAL8),
                                        integer_kind<i32>('L', ITM_LOGICAL),
                                        real_kind<float>('r', ITM_REAL4),
                                        real_kind<double>('d', ITM_REAL8),
                                        real_kind<__float128>('q', ITM_REAL16),
                                        complex_kind<float>('y', ITM_COMPLEX8),
                                        complex_kind<double>('z', ITM_COMPLEX16),
                                        complex_kind<__float128>('x', ITM_COMPLEX32),
                                        text_kind<5>('c'),
                                        text_kind<1>('s')};
  for (const Variable_Kind& kind : kinds) {
    if (kind.letter == letter) return kind;
  }
  ADD_FAILURE() << "no variable " << letter;
  return kinds[0];
}

/// What no statement has stored is -99 in numbers and "?" in text.
class Variables {
 public:
  explicit Variables(const std::string& letters) {
    for (char letter : letters) all_.push_back({&variable_kind(letter), variable_kind(letter).unset});
  }
  Variables(const Variables&) = delete;

  void add_to(ItemList& items, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
      Variable& v = all_[i];
      if (v.kind->type == ITM_CHARACTER) {
        items.scalar(ITM_CHARACTER, v.bytes.data(), static_cast<i64>(v.bytes.size()));
      } else {
        items.pointer(v.kind->type, v.bytes.data());
      }
    }
  }
  ItemList items(size_t from = 0, size_t to = SIZE_MAX) {
    ItemList list;
    add_to(list, from, std::min(to, all_.size()));
    return list;
  }

  std::string text() const {
    std::string all;
    for (const Variable& v : all_) all += (all.empty() ? "" : " ") + v.kind->tell(v.bytes.data());
    return all;
  }
  /// The values, behind the result of their statement where that is not 0.
  std::string told(int result) const { return (result != 0 ? std::to_string(result) + ": " : "") + text(); }

 private:
  struct Variable {
    const Variable_Kind* kind;
    std::string bytes;
  };
  std::vector<Variable> all_;
};

#endif
