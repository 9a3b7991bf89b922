// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted WRITE to internal files, and ENCODE.

#include "statements/fmt_statement.h"
#include "statements/fmt_writer.h"
#include "statements/for_internal.h"
#include "statements/internal_file.h"

namespace {

char g_name_before[] = "Internal Formatted Write or ENCODE";
char g_name[] = "Internal Formatted Write";
char g_encode[] = "ENCODE";
constexpr Internal_Rule kWriteIntFmt = {STMT_WRITE, true, true, g_name_before, g_name, g_encode};

/// Elements of the variable, each blanked as it is begun.
class Internal_Output {
 public:
  static constexpr bool kInternal = true;

  explicit Internal_Output(For_Lub& lub) : lub_(lub) {}

  int admit(const u8* data, i64 bytes) { return lies_in_variable(lub_, data, bytes) ? MSG_WRITE_TO_SELF : 0; }
  int grow(i64, i64) { return MSG_RECORD_OVERFLOW; }
  int end_record() {
    if (!next_internal_record(lub_)) return MSG_TOO_MANY_RECORDS;
    lub_.lub_a_data_start = lub_.lub_a_high_water = lub_.lub_a_cursor;
    memset(lub_.lub_a_cursor, ' ', static_cast<size_t>(lub_.lub_rec_bytes));
    return 0;
  }
  void hold_line() {}

 private:
  For_Lub& lub_;
};

}  // namespace

int for_write_int_fmt(For_Context* ctx, For_IO_Flags given, const u8* item_list, void* item_args, const void* format,
                      ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const Statement_Start start = begin_internal_statement(kWriteIntFmt, ctx, given, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, effective_io_flags(given), format)) return fail_statement(lub, code);
  if (int code = take_variable(lub, kWriteIntFmt, &item_list, &item_args)) return fail_formatted(lub, code);
  return for_write_int_fmt_xmit(ctx, item_list, item_args);
}

int for_write_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  // A variable without a record takes nothing and says nothing.
  if (ctx->ctx_lub != nullptr && ctx->ctx_lub->lub_maxrec < 1) return end_formatted(*ctx->ctx_lub);
  return transfer_call<Fmt_Writer, Internal_Output>(ctx, item_list, item_args, end_formatted, fail_formatted);
}
