// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Diagnostics: formatting a numbered message, printing it, and ending the process when it is severe.

#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "core/environment.h"
#include "core/failure.h"
#include "core/heap.h"
#include "core/locks.h"
#include "core/messages.h"
#include "core/start.h"
#include "tamrun/open_args.h"

namespace {

constexpr size_t kDiagnosticBytes = 16384;
constexpr size_t kUnknownTextBytes = 256;
constexpr size_t kGetMsgBytes = 264;
constexpr size_t kGetMsgCopied = 256;
constexpr int kEmitBytes = 8192;
constexpr int kEmitCodeShift = 26;
constexpr int kTeamUnavailable = -1, kTeamNone = -2;

For_Once_Block redirect_once;
For_User_Error_Handler current_user_error_handler;
void* current_user_error_context;

/// What the environment says about the presentation of one diagnostic.
struct Presentation {
  bool debugger;  ///< a debugger is told to be present
  bool trace;     ///< a stack trace may be made
  bool force;     ///< a stack trace is made whatever the severity
};

Presentation presentation() {
  Presentation p;
  p.debugger = for_check_env_name("FOR__IS_DEBUGGER_PRESENT") || for_check_env_name("FOR_DEBUGGER_IS_PRESENT");
  p.force = for_check_env_name("FOR_FORCE_STACK_TRACE");
  p.trace = p.force || !(p.debugger || for_check_env_name("FOR_DISABLE_STACK_TRACE"));
  return p;
}

bool dump_wanted() {
  return for_check_env_name("FOR_DUMP_CORE_FILE") || for_check_env_name("f77_dump_flag") ||
         for_check_env_name("sabfort_dump_flag");
}

/// True while an exception is being reported.
bool exception_present() { return for__l_excpt_info != nullptr && for__l_excpt_info->excpt_flags != 0; }

/// True when a termination signal is the other images' doing, so that its report is left to them.
bool images_abort(int message) {
  return message == MSG_SIGTERM && for_rtl_PGAS_PROBABLY_ABORT != nullptr && for_rtl_PGAS_PROBABLY_ABORT() != 0;
}

/// Text built up in a buffer of fixed size; what does not fit is cut.
class Text_Builder {
 public:
  Text_Builder(char* buffer, size_t capacity) : buffer_(buffer), capacity_(capacity) { *buffer = '\0'; }

  __attribute__((format(printf, 2, 3))) void append(const char* format, ...) {
    va_list args;
    va_start(args, format);
    append_list(format, args);
    va_end(args);
  }
  void append_list(const char* format, va_list args) {
    const int wanted = vsnprintf(buffer_ + length_, capacity_ - length_, format, args);
    if (wanted > 0) length_ = std::min(length_ + static_cast<size_t>(wanted), capacity_ - 1);
  }
  size_t length() const { return length_; }
  /// Drops what stands behind `length`, to make room.
  void cut(size_t length) {
    if (length_ <= length) return;
    length_ = length;
    buffer_[length_] = '\0';
  }

