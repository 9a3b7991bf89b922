// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One real from one format to another: unpack, round, pack. A format is a traits struct that knows its layout, its range
// and its special values. Every significand travels left-aligned in 64 bits: VAX H, the only longer one, folds the bits
// that no target keeps into the lowest.
#ifndef TAMRUN_CONVERT_FOREIGN_REAL_H
#define TAMRUN_CONVERT_FOREIGN_REAL_H

#include <algorithm>

#include "convert/byte_order.h"
#include "convert/ieee_format.h"
#include "tamrun/cvt_foreign.h"

using Foreign_Value = Unpacked<u64>;

/// Masks of the roundings for rounds_up.
enum Foreign_Rounding : u16 {
  FOREIGN_NEAREST_EVEN = 0xA8A8,
  FOREIGN_NEAREST_AWAY = 0xAAAA,
  FOREIGN_UPWARD = 0x00FA,
  FOREIGN_DOWNWARD = 0xFA00,
  FOREIGN_TRUNCATED = 0,
};

template <class Bits>
inline constexpr Bits kSignBit = Bits{1} << (8 * sizeof(Bits) - 1);

/// The words of 16 bits the other way round: VAX reals begin with the most significant one.
inline u32 swap_words(u32 v) { return v << 16 | v >> 16; }
inline u64 swap_words(u64 v) {
  return static_cast<u64>(swap_words(static_cast<u32>(v))) << 32 | swap_words(static_cast<u32>(v >> 32));
}
inline u128 swap_words(u128 v) {
  return static_cast<u128>(swap_words(static_cast<u64>(v))) << 64 | swap_words(static_cast<u64>(v >> 64));
}
inline u32 byte_swapped(u32 v) { return __builtin_bswap32(v); }
inline u64 byte_swapped(u64 v) { return __builtin_bswap64(v); }

template <class Bits>
Bits load_bits(const u8* from) {
  Bits bits;
  memcpy(&bits, from, sizeof bits);
  return bits;
}
template <class Bits>
void store_bits(u8* to, Bits bits) {
  memcpy(to, &bits, sizeof bits);
}

/// What all formats of an IEEE type share.
template <class Ieee, const typename Ieee::Bits (&kTable)[14]>
struct Ieee_Form {
  using Bits = typename Ieee::Bits;
  static constexpr bool kIsIeee = true, kHasInfinity = true;
  static constexpr int kFraction = Ieee::kSignificandBits - 1;
  static constexpr int kMinExponent = 2 - Ieee::kBias - kFraction, kMaxExponent = Ieee::kBias + 1;
  static constexpr Foreign_Rounding kRounding = FOREIGN_NEAREST_EVEN;

  static Bits load(const u8* from) { return load_bits<Bits>(from); }
  static void store(u8* to, Bits bits) { store_bits(to, bits); }
  static Foreign_Value unpack(Bits bits) { return ::unpack<Ieee>(bits); }
  static int kept_bits(int exponent) { return std::clamp(exponent - kMinExponent + 1, 0, kFraction + 1); }
  static Bits pack(const Foreign_Value& v) {
    const Bits significand = static_cast<Bits>(v.significand >> (64 - kept_bits(v.exponent)));
    const int above_first_binade = std::max(v.exponent + Ieee::kBias - 2, 0);
    return (v.negative ? kSignBit<Bits> : 0) + (static_cast<Bits>(above_first_binade) << kFraction) + significand;
  }
  static Bits special(Cvt_Special row) { return kTable[2 * row]; }
  static int infinity_status(bool) { return CVT_SUCCESS; }
};
using Form_Ieee_Single = Ieee_Form<Ieee_Single, ieee_s>;
using Form_Ieee_Double = Ieee_Form<Ieee_Double, ieee_t>;

/// A status for an infinity that the format does not know.
inline int lost_infinity(bool negative) { return negative ? CVT_NEGATIVE_INFINITY : CVT_POSITIVE_INFINITY; }

/// VAX F, D and G: sign, exponent and fraction like the IEEE ones, but no value stands apart except exponent 0.
template <class Bits_, int kExponentBits, Foreign_Rounding kDefault>
struct Vax_Form {
  using Bits = Bits_;
  static constexpr bool kIsIeee = false;
  static constexpr int kFraction = 8 * sizeof(Bits) - 1 - kExponentBits, kBias = 1 << (kExponentBits - 1);
  static constexpr int kMinExponent = 1 - kBias, kMaxExponent = kBias - 1;
  static constexpr Foreign_Rounding kRounding = kDefault;

