// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Diagnostics: what is printed, where it goes, and how the process ends.

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

#include <string>
#include <utility>
#include <vector>

#include "core/failure.h"
#include "core/messages.h"
#include "doubles.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/open_args.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::doubles;
using tamrun_test::Fail_Vm;
using tamrun_test::read_file;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;

const rlimit kNoCore = {0, 0};

TEST(Diagnostic, PrefixTextAndEndBySeverity) {
  const struct {
    void (*issue)();
    int status;
    const char* err;
  } rows[] = {
      {[] { for__issue_diagnostic(MSG_SUCCESS, 0); }, 0, "tamrtl: operation completed successfully\n"},
      {[] { for__issue_diagnostic(MSG_FREE_FAILED, 0); }, 0,
       "tamrtl: info (762): Error freeing internal data structure.\n"},
      {[] { for__issue_diagnostic(MSG_DISPOSITION_IGNORED, 0); }, 0,
       "tamrtl: warning (3): ignored requested disposition\n"},
      {[] { for__issue_diagnostic(MSG_OUTPUT_CONVERSION, 2, 6, "stdout"); }, 0,
       "tamrtl: error (63): output conversion error, unit 6, file stdout\n"},
      {[] { for__issue_diagnostic(MSG_CONNECTED_SPECIFIER, 3, "RECL=", 7, "a"); }, 103,
       "tamrtl: severe (103): incorrect RECL= specifier for connected file, unit 7, file a\n"},
      {[] { for__issue_diagnostic(MSG_INTERNAL_CONSISTENCY, 2, "for_open.c", 12); }, 8,
       "tamrtl: severe (8): internal consistency check failure, file for_open.c, line 12\n"},
      {[] { for__issue_diagnostic(MSG_READ_ERROR, 0); }, 39,
       "tamrtl: severe (39): error during read, unit %d, file %s\n"},
      {[] { for__issue_diagnostic(3 * 65536 + MSG_NO_MEMORY, 0); }, 41,
       "tamrtl: severe (41): insufficient virtual memory\n"},
      {[] { for__issue_diagnostic(7, 2, 1, "x"); }, 7, "tamrtl: severe (7): Message not found\n\n"},
  };
  for (const auto& row : rows) {
    const Child_Result child = run_child([&] { row.issue(); });
    EXPECT_EQ(child.status, row.status);
    EXPECT_EQ(child.out, "");
    EXPECT_EQ(child.err, row.err);
  }
}

TEST(Diagnostic, LongNamesAreCutAndStayWithinTheBuffer) {
  const std::string name(40000, 'n');
  const auto child = run_child([&] { for__issue_diagnostic(MSG_OUTPUT_CONVERSION, 2, 6, name.c_str()); });
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.err.size(), 16383u);
  EXPECT_EQ(child.err.back(), '\n');
}

TEST(Diagnostic, WithoutItsBufferItStillTellsAndEnds) {
  const auto child = run_child([] {
    Fail_Vm fail(1);
    for__issue_diagnostic(MSG_READ_ERROR, 2, 7, "a");
  });
  EXPECT_EQ(child.status, 39);
  EXPECT_EQ(child.err, "Insufficient memory to allocate Fortran RTL message buffer, message #39 = hex 00000027.");
}

TEST(Diagnostic, LogFileGrowsAndTheDisplayCanBeSwitchedOff) {
  Temp_Dir dir;
  const std::string log = dir.file("log");
  setenv("FOR_DIAGNOSTIC_LOG_FILE", log.c_str(), 1);
  const auto shown = run_child([] { for__issue_diagnostic(MSG_SUCCESS, 0); });
  setenv("FOR_DISABLE_DIAGNOSTIC_DISPLAY", "TRUE", 1);
  const auto hidden = run_child([] { for__issue_diagnostic(MSG_NO_MEMORY, 0); });
  setenv("FOR_DIAGNOSTIC_LOG_FILE", (dir.path() + "/none/log").c_str(), 1);
  const auto nowhere = run_child([] { for__issue_diagnostic(MSG_NO_MEMORY, 0); });
  unsetenv("FOR_DIAGNOSTIC_LOG_FILE");
  unsetenv("FOR_DISABLE_DIAGNOSTIC_DISPLAY");
  EXPECT_EQ(shown.err, "tamrtl: operation completed successfully\n");
  EXPECT_EQ(hidden.err, "");
  EXPECT_EQ(hidden.status, 41);
  EXPECT_EQ(nowhere.err, "");
  EXPECT_EQ(nowhere.status, 41);
  EXPECT_EQ(read_file(log), shown.err + "tamrtl: severe (41): insufficient virtual memory\n");
}

