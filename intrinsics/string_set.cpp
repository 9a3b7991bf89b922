// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// SCAN and VERIFY in both directions. A small set is compared with sixteen characters at a time, one of its own after
// the other; a larger one becomes a table of the 256 bytes. Either stands on the stack.

#include "intrinsics/byte_vector.h"
#include "intrinsics/for_f90str.h"

namespace {

/// Sets up to this size are compared, larger ones looked up.
constexpr size_t kCompared = 16;

enum class Direction { Forward, Back };
enum class Wanted { Member, Stranger };

/// Masks of a vector's bytes: those in the set, or those that are not.
template <Wanted kWanted>
class Small_Set {
 public:
  Small_Set(const char* set, size_t size) : size_(size) {
    for (size_t i = 0; i < size; ++i) members_[i] = _mm_set1_epi8(set[i]);
  }
  u32 mask(__m128i v) const {
    __m128i in = _mm_setzero_si128();
    for (size_t i = 0; i < size_; ++i) in = _mm_or_si128(in, _mm_cmpeq_epi8(v, members_[i]));
    return kWanted == Wanted::Member ? mask_of(in) : mask_of(in) ^ kAllBytes;
  }

 private:
  __m128i members_[kCompared];
  size_t size_;
};

class Byte_Table {
 public:
  Byte_Table(const char* set, size_t size) {
    for (size_t i = 0; i < size; ++i) member_[static_cast<u8>(set[i])] = true;
  }
  bool operator[](char c) const { return member_[static_cast<u8>(c)]; }

 private:
  bool member_[256] = {};
};

/// Position from 1 of the first or last wanted character, 0 for none.
template <Wanted kWanted, Direction kDirection>
size_t find_by_table(const char* s, size_t n, const char* set, size_t set_len) {
  constexpr bool kMember = kWanted == Wanted::Member;
  const Byte_Table table(set, set_len);
  if (kDirection == Direction::Forward) {
    for (size_t i = 0; i < n; ++i) {
      if (table[s[i]] == kMember) return i + 1;
    }
    return 0;
  }
  while (n != 0 && table[s[n - 1]] != kMember) --n;
  return n;
}

template <Wanted kWanted, Direction kDirection>
i32 find(const char* s, i32 s_len, const char* set, i32 set_len) {
  const size_t n = string_length(s_len), size = string_length(set_len);
  if (n == 0) return 0;
  if (size > kCompared) return static_cast<i32>(find_by_table<kWanted, kDirection>(s, n, set, size));
  const Small_Set<kWanted> small(set, size);
  const auto full = [&](size_t i) { return small.mask(load_vector(s + i)); };
  const auto part = [&](size_t count) { return small.mask(load_part(s, count)); };
  if (kDirection == Direction::Back) return static_cast<i32>(find_last(n, full, part));
  const size_t place = find_first(n, full, part);
  return place == n ? 0 : static_cast<i32>(place) + 1;
}

constexpr auto scan = find<Wanted::Member, Direction::Forward>;
constexpr auto verify = find<Wanted::Stranger, Direction::Forward>;

}  // namespace

i32 for_scan_back(const char* s, i32 s_len, const char* set, i32 set_len) {
  return find<Wanted::Member, Direction::Back>(s, s_len, set, set_len);
}

i32 for_f90_scan(const char* s, i32 s_len, const char* set, i32 set_len, i32 back) {
  return back != 0 ? for_scan_back(s, s_len, set, set_len) : scan(s, s_len, set, set_len);
}

i32 for_string_search(const char* s, i32 s_len, const char* set, i32 set_len) {
  return scan(s, s_len, set, set_len) - 1;
}

i32 for_verify_back(const char* s, i32 s_len, const char* set, i32 set_len) {
  return find<Wanted::Stranger, Direction::Back>(s, s_len, set, set_len);
}

i32 for_f90_verify(const char* s, i32 s_len, const char* set, i32 set_len, i32 back) {
  return back != 0 ? for_verify_back(s, s_len, set, set_len) : verify(s, s_len, set, set_len);
}

i32 for_string_verify(const char* s, i32 s_len, const char* set, i32 set_len) {
  return verify(s, s_len, set, set_len) - 1;
}
