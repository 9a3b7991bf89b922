// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// PAUSE: asks on the terminal whether to go on; a program in the background waits for a signal.

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string_view>

#include "core/start.h"
#include "exceptions/for_stop.h"
#include "tamrun/hooks.h"

namespace {

/// Most characters of an answer that count.
constexpr size_t kMostAnswer = 79;
constexpr std::string_view kContinue = "CONTINUE";

/// Ends the line that the unit has left open on standard output: true when it had one. What it holds back goes out.
bool end_line_of(int unit) {
  For_Lub* lub = nullptr;
  For_Context context{};
  if (for__acquire_lun(unit, &lub, &context, STMT_PAUSE) != 0) return false;
  bool ended = false;
  if (lub->lub_f_connected && lub->lub_fd == STDOUT_FILENO) {
    (void)for__write_output(lub, nullptr, 0);
    For_File_Info* file = lub->lub_a_file_info;
    if (file != nullptr && (file->fi_cc_after_cr || file->fi_cc_after_prompt)) {
      putchar('\n');
      file->fi_cc_after_cr = file->fi_cc_after_prompt = 0;
      ended = true;
    }
  }
  (void)for__release_lun(unit);
  return ended;
}

void prompt(const char* text, i32 length) {
  for (int unit : {UNIT_STDOUT, UNIT_TYPE, UNIT_STDERR, UNIT_PRINT})
    if (end_line_of(unit)) break;
  if (length == 0) {
    fputs("FORTRAN PAUSE", stdout);
  } else if (length > 0) {
    fwrite(text, 1, static_cast<size_t>(length), stdout);
  }
  fputs("\nPAUSE prompt> ", stdout);
  fflush(stdout);
}

bool in_background() {
  if (isatty(STDIN_FILENO)) return false;
  int type = 0;
  socklen_t size = sizeof type;
  return getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0 && errno == ENOTSOCK;
}

void bg_paused(int) {}

/// Waits for SIGTERM. The signal is held back until the wait begins, so that one that comes at once is not lost.
void wait_in_background() {
  sigset_t term, before;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &term, &before);
  struct sigaction resume = {}, former;
  resume.sa_handler = bg_paused;
  sigaction(SIGTERM, &resume, &former);
  printf("To continue from background, execute 'kill -%d %d'\n", SIGTERM, static_cast<int>(getpid()));
  fflush(stdout);
  sigset_t waiting = before;
  sigdelset(&waiting, SIGTERM);
  sigsuspend(&waiting);
  sigaction(SIGTERM, &former, nullptr);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// Reads a line, byte by byte: what follows it is the program's.
size_t read_answer(char (&answer)[kMostAnswer], bool* ended) {
  size_t length = 0;
  while (length < kMostAnswer) {
    char c;
    const ssize_t got = read(STDIN_FILENO, &c, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      *ended = true;
      break;
    }
    if (c == '\n' || c == '\0') break;
    answer[length++] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return length;
}

/// An empty line and any leading part of the word continue the program; the end of the input does not.
bool wants_to_continue() {
  char answer[kMostAnswer];
  bool ended = false;
  const size_t length = read_answer(answer, &ended);
  std::string_view line(answer, length);
  while (!line.empty() && line.back() == ' ') line.remove_suffix(1);
  while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
  if (ended && line.empty()) return false;
  return kContinue.substr(0, line.size()) == line;
}

}  // namespace

void for_pause(const char* text, i32 length) {
  prompt(text, length);
  if (in_background()) return wait_in_background();
  if (wants_to_continue()) return;
  int status = 0;
  for_exit(&status);
}
