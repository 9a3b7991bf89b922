// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// INDEX in both directions. Sixteen places at a time are tried by the first and the last byte of the substring, which
// settles ordinary text. Text that answers with many false candidates goes to a search that is linear in the worst
// case: memmem forward; backward the two-way algorithm of Crochemore and Perrin, on both strings reversed.

#include <algorithm>

#include "intrinsics/byte_vector.h"
#include "intrinsics/for_f90str.h"

namespace {

/// Bytes that may be compared in vain, beside one for each byte that has been passed.
constexpr size_t kPatience = 256;
/// Substrings of these lengths let memmem jump so far that its table pays in texts from some length on; for longer ones it
/// has another method.
constexpr size_t kJumpFrom = 12, kJumpTo = 256, kLongText = 2048;
/// Texts up to this length are searched for a single byte without a call.
constexpr size_t kByteInline = 64;
constexpr size_t kNone = ~size_t{0};

struct Text {
  const char* s;
  size_t n;
  const char* sub;
  size_t m;  ///< 1 to n; 2 to n where both ends are looked at
};

/// Counts what has been compared in vain.
class Patience {
 public:
  /// True if the substring, whose ends have been seen, is at s.
  bool matches(const Text& text, const char* s) {
    size_t at = 1;
    while (at < text.m - 1 && s[at] == text.sub[at]) ++at;
    spent_ += at;
    return at == text.m - 1;
  }
  bool over(size_t passed) const { return spent_ > passed + kPatience; }

