// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The format interpreter over a record of its own: where it stops, and what it has changed by then.

#include "format/for_intrp_fmt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "core/failure.h"
#include "support/child.h"
#include "support/unit.h"
#include "tests/format/format_text.h"

namespace {

using tamrun_test::Compiled;

constexpr i64 kRecord = 40;

/// A unit with one record in memory and a format.
struct Unit {
  For_Lub lub = {};
  For_Fmt_Isb isb = {};
  For_Context context = {};
  u8 record[kRecord] = {};
  std::optional<Compiled> compiled;

  explicit Unit(const char* text) : Unit(static_cast<const u8*>(nullptr)) {
    compiled.emplace(text);
    EXPECT_EQ(compiled->result(), 0) << text;
    isb.isb_fmt_pc = compiled->format();
  }
  explicit Unit(const u8* format) {
    isb.isb_lub = &lub;
    isb.isb_fmt_pc = format;
    lub.lub_a_fmt_isb = &isb;
    lub.lub_a_context = &context;
    lub.lub_unit = UNIT_INTERNAL;
    lub.lub_statement = STMT_READ;
    lub.lub_a_buffer = lub.lub_a_data_start = lub.lub_a_cursor = record;
    lub.lub_a_rec_end = record + kRecord;
  }
  int next() { return for__interp_fmt(&lub); }
  i64 column() const { return lub.lub_a_cursor - lub.lub_a_data_start; }

  /// The next stops: operation, :width, *repeat above 1, <text>.
  std::string stops(int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
      const int result = next();
      if (!out.empty()) out += ' ';
      if (result != 0) return out + "failed " + std::to_string(result);
      out += std::to_string(isb.isb_code);
      if (isb.isb_code == FMT_LITERAL) {
        out += "<" + std::string(isb.isb_literal, isb.isb_width) + ">";
      } else if (isb.isb_width != 0) {
        out += ":" + std::to_string(isb.isb_width);
      }
      if (isb.isb_repeat > 1) out += "*" + std::to_string(isb.isb_repeat);
    }
    return out;
  }
};

