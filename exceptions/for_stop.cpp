// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// STOP, ERROR STOP and ABORT: the message, the notes about floating-point flags, and the end of the process.

#include "exceptions/for_stop.h"

#include <fenv.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "core/failure.h"
#include "core/locks.h"
#include "core/start.h"
#include "records/buffer.h"
#include "records/for_put.h"
#include "records/length_byte_form.h"
#include "statements/for_wseq.h"
#include "statements/positioning.h"
#include "units/specifiers.h"

namespace {

constexpr i32 kWidth4 = 4, kWidth8 = 8;

/// Texts of an old-style STOP that has none of its own, as the catalogue has them at the time.
constexpr size_t kDefaultText = 64;
char msf_def_stopstr_msg[kDefaultText] = "Stop - Program terminated.";
char msf_def_stopn_msg[kDefaultText] = "Return code ";

For_Once_Block stop_msg_done_block;

/// True in the thread whose STOP is running: it may come here again, from a handler or from an exit routine.
__attribute__((tls_model("initial-exec"))) thread_local bool t_stopping;

/// One STOP of the process at a time. A further one waits for the process to end, or is told that it comes from inside.
class Stop_Turn {
 public:
  Stop_Turn() {
    // Whatever the mode: the exit handler takes the mode down while other threads may still come here.
    while (!t_stopping && for__acquire_semaphore_threaded(&stop_msg_done_block.busy) != 0) continue;
    entered_before = stop_msg_done_block.done != 0;
    stop_msg_done_block.done = 1;
    t_stopping = true;
  }
  /// The process goes on: the message could not be written, and the program may stop again.
  ~Stop_Turn() {
    t_stopping = false;
    stop_msg_done_block.done = 0;
    __atomic_store_n(&stop_msg_done_block.busy, 0u, __ATOMIC_RELEASE);
  }
  Stop_Turn(const Stop_Turn&) = delete;
  Stop_Turn& operator=(const Stop_Turn&) = delete;

  bool entered_before;
};

[[noreturn]] void end_process(bool is_error, int status) {
  (void)for__exit_handler(is_error, status);
  exit(status);
}

void report_ieee_flags() {
  constexpr struct {
    int flag;
    int message;
  } kNotes[] = {{FE_DIVBYZERO, MSG_IEEE_DIVIDE_ZERO_SIGNALING},
                {FE_INVALID, MSG_IEEE_INVALID_SIGNALING},
                {FE_OVERFLOW, MSG_IEEE_OVERFLOW_SIGNALING},
                {FE_UNDERFLOW, MSG_IEEE_UNDERFLOW_SIGNALING}};
  const int raised = fetestexcept(FE_ALL_EXCEPT);  // once: what prints a note may raise others
  for (const auto& note : kNotes)
    if ((raised & note.flag) != 0) for__issue_diagnostic(note.message, 0);
}

std::string_view default_text(char (&buffer)[kDefaultText], int message) {
  strncpy(buffer, for__get_msg(message, 0), kDefaultText - 1);
  buffer[kDefaultText - 1] = '\0';
  return buffer;
}

/// Where the message goes and what it is; both texts empty: there is none.
struct Stop_Message {
  int unit = UNIT_STDERR;
  std::string_view first, second;
  bool none = false;
};

Stop_Message choose_message(std::string_view text, For_IO_Flags flags, bool code_given) {
  Stop_Message message;
  if ((flags & stopf_old_messages) == 0) {
    message.first = text;
    message.none = text.empty();
    return message;
  }
  message.unit = UNIT_STDOUT;
  if (code_given) {
    message.first = default_text(msf_def_stopn_msg, MSG_RETURN_CODE);
    message.second = text;
  } else {
    message.first = text.empty() ? default_text(msf_def_stopstr_msg, MSG_STOP) : text;
  }
  return message;
}

/// Appends to the record: 0, or MSG_RECORD_OVERFLOW when it has no room and cannot grow.
int append(For_Lub& lub, std::string_view text) {
  const i64 length = static_cast<i64>(text.size());
  if (lub.lub_a_rec_end - lub.lub_a_cursor < length) {
    const i64 needed = lub.lub_a_cursor + length - std::min(lub.lub_a_cursor, lub.lub_a_rec_end);
    if (for__adjust_buffer(&lub, needed, needed) != 0) return MSG_RECORD_OVERFLOW;
  }
  if (length > 0) memcpy(lub.lub_a_cursor, text.data(), text.size());
  lub.lub_a_cursor += length;
  return 0;
}

int write_formatted(For_Lub& lub, const Stop_Message& message) {
  bool continues = false;
  int code = position_stream_output(lub);
  if (code == 0) code = begin_output_record(lub, &continues);
  if (code == 0 && lub.lub_cc == CC_FORTRAN && !continues) code = append(lub, " ");
  if (code == 0) code = append(lub, message.first);
  if (code == 0) code = append(lub, message.second);
  return code != 0 ? code : finish_formatted_record(lub, Record_End::complete);
}

int write_unformatted(For_Lub& lub, const Stop_Message& message) {
  if (int code = begin_unformatted_record(lub)) return code;
  for (std::string_view text : {message.first, message.second}) {
    const int code = lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL
                         ? put_length_byte_data(lub, reinterpret_cast<const u8*>(text.data()), text.size())
                         : append(lub, text);
    if (code != 0) return code;
  }
  return finish_unformatted_record(lub);
}

/// 0, or what compiled code gets.
int write_message(const Stop_Message& message, For_IO_Flags flags) {
  For_Context context{};
  For_Lub* held = nullptr;
  if (int code = for__acquire_lun(message.unit, &held, &context, STMT_STOP)) {
    return fail_without_unit(code, message.unit, {flags});
  }
  For_Lub& lub = *held;
  store_statement_flags(lub, flags);
  if (int code = connect_unit(lub, flags, kConnectSequential, kConnectFormatted)) {
    return report_failure(FOR_IOR_ABANDON, code, code, &lub);
  }
  int code = give_read_ahead_back(lub, MSG_WRITE_ERROR);
  if (code == 0) code = lub.lub_f_formatted ? write_formatted(lub, message) : write_unformatted(lub, message);
  if (code != 0) return fail_statement(lub, code);
  (void)end_statement(lub);
  return 0;
}

/// Decimal digits of a code.
class Code_Text {
 public:
  explicit Code_Text(i64 value) : end_(std::to_chars(text_, text_ + sizeof text_, value).ptr) {}
  const char* text() const { return text_; }
  i32 length() const { return static_cast<i32>(end_ - text_); }

