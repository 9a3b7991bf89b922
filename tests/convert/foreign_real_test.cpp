// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Foreign reals against exact arithmetic. The oracle knows the formats by their definition: bytes give sign, exponent
// and fraction, these give an integer times a power of two, and a rounded result is an integer of the target's units.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "support/soak.h"
#include "tamrun/cvt_foreign.h"

namespace {

using u128 = unsigned __int128;
using Routine = int (*)(const void*, u32, void*);
using Fortran_Routine = int (*)(const void*, const u32*, void*);
using Value_Bytes = std::array<u8, 16>;

struct Format {
  enum Family { IEEE, VAX, IBM, CRAY } family;
  int bytes, exponent_bits, bias;
  int unit_bits;        // significant bits, the hidden one included
  int lowest, highest;  // E of the smallest and of the largest numbers 0.1fff x 2^E that a conversion writes
  u32 rounding;         // when the options give none
};

constexpr Format Ieee_Single{Format::IEEE, 4, 8, 127, 24, -148, 128, CVT_M_ROUND_TO_NEAREST};
constexpr Format Ieee_Double{Format::IEEE, 8, 11, 1023, 53, -1073, 1024, CVT_M_ROUND_TO_NEAREST};
constexpr Format Vax_F{Format::VAX, 4, 8, 128, 24, -127, 127, CVT_M_VAX_ROUNDING};
constexpr Format Vax_D{Format::VAX, 8, 8, 128, 56, -127, 127, CVT_M_VAX_ROUNDING};
constexpr Format Vax_G{Format::VAX, 8, 11, 1024, 53, -1023, 1023, CVT_M_VAX_ROUNDING};
constexpr Format Vax_H{Format::VAX, 16, 15, 16384, 113, -16383, 16383, CVT_M_ROUND_TO_NEAREST};
constexpr Format Ibm_Short{Format::IBM, 4, 7, 64, 24, -255, 252, CVT_M_ROUND_TO_NEAREST};
constexpr Format Ibm_Long{Format::IBM, 8, 7, 64, 56, -255, 252, CVT_M_ROUND_TO_NEAREST};
constexpr Format Cray{Format::CRAY, 8, 15, 16384, 48, -8192, 8191, CVT_M_ROUND_TO_NEAREST};

struct Conversion {
  const char* name;
  Routine routine;
  Fortran_Routine by_reference, upper;
  const Format& from;
  const Format& to;
};

#define ROW(lower, upper, from, to) {#lower, lower, lower##_, upper, from, to},
const Conversion kConversions[] = {TAMRUN_FOREIGN_CONVERSIONS(ROW)};
#undef ROW

/// Sign, exponent and fraction as one number; bytes of a number, and back.
u128 number_of(const Format& f, const u8* bytes) {
  u128 number = 0;
  for (int i = 0; i < f.bytes; ++i) {
    const int at = f.family == Format::IEEE ? f.bytes - 1 - i : f.family == Format::VAX ? i ^ 1 : i;
    number = number << 8 | bytes[at];
  }
  return number;
}
Value_Bytes bytes_of(const Format& f, u128 number) {
  Value_Bytes bytes = {};
  for (int i = f.bytes - 1; i >= 0; --i, number >>= 8) {
    const int at = f.family == Format::IEEE ? f.bytes - 1 - i : f.family == Format::VAX ? i ^ 1 : i;
    bytes[at] = static_cast<u8>(number);
  }
  return bytes;
}

struct Exact {
  enum Class { NUMBER, ZERO, INVALID, INFINITE } cls;
  bool negative;
  u128 significand;  // value: significand x 2^exponent
  int exponent;
};

int fraction_bits(const Format& f) { return 8 * f.bytes - 1 - f.exponent_bits; }

Exact decode(const Format& f, const u8* bytes) {
  const u128 number = number_of(f, bytes), one = 1;
  const int bits = fraction_bits(f);
  const bool negative = number >> (8 * f.bytes - 1) != 0;
  const int field = static_cast<int>(number >> bits) & ((1 << f.exponent_bits) - 1);
  const u128 fraction = number & ((one << bits) - 1);
  switch (f.family) {
    case Format::IEEE:
      if (field == (1 << f.exponent_bits) - 1) return {fraction ? Exact::INVALID : Exact::INFINITE, negative, 0, 0};
      if (field != 0) return {Exact::NUMBER, negative, (one << bits) + fraction, field - f.bias - bits};
      return {fraction ? Exact::NUMBER : Exact::ZERO, negative, fraction, 1 - f.bias - bits};
    case Format::VAX:
      if (field == 0) return {negative ? Exact::INVALID : Exact::ZERO, false, 0, 0};
      return {Exact::NUMBER, negative, (one << bits) + fraction, field - f.bias - bits - 1};
    case Format::IBM:
      if (field == 0 && fraction == 0) return {Exact::ZERO, negative, 0, 0};
      if (fraction >> (bits - 4) == 0) return {Exact::INVALID, negative, 0, 0};
      return {Exact::NUMBER, negative, fraction, 4 * (field - f.bias) - bits};
    default:
      if (field == 0 && fraction == 0) return {Exact::ZERO, negative, 0, 0};
      if (field < 8192 || field >= 24576 || fraction >> 47 == 0) return {Exact::INVALID, negative, 0, 0};
      return {Exact::NUMBER, negative, fraction, field - f.bias - bits};
  }
}

int width(u128 number) {
  const u64 high = static_cast<u64>(number >> 64), low = static_cast<u64>(number);
  return high != 0 ? 128 - __builtin_clzll(high) : low != 0 ? 64 - __builtin_clzll(low) : 0;
}

enum Special { INVALID, ZERO, LARGEST, INFINITE };

/// The special values of a format, as its definition gives them.
u128 special(const Format& f, Special which, bool negative) {
  const u128 sign = u128{1} << (8 * f.bytes - 1);
  const u128 infinity = sign - (u128{1} << fraction_bits(f));  // exponent all ones
  switch (f.family) {
    case Format::IEEE:
      if (which == INVALID) return infinity + (u128{1} << (fraction_bits(f) - 1)) - 1;
      return (negative ? sign : 0) + (which == ZERO ? 0 : which == LARGEST ? infinity - 1 : infinity);
    case Format::VAX:
      if (which == ZERO) return 0;
      return which == LARGEST ? (negative ? sign + sign - 1 : sign - 1) : sign;
    case Format::IBM:
      if (which == INVALID) return u128{0xFF} << fraction_bits(f);
      return (negative ? sign : 0) + (which == ZERO ? 0 : sign - 1);
    default:
      if (which == INVALID) return u128{0x60} << 56;
      return (negative ? sign : 0) + (which == ZERO ? 0 : which == LARGEST ? (u128{0x60} << 56) - 1 : u128{0x60} << 56);
  }
}

struct Expected {
  int status;
  bool is_number;  // significand x 2^exponent, or else the special value
  bool exact;
  u128 significand;
  int exponent;
  u128 number;
};

bool goes_up(u32 rounding, const Exact& v, u128 units, u128 rest, u128 half) {
  switch (rounding) {
    case CVT_M_ROUND_TO_NEAREST:
      return rest > half || (rest == half && (units & 1) != 0);
    case CVT_M_VAX_ROUNDING:
      return rest >= half;
    case CVT_M_ROUND_TO_POS:
      return !v.negative && rest != 0;
    case CVT_M_ROUND_TO_NEG:
      return v.negative && rest != 0;
    default:
      return false;
  }
}

Expected expect(const Format& to, const Exact& v, u32 rounding) {
  const auto row = [&](int status, Special which) {
    return Expected{status, false, false, 0, 0, special(to, which, v.negative)};
  };
  if (v.cls == Exact::ZERO) return row(CVT_SUCCESS, ZERO);
  if (v.cls == Exact::INVALID) return row(CVT_INVALID_FLOAT, INVALID);
  if (v.cls == Exact::INFINITE) {
    return row(to.family == Format::IBM ? CVT_SUCCESS
               : v.negative             ? CVT_NEGATIVE_INFINITY
                                        : CVT_POSITIVE_INFINITY,
               INFINITE);
  }
  const int e = width(v.significand) + v.exponent;  // of 0.1fff x 2^e
  // Half of the smallest number may still round up to it; what is less never does.
  if (to.family == Format::IEEE && e < to.lowest - 1) return row(CVT_UNDERFLOW, ZERO);
  int unit = e - to.unit_bits;
  if (to.family == Format::IEEE) unit = std::max(unit, to.lowest - 1);
  if (to.family == Format::IBM) unit = (e > 0 ? (e + 3) / 4 : -(-e / 4)) * 4 - to.unit_bits;

  u128 units;
  const int lost = unit - v.exponent;
  if (lost <= 0) {
    units = v.significand << -lost;
  } else {
    units = v.significand >> lost;
    units += goes_up(rounding, v, units, v.significand - (units << lost), u128{1} << (lost - 1));
  }
  const int rounded = width(units) + unit;
  if (units == 0 || rounded < to.lowest) return row(CVT_UNDERFLOW, ZERO);
  if (rounded > to.highest) {
    const bool largest = rounding == CVT_M_TRUNCATE || (rounding == CVT_M_ROUND_TO_POS && v.negative) ||
                         (rounding == CVT_M_ROUND_TO_NEG && !v.negative);
    return row(CVT_VALUE_OVERFLOW, largest ? LARGEST : INFINITE);
  }
  return {CVT_SUCCESS, true, lost <= 0 || units << lost == v.significand, units, unit, 0};
}

void reverse(Value_Bytes& bytes, int size) { std::reverse(bytes.begin(), bytes.begin() + size); }

/// The conversion the other way; both halves of the list have one order.
const Conversion& back_from(const Conversion& c) {
  constexpr size_t kHalf = std::size(kConversions) / 2;
  return kConversions[(&c - kConversions + kHalf) % (2 * kHalf)];
}

/// One conversion of one value, and back when nothing is lost. False, with a message, when anything is not as expected.
bool check(const Conversion& c, const Value_Bytes& source, u32 options) {
  u32 rounding = options & ~u32{CVT_M_REPORT_UNDERFLOW | CVT_M_BIG_ENDIAN};
  if (rounding == 0) rounding = c.to.rounding;
  const Exact v = decode(c.from, source.data());
  const Expected expected = expect(c.to, v, rounding);
  int status = expected.status;
  if (status == CVT_UNDERFLOW && !(options & CVT_M_REPORT_UNDERFLOW)) status = CVT_SUCCESS;

  Value_Bytes in = source, out;
  const bool big = options & CVT_M_BIG_ENDIAN;
  if (big && c.from.family == Format::IEEE) reverse(in, c.from.bytes);
  out.fill(0xEE);
  const int found = c.routine(in.data(), options, out.data());
  const bool within = out[c.to.bytes % 16] == 0xEE || c.to.bytes == 16;
  bool returns = true;
  // IBM's exponent field of 0 is read and never written.
  if (expected.exact && width(v.significand) + v.exponent >= c.from.lowest) {
    Value_Bytes again = {};
    returns = back_from(c).routine(out.data(), options, again.data()) == CVT_SUCCESS &&
              memcmp(again.data(), in.data(), c.from.bytes) == 0;
  }
  if (big && c.to.family == Format::IEEE) reverse(out, c.to.bytes);

  bool same;
  if (expected.is_number) {
    const Exact back = decode(c.to, out.data());
    const int up = expected.exponent - back.exponent;  // the units of the two may differ
    same = back.cls == Exact::NUMBER && back.negative == v.negative && up > -128 && up < 128 &&
           (up >= 0 ? back.significand == expected.significand << up : back.significand << -up == expected.significand);
    same = same && !(c.to.family == Format::IBM && (number_of(c.to, out.data()) >> fraction_bits(c.to) & 127) == 0);
  } else {
    same = number_of(c.to, out.data()) == expected.number;
  }
  if (found == status && same && within && returns) return true;
  const u128 shown = number_of(c.from, source.data()), got = number_of(c.to, out.data());
  ADD_FAILURE() << std::hex << c.name << " of " << static_cast<u64>(shown >> 64) << ":" << static_cast<u64>(shown)
                << " options " << options << ": " << static_cast<u64>(got >> 64) << ":" << static_cast<u64>(got)
                << ", status " << found << " for " << status;
  return false;
}

constexpr u32 kRoundings[] = {
    0, CVT_M_TRUNCATE, CVT_M_ROUND_TO_POS, CVT_M_ROUND_TO_NEG, CVT_M_ROUND_TO_NEAREST, CVT_M_VAX_ROUNDING};

/// Fractions at the ends, at every place where a target may round, and at random.
std::vector<u128> fractions(int bits, std::mt19937_64& random) {
  const u128 all = (u128{1} << bits) - 1;
  std::vector<u128> values = {0, 1, all, all - 1, all >> 1, (all >> 1) + 1};
  for (int at = 1; at < bits; ++at) {
    const u128 half = u128{1} << at;
    for (const u128 upper : {u128{0}, all << (at + 1) & all, half << 1 & all, (u128{1} << (bits - 1))}) {
      if (at % 3 != 0 && bits > 60) continue;
      for (const u128 value : {upper | half, upper | (half - 1), upper | half | 1}) values.push_back(value);
    }
  }
  for (int i = 0; i < 8; ++i) values.push_back((u128{random()} << 64 | random()) & all);
  return values;
}

TEST(ForeignReal, EveryExponentAgainstExactArithmetic) {
  std::mt19937_64 random(20);
  for (const Conversion& c : kConversions) {
    const int bits = fraction_bits(c.from), exponents = 1 << c.from.exponent_bits;
    const std::vector<u128> all = fractions(bits, random);
    const int centre = c.from.bias, near = c.to.highest + 60;
    int failures = 0;
    for (int field = 0; field < exponents && failures < 5; ++field) {
      // Where the target's range is far away, a few fractions will do.
      const bool far = c.from.family != Format::IBM && abs(field - centre) > near && field % 64 != 0;
      const long step = far ? static_cast<long>(all.size() / 2) : std::max(1L, 1 + exponents / 256 - soak_cases(1));
      for (size_t i = field % step; i < all.size(); i += step) {
        const u64 dice = random();
        const u128 number = u128{dice & 1} << (8 * c.from.bytes - 1) | u128(field) << bits | all[i];
        const Value_Bytes source = bytes_of(c.from, number);
        const u32 extra = static_cast<u32>(dice >> 8) & (CVT_M_BIG_ENDIAN | CVT_M_REPORT_UNDERFLOW);
        for (const u32 rounding : kRoundings) failures += !check(c, source, rounding | extra);
      }
    }
    EXPECT_EQ(failures, 0) << c.name;
  }
}

/// Values of 32 bits: each n-th one; TAMRUN_SOAK=9973 takes all of them.
TEST(ForeignReal, SinglesAcrossTheWholeRange) {
  const u64 step = std::max(1L, 9973 / soak_cases(1));
  for (const Conversion& c : kConversions) {
    if (c.from.bytes != 4) continue;
    int failures = 0;
    for (u64 number = 0; number <= UINT32_MAX && failures < 5; number += step) {
      failures += !check(c, bytes_of(c.from, number), 0);
    }
    EXPECT_EQ(failures, 0) << c.name;
  }
}

/// Bytes written out by hand.
struct Case {
  Routine routine;
  const char* source;  // hexadecimal, in storage order
  u32 options;
  int status;
  const char* target;
};

const Case kCases[] = {
    // 1.0: VAX F, D and G hold 0.5 x 2^1, IBM 1/16 x 16^1, Cray 0.5 x 2^1.
    {cvt_ieee_single_to_vax_f, "0000803F", 0, 0, "80400000"},
    {cvt_ieee_double_to_vax_g, "000000000000F03F", 0, 0, "1040000000000000"},
    {cvt_ieee_double_to_vax_h, "000000000000F03F", 0, 0, "01400000000000000000000000000000"},
    {cvt_ieee_single_to_ibm_short, "0000803F", 0, 0, "41100000"},
    {cvt_ieee_double_to_ibm_long, "3FF0000000000000", CVT_M_BIG_ENDIAN, 0, "4110000000000000"},
    {cvt_ieee_single_to_cray, "0000803F", 0, 0, "4001800000000000"},
    // -118.625: the usual example of the hexadecimal format.
    {cvt_ieee_single_to_ibm_short, "0040EDC2", 0, 0, "C276A000"},
    {cvt_ibm_short_to_ieee_single, "C276A000", CVT_M_BIG_ENDIAN, 0, "C2ED4000"},
    // VAX: exponent 0 is zero whatever the fraction; with a sign it is the reserved operand.
    {cvt_vax_f_to_ieee_single, "7F00FFFF", 0, 0, "00000000"},
    {cvt_vax_f_to_ieee_single, "00800000", 0, 13, "FFFFBF7F"},
    {cvt_vax_d_to_ieee_double, "0080000000000000", CVT_M_BIG_ENDIAN, 13, "7FF7FFFFFFFFFFFF"},
    // Zeros with a sign.
    {cvt_ieee_single_to_vax_f, "00000080", 0, 0, "00000000"},
    {cvt_ieee_single_to_ibm_short, "00000080", 0, 0, "80000000"},
    {cvt_ieee_double_to_cray, "0000000000000080", 0, 0, "8000000000000000"},
    {cvt_cray_to_ieee_single, "8000000000000000", CVT_M_BIG_ENDIAN, 0, "80000000"},
    // Infinities and NaN.
    {cvt_ieee_single_to_vax_f, "0000807F", 0, 15, "00800000"},
    {cvt_ieee_single_to_ibm_short, "0000807F", 0, 0, "7FFFFFFF"},
    {cvt_ieee_double_to_cray, "000000000000F07F", 0, 15, "6000000000000000"},
    {cvt_ieee_single_to_ibm_short, "0100807F", 0, 13, "FF000000"},
    // What is not normalised.
    {cvt_ibm_short_to_ieee_single, "410FFFFF", 0, 13, "FFFFBF7F"},
    {cvt_cray_to_ieee_double, "40017FFFFFFFFFFF", 0, 13, "FFFFFFFFFFFFF77F"},
    // A carry out of the fraction overflows.
    {cvt_cray_to_ieee_single, "4080FFFFFFFFFFFF", 0, 8, "0000807F"},
    {cvt_cray_to_ieee_single, "C080FFFFFFFFFFFF", CVT_M_BIG_ENDIAN, 8, "FF800000"},
    // 2^127 has no VAX F.
    {cvt_ieee_single_to_vax_f, "0000007F", 0, 8, "00800000"},
    {cvt_ieee_single_to_vax_f, "0000007F", CVT_M_TRUNCATE, 8, "FF7FFFFF"},
    // Exponent field 1 of VAX F is a subnormal of 22 bits: ties go to even, and in the VAX manner away from zero.
    {cvt_vax_f_to_ieee_single, "80000200", 0, 0, "00002000"},
    {cvt_vax_f_to_ieee_single, "80000200", CVT_M_VAX_ROUNDING, 0, "01002000"},
    // An underflow is told of on demand.
    {cvt_ieee_double_to_vax_d, "0000000000000080", CVT_M_REPORT_UNDERFLOW, 0, "0000000000000000"},
    {cvt_ieee_double_to_vax_d, "000000000000F083", CVT_M_REPORT_UNDERFLOW, 9, "0000000000000000"},
    // Options that do not go together leave the target alone.
    {cvt_ieee_single_to_vax_f, "0000803F", CVT_M_TRUNCATE | CVT_M_ROUND_TO_NEAREST, 4, "EEEEEEEE"},
    {cvt_ieee_single_to_vax_f, "0000803F", 1, 4, "EEEEEEEE"},
    {cvt_ieee_single_to_vax_f, "3F800000", CVT_M_BIG_ENDIAN | CVT_M_REPORT_UNDERFLOW, 0, "80400000"},
};

std::string hexadecimal(const u8* bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) text += {"0123456789ABCDEF"[bytes[i] >> 4], "0123456789ABCDEF"[bytes[i] & 15]};
  return text;
}

