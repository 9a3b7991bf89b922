// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Disconnecting a unit.

#include "core/failure.h"
#include "records/buffer.h"
#include "units/file_info_table.h"
#include "units/opening.h"
#include "units/unit_table.h"

#include <errno.h>

namespace {

int close_failure(For_Lub& lub) {
  lub.lub_errno = errno;
  return MSG_CLOSE_ERROR;
}

/// Puts out what is left of the record that the unit is at: 0 or a message number.
int finish_record(For_Lub& lub) {
  lub.lub_f_pad = 0;
  int result = 0;
  if (lub.lub_f_ufseq_write_open) {
    result = for__finish_ufseq_write(&lub);
    lub.lub_f_ufseq_write_open = 0;
  }
  For_File_Info* file = lub.lub_a_file_info;
  if (!lub.lub_f_formatted || file == nullptr) return result;
  if (file->fi_record_open && file->saved_lub == &lub) {
    if (const int status = for__put_sf(&lub)) result = status;
  }
  if (lub.lub_cc == CC_FORTRAN && (file->fi_cc_after_cr || file->fi_cc_after_prompt)) {
    const u8 line_feed = '\n';
    if (for__write_output(&lub, &line_feed, 1) < 0) result = close_failure(lub);
    file->fi_cc_after_cr = file->fi_cc_after_prompt = 0;
  }
  file->fi_record_open = file->fi_read_open = 0;
  return result;
}

/// The next reader of standard input, a child process perhaps, gets what was read ahead.
void give_read_ahead_back(For_Lub& lub) {
  const i64 ahead = lub.lub_f_read_ahead || lub.lub_read_ahead != 0 ? read_ahead_bytes(lub) : 0;
  if (ahead > 0 && lseek(lub.lub_fd, -ahead, SEEK_CUR) >= 0) lub.lub_read_ahead = 0;
}

/// Brings held output to the file and lets go of the descriptor: 0 or MSG_CLOSE_ERROR.
int release_descriptor(For_Lub& lub) {
  int result = 0;
  if (lub.lub_fd == STDIN_FILENO)
    give_read_ahead_back(lub);
  else if (for__write_output(&lub, nullptr, 0) < 0)
    result = close_failure(lub);
  if (!is_standard_stream(lub.lub_fd) && close(lub.lub_fd) != 0) result = close_failure(lub);
  lub.lub_fd = 0;
  return result;
}

}  // namespace

extern "C" int for__close_proc(const For_Close_Args* args, For_Lub* lub_pointer) {
  For_Lub& lub = *lub_pointer;
  if (args != nullptr) {
    if (const int status = set_disposition(lub, args->disposition, !lub.lub_f_readonly_keyword)) return status;
  }
  int result = finish_record(lub);
  if (const int status = for__rm_from_lf_table(&lub)) result = status;
  if (const int status = unlock_file(lub)) result = status;
  if (const int status = release_descriptor(lub)) result = status;
  if (const int status = dispose_of_file(lub)) result = status;
  const i64 cause = lub.lub_errno;
  (void)free_connection(lub);
  if (lub.lub_f_closing)
    lub.lub_f_connected = 0;
  else
    wipe_lub(lub);
  if (result != 0) lub.lub_errno = cause;
  return result;
}

extern "C" int for__close_default(For_Lub* lub, int release) {
  const int unit = lub->lub_unit;
  if (release) lub->lub_f_closing = 1;
  int status = for__close_proc(nullptr, lub);
  if (status == 0 && release) status = for__deallocate_lub(unit);
  return status == 0 ? 0 : report_failure(FOR_IOR_RELEASE, status, status, lub);
}