TEST(Diagnostic, StandardErrorIsRedirectedOnceAtTheFirst) {
  Temp_Dir dir;
  const std::string first = dir.file("first"), second = dir.file("second");
  tamrun_test::write_file(first, "before\n");
  const auto child = run_child([&] {
    fputs("not yet\n", stderr);
    setenv("FORT0", first.c_str(), 1);
    for__issue_diagnostic(MSG_SUCCESS, 0);
    setenv("FORT0", second.c_str(), 1);
    for__issue_diagnostic(MSG_DISPOSITION_IGNORED, 0);
  });
  EXPECT_EQ(child.err, "not yet\n");
  EXPECT_EQ(read_file(first),
            "before\ntamrtl: operation completed successfully\ntamrtl: warning (3): ignored requested disposition\n");
  EXPECT_EQ(read_file(second), "");

  const auto plain = run_child([&] {
    for__issue_diagnostic(MSG_SUCCESS, 0);  // the one chance is gone
    setenv("FORT0", second.c_str(), 1);
    redirect_stderr();
    fputs("here\n", stderr);
  });
  EXPECT_EQ(plain.err, "tamrtl: operation completed successfully\nhere\n");
}

TEST(Diagnostic, DumpsDebuggersAndTheirSignals) {
  const struct {
    const char* variable;
    int message, status, signal;
  } rows[] = {
      {"FOR_DUMP_CORE_FILE", MSG_DISPOSITION_IGNORED, -1, SIGABRT},
      {"f77_dump_flag", MSG_SUCCESS, -1, SIGABRT},
      {"sabfort_dump_flag", MSG_NO_MEMORY, -1, SIGABRT},
      {"FOR__IS_DEBUGGER_PRESENT", MSG_FLOATING_OVERFLOW, -1, SIGINT},
      {"FOR_DEBUGGER_IS_PRESENT", MSG_FLOATING_OVERFLOW, -1, SIGINT},
      {"FOR_DEBUGGER_IS_PRESENT", MSG_DISPOSITION_IGNORED, 0, 0},
      {"TAMRUN_TEST_NOTHING", MSG_FLOATING_OVERFLOW, 0, 0},
  };
  for (const auto& row : rows) {
    const auto child = run_child([&] {
      setrlimit(RLIMIT_CORE, &kNoCore);
      setenv(row.variable, "1", 1);
      for__issue_diagnostic(row.message, 0);
    });
    EXPECT_EQ(child.status, row.status) << row.variable << " " << row.message;
    EXPECT_EQ(child.signal, row.signal) << row.variable << " " << row.message;
    EXPECT_NE(child.err, "");
  }
}

TEST(Diagnostic, TraceDependsOnSeverityVariablesAndException) {
  const struct {
    int message;
    const char* variable;
    bool exception, trace;
  } rows[] = {
      {MSG_DISPOSITION_IGNORED, "NONE", false, false},
      {MSG_FLOATING_OVERFLOW, "NONE", false, true},
      {MSG_NO_MEMORY, "NONE", false, true},
      {MSG_DISPOSITION_IGNORED, "NONE", true, true},
      {MSG_EMIT_INFO, "NONE", false, false},
      {MSG_EMIT_INFO_TRACE, "NONE", false, true},
      {MSG_NO_MEMORY, "FOR_DISABLE_STACK_TRACE", true, false},
      {MSG_NO_MEMORY, "FOR__IS_DEBUGGER_PRESENT", false, false},
      {MSG_SUCCESS, "FOR_FORCE_STACK_TRACE", false, true},
      {MSG_NO_MEMORY, "both", false, true},
  };
  for (const auto& row : rows) {
    const auto child = run_child([&] {
      signal(SIGABRT, SIG_IGN);
      doubles().trace = true;
      void* block;
      ASSERT_EQ(for__get_vm(sizeof(For_Excpt_Info), 0, &block), 0);
      for__l_excpt_info = static_cast<For_Excpt_Info*>(block);
      *for__l_excpt_info = {nullptr, row.exception ? 1u : 0u};
      setenv(row.variable, "Y", 1);
      if (strcmp(row.variable, "both") == 0) {
        setenv("FOR_DISABLE_STACK_TRACE", "Y", 1);
        setenv("FOR_FORCE_STACK_TRACE", "Y", 1);
      }
      for__issue_diagnostic(row.message, 1, "text");
    });
    EXPECT_EQ(child.err.find("\nTRACE\n") != std::string::npos, row.trace) << row.message << " " << row.variable << "\n"
                                                                           << child.err;
  }
}

