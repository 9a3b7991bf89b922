// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes to a data transfer statement: item lists, control lists, contexts.
#ifndef TAMRUN_TESTS_SUPPORT_ITEM_LIST_H
#define TAMRUN_TESTS_SUPPORT_ITEM_LIST_H

#include <string.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "tamrun/context.h"
#include "tamrun/io_flags.h"
#include "tamrun/item_list.h"
#include "tamrun/open_args.h"

/// One dimension of a section, as compiled code orders it.
struct Section_Dim {
  i64 lower, upper, stride;
};

/// An item list under construction. Values and texts passed by value are kept until the list and its copies go.
class ItemList {
 public:
  ItemList& int1(i8 v) { return inline_value(ITM_INTEGER1, v); }
  ItemList& int2(i16 v) { return inline_value(ITM_INTEGER2, v); }
  ItemList& int4(i32 v) { return inline_value(ITM_INTEGER4, v); }
  ItemList& int8(i64 v) { return inline_value(ITM_INTEGER8, v); }
  ItemList& logical4(i32 v) { return inline_value(ITM_LOGICAL4, v); }
  ItemList& real4(float v) { return inline_value(ITM_REAL4, v); }
  ItemList& real8(double v) { return inline_value(ITM_REAL8, v); }
  ItemList& real16(__float128 v) { return inline_value(ITM_REAL16, v); }
  ItemList& complex8(float re, float im) {
    const float parts[2] = {re, im};
    return inline_bytes(ITM_COMPLEX8, parts, sizeof parts);
  }
  ItemList& complex16(double re, double im) {
    const double parts[2] = {re, im};
    return inline_bytes(ITM_COMPLEX16, parts, sizeof parts);
  }

  /// A character item with a copy of the text.
  ItemList& text(const std::string& t) {
    texts_.push_back(std::make_shared<const std::string>(t));
    return scalar(ITM_CHARACTER, texts_.back()->data(), static_cast<i64>(t.size()));
  }
  ItemList& scalar(u8 type, const void* p, i64 length) { return pair(type, ACC_SCALAR).word(length).pointer_word(p); }
  ItemList& pointer(u8 type, const void* p) { return pair(type, ACC_POINTER).pointer_word(p); }
  /// Contiguous array; the element length comes from the type.
  ItemList& array(u8 type, const void* p, i64 total_bytes) {
    return pair(type, ACC_ARRAY).word(total_bytes).pointer_word(p);
  }
  ItemList& array_elem(u8 type, const void* p, i64 total_bytes, i64 element) {
    return array_of(type, ACC_ARRAY_ELEM, p, total_bytes).word(element);
  }
  ItemList& section(u8 type, const void* base, std::initializer_list<Section_Dim> dims) {
    pair(type, ACC_SECTION).word(static_cast<i64>(dims.size())).pointer_word(base);
    return dimensions(dims);
  }
  ItemList& section_elem(u8 type, const void* base, i64 element, std::initializer_list<Section_Dim> dims) {
    pair(type, ACC_SECTION_ELEM).word(static_cast<i64>(dims.size())).pointer_word(base).word(element);
    return dimensions(dims);
  }
  /// Any pair and words, well-formed or not.
  ItemList& raw(u8 type, u8 access, std::initializer_list<i64> words = {}) {
    pair(type, access);
    for (i64 w : words) word(w);
    return *this;
  }
  /// Ends the statement.
  ItemList& end() { return pair(ITM_END_STATEMENT, 0); }
  /// Ends this call; the statement goes on.
  ItemList& more() { return pair(ITM_END_CALL, 0); }
  /// Ends the statement unless an end mark stands already.
  ItemList& finish() { return empty() || pairs_[pairs_.size() - 2] > ITM_END_CALL ? end() : *this; }
  bool empty() const { return pairs_.empty(); }

  const u8* list() const { return pairs_.data(); }
  /// The argument words. Never null, since a null pointer is a malformed list.
  void* args() {
    if (words_.empty()) words_.push_back(0);
    return words_.data();
  }

  template <class T>
  ItemList& inline_value(u8 type, T v) {
    return inline_bytes(type, &v, sizeof v);
  }
  ItemList& inline_bytes(u8 type, const void* value, size_t bytes) {
    pair(type, ACC_INLINE);
    const size_t at = words_.size();
    words_.resize(at + (bytes + 7) / 8, 0);
    memcpy(&words_[at], value, bytes);
    return *this;
  }
  ItemList& pair(u8 type, u8 access) {
    pairs_.push_back(type);
    pairs_.push_back(access);
    return *this;
  }
  ItemList& word(i64 w) {
    words_.push_back(static_cast<u64>(w));
    return *this;
  }
  ItemList& pointer_word(const void* p) { return word(reinterpret_cast<i64>(p)); }

 private:
  ItemList& array_of(u8 type, u8 access, const void* p, i64 total) {
    return pair(type, access).word(total).pointer_word(p);
  }
  ItemList& dimensions(std::initializer_list<Section_Dim> dims) {
    for (const Section_Dim& d : dims) word(d.lower).word(d.upper).word(d.stride);
    return *this;
  }

  std::vector<u8> pairs_;
  std::vector<u64> words_;
  std::vector<std::shared_ptr<const std::string>> texts_;
};

/// A control list under construction: keyed items in the order of the interface.
class ControlList {
 public:
  ControlList& iomsg(char* buffer, i64 length) {
    return keyed(items_.scalar(ITM_CHARACTER, buffer, length), KEY_IOMSG);
  }
  ControlList& pos(i64 position) { return keyed(items_.int8(position), KEY_POS); }
  ControlList& blank(const std::string& t) { return keyword(KEY_BLANK, t); }
  ControlList& decimal(const std::string& t) { return keyword(KEY_DECIMAL, t); }
  ControlList& delim(const std::string& t) { return keyword(KEY_DELIM, t); }
  ControlList& pad(const std::string& t) { return keyword(KEY_PAD, t); }
  ControlList& round(const std::string& t) { return keyword(KEY_ROUND, t); }
  ControlList& sign(const std::string& t) { return keyword(KEY_SIGN, t); }
  ControlList& keyword(u8 key, const std::string& t) { return keyed(items_.text(t), key); }
  ControlList& end() {
    items_.end();
    return *this;
  }
  bool empty() const { return items_.empty(); }

  const u8* list() const { return items_.list(); }
  void* args() { return items_.args(); }

 private:
  ControlList& keyed(ItemList&, u8 key) {
    items_.pair(key, 0);
    return *this;
  }
  ItemList items_;
};

/// Calls a first-call entry point of a unit; `extra` follow the fixed arguments. A list without an end mark gets it, and
/// a control list that is not empty goes with the call.
template <class Entry, class... Extra>
int first_call(Entry entry, For_Context& ctx, int unit, For_IO_Flags flags, ItemList items, ControlList control = {},
               Extra... extra) {
  items.finish();
  if (control.empty()) return entry(&ctx, unit, flags, items.list(), items.args(), extra...);
  control.end();
  return entry(&ctx, unit, flags | iof_extended | iof_control_list, items.list(), items.args(), extra...,
               control.list(), control.args());
}

/// Flags that a Fortran 90 program passes: IOSTAT= is given, so that a failure comes back as a value.
inline constexpr For_IO_Flags kIostat = iof_f90_rtl | iof_extended | iof_iostat;

#endif
