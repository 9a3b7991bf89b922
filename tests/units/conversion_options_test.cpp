// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Byte order, foreign formats and line ends by unit. The variables are scanned once per process, so that each of their
// values has a child of its own.

#include "units/conversion_options.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "units/open.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::Fail_Vm;
using tamrun_test::run_child;

constexpr char kWarning[] = "tamrtl: warning (96): F_UFMTENDIAN environment variable was ignored:erroneous syntax\n";

using Check = int (*)(int unit);

struct Expected {
  int unit, value;
};

struct Grammar_Row {
  const char* text;  ///< null: not set
  std::vector<Expected> units;
};

/// Looks units up in a fresh process. `bad` also says that the warning comes, and once.
void check_value(Check check, const char* variable, const char* text, const std::vector<Expected>& units, bool bad) {
  const std::string shown = text == nullptr ? "(unset)" : std::string(text).substr(0, 60);
  const Child_Result result = run_child([&] {
    unsetenv(variable);
    if (text != nullptr) setenv(variable, text, 1);
    for (const auto& [unit, value] : units) EXPECT_EQ(value, check(unit)) << shown << ", unit " << unit;
    setenv(variable, "scanned only once", 1);
    EXPECT_EQ(units[0].value, check(units[0].unit));
  });
  EXPECT_EQ(bad ? kWarning : "", result.err) << shown;
}

constexpr int kMin = -2147483647 - 1;

TEST(UnitVariables, EndianGrammar) {
  const Grammar_Row rows[] = {
      {nullptr, {{10, 0}, {0, 0}}},
      {"", {{10, 0}}},
      {"big", {{10, 1}, {-129, 1}, {0, 1}, {kMin, 1}}},
      {"little", {{10, -1}, {-129, -1}}},
      {"10", {{10, 1}, {9, 0}, {11, 0}, {0, 0}}},
      {"0", {{0, 1}, {1, 0}, {-1, 0}}},
      {"10,12", {{10, 1}, {11, 0}, {12, 1}, {13, 0}}},
      {"10-12", {{9, 0}, {10, 1}, {11, 1}, {12, 1}, {13, 0}}},
      {"7-7", {{6, 0}, {7, 1}, {8, 0}}},
      {"007", {{7, 1}, {0, 0}}},
      {"big:10", {{10, 1}, {11, 0}}},
      {"little:10", {{10, -1}, {11, 0}}},
      {"little;10", {{10, 1}, {11, -1}}},
      {"big;10", {{10, 1}, {11, 1}}},
      {"big;big:10", {{10, 1}, {11, 1}}},
      {"big;little:10,20-30", {{10, -1}, {20, -1}, {30, -1}, {31, 1}, {19, 1}}},
      {"little;big:10,20-30", {{10, 1}, {25, 1}, {11, -1}, {-130, -1}}},
      {"little;little:5", {{5, -1}, {6, -1}}},
      {"20-30,10,25-40", {{10, 1}, {35, 1}, {15, 0}}},
      {"2147483647", {{2147483647, 1}, {2147483646, 0}}},
      {"4294967306", {{10, 1}, {9, 0}}},
  };
  for (const Grammar_Row& row : rows) check_value(CheckEndian, "F_UFMTENDIAN", row.text, row.units, false);
}

TEST(UnitVariables, TerminatorGrammar) {
  const Grammar_Row rows[] = {
      {nullptr, {{7, 0}}},
      {"LF", {{7, 6}, {0, 6}}},
      {"CR", {{7, 7}}},
      {"CRLF", {{7, 8}, {-200, 8}}},
      {"7", {{7, 7}, {8, 0}}},
      {"CRLF:7", {{7, 8}, {8, 0}}},
      {"LF:7", {{7, 6}, {8, 0}}},
      {"CRLF;7", {{7, 7}, {8, 8}}},
      {"CR;7", {{7, 7}, {8, 7}}},
      {"LF;CRLF:1-3,9", {{1, 8}, {3, 8}, {4, 6}, {9, 8}}},
      {"CR;CRLF:2", {{2, 8}, {1, 7}}},
  };
  for (const Grammar_Row& row : rows)
    check_value(CheckStreamRecortType, "FOR_FMT_TERMINATOR", row.text, row.units, false);
}

