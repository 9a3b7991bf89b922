// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Specifiers of a statement as the keyed lists that the library takes.
#ifndef TAMGNU_KEYWORDS_H
#define TAMGNU_KEYWORDS_H

#include "tamrun/item_list.h"
#include "tamrun/types.h"

/// Holds up to `kMost` keyed items.
template <int kMost>
class Keyword_List {
 public:
  /// A character specifier, when `given`.
  void text(bool given, u8 key, const char* text, i64 length) {
    if (!given) return;
    add(ITM_CHARACTER, ACC_SCALAR, key);
    args_[words_++] = static_cast<u64>(length);
    args_[words_++] = reinterpret_cast<u64>(text);
  }
  void number(bool given, u8 key, i64 value) {
    if (!given) return;
    add(ITM_INTEGER8, ACC_INLINE, key);
    args_[words_++] = static_cast<u64>(value);
  }
  void variable(bool given, u8 key, i32* address) { variable(given, key, ITM_INTEGER4, address); }
  void variable(bool given, u8 key, i64* address) { variable(given, key, ITM_INTEGER8, address); }

  bool empty() const { return items_ == 0; }
  const u8* list() {
    list_[items_ * kPairs] = ITM_END_STATEMENT;
    list_[items_ * kPairs + 1] = 0;
    return list_;
  }
  u64* args() { return args_; }

 private:
  static constexpr int kPairs = 4;  // bytes of an item and its key
  static constexpr int kWords = 2;  // of the widest item

  void variable(bool given, u8 key, For_Item_Type type, void* address) {
    if (!given) return;
    add(type, ACC_POINTER, key);
    args_[words_++] = reinterpret_cast<u64>(address);
  }

  void add(For_Item_Type type, For_Item_Access access, u8 key) {
    u8* entry = &list_[items_++ * kPairs];
    entry[0] = type;
    entry[1] = access;
    entry[2] = key;
    entry[3] = 0;
  }

  int items_ = 0;
  int words_ = 0;
  u8 list_[kMost * kPairs + 2];
  u64 args_[kMost * kWords];
};

/// True when the text, without trailing blanks and regard to case, is the word.
bool is_word(const char* text, i64 length, const char* word);

#endif
