// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted WRITE of records by their number.

#include "records/for_put.h"
#include "statements/direct_record.h"
#include "statements/fmt_statement.h"
#include "statements/fmt_writer.h"
#include "statements/positioning.h"
#include "tamrun/tamrun.h"

namespace {

/// Puts the record out, with the control character that $ asks for: 0 or a message.
int finish_record(For_Lub& lub) {
  turn_into_prompt(lub);
  lub.lub_f_no_terminator = 0;
  return put_direct_record(lub);
}

/// Records from a number on. They have the length that OPEN has given them.
class Direct_Output {
 public:
  static constexpr bool kInternal = false;

  explicit Direct_Output(For_Lub& lub) : lub_(lub) {}

  int admit(const u8*, i64) { return 0; }
  int grow(i64, i64) { return MSG_RECORD_OVERFLOW; }
  int end_record() {
    if (int code = finish_record(lub_)) return code;
    start_direct_record(lub_);
    return 0;
  }
  void hold_line() { lub_.lub_f_no_terminator = !lub_.lub_f_compat_io; }

 private:
  For_Lub& lub_;
};

/// Whether the record that the statement has come to goes out: not one in which only empty arrays have been met.
bool has_final_record(For_Lub& lub) {
  const bool untouched = lub.lub_a_cursor == lub.lub_a_data_start && lub.lub_a_high_water <= lub.lub_a_data_start;
  const bool ended_by_arrays = lub.lub_fmt_no_final_record || (lub.lub_zero_item && untouched);
  lub.lub_fmt_no_final_record = 0;
  lub.lub_zero_item = 0;
  return !ended_by_arrays;
}

int end_of_list(For_Lub& lub) {
  if (has_final_record(lub)) {
    int code = finish_record(lub);
    if (code == 0) code = store_associated_variable(lub);
    if (code != 0) return fail_formatted(lub, code);
  }
  return end_formatted(lub);
}

}  // namespace

int for_write_dir_fmt(For_Context* ctx, int unit, For_IO_Flags given, const u8* item_list, void* item_args, i64 record,
                      const void* format, ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const Statement_Start start = begin_direct(kWriteDirFmt, ctx, unit, given, control, record);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  // The format first: a bad one leaves the record as it is that may still be held in the buffer.
  if (int code = begin_format(lub, effective_io_flags(given), format)) return fail_statement(lub, code);
  if (int code = turn_to_output(lub, record)) return fail_formatted(lub, code);
  start_direct_record(lub);
  return for_write_dir_fmt_xmit(ctx, item_list, item_args);
}

int for_write_dir_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return transfer_call<Fmt_Writer, Direct_Output>(ctx, item_list, item_args, end_of_list, fail_formatted);
}