TEST(Interpreter, StopsAndReversion) {
  struct Row {
    const char* text;
    int count;
    const char* stops;
  };
  constexpr Row kRows[] = {
      {"(I2,(I3,I4))", 8, "37:2 37:3 37:4 2 37:3 37:4 2 37:3"},
      {"(I2,(I3),(I4))", 6, "37:2 37:3 37:4 2 37:4 2"},
      {"(2(I2,1X))", 6, "37:2 37:2 2 37:2 37:2 2"},
      {"(I1,*(I2,I3))", 6, "37:1 37:2 37:3 37:2 37:3 37:2"},
      {"(2(I1,2(I2)),I9)", 10, "37:1 37:2 37:2 37:1 37:2 37:2 37:9 2 37:1 37:2"},
      {"(3I5,2A)", 4, "37:5*3 19*2 2 37:5*3"},
      {"('ab',A/:$,Q,3/)", 7, "28<ab> 19 18 17 16 15 18*3"},
      {"(F0.3,G0,G0.4,E10.3E2)", 5, "33 35 35 32:10 2"},
      {"(G0.4E2)", 1, "failed 62"},
      {"(A,*(1X))", 2, "19 failed 60"},
      {"(A,*(TL1,3(BN)))", 2, "19 failed 60"},
      {"(A,*(I5,3(1X)))", 4, "19 37:5 37:5 37:5"},
      {"(A,1000000000000(1X))", 2, "19 failed 60"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(Unit(row.text).stops(row.count), row.stops);
  }
}

TEST(Interpreter, LongFormatsRevertFarFromTheirStart) {
  Unit unit(("('" + std::string(70000, 'x') + "',I1,(I2),2(I3))").c_str());
  EXPECT_EQ(unit.next(), 0);
  EXPECT_EQ(unit.next(), 0);
  EXPECT_EQ(unit.stops(8), "37:1 37:2 37:3 37:3 2 37:3 37:3 2");
}

TEST(Interpreter, MarksOfAPass) {
  struct Row {
    const char* text;
    int to_end;  ///< stops up to the end of the format
    bool data_seen, empty;
  };
  for (const Row& row : {Row{"()", 1, false, true}, Row{"(I5)", 2, true, false}, Row{"(I5,(1X))", 2, false, false},
                         Row{"('x')", 2, false, false}, Row{"(EX9.1)", 2, true, false}}) {
    SCOPED_TRACE(row.text);
    Unit unit(row.text);
    unit.isb.isb_flags = ISB_DATA_EDIT_SEEN;
    unit.stops(row.to_end);
    EXPECT_EQ(unit.isb.isb_code, FMT_END);
    EXPECT_EQ((unit.isb.isb_flags & ISB_DATA_EDIT_SEEN) != 0, row.data_seen);
    EXPECT_EQ((unit.isb.isb_flags & ISB_EMPTY_FORMAT) != 0, row.empty);
    EXPECT_EQ(unit.isb.isb_depth, 0);
  }
}

TEST(Interpreter, Modes) {
  struct Row {
    const char* text;
    u32 flags;
    u16 flags2;
    u8 round;
    int scale;
  };
  constexpr u32 kOther = ISB_LEFT_JUSTIFY;  // must stay
  for (const Row& row :
       {Row{"(:)", 0, 0, 0, 0}, Row{"(BN,BZ:)", ISB_BZ, 0, 0, 0}, Row{"(BZ,BN:)", ISB_BN, 0, 0, 0},
        Row{"(SP:)", ISB_SP, 0, 0, 0}, Row{"(SP,SS:)", ISB_SS, 0, 0, 0}, Row{"(SS,S:)", ISB_S, 0, 0, 0},
        Row{"(RU:)", 0, 0, ROUND_UP, 0}, Row{"(RC:)", 0, 0, ROUND_COMPATIBLE, 0},
        Row{"(RP:)", 0, 0, ROUND_PROCESSOR_DEFINED, 0}, Row{"(DC,:)", 0, ISB2_DC, 0, 0},
        Row{"(DC,DP,:)", 0, ISB2_DP, 0, 0}, Row{"(3P:)", 0, 0, 0, 3}, Row{"(-128P:)", 0, 0, 0, -128}}) {
    SCOPED_TRACE(row.text);
    Unit unit(row.text);
    unit.isb.isb_flags = kOther;
    unit.isb.isb_flags2 = ISB2_W_ZERO;
    ASSERT_EQ(unit.next(), 0);
    EXPECT_EQ(unit.isb.isb_code, FMT_COLON);
    EXPECT_EQ(unit.isb.isb_flags, kOther | row.flags);
    EXPECT_EQ(unit.isb.isb_flags2, ISB2_W_ZERO | row.flags2);
    EXPECT_EQ(unit.isb.isb_round, row.round);
    EXPECT_EQ(unit.isb.isb_scale, row.scale);
  }
}

// Elements by hand.

using Bytes = std::vector<u8>;

template <class T>
void put(Bytes& bytes, size_t at, T value) {
  if (bytes.size() < at + sizeof value) bytes.resize(at + sizeof value);
  memcpy(bytes.data() + at, &value, sizeof value);
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes long_element(u8 code, u32 repeat = 0, u32 width = 0, u8 d = 0, u8 e = 0) {
  Bytes out = {code, 0, e, d};
  put(out, 4, repeat);
  put(out, 8, width);
  return out;
}

Bytes wide_element(u8 code, i64 repeat, i64 width, u8 d = 0, u8 e = 0) {
  Bytes out = {code, FMTL_WIDE, e, d};
  put(out, 8, repeat);
  put(out, 16, width);
  return out;
}

/// A long element whose operands in `flags` are expressions with these references.
Bytes vfe_element(u8 code, u8 flags, const std::vector<For_Fmt_Vfe>& references, u32 repeat = 1, u32 width = 0) {
  Bytes out = long_element(code, repeat, width);
  out[1] = flags;
  for (size_t i = 0; i < 4; ++i) put(out, 12 + 4 * i, i < references.size() ? references[i] : For_Fmt_Vfe{});
  return out;
}

const Bytes kStart = long_element(FMT_START), kEnd = long_element(FMT_END);

/// What one interpreter call leaves behind, with the length of the element left out.
std::string outcome(const Bytes& element) {
  const Bytes format = kStart + element + kEnd;
  Unit unit(format.data());
  unit.lub.lub_a_cursor += 5;
  unit.isb.isb_scale = 1;
  unit.isb.isb_depth = element[0] == FMT_GROUP_END || element[0] == 57 ? 1 : 0;
  unit.isb.isb_group_count[0] = 1;
  const int result = unit.next();
  const For_Fmt_Isb& isb = unit.isb;
  char text[200];
  snprintf(text, sizeof text, "%d: code %d %lldr %lldw %lldsw %dd %de s%d rd%d f%x f2%x at %lld depth %d", result,
           isb.isb_code, static_cast<long long>(isb.isb_repeat), static_cast<long long>(isb.isb_width),
           static_cast<long long>(isb.isb_width_saved), isb.isb_d, isb.isb_e, isb.isb_scale, isb.isb_round,
           isb.isb_flags, isb.isb_flags2, static_cast<long long>(unit.column()), isb.isb_depth);
  return text;
}

TEST(Interpreter, ShortFormsAreTheirLongTwins) {
  struct Layout {
    u8 category;
    Bytes operands;  ///< of the short form
    u32 repeat, width;
    u8 d;
  };
  const Layout layouts[] = {{FMTC_BARE, {0, 0, 0}, 0, 0, 0},
                            {FMTC_REPEAT, {0, 3, 2}, 0x0203, 0, 0},
                            {FMTC_WIDTH, {0, 4, 0}, 0, 4, 0},
                            {FMTC_REPEAT_WIDTH, {7, 9, 1}, 7, 0x0109, 0},
                            {FMTC_REPEAT_WD, {7, 12, 5}, 7, 12, 5}};
  int forms = 0;
  for (u8 code = 53; code <= 107; ++code) {
    SCOPED_TRACE(int{code});
    if (code == 54 || code == 55) continue;  // the frame of a format, below
    const For_Fmt_Cat row = fmt_cat[code];
    for (const Layout& layout : layouts) {
      if (row.category != layout.category) continue;
      EXPECT_EQ(outcome(Bytes{code} + layout.operands),
                outcome(long_element(row.operation, layout.repeat, layout.width, layout.d)));
      ++forms;
    }
  }
  EXPECT_EQ(forms, 53);
  EXPECT_EQ(outcome({53, 0, 0, 0}).substr(0, 3), "62:");

  const Bytes brief = {54, 0, 0, 0, 86, 1, 5, 0, 56, 0, 2, 0, 64, 0, 1, 0, 72, 0, 3, 0, 57, 0, 0, 0, 55, 0, 0, 0};
  Unit unit(brief.data());
  EXPECT_EQ(unit.stops(7), "36:5 19*3 19*3 2 19*3 19*3 2");
  EXPECT_EQ(unit.column(), 4);
  const Bytes empty = {54, 0, 0, 0, 55, 0, 0, 0};
  Unit none(empty.data());
  EXPECT_EQ(none.stops(1), "2");
  EXPECT_TRUE(none.isb.isb_flags & ISB_EMPTY_FORMAT);
}

TEST(Interpreter, DefaultDigits) {
  for (const int code : {24, 25, 26, 27, 36, 39, 41, 43, 44}) {
    SCOPED_TRACE(code);
    const Bytes format = kStart + long_element(static_cast<u8>(code), 1, 5, 9) + kEnd;
    Unit unit(format.data());
    ASSERT_EQ(unit.next(), 0);
    EXPECT_EQ(unit.isb.isb_d, 1);
  }
}

TEST(Interpreter, WideElements) {
  const Bytes format = kStart + wide_element(FMT_GROUP, kFmtUnlimited, 0) +
                       wide_element(FMT_E_WDE, i64{1} << 40, i64{1} << 33, 200, 255) + long_element(FMT_GROUP_END) +
                       kEnd;
  Unit unit(format.data());
  for (int pass = 0; pass < 3; ++pass) {
    ASSERT_EQ(unit.next(), 0);
    EXPECT_EQ(unit.isb.isb_repeat, i64{1} << 40);
    EXPECT_EQ(unit.isb.isb_width, i64{1} << 33);
    EXPECT_EQ(unit.isb.isb_d, 200);
    EXPECT_EQ(unit.isb.isb_e, 255);
  }
}

Bytes dt_block(const std::string& tag_and_text) {
  Bytes out(32);
  out[0] = static_cast<u8>(tag_and_text[0]);
  const std::string text = tag_and_text.substr(1);
  out.insert(out.end(), text.begin(), text.end());
  out.resize(32 + 4 + (text.size() + 3) / 4 * 4);
  return out;
}

void expect_derived_type(Unit& unit, const char* iotype, const char* vlist, i64 repeat) {
  ASSERT_EQ(unit.next(), 0);
  EXPECT_EQ(unit.isb.isb_code, FMT_DT);
  EXPECT_EQ(unit.isb.isb_repeat, repeat);
  EXPECT_STREQ(unit.isb.isb_dt_iotype, iotype);
  EXPECT_STREQ(unit.isb.isb_dt_vlist, vlist);
}

TEST(Interpreter, DerivedTypeElementsOfCompiledCode) {
  Bytes count(16);
  count[0] = 't';
  put<u32>(count, 12, 6);
  Bytes no_count(16);
  no_count[0] = 't';
  struct Row {
    u32 repeat;
    Bytes blocks;
    const char *iotype, *vlist;
    i64 expected;
  };
  const Row rows[] = {
      {3, {}, nullptr, nullptr, 3},
      {1, count, nullptr, nullptr, 6},
      {1, no_count, nullptr, nullptr, 1},
      {1, dt_block("u"), "", nullptr, 1},
      {2, dt_block("uabcd"), "abcd", nullptr, 2},
      {1, dt_block("uabcde") + dt_block("v1,2,3,4") + count, "abcde", "1,2,3,4", 6},
      {1, dt_block("v1") + count, nullptr, "1", 6},
  };
  for (const Row& row : rows) {
    Bytes head(32);
    head[0] = FMT_DT;
    put(head, 24, row.repeat);
    const Bytes format = kStart + head + row.blocks + long_element(FMT_A_W, 1, 9) + kEnd;
    Unit unit(format.data());
    expect_derived_type(unit, row.iotype, row.vlist, row.expected);
    EXPECT_EQ(unit.stops(2), "29:9 2");
  }
}

TEST(Interpreter, DerivedTypeElementsOfText) {
  Unit unit("(DT,2DT'list'(10, -2),DT(3),A)");
  expect_derived_type(unit, nullptr, nullptr, 1);
  expect_derived_type(unit, "list", "10, -2", 2);
  expect_derived_type(unit, nullptr, "3", 1);
  EXPECT_EQ(unit.stops(2), "19 2");
}

// Variable format expressions.

i64 count_slots(const u64* slots) { return static_cast<i64>(slots[3]) + 0x700000000; }

TEST(Interpreter, ExpressionValues) {
  const i32 narrow = -7;
  const i64 wide = i64{5} << 40;
  const u64 slots[] = {reinterpret_cast<u64>(&narrow),     reinterpret_cast<u64>(&wide), 0, 42, 0,
                       reinterpret_cast<u64>(&count_slots)};
  const auto value = [&](u16 slot, u8 kind, u8 type) {
    const For_Fmt_Vfe reference = {slot, kind, type};
    return get_vfe_value(slots, &reference);
  };
  EXPECT_EQ(value(0, VFE_POINTER, VFE_INT32), -7);
  EXPECT_EQ(value(1, VFE_POINTER, VFE_INT64), wide);
  EXPECT_EQ(value(4, VFE_ROUTINE, VFE_INT64), 0x70000002A);
  EXPECT_EQ(value(4, VFE_ROUTINE, VFE_INT32), 42);
}

TEST(Interpreter, ExpressionRanges) {
  struct Row {
    u8 code, flag;
    i64 value;
    int result;
  };
  constexpr Row kRows[] = {
      {FMT_I_WM, FMTL_VFE_REPEAT, 1, 0}, {FMT_I_WM, FMTL_VFE_REPEAT, 0, MSG_VFE_VALUE},
      {FMT_X, FMTL_VFE_REPEAT, 0, 0},    {FMT_X, FMTL_VFE_REPEAT, -1, MSG_VFE_VALUE},
      {FMT_TL, FMTL_VFE_REPEAT, 0, 0},   {FMT_GROUP, FMTL_VFE_REPEAT, 0, MSG_VFE_VALUE},
      {FMT_I_WM, FMTL_VFE_WIDTH, 0, 0},  {FMT_I_WM, FMTL_VFE_WIDTH, -1, MSG_VFE_VALUE},
      {FMT_P, FMTL_VFE_WIDTH, 127, 0},   {FMT_P, FMTL_VFE_WIDTH, 128, MSG_VFE_VALUE},
      {FMT_P, FMTL_VFE_WIDTH, -128, 0},  {FMT_P, FMTL_VFE_WIDTH, -129, MSG_VFE_VALUE},
      {FMT_F_WD, FMTL_VFE_D, 32767, 0},  {FMT_F_WD, FMTL_VFE_D, 32768, MSG_VFE_VALUE},
      {FMT_E_WDE, FMTL_VFE_E, 255, 0},   {FMT_E_WDE, FMTL_VFE_E, 256, MSG_VFE_VALUE},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::to_string(row.code) + " " + std::to_string(row.value));
    const u64 slots[] = {reinterpret_cast<u64>(&row.value)};
    const Bytes format =
        kStart + vfe_element(row.code, row.flag, std::vector<For_Fmt_Vfe>(4, {0, VFE_POINTER, VFE_INT64}), 1, 9) +
        long_element(FMT_COLON) + kEnd;
    for (const bool last : {false, true}) {  // behind the last item nothing is checked
      Unit unit(format.data());
      unit.context.ctx_vfe_slots = const_cast<u64*>(slots);
      if (last) unit.isb.isb_flags |= ISB_STATEMENT_ENDS;
      EXPECT_EQ(unit.next(), last ? 0 : row.result);
      if (last || row.result != 0 || row.code < FMT_A) continue;
      EXPECT_EQ(row.flag == FMTL_VFE_REPEAT  ? unit.isb.isb_repeat
                : row.flag == FMTL_VFE_WIDTH ? unit.isb.isb_width
                : row.flag == FMTL_VFE_D     ? unit.isb.isb_d
                                             : unit.isb.isb_e,
                row.value);
    }
  }
}

TEST(Interpreter, OperandsTakeTheirOwnReferences) {
  const i32 values[] = {2, 12, 5, 3};
  u64 slots[4];
  std::vector<For_Fmt_Vfe> references;
  for (u16 i = 0; i < 4; ++i) {
    slots[i] = reinterpret_cast<u64>(&values[i]);
    references.push_back({i, VFE_POINTER, VFE_INT32});
  }
  const Bytes format = kStart + vfe_element(FMT_E_WDE, FMTL_VFE, references) + long_element(FMT_A_W, 1, 4) + kEnd;
  Unit unit(format.data());
  unit.context.ctx_vfe_slots = slots;
  EXPECT_EQ(unit.stops(1), "32:12*2");
  EXPECT_EQ(unit.isb.isb_d, 5);
  EXPECT_EQ(unit.isb.isb_e, 3);
  EXPECT_EQ(unit.isb.isb_width_saved, 12);
  EXPECT_EQ(unit.stops(2), "29:4 2");
}

TEST(Interpreter, ExpressionsWaitForTheirItem) {
  i32 width = 3, skip = 2;
  u64 slots[] = {reinterpret_cast<u64>(&width), reinterpret_cast<u64>(&skip)};
  const Bytes format = kStart + long_element(FMT_A_W, 1, 4) +
                       vfe_element(FMT_X, FMTL_VFE_REPEAT, {{1, VFE_POINTER, VFE_INT32}}) +
                       vfe_element(FMT_I_W, FMTL_VFE_WIDTH, {{}, {0, VFE_POINTER, VFE_INT32}}) +
                       vfe_element(FMT_SLASH, FMTL_VFE_REPEAT, {{1, VFE_POINTER, VFE_INT32}}) + kEnd;
  Unit unit(format.data());
  unit.context.ctx_vfe_slots = slots;
  u32& flags = unit.isb.isb_flags;

  flags |= ISB_CALL_ENDS;
  EXPECT_EQ(unit.stops(1), "29:4");
  EXPECT_FALSE(flags & ISB_CALL_ENDS) << "an ordinary stop takes the mark back";

  flags |= ISB_CALL_ENDS;  // the first expression of all waits, whatever it belongs to
  EXPECT_EQ(unit.next(), 0);
  EXPECT_TRUE((flags & ISB_CALL_ENDS) && (flags & ISB_VFE_REACHED));
  EXPECT_EQ(unit.isb.isb_repeat, 0);
  EXPECT_EQ(unit.column(), 0);

  flags |= ISB_CALL_ENDS;  // later only data descriptors wait
  EXPECT_EQ(unit.next(), 0);
  EXPECT_EQ(unit.column(), 2);
  EXPECT_EQ(unit.isb.isb_code, FMT_I_W);
  EXPECT_EQ(unit.isb.isb_repeat, 0);
  EXPECT_TRUE(flags & ISB_CALL_ENDS);

  width = 8;
  flags &= ~u32{ISB_CALL_ENDS};
  EXPECT_EQ(unit.stops(1), "36:8");

  flags |= ISB_CALL_ENDS;  // evaluated in this element: the mark stays
  EXPECT_EQ(unit.stops(1), "18*2");
  EXPECT_TRUE(flags & ISB_CALL_ENDS);
}

TEST(Interpreter, CorruptElementsEndTheProgram) {
  const u64 slots[] = {1, 2};
  const For_Fmt_Vfe bad[] = {{0, 4, VFE_INT32}, {0, VFE_POINTER, 10}, {0, VFE_ROUTINE, VFE_INT32}};
  for (const For_Fmt_Vfe& reference : bad) {
    const auto child = tamrun_test::run_child([&] { (void)get_vfe_value(slots, &reference); });
    EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY);
    EXPECT_NE(child.err.find("file for_intrp_fmt, line"), std::string::npos) << child.err;
  }
  for (const u8 code : {52, 117, 118, 121, 127, 128, 255}) {
    const Bytes format = kStart + long_element(code) + kEnd;
    const auto child = tamrun_test::run_child([&] { (void)Unit(format.data()).next(); });
    EXPECT_EQ(child.status, MSG_INTERNAL_CONSISTENCY) << int{code};
  }
}