 private:
  char* buffer_;
  size_t capacity_;
  size_t length_ = 0;
};

/// The line that tells which image of a coarray program speaks.
void append_image(Text_Builder& out) {
  const int image = for_rtl_PGAS_THIS_IMAGE != nullptr ? for_rtl_PGAS_THIS_IMAGE() : 0;
  if (image <= 0) return;
  const int team = for_rtl_PGAS_THIS_TEAM_ID != nullptr ? for_rtl_PGAS_THIS_TEAM_ID() : 0;
  const int original = for_rtl_PGAS_THIS_ORIGINAL_IMAGE != nullptr ? for_rtl_PGAS_THIS_ORIGINAL_IMAGE() : image;
  if (team == kTeamUnavailable || team == kTeamNone) {
    out.append(severity_table[kImageRow], image);
  } else {
    out.append(severity_table[kImageTeamRow], image, original, team);
  }
}

/// Messages that report a state from which a program cannot go on, whatever its handler thinks.
bool continuable(int message, int severity) {
  switch (message) {
    case MSG_FLOATING_INVALID:
    case MSG_INTEGER_OVERFLOW:
    case MSG_INTEGER_DIVIDE_BY_ZERO:
    case MSG_FLOATING_DIVIDE_BY_ZERO:
    case MSG_FLOATING_UNDERFLOW:
    case MSG_FLOATING_EXCEPTION:
    case MSG_SIGABRT:
    case MSG_SIGQUIT:
    case MSG_FLOATING_INEXACT:
    case MSG_ILLEGAL_INSTRUCTION:
    case MSG_SIGSEGV:
      return false;
    default:
      return severity != SEV_SEVERE && !exception_present();
  }
}

bool trace_wanted(int message, int severity, const Presentation& show) {
  if (!show.trace || images_abort(message)) return false;
  return severity == SEV_ERROR || severity == SEV_SEVERE || show.force || exception_present() ||
         (message >= MSG_EMIT_SUCCESS_TRACE && message <= MSG_EMIT_ERROR_TRACE);
}

/// Builds the diagnostic in `buffer`, hands it to the user's handler and prints it. True when the handler has dealt
/// with it.
bool present(char* buffer, int message, int severity, const char* text, int nargs, va_list args,
             const Presentation& show) {
  Text_Builder out(buffer, kDiagnosticBytes);
  out.append(severity_table[severity], message);
  const size_t prefix = out.length();
  if (nargs > 0) {
    out.append_list(text, args);
  } else {
    out.append("%s", text);
  }
  out.cut(kDiagnosticBytes - sizeof "\n");
  if (for__user_iomsg_len != 0)
    fill_blank_padded(for__user_iomsg_buf, for__user_iomsg_len, buffer + prefix, out.length() - prefix);
  out.append("\n");
  if (show.trace) append_image(out);

  if (current_user_error_handler != nullptr) {
    int number = message, may_continue = continuable(message, severity);
    if (current_user_error_handler(&number, &may_continue, buffer, current_user_error_context, out.length()) != 0)
      return true;
  }

  if (trace_wanted(message, severity, show)) tbk_stack_trace(for__l_excpt_info, buffer, kDiagnosticBytes);
  const bool aborting = images_abort(message);
  if (for_rtl_PGAS_ABORT != nullptr) for_rtl_PGAS_ABORT(aborting ? nullptr : buffer);
  if (!aborting) for__dump_msg_buff(buffer);
  return false;
}

void append_to_log(const char* text) {
  const char* name = env_value("FOR_DIAGNOSTIC_LOG_FILE");
  FILE* log = name == nullptr ? nullptr : fopen(name, "a");
  if (log == nullptr) return;
  fputs(text, log);
  fclose(log);
}

}  // namespace

