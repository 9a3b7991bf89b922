// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The end of a failing statement: classification, IOMSG=, what is remembered, disposition and diagnostic.

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
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

enum Given : unsigned { kErr = 1, kEnd = 2, kEor = 4, kIostat = 8, kIgnore = 16, kLegacy = 32, kAfterEndfile = 64 };

/// A connected formatted unit 7 in the middle of a statement with these specifiers.
struct Unit {
  For_Lub lub = {};
  For_File_Info info = {};
  explicit Unit(unsigned given = 0) {
    lub.lub_unit = 7;
    lub.lub_fd = 9;
    lub.lub_a_file_name = file_name;
    lub.lub_statement = STMT_READ;
    lub.lub_f_connected = 1;
    lub.lub_f_formatted = 1;
    lub.lub_a_file_info = &info;
    lub.lub_a_message_arg = "RECL=";
    lub.lub_f_err = (given & kErr) != 0;
    lub.lub_f_end = (given & kEnd) != 0;
    lub.lub_f_eor = (given & kEor) != 0;
    lub.lub_f_iostat = (given & kIostat) != 0;
    lub.lub_f_ignore_conv_error = (given & kIgnore) != 0;
    lub.lub_f_legacy_defaults = (given & kLegacy) != 0;
    lub.lub_f_after_endfile = (given & kAfterEndfile) != 0;
  }
  /// Fails with the message and gives the value of an IOMSG= variable that held `text`.
  std::string iomsg_after(std::string text, int message, int user_code) {
    lub.lub_a_iomsg = text.data();
    lub.lub_iomsg_len = static_cast<i64>(text.size());
    fail(message, user_code);
    return text;
  }
  int fail(int message, int user_code, int disposition = FOR_IOR_NONE) {
    return for__io_return(disposition, message, user_code, &lub);
  }
  int fail(int message) { return fail(message, message); }
};

std::string padded(std::string text, size_t length) {
  text.resize(length, ' ');
  return text;
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
    {STMT_READ, kErr, MSG_READ_ERROR, 31, 31, 0},
    {STMT_WRITE, kErr, MSG_TOO_MANY_RECORDS, 27, 27, 0},
    {STMT_READ, kErr, MSG_TOO_MANY_RECORDS, 27, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_FILE, 24, kUnhandled, 0},
    {STMT_READ, kErr, MSG_END_OF_RECORD, 268, kUnhandled, 0},
    {STMT_READ, kErr, MSG_READ_ERROR, 39, 39, kKeeps},
    // Conversion errors.
    {STMT_WRITE_SEQ, kIgnore, MSG_OUTPUT_CONVERSION, 63, 63, 0},
    {STMT_WRITE_SEQ, kIgnore, MSG_WRITE_ERROR, 38, kUnhandled, 0},
    // END=.
    {STMT_READ, kEnd, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd, MSG_END_OF_FILE_ENCOUNTERED, 613, -1, 1},
    {STMT_READ, kEnd | kErr | kIostat, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd | kLegacy, MSG_END_OF_FILE, 24, -1, kClears},
    {STMT_READ, kEnd | kLegacy | kAfterEndfile, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kEnd, MSG_READ_ERROR, 39, kUnhandled, 0},
    {STMT_WRITE, kEnd, MSG_TOO_MANY_RECORDS, 27, kUnhandled, 0},
    // EOR=.
    {STMT_READ, kEor, MSG_END_OF_RECORD, 268, -2, kClears},
    {STMT_READ, kEor, MSG_END_OF_RECORD_ENCOUNTERED, 758, -2, kClears},
    {STMT_READ, kEor | kAfterEndfile, MSG_END_OF_RECORD, 268, -2, 1},
    {STMT_READ, kEor | kAfterEndfile | kLegacy, MSG_END_OF_RECORD, 268, -2, kClears},
    {STMT_READ, kEor, MSG_END_OF_FILE, 24, kUnhandled, 0},
    // IOSTAT= takes all.
    {STMT_READ, kIostat, MSG_READ_ERROR, 31, 31, 0},
    {STMT_READ, kIostat, MSG_END_OF_FILE, 24, -1, 1},
    {STMT_READ, kIostat | kLegacy, MSG_END_OF_FILE, 24, -1, kClears},
    {STMT_READ, kIostat, MSG_END_OF_RECORD, 268, -2, 0},
    {STMT_READ, kIostat, MSG_READ_ERROR, 39, 39, kKeeps},
    // A child's routine speaks through the user code.
    {STMT_READ, kEnd, MSG_UDIO_ERROR, -1, -1, 1},
    {STMT_READ, kEor, MSG_UDIO_ERROR, -2, -2, 0},
    {STMT_READ, kErr, MSG_UDIO_ERROR, 5, 5, 0},
    {STMT_READ, kErr, MSG_UDIO_ERROR, -1, kUnhandled, 0},
    {STMT_READ, kIostat, MSG_UDIO_ERROR, -1, -1, 1},
    {STMT_READ, kIostat, MSG_UDIO_ERROR, 127, 127, 0},
};

