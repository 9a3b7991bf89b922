// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Which file a unit means. Every case runs in a child of its own, with its environment, in an empty directory.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "core/start.h"
#include "units/naming.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(FileName, FromFileUnitAndVariable) {
  in_directory([](const std::string& here) {
    expect_file(here + "/data", Naming(10).file("data"));
    expect_file(here + "/two words", Naming(10).file("  two words \0 \0"sv));
    expect_file(here + "/sub/x.y", Naming(10).file("sub/x.y"));
    expect_file("/abs/olute", Naming(10).file(" /abs/olute  "));
    expect_file(here + "/fort.10", Naming(10));
    expect_file(here + "/fort.-7", Naming(-7));
    expect_file(here + "/fort.-2147483648", Naming(-2147483647 - 1));
    expect_file(here + "/fort.2147483647", Naming(2147483647));

    setenv("FORT10", " by_variable ", 1);
    setenv("FORT-7", "/negative", 1);
    expect_file(here + "/by_variable", Naming(10));
    expect_file("/negative", Naming(-7));
    expect_file(here + "/data", Naming(10).file("data"));
    expect_file(here + "/fort.100", Naming(100));
    expect_file("/dir/by_variable", Naming(10).directory("/dir"));
  });
}

TEST(FileName, BlankNamesAreRefused) {
  in_directory([](const std::string&) {
    EXPECT_EQ(MSG_FILE_NAME, Naming(10).file("").compute());
    EXPECT_EQ(MSG_FILE_NAME, Naming(10).file("    ").compute());
    EXPECT_EQ(MSG_FILE_NAME, Naming(10).file("  \0\0"sv).compute());
    Naming negative(10);
    negative.args.file = "x";
    negative.args.file_length = -1;
    EXPECT_EQ(MSG_FILE_NAME, negative.compute());
    for (const char* variable : {"FORT6", "FORT10", "FOR_READ"}) setenv(variable, "", 1);
    EXPECT_EQ(MSG_FILE_NAME, Naming(6).compute()) << "an empty value is a value";
    EXPECT_EQ(MSG_FILE_NAME, Naming(10).compute());
    EXPECT_EQ(MSG_FILE_NAME, Naming(-4).compute());
  });
}

TEST(FileName, ConsoleUnits) {
  constexpr struct {
    int unit, fd;
    const char* variable;
  } kUnits[] = {{-4, 0, "FOR_READ"}, {-3, 0, "FOR_ACCEPT"}, {-2, 1, "FOR_TYPE"}, {-1, 1, "FOR_PRINT"},
                {0, 2, "FORT0"},     {5, 0, "FORT5"},       {6, 1, "FORT6"}};
  for (const auto& [unit, fd, variable] : kUnits) {
    SCOPED_TRACE(unit);
    in_directory([&](const std::string& here) {
      expect_console(fd, Naming(unit));
      expect_console(fd, Naming(unit).from_command_line());
      expect_console(fd, Naming(unit).directory("/elsewhere"));
      setenv(variable, "named", 1);
      expect_file(here + "/named", Naming(unit));
      expect_file("/elsewhere/named", Naming(unit).directory("/elsewhere"));
      // Units without a number have their variables looked at only if the command line has no say.
      Naming command_line = Naming(unit).from_command_line();
      if (unit >= 0)
        expect_file(here + "/named", command_line);
      else
        expect_console(fd, command_line);
      command_line.lub.lub_f_legacy_defaults = 1;
      expect_file(here + "/named", command_line);
      // FILE= has no say over them otherwise.
      expect_file(here + (unit < 0 ? "/named" : "/given"), Naming(unit).file("given"));
      expect_file(here + "/given", Naming(unit).file("given").from_command_line());
    });
  }
  in_directory([](const std::string& here) {
    setenv("FORT-1", "minus_one", 1);
    expect_console(1, Naming(-1));
    expect_file(here + "/minus_one", Naming(-1).from_command_line());
  });
  in_directory([](const std::string&) { expect_console(1, Naming(6)); }, Capture::kPipe);
}

