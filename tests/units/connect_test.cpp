// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connections and their files: what the system answers, locks, positions, sizes from the environment, descriptors from
// elsewhere.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "core/start.h"
#include "support/child.h"
#include "support/open_list.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Capture;
using tamrun_test::read_file;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;
using tamrun_test::write_file;

constexpr int kUnit = 21;
constexpr For_IO_Flags kCompat = kIostat | iof_compat_io;
constexpr uid_t kNobody = 65534;

KeyList named(const std::string& file, const std::string& status = "UNKNOWN") {
  KeyList keys;
  keys.file(file).status(status);
  return keys;
}

/// OPEN with both kinds of messages, and the reason that the unit remembered in between.
void expect_refused(int specific, int general, const std::function<KeyList()>& keys) {
  EXPECT_EQ(specific, open_unit(kUnit, keys().end(), kCompat));
  EXPECT_EQ(general, open_unit(kUnit, keys().end()));
  EXPECT_FALSE(block_of(kUnit).lub_f_connected);
}

TEST(ConnectErrno, EveryCause) {
  const Temp_Dir dir;
  write_file(dir.file("there"), "old\n");
  ASSERT_EQ(0, mkdir(dir.file("folder").c_str(), 0755));
  ASSERT_EQ(0, mkfifo(dir.file("fifo").c_str(), 0666));
  expect_refused(602, 29, [&] { return named(dir.file("none"), "OLD"); });
  expect_refused(602, 29, [&] { return named(dir.file("no/such/folder"), "NEW"); });
  expect_refused(601, 10, [&] { return named(dir.file("there"), "NEW"); });
  expect_refused(43, 43, [&] { return named(dir.file("there/below"), "UNKNOWN"); });
  expect_refused(43, 43, [&] { return named(dir.file(std::string(300, 'n')), "UNKNOWN"); });
  expect_refused(30, 30, [&] { return named(dir.file("folder"), "OLD"); });
  expect_refused(51, 51,
                 [&] { return std::move(named(dir.file("fifo"), "OLD").access("DIRECT").number(KEY_RECL, 10)); });
  EXPECT_EQ("old\n", read_file(dir.file("there")));
  // A program's own routine can fail in every way.
  static int cause;
  const auto routine = +[](char*, int*, int*, int*, size_t) { return errno = cause, -1; };
  const struct {
    int cause, specific, general;
  } kCauses[] = {{ENOENT, 602, 29}, {ENXIO, 42, 42},    {EACCES, 600, 9},       {EROFS, 600, 9},  {EEXIST, 601, 10},
                 {ENOTDIR, 43, 43}, {EMFILE, 603, 603}, {ENAMETOOLONG, 43, 43}, {EISDIR, 30, 30}, {EPERM, 30, 30}};
  for (const auto& row : kCauses) {
    cause = row.cause;
    SCOPED_TRACE(cause);
    expect_refused(row.specific, row.general, [&] {
      return std::move(
          named(dir.file("f")).variable(KEY_USEROPEN, ITM_INTEGER8, reinterpret_cast<const void*>(routine)));
    });
  }
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(ConnectErrno, TooManyOpenFiles) {
  const Temp_Dir dir;
  run_child([&] {
    const rlimit few = {20, 20};
    setrlimit(RLIMIT_NOFILE, &few);
    int code = 0, unit = 100;
    for (; code == 0; ++unit) code = open_unit(unit, named(dir.file("f" + std::to_string(unit))).end());
    EXPECT_EQ(MSG_TOO_MANY_OPEN_FILES, code);
    EXPECT_EQ(0, close_unit(100));
    EXPECT_EQ(0, open_unit(99, named(dir.file("again")).end()));
  });
}

TEST(ConnectErrno, PermissionsDecideTheDirection) {
  const Temp_Dir dir;
  chmod(dir.path().c_str(), 0777);
  for (const auto& [name, mode] : {std::pair{"read", 0444}, {"write", 0222}, {"none", 0}}) {
    write_file(dir.file(name), "x\n");
    chmod(dir.file(name).c_str(), static_cast<mode_t>(mode));
  }
  run_child([&] {
    ASSERT_TRUE(getuid() != 0 || setuid(kNobody) == 0);
    EXPECT_EQ(0, open_unit(kUnit, named(dir.file("read"), "OLD").end()));
    EXPECT_TRUE(block_of(kUnit).lub_f_readonly && block_of(kUnit).lub_f_readonly_keyword);
    EXPECT_EQ(46, close_unit(kUnit, KeyList().text(KEY_DISPOSE, "DELETE").end())) << "it may not be deleted";
    EXPECT_EQ(0, close_unit(kUnit));
    EXPECT_EQ(0, open_unit(kUnit, named(dir.file("write"), "OLD").end(), kCompat));
    EXPECT_TRUE(block_of(kUnit).lub_f_writeonly && !block_of(kUnit).lub_f_readonly);
    EXPECT_EQ(0, close_unit(kUnit));
    expect_refused(600, 9, [&] { return named(dir.file("none"), "OLD"); });
    EXPECT_EQ(9, open_unit(kUnit, named(dir.file("write"), "OLD").end()));
    EXPECT_EQ(9, open_unit(kUnit, named(dir.file("read"), "OLD").end(), kIostat | iof_legacy_defaults));
    EXPECT_EQ(9, open_unit(kUnit, named(dir.file("read"), "OLD").text(KEY_ACTION, "WRITE").end()));
    EXPECT_EQ(9, open_unit(kUnit, named(dir.file("write"), "OLD").text(KEY_ACTION, "READ").end()));
    EXPECT_EQ(38, open_unit(kUnit, named(dir.file("read"), "REPLACE").end())) << "it cannot be emptied";
    EXPECT_EQ("x\n", read_file(dir.file("read")));
    // The tail of a file that may not be read stays as it is.
    KeyList keys = named(dir.file("write"), "OLD");
    keys.text(KEY_ACTION, "WRITE").text(KEY_POSITION, "APPEND").text(KEY_RECORDTYPE, "FIXED").number(KEY_RECL, 2);
    EXPECT_EQ(0, open_unit(kUnit, keys.end()));
    EXPECT_EQ(2, block_of(kUnit).lub_file_pos);
  });
}

TEST(ConnectStatus, DecidesWhatBecomesOfTheFile) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  const struct {
    const char* status;
    bool exists;
    int code;
    const char* content;
  } kRows[] = {{"OLD", true, 0, "abc"},  {"OLD", false, 29, ""},      {"NEW", true, 10, "abc"},
               {"NEW", false, 0, ""},    {"UNKNOWN", true, 0, "abc"}, {"UNKNOWN", false, 0, ""},
               {"REPLACE", true, 0, ""}, {"REPLACE", false, 0, ""}};
  for (const auto& row : kRows) {
    unlink(file.c_str());
    if (row.exists) write_file(file, "abc");
    EXPECT_EQ(row.code, open_unit(kUnit, named(file, row.status).end())) << row.status;
    EXPECT_EQ(row.content, read_file(file)) << row.status;
    EXPECT_EQ(row.code == 0 || row.exists, access(file.c_str(), F_OK) == 0) << row.status;
    EXPECT_EQ(0, close_unit(kUnit));
  }
  unlink(file.c_str());
  EXPECT_EQ(29, open_unit(kUnit, named(file).text(KEY_ACTION, "READ").end())) << "nothing is made to be read";
  EXPECT_EQ(0, open_unit(kUnit, KeyList().file(file).end())) << "no STATUS= is NEW";
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(10, open_unit(kUnit, KeyList().file(file).end()));
  EXPECT_EQ(46, open_unit(kUnit, named(file, "NEW").access("APPEND").end()));
  EXPECT_EQ(0, open_unit(kUnit, KeyList().end(), kCompat)) << "compatible: a scratch file";
  EXPECT_TRUE(block_of(kUnit).lub_f_scratch);
  EXPECT_EQ(0, close_unit(kUnit));
}