TEST(UnitVariables, BadValuesAreWarnedAboutOnce) {
  constexpr const char* kEndian[] = {"x",         "BIG",        "Big",
                                     "bi",        "bigg",       "big ",
                                     " big",      "big,10",     "big;",
                                     "little:",   "big;big:",   ";",
                                     ":",         ";10",        ":10",
                                     "big10",     "10-5",       "10,",
                                     "10-",       ",10",        "-10",
                                     "10--12",    "10-11-12",   "10,,12",
                                     "10 ,12",    "10, 12",     "10;",
                                     "10:",       "10big",      "big;10,",
                                     "+10",       "big;x:10",   "x;10",
                                     "x:10",      "x;big:1",    "big:10;little",
                                     "big:big:1", "big;big;1",  "little;big:10,20-19",
                                     "big:10;20", "CR",         "-",
                                     ",",         "1,2,3,4,5-", "big;big:9x"};
  const std::vector<Expected> none = {{10, 0}, {0, 0}, {1, 0}};
  for (const char* text : kEndian) check_value(CheckEndian, "F_UFMTENDIAN", text, none, true);
  for (const char* text : {"x", "cr", "CRLFX", "CR:", "LF;", "big", "CRLF:7,", "CRL:7", "7-6", "CR;LF;3"})
    check_value(CheckStreamRecortType, "FOR_FMT_TERMINATOR", text, none, true);
}

TEST(UnitVariables, SizesOfListAndValue) {
  const auto list = [](int items, const char* item) {
    std::string text = item;
    while (--items > 0) text += std::string(",") + item;
    return text;
  };
  const std::vector<Expected> set = {{1, 1}, {2, 1}, {3, 0}}, none = {{1, 0}, {2, 0}};
  check_value(CheckEndian, "F_UFMTENDIAN", list(64, "1-2").c_str(), set, false);
  check_value(CheckEndian, "F_UFMTENDIAN", list(65, "1").c_str(), none, true);
  check_value(CheckEndian, "F_UFMTENDIAN", (list(64, "1") + ",").c_str(), none, true);
  check_value(CheckEndian, "F_UFMTENDIAN", (list(63, "5") + ",1-2").c_str(), set, false);
  // Longer values count as unset, and are not warned about.
  check_value(CheckEndian, "F_UFMTENDIAN", (std::string(259, '0') + "1").c_str(), {{1, 1}, {2, 0}}, false);
  check_value(CheckEndian, "F_UFMTENDIAN", (std::string(260, '0') + "1").c_str(), none, false);
  check_value(CheckEndian, "F_UFMTENDIAN", std::string(260, 'x').c_str(), none, true);
  check_value(CheckEndian, "F_UFMTENDIAN", std::string(5000, 'x').c_str(), none, false);
}

TEST(UnitVariables, ScannedApart) {
  run_child([] {
    setenv("F_UFMTENDIAN", "little;3", 1);
    setenv("FOR_FMT_TERMINATOR", "LF;CRLF:4", 1);
    SetEndian();
    unsetenv("F_UFMTENDIAN");
    EXPECT_EQ(1, CheckEndian(3));
    EXPECT_EQ(6, CheckStreamRecortType(3));
    EXPECT_EQ(-1, CheckEndian(4));
    EXPECT_EQ(8, CheckStreamRecortType(4));
  });
}

/// lub_f_convert, lub_f_big_endian_words and lub_convert as one text: "cb3".
std::string conversion(const For_Lub& lub) {
  return std::string(lub.lub_f_convert ? "c" : "-") + (lub.lub_f_big_endian_words ? "b" : "-") +
         std::to_string(lub.lub_convert);
}

/// A unit with all conversion fields set, which nothing sets together.
For_Lub unit_of(int unit, std::string& name) {
  For_Lub lub = {};
  lub.lub_unit = unit;
  lub.lub_a_file_name = name.data();
  lub.lub_name_len = static_cast<i16>(name.size());
  lub.lub_f_convert = lub.lub_f_big_endian_words = 1;
  lub.lub_convert = 9;
  return lub;
}

constexpr struct {
  const char* name;
  int key;
  const char* result;
} kNames[] = {{"BIG_ENDIAN", 1, "cb0"}, {"LITTLE_ENDIAN", 2, "--0"}, {"VAXD", 3, "c-2"},
              {"VAXG", 4, "c-1"},       {"IBM", 5, "cb3"},           {"CRAY", 6, "cb4"},
              {"FDX", 7, "c-5"},        {"FGX", 8, "c-6"},           {"NATIVE", 9, "--0"}};

