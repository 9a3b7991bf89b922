// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Records from files, pipes and standard input, held against what the file's bytes say.

#include "records/for_get.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <thread>

#include "record_oracle.h"
#include "records/buffer.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "support/unit.h"
#include "tamrun/messages.h"

namespace {

/// What the next calls of read(2) do.
struct Read_Double {
  int calls = 0;         ///< counted
  int interrupt = 0;     ///< every n-th call answers EINTR
  i64 most = 0;          ///< a call gives no more bytes than this
  i64 fail_behind = -1;  ///< after this many bytes calls answer EIO
  i64 given = 0;
};
Read_Double reads;
int this_image = 0;

}  // namespace

extern "C" {
ssize_t __real_read(int fd, void* data, size_t length);
ssize_t __wrap_read(int fd, void* data, size_t length) {
  ++reads.calls;
  if (reads.interrupt != 0 && reads.calls % reads.interrupt == 0) {
    errno = EINTR;
    return -1;
  }
  const off_t at = lseek(fd, 0, SEEK_CUR);
  const i64 given = at >= 0 ? at : reads.given;  // what is given back and read again counts once
  if (reads.fail_behind >= 0 && given >= reads.fail_behind) {
    errno = EIO;
    return -1;
  }
  if (reads.most > 0) length = std::min<size_t>(length, reads.most);
  if (reads.fail_behind >= 0) length = std::min<size_t>(length, reads.fail_behind - given);
  const ssize_t got = __real_read(fd, data, length);
  if (got > 0) reads.given += got;
  return got;
}
int for_rtl_PGAS_THIS_IMAGE(void) { return this_image; }
}

namespace {

enum class Source { file, pipe, stdin_file, stdin_pipe };
constexpr Source kSources[] = {Source::file, Source::pipe, Source::stdin_file, Source::stdin_pipe};
constexpr u8 kTypes[] = {RECTYPE_FIXED,     RECTYPE_VARIABLE_KEYWORD, RECTYPE_SEGMENTED,  RECTYPE_VARIABLE,
                         RECTYPE_STREAM_LF, RECTYPE_STREAM_CR,        RECTYPE_STREAM_CRLF};

bool seekable(Source source) { return source == Source::file || source == Source::stdin_file; }

/// A file of given bytes in one of the places that input comes from, open on fd().
class Input {
 public:
  Input(const std::string& bytes, Source source) : saved_stdin_(dup(STDIN_FILENO)) {
    reads = {};
    if (seekable(source)) {
      fd_ = memory_file();
      EXPECT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      lseek(fd_, 0, SEEK_SET);
    } else {
      int ends[2];
      EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
      fd_ = ends[0];
      const auto feed = [bytes, out = ends[1]] {
        EXPECT_EQ(write(out, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(out);
      };
      constexpr size_t kPipeHolds = 65536;
      if (bytes.size() <= kPipeHolds) {
        feed();
      } else {
        feeder_ = std::thread(feed);
      }
    }
    if (source == Source::stdin_file || source == Source::stdin_pipe) {
      EXPECT_EQ(dup2(fd_, STDIN_FILENO), STDIN_FILENO);
      close(fd_);
      fd_ = STDIN_FILENO;
    }
  }
  ~Input() {
    if (feeder_.joinable()) {
      char rest[4096];
      while (__real_read(fd_, rest, sizeof rest) > 0) continue;
      feeder_.join();
    }
    if (fd_ != STDIN_FILENO) close(fd_);
    dup2(saved_stdin_, STDIN_FILENO);
    close(saved_stdin_);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_ = -1;
  int saved_stdin_;
  std::thread feeder_;
};

std::string record_of(const For_Lub& lub) { return std::string(lub.lub_a_cursor, lub.lub_a_rec_end); }

/// Where the record that has been read ends, by the unit's own account.
i64 position_by_account(const For_Lub& lub) {
  return lub.lub_disk_pos - lub.lub_span_left + (lub.lub_a_read_next - lub.lub_a_buffer);
}

Connection connection(u8 type, i64 buffer_size, i64 fixed = 0, bool big_endian = false) {
  Connection c;
  c.rectype = type;
  c.cc = CC_NONE;
  c.buffer_size = buffer_size;
  c.big_endian = big_endian;
  if (type == RECTYPE_FIXED) c.recl = fixed;
  return c;
}

/// Reads all records and holds each, its position and the end against the oracle. Every `flush_every`-th record the
/// read-ahead is given back in between.
void expect_records(const std::string& bytes, Source source, const Connection& c, int flush_every,
                    const Read_Double& trouble = {}) {
  const Oracle all = oracle(bytes, c.rectype, c.recl, c.big_endian);
  Input input(bytes, source);
  reads = trouble;
  Loose_Lub lub(input.fd(), c);
  const auto expect_position = [&](i64 end) {
    if (source == Source::stdin_file && c.rectype >= RECTYPE_STREAM_LF) {
      EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR), end);
      EXPECT_EQ(lub->lub_disk_pos + lub->lub_rec_buffered, end);
    } else if (source == Source::stdin_pipe && c.rectype >= RECTYPE_STREAM_LF && bytes.size() <= 65536) {
      int left = 0;
      EXPECT_EQ(ioctl(input.fd(), FIONREAD, &left), 0);
      EXPECT_EQ(static_cast<i64>(bytes.size()) - left, end);
    } else if (seekable(source)) {
      EXPECT_EQ(position_by_account(lub.lub()), end);
      EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR) - read_ahead_bytes(lub.lub()), end);
    }
  };
  for (size_t i = 0; i < all.records.size(); i++) {
    ASSERT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0) << "record " << i;
    ASSERT_EQ(record_of(lub.lub()), all.records[i].data) << "record " << i;
    expect_position(all.records[i].end);
    if (flush_every != 0 && i % flush_every == 0 && seekable(source)) {
      ASSERT_EQ(for__flush_readahead(&lub.lub(), 0), 0);
      ASSERT_EQ(lseek(input.fd(), 0, SEEK_CUR), all.records[i].end) << "record " << i;
      ASSERT_EQ(lub->lub_file_pos, all.records[i].end);
    }
  }
  lub->lub_errno = ENOENT;  // of an earlier statement: it does not explain a file that is cut short
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), all.code);
  EXPECT_EQ(lub->lub_errno, all.code == MSG_READ_ERROR ? 0 : ENOENT);
  if (seekable(source)) {
    EXPECT_EQ(for__flush_readahead(&lub.lub(), 0), 0);
    EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR), all.end);
  }
}

