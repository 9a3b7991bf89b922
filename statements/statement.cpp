// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What all data transfer statements share: how one begins, how its record begins, how it ends.

#include "statements/statement.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/for_get.h"
#include "records/input_window.h"
#include "records/record_frame.h"
#include "statements/for_desc_item.h"
#include "tamrun/open_args.h"
#include "units/connection_options.h"
#include "units/open.h"
#include "units/specifiers.h"

namespace {

struct Check_Report {
  i16 message;
  i16 user_code;
};

constexpr Check_Report kCheckReports[] = {
    {0, 0},                                            // none
    {MSG_WRITE_READONLY, MSG_WRITE_READONLY},          // readonly
    {MSG_MIXED_ACCESS, MSG_MIXED_ACCESS},              // keyed
    {MSG_DIRECT_ON_KEYED, MSG_MIXED_ACCESS},           // keyed_direct
    {MSG_FORMATTED_ON_UNFORMATTED, MSG_MIXED_ACCESS},  // not_formatted
    {MSG_UNFORMATTED_ON_FORMATTED, MSG_MIXED_ACCESS},  // unformatted
    {MSG_UNFORMATTED_ON_FORMATTED, MSG_MIXED_ACCESS},  // formatted
    {MSG_SEQUENTIAL_ON_DIRECT, MSG_MIXED_ACCESS},      // direct
    {MSG_DIRECT_I_O_NOT_CONSISTENT, MSG_DIRECT_I_O_NOT_CONSISTENT},
    {MSG_UDIO_POS_OR_REC, MSG_UDIO_POS_OR_REC},      // child
    {MSG_MIXED_ACCESS, MSG_MIXED_ACCESS},            // sequential
    {MSG_NO_CURRENT_RECORD, MSG_NO_CURRENT_RECORD},  // not_connected
};

bool is_refused(const For_Lub& lub, const Statement_Rule& rule, Mode_Check check) {
  const bool child = in_child_statement(lub) && rule.connect_access == kConnectSequential;
  switch (check) {
    case Mode_Check::none:
      return false;
    case Mode_Check::readonly:
      return lub.lub_f_readonly;
    case Mode_Check::keyed:
    case Mode_Check::keyed_direct:
      return lub.lub_f_keyed;
    case Mode_Check::not_formatted:
      return !lub.lub_f_formatted && lub.lub_unit != UNIT_INTERNAL && !child;
    case Mode_Check::unformatted:
      return lub.lub_f_unformatted && lub.lub_unit != UNIT_INTERNAL && !child;
    case Mode_Check::formatted:
      return lub.lub_f_formatted && !child;
    case Mode_Check::direct:
      return lub.lub_f_direct && !lub.lub_f_compat_io && !child;
    case Mode_Check::not_direct:
      return !lub.lub_f_direct;
    case Mode_Check::child:
      return in_child_statement(lub);
    case Mode_Check::sequential:
      return lub.lub_f_sequential;
    case Mode_Check::not_connected:
      return !lub.lub_f_connected;
  }
  return false;
}

/// The keys that a control list may hold, in the order in which they must come.
constexpr u8 kControlKeys[] = {KEY_IOMSG, KEY_POS, KEY_BLANK, KEY_DECIMAL, KEY_DELIM, KEY_PAD, KEY_ROUND, KEY_SIGN};
constexpr int kLastUnformattedKey = 1;  ///< position of KEY_POS: what follows is for formatted statements

int position_of_key(int key) {
  for (int i = 0; i < static_cast<int>(sizeof kControlKeys); ++i) {
    if (kControlKeys[i] == key) return i;
  }
  return -1;
}

int disordered_control_list() {
  TAMRUN_INTERNAL_ERROR("statement.cpp");
  return MSG_INTERNAL_CONSISTENCY;
}

void apply_iomsg(For_Lub& lub, const For_Value_Info& val) {
  lub.lub_a_iomsg = reinterpret_cast<char*>(val.val_data);
  lub.lub_iomsg_len = val.val_data != nullptr ? val.val_total : 0;
}

/// POS=: 0, or the message with its user code.
int apply_pos(For_Lub& lub, const For_Value_Info& val, int* user_code) {
  if (in_child_statement(lub)) return *user_code = MSG_UDIO_POS_OR_REC;
  if (!lub.lub_f_stream) {
    if (!lub.lub_f_connected) return *user_code = MSG_STREAM_UNOPENED;
    *user_code = MSG_MIXED_ACCESS;
    return MSG_STREAM_NOT_ALLOWED;
  }
  i64 position = 0;
  __builtin_memcpy(&position, val.val_data, sizeof position);
  if (position < 1) return *user_code = MSG_POS_RANGE;
  lub.lub_pos_request = position - 1;
  return 0;
}

void warn_of_pad(For_IO_Flags flags) {
  const bool refused = (flags & iof_advance_given) ? (flags & iof_pad_option49) != 0 : (flags & iof_f90_rtl) == 0;
  if (refused) for__issue_diagnostic(MSG_PAD_WITH_F77RTL, 0);
}

/// Stores a mode for the length of the statement and keeps the connection's.
void apply_mode(For_Lub& lub, int key, i64 value, For_IO_Flags flags) {
  const u8 mode = static_cast<u8>(value);
  switch (key) {
    case KEY_BLANK:
      lub.lub_f_blank_saved = lub.lub_f_blank_null;
      lub.lub_f_blank_null = value == BLANK_NULL;
      lub.lub_f_blank_override = 1;
      break;
    case KEY_DECIMAL:
      lub.lub_decimal_saved = lub.lub_decimal;
      lub.lub_decimal = mode;
      lub.lub_f_decimal_override = 1;
      break;
    case KEY_DELIM:
      lub.lub_delim_saved = lub.lub_delim;
      lub.lub_delim = delimiter_character(static_cast<u64>(value));
      lub.lub_f_delim_override = 1;
      break;
    case KEY_PAD:
      warn_of_pad(flags);
      lub.lub_f_pad_saved = lub.lub_f_pad;
      lub.lub_f_pad = value == ANSWER_YES && (flags & iof_f90_rtl) != 0;
      lub.lub_f_pad_override = 1;
      break;
    case KEY_ROUND:
      lub.lub_round_saved = lub.lub_round;
      lub.lub_round = mode;
      lub.lub_f_round_override = 1;
      break;
    case KEY_SIGN:
      lub.lub_sign_saved = lub.lub_sign;
      lub.lub_sign = mode;
      lub.lub_f_sign_override = 1;
      break;
  }
}

/// Connects an unconnected unit as the statement implies: 0 or a message number.
int connect_by_default(For_Lub& lub, const Statement_Rule& rule, For_IO_Flags flags) {
  if (rule.connect_access == kConnectNever || lub.lub_f_connected || lub.lub_unit == UNIT_INTERNAL) return 0;
  store_connection_options(lub, flags);
  return for__open_default(&lub, rule.connect_access, rule.connect_status, rule.connect_form);
}

}  // namespace

