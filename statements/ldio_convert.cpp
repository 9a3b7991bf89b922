// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Constants of list-directed input into values. A constant whose form is not that of the item is converted in two
// steps, where the language rules of old allow it.

#include <emmintrin.h>

#include "statements/ldio_reader.h"

namespace {

constexpr u8 form_bit(Ldir_Form form) { return static_cast<u8>(1u << static_cast<int>(form)); }
constexpr u8 kIntegerForms = form_bit(Ldir_Form::integer) | form_bit(Ldir_Form::small);
constexpr u8 kNumberForms = form_bit(Ldir_Form::number) | kIntegerForms;

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

Ldio_Converter::Ldio_Converter(For_Lub& lub, bool strict)
    : table_(lub.lub_f_msf_layout ? for__wfs_msf_table : for__wfs_table), strict_(strict) {
  isb_.isb_lub = &lub;
  isb_.isb_round = lub.lub_round;
}

int Ldio_Converter::set_type(u32 type) {
  const For_Ldir_Field& field = table_[type];
  isb_.isb_code = field.operation;
  isb_.isb_e = field.e;
  letter_ = 0;
  wanted_ = kNumberForms;
  class_ = Item_Class::real;
  if (type == ITM_CHARACTER) {
    class_ = Item_Class::character;
    wanted_ = form_bit(Ldir_Form::text);
    letter_ = ISB_LOGICAL_LETTER;
  } else if (type >= kFirstIntegerType && type < ITM_LOGICAL) {
    class_ = Item_Class::integer;
    wanted_ = kIntegerForms;
  } else if (type >= ITM_LOGICAL && type <= kLastIntegerType) {
    class_ = Item_Class::logical;
    wanted_ = form_bit(Ldir_Form::logical);
    letter_ = ISB_LOGICAL_LETTER;
  } else if (type < kFirstRealType || type > kLastRealType || field.width == 0) {
    return MSG_INPUT_CONVERSION;
  }
  return 0;
}

int Ldio_Converter::convert_mismatch(const Ldir_Constant& constant, For_Value_Info& val) {
  if (class_ == Item_Class::character) return MSG_LIST_IO_SYNTAX;
  if (strict_ && (constant.form == Ldir_Form::logical) != (class_ == Item_Class::logical)) return MSG_INPUT_CONVERSION;
  switch (constant.form) {
    case Ldir_Form::logical:
      isb_.isb_flags = ISB_LOGICAL_LETTER;
      return for__cvt_value(&isb_, reinterpret_cast<const char*>(constant.text), &val);
    case Ldir_Form::number:
    case Ldir_Form::integer:
    case Ldir_Form::small:
      return convert_truncated(constant, val);
    default:
      return convert_text(constant, val);
  }
}

int Ldio_Converter::read_as(const Ldir_Constant& constant, u32 type, void* value, i64 bytes) {
  const u8 operation = isb_.isb_code;
  isb_.isb_flags = 0;
  isb_.isb_code = table_[type].operation;
  For_Value_Info val = {static_cast<u8*>(value), bytes, type, bytes, nullptr};
  const int code = for__cvt_value(&isb_, reinterpret_cast<const char*>(constant.text), &val);
  isb_.isb_code = operation;
  return code;
}

/// A real number for an integer or logical item.
int Ldio_Converter::convert_truncated(const Ldir_Constant& constant, For_Value_Info& val) {
  switch (val.val_type) {
    case ITM_INTEGER8:
    case ITM_UNSIGNED8:
    case ITM_LOGICAL8: {
      Cvt_Quad value{};
      if (int code = read_as(constant, ITM_REAL16, &value, sizeof value)) return code;
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
  if (int code = read_as(constant, ITM_REAL8, &value, sizeof value)) return code;
  const __m128d lane = _mm_set_sd(value);
  const i64 result = val.val_type == ITM_UNSIGNED4 ? _mm_cvttsd_si64(lane) : i64{_mm_cvttsd_si32(lane)};
  memcpy(val.val_data, &result, for__dsc_itm_table[val.val_type].size);  // the low bytes stand first
  return 0;
}

/// Text for anything but a character item: an integer for a logical one.
int Ldio_Converter::convert_text(const Ldir_Constant& constant, For_Value_Info& val) {
  i32 value = 0;
  if (int code = read_as(constant, ITM_INTEGER4, &value, sizeof value)) return code;
  if (class_ != Item_Class::logical || val.val_type == ITM_LOGICAL) return MSG_INPUT_CONVERSION;
  const i64 result = value;
  memcpy(val.val_data, &result, for__dsc_itm_table[val.val_type].size);
  return 0;
}
