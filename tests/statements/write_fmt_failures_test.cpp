// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// How formatted output fails: each message, and that nothing is held or lost behind it.

#include <fcntl.h>

#include "core/thread_storage.h"
#include "fmt_unit.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Fail_Vm;
using tamrun_test::vm_live_blocks;

struct Failure_Row {
  const char* what;
  std::function<void(Connection&)> connect;
  std::function<void(For_Lub&)> adjust;
  const char* format;
  Build build;
  int code;
};

void same(Connection&) {}
void leave(For_Lub&) {}
void one(ItemList& l) { l.int4(1); }
void no_items(ItemList&) {}
void full_device(For_Lub& lub) {
  close(lub.lub_fd);
  lub.lub_fd = open("/dev/full", O_WRONLY);
}
const i32 kNumbers[] = {1, 2, 3};

const Failure_Row kFailures[] = {
    {"format text", same, leave, "(I5", one, MSG_FORMAT_SYNTAX},
    {"empty unlimited group", same, leave, "(*())", one, MSG_EMPTY_UNLIMITED_GROUP},
    {"no data edit", same, leave, "('abc')", one, MSG_NO_DATA_EDIT},
    {"no data edit in the group that comes again", same, leave, "(I3,('abc'))", [](ItemList& l) { l.int4(1).int4(2); },
     MSG_NO_DATA_EDIT},
    {"empty format", same, leave, "()", one, MSG_NO_DATA_EDIT},
    {"empty format and an array", same, leave, "()", [](ItemList& l) { l.array(9, kNumbers, 12); }, MSG_NO_DATA_EDIT},
    {"integer by F", same, leave, "(F5.1)", one, MSG_FORMAT_TYPE_MISMATCH},
    {"real by I", same, leave, "(I5)", [](ItemList& l) { l.real8(1); }, MSG_FORMAT_TYPE_MISMATCH},
    {"real by I without width", same, leave, "(I)", [](ItemList& l) { l.real8(1); }, MSG_FORMAT_TYPE_MISMATCH},
    {"text by E0.2", same, leave, "(E0.2)", [](ItemList& l) { l.text("a"); }, MSG_FORMAT_TYPE_MISMATCH},
    {"text by L", same, leave, "(L)", [](ItemList& l) { l.text("a"); }, MSG_FORMAT_TYPE_MISMATCH},
    {"VAX real by G", same, leave, "(G)", [](ItemList& l) { l.inline_value(25, 1.0f); }, MSG_FORMAT_TYPE_MISMATCH},
    {"number by DT", same, leave, "(DT)", one, MSG_FORMAT_TYPE_MISMATCH},
    {"derived type that needs DT", same, leave, "(I5)", [](ItemList& l) { l.raw(66, 3, {0}).int4(1).raw(65, 1); },
     MSG_NEEDS_DT_EDIT},
    {"non-data item", same, leave, "(A)",
     [](ItemList& l) {
       l.raw(60, 1, {9, 9});
     },
     MSG_FORMAT_TYPE_MISMATCH},
    {"malformed item", same, leave, "(I5)", [](ItemList& l) { l.int4(1).raw(9, 0); }, MSG_INVALID_ARGUMENT},
    {"malformed item at the end of the format", same, leave, "(I5,:)",
     [](ItemList& l) { l.int4(1).array(9, kNumbers, 0).raw(9, 0); }, MSG_INVALID_ARGUMENT},
    {"record overflow", [](Connection& c) { c.recl = 4; }, leave, "(3I3)",
     [](ItemList& l) { l.array(9, kNumbers, 12); }, MSG_RECORD_OVERFLOW},
    {"record overflow of a literal", [](Connection& c) { c.recl = 4; }, leave, "('abcdefgh')", no_items,
     MSG_RECORD_OVERFLOW},
    {"record overflow of X", [](Connection& c) { c.recl = 4; }, leave, "(9X,I1)", one, MSG_RECORD_OVERFLOW},
    {"record overflow of T", [](Connection& c) { c.recl = 4; }, leave, "(T99,I1)", one, MSG_RECORD_OVERFLOW},
    {"text at no column of any record", [](Connection& c) { c.recl = 9; }, leave, "(T999999999999999,A)",
     [](ItemList& l) { l.text(""); }, MSG_RECORD_OVERFLOW},
    {"a field of no record", same, leave, "(I99999999999)", one, MSG_RECORD_OVERFLOW},
    {"conversion", same, leave, "(I2,I5)", [](ItemList& l) { l.int4(100).int4(1); }, MSG_OUTPUT_CONVERSION},
    {"defined output that nobody provides", same, leave, "(DT)",
     [](ItemList& l) { l.raw(64, 3, {0}).int4(1).raw(65, 1); }, MSG_INVALID_ARGUMENT},
    {"read-only unit", same, [](For_Lub& u) { u.lub_f_readonly = 1; }, "(I5)", one, MSG_WRITE_READONLY},
    {"keyed unit", same, [](For_Lub& u) { u.lub_f_keyed = 1; }, "(I5)", one, MSG_MIXED_ACCESS},
    {"unformatted unit", same, [](For_Lub& u) { u.lub_f_formatted = 0; }, "(I5)", one, MSG_MIXED_ACCESS},
    {"direct unit", [](Connection& c) { c.direct = true; }, leave, "(I5)", one, MSG_MIXED_ACCESS},
    {"segmented", [](Connection& c) { c.rectype = RECTYPE_SEGMENTED; }, leave, "(I5)", one, MSG_RECORD_TYPE},
    {"full device", same, full_device, "(I5)", one, MSG_WRITE_ERROR},
    {"full device at a slash", same, full_device, "(I5/)", one, MSG_WRITE_ERROR},
    {"full device at the end of a pass", same, full_device, "(I5)", [](ItemList& l) { l.array(9, kNumbers, 12); },
     MSG_WRITE_ERROR},
};

