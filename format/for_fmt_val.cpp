// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Editing one value: for__format_value writes a field, for__cvt_value reads one. Operation and item type choose the
// converter, the modes of the statement and of the unit its options.
#include "format/for_fmt_val.h"

#include <string.h>

#include "core/failure.h"

namespace {

constexpr u32 kBinary = 2, kOctal = 8, kDecimal = 10, kHexadecimal = 16;

u32 round_options(const For_Fmt_Isb& isb) { return rounding_options(isb.isb_round); }

/// The bits `From` of the flags as the bits `To`, all moved equally far.
template <u64 From, u64 To>
constexpr u64 moved(u64 flags) {
  if constexpr (To >= From) {
    static_assert(From * (To / From) == To);
    return (flags & From) * (To / From);
  } else {
    static_assert(To * (From / To) == From);
    return (flags & From) / (From / To);
  }
}

/// The value at an address of any alignment.
template <class T>
T load(const u8* data) {
  T value;
  memcpy(&value, data, sizeof value);
  return value;
}

template <class T>
void store(u8* data, T value) {
  memcpy(data, &value, sizeof value);
}

For_Value_Group group_of(const For_Value_Info& val) {
  return val.val_type < kItemTypes ? for__value_groups[val.val_type] : VG_NONE;
}

constexpr int output_message(int status) {
  switch (status) {
    case CVT_SUCCESS:
    case CVT_IS_NAN:
    case CVT_IS_INFINITY:
      return 0;
    case CVT_RECORD_OVERFLOW:
      return MSG_RECORD_OVERFLOW;
    case CVT_INVALID_VALUE:
      return MSG_INPUT_CONVERSION;
    default:
      return MSG_OUTPUT_CONVERSION;
  }
}

constexpr int input_message(int status) { return status == CVT_SUCCESS ? 0 : MSG_INPUT_CONVERSION; }

// Output.

u64 real_ext(const For_Fmt_Isb& isb) {
  const u64 flags2 = isb.isb_flags2;
  u64 ext = CVT_X_NONE;
  if (isb.isb_lub->lub_f_minus_zero) ext |= CVT_X_MINUS_ZERO;
  if (for__decimal_comma(isb)) ext |= CVT_X_DECIMAL_COMMA;
  ext |= moved<ISB2_MINIMAL | ISB2_STANDARD_G0, CVT_X_WIDTH_COMPUTED | CVT_X_STANDARD_G0>(flags2);
  ext |= moved<ISB2_KEEP_ROUNDED_SIGN | ISB2_VALUE_OPTION | ISB2_D_GIVEN | ISB2_W_ZERO,
               CVT_X_KEEP_ROUNDED_SIGN | CVT_X_VALUE_OPTION | CVT_X_D_GIVEN | CVT_X_W_ZERO>(flags2);
  ext |= moved<ISB2_G_NO_WIDTH, CVT_X_G0>(flags2);
  ext |= moved<ISB_LIST_G, CVT_X_LIST_DIRECTED>(isb.isb_flags);
  return ext;
}

/// The common path of all real output; `limit` bounds the integer digits, 0 for no bound.
int format_real(const For_Value_Info& val, const For_Fmt_Isb& isb, i64 limit, i32 e, u32 options, u64 ext,
                char* field) {
  options |= round_options(isb);
  if (isb.isb_flags & ISB_SP) options |= CVT_M_FORCE_PLUS;
  const i32 width = static_cast<i32>(isb.isb_width);
  const i32 digits_limit = static_cast<i32>(limit);
  i32 length;  // the statements find the end of a minimal field by its blanks
  switch (group_of(val)) {
    case VG_REAL4: {
      const float value = load<float>(val.val_data);
      return output_message(cvt_ieee_s_to_text_ex(&value, width, isb.isb_scale, isb.isb_d, digits_limit, e, options,
                                                  field, ext, &length));
    }
    case VG_REAL8: {
      const double value = load<double>(val.val_data);
      return output_message(cvt_ieee_t_to_text_ex(&value, width, isb.isb_scale, isb.isb_d, digits_limit, e, options,
                                                  field, ext, &length));
    }
    case VG_REAL16: {
      const Cvt_Quad value = load<Cvt_Quad>(val.val_data);
      return output_message(cvt_ieee_x_to_text_ex(&value, width, isb.isb_scale, isb.isb_d, digits_limit, e, options,
                                                  field, ext, &length));
    }
    default:
      return MSG_FORMAT_TYPE_MISMATCH;
  }
}

int format_exponent_form(const For_Value_Info& val, const For_Fmt_Isb& isb, u32 options, char* field) {
  return format_real(val, isb, 0, isb.isb_e, options, real_ext(isb), field);
}

int format_fixed(const For_Value_Info& val, const For_Fmt_Isb& isb, char* field) {
  const u32 options = CVT_M_F_FORM | moved<ISB_LEFT_JUSTIFY, CVT_M_LEFT_JUSTIFY>(isb.isb_flags);
  return format_real(val, isb, isb.isb_width, 0, options, real_ext(isb), field);
}

/// `digits` is m of Iw.m.
int format_integer(const For_Value_Info& val, const For_Fmt_Isb& isb, i32 digits, char* field) {
  const u8* data = val.val_data;
  const i32 width = static_cast<i32>(isb.isb_width);
  const u32 options = isb.isb_flags & ISB_SP ? u32{CVT_M_FORCE_PLUS} : 0;
  i32 narrow;
  u32 narrow_unsigned;
  switch (group_of(val)) {
    case VG_I4:
    case VG_L4:
      narrow = load<i32>(data);
      break;
    case VG_I8:
    case VG_L8:
      return output_message(cvt_integer64_to_text(load<i64>(data), width, digits, options, field));
    case VG_I2:
    case VG_L2:
      narrow = load<i16>(data);
      break;
    case VG_I1:
    case VG_L1:
      narrow = load<i8>(data);
      break;
    case VG_U1:
      narrow_unsigned = *data;
      return output_message(cvt_unsigned_to_text(narrow_unsigned, width, kDecimal, digits, field));
    case VG_U2:
      narrow_unsigned = load<u16>(data);
      return output_message(cvt_unsigned_to_text(narrow_unsigned, width, kDecimal, digits, field));
    case VG_U4:
      narrow_unsigned = load<u32>(data);
      return output_message(cvt_unsigned_to_text(narrow_unsigned, width, kDecimal, digits, field));
    case VG_U8:
      return output_message(cvt_unsigned64_to_text(load<u64>(data), width, kDecimal, digits, field));
    default:
      return MSG_FORMAT_TYPE_MISMATCH;
  }
  return output_message(cvt_integer_to_text(narrow, width, digits, options, field));
}

int format_logical(const For_Value_Info& val, const For_Fmt_Isb& isb, char* field) {
  const u8* data = val.val_data;
  const i32 width = static_cast<i32>(isb.isb_width);
  i32 value;
  switch (group_of(val)) {
    case VG_I1:
    case VG_U1:
    case VG_L1:
      value = load<i8>(data);
      break;
    case VG_I2:
    case VG_U2:
    case VG_L2:
      value = load<i16>(data);
      break;
    case VG_I4:
    case VG_U4:
    case VG_L4:
      value = load<i32>(data);
      break;
    case VG_I8:
    case VG_U8:
    case VG_L8:
      return output_message(cvt_boolean64_to_text(load<i64>(data), width, CVT_M_BOOLEAN_LETTER, field));
    default:
      return MSG_FORMAT_TYPE_MISMATCH;
  }
  const u64 ext = CVT_X_NONE | (isb.isb_lub->lub_f_logical_nonzero ? u64{CVT_X_ANY_NONZERO_TRUE} : 0);
  return output_message(cvt_boolean_to_text_ex(value, width, CVT_M_BOOLEAN_LETTER, field, ext));
}

/// Bytes of the value that B, O and Z edit; 0: the type is edited as an unsigned integer of 32 bits.
i64 image_bytes(const For_Value_Info& val) {
  switch (group_of(val)) {
    case VG_I1:
    case VG_U1:
    case VG_L1:
      return 1;
    case VG_I2:
    case VG_U2:
    case VG_L2:
      return 2;
    case VG_L4:
      return val.val_type == ITM_LOGICAL ? 0 : 4;
    case VG_I4:
    case VG_U4:
    case VG_REAL4:
      return 4;
    case VG_I8:
    case VG_U8:
    case VG_L8:
    case VG_REAL8:
      return 8;
    case VG_REAL16:
      return 16;
    case VG_CHARACTER:
      return val.val_elem;
    default:
      return 0;
  }
}

int format_image(const For_Value_Info& val, const For_Fmt_Isb& isb, i32 radix, char* field) {
  const i32 width = static_cast<i32>(isb.isb_width);
  const For_Value_Group group = group_of(val);
  const i64 bytes = image_bytes(val);
  int status;
  if (group == VG_I8 || group == VG_U8) {
    status = cvt_data64_to_text(val.val_data, width, static_cast<i32>(bytes), radix, isb.isb_d, field);
  } else if (bytes != 0 || group == VG_CHARACTER) {
    status = cvt_data_to_text(val.val_data, width, static_cast<i32>(bytes), radix, isb.isb_d, field);
  } else {
    status = cvt_unsigned_to_text(load<u32>(val.val_data), width, radix, isb.isb_d, field);
  }
  return output_message(status);
}

int format_character(const For_Value_Info& val, const For_Fmt_Isb& isb, char* field) {
  const i64 width = isb.isb_width, length = val.val_elem;
  if (width <= 0) return 0;
  const i64 blanks = width > length ? width - length : 0;
  memset(field, ' ', blanks);
  memcpy(field + blanks, val.val_data, width - blanks);
  return 0;
}

int format_general(const For_Value_Info& val, const For_Fmt_Isb& isb, char* field) {
  switch (group_of(val)) {
    case VG_CHARACTER:
      return format_character(val, isb, field);
    case VG_L1:
    case VG_L2:
    case VG_L4:
    case VG_L8:
      return format_logical(val, isb, field);
    case VG_I1:
    case VG_U1:
    case VG_I2:
    case VG_U2:
    case VG_I4:
    case VG_U4:
    case VG_I8:
    case VG_U8:
      return format_integer(val, isb, 1, field);
    default:
      break;
  }
  const For_Lub& lub = *isb.isb_lub;
  u32 options = moved<ISB_LEFT_JUSTIFY, CVT_M_LEFT_JUSTIFY>(isb.isb_flags);
  if (isb.isb_code == FMT_G_WDE && !(isb.isb_flags2 & ISB2_G_NO_WIDTH)) options |= CVT_M_EXPONENT_GIVEN;
  if (isb.isb_flags & ISB_LIST_G) {
    options |= moved<ISB2_VALUE_OPTION, CVT_M_G_STANDARD>(isb.isb_flags2);
    if (lub.lub_f_compact_ldio) options |= CVT_M_G_ZERO_AS_F;
  } else if (lub.lub_f_f90_rtl) {
    options |= CVT_M_G_STANDARD;
  }
  u64 ext = real_ext(isb);
  if (lub.lub_f_msf_layout) ext |= CVT_X_LIST_G;
  return format_real(val, isb, isb.isb_width, isb.isb_e, options, ext, field);
}

// Input.

constexpr u32 integer_options(const For_Fmt_Isb& isb) {
  return isb.isb_flags & ISB_BZ ? CVT_M_BLANKS_AS_ZEROS : CVT_M_SKIP_BLANKS;
}

/// Stores what a converter read in the type of its result: 0 in place of a value that does not fit.
template <class T, class Wide>
int store_ranged(u8* data, Wide value, int status) {
  if (status == CVT_SUCCESS && static_cast<T>(value) != value) {
    status = CVT_VALUE_OVERFLOW;
    value = 0;
  }
  store<T>(data, static_cast<T>(value));
  return input_message(status);
}

template <class T>
int read_signed(const For_Fmt_Isb& isb, const char* field, u8* data) {
  const i32 width = static_cast<i32>(isb.isb_width);
  const bool letter = isb.isb_flags & ISB_LOGICAL_LETTER;
  if constexpr (sizeof(T) == sizeof(i64)) {
    i64 value = 0;
    const int status = letter ? cvt_text_to_boolean64(field, width, CVT_M_BOOLEAN_LETTER, &value)
                              : cvt_text_to_integer64(field, width, integer_options(isb), &value);
    return store_ranged<T>(data, value, status);
  } else {
    i32 value = 0;
    const int status = letter ? cvt_text_to_boolean(field, width, CVT_M_BOOLEAN_LETTER, &value)
                              : cvt_text_to_integer(field, width, integer_options(isb), &value);
    return store_ranged<T>(data, value, status);
  }
}

template <class T>
int read_unsigned(const For_Fmt_Isb& isb, const char* field, u8* data, i32 radix) {
  const i32 width = static_cast<i32>(isb.isb_width);
  if constexpr (sizeof(T) == sizeof(u64)) {
    u64 value = 0;
    const int status = cvt_text_to_unsigned64(field, width, radix, integer_options(isb), &value);
    return store_ranged<T>(data, value, status);
  } else {
    u32 value = 0;
    const int status = cvt_text_to_unsigned(field, width, radix, integer_options(isb), &value);
    return store_ranged<T>(data, value, status);
  }
}

int read_integer(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val) {
  switch (group_of(val)) {
    case VG_I1:
    case VG_L1:
      return read_signed<i8>(isb, field, val.val_data);
    case VG_I2:
    case VG_L2:
      return read_signed<i16>(isb, field, val.val_data);
    case VG_I4:
    case VG_L4:
      return read_signed<i32>(isb, field, val.val_data);
    case VG_I8:
    case VG_L8:
      return read_signed<i64>(isb, field, val.val_data);
    case VG_U1:
      return read_unsigned<u8>(isb, field, val.val_data, kDecimal);
    case VG_U2:
      return read_unsigned<u16>(isb, field, val.val_data, kDecimal);
    case VG_U4:
      return read_unsigned<u32>(isb, field, val.val_data, kDecimal);
    case VG_U8:
      return read_unsigned<u64>(isb, field, val.val_data, kDecimal);
    default:
      return MSG_FORMAT_TYPE_MISMATCH;
  }
}

/// The result is all ones or 0, so that its low bytes are the narrow value.
template <class T>
int read_letter(const For_Fmt_Isb& isb, const char* field, u8* data) {
  i32 value = 0;
  const int status = cvt_text_to_boolean(field, static_cast<i32>(isb.isb_width), CVT_M_BOOLEAN_LETTER, &value);
  store<T>(data, static_cast<T>(value));
  return input_message(status);
}

int read_logical(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val) {
  switch (group_of(val)) {
    case VG_I1:
    case VG_U1:
    case VG_L1:
      return read_letter<i8>(isb, field, val.val_data);
    case VG_I2:
    case VG_U2:
    case VG_L2:
      return read_letter<i16>(isb, field, val.val_data);
    case VG_I4:
    case VG_U4:
    case VG_L4:
      return read_letter<i32>(isb, field, val.val_data);
    case VG_I8:
    case VG_U8:
    case VG_L8: {
      i64 value = 0;
      const int status = cvt_text_to_boolean64(field, static_cast<i32>(isb.isb_width), CVT_M_BOOLEAN_LETTER, &value);
      store<i64>(val.val_data, value);
      return input_message(status);
    }
    default:
      return MSG_FORMAT_TYPE_MISMATCH;
  }
}

int read_image(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val, i32 radix) {
  const i64 bytes = image_bytes(val);
  if (bytes == 0 && group_of(val) != VG_CHARACTER) return read_unsigned<u32>(isb, field, val.val_data, radix);
  return input_message(cvt_text_to_data(field, static_cast<i32>(isb.isb_width), static_cast<i32>(bytes), radix,
                                        integer_options(isb), val.val_data));
}

constexpr u32 kRareOptions = ISB_TEXT_E_ONLY | ISB_TEXT_NO_BARE_SIGN | ISB_TEXT_REPORT_OVERFLOW |
                             ISB_TEXT_SCALE_ALWAYS | ISB_TEXT_REPORT_UNDERFLOW;

u32 real_input_options(const For_Fmt_Isb& isb) {
  const u32 flags = isb.isb_flags;
  u32 options = round_options(isb);
  if (flags & ISB_BN) options |= CVT_M_TEXT_BLANKS_SKIP;
  switch (isb.isb_code) {
    case FMT_E_WDE:
    case FMT_G_WDE:
    case FMT_EN_WDE:
    case FMT_ES_WDE:
      options |= CVT_M_TEXT_BLANKS_ZERO;
      break;
    default:
      if (flags & ISB_BZ) options |= CVT_M_TEXT_BLANKS_ZERO;
  }
  if ((flags & kRareOptions) == 0) [[likely]]
    return options;
  options |= moved<ISB_TEXT_E_ONLY, CVT_M_TEXT_E_ONLY>(flags);
  options |= moved<ISB_TEXT_NO_BARE_SIGN, CVT_M_TEXT_NO_BARE_SIGN>(flags);
  options |= moved<ISB_TEXT_REPORT_OVERFLOW, CVT_M_TEXT_REPORT_OVERFLOW>(flags);
  options |= moved<ISB_TEXT_SCALE_ALWAYS, CVT_M_TEXT_SCALE_ALWAYS>(flags);
  options |= moved<ISB_TEXT_REPORT_UNDERFLOW, CVT_M_TEXT_REPORT_UNDERFLOW>(flags);
  return options;
}

int read_real(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val) {
  constexpr Cvt_Quad kMinusOneQuad = {0, 0xBFFF000000000000};
  const For_Value_Group group = group_of(val);
  if (group != VG_REAL4 && group != VG_REAL8 && group != VG_REAL16) return MSG_FORMAT_TYPE_MISMATCH;
  u8* data = val.val_data;
  const i32 width = static_cast<i32>(isb.isb_width);
  if (isb.isb_flags & ISB_LOGICAL_LETTER) {
    const bool is_false = width > 0 && (field[0] == 'F' || field[0] == 'f');
    if (group == VG_REAL4) {
      store<float>(data, is_false ? 0.0f : -1.0f);
    } else if (group == VG_REAL8) {
      store<double>(data, is_false ? 0.0 : -1.0);
    } else {
      store<Cvt_Quad>(data, is_false ? Cvt_Quad{} : kMinusOneQuad);
    }
    return 0;
  }
  const u32 options = real_input_options(isb);
  const u64 ext = CVT_X_NONE | (for__decimal_comma(isb) ? u64{CVT_X_DECIMAL_COMMA} : 0);
  int status;
  if (group == VG_REAL4) {
    float value = 0;
    status = cvt_text_to_ieee_s_ex(field, width, isb.isb_scale, isb.isb_d, options, &value, ext);
    store(data, value);
  } else if (group == VG_REAL8) {
    double value = 0;
    status = cvt_text_to_ieee_t_ex(field, width, isb.isb_scale, isb.isb_d, options, &value, ext);
    store(data, value);
  } else {
    Cvt_Quad value = {};
    status = cvt_text_to_ieee_x_ex(field, width, isb.isb_scale, isb.isb_d, options, &value, ext);
    store(data, value);
  }
  return input_message(status);
}

int read_character(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val) {
  const i64 length = val.val_elem;
  const i64 width = isb.isb_width > 0 ? isb.isb_width : 0;
  if (length <= 0) return 0;
  if (length < width) {
    memcpy(val.val_data, isb.isb_flags & ISB_LOGICAL_LETTER ? field : field + (width - length), length);
  } else {
    memcpy(val.val_data, field, width);
    memset(val.val_data + width, ' ', length - width);
  }
  return 0;
}

int read_general(const For_Fmt_Isb& isb, const char* field, For_Value_Info& val) {
  switch (group_of(val)) {
    case VG_I1:
    case VG_U1:
    case VG_I2:
    case VG_U2:
    case VG_I4:
    case VG_U4:
    case VG_I8:
    case VG_U8:
      return read_integer(isb, field, val);
    case VG_L1:
    case VG_L2:
    case VG_L4:
    case VG_L8:
      return read_logical(isb, field, val);
    case VG_CHARACTER:
      return read_character(isb, field, val);
    default:
      return read_real(isb, field, val);
  }
}

}  // namespace

