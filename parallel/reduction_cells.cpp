// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Element types, operators, and the table of their loops.

#include "parallel/reduction_cells.h"

#include <stdlib.h>
#include <string.h>

#include <array>
#include <limits>
#include <type_traits>

namespace {

using Quad = __float128;

template <class Real>
struct Complex {
  using Part = Real;
  Real re = 0, im = 0;
};

enum class Kind { kInteger, kReal, kComplex };
template <class T>
constexpr Kind kKind = std::is_integral_v<T> ? Kind::kInteger : Kind::kReal;
template <class Real>
constexpr Kind kKind<Complex<Real>> = Kind::kComplex;

/// Operators from 1 to this one are defined for the kind.
constexpr u32 last_operator(Kind kind) {
  return kind == Kind::kInteger ? RED_NEQV : kind == Kind::kReal ? RED_MIN : RED_SUB;
}

/// Part by part of a complex value. Integers, unsigned here, wrap around: narrow ones would be promoted to signed.
template <class T, class Function>
T by_part(T a, T b, Function f) {
  if constexpr (kKind<T> == Kind::kComplex) {
    return {f(a.re, b.re), f(a.im, b.im)};
  } else if constexpr (kKind<T> == Kind::kInteger) {
    using Wide = std::conditional_t<(sizeof(T) < sizeof(u32)), u32, T>;
    return static_cast<T>(f(static_cast<Wide>(a), static_cast<Wide>(b)));
  } else {
    return f(a, b);
  }
}

struct Add {
  template <class T>
  static T apply(T a, T b) {
    return by_part(a, b, [](auto x, auto y) { return x + y; });
  }
};

struct Subtract {
  template <class T>
  static T apply(T a, T b) {
    return by_part(a, b, [](auto x, auto y) { return x - y; });
  }
};

struct Multiply {
  template <class T>
  static T apply(T a, T b) {
    if constexpr (kKind<T> == Kind::kComplex) {
      return {b.re * a.re - b.im * a.im, b.re * a.im + b.im * a.re};
    } else {
      return by_part(a, b, [](auto x, auto y) { return x * y; });
    }
  }
};

/// Where neither exceeds the other, reals differ: the processor's instructions for 4 and 8 bytes give src, also beside a
/// NaN; in 16 bytes an equal src is stored, and one beside a NaN is not.
struct Larger {
  template <class T>
  static T apply(T a, T b) {
    if constexpr (std::is_same_v<T, Quad>) return a <= b ? b : a;
    return a > b ? a : b;
  }
};

struct Smaller {
  template <class T>
  static T apply(T a, T b) {
    if constexpr (std::is_same_v<T, Quad>) return a >= b ? b : a;
    return a < b ? a : b;
  }
};

#define TAMRUN_BIT_OPERATION(name, expression) \
  struct name {                                \
    template <class T>                         \
    static T apply(T a, T b) {                 \
      return static_cast<T>(expression);       \
    }                                          \
  };
TAMRUN_BIT_OPERATION(Bit_And, a& b)
TAMRUN_BIT_OPERATION(Bit_Or, a | b)
TAMRUN_BIT_OPERATION(Bit_Exclusive_Or, a ^ b)
TAMRUN_BIT_OPERATION(Equal, a == b)
TAMRUN_BIT_OPERATION(Differ, a != b)

enum class Identity { kZero, kOne, kLowest, kHighest, kAllOnes };

/// Operator, combination, identity.
#define TAMRUN_REDUCTION_OPERATORS(X)            \
  X(RED_ADD, Add, Identity::kZero)               \
  X(RED_MUL, Multiply, Identity::kOne)           \
  X(RED_SUB, Subtract, Identity::kZero)          \
  X(RED_MAX, Larger, Identity::kLowest)          \
  X(RED_MIN, Smaller, Identity::kHighest)        \
  X(RED_AND, Bit_And, Identity::kOne)            \
  X(RED_OR, Bit_Or, Identity::kZero)             \
  X(RED_IAND, Bit_And, Identity::kAllOnes)       \
  X(RED_IOR, Bit_Or, Identity::kZero)            \
  X(RED_IEOR, Bit_Exclusive_Or, Identity::kZero) \
  X(RED_XOR, Bit_Exclusive_Or, Identity::kZero)  \
  X(RED_EQV, Equal, Identity::kOne)              \
  X(RED_NEQV, Differ, Identity::kZero)

#define TAMRUN_REDUCTION_TYPES(X) \
  X(RED_U1, u8)                   \
  X(RED_I1, i8)                   \
  X(RED_U2, u16)                  \
  X(RED_I2, i16)                  \
  X(RED_U4, u32)                  \
  X(RED_I4, i32)                  \
  X(RED_U8, u64)                  \
  X(RED_I8, i64)                  \
  X(RED_R4, float)                \
  X(RED_R8, double)               \
  X(RED_R16, Quad)                \
  X(RED_C8, Complex<float>)       \
  X(RED_C16, Complex<double>)     \
  X(RED_C32, Complex<Quad>)

/// FLT128_MAX: all significand bits, the largest exponent below the infinity's. An exact product, so a constant.
constexpr Quad quad_huge() {
  constexpr int kSignificandBits = 113, kLargestExponent = 16383;
  Quad value = 2 - 1 / static_cast<Quad>(static_cast<unsigned __int128>(1) << (kSignificandBits - 1));
  for (int i = 0; i < kLargestExponent; ++i) value *= 2;
  return value;
}

template <class T>
constexpr T highest() {
  if constexpr (std::is_same_v<T, Quad>) {
    return quad_huge();
  } else {
    return std::numeric_limits<T>::max();
  }
}

template <class T>
constexpr T lowest() {
  if constexpr (std::is_integral_v<T>) {
    return std::numeric_limits<T>::min();
  } else {
    return -highest<T>();
  }
}

template <class T, Identity identity>
constexpr T identity_value() {
  if constexpr (identity == Identity::kLowest) return lowest<T>();
  if constexpr (identity == Identity::kHighest) return highest<T>();
  if constexpr (identity == Identity::kAllOnes) return static_cast<T>(~T{});
  if constexpr (identity == Identity::kOne) return T{1};
  if constexpr (identity == Identity::kZero) return T{};
}

template <class T, Identity identity>
void fill(u8* first, i64 count) {
  static constexpr T kValue = identity_value<T, identity>();
  if constexpr (sizeof(T) == 1) {
    if (count > 0) memset(first, static_cast<u8>(kValue), static_cast<size_t>(count));
  } else {
    for (i64 i = 0; i < count; ++i) memcpy(first + i * static_cast<i64>(sizeof(T)), &kValue, sizeof(T));
  }
}

/// Only an order needs the sign of an integer: the other loops serve both signs.
template <class T, class Operation>
constexpr Loop_Kernel combine_loop() {
  if constexpr (std::is_integral_v<T> && !std::is_same_v<Operation, Larger> && !std::is_same_v<Operation, Smaller>) {
    return loop_kernel<std::make_unsigned_t<T>, Operation>;
  } else {
    return loop_kernel<T, Operation>;
  }
}

template <class T>
constexpr Reduction_Type row_of() {
  constexpr Kind kind = kKind<T>;
  Reduction_Type row{sizeof(T), kind == Kind::kInteger, {}};
#define TAMRUN_CELL(op, Operation, identity) \
  if constexpr (op <= last_operator(kind)) row.cell[op] = {combine_loop<T, Operation>(), fill<T, identity>};
  TAMRUN_REDUCTION_OPERATORS(TAMRUN_CELL)
#undef TAMRUN_CELL
  return row;
}

constexpr std::array<Reduction_Type, RED_C32 + 1> table_of_types() {
  std::array<Reduction_Type, RED_C32 + 1> table{};
#define TAMRUN_ROW(type, Element) table[type] = row_of<Element>();
  TAMRUN_REDUCTION_TYPES(TAMRUN_ROW)
#undef TAMRUN_ROW
  // Compiled code may fill bytes without an operator.
  table[RED_U1].cell[0].fill = fill<u8, Identity::kZero>;
  return table;
}

constexpr std::array<Reduction_Type, RED_C32 + 1> kTypes = table_of_types();

}  // namespace

const Reduction_Type& reduction_type(u32 type) {
  if (type >= kTypes.size() || kTypes[type].bytes == 0) abort();
  return kTypes[type];
}
