// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The bit intrinsics against the language's definitions, worked out bit by bit: every row of the lists of entry points
// is called with random arguments at odd addresses, in range and out of it.
#include <errno.h>
#include <gtest/gtest.h>

#include <bitset>
#include <limits>
#include <random>

#include "guarded.h"
#include "intrinsics/bits.h"
#include "support/soak.h"

namespace {

std::mt19937_64 g_random(9903);

template <class Int>
constexpr int kWidth = 8 * sizeof(Int);

template <class Int>
using Set = std::bitset<kWidth<Int>>;

template <class Int>
Set<Int> set_of(Int value) {
  return Set<Int>(static_cast<std::make_unsigned_t<Int>>(value));
}

template <class Int>
Int number(const Set<Int>& bits) {
  return static_cast<Int>(bits.to_ullong());
}

/// What a call must give; `undefined` where nothing is promised.
namespace oracle {

int expected_errno;
bool undefined;

template <class Int>
bool inside(int pos) {
  return pos >= 0 && pos < kWidth<Int>;
}

template <class Int>
bool checked(int pos) {
  if (!inside<Int>(pos)) expected_errno = pos < 0 ? EDOM : ERANGE;
  return inside<Int>(pos);
}

template <class Int>
Int ibset(Int value, int pos) {
  return inside<Int>(pos) ? number<Int>(set_of(value).set(pos)) : 0;
}

template <class Int>
Int ibclr(Int value, int pos) {
  return inside<Int>(pos) ? number<Int>(set_of(value).reset(pos)) : 0;
}

template <class Int>
Int btest(Int value, int pos) {
  return inside<Int>(pos) && set_of(value)[pos] ? -1 : 0;
}

template <class Int>
Int checked_ibset(Int value, int pos) {
  return checked<Int>(pos) ? ibset(value, pos) : 0;
}

template <class Int>
Int checked_ibclr(Int value, int pos) {
  return checked<Int>(pos) ? ibclr(value, pos) : 0;
}

template <class Int>
Int checked_btest(Int value, int pos) {
  return checked<Int>(pos) && set_of(value)[pos];
}

template <class Int>
Int ishft(Int value, int shift) {
  return number<Int>(shift >= 0 ? set_of(value) << shift : set_of(value) >> -shift);
}

/// Counts of a register's width and more begin again at 0.
template <class Int>
Int machine_ishft(Int value, int shift) {
  return ishft(value, shift % (kWidth<Int> == 64 ? 64 : 32));
}

/// The field at the low end; bits that the value does not have are 0.
template <class Int>
Int field(Int value, int pos, int len) {
  Set<Int> result;
  for (int i = 0; i < len && i < kWidth<Int>; ++i) result[i] = pos + i < kWidth<Int> && set_of(value)[pos + i];
  return number<Int>(result);
}

template <class Int>
Int ibits(Int value, int pos, int len) {
  return inside<Int>(pos) && len >= 0 && pos + len <= kWidth<Int> ? field(value, pos, len) : value;
}

template <class Int>
Int checked_ibits(Int value, int pos, int len) {
  if (pos > 0 && len > 0) return field(value, pos, len);
  expected_errno = EDOM;
  return 0;
}

template <class Int>
Int machine_ibits(Int value, int pos, int len) {
  undefined = pos < 0 || len < 0 || pos + len > kWidth<Int>;
  return undefined ? 0 : field(value, pos, len);
}

template <class Int>
Int ishftc(Int value, int shift, int size) {
  if (size < 1 || size > kWidth<Int>) return value;
  Set<Int> result = set_of(value);
  for (int i = 0; i < size; ++i) result[((i + shift) % size + size) % size] = set_of(value)[i];
  return number<Int>(result);
}

template <class Int>
Int machine_ishftc(Int value, int shift, int size) {
  undefined = size < 1 || size > kWidth<Int> || shift < -size || shift > size;
  return undefined ? 0 : ishftc(value, shift, size);
}

template <class Int>
Int trailz(Int value) {
  int zeros = 0;
  while (zeros < kWidth<Int> && !set_of(value)[zeros]) ++zeros;
  return zeros;
}

template <class Int>
Int leadz(Int value) {
  int zeros = 0;
  while (zeros < kWidth<Int> && !set_of(value)[kWidth<Int> - 1 - zeros]) ++zeros;
  return zeros;
}

template <class Int>
Int ilen(Int value) {
  return kWidth<Int> - leadz<Int>(value < 0 ? ~value : value);
}

template <class Int>
Int popcnt(Int value) {
  return set_of(value).count();
}

template <class Int>
Int poppar(Int value) {
  return set_of(value).count() % 2;
}

typedef __int128 Wide;  // arithmetic without overflow

Wide magnitude(Wide a) { return a < 0 ? -a : a; }
Wide abs_of(Wide a) { return magnitude(a); }
Wide not_of(Wide a) { return -a - 1; }
Wide dim(Wide a, Wide b) { return a > b ? a - b : 0; }
Wide iand(Wide a, Wide b) { return a & b; }
Wide ior(Wide a, Wide b) { return a | b; }
Wide ieor(Wide a, Wide b) { return a ^ b; }
Wide sign(Wide a, Wide b) { return b < 0 ? -magnitude(a) : magnitude(a); }
Wide mod(Wide a, Wide b) { return a % b; }

}  // namespace oracle

template <class Int>
Int random_value() {
  constexpr Int kEdges[] = {0, 1, -1, std::numeric_limits<Int>::min(), std::numeric_limits<Int>::max()};
  const u64 bits = g_random() & (g_random() % 3 != 0 ? ~u64{0} : g_random() & g_random());
  return g_random() % 4 == 0 ? kEdges[g_random() % std::size(kEdges)]
                             : static_cast<Int>(bits >> g_random() % kWidth<Int>);
}

/// From some below minus the width to some above it.
template <class Int>
Int random_place() {
  return static_cast<Int>(static_cast<int>(g_random() % (2 * kWidth<Int> + 12)) - kWidth<Int> - 6);
}

/// An argument at an odd address.
template <class Int>
class Odd {
 public:
  explicit Odd(Int value) { memcpy(bytes_ + 1, &value, sizeof value); }
  operator const void*() const { return bytes_ + 1; }