extern "C" {

char* for__user_iomsg_buf;
i64 for__user_iomsg_len;
For_Excpt_Info* for__l_excpt_info;

void redirect_stderr(void) {
  Semaphore_Guard guard(redirect_once.busy);
  if (guard.status() != 0 || redirect_once.done != 0) return;
  redirect_once.done = 1;
  const char* name = env_value("FORT0");
  if (name != nullptr && freopen(name, "a", stderr) == nullptr) return;
}

void for__dump_msg_buff(const char* text) {
  append_to_log(text);
  if (!for_check_env_name("FOR_DISABLE_DIAGNOSTIC_DISPLAY")) {
    fputs(text, stderr);
    fflush(stderr);  // a redirected stream is buffered, and abort() may be next
  }
}

void for__issue_diagnostic(int message, int nargs, ...) {
  message = static_cast<u16>(message);
  const Presentation show = presentation();

  int severity = SEV_SEVERE;
  const char* text = "";
  char unknown[kUnknownTextBytes];
  if (get_message(message, &severity, &text) != 0 && get_message(MSG_NOT_FOUND, &severity, &text) == 0) {
    snprintf(unknown, sizeof unknown, "%s\n", text);
    text = unknown;
    nargs = 0;
  }

  Vm_Block<char> buffer;
  const int no_memory = buffer.allocate(kDiagnosticBytes);
  redirect_stderr();
  if (no_memory != 0) {
    fprintf(stderr, for__get_msg(MSG_NO_MESSAGE_BUFFER_HEX, 0), message, message);
  } else {
    va_list args;
    va_start(args, nargs);
    const bool dealt_with = present(buffer.get(), message, severity, text, nargs, args, show);
    va_end(args);
    if (dealt_with) return;
    for__free_vm(buffer.release());
    if (severity == SEV_ERROR && show.debugger) raise(SIGINT);
  }

  const bool dump = dump_wanted();
  if (!dump && severity != SEV_SEVERE) return;
  for__exit_handler(0, 0);
  for__free_vm(for__l_excpt_info);
  for__l_excpt_info = nullptr;
  if (show.debugger) raise(SIGABRT);
  if (dump) abort();
  exit(message);
}

char* for__get_msg(int message, int nargs, ...) {
  static char fmt_buf[kGetMsgBytes];
  va_list args;
  va_start(args, nargs);
  format_message(fmt_buf, nargs > 0 ? sizeof fmt_buf : kGetMsgCopied + 1, message, nargs, args);
  va_end(args);
  return fmt_buf;
}

int for__establish_user_error_handler(For_User_Error_Handler handler, void* context,
                                      For_User_Error_Handler* old_handler, void** old_context) {
  if (old_handler != nullptr) *old_handler = current_user_error_handler;
  if (old_context != nullptr)
    *old_context = current_user_error_context == nullptr ? nullptr : *static_cast<void**>(current_user_error_context);
  current_user_error_handler = handler;
  current_user_error_context = context;
  return 1;
}

void for__find_iomsg(const u8** keys, void** values, char** buffer, i64* length) {
  while (*keys != nullptr && **keys != ITM_END_STATEMENT && **keys != ITM_END_CALL) {
    For_Value_Info value = {};
    For_Item_Shape shape = {};
    int key = 0;
    if (for__key_desc_ret_item(keys, values, &value, &shape, &key) != 0) return;
    if (key < KEY_FIRST || key > KEY_LAST) return;
    if (key == KEY_IOMSG) {
      *buffer = reinterpret_cast<char*>(value.val_data);
      *length = value.val_total;
      return;
    }
  }
}

int for_emit_diagnostic(u32 code, const char* format, ...) {
  static constexpr int kCarrier[] = {
      MSG_EMIT_SUCCESS,       MSG_EMIT_INFO,       MSG_EMIT_WARNING,       MSG_EMIT_ERROR,       MSG_EMIT_SEVERE,
      MSG_EMIT_SUCCESS_TRACE, MSG_EMIT_INFO_TRACE, MSG_EMIT_WARNING_TRACE, MSG_EMIT_ERROR_TRACE,
  };
  Vm_Block<char> text;
  if (text.allocate(kEmitBytes + 1) != 0) return 0;

  va_list args;
  va_start(args, format);
  const int wanted = vsnprintf(text.get(), kEmitBytes + 1, format, args);
  va_end(args);
  if (wanted > kEmitBytes) for__issue_diagnostic(MSG_EMIT_BUFFER_OVERFLOW, 1, code);

  const u32 row = code >> kEmitCodeShift;
  if (row < std::size(kCarrier)) for__issue_diagnostic(kCarrier[row], 1, text.get());
  return 0;
}

}  // extern "C"

void fill_blank_padded(char* to, i64 length, const char* text, size_t text_length) {
  if (to == nullptr || length <= 0) return;
  const size_t room = static_cast<size_t>(length);
  const size_t copied = std::min(room, text_length);
  memcpy(to, text, copied);
  memset(to + copied, ' ', room - copied);
}
