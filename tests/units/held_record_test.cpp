// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Records that a statement leaves open, and what the next statement on the file does about them. Every test runs in a
// child of its own.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <set>
#include <string>

#include "acquire.h"
#include "records/record_frame.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "units/file_info_table.h"
#include "units/open.h"

namespace {

using namespace tamrun_test;

/// Leaves a record open on the unit as a non-advancing WRITE does.
void leave_open(For_Lub& lub, const char* text) {
  ASSERT_EQ(0, start_formatted_record(lub));
  memcpy(lub.lub_a_cursor, text, strlen(text));
  lub.lub_a_cursor += strlen(text);
  lub.lub_a_file_info->saved_lub = &lub;
  lub.lub_a_file_info->fi_record_open = 1;
}

/// A unit on a named file.
For_Lub* connect_file(int unit, const std::string& name) {
  setenv(("FORT" + std::to_string(unit)).c_str(), name.c_str(), 1);
  For_Lub* lub = acquire(unit, STMT_WRITE_SEQ);
  EXPECT_EQ(0, for__open_default(lub, 1, 4, 1));
  return lub;
}

TEST(HeldRecord, EveryStatementHasItsRule) {
  const std::set<int> kept = {STMT_WRITE_SEQ, 15, 16, 30}, forgotten = {31, 34, 35, 37, 44},
                      refused = {0, 6, 7, 8, 10, 17, 19, 20, 21, 22, 23, 24, 25, 26, 46, -1, 1000};
  for (int code = -1; code <= 47; ++code) {
    if (code == 47) code = 1000;
    const auto child = run_child([&] {
      const Temp_Dir dir;
      For_Lub* lub = connect_file(7, dir.file("f"));
      leave_open(*lub, "abc");
      lub->lub_f_at_end = 1;
      (void)process_existing_lub(*lub, code);
      const bool keeps = kept.count(code) != 0, writes = !keeps && forgotten.count(code) == 0;
      EXPECT_EQ(writes ? "abc\n" : "", read_file(dir.file("f"))) << code;
      EXPECT_EQ(keeps || code == STMT_READ, lub->lub_a_file_info->fi_record_open != 0) << code;
      EXPECT_EQ(writes ? 2 : 1, lub->lub_next_rec) << code;
      EXPECT_EQ(!writes, lub->lub_f_at_end) << code;
    });
    EXPECT_EQ(refused.count(code) != 0 ? MSG_INTERNAL_CONSISTENCY : 0, child.status) << code;
  }
}

TAMRUN_CHILD_TEST(HeldRecord, TheNextUnitOnTheFileFinishesIt) {
  const Temp_Dir dir;
  For_Lub* first = connect_file(7, dir.file("f"));
  leave_open(*first, "one");
  EXPECT_EQ(0, for__release_lun(7));
  For_Lub* second = connect_file(1000, dir.file("f"));
  EXPECT_EQ(second->lub_a_file_info, first->lub_a_file_info);
  EXPECT_EQ("one\n", read_file(dir.file("f"))) << "connecting is enough";
  leave_open(*second, "two");
  EXPECT_EQ(0, for__release_lun(1000));
  second->lub_udio_depth = 1;
  EXPECT_EQ(0, process_existing_lub(*second, STMT_WRITE)) << "a child statement goes on with the record";
  second->lub_udio_depth = 0;
  acquire(7, STMT_WRITE_SEQ);
  EXPECT_EQ(2, second->lub_next_rec);
  EXPECT_FALSE(first->lub_a_file_info->fi_record_open);
  first->lub_f_formatted = 0;
  first->lub_a_file_info->fi_record_open = 1;
  EXPECT_EQ(0, process_existing_lub(*first, STMT_WRITE));
  EXPECT_FALSE(first->lub_a_file_info->fi_record_open) << "not formatted: forgotten";
}

TEST(HeldRecord, AnInterruptedPromptChangesItsControlCharacter) {
  // The writer itself turns 0 and 1 into the line feed and form feed in front of the line.
  constexpr struct { char before, after; } kRows[] = {{' ', '$'}, {'+', '\0'}, {'0', '\n'}, {'1', '\f'}};
  for (const auto& [before, after] : kRows) {
    run_child([before = before, after = after] {
      for__preconnected_units_create();
      For_Lub* lub = acquire(UNIT_STDOUT, STMT_WRITE_SEQ);
      lub->lub_cc_default = CC_FORTRAN;
      ASSERT_EQ(0, for__open_default(lub, 1, 4, 1));
      const char text[] = {before, 'x', '\0'};
      leave_open(*lub, text);
      u8* control = lub->lub_a_data_start;
      EXPECT_EQ(lub->lub_a_buffer + 5, control);
      lub->lub_f_no_terminator = 1;
      (void)write_held_record(*lub, true);
      EXPECT_FALSE(lub->lub_f_no_terminator);
      EXPECT_EQ(1, lub->lub_a_file_info->fi_record_open);
      EXPECT_EQ(after, static_cast<char>(*control));
    });
  }
}

TEST(HeldRecord, CloseWritesItOut) {
  for (const char* buffered : {"no", "yes"}) {
    run_child([buffered] {
      const Temp_Dir dir;
      setenv("FORT_BUFFERED", buffered, 1);
      const long blocks = vm_live_blocks();
      For_Lub* lub = connect_file(7, dir.file("f"));
      leave_open(*lub, "last");
      EXPECT_EQ(0, for__close_default(lub, 1));
      EXPECT_EQ("last\n", read_file(dir.file("f")));
      EXPECT_EQ(blocks, vm_live_blocks());
    });
  }
}

TAMRUN_CHILD_TEST(HeldRecord, AFailedWriteIsReportedAndTheUnitReleased) {
  For_Lub* lub = connect_file(7, "/dev/full");
  leave_open(*lub, "lost");
  lub->lub_f_iostat = 1;
  EXPECT_EQ(0, for__release_lun(7));
  For_Lub* again = lub;
  EXPECT_EQ(MSG_WRITE_ERROR, for__acquire_lun(7, &again, nullptr, STMT_REWIND));
  EXPECT_EQ(nullptr, again);
  EXPECT_FALSE(lub->lub_f_busy);
  EXPECT_EQ(0u, lub->lub_resource.res_holds);
  // The failure has ended the record; closing works.
  lub = acquire(7, STMT_CLOSE);
  leave_open(*lub, "lost");
  lub->lub_f_closing = 1;
  EXPECT_EQ(MSG_WRITE_ERROR, for__close_proc(nullptr, lub));
  EXPECT_FALSE(lub->lub_f_connected) << "the rest of the closing was done";
  EXPECT_EQ(0, for__deallocate_lub(7));

  lub = connect_file(8, "/dev/null");
  close(lub->lub_fd);
  lub->lub_f_closing = 1;
  EXPECT_EQ(MSG_CLOSE_ERROR, for__close_proc(nullptr, lub));
  EXPECT_EQ(EBADF, lub->lub_errno);
  EXPECT_EQ(0, for__deallocate_lub(8));
}

}  // namespace
