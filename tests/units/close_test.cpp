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

using namespace tamrun_test;

constexpr int kUnit = 22;

/// An OPEN on a connected unit: how it was connected, what the second OPEN says, and what it comes to.
constexpr struct {
  const char *first, *second;
  int code = 0;
  const char* keyword = nullptr;
} kReopens[] = {
    {"", "ACCESS=SEQUENTIAL"},
    {"", "ACCESS=DIRECT", 104, "ACCESS="},
    {"", "ACCESS=APPEND", 104, "ACCESS="},  // the file is not empty
    {"", "ACCESS=KEYED", 104, "ACCESS="},
    {"", "ACCESS=STREAM", 104, "ACCESS="},
    {"ACCESS=STREAM", "ACCESS=STREAM"},
    {"ACCESS=STREAM", "ACCESS=SEQUENTIAL", 104, "ACCESS="},
    {"ACCESS=DIRECT RECL=4", "ACCESS=DIRECT"},
    {"", "ACTION=READWRITE"},
    {"", "ACTION=READ", 104, "ACTION="},
    {"", "MODE=WRITE", 104, "MODE="},
    {"ACTION=WRITE", "MODE=WRITE"},
    {"ACTION=READ", "ACTION=READWRITE", 104, "ACTION="},
    {"ACTION=WRITE", "ACTION=READWRITE", 104, "ACTION="},
    {"", "ASYNCHRONOUS=NO"},
    {"", "ASYNCHRONOUS=YES", 104, "ASYNCHRONOUS="},
    {"", "BUFFERED=NO"},
    {"", "BUFFERED=YES", 104, "BUFFERED="},
    {"BUFFERED=YES", "BUFFERED=YES"},
    {"", "DISPOSE=KEEP"},
    {"", "DISPOSE=DELETE", 104, "DISPOSE="},
    {"", "DISPOSE=SUBMIT", 104, "DISPOSE="},
    {"", "FORM=FORMATTED"},
    {"", "FORM=UNFORMATTED", 104, "FORM="},
    {"FORM=BINARY", "FORM=BINARY"},
    {"MAXREC=5", "MAXREC=5"},
    {"MAXREC=5", "MAXREC=6", 104, "MAXREC="},
    {"", "NOSHARED"},
    {"", "ORGANIZATION=SEQUENTIAL"},
    {"", "ORGANIZATION=RELATIVE", 104, "ORGANIZATION="},
    {"POSITION=APPEND", "POSITION=ASIS"},
    {"", "POSITION=REWIND"},
    {"", "POSITION=APPEND", 104, "POSITION="},
    {"POSITION=APPEND", "POSITION=APPEND"},
    {"ACCESS=DIRECT RECL=4", "POSITION=REWIND", 46},
    {"", "READONLY", 103, "READONLY="},
    {"READONLY", "READONLY"},
    {"RECL=50", "RECL=50"},
    {"RECL=50", "RECL=60", 104, "RECL="},
    {"", "RECORDTYPE=STREAM_LF"},
    {"", "RECORDTYPE=FIXED", 104, "RECORDTYPE="},
    {"FORM=UNFORMATTED", "RECORDTYPE=VARIABLE"},
    {"", "SHARE=DENYNONE", 104, "SHARE="},
    {"", "SHARE=DENYRW", 104, "SHARE="},
    {"SHARE=DENYRW", "SHARE=DENYRW"},
    {"", "SHARED", 103, "SHARED="},
    {"", "STATUS=OLD"},
    {"", "STATUS=NEW", 104, "STATUS="},
    {"", "STATUS=REPLACE", 104, "STATUS="},
    {"", "STATUS=SCRATCH", 104, "STATUS="},
    {"", "BLANK=3", 48},
    {"", "CARRIAGECONTROL=4", 48},
    {"", "DELIM=4", 48},
    {"", "PAD=3", 48},
    // The first disagreement in the order of the keywords is the one reported.
    {"", "STATUS=NEW RECL=5 FORM=BINARY", 104, "FORM="},
};

