// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Decoding item lists and walking the values of an item.

#include "statements/for_desc_item.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "core/failure.h"
#include "support/item_list.h"
#include "tamrun/descriptor.h"

namespace {

constexpr int kDecoded = 0;

struct Decoded {
  int code;
  For_Value_Info val;
  For_Item_Shape shape;
  i64 list_bytes, words;
};

Decoded decode(ItemList& items) {
  Decoded d;
  const u8* list = items.list();
  void* args = items.args();
  d.code = for__desc_ret_item(&list, &args, &d.val, &d.shape);
  d.list_bytes = list - items.list();
  d.words = (static_cast<u8*>(args) - static_cast<u8*>(items.args())) / 8;
  return d;
}

TEST(ItemTable, SizesAndWordsAgree) {
  for (int type = 0; type < kItemTypes; ++type) {
    const For_Item_Row& row = for__dsc_itm_table[type];
    if (row.size > 0) {
      EXPECT_EQ(row.words, (row.size + 7) / 8) << type;
    }
  }
  std::vector<int> given, non_data, reserved;
  for (int type = 0; type < kItemTypes; ++type) {
    if (for__dsc_itm_table[type].size == ITEM_SIZE_GIVEN) given.push_back(type);
    if (for__dsc_itm_table[type].size == ITEM_SIZE_NON_DATA) non_data.push_back(type);
    if (for__dsc_itm_table[type].size == ITEM_SIZE_RESERVED) reserved.push_back(type);
  }
  EXPECT_EQ(given, (std::vector<int>{56, 63, 64, 65, 66, 67}));
  EXPECT_EQ(non_data, (std::vector<int>{60, 61, 62, 68, 69}));
  EXPECT_EQ(reserved, (std::vector<int>{70}));
}

struct Access_Case {
  const char* what;
  std::function<void(ItemList&)> build;
  i64 words, total, elem, count;
};

char target[256];

const Access_Case kAccess[] = {
    {"inline int1", [](ItemList& l) { l.int1(3); }, 1, 1, 1, 1},
    {"inline quad", [](ItemList& l) { l.real16(3); }, 2, 16, 16, 1},
    {"inline complex16", [](ItemList& l) { l.complex16(1, 2); }, 2, 16, 8, 2},
    {"pointer real8", [](ItemList& l) { l.pointer(48, target); }, 1, 8, 8, 1},
    {"alternative pointer", [](ItemList& l) { l.raw(9, 10, {reinterpret_cast<i64>(target)}); }, 1, 4, 4, 1},
    {"pointer complex8", [](ItemList& l) { l.pointer(29, target); }, 1, 8, 4, 2},
    {"text", [](ItemList& l) { l.scalar(56, target, 17); }, 2, 17, 17, 1},
    {"text of negative length", [](ItemList& l) { l.scalar(56, target, -3); }, 2, 0, 0, 1},
    {"array int4", [](ItemList& l) { l.array(9, target, 40); }, 2, 40, 4, 10},
    {"array complex16", [](ItemList& l) { l.array(44, target, 64); }, 2, 64, 8, 8},
    {"empty array", [](ItemList& l) { l.array(9, target, 0); }, 2, 0, 4, 0},
    {"array of negative size", [](ItemList& l) { l.array(9, target, -8); }, 2, 0, 4, 0},
    {"text array", [](ItemList& l) { l.array_elem(56, target, 30, 5); }, 3, 30, 5, 6},
    {"section int4",
     [](ItemList& l) {
       l.section(9, target, {{1, 5, 8}});
     },
     5, 20, 4, 5},
    {"section text",
     [](ItemList& l) {
       l.section_elem(56, target, 3, {{1, 2, 6}, {0, 3, 12}});
     },
     9, 24, 3, 8},
    {"section complex8",
     [](ItemList& l) {
       l.section(29, target, {{1, 4, 16}});
     },
     5, 32, 4, 8},
    {"empty section",
     [](ItemList& l) {
       l.section(9, target, {{1, 3, 4}, {5, 4, 12}});
     },
     8, 0, 4, 0},
    {"section of empty text",
     [](ItemList& l) {
       l.section_elem(56, target, 0, {{1, 7, 0}});
     },
     6, 7, 0, 7},
    {"section with text of one byte",
     [](ItemList& l) {
       l.section_elem(56, target, 1, {{1, 7, 2}});
     },
     6, 7, 1, 7},
    {"non-data",
     [](ItemList& l) {
       l.raw(60, 1, {5, 6});
     },
     2, 5, 5, 1},
    {"non-data without words", [](ItemList& l) { l.raw(62, 1); }, 0, 0, 0, 1},
};

TEST(ItemDecoding, EveryAccess) {
  for (const Access_Case& c : kAccess) {
    ItemList items;
    c.build(items);
    items.end();
    const Decoded d = decode(items);
    ASSERT_EQ(d.code, kDecoded) << c.what;
    EXPECT_EQ(d.list_bytes, 2) << c.what;
    EXPECT_EQ(d.words, c.words) << c.what;
    EXPECT_EQ(d.val.val_total, c.total) << c.what;
    EXPECT_EQ(d.val.val_elem, c.elem) << c.what;
    ItemWalker walker;
    walker.start(d.val, d.shape, true);
    EXPECT_EQ(walker.count(), c.count) << c.what;
  }
}

TEST(ItemDecoding, MalformedItemsAreRefused) {
  const i64 t = reinterpret_cast<i64>(target);
  const i64 huge = 1ll << 62;
  struct Row {
    const char* what;
    u8 type, access;
    std::vector<i64> words;
  };
  const Row rows[] = {
      {"type over the table", 71, 1, {0}},
      {"type 255", 255, 1, {0}},
      {"reserved type", 70, 1, {0}},
      {"access 0", 9, 0, {0}},
      {"access 13", 9, 13, {0}},
      {"access 255", 9, 255, {0}},
      {"rank 0", 9, 7, {0, t}},
      {"rank -1", 9, 7, {-1, t}},
      {"rank 32", 9, 7, {32, t}},
      {"rank 1 << 40", 9, 7, {1ll << 40, t}},
      {"extent overflows", 9, 7, {1, t, -huge * 2, huge, 4}},
      {"product overflows", 9, 7, {2, t, 1, huge, 4, 1, 4, 4}},
      {"element shorter than the type", 9, 6, {40, t, 2}},
      {"element 0 of a number", 48, 8, {1, t, 0, 1, 2, 8}},
  };
  for (const Row& row : rows) {
    ItemList items;
    items.pair(row.type, row.access);
    for (i64 w : row.words) items.word(w);
    items.end();
    EXPECT_EQ(decode(items).code, MSG_INVALID_ARGUMENT) << row.what;
  }
  const u8 list[] = {9, 3};
  const u8* at = list;
  void* no_args = nullptr;
  For_Value_Info val;
  For_Item_Shape shape;
  EXPECT_EQ(for__desc_ret_item(&at, &no_args, &val, &shape), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(for__desc_ret_item(nullptr, &no_args, &val, &shape), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(for__desc_ret_item(&at, nullptr, &val, &shape), MSG_INVALID_ARGUMENT);
  const u8 end[] = {1, 0};
  at = end;
  EXPECT_EQ(for__desc_ret_item(&at, &no_args, &val, &shape), 0) << "an end mark needs no arguments";
}

TEST(ItemDecodingDeathTest, TypesThatNoCompilerPasses) {
  for (u8 type : {0, 3, 24, 27, 30, 49, 57}) {
    ItemList items;
    items.raw(type, 1, {0}).end();
    EXPECT_EXIT((void)decode(items), testing::ExitedWithCode(MSG_INTERNAL_CONSISTENCY), "") << int{type};
  }
  for (u8 access : {2, 9}) {
    ItemList items;
    items.raw(9, access, {0}).end();
    EXPECT_EXIT((void)decode(items), testing::ExitedWithCode(MSG_INTERNAL_CONSISTENCY), "") << int{access};
  }
}

TEST(ItemDecoding, DefinedIoArrayLosesItsAddressBit) {
  For_Dope_Vector dope{};
  dope.dv_flags = DV_DEFINED | DV_ADDRESS_WORD | DV_CONTIGUOUS;
  ItemList items;
  items.raw(63, 12, {0x1234, reinterpret_cast<i64>(&dope)}).end();
  const Decoded d = decode(items);
  EXPECT_EQ(d.code, 0);
  EXPECT_EQ(d.val.val_elem, 0x1234);
  EXPECT_EQ(d.val.val_dope, &dope);
  EXPECT_EQ(dope.dv_flags, DV_DEFINED | DV_CONTIGUOUS);
}

TEST(ItemDecoding, KeyFollowsItsItem) {
  ItemList items;
  items.text("YES").pair(78, 0).end();
  const u8* list = items.list();
  void* args = items.args();
  For_Value_Info val;
  For_Item_Shape shape;
  int key = 0;
  EXPECT_EQ(for__key_desc_ret_item(&list, &args, &val, &shape, &key), 0);
  EXPECT_EQ(key, 78);
  EXPECT_EQ(*list, ITM_END_STATEMENT);
}

TEST(ItemDecoding, LookAheadPassesEmptyArrays) {
  struct Row {
    std::function<void(ItemList&)> build;
    int test0, test2, zero0, zero2;
  };
  const Row rows[] = {
      {[](ItemList& l) { l.end(); }, 1, 0, 1, 0},
      {[](ItemList& l) { l.more(); }, 2, 2, 1, 1},
      {[](ItemList& l) { l.int4(1).end(); }, 0, 0, 0, 0},
      {[](ItemList& l) {
         l.array(9, target, 0).section(9, target, {{1, 0, 4}}).end();
       },
       1, 0, 1, 0},
      {[](ItemList& l) { l.array(9, target, 0).int4(2).end(); }, 0, 0, 0, 0},
      {[](ItemList& l) { l.array(9, target, 0).more(); }, 2, 2, 1, 1},
      {[](ItemList& l) { l.raw(70, 1, {1}); }, 1, 1, 1, 1},
  };
  for (const Row& row : rows) {
    ItemList items;
    row.build(items);
    for (int level : {0, 2}) {
      const u8* list = items.list();
      void* args = items.args();
      For_Value_Info val;
      For_Item_Shape shape;
      EXPECT_EQ(for__desc_test_item(&list, &args, level), level ? row.test2 : row.test0) << &row - rows;
      EXPECT_EQ(list, items.list()) << "a look ahead moves nothing";
      EXPECT_EQ(for__desc_zero_length_item(&list, &args, &val, &shape, level), level ? row.zero2 : row.zero0);
    }
  }
}

TEST(ItemDecoding, YesAndNo) {
  struct Row {
    const char* text;
    int code, value;
  };
  for (const Row& row : {Row{"YES", 0, 1},
                         {"no", 0, 0},
                         {"Yes   ", 0, 1},
                         {"nO ", 0, 0},
                         {"", 48, 7},
                         {"Y", 48, 7},
                         {"NOT", 48, 7},
                         {" YES", 48, 7},
                         {"YES\0x", 0, 1},
                         {"   ", 48, 7}}) {
    ItemList items;
    items.text(row.text).end();
    const u8* list = items.list();
    void* args = items.args();
    int value = 7;
    EXPECT_EQ(for__write_args(&list, &args, &value), row.code) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
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
    ItemList items;
    items.pair(type, ACC_SECTION).word(rank).pointer_word(target);
    i64 reach = for__dsc_itm_table[type].size;
    for (int d = 0; d < rank; ++d) {
      const i64 lower = static_cast<i64>(random() % 9) - 4;
      const i64 extent = rank > 8 ? 1 + random() % 2 : random() % 5;
      // Often the stride that continues the dimension before, sometimes any, sometimes backwards.
      const i64 stride = random() % 3 ? reach : static_cast<i64>(random() % 200) - 100;
      items.word(lower).word(lower + extent - 1).word(stride);
      reach = stride * extent;
    }
    items.end();
    const Decoded d = decode(items);
    ASSERT_EQ(d.code, 0);
    int runs = 0;
    ASSERT_EQ(by_run(d, &runs), by_element(d)) << "round " << round;
  }
}

TEST(ItemWalkerTest, ContiguousItemsAreOneRun) {
  ItemList whole, reversed, complex_section, apart;
  whole.section(9, target, {{1, 4, 4}, {1, 5, 16}, {0, 2, 80}}).end();
  reversed.section(9, target + 100, {{1, 10, -4}}).end();
  complex_section.section(44, target, {{1, 6, 16}}).end();
  apart.section(44, target, {{1, 6, 32}}).end();
  int runs = 0;
  by_run(decode(whole), &runs);
  EXPECT_EQ(runs, 1);
  by_run(decode(reversed), &runs);
  EXPECT_EQ(runs, 1);
  by_run(decode(complex_section), &runs);
  EXPECT_EQ(runs, 1);
  by_run(decode(apart), &runs);
  EXPECT_EQ(runs, 6) << "one run for each number of two parts";
}

}  // namespace
