// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A record buffer with a guard behind it, for units that stand past OPEN.
#ifndef TAMRUN_TESTS_SUPPORT_GUARDED_BUFFER_H
#define TAMRUN_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <string.h>
#include <unistd.h>

#include <string>

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

/// Gives the unit an empty buffer of that size: false when there is no memory.
inline bool give_guarded_buffer(For_Lub& lub, i64 bytes) {
  void* block = nullptr;
  if (for__get_vm(bytes + sizeof kBufferGuard, 0, &block) != 0) return false;
  lub.lub_buffer_size = bytes;
  lub.lub_a_buffer = static_cast<u8*>(block);
  memcpy(lub.lub_a_buffer + bytes, kBufferGuard, sizeof kBufferGuard);
  lub.lub_a_cursor = lub.lub_a_read_end = lub.lub_a_rec_end = lub.lub_a_data_start = lub.lub_a_buffer;
  return true;
}

inline bool guard_is_whole(const For_Lub& lub) {
  return memcmp(lub.lub_a_buffer + lub.lub_buffer_size, kBufferGuard, sizeof kBufferGuard) == 0;
}

/// The file holds that and stands at its start: false when it cannot.
inline bool fill_file(int fd, const std::string& content) {
  return ftruncate(fd, 0) == 0 &&
         pwrite(fd, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()) &&
         lseek(fd, 0, SEEK_SET) == 0;
}

#endif
