// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The end of a failing statement: classification, IOMSG=, what is remembered, disposition and diagnostic.

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "core/failure.h"
#include "core/messages.h"
#include "core/thread_storage.h"
#include "doubles.h"
#include "support/child.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::doubles;
using tamrun_test::Doubles;
using tamrun_test::run_child;

char file_name[] = "data.txt";

/// A connected formatted unit 7 in the middle of a statement.
struct Unit {
  For_Lub lub = {};
  For_File_Info info = {};
  Unit() {
    lub.lub_unit = 7;
    lub.lub_fd = 9;
    lub.lub_a_file_name = file_name;
    lub.lub_statement = STMT_READ;
    lub.lub_f_connected = 1;
    lub.lub_f_formatted = 1;
    lub.lub_a_file_info = &info;
  }
};

enum Given : unsigned { kErr = 1, kEnd = 2, kEor = 4, kIostat = 8, kIgnore = 16, kLegacy = 32, kAfterEndfile = 64 };

void give(For_Lub& lub, unsigned given) {
  lub.lub_f_err = (given & kErr) != 0;
  lub.lub_f_end = (given & kEnd) != 0;
  lub.lub_f_eor = (given & kEor) != 0;
  lub.lub_f_iostat = (given & kIostat) != 0;
  lub.lub_f_ignore_conv_error = (given & kIgnore) != 0;
  lub.lub_f_legacy_defaults = (given & kLegacy) != 0;
  lub.lub_f_after_endfile = (given & kAfterEndfile) != 0;
}

constexpr int kUnhandled = 9999;
int issued;
int take_diagnostic(int* message, int*, char*, void*, size_t) {
  issued = *message;
  return 1;
}

/// Statement, specifiers, code and user code; the answer, or kUnhandled when a diagnostic is due; then lub_f_at_eof,
/// which starts as 0, or as 1 in the rows that have `eof` 2 (unchanged from 1) or 3 (cleared).
struct Row {
  int statement;
  unsigned given;
  int code, user_code, answer, eof;
};
constexpr int kKeeps = 2, kClears = 3;

