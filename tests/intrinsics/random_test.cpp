// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The generators against exact arithmetic, the vector forms against the scalar ones.

#include "intrinsics/random.h"

#include <gtest/gtest.h>
#include <immintrin.h>

#include <cmath>
#include <random>
#include <thread>
#include <vector>

extern "C" {
double for_random_number(void);
float for_random_number_single(void);
void for_random_number_quad(void*);
int for_random_seed_bit_size(void);
void for_random_seed_put(const u32*);
void for_random_seed_get(u64*);
void for_random_init(const int*, const int*);
u32 __FFirand(void);
float __FFfrand(void);
double __FFdrand(void);
void random_(float*);
float for_ranf_s1(void);
u32 __FFgetseed(void);
void __FFsetseed(u32);
void __FFresetseed(void);
void seed_(const u32*);
float for_ran_(u32*);
void for_randu_(u16*, u16*, float*);
float for_iran2_(u16*, u16*);
float for_jran2_(u16*, u16*);
}

namespace {

constexpr u64 kM1 = 2147483563, kM2 = 2147483399, kMinimalM = 2147483647;
constexpr u64 kFirst = 0x7FFFFF067FFFFFAA;

void put(u32 s1, u32 s2) {
  const u32 seed[] = {s1, s2};
  for_random_seed_put(seed);
}

u64 state() {
  u64 word;
  for_random_seed_get(&word);
  return word;
}

/// Exact step of the pair: the state behind it, and z.
i64 step(u64& word) {
  const u64 s1 = (word & 0xFFFFFFFF) * 40014 % kM1, s2 = (word >> 32) * 40692 % kM2;
  word = s1 | s2 << 32;
  const i64 z = static_cast<i64>(s1) - static_cast<i64>(s2);
  return z < 1 ? z + 2147483562 : z;
}

TEST(RandomNumber, follows_exact_arithmetic) {
  put(0, 0);
  EXPECT_EQ(state(), kFirst);
  for_random_number();
  EXPECT_EQ(state(), (kM1 - 40014) | (kM2 - 40692) << 32);
  std::mt19937 random(7);
  const double scale = __builtin_bit_cast(double, 0x3E0000000A9FFFFEULL);
  const __float128 quad_scale =
      __builtin_bit_cast(__float128, (static_cast<unsigned __int128>(0x3FE0000000AA0000) << 64) | 0x70E4000000000000);
  for (int round = 0; round < 1000; ++round) {
    put(random(), random());
    u64 model = state();
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(for_random_number(), static_cast<double>(step(model)) * scale);
      ASSERT_EQ(for_random_number_single(), static_cast<float>(step(model)) * 0x1p-31F);
      char storage[sizeof(__float128) + 1];
      for_random_number_quad(storage + 1);
      __float128 quad;
      memcpy(&quad, storage + 1, sizeof quad);
      ASSERT_TRUE(quad == static_cast<__float128>(step(model)) * quad_scale);
      ASSERT_EQ(state(), model);
    }
  }
  EXPECT_EQ(for_random_seed_bit_size(), 64);
}

TEST(RandomSeed, brings_words_into_range) {
  struct {
    u32 put1, put2, got1, got2;
  } const rows[] = {{0, 0, 0x7FFFFFAA, 0x7FFFFF06},
                    {~0U, ~0U, 0xAB, 0x1F3},
                    {1, 1, 1, 1},
                    {0x7FFFFFAA, 0x7FFFFF06, 0x7FFFFFAA, 0x7FFFFF06},
                    {0x7FFFFFAB, 0x7FFFFF07, 1, 1},
                    {0xFFFFFF54, 0xFFFFFE0C, 0x7FFFFFAA, 0x7FFFFF06},
                    {123456789, 987654321, 123456789, 987654321}};
  for (const auto& row : rows) {
    put(row.put1, row.put2);
    EXPECT_EQ(state(), row.got1 | static_cast<u64>(row.got2) << 32) << std::hex << row.put1 << ' ' << row.put2;
  }
  for_random_seed_put(nullptr);
  const u64 s = state();
  EXPECT_TRUE((s & 0xFFFFFFFF) - 1 < kM1 - 1 && (s >> 32) - 1 < kM2 - 1);
}

TEST(RandomInit, repeats_or_not) {
  const int no = 0, yes = 1;
  for (const int* distinct : {&no, &yes}) {
    put(5, 6);
    for_random_init(&yes, distinct);
    EXPECT_EQ(state(), kFirst);    // image 0 changes nothing
    const clock_t tick = clock();  // the number of the call and the clock can cancel, which is rare
    while (clock() == tick) {
    }
    for_random_init(&no, distinct);
    const u64 once = state();
    EXPECT_NE(once, kFirst);
  }
}

