// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// STOP, ERROR STOP and ABORT: texts, streams, statuses, and what a message that cannot be written does.

#include "exceptions/for_stop.h"

#include <fcntl.h>
#include <fenv.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/start.h"
#include "support/child.h"
#include "support/item_list.h"
#include "support/open_list.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr For_IO_Flags kNew = iof_f90_rtl, kList = iof_extended | For_IO_Flags{CC_LIST} << 34;
constexpr For_IO_Flags kOld = iof_f90_rtl | stopf_old_messages | kList;
constexpr For_IO_Flags kNotes = kNew | iof_extended | stopf_ieee_notes;
constexpr i64 kBig = (7ll << 32) + 9;

/// A started library in a child. A body that returns ends with a status of its own.
constexpr int kReturned = 99;
Child_Result run(const std::function<void()>& body) {
  return run_child(
      [&] {
        int argc = 0;
        for_rtl_init_(&argc, nullptr);
        body();
        _exit(kReturned);
      },
      Capture::kFile, 20);
}

struct Row {
  const char* name;
  std::function<void()> call;
  int status;
  std::string out, err;
};

void check(const Row& row) {
  const Child_Result child = run(row.call);
  EXPECT_EQ(child.status, row.status) << row.name;
  EXPECT_EQ(child.out, row.out) << row.name;
  EXPECT_EQ(child.err, row.err) << row.name;
}

TEST(Stop, TextUnitAndStatus) {
  static const i32 twelve = 12, minus = -3, none = 0;
  static const i64 big = kBig, least = INT64_MIN;
  const std::string text = "text";
  for (const Row& row : {
           Row{"STOP", [] { for_stop_core("", 0, kNew, 0, 0); }, 0, "", ""},
           Row{"old STOP", [] { for_stop_core("", 0, kOld, 0, 0); }, 0, "Stop - Program terminated.\n", ""},
           Row{"old, code without text", [] { for_stop_core("", 0, kOld, 5, 1); }, 5, "Return code \n", ""},
           Row{"old defaults", [] { for_stop_core("", 0, kOld & ~kList, 0, 0); }, 0, "Stop - Program terminated.\r\n",
               ""},
           Row{"text", [&] { for_stop_core("text", 4, kNew, 0, 0); }, 0, "", "text\n"},
           Row{"old text", [&] { for_stop_core("text", 4, kOld, 0, 0); }, 0, "text\n", ""},
           Row{"code", [] { for_stop_core_int(&twelve, 0, 0, kNew); }, 12, "", "12\n"},
           Row{"old code", [] { for_stop_core_int(&twelve, 0, 0, kOld); }, 12, "Return code 12\n", ""},
           Row{"negative", [] { for_stop_core_int(&minus, 0, 0, kNew); }, 253, "", "-3\n"},
           Row{"zero", [] { for_stop_core_int(&none, 0, 0, kNew); }, 0, "", "0\n"},
           Row{"8 bytes", [] { for_stop_core_int8(&big, 0, 0, kNew); }, 9, "", "30064771081\n"},
           Row{"least", [] { for_stop_core_int8(&least, 0, 0, kNew); }, 0, "", "-9223372036854775808\n"},
           Row{"quiet", [] { for_stop_core_int(&twelve, 0, 1, kOld); }, 12, "", ""},
           Row{"plain", [] { for_stop("bye", 3); }, 0, "", "bye\n"},
           Row{"text8", [] { for_stop_core8("t", 1, kNew, kBig, 1); }, 9, "", "t\n"},
           Row{"not given", [] { for_stop_core8("t", 1, kNew, 7, 0); }, 0, "", "t\n"},
           Row{"loud", [] { for_stop_core_quiet("t", 1, 0, kNew, 4, 1); }, 4, "", "t\n"},
           Row{"quiet text", [] { for_stop_core_quiet("t", 1, 1, kNew, 4, 1); }, 4, "", ""},
           Row{"quiet text8", [] { for_stop_core_quiet_int8("t", 1, 1, kNew, 4, 1); }, 4, "", ""},
           Row{"ABORT", [] { for_abort("", 0); }, 134, "", ""},
           Row{"ERROR STOP", [] { for_error_stop("", 0, kNew, 0, 0); }, 128, "", ""},
           Row{"ERROR STOP text", [] { for_error_stop("oops", 4, kNew, 0, 0); }, 128, "", "oops\n"},
           Row{"old ERROR STOP", [] { for_error_stop("oops", 4, kOld, 6, 1); }, 6, "Return code oops\n", ""},
           Row{"ERROR STOP 8", [] { for_error_stop8("", 0, kNew, kBig, 1); }, 9, "", ""},
           Row{"quiet ERROR STOP", [] { for_error_stop_quiet("a", 1, 1, kNew, 3, 1); }, 3, "", ""},
           Row{"quiet ERROR STOP 8", [] { for_error_stop_quiet_int8("a", 1, 0, kNew, 3, 0); }, 128, "", "a\n"},
           Row{"no pointer", [] { for_error_stop_int(nullptr, 0, 0, kNew, 5, 0); }, 128, "", "128\n"},
           Row{"pointer to 0", [] { for_error_stop_int(&none, 0, 0, kNew, 5, 0); }, 128, "", "128\n"},
           Row{"pointer", [] { for_error_stop_int(&twelve, 0, 0, kNew, 5, 0); }, 12, "", "12\n"},
           Row{"0 given", [] { for_error_stop_int(&twelve, 0, 0, kNew, 0, 1); }, 0, "", "0\n"},
           Row{"8 given", [] { for_error_stop_int8(&big, 0, 0, kNew, 33, 1); }, 33, "", "33\n"},
           Row{"high word without its mark", [] { for_stop_core("", 0, stopf_ieee_notes, 1, 1); }, 1, "", ""},
       }) {
    check(row);
  }
}

