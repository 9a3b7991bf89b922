// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// How a data transfer statement refuses, fails, and lets its unit go.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "core/failure.h"
#include "core/thread_storage.h"
#include "list_output.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

using Build = std::function<void(ItemList&)>;
using Connect = std::function<void(Connection&, For_Lub*)>;

/// Held units would make the next statement fail with MSG_RECURSIVE_IO.
void expect_released(int unit) {
  For_Lub* lub = nullptr;
  EXPECT_EQ(for__acquire_lun(unit, &lub, nullptr, STMT_WRITE_SEQ), 0);
  EXPECT_EQ(for__release_lun(unit), 0);
}

/// The first failure of a thread makes its storage, which stays: before any counting of blocks.
void make_thread_storage() {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
}

struct Failure_Row {
  const char* what;
  std::function<void(Connection&)> connect;
  std::function<void(For_Lub&)> adjust;
  Build build;
  std::function<void(ControlList&)> control;  ///< further keys behind IOMSG=
  int code;
  std::string text;
};

void same(Connection&) {}
void leave(For_Lub&) {}
void no_items(ItemList&) {}
void no_keys(ControlList&) {}
const char kHere[] = ", unit 40, file unit40";

const Failure_Row kFailures[] = {
    {"malformed item", same, leave, [](ItemList& l) { l.int4(1).raw(9, 0); }, no_keys, 48,
     "invalid argument to FORTRAN Run-Time Library"},
    {"item without a field", same, leave, [](ItemList& l) { l.raw(62, 1); }, no_keys, 48,
     "invalid argument to FORTRAN Run-Time Library"},
    {"read-only unit", same, [](For_Lub& u) { u.lub_f_readonly = 1; }, no_items, no_keys, 47, "write to READONLY file"},
    {"keyed unit", same, [](For_Lub& u) { u.lub_f_keyed = 1; }, no_items, no_keys, 31, "mixed file access modes"},
    {"read-only comes before keyed", same, [](For_Lub& u) { u.lub_f_keyed = u.lub_f_readonly = 1; }, no_items, no_keys,
     47, "write to READONLY file"},
    {"unformatted unit", same, [](For_Lub& u) { u.lub_f_formatted = 0; }, no_items, no_keys, 31,
     "mixed file access modes"},
    {"direct unit", [](Connection& c) { c.direct = true; }, leave, no_items, no_keys, 31, "mixed file access modes"},
    {"POS= on a sequential unit", same, leave, no_items, [](ControlList& l) { l.pos(1); }, 31,
     "mixed file access modes"},
    {"POS= of 0", [](Connection& c) { c.stream = true; }, leave, no_items, [](ControlList& l) { l.pos(0); }, 111,
     "position number is outside of the valid range"},
    {"unknown word", same, leave, no_items, [](ControlList& l) { l.delim("TICK"); }, 116,
     "keyword value error in an I/O statement"},
    {"segmented", [](Connection& c) { c.rectype = 3; }, leave, no_items, no_keys, 44, "inconsistent record type"},
    {"quoted text over the record", [](Connection& c) { c.delim = '"'; }, leave,
     [](ItemList& l) { l.text(std::string(140, 'q')); }, no_keys, 97, "write exceeds the record length of the file"},
    {"no growth possible", [](Connection& c) { c.recl = 1, c.cc = CC_NONE, c.rectype = 5; }, leave,
     [](ItemList& l) { l.text("ab"); }, no_keys, 66, "output statement overflows record"},
    {"record of one byte and nothing to write", [](Connection& c) { c.recl = 1, c.cc = CC_NONE, c.rectype = 5; }, leave,
     no_items, no_keys, 66, "output statement overflows record"},
    {"a real of no IEEE format", same, leave, [](ItemList& l) { l.inline_value(25, 1.0f); }, no_keys, 61,
     "format/variable-type mismatch"},
    {"full device", same,
     [](For_Lub& u) {
       close(u.lub_fd);
       u.lub_fd = open("/dev/full", O_WRONLY);
     },
     [](ItemList& l) { l.int4(1); }, no_keys, 38, "error during write"},
    {"full device when the line folds", same,
     [](For_Lub& u) {
       close(u.lub_fd);
       u.lub_fd = open("/dev/full", O_WRONLY);
     },
     [](ItemList& l) { l.text(std::string(200, 'a')).int4(1).text(std::string(200, 'a')).logical4(1); }, no_keys, 38,
     "error during write"},
    {"stream that cannot seek", [](Connection& c) { c.stream = true; },
     [](For_Lub& u) {
       int ends[2];
       if (pipe(ends) != 0) return;
       close(ends[0]);
       dup2(ends[1], u.lub_fd);
       close(ends[1]);
     },
     no_items, [](ControlList& l) { l.pos(7); }, 38, "error during write"},
};

