// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// An unsigned integer of any size with the few exact operations that oracles need. Not fast.
#ifndef TAMRUN_TESTS_SUPPORT_BIG_INTEGER_H
#define TAMRUN_TESTS_SUPPORT_BIG_INTEGER_H

#include "tamrun/types.h"

#include <vector>

class Big_Integer {
 public:
  Big_Integer(u64 value = 0) {
    if (value != 0) words_.push_back(value);
  }

  static Big_Integer from_words(u64 high, u64 low) { return (Big_Integer(high) << 64) + Big_Integer(low); }
  static Big_Integer power_of_ten(int n) {
    Big_Integer result(1);
    for (; n >= 19; n -= 19) result.multiply(10000000000000000000u);
    for (; n > 0; --n) result.multiply(10);
    return result;
  }

  bool is_zero() const { return words_.empty(); }
  bool is_odd() const { return !words_.empty() && (words_[0] & 1) != 0; }
  int bits() const {
    return words_.empty() ? 0 : static_cast<int>(64 * words_.size()) - __builtin_clzll(words_.back());
  }
  /// The value modulo 2^64.
  u64 low_word() const { return words_.empty() ? 0 : words_[0]; }

  void multiply(u64 factor) {
    u64 carry = 0;
    for (u64& word : words_) {
      const unsigned __int128 product = static_cast<unsigned __int128>(word) * factor + carry;
      word = static_cast<u64>(product);
      carry = static_cast<u64>(product >> 64);
    }
    if (carry != 0) words_.push_back(carry);
    trim();
  }

  friend Big_Integer operator*(const Big_Integer& a, const Big_Integer& b) {
    Big_Integer result;
    for (size_t i = 0; i < b.words_.size(); ++i) {
      Big_Integer part = a;
      part.multiply(b.words_[i]);
      result = result + (part << static_cast<int>(64 * i));
    }
    return result;
  }

  friend Big_Integer operator<<(const Big_Integer& a, int shift) {
    if (a.is_zero()) return a;
    Big_Integer result;
    result.words_.assign(shift / 64, 0);
    const int bits = shift % 64;
    u64 carry = 0;
    for (u64 word : a.words_) {
      result.words_.push_back(word << bits | carry);
      carry = bits == 0 ? 0 : word >> (64 - bits);
    }
    result.words_.push_back(carry);
    result.trim();
    return result;
  }

  friend Big_Integer operator>>(const Big_Integer& a, int shift) {
    Big_Integer result;
    const int bits = shift % 64;
    for (size_t i = shift / 64; i < a.words_.size(); ++i) {
      result.words_.push_back(a.words_[i] >> bits | (bits == 0 ? 0 : a.word(i + 1) << (64 - bits)));
    }
    result.trim();
    return result;
  }

  friend Big_Integer operator+(const Big_Integer& a, const Big_Integer& b) {
    Big_Integer result;
    const size_t size = a.words_.size() > b.words_.size() ? a.words_.size() : b.words_.size();
    u64 carry = 0;
    for (size_t i = 0; i < size; ++i) {
      const unsigned __int128 sum = static_cast<unsigned __int128>(a.word(i)) + b.word(i) + carry;
      result.words_.push_back(static_cast<u64>(sum));
      carry = static_cast<u64>(sum >> 64);
    }
    if (carry != 0) result.words_.push_back(carry);
    return result;
  }

  /// a - b for a >= b.
  friend Big_Integer operator-(const Big_Integer& a, const Big_Integer& b) {
    Big_Integer result;
    u64 borrow = 0;
    for (size_t i = 0; i < a.words_.size(); ++i) {
      const unsigned __int128 difference = static_cast<unsigned __int128>(a.words_[i]) - b.word(i) - borrow;
      result.words_.push_back(static_cast<u64>(difference));
      borrow = static_cast<u64>(difference >> 64) & 1;
    }
    result.trim();
    return result;
  }

  /// -1, 0 or 1.
  friend int compare(const Big_Integer& a, const Big_Integer& b) {
    if (a.words_.size() != b.words_.size()) return a.words_.size() < b.words_.size() ? -1 : 1;
    for (size_t i = a.words_.size(); i-- > 0;) {
      if (a.words_[i] != b.words_[i]) return a.words_[i] < b.words_[i] ? -1 : 1;
    }
    return 0;
  }
  friend bool operator<(const Big_Integer& a, const Big_Integer& b) { return compare(a, b) < 0; }
  friend bool operator==(const Big_Integer& a, const Big_Integer& b) { return compare(a, b) == 0; }

 private:
  u64 word(size_t i) const { return i < words_.size() ? words_[i] : 0; }
  void trim() {
    while (!words_.empty() && words_.back() == 0) words_.pop_back();
  }

  std::vector<u64> words_;  // lowest first, no leading zero word
};

#endif