const Row kRows[] = {
    // ERR= takes errors and neither ends nor ends of record.
    {STMT_READ, kErr, MSG_READ_ERROR, 39, 39, 0},
    {STMT_READ, kErr, MSG_READ_ERROR, 31, 31, 0},
    {STMT_WRITE, kErr, MSG_TOO_MANY_RECORDS, 27, 27, 0},
    {STMT_READ, kErr, MSG_TOO_MANY_RECORDS, 27, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_FILE, 24, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_RECORD, 268, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_FILE_ENCOUNTERED, 613, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_RECORD_ENCOUNTERED, 758, kUnhandled, 0},
    {STMT_READ, kErr, MSG_READ_ERROR, 39, 39, kKeeps},
    // Conversion errors.
    {STMT_WRITE_SEQ, kIgnore, MSG_OUTPUT_CONVERSION, 63, 63, 0},
    {STMT_WRITE_SEQ, kIgnore | kErr, MSG_OUTPUT_CONVERSION, 63, 63, 0},
    {STMT_WRITE_SEQ, kIgnore, MSG_WRITE_ERROR, 38, kUnhandled, 0},
    {STMT_WRITE_SEQ, 0, MSG_OUTPUT_CONVERSION, 63, kUnhandled, 0},
    // END=.
    {STMT_READ, kEnd, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd, MSG_END_OF_FILE_ENCOUNTERED, 613, -1, 1},
    {STMT_READ, kEnd | kErr | kIostat, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd | kLegacy, MSG_END_OF_FILE, 24, -1, kClears},
    {STMT_READ, kEnd | kLegacy | kAfterEndfile, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd | kAfterEndfile, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd, MSG_READ_ERROR, 39, kUnhandled, 0},
    {STMT_READ, kEnd, MSG_END_OF_RECORD, 268, kUnhandled, 0},
    {STMT_READ_LIST, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_READ_NML, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_READ_24, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_READ_25, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_READ_32, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_PORT_READ, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_READ_34, kEnd, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_WRITE, kEnd, MSG_TOO_MANY_RECORDS, 27, kUnhandled, 0},
    {STMT_REWRITE, kEnd, MSG_TOO_MANY_RECORDS, 27, kUnhandled, 0},
    // EOR=.
    {STMT_READ, kEor, MSG_END_OF_RECORD, 268, -2, kClears},
    {STMT_READ, kEor, MSG_END_OF_RECORD_ENCOUNTERED, 758, -2, kClears},
    {STMT_READ, kEor | kAfterEndfile, MSG_END_OF_RECORD, 268, -2, 1},
    {STMT_READ, kEor | kAfterEndfile | kLegacy, MSG_END_OF_RECORD, 268, -2, kClears},
    {STMT_READ, kEor, MSG_END_OF_FILE, 24, kUnhandled, 0},
    // IOSTAT= takes all.
    {STMT_READ, kIostat, MSG_READ_ERROR, 39, 39, 0},
    {STMT_READ, kIostat, MSG_READ_ERROR, 31, 31, 0},
    {STMT_READ, kIostat, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kIostat, MSG_END_OF_FILE_ENCOUNTERED, 613, -1, 1},
    {STMT_READ, kIostat | kLegacy, MSG_END_OF_FILE, 24, -1, kClears},
    {STMT_READ, kIostat, MSG_TOO_MANY_RECORDS, 27, -1, 1},
    {STMT_WRITE, kIostat, MSG_TOO_MANY_RECORDS, 27, 27, 0},
    {STMT_READ, kIostat, MSG_END_OF_RECORD, 268, -2, 0},
    {STMT_READ, kIostat, MSG_END_OF_RECORD_ENCOUNTERED, 758, -2, 0},
    {STMT_WRITE_SEQ, kIostat, MSG_OUTPUT_CONVERSION, 63, 63, 0},
    {STMT_READ, kIostat, MSG_READ_ERROR, 39, 39, kKeeps},
    // A child's routine speaks through the user code.
    {STMT_READ, kEnd, MSG_UDIO_ERROR, -1, -1, 1},
    {STMT_READ, kEor, MSG_UDIO_ERROR, -2, -2, 0},
    {STMT_READ, kErr, MSG_UDIO_ERROR, 5, 5, 0},
    {STMT_READ, kErr, MSG_UDIO_ERROR, -1, kUnhandled, 0},
    {STMT_READ, kIostat, MSG_UDIO_ERROR, -1, -1, 1},
    {STMT_READ, kIostat, MSG_UDIO_ERROR, -2, -2, 0},
    {STMT_READ, kIostat, MSG_UDIO_ERROR, 127, 127, 0},
};

TAMRUN_CHILD_TEST(IoReturn, EveryCodeMeetsItsSpecifier) {
  for__establish_user_error_handler(take_diagnostic, nullptr, nullptr, nullptr);
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << "statement " << row.statement << " given " << row.given << " code " << row.code
                                    << "/" << row.user_code);
    Unit unit;
    give(unit.lub, row.given);
    unit.lub.lub_statement = static_cast<u8>(row.statement);
    unit.lub.lub_f_at_eof = row.eof >= kKeeps;
    unit.lub.lub_errno = ENOSPC;
    issued = 0;
    const int answer = for__io_return(FOR_IOR_NONE, row.code, row.user_code, &unit.lub);
    if (row.answer == kUnhandled) {
      EXPECT_EQ(issued, row.code);
      EXPECT_EQ(answer, row.code == MSG_UDIO_ERROR ? row.user_code : row.code);
    } else {
      EXPECT_EQ(issued, 0);
      EXPECT_EQ(answer, row.answer);
    }
    EXPECT_EQ(unit.lub.lub_f_at_eof, row.eof == 1 || row.eof == kKeeps);
    EXPECT_EQ(unit.lub.lub_errno, 0);
  }
}