TEST(Reopen, SameFileMustAgree) {
  const Temp_Dir dir;
  const std::string file = dir.file("f");
  for (const auto& row : kReopens) {
    SCOPED_TRACE(std::string(row.first) + " then " + row.second);
    write_file(file, "abcd\n");
    ASSERT_EQ(0, open_unit(kUnit, on_file(file) + row.first));
    const off_t position = lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR);
    char message[200];
    KeyList second = specifiers("FILE=" + file + ' ' + row.second);
    EXPECT_EQ(row.code, open_unit(kUnit, second.iomsg(message, sizeof message).end()));
    if (row.keyword != nullptr) {
      const std::string text = std::string("incorrect ") + row.keyword + " specifier";
      EXPECT_EQ(text, std::string(message, text.size()));
    }
    EXPECT_TRUE(block_of(kUnit).lub_f_connected);
    EXPECT_EQ(position, lseek(block_of(kUnit).lub_fd, 0, SEEK_CUR)) << "the position is left alone";
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

TEST(Reopen, WhatMayChangeChanges) {
  const Temp_Dir dir;
  ASSERT_EQ(0,
            open_unit(kUnit, on_file(dir.file("f")) + "ROUND=UP DECIMAL=COMMA SIGN=PLUS ENCODING=UTF-8 DELIM=QUOTE"));
  For_Lub& lub = block_of(kUnit);
  lub.lub_f_at_eof = 1;
  EXPECT_EQ(0, open_unit(kUnit, "BLANK=ZERO CARRIAGECONTROL=NONE PAD=NO ROUND=DOWN"));  // no FILE=: the file it has
  EXPECT_EQ(&lub, &block_of(kUnit));
  EXPECT_FALSE(lub.lub_f_blank_null || lub.lub_f_pad || lub.lub_f_at_eof || lub.lub_f_iostat);
  EXPECT_EQ(CC_NONE, lub.lub_cc);
  EXPECT_EQ(RECTYPE_STREAM, lub.lub_rectype);
  EXPECT_EQ(0, lub.lub_delim) << "absent is none";
  EXPECT_EQ(ROUND_DOWN, lub.lub_round);
  EXPECT_EQ(0, lub.lub_decimal | lub.lub_sign | lub.lub_encoding) << "absent is unset";
  EXPECT_EQ(0, open_unit(kUnit, "CARRIAGECONTROL=LIST PAD=YES"));
  EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
  EXPECT_TRUE(lub.lub_f_pad);
  for (const auto& [bad, specific] :
       {std::pair{"BLANK=9", 573}, {"CARRIAGECONTROL=9", 754}, {"DELIM=9", 751}, {"PAD=9", 753}})
    EXPECT_EQ(specific, open_unit(kUnit, bad, kIostat | iof_compat_io));
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Reopen, AnotherFileClosesTheFirst) {
  const Temp_Dir dir;
  const std::string first = on_file(dir.file("first")), second = on_file(dir.file("second"));
  const int descriptors = open_descriptors();
  ASSERT_EQ(0, open_unit(kUnit, first + "DISPOSE=DELETE MAXREC=3"));
  For_Lub& lub = block_of(kUnit);
  EXPECT_EQ(0, open_unit(kUnit, second + "FORM=UNFORMATTED"));
  EXPECT_EQ(&lub, &block_of(kUnit));
  EXPECT_EQ(dir.file("second"), lub.lub_a_file_name);
  EXPECT_TRUE(lub.lub_f_unformatted && !lub.lub_f_formatted && !lub.lub_f_dispose_delete && lub.lub_f_f90_rtl);
  EXPECT_EQ(0, lub.lub_maxrec);
  EXPECT_NE(0, access(dir.file("first").c_str(), F_OK)) << "closed with its own disposition";
  EXPECT_EQ(29, open_unit(kUnit, "STATUS=OLD FILE=" + dir.file("none")));
  EXPECT_FALSE(lub.lub_f_connected) << "the former file is closed all the same";
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(descriptors, open_descriptors());

  // A former file that cannot be closed properly: the failure is the OPEN's.
  ASSERT_EQ(0, open_unit(kUnit, first));
  close(block_of(kUnit).lub_fd);
  EXPECT_EQ(28, open_unit(kUnit, second));
  EXPECT_FALSE(block_of(kUnit).lub_f_connected);
  EXPECT_EQ(0, open_unit(kUnit, second)) << "the unit is as new";
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Reopen, ConsoleNamesKeepTheDescriptorOfTheFile) {
  run_child([] {
    const Temp_Dir dir;
    for_rtl_init_(nullptr, nullptr);
    const int descriptors = open_descriptors();
    ASSERT_EQ(0, open_unit(UNIT_STDOUT, on_file(dir.file("f"))));
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, "STATUS=UNKNOWN")) << "without FILE= it is the console";
    EXPECT_EQ(STDOUT_FILENO, block_of(UNIT_STDOUT).lub_fd);
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(0, open_unit(UNIT_STDOUT, "BLANK=ZERO")) << "the same console";
    EXPECT_EQ(0, close_unit(UNIT_STDOUT));
    EXPECT_EQ(1, write(STDOUT_FILENO, "x", 1)) << "it is never closed";
  });
}