void store_rare_flags(For_Lub& lub, For_IO_Flags flags) {
  lub.lub_f_err = (flags & iof_err) != 0;
  lub.lub_f_end = (flags & iof_end) != 0;
  lub.lub_f_eor = (flags & iof_eor) != 0;
  lub.lub_f_iostat = (flags & iof_iostat) != 0;
  lub.lub_f_coerce_types = (flags & iof_coerce_types) != 0;
  lub.lub_f_strict_ldio = (flags & iof_strict_ldio) != 0;
  lub.lub_f_udio_strict = (flags & iof_udio_strict) != 0;
  lub.lub_f_pad_option = (flags & iof_pad_option49) != 0;
  lub.lub_f_advance_given = (flags & iof_advance_given) != 0;
}

int fail_without_lub(int code, int unit, For_IO_Flags flags, const Control_List& control) {
  Specifiers specifiers = {flags};
  For_Value_Info val;
  For_Item_Shape shape;
  int key = 0;
  const u8* items = control.items;
  void* args = control.args;
  if (items != nullptr && *items == ITM_CHARACTER && for__key_desc_ret_item(&items, &args, &val, &shape, &key) == 0 &&
      key == KEY_IOMSG) {
    specifiers.iomsg = reinterpret_cast<char*>(val.val_data);
    specifiers.iomsg_length = val.val_total;
  }
  return fail_without_unit(code, unit, specifiers);
}

