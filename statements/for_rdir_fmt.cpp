// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted READ of records by their number.

#include "format/format_compiler.h"
#include "statements/direct_record.h"
#include "statements/fmt_reader.h"
#include "statements/fmt_statement.h"
#include "tamrun/tamrun.h"

namespace {

/// Records from a number on.
class Direct_Input {
 public:
  static constexpr bool kInternal = false;

  explicit Direct_Input(For_Lub& lub) : lub_(lub) {}

  bool ends_at_record() const { return false; }
  bool pass_takes_record() const { return true; }
  int refuse_short_record() const { return 0; }

  Fmt_End next_record(int* error) {
    lub_.lub_pad_count = 0;
    *error = next_direct_input(lub_);
    return *error == 0 ? Fmt_End::none : Fmt_End::failed;
  }

 private:
  For_Lub& lub_;
};

int end_of_list(For_Lub& lub) {
  for__format_free(lub.lub_a_fmt_isb);
  return end_direct(lub);
}

}  // namespace

int for_read_dir_fmt(For_Context* ctx, int unit, For_IO_Flags given, const u8* item_list, void* item_args, i64 record,
                     const void* format, ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const Statement_Start start = begin_direct(kReadDirFmt, ctx, unit, given, control, record);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, effective_io_flags(given), format)) return fail_statement(lub, code);
  lub.lub_a_fmt_isb->isb_flags |= lub.lub_f_blank_null ? ISB_BN : ISB_BZ;
  lub.lub_f_pad_in_force = lub.lub_f_pad;
  int code = turn_to_input(lub, record);
  if (code == 0) code = next_direct_input(lub);
  if (code != 0) return fail_formatted(lub, code);
  return for_read_dir_fmt_xmit(ctx, item_list, item_args);
}

int for_read_dir_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return transfer_call<Fmt_Reader, Direct_Input>(ctx, item_list, item_args, end_of_list, fail_formatted);
}
