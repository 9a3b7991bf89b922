// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the records of an unformatted file hold, told from its bytes at once and without a buffer, and READ statements
// held against it.
#ifndef TAMRUN_TESTS_STATEMENTS_UNFORMATTED_ORACLE_H
#define TAMRUN_TESTS_STATEMENTS_UNFORMATTED_ORACLE_H

#include <sys/mman.h>

#include <algorithm>
#include <memory>
#include <string>

#include "statements/for_rseq.h"
#include "support/guarded_buffer.h"
#include "tamrun/item_list.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

/// The record at an offset. `code` 0: a READ that wants no more than `data` goes well and stands at `end`; otherwise the
/// record is broken behind `data`, and a READ of it fails with `code`.
struct Unf_Record {
  std::string data;
  i64 end = 0;
  int code = 0;
  int too_long = MSG_INPUT_TOO_MUCH_DATA;  ///< of a list that wants more
  bool data_whole = false;                 ///< only the trailing word is broken: a list too long may be found first
};

class Unf_Oracle {
 public:
  Unf_Oracle(const std::string& file, bool big_endian) : file_(file), big_endian_(big_endian) {}

  Unf_Record variable(i64 at) const {
    Unf_Record record;
    for (bool first = true, more = true; more; first = false) {
      if (left(at) < 4) return fail(record, first || left(at) == 0 ? int{MSG_END_OF_FILE} : int{MSG_READ_ERROR});
      const i64 length = word(at);
      const i64 bytes = length < 0 ? -length : length;
      more = length < 0;
      at += 4;
      record.data += file_.substr(at, std::min(bytes, left(at)));
      record.data_whole = !more && left(at) >= bytes;
      if (left(at) < bytes + 4) return fail(record, MSG_READ_ERROR);
      at += bytes + 4;
      if (first && !more && record.data == "\x1a") return fail(record, MSG_END_OF_FILE);
    }
    record.end = at;
    return record;
  }

  Unf_Record segmented(i64 at) const {
    Unf_Record record;
    for (bool first = true;; first = false) {
      if (left(at) < 2) return fail(record, MSG_END_OF_FILE);
      const i64 count = byte(at) + 256 * byte(at + 1);
      at += 2;
      if (count == 1 && left(at) > 0 && byte(at) == 26) return fail(record, MSG_END_OF_FILE);
      if (left(at) < count + count % 2) return fail(record, MSG_READ_ERROR);
      const i64 control = count >= 2 ? byte(at) + 256 * byte(at + 1) : -1;
      if ((control & ~2) != (first ? 1 : 0)) return fail(record, MSG_SEGMENTED_FORMAT);
      record.data += file_.substr(at + 2, count - 2);
      at += count + count % 2;
      if (control & 2) break;
    }
    record.end = at;
    return record;
  }

  Unf_Record length_bytes(i64 at) const {
    Unf_Record record;
    record.too_long = MSG_TOO_MANY_BYTES_READ_FROM;
    if (left(at) == 0) return fail(record, MSG_END_OF_FILE);
    if (at == 0 && byte(at++) != 'K') return fail(record, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE);
    for (;;) {
      if (left(at) == 0) return fail(record, MSG_END_OF_FILE);
      const i64 head = byte(at++);
      if (head == 130) return fail(record, MSG_END_OF_FILE_ENCOUNTERED);
      if (head > 130) return fail(record, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE);
      const i64 bytes = std::min<i64>(head, 128);
      record.data += file_.substr(at, std::min(bytes, left(at)));
      if (left(at) <= bytes) return fail(record, MSG_END_OF_FILE);
      at += bytes;
      if (byte(at++) != head) return fail(record, MSG_ILLEGAL_STRUCTURE_UNFORMATTED_FILE);
      if (head != 129) break;
    }
    record.end = at;
    return record;
  }

  Unf_Record fixed(i64 at, i64 recl) const {
    Unf_Record record;
    if (left(at) < recl) return fail(record, left(at) == 0 ? int{MSG_END_OF_FILE} : int{MSG_READ_ERROR});
    record.data = file_.substr(at, recl);
    record.end = at + recl;
    return record;
  }

  Unf_Record stream(i64 at, i64 wanted) const {
    Unf_Record record;
    record.data = file_.substr(at);
    record.end = at + wanted;
    record.too_long = MSG_END_OF_FILE;
    if (record.data.empty()) record.code = MSG_END_OF_FILE;
    return record;
  }

 private:
  i64 left(i64 at) const { return static_cast<i64>(file_.size()) - at; }
  i64 byte(i64 at) const { return static_cast<unsigned char>(file_[at]); }
  i64 word(i64 at) const {
    u32 value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<u32>(byte(at + i)) << 8 * (big_endian_ ? 3 - i : i);
    return static_cast<i32>(value);
  }
  static Unf_Record fail(Unf_Record record, int code) {
    record.code = code;
    return record;
  }

  const std::string& file_;
  bool big_endian_;
};

/// READ statements of chosen lengths on a file of a layout: each gets the data or the number that the oracle tells, the
/// guard behind the buffer stays whole, and the buffer does not grow by what the file promises.
class Unf_Reads {
 public:
  static constexpr int kStatements = 6, kUnit = 77;  ///< connected by nobody else
  static constexpr i64 kLeastBuffer = 16;
  enum Layout : u8 { kVariable, kSegmented, kLengthBytes, kFixed, kStream, kLayouts };

  struct Choice {
    u8 layout, buffer, fixed, flags;
    u8 wanted[kStatements];
  };

  /// What went wrong; null: nothing did.
  static const char* check(Choice choice, const std::string& file) {
    choice.layout %= kLayouts;
    return Unf_Reads(choice, file).run();
  }

