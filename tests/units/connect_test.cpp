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

using namespace tamrun_test;

constexpr int kUnit = 21;
constexpr For_IO_Flags kCompat = kIostat | iof_compat_io;
constexpr uid_t kNobody = 65534;

void expect_refused(int specific, int general, const std::string& keys) {
  EXPECT_EQ(specific, open_unit(kUnit, keys, kCompat)) << keys;
  EXPECT_EQ(general, open_unit(kUnit, keys)) << keys;
  EXPECT_FALSE(block_of(kUnit).lub_f_connected);
}

TEST(ConnectErrno, EveryCause) {
  const Temp_Dir dir;
  write_file(dir.file("there"), "old\n");
  ASSERT_EQ(0, mkdir(dir.file("folder").c_str(), 0755));
  ASSERT_EQ(0, mkfifo(dir.file("fifo").c_str(), 0666));
  expect_refused(602, 29, "STATUS=OLD FILE=" + dir.file("none"));
  expect_refused(602, 29, "STATUS=NEW FILE=" + dir.file("no/such/folder"));
  expect_refused(601, 10, "STATUS=NEW FILE=" + dir.file("there"));
  expect_refused(43, 43, on_file(dir.file("there/below")));
  expect_refused(43, 43, on_file(dir.file(std::string(300, 'n'))));
  expect_refused(30, 30, "STATUS=OLD FILE=" + dir.file("folder"));
  expect_refused(51, 51, "STATUS=OLD ACCESS=DIRECT RECL=10 FILE=" + dir.file("fifo"));
  EXPECT_EQ("old\n", read_file(dir.file("there")));
  // A program's own routine can fail in every way.
  static int cause;
  const auto routine = +[](char*, int*, int*, int*, size_t) { return errno = cause, -1; };
  const struct {
    int cause, specific, general;
  } kCauses[] = {{ENXIO, 42, 42},   {EACCES, 600, 9},   {EROFS, 600, 9},
                 {EEXIST, 601, 10}, {EMFILE, 603, 603}, {EPERM, 30, 30}};
  for (const auto& row : kCauses) {
    cause = row.cause;
    for (const bool specific : {true, false}) {
      KeyList keys = specifiers(on_file(dir.file("f")));
      keys.variable(KEY_USEROPEN, ITM_INTEGER8, reinterpret_cast<const void*>(routine));
      EXPECT_EQ(specific ? row.specific : row.general, open_unit(kUnit, keys.end(), specific ? kCompat : kIostat));
    }
  }
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(ConnectErrno, TooManyOpenFiles) {
  const Temp_Dir dir;
  run_child([&] {
    const rlimit few = {20, 20};
    setrlimit(RLIMIT_NOFILE, &few);
    int code = 0, unit = 100;
    for (; code == 0; ++unit) code = open_unit(unit, on_file(dir.file(std::to_string(unit))));
    EXPECT_EQ(MSG_TOO_MANY_OPEN_FILES, code);
    EXPECT_EQ(0, close_unit(100));
    EXPECT_EQ(0, open_unit(99, on_file(dir.file("again"))));
  });
}

TEST(ConnectErrno, PermissionsDecideTheDirection) {
  const Temp_Dir dir;
  chmod(dir.path().c_str(), 0777);
  for (const auto& [name, mode] : {std::pair{"read", 0444}, {"write", 0222}, {"none", 0}}) {
    write_file(dir.file(name), "x\n");
    chmod(dir.file(name).c_str(), static_cast<mode_t>(mode));
  }
  const std::string readable = "FILE=" + dir.file("read"), writable = "FILE=" + dir.file("write");
  run_child([&] {
    ASSERT_TRUE(getuid() != 0 || setuid(kNobody) == 0);
    EXPECT_EQ(0, open_unit(kUnit, readable + " STATUS=OLD"));
    EXPECT_TRUE(block_of(kUnit).lub_f_readonly && block_of(kUnit).lub_f_readonly_keyword);
    EXPECT_EQ(46, close_unit(kUnit, "DISPOSE=DELETE")) << "it may not be deleted";
    EXPECT_EQ(0, close_unit(kUnit));
    EXPECT_EQ(0, open_unit(kUnit, writable + " STATUS=OLD", kCompat));
    EXPECT_TRUE(block_of(kUnit).lub_f_writeonly && !block_of(kUnit).lub_f_readonly);
    EXPECT_EQ(0, close_unit(kUnit));
    expect_refused(600, 9, "STATUS=OLD FILE=" + dir.file("none"));
    EXPECT_EQ(9, open_unit(kUnit, writable + " STATUS=OLD"));
    EXPECT_EQ(9, open_unit(kUnit, readable + " STATUS=OLD", kIostat | iof_legacy_defaults));
    EXPECT_EQ(9, open_unit(kUnit, readable + " STATUS=OLD ACTION=WRITE"));
    EXPECT_EQ(9, open_unit(kUnit, writable + " STATUS=OLD ACTION=READ"));
    EXPECT_EQ(38, open_unit(kUnit, readable + " STATUS=REPLACE")) << "it cannot be emptied";
    EXPECT_EQ("x\n", read_file(dir.file("read")));
    // The tail of a file that may not be read stays as it is.
    EXPECT_EQ(0, open_unit(kUnit, writable + " STATUS=OLD ACTION=WRITE POSITION=APPEND RECORDTYPE=FIXED RECL=2"));
    EXPECT_EQ(2, block_of(kUnit).lub_file_pos);
  });
}

TEST(ConnectStatus, DecidesWhatBecomesOfTheFile) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  const struct {
    const char* specifiers;
    bool exists;
    int code;
    const char* content;
  } kRows[] = {{"STATUS=OLD", true, 0, "abc"},
               {"STATUS=OLD", false, 29, ""},
               {"STATUS=NEW", true, 10, "abc"},
               {"STATUS=NEW", false, 0, ""},
               {"", true, 10, "abc"},  // the same as NEW
               {"", false, 0, ""},
               {"STATUS=UNKNOWN", true, 0, "abc"},
               {"STATUS=UNKNOWN", false, 0, ""},
               {"STATUS=UNKNOWN ACTION=READ", false, 29, ""},
               {"STATUS=REPLACE", true, 0, ""},
               {"STATUS=REPLACE", false, 0, ""},
               {"STATUS=NEW ACCESS=APPEND", true, 46, "abc"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.specifiers);
    unlink(file.c_str());
    if (row.exists) write_file(file, "abc");
    EXPECT_EQ(row.code, open_unit(kUnit, "FILE=" + file + ' ' + row.specifiers));
    EXPECT_EQ(row.content, read_file(file));
    EXPECT_EQ(row.code == 0 || row.exists, access(file.c_str(), F_OK) == 0);
    EXPECT_EQ(0, close_unit(kUnit));
  }
  EXPECT_EQ(0, open_unit(kUnit, "", kCompat)) << "compatible: a scratch file";
  EXPECT_TRUE(block_of(kUnit).lub_f_scratch);
  EXPECT_EQ(0, close_unit(kUnit));
}

