// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted READ from internal files, and DECODE.

#include "format/format_compiler.h"
#include "statements/fmt_reader.h"
#include "statements/fmt_statement.h"
#include "statements/for_internal.h"
#include "statements/internal_file.h"

namespace {

char g_name_before[] = "Internal Formatted Read or DECODE";
char g_name[] = "Internal Formatted Read";
char g_decode[] = "DECODE";
constexpr Internal_Rule kReadIntFmt = {STMT_READ, false, true, g_name_before, g_name, g_decode};

/// Elements of the variable.
class Internal_Input {
 public:
  static constexpr bool kInternal = true;

  explicit Internal_Input(For_Lub& lub) : lub_(lub) {}

  bool ends_at_record() const { return in_child_statement(lub_); }
  bool pass_takes_record() const { return !in_child_statement(lub_); }

  Fmt_End next_record(int* error) {
    lub_.lub_pad_count = 0;
    *error = next_internal_record(lub_) ? 0 : MSG_END_OF_FILE;
    if (*error != 0) return Fmt_End::failed;
    lub_.lub_a_data_start = lub_.lub_a_cursor;
    return Fmt_End::none;
  }

  int refuse_short_record() const {
    if (lub_.lub_f_pad) return 0;
    if (lub_.lub_internal_size == 0) return MSG_END_OF_FILE;
    return !lub_.lub_f_f90_rtl && lub_.lub_f_advance_given ? MSG_END_OF_RECORD : 0;
  }

 private:
  For_Lub& lub_;
};

int end_of_list(For_Lub& lub) {
  return lub.lub_f_eor_pending ? fail_formatted(lub, MSG_END_OF_RECORD) : end_formatted(lub);
}

}  // namespace

int for_read_int_fmt(For_Context* ctx, For_IO_Flags given, const u8* item_list, void* item_args, const void* format,
                     ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const Statement_Start start = begin_internal_statement(kReadIntFmt, ctx, given, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, effective_io_flags(given), format)) return fail_statement(lub, code);
  lub.lub_a_fmt_isb->isb_flags |= lub.lub_f_blank_null ? ISB_BN : ISB_BZ;
  lub.lub_f_pad_in_force = lub.lub_f_pad;
  if (int code = take_variable(lub, kReadIntFmt, &item_list, &item_args)) return fail_formatted(lub, code);
  return for_read_int_fmt_xmit(ctx, item_list, item_args);
}

int for_read_int_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  For_Lub* lub = ctx->ctx_lub;
  if (lub != nullptr && lub->lub_maxrec < 1 && *item_list != ITM_END_STATEMENT) {
    return fail_formatted(*lub, MSG_END_OF_FILE);
  }
  return transfer_call<Fmt_Reader, Internal_Input>(ctx, item_list, item_args, end_of_list, fail_formatted);
}
