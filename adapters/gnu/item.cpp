// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// GNU Fortran's types and kinds as items of the library.

#include "adapters/gnu/item.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "adapters/gnu/refuse.h"

namespace {

typedef __int128 i128;
typedef unsigned __int128 u128;

constexpr int kInteger16Columns = 40;  // sign and 39 digits
constexpr u32 kReplacement = 0xfffd;   // stands for what is no character
constexpr i64 kUtf8Most = 4;
constexpr i64 kWideOnStack = 128;
constexpr int kWideKind = 4;
constexpr size_t kNameBytes = 40;

/// How an element of one type and kind travels.
enum Road : u8 { ROAD_NONE, ROAD_ITEM, ROAD_INTEGER16, ROAD_LOGICAL16, ROAD_WIDE };

struct Carrier {
  Gfc_Type type;
  u8 kind;
  Road road;
  For_Item_Type item;
  u8 bytes;  ///< 0: the length comes with the element
};

constexpr Carrier kCarriers[] = {
    {GFC_INTEGER, 4, ROAD_ITEM, ITM_INTEGER4, 4},
    {GFC_REAL, 8, ROAD_ITEM, ITM_REAL8, 8},
    {GFC_REAL, 4, ROAD_ITEM, ITM_REAL4, 4},
    {GFC_CHARACTER, 1, ROAD_ITEM, ITM_CHARACTER, 0},
    {GFC_INTEGER, 8, ROAD_ITEM, ITM_INTEGER8, 8},
    {GFC_INTEGER, 2, ROAD_ITEM, ITM_INTEGER2, 2},
    {GFC_INTEGER, 1, ROAD_ITEM, ITM_INTEGER1, 1},
    {GFC_LOGICAL, 4, ROAD_ITEM, ITM_LOGICAL4, 4},
    {GFC_LOGICAL, 1, ROAD_ITEM, ITM_LOGICAL1, 1},
    {GFC_LOGICAL, 2, ROAD_ITEM, ITM_LOGICAL2, 2},
    {GFC_LOGICAL, 8, ROAD_ITEM, ITM_LOGICAL8, 8},
    {GFC_COMPLEX, 8, ROAD_ITEM, ITM_COMPLEX16_ALT, 16},  // with the digits of REAL(8); its field holds every value
    {GFC_COMPLEX, 4, ROAD_ITEM, ITM_COMPLEX8, 8},
    {GFC_REAL, 16, ROAD_ITEM, ITM_REAL16, 16},
    {GFC_COMPLEX, 16, ROAD_ITEM, ITM_COMPLEX32, 32},
    {GFC_INTEGER, 16, ROAD_INTEGER16, ITM_CHARACTER, 16},
    {GFC_LOGICAL, 16, ROAD_LOGICAL16, ITM_LOGICAL8, 16},
    {GFC_CHARACTER, 4, ROAD_WIDE, ITM_CHARACTER, 0},
};

constexpr int kTypes = 8, kKinds = 17;

/// 1 + the row of kCarriers, by type and kind.
constexpr auto kCarrierRow = [] {
  struct {
    u8 of[kTypes][kKinds];
  } rows = {};
  u8 row = 0;
  for (const Carrier& carrier : kCarriers) rows.of[carrier.type][carrier.kind] = ++row;
  return rows;
}();

const char* type_name(u8 type) {
  switch (type) {
    case GFC_INTEGER:
      return "INTEGER";
    case GFC_LOGICAL:
      return "LOGICAL";
    case GFC_REAL:
      return "REAL";
    case GFC_COMPLEX:
      return "COMPLEX";
    case GFC_CHARACTER:
      return "CHARACTER";
    default:
      return "derived type";
  }
}

const Carrier& carrier_of(const Statement* statement, u8 type, int kind) {
  const int row = type < kTypes && kind >= 0 && kind < kKinds ? kCarrierRow.of[type][kind] : 0;
  if (row != 0) return kCarriers[row - 1];
  char what[kNameBytes];
  snprintf(what, sizeof what, "%s, kind %d", type_name(type), kind);
  refuse_item(statement, what);
}

/// True when the format may edit integers as bits: then the width of an item shows in a negative value.
bool format_shows_bits(const Gfc_Dt& block) {
  for (i64 i = 0; i < block.format_len; ++i)
    if (strchr("BbOoZz", block.format[i]) != nullptr && block.format[i] != '\0') return true;
  return false;
}

/// An item of a format: as INTEGER(8), when that shows the same.
void put_integer16_item(Statement* statement, i128 value) {
  const auto narrow = static_cast<i64>(value);
  if (narrow != value || (narrow < 0 && format_shows_bits(*statement->block)))
    refuse_item(statement, "INTEGER, kind 16, with a value that INTEGER(8) does not stand for");
  put_value(statement, ITM_INTEGER8, &narrow, sizeof narrow);
}

/// A 40-column field, right-justified.
void put_integer16(Statement* statement, const void* address) {
  if (statement->formatted()) {
    i128 item;
    memcpy(&item, address, sizeof item);
    return put_integer16_item(statement, item);
  }
  if (statement->delimited) refuse_item(statement, "INTEGER, kind 16, with DELIM=");
  i128 value;
  memcpy(&value, address, sizeof value);
  u128 rest = value < 0 ? -static_cast<u128>(value) : static_cast<u128>(value);
  char field[kInteger16Columns];
  memset(field, ' ', sizeof field);
  char* first = field + sizeof field;
  do {
    *--first = static_cast<char>('0' + static_cast<int>(rest % 10));
    rest /= 10;
  } while (rest != 0);
  if (value < 0)
    *--first = '-';
  else if (statement->plus)
    *--first = '+';
  put_text(statement, field, sizeof field);
  statement->numeric_text = true;
}

void put_logical16(Statement* statement, const void* address) {
  u128 value;
  memcpy(&value, address, sizeof value);
  const u64 truth = value != 0;
  put_value(statement, ITM_LOGICAL8, &truth, sizeof truth);
}

char* encode_utf8(u32 character, char* to) {
  if (character > 0x10ffff || (character >= 0xd800 && character <= 0xdfff)) character = kReplacement;
  auto continuation = [character](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3f)); };
  if (character < 0x80) {
    *to++ = static_cast<char>(character);
    return to;
  }
  if (character < 0x800) {
    *to++ = static_cast<char>(0xc0 | character >> 6);
  } else {
    if (character < 0x10000) {
      *to++ = static_cast<char>(0xe0 | character >> 12);
    } else {
      *to++ = static_cast<char>(0xf0 | character >> 18);
      *to++ = continuation(12);
    }
    *to++ = continuation(6);
  }
  *to++ = continuation(0);
  return to;
}