struct Seen {
  int message = 0, continuable = -1, answer = 1;
  std::string text;
};
int handler(int* message, int* continuable, char* text, void* context, size_t length) {
  Seen& seen = *static_cast<Seen*>(context);
  seen.message = *message;
  seen.continuable = *continuable;
  seen.text.assign(text, length);
  EXPECT_EQ(strlen(text), length);
  return seen.answer;
}

TEST(Diagnostic, AUserHandlerMayTakeIt) {
  struct Row {
    int message, continuable;
  };
  std::vector<Row> rows = {{MSG_SUCCESS, 1}, {MSG_OUTPUT_CONVERSION, 1}, {MSG_FLOATING_OVERFLOW, 1}, {MSG_SIGTERM, 1}};
  for (const int message : {MSG_FLOATING_INVALID, MSG_INTEGER_OVERFLOW, MSG_FLOATING_DIVIDE_BY_ZERO,
                            MSG_FLOATING_UNDERFLOW, MSG_FLOATING_EXCEPTION, MSG_SIGABRT, MSG_SIGQUIT,
                            MSG_FLOATING_INEXACT, MSG_ILLEGAL_INSTRUCTION, MSG_SIGSEGV, MSG_NO_MEMORY}) {
    rows.push_back({message, 0});
  }
  const auto taken = run_child([&] {
    Seen seen;
    EXPECT_EQ(for__establish_user_error_handler(handler, &seen, nullptr, nullptr), 1);
    for (const auto& row : rows) {
      for__issue_diagnostic(row.message, 0);
      EXPECT_EQ(seen.message, row.message);
      EXPECT_EQ(seen.continuable, row.continuable) << row.message;
    }
    EXPECT_EQ(seen.text, "tamrtl: severe (41): insufficient virtual memory\n");
    For_Excpt_Info during_exception = {nullptr, 1};
    for__l_excpt_info = &during_exception;
    for__issue_diagnostic(MSG_SUCCESS, 0);
    EXPECT_EQ(seen.continuable, 0);
  });
  EXPECT_EQ(taken.status, 0);
  EXPECT_EQ(taken.err, "");

  const auto refused = run_child([] {
    Seen seen;
    seen.answer = 0;
    for__establish_user_error_handler(handler, &seen, nullptr, nullptr);
    for__issue_diagnostic(MSG_NO_MEMORY, 0);
  });
  EXPECT_EQ(refused.status, 41);
  EXPECT_EQ(refused.err, "tamrtl: severe (41): insufficient virtual memory\n");
}

TAMRUN_CHILD_TEST(Diagnostic, TheFormerHandlerComesBack) {
  For_User_Error_Handler old_handler = handler;
  void* old_context = &old_handler;
  void* word = &word;
  for__establish_user_error_handler(handler, &word, &old_handler, &old_context);
  EXPECT_EQ(old_handler, nullptr);
  EXPECT_EQ(old_context, nullptr);
  for__establish_user_error_handler(nullptr, nullptr, &old_handler, &old_context);
  EXPECT_EQ(old_handler, handler);
  EXPECT_EQ(old_context, word) << "the stored pointer leads to the value";
}