TEST(ForeignReal, ByHand) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.source << ", options " << std::hex << c.options);
    u8 source[17], target[17];
    memset(target, 0xEE, sizeof target);
    const std::string text = c.source, result = c.target;
    for (size_t i = 0; i < text.size(); i += 2) source[i / 2 + 1] = stoi(text.substr(i, 2), nullptr, 16);
    EXPECT_EQ(c.routine(source + 1, c.options, target + 1), c.status);
    EXPECT_EQ(hexadecimal(target + 1, result.size() / 2), result);
    // The target may be the source.
    EXPECT_EQ(c.routine(source + 1, c.options, source + 1), c.status);
    EXPECT_EQ(hexadecimal(source + 1, result.size() / 2), c.status == CVT_INVALID_OPTIONS ? text : result);
  }
}

TEST(ForeignReal, ThreeNamesOfEachConversion) {
  for (const Conversion& c : kConversions) {
    const int bits = fraction_bits(c.from);
    const Value_Bytes source = bytes_of(c.from, (u128(c.from.bias) << bits) + (u128{1} << bits) - 1);
    for (const u32 options : {0u, u32{CVT_M_BIG_ENDIAN}, 3u}) {
      Value_Bytes a = {1}, b = {1}, d = {1};
      const int status = c.routine(source.data(), options, a.data());
      EXPECT_EQ(c.by_reference(source.data(), &options, b.data()), status) << c.name;
      EXPECT_EQ(c.upper(source.data(), &options, d.data()), status) << c.name;
      EXPECT_TRUE(a == b && a == d) << c.name;
    }
  }
}

TEST(ForeignReal, TablesOfSpecialValues) {
  const auto twins = [](const Format& f, const void* table) {
    const u8* row = static_cast<const u8*>(table);
    for (const auto& [which, negative] : {std::pair{INVALID, false},
                                          {ZERO, false},
                                          {ZERO, true},
                                          {LARGEST, false},
                                          {LARGEST, true},
                                          {INFINITE, false},
                                          {INFINITE, true}}) {
      Value_Bytes bytes = bytes_of(f, special(f, which, negative));
      EXPECT_EQ(memcmp(row, bytes.data(), f.bytes), 0) << which << negative;
      reverse(bytes, f.bytes);
      EXPECT_EQ(memcmp(row + f.bytes, bytes.data(), f.bytes), 0) << which << negative;
      row += 2 * f.bytes;
    }
  };
  twins(Ieee_Single, ieee_s);
  twins(Ieee_Double, ieee_t);
  EXPECT_EQ(hexadecimal(vax_c[0], 64),
            "0080" + std::string(60, '0') + "FF7F" + std::string(28, 'F') + std::string(32, 'F'));
}

}  // namespace
