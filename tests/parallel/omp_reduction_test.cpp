// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Reductions: every type and operator over every section, beside a plain loop in wider arithmetic.

#include "parallel/omp_reduction.h"

#include <float.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <signal.h>

#include <functional>
#include <limits>
#include <utility>

#include "parallel/omp_private.h"
#include "sections.h"
#include "support/child.h"

namespace {

using namespace tamrun_test;
using Quad = __float128;

template <class Real>
struct Pair {
  Real re, im;
};

template <class T>
constexpr bool kIsInteger = std::numeric_limits<T>::is_integer;
template <class T>
constexpr bool kIsPair = false;
template <class Real>
constexpr bool kIsPair<Pair<Real>> = true;

template <class T>
u32 last_operator() {
  return kIsInteger<T> ? RED_NEQV : kIsPair<T> ? RED_SUB : RED_MIN;
}

template <class T>
struct Type {
  using Element = T;
  u32 code;
};

/// f(Type<T>) for every type.
template <class Function>
void for_each_type(Function f) {
  f(Type<u8>{RED_U1}), f(Type<i8>{RED_I1}), f(Type<u16>{RED_U2}), f(Type<i16>{RED_I2}), f(Type<u32>{RED_U4});
  f(Type<i32>{RED_I4}), f(Type<u64>{RED_U8}), f(Type<i64>{RED_I8});
  f(Type<float>{RED_R4}), f(Type<double>{RED_R8}), f(Type<Quad>{RED_R16});
  f(Type<Pair<float>>{RED_C8}), f(Type<Pair<double>>{RED_C16}), f(Type<Pair<Quad>>{RED_C32});
}

/// In 128 bits, from which the result is cut or rounded: sums and products of doubles fit, so they are rounded once.
template <class Wide>
Wide arithmetic(Wide dest, Wide src, u32 op) {
  return op == RED_ADD ? dest + src : op == RED_SUB ? dest - src : dest * src;
}

template <class T>
T expected(T dest, T src, u32 op) {
  if constexpr (kIsPair<T>) {
    using Real = decltype(T::re);
    if (op == RED_MUL) {
      const Real ca = src.re * dest.re, db = src.im * dest.im, cb = src.re * dest.im, da = src.im * dest.re;
      return {expected(ca, db, RED_SUB), expected(cb, da, RED_ADD)};
    }
    return {expected(dest.re, src.re, op), expected(dest.im, src.im, op)};
  } else if constexpr (!kIsInteger<T>) {
    const bool quad = sizeof(T) == sizeof(Quad);
    if (op == RED_MAX) return quad ? (dest <= src ? src : dest) : (dest > src ? dest : src);
    if (op == RED_MIN) return quad ? (dest >= src ? src : dest) : (dest < src ? dest : src);
    return static_cast<T>(arithmetic<Quad>(dest, src, op));
  } else {
    using Wide = unsigned __int128;
    switch (op) {
      case RED_MAX:
        return src > dest ? src : dest;
      case RED_MIN:
        return src < dest ? src : dest;
      case RED_AND:
      case RED_IAND:
        return dest & src;
      case RED_OR:
      case RED_IOR:
        return dest | src;
      case RED_IEOR:
      case RED_XOR:
        return dest ^ src;
      case RED_EQV:
        return dest == src ? 1 : 0;
      case RED_NEQV:
        return dest == src ? 0 : 1;
      default:
        return static_cast<T>(arithmetic<Wide>(static_cast<Wide>(dest), static_cast<Wide>(src), op));
    }
  }
}

class Values {
 public:
  explicit Values(unsigned seed) : random_(seed) {}

  /// Any value and often equal or extreme ones. NaNs and infinities only where the result is one of the operands.
  template <class T>
  T any(bool arithmetic) {
    if constexpr (kIsPair<T>) {
      using Real = decltype(T::re);
      const Real re = any<Real>(arithmetic);
      return {re, any<Real>(arithmetic)};
    } else if constexpr (kIsInteger<T>) {
      switch (random_() % 8) {
        case 0:
          return std::numeric_limits<T>::max();
        case 1:
          return std::numeric_limits<T>::min();
        case 2:
        case 3:
          return static_cast<T>(random_() % 3);
        default:
          return static_cast<T>((u64{random_()} << 32) | random_());
      }
    } else {
      const T special[] = {T(0), -T(0), T(1), T(__builtin_inf()), T(-__builtin_inf()), T(__builtin_nan(""))};
      const unsigned which = random_() % 12;
      if (which < (arithmetic ? 3 : 6)) return special[which];
      return (static_cast<T>(random_()) - T(2e9)) / static_cast<T>(1 + random_() % 1000) * T(1.2345678f);
    }
  }

