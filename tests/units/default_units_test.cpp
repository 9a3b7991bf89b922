// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Default units, their connection to the console, and connections without an OPEN statement. Every test runs in a
// child of its own.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "acquire.h"
#include "core/start.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "support/terminal.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/open.h"

namespace {

using namespace tamrun_test;

constexpr int kReading[] = {1, 1, 1}, kWriting[] = {1, 4, 1};

int open_default(For_Lub* lub, const int (&as)[3]) { return for__open_default(lub, as[0], as[1], as[2]); }

For_Lub* block(int unit) { return for__lub_table[unit + 6].row_head; }

/// A default unit, connected with these options set.
For_Lub* connect(int unit, void (*options)(For_Lub&) = nullptr) {
  For_Lub* lub = acquire(unit, STMT_WRITE_SEQ);
  lub->lub_f_f90_rtl = 1;
  if (options != nullptr) options(*lub);
  const bool input = unit == UNIT_READ || unit == UNIT_ACCEPT || unit == UNIT_STDIN;
  EXPECT_EQ(0, open_default(lub, input ? kReading : kWriting)) << unit;
  return lub;
}

/// What all console units have in common with the default options.
void expect_console(int unit, int fd, const std::string& name) {
  SCOPED_TRACE(unit);
  const For_Lub& lub = *connect(unit);
  EXPECT_EQ(fd, lub.lub_fd);
  EXPECT_EQ(name, lub.lub_a_file_name);
  EXPECT_EQ(static_cast<i16>(name.size()), lub.lub_name_len);
  EXPECT_EQ(name, lub.lub_a_file_info->fi_name);
  EXPECT_EQ(1, lub.lub_next_rec);
  EXPECT_TRUE(lub.lub_f_sequential && lub.lub_f_formatted && lub.lub_f_connected && lub.lub_f_recl_defaulted &&
              lub.lub_f_pad && lub.lub_f_blank_null);
  EXPECT_FALSE(lub.lub_f_direct || lub.lub_f_stream || lub.lub_f_keyed || lub.lub_f_unformatted || lub.lub_f_binary ||
               lub.lub_f_buffered || lub.lub_f_user_buffered);
  EXPECT_EQ(fd == 0, lub.lub_f_readonly);
  EXPECT_EQ(fd == 1, lub.lub_f_writeonly);
  EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
  EXPECT_EQ(ORG_SEQUENTIAL, lub.lub_org);
  EXPECT_EQ(CC_LIST, lub.lub_cc);
  EXPECT_EQ(132, lub.lub_recl);
  EXPECT_EQ(134, lub.lub_rec_bytes);
  EXPECT_EQ(1, lub.lub_rec_overhead);
  EXPECT_EQ(80, lub.lub_wrap_margin);
  EXPECT_EQ(fd == 0 ? 3 : 1, lub.lub_stream_kind);
  struct stat st;
  fstat(fd, &st);
  EXPECT_EQ(std::max<i64>(st.st_blksize, 131072), lub.lub_blocksize);
  EXPECT_EQ(8192, lub.lub_buffer_size);
  EXPECT_EQ(0, memcmp(lub.lub_a_buffer + 8192, "@#3#5#7#9#0#3#5", 16));
  EXPECT_EQ(lub.lub_a_buffer, lub.lub_a_cursor);
  EXPECT_EQ(lub.lub_a_buffer, lub.lub_a_read_end);
  EXPECT_EQ(lub.lub_a_buffer + 134, lub.lub_a_rec_end);
  EXPECT_EQ(lub.lub_a_fmt_isb, lub.lub_a_ldir_isb);
  EXPECT_EQ(&lub, lub.lub_a_fmt_isb->isb_lub);
  const u8* state = reinterpret_cast<const u8*>(lub.lub_a_fmt_isb);
  EXPECT_EQ(0, std::count_if(state + sizeof(For_Lub*), state + kStateBlockBytes, [](u8 byte) { return byte != 0; }));
  EXPECT_EQ(1, for__l_exit_hand_decl);
}

TAMRUN_CHILD_TEST(DefaultUnits, StandardStreamsAreUnconnectedUnitsInStateOne) {
  setenv("FORT0", "", 1);
  setenv("FORT6", "out", 1);
  for (int i = 0; i < 2; ++i) for__preconnected_units_create();
  for (const auto& [unit, state] : {std::pair{-4, 1u}, {-3, 1}, {-2, 1}, {-1, 1}, {0, 2}, {5, 1}, {6, 2}}) {
    const For_Lub* lub = block(unit);
    ASSERT_NE(nullptr, lub);
    EXPECT_EQ(unit, lub->lub_unit);
    EXPECT_EQ(unit, lub->lub_unit_copy);
    EXPECT_EQ(state, lub->lub_default_state) << unit;
    EXPECT_FALSE(lub->lub_f_connected);
    EXPECT_EQ(lub, acquire(unit, STMT_INQUIRE));
    EXPECT_EQ(0, for__release_lun(unit));
  }
}

TAMRUN_CHILD_TEST(DefaultUnits, ClosingWipesTheBlockInPlace) {
  for__preconnected_units_create();
  const long blocks = vm_live_blocks();
  For_Lub* lub = connect(UNIT_STDOUT);
  For_Backup_Scope* const scope = reinterpret_cast<For_Backup_Scope*>(lub);
  lub->lub_a_backup_scope = scope;
  lub->lub_maxrec = lub->lub_iomsg_len = 99;
  lub->lub_f_closing = 1;
  EXPECT_EQ(0, for__close_proc(nullptr, lub));
  EXPECT_FALSE(lub->lub_f_connected);
  EXPECT_STREQ("\"Unknown\"", lub->lub_a_file_name);
  EXPECT_EQ(0, lub->lub_name_len);
  EXPECT_EQ(99, lub->lub_maxrec) << "the rest stays until the unit is taken away";
  EXPECT_EQ(0, for__deallocate_lub(UNIT_STDOUT));
  EXPECT_EQ(blocks, vm_live_blocks());

  EXPECT_EQ(lub, block(UNIT_STDOUT));
  EXPECT_EQ(UNIT_STDOUT, lub->lub_unit);
  EXPECT_EQ(u32{DEFAULT_UNCONNECTED}, lub->lub_default_state);
  EXPECT_TRUE(lub->lub_f_closed_default);
  EXPECT_FALSE(lub->lub_f_closing || lub->lub_f_busy);
  EXPECT_EQ(scope, lub->lub_a_backup_scope);
  EXPECT_EQ(0, lub->lub_maxrec | lub->lub_iomsg_len);
  EXPECT_EQ(nullptr, lub->lub_a_file_name);
  EXPECT_EQ(0u, lub->lub_resource.res_holds);
  EXPECT_GE(fcntl(1, F_GETFD), 0) << "the descriptor stays open";
  lub->lub_a_backup_scope = nullptr;
  EXPECT_TRUE(connect(UNIT_STDOUT)->lub_f_connected);
}

TAMRUN_CHILD_TEST(DefaultUnits, TheStatementsHoldSurvivesAReopenOnTheSameBlock) {
  for__preconnected_units_create();
  For_Context ctx = {};
  For_Lub* lub = acquire(UNIT_STDIN, STMT_OPEN, &ctx);
  EXPECT_EQ(0, open_default(lub, kReading));
  EXPECT_EQ(0, for__close_default(lub, 0));
  EXPECT_FALSE(lub->lub_f_connected);
  EXPECT_EQ(pthread_self(), lub->lub_thread);
  EXPECT_TRUE(lub->lub_f_busy);
  EXPECT_EQ(&ctx, lub->lub_a_context);
  EXPECT_EQ(UNIT_STDIN, lub->lub_unit);
  EXPECT_EQ(u32{DEFAULT_UNCONNECTED}, lub->lub_default_state);
  EXPECT_EQ(0, for__release_lun(UNIT_STDIN));
  EXPECT_EQ(nullptr, ctx.ctx_lub);
}

TEST(ConsoleConnection, ThroughPipesFilesAndATerminal) {
  enum { kPipes, kFiles, kTerminal };
  for (const int streams : {kPipes, kFiles, kTerminal}) {
    SCOPED_TRACE(streams);
    const auto body = [streams] {
      int ends[2];
      ASSERT_EQ(0, pipe(ends));
      const Temp_Dir dir;
      const Terminal terminal;
      std::string names[3];
      for (int fd = 0; fd < 3; ++fd) {
        if (streams == kTerminal) terminal.become(fd);
        names[fd] =
            streams == kTerminal ? ttyname(fd) : "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd);
      }
      if (streams != kTerminal)
        dup2(streams == kPipes ? ends[0] : open(dir.file("in").c_str(), O_RDWR | O_CREAT, 0600), 0);
      for__preconnected_units_create();
      for (int unit : {-4, -3, 5}) expect_console(unit, 0, names[0]);
      for (int unit : {-2, -1, 6}) expect_console(unit, 1, names[1]);
      expect_console(0, 2, names[2]);
      EXPECT_EQ(streams == kFiles, block(5)->lub_f_seekable);
      EXPECT_FALSE(block(6)->lub_f_seekable);
      if (streams == kPipes) {
        EXPECT_FALSE(block(5)->lub_f_truncate_on_write);
      }
      // Units on one terminal share what is owed to it.
      EXPECT_EQ(block(UNIT_TYPE)->lub_a_file_info, block(6)->lub_a_file_info);
      EXPECT_EQ(streams == kTerminal ? 7 : 3, block(6)->lub_a_file_info->fi_references);
      if (streams != kTerminal) return;
      // Fortran carriage control for programs with the old defaults.
      EXPECT_EQ(0, for__close_default(block(6), 1));
      const For_Lub* lub = connect(UNIT_STDOUT, [](For_Lub& l) { l.lub_f_legacy_defaults = 1; });
      EXPECT_EQ(CC_FORTRAN, lub->lub_cc);
      EXPECT_EQ(139, lub->lub_rec_bytes);
      EXPECT_EQ(6, lub->lub_rec_overhead);
      EXPECT_EQ(85, lub->lub_wrap_margin);
      EXPECT_FALSE(lub->lub_f_blank_null);
    };
    run_child(body, streams == kPipes ? Capture::kPipe : Capture::kFile);
  }
}

/// Carriage control, bytes of a record, line width, and what is not the same for all units.
std::string summary(const For_Lub& l) {
  return std::to_string(l.lub_cc) + ' ' + std::to_string(l.lub_rec_bytes) + ' ' + std::to_string(l.lub_wrap_margin) +
         (l.lub_f_pad ? " pad" : "") + (l.lub_f_buffered ? " buffered" : "") +
         (l.lub_f_user_buffered ? " by user" : "") +
         (l.lub_f_threshold_set && l.lub_buffer_threshold == 1 ? " at once" : "") +
         (l.lub_f_no_wrap_margin ? " no margin" : "");
}

TEST(ConsoleConnection, OptionsAndVariables) {
  constexpr auto kFortranControl = [](For_Lub& l) { l.lub_cc_default = CC_FORTRAN; };
  constexpr auto kBufferStdout = [](For_Lub& l) { l.lub_f_buffer_stdout = 1; };
  const struct {
    int unit;
    void (*options)(For_Lub&);
    const char *variable, *summary;
  } kRows[] = {
      {6, nullptr, "UNUSED", "2 134 80 pad"},
      {6, kFortranControl, "UNUSED", "1 139 85 pad"},
      {-1, [](For_Lub& l) { l.lub_cc_default = CC_NONE; }, "UNUSED", "3 133 80 pad"},
      {0, kFortranControl, "UNUSED", "2 134 80 pad"},  // only on units that print
      {6, [](For_Lub& l) { l.lub_f_f90_rtl = 0; }, "UNUSED", "2 134 80"},
      {-2, kBufferStdout, "UNUSED", "2 134 80 pad buffered"},
      {6, nullptr, "FORT_BUFFER_STDOUT", "2 134 80 pad buffered"},
      {0, nullptr, "FORT_BUFFER_STDOUT", "2 134 80 pad"},
      {6, nullptr, "FORT_BUFFERED", "2 134 80 pad"},
      {6, kBufferStdout, "FORT_NO_BUFFERING", "2 134 80 pad at once"},
      {6, nullptr, "FORT_FMT_NO_WRAP_MARGIN", "2 134 80 pad no margin"},
      {6, [](For_Lub& l) { l.lub_f_compat_io = 1; }, "UNUSED", "1 1030 84 pad"},
  };
  for (const auto& row : kRows) {
    run_child([&row] {
      setenv(row.variable, "yes", 1);
      for__preconnected_units_create();
      EXPECT_EQ(row.summary, summary(*connect(row.unit, row.options))) << row.unit << ' ' << row.variable;
    });
  }
}

TAMRUN_CHILD_TEST(ConsoleConnection, EveryAllocationMayFail) {
  for__preconnected_units_create();
  const long blocks = vm_live_blocks();
  bool hit = true;
  for (long n = 1; hit; ++n) {
    For_Lub* lub = acquire(UNIT_STDERR, STMT_WRITE);
    Fail_Vm fail(n);
    const int status = open_default(lub, kWriting);
    hit = fail.hit();
    EXPECT_EQ(hit ? MSG_NO_MEMORY : 0, status);
    EXPECT_EQ(hit, !lub->lub_f_connected);
    for__abandon_connection(lub);
    EXPECT_EQ(blocks, vm_live_blocks()) << n;
    EXPECT_EQ(0, for__release_lun(UNIT_STDERR));
  }
}

TAMRUN_CHILD_TEST(DefaultConnection, UnitsWithoutAFileUseTheirNumber) {
  const Temp_Dir dir;
  ASSERT_EQ(0, chdir(dir.path().c_str()));
  For_Lub* lub = acquire(7, STMT_READ);
  EXPECT_EQ(MSG_FILE_NOT_FOUND, open_default(lub, kReading));
  EXPECT_EQ(ENOENT, lub->lub_errno);
  for__abandon_connection(lub);
  EXPECT_EQ(0, open_default(lub, kWriting));
  EXPECT_EQ(dir.file("fort.7"), lub->lub_a_file_name);
  EXPECT_EQ(0, access("fort.7", F_OK));
  EXPECT_TRUE(lub->lub_f_seekable && lub->lub_f_formatted && lub->lub_f_sequential);
  EXPECT_FALSE(lub->lub_f_readonly || lub->lub_f_writeonly);
  EXPECT_EQ(STREAM_FMT_SEQUENTIAL, lub->lub_stream_kind);
  EXPECT_EQ(RECTYPE_STREAM_LF, lub->lub_rectype);
  EXPECT_EQ(134, lub->lub_rec_bytes);
  const int fd = lub->lub_fd;
  EXPECT_EQ(0, for__close_default(lub, 1));
  EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << "closed";
  EXPECT_EQ(nullptr, block(7));

  setenv("FORT8", "  /dev/null  ", 1);
  lub = acquire(8, STMT_WRITE);
  EXPECT_EQ(0, open_default(lub, kWriting));
  EXPECT_STREQ("/dev/null", lub->lub_a_file_name);
  setenv("FORT9", dir.path().c_str(), 1);
  EXPECT_EQ(MSG_OPEN_FAILURE, open_default(acquire(9, STMT_WRITE), kWriting)) << "a directory";
  const rlimit none = {3, 3};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(MSG_TOO_MANY_OPEN_FILES, open_default(acquire(12, STMT_WRITE), kWriting));
}

TEST(DefaultConnection, VariablesNameTheFilesOfDefaultUnits) {
  constexpr std::pair<int, const char*> kRows[] = {{-4, "FOR_READ"},  {-3, "FOR_ACCEPT"}, {-2, "FOR_TYPE"},
                                                   {-1, "FOR_PRINT"}, {0, "FORT0"},       {6, "FORT6"}};
  for (const auto& [unit, variable] : kRows) {
    run_child([unit = unit, variable = variable] {
      const Temp_Dir dir;
      setenv(variable, dir.file("named").c_str(), 1);
      for__preconnected_units_create();
      For_Lub* lub = acquire(unit, STMT_INQUIRE);
      EXPECT_EQ(0, for__open_default(lub, -1, -1, -1)) << "INQUIRE decides the state, no more";
      EXPECT_EQ(u32{DEFAULT_FROM_ENV}, lub->lub_default_state) << unit;
      EXPECT_FALSE(lub->lub_f_connected);
      EXPECT_EQ(0, open_default(lub, kWriting));
      EXPECT_EQ(dir.file("named"), lub->lub_a_file_name);
      EXPECT_GT(lub->lub_fd, 2);
      EXPECT_EQ(0, for__close_default(lub, 1));
    });
  }
  run_child([] {
    // Blank names come from the command line: the variable is not looked at.
    setenv("FOR_PRINT", "/nowhere/at/all", 1);
    for__preconnected_units_create();
    EXPECT_EQ(1, connect(UNIT_PRINT, [](For_Lub& l) { l.lub_f_files_from_cmd = 1; })->lub_fd);
  });
}

}  // namespace
