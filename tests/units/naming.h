// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Computes names of files in a child that has an empty directory and no variable of file naming.
#ifndef TAMRUN_TESTS_UNITS_NAMING_H
#define TAMRUN_TESTS_UNITS_NAMING_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <string_view>

#include "support/child.h"
#include "tamrun/messages.h"
#include "tamrun/open_args.h"
#include "units/file_name.h"
#include "units/unit_table.h"

using namespace tamrun_test;

/// What an OPEN gives, and what comes of it.
struct Naming {
  For_Lub lub = {};
  For_File_Name_Args args = {};
  std::string path;
  static constexpr int kUntouched = 99;
  int needs_open = kUntouched, positionable = kUntouched;

  explicit Naming(int unit) { lub.lub_unit = unit; }
  Naming& file(std::string_view name) {
    args.file = name.data();
    args.file_length = static_cast<i64>(name.size());
    return *this;
  }
  Naming& directory(std::string_view name) {
    args.default_file = name.data();
    args.default_file_length = static_cast<i64>(name.size());
    return *this;
  }
  Naming& from_command_line() {
    lub.lub_f_files_from_cmd = 1;
    return *this;
  }
  Naming& scratch() {
    args.status = STATUS_SCRATCH;
    return *this;
  }

  /// Computes the name between guards.
  int compute() {
    constexpr char kGuard[] = "guard";
    char out[kMaxFileName + 1 + sizeof kGuard];
    memset(out, '#', sizeof out);
    memcpy(out + kMaxFileName + 1, kGuard, sizeof kGuard);
    const int status = for__compute_filename(&lub, &args, out, &needs_open, &positionable);
    EXPECT_STREQ(kGuard, out + kMaxFileName + 1);
    if (status == 0) path = out;
    return status;
  }
};

inline void expect_file(const std::string& path, Naming naming) {
  ASSERT_EQ(0, naming.compute());
  EXPECT_EQ(path, naming.path);
  EXPECT_EQ(1, naming.needs_open);
  EXPECT_EQ(1, naming.positionable);
}

inline void expect_console(int fd, Naming naming) {
  naming.lub.lub_fd = Naming::kUntouched;
  ASSERT_EQ(0, naming.compute());
  EXPECT_EQ("/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd), naming.path);
  EXPECT_EQ(fd, naming.lub.lub_fd);
  EXPECT_EQ(0, naming.needs_open);
  EXPECT_EQ(0, naming.positionable);
}

/// Runs the body in an empty directory, which it gets by its full name, with no variable of file naming set.
inline Child_Result in_directory(const std::function<void(const std::string&)>& body,
                                 Capture capture = Capture::kFile) {
  return run_child(
      [&body] {
        const Temp_Dir dir;
        ASSERT_EQ(0, chdir(dir.path().c_str()));
        char here[kMaxFileName + 1];
        ASSERT_NE(nullptr, getcwd(here, sizeof here));
        for (const char* variable : {"HOME", "FORT_TMPDIR", "TMPDIR"}) unsetenv(variable);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        body(here);
        ASSERT_EQ(0, chdir("/"));
      },
      capture);
}

#endif
