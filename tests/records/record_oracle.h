// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What records a file holds, told from its bytes at once and without a buffer: the measure for record input.
#ifndef TAMRUN_TESTS_RECORDS_RECORD_ORACLE_H
#define TAMRUN_TESTS_RECORDS_RECORD_ORACLE_H

#include <string>
#include <vector>

#include "tamrun/lub.h"
#include "tamrun/messages.h"

struct Oracle_Record {
  std::string data;
  i64 end;  ///< offset behind the record and its control bytes
};

struct Oracle {
  std::vector<Oracle_Record> records;
  int code = MSG_END_OF_FILE;  ///< what comes after the last of them
  i64 end = 0;                 ///< where the file stands then
};

/// The counted types: `word` takes a length from the bytes at an offset, `lead` and `trail` count control bytes.
template <class Word>
Oracle oracle_counted(const std::string& file, i64 lead, i64 trail, bool pads, Word word) {
  Oracle all;
  const i64 size = static_cast<i64>(file.size());
  while (size - all.end >= lead && all.end < size) {
    const i64 length = word(all.end);
    if (pads && length == 1 && all.end + lead < size && file[all.end + lead] == 26) return all;
    const i64 whole = lead + length + trail + (pads ? length % 2 : 0);
    if (whole > size - all.end) {
      all.code = MSG_READ_ERROR;
      return all;
    }
    const std::string data = file.substr(all.end + lead, length);
    all.end += whole;
    if (!pads && data == "\x1a") return all;
    all.records.push_back({data, all.end});
  }
  return all;
}

inline Oracle oracle_lines(const std::string& file, char terminator, bool drops_cr) {
  Oracle all;
  while (all.end < static_cast<i64>(file.size())) {
    const size_t at = file.find(terminator, all.end);
    std::string line = file.substr(all.end, at == std::string::npos ? at : at - all.end);
    all.end = at == std::string::npos ? file.size() : at + 1;
    if (drops_cr && !line.empty() && line.back() == '\r') line.pop_back();
    if (line == "\x1a") return all;
    all.records.push_back({line, all.end});
  }
  return all;
}

/// All records of a formatted connection, STREAM excepted; `fixed` is the length of FIXED records.
inline Oracle oracle(const std::string& file, u8 type, i64 fixed, bool big_endian) {
  const auto byte = [&](i64 at) { return static_cast<i64>(static_cast<unsigned char>(file[at])); };
  const auto word = [&](i64 at) {
    i64 value = 0;
    for (int i = 0; i < 4; i++) value = value * 256 + byte(at + (big_endian ? i : 3 - i));
    return value < (1ll << 31) ? value : (1ll << 32) - value;
  };
  switch (type) {
    case RECTYPE_FIXED:
      return oracle_counted(file, 0, 0, false, [&](i64) { return fixed; });
    case RECTYPE_VARIABLE:
    case RECTYPE_VARIABLE_KEYWORD:
      return oracle_counted(file, 4, 4, false, word);
    case RECTYPE_SEGMENTED:
      return oracle_counted(file, 2, 0, true, [&](i64 at) { return byte(at) + 256 * byte(at + 1); });
    case RECTYPE_STREAM_CR:
      return oracle_lines(file, '\r', false);
    default:
      return oracle_lines(file, '\n', true);
  }
}

#endif