TEST(ConversionOption, Names) {
  std::string file = "none";
  for (const auto& [name, key, result] : kNames) {
    for (const bool lower : {false, true}) {
      std::string text = name;
      if (lower) std::transform(text.begin(), text.end(), text.begin(), tolower);
      For_Lub lub = unit_of(10, file);
      EXPECT_EQ(0, for__set_conversion_option(&lub, text.c_str())) << text;
      EXPECT_EQ(result, conversion(lub)) << text;
    }
  }
  for (const char* text : {"", " ", "IBM ", " IBM", "IBMX", "BIG", "BIG-ENDIAN", "nonsense", "IBM\xe9", "NATIVE.",
                           "LITTLE_ENDIAN_LITTLE_ENDIAN"}) {
    For_Lub lub = unit_of(10, file);
    EXPECT_EQ(MSG_INCONSISTENT_OPEN_CLOSE, for__set_conversion_option(&lub, text)) << text;
    EXPECT_EQ("c-0", conversion(lub)) << text;
  }
}

struct Setting {
  const char *variable, *value;
};

struct Bits_Row {
  int unit;
  u64 key;
  std::string file;
  std::vector<Setting> environment;
  std::string result;  ///< "46": refused
};

TEST(ForeignBits, KeywordAndVariables) {
  const std::string long_value(261, 'B'), longest_value(260, 'B');
  const Bits_Row rows[] = {
      {10, 0, "/a/x.dat", {}, "cb9"},
      {10, 9, "/a/x.dat", {}, "--0"},
      // F_UFMTENDIAN is stronger than the keyword.
      {10, 2, "/a/x", {{"F_UFMTENDIAN", "big"}}, "cb0"},
      {10, 5, "/a/x", {{"F_UFMTENDIAN", "big"}}, "cb0"},
      {10, 1, "/a/x", {{"F_UFMTENDIAN", "little:10"}}, "--0"},
      {11, 1, "/a/x", {{"F_UFMTENDIAN", "little:10"}}, "cb0"},
      {11, 5, "/a/x", {{"F_UFMTENDIAN", "little:10"}}, "cb3"},
      {-129, 9, "/a/x", {{"F_UFMTENDIAN", "big;little:10"}}, "cb0"},
      {10, 2, "/a/x", {{"F_UFMTENDIAN", "10-"}}, "--0"},
      // The extension.
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.dat", "IBM"}}, "cb3"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT_dat", "ibm"}}, "cb3"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.dat", "VAXD"}, {"FORT_CONVERT_dat", "IBM"}}, "c-2"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.DAT", "IBM"}}, "--0"},
      {10, 9, "a/b/x.y.dat", {{"FORT_CONVERT.dat", "IBM"}, {"FORT_CONVERT.y.dat", "VAXD"}}, "cb3"},
      {10, 9, "x.dat", {{"F_UFMTENDIAN", "big"}, {"FORT_CONVERT.dat", "FGX"}}, "c-6"},
      {10, 9, "/a.b/data", {{"FORT_CONVERT.b", "CRAY"}}, "cb4"},
      {10, 9, "/a.b/c/data", {{"FORT_CONVERT.b", "CRAY"}, {"FORT_CONVERT.b/c/data", "IBM"}}, "cb4"},
      {10, 9, "/a.b/data.", {{"FORT_CONVERT.b", "CRAY"}}, "cb4"},
      {10, 9, "/a/data.", {{"FORT_CONVERT.", "CRAY"}, {"FORT_CONVERT", "IBM"}}, "--0"},
      {10, 9, "/a/data..", {{"FORT_CONVERT.", "CRAY"}}, "cb4"},
      {10, 9, "/a/x.dat.", {{"FORT_CONVERT.dat", "CRAY"}}, "cb4"},
      {10, 9, "/a/.hidden", {{"FORT_CONVERT.hidden", "FDX"}}, "c-5"},
      {10, 9, "./x", {{"FORT_CONVERT_", "FDX"}}, "c-5"},
      {10, 9, "/a/data", {{"FORT_CONVERT", "IBM"}, {"FORT_CONVERT.", "IBM"}, {"FORT_CONVERT_", "IBM"}}, "--0"},
      {10, 9, ".", {{"FORT_CONVERT.", "IBM"}}, "--0"},
      {10, 9, "", {{"FORT_CONVERT.", "IBM"}}, "--0"},
      {10, 9, "x.d", {{"FORT_CONVERT.d", ""}, {"FORT_CONVERT_d", "IBM"}}, "cb3"},
      {10, 9, "x.d", {{"FORT_CONVERT.d", long_value.c_str()}, {"FORT_CONVERT_d", "IBM"}}, "cb3"},
      {10, 9, "x.d", {{"FORT_CONVERT_d", long_value.c_str()}}, "--0"},
      {10, 9, "x.d", {{"FORT_CONVERT_d", ""}}, "--0"},
      {10, 9, "x.d", {{"FORT_CONVERT.d", longest_value.c_str()}}, "46"},
      {10, 9, "x.d", {{"FORT_CONVERT.d", "no"}, {"FORT_CONVERT_d", "IBM"}, {"FORT_CONVERT10", "IBM"}}, "46"},
      {10, 9, "x.d", {{"FORT_CONVERT_d", "no"}}, "46"},
      // The unit.
      {10, 9, "x.d", {{"FORT_CONVERT10", "VAXD"}, {"FORT_CONVERT.d", "IBM"}}, "c-2"},
      {10, 9, "x.d", {{"FORT_CONVERT10", "big_endian"}}, "cb0"},
      {10, 1, "x.d", {{"FORT_CONVERT10", "Native"}}, "--0"},
      {11, 9, "x.d", {{"FORT_CONVERT10", "VAXD"}, {"FORT_CONVERT1", "VAXD"}}, "--0"},
      {-2147483647 - 1, 9, "x.d", {{"FORT_CONVERT-2147483648", "VAXG"}}, "c-1"},
      {10, 9, "x", {{"FORT_CONVERT10", "nonsense"}}, "46"},
      {10, 9, "x", {{"FORT_CONVERT10", ""}}, "--0"},
      {10, 9, "x", {{"FORT_CONVERT10", long_value.c_str()}}, "--0"},
      // A file .10 has the unit's number for an extension.
      {7, 9, "x.10", {{"FORT_CONVERT10", "IBM"}}, "--0"},
  };
  for (const Bits_Row& row : rows) {
    run_child([&row] {
      for (const auto& [variable, value] : row.environment) setenv(variable, value, 1);
      std::string file = row.file;
      For_Lub lub = unit_of(row.unit, file);
      For_Open_Args args = {};
      args.word[OPENW_CONVERT] = row.key;
      const int status = for__set_foreign_bits(&lub, &args);
      EXPECT_EQ(row.result == "46" ? MSG_INCONSISTENT_OPEN_CLOSE : 0, status) << row.file;
      const char* first = row.environment.empty() ? "" : row.environment[0].variable;
      if (status != 0) return;
      EXPECT_EQ(row.result, conversion(lub)) << row.unit << ' ' << row.file << ' ' << first;
    });
  }
}