TAMRUN_CHILD_TEST(IoReturn, WithoutASpecifierTheDiagnosticIsPrinted) {
  const struct {
    int code, user_code;
    i64 saved_errno;
    int status;
    const char* err;
  } rows[] = {
      {MSG_READ_ERROR, 39, EIO, 39,
       "tamrtl: Input/output error\ntamrtl: severe (39): error during read, unit 7, file data.txt\n"},
      {MSG_END_OF_FILE, 24, 0, 24, "tamrtl: severe (24): end-of-file during read, unit 7, file data.txt\n"},
      {MSG_OUTPUT_CONVERSION, 63, 0, 0, "tamrtl: error (63): output conversion error, unit 7, file data.txt\n"},
      {MSG_CONNECTED_SPECIFIER_VALUE, 104, 0, 104,
       "tamrtl: severe (104): incorrect FORM= specifier value for connected file, unit 7, file data.txt\n"},
      {MSG_UDIO_ERROR, -1, 0, 127,
       "tamrtl: severe (127): User Defined I/O procedure returned error 24, message: 'end-of-file during read, unit 7, "
       "file data.txt'\n"},
      {MSG_UDIO_ERROR, -2, 0, 127,
       "tamrtl: severe (127): User Defined I/O procedure returned error 268, message: 'end of record during read, unit "
       "7, file data.txt'\n"},
  };
  for (const auto& row : rows) {
    const Child_Result child = run_child([&] {
      Unit unit;
      unit.lub.lub_errno = row.saved_errno;
      unit.lub.lub_a_message_arg = "FORM=";
      const int answer = for__io_return(FOR_IOR_NONE, row.code, row.user_code, &unit.lub);
      EXPECT_EQ(answer, row.code);
      EXPECT_EQ(for__user_iomsg_len, 0);
    });
    EXPECT_EQ(child.status, row.status);
    EXPECT_EQ(child.err, row.err);
  }
}

// A program's own routine may give any number, also one whose text takes other arguments.
TAMRUN_CHILD_TEST(IoReturn, EveryNumberCanBeShown) {
  for__establish_user_error_handler(take_diagnostic, nullptr, nullptr, nullptr);
  for (int number = -5; number <= 800; ++number) {
    for (int message : {int{MSG_UDIO_ERROR}, int{MSG_CONNECTED_SPECIFIER}, int{MSG_READ_ERROR}}) {
      Unit unit;
      char iomsg[200];
      give(unit.lub, number % 2 == 0 ? kIostat : 0u);
      unit.lub.lub_a_message_arg = "FORM=";
      for__io_return(FOR_IOR_NONE, message, number, &unit.lub);
      unit.lub.lub_a_iomsg = iomsg;
      unit.lub.lub_iomsg_len = sizeof iomsg;
      memset(iomsg, ' ', sizeof iomsg);
      for__io_return(FOR_IOR_NONE, message, number, &unit.lub);
    }
  }
}

TAMRUN_CHILD_TEST(IoReturn, NamesOfUnitsWithoutOneAndPlacesInNamelists) {
  const struct {
    const char* name;
    bool namelist;
    const char* text;
  } rows[] = {{nullptr, false, "error during read, unit 7, file \"Unknown\""},
              {file_name, true, "error during read, unit 7, file data.txt, line 4, position 3"}};
  for (const auto& row : rows) {
    Unit unit;
    u8 record[8];
    char iomsg[80];
    give(unit.lub, kIostat);
    unit.lub.lub_a_file_name = const_cast<char*>(row.name);
    unit.lub.lub_f_nml_position = row.namelist;
    unit.lub.lub_next_rec = 5;
    unit.lub.lub_a_data_start = record;
    unit.lub.lub_a_cursor = record + 3;
    unit.lub.lub_a_iomsg = iomsg;
    unit.lub.lub_iomsg_len = sizeof iomsg;
    EXPECT_EQ(for__io_return(FOR_IOR_NONE, MSG_READ_ERROR, MSG_READ_ERROR, &unit.lub), 39);
    EXPECT_EQ(std::string(iomsg, strlen(row.text)), row.text);
    EXPECT_EQ(unit.lub.lub_f_nml_position, 0u);
  }
  // A name as long as a path may be, and longer.
  for (size_t length : {4096u, 9000u}) {
    Unit unit;
    std::string name(length, 'p'), iomsg(length + 100, '?');
    give(unit.lub, kIostat);
    unit.lub.lub_a_file_name = name.data();
    unit.lub.lub_a_iomsg = iomsg.data();
    unit.lub.lub_iomsg_len = static_cast<i64>(iomsg.size());
    EXPECT_EQ(for__io_return(FOR_IOR_NONE, MSG_READ_ERROR, MSG_READ_ERROR, &unit.lub), 39);
    std::string expected = "error during read, unit 7, file " + name.substr(0, 4145);
    expected.resize(iomsg.size(), ' ');
    EXPECT_EQ(iomsg, expected);
  }
}

