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

#include "core/start.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "support/open_list.h"
#include "tamrun/messages.h"

namespace {

using namespace tamrun_test;

constexpr char kWarning[] = "tamrtl: warning (96): F_UFMTENDIAN environment variable was ignored:erroneous syntax\n";

using Check = int (*)(int unit);

/// What a value of the variable says of units, looked up in a fresh process. `bad` also says that the warning comes,
/// and once.
void check_value(Check check, const std::string& text, const std::vector<std::pair<int, int>>& units, bool bad) {
  const char* const variable = check == CheckEndian ? "F_UFMTENDIAN" : "FOR_FMT_TERMINATOR";
  SCOPED_TRACE(text.substr(0, 60));
  const Child_Result result = run_child([&] {
    setenv(variable, text.c_str(), 1);
    for (const auto& [unit, value] : units) EXPECT_EQ(value, check(unit)) << unit;
    setenv(variable, "scanned only once", 1);
    EXPECT_EQ(units[0].second, check(units[0].first));
  });
  EXPECT_EQ(bad ? kWarning : "", result.err);
}

constexpr int kMin = -2147483647 - 1;

TEST(UnitVariables, Grammar) {
  const struct {
    Check check;
    const char* text;
    std::vector<std::pair<int, int>> units;
  } kRows[] = {
      {CheckEndian, "", {{10, 0}}},
      {CheckEndian, "big", {{10, 1}, {-129, 1}, {0, 1}, {kMin, 1}}},
      {CheckEndian, "little", {{10, -1}, {-129, -1}}},
      {CheckEndian, "0", {{0, 1}, {1, 0}, {-1, 0}}},
      {CheckEndian, "10,12", {{10, 1}, {11, 0}, {12, 1}, {13, 0}}},
      {CheckEndian, "10-12", {{9, 0}, {10, 1}, {11, 1}, {12, 1}, {13, 0}}},
      {CheckEndian, "007-7", {{6, 0}, {7, 1}, {8, 0}}},
      {CheckEndian, "big:10", {{10, 1}, {11, 0}}},
      {CheckEndian, "little:10", {{10, -1}, {11, 0}}},
      {CheckEndian, "little;10", {{10, 1}, {11, -1}}},
      {CheckEndian, "big;10", {{10, 1}, {11, 1}}},
      {CheckEndian, "big;little:10,20-30", {{10, -1}, {20, -1}, {30, -1}, {31, 1}, {19, 1}}},
      {CheckEndian, "little;big:10,20-30", {{10, 1}, {25, 1}, {11, -1}, {-130, -1}}},
      {CheckEndian, "20-30,10,25-40", {{10, 1}, {35, 1}, {15, 0}}},
      {CheckEndian, "2147483647", {{2147483647, 1}, {2147483646, 0}}},
      {CheckEndian, "4294967306", {{10, 1}, {9, 0}}},
      {CheckStreamRecortType, "LF", {{7, 6}, {0, 6}}},
      {CheckStreamRecortType, "CR", {{7, 7}}},
      {CheckStreamRecortType, "CRLF", {{7, 8}, {-200, 8}}},
      {CheckStreamRecortType, "7", {{7, 7}, {8, 0}}},
      {CheckStreamRecortType, "CRLF:7", {{7, 8}, {8, 0}}},
      {CheckStreamRecortType, "LF:7", {{7, 6}, {8, 0}}},
      {CheckStreamRecortType, "CRLF;7", {{7, 7}, {8, 8}}},
      {CheckStreamRecortType, "LF;CRLF:1-3,9", {{1, 8}, {3, 8}, {4, 6}, {9, 8}}},
  };
  for (const auto& row : kRows) check_value(row.check, row.text, row.units, false);
}

TEST(UnitVariables, BadValuesAreWarnedAboutOnce) {
  const std::vector<std::pair<int, int>> none = {{10, 0}, {0, 0}, {1, 0}};
  for (const char* text : {"x",         "BIG",       "bi",      "bigg",          "big ",      " big",
                           "big,10",    "big;",      "little:", "big;big:",      ";",         ":10",
                           "10-5",      "10,",       "10-",     ",10",           "-10",       "10--12",
                           "10-11-12",  "10,,12",    "10 ,12",  "10, 12",        "10;",       "10big",
                           "+10",       "x:10",      "x;big:1", "big:10;little", "big;big;1", "little;big:10,20-19",
                           "big:10;20", "big;big:9x"})
    check_value(CheckEndian, text, none, true);
  for (const char* text : {"cr", "CRLFX", "CR:", "LF;", "CRLF:7,", "CRL:7", "7-6", "CR;LF;3"})
    check_value(CheckStreamRecortType, text, none, true);
}

TEST(UnitVariables, SizesOfListAndValue) {
  const auto list = [](int items, const char* item) {
    std::string text = item;
    while (--items > 0) text += std::string(",") + item;
    return text;
  };
  const std::vector<std::pair<int, int>> set = {{1, 1}, {2, 1}, {3, 0}}, none = {{1, 0}, {2, 0}};
  check_value(CheckEndian, list(63, "5") + ",1-2", set, false);
  check_value(CheckEndian, list(65, "1"), none, true);
  check_value(CheckEndian, list(64, "1") + ",", none, true);
  // Longer values count as unset, and are not warned about.
  check_value(CheckEndian, std::string(259, '0') + "1", {{1, 1}, {2, 0}}, false);
  check_value(CheckEndian, std::string(260, '0') + "1", none, false);
  check_value(CheckEndian, std::string(260, 'x'), none, true);
  check_value(CheckEndian, std::string(5000, 'x'), none, false);
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

TEST(ConversionOption, ByNameAndByKeyword) {
  std::string file = "none";
  for (const auto& [name, key, result] : kNames) {
    SCOPED_TRACE(name);
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(), tolower);
    for (const std::string& text : {std::string(name), lower}) {
      For_Lub lub = unit_of(10, file);
      EXPECT_EQ(0, for__set_conversion_option(&lub, text.c_str()));
      EXPECT_EQ(result, conversion(lub));
    }
    For_Lub lub = unit_of(10, file);
    For_Open_Args args = {};
    args.word[OPENW_CONVERT] = static_cast<u64>(key);
    EXPECT_EQ(0, for__set_foreign_bits(&lub, &args));
    EXPECT_EQ(result, conversion(lub));
  }
  for (const char* text : {"", "IBM ", " IBM", "IBMX", "BIG", "IBM\xe9", "LITTLE_ENDIAN_LITTLE_ENDIAN"}) {
    For_Lub lub = unit_of(10, file);
    EXPECT_EQ(MSG_INCONSISTENT_OPEN_CLOSE, for__set_conversion_option(&lub, text)) << text;
    EXPECT_EQ("c-0", conversion(lub)) << text;
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

TEST(ForeignBits, KeywordAndVariables) {
  const std::string too_long(261, 'B'), longest(260, 'B');
  const struct {
    int unit;
    u64 key;
    const char* file;
    std::vector<std::pair<const char*, std::string>> environment;
    const char* result;  ///< null: refused
  } kRows[] = {
      {10, 0, "/a/x.dat", {}, "cb9"},
      // F_UFMTENDIAN is stronger than the keyword.
      {10, 5, "/a/x", {{"F_UFMTENDIAN", "big"}}, "cb0"},
      {10, 1, "/a/x", {{"F_UFMTENDIAN", "little:10"}}, "--0"},
      {11, 5, "/a/x", {{"F_UFMTENDIAN", "little:10"}}, "cb3"},
      {10, 2, "/a/x", {{"F_UFMTENDIAN", "10-"}}, "--0"},
      // The extension.
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.dat", "IBM"}}, "cb3"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT_dat", "ibm"}}, "cb3"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.dat", "VAXD"}, {"FORT_CONVERT_dat", "IBM"}}, "c-2"},
      {10, 9, "a/b/x.dat", {{"FORT_CONVERT.DAT", "IBM"}}, "--0"},
      {10, 9, "a/b/x.y.dat", {{"FORT_CONVERT.dat", "IBM"}, {"FORT_CONVERT.y.dat", "VAXD"}}, "cb3"},
      {10, 9, "x.dat", {{"F_UFMTENDIAN", "big"}, {"FORT_CONVERT.dat", "FGX"}}, "c-6"},
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
      {10, 9, "x.d", {{"FORT_CONVERT.d", too_long}, {"FORT_CONVERT_d", "IBM"}}, "cb3"},
      {10, 9, "x.d", {{"FORT_CONVERT_d", too_long}}, "--0"},
      {10, 9, "x.d", {{"FORT_CONVERT.d", longest}}, nullptr},
      {10, 9, "x.d", {{"FORT_CONVERT.d", "no"}, {"FORT_CONVERT_d", "IBM"}, {"FORT_CONVERT10", "IBM"}}, nullptr},
      {10, 9, "x.d", {{"FORT_CONVERT_d", "no"}}, nullptr},
      // The unit.
      {10, 9, "x.d", {{"FORT_CONVERT10", "VAXD"}, {"FORT_CONVERT.d", "IBM"}}, "c-2"},
      {10, 1, "x.d", {{"FORT_CONVERT10", "Native"}}, "--0"},
      {11, 9, "x.d", {{"FORT_CONVERT10", "VAXD"}, {"FORT_CONVERT1", "VAXD"}}, "--0"},
      {kMin, 9, "x.d", {{"FORT_CONVERT-2147483648", "VAXG"}}, "c-1"},
      {10, 9, "x", {{"FORT_CONVERT10", "nonsense"}}, nullptr},
      {10, 9, "x", {{"FORT_CONVERT10", ""}}, "--0"},
      {10, 9, "x", {{"FORT_CONVERT10", too_long}}, "--0"},
      // A file .10 has the unit's number for an extension.
      {7, 9, "x.10", {{"FORT_CONVERT10", "IBM"}}, "--0"},
  };
  int number = 0;
  for (const auto& row : kRows) {
    SCOPED_TRACE("row " + std::to_string(number++));
    run_child([&row] {
      for (const auto& [variable, value] : row.environment) setenv(variable, value.c_str(), 1);
      std::string file = row.file;
      For_Lub lub = unit_of(row.unit, file);
      For_Open_Args args = {};
      args.word[OPENW_CONVERT] = row.key;
      EXPECT_EQ(row.result == nullptr ? MSG_INCONSISTENT_OPEN_CLOSE : 0, for__set_foreign_bits(&lub, &args));
      if (row.result != nullptr) {
        EXPECT_EQ(row.result, conversion(lub));
      }
    });
  }
}

TAMRUN_CHILD_TEST(ForeignBits, TheLongestNameAndNoMemory) {
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
}

TEST(ConversionVariables, AtAConnection) {
  const Child_Result result = run_child([] {
    const tamrun_test::Temp_Dir dir;
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    setenv("FOR_FMT_TERMINATOR", "CRLF:5,7,8,0,6", 1);
    setenv("F_UFMTENDIAN", "8", 1);
    SetEndian();
    unsetenv("F_UFMTENDIAN");
    setenv("FORT_CONVERT.10", "cray", 1);  // the default file fort.10 has an extension too
    const struct {
      int unit;
      const char *specifiers, *conversion;
      int rectype, cc;
    } kRows[] = {
        {7, "", "--0", RECTYPE_STREAM_CRLF, CC_NONE},
        {7, "RECORDTYPE=STREAM_LF", "--0", RECTYPE_STREAM_LF, CC_NONE},
        {9, "", "--0", RECTYPE_STREAM_LF, CC_LIST},
        {UNIT_STDIN, "", "--0", RECTYPE_STREAM_CRLF, CC_NONE},
        {UNIT_STDOUT, "", "--0", RECTYPE_STREAM_LF, CC_LIST},
        {UNIT_STDERR, "", "--0", RECTYPE_STREAM_LF, CC_LIST},
        {8, "FORM=UNFORMATTED CONVERT=NATIVE", "cb0", RECTYPE_VARIABLE, CC_NONE},
        {9, "FORM=UNFORMATTED", "--0", RECTYPE_VARIABLE, CC_NONE},
        {9, "FORM=BINARY CONVERT=IBM", "cb3", RECTYPE_STREAM, CC_NONE},
        {10, "FORM=UNFORMATTED", "cb4", RECTYPE_VARIABLE, CC_NONE},
    };
    for_rtl_init_(nullptr, nullptr);
    for (const auto& row : kRows) {
      SCOPED_TRACE(std::to_string(row.unit) + row.specifiers);
      ASSERT_EQ(0, open_unit(row.unit, std::string("STATUS=UNKNOWN ") + row.specifiers));
      const For_Lub& lub = block_of(row.unit);
      EXPECT_EQ(row.conversion, conversion(lub));
      EXPECT_EQ(row.rectype, lub.lub_rectype);
      EXPECT_EQ(row.cc, lub.lub_cc);
      EXPECT_EQ(0, close_unit(row.unit));
    }
    ASSERT_EQ(0, chdir("/"));
  });
  EXPECT_EQ("", result.err);
}

}  // namespace
