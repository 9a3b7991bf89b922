// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The end of a failing I/O statement: what compiled code learns of it, or which diagnostic is issued.

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "core/messages.h"
#include "core/thread_storage.h"
#include "tamrun/file_info.h"

namespace {

constexpr size_t kNameBytes = 4146;
/// A message text without its arguments, with a name and a keyword in it.
constexpr size_t kTextBytes = kNameBytes + 512;

/// Everything that is needed after the unit has been given back.
struct Failure {
  int code;       ///< effective code: decides the classification
  int user_code;  ///< what IOSTAT= receives
  bool child;     ///< a child statement's routine reported the failure
  int unit;
  const char* keyword;  ///< not null for the codes whose text names a keyword
  char* iomsg;
  i64 iomsg_length;
  char name[kNameBytes];
};

bool takes_keyword(int code) { return code == MSG_CONNECTED_SPECIFIER || code == MSG_CONNECTED_SPECIFIER_VALUE; }

bool is_read_statement(int statement) {
  switch (statement) {
    case STMT_READ:
    case STMT_READ_LIST:
    case STMT_READ_NML:
    case STMT_READ_24:
    case STMT_READ_25:
    case STMT_READ_32:
    case STMT_PORT_READ:
    case STMT_READ_34:
      return true;
    default:
      return false;
  }
}

bool is_end_code(const For_Lub& lub, int code) {
  return code == MSG_END_OF_FILE || code == FOR_IOS_END || code == MSG_END_OF_FILE_ENCOUNTERED ||
         (code == MSG_TOO_MANY_RECORDS && is_read_statement(lub.lub_statement));
}

bool is_eor_code(int code) {
  return code == MSG_END_OF_RECORD || code == FOR_IOS_EOR || code == MSG_END_OF_RECORD_ENCOUNTERED;
}

/// The unit's name for the text, with the place in a namelist where the failure happened.
void make_name(char (&name)[kNameBytes], For_Lub& lub) {
  int severity;
  const char* text;
  if (lub.lub_a_file_name != nullptr) {
    snprintf(name, sizeof name, "%s", lub.lub_a_file_name);
  } else if (get_message(MSG_UNKNOWN_NAME, &severity, &text) == 0) {
    snprintf(name, sizeof name, "\"%s\"", text);
  }
  if (!lub.lub_f_nml_position) return;
  lub.lub_f_nml_position = 0;
  if (get_message(MSG_LINE_POSITION, &severity, &text) != 0) return;
  char line[sizeof "-9223372036854775808"];
  snprintf(line, sizeof line, "%lld", static_cast<long long>(lub.lub_next_rec - 1));
  const size_t length = strlen(name);
  snprintf(name + length, sizeof name - length, text, line, static_cast<int>(lub.lub_a_cursor - lub.lub_a_data_start));
}

void remember(const For_Lub& lub, const Failure& failure) {
  For_Thread_Storage* storage;
  if (thread_storage(&storage) != 0) return;
  const For_Errsns record = {static_cast<u32>(failure.user_code), static_cast<u32>(lub.lub_errno), 0,
                             static_cast<u32>(lub.lub_unit), 0};
  copy_until_equal(&storage->ts_errsns, &record, sizeof record);
  if (failure.keyword == nullptr) return;
  char keyword[kErrsnsTextLength] = {};
  memcpy(keyword, failure.keyword, strnlen(failure.keyword, sizeof keyword));
  copy_until_equal(storage->ts_errsns_text, keyword, sizeof keyword);
}

/// True when the statement has a specifier for the condition; *result is then the value for compiled code.
bool classify(For_Lub& lub, const Failure& failure, int* result) {
  const int code = failure.code;
  const bool end = is_end_code(lub, code), eor = is_eor_code(code);
  const bool behind_endfile = lub.lub_f_after_endfile, legacy = lub.lub_f_legacy_defaults;
  *result = failure.user_code;
  if (lub.lub_f_err && !end && !eor) return true;
  if (lub.lub_f_ignore_conv_error && code == MSG_OUTPUT_CONVERSION) return true;
  if (lub.lub_f_end && end) {
    lub.lub_f_at_eof = !legacy || behind_endfile;
    *result = FOR_IOS_END;
    return true;
  }
  if (lub.lub_f_eor && eor) {
    lub.lub_f_at_eof = behind_endfile && !legacy;
    *result = FOR_IOS_EOR;
    return true;
  }
  if (!lub.lub_f_iostat) return false;
  if (end) {
    // Only an end condition moves the mark: BACKSPACE would take it for the end-of-file record otherwise.
    lub.lub_f_at_eof = !legacy || behind_endfile;
    if (code != FOR_IOS_END) *result = FOR_IOS_END;
  } else if (eor && code != FOR_IOS_EOR) {
    *result = FOR_IOS_EOR;
  }
  return true;
}

/// True when the conversions of a message's text take these arguments in this order: 'd' an int, 's' a string.
bool takes(const char* text, const char* arguments) {
  for (const char* at = strchr(text, '%'); at != nullptr; at = strchr(at + 1, '%')) {
    at += 1 + strspn(at + 1, "-+ #0123456789.");
    if (*at == '%') continue;
    const char kind = *at != '\0' && strchr("dixX", *at) != nullptr ? 'd' : *at;
    if (*arguments == '\0' || kind != *arguments++) return false;
  }
  return true;
}

/// A message's text with the arguments of this failure. The number may be anything that a program's own routine has
/// given: a text that wants other arguments goes out as it is.
void failure_text(char* out, size_t capacity, int number, const Failure& failure) {
  int severity;
  const char* text;
  *out = '\0';
  if (get_message(number, &severity, &text) != 0) return;
  if (failure.keyword != nullptr && takes_keyword(number) && takes(text, "sds")) {
    snprintf(out, capacity, text, failure.keyword, failure.unit, failure.name);
  } else if (takes(text, "ds")) {
    snprintf(out, capacity, text, failure.unit, failure.name);
  } else {
    snprintf(out, capacity, "%s", text);
  }
}

/// Puts the child's text, which IOMSG= holds already, into the message of the parent.
void fill_iomsg_from_child(const Failure& failure) {
  int severity;
  const char* format;
  if (get_message(MSG_UDIO_ERROR, &severity, &format) != 0) return;
  constexpr i64 kConversions = sizeof "%d%.*s" - 1;
  const int digits = snprintf(nullptr, 0, "%d", failure.user_code);
  const i64 room = std::max<i64>(failure.iomsg_length - static_cast<i64>(strlen(format)) - digits + kConversions, 0);

  i64 length = failure.iomsg_length;
  while (length > 0 && failure.iomsg[length - 1] == ' ') --length;
  const i64 taken = std::min({length, room, static_cast<i64>(kNameBytes)});
  if (taken < length) {
    const char* cut_text;
    if (get_message(MSG_UDIO_IOMSG_TRUNCATED, &severity, &cut_text) == 0) printf("%s\n", cut_text);
  }
  char text[kTextBytes];
  snprintf(text, sizeof text, format, failure.user_code, static_cast<int>(taken), failure.iomsg);
  fill_blank_padded(failure.iomsg, failure.iomsg_length, text, strlen(text));
}

void fill_iomsg(const For_Lub& lub, const Failure& failure) {
  if (failure.iomsg_length <= 0 || failure.iomsg == nullptr) return;
  if (failure.child) return fill_iomsg_from_child(failure);
  if (failure.keyword == nullptr && lub.lub_f_child_iomsg) return;
  char text[kTextBytes];
  failure_text(text, sizeof text, failure.user_code, failure);
  fill_blank_padded(failure.iomsg, failure.iomsg_length, text, strlen(text));
}

/// Writes the owed line end of a unit. False when another unit is to be looked at.
bool end_line_of(For_Lub& lub, bool failing_on_stderr) {
  For_File_Info* info = lub.lub_f_connected ? lub.lub_a_file_info : nullptr;
  if (info == nullptr || (!info->fi_cc_after_cr && !info->fi_cc_after_prompt)) return false;
  if (lub.lub_fd != (failing_on_stderr ? STDOUT_FILENO : STDIN_FILENO)) return false;
  const u8 line_feed = '\n';
  if (for__write_output(&lub, &line_feed, 1) < 0) perror(tamrtl_header);
  info->fi_cc_after_cr = 0;
  info->fi_cc_after_prompt = 0;
  return true;
}

/// Keeps the diagnostic from starting in the middle of a line that a console unit has left open.
void end_pending_line(For_Lub& failing) {
  const bool on_stderr = failing.lub_fd == STDERR_FILENO;
  for (int unit : {UNIT_STDOUT, UNIT_TYPE, UNIT_STDERR, UNIT_PRINT}) {
    if (unit == failing.lub_unit) {
      if (end_line_of(failing, on_stderr)) return;
      continue;
    }
    For_Lub* lub = nullptr;
    For_Context context = {};
    if (for__acquire_lun(unit, &lub, &context, STMT_INQUIRE) != 0) continue;
    const bool done = end_line_of(*lub, on_stderr);
    for__release_lun(unit);
    if (done) return;
  }
}

void dispose(int disposition, For_Lub* lub) {
  const int unit = lub->lub_unit;
  switch (disposition) {
    case FOR_IOR_NONE:
      break;
    case FOR_IOR_ABANDON:
      for__abandon_connection(lub);
      [[fallthrough]];
    case FOR_IOR_RELEASE:
      for__release_lun(unit);
      break;
    case FOR_IOR_CLOSE:
      for__close_default(lub, 1);
      break;
    default:
      TAMRUN_INTERNAL_ERROR("for_diags_velox.c");
  }
}

void issue(const Failure& failure) {
  if (failure.child) {
    const int shown = failure.code == FOR_IOS_END   ? static_cast<int>(MSG_END_OF_FILE)
                      : failure.code == FOR_IOS_EOR ? static_cast<int>(MSG_END_OF_RECORD)
                                                    : failure.code;
    char own_text[kTextBytes];
    const char* text = failure.iomsg;
    int length = static_cast<int>(std::min<i64>(failure.iomsg_length, kTextBytes));
    if (text == nullptr || length <= 0) {
      failure_text(own_text, sizeof own_text, shown, failure);
      text = own_text;
      length = static_cast<int>(strlen(own_text));
    }
    for__issue_diagnostic(MSG_UDIO_ERROR, 3, shown, length, text);
  } else if (failure.keyword != nullptr) {
    for__issue_diagnostic(failure.code, 3, failure.keyword, failure.unit, failure.name);
  } else {
    for__issue_diagnostic(failure.code, 2, failure.unit, failure.name);
  }
}

}  // namespace

