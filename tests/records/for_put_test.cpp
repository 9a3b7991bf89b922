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
#include <unistd.h>

#include <string>
#include <thread>

#include "records/buffer.h"
#include "records/record_frame.h"
#include "support/child.h"
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

Connection connection(u8 type, u8 cc, i64 recl = 0) {
  Connection c;
  c.rectype = type;
  c.cc = cc;
  c.recl = recl;
  return c;
}

/// A unit on a file of its own.
class Output {
 public:
  explicit Output(const Connection& c) : fd_(memory_file()), lub_(fd_, c) {}
  ~Output() { close(fd_); }
  For_Lub* operator->() { return &lub_.lub(); }
  For_File_Info& file() { return lub_.file(); }
  int fd() const { return fd_; }
  std::string text() const { return contents(fd_); }
  int put(const std::string& text) { return ::put(lub_.lub(), text); }
  /// Puts text behind what the record holds.
  void add(const std::string& text) {
    memcpy(lub_->lub_a_cursor, text.data(), text.size());
    lub_->lub_a_high_water = lub_->lub_a_cursor += text.size();
  }
  int write_held() { return for__write_output(&lub_.lub(), nullptr, 0); }

 private:
  int fd_;
  Loose_Lub lub_;
};

TEST(PutRecord, ControlBytesByTypeAndCarriageControl) {
  using namespace std::string_literals;
  const std::string counted = "\4\0\0\0text\4\0\0\0"s;
  enum { kPlain, kCrlfDirect, kBigEndian };
  const struct {
    u8 type, cc;
    i64 room;                   ///< for the data of a record with RECL 8
    std::string written, open;  ///< of "text"; without its terminator
    int kind = kPlain;
  } kRows[] = {
      {1, CC_NONE, 8, "text    ", "text    "},
      {1, CC_LIST, 7, "text   \n", "text    "},
      {1, CC_LIST, 8, "text    \r\n", "text      ", kCrlfDirect},
      {1, CC_NONE, 8, "text    \r\n", "text      ", kCrlfDirect},
      {2, CC_NONE, 8, counted, counted},
      {4, CC_LIST, 8, counted, counted},
      {4, CC_FORTRAN, 8, counted, counted},
      {4, CC_NONE, 8, "\0\0\0\4text\0\0\0\4"s, "\0\0\0\4text\0\0\0\4"s, kBigEndian},
      {5, CC_LIST, 8, "text", "text"},
      {6, CC_NONE, 8, "text\n", "text"},
      {6, CC_LIST, 8, "text\n", "text"},
      {7, CC_LIST, 8, "text\r", "text"},
      {8, CC_LIST, 8, "text\r\n", "text"},
      {0, CC_NONE, 8, "text", "text"},
      {0, CC_LIST, 8, "text\n", "text"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE("type " + std::to_string(row.type) + " cc " + std::to_string(row.cc));
    Connection c = connection(row.type, row.cc, 8);
    c.direct = c.compat = row.kind == kCrlfDirect;
    c.big_endian = row.kind == kBigEndian;
    Output unit(c);
    memset(unit->lub_a_buffer, '#', 200);
    ASSERT_EQ(start_formatted_record(*unit.operator->()), 0);
    EXPECT_EQ(unit->lub_a_rec_end - unit->lub_a_cursor, row.room);
    EXPECT_EQ(unit->lub_a_data_start, unit->lub_a_cursor);
    EXPECT_EQ(unit.put("text"), 0);
    EXPECT_EQ(unit.text(), row.written);
    EXPECT_EQ(unit->lub_disk_pos, static_cast<i64>(row.written.size()));
    EXPECT_EQ(unit->lub_file_pos, unit->lub_disk_pos);
    // The request to leave the terminator out counts for one record.
    unit->lub_f_no_terminator = 1;
    for (int i = 0; i < 2; ++i) EXPECT_EQ(unit.put("text"), 0);
    EXPECT_EQ(unit.text(), row.written + row.open + row.written);
  }
  Output full(connection(RECTYPE_FIXED, CC_LIST, 4));
  EXPECT_EQ(full.put("text"), 0);
  EXPECT_EQ(full.text(), "text") << "there is no byte left for the line end";
  Output segmented(connection(RECTYPE_SEGMENTED, CC_NONE));
  EXPECT_EQ(segmented.put("text"), MSG_RECORD_TYPE);
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
    if (*cell == 'D') {
      out += text;
    } else {
      out += *cell == 'L' ? '\n' : *cell == 'R' ? '\r' : *cell == 'F' ? '\f' : *cell == 'B' ? ' ' : control;
    }
  }
  return out;
}

