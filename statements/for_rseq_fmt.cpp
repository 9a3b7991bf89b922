// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted READ from external units.

#include "statements/for_rseq_fmt.h"

#include "format/format_compiler.h"
#include "statements/fmt_reader.h"
#include "statements/fmt_statement.h"

namespace {

constexpr Statement_Rule kReadSeqFmt = {
    STMT_READ,
    true,
    kConnectSequential,
    kConnectInput,
    kConnectFormatted,
    {Mode_Check::keyed_direct, Mode_Check::unformatted, Mode_Check::not_formatted, Mode_Check::direct}};

/// True when the next READ goes on in this record.
bool stays_in_record(const For_Lub& lub) {
  return lub.lub_a_file_info != nullptr ? lub.lub_a_file_info->fi_read_open : in_child_statement(lub);
}

void leave_open(For_Lub& lub, bool open) {
  if (lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_read_open = open;
}

/// Records of a file.
class External_Input {
 public:
  static constexpr bool kInternal = false;

  explicit External_Input(For_Lub& lub) : lub_(lub) {}

  bool ends_at_record() const { return stays_in_record(lub_); }
  /// A child statement goes on in its parent's record.
  bool pass_takes_record() const { return !in_child_statement(lub_); }
  int refuse_short_record() const { return 0; }

  Fmt_End next_record(int* error) {
    lub_.lub_pad_count = 0;
    *error = next_input_record(lub_);
    return *error == 0 ? Fmt_End::none : Fmt_End::failed;
  }

 private:
  For_Lub& lub_;
};

/// Gives SIZE= its count: 0 or MSG_INVALID_ARGUMENT.
int store_size(For_Lub& lub) {
  if (!lub.lub_f_size_given) return 0;
  lub.lub_f_size_given = 0;
  const bool stored = store_integer(lub.lub_size_type, static_cast<u8*>(lub.lub_a_size_var), lub.lub_size_count);
  return stored ? 0 : MSG_INVALID_ARGUMENT;
}

/// The record has ended before the list of a non-advancing READ: the next READ takes the next record.
int end_of_record(For_Lub& lub) {
  lub.lub_f_eor_pending = 0;
  if (!in_child_statement(lub)) leave_open(lub, false);
  return fail_statement(lub, MSG_END_OF_RECORD);
}

/// The list is over, or the record of a non-advancing READ.
int end_of_list(For_Lub& lub) {
  for__format_free(lub.lub_a_fmt_isb);
  leave_input_record(lub, stays_in_record(lub) && !lub.lub_f_eor_pending);
  const int code = store_size(lub);
  if (lub.lub_f_eor_pending) return end_of_record(lub);
  return code == 0 ? end_statement(lub) : fail_statement(lub, code);
}

/// A failure in the middle: SIZE= tells what had been read, and no record is left open behind the end of the file.
int fail_reading(For_Lub& lub, int code) {
  (void)store_size(lub);
  if (code == MSG_END_OF_FILE && !in_child_statement(lub)) leave_open(lub, false);
  return fail_formatted(lub, code);
}

/// The rules of ADVANCE=, EOR= and SIZE=: 0 or a message.
int check_read_args(const For_Lub& lub, For_IO_Flags flags, const For_Read_Args& args) {
  if ((flags & (iof_advance_given | iof_size_given)) == 0) return 0;
  if (args.advance && (flags & iof_eor)) {
    constexpr For_IO_Flags kAllBranches = iof_err | iof_end | iof_eor;
    if ((flags & iof_advance_given) || (flags & kAllBranches) != kAllBranches) return MSG_EOR_WITH_ADVANCE;
  }
  const For_File_Info* fi = lub.lub_a_file_info;
  if (!args.advance && !in_child_statement(lub) && fi != nullptr && fi->fi_record_open && fi->saved_lub == &lub &&
      lub.lub_unit != UNIT_READ && lub.lub_unit != UNIT_ACCEPT && lub.lub_unit != UNIT_STDIN) {
    return MSG_READ_AFTER_NONADVANCING_WRITE;
  }
  if (args.size_var != nullptr && !is_integer_item(args.size_type)) return MSG_SIZE_NOT_INTEGER;
  return 0;
}

/// Clears the SIZE= variable and notes it for the end of the statement.
void begin_size(For_Lub& lub, const For_Read_Args& args) {
  if (args.size_var == nullptr) return;
  lub.lub_a_size_var = args.size_var;
  lub.lub_size_type = static_cast<u8>(args.size_type);
  lub.lub_size_count = 0;
  lub.lub_f_size_given = 1;
  (void)store_integer(args.size_type, static_cast<u8*>(args.size_var), 0);
}

/// The first record: 0, or a message with `dropped` when it means nothing to this statement.
int begin_record(For_Lub& lub, const For_Read_Args& args, const u8* item_list, bool* dropped) {
  if (int code = position_stream_input(lub)) return code;
  // What was written and left open has gone out when the unit was taken.
  if (lub.lub_a_file_info != nullptr && !in_child_statement(lub)) lub.lub_a_file_info->fi_record_open = 0;
  bool fetched = false;
  const int code = begin_input_record(lub, &fetched);
  // A statement without items may stand at the end of the file.
  *dropped = code == MSG_END_OF_FILE && args.advance && *item_list == ITM_END_STATEMENT;
  return code;
}

}  // namespace

int for__read_args(const u8** item_list, void** item_args, u32 high_flags, For_Read_Args* out) {
  const For_IO_Flags flags = static_cast<For_IO_Flags>(high_flags) << 32;
  *out = {1, nullptr, 0};
  if (flags & iof_advance_given) {
    if (int code = for__write_args(item_list, item_args, &out->advance)) return code;
  }
  if (!(flags & iof_size_given)) return 0;
  For_Value_Info val;
  For_Item_Shape shape;
  if (int code = for__desc_ret_item(item_list, item_args, &val, &shape)) return code;
  if (val.val_data == nullptr) return MSG_INVALID_ARGUMENT;
  out->size_var = val.val_data;
  out->size_type = val.val_type;
  return 0;
}

int for_read_seq_fmt(For_Context* ctx, int unit, For_IO_Flags given, const u8* item_list, void* item_args,
                     const void* format, ...) {
  TAMRUN_CONTROL_LIST(control, given, format);

  const For_IO_Flags flags = effective_io_flags(given);
  const Statement_Start start = begin_transfer(kReadSeqFmt, ctx, unit, given, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_format(lub, flags, format)) return fail_statement(lub, code);
  lub.lub_a_fmt_isb->isb_flags |= lub.lub_f_blank_null ? ISB_BN : ISB_BZ;
  lub.lub_f_pad_in_force = lub.lub_f_pad;

  For_Read_Args args;
  int code = for__read_args(&item_list, &item_args, static_cast<u32>(flags >> 32), &args);
  if (code == 0) code = check_read_args(lub, flags, args);
  if (code != 0) return fail_formatted(lub, code);
  bool dropped = false;
  code = begin_record(lub, args, item_list, &dropped);
  if (dropped) {
    for__format_free(lub.lub_a_fmt_isb);
    return end_statement(lub);
  }
  if (code != 0) return fail_reading(lub, code);
  leave_open(lub, in_child_statement(lub) || !args.advance);
  begin_size(lub, args);
  return for_read_seq_fmt_xmit(ctx, item_list, item_args);
}

int for_read_seq_fmt_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return transfer_call<Fmt_Reader, External_Input>(ctx, item_list, item_args, end_of_list, fail_reading);
}