TEST(Interpreter, GroupsOutOfBalance) {
  Bytes deep = kStart;
  for (int i = 0; i < 9; ++i) deep = deep + long_element(FMT_GROUP, 1);
  EXPECT_EQ(Unit(deep.data()).stops(1), "failed 62");
  const Bytes closed = kStart + long_element(FMT_GROUP_END) + kEnd;
  EXPECT_EQ(Unit(closed.data()).stops(1), "failed 62");
}

// Positions.

TEST(Position, FromColumnTen) {  // counted from 0, of a record of 40
  struct Row {
    const char* text;
    i64 column;
    i64 padded = -1;  ///< with padding in force: the padding that is left; -1: without
  };
  for (const Row& row : {Row{"(3X:)", 13},         Row{"(TR3:)", 13},
                         Row{"(TL3:)", 7},         Row{"(TL11:)", 0},
                         Row{"(T5:)", 4},          Row{"(T0:)", 0},
                         Row{"(40X:)", 50},        Row{"(T60,TL5:)", 54},
                         Row{"(3(2X,TL1):)", 13},  Row{"(TL18446744073709551615:)", 10},
                         Row{"(3X:)", 13, 0},      Row{"(30X:)", 40, 0},
                         Row{"(31X,4X:)", 40, 5},  Row{"(31X,TL1:)", 40, 0},
                         Row{"(31X,TL2:)", 39, 0}, Row{"(35X,TL2:)", 40, 3},
                         Row{"(31X,TL99:)", 0, 0}, Row{"(T41:)", 40, 0},
                         Row{"(T43:)", 40, 2},     Row{"(T43,T50:)", 40, 9},
                         Row{"(T43,T41:)", 40, 0}, Row{"(T43,T7,2X:)", 8, 0},
                         Row{"(TL3:)", 7, 0}}) {
    SCOPED_TRACE(row.text);
    Unit unit(row.text);
    unit.lub.lub_f_pad_in_force = row.padded >= 0;
    unit.lub.lub_a_cursor += 10;
    ASSERT_EQ(unit.next(), 0);
    EXPECT_EQ(unit.column(), row.column);
    EXPECT_EQ(unit.lub.lub_pad_count, std::max(row.padded, i64{0}));
  }
}

