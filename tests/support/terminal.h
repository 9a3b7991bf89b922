// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A pseudo-terminal that a test types at.
#ifndef TAMRUN_TESTS_SUPPORT_TERMINAL_H
#define TAMRUN_TESTS_SUPPORT_TERMINAL_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace tamrun_test {

class Terminal {
 public:
  Terminal() : typist_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (typist_ < 0 || grantpt(typist_) != 0 || unlockpt(typist_) != 0) abort();
    screen_ = open(ptsname(typist_), O_RDWR | O_NOCTTY);
    if (screen_ < 0) abort();
  }
  ~Terminal() {
    close(screen_);
    close(typist_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const char* text) {
    const auto length = static_cast<ssize_t>(strlen(text));
    EXPECT_EQ(write(typist_, text, static_cast<size_t>(length)), length);
  }
  /// Waits, not for ever, until what has been typed can be read; for a terminal without line editing.
  void settle(const char* typed) const {
    for (int waiting = 0, rounds = 0; rounds < 5000; ++rounds) {
      if (ioctl(screen_, FIONREAD, &waiting) == 0 && waiting >= static_cast<int>(strlen(typed))) return;
      usleep(1000);
    }
  }
  /// The terminal takes the place of a descriptor.
  void become(int fd) const { EXPECT_EQ(dup2(screen_, fd), fd); }
  int fd() const { return screen_; }
  /// The other end: what is shown is read there.
  int typist() const { return typist_; }
  tcflag_t modes() const {
    termios settings;
    EXPECT_EQ(tcgetattr(screen_, &settings), 0);
    return settings.c_lflag;
  }

 private:
  int typist_, screen_ = -1;
};

}  // namespace tamrun_test

#endif
