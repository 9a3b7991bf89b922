// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes to OPEN and CLOSE, and runs them.
#ifndef TAMRUN_TESTS_SUPPORT_OPEN_LIST_H
#define TAMRUN_TESTS_SUPPORT_OPEN_LIST_H

#include <string>
#include <utility>

#include "support/item_list.h"
#include "units/open.h"

/// A keyword list under construction. It may be moved, not copied: its words point at its texts.
class KeyList {
 public:
  KeyList() = default;
  KeyList(KeyList&&) = default;
  KeyList& operator=(KeyList&&) = default;

  /// A character keyword, as the source has it.
  KeyList& text(u8 key, const std::string& t) {
    items_.text(t);
    return keyed(key);
  }
  /// A number in the argument words.
  KeyList& number(u8 key, i64 value) {
    items_.int8(value);
    return keyed(key);
  }
  /// The address of a variable, a number's or a text's or a routine's.
  KeyList& variable(u8 key, u8 type, const void* address) {
    items_.pointer(type, address);
    return keyed(key);
  }
  /// A keyword without a value.
  KeyList& mark(u8 key) {
    items_.pair(ITM_NON_DATA61, 0);
    return keyed(key);
  }
  KeyList& iomsg(char* buffer, i64 length) {
    items_.scalar(ITM_CHARACTER, buffer, length);
    return keyed(KEY_IOMSG);
  }

  KeyList& file(const std::string& name) { return text(KEY_FILE, name); }
  KeyList& status(const std::string& word) { return text(KEY_STATUS, word); }
  KeyList& form(const std::string& word) { return text(KEY_FORM, word); }
  KeyList& access(const std::string& word) { return text(KEY_ACCESS, word); }

  /// The finished list, to be passed on in one expression.
  KeyList end() {
    items_.end();
    return std::move(*this);
  }
  const u8* list() const { return items_.list(); }
  void* args() { return items_.args(); }

 private:
  KeyList& keyed(u8 key) {
    items_.pair(key, 0);
    return *this;
  }
  ItemList items_;
};

inline int open_unit(int unit, KeyList keys, For_IO_Flags flags = kIostat) {
  For_Context ctx = {};
  const int result = for_open(&ctx, unit, flags, keys.list(), keys.args());
  return ctx.ctx_lub == nullptr ? result : -1000;  // no statement leaves its context behind
}

inline int close_unit(int unit, KeyList keys = KeyList().end(), For_IO_Flags flags = kIostat) {
  For_Context ctx = {};
  const int result = for_close(&ctx, unit, flags, keys.list(), keys.args());
  return ctx.ctx_lub == nullptr ? result : -1000;
}

/// Specifiers as the source has them, "FILE=data RECL=4 SHARED": numbers go as numbers, all else as text.
KeyList specifiers(const std::string& text);

/// FILE= and STATUS='UNKNOWN', with room for more specifiers behind them.
inline std::string on_file(const std::string& name) { return "FILE=" + name + " STATUS=UNKNOWN "; }

inline int open_unit(int unit, const std::string& text, For_IO_Flags flags = kIostat) {
  return open_unit(unit, specifiers(text).end(), flags);
}
inline int close_unit(int unit, const std::string& text, For_IO_Flags flags = kIostat) {
  return close_unit(unit, specifiers(text).end(), flags);
}

/// The block of a unit that has one, at rest.
For_Lub& block_of(int unit);

/// Makes what a thread's first failure makes, so that blocks can be counted.
void fail_once();

/// Open descriptors of the process.
int open_descriptors();

#endif