/// Runs `body` while another process has the file open on a unit of its own.
void while_another_has(const std::string& keys, const std::function<void()>& body) {
  int ready[2], done[2];
  ASSERT_TRUE(pipe(ready) == 0 && pipe(done) == 0);
  const pid_t other = fork();
  if (other == 0) {
    close(done[1]);
    char byte = open_unit(kUnit, keys) == 0 ? 'y' : 'n';
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
  const std::string file = dir.file("f"), keys = on_file(file);
  write_file(file, "");
  const struct {
    const char *holder, *comer;
    int code;
  } kRows[] = {{"SHARE=DENYRW", "SHARE=DENYRW", 269}, {"SHARE=DENYRW", "SHARED", 269},
               {"SHARED", "SHARE=DENYRW", 269},       {"SHARED", "SHARED", 0},
               {"NOSHARED", "SHARED", 269},           {"SHARE=DENYRW", "", 0},
               {"NOSHARED", "NOSHARED", 269},         {"", "SHARE=DENYRW", 0}};
  for (const auto& row : kRows) {
    while_another_has(keys + row.holder, [&] {
      EXPECT_EQ(row.code, open_unit(kUnit, keys + row.comer)) << row.holder << ' ' << row.comer;
      EXPECT_EQ(0, close_unit(kUnit));
    });
    EXPECT_EQ(0, open_unit(kUnit, keys + row.comer)) << "the lock went with its process";
    EXPECT_EQ(0, close_unit(kUnit));
  }
  // CLOSE gives the lock back while another unit of the process has the file.
  EXPECT_EQ(0, open_unit(kUnit, keys + "SHARE=DENYRW"));
  EXPECT_EQ(0, close_unit(kUnit));
  while_another_has(keys + "SHARE=DENYRW", [] {});
}

TEST(ConnectShare, LockByDirection) {
  const Temp_Dir dir;
  const struct {
    const char* specifiers;
    bool locked, denynone, denyrw;
  } kRows[] = {{"ACTION=READ SHARE=DENYRW", true, true, false},
               {"ACTION=READ SHARE=DENYRW NOSHARED", false, true, false},
               {"ACTION=READ NOSHARED", false, false, false},
               {"ACTION=READ SHARED", true, true, false},
               {"ACTION=WRITE SHARE=DENYNONE", false, false, false},
               {"ACTION=WRITE SHARED", false, false, false},
               {"ACTION=WRITE SHARE=DENYRW NOSHARED", true, false, true},
               {"ACTION=READWRITE SHARE=DENYNONE", true, true, false},
               {"ACTION=READWRITE NOSHARED", true, false, true}};
  write_file(dir.file("f"), "");
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.specifiers);
    EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + row.specifiers));
    const For_Lub& lub = block_of(kUnit);
    EXPECT_EQ(row.locked, lub.lub_f_file_locked);
    EXPECT_EQ(row.denynone, lub.lub_f_share_denynone);
    EXPECT_EQ(row.denyrw, lub.lub_f_share_denyrw);
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

