// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Character intrinsics beside libgfortran's, the C library's and a loop over bytes. Every routine is called through a
// pointer, as from compiled code. An empty asm statement keeps the compiler from turning the byte loops into vectors or
// calls of the C library.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "intrinsics/for_f90str.h"

#ifdef TAMRUN_BENCH_PEER
extern "C" {
void _gfortran_concat_string(size_t, char*, size_t, const char*, size_t, const char*);
void _gfortran_string_trim(size_t*, void**, size_t, const char*);
size_t _gfortran_string_len_trim(size_t, const char*);
int _gfortran_compare_string(size_t, const char*, size_t, const char*);
size_t _gfortran_string_index(size_t, const char*, size_t, const char*, i32);
size_t _gfortran_string_scan(size_t, const char*, size_t, const char*, i32);
size_t _gfortran_string_verify(size_t, const char*, size_t, const char*, i32);
void _gfortran_adjustl(char*, size_t, const char*);
void _gfortran_adjustr(char*, size_t, const char*);
}
#endif

namespace {

#define TAMRUN_BYTE_LOOP(i) asm volatile("" : "+r"(i))

void loop_copy(char* to, const char* from, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    TAMRUN_BYTE_LOOP(i);
    to[i] = from[i];
  }
}

size_t loop_len_trim(const char* s, size_t n) {
  while (n > 0 && s[n - 1] == ' ') {
    --n;
    TAMRUN_BYTE_LOOP(n);
  }
  return n;
}

int loop_compare(const char* a, const char* b, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    TAMRUN_BYTE_LOOP(i);
    if (a[i] != b[i]) return static_cast<u8>(a[i]) - static_cast<u8>(b[i]);
  }
  return 0;
}

/// Hides what is called.
template <class Function>
Function* hidden(Function* function) {
  Function* volatile unknown = function;
  return unknown;
}

struct Buffers {
  explicit Buffers(size_t n)
      : size(n), text(n, 'x'), same(n, 'x'), half(n, 'x'), blank(n, ' '), words(n, 'x'), target(n, '.') {
    blank[0] = 'x';
    for (size_t i = n / 2; i < n; ++i) half[i] = ' ';
    for (size_t i = 0; i < n; ++i) words[i] = "the quick brown fox jumps over a lazy dog "[i % 42];
    lead.assign(half.rbegin(), half.rend());
  }
  size_t size;
  std::string text, same, half, lead, blank, words, target;
  For_Concat_Operand operands[2] = {{text.data(), static_cast<i64>(size / 2)},
                                    {same.data(), static_cast<i64>(size / 2)}};
};

