// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The vector forms of RANDOM_NUMBER and RANF. A form of W lanes gives what W scalar calls would give, in lane order; with
// a mask an inactive lane holds 0 and takes no step. Which form runs is the caller's choice: the same kernel is compiled
// for each instruction set.

#include <immintrin.h>

#include <array>

#include "intrinsics/random.h"

namespace {

/// Lanes that one pass of the kernel computes at most, and the masks that they can have.
constexpr int kGroup = 4;
constexpr int kMasks = 1 << kGroup;

/// Multipliers that take each lane of a group from the entering state to its own: a to the number of active lanes at
/// and below it. Each is split in two so that the products with a state are exact in double precision.
struct Lane_Multipliers {
  double high[kGroup];   ///< a multiple of kSplit
  double low[kGroup];    ///< the rest
  double ratio[kGroup];  ///< multiplier / m
};

constexpr u32 kSplit = 4096;

/// Lanes of the widest form.
constexpr int kMostLanes = 16;

template <class Modulus>
struct alignas(64) For_Random_Table {
  Lane_Multipliers rows[kMasks];                     ///< by lane mask
  typename Modulus::Factor factors[kMostLanes + 1];  ///< by steps: what moves the state itself on
};

template <class Modulus>
constexpr For_Random_Table<Modulus> random_table() {
  For_Random_Table<Modulus> table = {};
  for (int mask = 0; mask < kMasks; ++mask) {
    for (int lane = 0; lane < kGroup; ++lane) {
      const u32 a = Modulus::power(__builtin_popcount(static_cast<u32>(mask) & ((2U << lane) - 1)));
      table.rows[mask].high[lane] = a / kSplit * kSplit;
      table.rows[mask].low[lane] = a % kSplit;
      table.rows[mask].ratio[lane] = static_cast<double>(a) / Modulus::m;
    }
  }
  for (int k = 0; k <= kMostLanes; ++k) table.factors[k] = Modulus::factor(k);
  return table;
}

template <class Modulus>
constexpr For_Random_Table<Modulus> kRandomTable = random_table<Modulus>();

template <int Lanes>
struct Vectors {
  typedef double Doubles __attribute__((vector_size(8 * Lanes)));
  typedef i64 Longs __attribute__((vector_size(8 * Lanes)));
  typedef i32 Ints __attribute__((vector_size(4 * Lanes)));
  typedef float Floats __attribute__((vector_size(4 * Lanes)));
};

template <int Lanes>
[[gnu::always_inline]] inline void add_where_below_one(double addend, typename Vectors<Lanes>::Doubles* values) {
  const typename Vectors<Lanes>::Doubles zero = {};
  *values += *values < 1.0 ? addend - zero : zero;
}

/// State s times the multiplier of each lane, modulo m, into 1 to m. Every operation but the one that finds the quotient
/// is exact, in any rounding mode; a quotient that is one too great shows as a rest below 1.
template <class Modulus, int Lanes>
[[gnu::always_inline]] inline void advance_lanes(u32 s, u32 mask, typename Vectors<Lanes>::Doubles* out) {
  using Doubles = typename Vectors<Lanes>::Doubles;
  const Lane_Multipliers& row = kRandomTable<Modulus>.rows[mask];
  Doubles high, low, ratio;
  __builtin_memcpy(&high, row.high, sizeof high);
  __builtin_memcpy(&low, row.low, sizeof low);
  __builtin_memcpy(&ratio, row.ratio, sizeof ratio);
  const Doubles state = static_cast<double>(s) - Doubles{};
  const auto whole = __builtin_convertvector(state * ratio + 0.5, typename Vectors<Lanes>::Ints);
  const Doubles quotient = __builtin_convertvector(whole, Doubles);
  Doubles rest = state * high - quotient * 0x1p31;
  rest += state * low + quotient * static_cast<double>(Modulus::gap);
  add_where_below_one<Lanes>(static_cast<double>(Modulus::m), &rest);
  *out = rest;
}

template <class Modulus>
[[gnu::always_inline]] inline u32 advance_state(u32 s, int steps) {
  return Modulus::multiply(s, kRandomTable<Modulus>.factors[steps]);
}

/// Zeroes the lanes whose bit in `mask` is clear.
template <int Lanes>
[[gnu::always_inline]] inline void clear_inactive(u32 mask, typename Vectors<Lanes>::Doubles* values) {
  using Longs = typename Vectors<Lanes>::Longs;
  Longs bits;
  for (int lane = 0; lane < Lanes; ++lane) bits[lane] = 1 << lane;
  const Longs active = (bits & static_cast<i64>(mask)) != 0;
  *values = reinterpret_cast<typename Vectors<Lanes>::Doubles>(reinterpret_cast<Longs>(*values) & active);
}

struct Combined_Double {
  using Value = double;
  static u32& lock() { return combined_random_lock; }
  using State = Combined_State;
  [[gnu::always_inline]] static State enter() { return load_combined(); }
  [[gnu::always_inline]] static void leave(State state) { store_combined(state); }

