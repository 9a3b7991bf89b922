// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Back over records of every layout, from every state of the buffer, held against where the records of the file begin.

#include "records/step_back.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/for_get_unf.h"
#include "support/soak.h"
#include "support/unit.h"
#include "tamrun/messages.h"

namespace {

/// A file and the offsets at which its records begin; the last is its end.
struct Sample {
  std::string bytes;
  std::vector<i64> starts = {0};
  void end_record() { starts.push_back(static_cast<i64>(bytes.size())); }
};

std::string word(i64 value, int bytes, bool big_endian) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * (big_endian ? bytes - 1 - i : i));
  return text;
}

/// One record of `length` bytes that never hold a line end, in one piece or three.
void append_record(Sample& s, const Connection& c, i64 length, std::mt19937& random) {
  std::string data(length, 'x');
  for (char& byte : data) byte = static_cast<char>('a' + random() % 26);
  std::string& to = s.bytes;
  if (c.rectype == RECTYPE_FIXED) {
    data.resize(c.recl, ' ');
    to += data;
  } else if (c.rectype >= RECTYPE_STREAM_LF) {
    to += data + (c.rectype == RECTYPE_STREAM_LF ? "\n" : c.rectype == RECTYPE_STREAM_CR ? "\r" : "\r\n");
  } else {
    const int pieces = length >= 3 && random() % 4 == 0 ? 3 : 1;
    for (int i = 0; i < pieces; ++i) {
      const size_t from = i * data.size() / pieces, size = (i + 1) * data.size() / pieces - from;
      const std::string piece = data.substr(from, size);
      const bool first = i == 0, last = i + 1 == pieces;
      const i64 n = static_cast<i64>(size);
      if (c.rectype == RECTYPE_VARIABLE) {
        to += word(last ? n : -n, 4, c.big_endian) + piece + word(first ? n : -n, 4, c.big_endian);
      } else {
        to += word(n + 2, 2, false) + word(first | last << 1, 2, false) + piece + std::string(n % 2, '\0');
      }
    }
  }
  s.end_record();
}

Sample make_sample(const Connection& c, std::mt19937& random) {
  Sample s;
  const int records = 3 + static_cast<int>(random() % 60);
  // Lines longer than the buffer are no subject: BACKSPACE refuses them.
  const bool line = c.rectype >= RECTYPE_STREAM_LF;
  for (int i = 0; i < records; ++i) {
    const i64 most = random() % 8 == 0 ? (line ? c.buffer_size - 3 : 3 * c.buffer_size) : 40;
    append_record(s, c, static_cast<i64>(random() % most), random);
  }
  return s;
}

Connection layout(u8 rectype, bool formatted, i64 buffer_size, bool big_endian = false) {
  Connection c;
  c.rectype = rectype;
  c.formatted = formatted;
  c.cc = CC_NONE;
  c.buffer_size = buffer_size;
  c.big_endian = big_endian;
  c.stream_kind = formatted ? STREAM_FMT_SEQUENTIAL : STREAM_UNF_SEQUENTIAL;
  if (rectype == RECTYPE_FIXED) c.recl = 30;
  return c;
}

const Connection kLayouts[] = {
    layout(RECTYPE_FIXED, true, 70),      layout(RECTYPE_FIXED, false, 8192),
    layout(RECTYPE_VARIABLE, false, 64),  layout(RECTYPE_VARIABLE, false, 1000, true),
    layout(RECTYPE_SEGMENTED, false, 64), layout(RECTYPE_SEGMENTED, false, 8192),
    layout(RECTYPE_STREAM_LF, true, 64),  layout(RECTYPE_STREAM_LF, true, 8192),
    layout(RECTYPE_STREAM_CR, true, 64),  layout(RECTYPE_STREAM_CRLF, true, 64),
};

int memory_file_with(const std::string& bytes) {
  const int fd = memory_file();
  EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  return fd;
}

i64 position_of(For_Lub& lub) {
  i64 position = -1;
  EXPECT_EQ(find_position(lub, &position), 0);
  return position;
}

