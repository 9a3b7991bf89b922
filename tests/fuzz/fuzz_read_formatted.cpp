// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a run-time format and a file: the first byte chooses modes and items, the format runs to the first NUL,
// the rest is the file. The same list is then written by the same format.

#include "fuzz/kept_unit.h"
#include "statements/for_rseq_fmt.h"
#include "statements/for_wseq_fmt.h"
#include "support/item_list.h"
#include "tamrun/compiled_format.h"
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

  ItemList items(u8 modes, bool read) const {
    ItemList list;
    if (modes & 1) list.text("NO");
    if (read && (modes & 2)) list.pointer(ITM_INTEGER2, size.get());
    if (modes & 4) list.array(ITM_INTEGER4, numbers.get(), 24);
    if (modes & 8) list.section(ITM_REAL8, reals.get(), {{1, 2, 16}});
    if (modes & 16) list.array_elem(ITM_CHARACTER, texts.get(), 14, 7);
    list.pointer(ITM_INTEGER1, byte.get());
    if (modes & 32) list.pointer(ITM_REAL16, quad.get()).pointer(ITM_COMPLEX16, reals.get());
    return list;
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
  Fuzz_Input rest(data, size);
  u8 modes;
  if (!rest.take(modes)) return 0;
  const char* const text = reinterpret_cast<const char*>(rest.data());
  const size_t length = strnlen(text, rest.size());
  if (too_large(text, length)) return 0;
  const Exact_Text format(text, length);
  const For_Fmt_Text argument = {format.length(), format.data()};
  rest.skip(length + (length < rest.size()));
  (void)input.load(rest.data(), rest.size(), (modes & kSmallReads) != 0);
  For_Lub& written = output.renew(output_bytes);
  written.lub_a_rec_end = written.lub_a_buffer + written.lub_rec_bytes;

  const Variables variables;
  for (int i = 0; i < kStatements; ++i) {
    For_Context context = {};
    const int code = first_call(for_read_seq_fmt, context, kReadUnit, flags_of(modes, true),
                                variables.items(modes, true), {}, &argument);
    require(context.ctx_lub == nullptr);
    if (code != 0 && code != -2) break;
  }
  for (int i = 0; i < 2; ++i) {
    For_Context context = {};
    const int code = first_call(for_write_seq_fmt, context, kWriteUnit, flags_of(modes, false),
                                variables.items(modes, false), {}, &argument);
    require(context.ctx_lub == nullptr);
    if (code != 0 && code != MSG_OUTPUT_CONVERSION) break;
  }
  require(input.guard_is_whole() && output.guard_is_whole());
  return 0;
}
