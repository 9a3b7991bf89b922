// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The dialogue that asks for the name of a file. Every case runs in a child of its own.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "acquire.h"
#include "core/start.h"
#include "naming.h"
#include "support/fail_malloc.h"
#include "support/open_list.h"
#include "support/terminal.h"

namespace {

std::string prompt_for(int unit) {
  return "File name missing or blank - please enter file name\r\nUNIT " + std::to_string(unit) + "? ";
}

Naming blank_name(int unit) { return Naming(unit).file("  ").from_command_line(); }

/// Lets standard input be a file with this content.
void take_input_from(const std::string& content) {
  write_file("input", content);
  const int fd = open("input", O_RDONLY);
  ASSERT_EQ(STDIN_FILENO, dup2(fd, STDIN_FILENO));
  close(fd);
}

/// Nobody holds the console units.
void expect_free_console() {
  for (const int unit : {5, 6}) {
    EXPECT_FALSE(acquire(unit, STMT_INQUIRE)->lub_f_connected) << unit;
    EXPECT_EQ(0, for__release_lun(unit));
  }
}

/// Types each reply when a question stands on the terminal: what was shown.
std::string converse(const Terminal& terminal, const std::vector<std::string>& replies) {
  std::string shown;
  for (const std::string& reply : replies) {
    do {
      char piece[256];
      const ssize_t got = read(terminal.typist(), piece, sizeof piece);
      if (got <= 0) return shown + "(gone)";
      shown.append(piece, static_cast<size_t>(got));
    } while (!shown.ends_with("? "));
    EXPECT_EQ(static_cast<ssize_t>(reply.size()), write(terminal.typist(), reply.data(), reply.size()));
  }
  return shown;
}

TEST(NameDialogue, OnATerminal) {
  for (const char* variable : {"UNUSED", "FORT_BUFFER_STDOUT", "FORT_BUFFERED", "in an OPEN statement"}) {
    SCOPED_TRACE(variable);
    in_directory([&](const std::string& here) {
      setenv(variable, "yes", 1);
      for__preconnected_units_create();
      Terminal terminal;
      termios modes;
      EXPECT_EQ(0, tcgetattr(terminal.fd(), &modes));
      cfmakeraw(&modes);  // it shows what it is sent, byte for byte, and nothing else
      modes.c_lflag |= ICANON;
      EXPECT_EQ(0, tcsetattr(terminal.fd(), TCSANOW, &modes));
      for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) terminal.become(fd);
      std::string shown;
      std::thread user([&] { shown = converse(terminal, {"\n", "   \n", "  new.dat \n"}); });
      if (strchr(variable, ' ') == nullptr) {
        const long blocks = vm_live_blocks();
        expect_file(here + "/new.dat", blank_name(10));
        EXPECT_EQ(blocks, vm_live_blocks());
      } else {
        EXPECT_EQ(0, open_unit(10, "", iof_files_from_cmd));
        EXPECT_EQ(0, access("new.dat", F_OK));
      }
      user.join();
      EXPECT_EQ(prompt_for(10) + prompt_for(10) + prompt_for(10), shown);
      expect_free_console();
      for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) EXPECT_GE(fcntl(fd, F_GETFD), 0);
    });
  }
}

TEST(NameDialogue, WithRedirectedStreams) {
  for (const int unit : {10, 5, 6, -129}) {
    const Child_Result result = in_directory([unit](const std::string& here) {
      take_input_from("\nreply one\nnext line\n");
      expect_file(here + "/reply one", blank_name(unit));
      char rest[64] = {};
      EXPECT_EQ(10, read(STDIN_FILENO, rest, sizeof rest)) << "what follows the reply is left";
      EXPECT_STREQ("next line\n", rest);
      expect_free_console();
    });
    EXPECT_EQ(prompt_for(unit) + prompt_for(unit), result.out);
    EXPECT_EQ("", result.err);
  }
}

TEST(NameDialogue, TakesNoMoreThanTheReply) {
  in_directory([](const std::string& here) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_EQ(STDIN_FILENO, dup2(ends[0], STDIN_FILENO));
    ASSERT_EQ(12, write(ends[1], "\nreply\nrest\n", 12));
    expect_file(here + "/reply", blank_name(10));
    char rest[64] = {};
    EXPECT_EQ(5, read(STDIN_FILENO, rest, sizeof rest));
    EXPECT_STREQ("rest\n", rest);
  });
}

TEST(NameDialogue, AfterTheCommandLine) {
  const Child_Result result = in_directory([](const std::string& here) {
    char program[] = "program", blank[] = "  ", name[] = "name";
    char* arguments[] = {program, blank, name, nullptr};
    int count = 3;
    for_rtl_init_(&count, arguments);
    take_input_from("reply\nanother\n");
    expect_file(here + "/reply", blank_name(10));
    EXPECT_EQ(2, for__l_current_arg);
    expect_file(here + "/name", blank_name(11));
    expect_file(here + "/another", blank_name(12));
    EXPECT_EQ(3, for__l_current_arg);
  });
  EXPECT_EQ(prompt_for(10) + prompt_for(12), result.out);
}

