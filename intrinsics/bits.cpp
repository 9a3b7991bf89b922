// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The bit intrinsics: one rule per operation for all widths. The for_ family answers an argument out of range with 0 or
// the value; the operations named checked_ set errno; those named machine_ take shift counts as the processor does.

#include "intrinsics/bits.h"

#include <errno.h>
#include <string.h>

#include <bit>
#include <type_traits>

#include "intrinsics/unaligned.h"

constexpr std::array<u64, 65> for_bit_mask = [] {
  std::array<u64, 65> masks{};
  for (size_t n = 1; n < masks.size(); ++n) masks[n] = masks[n - 1] << 1 | 1;
  return masks;
}();

constexpr std::array<u32, 256> For__Popcnt_Table = [] {
  std::array<u32, 256> counts{};
  for (u32 b = 0; b < counts.size(); ++b) counts[b] = static_cast<u32>(std::popcount(b));
  return counts;
}();

namespace {

/// Positions, lengths and shifts, wide enough for their sums.
typedef i64 Place;

constexpr int kByte = 8;

template <class Int>
using Bits = std::make_unsigned_t<Int>;

template <class Int>
constexpr Place kWidth = kByte * sizeof(Int);

template <class Int>
constexpr Bits<Int> low_mask(Place n) {
  return static_cast<Bits<Int>>(for_bit_mask[static_cast<size_t>(n)]);
}

template <class Int>
constexpr Int one_bit(Place pos) {
  return static_cast<Int>(u64{1} << pos);
}

template <class Int>
Place load_place(const void* p) {
  return load<std::conditional_t<sizeof(Int) == sizeof(i64), i32, Int>>(p);
}

template <class Int>
constexpr bool is_position(Place pos) {
  return pos >= 0 && pos < kWidth<Int>;
}

// The for_ family.

template <class Int>
Int ibits(Int value, Place pos, Place len) {
  if (!is_position<Int>(pos) || len < 0 || pos + len > kWidth<Int>) return value;
  // The field is what the language says, bits without a sign: nothing comes in above a field that ends at the top.
  return static_cast<Int>(static_cast<Bits<Int>>(value & low_mask<Int>(pos + len)) >> pos);
}

template <class Int>
Int ibset(Int value, Place pos) {
  return is_position<Int>(pos) ? static_cast<Int>(value | one_bit<Int>(pos)) : Int{0};
}

template <class Int>
Int ibclr(Int value, Place pos) {
  return is_position<Int>(pos) ? static_cast<Int>(value & ~one_bit<Int>(pos)) : Int{0};
}

template <class Int>
Int btest(Int value, Place pos) {
  return is_position<Int>(pos) && (value & one_bit<Int>(pos)) != 0 ? Int{-1} : Int{0};
}

/// Zeros come in on either side, as the language says, and a shift by the whole width leaves nothing else.
template <class Int>
Int ishft(Int value, Place shift) {
  const Bits<Int> bits = static_cast<Bits<Int>>(value);
  if (shift <= -kWidth<Int> || shift >= kWidth<Int>) return 0;
  return static_cast<Int>(shift >= 0 ? bits << shift : bits >> -shift);
}

template <class Int>
Int ishftc(Int value, Place shift, Place size) {
  if (size < 1 || size > kWidth<Int>) return value;
  const Place left = (shift % size + size) % size;
  if (left == 0) return value;
  const Bits<Int> mask = low_mask<Int>(size), bits = static_cast<Bits<Int>>(value), field = bits & mask;
  return static_cast<Int>((((field << left) | (field >> (size - left))) & mask) | (bits & ~mask));
}

template <class Int>
Int trailz(Int value) {
  return static_cast<Int>(std::countr_zero(static_cast<Bits<Int>>(value)));
}

template <class Int>
Int leadz(Int value) {
  return static_cast<Int>(std::countl_zero(static_cast<Bits<Int>>(value)));
}

template <class Int>
Int ilen(Int value) {
  return static_cast<Int>(std::bit_width(static_cast<Bits<Int>>(value < 0 ? ~value : value)));
}

template <class Int>
Int popcnt(Int value) {
  u32 count = 0;
  for (u64 rest = static_cast<Bits<Int>>(value); rest != 0; rest >>= kByte) count += For__Popcnt_Table[rest & 0xFF];
  return static_cast<Int>(count);
}

template <class Int>
Int poppar(Int value) {
  return static_cast<Int>(__builtin_parityll(static_cast<Bits<Int>>(value)));
}

/// The low bits of an element, `end` of them at least: no more bytes are read than those need.
u64 load_low(const void* p, Place end) {
  if (end <= kWidth<u8>) return load<u8>(p);
  if (end <= kWidth<u16>) return load<u16>(p);
  if (end <= kWidth<u32>) return load<u32>(p);
  return load<u64>(p);
}

void store_low(void* p, Place end, u64 value) {
  if (end <= kWidth<u8>) {
    *static_cast<u8*>(p) = static_cast<u8>(value);
  } else if (end <= kWidth<u16>) {
    store_unaligned_short(p, static_cast<u16>(value));
  } else if (end <= kWidth<u32>) {
    store_unaligned_int(p, static_cast<u32>(value));
  } else {
    store_unaligned_long(p, value);
  }
}

/// A field that does not lie in both elements is not moved, at whichever end it leaves them.
template <class Int>
void mvbits(const void* from, Place frompos, Place len, void* to, Place topos) {
  if (len < 1 || frompos < 0 || topos < 0 || frompos + len > kWidth<Int> || topos + len > kWidth<Int>) return;
  const Place end = topos + len;
  const u64 moved = (load_low(from, frompos + len) >> frompos) & low_mask<i64>(len);
  const u64 field = low_mask<i64>(topos) ^ low_mask<i64>(end);
  store_low(to, end, (load_low(to, end) & ~field) | (moved << topos));
}

// The family that begins with the letter of the width.

/// A position of the value's own width, or errno is set.
template <class Int>
bool check_position(Place pos) {
  if (is_position<Int>(pos)) return true;
  errno = pos < 0 ? EDOM : ERANGE;
  return false;
}

template <class Int>
Int checked_btest(Int value, Place pos) {
  return check_position<Int>(pos) && (value & one_bit<Int>(pos)) != 0 ? Int{1} : Int{0};
}

template <class Int>
Int checked_ibset(Int value, Place pos) {
  return check_position<Int>(pos) ? ibset(value, pos) : Int{0};
}

/// With the range test of its sisters, and a bit that was clear stays clear.
template <class Int>
Int checked_ibclr(Int value, Place pos) {
  return check_position<Int>(pos) ? ibclr(value, pos) : Int{0};
}

/// Position and length are both refused below 1. Bits beyond the width are zeros.
template <class Int>
Int checked_ibits(Int value, Place pos, Place len) {
  if (pos < 1 || len < 1) {
    errno = EDOM;
    return 0;
  }
  if (pos >= kWidth<Int>) return 0;
  const Bits<Int> bits = static_cast<Bits<Int>>(static_cast<Bits<Int>>(value) >> pos);
  return static_cast<Int>(len >= kWidth<Int> ? bits : bits & low_mask<Int>(len));
}

/// The register in which the processor shifts a value, and a shift count as it takes it.
template <class Int>
using Register = std::conditional_t<sizeof(Int) == sizeof(i64), u64, u32>;

template <class Int>
constexpr Place machine_count(Place n) {
  return n & (kWidth<Register<Int>> - 1);
}

template <class Int>
Int machine_ibits(Int value, Place pos, Place len) {
  const Register<Int> ones = low_mask<Int>(kWidth<Int>) >> machine_count<Int>(kWidth<Int> - len);
  const Register<Int> field = ones << machine_count<Int>(pos);
  return static_cast<Int>((static_cast<Bits<Int>>(value) & field) >> machine_count<Int>(pos));
}

template <class Int>
Int machine_ishft(Int value, Place shift) {
  const Register<Int> bits = static_cast<Bits<Int>>(value);
  return static_cast<Int>(shift > 0 ? bits << machine_count<Int>(shift) : bits >> machine_count<Int>(-shift));
}

template <class Int>
Int machine_ishftc(Int value, Place shift, Place size) {
  const Place left = shift < 0 ? shift + size : shift;
  const Bits<Int> mask = size < 0 ? 0 : low_mask<Int>(size < kWidth<Int> ? size : kWidth<Int>);
  const Bits<Int> bits = static_cast<Bits<Int>>(value);
  const Register<Int> field = bits & mask;
  return static_cast<Int>((bits & ~mask) | (field >> machine_count<Int>(size - left)) |
                          ((field << machine_count<Int>(left)) & mask));
}

template <class Int>
Int abs_of(Int a) {
  return a < 0 ? static_cast<Int>(-static_cast<u64>(a)) : a;
}

template <class Int>
Int not_of(Int a) {
  return static_cast<Int>(~a);
}

template <class Int>
Int dim(Int a, Int b) {
  return a > b ? static_cast<Int>(static_cast<u64>(a) - static_cast<u64>(b)) : Int{0};
}

template <class Int>
Int iand(Int a, Int b) {
  return static_cast<Int>(a & b);
}

template <class Int>
Int ior(Int a, Int b) {
  return static_cast<Int>(a | b);
}

template <class Int>
Int ieor(Int a, Int b) {
  return static_cast<Int>(a ^ b);
}

/// b of -1 leaves nothing; the processor would trap on the quotient of the most negative value.
template <class Int>
Int mod(Int a, Int b) {
  return b == -1 ? Int{0} : static_cast<Int>(a % b);
}

template <class Int>
Int sign(Int a, Int b) {
  const u64 magnitude = static_cast<u64>(abs_of(a));
  return static_cast<Int>(b < 0 ? -magnitude : magnitude);
}

template <class... Pointers>
bool any_null(Pointers... pointers) {
  if ((... && (pointers != nullptr))) return false;
  errno = EINVAL;
  return true;
}

}  // namespace

