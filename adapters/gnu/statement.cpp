// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The statement's calls into the library.

#include "adapters/gnu/statement.h"

#include <string.h>
#include <strings.h>

#include "adapters/gnu/keywords.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/units.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

constinit thread_local Statement* t_innermost = nullptr;

namespace {

i64 trimmed(const char* text, i64 length) {
  while (length > 0 && text[length - 1] == ' ') --length;
  return length;
}

/// Specifiers of the statement, in the order that the library wants.
class Control_List : public Keyword_List<8> {
 public:
  explicit Control_List(const Gfc_Dt& block) {
    const u32 flags = block.common.flags;
    text(flags & GFC_IOMSG, KEY_IOMSG, block.common.iomsg, block.common.iomsg_len);
    number(flags & GFC_DT_POS, KEY_POS, block.pos);
    text(flags & GFC_DT_BLANK, KEY_BLANK, block.blank, block.blank_len);
    text(flags & GFC_DT_DECIMAL, KEY_DECIMAL, block.decimal, block.decimal_len);
    text(flags & GFC_DT_DELIM, KEY_DELIM, block.delim, block.delim_len);
    text(flags & GFC_DT_PAD, KEY_PAD, block.pad, block.pad_len);
    text(flags & GFC_DT_ROUND, KEY_ROUND, block.round, block.round_len);
    text(flags & GFC_DT_SIGN, KEY_SIGN, block.sign, block.sign_len);
  }
};

constexpr u32 kControlFlags = GFC_IOMSG | GFC_DT_POS | kTemporaryTexts;

/// A format as the library takes its text.
struct Format_Text {
  i64 length;
  const char* text;
};

For_IO_Flags io_flags(const Gfc_Dt& block) {
  const u32 given = block.common.flags;
  constexpr u32 kFormatted = GFC_DT_FORMAT | GFC_DT_LIST_DIRECTED;
  // A field of asterisks is no failure in modern Fortran.
  For_IO_Flags flags = connection_flags(block.common.unit) | specifier_flags(given) | iof_ignore_conv_error;
  if ((given & kFormatted) == 0) return flags;
  if ((given & GFC_DT_FORMAT) != 0) flags |= iof_format_text;
  if (keeps_sign_of_zero()) flags |= iof_format_option8;  // also where a negative value rounds to zero
  if ((given & GFC_DT_ADVANCE) != 0) flags |= iof_advance_given;
  if ((given & GFC_DT_SIZE) != 0) flags |= iof_size_given;
  return flags;
}

/// The first call of an unformatted statement.
template <class... Control>
[[gnu::always_inline]] inline int call_unformatted(Statement* statement, For_IO_Flags flags, const u8* list, u64* args,
                                                   Control... control) {
  const Gfc_Dt& block = *statement->block;
  const bool reads = statement->verb == Verb::read;
  if (statement->direct()) {
    const auto entry = reads ? for_read_dir : for_write_dir;
    return entry(&statement->context, statement->unit(), flags, list, args, block.rec, control...);
  }
  const auto entry = reads ? for_read_seq : for_write_seq;
  return entry(&statement->context, statement->unit(), flags, list, args, control...);
}

/// The first call, with the specifiers that it has.
template <class... Control>
int call_entry(Statement* statement, For_IO_Flags flags, const u8* list, u64* args, Control... control) {
  const Gfc_Dt& block = *statement->block;
  For_Context* context = &statement->context;
  const i32 unit = statement->unit();
  const bool reads = statement->verb == Verb::read;
  if (statement->unformatted()) return call_unformatted(statement, flags, list, args, control...);
  const Format_Text format = {block.format_len, block.format};
  if (statement->direct()) {
    const auto entry = reads ? for_read_dir_fmt : for_write_dir_fmt;
    return entry(context, unit, flags, list, args, block.rec, &format, control...);
  }
  if (statement->internal) {
    if (!statement->formatted()) {
      const auto entry = reads ? for_read_int_lis : for_write_int_lis;
      return entry(context, flags, list, args, control...);
    }
    const auto entry = reads ? for_read_int_fmt : for_write_int_fmt;
    return entry(context, flags, list, args, &format, control...);
  }
  if (!statement->formatted()) {
    const auto entry = reads ? for_read_seq_lis : for_write_seq_lis;
    return entry(context, unit, flags, list, args, control...);
  }
  const auto entry = reads ? for_read_seq_fmt : for_write_seq_fmt;
  return entry(context, unit, flags, list, args, &format, control...);
}

[[gnu::noinline]] int first_call_with_control(Statement* statement, const u8* list, u64* args) {
  const Gfc_Dt& block = *statement->block;
  Control_List control(block);
  return call_entry(statement, io_flags(block) | iof_control_list, list, args, control.list(), control.args());
}

int first_call(Statement* statement, const u8* list, u64* args) {
  const Gfc_Dt& block = *statement->block;
  if ((block.common.flags & kControlFlags) != 0) return first_call_with_control(statement, list, args);
  return call_entry(statement, io_flags(block), list, args);
}

typedef int (*Further_Entry)(For_Context*, const u8*, void*);

int further_unformatted(Statement* statement, const u8* list, u64* args) {
  // By access and direction.
  static constexpr Further_Entry kEntries[2][2] = {{for_write_seq_xmit, for_read_seq_xmit},
                                                   {for_write_dir_xmit, for_read_dir_xmit}};
  const bool reads = statement->verb == Verb::read;
  return kEntries[statement->direct()][reads](&statement->context, list, args);
}

int further_call(Statement* statement, const u8* list, u64* args) {
  if (statement->unformatted()) return further_unformatted(statement, list, args);
  // By direction; by kind of unit and form.
  static constexpr Further_Entry kDirect[2] = {for_write_dir_fmt_xmit, for_read_dir_fmt_xmit};
  static constexpr Further_Entry kEntries[2][2][2] = {
      {{for_write_seq_lis_xmit, for_read_seq_lis_xmit}, {for_write_seq_fmt_xmit, for_read_seq_fmt_xmit}},
      {{for_write_int_lis_xmit, for_read_int_lis_xmit}, {for_write_int_fmt_xmit, for_read_int_fmt_xmit}}};
  const bool reads = statement->verb == Verb::read;
  const Further_Entry entry =
      statement->direct() ? kDirect[reads] : kEntries[statement->internal][statement->formatted()][reads];
  return entry(&statement->context, list, args);
}

/// Anything but 0 ends the statement.
void take_result(Statement* statement, int result) {
  if (!store_result(statement->block->common, result)) return;
  statement->over = true;
  statement->takes_values = statement->values_in_place = false;
}

/// Where values go behind a call of an unformatted statement.
void choose_place(Statement* statement) {
  const For_Lub* lub = statement->context.ctx_lub;
  statement->begins_in_place = false;
  statement->values_in_place =
      !statement->over && lub != nullptr && !lub->lub_f_convert && !lub->lub_f_big_endian_words;
  if (statement->values_in_place) statement->takes_values = false;  // they would come before those that wait
}

/// The first call of the statement, or a further one.
void call_library(Statement* statement, const u8* list, u64* args) {
  if (statement->started) return take_result(statement, further_call(statement, list, args));
  statement->started = true;
  int result = first_call(statement, list, args);
  if (result != 0 && statement->context.ctx_lub != nullptr) {
    // A record inside the list has failed, which the first call tells without ending the statement.
    static const u8 kEnd[2] = {ITM_END_STATEMENT, 0};
    const int last = further_call(statement, kEnd, args);
    if (last != 0) result = last;
  }
  take_result(statement, result);
  if (statement->unformatted()) choose_place(statement);
}

/// A statement on a unit that the thread is already in a statement on: the first calls are made from the outermost
/// inwards, and all but the first fail.
void report_recursion(i32 unit, Statement* from) {
  if (from == nullptr) return;
  report_recursion(unit, from->outer);
  if (from->unit() == unit && !from->started) send(from, ITM_END_CALL);
}

bool is_recursive(const Statement* statement) {
  if (statement->internal) return false;
  for (const Statement* outer = statement->outer; outer != nullptr; outer = outer->outer)
    if (outer->unit() == statement->unit()) return true;
  return false;
}

/// Enters an item into the batch, with room for a copied text, and gives its argument words; null when the items before
/// it ended the statement.
u64* add_item(Statement* statement, For_Item_Type type, For_Item_Access access, int words, int text_words = 0) {
  const int used = statement->words + statement->text_words;
  if (used + words + text_words > kBatchWords) {
    send(statement, ITM_END_CALL);
    if (statement->over) return nullptr;
  }
  statement->list[2 * statement->items] = type;
  statement->list[2 * statement->items + 1] = access;
  ++statement->items;
  statement->begins_in_place = false;
  u64* args = &statement->args[statement->words];
  statement->words = static_cast<u8>(statement->words + words);
  statement->text_words = static_cast<u8>(statement->text_words + text_words);
  statement->numeric_text = false;
  return args;
}

i64 element_count(const Gfc_Array& array) {
  i64 count = 1;
  for (int i = 0; i < array.rank; ++i) {
    const Gfc_Dim& dim = array.dim[i];
    count *= dim.upper < dim.lower ? 0 : dim.upper - dim.lower + 1;
  }
  return count;
}

constexpr int words_of(size_t bytes) { return static_cast<int>((bytes + sizeof(u64) - 1) / sizeof(u64)); }

/// A number that went as text has no type that would put a blank between it and a character item.
void separate_numeric_text(Statement* statement) {
  if (!statement->numeric_text) return;
  statement->numeric_text = false;
  put_text(statement, " ", 1);
}

/// The variable is the first item of a statement on an internal file.
void add_internal_file(Statement* statement) {
  const Gfc_Dt& block = *statement->block;
  const bool array = block.internal_array != nullptr;
  const u64 length = block.internal_len > 0 ? static_cast<u64>(block.internal_len) : 0;
  statement->list[0] = ITM_CHARACTER;
  statement->list[1] = array ? ACC_ARRAY_ELEM : ACC_SCALAR;
  statement->items = 1;
  statement->args[0] = array ? length * static_cast<u64>(element_count(*block.internal_array)) : length;
  statement->args[1] = reinterpret_cast<u64>(block.internal);
  statement->args[2] = length;
  statement->words = array ? 3 : 2;
}

/// ADVANCE= and SIZE= are the first items of a formatted statement.
void add_leading_items(Statement* statement) {
  Gfc_Dt& block = *statement->block;
  if ((block.common.flags & GFC_DT_ADVANCE) != 0) {
    // The text may be a temporary. No word that is longer than the copy is right.
    i64 length = trimmed(block.advance, block.advance_len);
    if (length > static_cast<i64>(sizeof(u64))) length = sizeof(u64);
    u64* args = add_item(statement, ITM_CHARACTER, ACC_SCALAR, 2, 1);
    u64* copy = &statement->args[kBatchWords - statement->text_words];
    if (length > 0) memcpy(copy, block.advance, static_cast<size_t>(length));
    args[0] = static_cast<u64>(length);
    args[1] = reinterpret_cast<u64>(copy);
  }
  if ((block.common.flags & GFC_DT_SIZE) != 0) {
    *block.size = 0;
    *add_item(statement, ITM_INTEGER8, ACC_POINTER, 1) = reinterpret_cast<u64>(block.size);
  }
}

/// What a statement with more than a plain list of items begins with.
[[gnu::noinline]] void prepare_statement(Statement* statement) {
  const Gfc_Dt& block = *statement->block;
  const u32 flags = block.common.flags;
  Console* console = statement->console;
  statement->internal = (flags & GFC_DT_INTERNAL) != 0;
  statement->plus = (flags & GFC_DT_SIGN) != 0 && is_word(block.sign, block.sign_len, "PLUS");
  statement->delimited = (flags & GFC_DT_DELIM) != 0 && !is_word(block.delim, block.delim_len, "NONE");
  const bool recursive = statement->outer != nullptr && is_recursive(statement);
  if (recursive) {
    if (console != nullptr) console->flush_ours();  // while it can be done
    report_recursion(statement->unit(), statement->outer);
  }
  if (statement->internal)
    add_internal_file(statement);
  else if ((block.common.flags & (GFC_DT_ADVANCE | GFC_DT_SIZE)) != 0 && statement->formatted())
    add_leading_items(statement);
  if ((block.common.flags & kTemporaryTexts) != 0 || recursive) send(statement, ITM_END_CALL);
}

}  // namespace