std::string length_word(u32 length, bool big_endian = false) {
  if (big_endian) length = __builtin_bswap32(length);
  return std::string(reinterpret_cast<const char*>(&length), sizeof length);
}

std::string counted(const std::string& data, int sign = 1) {
  const i32 length = static_cast<i32>(data.size());
  return length_word(sign * length) + data + length_word(length);
}

/// Where and what a case reads, for its trace.
std::string told(u8 type, Source source) {
  return "type " + std::to_string(type) + " source " + std::to_string(static_cast<int>(source)) + ' ';
}

TEST(GetRecord, FilesByTypeSourceAndBuffer) {
  using namespace std::string_literals;
  const std::string one = counted("abc"), none = counted("");
  const std::string files[] = {
      ""s,
      "\n\n\n"s,
      "one\r\ntwo\r\n\r\n\rx\r\r\nlast"s,
      "no end\r"s,
      "a\n\x1a\nb\n"s,
      "a\n\x1a\r\n"s,
      "\x1a\x1a\n\x1a"s,
      "nul\0nul\0\n\0\n\0"s,
      std::string(700, 'x') + "\ny\n" + std::string(5000, 'z'),
      std::string(511, 'x') + "\n" + std::string(512, 'y') + "\n" + std::string(1024, 'z') + "\n",
      one + none + one,
      none,
      one.substr(0, one.size() - 1),
      one + one.substr(0, 9),
      one + one.substr(0, 4),
      one + one.substr(0, 3),
      counted("\x1a") + one,
      counted(std::string(2000, 'v')) + one,
      counted(std::string(508, 'v')) + one,
      counted("abc", -1) + one,
      length_word(0x7fffffff) + "abc",
      length_word(0x80000000) + "abc",
      length_word(100) + "lies" + length_word(4),
      "\5\0\3\0abc\0\6\0\3\0abcd"s,
      "\5\0\3\0abc"s,
      "\2\0\3\0\1\0\x1a\0"s,
      "\1\0\x1a"s,
      "\1\0"s,
      "\0\0\0\0"s,
      "\xff\xff"s + std::string(65536, 's') + "\2\0\3\0",
  };
  for (const std::string& file : files) {
    for (u8 type : kTypes) {
      for (Source source : kSources) {
        for (i64 buffer : {512, 8192}) {
          for (i64 fixed : type == RECTYPE_FIXED ? std::vector<i64>{1, 4, 512} : std::vector<i64>{0}) {
            SCOPED_TRACE(told(type, source) + "buffer " + std::to_string(buffer) + " file " +
                         testing::PrintToString(file.substr(0, 40)));
            expect_records(file, source, connection(type, buffer, fixed), 2);
            if (testing::Test::HasFailure()) return;
          }
        }
      }
    }
  }
}

