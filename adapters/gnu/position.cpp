// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What moves a file's position or works on it past READ and WRITE. The library serves REWIND, BACKSPACE, ENDFILE, FLUSH,
// FTELL, FSEEK, FNUM and ISATTY of its units; the rest is the peer's and refused on them.

#include <unistd.h>

#include "adapters/gnu/console.h"
#include "adapters/gnu/keywords.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/refuse.h"
#include "adapters/gnu/units.h"
#include "port/for_portlib.h"
#include "tamrun/lub.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

namespace {

typedef int (*Positioning)(For_Context*, int, For_IO_Flags, ...);

/// A statement of ours that takes the outcome specifiers alone.
void position_ours(Gfc_Common& block, Positioning statement) {
  For_Context context{};
  For_IO_Flags flags = connection_flags(block.unit) | specifier_flags(block.flags);
  Keyword_List<1> control;
  control.text(block.flags & GFC_IOMSG, KEY_IOMSG, block.iomsg, block.iomsg_len);
  if (!control.empty()) flags |= iof_control_list;
  (void)store_result(block, statement(&context, block.unit, flags, control.list(), control.args()));
}

/// The library knows where it stands on a console as long as the peer has had no statement there: false, with nothing
/// done, if it has.
bool position_console(Console& console, Gfc_Common& block, Positioning statement) {
  console.lock();
  const bool ours = !console.peer_owned && !console.peer_seen;
  if (ours) {
    console.enter_ours();
    position_ours(block, statement);
    console.leave_ours();
  }
  console.unlock();
  return ours;
}

/// Ends the file of a console that both sides have written to: each knows of its own bytes, the descriptor of all. False,
/// with nothing done, for another.
bool end_shared_file(Console& console) {
  if (console.unit == UNIT_STDIN || console.peer_owned || !console.peer_seen) return false;
  console.lock();
  console.flush_ours();
  console.flush_peers();
  console.unlock();
  const int fd = console.unit == UNIT_STDERR ? STDERR_FILENO : STDOUT_FILENO;
  const off_t here = lseek(fd, 0, SEEK_CUR);
  [[maybe_unused]] const bool cut = here >= 0 && ftruncate(fd, here) == 0;  // a pipe or a device has no end to set
  return true;
}

/// Served by the unit's owner. A console that both sides have used is the peer's from then on.
void position(Gfc_Common* block, Positioning ours, void (*peer_call)(Gfc_Common*)) {
  start_library();
  if (owner_of(block->unit) == Owner::ours) return position_ours(*block, ours);
  Console* console = console_of(block->unit);
  if (console != nullptr && position_console(*console, *block, ours)) return;
  give_to_peer(block->unit);
  peer_call(block);
}

/// A character procedure of the peer that reads or writes a unit.
class Character_Call {
 public:
  Character_Call(i32 unit, const char* name) : console_(console_of(unit)) {
    start_library();
    if (owner_of(unit) == Owner::ours) refuse("%s is not served on unit %d", name, unit);
    if (console_ == nullptr) return;
    console_->lock();
    if (unit == UNIT_STDIN) console_->give_to_peer();
    console_->enter_peers();
  }
  ~Character_Call() {
    if (console_ == nullptr) return;
    console_->leave_peers();
    console_->unlock();
  }
  Character_Call(const Character_Call&) = delete;
  Character_Call& operator=(const Character_Call&) = delete;

 private:
  Console* console_;
};

/// Another program runs: what is held back goes out before what that prints.
void release_all_output() {
  start_library();
  flush_ours_if_free(nullptr);
  flush_our_files(nullptr);
}

template <class Integer>
void refuse_on_ours(const Integer* unit, const char* name) {
  const auto number = static_cast<i32>(*unit);
  if (owner_of(number) == Owner::ours) refuse("%s is not served on unit %d", name, number);
}

bool is_ours(i32 unit) { return owner_of(unit) == Owner::ours; }

/// What FTELL says when there is no position, or none that the variable holds.
constexpr int kNoOffset = -1;

/// -1 when there is none.
int descriptor_of(i32 unit) {
  i64 length = 0;
  return static_cast<int>(__msportlib_d_gethandle(unit, nullptr, &length));
}

}  // namespace

