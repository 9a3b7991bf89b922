// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start and end of a program. The peer starts and ends as well, since it serves what the library does not; the process
// keeps the status with which the program asked to end.

#include "adapters/gnu/program.h"

#include <pthread.h>
#include <stdlib.h>

#include "adapters/gnu/console.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/units.h"
#include "core/start.h"
#include "tamrun/lub.h"

std::atomic<bool> g_library_started;

namespace {

pthread_once_t g_once = PTHREAD_ONCE_INIT;
int g_argc;
char** g_argv;
bool g_sign_of_zero = true;

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

}  // namespace

void start_library_once() { pthread_once(&g_once, start_once); }

bool keeps_sign_of_zero() { return g_sign_of_zero; }

TAMRUN_ENTRY void _gfortran_set_args(int argc, char** argv) {
  g_argc = argc;
  g_argv = argv;
  start_library();
  peer().set_args(argc, argv);
}

TAMRUN_ENTRY void _gfortran_set_options(int count, int* options) {
  if (count > kOptionSignZero) g_sign_of_zero = options[kOptionSignZero] != 0;
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

// The peer prints the text of a STOP to standard error: what the library holds back goes out before it. ABORT runs no
// exit handlers, so that this is also the last chance.

TAMRUN_ENTRY void _gfortran_stop_numeric(int code, bool quiet) {
  flush_ours_if_free(nullptr);
  peer().stop_numeric(code, quiet);
}

TAMRUN_ENTRY void _gfortran_stop_string(const char* text, size_t length, bool quiet) {
  flush_ours_if_free(nullptr);
  peer().stop_string(text, length, quiet);
}

TAMRUN_ENTRY void _gfortran_error_stop_numeric(int code, bool quiet) {
  flush_ours_if_free(nullptr);
  peer().error_stop_numeric(code, quiet);
}

TAMRUN_ENTRY void _gfortran_error_stop_string(const char* text, size_t length, bool quiet) {
  flush_ours_if_free(nullptr);
  peer().error_stop_string(text, length, quiet);
}

TAMRUN_ENTRY void _gfortran_abort() {
  flush_ours_if_free(nullptr);
  peer().abort();
}