/// A unit that is absent, as when a conversion runs outside any statement, has the decimal point.
bool for__decimal_comma(const For_Fmt_Isb& isb) {
  if (isb.isb_flags2 & (ISB2_DC | ISB2_DP)) return (isb.isb_flags2 & ISB2_DP) == 0;
  return isb.isb_lub != nullptr && isb.isb_lub->lub_decimal == DECIMAL_COMMA;
}

int for__format_value(const For_Value_Info* val, For_Fmt_Isb* isb, char* field) {
  if (isb->isb_lub == nullptr) {
    TAMRUN_INTERNAL_ERROR("for_fmt_val");
    return MSG_INTERNAL_CONSISTENCY;
  }
  switch (isb->isb_code) {
    case FMT_Q:
      return 0;
    case FMT_A:
    case FMT_LITERAL:
    case FMT_A_W:
      return format_character(*val, *isb, field);
    case FMT_D:
    case FMT_D_WD:
      return format_exponent_form(*val, *isb, CVT_M_E_FORM | CVT_M_D_LETTER, field);
    case FMT_E:
    case FMT_E_WD:
      return format_exponent_form(*val, *isb, CVT_M_E_FORM, field);
    case FMT_E_WDE:
      return format_exponent_form(*val, *isb, CVT_M_E_FORM | CVT_M_EXPONENT_GIVEN, field);
    case FMT_F:
    case FMT_F_WD:
      return format_fixed(*val, *isb, field);
    case FMT_G:
    case FMT_G_WD:
    case FMT_G_WDE:
      return format_general(*val, *isb, field);
    case FMT_I:
    case FMT_I_W:
    case FMT_I_WM:
      return format_integer(*val, *isb, isb->isb_d, field);
    case FMT_L:
    case FMT_L_W:
      return format_logical(*val, *isb, field);
    case FMT_O:
    case FMT_O_W:
    case FMT_O_WM:
      return format_image(*val, *isb, kOctal, field);
    case FMT_Z:
    case FMT_Z_W:
    case FMT_Z_WM:
      return format_image(*val, *isb, kHexadecimal, field);
    case FMT_B:
    case FMT_B_W:
    case FMT_B_WM:
      return format_image(*val, *isb, kBinary, field);
    case FMT_EN:
    case FMT_EN_WD:
      return format_exponent_form(*val, *isb, CVT_M_EN_FORM, field);
    case FMT_EN_WDE:
      return format_exponent_form(*val, *isb, CVT_M_EN_FORM | CVT_M_EXPONENT_GIVEN, field);
    case FMT_ES:
    case FMT_ES_WD:
      return format_exponent_form(*val, *isb, CVT_M_ES_FORM, field);
    case FMT_ES_WDE:
      return format_exponent_form(*val, *isb, CVT_M_ES_FORM | CVT_M_EXPONENT_GIVEN, field);
    case FMT_EX:
      return format_exponent_form(*val, *isb, CVT_M_ES_FORM | CVT_M_HEX_FORM | CVT_M_HEX_UPPER | CVT_M_EXPONENT_GIVEN,
                                  field);
    default:
      return MSG_INVALID_ARGUMENT;
  }
}