/// Runs a failing statement with an IOMSG= variable of `text`'s length and gives its value afterwards.
std::string iomsg_after(std::string text, int message, int user_code, unsigned given = kIostat,
                        bool child_text = false) {
  Unit unit;
  give(unit.lub, given);
  unit.lub.lub_a_iomsg = text.data();
  unit.lub.lub_iomsg_len = static_cast<i64>(text.size());
  unit.lub.lub_a_message_arg = "RECL=";
  unit.lub.lub_f_child_iomsg = child_text;
  for__io_return(FOR_IOR_NONE, message, user_code, &unit.lub);
  return text;
}

std::string padded(std::string text, size_t length) {
  text.resize(length, ' ');
  return text;
}

TAMRUN_CHILD_TEST(IoReturn, IomsgIsPaddedOrCut) {
  const std::string read_error = "error during read, unit 7, file data.txt";
  for (size_t length : {1u, 10u, 40u, 41u, 200u})
    EXPECT_EQ(iomsg_after(std::string(length, '?'), MSG_READ_ERROR, MSG_READ_ERROR), padded(read_error, length));
  EXPECT_EQ(iomsg_after(std::string(90, '?'), MSG_CONNECTED_SPECIFIER, MSG_CONNECTED_SPECIFIER),
            padded("incorrect RECL= specifier for connected file, unit 7, file data.txt", 90));
  // The text follows the user code.
  EXPECT_EQ(iomsg_after(std::string(60, '?'), MSG_STREAM_NOT_ALLOWED, MSG_READ_ERROR), padded(read_error, 60));
  EXPECT_EQ(iomsg_after(std::string(5, '?'), MSG_READ_ERROR, MSG_READ_ERROR, kIostat, true), "?????");
}

TAMRUN_CHILD_TEST(IoReturn, IomsgOfAChildIsQuotedInTheParents) {
  const std::string head = "User Defined I/O procedure returned error 5, message: '";
  EXPECT_EQ(iomsg_after(padded("too hot", 80), MSG_UDIO_ERROR, 5), padded(head + "too hot'", 80));
  EXPECT_EQ(iomsg_after(padded("", 80), MSG_UDIO_ERROR, 5), padded(head + "'", 80));
  const Child_Result child = run_child([&] {
    // One byte of room less than the text needs; then none at all.
    EXPECT_EQ(iomsg_after(padded("1234567", 7 + head.size()), MSG_UDIO_ERROR, 5), head + "123456'");
    EXPECT_EQ(iomsg_after("fire", MSG_UDIO_ERROR, 5), "User");
    EXPECT_EQ(iomsg_after(padded("1234567", 8 + head.size()), MSG_UDIO_ERROR, 5), head + "1234567'");
  });
  const std::string cut = "User Defined I/O procedure's IOMSG was truncated to fit IOMSG variable.\n";
  EXPECT_EQ(child.out, cut + cut);

  const Child_Result printed = run_child([] { iomsg_after("too hot", MSG_UDIO_ERROR, 5, 0); });
  EXPECT_EQ(printed.status, MSG_UDIO_ERROR);
  EXPECT_EQ(printed.err, "tamrtl: severe (127): User Defined I/O procedure returned error 5, message: 'too hot'\n");
}

