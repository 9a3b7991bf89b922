// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the records of an unformatted file hold, told from its bytes at once and without a buffer.
#ifndef TAMRUN_TESTS_STATEMENTS_UNFORMATTED_ORACLE_H
#define TAMRUN_TESTS_STATEMENTS_UNFORMATTED_ORACLE_H

#include <algorithm>
#include <string>

#include "tamrun/lub.h"
#include "tamrun/messages.h"

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

#endif