  template <class T>
  std::vector<T> array(size_t count, bool arithmetic) {
    std::vector<T> values(count);
    for (T& value : values) value = any<T>(arithmetic);
    return values;
  }

 private:
  std::mt19937 random_;
};

/// Bytes, so that signs of zero and NaNs count.
template <class T>
void expect_same(const std::vector<T>& got, const std::vector<T>& want) {
  for (size_t i = 0; i < want.size(); ++i) {
    if (memcmp(&got[i], &want[i], sizeof(T)) == 0) continue;
    ADD_FAILURE() << "element " << i;
    return;
  }
}

/// f(values, op) for every operator of the type, with a trace.
template <class T, class Function>
void for_each_operator(Type<T> type, Function f) {
  for (u32 op = RED_ADD; op <= last_operator<T>(); ++op) {
    SCOPED_TRACE("type " + std::to_string(type.code) + ", operator " + std::to_string(op));
    Values values(op + type.code);
    f(values, op, op <= RED_SUB);
  }
}

/// The ways to ask for a stride, and the one that src has then.
struct Way {
  u32 stride;
  std::function<void(const For_Dope_Vector* dest, const For_Dope_Vector* src, i32 op, u32 type)> call;
};
const Way kWays[] = {
    {1, _f90_reduction_final},
    {4, [](auto... arguments) { _f90_reduction_final_strided(arguments..., 4); }},
    {1, [](auto... arguments) { _f90_simd_reduction_final(arguments..., 4, 0); }},
    {3, [](auto... arguments) { _f90_simd_reduction_final(arguments..., 3, 1); }},
};

TEST(OmpReduction, CombinesIntoAnySection) {
  for_each_type([]<class T>(Type<T> type) {
    for_each_operator(type, [&](Values& values, u32 op, bool arithmetic) {
      for (const Section& s : sections()) {
        for (const Way& way : kWays) {
          SCOPED_TRACE(std::string(s.name) + ", stride " + std::to_string(way.stride));
          const std::vector<i64> places = places_of(s);
          std::vector<T> shared = values.array<T>(kStorage, arithmetic);
          std::vector<T> mine = values.array<T>(places.size() * way.stride + 1, arithmetic);
          const Descriptor dest = describe(s, reinterpret_cast<u8*>(shared.data()), sizeof(T));
          Descriptor src(sizeof(T), static_cast<int>(s.extents.size()));
          src.shape(s.extents).defined(mine.data());

          std::vector<T> want = shared;
          for (size_t i = 0; i < places.size(); ++i) {
            T& element = want[static_cast<size_t>(places[i])];
            element = expected(element, mine[i * way.stride], op);
          }
          const std::vector<T> before = mine;
          way.call(dest, src, static_cast<i32>(op), type.code);
          expect_same(shared, want);
          expect_same(mine, before);
          if (testing::Test::HasFailure()) return;
        }
      }
    });
  });
}

/// Elements need not be aligned: a component of a packed type.
TEST(OmpReduction, CombinesTheFirstLaneOfUnalignedElements) {
  constexpr i32 kLanes = 4;
  constexpr i64 kCount = 37;
  for_each_type([]<class T>(Type<T> type) {
    for_each_operator(type, [&](Values& values, u32 op, bool arithmetic) {
      for (bool inner : {false, true}) {
        std::vector<T> dest = values.array<T>(kCount + 1, arithmetic);
        std::vector<T> src = values.array<T>(kCount * kLanes, arithmetic);
        std::vector<T> want = dest;
        for (size_t i = 0; i < kCount; ++i) want[i] = expected(dest[i], src[inner ? i * kLanes : i], op);
        std::vector<u8> to(dest.size() * sizeof(T) + 1), from(src.size() * sizeof(T) + 1);
        memcpy(&to[1], dest.data(), to.size() - 1);
        memcpy(&from[1], src.data(), from.size() - 1);
        _f90_simd_reduction_final_array(&to[1], &from[1], kCount, kLanes, inner, static_cast<i32>(op), type.code);
        memcpy(dest.data(), &to[1], to.size() - 1);
        expect_same(dest, want);
      }
    });
  });
}

/// The identities as numbers: the extremes from the C library's limits, or in 16 bytes from the format.
template <class T>
T identity(u32 op) {
  if constexpr (kIsPair<T>) {
    return {identity<decltype(T::re)>(op), 0};
  } else {
    if (op == RED_MAX || op == RED_MIN) {
      if constexpr (std::is_same_v<T, Quad>) {
        const u64 words[2] = {~u64{0}, op == RED_MAX ? 0xFFFEFFFFFFFFFFFFu : 0x7FFEFFFFFFFFFFFFu};
        Quad value;
        memcpy(&value, words, sizeof value);
        return value;
      } else {
        return op == RED_MAX ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
      }
    }
    if constexpr (kIsInteger<T>) {
      if (op == RED_IAND) return static_cast<T>(-1);
    }
    return op == RED_MUL || op == RED_AND || op == RED_EQV ? T(1) : T(0);
  }
}

TEST(OmpReduction, FillsWithTheIdentity) {
  for_each_type([]<class T>(Type<T> type) {
    for_each_operator(type, [&](Values& values, u32 op, bool) {
      for (i64 count : {0, 1, 2, 7, 65}) {
        std::vector<T> filled = values.array<T>(70, true), want = filled;
        for (size_t i = 0; i < static_cast<size_t>(count); ++i) want[i] = identity<T>(op);
        std::vector<T> by_descriptor = filled;
        _f90_reduction_init_array(filled.data(), count, static_cast<i32>(op), type.code);
        expect_same(filled, want);
        _f90_reduction_init(Descriptor(sizeof(T), 2).shape({count, 1}).defined(by_descriptor.data()), op, type.code);
        expect_same(by_descriptor, want);
      }
      std::vector<T> one = values.array<T>(2, true), want = {identity<T>(op), one[1]};
      _f90_reduction_init(Descriptor(sizeof(T)).defined(one.data()), op, type.code);
      expect_same(one, want);
      _f90_reduction_init_array(one.data(), -1, static_cast<i32>(op), type.code);
      expect_same(one, want);
    });
  });
  u8 bytes[3] = {9, 9, 9};
  _f90_reduction_init_array(bytes, 2, 0, RED_U1);
  EXPECT_EQ(memcmp(bytes, "\0\0\t", sizeof bytes), 0);
}

TEST(OmpReduction, CodesThatAreNone) {
  struct Case {
    u32 type;
    i32 op;
    bool init_aborts, final_aborts;
  };
  std::vector<Case> cases;
  for (u32 type : {0, 11, 12, 14, 15, 19, 22, 24, 27, 64, -1}) cases.push_back({type, RED_ADD, true, true});
  for (u32 type : {RED_U1, RED_I1, RED_U4, RED_I8}) {
    cases.push_back({type, 0, type != RED_U1, false});
    cases.push_back({type, 14, true, false});
    cases.push_back({type, -1, true, false});
  }
  for (u32 type : {RED_R4, RED_R8, RED_R16}) cases.push_back({type, RED_AND, true, true});
  for (u32 type : {RED_C8, RED_C16, RED_C32}) cases.push_back({type, RED_MAX, true, true});
  cases.push_back({RED_R8, 0, true, true});

  std::vector<u8> storage(256, 3);
  const Descriptor d = Descriptor(8, 1).shape({2}).defined(storage.data());
  const Descriptor src = Descriptor(8, 1).shape({2}).defined(&storage[64]);
  const std::vector<u8> before = storage;
  for (const Case& c : cases) {
    SCOPED_TRACE("type " + std::to_string(c.type) + ", operator " + std::to_string(c.op));
    // A child that returns has found its storage unchanged, but for the fill of bytes without an operator.
    const auto signal_of = [&](const std::function<void()>& call, bool unchanged) {
      return run_child([&] {
               call();
               if (!unchanged) return;
               EXPECT_EQ(storage, before);
             })
          .signal;
    };
    EXPECT_EQ(signal_of([&] { _f90_reduction_init(d, static_cast<u32>(c.op), c.type); }, false),
              c.init_aborts ? SIGABRT : 0);
    EXPECT_EQ(signal_of([&] { _f90_reduction_final(d, src, c.op, c.type); }, true), c.final_aborts ? SIGABRT : 0);
    EXPECT_EQ(
        signal_of([&] { _f90_simd_reduction_final_array(&storage[0], &storage[64], 2, 2, 1, c.op, c.type); }, true),
        c.final_aborts ? SIGABRT : 0);
  }
}

}  // namespace