TAMRUN_CHILD_TEST(IoReturn, AChildsTextCountsForOneFailureOnly) {
  Unit unit;
  give(unit.lub, kIostat);
  std::string iomsg = padded("too hot", 90);
  unit.lub.lub_a_iomsg = iomsg.data();
  unit.lub.lub_iomsg_len = static_cast<i64>(iomsg.size());
  unit.lub.lub_f_child_iomsg = 1;
  EXPECT_EQ(for__io_return(FOR_IOR_NONE, MSG_UDIO_ERROR, 5, &unit.lub), 5);
  EXPECT_EQ(for__io_return(FOR_IOR_NONE, MSG_READ_ERROR, MSG_READ_ERROR, &unit.lub), 39);
  EXPECT_EQ(iomsg, padded("error during read, unit 7, file data.txt", 90));
}

TAMRUN_CHILD_TEST(IoReturn, ADiagnosticThatReturnsStillFillsIomsg) {
  EXPECT_EQ(iomsg_after(std::string(60, '?'), MSG_OUTPUT_CONVERSION, 63, 0),
            padded("output conversion error, unit 7, file data.txt", 60));
  EXPECT_EQ(for__user_iomsg_buf, nullptr);
}

TAMRUN_CHILD_TEST(IoReturn, TheLastFailureIsRemembered) {
  For_Thread_Storage* storage;
  ASSERT_EQ(thread_storage(&storage), 0);
  Unit unit;
  give(unit.lub, kIostat);
  const std::string keyword(100, 'K');
  unit.lub.lub_a_message_arg = keyword.c_str();
  unit.lub.lub_errno = EACCES;
  for__io_return(FOR_IOR_NONE, MSG_CONNECTED_SPECIFIER, 31, &unit.lub);
  EXPECT_EQ(storage->ts_errsns.user_code, 31u);
  EXPECT_EQ(storage->ts_errsns.saved_errno, static_cast<u32>(EACCES));
  EXPECT_EQ(storage->ts_errsns.unit, 7u);
  EXPECT_EQ(std::string(storage->ts_errsns_text, kErrsnsTextLength), keyword.substr(0, kErrsnsTextLength));
  for__io_return(FOR_IOR_NONE, MSG_END_OF_FILE, MSG_END_OF_FILE, &unit.lub);
  EXPECT_EQ(storage->ts_errsns.user_code, 24u);
  EXPECT_EQ(storage->ts_errsns.saved_errno, 0u);
  EXPECT_EQ(storage->ts_errsns_text[0], 'K');
}

TAMRUN_CHILD_TEST(IoReturn, AHeldRecordIsForgottenButForConversionErrors) {
  for (bool formatted : {true, false}) {
    for (int code : {int{MSG_READ_ERROR}, int{MSG_OUTPUT_CONVERSION}}) {
      Unit unit;
      give(unit.lub, kIostat);
      unit.lub.lub_f_formatted = formatted;
      unit.info.fi_record_open = 1;
      for__io_return(FOR_IOR_NONE, code, code, &unit.lub);
      EXPECT_EQ(unit.info.fi_record_open, !formatted || code == MSG_OUTPUT_CONVERSION);
    }
  }
}

TAMRUN_CHILD_TEST(IoReturn, Dispositions) {
  const struct {
    int disposition;
    std::vector<std::string> calls;
  } rows[] = {{FOR_IOR_NONE, {}},
              {FOR_IOR_RELEASE, {"release 7"}},
              {FOR_IOR_ABANDON, {"abandon 7", "release 7"}},
              {FOR_IOR_CLOSE, {"close_default 7 1"}}};
  for (const auto& row : rows) {
    doubles() = {};
    Unit unit;
    give(unit.lub, kIostat);
    EXPECT_EQ(for__io_return(row.disposition, MSG_READ_ERROR, MSG_READ_ERROR, &unit.lub), 39);
    EXPECT_EQ(doubles().calls, row.calls);
  }
  const Child_Result wrong = run_child([] {
    Unit unit;
    give(unit.lub, kIostat);
    for__io_return(4, MSG_READ_ERROR, MSG_READ_ERROR, &unit.lub);
  });
  EXPECT_EQ(wrong.status, MSG_INTERNAL_CONSISTENCY);
}

