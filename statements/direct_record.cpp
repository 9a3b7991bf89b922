// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the statements on records with a number share.

#include "statements/direct_record.h"

#include <string.h>

#include <algorithm>

#include "records/for_put_unf.h"

namespace {

Statement_Start refuse(For_Lub& lub, int message) { return {nullptr, fail_statement(lub, message)}; }

}  // namespace

Statement_Start begin_rewrite(const Statement_Rule& rule, For_Context* ctx, int unit, For_IO_Flags flags,
                              const Control_List& control, i64* record) {
  const Statement_Start start = begin_statement(rule, ctx, unit, flags, control);
  if (start.lub == nullptr) return start;
  const i64 next = start.lub->lub_next_rec;
  if (next < 1) return refuse(*start.lub, MSG_RECORD_NUMBER_RANGE);
  *record = std::max<i64>(next - 1, 1);
  return has_formatted_keyword(*start.lub, rule) ? refuse(*start.lub, MSG_KEYWORD_UNFORMATTED) : start;
}

int turn_to_output(For_Lub& lub, i64 record) {
  if (lub.lub_f_buffer_held) {
    u8* const last = record_base(lub) - lub.lub_rec_bytes;
    if (record == lub.lub_next_rec - 1 && last >= lub.lub_a_buffer) {
      lub.lub_a_rec_start = last;
    } else if (record != lub.lub_next_rec) {
      if (int code = for__flush_file_buffer(&lub)) return code;
    }
  }
  lub.lub_next_rec = record;
  lub.lub_a_user_target = nullptr;
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  lub.lub_f_read_ahead = 0;
  lub.lub_read_ahead = 0;
  lub.lub_a_read_next = lub.lub_a_read_end = nullptr;
  return 0;
}

bool has_formatted_keyword(const For_Lub& lub, const Statement_Rule& rule) {
  if (rule.formatted) return false;
  if (lub.lub_f_decimal_override || lub.lub_f_round_override) return true;
  return rule.code == STMT_READ ? lub.lub_f_blank_override || lub.lub_f_pad_override
                                : lub.lub_f_delim_override || lub.lub_f_sign_override;
}

int next_direct_input(For_Lub& lub) {
  if (int code = for__get_d(&lub)) return code;
  if (!lub.lub_f_direct_done) {
    enter_direct_input(lub, is_marked_relative(lub));
    return 0;
  }
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return 0;
}

int put_direct_record(For_Lub& lub) {
  if (int code = for__put_d(&lub)) return code;
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return 0;
}

void frame_direct_output(For_Lub& lub) {
  if (lub.lub_a_rec_start == nullptr) lub.lub_a_rec_start = lub.lub_a_buffer;
  const bool marked = is_marked_relative(lub);
  if (marked) *lub.lub_a_rec_start = ' ';
  frame_direct(lub, lub.lub_a_rec_start, marked);
}

void start_direct_record(For_Lub& lub) {
  frame_direct_output(lub);
  memset(lub.lub_a_cursor, ' ', static_cast<size_t>(lub.lub_a_rec_end - lub.lub_a_cursor));
}