  static Bits load(const u8* from) { return swap_words(load_bits<Bits>(from)); }
  static void store(u8* to, Bits bits) { store_bits(to, swap_words(bits)); }
  static Foreign_Value unpack(Bits bits) {
    const bool negative = (bits & kSignBit<Bits>) != 0;
    const int biased = static_cast<int>(bits >> kFraction) & (2 * kBias - 1);
    if (biased == 0) return {0, 0, negative ? REAL_NONE : REAL_ZERO, false};
    const Bits significand = kSignBit<Bits> | bits << kExponentBits;
    u64 aligned;
    if constexpr (sizeof(Bits) == 16) {
      aligned = static_cast<u64>(significand >> 64) | (static_cast<u64>(significand) != 0);
    } else {
      aligned = static_cast<u64>(significand) << (64 - 8 * sizeof(Bits));
    }
    return {aligned, biased - kBias, REAL_NORMAL, negative};
  }
  static int kept_bits(int) { return std::min(kFraction + 1, 64); }
  static Bits pack(const Foreign_Value& v) {
    const u64 fraction = v.significand << 1;  // without the hidden bit
    Bits bits;
    if constexpr (sizeof(Bits) == 16) {
      bits = static_cast<Bits>(fraction) << (kFraction - 64);
    } else {
      bits = static_cast<Bits>(fraction >> (64 - kFraction));
    }
    return (v.negative ? kSignBit<Bits> : 0) | static_cast<Bits>(v.exponent + kBias) << kFraction | bits;
  }
  static Bits special(Cvt_Special row) {
    constexpr u8 kRows[] = {0, 1, 1, 2, 3, 0, 0};  // rows of vax_c: there is one zero, and no infinity
    return load(vax_c[kRows[row]]);
  }
  static int infinity_status(bool negative) { return lost_infinity(negative); }
};
using Form_Vax_F = Vax_Form<u32, 8, FOREIGN_NEAREST_AWAY>;
using Form_Vax_D = Vax_Form<u64, 8, FOREIGN_NEAREST_AWAY>;
using Form_Vax_G = Vax_Form<u64, 11, FOREIGN_NEAREST_AWAY>;
using Form_Vax_H = Vax_Form<u128, 15, FOREIGN_NEAREST_EVEN>;

/// IBM short and long: powers of 16, so that up to three of the fraction's bits may be zeros in front.
template <class Bits_, const u8 (&kTable)[8][sizeof(Bits_)]>
struct Ibm_Form {
  using Bits = Bits_;
  static constexpr bool kIsIeee = false;
  static constexpr int kFraction = 8 * sizeof(Bits) - 8, kBias = 64;
  static constexpr int kMinExponent = 1 - 4 * kBias, kMaxExponent = 4 * (kBias - 1);
  static constexpr Foreign_Rounding kRounding = FOREIGN_NEAREST_EVEN;

  static Bits load(const u8* from) { return byte_swapped(load_bits<Bits>(from)); }
  static void store(u8* to, Bits bits) { store_bits(to, byte_swapped(bits)); }
  static Foreign_Value unpack(Bits bits) {
    const bool negative = (bits & kSignBit<Bits>) != 0;
    if ((bits & ~kSignBit<Bits>) == 0) return {0, 0, REAL_ZERO, negative};
    const u64 fraction = static_cast<u64>(bits) << (64 - kFraction);
    if (fraction >> 60 == 0) return {0, 0, REAL_NONE, negative};
    const int zeros = leading_zeros(fraction);
    const int biased = static_cast<int>(bits >> kFraction) & (2 * kBias - 1);
    return {fraction << zeros, 4 * (biased - kBias) - zeros, REAL_NORMAL, negative};
  }
  /// Zeros that make the exponent a multiple of 4.
  static int leading(int exponent) { return -exponent & 3; }
  static int kept_bits(int exponent) { return kFraction - leading(exponent); }
  static Bits pack(const Foreign_Value& v) {
    const int zeros = leading(v.exponent), biased = (v.exponent + zeros) / 4 + kBias;
    const Bits fraction = static_cast<Bits>(v.significand >> (64 - kFraction + zeros));
    return (v.negative ? kSignBit<Bits> : 0) | static_cast<Bits>(biased) << kFraction | fraction;
  }
  static Bits special(Cvt_Special row) { return load(kTable[row]); }
  static int infinity_status(bool) { return CVT_SUCCESS; }
};
using Form_Ibm_Short = Ibm_Form<u32, ibm_s>;
using Form_Ibm_Long = Ibm_Form<u64, ibm_l>;