/// A file of random records of the type, now and then with one that breaks the rules.
std::string random_file(std::mt19937& random, u8 type, bool big_endian, i64 longest) {
  std::string file;
  for (int records = static_cast<int>(random() % 40); records > 0; records--) {
    const i64 length = random() % 8 == 0 ? random() % longest : random() % 40;
    std::string data(length, '.');
    for (char& c : data) c = "\n\r\x1a ab\0z"[random() % 8];
    if (random() % 2 == 0)
      std::replace_if(
          data.begin(), data.end(), [](char c) { return c < ' '; }, '-');
    switch (type) {
      case RECTYPE_VARIABLE_KEYWORD:
      case RECTYPE_VARIABLE: {
        const u32 word = random() % 200 == 0 ? random() : random() % 10 == 0 ? -length : length;
        file += length_word(word, big_endian) + data + length_word(length, big_endian);
        break;
      }
      case RECTYPE_SEGMENTED:
        file += static_cast<char>(length);
        file += static_cast<char>(length >> 8);
        file += data.substr(0, length & 0xffff) + std::string(length % 2, '\0');
        break;
      default:
        file += data + (random() % 3 == 0 ? "\r\n" : random() % 2 == 0 ? "\n" : "\r");
    }
  }
  if (random() % 3 == 0) file.resize(file.size() - std::min<size_t>(file.size(), random() % 50));
  return file;
}

TEST(GetRecord, RandomFiles) {
  std::mt19937 random(20261122);
  for (long n = soak_cases(1000); n > 0; n--) {
    const u8 type = kTypes[random() % std::size(kTypes)];
    const Source source = kSources[random() % std::size(kSources)];
    const bool big_endian = random() % 2 == 0;
    const i64 buffer = 512ll << random() % 8;
    const i64 fixed = 1 + random() % (random() % 2 == 0 ? 16 : 512);
    Connection c = connection(type, buffer, fixed, big_endian);
    c.blocksize = random() % 3 == 0 ? 512 : 0;
    const std::string file =
        random_file(random, type, big_endian, source != Source::stdin_pipe && random() % 4 == 0 ? 70000 : 2000);
    SCOPED_TRACE(told(type, source) + "case " + std::to_string(n) + " buffer " + std::to_string(buffer) + " size " +
                 std::to_string(file.size()));
    Read_Double trouble;
    if (random() % 2 == 0) trouble.interrupt = 2 + random() % 5;
    if (random() % 4 == 0) trouble.most = 1 + random() % 600;
    expect_records(file, source, c, random() % 5, trouble);
    if (HasFailure()) return;
  }
}

TEST(GetRecord, ReadsOnlyAsOftenAsTheBufferIsEmpty) {
  std::string lines, records;
  for (int i = 0; i < 10000; i++) lines += "a line of text that is of no great length\n";
  for (int i = 0; i < 5000; i++) records += counted(std::string(56, 'd'));
  const struct {
    std::string file;
    u8 type;
    Source source;
    i64 buffer;
    size_t most_calls;
  } kRows[] = {
      // Each fill carries a part of a record over, and the end wants calls of its own.
      {lines, RECTYPE_STREAM_LF, Source::file, 8192, lines.size() / 8192 + 6},
      {lines, RECTYPE_STREAM_LF, Source::file, 131072, lines.size() / 131072 + 6},
      {records, RECTYPE_VARIABLE, Source::file, 8192, records.size() / 8192 + 6},
      {records, RECTYPE_FIXED, Source::file, 8192, records.size() / 8192 + 6},
      {std::string(1 << 20, 'x'), RECTYPE_STREAM_LF, Source::file, 512, 40},
      {std::string(60000, 'x'), RECTYPE_STREAM_LF, Source::stdin_file, 65536, 20},
  };
  for (const auto& row : kRows) {
    Input input(row.file, row.source);
    Loose_Lub lub(input.fd(), connection(row.type, row.buffer, 64));
    while (for__get_s(&lub.lub(), nullptr, nullptr) == 0) continue;
    EXPECT_LE(reads.calls, static_cast<int>(row.most_calls)) << told(row.type, row.source) << row.buffer;
  }
}

