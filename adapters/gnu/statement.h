// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One READ or WRITE that the library serves: its items are gathered into item lists and sent on.
#ifndef TAMGNU_STATEMENT_H
#define TAMGNU_STATEMENT_H

#include <new>

#include "adapters/gnu/console.h"
#include "adapters/gnu/gfortran_abi.h"
#include "tamrun/context.h"
#include "tamrun/item_list.h"

/// Values, short texts and small arrays of a WRITE are copied and wait for company, so that most statements are one call of the library;
/// what goes by reference is sent at once, since it may be a temporary of the expression. An item of a READ is read at
/// once: the rest of the list may depend on it.
inline constexpr int kBatchWords = 19;
inline constexpr int kBatchItems = kBatchWords;  ///< an item has at least one argument word
inline constexpr i64 kCopiedText = 40;
inline constexpr i64 kCopiedArray = 96;

enum class Verb : u8 { write, read };

/// Stands in the part of the parameter block that belongs to the server, so that statements may nest to any depth.
struct Statement {
  Gfc_Dt* block;
  Statement* outer;  ///< the thread's statement inside whose list this one began
  Console* console;  ///< null: the unit is a file
  For_Context context;
  Verb verb;
  bool internal;         ///< the unit is an internal file
  bool started;          ///< the library's first call has been made
  bool over;             ///< has failed: the library wants no further call
  bool numeric_text;     ///< the last item was a number passed as text: a character item needs a blank before it
  bool plus;             ///< SIGN='PLUS' on the statement, for numbers that go as text
  bool delimited;        ///< DELIM= other than 'NONE' on the statement
  bool begins_in_place;  ///< unformatted with no more than REC=, no item yet: the record may begin in front of a value
  bool values_in_place;  ///< unformatted: `context` has the unit, whose record in the buffer has values as they are
  bool takes_values;     ///< a WRITE that has not failed, and whose values wait for company
  u8 items;
  u8 words;       ///< argument words, from the start of `args`
  u8 text_words;  ///< copied texts, from the end of `args`
  u8 list[2 * (kBatchItems + 1)];
  u64 args[kBatchWords];

  i32 unit() const { return block->common.unit; }
  bool direct() const { return (block->common.flags & GFC_DT_REC) != 0; }
  bool formatted() const { return (block->common.flags & GFC_DT_FORMAT) != 0; }
  bool unformatted() const { return (block->common.flags & (GFC_DT_FORMAT | GFC_DT_LIST_DIRECTED)) == 0; }
};
static_assert(sizeof(Statement) <= kServerBytes);

/// The innermost running statement of the thread that the library serves.
extern constinit thread_local Statement* t_innermost __attribute__((tls_model("initial-exec")));

/// statement_of, beginning outside the innermost statement.
Statement* outer_statement_of(const Gfc_Dt* block);

/// The running statement of this block, or null when the peer serves the block.
inline Statement* statement_of(const Gfc_Dt* block) {
  Statement* innermost = t_innermost;
  if (innermost != nullptr && innermost->block == block) [[likely]]
    return innermost;
  return outer_statement_of(block);
}

inline void empty_batch(Statement* statement) {
  statement->items = 0;
  statement->words = 0;
  statement->text_words = 0;
}

/// Makes the statement the innermost one.
inline void start_statement(Statement* statement, Gfc_Dt* block, Verb verb, Console* console) {
  statement->block = block;
  statement->outer = t_innermost;
  statement->console = console;
  statement->context = {};
  statement->verb = verb;
  statement->internal = statement->started = statement->over = statement->numeric_text = false;
  statement->plus = statement->delimited = statement->begins_in_place = statement->values_in_place = false;
  statement->takes_values = verb == Verb::write;
  empty_batch(statement);
  t_innermost = statement;
}

/// The caller holds the console, if the unit is one, and gives it back behind end_statement.
void begin_statement(Gfc_Dt* block, Verb verb, Console* console);
void end_statement(Statement* statement);
/// end_statement of a file's statement while its `values_in_place`.
void end_in_place(Statement* statement);

/// Specifiers whose text may be a temporary that goes when the first call of the statement returns.
inline constexpr u32 kTemporaryTexts =
    GFC_DT_BLANK | GFC_DT_DECIMAL | GFC_DT_DELIM | GFC_DT_PAD | GFC_DT_ROUND | GFC_DT_SIGN;

/// begin_statement of one with nothing but a list of items, which no other one is under way around: false, with nothing
/// done, if it is not such a one.
[[gnu::always_inline]] inline bool begin_plain_statement(Gfc_Dt* block, Verb verb, Console* console) {
  constexpr u32 kPrepared = GFC_DT_INTERNAL | GFC_DT_ADVANCE | GFC_DT_SIZE | kTemporaryTexts;
  constexpr u32 kNotInPlace = GFC_DT_FORMAT | GFC_DT_LIST_DIRECTED | GFC_IOMSG | GFC_DT_POS;
  const u32 flags = block->common.flags;
  if ((flags & kPrepared) != 0 || t_innermost != nullptr) [[unlikely]]
    return false;
  auto* statement = new (block->server) Statement;
  start_statement(statement, block, verb, console);
  statement->begins_in_place = (flags & kNotInPlace) == 0;
  return true;
}

