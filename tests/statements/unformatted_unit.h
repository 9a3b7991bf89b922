// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit that unformatted statements write and read, and the bytes that its file is to have.
#ifndef TAMRUN_TESTS_STATEMENTS_UNFORMATTED_UNIT_H
#define TAMRUN_TESTS_STATEMENTS_UNFORMATTED_UNIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>

#include "records/buffer.h"
#include "records/for_put_unf.h"
#include "statements/for_rseq.h"
#include "statements/for_wseq.h"
#include "support/item_list.h"
#include "support/unit.h"
#include "tamrun/messages.h"

using Build = std::function<void(ItemList&)>;

/// A layout of the file under test.
enum class Layout : u8 { variable, variable_big_endian, segmented, fixed, stream, length_bytes, binary };

/// The connection that OPEN would make, with a buffer of a chosen size.
inline Connection layout_connection(Layout layout, i64 buffer_size = 8192, i64 recl = 0) {
  Connection c;
  c.formatted = false;
  c.cc = CC_NONE;
  c.stream_kind = STREAM_UNF_SEQUENTIAL;
  c.rectype = RECTYPE_VARIABLE;
  c.buffer_size = buffer_size;
  c.recl = recl;
  switch (layout) {
    case Layout::variable_big_endian:
      c.big_endian = true;
      break;
    case Layout::segmented:
      c.rectype = RECTYPE_SEGMENTED;
      break;
    case Layout::fixed:
      c.rectype = RECTYPE_FIXED;
      break;
    case Layout::stream:
      c.rectype = RECTYPE_STREAM;
      c.stream = true;
      break;
    case Layout::length_bytes:
      c.rectype = RECTYPE_STREAM;
      c.stream_kind = STREAM_MS_UNF_SEQUENTIAL;
      break;
    case Layout::binary:
      c.rectype = RECTYPE_STREAM;
      c.stream_kind = STREAM_BIN_SEQUENTIAL;
      break;
    default:
      break;
  }
  return c;
}

/// Lowers the limit of a subrecord while in scope.
class Subrecord_Limit {
 public:
  explicit Subrecord_Limit(i64 bytes) { subrecord_limit = bytes; }
  ~Subrecord_Limit() { subrecord_limit = kMostSubrecord; }
  Subrecord_Limit(const Subrecord_Limit&) = delete;
  Subrecord_Limit& operator=(const Subrecord_Limit&) = delete;
};

inline std::string word(i64 value, bool big_endian = false) {
  u32 bits = static_cast<u32>(value);
  if (big_endian) bits = __builtin_bswap32(bits);
  return std::string(reinterpret_cast<const char*>(&bits), sizeof bits);
}

/// The file that holds one record in a layout, told without the library. `limit`: data bytes of a subrecord, or bytes
/// of a segment.
inline std::string encode(Layout layout, const std::string& data, i64 limit, i64 recl) {
  const i64 size = static_cast<i64>(data.size());
  std::string file;
  switch (layout) {
    case Layout::variable:
    case Layout::variable_big_endian:
      for (i64 at = 0; at == 0 || at < size;) {
        const i64 piece = std::min(limit, size - at);
        const bool more = at + piece < size, big = layout == Layout::variable_big_endian;
        file += word(more ? -piece : piece, big) + data.substr(at, piece) + word(at > 0 ? -piece : piece, big);
        at += piece;
        if (piece == 0) break;
      }
      return file;
    case Layout::segmented:
      for (i64 at = 0;;) {
        const i64 piece = std::min(limit, size - at);
        const i64 count = piece + 2;
        const int control = (at == 0 ? 1 : 0) | (at + piece == size ? 2 : 0);
        file += {static_cast<char>(count), static_cast<char>(count >> 8), static_cast<char>(control), 0};
        file += data.substr(at, piece) + std::string(count % 2, '\0');
        at += piece;
        if (at == size) return file;
      }
    case Layout::fixed:
      return data + std::string(recl - size, '\0');
    case Layout::length_bytes:
      for (i64 at = 0;;) {
        const i64 piece = std::min<i64>(128, size - at);
        const char byte = static_cast<char>(at + piece < size ? 129 : piece);
        file += byte + data.substr(at, piece) + byte;
        at += piece;
        if (at == size) return file;
      }
    default:
      return data;
  }
}

class Unf_Unit {
 public:
  explicit Unf_Unit(const Connection& c, const std::string& file = "", int unit = 41)
      : fd_(with_content(file)), unit_(unit, fd_, c) {
    lub().lub_f_check_file_mark = c.stream_kind == STREAM_MS_UNF_SEQUENTIAL;
    if (c.rectype == RECTYPE_SEGMENTED) lub().lub_rec_bytes = c.recl != 0 ? c.recl : 2048;
  }

  int write(const Build& build, ControlList* control = nullptr) { return call(for_write_seq, build, control); }
  int read(const Build& build, ControlList* control = nullptr) { return call(for_read_seq, build, control); }
  int write_bytes(const std::string& data) {
    return write([&](ItemList& l) { l.text(data); });
  }
  /// Reads one text of a length; `code` gets what the statement returned.
  std::string read_bytes(i64 length, int* code = nullptr) {
    std::string data(length, '?');
    const int result = read([&](ItemList& l) { l.scalar(ITM_CHARACTER, data.data(), length); });
    if (code != nullptr) *code = result;
    return data;
  }
  /// Back to the start of the file, as a new connection.
  void rewind() {
    flush();
    EXPECT_EQ(for__flush_readahead(&lub(), 0), 0);
    EXPECT_EQ(lseek(fd_, 0, SEEK_SET), 0);
    lub().lub_file_pos = lub().lub_disk_pos = lub().lub_rec_buffered = 0;
    lub().lub_f_check_file_mark = lub().lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL;
  }
  void flush() {
    EXPECT_EQ(for__finish_ufseq_write(&lub()), 0);
    (void)for__write_output(&lub(), nullptr, 0);
  }
  std::string file() {
    flush();
    return contents(fd_);
  }
  For_Lub& lub() { return unit_.lub(); }
  int fd() const { return fd_; }
  int number() const { return unit_.number(); }
  For_Context& context() { return ctx_; }

 private:
  static int with_content(const std::string& file) {
    const int fd = memory_file();
    EXPECT_EQ(pwrite(fd, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    return fd;
  }
  template <class Entry>
  int call(Entry entry, const Build& build, ControlList* control) {
    ItemList items;
    build(items);
    items.end();
    const For_IO_Flags flags = iof_iostat | iof_extended | iof_f90_rtl;
    if (control == nullptr) return entry(&ctx_, number(), flags, items.list(), items.args());
    return entry(&ctx_, number(), flags | iof_control_list, items.list(), items.args(), control->list(),
                 control->args());
  }

  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
};

#endif
