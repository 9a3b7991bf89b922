// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The units that the library and the peer share.

#include "adapters/gnu/console.h"

#include <stdlib.h>

#include <initializer_list>

#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "tamrun/context.h"
#include "tamrun/io_flags.h"

/// Absent from a library without positioning statements: then it must hold nothing back.
extern "C" int for_flush(For_Context* ctx, int unit, For_IO_Flags flags, ...) __attribute__((weak));

namespace {

Console g_stdout{6};
Console g_stderr{0};

void read_unit_variable(const char* name, i32 unit) {
  const char* value = getenv(name);
  if (value != nullptr && *value != '\0' && strtol(value, nullptr, 10) != unit) give_to_peer(unit);
}

}  // namespace

Console* console_of(i32 unit) {
  return unit == g_stdout.unit ? &g_stdout : unit == g_stderr.unit ? &g_stderr : nullptr;
}

void Console::flush_ours() {
  if (!our_bytes || our_depth > 0) return;
  our_bytes = false;
  For_Context context{};
  // A FLUSH renews the options of the connection.
  const For_IO_Flags flags = iof_extended | iof_f90_rtl | (keeps_sign_of_zero() ? iof_minus_zero : 0);
  if (for_flush != nullptr) (void)for_flush(&context, unit, flags | iof_iostat);
}

void Console::enter_ours() {
  if (peer_bytes && our_depth == 0) {
    i32 number = unit;
    peer().flush_i4(&number);
    peer_bytes = false;
  }
  our_bytes = true;
  ++our_depth;
}

void Console::enter_peers() {
  flush_ours();
  peer_bytes = true;
  ++peer_depth;
}

void give_to_peer(i32 unit) {
  Console* console = console_of(unit);
  if (console == nullptr) return;
  console->lock();
  console->flush_ours();
  console->peer_owned = true;
  console->unlock();
}

void flush_ours_if_free(const i32* unit) {
  for (Console* console : {&g_stdout, &g_stderr}) {
    if (unit != nullptr && *unit != console->unit) continue;
    if (pthread_mutex_trylock(&console->mutex) != 0) continue;
    console->flush_ours();
    console->unlock();
  }
}

void read_console_environment() {
  if (for_flush == nullptr) setenv("FORT_NO_BUFFERING", "true", 1);
  read_unit_variable("GFORTRAN_STDOUT_UNIT", g_stdout.unit);
  read_unit_variable("GFORTRAN_STDERR_UNIT", g_stderr.unit);
}