TEST(FileName, ConsoleOnATerminal) {
  in_directory([](const std::string&) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(0, grantpt(master) | unlockpt(master));
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_EQ(STDIN_FILENO, dup2(slave, STDIN_FILENO));
    Naming naming(5);
    EXPECT_EQ(0, naming.compute());
    EXPECT_EQ(ptsname(master), naming.path);
    EXPECT_EQ(0, naming.lub.lub_fd | naming.needs_open | naming.positionable);
  });
}

TEST(FileName, DigitsOfPipedDescriptors) {
  for (int fd = -1; fd < 12; ++fd) {
    char name[64] = {};
    fname_from_piped_fd(fd, 2147483647, name);
    EXPECT_EQ("/proc/2147483647/fd/" + (fd >= 0 && fd <= 2 ? std::to_string(fd) : ""), name);
  }
}

TEST(FileName, HomeDirectory) {
  in_directory([](const std::string& here) {
    expect_file("/x", Naming(10).file("~/x"));
    expect_file("/base/x", Naming(10).file("x").directory("~/base"));
    const std::string shorter_in_the_end = "~/" + std::string(4095, 'x');
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(shorter_in_the_end).compute()) << "the name itself has a limit";
    setenv("HOME", "/home/u", 1);
    expect_file("/home/u/x", Naming(10).file("  ~/x"));
    expect_file("/home/u/base/x", Naming(10).file("x").directory(" ~/base "));
    expect_file("/home/u/x", Naming(10).file("x").directory("~/"));
    expect_file(here + "/~x", Naming(10).file("~x"));
    expect_file(here + "/~", Naming(10).file("~"));
    expect_file(here + "/a~/x", Naming(10).file("a~/x"));
    setenv("FORT10", "~/var", 1);
    expect_file("/home/u/var", Naming(10));
    setenv("HOME", "relative", 1);
    expect_file(here + "/relative/x", Naming(10).file("~/x"));
    setenv("HOME", "", 1);
    expect_file("/x", Naming(10).file("~/x"));
    // FILE= and HOME together are measured as one.
    setenv("HOME", ("/" + std::string(4000, 'h')).c_str(), 1);
    const std::string fits = "~/" + std::string(94, 'x'), too_long = fits + "x";
    Naming longest = Naming(10).file(fits);
    EXPECT_EQ(0, longest.compute());
    EXPECT_EQ(4096u, longest.path.size());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(too_long).compute());
    setenv("HOME", std::string(5000, 'h').c_str(), 1);
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("~/x").compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory("~/x").compute());
  });
}

TEST(FileName, DefaultDirectory) {
  in_directory([](const std::string&) {
    expect_file("/dir/x", Naming(10).file("x").directory("/dir"));
    expect_file("/dir/x", Naming(10).file("x").directory("/dir/"));
    expect_file("/dir/fort.10", Naming(10).directory("  /dir  "));
    expect_file("relative/x", Naming(10).file("x").directory("relative"));
    expect_file("/abs", Naming(10).file("/abs").directory("/dir"));
  });
}