/// Runs `body` while another process has the file open on a unit of its own.
void while_another_has(KeyList keys, const std::function<void()>& body) {
  int ready[2], done[2];
  ASSERT_TRUE(pipe(ready) == 0 && pipe(done) == 0);
  const pid_t other = fork();
  if (other == 0) {
    close(done[1]);
    char byte = open_unit(kUnit, keys.end()) == 0 ? 'y' : 'n';
    if (write(ready[1], &byte, 1) != 1 || read(done[0], &byte, 1) < 0) _exit(1);
    _exit(0);
  }
  close(done[0]);
  char answer = 0;
  EXPECT_EQ(1, read(ready[0], &answer, 1));
  EXPECT_EQ('y', answer);
  body();
  close(done[1]);
  close(ready[0]);
  close(ready[1]);
  waitpid(other, nullptr, 0);
}

TEST(ConnectShare, LocksHoldBetweenProcesses) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  write_file(file, "");
  const struct {
    std::vector<u8> holder, comer;  // KEY_SHARE for DENYRW, its complement for DENYNONE
    int code;
  } kRows[] = {{{KEY_SHARE}, {KEY_SHARE}, 269},       {{KEY_SHARE}, {KEY_SHARED}, 269},
               {{KEY_SHARED}, {KEY_SHARE}, 269},      {{KEY_SHARED}, {KEY_SHARED}, 0},
               {{KEY_NOSHARED}, {KEY_SHARED}, 269},   {{KEY_SHARE}, {}, 0},
               {{KEY_NOSHARED}, {KEY_NOSHARED}, 269}, {{}, {KEY_SHARE}, 0}};
  const auto keys = [&](const std::vector<u8>& share) {
    KeyList list = named(file);
    for (const u8 key : share) {
      if (key == KEY_SHARE)
        list.text(KEY_SHARE, "DENYRW");
      else
        list.mark(key);
    }
    return list;
  };
  for (const auto& row : kRows) {
    while_another_has(keys(row.holder), [&] {
      EXPECT_EQ(row.code, open_unit(kUnit, keys(row.comer).end()));
      EXPECT_EQ(0, close_unit(kUnit));
    });
    EXPECT_EQ(0, open_unit(kUnit, keys(row.comer).end())) << "the lock went with its process";
    EXPECT_EQ(0, close_unit(kUnit));
  }
  // CLOSE gives the lock back while another unit of the process has the file.
  EXPECT_EQ(0, open_unit(kUnit, named(file).text(KEY_SHARE, "DENYRW").end()));
  EXPECT_TRUE(block_of(kUnit).lub_f_share_denyrw);
  EXPECT_EQ(0, close_unit(kUnit));
  while_another_has(keys({KEY_SHARE}), [] {});
}