TEST(ForeignBits, KeywordValues) {
  std::string file = "/x";
  for (const auto& [name, key, result] : kNames) {
    run_child([&, name = name, key = key, result = result] {
      For_Lub lub = unit_of(10, file);
      For_Open_Args args = {};
      args.word[OPENW_CONVERT] = static_cast<u64>(key);
      EXPECT_EQ(0, for__set_foreign_bits(&lub, &args));
      EXPECT_EQ(result, conversion(lub)) << name;
    });
  }
  for (const u64 key : {u64{10}, ~u64{0}}) {
    const Child_Result bad = run_child([&file, key] {
      For_Lub lub = unit_of(10, file);
      For_Open_Args args = {};
      args.word[OPENW_CONVERT] = key;
      (void)for__set_foreign_bits(&lub, &args);
    });
    EXPECT_EQ(MSG_INTERNAL_CONSISTENCY, bad.status);
    EXPECT_NE(std::string::npos, bad.err.find("internal consistency check failure, file for_open, line ")) << bad.err;
  }
}

TEST(ForeignBits, TheLongestNameAndNoMemory) {
  run_child([] {
    std::string file = "." + std::string(4095, 'e');
    setenv(("FORT_CONVERT_" + std::string(4095, 'e')).c_str(), "IBM", 1);
    For_Lub lub = unit_of(10, file);
    For_Open_Args args = {};
    EXPECT_EQ(0, for__set_foreign_bits(&lub, &args));
    EXPECT_EQ("cb3", conversion(lub));
    const long blocks = tamrun_test::vm_live_blocks();
    Fail_Vm fail(1);
    EXPECT_EQ(MSG_NO_MEMORY, for__set_foreign_bits(&lub, &args));
    EXPECT_EQ(blocks, tamrun_test::vm_live_blocks());
  });
}