TEST(ConnectPosition, AppendTakesTheEndMarkBack) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  const std::string little("\1\0\0\0\x1a\1\0\0\0", 9), big("\0\0\0\1\x1a\0\0\0\1", 9);
  const struct {
    std::string content;
    const char* specifiers;
    i64 position;  ///< of the next record
    For_IO_Flags options = 0;
  } kRows[] = {
      {"abc\n", "", 4},
      {"\x1a\n", "", 2},
      {"abcd\x1a   ", "RECORDTYPE=FIXED RECL=4", 4},
      {"abcd\x1a  x", "RECORDTYPE=FIXED RECL=4", 8},
      {"abcda   ", "RECORDTYPE=FIXED RECL=4", 8},
      {"\x1a ", "RECORDTYPE=FIXED RECL=4", 2},
      {"abcd\x1a" + std::string(1499, ' '), "RECORDTYPE=FIXED RECL=1500", 4},
      {std::string("abcd\x1a\0\0\0", 8), "FORM=UNFORMATTED RECORDTYPE=FIXED RECL=1", 4},
      {"abcd\x1a   ", "FORM=UNFORMATTED RECORDTYPE=FIXED RECL=1", 8},
      {little + little, "FORM=UNFORMATTED", 9},
      {big, "FORM=UNFORMATTED", 9},
      {std::string("\1\0\0\0x\1\0\0\0", 9), "FORM=UNFORMATTED", 9},
      {"short", "FORM=UNFORMATTED", 5},
      {std::string("ab\1\0\x1a\0", 6), "FORM=UNFORMATTED RECORDTYPE=SEGMENTED", 2},
      {std::string("ab\3\0\x1a\0", 6), "FORM=UNFORMATTED RECORDTYPE=SEGMENTED", 6},
      {"K\x82", "FORM=UNFORMATTED", 1, iof_msf_layout},
      {"K\1a\1", "FORM=UNFORMATTED", 4, iof_msf_layout},
      {"ab\x1a", "FORM=BINARY", 3},
  };
  for (const char* action : {"READWRITE ", "WRITE "}) {
    for (const auto& want : kRows) {
      SCOPED_TRACE(action + testing::PrintToString(want.content) + want.specifiers);
      write_file(file, want.content);
      ASSERT_EQ(0, open_unit(kUnit, on_file(file) + "POSITION=APPEND ACTION=" + action + want.specifiers,
                             kIostat | want.options));
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
  const struct {
    const char *content, *specifiers;
    i64 position, next_rec;
    bool at_end, truncates;
  } kRows[] = {{"abc\n", "ACCESS=APPEND", 4, FOR_K_REC_UNKNOWN, false, false},
               {"", "POSITION=APPEND", 0, 1, false, true},
               {"abc\n", "POSITION=ASIS", 0, 1, true, true},
               {"abc\n", "POSITION=REWIND", 0, 1, false, true},
               {"abc\n", "ACCESS=STREAM", 0, 1, true, false}};  // unformatted streams are never cut
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.specifiers);
    write_file(dir.file("f"), row.content);
    EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + row.specifiers));
    const For_Lub& lub = block_of(kUnit);
    EXPECT_EQ(row.position, lseek(lub.lub_fd, 0, SEEK_CUR));
    EXPECT_EQ(row.next_rec, lub.lub_next_rec);
    EXPECT_EQ(row.at_end, lub.lub_f_at_end);
    EXPECT_EQ(row.truncates, lub.lub_f_truncate_on_write);
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

