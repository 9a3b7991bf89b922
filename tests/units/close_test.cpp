// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// OPEN on a connected unit, and CLOSE with its dispositions.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "core/failure.h"
#include "core/start.h"
#include "records/buffer.h"
#include "records/record_frame.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "support/open_list.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Capture;
using tamrun_test::Fail_Vm;
using tamrun_test::read_file;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;
using tamrun_test::vm_live_blocks;
using tamrun_test::write_file;

constexpr int kUnit = 22;

KeyList named(const std::string& file, const std::string& status = "UNKNOWN") {
  KeyList keys;
  keys.file(file).status(status);
  return keys;
}

/// A statement's flags of a program that catches nothing: failures go to standard error.
constexpr For_IO_Flags kPlain = iof_f90_rtl | iof_extended;

struct Numbered {
  u8 key;
  i64 value;
};

KeyList with(KeyList keys, const std::vector<Numbered>& numbers) {
  for (const Numbered& n : numbers) keys.number(n.key, n.value);
  return keys.end();
}

/// An OPEN on a connected unit: how it was connected, what the second OPEN says, and what it comes to.
struct Reopen_Row {
  std::vector<Numbered> first, second;
  int code;
  const char* keyword;
};

const Reopen_Row kReopens[] = {
    {{}, {{KEY_ACCESS, ACCESS_SEQUENTIAL}}, 0, nullptr},
    {{}, {{KEY_ACCESS, ACCESS_DIRECT}}, 104, "ACCESS="},
    {{}, {{KEY_ACCESS, ACCESS_APPEND}}, 104, "ACCESS="},  // the file is not empty
    {{}, {{KEY_ACCESS, ACCESS_KEYED}}, 104, "ACCESS="},
    {{}, {{KEY_ACCESS, ACCESS_STREAM}}, 104, "ACCESS="},
    {{{KEY_ACCESS, ACCESS_STREAM}}, {{KEY_ACCESS, ACCESS_STREAM}}, 0, nullptr},
    {{{KEY_ACCESS, ACCESS_STREAM}}, {{KEY_ACCESS, ACCESS_SEQUENTIAL}}, 104, "ACCESS="},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 4}}, {{KEY_ACCESS, ACCESS_DIRECT}}, 0, nullptr},
    {{}, {{KEY_ACTION, MODE_READWRITE}}, 0, nullptr},
    {{}, {{KEY_ACTION, MODE_READ}}, 104, "ACTION="},
    {{}, {{KEY_MODE, MODE_WRITE}}, 104, "MODE="},
    {{{KEY_ACTION, MODE_WRITE}}, {{KEY_MODE, MODE_WRITE}}, 0, nullptr},
    {{{KEY_ACTION, MODE_READ}}, {{KEY_ACTION, MODE_READWRITE}}, 104, "ACTION="},
    {{}, {{KEY_ASYNCHRONOUS, ANSWER_NO}}, 0, nullptr},
    {{}, {{KEY_ASYNCHRONOUS, ANSWER_YES}}, 104, "ASYNCHRONOUS="},
    {{}, {{KEY_BUFFERED, ANSWER_NO}}, 0, nullptr},
    {{}, {{KEY_BUFFERED, ANSWER_YES}}, 104, "BUFFERED="},
    {{{KEY_BUFFERED, ANSWER_YES}}, {{KEY_BUFFERED, ANSWER_YES}}, 0, nullptr},
    {{}, {{KEY_DISPOSE, DISPOSE_KEEP}}, 0, nullptr},
    {{}, {{KEY_DISPOSE, DISPOSE_DELETE}}, 104, "DISPOSE="},
    {{}, {{KEY_DISPOSE, DISPOSE_SUBMIT}}, 104, "DISPOSE="},
    {{}, {{KEY_FORM, FORM_FORMATTED}}, 0, nullptr},
    {{}, {{KEY_FORM, FORM_UNFORMATTED}}, 104, "FORM="},
    {{{KEY_FORM, FORM_BINARY}}, {{KEY_FORM, FORM_BINARY}}, 0, nullptr},
    {{{KEY_MAXREC, 5}}, {{KEY_MAXREC, 5}}, 0, nullptr},
    {{{KEY_MAXREC, 5}}, {{KEY_MAXREC, 6}}, 104, "MAXREC="},
    {{}, {{KEY_NOSHARED, 1}}, 0, nullptr},
    {{}, {{KEY_ORGANIZATION, ORG_SEQUENTIAL}}, 0, nullptr},
    {{}, {{KEY_ORGANIZATION, ORG_RELATIVE}}, 104, "ORGANIZATION="},
    {{}, {{KEY_POSITION, POSITION_ASIS}}, 0, nullptr},
    {{}, {{KEY_POSITION, POSITION_REWIND}}, 0, nullptr},
    {{}, {{KEY_POSITION, POSITION_APPEND}}, 104, "POSITION="},
    {{{KEY_POSITION, POSITION_APPEND}}, {{KEY_POSITION, POSITION_APPEND}}, 0, nullptr},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 4}}, {{KEY_POSITION, POSITION_REWIND}}, 46, nullptr},
    {{}, {{KEY_READONLY, 1}}, 103, "READONLY="},
    {{{KEY_READONLY, 1}}, {{KEY_READONLY, 1}}, 0, nullptr},
    {{{KEY_RECL, 50}}, {{KEY_RECL, 50}}, 0, nullptr},
    {{{KEY_RECL, 50}}, {{KEY_RECL, 60}}, 104, "RECL="},
    {{}, {{KEY_RECORDTYPE, RECTYPE_STREAM_LF}}, 0, nullptr},
    {{}, {{KEY_RECORDTYPE, RECTYPE_FIXED}}, 104, "RECORDTYPE="},
    {{{KEY_FORM, FORM_UNFORMATTED}}, {{KEY_RECORDTYPE, RECTYPE_VARIABLE_KEYWORD}}, 0, nullptr},
    {{}, {{KEY_SHARE, SHARE_DENYNONE}}, 104, "SHARE="},
    {{}, {{KEY_SHARE, SHARE_DENYRW}}, 104, "SHARE="},
    {{{KEY_SHARE, SHARE_DENYRW}}, {{KEY_SHARE, SHARE_DENYRW}}, 0, nullptr},
    {{}, {{KEY_SHARED, 1}}, 103, "SHARED="},
    {{}, {{KEY_STATUS, STATUS_OLD}}, 0, nullptr},
    {{}, {{KEY_STATUS, STATUS_NEW}}, 104, "STATUS="},
    {{}, {{KEY_STATUS, STATUS_REPLACE}}, 104, "STATUS="},
    {{}, {{KEY_STATUS, STATUS_SCRATCH}}, 104, "STATUS="},
    {{}, {{KEY_BLANK, 3}}, 48, nullptr},
    {{}, {{KEY_CARRIAGECONTROL, 4}}, 48, nullptr},
    {{}, {{KEY_DELIM, 4}}, 48, nullptr},
    {{}, {{KEY_PAD, 3}}, 48, nullptr},
    // The first disagreement in the order of the keywords is the one reported.
    {{}, {{KEY_STATUS, STATUS_NEW}, {KEY_RECL, 5}, {KEY_FORM, FORM_BINARY}}, 104, "FORM="},
};

