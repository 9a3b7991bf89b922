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

#include <string>

#include "core/start.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/open.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Capture;
using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;
using tamrun_test::vm_live_blocks;

constexpr int kReading[] = {1, 1, 1}, kWriting[] = {1, 4, 1};

For_Lub* acquire(int unit, int statement) {
  For_Lub* lub = nullptr;
  EXPECT_EQ(0, for__acquire_lun(unit, &lub, nullptr, statement)) << unit;
  return lub;
}

int open_default(For_Lub* lub, const int (&as)[3]) { return for__open_default(lub, as[0], as[1], as[2]); }

/// A default unit, connected with these options set.
For_Lub* connect(int unit, void (*options)(For_Lub&) = nullptr) {
  For_Lub* lub = acquire(unit, STMT_WRITE_SEQ);
  lub->lub_f_f90_rtl = 1;
  if (options != nullptr) options(*lub);
  const bool input = unit == UNIT_READ || unit == UNIT_ACCEPT || unit == UNIT_STDIN;
  EXPECT_EQ(0, open_default(lub, input ? kReading : kWriting)) << unit;
  return lub;
}

/// A descriptor of the child is another object for a while.
class Redirected {
 public:
  Redirected(int fd, int to) : fd_(fd), saved_(dup(fd)) { dup2(to, fd); }
  ~Redirected() {
    dup2(saved_, fd_);
    close(saved_);
  }

 private:
  int fd_, saved_;
};

std::string proc_name(int fd) { return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd); }

void unset_variables() {
  for (const char* name : {"FORT0", "FORT5", "FORT6", "FOR_READ", "FOR_ACCEPT", "FOR_TYPE", "FOR_PRINT",
                           "FORT_NO_BUFFERING", "FORT_BUFFERED", "FORT_BUFFER_STDOUT", "FORT_FMT_NO_WRAP_MARGIN",
                           "FORT_BUFFERING_THRESHOLD", "FOR_CONTROL_VIRTUAL_RECL"})
    unsetenv(name);
}

void in_child(const std::function<void()>& body, Capture capture = Capture::kFile) {
  run_child(
      [&] {
        unset_variables();
        body();
      },
      capture);
}

/// What all console units have in common with the default options.
void expect_console(const For_Lub& lub, int fd, const std::string& name) {
  EXPECT_EQ(fd, lub.lub_fd);
  EXPECT_EQ(name, lub.lub_a_file_name);
  EXPECT_EQ(static_cast<i16>(name.size()), lub.lub_name_len);
  EXPECT_EQ(1, lub.lub_next_rec);
  EXPECT_TRUE(lub.lub_f_sequential && lub.lub_f_formatted && lub.lub_f_connected);
  EXPECT_FALSE(lub.lub_f_direct || lub.lub_f_stream || lub.lub_f_keyed || lub.lub_f_unformatted || lub.lub_f_binary);
  EXPECT_EQ(fd == 0, lub.lub_f_readonly);
  EXPECT_EQ(fd == 1, lub.lub_f_writeonly);
  EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
  EXPECT_EQ(ORG_SEQUENTIAL, lub.lub_org);
  EXPECT_EQ(CC_LIST, lub.lub_cc);
  EXPECT_EQ(132, lub.lub_recl);
  EXPECT_EQ(134, lub.lub_rec_bytes);
  EXPECT_EQ(1, lub.lub_rec_overhead);
  EXPECT_TRUE(lub.lub_f_recl_defaulted);
  EXPECT_EQ(80, lub.lub_wrap_margin);
  EXPECT_EQ(fd == 0 ? 3 : 1, lub.lub_stream_kind);
  EXPECT_TRUE(lub.lub_f_pad);
  EXPECT_TRUE(lub.lub_f_blank_null);
  EXPECT_FALSE(lub.lub_f_buffered || lub.lub_f_user_buffered);
  struct stat st;
  fstat(fd, &st);
  EXPECT_EQ(std::max<i64>(st.st_blksize, 131072), lub.lub_blocksize);
  EXPECT_EQ(8192, lub.lub_buffer_size);
  EXPECT_EQ(0, memcmp(lub.lub_a_buffer + 8192, "@#3#5#7#9#0#3#5", 16));
  EXPECT_EQ(lub.lub_a_buffer, lub.lub_a_cursor);
  EXPECT_EQ(lub.lub_a_buffer, lub.lub_a_read_end);
  EXPECT_EQ(lub.lub_a_buffer + 134, lub.lub_a_rec_end);
  ASSERT_NE(nullptr, lub.lub_a_fmt_isb);
  EXPECT_EQ(lub.lub_a_fmt_isb, lub.lub_a_ldir_isb);
  EXPECT_EQ(&lub, lub.lub_a_fmt_isb->isb_lub);
  const u8* state = reinterpret_cast<const u8*>(lub.lub_a_fmt_isb);
  for (size_t i = sizeof(For_Lub*); i < kStateBlockBytes; ++i) EXPECT_EQ(0, state[i]);
  ASSERT_NE(nullptr, lub.lub_a_file_info);
  EXPECT_EQ(name, lub.lub_a_file_info->fi_name);
  EXPECT_EQ(1, for__l_exit_hand_decl);
}

