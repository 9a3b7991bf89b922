// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The INQUIRE statement: by unit, by file, by directory.

#include "core/failure.h"
#include "tamrun/hooks.h"
#include "tamrun/tamrun.h"
#include "units/connection_options.h"
#include "units/file_name.h"
#include "units/inquire.h"
#include "units/open.h"
#include "units/specifiers.h"
#include "units/unit_table.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

namespace {

struct Inquiry {
  For_Context* ctx;
  int unit;
  Specifiers specifiers;
  For_Inquire_Args args;
  int exist_only;
};

/// The path of a file that the program names, compared with those of connected units.
class Sought_File {
 public:
  explicit Sought_File(const char* path) : path_(path), resolved_(realpath(path, real_) != nullptr) {}

  bool is_file_of(const For_Lub& lub) const {
    if (!lub.lub_f_connected || lub.lub_a_file_name == nullptr) return false;
    if (strcmp(path_, lub.lub_a_file_name) == 0) return true;
    char other[PATH_MAX];
    return resolved_ && realpath(lub.lub_a_file_name, other) != nullptr && strcmp(real_, other) == 0;
  }

 private:
  const char* path_;
  char real_[PATH_MAX];
  bool resolved_;
};

/// The unit that is connected to the file, held; *out is null when there is none. 0 or a message number.
int find_connected(const char* path, For_Lub** out) {
  const Sought_File sought(path);
  For_Lub* lub = nullptr;
  for (int index = -1;;) {
    if (const int code = for__get_next_lub(&lub, &index, STMT_INQUIRE)) return code;
    if (index == -1) break;
    if (sought.is_file_of(*lub)) {
      *out = lub;
      return 0;
    }
    (void)for__release_lun(lub->lub_unit);
  }
  return for__aio_acquire_lun_fname(path, STMT_INQUIRE, out);
}

/// Whether the name stands for what is asked about: a directory, or anything else.
bool exists_in_system(const char* path, bool directory) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode) == directory;
}

/// Asks by file or directory: 0 or a message number. A name that cannot be told is reported behind the answers.
int ask_by_file(const Inquiry& q) {
  const For_Inquire_Args& args = q.args;
  For_Lub scratch = {};
  store_connection_options(scratch, q.specifiers.flags);
  const bool directory = args.file.text == nullptr;
  const Inquire_Text& name = directory ? args.directory : args.file;
  For_File_Name_Args names = {0, name.text, name.length, args.default_file.text, args.default_file.length};
  File_Name_Buffer path;
  int needs_open = 0, positionable = 0;
  const int unnamed = for__compute_filename(&scratch, &names, path, &needs_open, &positionable);

  Inquire_Subject subject = {nullptr, q.specifiers.flags, unnamed == 0 ? path : nullptr, false};
  if (unnamed == 0 && !directory && !q.exist_only) {
    if (const int code = find_connected(path, &subject.lub)) return code;
  }
  subject.exists = subject.lub != nullptr || (unnamed == 0 && exists_in_system(path, directory));
  const int code = answer_inquire(subject, args);
  if (subject.lub != nullptr) {
    if (const int failed = for__release_lun(subject.lub->lub_unit)) return failed;
  }
  return unnamed != 0 ? unnamed : code;
}

/// A console unit tells which file a variable gives it, before anything has connected it.
void settle_default_unit(For_Lub& lub, For_IO_Flags flags) {
  if (lub.lub_default_state == DEFAULT_ORDINARY || lub.lub_f_connected || lub.lub_f_closed_default) return;
  store_connection_options(lub, flags);
  (void)for__open_default(&lub, -1, -1, -1);
}

/// Asks by unit, which the program may be in the middle of a statement on: 0, or what compiled code gets.
int ask_by_unit(const Inquiry& q) {
  const For_IO_Flags flags = q.specifiers.flags;
  if (q.unit >= 0) for__aio_wait_for_inquire(q.ctx, q.unit);
  Inquire_Subject subject = {nullptr, flags, nullptr, false};
  const int missing = for__acquire_lun(q.unit, &subject.lub, q.ctx, STMT_INQUIRE);
  if (missing == MSG_INVALID_UNIT) {
    const int code = answer_inquire(subject, q.args);
    return code != 0 ? fail_without_unit(code, q.unit, q.specifiers) : 0;
  }
  if (missing != 0) return fail_without_unit(missing, q.unit, q.specifiers);

  For_Lub& lub = *subject.lub;
  subject.exists = true;
  settle_default_unit(lub, flags);
  const int code = answer_inquire(subject, q.args);
  if (const int failed = for__release_lun(lub.lub_unit)) return fail_without_unit(failed, q.unit, q.specifiers);
  return code != 0 ? fail_without_unit(code, q.unit, q.specifiers) : 0;
}

}  // namespace

int for_inquire(For_Context* ctx, int unit, For_IO_Flags given, const u8* keys, void* values) {
  Inquiry q;
  q.ctx = ctx;
  q.unit = unit;
  q.specifiers = {effective_io_flags(given)};
  const int bad = for__inquire_args(keys, values, &q.args, &q.exist_only);
  q.specifiers.iomsg = q.args.iomsg;
  q.specifiers.iomsg_length = q.args.iomsg_length;
  if (bad != 0) return fail_without_unit(bad, unit, q.specifiers);
  if (q.args.file.text == nullptr && q.args.directory.text == nullptr) {
    const int result = ask_by_unit(q);
    // Inside a statement of the thread the unit is not given back, which would end the context.
    if (ctx != nullptr) ctx->ctx_lub = nullptr;
    return result;
  }
  const int code = ask_by_file(q);
  return code != 0 ? fail_without_unit(code, unit, q.specifiers) : 0;
}
