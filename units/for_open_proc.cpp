// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Makes of the arguments of an OPEN a live connection.

#include "core/start.h"
#include "units/connection_sizes.h"
#include "units/conversion_options.h"
#include "units/file_info_table.h"
#include "units/lub_lock.h"
#include "units/unit_table.h"

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>

namespace {

/// Finds the file's name, or its descriptor where there is no need to open it: 0 or a message number.
int name_file(Opening& o) {
  For_Lub& lub = o.lub;
  char path[kMaxFileName + 1];
  if (has_descriptor(o[OPENW_DESCRIPTOR])) {
    // A name of its own keeps the unit's line ends apart from those of other descriptors.
    snprintf(path, sizeof path, "/proc/%d/fd/%d", static_cast<int>(getpid()), descriptor_of(o[OPENW_DESCRIPTOR]));
  } else {
    For_File_Name_Args name = {o[OPENW_STATUS], reinterpret_cast<const char*>(o[OPENW_FILE]),
                               static_cast<i64>(o[OPENW_FILE_LEN]), reinterpret_cast<const char*>(o[OPENW_DEFAULTFILE]),
                               static_cast<i64>(o[OPENW_DEFAULTFILE_LEN])};
    int needs_open, positionable;
    if (const int status = for__compute_filename(&lub, &name, path, &needs_open, &positionable)) return status;
    o.needs_open = needs_open != 0;
    o.positionable = positionable != 0;
  }
  if (const int status = store_file_name(lub, path)) return status;
  if (lub.lub_next_rec == 0) lub.lub_next_rec = 1;
  return 0;
}

u8 default_carriage_control(const For_Lub& lub) {
  if (lub.lub_rectype == RECTYPE_FIXED)
    return lub.lub_f_direct && lub.lub_f_formatted && lub.lub_f_compat_io ? CC_LIST : CC_NONE;
  if (prints_on_standard_output(lub) && lub.lub_cc_default != CC_UNSET) return lub.lub_cc_default;
  const bool terminal = lub.lub_f_formatted && isatty(lub.lub_fd);
  if (lub.lub_f_compat_io) return terminal || lub.lub_stream_kind == STREAM_CONSOLE_OUT ? CC_FORTRAN : CC_LIST;
  return terminal && lub.lub_f_legacy_defaults ? CC_FORTRAN : CC_LIST;
}

/// Lets the process at the other end of a FIFO come up: 0 or MSG_OPEN_FAILURE.
int wait_for_peer(For_Lub& lub) {
  timespec wait = {0, 50};
  while (nanosleep(&wait, &wait) != 0) {
    if (errno == EINTR) continue;
    lub.lub_errno = errno;
    return MSG_OPEN_FAILURE;
  }
  return 0;
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
  lub.lub_f_seekable = st.st_nlink != 0 && !fifo && !S_ISSOCK(st.st_mode) && !isatty(lub.lub_fd);
  return fifo ? wait_for_peer(lub) : 0;
}

/// Joins the units on the same file, and ends the line that one of them left open.
int join_file(For_Lub& lub) {
  if (!lub.lub_f_formatted) return 0;
  if (const int status = for__add_to_lf_table(&lub)) return status;
  if (!lub.lub_a_file_info->fi_record_open || in_child_statement(lub)) return 0;
  return write_held_record(lub, false);
}

/// Everything that is known without the file.
int settle_keywords(Opening& o, Connection_Sizes& sizes) {
  For_Lub& lub = o.lub;
  if (const int status = settle_connection_keywords(o)) return status;
  if (const int status = sizes.settle_record()) return status;
  lub.lub_a_assoc_var = reinterpret_cast<void*>(o[OPENW_ASSOC_VAR]);
  lub.lub_assoc_var_type = static_cast<u8>(o[OPENW_ASSOC_VAR_TYPE]);
  lub.lub_maxrec = static_cast<i64>(o[OPENW_MAXREC]);
  if (const int status = settle_mode_keywords(o)) return status;
  const bool console = lub.lub_fd == STDOUT_FILENO || lub.lub_fd == STDERR_FILENO;
  lub.lub_stream_kind = console ? i64{STREAM_CONSOLE_OUT} : stream_kind_of(lub);
  sizes.settle_buffering();
  return 0;
}

/// Opens the file, locks it, and moves to where the unit begins.
int attach_file(Opening& o, Connection_Sizes& sizes, i64* file_block) {
  For_Lub& lub = o.lub;
  if (const int status = open_file(o)) return status;
  if (const int status = lock_file(lub)) return status;
  if (lub.lub_cc == CC_UNSET) lub.lub_cc = default_carriage_control(lub);
  sizes.add_carriage_control();
  struct stat st;
  if (const int status = examine_descriptor(lub, st)) return status;
  *file_block = st.st_blksize;
  if (const int status = join_file(lub)) return status;
  if (lub.lub_f_direct && !lub.lub_f_seekable) return MSG_FILE_ORGANIZATION;
  return position_file(o);
}

/// The buffer, the state block and what the environment says of the data.
int equip(Opening& o, Connection_Sizes& sizes, i64 file_block) {
  For_Lub& lub = o.lub;
  if (const int status = sizes.settle_buffer(file_block)) return status;
  if (lub.lub_f_formatted) {
    if (const int status = allocate_state_block(lub)) return status;
    if (lub.lub_stream_kind != STREAM_CONSOLE_OUT && o[OPENW_RECORDTYPE] == 0)
      if (const int status = for__set_terminator_option(&lub)) return status;
  } else if (const int status = for__set_foreign_bits(&lub, &o.args)) {
    return status;
  }
  sizes.make_virtual();
  return sizes.allocate_buffer();
}

}  // namespace

extern "C" int for__open_proc(For_Open_Args* args, For_Lub* lub) {
  u64* const word = args->word;
  if (lub->lub_f_compat_io && word[OPENW_DEFAULT_CONNECTION] == 0 && word[OPENW_FILE] == 0 && word[OPENW_STATUS] == 0) {
    word[OPENW_STATUS] = STATUS_SCRATCH;
  }
  Opening o = {*args, *lub};
  if (const int status = name_file(o)) return status;
  Connection_Sizes sizes(o);
  if (const int status = settle_keywords(o, sizes)) return status;
  i64 file_block = 0;
  if (const int status = attach_file(o, sizes, &file_block)) return status;
  if (const int status = equip(o, sizes, file_block)) return status;

  if (lub->lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL && o.positionable && lseek(lub->lub_fd, 0, SEEK_CUR) == 0) {
    lub->lub_f_check_file_mark = 1;
  }
  lub->lub_f_connected = 1;
  announce_unit_to_close();
  return 0;
}