/// The record that is cut off by a failing read comes whole when reads work again.
TEST(GetRecord, AFailedReadLosesNothing) {
  for (u8 type : kTypes) {
    std::string record = type == RECTYPE_STREAM_CR ? "record\r" : "record\n";
    if (type == RECTYPE_VARIABLE || type == RECTYPE_VARIABLE_KEYWORD) record = counted("record");
    if (type == RECTYPE_SEGMENTED) record = std::string("\6\0record", 8);
    if (type == RECTYPE_FIXED) record = "record";
    for (Source source : kSources) {
      for (i64 good = 0; good <= static_cast<i64>(3 * record.size()); good++) {
        SCOPED_TRACE(told(type, source) + "failing behind " + std::to_string(good));
        Input input(record + record + record, source);
        Loose_Lub lub(input.fd(), connection(type, 512, 6));
        reads.fail_behind = good;
        int taken = 0;
        const auto read_on = [&] {
          for (;; taken++) {
            if (const int code = for__get_s(&lub.lub(), nullptr, nullptr)) return code;
            EXPECT_EQ(record_of(lub.lub()), "record");
          }
        };
        EXPECT_EQ(read_on(), MSG_READ_ERROR);
        EXPECT_EQ(lub->lub_errno, EIO);
        EXPECT_EQ(taken, good / static_cast<i64>(record.size()));
        reads.fail_behind = -1;
        EXPECT_EQ(read_on(), MSG_END_OF_FILE);
        EXPECT_EQ(taken, 3);
      }
    }
  }
}

/// A program at the other end may wait for an answer to the line that it has sent.
TEST(GetRecord, APipeGivesWhatItHas) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  for (u8 type : {u8{RECTYPE_STREAM_LF}, u8{RECTYPE_FIXED}, u8{RECTYPE_STREAM}}) {
    reads = {};
    Loose_Lub lub(ends[0], connection(type, 512, 4));
    ASSERT_EQ(write(ends[1], "one\n", 4), 4);
    EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);
    EXPECT_EQ(record_of(lub.lub()), type == RECTYPE_STREAM_LF ? "one" : "one\n");
    EXPECT_EQ(reads.calls, 1);
  }
  close(ends[0]);
  close(ends[1]);
}

TEST(GetRecord, NoMemoryForALongRecord) {
  const std::string line(5000, 'x');
  for (Source source : kSources) {
    for (u8 type : {u8{RECTYPE_STREAM_LF}, u8{RECTYPE_VARIABLE}}) {
      int failures = 0;
      for (bool hit = true; hit; failures++) {
        Input input(type == RECTYPE_VARIABLE ? counted(line) : line + "\n", source);
        Loose_Lub lub(input.fd(), connection(type, 512));
        const tamrun_test::Fail_Vm fail(failures + 1);
        const int code = for__get_s(&lub.lub(), nullptr, nullptr);
        hit = fail.hit();
        EXPECT_EQ(code, hit ? MSG_NO_BUFFER_MEMORY : 0);
        if (hit) {
          if (source == Source::file) {
            EXPECT_EQ(position_by_account(lub.lub()), 0);
          }
          EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);  // the next call gets the memory
        }
        EXPECT_EQ(record_of(lub.lub()), line);
      }
      EXPECT_GE(failures, 4) << "the buffer did not grow step by step";
    }
  }
}

TEST(GetRecord, LengthsDictateNoAllocation) {
  for (u32 word : {0x7fffffffu, 0x80000000u, 0x80000001u, 100000u}) {
    for (Source source : kSources) {
      Input input(length_word(word) + std::string(3000, 'd'), source);
      Loose_Lub lub(input.fd(), connection(RECTYPE_VARIABLE, 512));
      EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), MSG_READ_ERROR);
      EXPECT_LE(lub->lub_buffer_size, 2 * 3004);
    }
  }
  Input input(std::string(100, 'f'), Source::file);
  Loose_Lub lub(input.fd(), connection(RECTYPE_FIXED, 512, 513));
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), MSG_RECORD_TOO_LONG);
}

