// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted records on their way to the file: control bytes, carriage control, buffering, failures.

#include "records/for_put.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "records/buffer.h"
#include "records/record_frame.h"
#include "support/unit.h"
#include "tamrun/messages.h"

namespace {

/// Puts text in a fresh record and writes it.
int put(For_Lub& lub, const std::string& text) {
  if (int code = start_formatted_record(lub)) return code;
  memcpy(lub.lub_a_cursor, text.data(), text.size());
  lub.lub_a_cursor += text.size();
  return for__put_sf(&lub);
}

struct Frame_Row {
  u8 type, cc;
  std::string written;  ///< of the record "text" with RECL 8
  bool direct = false, compat = false;
};

TEST(PutRecord, ControlBytesByTypeAndCarriageControl) {
  const std::string word{"\4\0\0\0", 4};
  const Frame_Row rows[] = {
      {1, CC_NONE, "text    "},
      {1, CC_LIST, "text   \n"},
      {1, CC_LIST, "text    \r\n", true, true},
      {1, CC_NONE, "text    \r\n", true, true},
      {2, CC_NONE, word + "text" + word},
      {4, CC_NONE, word + "text" + word},
      {4, CC_LIST, word + "text" + word},
      {4, CC_FORTRAN, word + "text" + word},
      {5, CC_NONE, "text"},
      {5, CC_LIST, "text"},
      {6, CC_NONE, "text\n"},
      {6, CC_LIST, "text\n"},
      {7, CC_NONE, "text\r"},
      {7, CC_LIST, "text\r"},
      {8, CC_NONE, "text\r\n"},
      {8, CC_LIST, "text\r\n"},
      {0, CC_NONE, "text"},
      {0, CC_LIST, "text\n"},
  };
  for (const Frame_Row& row : rows) {
    const int fd = memory_file();
    Connection c;
    c.rectype = row.type;
    c.cc = row.cc;
    c.recl = 8;
    c.direct = row.direct;
    c.compat = row.compat;
    Loose_Lub lub(fd, c);
    EXPECT_EQ(put(lub.lub(), "text"), 0);
    EXPECT_EQ(contents(fd), row.written) << "type " << int{row.type} << " cc " << int{row.cc};
    EXPECT_EQ(lub->lub_disk_pos, static_cast<i64>(row.written.size()));
    EXPECT_EQ(lub->lub_file_pos, lub->lub_disk_pos);

    // Without its terminator, and again with it: the request counts for one record.
    ASSERT_EQ(ftruncate(fd, 0), 0);
    lseek(fd, 0, SEEK_SET);
    lub->lub_f_no_terminator = 1;
    EXPECT_EQ(put(lub.lub(), "text"), 0);
    const std::string open = row.type == 1                    ? (row.compat ? "text      " : "text    ")
                             : row.type == 2 || row.type == 4 ? row.written
                                                              : "text";
    EXPECT_EQ(contents(fd), open) << "type " << int{row.type} << " cc " << int{row.cc};
    EXPECT_EQ(put(lub.lub(), "text"), 0);
    EXPECT_EQ(contents(fd), open + row.written);
    close(fd);
  }
}

TEST(PutRecord, FramesByType) {
  struct Row {
    u8 type, cc;
    int cursor, end;  ///< offsets in a record of 40 bytes
  };
  for (const Row& row : {Row{1, CC_NONE, 0, 40},
                         {1, CC_LIST, 0, 39},
                         {1, CC_FORTRAN, 5, 39},
                         {4, CC_NONE, 4, 36},
                         {4, CC_LIST, 4, 35},
                         {4, CC_FORTRAN, 9, 35},
                         {5, CC_NONE, 0, 40},
                         {6, CC_LIST, 0, 39},
                         {6, CC_FORTRAN, 5, 39},
                         {7, CC_NONE, 0, 39},
                         {8, CC_LIST, 0, 39},
                         {0, CC_NONE, 0, 40}}) {
    Connection c;
    c.rectype = row.type;
    c.cc = row.cc;
    const int fd = memory_file();
    Loose_Lub lub(fd, c);
    lub->lub_rec_bytes = 40;
    for (u8* rec_start : {static_cast<u8*>(nullptr), lub->lub_a_buffer + 100}) {
      lub->lub_a_rec_start = rec_start;
      memset(lub->lub_a_buffer, '#', 200);
      ASSERT_EQ(start_formatted_record(lub.lub()), 0);
      u8* base = rec_start ? rec_start : lub->lub_a_buffer;
      EXPECT_EQ(lub->lub_a_cursor - base, row.cursor) << int{row.type} << ' ' << int{row.cc};
      EXPECT_EQ(lub->lub_a_rec_end - base, row.end) << int{row.type} << ' ' << int{row.cc};
      EXPECT_EQ(std::string(base, base + 41), std::string(40, ' ') + "#");
      EXPECT_EQ(lub->lub_a_data_start, lub->lub_a_cursor);
    }
    lub->lub_rectype = RECTYPE_SEGMENTED;
    EXPECT_EQ(start_formatted_record(lub.lub()), MSG_RECORD_TYPE);
    close(fd);
  }
}

TEST(PutRecord, BigEndianLengthWords) {
  const int fd = memory_file();
  Connection c;
  c.rectype = 4;
  c.cc = CC_NONE;
  c.big_endian = true;
  Loose_Lub lub(fd, c);
  EXPECT_EQ(put(lub.lub(), "abc"), 0);
  EXPECT_EQ(contents(fd), std::string("\0\0\0\3abc\0\0\0\3", 11));
  close(fd);
}

// One cell of the FORTRAN carriage-control table. L line feed, R carriage return, F form feed, B blank, c the control
// character, D the text. Four cells: neither, compatible, line owed, both.
struct Control_Row {
  char control;
  const char* cell[4];
};

// Units that are no console, and the console when the last output was terminated.
const Control_Row kPlain[] = {
    {'\0', {"D", "D", "D", "D"}},
    {'$', {"D", "D", "LD", "LD"}},
    {'+', {"DR", "DR", "DR", "DR"}},
    {'0', {"LDR", "RLDR", "LLDR", "LRLDR"}},
    {'1', {"FDR", "FRBRDR", "FDR", "LFRBRDR"}},
    {' ', {"DR", "DR", "LDR", "LDR"}},
    {'x', {"DR", "DR", "LDR", "LDR"}},
};
// The console behind an output that went without its terminator.
const Control_Row kUnterminated[] = {
    {'\0', {"D", "D", "D", "D"}},      {'$', {"D", "D", "D", "D"}},       {'+', {"DR", "cDR", "DR", "cDR"}},
    {'0', {"DR", "cDR", "DR", "cDR"}}, {'1', {"DR", "cDR", "DR", "cDR"}}, {' ', {"DR", "cDR", "DR", "cDR"}},
    {'x', {"DR", "cDR", "DR", "cDR"}},
};
// The console with the record left open.
const Control_Row kOpen[] = {
    {'\0', {"D", "D", "D", "D"}},     {'$', {"D", "D", "LD", "LD"}},     {'+', {"D", "D", "D", "D"}},
    {'0', {"D", "D", "LLD", "LRLD"}}, {'1', {"D", "D", "FD", "LFRBRD"}}, {' ', {"D", "D", "LD", "LD"}},
    {'x', {"D", "D", "LD", "LD"}},
};
const Control_Row kOpenUnterminated[] = {
    {'\0', {"D", "D", "D", "D"}},    {'$', {"D", "D", "LD", "LD"}},  {'+', {"D", "cD", "D", "cD"}},
    {'0', {"D", "cD", "LLD", "cD"}}, {'1', {"D", "cD", "FD", "cD"}}, {' ', {"D", "cD", "LD", "cD"}},
    {'x', {"D", "cD", "LD", "cD"}},
};

std::string spell(const char* cell, char control, const std::string& text) {
  std::string out;
  for (; *cell; ++cell) {
    switch (*cell) {
      case 'L':
        out += '\n';
        break;
      case 'R':
        out += '\r';
        break;
      case 'F':
        out += '\f';
        break;
      case 'B':
        out += ' ';
        break;
      case 'c':
        out += control;
        break;
      default:
        out += text;
    }
  }
  return out;
}

void check_controls(const Control_Row& row, bool f90, bool console, bool open, bool unterminated) {
  for (int state = 0; state < 4; ++state) {
    const bool compat = state & 1, owed = state & 2;
    for (int by_prompt = 0; by_prompt <= (owed ? 1 : 0); ++by_prompt) {
      for (const std::string text : {"text", ""}) {
        const int fd = memory_file();
        Connection c;
        c.cc = CC_FORTRAN;
        c.f90_rtl = f90;
        c.compat = compat;
        c.stream_kind = console ? STREAM_CONSOLE_OUT : STREAM_FMT_SEQUENTIAL;
        Loose_Lub lub(fd, c);
        For_File_Info& fi = lub.file();
        fi.fi_cc_after_cr = owed && !by_prompt;
        fi.fi_cc_after_prompt = by_prompt;
        fi.fi_record_open = open;
        fi.fi_cc_unterminated = unterminated;
        SCOPED_TRACE(std::string("control ") + row.control + " state " + std::to_string(state) + " console " +
                     std::to_string(console) + " open " + std::to_string(open) + " unterminated " +
                     std::to_string(unterminated));
        ASSERT_EQ(put(lub.lub(), row.control + text), 0);
        EXPECT_EQ(contents(fd), spell(row.cell[state], row.control, text));
        const bool left_open = f90 && console && open;
        const bool keeps_line = row.control == '\0' || row.control == '$';
        EXPECT_EQ(fi.fi_cc_after_cr, !left_open && !keeps_line);
        EXPECT_EQ(fi.fi_cc_after_prompt, !left_open && keeps_line);
        EXPECT_EQ(fi.fi_cc_unterminated, left_open);
        EXPECT_EQ(fi.fi_cc_owner, left_open ? nullptr : &lub.lub());
        close(fd);
      }
    }
  }
}

TEST(FortranCarriageControl, EveryCell) {
  for (int i = 0; i < 7; ++i) {
    for (bool open : {false, true}) {
      for (bool unterminated : {false, true}) {
        check_controls(kPlain[i], true, false, open, unterminated);
        check_controls(kPlain[i], false, true, open, unterminated);
      }
    }
    check_controls(kPlain[i], true, true, false, false);
    check_controls(kUnterminated[i], true, true, false, true);
    check_controls(kOpen[i], true, true, true, false);
    check_controls(kOpenUnterminated[i], true, true, true, true);
  }
}

TEST(FortranCarriageControl, RecordWithoutDataIsABlankLine) {
  const int fd = memory_file();
  Connection c;
  c.cc = CC_FORTRAN;
  Loose_Lub lub(fd, c);
  EXPECT_EQ(put(lub.lub(), ""), 0);
  EXPECT_EQ(put(lub.lub(), ""), 0);
  EXPECT_EQ(contents(fd), "\r\n\r");
  close(fd);
}

TEST(ListCarriageControl, OwedLineFeedComesFirst) {
  for (bool console : {false, true}) {
    for (bool unterminated : {false, true}) {
      const int fd = memory_file();
      Connection c;
      c.stream_kind = console ? STREAM_CONSOLE_OUT : STREAM_FMT_SEQUENTIAL;
      Loose_Lub lub(fd, c);
      lub.file().fi_cc_after_cr = 1;
      lub.file().fi_cc_unterminated = unterminated;
      EXPECT_EQ(put(lub.lub(), "a"), 0);
      EXPECT_EQ(contents(fd), console && unterminated ? "a\n" : "\na\n");
      EXPECT_EQ(lub.file().fi_cc_after_cr, 0);
      EXPECT_EQ(lub.file().fi_cc_unterminated, unterminated && !console);
      close(fd);
    }
  }
}

TEST(ListCarriageControl, OpenRecordOnTheConsoleHasNoLineEnd) {
  for (u8 cc : {CC_LIST, CC_NONE}) {
    const int fd = memory_file();
    Connection c;
    c.cc = cc;
    c.stream_kind = STREAM_CONSOLE_OUT;
    Loose_Lub lub(fd, c);
    lub.file().fi_record_open = 1;
    EXPECT_EQ(put(lub.lub(), "prompt"), 0);
    EXPECT_EQ(contents(fd), "prompt");
    EXPECT_EQ(lub.file().fi_cc_unterminated, 1);
    lub.file().fi_record_open = 0;
    EXPECT_EQ(put(lub.lub(), "next"), 0);
    EXPECT_EQ(contents(fd), "promptnext\n");
    EXPECT_EQ(lub.file().fi_cc_unterminated, 0);
    close(fd);
  }
}

TEST(WriteOutput, HeldRecordsLeaveTogether) {
  const int fd = memory_file();
  Connection c;
  c.buffered = true;
  c.buffer_size = 1000;
  Loose_Lub lub(fd, c);
  std::string expected;
  bool held_some = false;
  for (int i = 0; i < 200; ++i) {
    const std::string line(i % 120, static_cast<char>('a' + i % 26));
    ASSERT_EQ(put(lub.lub(), line), 0);
    expected += line + "\n";
    EXPECT_EQ(lub->lub_file_pos, static_cast<i64>(expected.size()));
    EXPECT_EQ(lub->lub_disk_pos, lseek(fd, 0, SEEK_CUR));
    held_some |= lub->lub_f_buffer_held;
  }
  EXPECT_TRUE(held_some);
  (void)for__write_output(&lub.lub(), nullptr, 0);
  EXPECT_EQ(contents(fd), expected);
  EXPECT_EQ(lub->lub_file_pos, static_cast<i64>(expected.size()));
  EXPECT_EQ(lub->lub_disk_pos, static_cast<i64>(expected.size()));
  EXPECT_EQ(for__write_output(&lub.lub(), nullptr, 0), 1) << "nothing left to flush";
  close(fd);
}

TEST(WriteOutput, OwedLineFeedDoesNotOvertakeHeldRecords) {
  const int fd = memory_file();
  Connection c;
  c.buffered = true;
  Loose_Lub lub(fd, c);
  EXPECT_EQ(put(lub.lub(), "one"), 0);
  EXPECT_TRUE(lub->lub_f_buffer_held);
  lub.file().fi_cc_after_cr = 1;
  EXPECT_EQ(put(lub.lub(), "two"), 0);
  EXPECT_EQ(put(lub.lub(), "three"), 0);
  EXPECT_EQ(for__flush_file_buffer(&lub.lub()), 0);
  EXPECT_EQ(contents(fd), "one\n\ntwo\nthree\n");
  EXPECT_EQ(lub->lub_file_pos, static_cast<i64>(contents(fd).size()));
  close(fd);
}

TEST(WriteOutput, FlushOfAnOpenRecordLetsItGoOn) {
  const int fd = memory_file();
  Loose_Lub lub(fd, Connection{});
  ASSERT_EQ(start_formatted_record(lub.lub()), 0);
  memcpy(lub->lub_a_cursor, "abc", 3);
  lub->lub_a_high_water = lub->lub_a_cursor += 3;
  lub.file().fi_record_open = 1;
  lub.file().saved_lub = &lub.lub();
  EXPECT_EQ(for__write_output(&lub.lub(), nullptr, 0), 0);
  EXPECT_EQ(contents(fd), "abc");
  memcpy(lub->lub_a_cursor, "def", 3);
  lub->lub_a_high_water = lub->lub_a_cursor += 3;
  lub.file().fi_record_open = 0;
  EXPECT_EQ(for__put_sf(&lub.lub()), 0);
  EXPECT_EQ(contents(fd), "abcdef\n");
  EXPECT_EQ(lub->lub_file_pos, 7);
  close(fd);
}

TEST(WriteOutput, FileIsCutBehindARecordWhenAsked) {
  const int fd = memory_file();
  ASSERT_EQ(write(fd, "0123456789", 10), 10);
  lseek(fd, 2, SEEK_SET);
  Loose_Lub lub(fd, Connection{});
  EXPECT_EQ(put(lub.lub(), "ab"), 0);
  EXPECT_EQ(contents(fd), "01ab\n56789");
  lub->lub_f_truncate_on_write = 1;
  EXPECT_EQ(put(lub.lub(), "c"), 0);
  EXPECT_EQ(contents(fd), "01ab\nc\n");
  EXPECT_FALSE(lub->lub_f_truncate_on_write);
  close(fd);
}

// --- failures -------------------------------------------------------------------------------------------------------

struct Failing {
  const char* what;
  int fd;
  i64 number;
};

TEST(WriteFailure, ComesBackWithErrno) {
  const int closed = dup(1);
  close(closed);
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  close(pipe_ends[0]);
  signal(SIGPIPE, SIG_IGN);
  const int read_only = open("/dev/zero", O_RDONLY);
  const Failing rows[] = {{"/dev/full", open("/dev/full", O_WRONLY), ENOSPC},
                          {"closed descriptor", closed, EBADF},
                          {"pipe without reader", pipe_ends[1], EPIPE},
                          {"read-only descriptor", read_only, EBADF}};
  for (const Failing& row : rows) {
    for (u8 cc : {CC_LIST, CC_FORTRAN, CC_NONE}) {
      Connection c;
      c.cc = cc;
      Loose_Lub lub(row.fd, c);
      lub.file().fi_cc_after_cr = 1;
      EXPECT_EQ(put(lub.lub(), "text"), MSG_WRITE_ERROR) << row.what;
      EXPECT_EQ(lub->lub_errno, row.number) << row.what;
    }
    Connection held;
    held.buffered = true;
    Loose_Lub lub(row.fd, held);
    EXPECT_EQ(put(lub.lub(), "text"), 0) << row.what;
    EXPECT_EQ(for__flush_file_buffer(&lub.lub()), MSG_WRITE_ERROR) << row.what;
    EXPECT_EQ(lub->lub_errno, row.number) << row.what;
    EXPECT_EQ(for__write_output(&lub.lub(), nullptr, 0), 1) << "what could not be written is not tried again";
  }
}

TEST(WriteFailure, FileSizeLimitWritesWhatFits) {
  char name[] = "/tmp/tamrun_putXXXXXX";
  const int fd = mkstemp(name);
  unlink(name);
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {10, 10};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(3);
    Loose_Lub lub(fd, Connection{});
    if (put(lub.lub(), "12345") != 0) _exit(4);
    if (put(lub.lub(), "abcdefgh") != MSG_WRITE_ERROR) _exit(5);
    _exit(lub->lub_errno == EFBIG && lub->lub_disk_pos == 10 ? 0 : 6);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(contents(fd), "12345\nabcd");
  close(fd);
}

void tick(int) {}

TEST(WriteFailure, ShortWritesAndSignalsLoseNothing) {
  struct sigaction action = {};
  action.sa_handler = tick;  // without SA_RESTART, so that a blocked write comes back
  sigaction(SIGALRM, &action, nullptr);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::string received;
  std::thread reader([&] {
    char piece[1000];
    usleep(20000);
    for (ssize_t got; (got = read(ends[0], piece, sizeof piece)) != 0;) {
      if (got > 0) received.append(piece, got);
    }
  });
  const itimerval often = {{0, 500}, {0, 500}}, never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  std::string sent(300000, '.');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>('a' + i * i % 23);
  EXPECT_EQ(for__write_all(ends[1], reinterpret_cast<const u8*>(sent.data()), static_cast<i64>(sent.size()), 7777), 0);
  setitimer(ITIMER_REAL, &never, nullptr);
  close(ends[1]);
  reader.join();
  close(ends[0]);
  EXPECT_TRUE(received == sent);
}

}  // namespace