void send(Statement* statement, For_Item_Type end) {
  statement->list[2 * statement->items] = end;
  statement->list[2 * statement->items + 1] = 0;
  empty_batch(statement);
  call_library(statement, statement->list, statement->args);
}

Statement* outer_statement_of(const Gfc_Dt* block) {
  for (Statement* statement = t_innermost; statement != nullptr; statement = statement->outer)
    if (statement->block == block) return statement;
  return nullptr;
}

void begin_statement(Gfc_Dt* block, Verb verb, Console* console) {
  if (begin_plain_statement(block, verb, console)) return;
  auto* statement = new (block->server) Statement;
  start_statement(statement, block, verb, console);
  prepare_statement(statement);
}

void begin_in_place(Statement* statement) {
  static constexpr u8 kNoItem[] = {ITM_END_CALL, 0};
  statement->begins_in_place = false;
  statement->started = true;
  const Gfc_Common& common = statement->block->common;
  const For_IO_Flags flags = connection_flags(common.unit) | specifier_flags(common.flags) | iof_ignore_conv_error;
  take_result(statement, call_unformatted(statement, flags, kNoItem, nullptr));
  choose_place(statement);
}

void end_statement(Statement* statement) {
  if (!statement->over) send(statement, ITM_END_STATEMENT);
  t_innermost = statement->outer;
}

