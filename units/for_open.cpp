// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The OPEN statement.

#include "core/failure.h"
#include "tamrun/item_list.h"
#include "units/connection_options.h"
#include "units/open.h"
#include "units/specifiers.h"
#include "units/unit_table.h"

#include <string.h>

namespace {

struct Open_Statement {
  For_Context* ctx;
  int unit;
  Specifiers specifiers;
  For_Open_Args args;
  int argument_error;  ///< why the keyword list could not be read to its end, 0 it could

  u64 operator[](For_Open_Word word) const { return args.word[word]; }
  bool newunit() const { return args.word[OPENW_NEWUNIT] != 0; }
  bool asynchronous() const { return argument_error == 0 && args.word[OPENW_ASYNCHRONOUS] == ANSWER_YES; }
  int code() const {
    if (asynchronous()) return newunit() ? STMT_OPEN_ASYNC_NEWUNIT : STMT_OPEN_ASYNC;
    return newunit() ? STMT_OPEN_NEWUNIT : STMT_OPEN;
  }
};

/// A unit number for NEWUNIT=: 0 or a message number, with the number given back.
int number_unit(Open_Statement& s) {
  if (!s.newunit()) return 0;
  const u64 type = s[OPENW_NEWUNIT_TYPE];
  int status = for__get_free_newunit(&s.unit, static_cast<int>(type));
  if (status != 0) return status;
  if (type == ITM_INTEGER1 && s.unit < INT8_MIN) status = MSG_INTEGER_ASSIGNMENT_OVERFLOW;
  if (type == ITM_INTEGER2 && s.unit < INT16_MIN) status = MSG_INTEGER_ASSIGNMENT_OVERFLOW;
  if (status == 0 && s.argument_error == 0 && s[OPENW_FILE] == 0 && s[OPENW_STATUS] != STATUS_SCRATCH) {
    status = MSG_NEWUNIT_NEEDS_FILE;
  }
  if (status != 0) for__release_newunit(s.unit);
  return status;
}

/// Stores the number of a NEWUNIT= unit in the program's variable.
void tell_unit(const Open_Statement& s) {
  if (!s.newunit()) return;
  const u64 type = s[OPENW_NEWUNIT_TYPE];
  const i64 value = s.unit;
  switch (type) {
    case ITM_INTEGER1:
    case ITM_INTEGER2:
    case ITM_INTEGER4:
    case ITM_INTEGER8:
      memcpy(reinterpret_cast<void*>(s[OPENW_NEWUNIT]), &value, static_cast<size_t>(for__dsc_itm_table[type].size));
      return;
    default:
      TAMRUN_INTERNAL_ERROR("for_open");
  }
}

/// Gives back the number of a NEWUNIT= unit that could not be opened, and its block.
void give_unit_back(const Open_Statement& s) {
  if (!s.newunit()) return;
  For_Lub* lub = nullptr;
  if (for__acquire_lun(s.unit, &lub, nullptr, STMT_CLOSE) == 0) (void)for__deallocate_lub(s.unit);
  for__release_newunit(s.unit);
}

int fail(const Open_Statement& s, For_Lub& lub, int disposition, int code) {
  const int result = report_failure(disposition, code, code, &lub);
  give_unit_back(s);
  return result;
}

void store_options(For_Lub& lub, const Open_Statement& s) {
  store_connection_options(lub, s.specifiers.flags);
  store_convert_option(lub, s.specifiers.flags);
  store_specifiers(lub, s.specifiers);
}

/// Takes the unit. Null: the statement is over with *result.
For_Lub* take_unit(Open_Statement& s, int* result) {
  For_Lub* lub = nullptr;
  if (const int code = for__acquire_lun(s.unit, &lub, s.ctx, s.code())) {
    if (s.newunit()) for__release_newunit(s.unit);
    *result = fail_without_unit(code, s.unit, s.specifiers);
    return nullptr;
  }
  if (in_child_statement(*lub)) {
    *result = refuse_in_child(*lub, MSG_UDIO_OPEN, s.specifiers);
    return nullptr;
  }
  store_options(*lub, s);
  const int refused = lub->lub_f_define_file ? int{MSG_DUPLICATE_FILE_SPEC} : s.argument_error;
  if (refused != 0) {
    *result = fail(s, *lub, FOR_IOR_RELEASE, refused);
    return nullptr;
  }
  const bool numbered_default = lub->lub_unit == UNIT_STDIN || lub->lub_unit == UNIT_STDOUT;
  if (lub->lub_f_files_from_cmd && numbered_default && lub->lub_default_state == DEFAULT_UNCONNECTED) {
    lub->lub_default_state = DEFAULT_FROM_ENV;
  }
  return lub;
}

/// A unit that is to be asynchronous and is not lets the asynchronous machinery make it anew. Where there is none, the
/// second block is as the first and serves.
For_Lub* take_asynchronous_unit(Open_Statement& s, For_Lub* lub, int* result) {
  const bool plain = lub->lub_a_aio == nullptr && lub->lub_default_state == DEFAULT_ORDINARY;
  if (!s.asynchronous() || lub->lub_f_connected || !plain) return lub;
  if (const int code = for__deallocate_lub(s.unit)) {
    if (s.newunit()) for__release_newunit(s.unit);
    *result = fail_without_unit(code, s.unit, s.specifiers);
    return nullptr;
  }
  return take_unit(s, result);
}

/// An OPEN of a connected unit: 0 done, FOR_REOPEN_CLOSED to be connected anew, or a message number.
int reopen(Open_Statement& s, For_Lub& lub) {
  const int status = for__reopen_file(&s.args, &lub);
  if (!lub.lub_f_connected) {
    store_options(lub, s);
    lub.lub_statement = STMT_OPEN;
  }
  if (status != 0) return status;
  if (const int code = for__update_reopen_keywords(&s.args, &lub)) return code;
  lub.lub_f_at_eof = 0;
  return 0;
}

int end_statement(const Open_Statement& s, For_Lub& lub) {
  clear_specifiers(lub);
  if (const int code = for__release_lun(s.unit)) return report_failure(FOR_IOR_NONE, code, code, &lub);
  tell_unit(s);
  return 0;
}

}  // namespace

int for_open(For_Context* ctx, int unit, For_IO_Flags flags, const u8* keys, void* values) {
  Open_Statement s = {ctx, unit, {effective_io_flags(flags)}, {}, 0};
  s.argument_error = for__open_args(keys, values, &s.args);
  s.specifiers.iomsg = reinterpret_cast<char*>(s[OPENW_IOMSG]);
  s.specifiers.iomsg_length = static_cast<i64>(s[OPENW_IOMSG_LEN]);
  if (const int code = number_unit(s)) return fail_without_unit(code, s.unit, s.specifiers);

  int result = 0;
  For_Lub* lub = take_unit(s, &result);
  if (lub != nullptr) lub = take_asynchronous_unit(s, lub, &result);
  if (lub == nullptr) return result;
  if (lub->lub_f_connected) {
    const int code = reopen(s, *lub);
    if (code > 0) return fail(s, *lub, FOR_IOR_RELEASE, code);
    if (code == 0) return end_statement(s, *lub);
  }
  if (const int code = for__open_proc(&s.args, lub)) return fail(s, *lub, FOR_IOR_ABANDON, code);
  return end_statement(s, *lub);
}
