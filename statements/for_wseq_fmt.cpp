// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted WRITE and PRINT to external units.

#include "statements/for_wseq_fmt.h"

#include "format/format_compiler.h"
#include "records/buffer.h"
#include "records/for_put.h"
#include "records/record_frame.h"
#include "statements/fmt_statement.h"
#include "statements/fmt_writer.h"

namespace {

constexpr Statement_Rule kWriteSeqFmt = {
    STMT_WRITE_SEQ,     true,
    kConnectSequential, kConnectOutput,
    kConnectFormatted,  {Mode_Check::readonly, Mode_Check::keyed, Mode_Check::not_formatted, Mode_Check::direct}};

bool stays_open(const For_Lub& lub) {
  return in_child_statement(lub) || (lub.lub_a_file_info != nullptr && lub.lub_a_file_info->fi_record_open);
}

/// The next statement on the unit goes on with this record.
void keep_record_open(For_Lub& lub) {
  if (lub.lub_a_file_info == nullptr) return;
  lub.lub_a_file_info->fi_record_open = 1;
  lub.lub_a_file_info->saved_lub = &lub;
}

/// Blanks the record from the cursor on, where its text goes from now.
void begin_text(For_Lub& lub) {
  const i64 left = lub.lub_a_rec_end - lub.lub_a_cursor;
  if (left > 0) memset(lub.lub_a_cursor, ' ', left);
  lub.lub_a_high_water = lub.lub_a_cursor;
}

/// Writes the record, with the control character that $ asks for, and begins the next: 0 or a message.
int finish_record(For_Lub& lub) {
  turn_into_prompt(lub);
  return finish_formatted_record(lub, Record_End::complete);
}

/// Records of a file.
class External_Output {
 public:
  static constexpr bool kInternal = false;

  explicit External_Output(For_Lub& lub) : lub_(lub) {}

  int admit(const u8*, i64) { return 0; }

  int grow(i64 excess, i64 share) {
    constexpr i64 kStep = 512;
    const i64 rounded = excess < INT64_MAX - kStep ? (excess + kStep - 1) / kStep * kStep : excess;
    const int code = for__adjust_buffer(&lub_, excess, std::max(rounded, lub_.lub_rec_bytes / share));
    return code == 0 ? 0 : MSG_RECORD_OVERFLOW;
  }

  int end_record() {
    // What ends here is a whole record, also when the statement leaves its last one open.
    For_File_Info none{};
    For_File_Info& fi = open_records(lub_, none);
    const u8 open = fi.fi_record_open;
    fi.fi_record_open = 0;
    const int code = finish_record(lub_);
    if (code != 0) return code;
    fi.fi_record_open = open;
    begin_text(lub_);
    return 0;
  }

  void hold_line() {
    if (lub_.lub_f_compat_io) {
      keep_record_open(lub_);
    } else {
      lub_.lub_f_no_terminator = 1;
    }
  }

 private:
  For_Lub& lub_;
};

/// Whether the record that the statement has come to goes out: not one in which only empty arrays have been met, unless
/// it is the statement's only one.
bool has_final_record(For_Lub& lub) {
  const bool ended_by_arrays = lub.lub_fmt_no_final_record;
  lub.lub_fmt_no_final_record = 0;
  if (!lub.lub_zero_item) return !ended_by_arrays;
  return lub.lub_f_item_seen || (!lub.lub_fmt_record_done && !ended_by_arrays);
}

/// The list is over.
int end_of_list(For_Lub& lub) {
  if (!stays_open(lub) && has_final_record(lub)) {
    if (int code = finish_record(lub)) return fail_formatted(lub, code);
  }
  return end_formatted(lub);
}

/// Begins the record, or goes on in one that is open: 0 or a message.
int begin_record(For_Lub& lub) {
  u8* const written = lub.lub_a_high_water;
  bool continues = false;
  if (int code = position_stream_output(lub)) return code;
  if (int code = begin_output_record(lub, &continues)) return code;
  if (in_child_statement(lub)) {
    // What the parent has put further right stays.
    lub.lub_a_high_water = std::max(written, lub.lub_a_cursor);
    return 0;
  }
  if (continues) {
    lub.lub_a_data_start = lub.lub_a_cursor;
    begin_text(lub);
  }
  lub.lub_a_high_water = lub.lub_a_read_end = lub.lub_a_cursor;
  return 0;
}

/// ADVANCE=, the first item of the list when given: 0 or a message.
int take_advance(For_Lub& lub, For_IO_Flags flags, const u8** item_list, void** item_args) {
  if (!(flags & iof_advance_given)) return 0;
  int advances = 1;
  if (int code = for__write_args(item_list, item_args, &advances)) return code;
  if (!advances && !in_child_statement(lub)) keep_record_open(lub);
  return 0;
}

}  // namespace

int for_write_seq_fmt(For_Context* ctx, int unit, For_IO_Flags given, const u8* item_list, void* item_args,
                      const void* format, ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const For_IO_Flags flags = effective_io_flags(given);
  const Statement_Start start = begin_transfer(kWriteSeqFmt, ctx, unit, given, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, flags, format)) return fail_statement(lub, code);
  int code = begin_record(lub);
  if (code == 0) code = take_advance(lub, flags, &item_list, &item_args);
  if (code != 0) return fail_formatted(lub, code);
  return for_write_seq_fmt_xmit(ctx, item_list, item_args);
}

int for_write_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return transfer_call<Fmt_Writer, External_Output>(ctx, item_list, item_args, end_of_list, fail_formatted);
}