TEST(TerminatorOption, TouchesOnlyUnitsItNames) {
  run_child([] {
    setenv("FOR_FMT_TERMINATOR", "CRLF:7", 1);
    std::string file = "/x";
    For_Lub lub = unit_of(7, file);
    lub.lub_rectype = RECTYPE_STREAM_LF;
    lub.lub_cc = CC_LIST;
    EXPECT_EQ(0, for__set_terminator_option(&lub));
    EXPECT_EQ(RECTYPE_STREAM_CRLF, lub.lub_rectype);
    EXPECT_EQ(CC_NONE, lub.lub_cc);
    lub = unit_of(8, file);
    lub.lub_rectype = RECTYPE_STREAM_LF;
    lub.lub_cc = CC_LIST;
    EXPECT_EQ(0, for__set_terminator_option(&lub));
    EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
    EXPECT_EQ(CC_LIST, lub.lub_cc);
  });
}

/// Connects a block that stands in no table, looks at it and disconnects it.
void connect(int unit, const std::vector<std::pair<For_Open_Word, u64>>& words, void (*look)(const For_Lub&)) {
  For_Lub* lub = nullptr;
  ASSERT_EQ(0, for__create_lub(unit, &lub));
  For_Open_Args args = {};
  args.word[OPENW_STATUS] = STATUS_UNKNOWN;
  for (const auto& [word, value] : words) args.word[word] = value;
  EXPECT_EQ(0, for__open_proc(&args, lub));
  look(*lub);
  EXPECT_EQ(0, for__close_proc(nullptr, lub));
  free_scratch_lub(lub);
}

TEST(ConversionVariables, AtAConnection) {
  const Child_Result result = run_child([] {
    const tamrun_test::Temp_Dir dir;
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    setenv("FOR_FMT_TERMINATOR", "CRLF", 1);
    setenv("F_UFMTENDIAN", "8", 1);
    const auto crlf = [](const For_Lub& lub) {
      EXPECT_EQ(RECTYPE_STREAM_CRLF, lub.lub_rectype);
      EXPECT_EQ(CC_NONE, lub.lub_cc);
      EXPECT_FALSE(lub.lub_f_convert);
    };
    const auto left_alone = [](const For_Lub& lub) {
      EXPECT_EQ(RECTYPE_STREAM_LF, lub.lub_rectype);
      EXPECT_EQ(lub.lub_stream_kind == STREAM_CONSOLE_OUT ? CC_LIST : CC_NONE, lub.lub_cc);
    };
    connect(7, {}, crlf);
    connect(8, {}, crlf);
    connect(7, {{OPENW_RECORDTYPE, RECTYPE_STREAM_LF}}, left_alone);
    connect(UNIT_STDOUT, {}, left_alone);
    connect(UNIT_STDERR, {}, left_alone);
    connect(UNIT_STDIN, {}, crlf);

    const auto big = [](const For_Lub& lub) {
      EXPECT_EQ("cb0", conversion(lub));
      EXPECT_EQ(RECTYPE_VARIABLE, lub.lub_rectype);
    };
    const auto native = [](const For_Lub& lub) { EXPECT_EQ("--0", conversion(lub)); };
    connect(8, {{OPENW_FORM, FORM_UNFORMATTED}, {OPENW_CONVERT, CONVERT_NATIVE}}, big);
    connect(9, {{OPENW_FORM, FORM_UNFORMATTED}}, native);
    connect(9, {{OPENW_FORM, FORM_BINARY}, {OPENW_CONVERT, 5}},
            [](const For_Lub& lub) { EXPECT_EQ("cb3", conversion(lub)); });
    // The default file fort.9 has an extension too.
    setenv("FORT_CONVERT.9", "cray", 1);
    connect(9, {{OPENW_FORM, FORM_UNFORMATTED}}, [](const For_Lub& lub) { EXPECT_EQ("cb4", conversion(lub)); });
    ASSERT_EQ(0, chdir("/"));
  });
  EXPECT_EQ("", result.err);
}

}  // namespace