void expect_all_console_units(const std::string (&names)[3]) {
  for__preconnected_units_create();
  for (int unit : {-4, -3, 5}) expect_console(*connect(unit), 0, names[0]);
  for (int unit : {-2, -1, 6}) expect_console(*connect(unit), 1, names[1]);
  expect_console(*connect(0), 2, names[2]);
  // Units on one terminal share what is owed to it.
  const For_Lub* type = for__lub_table[UNIT_TYPE + 6].row_head;
  EXPECT_EQ(type->lub_a_file_info, for__lub_table[UNIT_STDOUT + 6].row_head->lub_a_file_info);
}

TEST(DefaultUnits, StandardStreamsAreUnconnectedUnitsInStateOne) {
  in_child([] {
    setenv("FORT0", "", 1);
    setenv("FORT6", "out", 1);
    for__preconnected_units_create();
    for__preconnected_units_create();
    constexpr struct { int unit, state; } kUnits[] = {{-4, 1}, {-3, 1}, {-2, 1}, {-1, 1}, {0, 2}, {5, 1}, {6, 2}};
    for (const auto& [unit, state] : kUnits) {
      const For_Lub* lub = for__lub_table[unit + 6].row_head;
      ASSERT_NE(nullptr, lub);
      EXPECT_EQ(unit, lub->lub_unit);
      EXPECT_EQ(unit, lub->lub_unit_copy);
      EXPECT_EQ(static_cast<u32>(state), lub->lub_default_state) << unit;
      EXPECT_FALSE(lub->lub_f_connected);
      EXPECT_EQ(lub, acquire(unit, STMT_INQUIRE));
      EXPECT_EQ(0, for__release_lun(unit));
    }
  });
}

TEST(DefaultUnits, ClosingWipesTheBlockInPlace) {
  in_child([] {
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

    EXPECT_EQ(lub, for__lub_table[UNIT_STDOUT + 6].row_head);
    EXPECT_EQ(UNIT_STDOUT, lub->lub_unit);
    EXPECT_EQ(static_cast<u32>(DEFAULT_UNCONNECTED), lub->lub_default_state);
    EXPECT_TRUE(lub->lub_f_closed_default);
    EXPECT_FALSE(lub->lub_f_closing || lub->lub_f_busy);
    EXPECT_EQ(scope, lub->lub_a_backup_scope);
    EXPECT_EQ(0, lub->lub_maxrec | lub->lub_iomsg_len);
    EXPECT_EQ(nullptr, lub->lub_a_file_name);
    EXPECT_EQ(0u, lub->lub_resource.res_holds);
    EXPECT_GE(fcntl(1, F_GETFD), 0) << "the descriptor stays open";
    lub->lub_a_backup_scope = nullptr;
    expect_console(*connect(UNIT_STDOUT), 1, proc_name(1));
  });
}

TEST(DefaultUnits, TheStatementsHoldSurvivesAReopenOnTheSameBlock) {
  in_child([] {
    for__preconnected_units_create();
    For_Context ctx = {};
    For_Lub* lub = nullptr;
    EXPECT_EQ(0, for__acquire_lun(UNIT_STDIN, &lub, &ctx, STMT_OPEN));
    EXPECT_EQ(0, open_default(lub, kReading));
    EXPECT_EQ(0, for__close_default(lub, 0));
    EXPECT_FALSE(lub->lub_f_connected);
    EXPECT_EQ(pthread_self(), lub->lub_thread);
    EXPECT_TRUE(lub->lub_f_busy);
    EXPECT_EQ(&ctx, lub->lub_a_context);
    EXPECT_EQ(UNIT_STDIN, lub->lub_unit);
    EXPECT_EQ(static_cast<u32>(DEFAULT_UNCONNECTED), lub->lub_default_state);
    EXPECT_EQ(0, for__release_lun(UNIT_STDIN));
    EXPECT_EQ(nullptr, ctx.ctx_lub);
  });
}

TEST(ConsoleConnection, ThroughPipes) {
  in_child(
      [] {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const Redirected input(0, ends[0]);
        expect_all_console_units({proc_name(0), proc_name(1), proc_name(2)});
        EXPECT_FALSE(for__lub_table[6 + 6].row_head->lub_f_seekable);
        EXPECT_FALSE(for__lub_table[5 + 6].row_head->lub_f_truncate_on_write);
      },
      Capture::kPipe);
}