TEST(Reopen, SameFileMustAgree) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  int row = 0;
  for (const Reopen_Row& want : kReopens) {
    SCOPED_TRACE(row++);
    write_file(file, "abcd\n");
    ASSERT_EQ(0, open_unit(kUnit, with(named(file), want.first)));
    const off_t position = lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR);
    char message[200];
    KeyList second;
    second.iomsg(message, sizeof message).file(file);
    EXPECT_EQ(want.code, open_unit(kUnit, with(std::move(second), want.second)));
    if (want.keyword != nullptr) {
      const std::string text = std::string("incorrect ") + want.keyword + " specifier";
      EXPECT_EQ(text, std::string(message, text.size()));
    }
    EXPECT_TRUE(block_of(kUnit).lub_f_connected);
    EXPECT_EQ(position, lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR)) << "the position is left alone";
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

TEST(Reopen, WhatMayChangeChanges) {
  const Temp_Dir dir;
  KeyList first = named(dir.file("f"));
  first.text(KEY_ROUND, "UP").text(KEY_DECIMAL, "COMMA").text(KEY_SIGN, "PLUS").text(KEY_ENCODING, "UTF-8");
  ASSERT_EQ(0, open_unit(kUnit, first.text(KEY_DELIM, "QUOTE").end()));
  For_Lub& lub = block_of(kUnit);
  lub.lub_f_at_eof = 1;
  KeyList second;
  second.text(KEY_BLANK, "ZERO").text(KEY_CARRIAGECONTROL, "NONE").text(KEY_PAD, "NO").text(KEY_ROUND, "DOWN");
  EXPECT_EQ(0, open_unit(kUnit, second.end()));  // no FILE=: the file it has
  EXPECT_EQ(&lub, &block_of(kUnit));
  EXPECT_FALSE(lub.lub_f_blank_null || lub.lub_f_pad || lub.lub_f_at_eof || lub.lub_f_iostat);
  EXPECT_EQ(CC_NONE, lub.lub_cc);
  EXPECT_EQ(RECTYPE_STREAM, lub.lub_rectype);
  EXPECT_EQ(0, lub.lub_delim) << "absent is none";
  EXPECT_EQ(ROUND_DOWN, lub.lub_round);
  EXPECT_EQ(0, lub.lub_decimal | lub.lub_sign | lub.lub_encoding) << "absent is unset";
  EXPECT_EQ(0, open_unit(kUnit, KeyList().text(KEY_CARRIAGECONTROL, "LIST").text(KEY_PAD, "YES").end()));
  EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
  EXPECT_TRUE(lub.lub_f_pad);
  for (const auto& [key, specific] :
       {std::pair{KEY_BLANK, 573}, {KEY_CARRIAGECONTROL, 754}, {KEY_DELIM, 751}, {KEY_PAD, 753}}) {
    EXPECT_EQ(specific, open_unit(kUnit, KeyList().number(static_cast<u8>(key), 9).end(), kIostat | iof_compat_io));
  }
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Reopen, AnotherFileClosesTheFirst) {
  const Temp_Dir dir;
  const int descriptors = open_descriptors();
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("first")).text(KEY_DISPOSE, "DELETE").number(KEY_MAXREC, 3).end()));
  For_Lub& lub = block_of(kUnit);
  EXPECT_EQ(0, open_unit(kUnit, named(dir.file("second")).form("UNFORMATTED").end()));
  EXPECT_EQ(&lub, &block_of(kUnit));
  EXPECT_EQ(dir.file("second"), lub.lub_a_file_name);
  EXPECT_TRUE(lub.lub_f_unformatted && !lub.lub_f_formatted && !lub.lub_f_dispose_delete && lub.lub_f_f90_rtl);
  EXPECT_EQ(0, lub.lub_maxrec);
  EXPECT_NE(0, access(dir.file("first").c_str(), F_OK)) << "closed with its own disposition";
  EXPECT_EQ(29, open_unit(kUnit, named(dir.file("none"), "OLD").end()));
  EXPECT_FALSE(lub.lub_f_connected) << "the former file is closed all the same";
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(descriptors, open_descriptors());

  // A former file that cannot be closed properly: the failure is the OPEN's.
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("first")).end()));
  close(block_of(kUnit).lub_fd);
  EXPECT_EQ(28, open_unit(kUnit, named(dir.file("second")).end()));
  EXPECT_FALSE(block_of(kUnit).lub_f_connected);
  EXPECT_EQ(0, open_unit(kUnit, named(dir.file("second")).end())) << "the unit is as new";
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Reopen, ConsoleNamesKeepTheDescriptorOfTheFile) {
  run_child([] {
    const Temp_Dir dir;
    for_rtl_init_(nullptr, nullptr);
    const int descriptors = open_descriptors();
    ASSERT_EQ(0, open_unit(UNIT_STDOUT, named(dir.file("f")).end()));
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, KeyList().status("UNKNOWN").end())) << "without FILE= it is the console";
    EXPECT_EQ(STDOUT_FILENO, block_of(UNIT_STDOUT).lub_fd);
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, KeyList().text(KEY_BLANK, "ZERO").end())) << "the same console";
    EXPECT_EQ(0, close_unit(UNIT_STDOUT));
    EXPECT_EQ(1, write(STDOUT_FILENO, "x", 1)) << "it is never closed";
  });
}

