// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The three IEEE formats and what the conversions share about them: taking a value apart, and the decision masks of
// the rounding modes.
#ifndef TAMRUN_CONVERT_IEEE_FORMAT_H
#define TAMRUN_CONVERT_IEEE_FORMAT_H

#include "tamrun/cvt.h"
#include "tamrun/types.h"

using u128 = unsigned __int128;

/// Classes of a value; the sign of the class is the sign of the value.
enum Real_Class : int {
  REAL_NONE = 0,  ///< also a NaN whose kinds are not told apart
  REAL_ZERO = 1,
  REAL_DENORMAL = 2,
  REAL_NORMAL = 3,
  REAL_INFINITY = 4,
  REAL_QUIET_NAN = 5,
  REAL_SIGNALLING_NAN = 6,
};

/// A value as (significand / 2^width) * 2^exponent, width being 64 or 128 and the top bit of the significand set.
template <class Word>
struct Unpacked {
  Word significand;  // meaningless unless REAL_DENORMAL or REAL_NORMAL
  int exponent;
  Real_Class cls;
  bool negative;
};

struct Ieee_Single {
  using Bits = u32;
  using Significand = u64;
  static constexpr int kSignificandBits = 24, kBias = 127;
  static constexpr int kHexDigits = 6;  // asked for by EX with d = 0
  static constexpr Bits kOne = 0x3F800000, kTenMillion = 0x4B189680;
};

struct Ieee_Double {
  using Bits = u64;
  using Significand = u64;
  static constexpr int kSignificandBits = 53, kBias = 1023;
  static constexpr int kHexDigits = 14;
  static constexpr Bits kOne = 0x3FF0000000000000, kTenMillion = 0x416312D000000000;
};

struct Ieee_Quad {
  using Bits = u128;
  using Significand = u128;
  static constexpr int kSignificandBits = 113, kBias = 16383;
  static constexpr int kHexDigits = 29;
  static constexpr Bits kOne = Bits{0x3FFF000000000000} << 64, kTenMillion = Bits{0x4016312D00000000} << 64;
};

inline int leading_zeros(u64 word) { return __builtin_clzll(word); }
inline int leading_zeros(u128 word) {
  const u64 high = static_cast<u64>(word >> 64);
  return high != 0 ? leading_zeros(high) : 64 + leading_zeros(static_cast<u64>(word));
}

template <class Ieee>
Unpacked<typename Ieee::Significand> unpack(typename Ieee::Bits bits) {
  using Bits = typename Ieee::Bits;
  using Word = typename Ieee::Significand;
  constexpr int kWidth = 8 * sizeof(Word), kFraction = Ieee::kSignificandBits - 1;
  constexpr Bits kFractionMask = (Bits{1} << kFraction) - 1;
  constexpr int kMaxExponent = 2 * Ieee::kBias + 1;

  const bool negative = static_cast<bool>(bits >> (8 * sizeof(Bits) - 1));
  const int biased = static_cast<int>(bits >> kFraction) & kMaxExponent;
  const Word fraction = static_cast<Word>(bits & kFractionMask);
  if (biased - 1u < kMaxExponent - 1u) [[likely]] {
    constexpr Word kHidden = Word{1} << (kWidth - 1);
    return {kHidden | fraction << (kWidth - 1 - kFraction), biased - Ieee::kBias + 1, REAL_NORMAL, negative};
  }
  if (biased != 0) {
    const bool quiet = static_cast<bool>(fraction >> (kFraction - 1));
    return {0, 0, fraction == 0 ? REAL_INFINITY : quiet ? REAL_QUIET_NAN : REAL_SIGNALLING_NAN, negative};
  }
  if (fraction == 0) return {0, 0, REAL_ZERO, negative};
  const int zeros = leading_zeros(fraction);
  return {fraction << zeros, kWidth - zeros - (Ieee::kBias + kFraction - 1), REAL_DENORMAL, negative};
}

/// Bit sign * 8 + sticky * 4 + odd * 2 + round of a mask tells whether the magnitude is rounded up: sign is 1 for a
/// negative value, round is the first discarded bit, sticky whether any lower one is set, odd the last kept bit.
/// Indexed by the rounding field.
inline constexpr u16 kRoundingMasks[8] = {0xA8A8, 0, 0xFA00, 0xFA00, 0x00FA, 0x00FA, 0xAAAA, 0xAAAA};

/// The rounding field counts with CVT_M_ROUND_GIVEN, and by itself if it is odd.
inline u32 rounding_mask(u32 options) {
  const u32 field = (options & CVT_ROUND_MASK) >> CVT_ROUND_SHIFT;
  return kRoundingMasks[(options & CVT_M_ROUND_GIVEN) != 0 || (field & 1) != 0 ? field : 0];
}

inline bool rounds_up(u32 mask, bool negative, bool sticky, bool odd, bool round) {
  return (mask >> (negative * 8 + sticky * 4 + odd * 2 + round) & 1) != 0;
}

/// One less than the exponent E of 0.d1d2... * 10^E for a value between 2^(exponent - 1) and 2^exponent whose
/// significand has `top` behind its first bit; never too large, at most one too small.
inline int estimate_decimal_exponent(int exponent, u16 top) {
  constexpr i64 kLog10Of2 = 0x4D104D42;  // in 2^-32
  const i64 log2 = (static_cast<i64>(exponent) - 1) * 65536 + top;
  return static_cast<int>(log2 * (kLog10Of2 + (log2 < 0)) >> 48);
}

#endif
