// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Which file a unit means: from FILE=, the environment, the command line or the unit number to a full path.

#include "units/file_name.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "core/failure.h"
#include "core/start.h"
#include "tamrun/open_args.h"
#include "units/name_dialogue.h"

namespace {

using std::string_view;
using namespace std::string_view_literals;

/// Longest DEFAULTFILE=, which leaves room for a '/'.
constexpr i64 kMaxDirectory = kMaxFileName - 1;

constexpr int kGetcwdTries = 5;

/// mkstemp replaces the letters X.
constexpr string_view kScratchName = "fortXXXXXX";

/// A path under construction in a buffer of kMaxFileName + 1 bytes.
class Path {
 public:
  explicit Path(char* out) : out_(out) { clear(); }

  void clear() { out_[length_ = 0] = '\0'; }
  string_view text() const { return {out_, length_}; }

  /// 0, or MSG_PATH_TOO_LONG with nothing appended.
  [[nodiscard]] int append(string_view part) {
    if (part.size() > kMaxFileName - length_) return MSG_PATH_TOO_LONG;
    length_ += part.copy(out_ + length_, part.size());
    out_[length_] = '\0';
    return 0;
  }
  /// Appends '/' unless the path ends in one.
  [[nodiscard]] int append_slash() { return text().ends_with('/') ? 0 : append("/"); }

 private:
  char* out_;
  size_t length_;
};

/// A text from the program, whose length may be anything.
string_view given_text(const char* text, i64 length) { return {text, static_cast<size_t>(std::max<i64>(length, 0))}; }

/// A name whose "~" before "/" has given way to HOME, or to nothing without HOME.
struct Expanded_Name {
  string_view home, rest;

