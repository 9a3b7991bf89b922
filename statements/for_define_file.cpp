// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// DEFINE FILE, which gives a unit its attributes before it is connected, and UNLOCK, which has nothing to do: there are
// no locks on records.

#include "statements/positioning.h"
#include "tamrun/tamrun.h"
#include "units/specifiers.h"
#include "units/unit_table.h"

namespace {

/// RECL of DEFINE FILE counts these.
constexpr i64 kWordBytes = 2;

/// 0 or a message number.
int check_definition(const For_Lub& lub, i32 maxrec, i32 recl) {
  if (lub.lub_f_connected) return MSG_UNIT_ALREADY_OPEN;
  if (lub.lub_f_define_file) return MSG_DUPLICATE_FILE_SPEC;
  if (maxrec < 1) return MSG_RECORD_NUMBER_RANGE;
  return recl < 1 ? int{MSG_RECORD_LENGTH} : 0;
}

/// The first data statement connects the unit with this.
void set_access(For_Lub& lub) {
  lub.lub_f_formatted = lub.lub_f_ms_unformatted = lub.lub_f_binary = 0;
  lub.lub_f_access_append = lub.lub_f_sequential = lub.lub_f_stream = lub.lub_f_keyed = 0;
  lub.lub_f_unformatted = lub.lub_f_direct = lub.lub_f_define_file = 1;
}

}  // namespace

int for_unlock(For_Context* ctx, int unit, For_IO_Flags given) {
  For_Lub* lub = nullptr;
  if (const int code = for__acquire_lun(unit, &lub, ctx, STMT_UNLOCK))
    return fail_without_unit(code, UNIT_INTERNAL, {effective_io_flags(given)});
  return end_positioning(*lub, lub->lub_f_at_eof, Open_Read::stays);
}

int for_define_file(For_Context* ctx, int unit, For_IO_Flags given, i32 maxrec, i32 recl, void* assoc_var,
                    u8 assoc_type) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Lub* held = nullptr;
  if (const int code = for__acquire_lun(unit, &held, ctx, STMT_DEFINE_FILE))
    return fail_without_unit(code, unit, {flags});
  For_Lub& lub = *held;
  store_specifiers(lub, {flags});
  if (!lub.lub_f_connected) lub.lub_f_legacy_defaults = (flags & iof_legacy_defaults) != 0;
  if (const int code = check_definition(lub, maxrec, recl)) return fail_statement(lub, code);
  lub.lub_recl = kWordBytes * recl;
  lub.lub_maxrec = maxrec;
  lub.lub_a_assoc_var = assoc_var;
  lub.lub_assoc_var_type = assoc_type;
  set_access(lub);
  return end_positioning(lub);
}
