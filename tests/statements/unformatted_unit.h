// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit in memory for unformatted statements, and the bytes that its file is to have.
#ifndef TAMRUN_TESTS_STATEMENTS_UNFORMATTED_UNIT_H
#define TAMRUN_TESTS_STATEMENTS_UNFORMATTED_UNIT_H

#include <algorithm>
#include <string>

#include "memory_unit.h"
#include "records/buffer.h"
#include "records/for_put_unf.h"
#include "tamrun/messages.h"

/// A layout of the file under test.
enum class Layout : u8 { variable, variable_big_endian, segmented, fixed, stream, length_bytes, binary };

/// The connection that OPEN would make, with a buffer of a chosen size.
inline Connection layout_connection(Layout layout, i64 buffer_size = 8192, i64 recl = 0) {
  constexpr u8 kRectypes[] = {RECTYPE_VARIABLE, RECTYPE_VARIABLE, RECTYPE_SEGMENTED, RECTYPE_FIXED,
                              RECTYPE_STREAM,   RECTYPE_STREAM,   RECTYPE_STREAM};
  Connection c = {.rectype = kRectypes[static_cast<int>(layout)], .cc = CC_NONE, .recl = recl};
  c.stream_kind = layout == Layout::length_bytes ? STREAM_MS_UNF_SEQUENTIAL
                  : layout == Layout::binary     ? STREAM_BIN_SEQUENTIAL
                                                 : STREAM_UNF_SEQUENTIAL;
  c.buffer_size = buffer_size;
  c.formatted = false;
  c.stream = layout == Layout::stream;
  c.big_endian = layout == Layout::variable_big_endian;
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
  const u32 bits = static_cast<u32>(value);
  return bytes_of(big_endian ? __builtin_bswap32(bits) : bits);
}

/// The file that holds one record in a layout, told without the library. `limit`: data bytes of a subrecord, or bytes
/// of a segment.
inline std::string encode(Layout layout, const std::string& data, i64 limit, i64 recl) {
  const i64 size = static_cast<i64>(data.size());
  if (layout == Layout::stream || layout == Layout::binary) return data;
  if (layout == Layout::fixed) return data + std::string(recl - size, '\0');
  if (layout == Layout::length_bytes) limit = 128;
  const bool big = layout == Layout::variable_big_endian;
  std::string file;
  for (i64 at = 0;;) {
    const i64 piece = std::min(limit, size - at);
    const bool first = at == 0, last = at + piece == size;
    const std::string part = data.substr(at, piece);
    at += piece;
    if (layout == Layout::length_bytes) {
      const char byte = static_cast<char>(last ? piece : 129);
      file += byte + part + byte;
    } else if (layout == Layout::segmented) {
      const i64 count = piece + 2;
      file += {static_cast<char>(count), static_cast<char>(count >> 8), static_cast<char>(first + 2 * last), 0};
      file += part + std::string(count % 2, '\0');
    } else {
      file += word(last ? piece : -piece, big) + part + word(first ? piece : -piece, big);
    }
    if (last) return file;
  }
}

class Unf_Unit : public Memory_Unit {
 public:
  explicit Unf_Unit(const Connection& c, const std::string& file = "", int unit = 41) : Memory_Unit(c, file, unit) {
    lub().lub_f_check_file_mark = c.stream_kind == STREAM_MS_UNF_SEQUENTIAL;
    if (c.rectype == RECTYPE_SEGMENTED) lub().lub_rec_bytes = c.recl != 0 ? c.recl : 2048;
  }

  int write_bytes(const std::string& data) { return write(ItemList().text(data)); }
  /// Reads one text of a length; `code` gets what the statement returned.
  std::string read_bytes(i64 length, int* code = nullptr, const ControlList& control = {}) {
    std::string data(length, '?');
    const int result = read(ItemList().scalar(ITM_CHARACTER, data.data(), length), kIostat, control);
    if (code != nullptr) *code = result;
    return data;
  }
  /// Back to the start of the file, as a new connection.
  void rewind() {
    flush();
    EXPECT_EQ(for__flush_readahead(&lub(), 0), 0);
    EXPECT_EQ(lseek(fd(), 0, SEEK_SET), 0);
    lub().lub_file_pos = lub().lub_disk_pos = lub().lub_rec_buffered = 0;
    lub().lub_f_check_file_mark = lub().lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL;
  }
  void flush() {
    EXPECT_EQ(for__finish_ufseq_write(&lub()), 0);
    (void)for__write_output(&lub(), nullptr, 0);
  }
  std::string file() {
    flush();
    return contents(fd());
  }
};

#endif
