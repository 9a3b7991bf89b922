// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted WRITE to sequential and stream units.

#include "statements/for_wseq.h"

#include "records/buffer.h"
#include "records/for_put_unf.h"
#include "records/length_byte_form.h"
#include "statements/for_desc_item.h"
#include "statements/statement.h"
#include "statements/unf_transfer.h"

namespace {

constexpr Statement_Rule kWriteSeq = {
    STMT_WRITE,          false,
    kConnectSequential,  kConnectOutput,
    kConnectUnformatted, {Mode_Check::readonly, Mode_Check::formatted, Mode_Check::direct}};

bool is_length_byte_form(const For_Lub& lub) { return lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL; }

/// A single item that is a whole record goes out from the variable, if it would gain nothing in the buffer.
bool goes_from_variable(For_Lub& lub, const u8* item_list, void* item_args) {
  const bool fixed = lub.lub_rectype == RECTYPE_FIXED && !lub.lub_f_buffered && !is_marked_relative(lub);
  if ((!fixed && !is_variable(lub)) || in_child_statement(lub)) return false;
  if (!fixed && item_list != nullptr && !item_is_array(item_list[1]) && item_list[1] != ACC_SCALAR) return false;
  Unf_Block block;
  if (!is_one_block(lub, item_list, item_args, block)) return false;
  if (fixed ? block.bytes != lub.lub_rec_bytes : block.bytes <= lub.lub_buffer_size || block.bytes > subrecord_limit)
    return false;
  lub.lub_a_user_target = block.data;
  lub.lub_user_target_len = block.bytes;
  lub.lub_f_direct_done = 1;
  return true;
}

int end_of_list(For_Lub& lub) {
  lub.lub_zero_item = 0;
  if (in_child_statement(lub)) return end_statement(lub);
  if (int code = finish_unformatted_record(lub)) return fail_statement(lub, code);
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  lub.lub_f_check_file_mark = 0;
  return end_statement(lub);
}

/// Moves the items of one call.
int write_items(For_Lub& lub, const u8* item_list, void* item_args) {
  return conclude_call<end_of_list>(lub, write_unformatted_items(lub, item_list, item_args));
}

}  // namespace

int begin_unformatted_record(For_Lub& lub) {
  if (in_child_statement(lub)) return 0;
  if (int code = position_stream_output(lub)) return code;
  if (int code = for__flush_readahead(&lub, 0)) return code;
  if (int code = layout_unformatted_record(lub, SEGMENT_FIRST)) return code;
  lub.lub_f_write_through = 0;
  lub.lub_f_rec_continued = 0;
  lub.lub_f_direct_done = 0;
  lub.lub_f_first_item = 1;
  lub.lub_a_user_target = nullptr;
  lub.lub_rec_written = 0;
  lub.lub_subrecord_left = -1;
  lub.lub_subrecord_index = 0;
  return is_length_byte_form(lub) ? begin_length_byte_record(lub) : 0;
}

int finish_unformatted_record(For_Lub& lub) {
  if (lub.lub_f_direct_done) return for__write_from_user_buffer(&lub);
  if (is_length_byte_form(lub)) return finish_length_byte_record(lub);
  if (lub.lub_rectype == RECTYPE_SEGMENTED) record_base(lub)[kSegmentCount] |= SEGMENT_LAST;
  return lub.lub_f_write_through && is_variable(lub) ? for__finish_direct_write(&lub) : for__put_su(&lub);
}

int for_write_seq(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_transfer(kWriteSeq, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (int code = begin_unformatted_record(lub)) return fail_statement(lub, code);
  if (goes_from_variable(lub, item_list, item_args)) return end_of_list(lub);
  return write_items(lub, item_list, item_args);
}

int for_write_seq_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  return write_items(*ctx->ctx_lub, item_list, item_args);
}