 private:
  alignas(8) char bytes_[sizeof(Int) + 1];
};

/// Calls both and compares results and errno.
template <class Entry, class Oracle, class... Ints>
void compare(const char* name, Entry entry, Oracle oracle, Ints... arguments) {
  oracle::expected_errno = 0;
  oracle::undefined = false;
  const auto expected = static_cast<std::common_type_t<Ints...>>(oracle(arguments...));
  errno = 0;
  const auto found = entry(arguments...);
  if (oracle::undefined) return;
  ASSERT_EQ(found, expected) << name << testing::PrintToString(std::make_tuple(static_cast<i64>(arguments)...));
  ASSERT_EQ(errno, oracle::expected_errno) << name;
}

/// Takes the arguments of a call by reference.
const auto by_reference = [](auto entry) { return [entry](auto... values) { return entry(Odd(values)...); }; };

#define EACH_CASE for (long n = soak_cases(2000); n > 0 && !HasFatalFailure(); --n)
#define BY_VALUE(name, Int, op) EACH_CASE compare(#name, name, oracle::op<Int>, random_value<Int>());
#define PLACE(name, Int, op) \
  EACH_CASE compare(#name, by_reference(name), oracle::op<Int>, random_value<Int>(), random_place<Int>());
#define FIELD(name, Int, op)                                                                              \
  EACH_CASE compare(#name, by_reference(name), oracle::op<Int>, random_value<Int>(), random_place<Int>(), \
                    random_place<Int>());
#define ONE(name, Int, op) EACH_CASE compare(#name, by_reference(name), oracle::op, random_value<Int>());
#define TWO(name, Int, op)                                                                    \
  EACH_CASE {                                                                                 \
    const Int b = random_value<Int>();                                                        \
    compare(#name, by_reference(name), oracle::op, random_value<Int>(), b != 0 ? b : Int{7}); \
  }

TEST(Bits, Counts){TAMRUN_BITS_BY_VALUE(BY_VALUE)} TEST(Bits, Places){
    TAMRUN_BITS_PLACE(PLACE) TAMRUN_BITS_CHECKED_PLACE(PLACE)} TEST(Bits, Fields){
    TAMRUN_BITS_FIELD(FIELD) TAMRUN_BITS_CHECKED_FIELD(FIELD)} TEST(Bits, Arithmetic) {
  TAMRUN_BITS_ONE(ONE) TAMRUN_BITS_TWO(TWO)
}

/// The elements stand so that a byte more than the field needs is a fault.
template <class Int>
void check_moves(void (*entry)(const void*, const void*, const void*, void*, const void*)) {
  tamrun_test::Guarded from_room, to_room;
  const auto bytes = [](const Int& value) {
    return std::string_view(reinterpret_cast<const char*>(&value), sizeof value);
  };
  for (long n = soak_cases(3000); n > 0; --n) {
    const Int from = random_value<Int>(), to = random_value<Int>();
    const Int frompos = random_place<Int>(), len = random_place<Int>(), topos = random_place<Int>();
    const bool inside =
        frompos >= 0 && topos >= 0 && len > 0 && frompos + len <= kWidth<Int> && topos + len <= kWidth<Int>;
    Set<Int> expected = set_of(to);
    for (int i = 0; inside && i < len; ++i) expected[topos + i] = set_of(from)[frompos + i];
    // A field in the lower 16 bits of 4 bytes is all that is there.
    const size_t seen = sizeof(Int) == 4 && inside && frompos + len <= 16 && topos + len <= 16 ? 2 : sizeof(Int);
    char* target = to_room.put(bytes(to).substr(0, seen), true);
    entry(from_room.put(bytes(from).substr(0, seen), true), Odd(frompos), Odd(len), target, Odd(topos));
    const Int result = number<Int>(expected);
    ASSERT_EQ(std::string_view(target, seen), bytes(result).substr(0, seen))
        << +frompos << " " << +len << " " << +topos;
  }
  Int value = 0x35;  // a field that is moved within one element
  entry(&value, Odd(Int{0}), Odd(Int{4}), &value, Odd(Int{1}));
  EXPECT_EQ(value, 0x2B);
}

#define MOVE(name, Int) check_moves<Int>(name);
TEST(Bits, Moves){TAMRUN_BITS_MOVE(MOVE)}

/// A default INTEGER serves as the position in an 8-byte value.
TEST(Bits, ShortPositionsOfLongValues) {
  const i64 value = 0;
  const i32 position[] = {40, -1};
  EXPECT_EQ(for_kibset(&value, position), i64{1} << 40);
  EXPECT_EQ(k_ibset(&value, position), i64{1} << 40);
}

TEST(Bits, NullPointersAreReported) {
  const i64 one = 1;
  const auto refused = [](i64 result) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
  };
#define NULL_PLACE(name, Int, op) refused(name(nullptr, &one)), refused(name(&one, nullptr));
#define NULL_FIELD(name, Int, op) \
  refused(name(nullptr, &one, &one)), refused(name(&one, nullptr, &one)), refused(name(&one, &one, nullptr));
  TAMRUN_BITS_CHECKED_PLACE(NULL_PLACE)
  TAMRUN_BITS_CHECKED_FIELD(NULL_FIELD)
}

TEST(Bits, Tables) {
  for (size_t n = 0; n <= 64; ++n) EXPECT_EQ(for_bit_mask[n], n == 64 ? ~u64{0} : (u64{1} << n) - 1);
  for (size_t b = 0; b < 256; ++b) EXPECT_EQ(For__Popcnt_Table[b], std::bitset<8>(b).count());
}

}  // namespace
