// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The vector forms of RANDOM_NUMBER and RANF. A form of W lanes gives what W scalar calls would give, in lane order; with
// a mask an inactive lane holds 0 and takes no step. Which form runs is the caller's choice. The sources that include
// this are compiled for different processors: everything here is inlined, so that no copy of one serves the other.
#ifndef TAMRUN_INTRINSICS_RANDOM_VECTOR_H
#define TAMRUN_INTRINSICS_RANDOM_VECTOR_H

#include <immintrin.h>

#include "intrinsics/random.h"

namespace {

/// Lanes that one pass of a kernel computes at most, and the masks that they can have.
constexpr int kGroup = 4;
constexpr int kMasks = 1 << kGroup;

/// Lanes of the widest form.
constexpr int kMostLanes = 16;

/// Multipliers that take each lane of a group from the entering state to its own: a to the number of active lanes at
/// and below it.
struct Lane_Multipliers {
  u64 multiplier[kGroup];
  u64 reciprocal[kGroup];  ///< multiplier / m, scaled by 2^32 and rounded down
  double high[kGroup];     ///< the multiplier's multiple of kSplit: its product with a state is exact
  double low[kGroup];      ///< the rest
  double ratio[kGroup];    ///< multiplier / m
};

constexpr u32 kSplit = 4096;

template <class Modulus>
struct alignas(64) For_Random_Table {
  Lane_Multipliers rows[kMasks];                     ///< by lane mask
  typename Modulus::Factor factors[kMostLanes + 1];  ///< by steps: what moves the state itself on
};

template <class Modulus>
constexpr For_Random_Table<Modulus> random_table() {
  For_Random_Table<Modulus> table = {};
  for (int mask = 0; mask < kMasks; ++mask) {
    Lane_Multipliers& row = table.rows[mask];
    for (int lane = 0; lane < kGroup; ++lane) {
      const auto [a, reciprocal] = Modulus::factor(__builtin_popcount(static_cast<u32>(mask) & ((2U << lane) - 1)));
      row.multiplier[lane] = a;
      row.reciprocal[lane] = reciprocal;
      row.high[lane] = a / kSplit * kSplit;
      row.low[lane] = a % kSplit;
      row.ratio[lane] = static_cast<double>(a) / Modulus::m;
    }
  }
  for (int k = 0; k <= kMostLanes; ++k) table.factors[k] = Modulus::factor(k);
  return table;
}

template <class Modulus>
constexpr For_Random_Table<Modulus> kRandomTable = random_table<Modulus>();

#define TAMRUN_INLINE [[gnu::always_inline]] static inline

/// Two lanes in integers: 32 bits at the low end of 64.
struct Integer_Lanes {
  static constexpr int count = 2;
  using Lanes = __m128i;
  typedef double Doubles __attribute__((vector_size(16)));
  typedef i64 Longs __attribute__((vector_size(16)));
  typedef float Floats __attribute__((vector_size(8)));

  TAMRUN_INLINE __m128i repeat(u32 x) { return _mm_set1_epi64x(x); }

  /// Adds to the lanes that are negative as 32 bits.
  TAMRUN_INLINE void add_where_negative(u32 addend, Lanes* x) {
    *x = _mm_add_epi32(*x, _mm_and_si128(_mm_srai_epi32(*x, 31), repeat(addend)));
  }

  /// As Modulus::multiply for each lane.
  template <class Modulus>
  TAMRUN_INLINE void advance(u32 s, u32 mask, Lanes* out) {
    const Lane_Multipliers& row = kRandomTable<Modulus>.rows[mask];
    const __m128i state = repeat(s);
    const __m128i product = _mm_mul_epu32(state, *reinterpret_cast<const __m128i*>(row.multiplier));
    const __m128i scaled = _mm_mul_epu32(state, *reinterpret_cast<const __m128i*>(row.reciprocal));
    const __m128i multiple = _mm_mul_epu32(_mm_srli_epi64(scaled, 32), repeat(Modulus::m));
    *out = _mm_sub_epi32(_mm_sub_epi64(product, multiple), repeat(Modulus::m));
    add_where_negative(Modulus::m, out);
  }
  /// Lanes of 0 become m.
  template <class Modulus>
  TAMRUN_INLINE void lift_zeros(Lanes* x) {
    *x = _mm_sub_epi32(*x, repeat(1));
    add_where_negative(Modulus::m, x);
    *x = _mm_add_epi32(*x, repeat(1));
  }
  TAMRUN_INLINE void combine(const Lanes& s1, const Lanes& s2, Lanes* z) {
    *z = _mm_sub_epi32(_mm_sub_epi32(s1, s2), repeat(1));
    add_where_negative(Modulus_1::m - 1, z);
    *z = _mm_add_epi32(*z, repeat(1));
  }
  TAMRUN_INLINE void to_doubles(const Lanes& x, Doubles* out) {
    *out = _mm_cvtepi32_pd(_mm_shuffle_epi32(x, _MM_SHUFFLE(3, 1, 2, 0)));
  }
  TAMRUN_INLINE void to_floats(const Doubles& x, float* out) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_castps_si128(_mm_cvtpd_ps(x)));
  }
};