TEST(ConsoleConnection, ThroughFiles) {
  in_child([] {
    const Temp_Dir dir;
    const int fd = open(dir.file("in").c_str(), O_RDWR | O_CREAT, 0600);
    const Redirected input(0, fd);
    expect_all_console_units({proc_name(0), proc_name(1), proc_name(2)});
    EXPECT_TRUE(for__lub_table[5 + 6].row_head->lub_f_seekable);
  });
}

TEST(ConsoleConnection, ThroughATerminal) {
  in_child([] {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(0, grantpt(master) | unlockpt(master));
    const std::string name = ptsname(master);
    const int slave = open(name.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    const Redirected in(0, slave), out(1, slave), err(2, slave);
    expect_all_console_units({name, name, name});
    const For_Lub* lub = for__lub_table[6 + 6].row_head;
    EXPECT_FALSE(lub->lub_f_seekable);
    EXPECT_EQ(7, lub->lub_a_file_info->fi_references) << "one terminal, seven units";
    EXPECT_EQ(0, for__close_default(for__lub_table[6 + 6].row_head, 1));

    // Fortran carriage control for programs with the old defaults.
    lub = connect(UNIT_STDOUT, [](For_Lub& l) { l.lub_f_legacy_defaults = 1; });
    EXPECT_EQ(CC_FORTRAN, lub->lub_cc);
    EXPECT_EQ(139, lub->lub_rec_bytes);
    EXPECT_EQ(6, lub->lub_rec_overhead);
    EXPECT_EQ(85, lub->lub_wrap_margin);
    EXPECT_FALSE(lub->lub_f_blank_null);
  });
}

TEST(ConsoleConnection, OptionsAndVariables) {
  struct Row {
    const char* what;
    int unit;
    void (*options)(For_Lub&);
    const char* variable;
    void (*check)(const For_Lub&);
  };
  const Row rows[] = {
      {"carriage control of the statement's options", 6, [](For_Lub& l) { l.lub_cc_default = CC_FORTRAN; }, nullptr,
       [](const For_Lub& l) {
         EXPECT_EQ(CC_FORTRAN, l.lub_cc);
         EXPECT_EQ(139, l.lub_rec_bytes);
         EXPECT_EQ(85, l.lub_wrap_margin);
       }},
      {"no carriage control at all", -1, [](For_Lub& l) { l.lub_cc_default = CC_NONE; }, nullptr,
       [](const For_Lub& l) {
         EXPECT_EQ(CC_NONE, l.lub_cc);
         EXPECT_EQ(133, l.lub_rec_bytes);
         EXPECT_EQ(80, l.lub_wrap_margin);
       }},
      {"only on units that print", 0, [](For_Lub& l) { l.lub_cc_default = CC_FORTRAN; }, nullptr,
       [](const For_Lub& l) { EXPECT_EQ(CC_LIST, l.lub_cc); }},
      {"no pad without the Fortran 90 rules", 6, [](For_Lub& l) { l.lub_f_f90_rtl = 0; }, nullptr,
       [](const For_Lub& l) { EXPECT_FALSE(l.lub_f_pad); }},
      {"buffered by option", -2, [](For_Lub& l) { l.lub_f_buffer_stdout = 1; }, nullptr,
       [](const For_Lub& l) { EXPECT_TRUE(l.lub_f_buffered && !l.lub_f_user_buffered); }},
      {"buffered by variable", 6, nullptr, "FORT_BUFFER_STDOUT",
       [](const For_Lub& l) { EXPECT_TRUE(l.lub_f_buffered && !l.lub_f_user_buffered); }},
      {"not on standard error", 0, nullptr, "FORT_BUFFER_STDOUT",
       [](const For_Lub& l) { EXPECT_FALSE(l.lub_f_buffered); }},
      {"the variable for files has no effect", 6, nullptr, "FORT_BUFFERED",
       [](const For_Lub& l) { EXPECT_FALSE(l.lub_f_buffered || l.lub_f_user_buffered); }},
      {"buffering turned off", 6, [](For_Lub& l) { l.lub_f_buffer_stdout = 1; }, "FORT_NO_BUFFERING",
       [](const For_Lub& l) {
         EXPECT_FALSE(l.lub_f_buffered);
         EXPECT_TRUE(l.lub_f_threshold_set);
         EXPECT_EQ(1, l.lub_buffer_threshold);
       }},
      {"no wrap margin", 6, nullptr, "FORT_FMT_NO_WRAP_MARGIN",
       [](const For_Lub& l) { EXPECT_TRUE(l.lub_f_no_wrap_margin); }},
      {"compatible defaults", 6, [](For_Lub& l) { l.lub_f_compat_io = 1; }, nullptr,
       [](const For_Lub& l) {
         EXPECT_EQ(CC_FORTRAN, l.lub_cc);
         EXPECT_EQ(84, l.lub_wrap_margin);
         EXPECT_EQ(1024, l.lub_recl);
         EXPECT_EQ(1030, l.lub_rec_bytes);
         EXPECT_EQ(8192, l.lub_buffer_size);
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    in_child([&row] {
      SCOPED_TRACE(row.what);
      if (row.variable != nullptr) setenv(row.variable, "yes", 1);
      for__preconnected_units_create();
      row.check(*connect(row.unit, row.options));
    });
  }
}

TEST(ConsoleConnection, EveryAllocationMayFail) {
  in_child([] {
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
  });
}

TEST(DefaultConnection, UnitsWithoutAFileUseTheirNumber) {
  in_child([] {
    const Temp_Dir dir;
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    char here[4096];
    ASSERT_NE(nullptr, getcwd(here, sizeof here));
    For_Lub* lub = acquire(7, STMT_READ);
    EXPECT_EQ(MSG_FILE_NOT_FOUND, open_default(lub, kReading));
    EXPECT_EQ(ENOENT, lub->lub_errno);
    for__abandon_connection(lub);
    EXPECT_EQ(0, open_default(lub, kWriting));
    EXPECT_EQ(std::string(here) + "/fort.7", lub->lub_a_file_name);
    EXPECT_EQ(0, access("fort.7", F_OK));
    EXPECT_TRUE(lub->lub_f_seekable && lub->lub_f_formatted && lub->lub_f_sequential);
    EXPECT_FALSE(lub->lub_f_readonly || lub->lub_f_writeonly);
    EXPECT_EQ(STREAM_FMT_SEQUENTIAL, lub->lub_stream_kind);
    EXPECT_EQ(RECTYPE_STREAM_LF, lub->lub_rectype);
    EXPECT_EQ(134, lub->lub_rec_bytes);
    const int fd = lub->lub_fd;
    EXPECT_EQ(0, for__close_default(lub, 1));
    EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << "closed";
    EXPECT_EQ(nullptr, for__lub_table[7 + 6].row_head);

    setenv("FORT8", "  /dev/null  ", 1);
    lub = acquire(8, STMT_WRITE);
    EXPECT_EQ(0, open_default(lub, kWriting));
    EXPECT_STREQ("/dev/null", lub->lub_a_file_name);
    setenv("FORT9", "", 1);
    EXPECT_EQ(MSG_FILE_NAME, open_default(acquire(9, STMT_WRITE), kWriting));
    setenv("FORT10", std::string(4097, 'x').c_str(), 1);
    EXPECT_EQ(MSG_PATH_TOO_LONG, open_default(acquire(10, STMT_WRITE), kWriting));
    setenv("FORT11", here, 1);
    EXPECT_EQ(MSG_OPEN_FAILURE, open_default(acquire(11, STMT_WRITE), kWriting)) << "a directory";
    const rlimit none = {3, 3};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(MSG_TOO_MANY_OPEN_FILES, open_default(acquire(12, STMT_WRITE), kWriting));
  });
}

TEST(DefaultConnection, VariablesNameTheFilesOfDefaultUnits) {
  constexpr struct {
    int unit;
    const char* variable;
  } kRows[] = {{-4, "FOR_READ"}, {-3, "FOR_ACCEPT"}, {-2, "FOR_TYPE"}, {-1, "FOR_PRINT"}, {0, "FORT0"}, {6, "FORT6"}};
  for (const auto& [unit, variable] : kRows) {
    in_child([unit = unit, variable = variable] {
      const Temp_Dir dir;
      setenv(variable, dir.file("named").c_str(), 1);
      for__preconnected_units_create();
      For_Lub* lub = acquire(unit, STMT_INQUIRE);
      EXPECT_EQ(0, for__open_default(lub, -1, -1, -1)) << "INQUIRE decides the state, no more";
      EXPECT_EQ(static_cast<u32>(DEFAULT_FROM_ENV), lub->lub_default_state) << unit;
      EXPECT_FALSE(lub->lub_f_connected);
      EXPECT_EQ(0, open_default(lub, kWriting));
      EXPECT_EQ(dir.file("named"), lub->lub_a_file_name);
      EXPECT_GT(lub->lub_fd, 2);
      EXPECT_EQ(0, for__close_default(lub, 1));
    });
  }
  in_child([] {
    // Blank names come from the command line: the variable is not looked at.
    setenv("FOR_PRINT", "/nowhere/at/all", 1);
    for__preconnected_units_create();
    EXPECT_EQ(1, connect(UNIT_PRINT, [](For_Lub& l) { l.lub_f_files_from_cmd = 1; })->lub_fd);
  });
}

}  // namespace
