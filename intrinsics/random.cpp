// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// RANDOM_NUMBER, RANDOM_SEED and RANDOM_INIT; RANDOM, SEED and RANF; RAN and RANDU, whose callers hold the seed.

#include "intrinsics/random.h"

#include <time.h>

#include "tamrun/hooks.h"

u32 combined_random_lock = 0;

extern "C" {
u32 _FFrandom_lock = 0;
i32 _FFrseed = 1;
i32 _FFrorigseed = 1;
}

namespace {

constexpr Combined_State kFirstState = {Modulus_1::m - 1, Modulus_2::m - 1};
constexpr int kSeedBits = 64;

/// What the seeding calls make of a word that need not be a good seed. The shifts to the right bring the sign along.
u32 mix16(u32 word) { return static_cast<u32>(static_cast<i32>(word) >> 16) | (word << 16); }
u32 mix4(u32 word) { return static_cast<u32>(static_cast<i32>(word) >> 28) | (word << 4); }

u32 clock_seed() { return static_cast<u32>(time(nullptr)) + static_cast<u32>(clock()); }

template <class Modulus>
u32 into_range(u32 word) {
  constexpr u32 kGreatest = Modulus::m - 1;
  if (word == 0) return kGreatest;
  while (word > kGreatest) word -= kGreatest;
  return word;
}

void seed_combined(u32 s1, u32 s2) { store_combined({into_range<Modulus_1>(s1), into_range<Modulus_2>(s2)}); }

/// One step of the combined generator under its lock: 1 to m1 - 1.
[[gnu::always_inline]] inline i32 next_combined() {
  const Generator_Lock lock(combined_random_lock);
  const Combined_State old = load_combined();
  const Combined_State next = {Modulus_1::step(old.s1), Modulus_2::step(old.s2)};
  store_combined(next);
  return combine(next);
}

/// One step of the minimal generator, whose word may be any: signed, and 0 stands for m - 1.
u32 next_minimal() {
  constexpr i32 kQuotient = 44488, kRest = 3399, kMultiplier = 48271;
  const Generator_Lock lock(_FFrandom_lock);
  i32 s = __atomic_load_n(&_FFrseed, __ATOMIC_RELAXED);
  if (s == 0) s = static_cast<i32>(Minimal_Modulus::m - 1);
  const i32 k = s / kQuotient;
  s = kMultiplier * (s - k * kQuotient) - kRest * k;
  if (s < 1) s += static_cast<i32>(Minimal_Modulus::m);
  __atomic_store_n(&_FFrseed, s, __ATOMIC_RELAXED);
  return static_cast<u32>(s);
}

float minimal_fraction() {
  constexpr float kBelowOne = 0.9999999F;
  const float value = static_cast<float>(next_minimal()) * kTwoToMinus31;
  return value > kBelowOne ? kBelowOne : value;
}

/// One step of RANDU on the halves of its word: the new word, which can pass 31 bits when `low` was 0.
i64 randu_step(u16* high, u16* low) {
  constexpr u32 kMultiplier = 65539;
  if (*low == 0) {
    *high = static_cast<u16>(*high + 1);
    *low = 3;
  } else {
    const u32 x = ((static_cast<u32>(*high) << 16) | *low) * kMultiplier;
    *low = static_cast<u16>(x);
    *high = static_cast<u16>((x >> 16) & 0x7FFF);
  }
  return (static_cast<i64>(*high) << 16) | *low;
}

float randu(u16* high, u16* low) { return static_cast<float>(randu_step(high, low)) * kTwoToMinus31; }

}  // namespace

// RANDOM_NUMBER, RANDOM_SEED, RANDOM_INIT. No result is 0 and none is 1.

TAMRUN_ENTRY double for_random_number(void) { return next_combined() * kCombinedScale; }

TAMRUN_ENTRY float for_random_number_single(void) { return static_cast<float>(next_combined()) * kTwoToMinus31; }