TEST(Close, UnitsThatAreNotOpen) {
  const long blocks = vm_live_blocks();
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(blocks, vm_live_blocks()) << "no block remains";
  EXPECT_EQ(0, close_unit(-9999));
  for (const int unit : {kUnit, -9999}) {
    const auto child =
        run_child([unit] { EXPECT_EQ(0, close_unit(unit, KeyList().end(), kIostat | iof_close_warning)); });
    EXPECT_NE(std::string::npos,
              child.err.find("info (529): Attempt to close unit " + std::to_string(unit) + ", which was not open."));
  }
}

TEST(Close, KeywordsAreCheckedFirst) {
  const Temp_Dir dir;
  char message[100] = {};
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("f")).end()));
  EXPECT_EQ(115, close_unit(kUnit, KeyList().text(KEY_DISPOSE, "THROW").iomsg(message, sizeof message).end()));
  EXPECT_EQ(0, memcmp("keyword value error in a CLOSE statement, unit 22", message, 49));
  EXPECT_EQ(48, close_unit(kUnit, KeyList().text(KEY_STATUS, "KEEP").end()));
  EXPECT_EQ(48, close_unit(kUnit, KeyList().number(KEY_DISPOSE, 7).end()));
  EXPECT_TRUE(block_of(kUnit).lub_f_connected && !block_of(kUnit).lub_f_closing);
  EXPECT_EQ(0, close_unit(kUnit, KeyList().text(KEY_DISPOSE, "keep").end()));

  ASSERT_EQ(0, open_unit(kUnit, KeyList().status("SCRATCH").end()));
  const std::string scratch = block_of(kUnit).lub_a_file_name;
  for (const char* word : {"KEEP", "SAVE", "PRINT", "SUBMIT", "PRINT/DELETE", "SUBMIT/DELETE"}) {
    EXPECT_EQ(46, close_unit(kUnit, KeyList().text(KEY_DISPOSE, word).end())) << word;
  }
  EXPECT_EQ(0, access(scratch.c_str(), F_OK));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_NE(0, access(scratch.c_str(), F_OK)) << "a scratch file goes with its unit";

  write_file(dir.file("f"), "");
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("f")).mark(KEY_READONLY).end()));
  for (const char* word : {"DELETE", "PRINT/DELETE", "SUBMIT/DELETE"}) {
    EXPECT_EQ(46, close_unit(kUnit, KeyList().text(KEY_DISPOSE, word).end())) << word;
  }
  EXPECT_TRUE(block_of(kUnit).lub_f_connected);
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Close, DispositionDecidesOverTheFile) {
  const Temp_Dir dir;
  const struct {
    const char *at_open, *at_close;
    bool stays;
  } kRows[] = {{"", "", true}, {"DELETE", "", false}, {"", "DELETE", false}, {"DELETE", "KEEP", true}};
  for (const auto& row : kRows) {
    KeyList keys = named(dir.file("f")), closing;
    if (*row.at_open != '\0') keys.text(KEY_DISPOSE, row.at_open);
    if (*row.at_close != '\0') closing.text(KEY_DISPOSE, row.at_close);
    ASSERT_EQ(0, open_unit(kUnit, keys.end()));
    EXPECT_EQ(0, close_unit(kUnit, closing.end()));
    EXPECT_EQ(row.stays, access(dir.file("f").c_str(), F_OK) == 0) << row.at_open << row.at_close;
  }
}

