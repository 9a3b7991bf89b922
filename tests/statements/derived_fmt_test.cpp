// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Derived types in formatted lists: which items a DT edit descriptor takes, with a double for the defined I/O.

#include <string.h>

#include "core/failure.h"
#include "core/thread_storage.h"
#include "fmt_unit.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

/// What the program's routine is while a test runs; null: nobody provides it.
std::function<int(For_Lub&, const For_Value_Info&, bool)> routine;

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
  explicit Routine(std::function<int(For_Lub&, const For_Value_Info&, bool)> body) { routine = std::move(body); }
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

char kObjects[] = "xyz";

ItemList& object(ItemList& l, int i, u8 type = 66) { return l.pair(type, ACC_POINTER).pointer_word(kObjects + i); }

TEST(DerivedFmt, ComponentsArePassedOver) {
  const Routine r(put_object);
  Fmt_Unit unit;
  const Build build = [](ItemList& l) {
    l.int4(1);
    object(l, 0).int4(9);
    object(l, 1, 64).int4(9).raw(65, 1).text("none").raw(65, 1);
    object(l, 2, 64).raw(65, 1);
    l.int4(2);
  };
  EXPECT_EQ(unit.write("(I2,2DT,I3)", build), 0);
  EXPECT_EQ(unit.write("(I2,2(DT,','),I3)", build), 0);
  EXPECT_EQ(unit.write("(DT)", [](ItemList& l) { object(object(l, 0).raw(65, 1), 1).raw(65, 1); }), 0);
  EXPECT_EQ(unit.write("(DT)", [](ItemList& l) { object(l, 2, 63); }), 0);
  EXPECT_EQ(unit.text(), " 1<x><z>  2\n 1<x>,<z>,  2\n<x>\n<y>\n<z>\n");
}

TEST(DerivedFmt, ComponentsInAnotherCall) {
  const Routine r(put_object);
  Fmt_Unit unit;
  ItemList first, second, last;
  object(first, 0).int4(9).more();
  object(second.int4(9).raw(65, 1), 1).raw(65, 1).more();
  last.int4(5).end();
  EXPECT_EQ(unit.write_items("(2DT,I2)", first), 0);
  EXPECT_EQ(unit.write_more(second), 0);
  EXPECT_EQ(unit.write_more(last), 0);
  EXPECT_EQ(unit.text(), "<x><y> 5\n");
}

TEST(DerivedFmt, TheRoutineSeesItsDescriptor) {
  std::string seen;
  const Routine r([&](For_Lub& lub, const For_Value_Info& val, bool writing) {
    const For_Fmt_Isb& isb = *lub.lub_a_fmt_isb;
    seen += std::string(isb.isb_dt_iotype ? isb.isb_dt_iotype : "-") + (isb.isb_dt_vlist ? isb.isb_dt_vlist : "-");
    return put_object(lub, val, writing);
  });
  Fmt_Unit unit;
  EXPECT_EQ(unit.write("(DT'name'(1,-2),DT)", [](ItemList& l) { object(object(l, 0).raw(65, 1), 1).raw(65, 1); }), 0);
  EXPECT_EQ(seen, "name1,-2--");
}

TEST(DerivedFmt, Input) {
  const Routine r([](For_Lub& lub, const For_Value_Info& val, bool writing) {
    EXPECT_FALSE(writing);
    *val.val_data = *lub.lub_a_cursor++;
    return 0;
  });
  Fmt_Unit unit({}, "1ab2\n");
  char objects[2] = {};
  i32 numbers[2] = {};
  EXPECT_EQ(unit.read("(I1,2DT,I1)",
                      [&](ItemList& l) {
                        l.pointer(9, &numbers[0]);
                        for (char& o : objects) l.pointer(66, &o).pointer(9, &numbers[0]).raw(65, 1);
                        l.pointer(9, &numbers[1]);
                      }),
            0);
  EXPECT_EQ(numbers[0] * 10 + numbers[1], 12);
  EXPECT_EQ(std::string(objects, 2), "ab");
}

TEST(DerivedFmt, AFailureBelowEndsTheStatement) {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
  const Routine r([](For_Lub& lub, const For_Value_Info&, bool) {
    return report_failure(FOR_IOR_RELEASE, MSG_UDIO_ERROR, 5, &lub);
  });
  Fmt_Unit unit;
  const long blocks = tamrun_test::vm_live_blocks();
  EXPECT_EQ(unit.write("(DT)", [](ItemList& l) { object(l, 0).raw(65, 1); }), 5);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(tamrun_test::vm_live_blocks(), blocks) << "the format is free";
}

}  // namespace
