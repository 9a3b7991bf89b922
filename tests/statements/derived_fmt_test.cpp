// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Derived types in formatted lists: which items a DT edit descriptor takes, with a double for the defined I/O.

#include <functional>

#include "core/failure.h"
#include "memory_unit.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using Body = std::function<int(For_Lub&, const For_Value_Info&, bool writing)>;
Body routine;  ///< the program's while a test runs; null: nobody provides it

}  // namespace

extern "C" {
int __real_for__udio_fmt(For_Lub* lub, For_Value_Info* value, int writing, int internal);
int __wrap_for__udio_fmt(For_Lub* lub, For_Value_Info* value, int writing, int internal);
}
int __wrap_for__udio_fmt(For_Lub* lub, For_Value_Info* value, int writing, int internal) {
  return routine ? routine(*lub, *value, writing != 0) : __real_for__udio_fmt(lub, value, writing, internal);
}

namespace {

class Routine {
 public:
  explicit Routine(Body body) { routine = std::move(body); }
  ~Routine() { routine = nullptr; }
};

/// Puts the object's first byte between angle brackets.
int put_object(For_Lub& lub, const For_Value_Info& val, bool writing) {
  EXPECT_TRUE(writing);
  const u8 text[3] = {'<', *val.val_data, '>'};
  memcpy(lub.lub_a_cursor, text, sizeof text);
  lub.lub_a_high_water = lub.lub_a_cursor += sizeof text;
  return 0;
}

constexpr u8 kDerivedEnd = 65;
char kObjects[] = "xyz";

ItemList& object(ItemList& l, int i, u8 type = 66) { return l.pointer(type, kObjects + i); }
ItemList& object_end(ItemList& l) { return l.raw(kDerivedEnd, 1); }

TEST(DerivedFmt, ComponentsArePassedOver) {
  const Routine r(put_object);
  Memory_Unit unit;
  ItemList nested, two, last;
  object(nested.int4(1), 0).int4(9);
  object_end(object_end(object(nested, 1, 64).int4(9)).text("none"));
  object_end(object(nested, 2, 64)).int4(2);
  object_end(object(object_end(object(two, 0)), 1));
  EXPECT_EQ(unit.write("(I2,2DT,I3)", nested), 0);
  EXPECT_EQ(unit.write("(I2,2(DT,','),I3)", nested), 0);
  EXPECT_EQ(unit.write("(DT)", two), 0);
  EXPECT_EQ(unit.write("(DT)", object(last, 2, 63)), 0);
  EXPECT_EQ(unit.text(), " 1<x><z>  2\n 1<x>,<z>,  2\n<x>\n<y>\n<z>\n");
}

TEST(DerivedFmt, ComponentsInAnotherCall) {
  const Routine r(put_object);
  Memory_Unit unit;
  ItemList first, second;
  object(first, 0).int4(9).more();
  object_end(object(object_end(second.int4(9)), 1)).more();
  EXPECT_EQ(unit.write("(2DT,I2)", first), 0);
  EXPECT_EQ(unit.go_on(second), 0);
  EXPECT_EQ(unit.go_on(ItemList().int4(5)), 0);
  EXPECT_EQ(unit.text(), "<x><y> 5\n");
}

TEST(DerivedFmt, TheRoutineSeesItsDescriptor) {
  std::string seen;
  const Routine r([&](For_Lub& lub, const For_Value_Info& val, bool writing) {
    const For_Fmt_Isb& isb = *lub.lub_a_fmt_isb;
    seen += std::string(isb.isb_dt_iotype ? isb.isb_dt_iotype : "-") + (isb.isb_dt_vlist ? isb.isb_dt_vlist : "-");
    return put_object(lub, val, writing);
  });
  ItemList two;
  object_end(object(object_end(object(two, 0)), 1));
  EXPECT_EQ(Memory_Unit().write("(DT'name'(1,-2),DT)", two), 0);
  EXPECT_EQ(seen, "name1,-2--");
}

TEST(DerivedFmt, Input) {
  const Routine r([](For_Lub& lub, const For_Value_Info& val, bool writing) {
    EXPECT_FALSE(writing);
    *val.val_data = *lub.lub_a_cursor++;
    lub.lub_f_size_given = 0;  // as a child statement leaves it
    return 0;
  });
  char objects[3] = "??";
  Variables v("iii");
  i32 size = -1;
  ItemList items = ItemList().pointer(ITM_INTEGER4, &size);
  v.add_to(items, 0, 1);
  for (int i : {0, 1}) object_end(items.pointer(66, &objects[i]).pointer(ITM_INTEGER4, &objects));
  v.add_to(items, 2, 3);
  EXPECT_EQ(Memory_Unit({}, "1ab2\n").read("(I1,2DT,I1)", items, kIostat | iof_size_given), 0);
  EXPECT_EQ(size, 2) << "what the routine takes is for its own statements to count";
  EXPECT_EQ(v.text(), "1 -99 2");
  EXPECT_STREQ(objects, "ab");
}

TEST(DerivedFmt, AFailureBelowEndsTheStatement) {
  make_thread_storage();
  const Routine r([](For_Lub& lub, const For_Value_Info&, bool) {
    return report_failure(FOR_IOR_RELEASE, MSG_UDIO_ERROR, 5, &lub);
  });
  Memory_Unit unit;
  ItemList items;
  const long blocks = tamrun_test::vm_live_blocks();
  EXPECT_EQ(unit.write("(DT)", object_end(object(items, 0))), 5);
  unit.expect_released();
  EXPECT_EQ(tamrun_test::vm_live_blocks(), blocks) << "the format is free";
}

}  // namespace