  explicit Expanded_Name(string_view name) : rest(name) {
    if (!name.starts_with("~/")) return;
    rest.remove_prefix(1);
    if (const char* value = getenv("HOME")) home = value;
  }
  bool is_absolute() const { return (home.empty() ? rest : home).starts_with('/'); }
  [[nodiscard]] int append_to(Path& path) const {
    const int status = path.append(home);
    return status != 0 ? status : path.append(rest);
  }
};

/// Starts a path with the directory of relative names: 0 or MSG_PATH_TOO_LONG.
int append_directory(const For_File_Name_Args& ctx, Path& path) {
  if (ctx.default_file != nullptr) {
    if (ctx.default_file_length > kMaxDirectory) return MSG_PATH_TOO_LONG;
    return Expanded_Name(trim_file_name(given_text(ctx.default_file, ctx.default_file_length))).append_to(path);
  }
  char here[kMaxFileName + 1];
  for (int tries = 0; tries < kGetcwdTries; ++tries) {
    if (getcwd(here, sizeof here) != nullptr) return path.append(trim_file_name(here));
  }
  return path.append("./");
}

/// Writes the full path of a file's name: 0 or MSG_PATH_TOO_LONG.
int complete_name(string_view name, const For_File_Name_Args& ctx, char* out) {
  Path path(out);
  const Expanded_Name expanded(name);
  if (!expanded.is_absolute()) {
    if (const int status = append_directory(ctx, path)) return status;
    if (const int status = path.append_slash()) return status;
  }
  return expanded.append_to(path);
}

/// True when the directory can be read.
bool can_open_directory(const char* name) {
  const int fd = open(name, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  close(fd);
  return true;
}

/// Makes of a directory the template of a scratch file in it: 0 or MSG_PATH_TOO_LONG.
int append_scratch_name(Path& path) {
  const int status = path.append_slash();
  return status != 0 ? status : path.append(kScratchName);
}

/// Writes the template of a scratch file in the first directory that there is: 0 or MSG_PATH_TOO_LONG.
int choose_scratch_name(const For_File_Name_Args& ctx, char* out) {
  Path path(out);
  for (const char* variable : {"FORT_TMPDIR", "TMPDIR"}) {
    const char* directory = getenv(variable);
    if (directory == nullptr) continue;
    path.clear();
    if (const int status = path.append(directory)) return status;
    if (const int status = append_scratch_name(path)) return status;
    if (can_open_directory(directory)) return 0;
  }
  path.clear();
  if (const int status = append_directory(ctx, path)) return status;
  const bool usable = can_open_directory(out);
  if (const int status = append_scratch_name(path)) return status;
  if (usable) return 0;
  path.clear();
  return path.append(kScratchName);
}

/// Makes the unit's scratch file: 0 or MSG_PATH_TOO_LONG. lub_fd is -1, with errno set, when the system refuses.
int make_scratch_file(For_Lub& lub, const For_File_Name_Args& ctx, char* out) {
  if (const int status = choose_scratch_name(ctx, out)) return status;
  lub.lub_fd = mkstemp(out);
  return 0;
}

/// The stream that a default unit means when no file is named, or null.
FILE* standard_stream(int unit) {
  switch (unit) {
    case UNIT_READ:
    case UNIT_ACCEPT:
    case UNIT_STDIN:
      return stdin;
    case UNIT_TYPE:
    case UNIT_PRINT:
    case UNIT_STDOUT:
      return stdout;
    case UNIT_STDERR:
      return stderr;
    default:
      return nullptr;
  }
}

enum class Name_Kind : u8 {
  file,     ///< to be completed
  path,     ///< complete already
  console,  ///< of a stream whose descriptor is in lub_fd
};

struct Base_Name {
  string_view text;
  Name_Kind kind = Name_Kind::file;
};

Base_Name console_name(For_Lub& lub, File_Name_Buffer& buffer) {
  lub.lub_fd = fileno(standard_stream(lub.lub_unit));
  if (ttyname_r(lub.lub_fd, buffer, sizeof buffer) != 0) fname_from_piped_fd(lub.lub_fd, getpid(), buffer);
  return {buffer, Name_Kind::console};
}

/// The name of the unit's file before it is completed. A blank one is still to be found.
Base_Name choose_name(For_Lub& lub, For_File_Name_Args& ctx, File_Name_Buffer& buffer) {
  const int unit = lub.lub_unit;
  if (const char* variable = unnumbered_unit_variable(lub)) {
    if (const char* value = getenv(variable)) return {value};
    return console_name(lub, buffer);
  }
  if (ctx.file != nullptr) return {given_text(ctx.file, ctx.file_length)};

  snprintf(buffer, sizeof buffer, "FORT%d", unit);
  if (const char* value = getenv(buffer)) return {value};
  if (standard_stream(unit) != nullptr) return console_name(lub, buffer);
  if (lub.lub_f_files_from_cmd) return {};
  if (lub.lub_f_connected) {
    ctx.status = 0;
    return {lub.lub_a_file_name != nullptr ? lub.lub_a_file_name : ""sv, Name_Kind::path};
  }
  snprintf(buffer, sizeof buffer, "fort.%d", unit);
  return {buffer};
}

/// The next argument of the command line, used up by this, or an empty text.
string_view next_argument() {
  i32 index = __atomic_load_n(&for__l_current_arg, __ATOMIC_RELAXED);
  do {
    if (for__a_argv == nullptr || index >= for__l_argc) return {};
  } while (
      !__atomic_compare_exchange_n(&for__l_current_arg, &index, index + 1, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED));
  const char* argument = for__a_argv[index];
  return argument != nullptr ? trim_file_name(argument) : ""sv;
}

/// Finds a name for a unit that has a blank one, in the command line or by asking: 0 or a message number.
int find_blank_name(For_Lub& lub, File_Name_Buffer& buffer, string_view* name) {
  if (!lub.lub_f_files_from_cmd) return MSG_FILE_NAME;
  *name = next_argument();
  return name->empty() ? ask_for_file_name(lub, buffer, name) : 0;
}

}  // namespace

string_view trim_file_name(string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text.substr(0, text.find_last_not_of(" \0"sv) + 1);
}

const char* unnumbered_unit_variable(const For_Lub& lub) {
  if (lub.lub_f_files_from_cmd && !lub.lub_f_legacy_defaults) return nullptr;
  switch (lub.lub_unit) {
    case UNIT_READ:
      return "FOR_READ";
    case UNIT_ACCEPT:
      return "FOR_ACCEPT";
    case UNIT_TYPE:
      return "FOR_TYPE";
    case UNIT_PRINT:
      return "FOR_PRINT";
    default:
      return nullptr;
  }
}

extern "C" {

int for__compute_filename(For_Lub* lub, For_File_Name_Args* ctx, char* out, int* needs_open, int* positionable) {
  if (ctx->status == STATUS_SCRATCH && !lub->lub_f_connected) {
    if (ctx->file != nullptr) for__issue_diagnostic(MSG_FILE_SPECIFIER_IGNORED_WHEN_STATUS, 0);
    *needs_open = 0;
    *positionable = 1;
    return make_scratch_file(*lub, *ctx, out);
  }
  File_Name_Buffer buffer;
  Base_Name name = choose_name(*lub, *ctx, buffer);
  if (name.kind != Name_Kind::path) name.text = trim_file_name(name.text);
  if (name.text.empty()) {
    name.kind = Name_Kind::file;
    if (const int status = find_blank_name(*lub, buffer, &name.text)) return status;
  }
  if (name.text.size() > kMaxFileName) return MSG_PATH_TOO_LONG;

  *needs_open = *positionable = name.kind != Name_Kind::console;
  if (name.kind == Name_Kind::file) return complete_name(name.text, *ctx, out);
  return Path(out).append(name.text);
}

void fname_from_piped_fd(int fd, int pid, char* out) {
  const int length = sprintf(out, "/proc/%d/fd/", pid);
  if (fd < STDIN_FILENO || fd > STDERR_FILENO) return;
  out[length] = static_cast<char>('0' + fd);
  out[length + 1] = '\0';
}

}  // extern "C"
