// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Asking at the terminal for the name of a file.

#include "units/name_dialogue.h"

#include <stdio.h>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/for_get.h"
#include "records/record_frame.h"
#include "units/open.h"
#include "units/unit_table.h"

namespace {

/// A connection to the console beside that of the console's unit, which is held meanwhile and stays as it is.
class Console {
 public:
  Console() = default;
  ~Console() {
    if (lub_ != nullptr) {
      // An unfinished dialogue may leave input that was read ahead.
      if (lub_->lub_f_connected) (void)close();
      for__abandon_connection(lub_);
      free_scratch_lub(lub_);
    }
    if (held_) for__release_lun(unit_);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Takes the unit, unless it is the asker's own and held therefore: 0 or a message number.
  [[nodiscard]] int hold(const For_Lub& asker, int unit, int statement) {
    if (asker.lub_unit == unit) return 0;
    For_Lub* taken = nullptr;
    if (const int status = for__acquire_lun(unit, &taken, nullptr, statement)) return status;
    unit_ = unit;
    held_ = true;
    return 0;
  }
  /// 0 or a message number.
  [[nodiscard]] int connect(const For_Lub& asker, int unit);
  /// 0, or why what is left could not be written.
  [[nodiscard]] int close() { return for__close_proc(nullptr, lub_); }

  For_Lub& lub() { return *lub_; }
  /// errno of what the system refused, or 0.
  i64 cause() const { return lub_ != nullptr ? lub_->lub_errno : 0; }

 private:
  For_Lub* lub_ = nullptr;
  int unit_ = 0;
  bool held_ = false;
};

/// The options that the program was compiled with, as the asker has them.
void copy_options(const For_Lub& from, For_Lub& to) {
  to.lub_f_legacy_defaults = from.lub_f_legacy_defaults;
  to.lub_f_f90_rtl = from.lub_f_f90_rtl;
  to.lub_f_compat_io = from.lub_f_compat_io;
  to.lub_f_f90_messages = from.lub_f_f90_messages;
  to.lub_f_no_char_blank = from.lub_f_no_char_blank;
  to.lub_f_true_is_one = from.lub_f_true_is_one;
  to.lub_f_msf_layout = from.lub_f_msf_layout;
  to.lub_f_ms_unformatted_default = from.lub_f_ms_unformatted_default;
  to.lub_f_files_from_cmd = from.lub_f_files_from_cmd;
  to.lub_f_err = from.lub_f_err;
  to.lub_f_iostat = from.lub_f_iostat;
  to.lub_f_ignore_conv_error = from.lub_f_ignore_conv_error;
  to.lub_f_coerce_types = from.lub_f_coerce_types;
  to.lub_f_strict_ldio = from.lub_f_strict_ldio;
  to.lub_f_udio_strict = from.lub_f_udio_strict;
}

int Console::connect(const For_Lub& asker, int unit) {
  if (const int status = for__create_lub(unit, &lub_)) return status;
  copy_options(asker, *lub_);
  For_Open_Args args = {};
  args.word[OPENW_ACCESS] = ACCESS_SEQUENTIAL;
  args.word[OPENW_STATUS] = STATUS_UNKNOWN;
  args.word[OPENW_FORM] = FORM_FORMATTED;
  return for__open_proc(&args, lub_);
}

constexpr size_t kMessageText = 264;

/// The message and the question: "... enter file name", a line end, and "UNIT 10? ".
using Prompt = char[2 * kMessageText];

size_t compose_prompt(Prompt& prompt, int unit) {
  // Each text is gone with the next one.
  size_t length = static_cast<size_t>(snprintf(prompt, kMessageText, "%s", for__get_msg(MSG_FILE_NAME_PROMPT, 0)));
  length +=
      static_cast<size_t>(snprintf(prompt + length, kMessageText, "\r\n%s", for__get_msg(MSG_UNIT_PROMPT, 1, unit)));
  return length;
}

/// Writes the prompt as a record without a line end, as far as the buffer goes: 0 or a message number.
int write_prompt(For_Lub& out, std::string_view prompt) {
  if (const int status = start_formatted_record(out)) return status;
  // The records that the program has asked for may be shorter.
  const u8* const buffer_end = out.lub_a_buffer + out.lub_buffer_size;
  out.lub_a_cursor += prompt.copy(reinterpret_cast<char*>(out.lub_a_cursor), buffer_end - out.lub_a_cursor);
  out.lub_f_no_terminator = 1;
  if (const int status = for__put_sf(&out)) return status;
  return for__flush_file_buffer(&out);
}

/// Reads a record: 0 or a message number. The text is good until the next call.
int read_reply(For_Lub& in, std::string_view* text) {
  if (const int status = for__get_s(&in, nullptr, nullptr)) return status;
  in.lub_a_data_start = in.lub_a_cursor;
  ++in.lub_next_rec;
  in.lub_f_at_end = 0;
  *text = {reinterpret_cast<const char*>(in.lub_a_cursor), static_cast<size_t>(in.lub_a_rec_end - in.lub_a_cursor)};
  return 0;
}

/// Asks until there is an answer.
int hold_dialogue(const For_Lub& asker, For_Lub& out, For_Lub& in, std::string_view* name) {
  Prompt prompt;
  const size_t length = compose_prompt(prompt, asker.lub_unit);
  for (;;) {
    if (const int status = write_prompt(out, {prompt, length})) {
      // What the console's failure was is told apart from that of the OPEN.
      (void)report_failure(FOR_IOR_NONE, status, status, &out);
      return MSG_FILE_NAME;
    }
    std::string_view reply;
    if (const int status = read_reply(in, &reply)) return status;
    *name = trim_file_name(reply);
    if (!name->empty()) return 0;
    if (const int status = for__flush_readahead(&in, 0)) return status;
  }
}

int converse(const For_Lub& asker, Console& out, Console& in, File_Name_Buffer& buffer, std::string_view* name) {
  if (const int status = out.hold(asker, UNIT_STDOUT, STMT_WRITE)) return status;
  if (const int status = in.hold(asker, UNIT_STDIN, STMT_READ)) return status;
  if (const int status = out.connect(asker, UNIT_STDOUT)) return status;
  if (const int status = in.connect(asker, UNIT_STDIN)) return status;
  out.lub().lub_cc = CC_NONE;

  std::string_view reply;
  if (const int status = hold_dialogue(asker, out.lub(), in.lub(), &reply)) return status;
  if (reply.size() > kMaxFileName) return MSG_PATH_TOO_LONG;
  *name = {buffer, reply.copy(buffer, kMaxFileName)};
  const int status = in.close();
  return status != 0 ? status : out.close();
}

}  // namespace

int ask_for_file_name(For_Lub& asker, File_Name_Buffer& buffer, std::string_view* name) {
  Console out, in;
  const int status = converse(asker, out, in, buffer, name);
  if (status == 0) return 0;
  for (const Console* console : {&out, &in}) {
    if (const i64 cause = console->cause()) asker.lub_errno = cause;
  }
  return status;
}
