// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The statement's calls into the library.

#include "adapters/gnu/statement.h"

#include <string.h>
#include <strings.h>

#include <new>

#include "adapters/gnu/program.h"
#include "tamrun/messages.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

namespace {

__attribute__((tls_model("initial-exec"))) thread_local Statement* t_innermost;

/// Specifiers of the statement as the list that follows the fixed arguments, in the order that the library wants.
class Control_List {
 public:
  explicit Control_List(const Gfc_Dt& block) {
    add(block, GFC_IOMSG, KEY_IOMSG, block.common.iomsg, block.common.iomsg_len);
    add(block, GFC_DT_DECIMAL, KEY_DECIMAL, block.decimal, block.decimal_len);
    add(block, GFC_DT_DELIM, KEY_DELIM, block.delim, block.delim_len);
    add(block, GFC_DT_ROUND, KEY_ROUND, block.round, block.round_len);
    add(block, GFC_DT_SIGN, KEY_SIGN, block.sign, block.sign_len);
    list_[count_ * kPairs] = ITM_END_STATEMENT;
  }
  bool empty() const { return count_ == 0; }
  u8* list() { return list_; }
  u64* args() { return args_; }

 private:
  static constexpr int kSpecifiers = 5;
  static constexpr int kPairs = 4;  // bytes of an item and its key

  void add(const Gfc_Dt& block, u32 flag, u8 key, const char* text, i64 length) {
    if ((block.common.flags & flag) == 0) return;
    u8* entry = &list_[count_ * kPairs];
    entry[0] = ITM_CHARACTER;
    entry[1] = ACC_SCALAR;
    entry[2] = key;
    args_[2 * count_] = static_cast<u64>(length);
    args_[2 * count_ + 1] = reinterpret_cast<u64>(text);
    ++count_;
  }

  int count_ = 0;
  u8 list_[kSpecifiers * kPairs + 2] = {};
  u64 args_[kSpecifiers * 2];
};

For_IO_Flags io_flags(u32 flags) {
  For_IO_Flags result = iof_extended | iof_f90_rtl;
  if (keeps_sign_of_zero()) result |= iof_minus_zero;
  if ((flags & GFC_ERR) != 0) result |= iof_err;
  if ((flags & GFC_END) != 0) result |= iof_end;
  if ((flags & GFC_EOR) != 0) result |= iof_eor;
  if ((flags & GFC_IOSTAT) != 0) result |= iof_iostat;
  return result;
}

/// Stores what the library answered where compiled code looks for it. Anything but 0 ends the statement.
void take_result(Statement* statement, int result) {
  if (result == 0) return;
  statement->over = true;
  Gfc_Common& common = statement->block->common;
  u32 outcome = result == FOR_IOS_END ? GFC_OUTCOME_END : result == FOR_IOS_EOR ? GFC_OUTCOME_EOR : GFC_OUTCOME_ERROR;
  common.flags = (common.flags & ~static_cast<u32>(GFC_OUTCOME_MASK)) | outcome;
  if ((common.flags & GFC_IOSTAT) != 0) *common.iostat = result;
}

/// The first call of the statement, or a further one.
void call_library(Statement* statement, const u8* list, u64* args) {
  if (statement->started) return take_result(statement, for_write_seq_lis_xmit(&statement->context, list, args));
  statement->started = true;
  const Gfc_Dt& block = *statement->block;
  For_IO_Flags flags = io_flags(block.common.flags);
  Control_List control(block);
  if (!control.empty()) flags |= iof_control_list;
  int result = for_write_seq_lis(&statement->context, statement->console->unit, flags, list, args, control.list(),
                                 control.args());
  if (result != 0 && statement->context.ctx_lub != nullptr) {
    // A record inside the list has failed, which the first call tells without ending the statement.
    static const u8 kEnd[2] = {ITM_END_STATEMENT, 0};
    int last = for_write_seq_lis_xmit(&statement->context, kEnd, args);
    if (last != 0) result = last;
  }
  take_result(statement, result);
}

void empty_batch(Statement* statement) {
  statement->items = 0;
  statement->words = 0;
  statement->text_words = 0;
}

/// Passes the batch on.
void send(Statement* statement, For_Item_Type end) {
  statement->list[2 * statement->items] = end;
  statement->list[2 * statement->items + 1] = 0;
  empty_batch(statement);
  call_library(statement, statement->list, statement->args);
}

/// A statement on a unit that the thread is already writing to: the first calls are made from the outermost inwards,
/// and all but the first fail.
void report_recursion(const Console* console, Statement* from = t_innermost) {
  if (from == nullptr) return;
  report_recursion(console, from->outer);
  if (from->console == console && !from->started) send(from, ITM_END_CALL);
}

/// Enters an item into the batch, with room for a copied text, and gives its argument words; null when the items before
/// it ended the statement.
u64* add_item(Statement* statement, For_Item_Type type, For_Item_Access access, int words, int text_words = 0) {
  const int used = statement->words + statement->text_words;
  if (statement->items == kBatchItems || used + words + text_words > kBatchWords) {
    send(statement, ITM_END_CALL);
    if (statement->over) return nullptr;
  }
  statement->list[2 * statement->items] = type;
  statement->list[2 * statement->items + 1] = access;
  ++statement->items;
  u64* args = &statement->args[statement->words];
  statement->words = static_cast<u8>(statement->words + words);
  statement->text_words = static_cast<u8>(statement->text_words + text_words);
  statement->numeric_text = false;
  return args;
}

constexpr int words_of(size_t bytes) { return static_cast<int>((bytes + sizeof(u64) - 1) / sizeof(u64)); }

/// A number that went as text has no type that would put a blank between it and a character item.
void separate_numeric_text(Statement* statement) {
  if (!statement->numeric_text) return;
  statement->numeric_text = false;
  put_text(statement, " ", 1);
}

/// True when the text, without trailing blanks and regard to case, is the word.
bool is_word(const char* text, i64 length, const char* word) {
  while (length > 0 && text[length - 1] == ' ') --length;
  return static_cast<size_t>(length) == strlen(word) && strncasecmp(text, word, static_cast<size_t>(length)) == 0;
}

}  // namespace