 private:
  size_t spent_ = 0;
};

/// The places among the 16 from s where the first and the last byte fit; all 15 + m bytes from s are in the string.
u32 candidates(const Text& text, const char* s, __m128i first, __m128i last) {
  return mask_of(
      _mm_and_si128(_mm_cmpeq_epi8(load_vector(s), first), _mm_cmpeq_epi8(load_vector(s + text.m - 1), last)));
}

/// The same for the first `places` places, fewer than 16, of the string.
u32 few_candidates(const Text& text, size_t places, __m128i first, __m128i last) {
  return mask_of(_mm_and_si128(_mm_cmpeq_epi8(load_part(text.s, places), first),
                               _mm_cmpeq_epi8(load_part(text.s + text.m - 1, places), last))) &
         low_bits(places);
}

size_t place_of(const Text& text, const void* found) {
  return found == nullptr ? kNone : static_cast<size_t>(static_cast<const char*>(found) - text.s);
}

size_t find_by_memmem(const Text& text, size_t from) {
  return place_of(text, memmem(text.s + from, text.n - from, text.sub, text.m));
}

/// The first place of the substring, kNone if there is none.
size_t find_forward(const Text& text) {
  if (text.n >= kLongText && text.m >= kJumpFrom && text.m <= kJumpTo) return find_by_memmem(text, 0);
  const __m128i first = _mm_set1_epi8(text.sub[0]), last = _mm_set1_epi8(text.sub[text.m - 1]);
  Patience patience;
  const size_t places = text.n - text.m + 1;
  size_t base = 0;
  // The place that settles the search among those of the mask: kNone and not settled if none does.
  const auto settled = [&](u32 mask, size_t* place) {
    for (; mask != 0; mask &= mask - 1) {
      *place = base + first_bit(mask);
      if (patience.matches(text, text.s + *place)) return true;
      if (!patience.over(*place)) continue;
      *place = find_by_memmem(text, *place + 1);
      return true;
    }
    *place = kNone;
    return false;
  };
  size_t place;
  if (places < kVector) {
    (void)settled(few_candidates(text, places, first, last), &place);
    return place;
  }
  for (; base + kVector <= places; base += kVector) {
    if (settled(candidates(text, text.s + base, first, last), &place)) return place;
  }
  if (base == places) return kNone;
  base = places - kVector;  // the block begins with places that have been tried
  (void)settled(candidates(text, text.s + base, first, last), &place);
  return place;
}

/// The bytes of a string from its end.
struct Reversed {
  const u8* end;
  u8 operator[](ptrdiff_t i) const { return end[-1 - i]; }
};

Reversed reversed(const char* s, size_t n) { return {reinterpret_cast<const u8*>(s) + n}; }

/// One less than the start of the maximal suffix of x, and its period, with bytes in ascending or descending order.
template <bool kDescending>
ptrdiff_t maximal_suffix(Reversed x, ptrdiff_t m, ptrdiff_t* period) {
  ptrdiff_t before = -1, j = 0, k = 1, p = 1;
  while (j + k < m) {
    const u8 a = x[j + k], b = x[before + k];
    if (a == b) {
      if (k == p) {
        j += p;
        k = 1;
      } else {
        ++k;
      }
    } else if ((a < b) != kDescending) {
      j += k;
      k = 1;
      p = j - before;
    } else {
      before = j++;
      k = p = 1;
    }
  }
  *period = p;
  return before;
}

/// The last place of the substring at or before `limit` by the two-way algorithm, kNone if there is none.
size_t find_two_way(const Text& text, size_t limit) {
  const ptrdiff_t n = static_cast<ptrdiff_t>(limit + text.m), m = static_cast<ptrdiff_t>(text.m);
  const Reversed x = reversed(text.sub, text.m), y = reversed(text.s, limit + text.m);
  ptrdiff_t period, other;
  ptrdiff_t cut = maximal_suffix<false>(x, m, &period);
  const ptrdiff_t other_cut = maximal_suffix<true>(x, m, &other);
  if (other_cut > cut) {
    cut = other_cut;
    period = other;
  }
  // The part before the cut, with the cut, comes again one period later: then the period is the whole string's, and what
  // matched before a jump of one period need not be compared again.
  const size_t part = static_cast<size_t>(cut + 1);
  const char* end = text.sub + text.m;
  const bool periodic = bcmp(end - part, end - part - period, part) == 0;
  if (!periodic) period = std::max(cut + 1, m - cut - 1) + 1;

  ptrdiff_t remembered = -1;
  for (ptrdiff_t j = 0; j <= n - m;) {
    ptrdiff_t i = std::max(cut, remembered) + 1;
    while (i < m && x[i] == y[i + j]) ++i;
    if (i < m) {
      j += i - cut;
      remembered = -1;
      continue;
    }
    i = cut;
    while (i > remembered && x[i] == y[i + j]) --i;
    if (i <= remembered) return static_cast<size_t>(n - m - j);
    j += period;
    if (periodic) remembered = m - period - 1;
  }
  return kNone;
}

/// The last place of the substring, kNone if there is none.
size_t find_backward(const Text& text) {
  if (text.m == 1) return place_of(text, memrchr(text.s, text.sub[0], text.n));
  const __m128i first = _mm_set1_epi8(text.sub[0]), last = _mm_set1_epi8(text.sub[text.m - 1]);
  const size_t places = text.n - text.m + 1;
  Patience patience;
  size_t left = places;
  u32 mask;
  do {
    size_t base = 0;
    if (places < kVector) {
      mask = few_candidates(text, places, first, last);
      left = 0;
    } else {
      base = left > kVector ? left - kVector : 0;  // the last block may end with places that have been tried
      mask = candidates(text, text.s + base, first, last);
      left = base;
    }
    for (; mask != 0; mask ^= u32{1} << last_bit(mask)) {
      const size_t place = base + last_bit(mask);
      if (patience.matches(text, text.s + place)) return place;
      if (patience.over(places - place)) return place == 0 ? kNone : find_two_way(text, place - 1);
    }
  } while (left != 0);
  return kNone;
}

/// Position from 1, 0 for none.
i32 index_of_byte(const char* s, size_t n, char c) {
  if (n > kByteInline) {
    const void* found = memchr(s, c, n);
    return found == nullptr ? 0 : static_cast<i32>(static_cast<const char*>(found) - s) + 1;
  }
  const __m128i wanted = _mm_set1_epi8(c);
  const size_t place = find_first(
      n, [=](size_t i) { return mask_of(_mm_cmpeq_epi8(load_vector(s + i), wanted)); },
      [=](size_t count) { return mask_of(_mm_cmpeq_epi8(load_part(s, count), wanted)); });
  return place == n ? 0 : static_cast<i32>(place) + 1;
}

/// Position from 1, 0 for none.
template <class Find>
i32 index_of(const char* s, i32 s_len, const char* sub, i32 sub_len, bool back, Find find) {
  const Text text = {s, string_length(s_len), sub, string_length(sub_len)};
  if (text.m == 0) return back ? static_cast<i32>(text.n) + 1 : 1;
  if (text.m > text.n) return 0;
  const size_t place = find(text);
  return place == kNone ? 0 : static_cast<i32>(place) + 1;
}

}  // namespace

i32 for_index(const char* s, i32 s_len, const char* sub, i32 sub_len) {
  if (sub_len == 1) return index_of_byte(s, string_length(s_len), *sub);
  return index_of(s, s_len, sub, sub_len, false, find_forward);
}

i32 for_index_ssll(const char* s, const char* sub, i32 s_len, i32 sub_len) { return for_index(s, s_len, sub, sub_len); }

i32 for_index_back(const char* s, i32 s_len, const char* sub, i32 sub_len) {
  return index_of(s, s_len, sub, sub_len, true, find_backward);
}

i32 for_f90_index(const char* s, i32 s_len, const char* sub, i32 sub_len, i32 back) {
  return back != 0 ? for_index_back(s, s_len, sub, sub_len) : for_index(s, s_len, sub, sub_len);
}

i32 for_string_index(const char* s, i32 s_len, const char* sub, i32 sub_len) {
  return for_index(s, s_len, sub, sub_len) - 1;
}
