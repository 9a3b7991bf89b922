// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decoding item lists, and walking the values of an item in runs.
#ifndef TAMRUN_STATEMENTS_FOR_DESC_ITEM_H
#define TAMRUN_STATEMENTS_FOR_DESC_ITEM_H

#include "tamrun/hooks.h"
#include "tamrun/item_list.h"
#include "units/program_variable.h"

extern "C" {

/// Decodes one item and advances both cursors: 0 or MSG_INVALID_ARGUMENT. `shape` gets its dimensions for sections only.
[[nodiscard]] int for__desc_ret_item(const u8** item_list, void** item_args, For_Value_Info* val,
                                     For_Item_Shape* shape);

// for__key_desc_ret_item, which also reads one more pair and gives its first byte, is declared in tamrun/hooks.h.

/// Looks ahead past empty arrays: 0 a real item follows, 1 the list is malformed or (level below 2) the statement ends,
/// 2 the call ends.
[[nodiscard]] int for__desc_test_item(const u8** item_list, void** item_args, int level);

/// Moves the cursors past empty arrays to the next real item, which is decoded: 0; at the statement's end `level < 2`,
/// at the call's end or a malformed item 1.
[[nodiscard]] int for__desc_zero_length_item(const u8** item_list, void** item_args, For_Value_Info* val,
                                             For_Item_Shape* shape, int level);

/// Address of the element at `index`, which then steps on in Fortran order.
void* for__next_array_element(const For_Item_Shape* shape, i64* index);

/// Reads a character item that says YES or NO into 1 or 0: 0 or MSG_INVALID_ARGUMENT.
[[nodiscard]] int for__write_args(const u8** item_list, void** item_args, int* yes_no);

}  // extern "C"

/// True when the type stands for text whose length comes with the item.
constexpr bool item_is_character(u32 type) { return type == ITM_CHARACTER || type == ITM_CHARACTER_ALT; }

/// for__desc_ret_item with what most calls hold decoded in line: the end marks, and numbers in the argument words or by
/// address. The shape of these has its access only.
[[gnu::always_inline]] inline int next_item(const u8*& list, void*& args, For_Value_Info& val, For_Item_Shape& shape) {
  if (list == nullptr) return for__desc_ret_item(&list, &args, &val, &shape);
  const u8 type = list[0], access = list[1];
  const bool stands_here = access == ACC_INLINE;
  if ((stands_here || access == ACC_POINTER) && type >= ITM_INTEGER1 && type < ITM_CHARACTER && args != nullptr) {
    const For_Item_Row row = for__dsc_itm_table[type];
    if (const i64 size = row.size; size > 0) {
      u64* const words = static_cast<u64*>(args);
      u8* const data = stands_here ? reinterpret_cast<u8*>(words) : reinterpret_cast<u8*>(words[0]);
      val = {data, size, type, item_is_complex(type) ? size / 2 : size, nullptr};
      shape.shp_access = access;
      args = words + (stands_here ? row.words : 1);
      list += 2;
      return 0;
    }
  }
  if (type == ITM_END_CALL || type == ITM_END_STATEMENT) {
    val.val_type = type;
    list += 2;
    return 0;
  }
  const u8* list_cursor = list;  // the caller's own may stay in registers
  void* args_cursor = args;
  const int code = for__desc_ret_item(&list_cursor, &args_cursor, &val, &shape);
  list = list_cursor;
  args = args_cursor;
  return code;
}

/// True for the accesses that describe an array.
constexpr bool item_is_array(u32 access) { return access >= ACC_ARRAY && access <= ACC_SECTION_ELEM; }
constexpr bool item_is_section(u32 access) { return access == ACC_SECTION || access == ACC_SECTION_ELEM; }

/// Values of one length at one distance from each other. A complex number is two of them.
struct Item_Run {
  u8* data;
  i64 elem;    ///< bytes of one value
  i64 count;   ///< values
  i64 stride;  ///< bytes from one value to the next
};

/// Hands out the values of one decoded item, in as few runs as its shape allows.
class ItemWalker {
 public:
  /// Starts on an item. `empty_text_counts` makes an array of zero-length text give its values.
  void start(const For_Value_Info& val, const For_Item_Shape& shape, bool empty_text_counts);

  /// The next run: false when the item has no more.
  bool next(Item_Run& run);

  /// Values of the whole item.
  i64 count() const { return count_; }

 private:
  void collapse_dimensions(const For_Item_Shape& shape);

  Item_Run run_;   ///< shape of every run; data is that of the next one
  i64 runs_left_;  ///< runs still to hand out
  i64 count_;      ///< values in all
  int rank_;       ///< dimensions that are stepped from run to run
  i64 extent_[kMaxSectionRank];
  i64 stride_[kMaxSectionRank];
  i64 index_[kMaxSectionRank];
};

#endif