/// Reads into a stand-in of an element that has no item of its own: false when the element keeps its value.
template <class Stand_In>
bool read_stand_in(Statement* statement, For_Item_Type item, Stand_In* stand_in) {
  const u64 word = reinterpret_cast<u64>(stand_in);
  return put_reference(statement, item, ACC_POINTER, &word, 1);
}

/// Elements of 16 bytes are read as items of 8. A null value of a list leaves the stand-in, and so the element.
void read_wide_number(Statement* statement, For_Item_Type item, char* address) {
  i128 value;
  memcpy(&value, address, sizeof value);
  auto low = static_cast<i64>(value);
  const i64 before = low;
  if (!read_stand_in(statement, item, &low) || low == before) return;
  value = item == ITM_LOGICAL8 ? low & 1 : low;
  memcpy(address, &value, sizeof value);
}

bool is_logical(For_Item_Type item) {
  return item == ITM_LOGICAL1 || item == ITM_LOGICAL2 || item == ITM_LOGICAL4 || item == ITM_LOGICAL8;
}

/// An element that has an item of its own.
void read_number(Statement* statement, const Carrier& carrier, char* address) {
  (void)read_stand_in(statement, carrier.item, address);
  if (is_logical(carrier.item)) make_truth(address, static_cast<size_t>(carrier.bytes));
}

/// Each byte of the input is a character. A null value of a list leaves the bytes, and so the element.
void read_wide_text(Statement* statement, u32* text, i64 length) {
  constexpr char kUnread = '\xff';
  char few[kWideOnStack];
  char* bytes = few;
  if (length > kWideOnStack) bytes = static_cast<char*>(malloc(static_cast<size_t>(length)));
  if (bytes == nullptr) refuse("no memory for a text of %lld characters", static_cast<long long>(length));
  memset(bytes, kUnread, static_cast<size_t>(length > 0 ? length : 0));
  const u64 words[] = {static_cast<u64>(length), reinterpret_cast<u64>(bytes)};
  bool read = false;
  if (put_reference(statement, ITM_CHARACTER, ACC_SCALAR, words, 2))
    for (i64 i = 0; i < length && !read; ++i) read = bytes[i] != kUnread;
  for (i64 i = 0; i < length && read; ++i) text[i] = static_cast<u8>(bytes[i]);
  if (bytes != few) free(bytes);
}