/// Stores a binary128 value, which need not be aligned.
TAMRUN_ENTRY void for_random_number_quad(void* result) {
  constexpr unsigned __int128 kScaleBits =
      (static_cast<unsigned __int128>(0x3FE0000000AA0000ULL) << 64) | 0x70E4000000000000ULL;
  const __float128 value = next_combined() * __builtin_bit_cast(__float128, kScaleBits);
  __builtin_memcpy(result, &value, sizeof value);
}

TAMRUN_ENTRY int for_random_seed_bit_size(void) { return kSeedBits; }

/// `seed`: two words, or null for a seed from the clock. Any words will do; they are brought into range.
TAMRUN_ENTRY void for_random_seed_put(const u32* seed) {
  if (seed != nullptr) return seed_combined(seed[0], seed[1]);
  const u32 s1 = mix16(clock_seed());
  seed_combined(s1, mix4(s1));
}

/// Stores both words, the first in the low half.
TAMRUN_ENTRY void for_random_seed_get(u64* seed) { *seed = __builtin_bit_cast(u64, load_combined()); }

TAMRUN_ENTRY void for_random_init(const int* repeatable, const int* image_distinct) {
  static u32 calls = 0;
  const u32 instance = __atomic_add_fetch(&calls, 1, __ATOMIC_RELAXED);
  const u32 image = for_rtl_PGAS_THIS_IMAGE != nullptr ? static_cast<u32>(for_rtl_PGAS_THIS_IMAGE()) : 0;
  const u32 image1 = *image_distinct ? mix16(image) : 0, image2 = *image_distinct ? mix4(mix16(image)) : 0;
  u32 time1 = 0, time2 = 0;
  if (!*repeatable && !*image_distinct && image != 0) {
    time1 = time2 = instance;  // the images count alike where their clocks differ
  } else if (!*repeatable) {
    time1 = mix16(instance ^ static_cast<u32>(clock()));
    time2 = mix4(time1);
  }
  seed_combined(image1 ^ time1 ^ kFirstState.s1, image2 ^ time2 ^ kFirstState.s2);
}

// RANDOM, SEED, RANF.

/// 1 to 2147483646.
TAMRUN_ENTRY u32 __FFirand(void) { return next_minimal(); }

TAMRUN_ENTRY float __FFfrand(void) { return minimal_fraction(); }

TAMRUN_ENTRY double __FFdrand(void) { return next_minimal() * 4.656612875245797e-10; }

TAMRUN_ENTRY void random_(float* harvest) { *harvest = minimal_fraction(); }

/// The state itself, not scaled.
TAMRUN_ENTRY float for_ranf_s1(void) { return static_cast<float>(next_minimal()); }

TAMRUN_ENTRY u32 __FFgetseed(void) { return static_cast<u32>(__atomic_load_n(&_FFrseed, __ATOMIC_RELAXED)); }

TAMRUN_ENTRY void __FFsetseed(u32 seed) {
  const Generator_Lock lock(_FFrandom_lock);
  _FFrorigseed = static_cast<i32>(seed);
  __atomic_store_n(&_FFrseed, static_cast<i32>(seed), __ATOMIC_RELAXED);
}

TAMRUN_ENTRY void __FFresetseed(void) {
  const Generator_Lock lock(_FFrandom_lock);
  __atomic_store_n(&_FFrseed, _FFrorigseed, __ATOMIC_RELAXED);
}

/// Any seed but all ones, which asks for one from the clock.
TAMRUN_ENTRY void seed_(const u32* seed) { __FFsetseed(*seed == ~0U ? mix16(clock_seed()) : *seed); }

// RAN, RANDU.

TAMRUN_ENTRY float for_ran_(u32* seed) {
  *seed = *seed * 69069 + 1;
  return static_cast<float>((*seed >> 8) * 0x1p-24);
}

TAMRUN_ENTRY void for_randu_(u16* i1, u16* i2, float* x) { *x = randu(i1, i2); }
TAMRUN_ENTRY float for_iran2_(u16* i1, u16* i2) { return randu(i1, i2); }
TAMRUN_ENTRY float for_jran2_(u16* i1, u16* i2) { return randu(i1, i2); }