int walk_control_list(For_Lub& lub, For_IO_Flags flags, bool formatted, const Control_List& control, int* user_code) {
  const u8* items = control.items;
  void* args = control.args;
  int last = -1;
  if (items == nullptr) return *user_code = MSG_INVALID_ARGUMENT;
  while (*items != ITM_END_STATEMENT) {
    For_Value_Info val;
    For_Item_Shape shape;
    int key = 0;
    if (int code = for__key_desc_ret_item(&items, &args, &val, &shape, &key)) return *user_code = code;
    const int position = position_of_key(key);
    const u32 type = key == KEY_POS ? ITM_INTEGER8 : ITM_CHARACTER;
    if (position <= last || val.val_type != type) return *user_code = disordered_control_list();
    last = position;
    if (!formatted && position > kLastUnformattedKey) return *user_code = MSG_KEYWORD_UNFORMATTED;
    if (key == KEY_IOMSG) {
      apply_iomsg(lub, val);
    } else if (key == KEY_POS) {
      if (int code = apply_pos(lub, val, user_code)) return code;
    } else {
      i64 value = 0;
      const char* text = reinterpret_cast<const char*>(val.val_data);
      const int length = static_cast<int>(val.val_total);
      if (int code = for__open_key(text, length, key, &value, KEYCTX_TRANSFER)) return *user_code = code;
      apply_mode(lub, key, value, flags);
    }
  }
  return 0;
}

// The acquisition has already finished the record that another unit held open on the same file.
Statement_Start begin_statement(const Statement_Rule& rule, For_Context* ctx, int unit, For_IO_Flags given,
                                const Control_List& control) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Lub* held = nullptr;
  const int wanted = unit == UNIT_INTERNAL ? UNIT_INTERNAL_TOP : unit;
  if (int code = for__acquire_lun(wanted, &held, ctx, rule.code))
    return {nullptr, fail_without_lub(code, rule.code == STMT_FIND ? int{UNIT_INTERNAL} : unit, flags, control)};
  For_Lub& lub = *held;
  store_statement_flags(lub, flags);
  if (flags & iof_control_list) {
    int user_code = 0;
    // Of records by number, unformatted ones refuse the modes of formatted ones later, behind the checks.
    const bool any_mode = rule.formatted || rule.connect_access != kConnectSequential;
    if (int code = walk_control_list(lub, flags, any_mode, control, &user_code)) {
      return {nullptr, fail_statement(lub, code, user_code)};
    }
  }
  lub.lub_zero_item = 0;
  if (!in_child_statement(lub)) lub.lub_ldio_prev_type = 0;

  if (int code = connect_by_default(lub, rule, flags)) {
    return {nullptr, report_failure(FOR_IOR_ABANDON, code, code, &lub)};
  }
  apply_wrap_margin(lub, rule);
  for (Mode_Check check : rule.checks) {
    if (is_refused(lub, rule, check)) {
      const Check_Report& report = kCheckReports[static_cast<int>(check)];
      return {nullptr, fail_statement(lub, report.message, report.user_code)};
    }
  }
  return {&lub, 0};
}

namespace {

/// POS= loses count of the records, but at the start of the file.
void recount_records(For_Lub& lub, bool moves) {
  if (!lub.lub_f_formatted) return;
  const bool at_start = lub.lub_pos_request == 0;
  if (moves || (at_start && lub.lub_next_rec < 0)) lub.lub_next_rec = at_start ? 1 : FOR_K_REC_UNKNOWN;
}

}  // namespace

