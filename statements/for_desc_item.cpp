// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decoding item lists, and walking the values of an item in runs.

#include "statements/for_desc_item.h"

#include <string.h>

#include <algorithm>

#include "core/failure.h"
#include "tamrun/descriptor.h"

namespace {

constexpr For_Item_Row kByte = {1, 1}, kHalf = {2, 1}, kWord = {4, 1}, kLong = {8, 1};
constexpr For_Item_Row kQuad = {16, 2}, kQuadPair = {32, 4};
constexpr For_Item_Row kMark = {0, 0};
constexpr For_Item_Row kGiven = {ITEM_SIZE_GIVEN, 0};
constexpr For_Item_Row kNonDataWord = {ITEM_SIZE_NON_DATA, 1}, kNonData = {ITEM_SIZE_NON_DATA, 0};
constexpr For_Item_Row kReserved = {ITEM_SIZE_RESERVED, 0};
constexpr For_Item_Row kNone = {ITEM_SIZE_INVALID, 0};

}  // namespace

constexpr For_Item_Row for__dsc_itm_table[kItemTypes] = {
    kNone,        kMark,    kMark,     kNone,  kNone,  kByte,  kByte,  kHalf,  kHalf,        kWord,     // 0 to 9
    kWord,        kLong,    kLong,     kWord,  kByte,  kHalf,  kWord,  kLong,  kNone,        kNone,     // 10 to 19
    kNone,        kNone,    kNone,     kNone,  kNone,  kWord,  kWord,  kNone,  kLong,        kLong,     // 20 to 29
    kNone,        kLong,    kNone,     kNone,  kNone,  kNone,  kNone,  kNone,  kNone,        kNone,     // 30 to 39
    kQuad,        kNone,    kQuad,     kQuad,  kQuad,  kLong,  kLong,  kNone,  kLong,        kNone,     // 40 to 49
    kQuad,        kNone,    kQuadPair, kNone,  kNone,  kNone,  kGiven, kNone,  kNone,        kNone,     // 50 to 59
    kNonDataWord, kNonData, kNonData,  kGiven, kGiven, kGiven, kGiven, kGiven, kNonDataWord, kNonData,  // 60 to 69
    kReserved,                                                                                          // 70
};

namespace {

/// Takes the argument words one after the other.
class Argument_Words {
 public:
  explicit Argument_Words(void** args) : args_(args), next_(static_cast<u64*>(*args)) {}
  ~Argument_Words() { *args_ = next_; }
  Argument_Words(const Argument_Words&) = delete;
  Argument_Words& operator=(const Argument_Words&) = delete;

  i64 number() { return static_cast<i64>(*next_++); }
  u8* address() { return reinterpret_cast<u8*>(*next_++); }
  /// The words of an inline value.
  u8* inline_value(int words) {
    u8* value = reinterpret_cast<u8*>(next_);
    next_ += words;
    return value;
  }