/// Reads one whole record.
int next_record(For_Lub& lub) {
  int code = 0;
  bool last = true;
  do {
    if ((code = for__get_s(&lub, nullptr, nullptr)) != 0) return code;
    if (lub.lub_rectype == RECTYPE_VARIABLE) return for__get_su_fields(&lub, nullptr, 0);
    if (lub.lub_rectype == RECTYPE_SEGMENTED) last = (lub.lub_a_cursor[0] & 2) != 0;
  } while (!last);
  return 0;
}

TEST(StepBack, FindsTheRecordBeforeFromEveryState) {
  std::mt19937 random(20261122);
  for (long round = 0; round < soak_cases(20); ++round) {
    for (const Connection& c : kLayouts) {
      const Sample s = make_sample(c, random);
      Loose_Lub unit(memory_file_with(s.bytes), c);
      For_Lub& lub = unit.lub();
      const int last = static_cast<int>(s.starts.size()) - 1;
      int at = 0;
      for (int step = 0; step < 200; ++step) {
        const unsigned what = random() % 16;
        if (what == 0) {
          ASSERT_EQ(for__flush_readahead(&lub, 0), 0);
        } else if (what == 1) {
          at = static_cast<int>(random() % (last + 1));
          ASSERT_EQ(move_file(lub, s.starts[at]), 0);
        } else if (what < 8) {
          ASSERT_EQ(next_record(lub), at < last ? 0 : int{MSG_END_OF_FILE});
          at = std::min(at + 1, last);
        } else if (at > 1) {  // without two records in front a line has no line end before it
          ASSERT_EQ(step_back(lub), 0) << "type " << int{c.rectype} << ", record " << at;
          --at;
        }
        ASSERT_EQ(position_of(lub), s.starts[at])
            << "type " << int{c.rectype} << ", buffer " << c.buffer_size << ", record " << at << ", did " << what;
      }
      close(lub.lub_fd);
    }
  }
}

TEST(StepBack, CostsReadsByBytesNotByRecords) {
  constexpr int kRecords = 20000, kBytes = 24;
  if (read_calls() < 0) GTEST_SKIP() << "the system does not count";
  for (const u8 rectype : {RECTYPE_VARIABLE, RECTYPE_STREAM_LF, RECTYPE_FIXED}) {
    Connection c = layout(rectype, rectype != RECTYPE_VARIABLE, 8192);
    if (rectype == RECTYPE_FIXED) c.recl = kBytes;
    std::string one(kBytes, 'd'), all;
    if (rectype == RECTYPE_VARIABLE) one = word(kBytes, 4, false) + one + word(kBytes, 4, false);
    if (rectype == RECTYPE_STREAM_LF) one += '\n';
    for (int i = 0; i < kRecords; ++i) all += one;
    Loose_Lub unit(memory_file_with(all), c);
    ASSERT_EQ(move_file(unit.lub(), static_cast<i64>(all.size())), 0);
    const i64 before = read_calls();
    for (int i = 1; i < kRecords; ++i) ASSERT_EQ(step_back(unit.lub()), 0);
    const i64 counting = 4;
    EXPECT_LE(read_calls() - before, static_cast<i64>(all.size()) / c.buffer_size * 102 / 100 + counting);
    EXPECT_EQ(position_of(unit.lub()), static_cast<i64>(one.size()));
    close(unit->lub_fd);
  }
}

