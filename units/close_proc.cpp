// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Disconnecting a unit.

#include "core/failure.h"
#include "records/buffer.h"
#include "units/connection.h"
#include "units/file_info_table.h"
#include "units/unit_table.h"

#include <errno.h>

namespace {

/// Brings everything that the unit holds back to the file: 0 or MSG_WRITE_ERROR.
int finish_output(For_Lub& lub) {
  int result = 0;
  For_File_Info* file = lub.lub_a_file_info;
  if (lub.lub_f_formatted && file != nullptr && file->fi_record_open && file->saved_lub == &lub) {
    result = for__put_sf(&lub);
    file->fi_record_open = 0;
  }
  if (file != nullptr && lub.lub_cc == CC_FORTRAN && (file->fi_cc_after_cr || file->fi_cc_after_prompt)) {
    const u8 line_feed = '\n';
    if (for__write_output(&lub, &line_feed, sizeof line_feed) < 0) result = MSG_WRITE_ERROR;
    file->fi_cc_after_cr = file->fi_cc_after_prompt = 0;
  }
  if (lub.lub_f_buffer_held)
    if (const int status = for__flush_file_buffer(&lub)) result = status;
  return result;
}

/// Lets go of the descriptor: 0 or MSG_CLOSE_ERROR.
int release_descriptor(For_Lub& lub) {
  if (lub.lub_fd == STDIN_FILENO && lub.lub_read_ahead != 0) {
    // The next reader of standard input, a child process perhaps, gets what was read ahead.
    if (lseek(lub.lub_fd, -lub.lub_read_ahead, SEEK_CUR) >= 0) lub.lub_read_ahead = 0;
  }
  if (is_standard_stream(lub.lub_fd) || close(lub.lub_fd) == 0) return 0;
  lub.lub_errno = errno;
  return MSG_CLOSE_ERROR;
}

}  // namespace

extern "C" int for__close_proc(For_Lub* lub, const For_Open_Args*) {
  int result = finish_output(*lub);
  if (For_File_Info* file = lub->lub_a_file_info) file->fi_read_open = 0;
  if (const int status = for__rm_from_lf_table(lub)) result = status;
  if (const int status = release_descriptor(*lub)) result = status;
  (void)free_connection(*lub);
  if (lub->lub_f_closing)
    lub->lub_f_connected = 0;
  else
    wipe_lub(*lub);
  return result;
}

extern "C" int for__close_default(For_Lub* lub, int release) {
  const int unit = lub->lub_unit;
  if (release) lub->lub_f_closing = 1;
  int status = for__close_proc(lub, nullptr);
  if (status == 0 && release) status = for__deallocate_lub(unit);
  return status == 0 ? 0 : report_failure(FOR_IOR_RELEASE, status, status, lub);
}