TEST(Stop, RaisedFlagsAreNotedBeforeTheText) {
  const auto note = [](int number, const char* text) {
    return "tamrtl: warning (" + std::to_string(number) + "): " + text + " is signaling\n";
  };
  const std::string zero = note(525, "IEEE_DIVIDE_BY_ZERO"), invalid = note(526, "IEEE_INVALID"),
                    over = note(527, "IEEE_OVERFLOW"), under = note(528, "IEEE_UNDERFLOW");
  for (const Row& row : {
           Row{"all", [] { feraiseexcept(FE_ALL_EXCEPT), for_stop_core("end", 3, kNotes, 0, 0); }, 0, "",
               zero + invalid + over + under + "end\n"},
           Row{"one", [] { feraiseexcept(FE_INVALID), for_error_stop("", 0, kNotes, 4, 1); }, 4, "", invalid},
           Row{"inexact", [] { feraiseexcept(FE_INEXACT), for_stop_core("", 0, kNotes, 0, 0); }, 0, "", ""},
           Row{"not asked", [] { feraiseexcept(FE_INVALID), for_stop_core("", 0, kNew, 0, 0); }, 0, "", ""},
           Row{"quiet", [] { feraiseexcept(FE_INVALID), for_stop_core_quiet("", 0, 1, kNotes, 2, 1); }, 2, "", ""},
       }) {
    check(row);
  }
}

int print(int unit, const std::string& text) {
  For_Context ctx{};
  ItemList items;
  items.text(text).end();
  return for_write_seq_lis(&ctx, unit, kNew | iof_extended | iof_buffered_io, items.list(), items.args());
}

TEST(Stop, MessageFollowsWhatTheUnitHoldsAndFilesAreClosed) {
  Temp_Dir dir;
  check({"order",
         [&] {
           EXPECT_EQ(chdir(dir.path().c_str()), 0);
           i32 unit = 0;
           KeyList keys;
           keys.variable(KEY_NEWUNIT, ITM_INTEGER4, &unit).file("numbered");
           EXPECT_EQ(open_unit(0, keys.end(), kIostat | iof_buffered_io), 0);
           (void)print(unit, "kept too");
           (void)print(6, "first");
           (void)print(43, "kept");
           for_stop_core("last", 4, kOld, 0, 0);
         },
         0, " first\nlast\n", ""});
  EXPECT_EQ(read_file(dir.file("fort.43")), " kept\n");
  EXPECT_EQ(read_file(dir.file("numbered")), " kept too\n");
}