TEST(GetRecord, ControlZEndsTheFileByForm) {
  const struct {
    u8 type;
    bool formatted;
    std::string file;
    int code;
  } kRows[] = {
      {RECTYPE_STREAM_LF, true, "\x1a\nx\n", MSG_END_OF_FILE},
      {RECTYPE_STREAM_LF, false, "\x1a\nx\n", 0},
      {RECTYPE_STREAM, true, "\x1a", MSG_END_OF_FILE},
      {RECTYPE_STREAM, false, "\x1a", 0},
      {RECTYPE_VARIABLE, true, counted("\x1a"), MSG_END_OF_FILE},
      {RECTYPE_VARIABLE, false, counted("\x1a"), MSG_END_OF_FILE},
      {RECTYPE_FIXED, true, "\x1a", MSG_END_OF_FILE},
      {RECTYPE_FIXED, false, "\x1a", 0},
      {RECTYPE_SEGMENTED, false, std::string("\1\0\x1a", 3), MSG_END_OF_FILE},
      {RECTYPE_NONE, true, "x", MSG_END_OF_FILE},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(told(row.type, Source::file) + std::to_string(row.formatted));
    Input input(row.file, Source::file);
    Connection c = connection(row.type, 512, 1);
    c.formatted = row.formatted;
    Loose_Lub lub(input.fd(), c);
    lub->lub_f_at_end = 1;
    lub->lub_next_rec = 7;
    EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), row.code);
    const bool counts = row.code != 0 && row.type != RECTYPE_NONE;
    EXPECT_EQ(lub->lub_next_rec, counts ? 8 : 7);
    EXPECT_EQ(lub->lub_f_at_end, !counts);
  }
}

TEST(GetRecord, CarriageReturnsOfCompatibleUnits) {
  for (bool compat : {false, true}) {
    for (bool list : {false, true}) {
      Input input("a\r\r\r\n\r\r\n", Source::file);
      Connection c = connection(RECTYPE_STREAM_LF, 512);
      c.compat = compat;
      Loose_Lub lub(input.fd(), c);
      lub->lub_f_ldio_read = list;
      ASSERT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);
      EXPECT_EQ(record_of(lub.lub()), compat && list ? "a" : "a\r\r");
      ASSERT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);
      EXPECT_EQ(record_of(lub.lub()), compat && list ? "" : "\r");
    }
  }
  Input input("data\r\nmore\r\n", Source::file);
  Connection c = connection(RECTYPE_FIXED, 512, 4);
  c.compat = c.direct = true;
  Loose_Lub lub(input.fd(), c);
  ASSERT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);
  EXPECT_EQ(record_of(lub.lub()), "data");
  EXPECT_EQ(position_by_account(lub.lub()), 6);
}

TEST(GetStream, BytesByTheBuffer) {
  std::string bytes(3000, 's');
  for (size_t i = 0; i < bytes.size(); i++) bytes[i] = static_cast<char>('!' + i % 90);
  for (Source source : kSources) {
    Input input(bytes, source);
    Loose_Lub lub(input.fd(), connection(RECTYPE_STREAM, 1000));
    std::string seen;
    while (for__get_s(&lub.lub(), nullptr, nullptr) == 0) {
      const u8* const cursor = lub->lub_a_cursor;
      const int calls = reads.calls;
      ASSERT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);  // nothing is read while something is left
      EXPECT_EQ(lub->lub_a_cursor, cursor);
      EXPECT_EQ(reads.calls, calls);
      const i64 take = std::min<i64>(lub->lub_a_rec_end - cursor, 300);
      seen.append(cursor, cursor + take);
      lub->lub_a_cursor += take;
      if (!seekable(source)) continue;
      if (seen.size() % 700 == 0) {
        ASSERT_EQ(for__flush_readahead(&lub.lub(), 0), 0);
      }
      EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR) - read_ahead_bytes(lub.lub()), static_cast<i64>(seen.size()));
    }
    EXPECT_EQ(seen, bytes);
  }
}

TEST(GetRecord, OutputBeforeInput) {
  Connection c = connection(RECTYPE_STREAM_LF, 8192);
  c.buffered = true;
  Input file("", Source::file);
  Loose_Lub lub(file.fd(), c);
  memcpy(lub->lub_a_buffer, "held\n", 5);
  lub->lub_a_rec_start = lub->lub_a_buffer + 5;
  lub->lub_f_buffer_held = 1;
  lub.file().fi_cc_after_cr = lub.file().fi_cc_after_prompt = lub.file().fi_cc_unterminated = 1;
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), MSG_END_OF_FILE);
  EXPECT_EQ(contents(file.fd()), "held\n\n");
  EXPECT_FALSE(lub.file().fi_cc_after_cr || lub.file().fi_cc_after_prompt || lub.file().fi_cc_unterminated);
  EXPECT_EQ(lub->lub_disk_pos, 6);
  Input input("x\n", Source::pipe);
  Loose_Lub refused(input.fd(), c);
  refused.file().fi_cc_after_cr = 1;
  EXPECT_EQ(for__get_s(&refused.lub(), nullptr, nullptr), MSG_WRITE_ERROR);
  EXPECT_EQ(refused->lub_errno, EBADF);
}

