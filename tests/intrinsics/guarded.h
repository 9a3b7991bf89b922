// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random strings, and copies of strings that touch a page which must not be touched: a read or write beside them is a
// fault.
#ifndef TAMRUN_TESTS_INTRINSICS_GUARDED_H
#define TAMRUN_TESTS_INTRINSICS_GUARDED_H

#include <string.h>
#include <sys/mman.h>

#include <random>
#include <string>
#include <string_view>

namespace tamrun_test {

/// Room for one string of up to a page, between two forbidden pages.
class Guarded {
 public:
  static constexpr size_t kPage = 4096;
  Guarded() : map_(static_cast<char*>(mmap(nullptr, 3 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    mprotect(map_ + kPage, kPage, PROT_READ | PROT_WRITE);
  }
  ~Guarded() { munmap(map_, 3 * kPage); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  /// The text where the page begins, or so that it ends with the page.
  char* put(std::string_view text, bool at_end) {
    char* place = map_ + kPage + (at_end ? kPage - text.size() : 0);
    memcpy(place, text.data(), text.size());
    return place;
  }

 private:
  char* map_;
};

inline size_t below(size_t n) {
  static std::mt19937 random(9901);
  return random() % n;
}

inline std::string random_text(size_t length, std::string_view alphabet) {
  std::string text(length, ' ');
  for (char& c : text) c = alphabet[below(alphabet.size())];
  return text;
}

}  // namespace tamrun_test

#endif
