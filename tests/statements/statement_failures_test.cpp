// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// How a sequential statement refuses, fails, and lets its unit go.

#include <fcntl.h>

#include <functional>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "memory_unit.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/compiled_format.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

struct Statement {
  bool writes;
  const char* format;  ///< null: none
  ItemList items = {};
  For_IO_Flags flags = 0;
  ControlList control = {};

  int run(Memory_Unit& unit) const {
    const For_IO_Flags all = kIostat | flags;
    if (format == nullptr) return writes ? unit.write(items, all, control) : unit.read(items, all, control);
    return writes ? unit.write(format, items, all, control) : unit.read(format, items, all, control);
  }
};

// --- connections that a statement refuses ---------------------------------------------------------------------------

struct Refusal {
  const char* what;
  std::function<void(Connection&)> connect;
  std::function<void(Memory_Unit&)> adjust;
  int write, read;                          ///< results of a formatted statement
  int unformatted_write, unformatted_read;  ///< and of an unformatted one
};

void same(Connection&) {}
void leave(Memory_Unit&) {}

const Refusal kRefusals[] = {
    {"nothing", same, leave, 0, 0, 0, 0},
    {"read-only", same, [](Memory_Unit& u) { u.lub().lub_f_readonly = 1; }, 47, 0, 47, 0},
    {"keyed", same, [](Memory_Unit& u) { u.lub().lub_f_keyed = 1; }, 31, 31, 0, 0},
    {"read-only, keyed", same, [](Memory_Unit& u) { u.lub().lub_f_readonly = u.lub().lub_f_keyed = 1; }, 47, 31, 47, 0},
    {"direct", [](Connection& c) { c.direct = true; }, leave, 31, 31, 31, 31},
    {"direct when compatible", [](Connection& c) { c.direct = c.compat = true; }, leave, 0, 0, 0, 0},
    {"the other form", same, [](Memory_Unit& u) { u.lub().lub_f_formatted ^= 1; }, 31, 31, 31, 31},
    {"no file", same, [](Memory_Unit& u) { u.redirect(open("/", O_RDONLY)); }, 38, 39, 38, 39},
};

TEST(StatementFailure, ConnectionsThatAreRefused) {
  const std::string one_record("\4\0\0\0\1\0\0\0\4\0\0\0", 12);
  i32 number = 1;
  const ItemList items = ItemList().pointer(ITM_INTEGER4, &number);
  for (const Refusal& row : kRefusals) {
    for (const bool formatted : {true, false}) {
      for (const char* const format : {static_cast<const char*>(nullptr), "(I5)"}) {
        for (const bool writes : {true, false}) {
          if (!formatted && format != nullptr) continue;
          SCOPED_TRACE(std::string(row.what) + (format ? format : formatted ? " list-directed" : " unformatted"));
          Connection c = {.formatted = formatted};
          if (!formatted) c.rectype = RECTYPE_VARIABLE, c.cc = CC_NONE, c.stream_kind = STREAM_UNF_SEQUENTIAL;
          row.connect(c);
          Memory_Unit unit(c, formatted ? "1\n" : one_record);
          row.adjust(unit);
          const int expected =
              formatted ? (writes ? row.write : row.read) : (writes ? row.unformatted_write : row.unformatted_read);
          EXPECT_EQ((Statement{writes, format, items}.run(unit)), expected) << writes;
          unit.expect_released();
          unit.lub().lub_f_formatted = formatted;
        }
      }
    }
  }
}

// --- statements that fail -------------------------------------------------------------------------------------------

struct Failure_Row {
  const char* what;
  int code;
  Statement statement;
  Connection connection = {};
  void (*adjust)(Memory_Unit&) = leave;
};

i32 number;
double real;
const i32 kNumbers[] = {1, 2, 3};

