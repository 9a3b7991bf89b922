// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted READ from sequential and stream units.

#include "statements/for_rseq.h"

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/for_get_unf.h"
#include "records/length_byte_form.h"
#include "records/record_frame.h"
#include "statements/for_desc_item.h"
#include "statements/statement.h"
#include "statements/unf_transfer.h"
#include "tamrun/messages.h"

namespace {

constexpr Statement_Rule kReadSeq = {STMT_READ,           false,
                                     kConnectSequential,  kConnectInput,
                                     kConnectUnformatted, {Mode_Check::formatted, Mode_Check::direct}};

bool is_length_byte_form(const For_Lub& lub) { return lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL; }

/// True when the first item has no data: then the end of the file is no failure.
bool begins_with_nothing(const u8* list, void* args) {
  For_Value_Info val;
  For_Item_Shape shape;
  if (list == nullptr || *list == ITM_END_STATEMENT || *list == ITM_END_CALL || *list == ITM_DERIVED) return false;
  return for__desc_ret_item(&list, &args, &val, &shape) == 0 && val.val_total == 0;
}

/// A FIXED record that is one variable may go there straight from the file.
void offer_variable(For_Lub& lub, const u8* item_list, void* item_args) {
  lub.lub_f_direct_done = 0;
  lub.lub_a_user_target = nullptr;
  lub.lub_user_target_len = 0;
  Unf_Block block;
  if (lub.lub_rectype != RECTYPE_FIXED || !is_one_block(lub, item_list, item_args, block)) return;
  lub.lub_a_user_target = block.data;
  lub.lub_user_target_len = block.bytes;
}

/// Brings the record: 0 or a message.
int begin_record(For_Lub& lub, const u8* item_list, void* item_args) {
  if (in_child_statement(lub)) return 0;
  if (int code = position_stream_input(lub)) return code;
  lub.lub_f_first_item = 1;
  lub.lub_f_large_record = 0;
  lub.lub_f_rec_continued = 0;
  lub.lub_rec_left = 0;
  offer_variable(lub, item_list, item_args);
  const int code = for__get_s(&lub, item_list, &item_args);
  lub.lub_a_user_target = nullptr;
  if (code == MSG_END_OF_FILE && !lub.lub_f_at_eof && begins_with_nothing(item_list, item_args)) {
    lub.lub_a_data_start = lub.lub_a_buffer;
    lub.lub_f_direct_done = 1;  // there is no record to finish
    return 0;
  }
  if (code != 0) return code;
  lub.lub_a_data_start = lub.lub_a_cursor;
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  if (is_length_byte_form(lub)) return enter_length_byte_record(lub);
  if (lub.lub_rectype == RECTYPE_SEGMENTED && !begin_segment(lub, SEGMENT_FIRST)) return MSG_SEGMENTED_FORMAT;
  return 0;
}

/// Passes over what the list has left of the record: 0 or a message.
int finish_record(For_Lub& lub) {
  if (lub.lub_f_direct_done) return 0;
  if (is_length_byte_form(lub)) return for__read_ufseq(&lub, nullptr, 0);
  if (is_variable(lub)) {
    const bool whole = lub.lub_rec_left == 0 && !lub.lub_f_large_record && !lub.lub_f_rec_continued;
    if (!whole) return for__get_su_fields(&lub, nullptr, 0);
    lub.lub_a_cursor = lub.lub_a_rec_end;
    return 0;
  }
  while (lub.lub_rectype == RECTYPE_SEGMENTED && !(*lub.lub_a_data_start & SEGMENT_LAST)) {
    if (int code = next_segment(lub)) return code;
  }
  return 0;
}

void leave_record(For_Lub& lub) { lub.lub_file_pos = lub.lub_disk_pos + lub.lub_rec_buffered - read_ahead_bytes(lub); }

int fail_reading(For_Lub& lub, int code) {
  // The next READ begins with the next record.
  if (code == MSG_INPUT_TOO_MUCH_DATA && !in_child_statement(lub)) (void)finish_record(lub);
  return fail_statement(lub, code);
}

int end_of_list(For_Lub& lub) {
  if (!in_child_statement(lub)) {
    if (int code = finish_record(lub)) return fail_statement(lub, code);
    leave_record(lub);
  }
  return end_statement(lub);
}

/// Moves the items of one call.
int read_items(For_Lub& lub, const u8* item_list, void* item_args) {
  return conclude_call<end_of_list, fail_reading>(lub, read_unformatted_items(lub, item_list, item_args));
}

}  // namespace

int for_read_seq(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_transfer(kReadSeq, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_record(lub, item_list, item_args)) return fail_statement(lub, code);
  if (lub.lub_user_target_len > 0 && lub.lub_f_direct_done && !in_child_statement(lub)) return end_of_list(lub);
  return read_items(lub, item_list, item_args);
}

int for_read_seq_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return read_items(*ctx->ctx_lub, item_list, item_args);
}
