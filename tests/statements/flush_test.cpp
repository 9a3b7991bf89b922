// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// FLUSH: what reaches the file, and what it reports.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include "core/start.h"
#include "list_output.h"
#include "support/child.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"
#include "units/unit_table.h"

namespace {

using namespace tamrun_test;

constexpr For_IO_Flags kBuffered = kIostat | iof_f90_rtl | iof_buffered_io;

int print(int unit, const std::string& text) {
  For_Context ctx{};
  ItemList items;
  items.text(text).end();
  return first_call(for_write_seq_lis, ctx, unit, kBuffered, items, nullptr);
}

int flush(int unit, For_IO_Flags flags = kBuffered) {
  For_Context ctx{};
  const int result = for_flush(&ctx, unit, flags);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

TAMRUN_CHILD_TEST(Flush, HeldRecordsReachTheFile) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(print(43, "one"), 0);
  EXPECT_EQ(print(43, "two"), 0);
  EXPECT_EQ(read_file("fort.43"), "");
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(read_file("fort.43"), " one\n two\n");
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(print(43, "three"), 0);
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(read_file("fort.43"), " one\n two\n three\n");
  (void)for_rtl_finish_();
  EXPECT_EQ(read_file("fort.43"), " one\n two\n three\n");
}

TAMRUN_CHILD_TEST(Flush, OpenRecordGoesOutAndIsContinued) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(print(43, "one"), 0);
  For_Lub* lub = nullptr;
  ASSERT_EQ(for__acquire_lun(43, &lub, nullptr, STMT_INQUIRE), 0);
  memcpy(lub->lub_a_cursor, "open", 4);
  lub->lub_a_cursor += 4;
  lub->lub_a_high_water = lub->lub_a_cursor;
  lub->lub_a_file_info->saved_lub = lub;
  lub->lub_a_file_info->fi_record_open = 1;
  EXPECT_EQ(for__release_lun(43), 0);
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(read_file("fort.43"), " one\nopen");
  EXPECT_EQ(print(43, "end"), 0);
  EXPECT_EQ(flush(43), 0);
  EXPECT_EQ(read_file("fort.43"), " one\nopen end\n");
}

TAMRUN_CHILD_TEST(Flush, ReadAheadGoesBackToTheFile) {
  const int fd = memory_file();
  ASSERT_EQ(write(fd, "0123456789", 10), 10);
  Connected_Unit unit(40, fd, {});
  For_Lub& lub = unit.lub();
  lub.lub_f_seekable = 1;
  lub.lub_f_read_ahead = 1;
  lub.lub_read_ahead = 4;
  lub.lub_a_read_next = lub.lub_a_buffer + 6;
  lub.lub_a_read_end = lub.lub_a_buffer + 10;
  lub.lub_a_cursor = lub.lub_a_rec_end = lub.lub_a_read_next;
  EXPECT_EQ(flush(40), 0);
  EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 6);
  EXPECT_FALSE(lub.lub_f_read_ahead);
}

TAMRUN_CHILD_TEST(Flush, UnconnectedUnitStaysSo) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(flush(43), 0);
  EXPECT_NE(access("fort.43", F_OK), 0);
  EXPECT_EQ(flush(-400), MSG_INVALID_UNIT);
}

TAMRUN_CHILD_TEST(Flush, FailureIsReported) {
  Connection buffered;
  buffered.buffered = true;
  Connected_Unit unit(40, open("/dev/full", O_WRONLY), buffered);
  EXPECT_EQ(print(40, "lost"), 0);
  char text[40];
  memset(text, '#', sizeof text);
  ControlList control;
  control.iomsg(text, sizeof text).end();
  For_Context ctx{};
  EXPECT_EQ(for_flush(&ctx, 40, kBuffered | iof_control_list, control.list(), control.args()), MSG_WRITE_ERROR);
  EXPECT_EQ(std::string(text, 25), "error during write, unit ");
  EXPECT_EQ(flush(40), 0);
}

TEST(Flush, WithoutSpecifiersAFailureEndsTheProgram) {
  const auto child = run_child([] {
    Connection buffered;
    buffered.buffered = true;
    Connected_Unit unit(40, open("/dev/full", O_WRONLY), buffered);
    EXPECT_EQ(print(40, "lost"), 0);
    For_Context ctx{};
    (void)for_flush(&ctx, 40, iof_f90_rtl);
  });
  EXPECT_EQ(child.status, MSG_WRITE_ERROR);
  EXPECT_NE(child.err.find("severe (38): error during write, unit 40"), std::string::npos) << child.err;
}

}  // namespace