template <class Body>
void enter(const std::string& topic, size_t n, const char* side, Body body) {
  const std::string name = "Strings/" + topic + "/" + std::to_string(n) + "/" + side;
  benchmark::RegisterBenchmark(name.c_str(), [n, body](benchmark::State& state) {
    Buffers buffers(n);
    for (auto _ : state) {
      body(buffers);
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
  });
}

void enter_copies(size_t n) {
  const auto cpystr = hidden(for_cpystr);
  const auto concat = hidden(for_concat);
  enter("assign", n, "tamrun", [=](Buffers& b) { cpystr(b.target.data(), n, b.text.data(), n, 0); });
  enter("assign", n, "memmove", [move = hidden(memmove)](Buffers& b) { move(b.target.data(), b.text.data(), b.size); });
  enter("assign", n, "byte_loop",
        [loop = hidden(loop_copy)](Buffers& b) { loop(b.target.data(), b.text.data(), b.size); });
  enter("assign_pad", n, "tamrun", [=](Buffers& b) { cpystr(b.target.data(), n, b.text.data(), n / 2, 0); });
  enter("assign_pad", n, "memmove_memset", [move = hidden(memmove), set = hidden(memset)](Buffers& b) {
    move(b.target.data(), b.text.data(), b.size / 2);
    set(b.target.data() + b.size / 2, ' ', b.size - b.size / 2);
  });
  enter("concat", n, "tamrun", [=](Buffers& b) { concat(b.operands, 2, b.target.data(), n); });
  enter("concat", n, "byte_loop", [=, loop = hidden(loop_copy)](Buffers& b) {
    loop(b.target.data(), b.text.data(), n / 2);
    loop(b.target.data() + n / 2, b.same.data(), n / 2);
  });
  enter("adjustl", n, "tamrun", [=, f = hidden(for_adjustl)](Buffers& b) { f(b.target.data(), n, b.lead.data(), n); });
  enter("adjustr", n, "tamrun", [=, f = hidden(for_adjustr)](Buffers& b) { f(b.target.data(), n, b.half.data(), n); });
#ifdef TAMRUN_BENCH_PEER
  enter("concat", n, "libgfortran", [=, f = hidden(_gfortran_concat_string)](Buffers& b) {
    f(n, b.target.data(), n / 2, b.text.data(), n / 2, b.same.data());
  });
  enter("adjustl", n, "libgfortran",
        [=, f = hidden(_gfortran_adjustl)](Buffers& b) { f(b.target.data(), n, b.lead.data()); });
  enter("adjustr", n, "libgfortran",
        [=, f = hidden(_gfortran_adjustr)](Buffers& b) { f(b.target.data(), n, b.half.data()); });
#endif
}

void enter_trims(size_t n) {
  using benchmark::DoNotOptimize;
  enter("len_trim", n, "tamrun", [=, f = hidden(for_len_trim)](Buffers& b) { DoNotOptimize(f(b.blank.data(), n)); });
  enter("len_trim", n, "byte_loop",
        [=, f = hidden(loop_len_trim)](Buffers& b) { DoNotOptimize(f(b.blank.data(), n)); });
  enter("trim", n, "tamrun",
        [=, f = hidden(for_trim)](Buffers& b) { DoNotOptimize(f(b.target.data(), n, b.half.data(), n)); });
  enter("trim", n, "byte_loop", [=, find = hidden(loop_len_trim), move = hidden(loop_copy)](Buffers& b) {
    move(b.target.data(), b.half.data(), find(b.half.data(), n));
  });
#ifdef TAMRUN_BENCH_PEER
  enter("len_trim", n, "libgfortran",
        [=, f = hidden(_gfortran_string_len_trim)](Buffers& b) { DoNotOptimize(f(n, b.blank.data())); });
  enter("trim", n, "libgfortran", [=, f = hidden(_gfortran_string_trim)](Buffers& b) {
    size_t length;
    void* trimmed;
    f(&length, &trimmed, n, b.half.data());
    if (length > 0) free(trimmed);
  });
#endif
}

void enter_comparisons(size_t n) {
  using benchmark::DoNotOptimize;
  const auto relation = [n](const char* topic, const char* side, auto compare) {
    enter(topic, n, side, [=](Buffers& b) { DoNotOptimize(compare(b.text.data(), n, b.same.data(), n)); });
  };
  relation("compare_eq", "tamrun", hidden(for_cpstr_eq));
  relation("compare_lt", "tamrun", hidden(for_cpstr_lt));
  relation("compare_llt", "tamrun", hidden(for_llt));
  // A short string beside one that goes on with blanks.
  enter("compare_pad", n, "tamrun",
        [=, f = hidden(for_cpstr_eq)](Buffers& b) { DoNotOptimize(f(b.half.data(), n, b.text.data(), n / 2)); });
  for (const char* topic : {"compare_eq", "compare_lt", "compare_llt"}) {
    relation(topic, "memcmp",
             [f = hidden(memcmp)](const char* a, size_t m, const char* b, size_t) { return f(a, b, m); });
    relation(topic, "byte_loop",
             [f = hidden(loop_compare)](const char* a, size_t m, const char* b, size_t) { return f(a, b, m); });
#ifdef TAMRUN_BENCH_PEER
    relation(topic, "libgfortran",
             [f = hidden(_gfortran_compare_string)](const char* a, size_t m, const char* b, size_t k) {
               return f(m, a, k, b);
             });
#endif
  }
#ifdef TAMRUN_BENCH_PEER
  enter("compare_pad", n, "libgfortran", [=, f = hidden(_gfortran_compare_string)](Buffers& b) {
    DoNotOptimize(f(n, b.half.data(), n / 2, b.text.data()));
  });
#endif
}

/// Substrings that are not there: of some length, with an end that is frequent or rare.
void enter_index(size_t n) {
  using benchmark::DoNotOptimize;
  for (const std::string part :
       {"?", "ox", "jumps!", "over the lazy dog and under the fence", "lazy wolf then ran away"}) {
    if (part.size() > n) continue;
    const i32 m = static_cast<i32>(part.size());
    const std::string topic = "index_" + std::to_string(m), back = "index_back_" + std::to_string(m);
    enter(topic, n, "tamrun",
          [=, f = hidden(for_index)](Buffers& b) { DoNotOptimize(f(b.words.data(), n, part.data(), m)); });
    enter(topic, n, "memmem",
          [=, f = hidden(memmem)](Buffers& b) { DoNotOptimize(f(b.words.data(), n, part.data(), m)); });
    enter(back, n, "tamrun",
          [=, f = hidden(for_index_back)](Buffers& b) { DoNotOptimize(f(b.words.data(), n, part.data(), m)); });
#ifdef TAMRUN_BENCH_PEER
    enter(topic, n, "libgfortran", [=, f = hidden(_gfortran_string_index)](Buffers& b) {
      DoNotOptimize(f(n, b.words.data(), m, part.data(), 0));
    });
    enter(back, n, "libgfortran", [=, f = hidden(_gfortran_string_index)](Buffers& b) {
      DoNotOptimize(f(n, b.words.data(), m, part.data(), 1));
    });
#endif
  }
}

/// Sets of `m` that hold none of the text, or all of it; the whole text is gone through.
void enter_sets(size_t n, size_t m) {
  using benchmark::DoNotOptimize;
  std::string set;
  for (size_t i = 1; i < m; ++i) set += static_cast<char>('A' + i);
  const std::string strangers = set + '0', members = set + 'x', suffix = "_" + std::to_string(m);
  const i32 size = static_cast<i32>(m);
  enter("scan" + suffix, n, "tamrun",
        [=, f = hidden(for_f90_scan)](Buffers& b) { DoNotOptimize(f(b.text.data(), n, strangers.data(), size, 0)); });
  enter("verify" + suffix, n, "tamrun",
        [=, f = hidden(for_f90_verify)](Buffers& b) { DoNotOptimize(f(b.text.data(), n, members.data(), size, 0)); });
#ifdef TAMRUN_BENCH_PEER
  enter("scan" + suffix, n, "libgfortran", [=, f = hidden(_gfortran_string_scan)](Buffers& b) {
    DoNotOptimize(f(n, b.text.data(), m, strangers.data(), 0));
  });
  enter("verify" + suffix, n, "libgfortran", [=, f = hidden(_gfortran_string_verify)](Buffers& b) {
    DoNotOptimize(f(n, b.text.data(), m, members.data(), 0));
  });
#endif
}

const bool g_entered = [] {
  for (const size_t n : {8, 64, 4096}) {
    enter_copies(n);
    enter_trims(n);
    enter_comparisons(n);
    enter_index(n);
    for (const size_t m : {1, 3, 10, 24}) enter_sets(n, m);
  }
  return true;
}();

}  // namespace