void write_wide_text(Statement* statement, const u32* text, i64 length) {
  char few[kWideOnStack * kUtf8Most];
  few[0] = ' ';  // a text of no length has an address as well
  char* bytes = few;
  if (length > kWideOnStack) bytes = static_cast<char*>(malloc(static_cast<size_t>(length * kUtf8Most)));
  if (bytes == nullptr) refuse("no memory for a text of %lld characters", static_cast<long long>(length));
  char* end = bytes;
  for (i64 i = 0; i < length; ++i) end = encode_utf8(text[i], end);
  put_text(statement, bytes, end - bytes);
  if (bytes != few) free(bytes);
}

/// Bytes of an element in memory, which an unformatted record has as they are.
i64 element_bytes(const Carrier& carrier, i64 length) {
  if (carrier.bytes != 0) return carrier.bytes;
  return (length > 0 ? length : 0) * carrier.kind;
}

/// An element of an unformatted list that has no item of its own: as one of the same bytes, whose order CONVERT= changes
/// in the same way.
void transfer_bytes(Statement* statement, const Carrier& carrier, const char* address, i64 length) {
  const bool wide = carrier.road == ROAD_WIDE;
  const u64 words[] = {static_cast<u64>(element_bytes(carrier, length)), reinterpret_cast<u64>(address)};
  (void)put_reference(statement, wide ? ITM_INTEGER4 : ITM_REAL16, ACC_ARRAY, words, 2);
}

void write_element(Statement* statement, const Carrier& carrier, const char* address, i64 length) {
  switch (carrier.road) {
    case ROAD_INTEGER16:
      return put_integer16(statement, address);
    case ROAD_LOGICAL16:
      return put_logical16(statement, address);
    case ROAD_WIDE:
      return write_wide_text(statement, reinterpret_cast<const u32*>(address), length);
    default:
      return put_value(statement, carrier.item, address, carrier.bytes);
  }
}

void read_element(Statement* statement, const Carrier& carrier, char* address, i64 length) {
  switch (carrier.road) {
    case ROAD_INTEGER16:
      return read_wide_number(statement, ITM_INTEGER8, address);
    case ROAD_LOGICAL16:
      return read_wide_number(statement, ITM_LOGICAL8, address);
    case ROAD_WIDE:
      return read_wide_text(statement, reinterpret_cast<u32*>(address), length);
    default:
      return read_number(statement, carrier, address);
  }
}

void transfer_element(Statement* statement, const Carrier& carrier, char* address, i64 length) {
  if (statement->unformatted()) {
    if (carrier.road != ROAD_ITEM) return transfer_bytes(statement, carrier, address, length);
    if (statement->verb == Verb::read) return (void)read_at_once(statement, carrier.item, address);
  }
  if (statement->verb == Verb::read)
    read_element(statement, carrier, address, length);
  else
    write_element(statement, carrier, address, length);
}

/// The dimensions of an array with strides in bytes, without those that do not matter.
struct Shape {
  i64 elem;   ///< bytes of an element
  i64 count;  ///< elements
  int rank;
  i64 extent[kGfcMaxRank];
  i64 stride[kGfcMaxRank];

  Shape(const Gfc_Array& array, i64 elem_len) : elem(elem_len), count(1), rank(0) {
    for (int i = 0; i < array.rank; ++i) {
      const Gfc_Dim& dim = array.dim[i];
      const i64 length = dim.upper < dim.lower ? 0 : dim.upper - dim.lower + 1;
      const i64 step = dim.stride * elem;
      count *= length;
      if (length == 1) continue;
      if (rank > 0 && step == stride[rank - 1] * extent[rank - 1]) {
        extent[rank - 1] *= length;
      } else {
        extent[rank] = length;
        stride[rank++] = step;
      }
    }
  }

  bool contiguous() const { return rank == 0 || (rank == 1 && stride[0] == elem); }
};

