// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a file of any unformatted layout, read by READ statements of chosen lengths: each gets the data or the
// number that the file's bytes tell, the guard behind the buffer stays whole, and the buffer does not grow by what the
// file promises.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "core/heap.h"
#include "statements/for_rseq.h"
#include "statements/unformatted_oracle.h"
#include "tamrun/hooks.h"
#include "tamrun/item_list.h"

namespace {

constexpr int kUnit = 40;
constexpr i64 kLeastBuffer = 16;
constexpr int kStatements = 6;

void require(bool condition) {
  if (!condition) abort();
}

enum Layout : u8 { kVariable, kSegmented, kLengthBytes, kFixed, kStream, kLayouts };

struct Choice {
  u8 layout, buffer, fixed, flags;
  u8 wanted[kStatements];
};

int file_descriptor() {
  static const int fd = memfd_create("fuzz", 0);
  return fd;
}

/// Connects the unit for the input: the LUB stays in its table.
For_Lub& connect(const Choice& choice) {
  constexpr u8 kTypes[] = {RECTYPE_VARIABLE, RECTYPE_SEGMENTED, RECTYPE_STREAM, RECTYPE_FIXED, RECTYPE_STREAM};
  For_Lub* held = nullptr;
  require(for__acquire_lun(kUnit, &held, nullptr, STMT_OPEN) == 0);
  For_Lub& lub = *held;
  lub.lub_fd = file_descriptor();
  lub.lub_rectype = kTypes[choice.layout];
  lub.lub_stream_kind = choice.layout == kLengthBytes ? STREAM_MS_UNF_SEQUENTIAL : STREAM_UNF_SEQUENTIAL;
  lub.lub_next_rec = 1;
  lub.lub_rec_bytes = 1 + choice.fixed % kLeastBuffer;
  lub.lub_f_connected = lub.lub_f_unformatted = 1;
  lub.lub_f_stream = choice.layout == kStream;
  lub.lub_f_sequential = !lub.lub_f_stream;
  lub.lub_f_big_endian_words = choice.flags & 1;
  lub.lub_f_seekable = (choice.flags & 2) == 0;
  lub.lub_f_threshold_set = (choice.flags & 4) != 0;
  lub.lub_f_user_buffered = (choice.flags & 8) != 0;
  lub.lub_buffer_threshold = 1 + choice.fixed;
  lub.lub_f_check_file_mark = choice.layout == kLengthBytes;
  lub.lub_f_at_eof = 0;
  lub.lub_f_read_ahead = 0;
  lub.lub_file_pos = lub.lub_disk_pos = lub.lub_rec_buffered = lub.lub_read_ahead = 0;
  lub.lub_a_read_next = nullptr;
  lub.lub_a_rec_start = nullptr;
  lub.lub_buffer_size = kLeastBuffer + choice.buffer;
  void* block = nullptr;
  require(for__get_vm(lub.lub_buffer_size + sizeof kBufferGuard, 0, &block) == 0);
  lub.lub_a_buffer = static_cast<u8*>(block);
  memcpy(lub.lub_a_buffer + lub.lub_buffer_size, kBufferGuard, sizeof kBufferGuard);
  lub.lub_a_cursor = lub.lub_a_read_end = lub.lub_a_rec_end = lub.lub_a_buffer;
  require(for__release_lun(kUnit) == 0);
  return lub;
}

Unf_Record record_at(const Unf_Oracle& oracle, const Choice& choice, const std::string& file, i64 at, i64 wanted) {
  switch (choice.layout) {
    case kVariable:
      return oracle.variable(at);
    case kSegmented:
      return oracle.segmented(at);
    case kLengthBytes:
      return oracle.length_bytes(at);
    case kFixed:
      return oracle.fixed(at, 1 + choice.fixed % kLeastBuffer);
    default:
      break;
  }
  Unf_Record record;
  record.data = file.substr(at);
  record.end = at + wanted;
  record.too_long = MSG_END_OF_FILE;
  if (record.data.empty()) record.code = MSG_END_OF_FILE;
  return record;
}

/// One READ of a text of `wanted` bytes, and of bytes one by one behind it.
int read_text(char* text, i64 wanted, bool by_bytes) {
  For_Context context{};
  const u8 scalar[] = {ITM_CHARACTER, ACC_SCALAR, ITM_END_STATEMENT, 0};
  const u8 section[] = {ITM_INTEGER1, ACC_SECTION, ITM_END_STATEMENT, 0};
  const u8 nothing[] = {ITM_END_STATEMENT, 0};
  const u64 address = reinterpret_cast<u64>(text);
  u64 scalar_words[] = {static_cast<u64>(wanted), address};
  // The text from its end: a section whose values do not lie side by side.
  u64 section_words[] = {1, address + wanted - 1, 1, static_cast<u64>(wanted), ~u64{0}};
  const For_IO_Flags flags = iof_extended | iof_iostat;
  if (wanted == 0) return for_read_seq(&context, kUnit, flags, nothing, scalar_words);
  if (!by_bytes) return for_read_seq(&context, kUnit, flags, scalar, scalar_words);
  const int code = for_read_seq(&context, kUnit, flags, section, section_words);
  for (i64 i = 0; i < wanted / 2; ++i) std::swap(text[i], text[wanted - 1 - i]);
  return code;
}

int told(int code) { return code == MSG_END_OF_FILE || code == MSG_END_OF_FILE_ENCOUNTERED ? FOR_IOS_END : code; }

void read_records(const Choice& choice, const std::string& file) {
  const int fd = file_descriptor();
  require(ftruncate(fd, 0) == 0 && pwrite(fd, file.data(), file.size(), 0) == static_cast<ssize_t>(file.size()));
  require(lseek(fd, 0, SEEK_SET) == 0);
  For_Lub& lub = connect(choice);
  const i64 smallest = lub.lub_buffer_size;
  const Unf_Oracle oracle(file, choice.flags & 1);
  i64 at = 0;
  for (int i = 0; i < kStatements; ++i) {
    const i64 wanted = choice.wanted[i];
    const Unf_Record record = record_at(oracle, choice, file, at, wanted);
    const std::unique_ptr<char[]> text(new char[wanted + 1]());
    const int code = read_text(text.get(), wanted, choice.flags >> i % 4 & 16);
    const bool fits = wanted <= static_cast<i64>(record.data.size());
    const bool found_first = !fits && record.data_whole && code == record.too_long;
    require(found_first || code == told(record.code != 0 ? record.code : fits ? 0 : record.too_long));
    if (code == 0) require(memcmp(text.get(), record.data.data(), wanted) == 0 && lub.lub_file_pos == record.end);
    // Behind a list that was too long the next record follows; behind any other failure nothing is promised.
    if (code != 0 && (record.code != 0 || lub.lub_f_stream || choice.layout == kLengthBytes)) break;
    at = record.end;
  }
  require(lub.lub_buffer_size <= smallest + 2 * static_cast<i64>(file.size()));
  require(memcmp(lub.lub_a_buffer + lub.lub_buffer_size, kBufferGuard, sizeof kBufferGuard) == 0);
  for__free_vm(lub.lub_a_buffer);
  lub.lub_a_buffer = nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choice choice;
  if (size < sizeof choice) return 0;
  memcpy(&choice, data, sizeof choice);
  choice.layout %= kLayouts;
  read_records(choice, std::string(reinterpret_cast<const char*>(data) + sizeof choice, size - sizeof choice));
  return 0;
}
