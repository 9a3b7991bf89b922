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
  if (reads.fail_behind >= 0 && reads.given >= reads.fail_behind) {
    errno = EIO;
    return -1;
  }
  if (reads.most > 0) length = std::min<size_t>(length, reads.most);
  if (reads.fail_behind >= 0) length = std::min<size_t>(length, reads.fail_behind - reads.given);
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
void expect_records(const std::string& bytes, Source source, const Connection& c, int flush_every) {
  const Oracle all = oracle(bytes, c.rectype, c.recl, c.big_endian);
  Input input(bytes, source);
  Loose_Lub lub(input.fd(), c);
  const auto expect_position = [&](i64 end) {
    if (source == Source::stdin_file && c.rectype >= RECTYPE_STREAM_LF) {
      EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR), end);
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
  EXPECT_EQ(for__get_s(&lub.lub(), nullptr, nullptr), all.code);
  EXPECT_EQ(lub->lub_errno, 0);
  if (seekable(source)) {
    EXPECT_EQ(for__flush_readahead(&lub.lub(), 0), 0);
    EXPECT_EQ(lseek(input.fd(), 0, SEEK_CUR), all.end);
  }
}

std::string length_word(u32 length, bool big_endian = false) {
  if (big_endian) length = __builtin_bswap32(length);
  return std::string(reinterpret_cast<const char*>(&length), sizeof length);
}

TEST(GetRecord, FilesByTypeSourceAndBuffer) {
  using namespace std::string_literals;
  const std::string one = length_word(3) + "abc" + length_word(3), none = length_word(0) + length_word(0);
  const std::string files[] = {
      ""s,
      "\n"s,
      "\n\n\n"s,
      "one\ntwo\nthree\n"s,
      "one\r\ntwo\r\n\r\n\rx\r\r\nlast"s,
      "no end"s,
      "no end\r"s,
      "a\n\x1a\nb\n"s,
      "a\n\x1a"s,
      "a\n\x1a\r\n"s,
      "\x1a"s,
      "\x1a\x1a\n"s,
      "nul\0nul\0\n\0\n\0"s,
      std::string(700, 'x') + "\ny\n" + std::string(5000, 'z'),
      std::string(511, 'x') + "\n" + std::string(512, 'y') + "\n" + std::string(1024, 'z') + "\n",
      "cr\rcr\r\r\nlast"s,
      one + none + one,
      none,
      one.substr(0, one.size() - 1),
      one + one.substr(0, 9),
      one + one.substr(0, 5),
      one + one.substr(0, 4),
      one + one.substr(0, 3),
      length_word(1) + "\x1a" + length_word(1) + one,
      length_word(2000) + std::string(2000, 'v') + length_word(2000) + one,
      length_word(508) + std::string(508, 'v') + length_word(508) + one,
      length_word(-3) + "abc" + length_word(3) + one,
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
            SCOPED_TRACE("type " + std::to_string(type) + " source " + std::to_string(static_cast<int>(source)) +
                         " buffer " + std::to_string(buffer) + " file " + testing::PrintToString(file.substr(0, 40)));
            expect_records(file, source, connection(type, buffer, fixed), 2);
            if (testing::Test::HasFailure()) return;
          }
        }
      }
    }
  }
}

}  // namespace