void check_controls(const Control_Row& row, bool f90, bool console, bool open, bool unterminated) {
  SCOPED_TRACE(std::string("control ") + row.control + " console " + std::to_string(console) + " open " +
               std::to_string(open) + " unterminated " + std::to_string(unterminated));
  enum { kNothing, kAfterRecord, kAfterPrompt };  // which kind of output owes a line feed
  for (int state = 0; state < 6; ++state) {
    const int owes = state / 2;
    Connection c = connection(RECTYPE_STREAM_LF, CC_FORTRAN);
    c.f90_rtl = f90;
    c.compat = state & 1;
    c.stream_kind = console ? STREAM_CONSOLE_OUT : STREAM_FMT_SEQUENTIAL;
    for (const std::string text : {"text", ""}) {
      Output unit(c);
      For_File_Info& fi = unit.file();
      fi.fi_cc_after_cr = owes == kAfterRecord;
      fi.fi_cc_after_prompt = owes == kAfterPrompt;
      fi.fi_record_open = open;
      fi.fi_cc_unterminated = unterminated;
      ASSERT_EQ(unit.put(row.control + text), 0);
      EXPECT_EQ(unit.text(), spell(row.cell[c.compat + (owes != kNothing ? 2 : 0)], row.control, text)) << state;
      const bool left_open = f90 && console && open;
      const bool keeps_line = row.control == '\0' || row.control == '$';
      EXPECT_EQ(fi.fi_cc_after_cr, !left_open && !keeps_line);
      EXPECT_EQ(fi.fi_cc_after_prompt, !left_open && keeps_line);
      EXPECT_EQ(fi.fi_cc_unterminated, left_open);
      EXPECT_EQ(fi.fi_cc_owner, left_open ? nullptr : unit.operator->());
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
  Output unit(connection(RECTYPE_STREAM_LF, CC_FORTRAN));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(unit.put(""), 0);
  EXPECT_EQ(unit.text(), "\r\n\r");
}

TEST(ListCarriageControl, OwedLineFeedComesFirst) {
  for (bool console : {false, true}) {
    for (bool unterminated : {false, true}) {
      Connection c;
      c.stream_kind = console ? STREAM_CONSOLE_OUT : STREAM_FMT_SEQUENTIAL;
      Output unit(c);
      unit.file().fi_cc_after_cr = 1;
      unit.file().fi_cc_unterminated = unterminated;
      EXPECT_EQ(unit.put("a"), 0);
      EXPECT_EQ(unit.text(), console && unterminated ? "a\n" : "\na\n");
      EXPECT_EQ(unit.file().fi_cc_after_cr, 0);
      EXPECT_EQ(unit.file().fi_cc_unterminated, unterminated && !console);
    }
  }
}

TEST(ListCarriageControl, OpenRecordOnTheConsoleHasNoLineEnd) {
  for (u8 cc : {CC_LIST, CC_NONE}) {
    Connection c = connection(RECTYPE_STREAM_LF, cc);
    c.stream_kind = STREAM_CONSOLE_OUT;
    Output unit(c);
    for (const auto& [open, text] : {std::pair{1, "prompt"}, {0, "next"}}) {
      unit.file().fi_record_open = open;
      EXPECT_EQ(unit.put(text), 0);
      EXPECT_EQ(unit.file().fi_cc_unterminated, open);
    }
    EXPECT_EQ(unit.text(), "promptnext\n");
  }
}

TEST(WriteOutput, HeldRecordsLeaveTogether) {
  Connection c;
  c.buffered = true;
  c.buffer_size = 1000;
  Output unit(c);
  std::string expected;
  bool held_some = false;
  for (int i = 0; i < 200; ++i) {
    const std::string line(i % 120, static_cast<char>('a' + i % 26));
    ASSERT_EQ(unit.put(line), 0);
    expected += line + "\n";
    EXPECT_EQ(unit->lub_file_pos, static_cast<i64>(expected.size()));
    EXPECT_EQ(unit->lub_disk_pos, lseek(unit.fd(), 0, SEEK_CUR));
    held_some |= unit->lub_f_buffer_held;
  }
  EXPECT_TRUE(held_some);
  (void)unit.write_held();
  EXPECT_EQ(unit.text(), expected);
  EXPECT_EQ(unit->lub_file_pos, static_cast<i64>(expected.size()));
  EXPECT_EQ(unit->lub_disk_pos, static_cast<i64>(expected.size()));
  EXPECT_EQ(unit.write_held(), 1) << "nothing left to flush";
}

TEST(WriteOutput, OwedLineFeedDoesNotOvertakeHeldRecords) {
  Connection c;
  c.buffered = true;
  Output unit(c);
  EXPECT_EQ(unit.put("one"), 0);
  EXPECT_TRUE(unit->lub_f_buffer_held);
  unit.file().fi_cc_after_cr = 1;
  EXPECT_EQ(unit.put("two"), 0);
  EXPECT_EQ(unit.put("three"), 0);
  EXPECT_EQ(for__flush_file_buffer(unit.operator->()), 0);
  EXPECT_EQ(unit.text(), "one\n\ntwo\nthree\n");
  EXPECT_EQ(unit->lub_file_pos, 15);
}

TEST(WriteOutput, FlushOfAnOpenRecordLetsItGoOn) {
  Output unit(Connection{});
  ASSERT_EQ(start_formatted_record(*unit.operator->()), 0);
  unit.add("abc");
  unit.file().fi_record_open = 1;
  unit.file().saved_lub = unit.operator->();
  EXPECT_EQ(unit.write_held(), 0);
  EXPECT_EQ(unit.text(), "abc");
  unit.add("def");
  unit.file().fi_record_open = 0;
  EXPECT_EQ(for__put_sf(unit.operator->()), 0);
  EXPECT_EQ(unit.text(), "abcdef\n");
  EXPECT_EQ(unit->lub_file_pos, 7);
}

TEST(WriteOutput, FileIsCutBehindARecordWhenAsked) {
  Output unit(Connection{});
  ASSERT_EQ(pwrite(unit.fd(), "0123456789", 10, 0), 10);
  lseek(unit.fd(), 2, SEEK_SET);
  EXPECT_EQ(unit.put("ab"), 0);
  EXPECT_EQ(unit.text(), "01ab\n56789");
  unit->lub_f_truncate_on_write = 1;
  EXPECT_EQ(unit.put("c"), 0);
  EXPECT_EQ(unit.text(), "01ab\nc\n");
  EXPECT_FALSE(unit->lub_f_truncate_on_write);
}

TEST(WriteFailure, ComesBackWithErrno) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  signal(SIGPIPE, SIG_IGN);
  for (const auto& [fd, number] :
       {std::pair{open("/dev/full", O_WRONLY), ENOSPC}, {ends[1], EPIPE}, {open("/dev/zero", O_RDONLY), EBADF}}) {
    for (u8 cc : {CC_LIST, CC_FORTRAN, CC_NONE}) {
      Loose_Lub lub(fd, connection(RECTYPE_STREAM_LF, cc));
      lub.file().fi_cc_after_cr = 1;
      EXPECT_EQ(put(lub.lub(), "text"), MSG_WRITE_ERROR) << number;
      EXPECT_EQ(lub->lub_errno, number);
    }
    Connection held;
    held.buffered = true;
    Loose_Lub lub(fd, held);
    EXPECT_EQ(put(lub.lub(), "text"), 0) << number;
    EXPECT_EQ(for__flush_file_buffer(&lub.lub()), MSG_WRITE_ERROR) << number;
    EXPECT_EQ(lub->lub_errno, number);
    EXPECT_EQ(for__write_output(&lub.lub(), nullptr, 0), 1) << "what could not be written is not tried again";
    close(fd);
  }
}

TEST(WriteFailure, FileSizeLimitWritesWhatFits) {
  const tamrun_test::Temp_Dir dir;
  tamrun_test::run_child([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {10, 10};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    Loose_Lub lub(open(dir.file("f").c_str(), O_RDWR | O_CREAT, 0600), Connection{});
    EXPECT_EQ(put(lub.lub(), "12345"), 0);
    EXPECT_EQ(put(lub.lub(), "abcdefgh"), MSG_WRITE_ERROR);
    EXPECT_EQ(lub->lub_errno, EFBIG);
    EXPECT_EQ(lub->lub_disk_pos, 10);
  });
  EXPECT_EQ(tamrun_test::read_file(dir.file("f")), "12345\nabcd");
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