int position_stream_output(For_Lub& lub) {
  if (!lub.lub_f_stream) return 0;
  const For_File_Info* fi = lub.lub_a_file_info;
  const bool moves = lub.lub_pos_request != lub.lub_file_pos;
  // A READ leaves the file behind the buffer, and inside the record that goes on here when it has left that open.
  const bool behind_buffer = lub.lub_f_read_ahead && lub.lub_f_seekable;
  if (behind_buffer && !moves && fi != nullptr && fi->fi_read_open && lub.lub_next_rec > 1) --lub.lub_next_rec;
  recount_records(lub, moves);
  if (moves || behind_buffer) {
    if (lub.lub_f_buffer_held) {
      if (int code = for__flush_file_buffer(&lub)) return code;
    }
    if (lseek(lub.lub_fd, lub.lub_pos_request, SEEK_SET) < 0) {
      lub.lub_errno = errno;
      return MSG_WRITE_ERROR;
    }
    if (lub.lub_a_file_info != nullptr) lub.lub_a_file_info->fi_record_open = 0;
    lub.lub_file_pos = lub.lub_disk_pos = lub.lub_pos_request;
    lub.lub_f_read_ahead = 0;
    lub.lub_read_ahead = 0;
    lub.lub_a_read_next = lub.lub_a_read_end = nullptr;
  } else {
    lub.lub_disk_pos += lub.lub_rec_buffered;
  }
  lub.lub_rec_buffered = 0;
  if (lub.lub_f_formatted) lub.lub_f_truncate_on_write = 1;  // bytes are overwritten in place
  return 0;
}

int begin_output_record(For_Lub& lub, bool* continues) {
  For_File_Info* fi = lub.lub_a_file_info;
  const bool left_open = fi != nullptr && fi->fi_record_open;
  if (left_open) fi->fi_record_open = 0;
  *continues = true;
  lub.lub_a_high_water = nullptr;
  if (in_child_statement(lub)) return 0;
  // A READ in between has taken the buffer: the open record went out then.
  *continues = left_open && !lub.lub_f_read_ahead && lub.lub_a_cursor >= record_base(lub);
  if (!*continues) {
    if (lub.lub_f_read_ahead) {
      if (int code = for__flush_readahead(&lub, 0)) return code;
    }
    if (int code = start_formatted_record(lub)) return code;
  }
  if (fi != nullptr && fi->fi_read_open && lub.lub_f_f90_rtl && !isatty(lub.lub_fd)) fi->fi_read_open = 0;
  return 0;
}

namespace {

/// Makes the byte of the file at `position` the next to be read, if the buffer holds it.
bool move_within_buffer(For_Lub& lub, i64 position) {
  const bool bytes = lub.lub_rectype == RECTYPE_STREAM;  // what comes next is at the cursor then
  if (!lub.lub_f_read_ahead || lub.lub_a_read_end == nullptr || (!bytes && lub.lub_a_read_next == nullptr))
    return false;
  const i64 offset = position - (lub.lub_disk_pos - lub.lub_span_left);
  if (offset < 0 || offset >= lub.lub_a_read_end - lub.lub_a_buffer) return false;
  lub.lub_a_cursor = lub.lub_a_buffer + offset;
  if (bytes) {
    lub.lub_a_rec_end = lub.lub_a_read_end;
  } else {
    lub.lub_a_read_next = lub.lub_a_cursor;
  }
  lub.lub_read_ahead = lub.lub_a_read_end - lub.lub_a_cursor;
  lub.lub_file_pos = position;
  return true;
}

constexpr i64 kFewBytes = 8192;

/// True when the position has nothing to do with what the buffer holds: then the next one may stand anywhere too.
bool is_far_away(const For_Lub& lub, i64 position) {
  if (!lub.lub_f_seekable || !lub.lub_f_read_ahead || lub.lub_buffer_size <= kFewBytes) return false;
  const i64 distance = position - lub.lub_disk_pos;
  return distance < -lub.lub_buffer_size || distance > 2 * lub.lub_buffer_size;
}

/// Fills the start of the buffer, which is empty: 0 or MSG_READ_ERROR.
int read_few_bytes(For_Lub& lub) {
  i64 got = 0;
  if (int code = fill_window(lub, kFewBytes, &got)) return code;
  if (lub.lub_rectype == RECTYPE_STREAM) {
    lub.lub_a_rec_end = lub.lub_a_read_end;
    lub.lub_a_read_next = nullptr;
  }
  return 0;
}

}  // namespace