 private:
  void** args_;
  u64* next_;
};

int inconsistent_list() {
  TAMRUN_INTERNAL_ERROR("for_desc_item.cpp");
  return MSG_INVALID_ARGUMENT;  // a user handler let the process go on
}

i64 not_negative(i64 bytes) { return std::max<i64>(bytes, 0); }

/// Bytes of one value by its type: of a complex number one part. Text without a length is one character.
constexpr auto kValueBytes = [] {
  struct {
    u8 of[kItemTypes];
  } bytes = {};
  for (int type = 0; type < kItemTypes; ++type) {
    const int size = for__dsc_itm_table[type].size;
    bytes.of[type] = item_is_character(type) ? 1 : size < 0 ? 0 : item_is_complex(type) ? size / 2 : size;
  }
  return bytes;
}();

i64 value_bytes(u32 type) { return kValueBytes.of[type]; }

/// Element length of an item that brings one: 0 or MSG_INVALID_ARGUMENT. A number's element is never shorter than the
/// number, and that of a complex number is a part whatever the list says.
int given_element(u32 type, i64 given, i64* elem) {
  const i64 own = value_bytes(type);
  if (for__dsc_itm_table[type].size < 0) {
    *elem = not_negative(given);
    return 0;
  }
  *elem = item_is_complex(type) ? own : given;
  return given < own ? MSG_INVALID_ARGUMENT : 0;
}

/// Dimensions and total of a section: 0 or MSG_INVALID_ARGUMENT.
int decode_section(Argument_Words& words, i64 element_bytes, For_Value_Info* val, For_Item_Shape* shape) {
  i64 total = std::max<i64>(element_bytes, 1);
  bool empty = false, too_large = false;
  for (u32 d = 0; d < shape->shp_rank; ++d) {
    For_Item_Dim& dim = shape->shp_dim[d];
    dim.lower = words.number();
    dim.upper = words.number();
    dim.stride = words.number();
    if (dim.upper < dim.lower) {
      empty = true;
      continue;
    }
    i64 extent = 0;
    too_large |= __builtin_sub_overflow(dim.upper, dim.lower, &extent) || __builtin_add_overflow(extent, 1, &extent) ||
                 __builtin_mul_overflow(total, extent, &total);
  }
  val->val_total = empty ? 0 : total;
  return too_large && !empty ? MSG_INVALID_ARGUMENT : 0;
}

int decode_section_item(u8 access, Argument_Words& words, For_Value_Info* val, For_Item_Shape* shape) {
  const u32 type = val->val_type;
  const i64 rank = words.number();
  if (rank < 1 || rank > kMaxSectionRank) return MSG_INVALID_ARGUMENT;
  val->val_data = words.address();
  val->val_elem = value_bytes(type);
  int code = 0;
  if (access == ACC_SECTION_ELEM) code = given_element(type, words.number(), &val->val_elem);
  shape->shp_rank = static_cast<u32>(rank);
  shape->shp_base = val->val_data;
  const i64 element_bytes = item_is_complex(type) ? 2 * val->val_elem : val->val_elem;
  const int section = decode_section(words, element_bytes, val, shape);
  return code ? code : section;
}

int decode_by_access(u8 access, Argument_Words& words, For_Value_Info* val, For_Item_Shape* shape) {
  const u32 type = val->val_type;
  const For_Item_Row& row = for__dsc_itm_table[type];
  val->val_elem = value_bytes(type);
  switch (access) {
    case ACC_INLINE:
      val->val_data = words.inline_value(row.words);
      val->val_total = not_negative(row.size);
      if (row.size < 0) val->val_elem = 0;
      return 0;
    case ACC_POINTER:
    case ACC_POINTER_ALT:
      val->val_data = words.address();
      val->val_total = row.size < 0 ? val->val_elem : row.size;
      return 0;
    case ACC_SCALAR:
      val->val_total = not_negative(words.number());
      if (!item_is_complex(type)) val->val_elem = val->val_total;
      val->val_data = words.address();
      return 0;
    case ACC_ARRAY:
      val->val_total = not_negative(words.number());
      val->val_data = words.address();
      return 0;
    case ACC_ARRAY_ELEM:
      val->val_total = not_negative(words.number());
      val->val_data = words.address();
      return given_element(type, words.number(), &val->val_elem);
    case ACC_SECTION:
    case ACC_SECTION_ELEM:
      return decode_section_item(access, words, val, shape);
    case ACC_UDIO_SCALAR:
      val->val_elem = words.number();
      val->val_data = words.address();
      return 0;
    case ACC_UDIO_ARRAY:
      val->val_elem = words.number();
      val->val_data = words.address();
      val->val_dope = reinterpret_cast<For_Dope_Vector*>(val->val_data);
      // The routine gets the object that the descriptor describes; who calls it sets the bit again.
      if (val->val_dope != nullptr) val->val_dope->dv_flags &= ~static_cast<u64>(DV_ADDRESS_WORD);
      return 0;
    case 2:
    case 9:
      return inconsistent_list();
    default:
      return MSG_INVALID_ARGUMENT;
  }
}

bool is_empty_array(const For_Value_Info& val, const For_Item_Shape& shape) {
  return item_is_array(shape.shp_access) && val.val_total == 0;
}

bool same_word(const u8* text, i64 length, const char* word) {
  for (i64 i = 0; i < length; ++i) {
    const u8 c = text[i] >= 'a' && text[i] <= 'z' ? text[i] - 'a' + 'A' : text[i];
    if (word[i] == '\0' || c != static_cast<u8>(word[i])) return false;
  }
  return word[length] == '\0';
}

u8* step(u8* address, i64 stride) {
  return reinterpret_cast<u8*>(reinterpret_cast<u64>(address) + static_cast<u64>(stride));
}

}  // namespace