TEST(StatementFailure, MessageUserCodeAndRelease) {
  for (const Failure_Row& row : kFailures) {
    for (bool buffered : {false, true}) {
      Connection c;
      row.connect(c);
      List_Unit unit(c);
      row.adjust(unit.lub());
      char iomsg[120];
      memset(iomsg, '#', sizeof iomsg);
      ControlList control;
      control.iomsg(iomsg, sizeof iomsg);
      row.control(control);
      control.end();
      SCOPED_TRACE(row.what);
      EXPECT_EQ(unit.write(row.build, &control), row.code);
      const bool located = row.code != MSG_INVALID_ARGUMENT;
      const std::string text = row.text + (located ? kHere : "");
      EXPECT_EQ(std::string(iomsg, sizeof iomsg), text + std::string(sizeof iomsg - text.size(), ' '));
      EXPECT_EQ(unit.context().ctx_lub, nullptr);
      expect_released(40);
      unit.lub().lub_f_formatted = 1;
      if (!buffered) break;
    }
  }
}

TEST(StatementFailure, FurtherCallsFailLikeFirstOnes) {
  List_Unit unit;
  ItemList first, bad;
  first.int4(1).more();
  bad.raw(9, 13).end();
  ASSERT_EQ(unit.write(first), 0);
  EXPECT_EQ(for_write_seq_lis_xmit(&unit.context(), bad.list(), bad.args()), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(unit.context().ctx_lub, nullptr);
  expect_released(40);
  EXPECT_EQ(unit.write([](ItemList& l) { l.text("next"); }), 0);
  EXPECT_EQ(unit.text(), " next\n") << "the failed statement leaves nothing of its record";
}

TEST(StatementFailure, OverriddenModesAreRestored) {
  List_Unit unit;
  ControlList control;
  control.blank("NULL").decimal("COMMA").delim("QUOTE").pad("NO").round("UP").sign("PLUS").end();
  For_Lub& lub = unit.lub();
  const bool pad = lub.lub_f_pad;
  EXPECT_EQ(unit.write([](ItemList& l) { l.raw(9, 0); }, &control), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(lub.lub_f_pad, pad);
  EXPECT_EQ(lub.lub_f_blank_null, 0u);
  EXPECT_EQ(lub.lub_decimal, 0);
  EXPECT_EQ(lub.lub_delim, 0);
  EXPECT_EQ(lub.lub_round, 0);
  EXPECT_EQ(lub.lub_sign, 0);
}

TEST(StatementFailure, ControlListMustKeepItsOrder) {
  const std::function<void(ControlList&)> disordered[] = {
      [](ControlList& l) { l.sign("PLUS").delim("NONE"); }, [](ControlList& l) { l.delim("NONE").delim("NONE"); },
      [](ControlList& l) { l.keyword(7, "X"); }, [](ControlList& l) { l.keyword(KEY_POS, "X"); }};
  for (const auto& build : disordered) {
    const auto child = run_child([&] {
      List_Unit unit;
      ControlList control;
      build(control);
      control.end();
      unit.write(no_items, &control);
    });
    EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY);
    EXPECT_NE(child.err.find("internal consistency check failure, file statement.cpp"), std::string::npos);
  }
}

// IOMSG= tells the user code's text; the diagnostic tells the message's own.
TEST(StatementFailure, WithoutSpecifiersItEndsTheProgram) {
  struct Row {
    std::function<void(For_Lub&)> adjust;
    int status;
    std::string text;
  };
  const Row rows[] = {
      {[](For_Lub& u) { u.lub_f_readonly = 1; }, MSG_WRITE_READONLY, "(47): write to READONLY file"},
      {[](For_Lub& u) { u.lub_f_formatted = 0; }, MSG_FORMATTED_ON_UNFORMATTED & 255,
       "(257): formatted I/O to unit open for unformatted transfers"},
      {[](For_Lub& u) { u.lub_f_direct = 1; }, MSG_SEQUENTIAL_ON_DIRECT & 255,
       "(259): sequential-access I/O to unit open for direct access"},
  };
  for (const Row& row : rows) {
    const auto child = run_child([&] {
      List_Unit unit;
      row.adjust(unit.lub());
      ItemList items;
      items.end();
      unit.write(items, nullptr, iof_f90_rtl);
    });
    EXPECT_EQ(child.status, row.status);
    EXPECT_NE(child.err.find("tamrtl: severe " + row.text + kHere), std::string::npos) << child.err;
  }
}

TEST(StatementFailure, RecursionOnOneUnit) {
  make_thread_storage();
  List_Unit unit;
  ItemList open_call, inner, rest;
  open_call.int4(1).more();
  inner.text("inner").end();
  rest.end();
  ASSERT_EQ(unit.write(open_call), 0);
  // A function in the list writes to the same unit.
  For_Context ctx{};
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, inner), MSG_RECURSIVE_IO);
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, iof_err, inner), MSG_RECURSIVE_IO);
  char iomsg[60];
  ControlList control;
  control.iomsg(iomsg, sizeof iomsg).end();
  const long before = vm_live_blocks();
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, inner, &control), MSG_RECURSIVE_IO);
  EXPECT_EQ(std::string(iomsg, 32), "recursive I/O operation, unit 40");
  EXPECT_EQ(vm_live_blocks(), before);
  // One that writes to another unit may.
  List_Unit other({}, 44);
  EXPECT_EQ(other.write([](ItemList& l) { l.text("fine"); }), 0);
  EXPECT_EQ(for_write_seq_lis_xmit(&unit.context(), rest.list(), rest.args()), 0);
  EXPECT_EQ(unit.text(), "           1\n");
}

