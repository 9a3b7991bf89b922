// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start and end of a program. The peer starts and ends as well, since it serves what the library does not; the process
// keeps the status with which the program asked to end.

#include "adapters/gnu/program.h"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "adapters/gnu/console.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/units.h"
#include "core/start.h"
#include "exceptions/for_stop.h"
#include "tamrun/lub.h"

std::atomic<bool> g_library_started;

namespace {

pthread_once_t g_once = PTHREAD_ONCE_INIT;
int g_argc;
char** g_argv;
bool g_reports_exceptions = true;

/// Buffers as large as the largest transfer, unless FORT_BLOCKSIZE says otherwise.
void enlarge_buffers() {
  if (for__l_blocksize == kUnsetVariable) for__l_blocksize = static_cast<i32>(kDefaultBlocksize);
}

/// Every end of a process that runs exit handlers comes here: return from main, STOP, ERROR STOP, EXIT, a diagnostic.
void finish_library() { (void)for_rtl_finish_(); }

void start_once() {
  read_files_environment();
  read_console_environment();
  for_rtl_init_(g_argv != nullptr ? &g_argc : nullptr, g_argv);
  enlarge_buffers();
  atexit(finish_library);
  g_library_started.store(true, std::memory_order_release);
}

/// "STOP " and a number.
constexpr size_t kNumberText = sizeof "ERROR STOP -2147483648";

size_t number_text(char (&text)[kNumberText], const char* what, int number) {
  return static_cast<size_t>(snprintf(text, sizeof text, "%s %d", what, number));
}

struct Stop {
  bool is_error;
  const char* text;
  size_t length;
  bool quiet;
  int status;
};

/// Ends the program with the message on unit 0, behind what both sides hold back. Returns when the unit cannot be
/// written, as from inside a statement on it: the peer, which needs no unit, then ends the program.
void stop(const Stop& how) {
  start_library();
  flush_ours_if_free(nullptr);
  Console& console = *console_of(UNIT_STDERR);
  console.lock();
  console.enter_ours();
  For_IO_Flags flags = connection_flags(UNIT_STDERR) | iof_err;
  if (g_reports_exceptions) flags |= stopf_ieee_notes;
  const auto entry = how.is_error ? for_error_stop_quiet : for_stop_core_quiet;
  const i32 length = static_cast<i32>(std::min<size_t>(how.length, INT32_MAX));
  (void)entry(how.text, length, how.quiet, flags, how.status, 1);
  console.leave_ours();
  console.unlock();
}

void stop_with_text(Stop how, std::string_view lead) {
  auto* const text = static_cast<char*>(malloc(lead.size() + how.length));
  if (text == nullptr) return;
  memcpy(text, lead.data(), lead.size());
  if (how.length > 0) memcpy(text + lead.size(), how.text, how.length);
  how.text = text;
  how.length += lead.size();
  stop(how);
  free(text);
}

void leave(int status) {
  start_library();
  flush_ours_if_free(nullptr);
  for_exit(&status);
}

/// PAUSE with somebody to ask: false, with nothing done, when standard input is no terminal. The peer reads the answer
/// from whatever it is, where the library would wait for a signal.
bool pause_at_terminal(const char* text, size_t length) {
  start_library();
  flush_ours_if_free(nullptr);
  if (!isatty(STDIN_FILENO)) return false;
  Console& console = *console_of(UNIT_STDOUT);
  console.lock();
  console.enter_ours();
  for_pause(text, static_cast<i32>(std::min<size_t>(length, INT32_MAX)));
  console.leave_ours();
  console.unlock();
  return true;
}

}  // namespace

void start_library_once() { pthread_once(&g_once, start_once); }

Argument_Vector argument_vector() { return {g_argv != nullptr ? g_argc : 0, g_argv}; }

TAMRUN_ENTRY void _gfortran_set_args(int argc, char** argv) {
  g_argc = argc;
  g_argv = argv;
  start_library();
  peer().set_args(argc, argv);
}

TAMRUN_ENTRY void _gfortran_set_options(int count, int* options) {
  if (count > kOptionSignZero) keep_sign_of_zero(options[kOptionSignZero] != 0);
  if (count > kOptionFpeSummary) g_reports_exceptions = options[kOptionFpeSummary] != 0;
  peer().set_options(count, options);
}

// -fconvert=, -frecord-marker= and -fmax-subrecord-length=, which a main program passes on first.

TAMRUN_ENTRY void _gfortran_set_convert(int conversion) {
  leave_unformatted_to_peer();
  peer().set_convert(conversion);
}

TAMRUN_ENTRY void _gfortran_set_record_marker(int bytes) {
  leave_unformatted_to_peer();
  peer().set_record_marker(bytes);
}

TAMRUN_ENTRY void _gfortran_set_max_subrecord_length(int bytes) {
  leave_unformatted_to_peer();
  peer().set_max_subrecord_length(bytes);
}

TAMRUN_ENTRY void _gfortran_stop_numeric(int code, bool quiet) {
  char text[kNumberText];
  stop({false, text, number_text(text, "STOP", code), quiet, code});
  peer().stop_numeric(code, quiet);
}

TAMRUN_ENTRY void _gfortran_stop_string(const char* text, size_t length, bool quiet) {
  if (text == nullptr) {
    stop({false, "", 0, quiet, 0});
  } else {
    stop_with_text({false, text, length, quiet, 0}, "STOP ");
  }
  peer().stop_string(text, length, quiet);
}

TAMRUN_ENTRY void _gfortran_error_stop_numeric(int code, bool quiet) {
  char text[kNumberText];
  stop({true, text, number_text(text, "ERROR STOP", code), quiet, code});
  peer().error_stop_numeric(code, quiet);
}

TAMRUN_ENTRY void _gfortran_error_stop_string(const char* text, size_t length, bool quiet) {
  stop_with_text({true, text, length, quiet, EXIT_FAILURE}, "ERROR STOP ");
  peer().error_stop_string(text, length, quiet);
}

TAMRUN_ENTRY void _gfortran_exit_i4(i32* status) { leave(status != nullptr ? *status : EXIT_SUCCESS); }
TAMRUN_ENTRY void _gfortran_exit_i8(i64* status) {
  leave(status != nullptr ? static_cast<i32>(*status) : EXIT_SUCCESS);
}

TAMRUN_ENTRY void _gfortran_pause_numeric(i32 code) {
  char text[kNumberText];
  const size_t length = number_text(text, "PAUSE", code);
  if (!pause_at_terminal(text, length)) peer().pause_numeric(code);
}

TAMRUN_ENTRY void _gfortran_pause_string(const char* text, size_t length) {
  if (!pause_at_terminal(text, length)) peer().pause_string(text, length);
}

TAMRUN_ENTRY void _gfortran_abort() {
  // No exit handlers run: this is the last chance of what the library holds back.
  flush_ours_if_free(nullptr);
  peer().abort();
}
