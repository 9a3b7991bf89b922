// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The multiplicative generators behind RANDOM_NUMBER and RANF: their moduli, their shared state and its lock. All of
// them advance a word s to a^k * s modulo m, so that a vector form reaches any lane in one product.
#ifndef TAMRUN_INTRINSICS_RANDOM_H
#define TAMRUN_INTRINSICS_RANDOM_H

#include <sys/single_threaded.h>

#include "core/locks.h"
#include "tamrun/thread_storage.h"
#include "tamrun/types.h"

/// A multiplicative generator: modulus 2^31 - c and multiplier.
template <u32 Gap, u32 Multiplier>
struct Modulus {
  static constexpr u32 gap = Gap;
  static constexpr u32 m = 0x80000000U - Gap;

  /// Multiplier to the k-th power modulo m.
  static constexpr u32 power(int k) {
    u64 p = 1;
    for (int i = 0; i < k; ++i) p = p * Multiplier % m;
    return static_cast<u32>(p);
  }

  /// The next state of s.
  [[gnu::always_inline]] static u32 step(u32 s) { return multiply(s, kStep); }

  /// A multiplier with its quotient by m, scaled by 2^32 and rounded down.
  struct Factor {
    u32 multiplier;
    u32 reciprocal;
  };
  static constexpr Factor factor(int k) { return {power(k), static_cast<u32>((static_cast<u64>(power(k)) << 32) / m)}; }

  /// s times the multiplier modulo m, for an s below 2^31: the quotient from the reciprocal is at most 1 too low.
  [[gnu::always_inline]] static u32 multiply(u32 s, Factor factor) {
    const u64 quotient = (static_cast<u64>(s) * factor.reciprocal) >> 32;
    const u64 rest = static_cast<u64>(s) * factor.multiplier - quotient * m;
    return static_cast<u32>(rest >= m ? rest - m : rest);
  }

 private:
  static constexpr Factor kStep = {Multiplier, static_cast<u32>((static_cast<u64>(Multiplier) << 32) / m)};
};

using Modulus_1 = Modulus<85, 40014>;       ///< first word of the combined generator
using Modulus_2 = Modulus<249, 40692>;      ///< second word
using Minimal_Modulus = Modulus<1, 48271>;  ///< RANDOM, RANF

/// State of the combined generator: 1 to m - 1 each.
struct Combined_State {
  u32 s1, s2;
};
static_assert(sizeof(Combined_State) == sizeof(u64));

/// The process-wide state, whatever the thread. One 64-bit access, so that whoever looks on sees a pair.
typedef u64 Combined_Word __attribute__((may_alias));
[[gnu::always_inline]] inline Combined_Word& combined_word() {
  return *reinterpret_cast<Combined_Word*>(for__static_threadstor_private.ts_ran_seeds);
}
[[gnu::always_inline]] inline Combined_State load_combined() {
  return __builtin_bit_cast(Combined_State, __atomic_load_n(&combined_word(), __ATOMIC_RELAXED));
}
[[gnu::always_inline]] inline void store_combined(Combined_State state) {
  __atomic_store_n(&combined_word(), __builtin_bit_cast(u64, state), __ATOMIC_RELAXED);
}

/// Difference of the two words, brought into 1 to m1 - 1.
[[gnu::always_inline]] inline i32 combine(Combined_State state) {
  const i32 z = static_cast<i32>(state.s1) - static_cast<i32>(state.s2);
  return z < 1 ? z + static_cast<i32>(Modulus_1::m - 1) : z;
}

/// The double nearest to 1/m1 is another one: programs depend on these digits.
inline constexpr double kCombinedScale = 4.65661305739176e-10;
inline constexpr float kTwoToMinus31 = 0x1p-31F;

/// Holds the lock word of a generator. A process with a single thread needs none; below threaded mode the word is only
/// set, since nobody waits there.
class Generator_Lock {
 public:
  [[gnu::always_inline]] explicit Generator_Lock(u32& word) : word_(__libc_single_threaded ? nullptr : &word) {
    if (word_ != nullptr) take();
  }
  [[gnu::always_inline]] ~Generator_Lock() {
    if (word_ != nullptr) __atomic_store_n(word_, 0U, __ATOMIC_RELEASE);
  }
  Generator_Lock(const Generator_Lock&) = delete;
  Generator_Lock& operator=(const Generator_Lock&) = delete;

 private:
  [[gnu::always_inline]] void take() {
    if (for__reentrancy_mode < FOR_K_REENTRANCY_THREADED) {
      *word_ = 1;
      return;
    }
    while (for__acquire_semaphore_threaded(word_) != 0) {
    }
  }
  u32* word_;
};

/// One word for all entries of the combined generator, since they step one state.
extern u32 combined_random_lock;

extern "C" u32 _FFrandom_lock;
TAMRUN_ENTRY i32 _FFrseed;      ///< state of the minimal generator
TAMRUN_ENTRY i32 _FFrorigseed;  ///< the seed that __FFresetseed returns to

#endif