ItemList put_one() { return ItemList().int4(1); }
ItemList put_three() { return ItemList().array(ITM_INTEGER4, kNumbers, sizeof kNumbers); }
ItemList get_one() { return ItemList().pointer(ITM_INTEGER4, &number); }
ItemList get_real() { return ItemList().pointer(ITM_REAL8, &real); }
Statement put(const char* format, const ItemList& items) { return {true, format, items}; }
Statement get(const char* format, const ItemList& items, For_IO_Flags flags = 0) {
  return {false, format, items, flags};
}
Statement put_list(const ItemList& items, const ControlList& control = {}) {
  return {true, nullptr, items, 0, control};
}
Statement get_list(const ItemList& items) { return {false, nullptr, items}; }

void full_device(Memory_Unit& unit) { unit.redirect(open("/dev/full", O_WRONLY)); }
void broken_pipe(Memory_Unit& unit) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  unit.redirect(ends[1]);
}

const Connection kShort = {.recl = 4};
const Connection kFixed = {
    .rectype = RECTYPE_FIXED, .cc = CC_NONE, .stream_kind = STREAM_UNF_SEQUENTIAL, .recl = 8, .formatted = false};
const Connection kOneByte = {.rectype = RECTYPE_STREAM, .cc = CC_NONE, .recl = 1};