/// Cray: the leading bit of the fraction is there, and the exponents have room above and below those in use.
struct Form_Cray {
  using Bits = u64;
  static constexpr bool kIsIeee = false;
  static constexpr int kFraction = 48, kBias = 16384;
  static constexpr int kMinExponent = -8192, kMaxExponent = 8191;
  static constexpr Foreign_Rounding kRounding = FOREIGN_NEAREST_EVEN;

  static Bits load(const u8* from) { return byte_swapped(load_bits<Bits>(from)); }
  static void store(u8* to, Bits bits) { store_bits(to, byte_swapped(bits)); }
  static Foreign_Value unpack(Bits bits) {
    const bool negative = (bits & kSignBit<Bits>) != 0;
    if ((bits & ~kSignBit<Bits>) == 0) return {0, 0, REAL_ZERO, negative};
    const int exponent = (static_cast<int>(bits >> kFraction) & (2 * kBias - 1)) - kBias;
    const u64 fraction = bits << (64 - kFraction);
    const bool normal = exponent >= kMinExponent && exponent <= kMaxExponent && fraction >> 63 != 0;
    return {fraction, exponent, normal ? REAL_NORMAL : REAL_NONE, negative};
  }
  static int kept_bits(int) { return kFraction; }
  static Bits pack(const Foreign_Value& v) {
    return (v.negative ? kSignBit<Bits> : 0) | static_cast<Bits>(v.exponent + kBias) << kFraction |
           v.significand >> (64 - kFraction);
  }
  static Bits special(Cvt_Special row) { return load(cray[row]); }
  static int infinity_status(bool negative) { return lost_infinity(negative); }
};

/// Rounds the significand to `kept` bits. With none left, rounding up gives the value of the bit above them.
inline void round_foreign(Foreign_Value& v, int kept, u32 mask) {
  if (kept == 64) return;
  const u64 lost = v.significand << kept;
  if (lost == 0) return;
  const u64 unit = kept == 0 ? 0 : u64{1} << (64 - kept);
  const bool up = rounds_up(mask, v.negative, lost << 1 != 0, (v.significand & unit) != 0, lost >> 63 != 0);
  v.significand += (up ? unit : 0) - (lost >> kept);
  if (up && v.significand == 0) [[unlikely]] {
    v.significand = u64{1} << 63;
    ++v.exponent;
  }
}

template <class To>
struct Foreign_Result {
  typename To::Bits bits;
  int status;
};

/// Zeros, infinities and what is no number.
template <class To>
[[gnu::noinline, gnu::cold]] Foreign_Result<To> convert_special(const Foreign_Value& v) {
  switch (v.cls) {
    case REAL_ZERO:
      return {To::special(v.negative ? CVT_ROW_MINUS_ZERO : CVT_ROW_ZERO), CVT_SUCCESS};
    case REAL_INFINITY:
      return {To::special(v.negative ? CVT_ROW_MINUS_INFINITY : CVT_ROW_INFINITY), To::infinity_status(v.negative)};
    default:
      return {To::special(CVT_ROW_INVALID), CVT_INVALID_FLOAT};
  }
}

/// A rounded number beyond the range: above it when the rounding would move any larger value up, the row of infinity.
template <class To>
[[gnu::noinline, gnu::cold]] Foreign_Result<To> convert_out_of_range(const Foreign_Value& v, u32 mask) {
  if (v.exponent < To::kMinExponent) {
    return {To::special(v.negative ? CVT_ROW_MINUS_ZERO : CVT_ROW_ZERO), CVT_UNDERFLOW};
  }
  const bool up = rounds_up(mask, v.negative, true, true, true);
  const Cvt_Special row = up ? (v.negative ? CVT_ROW_MINUS_INFINITY : CVT_ROW_INFINITY)
                             : (v.negative ? CVT_ROW_MINUS_LARGEST : CVT_ROW_LARGEST);
  return {To::special(row), CVT_VALUE_OVERFLOW};
}

/// One value. CVT_UNDERFLOW for every underflow.
template <class From, class To>
[[gnu::always_inline]] inline Foreign_Result<To> convert_foreign(typename From::Bits source, u32 mask) {
  Foreign_Value v = From::unpack(source);
  if (v.cls != REAL_NORMAL && v.cls != REAL_DENORMAL) [[unlikely]]
    return convert_special<To>(v);
  round_foreign(v, To::kept_bits(v.exponent), mask);
  if (v.exponent < To::kMinExponent || v.exponent > To::kMaxExponent) [[unlikely]] {
    return convert_out_of_range<To>(v, mask);
  }
  return {To::pack(v), CVT_SUCCESS};
}

#endif
