// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a run-time format and a file: the first byte chooses modes and items, the format runs to the first NUL,
// the rest is the file. The same list is then written by the same format.

#include <memory>

#include "core/failure.h"
#include "fuzz/kept_unit.h"
#include "statements/for_rseq_fmt.h"
#include "statements/for_wseq_fmt.h"
#include "tamrun/compiled_format.h"
#include "tamrun/item_list.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"

namespace {

constexpr int kReadUnit = 40, kWriteUnit = 41;
constexpr int kStatements = 4;
constexpr u8 kSmallReads = 128;      ///< of the modes
constexpr i64 kMostNumber = 2000;    ///< a repeat or width above this only takes time
constexpr i64 kMostProduct = 20000;  ///< and so do nested groups that repeat more often

/// True when a number of the format would make a huge record or a long loop.
bool too_large(const char* text, size_t length) {
  i64 number = 0, product = 1;
  for (size_t i = 0; i < length; ++i) {
    if (text[i] >= '0' && text[i] <= '9') {
      number = number * 10 + (text[i] - '0');
      if (number > kMostNumber) return true;
      continue;
    }
    if (text[i] == ' ' || text[i] == '\t') continue;
    if (number > 1) product *= number;
    if (product > kMostProduct) return true;
    number = 0;
  }
  return false;
}

/// Variables of every kind in blocks of exactly their size.
struct Variables {
  std::unique_ptr<i32[]> numbers{new i32[6]()};
  std::unique_ptr<double[]> reals{new double[4]()};
  std::unique_ptr<char[]> texts{new char[14]()};
  std::unique_ptr<i8> byte{new i8(0)};
  std::unique_ptr<__float128> quad{new __float128(0)};
  std::unique_ptr<i16> size{new i16(0)};
};

/// The item list; the words point into the variables.
struct Items {
  u8 list[32];
  u64 words[48];
  int pairs = 0, used = 0;

  void pair(u8 type, u8 access) {
    list[2 * pairs] = type;
    list[2 * pairs++ + 1] = access;
  }
  void word(u64 value) { words[used++] = value; }
  void word(const void* pointer) { word(reinterpret_cast<u64>(pointer)); }

  void build(const Variables& v, u8 modes, bool read) {
    static const char kNo[] = "NO";
    if (modes & 1) {
      pair(ITM_CHARACTER, ACC_SCALAR);
      word(u64{2});
      word(kNo);
    }
    if (read && (modes & 2)) {
      pair(ITM_INTEGER2, ACC_POINTER);
      word(v.size.get());
    }
    if (modes & 4) {
      pair(ITM_INTEGER4, ACC_ARRAY);
      word(u64{24});
      word(v.numbers.get());
    }
    if (modes & 8) {
      pair(ITM_REAL8, ACC_SECTION);
      for (u64 w : {u64{1}, reinterpret_cast<u64>(v.reals.get()), u64{1}, u64{2}, u64{16}}) word(w);
    }
    if (modes & 16) {
      pair(ITM_CHARACTER, ACC_ARRAY_ELEM);
      word(u64{14});
      word(v.texts.get());
      word(u64{7});
    }
    pair(ITM_INTEGER1, ACC_POINTER);
    word(v.byte.get());
    if (modes & 32) {
      pair(ITM_REAL16, ACC_POINTER);
      word(v.quad.get());
      pair(ITM_COMPLEX16, ACC_POINTER);
      word(v.reals.get());
    }
    pair(ITM_END_STATEMENT, 0);
  }
};

For_IO_Flags flags_of(u8 modes, bool read) {
  For_IO_Flags flags = iof_extended | iof_iostat | iof_format_text;
  if (!(modes & 64)) flags |= iof_f90_rtl;
  if (modes & 1) flags |= iof_advance_given;
  if (read && (modes & 2)) flags |= iof_size_given;
  return flags;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Kept_Unit input(kReadUnit, false), output(kWriteUnit, true);
  static const i64 output_bytes = output.lub().lub_buffer_size;
  if (size < 1) return 0;
  const u8 modes = data[0];
  const char* text = reinterpret_cast<const char*>(data + 1);
  const size_t length = strnlen(text, size - 1);
  if (too_large(text, length)) return 0;
  std::unique_ptr<char[]> format(new char[length]);
  memcpy(format.get(), text, length);
  const For_Fmt_Text argument = {static_cast<i64>(length), format.get()};
  const size_t used = 1 + length + (1 + length < size);
  (void)input.load(data + used, size - used, (modes & kSmallReads) != 0);
  For_Lub& written = output.renew(output_bytes);
  written.lub_a_rec_end = written.lub_a_buffer + written.lub_rec_bytes;

  const Variables variables;
  for (int i = 0; i < kStatements; ++i) {
    Items items;
    items.build(variables, modes, true);
    For_Context context = {};
    const int code = for_read_seq_fmt(&context, kReadUnit, flags_of(modes, true), items.list, items.words, &argument);
    require(context.ctx_lub == nullptr);
    if (code != 0 && code != -2) break;
  }
  for (int i = 0; i < 2; ++i) {
    Items items;
    items.build(variables, modes, false);
    For_Context context = {};
    const int code =
        for_write_seq_fmt(&context, kWriteUnit, flags_of(modes, false), items.list, items.words, &argument);
    require(context.ctx_lub == nullptr);
    if (code != 0 && code != MSG_OUTPUT_CONVERSION) break;
  }
  require(input.guard_is_whole() && output.guard_is_whole());
  return 0;
}
