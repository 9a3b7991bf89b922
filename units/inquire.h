// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// INQUIRE: what is asked, about what, and the answers.
#ifndef TAMRUN_UNITS_INQUIRE_H
#define TAMRUN_UNITS_INQUIRE_H

#include "tamrun/io_flags.h"
#include "tamrun/lub.h"
#include "tamrun/open_args.h"

/// A variable that takes an answer. A number's has an item type, a text's a length.
struct Inquire_Variable {
  u8 key;
  u8 type;
  i64 length;
  void* address;
};

/// Counted text that the program gives; null when it does not.
struct Inquire_Text {
  const char* text;
  i64 length;
};

struct For_Inquire_Args {
  Inquire_Text file, default_file, directory;
  char* iomsg;
  i64 iomsg_length;
  bool id_given;
  i64 id;
  int count;
  Inquire_Variable variable[KEY_LAST];  ///< the first `count`, in the order of the list
};

/// What the questions are about.
struct Inquire_Subject {
  For_Lub* lub;        ///< null: no unit
  For_IO_Flags flags;  ///< of the statement
  const char* path;    ///< computed from FILE=, or null
  bool exists;

  bool connected() const { return lub != nullptr && lub->lub_f_connected; }
  bool formatted() const { return lub != nullptr && lub->lub_f_formatted; }
  bool compat() const { return lub != nullptr ? lub->lub_f_compat_io : (flags & iof_compat_io) != 0; }
};

extern "C" {
/// Fills the block from the keyword list: 0 or MSG_INVALID_ARGUMENT. *exist_only tells that nothing is asked but what
/// the file's name answers: EXIST= and the full path.
[[nodiscard]] int for__inquire_args(const u8* keys, void* values, For_Inquire_Args* args, int* exist_only);
}

/// True when the key's variable takes text; false for the numbers and logicals.
bool inquire_answer_is_text(int key);
/// True when INQUIRE has an answer for the key.
bool inquire_has_answer(int key);

/// Stores the answers: 0, MSG_INVALID_ARGUMENT or MSG_ID_RANGE.
[[nodiscard]] int answer_inquire(const Inquire_Subject& subject, const For_Inquire_Args& args);

#endif
