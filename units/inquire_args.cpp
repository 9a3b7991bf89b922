// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The keyword list of INQUIRE.

#include "units/inquire.h"
#include "units/keyword_list.h"
#include "units/program_variable.h"

#include <iterator>

namespace {

int store_text(const Keyword& k, Inquire_Text& to) {
  u64 address = 0, length = 0;
  if (const int status = text_of(k, &address, &length)) return status;
  // Text of no bytes may stand nowhere, and is given all the same.
  to = {address != 0 ? reinterpret_cast<const char*>(address) : "", static_cast<i64>(length)};
  return 0;
}

int store_iomsg(const Keyword& k, For_Inquire_Args& args) {
  Inquire_Text buffer = {};
  if (const int status = store_text(k, buffer)) return status;
  args.iomsg = const_cast<char*>(buffer.text);
  args.iomsg_length = buffer.length;
  return 0;
}

int store_id(const Keyword& k, For_Inquire_Args& args) {
  u64 id = 0;
  if (!is_integer_item(k.value.val_type)) return MSG_INVALID_ARGUMENT;
  if (const int status = number_of(k, &id)) return status;
  args.id = static_cast<i64>(id);
  args.id_given = true;
  return 0;
}

int store_variable(const Keyword& k, For_Inquire_Args& args) {
  if (!inquire_has_answer(k.key)) return MSG_INVALID_ARGUMENT;
  const bool text = inquire_answer_is_text(k.key);
  if (text ? !k.is_text() : !is_integer_item(k.value.val_type)) return MSG_INVALID_ARGUMENT;
  const bool empty_text = text && k.value.val_total <= 0;
  if (k.value.val_data == nullptr && !empty_text) return MSG_INVALID_ARGUMENT;
  if (args.count == std::ssize(args.variable)) return MSG_INVALID_ARGUMENT;
  args.variable[args.count++] = {static_cast<u8>(k.key), static_cast<u8>(k.value.val_type),
                                 empty_text ? 0 : k.value.val_total, k.value.val_data};
  return 0;
}

int store_keyword(const Keyword& k, For_Inquire_Args& args) {
  switch (k.key) {
    case KEY_FILE:
      return store_text(k, args.file);
    case KEY_DEFAULTFILE:
      return store_text(k, args.default_file);
    case KEY_DIRECTORY:
      return store_text(k, args.directory);
    case KEY_IOMSG:
      return store_iomsg(k, args);
    case KEY_ID:
      return store_id(k, args);
    default:
      return store_variable(k, args);
  }
}

}  // namespace

extern "C" int for__inquire_args(const u8* keys, void* values, For_Inquire_Args* args, int* exist_only) {
  args->file = args->default_file = args->directory = {};
  args->iomsg = nullptr;
  args->iomsg_length = 0;
  args->id_given = false;
  args->count = 0;
  *exist_only = 1;
  return walk_keywords(&keys, &values, [args, exist_only](const Keyword& k) {
    const bool by_name = k.key == KEY_FILE || k.key == KEY_DEFAULTFILE || k.key == KEY_EXIST ||
                         k.key == KEY_DIRECTORY || k.key == KEY_FULL_PATH;
    if (!by_name) *exist_only = 0;
    return store_keyword(k, *args);
  });
}