TAMRUN_ENTRY void _gfortran_st_rewind(Gfc_Common* block) { position(block, for_rewind, peer().st_rewind); }
TAMRUN_ENTRY void _gfortran_st_backspace(Gfc_Common* block) { position(block, for_backspace, peer().st_backspace); }

TAMRUN_ENTRY void _gfortran_st_endfile(Gfc_Common* block) {
  // The peer connects a unit that is not.
  Console* console = console_of(block->unit);
  if (console != nullptr && end_shared_file(*console)) return;
  if (serves_files() && block->unit >= 0 && console == nullptr) (void)claim(block->unit, Owner::peers);
  position(block, for_endfile, peer().st_endfile);
}

TAMRUN_ENTRY void _gfortran_st_flush(Gfc_Common* block) {
  if (owner_of(block->unit) == Owner::ours) return position_ours(*block, for_flush);
  flush_ours_if_free(&block->unit);
  peer().st_flush(block);
}

TAMRUN_ENTRY void _gfortran_flush_i4(i32* unit) {
  flush_ours_if_free(unit);
  flush_our_files(unit);
  if (unit == nullptr || owner_of(*unit) != Owner::ours) peer().flush_i4(unit);
}

TAMRUN_ENTRY void _gfortran_flush_i8(i64* unit) {
  i32 number = unit != nullptr ? static_cast<i32>(*unit) : 0;
  flush_ours_if_free(unit != nullptr ? &number : nullptr);
  flush_our_files(unit != nullptr ? &number : nullptr);
  if (unit == nullptr || owner_of(number) != Owner::ours) peer().flush_i8(unit);
}

// A unit of ours has nothing to wait for. The first name is that of older compilers.

TAMRUN_ENTRY void _gfortran_st_wait(Gfc_Common* block) {
  if (owner_of(block->unit) != Owner::ours) peer().st_wait(block);
}

TAMRUN_ENTRY void _gfortran_st_wait_async(Gfc_Common* block) {
  if (owner_of(block->unit) != Owner::ours) peer().st_wait_async(block);
}

// Procedures that would say about a unit of the library that it is not connected.

#define TAMGNU_UNIT_QUERY(name, label, result, parameters, arguments) \
  TAMRUN_ENTRY result _gfortran_##name parameters {                   \
    refuse_on_ours(unit, label);                                      \
    return peer().name arguments;                                     \
  }
TAMGNU_UNIT_QUERY(ttynam_sub, "TTYNAM", void, (i32 * unit, char* name, i64 length), (unit, name, length))
TAMGNU_UNIT_QUERY(fstat_i4, "FSTAT", i32, (i32 * unit, void* values), (unit, values))
TAMGNU_UNIT_QUERY(fstat_i8, "FSTAT", i64, (i64 * unit, void* values), (unit, values))
TAMGNU_UNIT_QUERY(fstat_i4_sub, "FSTAT", void, (i32 * unit, void* values, i32* status), (unit, values, status))
TAMGNU_UNIT_QUERY(fstat_i8_sub, "FSTAT", void, (i64 * unit, void* values, i64* status), (unit, values, status))

TAMRUN_ENTRY void _gfortran_ttynam(char** name, i64* length, i32 unit) {
  refuse_on_ours(&unit, "TTYNAM");
  peer().ttynam(name, length, unit);
}

// Served by the owner of the unit.

TAMRUN_ENTRY i64 _gfortran_ftell(i32* unit) {
  return is_ours(*unit) ? __msportlib_d_curpos_i8(*unit) : peer().ftell(unit);
}

#define TAMGNU_FTELL_SUB(name, type)                                                          \
  TAMRUN_ENTRY void _gfortran_##name(i32* unit, type* offset) {                               \
    if (!is_ours(*unit)) return peer().name(unit, offset);                                    \
    const i64 place = __msportlib_d_curpos_i8(*unit);                                         \
    *offset = place == static_cast<type>(place) ? static_cast<type>(place) : type{kNoOffset}; \
  }
TAMGNU_FTELL_SUB(ftell_i1_sub, i8)
TAMGNU_FTELL_SUB(ftell_i2_sub, i16)
TAMGNU_FTELL_SUB(ftell_i4_sub, i32)
TAMGNU_FTELL_SUB(ftell_i8_sub, i64)

TAMRUN_ENTRY int _gfortran_fnum_i4(i32* unit) { return is_ours(*unit) ? descriptor_of(*unit) : peer().fnum_i4(unit); }

