// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Growing the record buffer, and giving read-ahead back to the file.

#include "records/buffer.h"

#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include "records/record_frame.h"
#include "support/unit.h"
#include "tamrun/messages.h"

namespace {

TEST(AdjustBuffer, GrowsWithinItsBounds) {
  const struct {
    const char* what;
    u8 type;
    bool defaulted, virtual_recl;
    i64 recl_limit, rec_bytes, buffer_size, needed, wanted;
    int code;
    i64 rec_bytes_after, buffer_after;
  } rows[] = {
      {"fixed records never grow", 1, true, true, 0, 40, 100, 10, 10, MSG_NO_MEMORY, 40, 100},
      {"segmented records never grow", 3, true, true, 0, 40, 100, 10, 10, MSG_NO_MEMORY, 40, 100},
      {"RECL given", 6, false, false, 40, 41, 100, 10, 10, MSG_NO_MEMORY, 41, 100},
      {"inside the buffer", 6, true, false, 0, 40, 100, 10, 20, 0, 60, 100},
      {"wanted too much, needed fits", 6, true, false, 0, 40, 100, 10, 90, 0, 50, 100},
      {"past the buffer", 6, true, false, 0, 40, 100, 61, 90, 0, 130, 190},
      {"virtual, within RECL", 6, false, true, 1000, 41, 41, 10, 512, 0, 553, 553},
      {"virtual, cut to RECL", 6, false, true, 60, 41, 41, 10, 512, 0, 60, 60},
      {"virtual, past RECL", 6, false, true, 60, 41, 41, 20, 512, MSG_RECORD_OVERFLOW, 41, 41},
      {"nothing needed", 6, true, false, 0, 40, 100, 0, 0, 0, 40, 100},
      {"absurd", 6, true, false, 0, 40, 100, 1ll << 60, 0, MSG_NO_MEMORY, 40, 100},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const int fd = memory_file();
    Connection c;
    c.rectype = row.type;
    c.virtual_recl = row.virtual_recl;
    c.buffer_size = row.buffer_size;
    Loose_Lub lub(fd, c);
    lub->lub_f_recl_defaulted = row.defaulted;
    lub->lub_recl_limit = row.recl_limit;
    lub->lub_rec_bytes = row.rec_bytes;
    lub->lub_rec_overhead = 0;
    u8* const buffer = lub->lub_a_buffer;
    lub->lub_a_rec_end = buffer + row.rec_bytes;
    memset(buffer, '#', row.buffer_size);
    lub->lub_a_cursor = buffer + 7;
    lub->lub_a_high_water = buffer + 9;
    lub->lub_a_data_start = buffer + 1;
    EXPECT_EQ(for__adjust_buffer(&lub.lub(), row.needed, row.wanted), row.code);
    EXPECT_EQ(lub->lub_rec_bytes, row.rec_bytes_after);
    EXPECT_EQ(lub->lub_buffer_size, row.buffer_after);
    EXPECT_EQ(lub->lub_a_rec_end - lub->lub_a_buffer, row.rec_bytes_after);
    EXPECT_EQ(lub->lub_a_cursor - lub->lub_a_buffer, 7);
    EXPECT_EQ(lub->lub_a_high_water - lub->lub_a_buffer, 9);
    EXPECT_EQ(lub->lub_a_data_start - lub->lub_a_buffer, 1);
    EXPECT_EQ(lub->lub_a_read_next, nullptr);
    const std::string record(lub->lub_a_buffer, lub->lub_a_rec_end);
    if (row.code == 0) {
      EXPECT_EQ(record, "#########" + std::string(record.size() - 9, ' '));
    }
    close(fd);
  }
}

TEST(AdjustBuffer, WordsOfUnformattedUnits) {
  const int fd = memory_file();
  Connection c;
  c.rectype = 4;
  c.formatted = false;
  Loose_Lub lub(fd, c);
  lub->lub_f_recl_in_words = 1;
  lub->lub_recl = 510;
  lub->lub_rec_bytes = 2048;
  lub->lub_a_rec_end = lub->lub_a_buffer + 2048;
  EXPECT_EQ(for__adjust_buffer(&lub.lub(), 5, 9), 0);
  EXPECT_EQ(lub->lub_rec_bytes, 2060);
  EXPECT_EQ(lub->lub_recl, 513);
  close(fd);
}

TEST(FlushReadahead, FailedSeekKeepsPositionAndBuffer) {
  const int fd = memory_file();
  ASSERT_EQ(write(fd, "0123456789", 10), 10);
  Loose_Lub lub(fd, Connection{});
  lub->lub_f_read_ahead = 1;
  lub->lub_a_read_next = lub->lub_a_buffer;
  lub->lub_a_read_end = lub->lub_a_buffer + 5;
  EXPECT_EQ(for__flush_readahead(&lub.lub(), -20), MSG_WRITE_ERROR);
  EXPECT_EQ(lub->lub_errno, EINVAL);
  EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 10);
  EXPECT_TRUE(lub->lub_f_read_ahead);
  lub->lub_f_seekable = 0;  // a pipe takes nothing back: what was read ahead is lost
  EXPECT_EQ(for__flush_readahead(&lub.lub(), 0), 0);
  EXPECT_FALSE(lub->lub_f_read_ahead);
  close(fd);
}

}  // namespace
