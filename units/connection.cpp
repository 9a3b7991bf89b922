// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Steps that every connection of a unit to a descriptor goes through.

#include "units/connection.h"

#include "core/environment.h"
#include "core/heap.h"
#include "core/start.h"
#include "tamrun/messages.h"
#include "units/connection_sizes.h"
#include "units/file_info_table.h"
#include "units/unit_table.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

namespace {

/// Room behind a file name.
constexpr size_t kNameSlack = 10;

bool prints_on_standard_output(const For_Lub& lub) {
  return lub.lub_unit == UNIT_TYPE || lub.lub_unit == UNIT_PRINT || lub.lub_unit == UNIT_STDOUT;
}

u8 default_record_type(const For_Lub& lub) {
  if (!lub.lub_f_sequential) return RECTYPE_FIXED;
  if (lub.lub_f_formatted) return RECTYPE_STREAM_LF;
  return lub.lub_f_unformatted && !lub.lub_f_stream ? RECTYPE_VARIABLE : RECTYPE_STREAM;
}

i64 stream_kind(const For_Lub& lub) {
  if (lub.lub_fd == STDOUT_FILENO || lub.lub_fd == STDERR_FILENO) return STREAM_CONSOLE_OUT;
  if (lub.lub_f_formatted) return STREAM_FMT_SEQUENTIAL;
  return lub.lub_f_ms_unformatted ? STREAM_MS_UNF_SEQUENTIAL : STREAM_UNF_SEQUENTIAL;
}

u8 default_carriage_control(const For_Lub& lub) {
  if (!lub.lub_f_formatted || lub.lub_rectype == RECTYPE_FIXED) return CC_NONE;
  if (prints_on_standard_output(lub) && lub.lub_cc_default != CC_UNSET) return lub.lub_cc_default;
  const bool terminal = isatty(lub.lub_fd);
  if (lub.lub_f_compat_io) return terminal || lub.lub_stream_kind == STREAM_CONSOLE_OUT ? CC_FORTRAN : CC_LIST;
  return terminal && lub.lub_f_legacy_defaults ? CC_FORTRAN : CC_LIST;
}

/// Asks the system what the descriptor is: 0, MSG_CANNOT_STAT or MSG_OPEN_FAILURE.
int examine_descriptor(For_Lub& lub, struct stat& st) {
  st = {};
  if (fstat(lub.lub_fd, &st) != 0) {
    if (errno == EOPNOTSUPP) return 0;
    lub.lub_errno = errno;
    return MSG_CANNOT_STAT;
  }
  const bool fifo = S_ISFIFO(st.st_mode);
  if (fifo) {
    // Lets the process at the other end come up.
    timespec wait = {0, 50};
    while (nanosleep(&wait, &wait) != 0)
      if (errno != EINTR) return MSG_OPEN_FAILURE;
  }
  lub.lub_f_seekable = st.st_nlink != 0 && !fifo && !S_ISSOCK(st.st_mode) && !isatty(lub.lub_fd);
  return 0;
}

/// Buffering of records on output; no keyword asks for it here.
void settle_buffering(For_Lub& lub) {
  lub.lub_f_buffered = lub.lub_f_user_buffered = 0;
  if (for_check_env_name("FORT_NO_BUFFERING")) {
    lub.lub_buffer_threshold = 1;
    lub.lub_f_threshold_set = 1;
    return;
  }
  if (!is_standard_stream(lub.lub_fd)) {
    lub.lub_f_buffered = lub.lub_f_user_buffered = lub.lub_f_buffered_default || for_check_env_name("FORT_BUFFERED");
  } else if (prints_on_standard_output(lub)) {
    lub.lub_f_buffered = lub.lub_f_buffer_stdout || for_check_env_name("FORT_BUFFER_STDOUT");
  }
}

/// Joins the units on the same file, and ends the line that one of them left open.
int join_file(For_Lub& lub) {
  if (!lub.lub_f_formatted) return 0;
  if (const int status = for__add_to_lf_table(&lub)) return status;
  if (!lub.lub_a_file_info->fi_record_open || in_child_statement(lub)) return 0;
  return write_held_record(lub, false);
}

int allocate_buffer(For_Lub& lub) {
  void* buffer;
  if (const int status = for__get_vm(lub.lub_buffer_size + static_cast<i64>(sizeof kBufferGuard), 0, &buffer))
    return status;
  lub.lub_a_buffer = static_cast<u8*>(buffer);
  memcpy(lub.lub_a_buffer + lub.lub_buffer_size, kBufferGuard, sizeof kBufferGuard);
  lub.lub_a_cursor = lub.lub_a_read_end = lub.lub_a_buffer;
  lub.lub_a_rec_end = lub.lub_a_buffer + lub.lub_rec_bytes;
  return 0;
}

}  // namespace

int store_file_name(For_Lub& lub, const char* name) {
  const size_t length = strlen(name);
  void* copy;
  if (const int status = for__get_vm(static_cast<i64>(length + kNameSlack), 0, &copy)) return status;
  memcpy(copy, name, length + 1);
  lub.lub_a_file_name = static_cast<char*>(copy);
  lub.lub_name_len = static_cast<i16>(length);
  return 0;
}

int connect_descriptor(For_Lub& lub, bool positionable) {
  if (lub.lub_next_rec == 0) lub.lub_next_rec = 1;
  lub.lub_org = ORG_SEQUENTIAL;
  lub.lub_rectype = default_record_type(lub);
  if (!lub.lub_f_legacy_defaults) lub.lub_f_blank_null = 1;
  lub.lub_f_pad = lub.lub_f_f90_rtl;
  lub.lub_stream_kind = stream_kind(lub);

  Connection_Sizes sizes(lub);
  if (const int status = sizes.settle_record()) return status;
  settle_buffering(lub);
  lub.lub_cc = default_carriage_control(lub);
  sizes.add_carriage_control();

  struct stat st;
  if (const int status = examine_descriptor(lub, st)) return status;
  if (const int status = join_file(lub)) return status;
  if (positionable) lub.lub_f_at_end = 1;
  lub.lub_f_truncate_on_write = lub.lub_f_seekable;

  if (const int status = sizes.settle_buffer(st.st_blksize)) return status;
  if (lub.lub_f_formatted)
    if (const int status = allocate_state_block(lub)) return status;
  sizes.make_virtual();
  if (const int status = allocate_buffer(lub)) return status;
  lub.lub_f_connected = 1;
  for__l_exit_hand_decl = 1;
  return 0;
}