/// Waits for what a command in the background does.
bool comes_true(const std::function<bool()>& condition) {
  for (int i = 0; i < 500; ++i, usleep(10000)) {
    if (condition()) return true;
  }
  return false;
}

TEST(Close, PrintAndSubmitRunInTheBackground) {
  const Temp_Dir dir;
  write_file(dir.file("lpr"), "#!/bin/sh\ncat \"$1\" >>" + dir.file("printed") + "\n");
  chmod(dir.file("lpr").c_str(), 0755);
  const std::string script = "#!/bin/sh\necho ran >" + dir.file("ran") + "\n";
  const std::string path = dir.path() + ":" + getenv("PATH");
  run_child([&] {
    setenv("PATH", path.c_str(), 1);
    const auto close_with = [&](const char* word, const std::string& content) {
      write_file(dir.file("job"), content);
      EXPECT_EQ(0, open_unit(kUnit, named(dir.file("job")).end()));
      EXPECT_EQ(0, close_unit(kUnit, KeyList().text(KEY_DISPOSE, word).end()));
    };
    const auto exists = [&](const char* name) { return access(dir.file(name).c_str(), F_OK) == 0; };
    close_with("PRINT", "one\n");
    EXPECT_TRUE(comes_true([&] { return read_file(dir.file("printed")) == "one\n"; }));
    EXPECT_TRUE(exists("job"));
    close_with("PRINT/DELETE", "two\n");
    EXPECT_TRUE(comes_true([&] { return !exists("job"); }));
    EXPECT_EQ("one\ntwo\n", read_file(dir.file("printed")));
    close_with("SUBMIT", script);
    EXPECT_TRUE(comes_true([&] { return exists("ran") && access(dir.file("job").c_str(), X_OK) != 0; }));
    EXPECT_TRUE(exists("job"));
    unlink(dir.file("ran").c_str());
    close_with("SUBMIT/DELETE", script);
    EXPECT_TRUE(comes_true([&] { return exists("ran") && !exists("job"); }));
  });
}

