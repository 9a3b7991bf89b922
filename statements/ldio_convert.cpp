// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Constants of list-directed input into values. A constant whose form is not that of the item is converted in two
// steps, where the language rules of old allow it.

#include <emmintrin.h>

#include "statements/ldio_reader.h"

namespace {

/// Toward zero, as the machine converts: what does not fit gives the most negative integer.
i64 truncate(const Cvt_Quad& value) {
  constexpr int kBias = 0x3FFF, kFractionBits = 112, kHighBits = 48;
  const int power = static_cast<int>(value.high >> kHighBits & 0x7FFF) - kBias;
  if (power < 0) return 0;
  if (power >= 63) return INT64_MIN;
  const u64 high = (value.high & ((u64{1} << kHighBits) - 1)) | u64{1} << kHighBits;
  const int shift = kFractionBits - power;
  const u64 magnitude = shift >= 64 ? high >> (shift - 64) : high << (64 - shift) | value.low >> shift;
  return static_cast<i64>(value.high >> 63 ? u64{0} - magnitude : magnitude);
}

/// Up to 2^64; what is negative wraps around.
u64 truncate_unsigned(Cvt_Quad value) {
  constexpr u64 kOnePower = u64{1} << 48;
  constexpr u64 kTwoTo63 = u64{0x3FFF + 63} << 48, kTwoTo64 = kTwoTo63 + kOnePower;
  if (value.high < kTwoTo63 || value.high >= kTwoTo64) return static_cast<u64>(truncate(value));
  value.high -= kOnePower;  // half of it, and the bit that this loses
  const u64 half = static_cast<u64>(truncate(value));
  const int shift = 112 - 63;
  return half << 1 | (value.low >> shift & 1);
}

}  // namespace

/// The text of a constant as a value of that type, which need not be the item's.
int Ldio_Converter::read_as(const Ldir_Constant& constant, u32 type, u32 flags, void* value, i64 bytes) {
  For_Fmt_Isb isb{};
  isb.isb_lub = &lub_;
  isb.isb_round = lub_.lub_round;
  isb.isb_code = table_[type].operation;
  isb.isb_e = table_[type].e;
  isb.isb_width = constant.length;
  isb.isb_flags = flags;
  For_Value_Info val = {static_cast<u8*>(value), bytes, type, bytes, nullptr};
  return for__cvt_value(&isb, reinterpret_cast<const char*>(constant.text), &val);
}

int Ldio_Converter::convert_text(const Ldir_Constant& constant, For_Value_Info& val) {
  if (constant.form == Ldir_Form::null) return 0;
  const bool letter = constant.form == Ldir_Form::logical || constant.form == Ldir_Form::text;
  if (!wants(constant.form)) return convert_mismatch(constant, val);
  return read_as(constant, val.val_type, letter ? u32{ISB_LOGICAL_LETTER} : 0, val.val_data, val.val_elem);
}

int Ldio_Converter::convert_mismatch(const Ldir_Constant& constant, For_Value_Info& val) {
  const bool to_logical = type_.of_item == Ldio_Class::logical;
  if (type_.of_item == Ldio_Class::character) return MSG_LIST_IO_SYNTAX;
  if (strict_ && (constant.form == Ldir_Form::logical) != to_logical) return MSG_INPUT_CONVERSION;
  switch (constant.form) {
    case Ldir_Form::logical:
      return read_as(constant, val.val_type, ISB_LOGICAL_LETTER, val.val_data, val.val_elem);
    case Ldir_Form::number:
    case Ldir_Form::decimal:
    case Ldir_Form::integer:
    case Ldir_Form::small:
      return convert_truncated(constant, val);
    default:
      return convert_to_logical(constant, val);
  }
}

/// A real number for an integer or logical item.
int Ldio_Converter::convert_truncated(const Ldir_Constant& constant, For_Value_Info& val) {
  switch (val.val_type) {
    case ITM_INTEGER8:
    case ITM_UNSIGNED8:
    case ITM_LOGICAL8: {
      Cvt_Quad value{};
      if (int code = read_as(constant, ITM_REAL16, 0, &value, sizeof value)) return code;
      const u64 result = val.val_type == ITM_UNSIGNED8 ? truncate_unsigned(value) : static_cast<u64>(truncate(value));
      memcpy(val.val_data, &result, sizeof result);
      return 0;
    }
    case ITM_LOGICAL:
      return MSG_INPUT_CONVERSION;
    default:
      break;
  }
  double value = 0;
  if (int code = read_as(constant, ITM_REAL8, 0, &value, sizeof value)) return code;
  const __m128d lane = _mm_set_sd(value);
  const i64 result = val.val_type == ITM_UNSIGNED4 ? _mm_cvttsd_si64(lane) : i64{_mm_cvttsd_si32(lane)};
  memcpy(val.val_data, &result, for__dsc_itm_table[val.val_type].size);  // the low bytes stand first
  return 0;
}

/// Text for anything but a character item: an integer for a logical one.
int Ldio_Converter::convert_to_logical(const Ldir_Constant& constant, For_Value_Info& val) {
  i32 value = 0;
  if (int code = read_as(constant, ITM_INTEGER4, 0, &value, sizeof value)) return code;
  if (type_.of_item != Ldio_Class::logical || val.val_type == ITM_LOGICAL) return MSG_INPUT_CONVERSION;
  const i64 result = value;
  memcpy(val.val_data, &result, for__dsc_itm_table[val.val_type].size);
  return 0;
}