Statement* statement_of(const Gfc_Dt* block) {
  for (Statement* statement = t_innermost; statement != nullptr; statement = statement->outer)
    if (statement->block == block) return statement;
  return nullptr;
}

void begin_statement(Gfc_Dt* block, Console* console) {
  auto* statement = new (block->server) Statement;
  statement->block = block;
  statement->outer = t_innermost;
  statement->console = console;
  statement->context = {};
  statement->started = false;
  statement->over = false;
  statement->numeric_text = false;
  empty_batch(statement);
  t_innermost = statement;
  if (console->our_depth > 1) report_recursion(console);
}

void end_statement(Statement* statement) {
  if (!statement->over) send(statement, ITM_END_STATEMENT);
  t_innermost = statement->outer;
}

bool abandon_statement(Statement* statement) {
  if (statement->started || statement->items > 0) return false;
  t_innermost = statement->outer;
  return true;
}

void put_value(Statement* statement, For_Item_Type type, const void* value, size_t bytes) {
  if (statement->over) return;
  u64* args = add_item(statement, type, ACC_INLINE, words_of(bytes));
  if (args == nullptr) return;
  *args = 0;
  memcpy(args, value, bytes);
}

void put_text(Statement* statement, const char* text, i64 length) {
  if (length < 0 || length > kCopiedText) {
    const u64 words[] = {static_cast<u64>(length), reinterpret_cast<u64>(text)};
    return put_reference(statement, ITM_CHARACTER, ACC_SCALAR, words, 2);
  }
  if (statement->over) return;
  separate_numeric_text(statement);
  if (statement->over) return;
  const auto bytes = static_cast<size_t>(length);
  u64* args = add_item(statement, ITM_CHARACTER, ACC_SCALAR, 2, words_of(bytes));
  if (args == nullptr) return;
  u64* copy = &statement->args[kBatchWords - statement->text_words];
  if (bytes > 0) memcpy(copy, text, bytes);
  args[0] = bytes;
  args[1] = reinterpret_cast<u64>(copy);
}

void put_reference(Statement* statement, For_Item_Type type, For_Item_Access access, const u64* words, int count) {
  if (statement->over) return;
  if (type == ITM_CHARACTER) separate_numeric_text(statement);
  if (statement->over) return;
  if (count <= kBatchWords) {
    u64* args = add_item(statement, type, access, count);
    if (args == nullptr) return;
    memcpy(args, words, static_cast<size_t>(count) * sizeof(u64));
    return send(statement, ITM_END_CALL);
  }
  if (statement->items > 0) send(statement, ITM_END_CALL);
  if (statement->over) return;
  statement->numeric_text = false;
  const u8 list[4] = {type, access, ITM_END_CALL, 0};
  call_library(statement, list, const_cast<u64*>(words));
}

bool wants_plus(const Gfc_Dt* block) {
  return (block->common.flags & GFC_DT_SIGN) != 0 && is_word(block->sign, block->sign_len, "PLUS");
}

bool wants_delimiters(const Gfc_Dt* block) {
  return (block->common.flags & GFC_DT_DELIM) != 0 && !is_word(block->delim, block->delim_len, "NONE");
}