void expect_free(Fmt_Unit& unit, long blocks) {
  EXPECT_EQ(vm_live_blocks(), blocks) << "something is held";
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  For_Lub* lub = nullptr;
  EXPECT_EQ(for__acquire_lun(40, &lub, nullptr, STMT_INQUIRE), 0);
  EXPECT_EQ(for__release_lun(40), 0);
}

void make_thread_storage() {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
}

TEST(WriteFmtFailure, MessagesAndRelease) {
  make_thread_storage();
  for (const Failure_Row& row : kFailures) {
    SCOPED_TRACE(row.what);
    Connection c;
    row.connect(c);
    Fmt_Unit unit(c);
    row.adjust(unit.lub());
    const long blocks = vm_live_blocks();
    EXPECT_EQ(unit.write(row.format, row.build), row.code);
    expect_free(unit, blocks);
    unit.lub().lub_f_formatted = 1;
  }
}

TEST(WriteFmtFailure, ConversionErrorsWaitForTheEnd) {
  Fmt_Unit unit;
  EXPECT_EQ(unit.write("(I2,I3)", [](ItemList& l) { l.int4(100).int4(7); }), MSG_OUTPUT_CONVERSION);
  EXPECT_EQ(unit.write(
                "(I2,I3)", [](ItemList& l) { l.int4(100).int4(7); }, kText | iof_ignore_conv_error),
            0);
  EXPECT_EQ(unit.text(), "**  7\n**  7\n");
  ItemList first, last;
  first.int4(100).more();
  last.end();
  EXPECT_EQ(unit.write_items("(I2)", first), 0);
  EXPECT_EQ(unit.write_more(last), MSG_OUTPUT_CONVERSION) << "the error survives the calls";
}

TEST(WriteFmtFailure, EndlessFormats) {
  // A pass without data is found by the interpreter, or by the loop at the end of the format.
  Fmt_Unit unit;
  const u8 endless[] = {54, 0, 0, 0, 3, FMTL_WIDE, 0, 0, 0,  0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 127,
                        0,  0, 0, 0, 0, 0,         0, 0, 64, 0, 1, 0, 57,  0,   0,   0,   55,  0,   0,   0};
  ItemList items;
  items.int4(1).end();
  EXPECT_EQ(formatted_call(for_write_seq_fmt, unit.context(), 40, kIostat, items, endless), MSG_INFINITE_FORMAT_LOOP);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  for (const char* format : {"(*('a'))", "(*(/))", "(I1,*('a',2('b'/)))", "(2(I1,*('a')))"}) {
    EXPECT_EQ(unit.write(format, one), MSG_INFINITE_FORMAT_LOOP) << format;
  }
  EXPECT_EQ(unit.write("(*(3('a'),I1,:,2('b')))", [](ItemList& l) { l.array(9, kNumbers, 12); }), 0);
}

TEST(WriteFmtFailure, AdvanceTakesYesAndNo) {
  Fmt_Unit unit;
  EXPECT_EQ(unit.write_part(
                "(A)", [](ItemList& l) { l.text("x"); }, "MAYBE"),
            MSG_INVALID_ARGUMENT);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  EXPECT_EQ(unit.write_part(
                "(A)", [](ItemList& l) { l.text("x"); }, "YES"),
            0);
  EXPECT_EQ(unit.text(), "x\n");
}

TEST(WriteFmtFailure, EveryAllocationThatFails) {
  make_thread_storage();
  const std::string text(9000, 'x');
  bool hit = true;
  int n = 1;
  for (; hit; ++n) {
    ASSERT_LT(n, 30);
    Connection c;
    c.buffer_size = 200;
    Fmt_Unit unit(c);
    ItemList items;
    items.text(text).real16(1).real16(2).int4(4).end();
    const long blocks = vm_live_blocks();
    int code;
    {
      const Fail_Vm fail(n);
      code = unit.write_items("(A,T12000,F0.1,F0.800,1X,I5)", items);
      hit = fail.hit();
    }
    EXPECT_TRUE(hit ? code == MSG_NO_MEMORY || code == MSG_RECORD_OVERFLOW : code == 0) << n << ": " << code;
    expect_free(unit, blocks);
  }
  EXPECT_GT(n, 4) << "format, buffer and wide field allocate";
}

}  // namespace
