// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// GNU Fortran's types and kinds as items of the library. A kind that the library has no item for is passed as what
// prints the same: LOGICAL(16) as LOGICAL(8), INTEGER(16) as the text of the number, CHARACTER(KIND=4) as UTF-8.
#ifndef TAMGNU_ITEM_H
#define TAMGNU_ITEM_H

#include "adapters/gnu/statement.h"

/// A scalar of a number or logical type.
void put_scalar(Statement* statement, Gfc_Type type, int kind, const void* value);

/// A scalar CHARACTER(KIND=4); `length` counts characters.
void put_wide_text(Statement* statement, const u32* text, i64 length);

/// All elements of an array; `length` is the length of its elements when they are of type character.
void put_array(Statement* statement, const Gfc_Array& array, int kind, i64 length);

/// Ends the program: the statement's item cannot be served.
[[noreturn]] void refuse_item(const Statement* statement, const char* what);

#endif