const Failure_Row kFailures[] = {
    // List-directed.
    {"malformed item", MSG_INVALID_ARGUMENT, put_list(put_one().raw(9, 0))},
    {"item without a field", MSG_INVALID_ARGUMENT, put_list(ItemList().raw(ITM_NON_DATA62, 1))},
    {"a real of no IEEE format", MSG_FORMAT_TYPE_MISMATCH, put_list(ItemList().inline_value(ITM_REAL4_VAX, 1.0f))},
    {"POS= on a sequential unit", MSG_MIXED_ACCESS, put_list({}, ControlList().pos(1))},
    {"POS= of 0", MSG_POS_RANGE, put_list({}, ControlList().pos(0)), {.stream = true}},
    {"unknown word", MSG_IO_KEYWORD_VALUE, put_list({}, ControlList().delim("TICK"))},
    {"segmented", MSG_RECORD_TYPE, put_list({}), {.rectype = RECTYPE_SEGMENTED}},
    {"quoted text over the record", MSG_WRITE_EXCEEDS_RECORD, put_list(ItemList().text(blanks(140))), {.delim = '"'}},
    {"no growth possible", MSG_RECORD_OVERFLOW, put_list(ItemList().text("ab")), kOneByte},
    {"nothing in a record of one byte", MSG_RECORD_OVERFLOW, put_list({}), kOneByte},
    {"full device", MSG_WRITE_ERROR, put_list(put_one()), {}, full_device},
    {"full device when a line folds", MSG_WRITE_ERROR, put_list(ItemList().text(blanks(200)).int4(1)), {}, full_device},
    {"stream that cannot seek", MSG_WRITE_ERROR, put_list({}, ControlList().pos(7)), {.stream = true}, broken_pipe},
    {"VAX real", MSG_FORMAT_TYPE_MISMATCH, get_list(ItemList().pointer(ITM_REAL4_VAX, &number))},
    {"type over the table", MSG_INVALID_ARGUMENT, get_list(ItemList().raw(71, ACC_POINTER, {0}))},
    // Unformatted.
    {"keyword of a formatted WRITE", MSG_KEYWORD_UNFORMATTED, put_list({}, ControlList().pad("NO")), kFixed},
    {"keyword of a formatted READ", MSG_KEYWORD_UNFORMATTED, {false, nullptr, {}, 0, ControlList().pad("NO")}, kFixed},
    {"a record that may not grow", MSG_RECORD_OVERFLOW, put_list(ItemList().text("123456789")), kFixed},
    // Formatted output.
    {"format text", MSG_FORMAT_SYNTAX, put("(I5", put_one())},
    {"empty unlimited group", MSG_EMPTY_UNLIMITED_GROUP, put("(*())", put_one())},
    {"no data edit", MSG_NO_DATA_EDIT, put("('abc')", put_one())},
    {"no data edit in the group that comes again", MSG_NO_DATA_EDIT, put("(I3,('abc'))", put_three())},
    {"empty format", MSG_NO_DATA_EDIT, put("()", put_three())},
    {"integer by F", MSG_FORMAT_TYPE_MISMATCH, put("(F5.1)", put_one())},
    {"real by I without width", MSG_FORMAT_TYPE_MISMATCH, put("(I)", ItemList().real8(1))},
    {"text by E0.2", MSG_FORMAT_TYPE_MISMATCH, put("(E0.2)", ItemList().text("a"))},
    {"VAX real by G", MSG_FORMAT_TYPE_MISMATCH, put("(G)", ItemList().inline_value(ITM_REAL4_VAX, 1.0f))},
    {"number by DT", MSG_FORMAT_TYPE_MISMATCH, put("(DT)", put_one())},
    {"derived type that needs DT", MSG_NEEDS_DT_EDIT, put("(I5)", ItemList().raw(66, 3, {0}).int4(1).raw(65, 1))},
    {"non-data item", MSG_FORMAT_TYPE_MISMATCH, put("(A)", ItemList().raw(ITM_NON_DATA60, 1, {9, 9}))},
    {"malformed item behind the format's end", MSG_INVALID_ARGUMENT,
     put("(I5,:)", put_one().array(ITM_INTEGER4, kNumbers, 0).raw(9, 0))},
    {"record overflow", MSG_RECORD_OVERFLOW, put("(3I3)", put_three()), kShort},
    {"record overflow of a literal", MSG_RECORD_OVERFLOW, put("('abcdefgh')", {}), kShort},
    {"record overflow of X", MSG_RECORD_OVERFLOW, put("(9X,I1)", put_one()), kShort},
    {"text at no column", MSG_RECORD_OVERFLOW, put("(T999999999999999,A)", ItemList().text("")), {.recl = 9}},
    {"a field of no record", MSG_RECORD_OVERFLOW, put("(I99999999999)", put_one())},
    {"conversion", MSG_OUTPUT_CONVERSION, put("(I2,I5)", ItemList().int4(100).int4(1))},
    {"defined output that nobody provides", MSG_INVALID_ARGUMENT,
     put("(DT)", ItemList().raw(64, 3, {0}).int4(1).raw(65, 1))},
    {"full device, formatted", MSG_WRITE_ERROR, put("(I5)", put_one()), {}, full_device},
    {"full device at a slash", MSG_WRITE_ERROR, put("(I5/)", put_one()), {}, full_device},
    {"full device at the end of a pass", MSG_WRITE_ERROR, put("(I5)", put_three()), {}, full_device},
    {"endless", MSG_INFINITE_FORMAT_LOOP, put("(*(/))", put_one())},
    {"endless behind data", MSG_INFINITE_FORMAT_LOOP, put("(I1,*('a',2('b'/)))", put_one())},
    {"endless in a group", MSG_INFINITE_FORMAT_LOOP, put("(2(I1,*('a')))", put_one())},
    // Formatted input.
    {"format text of a READ", MSG_FORMAT_SYNTAX, get("(I5", get_one())},
    {"READ without data edit", MSG_NO_DATA_EDIT, get("('a')", get_one())},
    {"READ of an integer by F", MSG_FORMAT_TYPE_MISMATCH, get("(F5.1)", get_one())},
    {"READ of a real by Q", MSG_FORMAT_TYPE_MISMATCH, get("(Q)", get_real())},
    {"READ of a number by DT", MSG_FORMAT_TYPE_MISMATCH, get("(DT)", get_one())},
    {"READ of what needs DT", MSG_NEEDS_DT_EDIT, get("(I5)", ItemList().raw(66, 3, {0}))},
    {"READ of a malformed item", MSG_INVALID_ARGUMENT, get("(I5)", ItemList().raw(9, 0))},
    {"EOR= and ADVANCE='YES'", MSG_EOR_WITH_ADVANCE,
     get("(I5)", ItemList().text("YES").pointer(ITM_INTEGER4, &number), iof_advance_given | iof_eor)},
    {"EOR= and SIZE= alone", MSG_EOR_WITH_ADVANCE, get("(I5)", get_one(), iof_size_given | iof_eor)},
    {"all branches", 0, get("(I5)", get_one(), iof_size_given | iof_eor | iof_err | iof_end)},
    {"SIZE= of a real", MSG_SIZE_NOT_INTEGER, get("(I5)", get_real(), iof_size_given)},
    {"ADVANCE='PERHAPS'", MSG_INVALID_ARGUMENT, get("(I5)", ItemList().text("PERHAPS"), iof_advance_given)},
};