TAMRUN_CHILD_TEST(IoReturn, APendingLineOnStandardOutputEndsBeforeAFailureOnStandardError) {
  const struct {
    int failing_fd;
    bool writes_fail;
    std::vector<std::string> calls;
  } rows[] = {
      // Unit 6 owes nothing, -2 is not to be had, 0 owes on the failing descriptor, -1 owes on descriptor 1.
      {2,
       false,
       {"acquire 6 15", "release 6", "acquire -2 15", "acquire 0 15", "release 0", "acquire -1 15", "write -1",
        "release -1"}},
      {2,
       true,
       {"acquire 6 15", "release 6", "acquire -2 15", "acquire 0 15", "release 0", "acquire -1 15", "write -1",
        "release -1"}},
      {9,
       false,
       {"acquire 6 15", "release 6", "acquire -2 15", "acquire 0 15", "release 0", "acquire -1 15", "release -1"}},
  };
  for (const auto& row : rows) {
    const Child_Result child = run_child([&] {
      Unit failing, unit6, unit0, print;
      failing.lub.lub_fd = row.failing_fd;
      unit6.lub.lub_fd = 1;
      unit0.lub.lub_fd = 2;
      unit0.info.fi_cc_after_cr = 1;
      print.lub.lub_fd = 1;
      print.lub.lub_unit = -1;
      print.info.fi_cc_after_prompt = 1;
      doubles().units = {{6, &unit6.lub}, {0, &unit0.lub}, {-1, &print.lub}};
      doubles().write_fails = row.writes_fail;
      errno = ENOSPC;
      for__io_return(FOR_IOR_NONE, MSG_OUTPUT_CONVERSION, MSG_OUTPUT_CONVERSION, &failing.lub);
      EXPECT_EQ(doubles().calls, row.calls);
      EXPECT_EQ(doubles().written, row.failing_fd == 2 && !row.writes_fail ? "\n" : "");
      EXPECT_EQ(print.info.fi_cc_after_prompt, row.failing_fd != 2);
    });
    EXPECT_EQ(child.err.rfind("tamrtl: No space left on device\n", 0) == 0, row.writes_fail) << child.err;
  }
  // The failing unit itself is not acquired a second time.
  run_child([] {
    Unit failing;
    failing.lub.lub_unit = 6;
    failing.lub.lub_fd = 1;
    for__io_return(FOR_IOR_RELEASE, MSG_OUTPUT_CONVERSION, MSG_OUTPUT_CONVERSION, &failing.lub);
    EXPECT_EQ(doubles().calls,
              (std::vector<std::string>{"acquire -2 15", "acquire 0 15", "acquire -1 15", "release 6"}));
  });
}

TAMRUN_CHILD_TEST(ReportFailure, AsynchronousUnitsTakeTheirOwnRoad) {
  Unit unit;
  give(unit.lub, kErr | kIostat);
  doubles() = {};
  EXPECT_EQ(report_failure(FOR_IOR_RELEASE, MSG_READ_ERROR, 31, &unit.lub), 31);
  EXPECT_EQ(doubles().calls, (std::vector<std::string>{"release 7"}));

  unit.lub.lub_a_aio = reinterpret_cast<For_Aio_Block*>(&unit);
  doubles() = {};
  EXPECT_EQ(report_failure(FOR_IOR_RELEASE, MSG_READ_ERROR, 31, &unit.lub), 31);
  EXPECT_EQ(doubles().calls, (std::vector<std::string>{"aio_park 7 39 31", "aio_error 7 -1 9 39 31"}));

  doubles() = {};
  doubles().aio_parks = true;
  EXPECT_EQ(report_failure(FOR_IOR_RELEASE, MSG_READ_ERROR, 31, &unit.lub), 39);
  EXPECT_EQ(doubles().calls, (std::vector<std::string>{"aio_park 7 39 31"}));
}

}  // namespace
