// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// FIND and DELETE: statements on a record of a direct access file.

#include <errno.h>
#include <string.h>

#include "records/buffer.h"
#include "statements/positioning.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

namespace {

/// DELETE without REC=: the current record.
constexpr For_IO_Flags kCurrentRecord = 1u << 4;

int flush_held(For_Lub& lub) { return lub.lub_f_buffer_held ? for__flush_file_buffer(&lub) : 0; }

/// Moves to the record, which is the next one from then on: 0 or MSG_DELETE_ERROR.
int go_to_record(For_Lub& lub, u64 record) {
  if (const int code = move_to_record(lub, record, MSG_DELETE_ERROR)) return code;
  lub.lub_next_rec = static_cast<i64>(record);
  lub.lub_f_at_end = 0;
  return 0;
}

/// Of a unit that is connected: 0 or a message number.
int find_record(For_Lub& lub, u64 record) {
  if (!is_record_number(lub, record)) return MSG_RECORD_NUMBER_RANGE;
  if (const int code = flush_held(lub)) return code;
  if (const int code = go_to_record(lub, record)) return code;
  return store_associated_variable(lub);
}

/// Whether the record may be deleted: 0 or a message number.
int check_deletion(For_Lub& lub, bool current, u64 record) {
  if (lub.lub_f_readonly) return MSG_WRITE_READONLY;
  if (current) return lub.lub_f_sequential || lub.lub_f_direct ? MSG_DELETE_ERROR : 0;
  if (lub.lub_org != ORG_RELATIVE) return MSG_DELETE_ERROR;
  if (!lub.lub_f_direct) return MSG_OPEN_REQUIRED;
  if (!is_record_number(lub, record)) return MSG_RECORD_NUMBER_RANGE;
  return flush_held(lub);
}

/// Puts a record in its place that READ takes for none: 0 or MSG_DELETE_ERROR.
int overwrite_record(For_Lub& lub) {
  constexpr u8 kDeleted = '@';
  u8* const record = lub.lub_a_buffer;
  if (record == nullptr || lub.lub_rec_bytes > lub.lub_buffer_size) return MSG_DELETE_ERROR;
  lub.lub_cache_first_rec = lub.lub_cache_end_rec = 0;
  memset(record, lub.lub_f_formatted ? ' ' : '\0', static_cast<size_t>(lub.lub_rec_bytes));
  if (lub.lub_f_legacy_defaults) *record = kDeleted;
  const bool written = for__write_output(&lub, record, lub.lub_rec_bytes) >= 0;
  if (!written) lub.lub_errno = errno;
  return written ? write_held_output(lub, MSG_DELETE_ERROR) : int{MSG_DELETE_ERROR};
}

int delete_record(For_Lub& lub, bool current, u64 record) {
  if (const int code = check_deletion(lub, current, record)) return code;
  if (const int code = go_to_record(lub, record)) return code;
  if (const int code = overwrite_record(lub)) return code;
  ++lub.lub_next_rec;
  return store_associated_variable(lub);
}

}  // namespace

int for_find(For_Context* ctx, int unit, For_IO_Flags flags, u64 record, ...) {
  TAMRUN_CONTROL_LIST(control, flags, record);
  const Statement_Start start = begin_positioning(STMT_FIND, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (!lub.lub_f_direct) return fail_statement(lub, MSG_OPEN_REQUIRED);
  if (const int code = connect_unit(lub, flags, kConnectDirect, kConnectUnformatted))
    return report_failure(FOR_IOR_ABANDON, code, code, &lub);
  if (const int code = find_record(lub, record)) return fail_statement(lub, code);
  return end_positioning(lub);
}

int for_delete(For_Context* ctx, int unit, For_IO_Flags flags, u64 record, ...) {
  TAMRUN_CONTROL_LIST(control, flags, record);
  const Statement_Start start = begin_positioning(STMT_DELETE, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  if (const int code = delete_record(lub, (flags & kCurrentRecord) != 0, record)) return fail_statement(lub, code);
  return end_positioning(lub);
}