extern "C" {

int for__desc_ret_item(const u8** item_list, void** item_args, For_Value_Info* val, For_Item_Shape* shape) {
  if (item_list == nullptr || *item_list == nullptr || item_args == nullptr || val == nullptr || shape == nullptr) {
    return MSG_INVALID_ARGUMENT;
  }
  const u8 type = (*item_list)[0];
  const u8 access = (*item_list)[1];
  if (type >= kItemTypes) return MSG_INVALID_ARGUMENT;
  *val = For_Value_Info{nullptr, 0, type, 0, nullptr};
  shape->shp_access = access;
  shape->shp_rank = 0;
  shape->shp_base = nullptr;
  if (type == ITM_END_STATEMENT || type == ITM_END_CALL) {
    *item_list += 2;
    return 0;
  }
  if (*item_args == nullptr) return MSG_INVALID_ARGUMENT;

  Argument_Words words(item_args);
  *item_list += 2;
  const For_Item_Row& row = for__dsc_itm_table[type];
  switch (row.size) {
    case ITEM_SIZE_INVALID:
      return inconsistent_list();
    case ITEM_SIZE_RESERVED:
      return MSG_INVALID_ARGUMENT;
    case ITEM_SIZE_NON_DATA:
      if (row.words != 0) {
        val->val_total = val->val_elem = words.number();
        val->val_data = words.address();
      }
      return 0;
    default:
      return decode_by_access(access, words, val, shape);
  }
}

int for__key_desc_ret_item(const u8** item_list, void** item_args, For_Value_Info* val, For_Item_Shape* shape,
                           int* key) {
  if (int code = for__desc_ret_item(item_list, item_args, val, shape)) return code;
  if (key == nullptr) return MSG_INVALID_ARGUMENT;
  *key = **item_list;
  *item_list += 2;
  return 0;
}

int for__desc_test_item(const u8** item_list, void** item_args, int level) {
  if (item_list == nullptr || item_args == nullptr) return 1;
  const u8* list = *item_list;
  void* args = *item_args;
  For_Value_Info val;
  For_Item_Shape shape;
  do {
    if (for__desc_ret_item(&list, &args, &val, &shape) != 0) return 1;
    if (val.val_type == ITM_END_CALL) return 2;
    if (val.val_type == ITM_END_STATEMENT) return level < 2;
  } while (is_empty_array(val, shape));
  return 0;
}

int for__desc_zero_length_item(const u8** item_list, void** item_args, For_Value_Info* val, For_Item_Shape* shape,
                               int level) {
  do {
    if (for__desc_ret_item(item_list, item_args, val, shape) != 0) return 1;
    if (val->val_type == ITM_END_CALL) return 1;
    if (val->val_type == ITM_END_STATEMENT) return level < 2;
  } while (is_empty_array(*val, *shape));
  return 0;
}

void* for__next_array_element(const For_Item_Shape* shape, i64* index) {
  u8* element = shape->shp_base;
  for (u32 d = 0; d < shape->shp_rank; ++d) {
    element = step(element, (index[d] - shape->shp_dim[d].lower) * shape->shp_dim[d].stride);
  }
  for (u32 d = 0; d < shape->shp_rank; ++d) {
    if (index[d] < shape->shp_dim[d].upper) {
      ++index[d];
      break;
    }
    index[d] = shape->shp_dim[d].lower;
  }
  return element;
}

int for__write_args(const u8** item_list, void** item_args, int* yes_no) {
  For_Value_Info val;
  For_Item_Shape shape;
  if (int code = for__desc_ret_item(item_list, item_args, &val, &shape)) return code;
  if (!item_is_character(val.val_type) || val.val_data == nullptr) return MSG_INVALID_ARGUMENT;
  i64 length = val.val_total;
  while (length > 1 && val.val_data[length - 1] == ' ') --length;
  const bool yes = same_word(val.val_data, length, "YES");
  if (!yes && !same_word(val.val_data, length, "NO")) return MSG_INVALID_ARGUMENT;
  *yes_no = yes;
  return 0;
}

}  // extern "C"

void ItemWalker::start(const For_Value_Info& val, const For_Item_Shape& shape, bool empty_text_counts) {
  const i64 parts = item_is_complex(val.val_type) ? 2 : 1;
  run_ = {val.val_data, val.val_elem, parts, val.val_elem};
  runs_left_ = 1;
  rank_ = 0;
  count_ = parts;
  if (!item_is_array(shape.shp_access)) return;

  count_ = val.val_elem > 0 ? val.val_total / val.val_elem : empty_text_counts ? val.val_total : 0;
  run_.count = count_;
  if (count_ == 0) {
    runs_left_ = 0;
  } else if (item_is_section(shape.shp_access)) {
    run_.count = parts;
    collapse_dimensions(shape);
  }
}

/// Takes into the run every dimension that only continues it, and keeps the others to step from run to run.
void ItemWalker::collapse_dimensions(const For_Item_Shape& shape) {
  for (u32 d = 0; d < shape.shp_rank; ++d) {
    const For_Item_Dim& dim = shape.shp_dim[d];
    const i64 extent = dim.upper - dim.lower + 1;
    if (extent == 1) continue;
    const bool first = run_.count == 1;
    i64 reach = 0;
    const bool continues = !__builtin_mul_overflow(run_.count, run_.stride, &reach) && dim.stride == reach;
    if (rank_ == 0 && (first || continues)) {
      if (first) run_.stride = dim.stride;
      run_.count *= extent;
      continue;
    }
    extent_[rank_] = extent;
    stride_[rank_] = dim.stride;
    index_[rank_] = 0;
    runs_left_ *= extent;
    ++rank_;
  }
}

bool ItemWalker::next(Item_Run& run) {
  if (runs_left_ == 0) return false;
  --runs_left_;
  run = run_;
  for (int d = 0; d < rank_; ++d) {
    if (++index_[d] < extent_[d]) {
      run_.data = step(run_.data, stride_[d]);
      break;
    }
    index_[d] = 0;
    // Back to the dimension's start, in unsigned arithmetic since wild strides may leave the address space.
    run_.data = step(run_.data, static_cast<i64>(0 - static_cast<u64>(stride_[d]) * static_cast<u64>(extent_[d] - 1)));
  }
  return true;
}