TAMRUN_ENTRY i64 _gfortran_fnum_i8(i64* unit) {
  const auto number = static_cast<i32>(*unit);
  return is_ours(number) ? descriptor_of(number) : peer().fnum_i8(unit);
}

TAMRUN_ENTRY i32 _gfortran_isatty_l4(i32* unit) {
  return is_ours(*unit) ? isatty(descriptor_of(*unit)) : peer().isatty_l4(unit);
}

TAMRUN_ENTRY i64 _gfortran_isatty_l8(i32* unit) {
  return is_ours(*unit) ? isatty(descriptor_of(*unit)) : peer().isatty_l8(unit);
}

TAMRUN_ENTRY void _gfortran_fseek_sub(i32* unit, i64* offset, i32* whence, i32* status) {
  start_library();
  if (is_ours(*unit)) {
    const bool failed = *whence < 0 || __msportlib_d_fseek_i8(*unit, *offset, *whence) != 0;
    if (status != nullptr) *status = failed ? -1 : 0;
    return;
  }
  give_to_peer(*unit);
  peer().fseek_sub(unit, offset, whence, status);
}

// FGET, FGETC, FPUT and FPUTC: functions, and subroutines by the kind of their status.

#define TAMGNU_CONSOLE_CHARACTER(name, unit, label)           \
  TAMRUN_ENTRY int _gfortran_##name(char* text, i64 length) { \
    const Character_Call call(unit, label);                   \
    return peer().name(text, length);                         \
  }                                                           \
  TAMGNU_CONSOLE_CHARACTER_SUB(name, i4, i32, unit, label)    \
  TAMGNU_CONSOLE_CHARACTER_SUB(name, i8, i64, unit, label)
#define TAMGNU_CONSOLE_CHARACTER_SUB(name, kind, type, unit, label)                         \
  TAMRUN_ENTRY void _gfortran_##name##_##kind##_sub(char* text, type* status, i64 length) { \
    const Character_Call call(unit, label);                                                 \
    peer().name##_##kind##_sub(text, status, length);                                       \
  }
TAMGNU_CONSOLE_CHARACTER(fget, UNIT_STDIN, "FGET")
TAMGNU_CONSOLE_CHARACTER(fput, UNIT_STDOUT, "FPUT")

#define TAMGNU_UNIT_CHARACTER(name, label)                               \
  TAMRUN_ENTRY int _gfortran_##name(i32* unit, char* text, i64 length) { \
    const Character_Call call(*unit, label);                             \
    return peer().name(unit, text, length);                              \
  }                                                                      \
  TAMGNU_UNIT_CHARACTER_SUB(name, i4, i32, label)                        \
  TAMGNU_UNIT_CHARACTER_SUB(name, i8, i64, label)
#define TAMGNU_UNIT_CHARACTER_SUB(name, kind, type, label)                                             \
  TAMRUN_ENTRY void _gfortran_##name##_##kind##_sub(i32* unit, char* text, type* status, i64 length) { \
    const Character_Call call(*unit, label);                                                           \
    peer().name##_##kind##_sub(unit, text, status, length);                                            \
  }
TAMGNU_UNIT_CHARACTER(fgetc, "FGETC")
TAMGNU_UNIT_CHARACTER(fputc, "FPUTC")

TAMRUN_ENTRY void _gfortran_execute_command_line_i4(const char* command, void* wait, i32* exitstat, i32* cmdstat,
                                                    char* cmdmsg, i64 command_len, i64 cmdmsg_len) {
  release_all_output();
  peer().execute_command_line_i4(command, wait, exitstat, cmdstat, cmdmsg, command_len, cmdmsg_len);
}

TAMRUN_ENTRY void _gfortran_execute_command_line_i8(const char* command, void* wait, i64* exitstat, i64* cmdstat,
                                                    char* cmdmsg, i64 command_len, i64 cmdmsg_len) {
  release_all_output();
  peer().execute_command_line_i8(command, wait, exitstat, cmdstat, cmdmsg, command_len, cmdmsg_len);
}

TAMRUN_ENTRY int _gfortran_system(const char* command, i64 length) {
  release_all_output();
  return peer().system(command, length);
}

TAMRUN_ENTRY void _gfortran_system_sub(const char* command, i32* status, i64 length) {
  release_all_output();
  peer().system_sub(command, status, length);
}
