// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finishing the record that a unit left open on a file, when another statement comes to that file.

#include "core/failure.h"
#include "records/for_put.h"
#include "units/unit_table.h"

namespace {

enum class Held_Record_Rule : u8 { refuse, keep, forget, write_out, write_out_unless_own };

constexpr int kStatementCodes = 46;

struct Rule_Span {
  u8 first, last;
  Held_Record_Rule rule;
};

constexpr Rule_Span kRuleSpans[] = {
    {STMT_READ, STMT_WRITE, Held_Record_Rule::write_out},
    {STMT_WRITE_SEQ, STMT_WRITE_SEQ, Held_Record_Rule::write_out_unless_own},
    {STMT_OPEN, STMT_OPEN, Held_Record_Rule::write_out},
    {STMT_CLOSE, STMT_ENDFILE, Held_Record_Rule::write_out},
    {STMT_INQUIRE, STMT_WAIT, Held_Record_Rule::keep},
    {STMT_EOF, STMT_EOF, Held_Record_Rule::write_out},
    {STMT_DELETE, STMT_FIND, Held_Record_Rule::write_out},
    {STMT_FLUSH, STMT_FLUSH, Held_Record_Rule::keep},
    {STMT_GERROR, STMT_GERROR, Held_Record_Rule::forget},
    {32, STMT_PORT_READ, Held_Record_Rule::write_out},
    {34, 35, Held_Record_Rule::forget},
    {STMT_PAUSE, STMT_PAUSE, Held_Record_Rule::write_out},
    {37, 37, Held_Record_Rule::forget},
    {38, STMT_PORT_POSITION, Held_Record_Rule::write_out},
    {44, 44, Held_Record_Rule::forget},
    {STMT_UNLOCK, STMT_UNLOCK, Held_Record_Rule::write_out},
};

constexpr auto kRules = [] {
  struct {
    Held_Record_Rule by_statement[kStatementCodes];
  } table = {};
  for (const Rule_Span& span : kRuleSpans)
    for (int code = span.first; code <= span.last; ++code) table.by_statement[code] = span.rule;
  return table;
}();

int internal_error() {
  TAMRUN_INTERNAL_ERROR("for_lub_mgt");
  return MSG_INTERNAL_CONSISTENCY;
}

}  // namespace

int write_held_record(For_Lub& lub, bool keep_open_mark) {
  For_File_Info& file = *lub.lub_a_file_info;
  For_Lub* owner = file.saved_lub;
  if (owner == nullptr) return internal_error();
  turn_into_prompt(*owner);
  if (const int status = for__put_sf(owner)) return report_failure(FOR_IOR_RELEASE, status, status, owner);
  ++owner->lub_next_rec;
  owner->lub_f_at_end = 0;
  if (!keep_open_mark) file.fi_record_open = 0;
  return 0;
}

int process_existing_lub(For_Lub& lub, int statement) {
  For_File_Info* file = lub.lub_a_file_info;
  if (file == nullptr) return 0;
  if (!lub.lub_f_formatted) {
    file->fi_record_open = 0;
    return 0;
  }
  if (!file->fi_record_open || in_child_statement(lub)) return 0;
  if (statement < 0 || statement >= kStatementCodes) return internal_error();
  switch (kRules.by_statement[statement]) {
    case Held_Record_Rule::keep:
      return 0;
    case Held_Record_Rule::forget:
      file->fi_record_open = 0;
      return 0;
    case Held_Record_Rule::write_out_unless_own:
      if (file->saved_lub == &lub) return 0;
      return write_held_record(lub, false);
    case Held_Record_Rule::write_out:
      return write_held_record(lub, statement == STMT_READ);
    case Held_Record_Rule::refuse:
      break;
  }
  return internal_error();
}

int finish_record_of_file(For_Lub& lub, int statement) {
  const For_File_Info* file = lub.lub_a_file_info;
  const bool own_record = file != nullptr && file->saved_lub == &lub;
  const int status = process_existing_lub(lub, statement);
  // The failure of a record of its own has released the unit already.
  if (status != 0 && !own_record) (void)for__release_lun(lub.lub_unit);
  return status;
}