TEST(NameDialogue, LengthsOfReplyAndRecord) {
  in_directory([](const std::string&) {
    const std::string longest = "/" + std::string(4095, 'x');
    take_input_from(longest + "\n  " + longest + "  \n" + longest + "x\n" + std::string(100000, 'y') + "\nlast");
    expect_file(longest, blank_name(10));
    expect_file(longest, blank_name(10));
    EXPECT_EQ(MSG_PATH_TOO_LONG, blank_name(10).compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, blank_name(10).compute());
    expect_file("/last", blank_name(10).directory("/"));
  });
  // A prompt that is longer than the records of the program.
  const Child_Result result = in_directory([](const std::string& here) {
    setenv("FORT_FMT_RECL", "10", 1);
    for_rtl_init_(nullptr, nullptr);
    take_input_from("a name of more than ten\n");
    expect_file(here + "/a name of more than ten", blank_name(10));
  });
  EXPECT_EQ("", result.err);
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(prompt_for(10), result.out);
}

TEST(NameDialogue, TheConsoleMayBeAFile) {
  const Child_Result result = in_directory([](const std::string& here) {
    write_file("questions", "");
    write_file("answers", "reply\n");
    setenv("FORT5", "answers", 1);
    setenv("FORT6", "questions", 1);
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    expect_file(here + "/reply", blank_name(10));
    EXPECT_EQ(prompt_for(10), read_file("questions"));
    EXPECT_EQ(lowest, dup(STDIN_FILENO)) << "the files are closed";
  });
  EXPECT_EQ("", result.out);
}

TEST(NameDialogue, Failures) {
  in_directory([](const std::string&) {
    take_input_from("");
    EXPECT_EQ(MSG_END_OF_FILE, blank_name(10).compute());
    take_input_from("\n \n");
    EXPECT_EQ(MSG_END_OF_FILE, blank_name(10).compute());
    close(STDIN_FILENO);
    ASSERT_EQ(STDIN_FILENO, open("/", O_RDONLY));
    Naming unreadable = blank_name(10);
    EXPECT_EQ(MSG_READ_ERROR, unreadable.compute());
    EXPECT_EQ(EISDIR, unreadable.lub.lub_errno);
    expect_free_console();

    // A console without a name would ask for one itself.
    setenv("FORT6", "", 1);
    EXPECT_EQ(MSG_RECURSIVE_IO, blank_name(10).compute());
    unsetenv("FORT6");
    setenv("FORT5", "", 1);
    EXPECT_EQ(MSG_RECURSIVE_IO, blank_name(5).compute());
    unsetenv("FORT5");
    expect_free_console();
    For_Lub* lub = nullptr;
    ASSERT_EQ(0, for__acquire_lun(6, &lub, nullptr, STMT_WRITE_SEQ));
    EXPECT_EQ(MSG_RECURSIVE_IO, blank_name(10).compute());
    EXPECT_EQ(0, for__release_lun(6));
  });
}

TEST(NameDialogue, APromptThatCannotBeWritten) {
  const auto refuse_output = [] {
    const int full = open("/dev/full", O_WRONLY);
    ASSERT_EQ(STDOUT_FILENO, dup2(full, STDOUT_FILENO));
    take_input_from("reply\n");
  };
  const Child_Result caught = in_directory([&](const std::string&) {
    refuse_output();
    Naming naming = blank_name(10);
    naming.lub.lub_f_err = 1;
    EXPECT_EQ(MSG_FILE_NAME, naming.compute());
    expect_free_console();
  });
  EXPECT_EQ("", caught.err);
  const Child_Result fatal = in_directory([&](const std::string&) {
    refuse_output();
    (void)blank_name(10).compute();
  });
  EXPECT_EQ(MSG_WRITE_ERROR, fatal.status);
  EXPECT_NE(std::string::npos, fatal.err.find("severe (38): error during write, unit 6, file /proc/")) << fatal.err;
}

TEST(NameDialogue, EveryAllocationMayFail) {
  in_directory([](const std::string&) {
    for__preconnected_units_create();
    take_input_from(std::string(1000, '\n') + "reply\n");
    Naming(5).compute();
    const long blocks = vm_live_blocks();
    bool hit = true;
    int failures = 0;
    for (long n = 1; hit; ++n) {
      lseek(STDIN_FILENO, 999, SEEK_SET);
      Fail_Vm fail(n);
      const int status = blank_name(10).compute();
      hit = fail.hit();
      failures += hit;
      EXPECT_EQ(hit, status != 0) << n;
      EXPECT_EQ(blocks, vm_live_blocks()) << n;
      expect_free_console();
    }
    EXPECT_GE(failures, 8);
  });
}

}  // namespace
