// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The keyword lists of OPEN and CLOSE.

#include "core/failure.h"
#include "tamrun/item_list.h"
#include "units/keyword_list.h"
#include "units/open.h"

namespace {

/// What a key brings and how it goes into the argument block.
enum class Key_Kind : u8 {
  unknown,   ///< not a key of OPEN
  word,      ///< text of a key table, or its number
  number,    ///< a number
  text,      ///< address, length
  variable,  ///< address, item type
  routine,   ///< address
  unread,    ///< accepted without effect
};

struct Key_Rule {
  Key_Kind kind = Key_Kind::unknown;
  u8 word = 0;  ///< first word of the block
};

constexpr auto kOpenKeys = [] {
  struct {
    Key_Rule by_key[KEY_LAST + 1];
  } t = {};
  auto& k = t.by_key;
  k[KEY_ACCESS] = {Key_Kind::word, OPENW_ACCESS};
  k[KEY_ASSOCIATEVARIABLE] = {Key_Kind::variable, OPENW_ASSOC_VAR};
  k[KEY_ASSOCIATEVARIABLE_ALT] = {Key_Kind::variable, OPENW_ASSOC_VAR};
  k[KEY_BLANK] = {Key_Kind::word, OPENW_BLANK};
  k[KEY_BLOCKSIZE] = {Key_Kind::number, OPENW_BLOCKSIZE};
  k[KEY_BUFFERCOUNT] = {Key_Kind::number, OPENW_BUFFERCOUNT};
  k[KEY_CARRIAGECONTROL] = {Key_Kind::word, OPENW_CARRIAGECONTROL};
  k[KEY_CONVERT] = {Key_Kind::word, OPENW_CONVERT};
  k[KEY_DEFAULTFILE] = {Key_Kind::text, OPENW_DEFAULTFILE};
  k[KEY_DISPOSE] = {Key_Kind::word, OPENW_DISPOSE};
  k[KEY_FILE] = {Key_Kind::text, OPENW_FILE};
  k[KEY_NAME] = {Key_Kind::text, OPENW_FILE};
  k[KEY_FORM] = {Key_Kind::word, OPENW_FORM};
  k[KEY_MAXREC] = {Key_Kind::number, OPENW_MAXREC};
  k[KEY_ORGANIZATION] = {Key_Kind::word, OPENW_ORGANIZATION};
  k[KEY_READONLY] = {Key_Kind::number, OPENW_READONLY};
  k[KEY_RECL] = {Key_Kind::number, OPENW_RECL};
  k[KEY_RECL_BYTES] = {Key_Kind::number, OPENW_RECL};
  k[KEY_RECORDTYPE] = {Key_Kind::word, OPENW_RECORDTYPE};
  k[KEY_NOSHARED] = {Key_Kind::number, OPENW_NOSHARED};
  k[KEY_SHARED] = {Key_Kind::number, OPENW_SHARED};
  k[KEY_STATUS] = {Key_Kind::word, OPENW_STATUS};
  k[KEY_UNREAD54] = {Key_Kind::unread, OPENW_UNREAD23};
  k[KEY_UNREAD55] = {Key_Kind::unread, OPENW_UNREAD24};
  k[KEY_UNREAD56] = {Key_Kind::unread, OPENW_UNREAD25};
  k[KEY_USEROPEN] = {Key_Kind::routine, OPENW_USEROPEN};
  k[KEY_ACTION] = {Key_Kind::word, OPENW_ACTION};
  k[KEY_DELIM] = {Key_Kind::word, OPENW_DELIM};
  k[KEY_PAD] = {Key_Kind::word, OPENW_PAD};
  k[KEY_POSITION] = {Key_Kind::word, OPENW_POSITION};
  k[KEY_UNREAD66] = {Key_Kind::unread, OPENW_UNREAD33};
  k[KEY_MODE] = {Key_Kind::word, OPENW_MODE};
  k[KEY_SHARE] = {Key_Kind::word, OPENW_SHARE};
  k[KEY_UNREAD69] = {Key_Kind::unread, OPENW_UNREAD37};
  k[KEY_BUFFERED] = {Key_Kind::word, OPENW_BUFFERED};
  k[KEY_ASYNCHRONOUS] = {Key_Kind::word, OPENW_ASYNCHRONOUS};
  k[KEY_IOMSG] = {Key_Kind::text, OPENW_IOMSG};
  k[KEY_ROUND] = {Key_Kind::word, OPENW_ROUND};
  k[KEY_DECIMAL] = {Key_Kind::word, OPENW_DECIMAL};
  k[KEY_SIGN] = {Key_Kind::word, OPENW_SIGN};
  k[KEY_ENCODING] = {Key_Kind::word, OPENW_ENCODING};
  k[KEY_NEWUNIT] = {Key_Kind::variable, OPENW_NEWUNIT};
  return t;
}();

/// The number of a word of the key's table.
int word_of(const Keyword& k, int context, u64* number) {
  if (!k.is_text()) return number_of(k, number);
  i64 value = 0;
  if (const int status = for__open_key(k.text(), static_cast<int>(k.value.val_total), k.key, &value, context)) {
    return status;
  }
  *number = static_cast<u64>(value);
  return 0;
}

int store_open_keyword(const Keyword& k, u64* words) {
  const Key_Rule rule = k.key >= KEY_FIRST && k.key <= KEY_LAST ? kOpenKeys.by_key[k.key] : Key_Rule{};
  u64* const word = words + rule.word;
  switch (rule.kind) {
    case Key_Kind::unknown:
      return MSG_INVALID_ARGUMENT;
    case Key_Kind::word:
      if (const int status = word_of(k, KEYCTX_OPEN, word)) return status;
      if (k.key == KEY_CONVERT && *word == 0) *word = CONVERT_NATIVE;
      return 0;
    case Key_Kind::number:
      if (k.key == KEY_RECL_BYTES) words[OPENW_RECL_IN_BYTES] = 1;
      return number_of(k, word);
    case Key_Kind::text:
      return text_of(k, word, word + 1);
    case Key_Kind::variable:
      word[0] = reinterpret_cast<u64>(k.value.val_data);
      word[1] = k.value.val_type;
      return 0;
    case Key_Kind::routine:
      if (k.in_line) return number_of(k, word);
      *word = reinterpret_cast<u64>(k.value.val_data);
      return 0;
    case Key_Kind::unread:
      *word = 1;
      return 0;
  }
  return MSG_INVALID_ARGUMENT;
}

int store_close_keyword(const Keyword& k, For_Close_Args& args) {
  if (k.key == KEY_DISPOSE) return word_of(k, KEYCTX_CLOSE, &args.disposition);
  if (k.key != KEY_IOMSG) return MSG_INVALID_ARGUMENT;
  u64 address = 0, length = 0;
  if (const int status = text_of(k, &address, &length)) return status;
  args.iomsg = reinterpret_cast<char*>(address);
  args.iomsg_length = static_cast<i64>(length);
  return 0;
}

}  // namespace

extern "C" int for__open_args(const u8* keys, void* values, For_Open_Args* args) {
  *args = {};
  u64* words = args->word;
  const int status = walk_keywords(&keys, &values, [words](const Keyword& k) { return store_open_keyword(k, words); });
  if (status == 0 || words[OPENW_IOMSG] != 0) return status;
  char* buffer = nullptr;
  i64 length = 0;
  for__find_iomsg(&keys, &values, &buffer, &length);
  words[OPENW_IOMSG] = reinterpret_cast<u64>(buffer);
  words[OPENW_IOMSG_LEN] = static_cast<u64>(length);
  return status;
}

extern "C" int for__close_args(const u8* keys, void* values, For_Close_Args* args) {
  *args = {};
  const int status = walk_keywords(&keys, &values, [args](const Keyword& k) { return store_close_keyword(k, *args); });
  if (status != 0 && args->iomsg == nullptr) for__find_iomsg(&keys, &values, &args->iomsg, &args->iomsg_length);
  return status;
}