TEST(ConnectShare, LockByDirection) {
  const Temp_Dir dir;
  const struct {
    const char *action, *share;
    u8 mark;
    bool locked, denynone, denyrw;
  } kRows[] = {{"READ", "DENYRW", 0, true, true, false},
               {"READ", "DENYRW", KEY_NOSHARED, false, true, false},
               {"READ", "", KEY_NOSHARED, false, false, false},
               {"READ", "", KEY_SHARED, true, true, false},
               {"WRITE", "DENYNONE", 0, false, false, false},
               {"WRITE", "", KEY_SHARED, false, false, false},
               {"WRITE", "DENYRW", KEY_NOSHARED, true, false, true},
               {"READWRITE", "DENYNONE", 0, true, true, false},
               {"READWRITE", "", KEY_NOSHARED, true, false, true}};
  write_file(dir.file("f"), "");
  for (const auto& row : kRows) {
    KeyList keys = named(dir.file("f"));
    keys.text(KEY_ACTION, row.action);
    if (*row.share != '\0') keys.text(KEY_SHARE, row.share);
    if (row.mark != 0) keys.mark(row.mark);
    EXPECT_EQ(0, open_unit(kUnit, keys.end()));
    const For_Lub& lub = block_of(kUnit);
    SCOPED_TRACE(std::string(row.action) + row.share);
    EXPECT_EQ(row.locked, lub.lub_f_file_locked);
    EXPECT_EQ(row.denynone, lub.lub_f_share_denynone);
    EXPECT_EQ(row.denyrw, lub.lub_f_share_denyrw);
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

/// Content of a file, how it is opened for POSITION='APPEND', and where the next record goes.
struct Append_Row {
  std::string content;
  std::vector<std::pair<u8, i64>> keys;
  For_IO_Flags options;
  i64 position;
};

const std::string kNul1(1, '\0');

TEST(ConnectPosition, AppendTakesTheEndMarkBack) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  const std::string little("\1\0\0\0\x1a\1\0\0\0", 9), big("\0\0\0\1\x1a\0\0\0\1", 9);
  const std::string long_mark = "\x1a" + std::string(1499, ' ');
  const std::vector<std::pair<u8, i64>> fixed = {{KEY_RECORDTYPE, RECTYPE_FIXED}, {KEY_RECL, 4}};
  const std::vector<std::pair<u8, i64>> unf_fixed = {
      {KEY_FORM, FORM_UNFORMATTED}, {KEY_RECORDTYPE, RECTYPE_FIXED}, {KEY_RECL, 1}};
  const std::vector<std::pair<u8, i64>> variable = {{KEY_FORM, FORM_UNFORMATTED}};
  const std::vector<std::pair<u8, i64>> segmented = {{KEY_FORM, FORM_UNFORMATTED}, {KEY_RECORDTYPE, RECTYPE_SEGMENTED}};
  const Append_Row kRows[] = {
      {"abc\n", {}, 0, 4},
      {"\x1a\n", {}, 0, 2},
      {"abcd\x1a   ", fixed, 0, 4},
      {"abcd\x1a  x", fixed, 0, 8},
      {"abcda   ", fixed, 0, 8},
      {"\x1a ", fixed, 0, 2},
      {"abcd" + long_mark, {{KEY_RECORDTYPE, RECTYPE_FIXED}, {KEY_RECL, 1500}}, 0, 4},
      {std::string("abcd\x1a\0\0\0", 8), unf_fixed, 0, 4},
      {"abcd\x1a   ", unf_fixed, 0, 8},
      {little + little, variable, 0, 9},
      {big, variable, 0, 9},
      {std::string("\1\0\0\0x\1\0\0\0", 9), variable, 0, 9},
      {"short", variable, 0, 5},
      {std::string("ab\1\0\x1a\0", 6), segmented, 0, 2},
      {std::string("ab\3\0\x1a\0", 6), segmented, 0, 6},
      {"K\x82", variable, iof_msf_layout, 1},
      {"K\1a\1", variable, iof_msf_layout, 4},
      {"ab\x1a", {{KEY_FORM, FORM_BINARY}}, 0, 3},
  };
  for (const char* action : {"READWRITE", "WRITE"}) {
    int row = 0;
    for (const Append_Row& want : kRows) {
      SCOPED_TRACE(action + std::to_string(row++));
      write_file(file, want.content);
      KeyList keys = named(file);
      keys.text(KEY_POSITION, "APPEND").text(KEY_ACTION, action);
      for (const auto& [key, value] : want.keys) keys.number(key, value);
      ASSERT_EQ(0, open_unit(kUnit, keys.end(), kIostat | want.options));
      const For_Lub& lub = block_of(kUnit);
      EXPECT_EQ(want.position, lseek(lub.lub_fd, 0, SEEK_CUR));
      EXPECT_EQ(want.position, lub.lub_file_pos);
      EXPECT_EQ(FOR_K_REC_UNKNOWN, lub.lub_next_rec);
      EXPECT_TRUE(lub.lub_f_truncate_on_write);
      EXPECT_FALSE(lub.lub_f_at_end);
      EXPECT_EQ(0, close_unit(kUnit));
      EXPECT_EQ(want.content, read_file(file)) << "nothing is written yet";
    }
  }
}

TEST(ConnectPosition, ByAccessAndByDefault) {
  const Temp_Dir dir;
  write_file(dir.file("f"), "abc\n");
  EXPECT_EQ(0, open_unit(kUnit, named(dir.file("f")).access("APPEND").end()));
  EXPECT_EQ(4, lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR));
  EXPECT_FALSE(block_of(kUnit).lub_f_truncate_on_write);
  EXPECT_EQ(FOR_K_REC_UNKNOWN, block_of(kUnit).lub_next_rec);
  EXPECT_EQ(0, close_unit(kUnit));
  for (const char* position : {"ASIS", "REWIND"}) {
    EXPECT_EQ(0, open_unit(kUnit, named(dir.file("f")).text(KEY_POSITION, position).end()));
    EXPECT_EQ(0, lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR));
    EXPECT_EQ(1, block_of(kUnit).lub_next_rec);
    EXPECT_EQ(*position == 'A', block_of(kUnit).lub_f_at_end);
    EXPECT_EQ(0, close_unit(kUnit));
  }
  EXPECT_EQ(0, open_unit(kUnit, named(dir.file("f")).access("STREAM").end()));
  EXPECT_FALSE(block_of(kUnit).lub_f_truncate_on_write) << "unformatted streams are never cut";
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(ConnectUserOpen, RoutineSuppliesTheDescriptor) {
  const Temp_Dir dir;
  static std::string seen_path;
  static int seen[3];
  const auto routine = +[](char* path, int* flags, int* mode, int* unit, size_t length) {
    seen_path.assign(path, length);
    seen[0] = *flags, seen[1] = *mode, seen[2] = *unit;
    return open(path, *flags, *mode);
  };
  KeyList keys = named(dir.file("f"));
  keys.variable(KEY_USEROPEN, ITM_INTEGER8, reinterpret_cast<const void*>(routine));
  EXPECT_EQ(0, open_unit(kUnit, keys.end()));
  EXPECT_EQ(dir.file("f"), seen_path);
  EXPECT_EQ(O_RDWR | O_CREAT, seen[0]);
  EXPECT_EQ(0666, seen[1]);
  EXPECT_EQ(kUnit, seen[2]);
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(0, access(dir.file("f").c_str(), F_OK));
}