#ifdef __AVX__
/// Four lanes in double precision, for processors with AVX and none of its integers. Every operation but the one that finds the quotient is exact,
/// in any rounding mode.
struct Real_Lanes {
  static constexpr int count = 4;
  typedef double Doubles __attribute__((vector_size(32)));
  typedef i64 Longs __attribute__((vector_size(32)));
  typedef float Floats __attribute__((vector_size(16)));
  using Lanes = Doubles;

  TAMRUN_INLINE void add_where_below_one(double addend, Lanes* x) {
    const Doubles zero = {};
    *x += *x < 1.0 ? addend - zero : zero;
  }

  /// State s times the multiplier of each lane, modulo m, into 1 to m. The quotient is the nearest integer, so that a
  /// rest below 1 wants one m more.
  template <class Modulus>
  TAMRUN_INLINE void advance(u32 s, u32 mask, Lanes* out) {
    const Lane_Multipliers& row = kRandomTable<Modulus>.rows[mask];
    Doubles high, low, ratio;
    __builtin_memcpy(&high, row.high, sizeof high);
    __builtin_memcpy(&low, row.low, sizeof low);
    __builtin_memcpy(&ratio, row.ratio, sizeof ratio);
    const Doubles state = static_cast<double>(s) - Doubles{};
    const Doubles quotient = _mm256_round_pd(state * ratio, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    Doubles rest = state * high - quotient * 0x1p31;
    rest += state * low + quotient * static_cast<double>(Modulus::gap);
    add_where_below_one(static_cast<double>(Modulus::m), &rest);
    *out = rest;
  }
  template <class Modulus>
  TAMRUN_INLINE void lift_zeros(Lanes*) {}
  TAMRUN_INLINE void combine(const Lanes& s1, const Lanes& s2, Lanes* z) {
    *z = s1 - s2;
    add_where_below_one(static_cast<double>(Modulus_1::m - 1), z);
  }
  TAMRUN_INLINE void to_doubles(const Lanes& x, Doubles* out) { *out = x; }
  TAMRUN_INLINE void to_floats(const Doubles& x, float* out) {
    const Floats floats = __builtin_convertvector(x, Floats);
    __builtin_memcpy(out, &floats, sizeof floats);
  }
};
#endif

template <class Modulus>
[[gnu::always_inline]] inline u32 advance_state(u32 s, int steps) {
  return Modulus::multiply(s, kRandomTable<Modulus>.factors[steps]);
}

struct Combined {
  using State = Combined_State;
  static u32& lock() { return combined_random_lock; }
  TAMRUN_INLINE State enter() { return load_combined(); }
  TAMRUN_INLINE void leave(State state) { store_combined(state); }
  TAMRUN_INLINE State advance(State state, int steps) {
    return {advance_state<Modulus_1>(state.s1, steps), advance_state<Modulus_2>(state.s2, steps)};
  }
  template <class Kernel>
  TAMRUN_INLINE void lanes(const State& state, u32 mask, typename Kernel::Lanes* z) {
    typename Kernel::Lanes s1, s2;
    Kernel::template advance<Modulus_1>(state.s1, mask, &s1);
    Kernel::template advance<Modulus_2>(state.s2, mask, &s2);
    Kernel::combine(s1, s2, z);
  }
};

struct Combined_Double : Combined {
  using Value = double;
  static constexpr double kScale = kCombinedScale;
};

struct Combined_Single : Combined {
  using Value = float;
  static constexpr float kScale = kTwoToMinus31;
};

struct Minimal {
  using Value = float;
  using State = u32;
  static constexpr float kScale = 1.0F;
  static u32& lock() { return _FFrandom_lock; }
  /// The word is taken as unsigned, unlike in the scalar entries, and brought into 1 to m, which changes no lane.
  TAMRUN_INLINE State enter() {
    u32 s = static_cast<u32>(__atomic_load_n(&_FFrseed, __ATOMIC_RELAXED));
    if (s == 0) return Minimal_Modulus::m - 1;
    while (s > Minimal_Modulus::m) s -= Minimal_Modulus::m;
    return s;
  }
  TAMRUN_INLINE void leave(State state) { __atomic_store_n(&_FFrseed, static_cast<i32>(state), __ATOMIC_RELAXED); }
  TAMRUN_INLINE State advance(State state, int steps) {
    const u32 next = advance_state<Minimal_Modulus>(state, steps);
    return next == 0 ? Minimal_Modulus::m : next;
  }
  template <class Kernel>
  TAMRUN_INLINE void lanes(const State& state, u32 mask, typename Kernel::Lanes* values) {
    Kernel::template advance<Minimal_Modulus>(state, mask, values);
    Kernel::template lift_zeros<Minimal_Modulus>(values);
  }
};

/// Zeroes the lanes whose bit in `mask` is clear.
template <class Kernel>
[[gnu::always_inline]] inline void clear_inactive(u32 mask, typename Kernel::Doubles* values) {
  using Longs = typename Kernel::Longs;
  Longs bits;
  for (int lane = 0; lane < Kernel::count; ++lane) bits[lane] = 1 << lane;
  const Longs active = (bits & static_cast<i64>(mask)) != 0;
  *values = reinterpret_cast<typename Kernel::Doubles>(reinterpret_cast<Longs>(*values) & active);
}

/// W values of the generator, those of inactive lanes 0.
template <class Generator, class Kernel, int W>
[[gnu::always_inline]] inline void fill_lanes(u32 mask, typename Generator::Value* out) {
  constexpr u32 kAllOfGroup = (1U << Kernel::count) - 1;
  const Generator_Lock lock(Generator::lock());
  if (mask == 0) return static_cast<void>(__builtin_memset(out, 0, W * sizeof *out));
  const typename Generator::State entered = Generator::enter();
#pragma GCC unroll 4
  for (int first = 0; first < W; first += Kernel::count) {
    const u32 active = (mask >> first) & kAllOfGroup;
    const typename Generator::State state =
        first == 0 ? entered : Generator::advance(entered, __builtin_popcount(mask & ((1U << first) - 1)));
    typename Kernel::Lanes lanes;
    Generator::template lanes<Kernel>(state, active, &lanes);
    typename Kernel::Doubles values;
    Kernel::to_doubles(lanes, &values);
    if (active != kAllOfGroup) clear_inactive<Kernel>(active, &values);
    values *= static_cast<double>(Generator::kScale);  // a power of 2 where the value is rounded again
    if constexpr (sizeof *out == sizeof(double)) {
      __builtin_memcpy(out + first, &values, sizeof values);
    } else {
      Kernel::to_floats(values, out + first);
    }
  }
  Generator::leave(Generator::advance(entered, __builtin_popcount(mask)));
}

}  // namespace

/// An entry point and its masked form. `mask_bits` makes an integer with a bit for each lane of `mask`.
#define TAMRUN_RANDOM_VECTOR(name, generator, Kernel, Result, Mask, mask_bits)                                       \
  TAMRUN_ENTRY Result name(void) {                                                                                   \
    constexpr int kLanes = sizeof(Result) / sizeof(generator::Value);                                                \
    Result lanes;                                                                                                    \
    fill_lanes<generator, Kernel, kLanes>((1U << kLanes) - 1, reinterpret_cast<generator::Value*>(&lanes));          \
    return lanes;                                                                                                    \
  }                                                                                                                  \
  TAMRUN_ENTRY Result name##_mask(Mask mask) {                                                                       \
    constexpr int kLanes = sizeof(Result) / sizeof(generator::Value);                                                \
    Result lanes;                                                                                                    \
    fill_lanes<generator, Kernel, kLanes>(static_cast<u32>(mask_bits), reinterpret_cast<generator::Value*>(&lanes)); \
    return lanes;                                                                                                    \
  }

#endif
