// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The table of files, by name, that joins all units on one file.

#include "units/file_info_table.h"

#include "core/heap.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"
#include "units/lub_lock.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern "C" {
For_File_Info_Row for__file_info_hash_table[kFileInfoRows];
}

namespace {

struct File_Key {
  const char* text;
  size_t length;
};

constexpr char kProcPrefix[] = "/proc/";
constexpr size_t kProcPrefixLength = sizeof kProcPrefix - 1;

/// Images of a coarray program name one console differently: the last characters are the image's own.
constexpr size_t kLongestConsoleName = 21;
constexpr size_t kImageSuffix = 2;

File_Key key_of(const For_Lub& lub) {
  File_Key key = {lub.lub_a_file_name, strlen(lub.lub_a_file_name)};
  const bool coarray = for_rtl_PGAS_THIS_IMAGE != nullptr && for_rtl_PGAS_THIS_IMAGE() > 0;
  if (!coarray || key.length > kLongestConsoleName || key.length < kImageSuffix) return key;
  const bool output = lub.lub_fd == STDOUT_FILENO || lub.lub_fd == STDERR_FILENO;
  const bool piped_input = lub.lub_fd == STDIN_FILENO && strncmp(key.text, kProcPrefix, kProcPrefixLength) == 0;
  if (output || piped_input) key.length -= kImageSuffix;
  return key;
}

/// `count` bytes at most 8, the rest zero, first byte lowest.
u64 load_bytes(const char* text, size_t count) {
  u64 value = 0;
  memcpy(&value, text, count);
  return value;
}

/// strcmp order of a key and a record's name.
int compare(const File_Key& key, const char* name) {
  const int order = strncmp(key.text, name, key.length);
  return order != 0 ? order : -(name[key.length] != '\0');
}

For_File_Info* make_record(const File_Key& key, int row) {
  Vm_Block<For_File_Info> record;
  Vm_Block<char> name;
  if (record.allocate(sizeof(For_File_Info)) != 0) return nullptr;
  if (name.allocate(static_cast<i64>(key.length) + 1) != 0) return nullptr;
  memcpy(name.get(), key.text, key.length);
  name.get()[key.length] = '\0';
  *record.get() = {};
  record.get()->fi_name = name.release();
  record.get()->fi_row = row;
  return record.release();
}

void unlink(For_File_Info_Row& row, For_File_Info* record) {
  (record->fi_prev != nullptr ? record->fi_prev->fi_next : row.row_head) = record->fi_next;
  if (record->fi_next != nullptr) record->fi_next->fi_prev = record->fi_prev;
}

}  // namespace

int file_info_row(const char* key, size_t length) {
  constexpr size_t kWord = sizeof(u64), kTwoWords = 2 * kWord, kThreeWords = 3 * kWord;
  u64 x;
  if (length > kTwoWords) {
    const size_t first = (length < kThreeWords ? length : kThreeWords) - kTwoWords;
    x = load_bytes(key + first, kWord) ^ load_bytes(key + length - kWord, kWord);
  } else if (length > kWord) {
    x = load_bytes(key, kWord) ^ load_bytes(key + length - kWord, kWord);
  } else {
    x = load_bytes(key, length);
  }
  const i32 h = static_cast<i32>(static_cast<u32>(x) ^ static_cast<u32>(x >> 32));
  return abs(h % kFileInfoRows);
}

extern "C" int for__add_to_lf_table(For_Lub* lub) {
  const File_Key key = key_of(*lub);
  const int index = file_info_row(key.text, key.length);
  For_File_Info_Row& row = for__file_info_hash_table[index];
  Held_File_Row held(row);
  if (held.status() != 0) return held.status();

  For_File_Info* previous = nullptr;
  For_File_Info* record = row.row_head;
  int order = 1;
  while (record != nullptr && (order = compare(key, record->fi_name)) > 0) {
    previous = record;
    record = record->fi_next;
  }
  if (record == nullptr || order != 0) {
    For_File_Info* next = record;
    record = make_record(key, index);
    if (record == nullptr) return MSG_NO_MEMORY;
    record->fi_prev = previous;
    record->fi_next = next;
    (previous != nullptr ? previous->fi_next : row.row_head) = record;
    if (next != nullptr) next->fi_prev = record;
  }
  ++record->fi_references;
  lub->lub_a_file_info = record;
  return 0;
}

extern "C" int for__rm_from_lf_table(For_Lub* lub) {
  For_File_Info* record = lub->lub_a_file_info;
  if (record == nullptr) return 0;
  For_File_Info_Row& row = for__file_info_hash_table[record->fi_row];
  {
    Held_File_Row held(row);
    if (held.status() != 0) return held.status();
    lub->lub_a_file_info = nullptr;
    // The LUB may be freed next: nothing of it stays behind.
    if (record->saved_lub == lub) {
      record->saved_lub = nullptr;
      record->fi_record_open = 0;
    }
    if (record->fi_cc_owner == lub) record->fi_cc_owner = nullptr;
    if (--record->fi_references > 0) return 0;
    unlink(row, record);
  }
  for__free_vm(record->fi_name);
  for__free_vm(record);
  return 0;
}