/// True for an internal file whose elements stand one behind the other.
bool internal_file_is_contiguous(const Gfc_Dt& block);

/// Takes back a statement that has no item yet: false when it has.
[[nodiscard]] bool abandon_statement(Statement* statement);

/// A scalar number or logical of a WRITE, copied before the call returns.
void put_value(Statement* statement, For_Item_Type type, const void* value, size_t bytes);

/// The same for a value of at most one word, while the batch has room and nothing needs a closer look: false if it has
/// not been taken.
inline bool put_word(Statement* statement, For_Item_Type type, u64 word) {
  const u32 words = statement->words, items = statement->items;
  if (words + statement->text_words == kBatchWords) [[unlikely]]
    return false;
  statement->list[2 * items] = type;
  statement->list[2 * items + 1] = ACC_INLINE;
  statement->items = static_cast<u8>(items + 1);
  statement->args[words] = word;
  statement->words = static_cast<u8>(words + 1);
  statement->numeric_text = false;
  return true;
}

/// put_text for a word of text or two, while the batch has room and nothing needs a closer look: false if it has not been
/// taken. A copy would hide that an internal file is written into itself.
inline bool put_few_characters(Statement* statement, const void* text, i64 length) {
  constexpr i64 kWord = sizeof(u64);
  const bool full = statement->words + statement->text_words + 4 > kBatchWords;
  if (length < 1 || length > 2 * kWord || !statement->takes_values || statement->begins_in_place || full ||
      statement->numeric_text || statement->internal) {
    return false;
  }
  u8* item = &statement->list[2 * statement->items++];
  item[0] = ITM_CHARACTER;
  item[1] = ACC_SCALAR;
  statement->text_words = static_cast<u8>(statement->text_words + 2);
  u64* copy = &statement->args[kBatchWords - statement->text_words];
  auto* const to = reinterpret_cast<char*>(copy);
  const auto* const from = static_cast<const char*>(text);
  if (length >= kWord) {
    __builtin_memcpy(to, from, kWord);
    __builtin_memcpy(to + length - kWord, from + length - kWord, kWord);
  } else {
    for (i64 i = 0; i < length; ++i) to[i] = from[i];
  }
  u64* args = &statement->args[statement->words];
  statement->words = static_cast<u8>(statement->words + 2);
  args[0] = static_cast<u64>(length);
  args[1] = reinterpret_cast<u64>(copy);
  return true;
}

/// Passes the batch on.
void send(Statement* statement, For_Item_Type end);

/// Reads a number or logical that has an item of its own: false for a WRITE.
inline bool read_value(Statement* statement, For_Item_Type type, void* value) {
  if (statement->verb != Verb::read || statement->over) return false;
  u8* item = &statement->list[2 * statement->items++];
  item[0] = type;
  item[1] = ACC_POINTER;
  statement->args[statement->words++] = reinterpret_cast<u64>(value);
  send(statement, ITM_END_CALL);
  return true;
}

/// A character scalar of a WRITE, copied or sent before the call returns.
void put_text(Statement* statement, const char* text, i64 length);

/// A contiguous array of numbers of a WRITE, copied: false, with nothing done, when it is too large for that.
[[nodiscard]] bool put_small_array(Statement* statement, For_Item_Type type, const void* data, i64 bytes);

/// A scalar number or logical of an unformatted READ, where nothing waits. False: the statement is over.
bool read_at_once(Statement* statement, For_Item_Type type, void* address);

/// Moves a value between the program and the record in the unit's buffer while `values_in_place`: false, with nothing
/// moved, when the record has no room for it.
inline bool move_in_place(Statement* statement, void* value, i64 bytes) {
  For_Lub& lub = *statement->context.ctx_lub;
  u8* const cursor = lub.lub_a_cursor;
  if (bytes > lub.lub_a_rec_end - cursor) [[unlikely]]
    return false;
  if (statement->verb == Verb::read)
    __builtin_memcpy(value, cursor, static_cast<size_t>(bytes));
  else
    __builtin_memcpy(cursor, value, static_cast<size_t>(bytes));
  lub.lub_a_cursor = cursor + bytes;
  return true;
}

/// Begins the record of a statement that `begins_in_place`.
void begin_in_place(Statement* statement);

/// An item by reference with its argument words. False: the statement is over.
bool put_reference(Statement* statement, For_Item_Type type, For_Item_Access access, const u64* words, int count);

#endif
