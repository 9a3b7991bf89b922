// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A connection in the making. The steps run in the order of for__open_proc, because the first failure is the one that
// is reported.
#ifndef TAMRUN_UNITS_OPENING_H
#define TAMRUN_UNITS_OPENING_H

#include "tamrun/messages.h"
#include "units/connection.h"
#include "units/file_name.h"
#include "units/open.h"

#include <fcntl.h>
#include <sys/types.h>

struct Opening {
  For_Open_Args& args;
  For_Lub& lub;
  bool needs_open = false;    ///< the file is still to be opened by name
  bool positionable = false;  ///< a named file or a scratch file
  int open_flags = O_RDWR;
  mode_t mode = 0;  ///< permissions of a file that may be created

  /// Value of a keyword, 0 when it is absent.
  u64 operator[](For_Open_Word word) const { return args.word[word]; }

  /// The specific message where the program asked for such, else the general one.
  int refuse(int specific, int general) const { return lub.lub_f_f90_messages ? specific : general; }
  /// A keyword that contradicts what is settled already.
  int contradiction() const { return MSG_INCONSISTENT_OPEN_CLOSE; }

  bool on_standard_stream() const {
    if (has_descriptor(args.word[OPENW_DESCRIPTOR]))
      return is_standard_stream(descriptor_of(args.word[OPENW_DESCRIPTOR]));
    return !needs_open && is_standard_stream(lub.lub_fd);
  }
};

/// Mode, access, form, records: everything that the keywords say before sizes are known. 0 or a message number.
[[nodiscard]] int settle_connection_keywords(Opening& o);

/// DELIM=, PAD=, POSITION=, SHARE= and the modes of editing: 0 or a message number.
[[nodiscard]] int settle_mode_keywords(Opening& o);

/// Kind of the connection by FORM and ACCESS.
i64 stream_kind_of(const For_Lub& lub);

/// Gives the unit its descriptor: 0 or the message of errno, which lub_errno keeps.
[[nodiscard]] int open_file(Opening& o);

/// Takes the lock that SHARE= asked for: 0 or a message number.
[[nodiscard]] int lock_file(For_Lub& lub);
/// Gives it back: 0, MSG_CLOSE_ERROR or MSG_INVALID_ARGUMENT.
[[nodiscard]] int unlock_file(For_Lub& lub);

/// STATUS='REPLACE', POSITION= and ACCESS='APPEND' of an open file: 0 or a message number.
[[nodiscard]] int position_file(Opening& o);

#endif