TEST(ConnectUserOpen, RoutineSuppliesTheDescriptor) {
  const Temp_Dir dir;
  static std::string seen;
  const auto routine = +[](char* path, int* flags, int* mode, int* unit, size_t length) {
    for (const int value : {*flags, *mode, *unit}) seen += std::to_string(value) + ' ';
    seen.append(path, length);
    return open(path, *flags, *mode);
  };
  KeyList keys = specifiers(on_file(dir.file("f")));
  keys.variable(KEY_USEROPEN, ITM_INTEGER8, reinterpret_cast<const void*>(routine));
  EXPECT_EQ(0, open_unit(kUnit, keys.end()));
  EXPECT_EQ(std::to_string(O_RDWR | O_CREAT) + " 438 21 " + dir.file("f"), seen) << "0666 is 438";
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
               {"FORT_BUFFERCOUNT", "127", 0, 0, &For_Lub::lub_buffer_size, 127 * 8192},
               {"FORT_BUFFERCOUNT", "128", 107, 107, nullptr, 0},
               {"FORT_FMT_RECL", "200", 0, 0, &For_Lub::lub_wrap_margin, 201},
               {"FORT_FMT_RECL", "abc", 99, 0, nullptr, 0},
               {"FORT_UFMT_RECL", "-5", 0, 100, nullptr, 0},
               {"FORT_NO_BUFFERING", "1", 0, 0, &For_Lub::lub_buffer_threshold, 1},
               {"FOR_CONTROL_VIRTUAL_RECL", "100", 0, 0, &For_Lub::lub_rec_bytes, 101},
               {"FOR_CONTROL_VIRTUAL_RECL", "0", 0, 0, &For_Lub::lub_rec_bytes, 134}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.variable) + "=" + row.value);
    run_child([&] {
      setenv(row.variable, row.value, 1);
      for_rtl_init_(nullptr, nullptr);
      EXPECT_EQ(row.unformatted, open_unit(kUnit, on_file(dir.file("f")) + "FORM=UNFORMATTED"));
      EXPECT_EQ(0, close_unit(kUnit));
      EXPECT_EQ(row.formatted, open_unit(kUnit, on_file(dir.file("f"))));
      if (row.field == nullptr) return;
      EXPECT_EQ(row.expected, block_of(kUnit).*row.field);
    });
  }
  run_child([&] {
    setenv("FORT_UFMT_RECL", "25", 1);
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + "FORM=UNFORMATTED"));
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
               {"X", "", "BUFFERED=YES", 0, true, false},
               {"FORT_BUFFERED", "yes", "", 0, true, false},
               {"FORT_BUFFERED", "no", "", 0, false, false},
               {"FORT_BUFFERED", "true", "BUFFERED=NO", 0, false, false},
               {"X", "", "", iof_buffered_io, true, false},
               {"X", "", "BUFFERED=NO", iof_buffered_io, false, false},
               {"FORT_NO_BUFFERING", "1", "BUFFERED=YES", iof_buffered_io, false, true},
               {"FORT_BUFFERING_THRESHOLD", "5", "BUFFERED=YES", 0, true, true},
               {"FORT_BUFFERING_THRESHOLD", "5", "", 0, false, false}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.variable) + row.value + row.keyword);
    run_child([&] {
      setenv(row.variable, row.value, 1);
      EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + row.keyword, kIostat | row.options));
      EXPECT_EQ(row.buffered, block_of(kUnit).lub_f_buffered);
      EXPECT_EQ(row.buffered, block_of(kUnit).lub_f_user_buffered);
      EXPECT_EQ(row.threshold, block_of(kUnit).lub_f_threshold_set);
    });
  }
  for (const char* bad : {"0", "-3", "many", ""}) {
    run_child([&] {
      setenv("FORT_BUFFERING_THRESHOLD", bad, 1);
      EXPECT_EQ(119, open_unit(kUnit, on_file(dir.file("f")) + "BUFFERED=YES")) << bad;
    });
  }
  run_child([] {
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, "BUFFERED=YES STATUS=UNKNOWN"));
    EXPECT_FALSE(block_of(UNIT_STDOUT).lub_f_buffered) << "a standard stream";
    EXPECT_EQ(0, close_unit(UNIT_STDOUT));
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, "STATUS=UNKNOWN", kIostat | iof_buffered_stdout));
    EXPECT_TRUE(block_of(UNIT_STDOUT).lub_f_buffered);
  });
}

TEST(ConnectSizes, TheVirtualLimitThatIsNoNumberIsToldEachTime) {
  const Temp_Dir dir;
  const auto child = run_child([&] {
    setenv("FOR_CONTROL_VIRTUAL_RECL", "abc", 1);
    for (int unit : {21, 22}) EXPECT_EQ(0, open_unit(unit, on_file(dir.file("f")) + "RECL=50000"));
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