TEST(FileName, Limits) {
  in_directory([](const std::string& here) {
    const auto file_status = [](size_t length) {
      return Naming(10).file("/" + std::string(length - 1, 'x')).compute();
    };
    EXPECT_EQ(0, file_status(4095));
    EXPECT_EQ(0, file_status(4096));
    EXPECT_EQ(MSG_PATH_TOO_LONG, file_status(4097));
    const std::string padded = "/" + std::string(4095, 'x') + std::string(5000, ' ');
    expect_file(padded.substr(0, 4096), Naming(10).file(padded));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(std::string(100000, 'x')).compute());

    for (const char* variable : {"FORT10", "FOR_READ"}) {
      Naming naming(variable == "FORT10"sv ? 10 : -4);
      setenv(variable, ("/" + std::string(4095, 'v')).c_str(), 1);
      EXPECT_EQ(0, naming.compute());
      setenv(variable, ("/" + std::string(4096, 'v')).c_str(), 1);
      EXPECT_EQ(MSG_PATH_TOO_LONG, naming.compute());
    }
    // Directory, slash and name.
    const std::string room(4096 - here.size() - 1, 'x');
    expect_file(here + "/" + room, Naming(10).file(room));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(room + "x").compute());

    const std::string longest = "/" + std::string(4093, 'd') + "/";
    expect_file(longest + "x", Naming(10).file("x").directory(longest));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("xy").directory(longest).compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory(std::string(4095, 'd')).compute()) << "a '/' is added";
    const std::string blanks = "/dir" + std::string(4091, ' ');
    expect_file("/dir/x", Naming(10).file("x").directory(blanks));
    const std::string more_blanks = blanks + " ";
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory(more_blanks).compute());
  });
}

TEST(FileName, AConnectedUnitKeepsItsName) {
  in_directory([](const std::string& here) {
    char name[] = "relative name ";
    Naming naming(10);
    naming.lub.lub_f_connected = 1;
    naming.lub.lub_a_file_name = name;
    for (const u64 status : {STATUS_OLD, STATUS_SCRATCH}) {
      naming.args.status = status;
      EXPECT_EQ(0, naming.compute());
      EXPECT_EQ(name, naming.path);
      EXPECT_EQ(0u, naming.args.status);
    }
    naming.args.status = STATUS_OLD;
    expect_file(here + "/other", naming.file("other"));
    EXPECT_EQ(STATUS_OLD, naming.args.status);
    naming.args.file = nullptr;
    naming.lub.lub_a_file_name = nullptr;
    EXPECT_EQ(MSG_FILE_NAME, naming.compute());
  });
}

TEST(FileName, WithoutAWorkingDirectory) {
  in_directory([](const std::string& here) {
    ASSERT_EQ(0, rmdir(here.c_str()));
    expect_file("./x", Naming(10).file("x"));
    expect_file("./fort.10", Naming(10));
    expect_file("/x", Naming(10).file("/x"));
  });
}

/// Makes a scratch file, removes it and answers its directory with the final '/'.
std::string scratch_directory(Naming naming) {
  naming.lub.lub_fd = -1;
  EXPECT_EQ(0, naming.scratch().compute());
  EXPECT_EQ(0, naming.needs_open);
  EXPECT_EQ(1, naming.positionable);
  const size_t start = naming.path.rfind('/') + 1;
  const std::string name = naming.path.substr(start);
  EXPECT_EQ(10u, name.size());
  EXPECT_EQ("fort", name.substr(0, 4));
  EXPECT_NE("fortXXXXXX", name);
  struct stat by_name, by_fd;
  EXPECT_EQ(0, stat(naming.path.c_str(), &by_name));
  EXPECT_EQ(0, fstat(naming.lub.lub_fd, &by_fd));
  EXPECT_EQ(by_fd.st_ino, by_name.st_ino);
  EXPECT_EQ(0, unlink(naming.path.c_str()));
  close(naming.lub.lub_fd);
  return naming.path.substr(0, start);
}