TEST(StatementFailure, EveryAllocationThatFails) {
  make_thread_storage();
  struct Row {
    const char* what;
    std::function<void(Connection&)> connect;
    int code;
  };
  const Row rows[] = {
      {"delimited text", [](Connection& c) { c.delim = '"'; }, MSG_NO_MEMORY},
      {"delimited text in a virtual record",
       [](Connection& c) { c.delim = '"', c.virtual_recl = true, c.recl = 40, c.buffer_size = 60, c.wrap_margin = 40; },
       MSG_WRITE_EXCEEDS_RECORD},
  };
  const std::string text(130, 'x');
  for (const Row& row : rows) {
    bool hit = true;
    for (int n = 1; hit; ++n) {
      ASSERT_LT(n, 20);
      Connection c;
      row.connect(c);
      List_Unit unit(c);
      unit.lub().lub_recl_limit = 4000;
      ItemList items;
      items.text(text).text(text).end();
      const long before = vm_live_blocks();
      int code = 0;
      {
        const Fail_Vm fail(n);
        code = unit.write(items);
        hit = fail.hit();
      }
      if (hit) {
        EXPECT_TRUE(code == MSG_NO_MEMORY || code == row.code) << row.what << ": " << code;
      } else {
        EXPECT_EQ(code, 0) << row.what;
        EXPECT_GT(n, 1) << row.what << " allocates nothing";
      }
      EXPECT_EQ(vm_live_blocks(), before) << row.what;
      expect_released(40);
    }
  }
}

// --- threads --------------------------------------------------------------------------------------------------------

constexpr int kThreads = 8, kStatements = 200;

void write_lines(int unit, int thread) {
  for (int i = 0; i < kStatements; ++i) {
    For_Context ctx{};
    ItemList first, rest;
    first.int4(thread).text("=").more();
    rest.int4(i).text(std::string(thread * 4, static_cast<char>('a' + thread))).end();
    ASSERT_EQ(first_call(for_write_seq_lis, ctx, unit, kIostat, first), 0);
    ASSERT_EQ(for_write_seq_lis_xmit(&ctx, rest.list(), rest.args()), 0);
  }
}

std::string line(int thread, int i) {
  char text[80];
  snprintf(text, sizeof text, "%12d =%12d ", thread, i);
  return text + std::string(thread * 4, static_cast<char>('a' + thread));
}

TEST(StatementThreads, RecordsOfOneUnitNeverMix) {
  for (bool buffered : {false, true}) {
    Connection c;
    c.buffered = buffered;
    List_Unit unit(c);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(write_lines, unit.number(), t);
    for (std::thread& t : threads) t.join();
    // Every thread's lines are there, whole and in its order.
    int next[kThreads] = {};
    const std::string all = unit.text();
    size_t at = 0;
    for (int n = 0; n < kThreads * kStatements; ++n) {
      const size_t end = all.find('\n', at);
      ASSERT_NE(end, std::string::npos);
      const int thread = atoi(all.c_str() + at);
      ASSERT_LT(thread, kThreads);
      ASSERT_EQ(all.substr(at, end - at), line(thread, next[thread]++));
      at = end + 1;
    }
    EXPECT_EQ(at, all.size());
    EXPECT_EQ(unit.lub().lub_next_rec, kThreads * kStatements + 1);
  }
}

TEST(StatementThreads, UnitsAreIndependent) {
  std::vector<std::unique_ptr<List_Unit>> units;
  // Rows of their own and rows that units share.
  const int numbers[kThreads] = {50, 51, 98, 99, 100, 621, 1142, 1663};
  for (int number : numbers) units.push_back(std::make_unique<List_Unit>(Connection{}, number));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(write_lines, numbers[t], t);
  for (std::thread& t : threads) t.join();
  for (int t = 0; t < kThreads; ++t) {
    std::string expected;
    for (int i = 0; i < kStatements; ++i) expected += line(t, i) + "\n";
    EXPECT_TRUE(units[t]->text() == expected) << t;
  }
}

}  // namespace
