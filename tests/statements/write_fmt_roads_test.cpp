// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Small values take a shorter way through a formatted WRITE than arrays do. Whatever way an item comes, the file and the
// result are the same.

#include <random>

#include "fmt_unit.h"

namespace {

enum class Form { inline_value, by_address, array_of_one, call_per_item };

struct Item {
  u8 type;
  i64 number;
  double real;
  float single;
  std::string text;
};

const void* address(const Item& item) {
  switch (item.type) {
    case ITM_REAL8:
      return &item.real;
    case ITM_REAL4:
      return &item.single;
    case ITM_CHARACTER:
      return item.text.data();
    default:
      return &item.number;  // of any width: the low bytes come first
  }
}

i64 bytes(const Item& item) {
  return item.type == ITM_CHARACTER ? item.text.size() : for__dsc_itm_table[item.type].size;
}

void add(ItemList& list, const Item& item, Form form) {
  const i64 length = bytes(item);
  if (form == Form::array_of_one) {
    list.array_elem(item.type, address(item), length, length);
  } else if (item.type == ITM_CHARACTER) {
    list.scalar(item.type, address(item), length);
  } else if (form == Form::by_address) {
    list.pointer(item.type, address(item));
  } else {
    list.inline_bytes(item.type, address(item), static_cast<size_t>(length));
  }
}

struct Outcome {
  int result;
  std::string text;
};

Outcome write(const std::string& format, const std::vector<Item>& items, Form form) {
  Fmt_Unit unit;
  ItemList list;
  int result = 0;
  if (form == Form::call_per_item) {
    list.more();
    result = unit.write_items(format, list);
    for (size_t i = 0; i < items.size() && result == 0; ++i) {
      ItemList one;
      add(one, items[i], Form::inline_value);
      one.more();
      result = unit.write_more(one);
    }
    ItemList last;
    last.end();
    if (result == 0) result = unit.write_more(last);
  } else {
    for (const Item& item : items) add(list, item, form);
    list.end();
    result = unit.write_items(format, list);
  }
  return {result, unit.text()};
}

constexpr const char* kFormats[] = {
    "(I8,1X,A,1X,F10.3)",
    "(3I5,2(A,I12),F8.2)",
    "(I5,T20,A,TL3,I4,TR2,F6.1)",
    "(I5,:,' and ',I5,/,A)",
    "(SP,I6,SS,I6,1P,ES12.3,0P,F9.2)",
    "(I0,1X,F0.3,A)",
    "(5X,G0,2X,G12.4)",
    "(I5.3,I5.0,L3,A2,Z8)",
    "(I3,200X,I3)",
    "(2(I4,3X,2(A,1X)),$)",
    "(I5,5X)",
    "('text only')",
    "(EN12.2,E12.4E3,D12.3)",
    "(*(I12,','))",
    "(I2,A1)",
};

TEST(WriteFmtRoads, EveryWayGivesTheSame) {
  constexpr u8 kTypes[] = {ITM_INTEGER4, ITM_INTEGER8, ITM_REAL8, ITM_REAL4, ITM_CHARACTER, ITM_LOGICAL4, ITM_INTEGER2};
  std::mt19937_64 random(7);
  for (int round = 0; round < 12; ++round) {
    for (const char* format : kFormats) {
      std::vector<Item> items(random() % 8);
      // Most lists hold one type or two, so that many formats take them.
      const u8 first = kTypes[random() % std::size(kTypes)], second = kTypes[random() % std::size(kTypes)];
      for (Item& item : items) {
        item.type = random() % 2 ? first : second;
        item.number = static_cast<i64>(random()) >> (random() % 64);
        item.real = static_cast<double>(static_cast<i64>(random())) * 1e-14;
        item.single = static_cast<float>(item.real);
        item.text = std::string(1 + random() % 9, static_cast<char>('a' + random() % 26));
      }
      const Outcome expected = write(format, items, Form::array_of_one);
      for (const Form form : {Form::inline_value, Form::by_address, Form::call_per_item}) {
        const Outcome got = write(format, items, form);
        EXPECT_EQ(got.result, expected.result) << format << " form " << static_cast<int>(form);
        EXPECT_EQ(got.text, expected.text) << format << " form " << static_cast<int>(form);
      }
    }
  }
}

}  // namespace