TEST(Close, WhatIsOwedIsWritten) {
  const Temp_Dir dir;
  // A line that FORTRAN carriage control has left without its line feed.
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("f")).text(KEY_CARRIAGECONTROL, "FORTRAN").end()));
  block_of(kUnit).lub_a_file_info->fi_cc_after_cr = 1;
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ("\n", read_file(dir.file("f")));

  // Records that wait in the buffer.
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("g")).text(KEY_BUFFERED, "YES").end()));
  For_Lub* lub = nullptr;
  ASSERT_EQ(0, for__acquire_lun(kUnit, &lub, nullptr, STMT_WRITE_SEQ));
  ASSERT_EQ(0, start_formatted_record(*lub));
  memcpy(lub->lub_a_cursor, "held", 4);
  lub->lub_a_cursor += 4;
  EXPECT_EQ(0, for__put_sf(lub));
  EXPECT_EQ(0, for__release_lun(kUnit));
  EXPECT_EQ("", read_file(dir.file("g")));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ("held\n", read_file(dir.file("g")));
}

TEST(Close, StandardInputGivesItsReadAheadBack) {
  const Temp_Dir dir;
  write_file(dir.file("in"), "first\nsecond\n");
  run_child([&] {
    dup2(open(dir.file("in").c_str(), O_RDONLY), STDIN_FILENO);
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(UNIT_STDIN, KeyList().status("UNKNOWN").text(KEY_ACTION, "READ").end()));
    For_Lub& lub = block_of(UNIT_STDIN);
    EXPECT_EQ(STDIN_FILENO, lub.lub_fd);
    const ssize_t got = read(lub.lub_fd, lub.lub_a_buffer, 100);
    lub.lub_f_read_ahead = 1;
    lub.lub_a_read_next = lub.lub_a_buffer + 6;
    lub.lub_a_read_end = lub.lub_a_buffer + got;
    lub.lub_read_ahead = got - 6;
    EXPECT_EQ(0, close_unit(UNIT_STDIN));
    EXPECT_EQ(6, lseek(STDIN_FILENO, 0, SEEK_CUR)) << "the next reader begins with the second line";
  });
}

TEST(Close, FailuresDoNotStopTheWork) {
  const Temp_Dir dir;
  ASSERT_EQ(0, open_unit(kUnit, named(dir.file("f")).text(KEY_DISPOSE, "DELETE").end()));
  unlink(dir.file("f").c_str());
  EXPECT_EQ(28, close_unit(kUnit)) << "nothing to remove";
  EXPECT_FALSE(block_of(kUnit).lub_f_connected || block_of(kUnit).lub_f_formatted || block_of(kUnit).lub_f_closing);
  EXPECT_EQ(0, open_unit(kUnit, named(dir.file("f")).form("UNFORMATTED").end())) << "the unit is as new";
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Close, EveryAllocationThatFails) {
  const Temp_Dir dir;
  write_file(dir.file("lpr"), "#!/bin/sh\n");
  chmod(dir.file("lpr").c_str(), 0755);
  run_child([&] {
    setenv("PATH", dir.path().c_str(), 1);
    fail_once();
    const long blocks = vm_live_blocks();
    bool hit = true;
    for (long n = 1; hit; ++n) {
      ASSERT_EQ(0, open_unit(kUnit, named(dir.file("f")).end()));
      int status;
      {
        const Fail_Vm fail(n);
        status = close_unit(kUnit, KeyList().text(KEY_DISPOSE, "PRINT").end(), kIostat);
        hit = fail.hit();
      }
      EXPECT_EQ(hit ? MSG_NO_MEMORY : 0, status) << n;
      EXPECT_EQ(0, close_unit(kUnit)) << n;
      EXPECT_EQ(blocks, vm_live_blocks()) << n;
    }
  });
}

TEST(Close, TheEndOfTheProgramClosesEveryUnit) {
  const Temp_Dir dir;
  const auto child = run_child([&] {
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(0, open_unit(kUnit, KeyList().status("SCRATCH").end()));
    const std::string scratch = block_of(kUnit).lub_a_file_name;
    EXPECT_EQ(0, open_unit(500, named(dir.file("f")).text(KEY_DISPOSE, "DELETE").end()));
    EXPECT_EQ(0, for_rtl_finish_());
    EXPECT_NE(0, access(scratch.c_str(), F_OK));
    EXPECT_NE(0, access(dir.file("f").c_str(), F_OK));
  });
  EXPECT_EQ(0, child.status);
}

TEST(Close, WithoutSpecifiersAFailureEndsTheProgram) {
  const Temp_Dir dir;
  const auto child = run_child([&] {
    EXPECT_EQ(0, open_unit(kUnit, KeyList().status("SCRATCH").end()));
    close_unit(kUnit, KeyList().text(KEY_DISPOSE, "KEEP").end(), kPlain);
  });
  EXPECT_EQ(46, child.status);
  EXPECT_NE(std::string::npos, child.err.find("severe (46): inconsistent OPEN/CLOSE parameters, unit 22, file /"));
}

}  // namespace