void end_in_place(Statement* statement) {
  static constexpr u8 kNoItem[] = {ITM_END_STATEMENT, 0};
  (void)store_result(statement->block->common, further_unformatted(statement, kNoItem, nullptr));
  t_innermost = statement->outer;
}

bool internal_file_is_contiguous(const Gfc_Dt& block) {
  if (block.internal_array == nullptr) return true;
  const Gfc_Array& array = *block.internal_array;
  i64 step = 1;
  for (int i = 0; i < array.rank; ++i) {
    const i64 extent = array.dim[i].upper - array.dim[i].lower + 1;
    if (extent > 1 && array.dim[i].stride != step) return false;
    step *= extent;
  }
  return true;
}

bool abandon_statement(Statement* statement) {
  if (statement->started || statement->items > statement->internal) return false;
  t_innermost = statement->outer;
  return true;
}

void put_value(Statement* statement, For_Item_Type type, const void* value, size_t bytes) {
  if (statement->over) return;
  u64* args = add_item(statement, type, ACC_INLINE, words_of(bytes));
  if (args == nullptr) return;
  *args = 0;
  memcpy(args, value, bytes);
  if (statement->values_in_place) send(statement, ITM_END_CALL);
}

/// A short text or array behind its length in bytes, with a copy of it.
void put_copy(Statement* statement, For_Item_Type type, For_Item_Access access, const void* data, i64 length) {
  const auto bytes = static_cast<size_t>(length);
  u64* args = add_item(statement, type, access, 2, words_of(bytes));
  if (args == nullptr) return;
  u64* copy = &statement->args[kBatchWords - statement->text_words];
  if (bytes > 0) memcpy(copy, data, bytes);
  args[0] = bytes;
  args[1] = reinterpret_cast<u64>(copy);
  if (statement->values_in_place) send(statement, ITM_END_CALL);
}