int position_stream_input(For_Lub& lub) {
  if (!lub.lub_f_stream || in_child_statement(lub)) return 0;
  if (lub.lub_f_buffer_held) {
    if (int code = for__flush_file_buffer(&lub)) return code;
  }
  const i64 position = lub.lub_pos_request;
  if (lub.lub_rectype == RECTYPE_STREAM &&
      position == lub.lub_disk_pos + lub.lub_rec_buffered - read_ahead_bytes(lub)) {
    return 0;
  }
  For_File_Info* fi = lub.lub_a_file_info;
  const bool stays = position == lub.lub_file_pos;
  recount_records(lub, !stays);
  // What cannot seek is where it is, and an open record goes on at its cursor.
  if (stays && (!lub.lub_f_seekable || (fi != nullptr && fi->fi_read_open))) return 0;
  if (fi != nullptr) fi->fi_read_open = 0;
  if (lub.lub_f_seekable && move_within_buffer(lub, position)) return 0;
  const bool far = is_far_away(lub, position);
  if (lseek(lub.lub_fd, position, SEEK_SET) < 0) {
    lub.lub_errno = errno;
    return MSG_READ_ERROR;
  }
  lub.lub_disk_pos = lub.lub_file_pos = position;
  lub.lub_rec_buffered = lub.lub_span_bytes = lub.lub_span_left = 0;
  lub.lub_read_ahead = 0;
  lub.lub_f_read_ahead = 0;
  lub.lub_a_read_next = lub.lub_a_read_end = nullptr;
  return far ? read_few_bytes(lub) : 0;
}

int next_input_record(For_Lub& lub) {
  if (int code = for__get_s(&lub, nullptr, nullptr)) return code;
  lub.lub_a_data_start = lub.lub_a_cursor;
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  return 0;
}

int begin_input_record(For_Lub& lub, bool* fetched) {
  *fetched = false;
  if (in_child_statement(lub)) return 0;
  For_File_Info* fi = lub.lub_a_file_info;
  // Output in between, or another unit on the file, has no record in the buffer.
  if (fi != nullptr && fi->fi_read_open && lub.lub_f_read_ahead) {
    fi->fi_read_open = 0;
    lub.lub_a_data_start = lub.lub_a_cursor;
    return 0;
  }
  *fetched = true;
  return next_input_record(lub);
}

void leave_input_record(For_Lub& lub, bool stays_open) {
  const u8* next = lub.lub_a_read_next != nullptr ? lub.lub_a_read_next : lub.lub_a_rec_end;
  if (stays_open) next = std::min(lub.lub_a_cursor, lub.lub_a_rec_end);
  lub.lub_file_pos = lub.lub_disk_pos + (next - lub.lub_a_buffer) - lub.lub_span_left;
}

int end_statement(For_Lub& lub, bool at_eof) {
  if (lub.lub_f_at_eof != at_eof) lub.lub_f_at_eof = at_eof;
  lub.lub_f_item_seen = 0;
  lub.lub_f_iostat = 0;
  lub.lub_f_err = 0;
  lub.lub_f_end = 0;
  lub.lub_f_eor = 0;
  lub.lub_f_ignore_conv_error = 0;
  return give_unit_back_at_once(lub) ? 0 : release_held_lun(lub);
}

int fail_statement(For_Lub& lub, int message, int user_code) {
  return report_failure(FOR_IOR_RELEASE, message, user_code, &lub);
}