int for__cvt_value(For_Fmt_Isb* isb, const char* field, For_Value_Info* val) {
  switch (isb->isb_code) {
    case FMT_A:
    case FMT_LITERAL:
    case FMT_A_W:
      return read_character(*isb, field, *val);
    case FMT_D:
    case FMT_E:
    case FMT_F:
    case FMT_D_WD:
    case FMT_E_WD:
    case FMT_E_WDE:
    case FMT_F_WD:
    case FMT_EN:
    case FMT_EN_WD:
    case FMT_EN_WDE:
    case FMT_ES:
    case FMT_ES_WD:
    case FMT_ES_WDE:
    case FMT_EX:
      return read_real(*isb, field, *val);
    case FMT_G:
    case FMT_G_WD:
    case FMT_G_WDE:
      return read_general(*isb, field, *val);
    case FMT_I:
    case FMT_I_W:
    case FMT_I_WM:
      return read_integer(*isb, field, *val);
    case FMT_L:
    case FMT_L_W:
      return read_logical(*isb, field, *val);
    case FMT_O:
    case FMT_O_W:
    case FMT_O_WM:
      return read_image(*isb, field, *val, kOctal);
    case FMT_Z:
    case FMT_Z_W:
    case FMT_Z_WM:
      return read_image(*isb, field, *val, kHexadecimal);
    case FMT_B:
    case FMT_B_W:
    case FMT_B_WM:
      return read_image(*isb, field, *val, kBinary);
    default:
      return MSG_INVALID_ARGUMENT;
  }
}

