// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ from external units.

#include "statements/for_rseq_lis.h"

#include "statements/ldio_reader.h"
#include "statements/ldio_statement.h"

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

class Read_Statement {
 public:
  explicit Read_Statement(For_Lub& lub) : lub_(lub) {}
  Ldio_Result transfer(const u8* list, void* args) {
    return Ldio_Reader<External_Source>(lub_, source_).read_items(list, args);
  }
  int end_of_list() {
    if (!in_child_statement(lub_)) leave_input_record(lub_);
    return end_statement(lub_);
  }

 private:
  For_Lub& lub_;
  External_Source source_;
};

}  // namespace

int for_read_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_transfer(kReadSeqLis, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  begin_list_read(lub);

  bool fetched = false;
  int code = position_stream_input(lub);
  if (code == 0) code = begin_input_record(lub, &fetched);
  if (code != 0) return fail_statement(lub, code);
  if (fetched) ldir_read_state(lub).ldir_flags |= LDIR_NEW_RECORD;
  return list_call(lub, Read_Statement(lub), item_list, item_args);
}

int for_read_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  For_Lub& lub = *ctx->ctx_lub;
  return list_call(lub, Read_Statement(lub), item_list, item_args);
}
