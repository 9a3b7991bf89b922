// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decoding item lists and walking the values of an item.

#include "statements/for_desc_item.h"

#include <gtest/gtest.h>

#include <random>

#include "core/failure.h"
#include "support/item_list.h"
#include "tamrun/descriptor.h"

namespace {

struct Decoded {
  int code;
  For_Value_Info val;
  For_Item_Shape shape;
  i64 list_bytes, words;
};

Decoded decode(ItemList items) {
  Decoded d;
  const u8* list = items.list();
  void* args = items.args();
  d.code = for__desc_ret_item(&list, &args, &d.val, &d.shape);
  d.list_bytes = list - items.list();
  d.words = (static_cast<u8*>(args) - static_cast<u8*>(items.args())) / 8;
  return d;
}

char target[256];
const i64 kTarget = reinterpret_cast<i64>(target);

ItemList items() { return {}; }

struct Access_Case {
  const char* what;
  ItemList items;
  i64 words, total, elem, count;
};

const Access_Case kAccess[] = {
    {"inline complex16", items().complex16(1, 2), 2, 16, 8, 2},
    {"alternative pointer", items().raw(ITM_INTEGER4, 10, {kTarget}), 1, 4, 4, 1},
    {"text of negative length", items().scalar(ITM_CHARACTER, target, -3), 2, 0, 0, 1},
    {"array of negative size", items().array(ITM_INTEGER4, target, -8), 2, 0, 4, 0},
    {"section text", items().section_elem(ITM_CHARACTER, target, 3, {{1, 2, 6}, {0, 3, 12}}), 9, 24, 3, 8},
    {"section complex8", items().section(ITM_COMPLEX8, target, {{1, 4, 16}}), 5, 32, 4, 8},
    {"empty section", items().section(ITM_INTEGER4, target, {{1, 3, 4}, {5, 4, 12}}), 8, 0, 4, 0},
    {"section of empty text", items().section_elem(ITM_CHARACTER, target, 0, {{1, 7, 0}}), 6, 7, 0, 7},
    {"section of one-byte text", items().section_elem(ITM_CHARACTER, target, 1, {{1, 7, 2}}), 6, 7, 1, 7},
    {"non-data", items().raw(ITM_NON_DATA60, 1, {5, 6}), 2, 5, 5, 1},
    {"non-data without words", items().raw(ITM_NON_DATA62, 1), 0, 0, 0, 1},
};

TEST(ItemDecoding, EveryAccess) {
  for (const Access_Case& c : kAccess) {
    SCOPED_TRACE(c.what);
    const Decoded d = decode(c.items);
    ASSERT_EQ(d.code, 0);
    EXPECT_EQ(d.list_bytes, 2);
    EXPECT_EQ(d.words, c.words);
    EXPECT_EQ(d.val.val_total, c.total);
    EXPECT_EQ(d.val.val_elem, c.elem);
    ItemWalker walker;
    walker.start(d.val, d.shape, true);
    EXPECT_EQ(walker.count(), c.count);
  }
}

TEST(ItemDecoding, MalformedItemsAreRefused) {
  constexpr i64 kHuge = 1ll << 62;
  struct Row {
    const char* what;
    u8 type, access;
    std::vector<i64> words;
  };
  const Row rows[] = {
      {"type over the table", 71, ACC_POINTER, {0}},
      {"reserved type", 70, ACC_POINTER, {0}},
      {"access 0", ITM_INTEGER4, 0, {0}},
      {"access 13", ITM_INTEGER4, 13, {0}},
      {"rank 0", ITM_INTEGER4, ACC_SECTION, {0, kTarget}},
      {"rank -1", ITM_INTEGER4, ACC_SECTION, {-1, kTarget}},
      {"rank 32", ITM_INTEGER4, ACC_SECTION, {32, kTarget}},
      {"rank 1 << 40", ITM_INTEGER4, ACC_SECTION, {1ll << 40, kTarget}},
      {"extent overflows", ITM_INTEGER4, ACC_SECTION, {1, kTarget, -kHuge * 2, kHuge, 4}},
      {"extent is one too many", ITM_INTEGER4, ACC_SECTION, {1, kTarget, 0, INT64_MAX, 4}},
      {"product overflows", ITM_INTEGER4, ACC_SECTION, {2, kTarget, 1, kHuge, 4, 1, 4, 4}},
      {"element shorter than the type", ITM_INTEGER4, ACC_ARRAY_ELEM, {40, kTarget, 2}},
      {"element 0 of a number", ITM_REAL8, ACC_SECTION_ELEM, {1, kTarget, 0, 1, 2, 8}},
  };
  for (const Row& row : rows) {
    ItemList list;
    list.pair(row.type, row.access);
    for (i64 w : row.words) list.word(w);
    EXPECT_EQ(decode(list).code, MSG_INVALID_ARGUMENT) << row.what;
  }
  const u8 list[] = {ITM_INTEGER4, ACC_POINTER}, end[] = {ITM_END_STATEMENT, 0};
  const u8* at = list;
  void* no_args = nullptr;
  For_Value_Info val;
  For_Item_Shape shape;
  EXPECT_EQ(for__desc_ret_item(&at, &no_args, &val, &shape), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(for__desc_ret_item(nullptr, &no_args, &val, &shape), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(for__desc_ret_item(&at, nullptr, &val, &shape), MSG_INVALID_ARGUMENT);
  at = end;
  EXPECT_EQ(for__desc_ret_item(&at, &no_args, &val, &shape), 0) << "an end mark needs no arguments";
}

TEST(ItemDecodingDeathTest, ItemsThatNoCompilerPasses) {
  const u8 items[][2] = {{0, 1}, {24, 1}, {30, 1}, {57, 1}, {ITM_INTEGER4, 2}, {ITM_INTEGER4, 9}};
  for (const auto& [type, access] : items) {
    const ItemList list = ItemList().raw(type, access, {0});
    EXPECT_EXIT((void)decode(list), testing::ExitedWithCode(MSG_INTERNAL_CONSISTENCY), "") << int{type};
  }
}

TEST(ItemDecoding, DefinedIoArrayLosesItsAddressBit) {
  For_Dope_Vector dope{};
  dope.dv_flags = DV_DEFINED | DV_ADDRESS_WORD | DV_CONTIGUOUS;
  const Decoded d = decode(items().raw(ITM_DERIVED, 12, {0x1234, reinterpret_cast<i64>(&dope)}));
  EXPECT_EQ(d.code, 0);
  EXPECT_EQ(d.val.val_elem, 0x1234);
  EXPECT_EQ(d.val.val_dope, &dope);
  EXPECT_EQ(dope.dv_flags, DV_DEFINED | DV_CONTIGUOUS);
}

TEST(ItemDecoding, LookAheadPassesEmptyArrays) {
  struct Row {
    ItemList items;
    int test0, test2, zero0, zero2;
  };
  const Row rows[] = {
      {items().end(), 1, 0, 1, 0},
      {items().more(), 2, 2, 1, 1},
      {items().int4(1).end(), 0, 0, 0, 0},
      {items().array(ITM_INTEGER4, target, 0).section(ITM_INTEGER4, target, {{1, 0, 4}}).end(), 1, 0, 1, 0},
      {items().array(ITM_INTEGER4, target, 0).int4(2).end(), 0, 0, 0, 0},
      {items().array(ITM_INTEGER4, target, 0).more(), 2, 2, 1, 1},
      {items().raw(70, 1, {1}), 1, 1, 1, 1},
  };
  for (const Row& row : rows) {
    ItemList copy = row.items;
    for (int level : {0, 2}) {
      const u8* list = copy.list();
      void* args = copy.args();
      For_Value_Info val;
      For_Item_Shape shape;
      EXPECT_EQ(for__desc_test_item(&list, &args, level), level ? row.test2 : row.test0) << &row - rows;
      EXPECT_EQ(list, copy.list()) << "a look ahead moves nothing";
      EXPECT_EQ(for__desc_zero_length_item(&list, &args, &val, &shape, level), level ? row.zero2 : row.zero0);
    }
  }
}

/// All values of the item by the element stepper, which is the plain rule.
std::vector<u8*> by_element(const Decoded& d) {
  std::vector<u8*> all;
  i64 index[kMaxSectionRank];
  const int parts = item_is_complex(d.val.val_type) ? 2 : 1;
  for (u32 r = 0; r < d.shape.shp_rank; ++r) index[r] = d.shape.shp_dim[r].lower;
  const i64 elements = d.val.val_total / d.val.val_elem / parts;
  for (i64 i = 0; i < elements; ++i) {
    u8* element = static_cast<u8*>(for__next_array_element(&d.shape, index));
    for (int part = 0; part < parts; ++part) all.push_back(element + part * d.val.val_elem);
  }
  return all;
}

std::vector<u8*> by_run(const Decoded& d, int* runs) {
  std::vector<u8*> all;
  ItemWalker walker;
  walker.start(d.val, d.shape, true);
  Item_Run run;
  for (*runs = 0; walker.next(run); ++*runs) {
    for (i64 i = 0; i < run.count; ++i) all.push_back(run.data + i * run.stride);
  }
  EXPECT_EQ(walker.count(), static_cast<i64>(all.size()));
  return all;
}

TEST(ItemWalkerTest, RunsVisitWhatTheElementStepperVisits) {
  std::mt19937 random(1);
  for (int round = 0; round < 4000; ++round) {
    const int rank = 1 + static_cast<int>(random() % 15);
    const u8 type = (u8[]){9, 48, 44, 29, 52}[random() % 5];
    ItemList section;
    section.pair(type, ACC_SECTION).word(rank).pointer_word(target);
    i64 reach = for__dsc_itm_table[type].size;
    for (int d = 0; d < rank; ++d) {
      const i64 lower = static_cast<i64>(random() % 9) - 4;
      const i64 extent = rank > 8 ? 1 + random() % 2 : random() % 5;
      // Often the stride that continues the dimension before, sometimes any, sometimes backwards.
      const i64 stride = random() % 3 ? reach : static_cast<i64>(random() % 200) - 100;
      section.word(lower).word(lower + extent - 1).word(stride);
      reach = stride * extent;
    }
    const Decoded d = decode(section);
    ASSERT_EQ(d.code, 0);
    int runs = 0;
    ASSERT_EQ(by_run(d, &runs), by_element(d)) << "round " << round;
  }
}

TEST(ItemWalkerTest, ContiguousItemsAreOneRun) {
  const auto runs = [](const ItemList& list) {
    int count = 0;
    by_run(decode(list), &count);
    return count;
  };
  EXPECT_EQ(runs(items().section(ITM_INTEGER4, target, {{1, 4, 4}, {1, 5, 16}, {0, 2, 80}})), 1);
  EXPECT_EQ(runs(items().section(ITM_INTEGER4, target + 100, {{1, 10, -4}})), 1);
  EXPECT_EQ(runs(items().section(ITM_COMPLEX16, target, {{1, 6, 16}})), 1);
  EXPECT_EQ(runs(items().section(ITM_COMPLEX16, target, {{1, 6, 32}})), 6) << "one run for each number of two parts";
}

}  // namespace
