// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed WRITE to units that no OPEN has connected, and FLUSH, as a whole program sees them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "core/start.h"
#include "memory_unit.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr For_IO_Flags kBuffered = kIostat | iof_buffered_io;

int print(int unit, const std::string& text, For_IO_Flags flags = kIostat, const ControlList& control = {}) {
  For_Context ctx{};
  return first_call(for_write_seq_lis, ctx, unit, flags, ItemList().text(text), control);
}

int flush(int unit) {
  For_Context ctx{};
  const int result = for_flush(&ctx, unit, kBuffered);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

TEST(WriteDefault, ConsoleUnitsShareStandardOutput) {
  for (Capture capture : {Capture::kFile, Capture::kPipe}) {
    const auto child = run_child(
        [] {
          for_rtl_init_(nullptr, nullptr);
          EXPECT_EQ(print(UNIT_PRINT, "one"), 0);
          EXPECT_EQ(print(UNIT_STDOUT, "two"), 0);
          EXPECT_EQ(print(UNIT_TYPE, "three"), 0);
          EXPECT_EQ(print(UNIT_STDERR, "other"), 0);
          EXPECT_EQ(print(UNIT_STDOUT, std::string(100, 'x')), 0);
          for_rtl_finish_();
        },
        capture);
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.out, " one\n two\n three\n " + std::string(79, 'x') + "\n " + std::string(21, 'x') + "\n");
    EXPECT_EQ(child.err, " other\n");
  }
}

TEST(WriteDefault, FlagsOfTheFirstStatementMakeTheConnection) {
  struct Row {
    For_IO_Flags flags;
    std::string out;
  };
  const u64 fortran = 1ull << 34, none = 3ull << 34;
  for (const Row& row : {Row{fortran, " 1\r\nx\r"}, Row{none, " 1\n x\n"}, Row{iof_no_char_blank, " 1\n x\n"}}) {
    const auto child = run_child([&] {
      for_rtl_init_(nullptr, nullptr);
      // The first blank is the control character under FORTRAN carriage control.
      EXPECT_EQ(print(UNIT_STDOUT, row.flags == fortran ? " 1" : "1", kIostat | row.flags), 0);
      EXPECT_EQ(print(UNIT_STDOUT, "x"), 0);
      _exit(0);
    });
    EXPECT_EQ(child.out, row.out) << std::hex << row.flags;
  }
}

TEST(WriteDefault, UnitWithoutOpenMakesItsFile) {
  Temp_Dir dir;
  const auto child = run_child([&] {
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    setenv("FORT44", "named.txt", 1);
    for_rtl_init_(nullptr, nullptr);
    EXPECT_EQ(print(43, "first"), 0);
    EXPECT_EQ(print(43, "second"), 0);
    EXPECT_EQ(print(44, "other"), 0);
    EXPECT_EQ(print(45, "stream", kIostat, ControlList().pos(1)), MSG_STREAM_UNOPENED);
    EXPECT_EQ(print(-400, "no such unit"), MSG_INVALID_UNIT);
    for_rtl_finish_();
  });
  EXPECT_EQ(child.status, 0) << child.err;
  EXPECT_EQ(read_file(dir.file("fort.43")), " first\n second\n");
  EXPECT_EQ(read_file(dir.file("named.txt")), " other\n");
  EXPECT_NE(access(dir.file("fort.45").c_str(), F_OK), 0);
}

TEST(WriteDefault, EveryAllocationOfAConnectionThatFails) {
  Temp_Dir dir;
  const auto child = run_child([&] {
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    for_rtl_init_(nullptr, nullptr);
    ASSERT_EQ(print(46, "warm"), 0);
    bool hit = true;
    for (int n = 1; hit; ++n) {
      ASSERT_LT(n, 40);
      int code = 0;
      {
        const Fail_Vm fail(n);
        code = print(47, "again");
        hit = fail.hit();
      }
      EXPECT_EQ(code, hit ? MSG_NO_MEMORY : 0) << n;
      For_Lub* lub = nullptr;
      ASSERT_EQ(for__acquire_lun(47, &lub, nullptr, STMT_INQUIRE), 0) << "the unit is free again, allocation " << n;
      EXPECT_EQ(lub->lub_f_connected, !hit);
      EXPECT_EQ(for__release_lun(47), 0);
    }
    for_rtl_finish_();
  });
  EXPECT_EQ(child.status, 0) << child.err << child.out;
  EXPECT_EQ(read_file(dir.file("fort.47")), " again\n");
}

TAMRUN_CHILD_TEST(Flush, HeldRecordsReachTheFile) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(flush(43), 0);
  EXPECT_NE(access("fort.43", F_OK), 0) << "an unconnected unit stays so";
  EXPECT_EQ(flush(-400), MSG_INVALID_UNIT);
  for (const char* text : {"one", "two"}) EXPECT_EQ(print(43, text, kBuffered), 0);
  EXPECT_EQ(read_file("fort.43"), "");
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(read_file("fort.43"), " one\n two\n");
  EXPECT_EQ(print(43, "three", kBuffered), 0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(flush(43), 0);
  (void)for_rtl_finish_();
  EXPECT_EQ(read_file("fort.43"), " one\n two\n three\n");
}

TEST(Flush, OpenRecordGoesOutAndIsContinued) {
  Memory_Unit unit({.buffered = true});
  EXPECT_EQ(unit.write_part("(A)", "open"), 0);
  EXPECT_EQ(contents(unit.fd()), "");
  EXPECT_EQ(flush(40), 0);
  EXPECT_EQ(contents(unit.fd()), "open");
  EXPECT_EQ(print(40, "end"), 0);
  EXPECT_EQ(flush(40), 0);
  EXPECT_EQ(contents(unit.fd()), "open end\n");
}

TEST(Flush, ReadAheadGoesBackToTheFile) {
  Memory_Unit unit({}, "12345\n789");
  EXPECT_EQ(unit.get("i"), "12345");
  EXPECT_EQ(lseek(unit.fd(), 0, SEEK_CUR), 9);
  EXPECT_EQ(flush(40), 0);
  EXPECT_EQ(lseek(unit.fd(), 0, SEEK_CUR), 6);
  EXPECT_FALSE(unit.lub().lub_f_read_ahead);
}

TEST(Flush, FailureIsReportedOrEndsTheProgram) {
  const auto child = run_child([] {
    Connected_Unit unit(40, open("/dev/full", O_WRONLY), {.buffered = true});
    EXPECT_EQ(print(40, "lost"), 0);
    char text[40];
    ControlList control = ControlList().iomsg(text, sizeof text).end();
    For_Context ctx{};
    EXPECT_EQ(for_flush(&ctx, 40, kBuffered | iof_control_list, control.list(), control.args()), MSG_WRITE_ERROR);
    EXPECT_EQ(std::string(text, 25), "error during write, unit ");
    EXPECT_EQ(flush(40), 0);
    EXPECT_EQ(print(40, "lost"), 0);
    (void)for_flush(&ctx, 40, iof_f90_rtl);
  });
  EXPECT_EQ(child.status, MSG_WRITE_ERROR);
  EXPECT_NE(child.err.find("severe (38): error during write, unit 40"), std::string::npos) << child.err;
}

}  // namespace