TEST(ScratchFile, DirectoriesInTheirOrder) {
  const Child_Result result = in_directory([](const std::string& here) {
    for (const char* name : {"one", "two", "three"}) ASSERT_EQ(0, mkdir(name, 0700));
    EXPECT_EQ(here + "/", scratch_directory(Naming(10)));
    EXPECT_EQ(here + "/three/", scratch_directory(Naming(10).directory(here + "/three")));
    EXPECT_EQ("three/", scratch_directory(Naming(10).directory("three/")));
    EXPECT_EQ("", scratch_directory(Naming(10).directory("/no/such/directory")));
    setenv("TMPDIR", (here + "/two/").c_str(), 1);
    EXPECT_EQ(here + "/two/", scratch_directory(Naming(10)));
    setenv("FORT_TMPDIR", (here + "/one").c_str(), 1);
    EXPECT_EQ(here + "/one/", scratch_directory(Naming(10)));
    EXPECT_EQ(here + "/one/", scratch_directory(Naming(6))) << "a console unit as well";
    for (const char* useless : {"/no/such/directory", "", "/dev/null"}) {
      setenv("FORT_TMPDIR", useless, 1);
      EXPECT_EQ(here + "/two/", scratch_directory(Naming(10))) << useless;
      setenv("TMPDIR", useless, 1);
      EXPECT_EQ(here + "/", scratch_directory(Naming(10))) << useless;
      setenv("TMPDIR", "two", 1);
      EXPECT_EQ("two/", scratch_directory(Naming(10)));
      setenv("TMPDIR", (here + "/two").c_str(), 1);
    }
  });
  EXPECT_EQ("", result.err);
}

TEST(ScratchFile, FileIsIgnoredWithAMessage) {
  const Child_Result result =
      in_directory([](const std::string& here) { EXPECT_EQ(here + "/", scratch_directory(Naming(10).file("kept"))); });
  EXPECT_EQ("tamrtl: info (530): FILE= specifier ignored when STATUS has value SCRATCH\n", result.err);
  EXPECT_EQ(0, result.status);
}

TEST(ScratchFile, LimitsAndFailures) {
  in_directory([](const std::string& here) {
    // With the '/' and ten more characters the path has 4096 and 4097.
    for (const char* variable : {"FORT_TMPDIR", "TMPDIR"}) {
      setenv(variable, std::string(4085, 'd').c_str(), 1);
      EXPECT_EQ(here + "/", scratch_directory(Naming(10)));
      setenv(variable, (std::string(4085, 'd') + "/").c_str(), 1);
      EXPECT_EQ(here + "/", scratch_directory(Naming(10)));
      setenv(variable, std::string(4086, 'd').c_str(), 1);
      EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).scratch().compute());
      setenv(variable, std::string(6000, 'd').c_str(), 1);
      EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).scratch().compute());
      unsetenv(variable);
    }
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).directory(std::string(4096, 'd')).scratch().compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).directory(std::string(4095, 'd')).scratch().compute());

    setenv("TMPDIR", "/proc", 1);
    Naming refused = Naming(10).scratch();
    EXPECT_EQ(0, refused.compute());
    EXPECT_NE(0, errno);
    EXPECT_EQ(-1, refused.lub.lub_fd) << "the connection reports it";
  });
}

TEST(CommandLine, ABlankNameTakesTheNextArgument) {
  in_directory([](const std::string& here) {
    char program[] = "program", first[] = " first ", second[] = "/second", third[] = "~/third";
    std::string long_name(4097, 'x');
    char* arguments[] = {program, first, second, third, long_name.data(), nullptr};
    int count = 5;
    for_rtl_init_(&count, arguments);
    setenv("HOME", "/h", 1);
    expect_file(here + "/fort.10", Naming(10));
    EXPECT_EQ(MSG_FILE_NAME, Naming(10).file(" ").compute());
    EXPECT_EQ(1, for__l_current_arg) << "not without the option";
    expect_file(here + "/given", Naming(10).file("given").from_command_line());
    expect_file("/dir/first", Naming(10).directory("/dir").from_command_line());
    expect_file("/second", Naming(11).file("   ").from_command_line());
    setenv("FORT12", "", 1);
    expect_file("/h/third", Naming(12).from_command_line());
    EXPECT_EQ(4, for__l_current_arg);
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(13).from_command_line().compute());
    EXPECT_EQ(5, for__l_current_arg);
  });
}

}  // namespace
