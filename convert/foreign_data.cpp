// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted data of a connection in another byte order or another floating-point format.

#include "convert/foreign_data.h"

#include "convert/foreign_real.h"
#include "tamrun/messages.h"

constexpr i32 forfloat_to_cvtfloat[28] = {
    // 25 to 31
    0,
    4,
    -1,
    4,
    4,
    -1,
    0,
    // 32 to 39
    -1,
    -1,
    -1,
    -1,
    -1,
    -1,
    -1,
    -1,
    // 40 to 44
    5,
    -1,
    1,
    2,
    5,
    // 45 to 52
    1,
    2,
    3,
    5,
    -1,
    6,
    3,
    6,
};

namespace {

constexpr int kKinds = 7, kFormats = FOREIGN_FGX + 1;

/// Converts values that lie one behind the other; the number of failures. A value that failed becomes the special value
/// of the target's format, or stays as it was.
using Run_Routine = i64(const u8* from, u8* to, i64 count, bool keep_failed);

template <class From, class To>
i64 convert_run(const u8* from, u8* to, i64 count, bool keep_failed) {
  static_assert(sizeof(typename From::Bits) == sizeof(typename To::Bits));
  constexpr int kBytes = sizeof(typename From::Bits);
  i64 failures = 0;
  for (const u8* const end = from + count * kBytes; from != end; from += kBytes, to += kBytes) {
    const auto [bits, status] = convert_foreign<From, To>(From::load(from), To::kRounding);
    if (status != CVT_SUCCESS && status != CVT_UNDERFLOW) [[unlikely]] {
      ++failures;
      if (keep_failed) {
        memmove(to, from, kBytes);
        continue;
      }
    }
    To::store(to, bits);
  }
  return failures;
}

constexpr Run_Routine* kVaxFToSingle = convert_run<Form_Vax_F, Form_Ieee_Single>;
constexpr Run_Routine* kVaxDToDouble = convert_run<Form_Vax_D, Form_Ieee_Double>;
constexpr Run_Routine* kVaxGToDouble = convert_run<Form_Vax_G, Form_Ieee_Double>;
constexpr Run_Routine* kIbmToSingle = convert_run<Form_Ibm_Short, Form_Ieee_Single>;
constexpr Run_Routine* kIbmToDouble = convert_run<Form_Ibm_Long, Form_Ieee_Double>;
constexpr Run_Routine* kCrayToDouble = convert_run<Form_Cray, Form_Ieee_Double>;
constexpr Run_Routine* kSingleToVaxF = convert_run<Form_Ieee_Single, Form_Vax_F>;
constexpr Run_Routine* kDoubleToVaxD = convert_run<Form_Ieee_Double, Form_Vax_D>;
constexpr Run_Routine* kDoubleToVaxG = convert_run<Form_Ieee_Double, Form_Vax_G>;
constexpr Run_Routine* kSingleToIbm = convert_run<Form_Ieee_Single, Form_Ibm_Short>;
constexpr Run_Routine* kDoubleToIbm = convert_run<Form_Ieee_Double, Form_Ibm_Long>;
constexpr Run_Routine* kDoubleToCray = convert_run<Form_Ieee_Double, Form_Cray>;

// Columns of both tables: no format (a byte order alone), VAXG, VAXD, IBM, CRAY, FDX, FGX. Rows: kinds of the variable.

/// From the file's form to the variable's kind.
constexpr Run_Routine* cvt_read_routine[kKinds][kFormats] = {
    {kSingleToVaxF},  // VAX F
    {kDoubleToVaxD},  // VAX D
    {kDoubleToVaxG},  // VAX G
    {},               // VAX H
    {nullptr, kVaxFToSingle, kVaxFToSingle, kIbmToSingle, nullptr, kVaxFToSingle, kVaxFToSingle},
    {nullptr, kVaxGToDouble, kVaxDToDouble, kIbmToDouble, kCrayToDouble, kVaxDToDouble, kVaxGToDouble},
    {},  // IEEE quad
};

/// From the variable's kind to the file's form.
constexpr Run_Routine* cvt_write_routine[kKinds][kFormats] = {
    {kVaxFToSingle},  // VAX F
    {kVaxDToDouble},  // VAX D
    {kVaxGToDouble},  // VAX G
    {},               // VAX H
    {nullptr, kSingleToVaxF, kSingleToVaxF, kSingleToIbm, nullptr, kSingleToVaxF, kSingleToVaxF},
    {nullptr, kDoubleToVaxG, kDoubleToVaxD, kDoubleToIbm, kDoubleToCray, kDoubleToVaxD, kDoubleToVaxG},
    {},  // IEEE quad
};

constexpr i64 kKindBytes[kKinds] = {4, 8, 8, 16, 4, 8, 16};

using Routine_Table = Run_Routine* const (&)[kKinds][kFormats];

/// How the values of a type differ between variable and file.
struct Treatment {
  Run_Routine* routine = nullptr;
  bool reverse = false;  ///< on the file's side of the routine
  bool refuse = false;
};

constexpr bool is_integer(u32 type) { return type >= ITM_INTEGER1 && type <= ITM_LOGICAL8; }

/// True for the real and complex types and for the few codes among them that name none.
constexpr bool is_real(u32 type) {
  constexpr u32 kGapFirst = 32, kGapLast = 39, kGapAlone = 49;
  return type >= ITM_REAL4_VAX && type <= ITM_COMPLEX32 && !(type >= kGapFirst && type <= kGapLast) &&
         type != kGapAlone;
}

Treatment treatment(Routine_Table table, const For_Lub& lub, u32 type, i64 length) {
  const bool big_endian = lub.lub_f_big_endian_words && length > 1;
  if (is_integer(type)) return {.reverse = big_endian};
  if (!is_real(type)) return {};
  // The foreign formats are big-endian by themselves, but none of them has a quad.
  const int format = lub.lub_convert;
  const bool quad = type == ITM_REAL16 || type == ITM_COMPLEX32;
  const bool reverse =
      big_endian && (format == FOREIGN_NONE || (quad && (format == FOREIGN_IBM || format == FOREIGN_CRAY)));
  const int kind = forfloat_to_cvtfloat[type - ITM_REAL4_VAX];
  if (kind < 0) return {.reverse = reverse, .refuse = true};
  Run_Routine* const routine = format < kFormats ? table[kind][format] : nullptr;
  return {routine, reverse, routine != nullptr && length != kKindBytes[kind]};
}

/// Moves values as they are, or each one reversed.
void move_values(bool reverse, const u8* from, u8* to, i64 length, i64 count) {
  if (reverse) {
    reverse_elements(to, from, length, count);
  } else if (to != from) {
    memcpy(to, from, static_cast<size_t>(length * count));
  }
}

}  // namespace