  template <int Lanes>
  [[gnu::always_inline]] static void group(const State& state, u32 mask, typename Vectors<Lanes>::Doubles* z) {
    using Doubles = typename Vectors<Lanes>::Doubles;
    Doubles s1, s2;
    advance_lanes<Modulus_1, Lanes>(state.s1, mask, &s1);
    advance_lanes<Modulus_2, Lanes>(state.s2, mask, &s2);
    *z = s1 - s2;
    add_where_below_one<Lanes>(static_cast<double>(Modulus_1::m - 1), z);
  }
  [[gnu::always_inline]] static State advance(State state, int steps) {
    return {advance_state<Modulus_1>(state.s1, steps), advance_state<Modulus_2>(state.s2, steps)};
  }
  static constexpr double kScale = kCombinedScale;
};

struct Combined_Single : Combined_Double {
  using Value = float;
  static constexpr float kScale = kTwoToMinus31;
};

struct Minimal {
  using Value = float;
  static u32& lock() { return _FFrandom_lock; }
  using State = u32;
  /// The word is taken as unsigned, unlike in the scalar entries, and brought into 1 to m, which changes no lane.
  [[gnu::always_inline]] static State enter() {
    u32 s = static_cast<u32>(__atomic_load_n(&_FFrseed, __ATOMIC_RELAXED));
    if (s == 0) return Minimal_Modulus::m - 1;
    while (s > Minimal_Modulus::m) s -= Minimal_Modulus::m;
    return s;
  }
  [[gnu::always_inline]] static void leave(State state) {
    __atomic_store_n(&_FFrseed, static_cast<i32>(state), __ATOMIC_RELAXED);
  }
  template <int Lanes>
  [[gnu::always_inline]] static void group(const State& state, u32 mask, typename Vectors<Lanes>::Doubles* values) {
    advance_lanes<Minimal_Modulus, Lanes>(state, mask, values);
  }
  [[gnu::always_inline]] static State advance(State state, int steps) {
    const u32 next = advance_state<Minimal_Modulus>(state, steps);
    return next == 0 ? Minimal_Modulus::m : next;
  }
  static constexpr float kScale = 1.0F;
};

/// W values of the generator, those of inactive lanes 0; kLanes of them at a time, which is what a register holds.
template <class Generator, int W, int kLanes>
[[gnu::always_inline]] inline void fill_lanes(u32 mask, typename Generator::Value* out) {
  constexpr u32 kAllOfGroup = (1U << kLanes) - 1;
  using V = Vectors<kLanes>;
  const Generator_Lock lock(Generator::lock());
  if (mask == 0) return static_cast<void>(__builtin_memset(out, 0, W * sizeof *out));
  const typename Generator::State entered = Generator::enter();
#pragma GCC unroll 4
  for (int first = 0; first < W; first += kLanes) {
    const typename Generator::State state = Generator::advance(entered, __builtin_popcount(mask & ((1U << first) - 1)));
    const u32 active = (mask >> first) & kAllOfGroup;
    typename V::Doubles z;
    Generator::template group<kLanes>(state, active, &z);
    if (active != kAllOfGroup) clear_inactive<kLanes>(active, &z);
    if constexpr (sizeof *out == sizeof(double)) {
      const typename V::Doubles values = z * Generator::kScale;
      __builtin_memcpy(out + first, &values, sizeof values);
    } else {
      const typename V::Floats values = __builtin_convertvector(z, typename V::Floats) * Generator::kScale;
      __builtin_memcpy(out + first, &values, sizeof values);
    }
  }
  Generator::leave(Generator::advance(entered, __builtin_popcount(mask)));
}

}  // namespace

/// name, generator, result, what a mask is, the mask as bits of an integer, all its bits, lanes of a pass, instruction set.
#define TAMRUN_RANDOM_VECTORS(X)                                                                                   \
  X(for_simd_random_number, Combined_Double, __m128d, __m128d, _mm_movemask_pd(mask), 0x3, 2, "sse2")              \
  X(for_simd_random_number_single, Combined_Single, __m128, __m128, _mm_movemask_ps(mask), 0xF, 2, "sse2")         \
  X(for_ranf_v4, Minimal, __m128, __m128, _mm_movemask_ps(mask), 0xF, 2, "sse2")                                   \
  X(for_simd_random_number_avx, Combined_Double, __m256d, __m256d, _mm256_movemask_pd(mask), 0xF, 4, "avx,popcnt") \
  X(for_simd_random_number_single_avx, Combined_Single, __m256, __m256, _mm256_movemask_ps(mask), 0xFF, 4,         \
    "avx,popcnt")                                                                                                  \
  X(for_ranf_v8, Minimal, __m256, __m256, _mm256_movemask_ps(mask), 0xFF, 4, "avx,popcnt")                         \
  X(for_simd_random_number_avx512, Combined_Double, __m512d, __mmask8, mask, 0xFF, 4, "avx512f,popcnt")            \
  X(for_simd_random_number_single_avx512, Combined_Single, __m512, __mmask16, mask, 0xFFFF, 4, "avx512f,popcnt")   \
  X(for_ranf_v16, Minimal, __m512, __mmask16, mask, 0xFFFF, 4, "avx512f,popcnt")

#define TAMRUN_RANDOM_VECTOR(name, generator, Result, Mask, mask_bits, all_lanes, group_lanes, set)                  \
  TAMRUN_ENTRY __attribute__((target(set))) Result name(void) {                                                      \
    Result lanes;                                                                                                    \
    fill_lanes<generator, sizeof lanes / sizeof lanes[0], group_lanes>(all_lanes,                                    \
                                                                       reinterpret_cast<generator::Value*>(&lanes)); \
    return lanes;                                                                                                    \
  }                                                                                                                  \
  TAMRUN_ENTRY __attribute__((target(set))) Result name##_mask(Mask mask) {                                          \
    Result lanes;                                                                                                    \
    fill_lanes<generator, sizeof lanes / sizeof lanes[0], group_lanes>(static_cast<u32>(mask_bits),                  \
                                                                       reinterpret_cast<generator::Value*>(&lanes)); \
    return lanes;                                                                                                    \
  }
TAMRUN_RANDOM_VECTORS(TAMRUN_RANDOM_VECTOR)