void store_unaligned_short(void* at, u16 value) { memcpy(at, &value, sizeof value); }
void store_unaligned_int(void* at, u32 value) { memcpy(at, &value, sizeof value); }
void store_unaligned_long(void* at, u64 value) { memcpy(at, &value, sizeof value); }

#define TAMRUN_BY_VALUE(name, Int, operation) \
  Int name(Int value) { return operation(value); }
#define TAMRUN_PLACE(name, Int, operation) \
  Int name(const void* value, const void* place) { return operation(load<Int>(value), load_place<Int>(place)); }
#define TAMRUN_CHECKED_PLACE(name, Int, operation)              \
  Int name(const void* value, const void* place) {              \
    if (any_null(value, place)) return 0;                       \
    return operation(load<Int>(value), load_place<Int>(place)); \
  }
#define TAMRUN_FIELD(name, Int, operation)                                               \
  Int name(const void* value, const void* place, const void* length) {                   \
    return operation(load<Int>(value), load_place<Int>(place), load_place<Int>(length)); \
  }
#define TAMRUN_CHECKED_FIELD(name, Int, operation)                                       \
  Int name(const void* value, const void* place, const void* length) {                   \
    if (any_null(value, place, length)) return 0;                                        \
    return operation(load<Int>(value), load_place<Int>(place), load_place<Int>(length)); \
  }
#define TAMRUN_MOVE(name, Int)                                                                     \
  void name(const void* from, const void* frompos, const void* len, void* to, const void* topos) { \
    mvbits<Int>(from, load_place<Int>(frompos), load_place<Int>(len), to, load_place<Int>(topos)); \
  }
#define TAMRUN_ONE(name, Int, operation) \
  Int name(const void* a) { return operation(load<Int>(a)); }
#define TAMRUN_TWO(name, Int, operation) \
  Int name(const void* a, const void* b) { return operation(load<Int>(a), load<Int>(b)); }

TAMRUN_BITS_BY_VALUE(TAMRUN_BY_VALUE)
TAMRUN_BITS_PLACE(TAMRUN_PLACE)
TAMRUN_BITS_CHECKED_PLACE(TAMRUN_CHECKED_PLACE)
TAMRUN_BITS_FIELD(TAMRUN_FIELD)
TAMRUN_BITS_CHECKED_FIELD(TAMRUN_CHECKED_FIELD)
TAMRUN_BITS_MOVE(TAMRUN_MOVE)
TAMRUN_BITS_ONE(TAMRUN_ONE)
TAMRUN_BITS_TWO(TAMRUN_TWO)
