// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// GNU Fortran's types and kinds as items of the library. A kind that the library has no item for is passed as what
// looks the same: LOGICAL(16) as LOGICAL(8), INTEGER(16) as the text of the number or, where a format edits it or it is
// read, as INTEGER(8), CHARACTER(KIND=4) as UTF-8 on output and byte by byte on input.
#ifndef TAMGNU_ITEM_H
#define TAMGNU_ITEM_H

#include "adapters/gnu/statement.h"

/// A scalar of a number or logical type: written from, or read into, `value`.
void transfer_scalar(Statement* statement, Gfc_Type type, int kind, void* value);

/// A scalar CHARACTER.
void transfer_text(Statement* statement, char* text, i64 length);

/// A scalar CHARACTER(KIND=4); `length` counts characters.
void transfer_wide_text(Statement* statement, u32* text, i64 length);

/// All elements of an array; `length` is the length of its elements when they are of type character.
void transfer_array(Statement* statement, const Gfc_Array& array, int kind, i64 length);

/// Ends the program: the statement's item cannot be served.
[[noreturn]] void refuse_item(const Statement* statement, const char* what);

#endif
