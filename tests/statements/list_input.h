// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit in memory that list-directed statements read, and variables of any type whose values are told as text.
#ifndef TAMRUN_TESTS_STATEMENTS_LIST_INPUT_H
#define TAMRUN_TESTS_STATEMENTS_LIST_INPUT_H

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "statements/for_rseq_lis.h"
#include "support/item_list.h"
#include "support/unit.h"

/// Variables by letters: b, h, i, j INTEGER(1, 2, 4, 8); B, H, U, J the same unsigned; l, m, n, o LOGICAL(1, 2, 4, 8);
/// L the LOGICAL without a width; r, d, q REAL(4, 8, 16); y, z, x COMPLEX(4, 8, 16); c CHARACTER(5); s CHARACTER(1).
/// What no statement has stored is -99 in numbers and "?" in text.
class Variables {
 public:
  explicit Variables(const std::string& letters) : letters_(letters), bytes_(letters.size()) {
    for (size_t i = 0; i < letters.size(); ++i) fill(i);
  }

  void add_to(ItemList& items, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
      if (type(i) == ITM_CHARACTER) {
        items.scalar(ITM_CHARACTER, bytes_[i].data(), static_cast<i64>(bytes_[i].size()));
      } else {
        items.pointer(type(i), bytes_[i].data());
      }
    }
  }
  ItemList items() {
    ItemList list;
    add_to(list, 0, letters_.size());
    list.end();
    return list;
  }

  std::string text() const {
    std::string all;
    for (size_t i = 0; i < letters_.size(); ++i) all += (i == 0 ? "" : " ") + value(i);
    return all;
  }

 private:
  struct Kind {
    char letter;
    u8 type;
    int bytes;
  };
  static const Kind& kind(char letter) {
    static const Kind kinds[] = {{'b', ITM_INTEGER1, 1},   {'h', ITM_INTEGER2, 2},  {'i', ITM_INTEGER4, 4},
                                 {'j', ITM_INTEGER8, 8},   {'B', ITM_UNSIGNED1, 1}, {'H', ITM_UNSIGNED2, 2},
                                 {'U', ITM_UNSIGNED4, 4},  {'J', ITM_UNSIGNED8, 8}, {'l', ITM_LOGICAL1, 1},
                                 {'m', ITM_LOGICAL2, 2},   {'n', ITM_LOGICAL4, 4},  {'o', ITM_LOGICAL8, 8},
                                 {'L', ITM_LOGICAL, 4},    {'r', ITM_REAL4, 4},     {'d', ITM_REAL8, 8},
                                 {'q', ITM_REAL16, 16},    {'y', ITM_COMPLEX8, 8},  {'z', ITM_COMPLEX16, 16},
                                 {'x', ITM_COMPLEX32, 32}, {'c', ITM_CHARACTER, 5}, {'s', ITM_CHARACTER, 1}};
    for (const Kind& k : kinds) {
      if (k.letter == letter) return k;
    }
    ADD_FAILURE() << "no variable " << letter;
    return kinds[0];
  }
  u8 type(size_t i) const { return kind(letters_[i]).type; }

  template <class T>
  void set(size_t i, T v) {
    const size_t bytes = kind(letters_[i]).bytes;
    for (size_t at = 0; at + sizeof v <= bytes; at += sizeof v) memcpy(bytes_[i].data() + at, &v, sizeof v);
  }
  template <class T>
  T get(size_t i, size_t index = 0) const {
    T v;
    memcpy(&v, bytes_[i].data() + index * sizeof v, sizeof v);
    return v;
  }

  void fill(size_t i) {
    bytes_[i].assign(kind(letters_[i]).bytes, '?');
    switch (letters_[i]) {
      case 'c':
      case 's':
        break;
      case 'r':
      case 'y':
        return set(i, -99.0f);
      case 'd':
      case 'z':
        return set(i, -99.0);
      case 'q':
      case 'x':
        return set(i, static_cast<__float128>(-99));
      default:
        switch (kind(letters_[i]).bytes) {
          case 1:
            return set(i, i8{-99});
          case 2:
            return set(i, i16{-99});
          case 4:
            return set(i, i32{-99});
          default:
            return set(i, i64{-99});
        }
    }
  }

  static std::string real(double v) {
    char text[64];
    snprintf(text, sizeof text, "%.15g", v);
    return text;
  }
  template <class T>
  std::string pair(size_t i) const {
    return "(" + real(static_cast<double>(get<T>(i))) + "," + real(static_cast<double>(get<T>(i, 1))) + ")";
  }
  std::string value(size_t i) const {
    switch (letters_[i]) {
      case 'c':
      case 's':
        return "[" + bytes_[i] + "]";
      case 'r':
        return real(get<float>(i));
      case 'd':
        return real(get<double>(i));
      case 'q':
        return real(static_cast<double>(get<__float128>(i)));
      case 'y':
        return pair<float>(i);
      case 'z':
        return pair<double>(i);
      case 'x':
        return pair<__float128>(i);
      case 'B':
        return std::to_string(get<u8>(i));
      case 'H':
        return std::to_string(get<u16>(i));
      case 'U':
        return std::to_string(get<u32>(i));
      case 'J':
        return std::to_string(get<u64>(i));
      default:
        break;
    }
    switch (kind(letters_[i]).bytes) {
      case 1:
        return std::to_string(get<i8>(i));
      case 2:
        return std::to_string(get<i16>(i));
      case 4:
        return std::to_string(get<i32>(i));
      default:
        return std::to_string(get<i64>(i));
    }
  }

  std::string letters_;
  std::vector<std::string> bytes_;
};

class List_Input {
 public:
  explicit List_Input(const std::string& content, const Connection& c = {}, int unit = 41)
      : fd_(file_of(content)), unit_(unit, fd_, c) {}

  int read(ItemList& items, ControlList* control = nullptr, For_IO_Flags flags = kIostat) {
    return first_call(for_read_seq_lis, ctx_, unit_.number(), flags, items, control);
  }
  int read(Variables& variables, ControlList* control = nullptr, For_IO_Flags flags = kIostat) {
    ItemList items = variables.items();
    return read(items, control, flags);
  }
  /// What the variables of one statement hold behind it, and its result where that is not 0.
  std::string read(const std::string& letters, ControlList* control = nullptr, For_IO_Flags flags = kIostat) {
    Variables variables(letters);
    const int result = read(variables, control, flags);
    return (result != 0 ? std::to_string(result) + ": " : "") + variables.text();
  }
  For_Lub& lub() { return unit_.lub(); }
  For_Context& context() { return ctx_; }
  int number() const { return unit_.number(); }

 private:
  static int file_of(const std::string& content) {
    const int fd = memory_file();
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
    return fd;
  }

  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
};

#endif
