// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One call of a list-directed statement, whatever its direction and target. A statement is a class with these members:
//
//   Ldio_Result transfer(const u8* list, void* args)   up to the next end mark
//   int end_of_list()                                  ends the statement: what compiled code gets
#ifndef TAMRUN_STATEMENTS_LDIO_STATEMENT_H
#define TAMRUN_STATEMENTS_LDIO_STATEMENT_H

#include "statements/ldio_result.h"
#include "statements/statement.h"

template <class Statement>
int list_call(For_Lub& lub, Statement&& statement, const u8* item_list, void* item_args) {
  if (item_list != nullptr && *item_list == ITM_END_STATEMENT) return statement.end_of_list();
  const Ldio_Result result = statement.transfer(item_list, item_args);
  switch (result.end) {
    case Ldio_End::statement:
      return statement.end_of_list();
    case Ldio_End::call:
      return 0;
    case Ldio_End::failed:
      return fail_statement(lub, result.code, result.user_code);
    case Ldio_End::child:
      break;
  }
  return result.code;
}

#endif