TEST(ConnectSizes, FromTheEnvironment) {
  const Temp_Dir dir;
  const struct {
    const char *variable, *value;
    int formatted, unformatted;  // results of an OPEN
    i64 For_Lub::*field;
    i64 expected;
  } kRows[] = {{"FORT_BLOCKSIZE", "1000", 0, 0, &For_Lub::lub_blocksize, 1024},
               {"FORT_BLOCKSIZE", " 512 ", 0, 0, &For_Lub::lub_buffer_size, 512},
               {"FORT_BLOCKSIZE", "0", 0, 0, &For_Lub::lub_blocksize, 131072},
               {"FORT_BLOCKSIZE", "2147467265", 106, 106, nullptr, 0},
               {"FORT_BLOCKSIZE", "-1", 106, 106, nullptr, 0},
               {"FORT_BUFFERCOUNT", "4", 0, 0, &For_Lub::lub_buffer_size, 32768},
               {"FORT_BUFFERCOUNT", "127", 0, 0, &For_Lub::lub_buffer_size, 127 * 8192},
               {"FORT_BUFFERCOUNT", "128", 107, 107, nullptr, 0},
               {"FORT_FMT_RECL", "200", 0, 0, &For_Lub::lub_wrap_margin, 201},
               {"FORT_FMT_RECL", "abc", 99, 0, nullptr, 0},
               {"FORT_UFMT_RECL", "-5", 0, 100, nullptr, 0},
               {"FORT_FMT_RECL", "12 4 x", 99, 0, nullptr, 0},
               {"FORT_NO_BUFFERING", "1", 0, 0, &For_Lub::lub_buffer_threshold, 1},
               {"FOR_CONTROL_VIRTUAL_RECL", "100", 0, 0, &For_Lub::lub_rec_bytes, 101},
               {"FOR_CONTROL_VIRTUAL_RECL", "0", 0, 0, &For_Lub::lub_rec_bytes, 134}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.variable) + "=" + row.value);
    run_child([&] {
      setenv(row.variable, row.value, 1);
      for_rtl_init_(nullptr, nullptr);
      EXPECT_EQ(row.unformatted, open_unit(kUnit, named(dir.file("f")).form("UNFORMATTED").end()));
      EXPECT_EQ(0, close_unit(kUnit));
      EXPECT_EQ(row.formatted, open_unit(kUnit, named(dir.file("f")).end()));
      if (row.field == nullptr) return;
      EXPECT_EQ(row.expected, block_of(kUnit).*row.field);
    });
  }
  run_child([&] {
    setenv("FORT_UFMT_RECL", "25", 1);
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(kUnit, named(dir.file("f")).form("UNFORMATTED").end()));
    EXPECT_EQ(25, block_of(kUnit).lub_recl);
    EXPECT_EQ(100, block_of(kUnit).lub_recl_limit);
    EXPECT_EQ(108, block_of(kUnit).lub_rec_bytes);
  });
}

