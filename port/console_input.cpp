// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Keys from the terminal on standard input.

#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "port/for_portlib.h"

namespace {

/// The settings before the last change, for whoever takes it back.
termios stored;

/// Takes line editing and what else `cleared` names out of the terminal's settings: false, with nothing changed, when
/// standard input is no terminal.
bool change_terminal(tcflag_t cleared) {
  termios settings;
  if (tcgetattr(STDIN_FILENO, &settings) != 0) return false;
  stored = settings;
  settings.c_lflag &= ~(ICANON | cleared);
  settings.c_cc[VTIME] = 0;
  settings.c_cc[VMIN] = 1;
  return tcsetattr(STDIN_FILENO, TCSANOW, &settings) == 0;
}

class Key_Mode {
 public:
  explicit Key_Mode(tcflag_t cleared) : changed_(change_terminal(cleared)) {}
  ~Key_Mode() {
    if (changed_) (void)reset_keypress();
  }
  Key_Mode(const Key_Mode&) = delete;
  Key_Mode& operator=(const Key_Mode&) = delete;

 private:
  bool changed_;
};

/// Bytes that the C library has taken from the descriptor and given to nobody.
bool stdin_holds_bytes() { return stdin->_IO_read_ptr < stdin->_IO_read_end; }

}  // namespace

void set_keypress(i32 echo_off) { (void)change_terminal(echo_off != 0 ? ECHO : 0); }

i32 reset_keypress(void) { return tcsetattr(STDIN_FILENO, TCSANOW, &stored); }

i64 getstrqq_(char* text, i64 length) {
  if (length <= 0) return 0;
  constexpr int kFirstCharacter = 32;
  const Key_Mode keys(0);
  memset(text, ' ', static_cast<size_t>(length));
  for (i64 count = 0; count < length; ++count) {
    const int key = static_cast<signed char>(getc(stdin));  // the end of the input is none either
    if (key < kFirstCharacter) return count;
    text[count] = static_cast<char>(key);
  }
  return length;
}

char* getcharqq_(char* out) {
  const Key_Mode keys(ECHO);
  *out = static_cast<char>(getc(stdin));
  return out;
}

i32 peekcharqq_(void) {
  const Key_Mode keys(0);
  if (stdin_holds_bytes()) return 1;
  fd_set waiting;
  FD_ZERO(&waiting);
  FD_SET(STDIN_FILENO, &waiting);
  timeval at_once = {};
  return select(STDIN_FILENO + 1, &waiting, nullptr, nullptr, &at_once) > 0;
}
