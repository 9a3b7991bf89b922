// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One list-directed WRITE that the library serves: its items are gathered into item lists and sent on.
#ifndef TAMGNU_STATEMENT_H
#define TAMGNU_STATEMENT_H

#include "adapters/gnu/console.h"
#include "adapters/gnu/gfortran_abi.h"
#include "tamrun/context.h"
#include "tamrun/item_list.h"

/// Values and short texts are copied and wait for company, so that most statements are one call of the library; what goes
/// by reference is sent at once, since it may be a temporary of the expression.
inline constexpr int kBatchItems = 20;
inline constexpr int kBatchWords = 20;
inline constexpr i64 kCopiedText = 40;

/// Stands in the part of the parameter block that belongs to the server, so that statements may nest to any depth.
struct Statement {
  Gfc_Dt* block;
  Statement* outer;  ///< the thread's statement inside whose list this one began
  Console* console;
  For_Context context;
  bool started;       ///< the library's first call has been made
  bool over;          ///< has failed: the library wants no further call
  bool numeric_text;  ///< the last item was a number passed as text: a character item needs a blank before it
  u8 items;
  u8 words;       ///< argument words, from the start of `args`
  u8 text_words;  ///< copied texts, from the end of `args`
  u8 list[2 * (kBatchItems + 1)];
  u64 args[kBatchWords];
};
static_assert(sizeof(Statement) <= kServerBytes);

/// The running statement of this block, or null when the peer serves the block.
Statement* statement_of(const Gfc_Dt* block);

/// The caller holds the console and gives it back behind end_statement.
void begin_statement(Gfc_Dt* block, Console* console);
void end_statement(Statement* statement);

/// Takes back a statement that has no item yet: false when it has.
[[nodiscard]] bool abandon_statement(Statement* statement);

/// A scalar number or logical, copied before the call returns.
void put_value(Statement* statement, For_Item_Type type, const void* value, size_t bytes);

/// A character scalar, copied or sent before the call returns.
void put_text(Statement* statement, const char* text, i64 length);

/// An item by reference with its argument words.
void put_reference(Statement* statement, For_Item_Type type, For_Item_Access access, const u64* words, int count);

/// SIGN='PLUS' and DELIM= other than 'NONE', for numbers that go through put_text.
bool wants_plus(const Gfc_Dt* block);
bool wants_delimiters(const Gfc_Dt* block);

#endif