TEST(Diagnostic, CoarrayImagesAreNamedAndToldOfTheEnd) {
  const struct {
    int team;
    const char* line;
  } rows[] = {{-1, "In coarray image 3\n"},
              {-2, "In coarray image 3\n"},
              {9, "In coarray image 3 (original image 5, team 9)\n"}};
  const std::string head = "tamrtl: error (72): floating overflow\n";
  for (const auto& row : rows) {
    const auto child = run_child([&] {
      doubles().image = 3;
      doubles().original_image = 5;
      doubles().team = row.team;
      for__issue_diagnostic(MSG_FLOATING_OVERFLOW, 0);
      ASSERT_EQ(doubles().aborts.size(), 1u);
      EXPECT_EQ(doubles().aborts[0], head + row.line);
      setenv("FOR_DISABLE_STACK_TRACE", "1", 1);
      for__issue_diagnostic(MSG_FLOATING_OVERFLOW, 0);
    });
    EXPECT_EQ(child.err, head + row.line + head);
  }
  // The termination of the other images' making is not reported here.
  const auto killed = run_child([] {
    doubles().probably_abort = true;
    for__issue_diagnostic(MSG_SIGTERM, 0);
    ASSERT_EQ(doubles().aborts.size(), 1u);
    EXPECT_EQ(doubles().aborts[0], "(null)");
  });
  EXPECT_EQ(killed.err, "");
}

TEST(EmitDiagnostic, CodesLeadToTheirCarriers) {
  const struct {
    u32 code;
    int status;
    const char* err;
  } rows[] = {
      {0x00000001, 0, "tamrtl: text 5\n"},
      {0x08000000, 0, "tamrtl: warning (402): text 5\n"},
      {0x0FFFFFFF, 0, "tamrtl: error (403): text 5\n"},
      {0x10000000, 408 & 0xFF, "tamrtl: severe (408): text 5\n"},
      {0x14000000, 0, "tamrtl: text 5\nTRACE\n"},
      {0x1C000000, 0, "tamrtl: warning (406): text 5\nTRACE\n"},
      {0x23FFFFFF, 0, "tamrtl: error (407): text 5\nTRACE\n"},
      {0x24000000, 0, ""},
      {0xFFFFFFFF, 0, ""},
  };
  for (const auto& row : rows) {
    const auto child = run_child([&] {
      doubles().trace = row.code >= 0x14000000;
      for_emit_diagnostic(row.code, "text %d", 5);
    });
    EXPECT_EQ(child.status, row.status) << row.code;
    EXPECT_EQ(child.err, row.err) << row.code;
  }
  const auto fits = run_child([] { for_emit_diagnostic(0, "%s", std::string(8192, 'x').c_str()); });
  EXPECT_EQ(fits.err, "tamrtl: " + std::string(8192, 'x') + "\n");
  const auto too_long = run_child([] { for_emit_diagnostic(0xAB, "%s", std::string(8193, 'x').c_str()); });
  EXPECT_EQ(too_long.status, 399 & 0xFF);
  EXPECT_EQ(too_long.err,
            "tamrtl: severe (399): Diagnostic message buffer overflow, hex message number was 000000ab\n");
}

TEST(FindIomsg, IsFoundBehindTheBadKeyword) {
  char text[10];
  const u8 keys[] = {ITM_CHARACTER, 4, KEY_FORM,  0, ITM_INTEGER4,      3, KEY_RECL, 0,
                     ITM_CHARACTER, 4, KEY_IOMSG, 0, ITM_END_STATEMENT, 0};
  u64 words[] = {3, 0, 0, sizeof text, reinterpret_cast<u64>(text)};
  const auto found = [&](const u8* at) {
    void* values = words;
    char* buffer = nullptr;
    i64 length = 0;
    for__find_iomsg(&at, &values, &buffer, &length);
    return std::pair(buffer, length);
  };
  EXPECT_EQ(found(keys), std::pair(text, i64{10}));
  // A key outside the range, or an earlier end, stops the walk.
  for (const auto& [index, byte] : {std::pair{6, 1}, {6, 88}, {4, int{ITM_END_STATEMENT}}}) {
    u8 bad[sizeof keys];
    memcpy(bad, keys, sizeof keys);
    bad[index] = static_cast<u8>(byte);
    EXPECT_EQ(found(bad).first, nullptr) << byte;
  }
}

}  // namespace