/// One item of the library: a contiguous array or a section.
void transfer_whole(Statement* statement, For_Item_Type item, const Gfc_Array& array, const Shape& shape) {
  const bool text = item == ITM_CHARACTER;
  u64 words[3 + 3 * kGfcMaxRank];
  int used = 0;
  if (shape.count == 0 || shape.contiguous()) {
    const i64 bytes = shape.count * shape.elem;
    if (bytes > 0 && statement->values_in_place && move_in_place(statement, array.data, bytes)) return;
    if (!text && put_small_array(statement, item, array.data, bytes)) return;
    // Characters of no length count by the bytes that they would have with one.
    words[used++] = static_cast<u64>(shape.count * (shape.elem > 0 ? shape.elem : 1));
    words[used++] = reinterpret_cast<u64>(array.data);
    if (text) words[used++] = static_cast<u64>(shape.elem);
    (void)put_reference(statement, item, text ? ACC_ARRAY_ELEM : ACC_ARRAY, words, used);
    return;
  }
  words[used++] = static_cast<u64>(shape.rank);
  words[used++] = reinterpret_cast<u64>(array.data);
  if (text) words[used++] = static_cast<u64>(shape.elem);
  for (int i = 0; i < shape.rank; ++i) {
    words[used++] = 1;
    words[used++] = static_cast<u64>(shape.extent[i]);
    words[used++] = static_cast<u64>(shape.stride[i]);
  }
  (void)put_reference(statement, item, text ? ACC_SECTION_ELEM : ACC_SECTION, words, used);
}

/// Calls `visit` with the address of each element in the array's order, as long as it says true.
template <class Visit>
void visit_elements(const Gfc_Array& array, const Shape& shape, Visit visit) {
  i64 index[kGfcMaxRank] = {};
  char* address = array.data;
  for (i64 left = shape.count; left > 0 && visit(address); --left) {
    for (int i = 0; i < shape.rank; ++i) {
      address += shape.stride[i];
      if (++index[i] < shape.extent[i]) break;
      address -= shape.stride[i] * shape.extent[i];
      index[i] = 0;
    }
  }
}

}  // namespace

void transfer_scalar(Statement* statement, Gfc_Type type, int kind, void* value) {
  if (statement->over) return;
  const Carrier& carrier = carrier_of(statement, type, kind);
  if (statement->values_in_place && move_in_place(statement, value, carrier.bytes)) return;
  transfer_element(statement, carrier, static_cast<char*>(value), 0);
}

void transfer_text(Statement* statement, char* text, i64 length) {
  if (length > 0 && statement->values_in_place && move_in_place(statement, text, length)) return;
  if (statement->verb == Verb::write) return put_text(statement, text, length);
  const u64 words[] = {static_cast<u64>(length), reinterpret_cast<u64>(text)};
  (void)put_reference(statement, ITM_CHARACTER, ACC_SCALAR, words, 2);
}

void transfer_wide_text(Statement* statement, u32* text, i64 length) {
  if (statement->over) return;
  if (statement->unformatted())
    return transfer_element(statement, carrier_of(statement, GFC_CHARACTER, kWideKind), reinterpret_cast<char*>(text),
                            length);
  if (statement->verb == Verb::read)
    read_wide_text(statement, text, length);
  else
    write_wide_text(statement, text, length);
}

void transfer_array(Statement* statement, const Gfc_Array& array, int kind, i64 length) {
  if (statement->over) return;
  const Carrier& carrier = carrier_of(statement, static_cast<u8>(array.type), kind);
  const i64 elem = carrier.bytes != 0 ? carrier.bytes : (length > 0 ? length : 0) * kind;
  const Shape shape(array, elem);
  if (carrier.road != ROAD_ITEM) {
    return visit_elements(array, shape, [&](char* address) {
      transfer_element(statement, carrier, address, length);
      return !statement->over;
    });
  }
  transfer_whole(statement, carrier.item, array, shape);
  if (statement->verb == Verb::write || statement->unformatted() || !is_logical(carrier.item)) return;
  visit_elements(array, shape, [&](char* address) {
    make_truth(address, static_cast<size_t>(carrier.bytes));
    return true;
  });
}

void refuse_item(const Statement* statement, const char* what) {
  const Gfc_Common& common = statement->block->common;
  const char* form = statement->formatted() ? "formatted" : statement->unformatted() ? "unformatted" : "list-directed";
  refuse("%s %s of %s is not served, unit %d (%s, line %d)", form, statement->verb == Verb::read ? "input" : "output",
         what, common.unit, common.source_name, common.source_line);
}