TEST(StatementFailure, MessagesAndRelease) {
  make_thread_storage();
  for (const Failure_Row& row : kFailures) {
    SCOPED_TRACE(row.what);
    Memory_Unit unit(row.connection, row.statement.writes ? "" : "1\n2\n");
    row.adjust(unit);
    const long blocks = vm_live_blocks();
    EXPECT_EQ(row.statement.run(unit), row.code);
    EXPECT_EQ(vm_live_blocks(), blocks);
    unit.expect_released();
  }
}

// IOMSG= tells the user code's text; the diagnostic of a statement without specifiers tells the message's own.
TEST(StatementFailure, IomsgAndDiagnostic) {
  struct Row {
    void (*adjust)(For_Lub&);
    int code;
    std::string iomsg;
    int status;
    std::string diagnostic;
  };
  const Row rows[] = {
      {[](For_Lub& u) { u.lub_f_readonly = 1; }, 47, "write to READONLY file", 47, "(47): write to READONLY file"},
      {[](For_Lub& u) { u.lub_f_formatted = 0; }, 31, "mixed file access modes", MSG_FORMATTED_ON_UNFORMATTED & 255,
       "(257): formatted I/O to unit open for unformatted transfers"},
      {[](For_Lub& u) { u.lub_f_direct = 1; }, 31, "mixed file access modes", MSG_SEQUENTIAL_ON_DIRECT & 255,
       "(259): sequential-access I/O to unit open for direct access"},
  };
  const std::string here = ", unit 40, file unit40";
  for (const Row& row : rows) {
    Memory_Unit unit;
    row.adjust(unit.lub());
    char text[90];
    EXPECT_EQ(unit.write({}, kIostat, ControlList().iomsg(text, sizeof text)), row.code);
    unit.lub().lub_f_formatted = 1;
    const std::string iomsg = row.iomsg + here;
    EXPECT_EQ(std::string(text, sizeof text), iomsg + blanks(sizeof text - iomsg.size()));
    const auto child = run_child([&] {
      row.adjust(unit.lub());
      unit.write({}, iof_f90_rtl);
    });
    EXPECT_EQ(child.status, row.status);
    EXPECT_NE(child.err.find("tamrtl: severe " + row.diagnostic + here), std::string::npos) << child.err;
  }
}

TEST(StatementFailure, FurtherCallsFailLikeFirstOnes) {
  Memory_Unit unit;
  ASSERT_EQ(unit.write(put_one().more()), 0);
  EXPECT_EQ(unit.go_on(ItemList().raw(9, 13)), MSG_INVALID_ARGUMENT);
  unit.expect_released();
  EXPECT_EQ(unit.write(ItemList().text("next")), 0);
  EXPECT_EQ(unit.text(), " next\n") << "the failed statement leaves nothing of its record";
}

