// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One value and the state around it, for tests of the value editor.
#ifndef TAMRUN_TESTS_FORMAT_EDITOR_H
#define TAMRUN_TESTS_FORMAT_EDITOR_H

#include <string.h>

#include <string>
#include <string_view>

#include "format/for_fmt_val.h"
#include "tamrun/messages.h"

namespace tamrun_test {

/// The descriptor in force, with the unit's and the statement's modes. Fields are public: a test sets what it means.
struct Editor {
  For_Lub lub = {};
  For_Fmt_Isb isb = {};
  int result = 0;  ///< of the last edit

  Editor(u8 operation, i64 width, u16 d = 0, u16 e = 0) {
    isb.isb_lub = &lub;
    isb.isb_code = operation;
    isb.isb_width = width;
    isb.isb_d = d;
    isb.isb_e = e;
  }

  /// The field that `bytes` of item type `type` give. '#' stands for columns left alone; two columns on each side must
  /// be, or the text says so.
  std::string write(u32 type, const void* data, i64 bytes) {
    std::string field(isb.isb_width + 4, '#');
    For_Value_Info val = {};
    val.val_data = const_cast<u8*>(static_cast<const u8*>(data));
    val.val_total = val.val_elem = bytes;
    val.val_type = type;
    result = for__format_value(&val, &isb, field.data() + 2);
    if (field.substr(0, 2) != "##" || field.substr(field.size() - 2) != "##") return "outside: " + field;
    return field.substr(2, isb.isb_width);
  }
  template <class T>
  std::string write(u32 type, const T& value) {
    return write(type, &value, sizeof value);
  }

  /// The field read into a value of `bytes` bytes, which held 0xAA before. The width is the text's length.
  int read(u32 type, std::string_view text, void* data, i64 bytes) {
    memset(data, 0xAA, bytes);
    For_Value_Info val = {};
    val.val_data = static_cast<u8*>(data);
    val.val_total = val.val_elem = bytes;
    val.val_type = type;
    isb.isb_width = static_cast<i64>(text.size());
    return result = for__cvt_value(&isb, text.data(), &val);
  }
  template <class T>
  T read(u32 type, std::string_view text) {
    T value;
    read(type, text, &value, sizeof value);
    return value;
  }
};

}  // namespace tamrun_test

#endif