TEST(MinimalGenerator, follows_exact_arithmetic) {
  std::mt19937 random(3);
  std::vector<i32> seeds = {1, -1, 0x7FFFFFFE, INT32_MIN, INT32_MAX, 42, 44488};
  for (int i = 0; i < 1000; ++i) seeds.push_back(static_cast<i32>(random()));
  for (i32 seed : seeds) {
    __FFsetseed(static_cast<u32>(seed));
    i64 s = seed;
    const auto next = [&s] {
      s = s * 48271 % static_cast<i64>(kMinimalM);
      return s < 1 ? s += kMinimalM : s;
    };
    EXPECT_EQ(__FFirand(), next());
    EXPECT_EQ(__FFfrand(), std::fmin(static_cast<float>(next()) * 0x1p-31F, 0.9999999F));
    EXPECT_EQ(__FFdrand(), static_cast<double>(next()) * 4.656612875245797e-10);
    float harvest;
    random_(&harvest);
    EXPECT_EQ(harvest, std::fmin(static_cast<float>(next()) * 0x1p-31F, 0.9999999F));
    EXPECT_EQ(for_ranf_s1(), static_cast<float>(next()));
    EXPECT_EQ(__FFgetseed(), static_cast<u32>(s));
    __FFresetseed();
    EXPECT_EQ(__FFgetseed(), static_cast<u32>(seed));
  }
}

TEST(MinimalGenerator, takes_any_seed) {
  const u32 none = 0, clock = ~0U;
  seed_(&none);
  EXPECT_EQ(__FFgetseed(), 0u);
  EXPECT_EQ(__FFirand(), 0x7FFFFFFEULL * 48271 % kMinimalM);
  seed_(&clock);
  const u32 chosen = __FFgetseed();
  EXPECT_NE(chosen, ~0U);
  __FFirand();
  __FFresetseed();
  EXPECT_EQ(__FFgetseed(), chosen);
  __FFsetseed(1407677000U);  // a state whose successors include some that round up to 2^31
  for (int i = 0; i < 1000000; ++i) ASSERT_LE(__FFfrand(), 0.9999999F);
}

TEST(CallerHeldSeeds, ran_and_randu) {
  u32 seed = 0;
  EXPECT_EQ(for_ran_(&seed), 0.0F);
  EXPECT_EQ(seed, 1u);
  EXPECT_EQ(for_ran_(&seed), 69070 / 256 * 0x1p-24F);
  struct {
    u16 high, low, next_high, next_low;
  } const rows[] = {{5, 0, 6, 3}, {0xFFFF, 0, 0, 3}, {0x7FFF, 0, 0x8000, 3}, {0, 1, 1, 3}, {1, 3, 6, 9}};
  for (const auto& row : rows) {
    const float value = static_cast<float>(row.next_high * 65536LL + row.next_low) * 0x1p-31F;
    for (int entry = 0; entry < 3; ++entry) {
      u16 high = row.high, low = row.low;
      float x;
      if (entry == 0) for_randu_(&high, &low, &x);
      if (entry == 1) x = for_iran2_(&high, &low);
      if (entry == 2) x = for_jran2_(&high, &low);
      EXPECT_EQ(x, value);
      EXPECT_EQ(high, row.next_high);
      EXPECT_EQ(low, row.next_low);
    }
  }
  u16 high = 0x1234, low = 0x5679;
  float x;
  for_randu_(&high, &low, &x);
  const u32 word = 0x12345679u * 65539u & 0x7FFFFFFF;
  EXPECT_EQ((static_cast<u32>(high) << 16) | low, word);
}

// One row per vector form: how to call it with a mask of bits, and its scalar counterpart.

template <class Value, int W>
struct Form {
  const char* name;
  bool supported;
  void (*all)(Value*);
  void (*masked)(Value*, u32);
  Value (*scalar)();
};

#define VECTOR_FORM(name, Value, W, Vector, set, store, to_mask, Mask)                          \
  extern "C" Vector name(void);                                                                 \
  extern "C" Vector name##_mask(Mask);                                                          \
  __attribute__((target(set))) void call_##name(Value* out) { store(out, name()); }             \
  __attribute__((target(set))) void call_##name##_mask(Value* out, [[maybe_unused]] u32 bits) { \
    alignas(64) [[maybe_unused]] Value lanes[W];                                                \
    for (int i = 0; i < W; ++i) lanes[i] = (bits >> i) & 1 ? -1 : 1;                            \
    store(out, name##_mask(to_mask));                                                           \
  }

#pragma GCC diagnostic ignored "-Wpsabi"
VECTOR_FORM(for_simd_random_number, double, 2, __m128d, "sse2", _mm_storeu_pd, _mm_load_pd(lanes), __m128d)
VECTOR_FORM(for_simd_random_number_single, float, 4, __m128, "sse2", _mm_storeu_ps, _mm_load_ps(lanes), __m128)
VECTOR_FORM(for_ranf_v4, float, 4, __m128, "sse2", _mm_storeu_ps, _mm_load_ps(lanes), __m128)
VECTOR_FORM(for_simd_random_number_avx, double, 4, __m256d, "avx", _mm256_storeu_pd, _mm256_load_pd(lanes), __m256d)
VECTOR_FORM(for_simd_random_number_single_avx, float, 8, __m256, "avx", _mm256_storeu_ps, _mm256_load_ps(lanes), __m256)
VECTOR_FORM(for_ranf_v8, float, 8, __m256, "avx", _mm256_storeu_ps, _mm256_load_ps(lanes), __m256)
VECTOR_FORM(for_simd_random_number_avx512, double, 8, __m512d, "avx512f", _mm512_storeu_pd, static_cast<__mmask8>(bits),
            __mmask8)
