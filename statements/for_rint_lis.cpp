// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed READ from internal files.

#include "statements/for_internal.h"
#include "statements/internal_file.h"
#include "statements/ldio_reader.h"
#include "statements/ldio_statement.h"

namespace {

char g_name[] = "Internal List-Directed Read";
constexpr Internal_Rule kReadIntLis = {STMT_READ_LIST, false, false, g_name, g_name, nullptr};

/// Elements of the variable.
class Internal_Source {
 public:
  static constexpr bool kInternal = true;

  explicit Internal_Source(For_Lub& lub) : lub_(lub) {}

  int admit(int* user_code) {
    *user_code = MSG_INPUT_TOO_MUCH_DATA;
    return lub_.lub_maxrec < 1 ? MSG_END_OF_FILE : 0;
  }

  /// An element with a NUL in its second byte has never been filled.
  int next_record(For_Lub& lub) {
    if (lub.lub_a_cursor == nullptr || !next_internal_record(lub)) return MSG_END_OF_FILE;
    if (lub.lub_rec_bytes > 1 && lub.lub_a_cursor[1] == 0) return MSG_END_OF_FILE;
    lub.lub_a_data_start = lub.lub_a_cursor;
    return 0;
  }

 private:
  For_Lub& lub_;
};

class Read_Statement {
 public:
  explicit Read_Statement(For_Lub& lub) : lub_(lub), source_(lub) {}
  Ldio_Result transfer(const u8* list, void* args) {
    return Ldio_Reader<Internal_Source>(lub_, source_).read_items(list, args);
  }
  int end_of_list() { return end_statement(lub_); }

 private:
  For_Lub& lub_;
  Internal_Source source_;
};

}  // namespace

int for_read_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_internal_statement(kReadIntLis, ctx, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  begin_list_read(lub);
  if (int code = take_variable(lub, kReadIntLis, &item_list, &item_args)) return fail_statement(lub, code);
  ldir_read_state(lub).ldir_flags = LDIR_NEW_RECORD;
  return for_read_int_lis_xmit(ctx, item_list, item_args);
}

int for_read_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  For_Lub& lub = *ctx->ctx_lub;
  if (*item_list == ITM_END_STATEMENT) return end_statement(lub);
  return list_call(lub, Read_Statement(lub), item_list, item_args);
}