void put_text(Statement* statement, const char* text, i64 length) {
  // A part of the variable that is written is shown as such, so that the library can tell of it.
  const bool of_variable = statement->internal && text >= statement->block->internal &&
                           text < statement->block->internal + statement->block->internal_len;
  if (length < 0 || length > kCopiedText || of_variable) {
    const u64 words[] = {static_cast<u64>(length), reinterpret_cast<u64>(text)};
    (void)put_reference(statement, ITM_CHARACTER, ACC_SCALAR, words, 2);
    return;
  }
  if (statement->over) return;
  separate_numeric_text(statement);
  if (statement->over) return;
  put_copy(statement, ITM_CHARACTER, ACC_SCALAR, text, length);
}

bool put_small_array(Statement* statement, For_Item_Type type, const void* data, i64 bytes) {
  if (statement->verb != Verb::write || bytes > kCopiedArray) return false;
  if (!statement->over) put_copy(statement, type, ACC_ARRAY, data, bytes);
  return true;
}

bool read_at_once(Statement* statement, For_Item_Type type, void* address) {
  if (statement->over) return false;
  const u8 list[4] = {type, ACC_POINTER, ITM_END_CALL, 0};
  u64 word = reinterpret_cast<u64>(address);
  call_library(statement, list, &word);
  return !statement->over;
}

bool put_reference(Statement* statement, For_Item_Type type, For_Item_Access access, const u64* words, int count) {
  if (statement->over) return false;
  if (type == ITM_CHARACTER) separate_numeric_text(statement);
  if (statement->over) return false;
  if (count <= kBatchWords) {
    u64* args = add_item(statement, type, access, count);
    if (args == nullptr) return false;
    memcpy(args, words, static_cast<size_t>(count) * sizeof(u64));
    send(statement, ITM_END_CALL);
    return !statement->over;
  }
  if (statement->items > 0) send(statement, ITM_END_CALL);
  if (statement->over) return false;
  statement->numeric_text = false;
  const u8 list[4] = {type, access, ITM_END_CALL, 0};
  call_library(statement, list, const_cast<u64*>(words));
  return !statement->over;
}

bool is_word(const char* text, i64 length, const char* word) {
  length = trimmed(text, length);
  return static_cast<size_t>(length) == strlen(word) && strncasecmp(text, word, static_cast<size_t>(length)) == 0;
}
