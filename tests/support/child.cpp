// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Runs a piece of a test in a forked child.

#include "support/child.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tamrun_test {
namespace {

constexpr int kFailedInChild = 251;

/// One captured stream: the end that the child writes and the end that the parent reads.
struct Stream {
  int write_end = -1, read_end = -1;

  explicit Stream(Capture capture) {
    if (capture == Capture::kPipe) {
      int ends[2];
      if (pipe(ends) != 0) abort();
      read_end = ends[0];
      write_end = ends[1];
    } else {
      write_end = memfd_create("captured", 0);
      read_end = dup(write_end);
      if (read_end < 0) abort();
    }
  }
  ~Stream() { close(read_end); }

  std::string content(Capture capture) {
    if (capture == Capture::kFile) lseek(read_end, 0, SEEK_SET);
    std::string text;
    char piece[4096];
    for (ssize_t n; (n = read(read_end, piece, sizeof piece)) != 0;) {
      if (n > 0) {
        text.append(piece, static_cast<size_t>(n));
      } else if (errno != EINTR) {
        break;
      }
    }
    return text;
  }
};

[[noreturn]] void child_main(const std::function<void()>& body, int out, int err, unsigned seconds) {
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  alarm(seconds);
  const auto failures = [] {
    return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  };
  const int before = failures();
  body();
  const bool failed = failures() != before;
  fflush(nullptr);
  _exit(failed ? kFailedInChild : 0);
}

}  // namespace

Child_Result run_child(const std::function<void()>& body, Capture capture, unsigned seconds) {
  Stream out(capture), err(capture);
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    close(out.read_end);
    close(err.read_end);
    child_main(body, out.write_end, err.write_end, seconds);
  }
  close(out.write_end);
  close(err.write_end);

  int wait_status = 0;
  while (waitpid(pid, &wait_status, 0) < 0 && errno == EINTR) continue;
  Child_Result result;
  result.out = out.content(capture);
  result.err = err.content(capture);
  if (WIFEXITED(wait_status)) result.status = WEXITSTATUS(wait_status);
  if (WIFSIGNALED(wait_status)) result.signal = WTERMSIG(wait_status);
  EXPECT_NE(result.status, kFailedInChild) << result.out << result.err;
  return result;
}

Temp_Dir::Temp_Dir() {
  std::string name = std::filesystem::temp_directory_path() / "tamrunXXXXXX";
  if (mkdtemp(name.data()) == nullptr) abort();
  path_ = name;
}

Temp_Dir::~Temp_Dir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& name, const std::string& content) {
  std::ofstream(name, std::ios::binary) << content;
}

}  // namespace tamrun_test
