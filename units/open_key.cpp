// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The words that character keywords of I/O statements may hold.

#include "core/failure.h"
#include "tamrun/open_args.h"
#include "units/open.h"

#include <string.h>
#include <iterator>

namespace {

struct Key_Word {
  u8 value;
  u8 length;
  const char* text;
};

template <size_t n>
constexpr Key_Word word(u8 value, const char (&text)[n]) {
  return {value, n - 1, text};
}

constexpr Key_Word key_access[] = {word(1, "SEQUENTIAL"), word(2, "DIRECT"), word(3, "APPEND"), word(4, "KEYED"),
                                   word(5, "STREAM")};
constexpr Key_Word key_blank[] = {word(1, "ZERO"), word(2, "NULL")};
constexpr Key_Word key_carriage[] = {word(1, "FORTRAN"), word(2, "LIST"), word(3, "NONE")};
constexpr Key_Word key_dispose[] = {word(1, "SAVE"),         word(1, "KEEP"),   word(2, "DELETE"),
                                    word(3, "PRINT"),        word(4, "SUBMIT"), word(5, "PRINT/DELETE"),
                                    word(6, "SUBMIT/DELETE")};
constexpr Key_Word key_form[] = {word(1, "FORMATTED"), word(2, "UNFORMATTED"), word(4, "BINARY")};
constexpr Key_Word key_organization[] = {word(1, "SEQUENTIAL"), word(2, "RELATIVE"), word(3, "INDEXED")};
constexpr Key_Word key_recordtype[] = {word(1, "FIXED"),      word(2, "VARIABLE"),  word(3, "SEGMENTED"),
                                       word(5, "STREAM"),     word(7, "STREAM_CR"), word(6, "STREAM_LF"),
                                       word(8, "STREAM_CRLF")};
constexpr Key_Word key_status[] = {word(1, "OLD"), word(2, "NEW"), word(3, "SCRATCH"), word(4, "UNKNOWN"),
                                   word(5, "REPLACE")};
constexpr Key_Word key_convert[] = {word(1, "BIG_ENDIAN"), word(2, "LITTLE_ENDIAN"), word(3, "VAXD"),
                                    word(4, "VAXG"),       word(6, "CRAY"),          word(5, "IBM"),
                                    word(7, "FDX"),        word(8, "FGX"),           word(9, "NATIVE")};
constexpr Key_Word key_delim[] = {word(1, "APOSTROPHE"), word(2, "NONE"), word(3, "QUOTE")};
constexpr Key_Word key_position[] = {word(1, "APPEND"), word(2, "ASIS"), word(3, "REWIND")};
constexpr Key_Word key_mode[] = {word(1, "READ"), word(2, "READWRITE"), word(3, "WRITE")};
constexpr Key_Word key_share[] = {word(1, "COMPAT"), word(2, "DENYNONE"), word(3, "DENYRD"), word(4, "DENYRW"),
                                  word(5, "DENYWR")};
constexpr Key_Word key_round[] = {word(1, "UP"),      word(2, "DOWN"),       word(3, "ZERO"),
                                  word(4, "NEAREST"), word(5, "COMPATIBLE"), word(6, "PROCESSOR_DEFINED")};
constexpr Key_Word key_decimal[] = {word(2, "COMMA"), word(1, "POINT")};
constexpr Key_Word key_sign[] = {word(2, "PLUS"), word(3, "SUPPRESS"), word(1, "PROCESSOR_DEFINED")};
constexpr Key_Word key_encoding[] = {word(1, "DEFAULT"), word(2, "UTF-8")};
constexpr Key_Word key_asynch[] = {word(1, "NO"), word(2, "YES")};

struct Key_Table {
  const Key_Word* words = nullptr;
  size_t count = 0;
};

constexpr auto kTables = [] {
  struct {
    Key_Table by_key[KEY_LAST + 1];
  } t = {};
#define TABLE(key, words) t.by_key[key] = {words, std::size(words)}
  TABLE(KEY_ACCESS, key_access);
  TABLE(KEY_BLANK, key_blank);
  TABLE(KEY_CARRIAGECONTROL, key_carriage);
  TABLE(KEY_DISPOSE, key_dispose);
  TABLE(KEY_FORM, key_form);
  TABLE(KEY_ORGANIZATION, key_organization);
  TABLE(KEY_RECORDTYPE, key_recordtype);
  TABLE(KEY_STATUS, key_status);
  TABLE(KEY_CONVERT, key_convert);
  TABLE(KEY_ACTION, key_mode);
  TABLE(KEY_MODE, key_mode);
  TABLE(KEY_DELIM, key_delim);
  TABLE(KEY_PAD, key_asynch);
  TABLE(KEY_BUFFERED, key_asynch);
  TABLE(KEY_ASYNCHRONOUS, key_asynch);
  TABLE(KEY_POSITION, key_position);
  TABLE(KEY_SHARE, key_share);
  TABLE(KEY_ROUND, key_round);
  TABLE(KEY_DECIMAL, key_decimal);
  TABLE(KEY_SIGN, key_sign);
  TABLE(KEY_ENCODING, key_encoding);
#undef TABLE
  return t;
}();

constexpr char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool equal(const char* text, size_t length, const Key_Word& row) {
  if (length != row.length) return false;
  for (size_t i = 0; i < length; ++i)
    if (upper(text[i]) != row.text[i]) return false;
  return true;
}

}  // namespace

extern "C" int for__open_key(const char* text, int length, int key, i64* value, int context) {
  const Key_Table table = key >= KEY_FIRST && key <= KEY_LAST ? kTables.by_key[key] : Key_Table{};
  if (table.words == nullptr) {
    TAMRUN_INTERNAL_ERROR("for_open");
    return MSG_INTERNAL_CONSISTENCY;
  }
  size_t end = length > 0 ? static_cast<size_t>(length) : 0;
  while (end > 1 && text[end - 1] == ' ') --end;
  for (size_t i = 0; i < table.count; ++i) {
    if (!equal(text, end, table.words[i])) continue;
    *value = table.words[i].value;
    return 0;
  }
  if (context == KEYCTX_OPEN) return MSG_OPEN_KEYWORD_VALUE;
  return context == KEYCTX_CLOSE ? MSG_CLOSE_KEYWORD_VALUE : MSG_IO_KEYWORD_VALUE;
}