 private:
  Unf_Reads(const Choice& choice, const std::string& file)
      : choice_(choice), file_(file), recl_(1 + choice.fixed % kLeastBuffer), oracle_(file_, choice.flags & 1) {}

  /// Connects the unit for the file: the LUB stays in its table.
  const char* connect() {
    static const int fd = memfd_create("reads", 0);
    if (!fill_file(fd, file_)) return "no file";
    constexpr u8 kTypes[] = {RECTYPE_VARIABLE, RECTYPE_SEGMENTED, RECTYPE_STREAM, RECTYPE_FIXED, RECTYPE_STREAM};
    if (for__acquire_lun(kUnit, &lub_, nullptr, STMT_OPEN) != 0) return "the unit is held";
    For_Lub& lub = *lub_;
    lub.lub_fd = fd;
    lub.lub_rectype = kTypes[choice_.layout];
    lub.lub_stream_kind = choice_.layout == kLengthBytes ? STREAM_MS_UNF_SEQUENTIAL : STREAM_UNF_SEQUENTIAL;
    lub.lub_next_rec = 1;
    lub.lub_rec_bytes = recl_;
    lub.lub_f_connected = lub.lub_f_unformatted = 1;
    lub.lub_f_stream = choice_.layout == kStream;
    lub.lub_f_sequential = !lub.lub_f_stream;
    lub.lub_f_big_endian_words = choice_.flags & 1;
    lub.lub_f_seekable = (choice_.flags & 2) == 0;
    lub.lub_f_threshold_set = (choice_.flags & 4) != 0;
    lub.lub_f_user_buffered = (choice_.flags & 8) != 0;
    lub.lub_buffer_threshold = 1 + choice_.fixed;
    lub.lub_f_check_file_mark = choice_.layout == kLengthBytes;
    lub.lub_f_at_eof = lub.lub_f_read_ahead = 0;
    lub.lub_file_pos = lub.lub_disk_pos = lub.lub_rec_buffered = lub.lub_read_ahead = 0;
    lub.lub_a_read_next = lub.lub_a_rec_start = nullptr;
    if (!give_guarded_buffer(lub, kLeastBuffer + choice_.buffer)) return "no memory";
    return for__release_lun(kUnit) == 0 ? nullptr : "not released";
  }

  Unf_Record record_at(i64 at, i64 wanted) const {
    switch (choice_.layout) {
      case kVariable:
        return oracle_.variable(at);
      case kSegmented:
        return oracle_.segmented(at);
      case kLengthBytes:
        return oracle_.length_bytes(at);
      case kFixed:
        return oracle_.fixed(at, recl_);
      default:
        return oracle_.stream(at, wanted);
    }
  }

  /// One READ of a text of `wanted` bytes, or of its bytes one by one from its end: a section whose values do not lie
  /// side by side.
  static int read_text(char* text, i64 wanted, bool by_bytes) {
    For_Context context{};
    const u8 scalar[] = {ITM_CHARACTER, ACC_SCALAR, ITM_END_STATEMENT, 0};
    const u8 section[] = {ITM_INTEGER1, ACC_SECTION, ITM_END_STATEMENT, 0};
    const u8 nothing[] = {ITM_END_STATEMENT, 0};
    const u64 address = reinterpret_cast<u64>(text);
    u64 scalar_words[] = {static_cast<u64>(wanted), address};
    u64 section_words[] = {1, address + wanted - 1, 1, static_cast<u64>(wanted), ~u64{0}};
    const For_IO_Flags flags = iof_extended | iof_iostat;
    if (wanted == 0) return for_read_seq(&context, kUnit, flags, nothing, scalar_words);
    if (!by_bytes) return for_read_seq(&context, kUnit, flags, scalar, scalar_words);
    const int code = for_read_seq(&context, kUnit, flags, section, section_words);
    std::reverse(text, text + wanted);
    return code;
  }

  static int told(int code) {
    return code == MSG_END_OF_FILE || code == MSG_END_OF_FILE_ENCOUNTERED ? FOR_IOS_END : code;
  }

  const char* run() {
    if (const char* wrong = connect()) return wrong;
    const char* wrong = read_all();
    if (lub_->lub_buffer_size > kLeastBuffer + choice_.buffer + 2 * static_cast<i64>(file_.size()))
      wrong = "buffer too large";
    if (!guard_is_whole(*lub_)) wrong = "written behind the buffer";
    for__free_vm(lub_->lub_a_buffer);
    lub_->lub_a_buffer = nullptr;
    return wrong;
  }

  const char* read_all() {
    i64 at = 0;
    for (int i = 0; i < kStatements; ++i) {
      const i64 wanted = choice_.wanted[i];
      const Unf_Record record = record_at(at, wanted);
      const std::unique_ptr<char[]> text(new char[wanted + 1]());
      const int code = read_text(text.get(), wanted, choice_.flags >> i % 4 & 16);
      const bool fits = wanted <= static_cast<i64>(record.data.size());
      const bool found_first = !fits && record.data_whole && code == record.too_long;
      if (!found_first && code != told(record.code != 0 ? record.code : fits ? 0 : record.too_long)) return "result";
      if (code == 0 && memcmp(text.get(), record.data.data(), wanted) != 0) return "data";
      if (code == 0 && lub_->lub_file_pos != record.end) return "position";
      // Behind a list that was too long the next record follows; behind any other failure nothing is promised.
      if (code != 0 && (record.code != 0 || lub_->lub_f_stream || choice_.layout == kLengthBytes)) break;
      at = record.end;
    }
    return nullptr;
  }

  Choice choice_;
  const std::string& file_;
  i64 recl_;
  Unf_Oracle oracle_;
  For_Lub* lub_ = nullptr;
};

#endif