VECTOR_FORM(for_simd_random_number_single_avx512, float, 16, __m512, "avx512f", _mm512_storeu_ps,
            static_cast<__mmask16>(bits), __mmask16)
VECTOR_FORM(for_ranf_v16, float, 16, __m512, "avx512f", _mm512_storeu_ps, static_cast<__mmask16>(bits), __mmask16)

/// All masks of up to 8 lanes, some of 16, each from another state, set by `reseed` and read by `where`.
template <class Value, int W, class Reseed, class Where>
void check_form(const Form<Value, W>& form, Reseed reseed, Where where) {
  if (!form.supported) {
    GTEST_LOG_(INFO) << form.name << " is not run: this processor lacks its instructions";
    return;
  }
  std::mt19937 random(W);
  for (int round = 0; round < 1024; ++round) {
    const u32 mask = (W <= 8 ? static_cast<u32>(round) : random()) & ((1U << W) - 1);
    Value lanes[W];
    reseed(round);
    form.masked(lanes, mask);
    const u64 behind = where();
    reseed(round);
    for (int i = 0; i < W; ++i) ASSERT_EQ(lanes[i], (mask >> i) & 1 ? form.scalar() : 0) << form.name << ' ' << mask;
    ASSERT_EQ(where(), behind) << form.name << ' ' << mask;
    form.all(lanes);
    const u64 last = where();
    reseed(round);
    for (u32 i = __builtin_popcount(mask); i > 0; --i) form.scalar();
    for (int i = 0; i < W; ++i) ASSERT_EQ(lanes[i], form.scalar()) << form.name;
    ASSERT_EQ(where(), last) << form.name;
  }
}

#define FORM(name, Value, W, set, scalar) \
  Form<Value, W> { #name, __builtin_cpu_supports(set) != 0, call_##name, call_##name##_mask, scalar }

TEST(RandomVectors, give_what_scalar_calls_give) {
  std::mt19937 random(11);
  std::vector<u64> seeds = {kFirst, 1 | 1ULL << 32, 0x7FFFFFAA | 1ULL << 32, 1 | 0x7FFFFF06ULL << 32};
  while (seeds.size() < 1024) seeds.push_back((random() % kM1) | (random() % kM2) << 32);
  const auto combined = [&](int i) { put(static_cast<u32>(seeds[i]), static_cast<u32>(seeds[i] >> 32)); };
  check_form(FORM(for_simd_random_number, double, 2, "sse2", for_random_number), combined, state);
  check_form(FORM(for_simd_random_number_single, float, 4, "sse2", for_random_number_single), combined, state);
  check_form(FORM(for_simd_random_number_avx, double, 4, "avx", for_random_number), combined, state);
  check_form(FORM(for_simd_random_number_single_avx, float, 8, "avx", for_random_number_single), combined, state);
  check_form(FORM(for_simd_random_number_avx512, double, 8, "avx512f", for_random_number), combined, state);
  check_form(FORM(for_simd_random_number_single_avx512, float, 16, "avx512f", for_random_number_single), combined,
             state);
  const u32 corners[] = {1, 0, 0x7FFFFFFE, 0x7FFFFFFF};
  const auto minimal = [&](int i) { __FFsetseed(i < 4 ? corners[i] : static_cast<u32>(seeds[i]) & 0x7FFFFFFF); };
  const auto seed = [] { return static_cast<u64>(__FFgetseed()); };
  check_form(FORM(for_ranf_v4, float, 4, "sse2", for_ranf_s1), minimal, seed);
  check_form(FORM(for_ranf_v8, float, 8, "avx", for_ranf_s1), minimal, seed);
  check_form(FORM(for_ranf_v16, float, 16, "avx512f", for_ranf_s1), minimal, seed);
}

TEST(RandomVectors, take_a_state_above_31_bits_as_unsigned) {
  for (u64 s : {0x80000000ULL, 0xFFFFFFFFULL, 0xFFFFFFFEULL}) {
    __FFsetseed(static_cast<u32>(s));
    float lanes[4];
    call_for_ranf_v4(lanes);
    for (float lane : lanes) {
      s = s * 48271 % kMinimalM;
      EXPECT_EQ(lane, static_cast<float>(s == 0 ? kMinimalM : s));
    }
  }
}

TEST(RandomThreads, hand_each_value_to_one_thread) {
  constexpr int kThreads = 4, kCalls = 20000;
  put(1, 1);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      double lanes[2];
      for (int i = 0; i < kCalls; ++i) {
        if (t % 2)
          call_for_simd_random_number(lanes);
        else
          for_random_number();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  u64 model = 1 | 1ULL << 32;
  for (int i = 0; i < kThreads / 2 * 3 * kCalls; ++i) step(model);
  EXPECT_EQ(state(), model);
}

}  // namespace