TEST(GetRecord, StandardInputBelongsToTheFirstImage) {
  Input input("x\n", Source::stdin_file);
  Loose_Lub lub(input.fd(), connection(RECTYPE_STREAM_LF, 512));
  lub->lub_unit_copy = UNIT_READ;
  u8 byte;
  i64 got = 9;
  this_image = 2;
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), MSG_ONLY_IMAGE_1_MAY_READ);
  EXPECT_EQ(for__read_input(input.fd(), &byte, 1, &got, &lub.lub()), 1);
  EXPECT_EQ(got, 0);
  lub->lub_unit_copy = UNIT_STDIN;
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), 0);
  this_image = 1;
  lub->lub_unit_copy = UNIT_READ;
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), MSG_END_OF_FILE);
  this_image = 0;
}

/// What the records hold is the subject of the tests of direct access statements.
TEST(GetDirect, CallsAndFailures) {
  for (bool buffered : {false, true}) {
    for (i64 held : {1, 2, 5}) {
      SCOPED_TRACE(std::to_string(held) + (buffered ? " buffered" : ""));
      Input input(std::string(205, 'r'), Source::file);  // 20 records and a part
      Connection c = connection(RECTYPE_FIXED, 10 * held, 10);
      c.direct = true;
      c.buffered = buffered;
      c.formatted = held != 2;
      Loose_Lub lub(input.fd(), c);
      const auto get = [&](i64 record) {
        lub->lub_next_rec = record;
        return for__get_d(&lub.lub());
      };
      for (i64 record = 1; record <= 10; record++) EXPECT_EQ(get(record), 0);
      EXPECT_EQ(reads.calls, buffered ? (10 + held - 1) / held : 10);
      ASSERT_EQ(get(21), 0);
      std::string last(5, 'r');
      last.resize(10, c.formatted ? ' ' : '\0');
      EXPECT_EQ(std::string(lub->lub_a_read_next, lub->lub_a_read_next + 10), last);
      EXPECT_EQ(get(11), 0);
      reads = {};
      for (i64 record = 10; record >= 1; record--) EXPECT_EQ(get(record), 0);
      EXPECT_EQ(reads.calls, buffered ? (10 + held - 1) / held : 10) << "backwards";
      for (const auto& [record, code] :
           {std::pair{22ll, MSG_NO_SUCH_RECORD}, {1ll << 62, MSG_NO_SUCH_RECORD}, {-5ll, MSG_READ_ERROR}}) {
        EXPECT_EQ(get(record), code) << record;
        EXPECT_EQ(lub->lub_errno, code == MSG_READ_ERROR ? EINVAL : 0);
      }
      ASSERT_EQ(get(4), 0);
      reads.fail_behind = 109;
      EXPECT_EQ(get(11), MSG_READ_ERROR);
      EXPECT_EQ(lub->lub_errno, EIO);
      reads = {};
      EXPECT_EQ(get(4), 0);
      EXPECT_EQ(reads.calls, 1) << "nothing counts as held after the failed read";
    }
  }
}

TEST(GetDirect, DeletedRecordsOfRelativeFiles) {
  for (bool legacy : {false, true}) {
    Input input(std::string(" aaa\0bbb@ccc dddAeee", 20), Source::file);
    Connection c = connection(RECTYPE_FIXED, 12, 4);
    c.direct = c.buffered = true;
    Loose_Lub lub(input.fd(), c);
    lub->lub_org = ORG_RELATIVE;
    lub->lub_f_legacy_defaults = legacy;
    for (i64 record = 1; record <= 5; record++) {
      lub->lub_next_rec = record;
      const bool deleted = legacy && (record == 2 || record == 3);
      EXPECT_EQ(for__get_d(&lub.lub()), deleted ? int{MSG_NO_SUCH_RECORD} : 0) << record;
    }
  }
}

}  // namespace