TEST(StatementFailure, OverriddenModesAreRestored) {
  Memory_Unit unit;
  const ControlList control =
      ControlList().blank("NULL").decimal("COMMA").delim("QUOTE").pad("NO").round("UP").sign("PLUS");
  const For_Lub& lub = unit.lub();
  const bool pad = lub.lub_f_pad;
  EXPECT_EQ(unit.write(ItemList().raw(9, 0), kIostat, control), MSG_INVALID_ARGUMENT);
  EXPECT_EQ(lub.lub_f_pad, pad);
  EXPECT_EQ(lub.lub_f_blank_null + lub.lub_decimal + lub.lub_delim + lub.lub_round + lub.lub_sign, 0);
}

TEST(StatementFailure, ControlListMustKeepItsOrder) {
  for (const ControlList& control :
       {ControlList().sign("PLUS").delim("NONE"), ControlList().delim("NONE").delim("NONE"),
        ControlList().keyword(7, "X"), ControlList().keyword(KEY_POS, "X")}) {
    const auto child = run_child([&] { Memory_Unit().write({}, kIostat, control); });
    EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY);
    EXPECT_NE(child.err.find("internal consistency check failure, file statement.cpp"), std::string::npos);
  }
}

TEST(StatementFailure, ConversionErrorsWaitForTheEnd) {
  Memory_Unit unit;
  const ItemList items = ItemList().int4(100).int4(7);
  EXPECT_EQ(unit.write("(I2,I3)", items), MSG_OUTPUT_CONVERSION);
  EXPECT_EQ(unit.write("(I2,I3)", items, kIostat | iof_ignore_conv_error), 0);
  EXPECT_EQ(unit.text(), "**  7\n**  7\n");
  EXPECT_EQ(unit.write("(I2)", ItemList().int4(100).more()), 0);
  EXPECT_EQ(unit.go_on({}), MSG_OUTPUT_CONVERSION) << "the error survives the calls";
}

// A pass of a compiled format without data is found by the interpreter, not by the compiler.
TEST(StatementFailure, EndlessCompiledFormat) {
  Memory_Unit unit;
  const u8 endless[] = {54, 0, 0, 0, 3, FMTL_WIDE, 0, 0, 0,  0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 127,
                        0,  0, 0, 0, 0, 0,         0, 0, 64, 0, 1, 0, 57,  0,   0,   0,   55,  0,   0,   0};
  EXPECT_EQ(first_call(for_write_seq_fmt, unit.context(), 40, kIostat, put_one(), {}, endless),
            MSG_INFINITE_FORMAT_LOOP);
  unit.expect_released();
  EXPECT_EQ(unit.write("(*(3('a'),I1,:,2('b')))", put_three()), 0);
}

TEST(StatementFailure, RecursionOnOneUnit) {
  make_thread_storage();
  Memory_Unit unit;
  ASSERT_EQ(unit.write(put_one().more()), 0);
  // A function in the list writes to the same unit.
  For_Context ctx{};
  const ItemList inner = ItemList().text("inner");
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, inner), MSG_RECURSIVE_IO);
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, iof_err, inner), MSG_RECURSIVE_IO);
  char iomsg[60];
  const long before = vm_live_blocks();
  EXPECT_EQ(first_call(for_write_seq_lis, ctx, 40, kIostat, inner, ControlList().iomsg(iomsg, sizeof iomsg)),
            MSG_RECURSIVE_IO);
  EXPECT_EQ(std::string(iomsg, 32), "recursive I/O operation, unit 40");
  EXPECT_EQ(vm_live_blocks(), before);
  // One that writes to another unit may.
  EXPECT_EQ(Memory_Unit({}, "", 44).write(inner), 0);
  EXPECT_EQ(unit.go_on({}), 0);
  EXPECT_EQ(unit.text(), "           1\n");
}