extern "C" int for__io_return(int disposition, int message, int user_code, For_Lub* lub) {
  Failure failure;
  failure.child = message == MSG_UDIO_ERROR;
  failure.code = failure.child ? user_code : message;
  failure.user_code = user_code;
  failure.unit = lub->lub_unit;
  failure.iomsg = lub->lub_a_iomsg;
  failure.iomsg_length = lub->lub_iomsg_len;
  failure.keyword = nullptr;
  if (takes_keyword(failure.code)) failure.keyword = lub->lub_a_message_arg != nullptr ? lub->lub_a_message_arg : "";
  make_name(failure.name, *lub);

  if (lub->lub_f_formatted && failure.code != MSG_OUTPUT_CONVERSION && lub->lub_a_file_info != nullptr)
    lub->lub_a_file_info->fi_record_open = 0;
  remember(*lub, failure);

  int result;
  const bool handled = classify(*lub, failure, &result);
  if (handled) {
    lub->lub_errno = 0;
    fill_iomsg(*lub, failure);
  } else {
    end_pending_line(*lub);
    if (lub->lub_errno != 0) {
      errno = static_cast<int>(lub->lub_errno);
      perror(tamrtl_header);
      lub->lub_errno = 0;
    }
    for__user_iomsg_buf = failure.iomsg;
    for__user_iomsg_len = failure.iomsg_length;
  }
  lub->lub_f_child_iomsg = 0;

  dispose(disposition, lub);
  if (handled) return result;

  issue(failure);
  for__user_iomsg_len = 0;
  for__user_iomsg_buf = nullptr;
  return failure.code;
}

int report_failure(int disposition, int message, int user_code, For_Lub* lub) {
  if (lub->lub_a_aio == nullptr) return for__io_return(disposition, message, user_code, lub);
  if (for__aio_park_failure(lub, message, user_code) != 0) return message;
  const u32 given = lub->lub_f_err << 0 | lub->lub_f_end << 1 | lub->lub_f_eor << 2 | lub->lub_f_iostat << 3;
  return for__aio_error_handling(lub, FOR_AIO_STATEMENT, given, message, user_code);
}