namespace {

Plain_Reader* plain_integer_reader(For_Value_Group group) {
  switch (group) {
    case VG_I1:
      return read_plain_bytes;
    case VG_I2:
      return read_plain_halves;
    case VG_I4:
      return read_plain_words;
    case VG_I8:
      return read_plain_longs;
    default:
      return nullptr;
  }
}

Plain_Reader* plain_real_reader(For_Value_Group group) {
  switch (group) {
    case VG_REAL4:
      return read_plain_singles;
    case VG_REAL8:
      return read_plain_doubles;
    default:
      return nullptr;
  }
}

}  // namespace

Plain_Reader* plain_reader(const For_Fmt_Isb& isb, u32 type, Plain_Format* format) {
  if (type >= kItemTypes || (isb.isb_flags & (ISB_LOGICAL_LETTER | kRareOptions)) != 0) return nullptr;
  const For_Value_Group group = for__value_groups[type];
  bool integer = false, real = false;
  switch (isb.isb_code) {
    case FMT_I:
    case FMT_I_W:
    case FMT_I_WM:
      integer = true;
      break;
    case FMT_D:
    case FMT_E:
    case FMT_F:
    case FMT_D_WD:
    case FMT_E_WD:
    case FMT_E_WDE:
    case FMT_F_WD:
    case FMT_EN:
    case FMT_EN_WD:
    case FMT_EN_WDE:
    case FMT_ES:
    case FMT_ES_WD:
    case FMT_ES_WDE:
      real = true;
      break;
    case FMT_G:
    case FMT_G_WD:
    case FMT_G_WDE:
      integer = real = true;
      break;
    default:
      break;
  }
  Plain_Reader* reader = integer ? plain_integer_reader(group) : nullptr;
  if (reader == nullptr && real) reader = plain_real_reader(group);
  if (reader != nullptr) *format = {isb.isb_d, isb.isb_scale, round_options(isb), for__decimal_comma(isb) ? ',' : '.'};
  return reader;
}
