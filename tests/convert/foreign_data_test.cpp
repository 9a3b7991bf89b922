// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Which values of a connection are reversed, which go through a conversion, and what a failure leaves behind.

#include "convert/foreign_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "convert/byte_order.h"
#include "tamrun/cvt_foreign.h"
#include "tamrun/messages.h"

namespace {

using Routine = int (*)(const void*, u32, void*);
using Bytes = std::vector<u8>;

TEST(ReverseElements, AllSizesAtAnyAddress) {
  Bytes source(5000);
  for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<u8>(i * 7 + i / 251);
  for (int elem = 1; elem <= 33; ++elem) {
    for (int count : {0, 1, 2, 3, 5, 7, 8, 15, 31, 33, 64, 127}) {
      SCOPED_TRACE(testing::Message() << elem << " x " << count);
      const int shift = (elem + count) % 5;
      const u8* const from = source.data() + shift;
      Bytes expected(from, from + elem * count);
      for (int i = 0; i < count; ++i) std::reverse(expected.begin() + i * elem, expected.begin() + (i + 1) * elem);
      Bytes copy(elem * count + 2, 0xEE), in_place(from, from + elem * count);
      reverse_elements(copy.data() + 1, from, elem, count);
      EXPECT_EQ(Bytes(copy.begin() + 1, copy.end() - 1), expected);
      EXPECT_TRUE(copy.front() == 0xEE && copy.back() == 0xEE);
      reverse_elements(in_place.data(), in_place.data(), elem, count);
      EXPECT_EQ(in_place, expected);
    }
  }
}

/// What the values of a kind of variable go through on their way. Null: nothing.
struct Road {
  Routine read, write;
};
constexpr Road kNone = {}, kVaxF = {cvt_vax_f_to_ieee_single, cvt_ieee_single_to_vax_f},
               kVaxD = {cvt_vax_d_to_ieee_double, cvt_ieee_double_to_vax_d},
               kVaxG = {cvt_vax_g_to_ieee_double, cvt_ieee_double_to_vax_g},
               kIbmShort = {cvt_ibm_short_to_ieee_single, cvt_ieee_single_to_ibm_short},
               kIbmLong = {cvt_ibm_long_to_ieee_double, cvt_ieee_double_to_ibm_long},
               kCray = {cvt_cray_to_ieee_double, cvt_ieee_double_to_cray};

struct Connection {
  const char* name;
  u8 format;
  bool big_endian;
  Road single, wide;
  bool reverse_integers, reverse_reals, reverse_quads;
};

const Connection kConnections[] = {
    {"little", FOREIGN_NONE, false, kNone, kNone, false, false, false},
    {"big", FOREIGN_NONE, true, kNone, kNone, true, true, true},
    {"VAXG", FOREIGN_VAXG, false, kVaxF, kVaxG, false, false, false},
    {"VAXD", FOREIGN_VAXD, false, kVaxF, kVaxD, false, false, false},
    {"IBM", FOREIGN_IBM, true, kIbmShort, kIbmLong, true, false, true},
    {"CRAY", FOREIGN_CRAY, true, kNone, kCray, true, false, true},
    {"FDX", FOREIGN_FDX, false, kVaxF, kVaxD, false, false, false},
    {"FGX", FOREIGN_FGX, false, kVaxF, kVaxG, false, false, false},
    {"a number that names no format", 254, true, kNone, kNone, true, false, false},
};

struct Type {
  u32 type;
  int length;
  enum { INTEGER, SINGLE, DOUBLE, QUAD, VAX, CHARACTER } kind;
  Road vax = {};  // of a VAX variable the other way round, as long as the file has no foreign format
};

const Type kTypes[] = {
    {ITM_INTEGER1, 1, Type::INTEGER},
    {ITM_INTEGER2, 2, Type::INTEGER},
    {ITM_INTEGER4, 3, Type::INTEGER},
    {ITM_LOGICAL8, 8, Type::INTEGER},
    {ITM_REAL4, 4, Type::SINGLE},
    {ITM_COMPLEX8_ALT, 4, Type::SINGLE},
    {ITM_REAL8, 8, Type::DOUBLE},
    {ITM_COMPLEX16, 8, Type::DOUBLE},
    {ITM_REAL16, 16, Type::QUAD},
    {ITM_COMPLEX32, 16, Type::QUAD},
    {ITM_REAL4_VAX, 4, Type::VAX, kVaxF},
    {ITM_REAL8_VAXD, 8, Type::VAX, kVaxD},
    {ITM_COMPLEX16_VAXG, 8, Type::VAX, kVaxG},
    {ITM_CHARACTER, 8, Type::CHARACTER},
};

/// Bytes that are a number in every format, and backwards too.
constexpr u8 kBytes[16] = {0x41, 0x32, 0xC3, 0xF6, 0xA8, 0x41, 0x49, 0x40,
                           0x41, 0x32, 0xC3, 0xF6, 0xA8, 0x41, 0x09, 0x3F};

Bytes reversed(Bytes bytes) {
  std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

Bytes through(Routine routine, const Bytes& bytes) {
  Bytes result(bytes.size());
  EXPECT_EQ(routine(bytes.data(), 0, result.data()), CVT_SUCCESS);
  return result;
}

TEST(ForeignData, EveryTypeOnEveryConnection) {
  for (const Connection& c : kConnections) {
    for (const Type& t : kTypes) {
      SCOPED_TRACE(testing::Message() << c.name << ", type " << t.type);
      For_Lub lub = {};
      lub.lub_f_convert = 1;
      lub.lub_convert = c.format;
      lub.lub_f_big_endian_words = c.big_endian;
      const bool plain = c.format == FOREIGN_NONE;
      Road road = kNone;
      bool reverse = false;
      if (t.kind == Type::INTEGER) reverse = c.reverse_integers;
      if (t.kind == Type::SINGLE) road = c.single, reverse = c.reverse_reals;
      if (t.kind == Type::DOUBLE) road = c.wide, reverse = c.reverse_reals;
      if (t.kind == Type::QUAD) reverse = c.reverse_quads;
      if (t.kind == Type::VAX && plain) road = {t.vax.write, t.vax.read}, reverse = c.reverse_reals;

      const Bytes source(kBytes, kBytes + t.length);
      Bytes read_result = reverse ? reversed(source) : source, write_result = source;
      if (road.read != nullptr) read_result = through(road.read, read_result);
      if (road.write != nullptr) write_result = through(road.write, write_result);
      if (reverse) write_result = reversed(write_result);

      Bytes variable = source;
      For_Value_Info item = {};
      item.val_data = variable.data();
      item.val_type = t.type;
      item.val_elem = t.length;
      const bool treated =
          t.length > 1 && t.kind != Type::CHARACTER && (c.big_endian || reverse || road.write != nullptr);
      EXPECT_EQ(for__cvt_foreign_check(&item, &lub) != 0, treated);
      Bytes target(16, 0xEE);
      EXPECT_EQ(for__cvt_foreign_write(&item, t.length, &lub, target.data()), 0);
      EXPECT_EQ(variable, source);
      if (t.kind != Type::CHARACTER) {
        EXPECT_EQ(Bytes(target.begin(), target.begin() + t.length), write_result);
      }
      EXPECT_EQ(for__cvt_foreign_read(&item, &lub, t.length), 0);
      EXPECT_EQ(variable, read_result);

      // Runs give each value the same treatment, in place and on the way.
      constexpr int kCount = 9;
      Bytes run, expected_read, expected_write;
      for (int i = 0; i < kCount; ++i) {
        run.insert(run.end(), source.begin(), source.end());
        expected_read.insert(expected_read.end(), read_result.begin(), read_result.end());
        expected_write.insert(expected_write.end(), write_result.begin(), write_result.end());
      }
      Bytes copy(run.size());
      EXPECT_EQ(cvt_foreign_read_run(lub, t.type, t.length, kCount, run.data(), copy.data()), 0);
      EXPECT_EQ(copy, expected_read);
      EXPECT_EQ(cvt_foreign_write_run(lub, t.type, t.length, kCount, run.data(), copy.data()), 0);
      EXPECT_EQ(copy, expected_write);
      EXPECT_EQ(cvt_foreign_read_run(lub, t.type, t.length, kCount, run.data(), run.data()), 0);
      EXPECT_EQ(run, expected_read);
    }
  }
}

TEST(ForeignData, Failures) {
  For_Lub lub = {};
  lub.lub_f_convert = 1;
  lub.lub_convert = FOREIGN_VAXD;
  const double values[3] = {1.5, __builtin_nan(""), -2.0};
  u8 file[24];
  For_Value_Info item = {};
  item.val_type = ITM_REAL8;
  item.val_elem = 8;
  item.val_data = reinterpret_cast<u8*>(const_cast<double*>(&values[1]));
  EXPECT_EQ(for__cvt_foreign_write(&item, 8, &lub, file), MSG_FLOATING_CONVERSION_FAILED);
  EXPECT_EQ(memcmp(file, vax_c[0], 8), 0);
  EXPECT_EQ(cvt_foreign_write_run(lub, ITM_REAL8, 8, 3, reinterpret_cast<const u8*>(values), file), 1);
  EXPECT_EQ(memcmp(file + 8, vax_c[0], 8), 0);

  // A reserved operand stays as it is, and its neighbours are read.
  double back[3];
  EXPECT_EQ(cvt_foreign_read_run(lub, ITM_REAL8, 8, 3, file, reinterpret_cast<u8*>(back)), 1);
  EXPECT_EQ(back[0], 1.5);
  EXPECT_EQ(memcmp(&back[1], vax_c[0], 8), 0);
  EXPECT_EQ(back[2], -2.0);
  EXPECT_EQ(cvt_foreign_read_run(lub, ITM_REAL8, 8, 3, file, file), 1);
  EXPECT_EQ(memcmp(back, file, sizeof file), 0);

  // An underflow is none.
  const double tiny = 0x1p-200;
  EXPECT_EQ(cvt_foreign_write_run(lub, ITM_REAL8, 8, 1, reinterpret_cast<const u8*>(&tiny), file), 0);
  EXPECT_EQ(memcmp(file, vax_c[1], 8), 0);

  // Codes that name no real, and lengths that are not those of their type.
  for (const auto& [type, length] :
       {std::pair{27u, 8}, {30u, 8}, {41u, 8}, {u32{ITM_REAL8}, 2}, {u32{ITM_REAL8}, 16}}) {
    SCOPED_TRACE(testing::Message() << type << ", " << length);
    u8 raw[16];
    memcpy(raw, kBytes, sizeof raw);
    item.val_type = type;
    item.val_elem = length;
    item.val_data = raw;
    EXPECT_NE(for__cvt_foreign_check(&item, &lub), 0);
    EXPECT_EQ(for__cvt_foreign_read(&item, &lub, length), MSG_FLOATING_CONVERSION_FAILED);
    EXPECT_EQ(memcmp(raw, kBytes, sizeof raw), 0);
    EXPECT_EQ(for__cvt_foreign_write(&item, length, &lub, file), MSG_FLOATING_CONVERSION_FAILED);
  }
}

}  // namespace