TEST(ConnectSizes, WhatIsBuffered) {
  const Temp_Dir dir;
  const struct {
    const char *variable, *value, *keyword;
    For_IO_Flags options;
    bool buffered, threshold;
  } kRows[] = {{"X", "", "", 0, false, false},
               {"X", "", "YES", 0, true, false},
               {"FORT_BUFFERED", "yes", "", 0, true, false},
               {"FORT_BUFFERED", "no", "", 0, false, false},
               {"FORT_BUFFERED", "true", "NO", 0, false, false},
               {"X", "", "", iof_buffered_io, true, false},
               {"X", "", "NO", iof_buffered_io, false, false},
               {"FORT_NO_BUFFERING", "1", "YES", iof_buffered_io, false, true},
               {"FORT_BUFFERING_THRESHOLD", "5", "YES", 0, true, true},
               {"FORT_BUFFERING_THRESHOLD", "5", "", 0, false, false}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.variable) + row.value + row.keyword);
    run_child([&] {
      setenv(row.variable, row.value, 1);
      KeyList keys = named(dir.file("f"));
      if (*row.keyword != '\0') keys.text(KEY_BUFFERED, row.keyword);
      EXPECT_EQ(0, open_unit(kUnit, keys.end(), kIostat | row.options));
      EXPECT_EQ(row.buffered, block_of(kUnit).lub_f_buffered);
      EXPECT_EQ(row.buffered, block_of(kUnit).lub_f_user_buffered);
      EXPECT_EQ(row.threshold, block_of(kUnit).lub_f_threshold_set);
    });
  }
  for (const char* bad : {"0", "-3", "many", ""}) {
    run_child([&] {
      setenv("FORT_BUFFERING_THRESHOLD", bad, 1);
      EXPECT_EQ(119, open_unit(kUnit, named(dir.file("f")).text(KEY_BUFFERED, "YES").end())) << bad;
    });
  }
  run_child([] {
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, KeyList().text(KEY_BUFFERED, "YES").status("UNKNOWN").end()));
    EXPECT_FALSE(block_of(UNIT_STDOUT).lub_f_buffered) << "a standard stream";
    EXPECT_EQ(0, close_unit(UNIT_STDOUT));
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, KeyList().status("UNKNOWN").end(), kIostat | iof_buffered_stdout));
    EXPECT_TRUE(block_of(UNIT_STDOUT).lub_f_buffered);
  });
}