 private:
  char text_[sizeof "-9223372036854775808"];
  const char* end_;
};

template <class Integer>
int stop_with_code(bool is_error, Integer code, i32 quiet, For_IO_Flags flags) {
  const Code_Text digits(code);
  return for_stop_core_impl(is_error, digits.text(), digits.length(), quiet, flags, static_cast<u64>(code),
                            sizeof(Integer), 1);
}

template <class Integer>
int error_stop_with_code(const Integer* code, i32 quiet, For_IO_Flags flags, Integer value, i32 given) {
  if (!given) value = code != nullptr && *code != 0 ? *code : kErrorStopStatus;
  (void)stop_with_code(true, value, quiet, flags);
  return -1;
}

int error_stop(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i64 code, i32 width, i32 given) {
  const u64 status = given ? static_cast<u64>(code) : kErrorStopStatus;
  (void)for_stop_core_impl(1, text, length, quiet, flags, status, width, 1);
  return -1;
}

}  // namespace

extern "C" {

int for_stop_core_impl(i32 is_error_stop, const char* text, i32 text_length, i32 quiet, For_IO_Flags given_flags,
                       u64 code, i32 code_width, i32 code_given) {
  const Stop_Turn turn;
  if (turn.entered_before) {
    stop_msg_done_block.busy = 0;
    exit(0);
  }
  const bool has_status = code_given && (code_width == kWidth4 || code_width == kWidth8);
  const int status = has_status ? static_cast<int>(code) : 0;
  if (quiet) end_process(is_error_stop, status);

  const For_IO_Flags flags = effective_io_flags(given_flags);
  if ((flags & stopf_ieee_notes) != 0) report_ieee_flags();
  const size_t length = text_length > 0 ? static_cast<size_t>(text_length) : 0;
  const Stop_Message message = choose_message({text, length}, flags, code_given);
  if (!message.none) {
    if (int failed = write_message(message, flags)) return failed;
  }
  end_process(is_error_stop, status);
}

int for_stop(const char* text, i32 length) { return for_stop_core_impl(0, text, length, 0, 0, 0, kWidth4, 0); }

int for_stop_core(const char* text, i32 length, For_IO_Flags flags, i32 code, i32 given) {
  return for_stop_core_impl(0, text, length, 0, flags, static_cast<u64>(code), kWidth4, given);
}

int for_stop_core8(const char* text, i32 length, For_IO_Flags flags, i64 code, i32 given) {
  return for_stop_core_impl(0, text, length, 0, flags, static_cast<u64>(code), kWidth8, given);
}

int for_stop_core_quiet(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i32 code, i32 given) {
  return for_stop_core_impl(0, text, length, quiet, flags, static_cast<u64>(code), kWidth4, given);
}

int for_stop_core_quiet_int8(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i64 code, i32 given) {
  return for_stop_core_impl(0, text, length, quiet, flags, static_cast<u64>(code), kWidth8, given);
}

int for_stop_core_int(const i32* code, i32, i32 quiet, For_IO_Flags flags) {
  return stop_with_code(false, *code, quiet, flags);
}

int for_stop_core_int8(const i64* code, i32, i32 quiet, For_IO_Flags flags) {
  return stop_with_code(false, *code, quiet, flags);
}

int for_abort(const char* text, i32 length) {
  return for_stop_core_impl(0, text, length, 0, 0, kAbortStatus, kWidth4, 1);
}

int for_error_stop(const char* text, i32 length, For_IO_Flags flags, i32 code, i32 given) {
  return error_stop(text, length, 0, flags, code, kWidth4, given);
}

int for_error_stop8(const char* text, i32 length, For_IO_Flags flags, i64 code, i32 given) {
  return error_stop(text, length, 0, flags, code, kWidth8, given);
}

int for_error_stop_quiet(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i32 code, i32 given) {
  return error_stop(text, length, quiet, flags, code, kWidth4, given);
}

int for_error_stop_quiet_int8(const char* text, i32 length, i32 quiet, For_IO_Flags flags, i64 code, i32 given) {
  return error_stop(text, length, quiet, flags, code, kWidth8, given);
}

int for_error_stop_int(const i32* code, i32, i32 quiet, For_IO_Flags flags, i32 value, i32 given) {
  return error_stop_with_code(code, quiet, flags, value, given);
}

int for_error_stop_int8(const i64* code, i32, i32 quiet, For_IO_Flags flags, i64 value, i32 given) {
  return error_stop_with_code(code, quiet, flags, value, given);
}

}  // extern "C"