TEST(Stop, RecordsOfEveryKind) {
  const std::string longer(3000, 'x'), counted("\4\0\0\0text\4\0\0\0", 12);
  const struct {
    std::vector<std::pair<u8, const char*>> keys;  ///< of the OPEN of unit 6
    std::string text, file;
  } kRows[] = {
      {{{KEY_CARRIAGECONTROL, "FORTRAN"}}, "text", "text\r\n"},
      {{}, longer, longer + "\n"},
      {{{KEY_FORM, "FORMATTED"}, {KEY_RECORDTYPE, "VARIABLE"}, {KEY_CARRIAGECONTROL, "NONE"}}, "text", counted},
      {{{KEY_FORM, "UNFORMATTED"}, {KEY_RECORDTYPE, "VARIABLE"}}, "text", counted},
      {{{KEY_FORM, "UNFORMATTED"}, {KEY_RECORDTYPE, "SEGMENTED"}}, "text", std::string("\6\0\3\0text", 8)},
      {{{KEY_FORM, "UNFORMATTED"}, {KEY_ACCESS, "STREAM"}}, "text", "text"},
      {{{KEY_FORM, "UNFORMATTED"}, {KEY_RECORDTYPE, "FIXED"}}, "text of 12  ", ""},
  };
  for (const auto& row : kRows) {
    Temp_Dir dir;
    const bool overflows = row.file.empty();
    const Child_Result child = run([&] {
      KeyList keys;
      keys.file(dir.file("out")).status("NEW");
      for (const auto& [key, text] : row.keys) keys.text(key, text);
      if (overflows) keys.number(KEY_RECL, 2);
      EXPECT_EQ(open_unit(6, keys.end()), 0);
      for_stop_core(row.text.data(), static_cast<i32>(row.text.size()), kOld, 0, 0);
    });
    EXPECT_EQ(child.status, overflows ? MSG_RECORD_OVERFLOW : 0) << child.err;
    EXPECT_EQ(read_file(dir.file("out")), row.file);
  }
}

TEST(Stop, MessageThatCannotBeWritten) {
  const auto full = [] { EXPECT_EQ(dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO), STDOUT_FILENO); };
  // With a specifier the call returns, and the program may stop again.
  EXPECT_EQ(run([&] {
              full();
              EXPECT_EQ(for_stop_core("text", 4, kOld | iof_err, 3, 1), MSG_WRITE_ERROR);
              EXPECT_EQ(for_error_stop("text", 4, kOld | iof_extended | iof_iostat, 3, 1), -1);
              (void)for_stop_core("", 0, kNew, 5, 1);
            }).status,
            5);
  const Child_Result issued = run([&] { full(), for_stop_core("text", 4, kOld, 3, 1); });
  EXPECT_EQ(issued.status, MSG_WRITE_ERROR);
  EXPECT_NE(issued.err.find("severe (38): error during write, unit 6"), std::string::npos) << issued.err;
}

TEST(Stop, FromAnExitRoutineEndsWithStatusZero) {
  check({"again",
         [] {
           atexit([] { for_stop_core("again", 5, kNew, 7, 1); });
           for_stop_core("once", 4, kNew, 3, 1);
         },
         0, "", "once\n"});
}

TEST(Stop, OfTwoThreadsOneEndsTheProcess) {
  const Child_Result child = run([] {
    std::thread other([] { for_stop_core("text", 4, kNew, 8, 1); });
    for_stop_core("text", 4, kNew, 8, 1);
  });
  EXPECT_EQ(child.status, 8);
  EXPECT_EQ(child.err, "text\n");
}

}  // namespace
