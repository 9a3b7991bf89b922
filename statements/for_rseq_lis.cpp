// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ from external units.

#include "statements/for_rseq_lis.h"

#include "statements/ldio_reader.h"
#include "statements/statement.h"

namespace {

constexpr Statement_Rule kReadSeqLis = {
    STMT_READ_LIST,     true,
    kConnectSequential, kConnectInput,
    kConnectFormatted,  {Mode_Check::keyed_direct, Mode_Check::not_formatted, Mode_Check::direct, Mode_Check::none}};

/// Records of a file.
class External_Source {
 public:
  static constexpr bool kInternal = false;
  int admit(int*) { return 0; }
  int next_record(For_Lub& lub) { return next_input_record(lub); }
};

int read_list(For_Lub& lub, const u8* item_list, void* item_args) {
  External_Source source;
  const Ldio_Result result = Ldio_Reader<External_Source>(lub, source).read_items(item_list, item_args);
  switch (result.end) {
    case Ldio_End::statement:
      if (!in_child_statement(lub)) leave_input_record(lub);
      return end_statement(lub);
    case Ldio_End::call:
      return 0;
    case Ldio_End::failed:
      return fail_statement(lub, result.code, result.user_code);
    case Ldio_End::child:
      break;
  }
  return result.code;
}

/// What the statement begins with: nothing in hand, and the whole of the first record before it.
void begin_ldir_state(For_Lub& lub) {
  For_Ldir_Read_Isb& s = ldir_read_state(lub);
  s.ldir_lub = &lub;
  if (in_child_statement(lub)) return;
  s.ldir_repeat = 0;
  s.ldir_flags = 0;
}

}  // namespace

int for_read_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  va_list arguments;
  va_start(arguments, item_args);
  const Control_List control = control_list(flags, arguments);
  va_end(arguments);

  const Statement_Start start = begin_statement(kReadSeqLis, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  begin_ldir_state(lub);
  lub.lub_f_ldio_read = 1;

  bool fetched = false;
  int code = position_stream_input(lub);
  if (code == 0) code = begin_input_record(lub, &fetched);
  if (code != 0) return fail_statement(lub, code);
  if (fetched) ldir_read_state(lub).ldir_flags |= LDIR_NEW_RECORD;
  return read_list(lub, item_list, item_args);
}

int for_read_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return read_list(*ctx->ctx_lub, item_list, item_args);
}