TEST(Position, HugeMovesStayWithinBounds) {
  constexpr i64 kFar = i64{1} << 40;
  for (const char* text : {"(T9223372036854775807:)", "(TR9223372036854775807:)", "(9223372036854775807X:)",
                           "(2000(TR9223372036854775807):)", "(T18446744073709551615:)"}) {
    SCOPED_TRACE(text);
    for (const bool pad : {false, true}) {
      Unit unit(text);
      unit.lub.lub_f_pad_in_force = pad;
      ASSERT_EQ(unit.next(), 0);
      EXPECT_GE(unit.column(), 0);
      EXPECT_LE(unit.column(), kFar);
      EXPECT_GE(unit.lub.lub_pad_count, 0);
      EXPECT_LE(unit.lub.lub_pad_count, kFar);
    }
  }
}

TEST(Position, RecordThatCannotGrow) {
  struct Row {
    const char* text;
    int unit, statement, record_type;
    int result;
  };
  constexpr Row kRows[] = {
      {"(29X:)", 7, STMT_WRITE_SEQ, RECTYPE_VARIABLE, 0},
      {"(30X:)", 7, STMT_WRITE_SEQ, RECTYPE_VARIABLE, MSG_RECORD_OVERFLOW},
      {"(30X:)", 7, STMT_WRITE_SEQ, RECTYPE_FIXED, 0},
      {"(31X:)", 7, STMT_WRITE_SEQ, RECTYPE_FIXED, MSG_RECORD_OVERFLOW},
      {"(31X:)", 7, STMT_READ, RECTYPE_FIXED, 0},
      {"(31X:)", UNIT_INTERNAL, STMT_WRITE, RECTYPE_FIXED, 0},
      {"(T99:)", 7, STMT_WRITE_SEQ, RECTYPE_FIXED, 0},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    const auto child = tamrun_test::run_child([&] {
      Unit unit(row.text);
      unit.lub.lub_a_cursor += 10;
      unit.lub.lub_unit = row.unit;
      unit.lub.lub_statement = static_cast<u8>(row.statement);
      unit.lub.lub_rectype = static_cast<u8>(row.record_type);
      exit(unit.next());
    });
    EXPECT_EQ(child.status, row.result);
    EXPECT_EQ(child.err.find("output statement overflows record, unit 7") != std::string::npos, row.result != 0);
  }
}

TEST(Interpreter, FormatFreedUnderTheStatement) {
  for (const bool iostat : {false, true}) {
    const auto child = tamrun_test::run_child([&] {
      Connected_Unit unit(7, memory_file(), Connection{});
      unit.lub().lub_f_iostat = iostat;
      unit.lub().lub_a_fmt_isb->isb_fmt_pc = nullptr;
      exit(for__interp_fmt(&unit.lub()));
    });
    EXPECT_EQ(child.status, MSG_RECURSIVE_IO);
    EXPECT_EQ(child.err.find("recursive I/O operation, unit 7") != std::string::npos, !iostat) << child.err;
  }
}

}  // namespace