TEST(StatementFailure, EveryAllocationThatFails) {
  make_thread_storage();
  const std::string text(130, 'x'), long_text(9000, 'x');
  char four[4];
  struct Row {
    const char* what;
    int least;  ///< allocations
    Connection connection;
    Statement statement;
    int other_code = MSG_NO_MEMORY;  ///< of some
  };
  const Row rows[] = {
      {"delimited text", 1, {.delim = '"'}, put_list(ItemList().text(text).text(text))},
      {"delimited text in a virtual record",
       1,
       {.recl = 40, .wrap_margin = 40, .buffer_size = 60, .delim = '"', .virtual_recl = true},
       put_list(ItemList().text(text).text(text)),
       MSG_WRITE_EXCEEDS_RECORD},
      {"format, buffer and wide field",
       3,
       {.buffer_size = 200},
       put("(A,T12000,F0.1,F0.800,1X,I5)", ItemList().text(long_text).real16(1).real16(2).int4(4)),
       MSG_RECORD_OVERFLOW},
      {"format, wide field and buffer of a READ",
       2,
       {.buffer_size = 64},
       get("(A700)", ItemList().scalar(ITM_CHARACTER, four, sizeof four)),
       MSG_NO_BUFFER_MEMORY},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    bool hit = true;
    int n = 0;
    while (hit) {
      ASSERT_LT(++n, 30);
      Memory_Unit unit(row.connection, row.statement.writes ? "" : std::string(200, 'a') + "\n");
      if (row.statement.format == nullptr) unit.lub().lub_recl_limit = 4000;
      const long before = vm_live_blocks();
      int code = 0;
      {
        const Fail_Vm fail(n);
        code = row.statement.run(unit);
        hit = fail.hit();
      }
      EXPECT_TRUE(hit ? code == MSG_NO_MEMORY || code == row.other_code : code == 0) << n << ": " << code;
      EXPECT_EQ(vm_live_blocks(), before) << n;
      unit.expect_released();
    }
    EXPECT_GT(n, row.least);
  }
}

// --- threads --------------------------------------------------------------------------------------------------------

constexpr int kThreads = 8, kStatements = 200;

void write_lines(int unit, int thread) {
  for (int i = 0; i < kStatements; ++i) {
    For_Context ctx{};
    ItemList rest = ItemList().int4(i).text(std::string(thread * 4, static_cast<char>('a' + thread))).end();
    ASSERT_EQ(first_call(for_write_seq_lis, ctx, unit, kIostat, ItemList().int4(thread).text("=").more()), 0);
    ASSERT_EQ(for_write_seq_lis_xmit(&ctx, rest.list(), rest.args()), 0);
  }
}

std::string line(int thread, int i) {
  char text[80];
  snprintf(text, sizeof text, "%12d =%12d ", thread, i);
  return text + std::string(thread * 4, static_cast<char>('a' + thread));
}

// On one unit, on rows of their own and on rows that units share: every thread's lines are there, whole and in its order.
TEST(StatementThreads, RecordsNeverMix) {
  struct Row {
    bool buffered;
    int units[kThreads];
  };
  for (const Row& row : {Row{false, {40, 40, 40, 40, 40, 40, 40, 40}}, Row{true, {40, 40, 40, 40, 40, 40, 40, 40}},
                         Row{false, {50, 51, 98, 99, 100, 621, 1142, 1663}}}) {
    std::map<int, std::unique_ptr<Memory_Unit>> units;
    for (int number : row.units) {
      if (units[number] == nullptr)
        units[number] = std::make_unique<Memory_Unit>(Connection{.buffered = row.buffered}, "", number);
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(write_lines, row.units[t], t);
    for (std::thread& t : threads) t.join();
    int next[kThreads] = {};
    for (const auto& [number, unit] : units) {
      std::istringstream lines(unit->text());
      i64 count = 1;
      for (std::string text; std::getline(lines, text); ++count) {
        const int thread = atoi(text.c_str());
        ASSERT_LT(thread, kThreads);
        ASSERT_EQ(row.units[thread], number);
        ASSERT_EQ(text, line(thread, next[thread]++));
      }
      EXPECT_EQ(unit->lub().lub_next_rec, count);
    }
    for (int count : next) EXPECT_EQ(count, kStatements);
  }
}

}  // namespace
