// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The units that the library and the peer share, the standard streams: who serves them, and in which order the bytes of
// both reach the descriptor.
#ifndef TAMGNU_CONSOLE_H
#define TAMGNU_CONSOLE_H

#include <pthread.h>

#include "tamrun/lub.h"

/// Held from the start of a statement on the unit to its end, whoever serves it. All members but `unit` are read and
/// written by the holder only.
struct Console {
  const i32 unit;
  pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
  int our_depth = 0;        ///< statements of the holder that the library serves
  int peer_depth = 0;       ///< statements of the holder that the peer serves
  bool our_bytes = false;   ///< the library may hold bytes back, or has read
  bool peer_bytes = false;  ///< the peer may hold bytes back
  bool peer_seen = false;   ///< the peer has had a statement on it
  bool peer_owned = false;  ///< the peer has the unit for good

  void lock() { pthread_mutex_lock(&mutex); }
  void unlock() { pthread_mutex_unlock(&mutex); }

  /// Enters a statement of either side: what the other side holds back goes out first, and whatever is held back of
  /// standard output before standard error is written or input is waited for.
  void enter_ours();
  void enter_peers();

  void leave_ours() { --our_depth; }
  void leave_peers() { --peer_depth; }

  /// The library's held bytes go out. The caller holds the console.
  void flush_ours();
  /// The peer's held bytes go out. The caller holds the console.
  void flush_peers();
  /// The peer keeps the unit from now on. The caller holds the console.
  void give_to_peer();
};

inline bool is_console(i32 unit) { return unit == UNIT_STDOUT || unit == UNIT_STDIN || unit == UNIT_STDERR; }

/// The console with this number, or null.
Console* console_of(i32 unit);

/// The peer keeps the unit, when it is a console, from now on.
void give_to_peer(i32 unit);

/// The library's held bytes of the unit, or of all consoles when null, go out, unless another thread is in a statement
/// there.
void flush_ours_if_free(const i32* unit);

/// Before the library starts. Consoles that GFORTRAN_STDIN_UNIT, GFORTRAN_STDOUT_UNIT and GFORTRAN_STDERR_UNIT give
/// other numbers stay with the peer.
void read_console_environment();

#endif