TEST(Close, UnitsThatAreNotOpen) {
  const long blocks = vm_live_blocks();
  for (const int unit : {kUnit, -9999}) {
    EXPECT_EQ(0, close_unit(unit));
    EXPECT_EQ(blocks, vm_live_blocks()) << "no block remains";
    const auto child = run_child([unit] { EXPECT_EQ(0, close_unit(unit, "", kIostat | iof_close_warning)); });
    EXPECT_NE(std::string::npos,
              child.err.find("info (529): Attempt to close unit " + std::to_string(unit) + ", which was not open."));
  }
}

TEST(Close, KeywordsAreCheckedFirst) {
  const Temp_Dir dir;
  char message[100] = {};
  ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f"))));
  EXPECT_EQ(115, close_unit(kUnit, specifiers("DISPOSE=THROW").iomsg(message, sizeof message).end()));
  EXPECT_EQ(0, memcmp("keyword value error in a CLOSE statement, unit 22", message, 49));
  EXPECT_EQ(48, close_unit(kUnit, "STATUS=KEEP"));
  EXPECT_EQ(48, close_unit(kUnit, "DISPOSE=7"));
  EXPECT_TRUE(block_of(kUnit).lub_f_connected && !block_of(kUnit).lub_f_closing);
  EXPECT_EQ(0, close_unit(kUnit, "DISPOSE=keep"));

  ASSERT_EQ(0, open_unit(kUnit, "STATUS=SCRATCH"));
  const std::string scratch = block_of(kUnit).lub_a_file_name;
  for (const char* word : {"KEEP", "PRINT", "SUBMIT", "PRINT/DELETE", "SUBMIT/DELETE"})
    EXPECT_EQ(46, close_unit(kUnit, std::string("DISPOSE=") + word)) << word;
  EXPECT_EQ(0, access(scratch.c_str(), F_OK));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_NE(0, access(scratch.c_str(), F_OK)) << "a scratch file goes with its unit";

  write_file(dir.file("f"), "");
  ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + "READONLY"));
  for (const char* word : {"DELETE", "PRINT/DELETE", "SUBMIT/DELETE"})
    EXPECT_EQ(46, close_unit(kUnit, std::string("DISPOSE=") + word)) << word;
  EXPECT_TRUE(block_of(kUnit).lub_f_connected);
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(Close, DispositionDecidesOverTheFile) {
  const Temp_Dir dir;
  const struct {
    const char *at_open, *at_close;
    bool stays;
  } kRows[] = {{"", "", true},
               {"DISPOSE=DELETE", "", false},
               {"", "DISPOSE=DELETE", false},
               {"DISPOSE=DELETE", "DISPOSE=KEEP", true}};
  for (const auto& row : kRows) {
    ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + row.at_open));
    EXPECT_EQ(0, close_unit(kUnit, row.at_close));
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
      EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("job"))));
      EXPECT_EQ(0, close_unit(kUnit, std::string("DISPOSE=") + word));
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
  ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + "CARRIAGECONTROL=FORTRAN"));
  block_of(kUnit).lub_a_file_info->fi_cc_after_cr = 1;
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ("\n", read_file(dir.file("f")));

  // Records that wait in the buffer.
  ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("g")) + "BUFFERED=YES"));
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
    EXPECT_EQ(0, open_unit(UNIT_STDIN, "STATUS=UNKNOWN ACTION=READ"));
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
  ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + "DISPOSE=DELETE"));
  unlink(dir.file("f").c_str());
  EXPECT_EQ(28, close_unit(kUnit)) << "nothing to remove";
  EXPECT_FALSE(block_of(kUnit).lub_f_connected || block_of(kUnit).lub_f_formatted || block_of(kUnit).lub_f_closing);
  EXPECT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + "FORM=UNFORMATTED")) << "the unit is as new";
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
      ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f"))));
      int status;
      {
        const Fail_Vm fail(n);
        status = close_unit(kUnit, "DISPOSE=PRINT");
        hit = fail.hit();
      }
      EXPECT_EQ(hit ? MSG_NO_MEMORY : 0, status) << n;
      EXPECT_EQ(0, close_unit(kUnit)) << n;
      EXPECT_EQ(blocks, vm_live_blocks()) << n;
    }
  });
}

}  // namespace