i64 cvt_foreign_read_run(const For_Lub& lub, u32 type, i64 length, i64 count, const u8* from, u8* to) {
  const auto [routine, reverse, refuse] = treatment(cvt_read_routine, lub, type, length);
  if (routine == nullptr || refuse) {
    move_values(reverse, from, to, length, count);
    return refuse ? count : 0;
  }
  if (reverse) reverse_elements(to, from, length, count);
  return routine(reverse ? to : from, to, count, true);
}

i64 cvt_foreign_write_run(const For_Lub& lub, u32 type, i64 length, i64 count, const u8* from, u8* to) {
  const auto [routine, reverse, refuse] = treatment(cvt_write_routine, lub, type, length);
  if (routine == nullptr || refuse) {
    move_values(reverse && !refuse, from, to, length, count);
    return refuse ? count : 0;
  }
  const i64 failures = routine(from, to, count, false);
  if (reverse) reverse_elements(to, to, length, count);
  return failures;
}

int for__cvt_foreign_check(const For_Value_Info* item, const For_Lub* lub) {
  const u32 type = item->val_type;
  if (item->val_elem < 2) return 0;
  if (is_integer(type)) return lub->lub_f_big_endian_words;
  if (type < ITM_REAL4_VAX || type > ITM_COMPLEX32) return 0;
  const Treatment t = treatment(cvt_write_routine, *lub, type, item->val_elem);
  return lub->lub_f_big_endian_words || t.refuse || t.routine != nullptr ||
         forfloat_to_cvtfloat[type - ITM_REAL4_VAX] < 0;
}

int for__cvt_foreign_read(const For_Value_Info* item, const For_Lub* lub, i64 length) {
  const i64 failures = cvt_foreign_read_run(*lub, item->val_type, length, 1, item->val_data, item->val_data);
  return failures != 0 ? MSG_FLOATING_CONVERSION_FAILED : 0;
}

int for__cvt_foreign_write(const For_Value_Info* item, i64 length, const For_Lub* lub, u8* target) {
  const u32 type = item->val_type;
  if (!is_integer(type) && !is_real(type)) return 0;
  const i64 failures = cvt_foreign_write_run(*lub, type, length, 1, item->val_data, target);
  return failures != 0 ? MSG_FLOATING_CONVERSION_FAILED : 0;
}
