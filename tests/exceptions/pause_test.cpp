// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// PAUSE: the prompt, the answers at a terminal, and the wait in the background.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "core/start.h"
#include "exceptions/for_stop.h"
#include "support/child.h"
#include "support/item_list.h"
#include "support/terminal.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr int kContinued = 7;
constexpr unsigned kSeconds = 10;

/// PAUSE in a child whose standard input is made by `prepare`.
Child_Result paused(const std::function<void()>& prepare, const char* text = "", i32 length = 0) {
  return run_child(
      [&] {
        int argc = 0;
        for_rtl_init_(&argc, nullptr);
        prepare();
        for_pause(text, length);
        _exit(kContinued);
      },
      Capture::kPipe, kSeconds);
}

TEST(Pause, AnswersAtATerminal) {
  const struct {
    const char* typed;
    int status;
  } kRows[] = {{"con\n", kContinued},
               {"\n", kContinued},
               {"CONTINUE\n", kContinued},
               {"   continue  \n", kContinued},
               {"    \n", kContinued},
               {"continues\n", 0},
               {"cont inue\n", 0},
               {"stop\n", 0},
               {"\x04", 0}};
  for (const auto& row : kRows) {
    Terminal terminal;
    terminal.type(row.typed);
    const Child_Result child = paused([&] { terminal.become(STDIN_FILENO); });
    EXPECT_EQ(child.status, row.status) << row.typed;
    EXPECT_EQ(child.out, "FORTRAN PAUSE\nPAUSE prompt> ");
  }
  const std::string endless(200, 'c');
  Terminal terminal;
  terminal.type((endless + "\n").c_str());
  EXPECT_EQ(paused([&] { terminal.become(STDIN_FILENO); }).status, 0);
}

TEST(Pause, WhatFollowsTheAnswerIsTheProgramsAndASocketAnswersToo) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  ASSERT_EQ(write(ends[0], "c\nrest", 6), 6);
  const Child_Result child = paused([&] { dup2(ends[1], STDIN_FILENO); }, "text of it", 7);
  EXPECT_EQ(child.status, kContinued);
  EXPECT_EQ(child.out, "text of\nPAUSE prompt> ");
  char rest[8];
  EXPECT_EQ(read(ends[1], rest, sizeof rest), 4);
  ASSERT_EQ(write(ends[0], "\n", 1), 1);
  EXPECT_EQ(paused([&] { dup2(ends[1], STDIN_FILENO); }, "", -1).out, "\nPAUSE prompt> ");
  close(ends[0]);
  EXPECT_EQ(paused([&] { dup2(ends[1], STDIN_FILENO); }).status, 0);
  close(ends[1]);
}

TEST(Pause, ComesBehindWhatStandardOutputHasOpen) {
  Terminal terminal;
  terminal.type("\n");
  const Child_Result child = paused([&] {
    terminal.become(STDIN_FILENO);
    For_Context ctx{};
    ItemList items;
    items.text("line").end();
    (void)for_write_seq_lis(&ctx, 6, iof_f90_rtl | iof_compat_io | iof_extended, items.list(), items.args());
  });
  EXPECT_EQ(child.out, "line\r\nFORTRAN PAUSE\nPAUSE prompt> ");
}

TEST(Pause, InTheBackgroundWaitsForTheSignal) {
  int out[2];
  ASSERT_EQ(pipe(out), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(kSeconds);
    dup2(out[1], STDOUT_FILENO);
    freopen("/dev/null", "r", stdin);
    for_pause("wait", 4);
    const bool again = raise(SIGTERM) == 0;  // ends the process as it did before
    _exit(again ? kContinued : 1);
  }
  close(out[1]);
  const std::string last = "kill -15 " + std::to_string(pid) + "'\n";
  std::string text;
  char piece[200];
  while (text.find(last) == std::string::npos) {
    const ssize_t got = read(out[0], piece, sizeof piece);
    if (got <= 0) break;
    text.append(piece, static_cast<size_t>(got));
  }
  EXPECT_EQ(text, "wait\nPAUSE prompt> To continue from background, execute '" + last);
  EXPECT_EQ(kill(pid, SIGTERM), 0);
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
  close(out[0]);
}

}  // namespace