TEST(ConnectSizes, TheVirtualLimitThatIsNoNumberIsToldEachTime) {
  const Temp_Dir dir;
  const auto child = run_child([&] {
    setenv("FOR_CONTROL_VIRTUAL_RECL", "abc", 1);
    for (int unit : {21, 22}) EXPECT_EQ(0, open_unit(unit, named(dir.file("f")).number(KEY_RECL, 50000).end()));
    EXPECT_EQ(20481, block_of(21).lub_rec_bytes);
    EXPECT_TRUE(block_of(21).lub_f_virtual_recl);
    EXPECT_EQ(50000, block_of(21).lub_recl_limit);
  });
  const std::string text = "FOR_CONTROL_VIRTUAL_RECL must be defined as a number; zero turns off virtualization.\n";
  EXPECT_EQ(text + text, child.out);
}

TEST(ConnectDescriptor, OptionsOfForFdopen) {
  const Temp_Dir dir;
  const struct {
    const char* options;
    int result;
    bool formatted, blank_null;
    int cc;
  } kRows[] = {{"", 0, true, true, CC_LIST},
               {" newline = yes , blank=zero", 0, true, false, CC_LIST},
               {"NEWLINE=NO", 0, true, true, CC_NONE},
               {"Status=old,BLANK=NULL", 0, true, true, CC_LIST},
               {"STATUS=SCRATCH", 0, true, true, CC_LIST},
               {"FORM=UNFORMATTED,NEWLINE=NO", 0, false, true, CC_NONE},
               {"FORM=UNFORMATTED,BLANK=ZERO", 0, false, false, CC_NONE},
               {"NEWLINE=MAYBE", EINVAL, 0, 0, 0},
               {"STATUS=NEW", EINVAL, 0, 0, 0},
               {"NEWLINE", EINVAL, 0, 0, 0},
               {"RECL=5", EINVAL, 0, 0, 0}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.options);
    const int fd = open(dir.file("f").c_str(), O_RDWR | O_CREAT, 0666);
    EXPECT_EQ(row.result, for_fdopen(fd, kUnit, row.options, strlen(row.options)));
    if (row.result != 0) {
      EXPECT_EQ(0, close(fd)) << "still the caller's";
      continue;
    }
    const For_Lub& lub = block_of(kUnit);
    EXPECT_EQ(fd, lub.lub_fd);
    EXPECT_EQ(row.formatted, lub.lub_f_formatted);
    EXPECT_EQ(row.blank_null, lub.lub_f_blank_null);
    EXPECT_EQ(row.cc, lub.lub_cc);
    EXPECT_FALSE(lub.lub_f_scratch);
    EXPECT_TRUE(lub.lub_f_f90_rtl && lub.lub_f_pad);
    EXPECT_EQ(EBADF, for_fdopen(fd, kUnit, "", 0)) << "connected already";
    EXPECT_EQ(0, close_unit(kUnit));
    EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << "the unit has closed it";
  }
  EXPECT_EQ(EBADF, for_fdopen(-1, kUnit, "", 0));
  EXPECT_EQ(EBADF, for_fdopen(1000, kUnit, "", 0));
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(ConnectDescriptor, DeviceNames) {
  For_Lub lub = {};
  const struct {
    const char* name;
    int value;
    const char* left;
  } kRows[] = {{"CON", 1, "CON"},          {"CON.TXT", 1, "CON"},  {"USER", -6, "USER"}, {"USER.", -6, "USER"},
               {"USER.X", -1, "USER.X"},   {"ERR.x", -1, "ERR.x"}, {"LPT4", -2, "LPT4"}, {"LPT1.x", -1, "LPT1.x"},
               {"NUL.a.b", -1, "NUL.a.b"}, {"con", -1, "con"},     {"PR", -1, "PR"},     {"", -1, ""},
               {"AUX", -4, "AUX"},         {"LINE", -4, "LINE"}};
  for (const auto& row : kRows) {
    char name[16];
    strcpy(name, row.name);
    lub.lub_f_compat_io = 0;
    EXPECT_EQ(-1, for__is_special_device(&lub, name));
    lub.lub_f_compat_io = 1;
    EXPECT_EQ(row.value, for__is_special_device(&lub, name)) << row.name;
    EXPECT_STREQ(row.left, name);
  }
}

}  // namespace
