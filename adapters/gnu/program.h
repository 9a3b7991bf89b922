// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start and end of a program.
#ifndef TAMGNU_PROGRAM_H
#define TAMGNU_PROGRAM_H

#include <atomic>

extern std::atomic<bool> g_library_started;
void start_library_once();

/// Starts the library once per process and arranges its end. A program whose main is not Fortran comes here with its
/// first statement.
inline void start_library() {
  if (!g_library_started.load(std::memory_order_acquire)) start_library_once();
}

/// What the main program was called with: no words where it is not Fortran. The words are the process's own.
struct Argument_Vector {
  int count;
  char** words;
};
Argument_Vector argument_vector();

#endif