TEST(StepBack, StreamsGoBackByByteOrByRecord) {
  constexpr struct {
    i64 kind, recl, from;
    bool read;
    i64 to;  ///< -1: refused
  } kRows[] = {{STREAM_BIN_SEQUENTIAL, 0, 5, false, 4}, {STREAM_BIN_SEQUENTIAL, 0, 5, true, 4},
               {STREAM_BIN_SEQUENTIAL, 0, 0, false, 0}, {STREAM_FMT_SEQUENTIAL, 4, 9, false, 5},
               {STREAM_FMT_SEQUENTIAL, 4, 9, true, 8},  {STREAM_FMT_SEQUENTIAL, 4, 3, false, 0},
               {STREAM_FMT_SEQUENTIAL, 0, 9, true, -1}};
  for (const auto& row : kRows) {
    Connection c = layout(RECTYPE_STREAM, row.kind == STREAM_FMT_SEQUENTIAL, 64);
    c.stream_kind = row.kind;
    c.recl = row.recl;
    Loose_Lub unit(memory_file_with("0123456789abcdef"), c);
    For_Lub& lub = unit.lub();
    if (row.read) {
      ASSERT_EQ(for__get_s(&lub, nullptr, nullptr), 0);
      lub.lub_a_cursor += row.from;
    } else {
      ASSERT_EQ(move_file(lub, row.from), 0);
    }
    EXPECT_EQ(step_back(lub), row.to < 0 ? int{MSG_BACKSPACE_ERROR} : 0);
    EXPECT_EQ(position_of(lub), row.to < 0 ? row.from : row.to) << row.kind << ' ' << row.from;
    close(lub.lub_fd);
  }
}

/// The rest of length-byte files is the subject of the random statements.
TEST(StepBack, FromBehindTheMarkThatEndsALengthByteFile) {
  Connection c = layout(RECTYPE_STREAM, false, 300);
  c.stream_kind = STREAM_MS_UNF_SEQUENTIAL;
  for (const bool at_eof : {true, false}) {  // the end condition alone, or the mark and the record before it
    Loose_Lub unit(memory_file_with("K\3abc\3\2de\2\x82"), c);
    ASSERT_EQ(move_file(unit.lub(), 11), 0);
    unit->lub_f_at_eof = at_eof;
    ASSERT_EQ(step_back(unit.lub()), 0);
    EXPECT_FALSE(unit->lub_f_at_eof);
    EXPECT_EQ(position_of(unit.lub()), at_eof ? 10 : 6);
    close(unit->lub_fd);
  }
}

TEST(StepBack, FailureLeavesTheUnitWhereItWas) {
  const std::string five = word(5, 4, false);
  const struct {
    u8 rectype;
    std::string bytes;
    i64 at;
  } rows[] = {
      {RECTYPE_VARIABLE, five + "abc", 7},                     // the word in front is text
      {RECTYPE_VARIABLE, five + "ab" + five, 10},              // a record that begins in front of the file
      {RECTYPE_VARIABLE, "ab", 2},                             // no room for a word
      {RECTYPE_STREAM_LF, "one line\n", 9},                    // no line end in front
      {RECTYPE_STREAM_LF, std::string(200, 'x') + "\n", 201},  // a line longer than the buffer
      {RECTYPE_STREAM_LF, "", 0},
  };
  for (const auto& row : rows) {
    Connection c = layout(row.rectype, row.rectype == RECTYPE_STREAM_LF, 64);
    Loose_Lub unit(memory_file_with(row.bytes), c);
    For_Lub& lub = unit.lub();
    ASSERT_EQ(move_file(lub, row.at), 0);
    EXPECT_EQ(step_back(lub), MSG_BACKSPACE_ERROR) << row.bytes;
    EXPECT_EQ(position_of(lub), row.at) << row.bytes;
    close(lub.lub_fd);
  }
  Loose_Lub closed(memory_file_with("a\nb\nc\n"), layout(RECTYPE_STREAM_LF, true, 64));
  close(closed->lub_fd);
  EXPECT_EQ(step_back(closed.lub()), MSG_BACKSPACE_ERROR);
  EXPECT_EQ(closed->lub_errno, EBADF);
  // A compatible program takes the file for one record.
  Connection compat = layout(RECTYPE_STREAM_LF, true, 64);
  compat.compat = true;
  Loose_Lub one(memory_file_with("one line\n"), compat);
  ASSERT_EQ(move_file(one.lub(), 9), 0);
  EXPECT_EQ(step_back(one.lub()), 0);
  EXPECT_EQ(position_of(one.lub()), 0);
  close(one->lub_fd);
}

}  // namespace
