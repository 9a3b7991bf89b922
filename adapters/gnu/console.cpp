// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The units that the library and the peer share.

#include "adapters/gnu/console.h"

#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <initializer_list>

#include "adapters/gnu/peer.h"
#include "adapters/gnu/units.h"
#include "tamrun/tamrun.h"

namespace {

Console g_stdin{UNIT_STDIN};
Console g_stdout{UNIT_STDOUT};
Console g_stderr{UNIT_STDERR};
bool g_input_is_file;

/// A read of standard input may have to wait for another process or for a user, who may wait for our output.
bool input_may_wait() {
  if (g_input_is_file) return false;
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) == 0;
}

/// What either side holds back of standard output goes out, unless another thread is in a statement there.
void release_output() {
  if (pthread_mutex_trylock(&g_stdout.mutex) != 0) return;
  g_stdout.flush_ours();
  g_stdout.flush_peers();
  g_stdout.unlock();
}

void release_output_before(const Console& console) {
  const bool waits = &console == &g_stdin && (g_stdout.our_bytes || g_stdout.peer_bytes) && input_may_wait();
  if (waits || &console == &g_stderr) release_output();
}

void read_unit_variable(const char* name, Console& console) {
  const char* value = getenv(name);
  if (value == nullptr || *value == '\0') return;
  const i32 unit = static_cast<i32>(strtol(value, nullptr, 10));
  if (unit == console.unit) return;
  console.peer_owned = true;
  set_owner(unit, Owner::peers);
}

}  // namespace

Console* console_of(i32 unit) {
  switch (unit) {
    case UNIT_STDOUT:
      return &g_stdout;
    case UNIT_STDIN:
      return &g_stdin;
    case UNIT_STDERR:
      return &g_stderr;
    default:
      return nullptr;
  }
}

void Console::flush_ours() {
  if (!our_bytes || unit == UNIT_STDIN) return;
  For_Context context{};
  if (our_depth == 0) {
    our_bytes = false;
    (void)for_flush(&context, unit,
                    connection_flags(unit));  // a failure ends the program: no statement is there for it
  } else {
    // From inside an output list: possible as long as the library has not heard of the statement.
    (void)for_flush(&context, unit, connection_flags(unit) | iof_iostat);
  }
}

void Console::flush_peers() {
  if (!peer_bytes || peer_depth > 0) return;
  i32 number = unit;
  peer().flush_i4(&number);
  peer_bytes = false;
}

void Console::enter_ours() {
  if (our_depth == 0) flush_peers();
  release_output_before(*this);
  our_bytes = true;
  ++our_depth;
}

void Console::enter_peers() {
  flush_ours();
  release_output_before(*this);
  peer_bytes = peer_seen = true;
  ++peer_depth;
}

void Console::give_to_peer() {
  if (peer_owned) return;
  flush_ours();
  peer_owned = true;
  if (unit != UNIT_STDIN || !our_bytes) return;
  // The library reads standard input record by record. This gives back the rest of one that was left open.
  For_Context context{};
  (void)for_flush(&context, unit, connection_flags(unit) | iof_iostat);
  our_bytes = false;
}

void give_to_peer(i32 unit) {
  Console* console = console_of(unit);
  if (console == nullptr) return;
  console->lock();
  console->give_to_peer();
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
  struct stat st;
  g_input_is_file = fstat(STDIN_FILENO, &st) == 0 && S_ISREG(st.st_mode);
  read_unit_variable("GFORTRAN_STDIN_UNIT", g_stdin);
  read_unit_variable("GFORTRAN_STDOUT_UNIT", g_stdout);
  read_unit_variable("GFORTRAN_STDERR_UNIT", g_stderr);
}
