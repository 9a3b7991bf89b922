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
#include "naming.h"

namespace {

using namespace std::string_view_literals;

TEST(FileName, FromFileDirectoryUnitAndVariable) {
  struct Row {
    const char* variable;  ///< "NAME=value", set for this row alone
    int unit;
    std::string_view file;
    const char *directory, *path;  ///< "./" is the working directory; null: no name
  };
  constexpr std::string_view kNone;
  constexpr Row kRows[] = {
      {"", 10, "data", nullptr, "./data"},
      {"", 10, "  two words \0 \0"sv, nullptr, "./two words"},
      {"", 10, " /abs/olute  ", nullptr, "/abs/olute"},
      {"", 10, kNone, nullptr, "./fort.10"},
      {"", -7, kNone, nullptr, "./fort.-7"},
      {"", -2147483647 - 1, kNone, nullptr, "./fort.-2147483648"},
      {"", 2147483647, kNone, nullptr, "./fort.2147483647"},
      {"FORT10= by_variable ", 10, kNone, nullptr, "./by_variable"},
      {"FORT10= by_variable ", 10, kNone, "/dir", "/dir/by_variable"},
      {"FORT10=by_variable", 10, "data", nullptr, "./data"},
      {"FORT10=by_variable", 100, kNone, nullptr, "./fort.100"},
      {"FORT-7=/negative", -7, kNone, nullptr, "/negative"},
      // An empty value is a value.
      {"", 10, "", nullptr, nullptr},
      {"", 10, "    ", nullptr, nullptr},
      {"", 10, "  \0\0"sv, nullptr, nullptr},
      {"FORT10=", 10, kNone, nullptr, nullptr},
      {"FORT6=", 6, kNone, nullptr, nullptr},
      {"FOR_READ=", -4, kNone, nullptr, nullptr},
      // DEFAULTFILE=
      {"", 10, "x", "/dir", "/dir/x"},
      {"", 10, "x", "/dir/", "/dir/x"},
      {"", 10, "x", "relative", "relative/x"},
      {"", 10, kNone, "  /dir  ", "/dir/fort.10"},
      {"", 10, "/abs", "/dir", "/abs"},
      // The home directory.
      {"", 10, "~/x", nullptr, "/x"},
      {"", 10, "x", "~/base", "/base/x"},
      {"HOME=", 10, "~/x", nullptr, "/x"},
      {"HOME=/home/u", 10, "  ~/x", nullptr, "/home/u/x"},
      {"HOME=/home/u", 10, "x", " ~/base ", "/home/u/base/x"},
      {"HOME=/home/u", 10, "x", "~/", "/home/u/x"},
      {"HOME=/home/u", 10, "~x", nullptr, "./~x"},
      {"HOME=/home/u", 10, "~", nullptr, "./~"},
      {"HOME=/home/u", 10, "a~", nullptr, "./a~"},
      {"HOME=relative", 10, "~/x", nullptr, "./relative/x"},
      {"FORT10=~/var", 10, kNone, nullptr, "/var"},
  };
  in_directory([&](const std::string& here) {
    int number = 0;
    for (const Row& row : kRows) {
      SCOPED_TRACE("row " + std::to_string(number++));
      const std::string variable = row.variable, name = variable.substr(0, variable.find('='));
      if (!name.empty()) setenv(name.c_str(), variable.substr(name.size() + 1).c_str(), 1);
      Naming naming(row.unit);
      if (row.file.data() != nullptr) naming.file(row.file);
      if (row.directory != nullptr) naming.directory(row.directory);
      if (row.path == nullptr) {
        EXPECT_EQ(MSG_FILE_NAME, naming.compute());
      } else {
        expect_file(*row.path == '.' ? here + (row.path + 1) : row.path, naming);
      }
      if (!name.empty()) unsetenv(name.c_str());
    }
    Naming negative = Naming(10).file("x");
    negative.args.file_length = -1;
    EXPECT_EQ(MSG_FILE_NAME, negative.compute());
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

TEST(FileName, DigitsOfPipedDescriptors) {
  for (int fd = -1; fd < 12; ++fd) {
    char name[64] = {};
    fname_from_piped_fd(fd, 2147483647, name);
    EXPECT_EQ("/proc/2147483647/fd/" + (fd >= 0 && fd <= 2 ? std::to_string(fd) : ""), name);
  }
}

TEST(FileName, Limits) {
  in_directory([](const std::string& here) {
    const auto name_of = [](size_t bytes) { return "/" + std::string(bytes - 1, 'x'); };
    expect_file(name_of(4096), Naming(10).file(name_of(4096)));
    expect_file(name_of(4096), Naming(10).file(name_of(4096) + std::string(5000, ' ')));
    for (const size_t bytes : {4097, 100000}) EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(name_of(bytes)).compute());
    for (const auto& [variable, unit] : {std::pair{"FORT10", 10}, {"FOR_READ", -4}}) {
      setenv(variable, name_of(4096).c_str(), 1);
      expect_file(name_of(4096), Naming(unit));
      setenv(variable, name_of(4097).c_str(), 1);
      EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(unit).compute());
    }
    // Directory, slash and name.
    const std::string room(4096 - here.size() - 1, 'x');
    expect_file(here + "/" + room, Naming(10).file(room));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(room + "x").compute());
    const std::string longest = name_of(4094) + "/";
    expect_file(longest + "x", Naming(10).file("x").directory(longest));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("xy").directory(longest).compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory(name_of(4095)).compute()) << "a '/' is added";
    const std::string blanks = "/dir" + std::string(4091, ' '), more_blanks = blanks + " ";
    expect_file("/dir/x", Naming(10).file("x").directory(blanks));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory(more_blanks).compute());
    // FILE= and HOME together are measured as one, and the name itself has a limit.
    const std::string fits = "~/" + std::string(94, 'x'), too_long = fits + "x", alone = "~/" + std::string(4095, 'x');
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(alone).compute());
    setenv("HOME", name_of(4001).c_str(), 1);
    expect_file(name_of(4001) + fits.substr(1), Naming(10).file(fits));
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file(too_long).compute());
    setenv("HOME", name_of(5000).c_str(), 1);
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("~/x").compute());
    EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).file("x").directory("~/x").compute());
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
    for (const int unit : {10, 6}) EXPECT_EQ(here + "/one/", scratch_directory(Naming(unit)));
    for (const char* useless : {"/no/such/directory", "", "/dev/null"}) {
      setenv("FORT_TMPDIR", useless, 1);
      setenv("TMPDIR", "two", 1);
      EXPECT_EQ("two/", scratch_directory(Naming(10))) << useless;
      setenv("TMPDIR", useless, 1);
      EXPECT_EQ(here + "/", scratch_directory(Naming(10))) << useless;
      EXPECT_EQ(here + "/", scratch_directory(Naming(10).file("kept"))) << "FILE= has no say";
    }
  });
  std::string expected;
  for (int i = 0; i < 3; ++i) expected += "tamrtl: info (530): FILE= specifier ignored when STATUS has value SCRATCH\n";
  EXPECT_EQ(expected, result.err);
  EXPECT_EQ(0, result.status);
}

TEST(ScratchFile, LimitsAndFailures) {
  in_directory([](const std::string& here) {
    // With the '/' and ten more characters the path has 4096 and 4097.
    const std::string fits(4085, 'd');
    for (const char* variable : {"FORT_TMPDIR", "TMPDIR"}) {
      for (const std::string& directory : {fits, fits + "/"}) {
        setenv(variable, directory.c_str(), 1);
        EXPECT_EQ(here + "/", scratch_directory(Naming(10)));
      }
      for (const size_t bytes : {4086, 6000}) {
        setenv(variable, std::string(bytes, 'd').c_str(), 1);
        EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).scratch().compute());
      }
      unsetenv(variable);
    }
    for (const size_t bytes : {4095, 4096})
      EXPECT_EQ(MSG_PATH_TOO_LONG, Naming(10).directory(std::string(bytes, 'd')).scratch().compute());

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