TAMRUN_CHILD_TEST(IoReturn, EveryCodeMeetsItsSpecifier) {
  for__establish_user_error_handler(take_diagnostic, nullptr, nullptr, nullptr);
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << "statement " << row.statement << " given " << row.given << " code " << row.code
                                    << "/" << row.user_code);
    Unit unit(row.given);
    unit.lub.lub_statement = static_cast<u8>(row.statement);
    unit.lub.lub_f_at_eof = row.eof >= kKeeps;
    unit.lub.lub_errno = ENOSPC;
    issued = 0;
    const int answer = unit.fail(row.code, row.user_code);
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

TAMRUN_CHILD_TEST(IoReturn, TooManyRecordsAreTheEndOfAReadAlone) {
  const std::set<int> reads = {STMT_READ,    STMT_READ_LIST, STMT_READ_NML,  STMT_READ_24,
                               STMT_READ_25, STMT_READ_32,   STMT_PORT_READ, STMT_READ_34};
  for (int statement = 0; statement < 64; ++statement) {
    Unit unit(kIostat);
    unit.lub.lub_statement = static_cast<u8>(statement);
    EXPECT_EQ(unit.fail(MSG_TOO_MANY_RECORDS), reads.count(statement) != 0 ? -1 : 27) << statement;
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
      {MSG_CONNECTED_SPECIFIER_VALUE, 104, 0, 104,
       "tamrtl: severe (104): incorrect RECL= specifier value for connected file, unit 7, file data.txt\n"},
      {MSG_UDIO_ERROR, -1, 0, 127,
       "tamrtl: severe (127): User Defined I/O procedure returned error 24, message: 'end-of-file during read, unit 7, "
       "file data.txt'\n"},
  };
  for (const auto& row : rows) {
    const Child_Result child = run_child([&] {
      Unit unit;
      unit.lub.lub_errno = row.saved_errno;
      EXPECT_EQ(unit.fail(row.code, row.user_code), row.code);
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
      Unit unit(number % 2 == 0 ? kIostat : 0u);
      unit.fail(message, number);
      unit.iomsg_after(std::string(200, ' '), message, number);
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
    Unit unit(kIostat);
    u8 record[8];
    unit.lub.lub_a_file_name = const_cast<char*>(row.name);
    unit.lub.lub_f_nml_position = row.namelist;
    unit.lub.lub_next_rec = 5;
    unit.lub.lub_a_data_start = record;
    unit.lub.lub_a_cursor = record + 3;
    EXPECT_EQ(unit.iomsg_after(std::string(80, '?'), MSG_READ_ERROR, MSG_READ_ERROR), padded(row.text, 80));
    EXPECT_EQ(unit.lub.lub_f_nml_position, 0u);
  }
  // A name as long as a path may be, and longer.
  for (size_t length : {4096u, 9000u}) {
    Unit unit(kIostat);
    std::string name(length, 'p');
    unit.lub.lub_a_file_name = name.data();
    EXPECT_EQ(unit.iomsg_after(std::string(length + 100, '?'), MSG_READ_ERROR, MSG_READ_ERROR),
              padded("error during read, unit 7, file " + name.substr(0, 4145), length + 100));
  }
}

TAMRUN_CHILD_TEST(IoReturn, IomsgIsPaddedOrCut) {
  const std::string read_error = "error during read, unit 7, file data.txt";
  const struct {
    size_t length;
    int message, user_code;
    unsigned given;
    std::string text;
  } rows[] = {{1, MSG_READ_ERROR, 39, kIostat, read_error},
              {40, MSG_READ_ERROR, 39, kIostat, read_error},
              {200, MSG_READ_ERROR, 39, kIostat, read_error},
              {90, MSG_CONNECTED_SPECIFIER, 103, kIostat,
               "incorrect RECL= specifier for connected file, unit 7, file data.txt"},
              {60, MSG_STREAM_NOT_ALLOWED, 39, kIostat, read_error},  // the text follows the user code
              {60, MSG_OUTPUT_CONVERSION, 63, 0, "output conversion error, unit 7, file data.txt"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Unit(row.given).iomsg_after(std::string(row.length, '?'), row.message, row.user_code),
              padded(row.text, row.length));
    EXPECT_EQ(for__user_iomsg_buf, nullptr);
    EXPECT_EQ(for__user_iomsg_len, 0);
  }
}

TAMRUN_CHILD_TEST(IoReturn, IomsgOfAChildIsQuotedInTheParents) {
  const auto parents = [](const std::string& text, size_t length, unsigned given = kIostat) {
    return Unit(given).iomsg_after(padded(text, length), MSG_UDIO_ERROR, 5);
  };
  const std::string head = "User Defined I/O procedure returned error 5, message: '";
  EXPECT_EQ(parents("too hot", 80), padded(head + "too hot'", 80));
  EXPECT_EQ(parents("", 80), padded(head + "'", 80));
  const Child_Result child = run_child([&] {
    // One byte of room less than the text needs; then none at all.
    EXPECT_EQ(parents("1234567", 7 + head.size()), head + "123456'");
    EXPECT_EQ(parents("fire", 4), "User");
    EXPECT_EQ(parents("1234567", 8 + head.size()), head + "1234567'");
  });
  const std::string cut = "User Defined I/O procedure's IOMSG was truncated to fit IOMSG variable.\n";
  EXPECT_EQ(child.out, cut + cut);

  const Child_Result printed = run_child([&] { parents("too hot", 7, 0); });
  EXPECT_EQ(printed.status, MSG_UDIO_ERROR);
  EXPECT_EQ(printed.err, "tamrtl: severe (127): User Defined I/O procedure returned error 5, message: 'too hot'\n");

  // The child's text counts for one failure only.
  Unit unit(kIostat);
  for (const char* text : {"?????", "error"}) {
    unit.lub.lub_f_child_iomsg = text[0] == '?';
    EXPECT_EQ(unit.iomsg_after("?????", MSG_READ_ERROR, MSG_READ_ERROR), text);
    EXPECT_EQ(unit.lub.lub_f_child_iomsg, 0u);
  }
}

TAMRUN_CHILD_TEST(IoReturn, TheLastFailureIsRemembered) {
  For_Thread_Storage* storage;
  ASSERT_EQ(thread_storage(&storage), 0);
  Unit unit(kIostat);
  const std::string keyword(100, 'K');
  unit.lub.lub_a_message_arg = keyword.c_str();
  unit.lub.lub_errno = EACCES;
  unit.fail(MSG_CONNECTED_SPECIFIER, 31);
  EXPECT_EQ(storage->ts_errsns.user_code, 31u);
  EXPECT_EQ(storage->ts_errsns.saved_errno, static_cast<u32>(EACCES));
  EXPECT_EQ(storage->ts_errsns.unit, 7u);
  EXPECT_EQ(std::string(storage->ts_errsns_text, kErrsnsTextLength), keyword.substr(0, kErrsnsTextLength));
  unit.fail(MSG_END_OF_FILE);
  EXPECT_EQ(storage->ts_errsns.user_code, 24u);
  EXPECT_EQ(storage->ts_errsns.saved_errno, 0u);
  EXPECT_EQ(storage->ts_errsns_text[0], 'K');
}

TAMRUN_CHILD_TEST(IoReturn, AHeldRecordIsForgottenButForConversionErrors) {
  for (bool formatted : {true, false}) {
    for (int code : {int{MSG_READ_ERROR}, int{MSG_OUTPUT_CONVERSION}}) {
      Unit unit(kIostat);
      unit.lub.lub_f_formatted = formatted;
      unit.info.fi_record_open = 1;
      unit.fail(code);
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
    EXPECT_EQ(Unit(kIostat).fail(MSG_READ_ERROR, MSG_READ_ERROR, row.disposition), 39);
    EXPECT_EQ(doubles().calls, row.calls);
  }
  const Child_Result wrong = run_child([] { Unit(kIostat).fail(MSG_READ_ERROR, MSG_READ_ERROR, 4); });
  EXPECT_EQ(wrong.status, MSG_INTERNAL_CONSISTENCY);
}

TAMRUN_CHILD_TEST(IoReturn, APendingLineOnStandardOutputEndsBeforeAFailureOnStandardError) {
  struct Row {
    int failing_fd;
    bool writes_fail;
    std::vector<std::string> calls;
  };
  // Unit 6 owes nothing, -2 is not to be had, 0 owes on the failing descriptor, -1 owes on descriptor 1.
  const std::vector<std::string> searched = {"acquire 6 15", "release 6",     "acquire -2 15", "acquire 0 15",
                                             "release 0",    "acquire -1 15", "release -1"};
  std::vector<std::string> written = searched;
  written.insert(written.end() - 1, "write -1");
  const Row rows[] = {{2, false, written}, {2, true, written}, {9, false, searched}};
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
      failing.fail(MSG_OUTPUT_CONVERSION);
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
    failing.fail(MSG_OUTPUT_CONVERSION, MSG_OUTPUT_CONVERSION, FOR_IOR_RELEASE);
    EXPECT_EQ(doubles().calls,
              (std::vector<std::string>{"acquire -2 15", "acquire 0 15", "acquire -1 15", "release 6"}));
  });
}

TAMRUN_CHILD_TEST(ReportFailure, AsynchronousUnitsTakeTheirOwnRoad) {
  Unit unit(kErr | kIostat);
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
