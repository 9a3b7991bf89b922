// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed input: one walk of the item list and one conversion of each kind of value. A source says where the
// records come from. It is a class with these members, all bound at compile time:
//
//   static constexpr bool kInternal          the source is an internal file
//   int admit(int* user_code)                may a data item be read at all: 0, or a message with its user code
//   int next_record(For_Lub&)                as the scanner wants it
#ifndef TAMRUN_STATEMENTS_LDIO_READER_H
#define TAMRUN_STATEMENTS_LDIO_READER_H

#include "format/for_fmt_val.h"
#include "statements/for_desc_item.h"
#include "statements/ldio_result.h"
#include "statements/ldio_scanner.h"
#include "tamrun/hooks.h"

inline For_Ldir_Read_Isb& ldir_read_state(For_Lub& lub) {
  return *reinterpret_cast<For_Ldir_Read_Isb*>(lub.lub_a_ldir_isb);
}

/// What the constants of an item type are read as.
enum class Ldio_Class : u8 { none, integer, logical, real, character };

struct Ldio_Type {
  Ldio_Class of_item;
  u8 wanted;  ///< bit per Ldir_Form that for__cvt_value takes as it is
};

constexpr u8 form_bit(Ldir_Form form) { return static_cast<u8>(1u << static_cast<int>(form)); }

constexpr auto kLdioTypes = [] {
  constexpr u8 kIntegers = form_bit(Ldir_Form::integer) | form_bit(Ldir_Form::small);
  constexpr u8 kNumbers = form_bit(Ldir_Form::number) | form_bit(Ldir_Form::decimal) | kIntegers;
  struct {
    Ldio_Type of[kItemTypes];
  } types = {};
  for (int type = kFirstIntegerType; type < ITM_LOGICAL; ++type) types.of[type] = {Ldio_Class::integer, kIntegers};
  for (int type = ITM_LOGICAL; type <= kLastIntegerType; ++type) {
    types.of[type] = {Ldio_Class::logical, form_bit(Ldir_Form::logical)};
  }
  for (int type = kFirstRealType; type <= kLastRealType; ++type) types.of[type] = {Ldio_Class::real, kNumbers};
  types.of[ITM_CHARACTER] = {Ldio_Class::character, form_bit(Ldir_Form::text)};
  return types;
}();

/// What a statement begins with: nothing in hand. A child statement goes on with what its parent has.
inline void begin_list_read(For_Lub& lub) {
  For_Ldir_Read_Isb& s = ldir_read_state(lub);
  s.ldir_lub = &lub;
  lub.lub_f_ldio_read = 1;
  if (in_child_statement(lub)) return;
  s.ldir_repeat = 0;
  s.ldir_flags = 0;
}

/// Turns constants into values.
class Ldio_Converter {
 public:
  /// `strict`: logical values and others are not read into each other.
  Ldio_Converter(For_Lub& lub, bool strict)
      : lub_(lub), table_(lub.lub_f_msf_layout ? for__wfs_msf_table : for__wfs_table), strict_(strict) {}

  /// Takes the type of the values that follow: 0, or MSG_INPUT_CONVERSION for one that no constant can have.
  int set_type(u32 type) {
    type_ = kLdioTypes.of[type];
    const bool readable =
        type_.of_item == Ldio_Class::real ? table_[type].width != 0 : type_.of_item != Ldio_Class::none;
    return readable ? 0 : MSG_INPUT_CONVERSION;
  }

  /// Stores the constant in the value: 0 or a message. A null constant stores nothing.
  int convert(const Ldir_Constant& constant, For_Value_Info& val) {
    if (constant.form == Ldir_Form::small || constant.form == Ldir_Form::decimal) [[likely]] {
      if (type_.of_item == Ldio_Class::integer) {
        if (constant.form == Ldir_Form::small && store_small(constant, val)) return 0;
      } else if (type_.of_item == Ldio_Class::real && store_real(constant, val)) {
        return 0;
      }
    }
    return convert_text(constant, val);
  }

  bool is_real() const { return type_.of_item == Ldio_Class::real; }

 private:
  /// False when the value does not fit: the converter of text tells what then becomes of the item.
  static bool store_small(const Ldir_Constant& constant, const For_Value_Info& val) {
    const i64 magnitude = static_cast<i64>(constant.digits);
    const i64 value = constant.negative ? -magnitude : magnitude;
    switch (val.val_type) {
      case ITM_INTEGER4:
        return store_in<i32>(value, val.val_data);
      case ITM_INTEGER8:
        return store_in<i64>(value, val.val_data);
      case ITM_INTEGER2:
        return store_in<i16>(value, val.val_data);
      case ITM_INTEGER1:
        return store_in<i8>(value, val.val_data);
      default:
        return false;
    }
  }
  template <class Int>
  static bool store_in(i64 value, u8* data) {
    const Int narrow = static_cast<Int>(value);
    if (narrow != value) return false;
    memcpy(data, &narrow, sizeof narrow);
    return true;
  }

  /// False for the formats that digits and power do not give.
  bool store_real(const Ldir_Constant& constant, const For_Value_Info& val) const {
    switch (for__value_groups[val.val_type]) {
      case VG_REAL8: {
        const u64 bits = plain_double_bits(constant.digits, constant.power, constant.negative, rounding());
        memcpy(val.val_data, &bits, sizeof bits);
        return true;
      }
      case VG_REAL4: {
        if (constant.power < -kPlainPowerSingle || constant.power > kPlainPowerSingle) return false;
        const u32 bits = plain_single_bits(constant.digits, constant.power, constant.negative, rounding());
        memcpy(val.val_data, &bits, sizeof bits);
        return true;
      }
      default:
        return false;
    }
  }
  u32 rounding() const { return rounding_options(lub_.lub_round); }

  bool wants(Ldir_Form form) const { return (type_.wanted & form_bit(form)) != 0; }
  int convert_text(const Ldir_Constant& constant, For_Value_Info& val);
  int convert_mismatch(const Ldir_Constant& constant, For_Value_Info& val);
  int convert_truncated(const Ldir_Constant& constant, For_Value_Info& val);
  int convert_to_logical(const Ldir_Constant& constant, For_Value_Info& val);
  int read_as(const Ldir_Constant& constant, u32 type, u32 flags, void* value, i64 bytes);

  For_Lub& lub_;
  const For_Ldir_Field* const table_;
  const bool strict_;
  Ldio_Type type_ = {Ldio_Class::none, 0};
};

template <class Source>
class Ldio_Reader {
 public:
  Ldio_Reader(For_Lub& lub, Source& source)
      : lub_(lub),
        s_(ldir_read_state(lub)),
        source_(source),
        scanner_(lub, s_, source),
        converter_(lub, !Source::kInternal && lub.lub_f_strict_ldio) {}

  /// Reads the items up to the next end mark.
  [[gnu::always_inline]] Ldio_Result read_items(const u8* list, void* args) {
    For_Value_Info val;
    For_Item_Shape shape;
    for (;;) {
      if (int code = next_item(list, args, val, shape)) return failure(code);
      if (val.val_type == ITM_END_STATEMENT) return {Ldio_End::statement, 0, 0};
      if (val.val_type == ITM_END_CALL) return {Ldio_End::call, 0, 0};
      int user_code = 0;
      if (int code = source_.admit(&user_code)) return {Ldio_End::failed, code, user_code};
      if (stopped()) continue;
      if (val.val_type == ITM_DERIVED) {
        if (int code = scanner_.pass_opening_blank()) return failure(code);
        if (int code = for__udio_lis(&lub_, &val, 0, Source::kInternal)) return {Ldio_End::child, code, code};
        continue;
      }
      const int code = item_is_array(shape.shp_access) ? read_array(val, shape) : read_scalar(val);
      if (code != 0) return failure(code);
    }
  }

 private:
  static Ldio_Result failure(int code) { return {Ldio_End::failed, code, code}; }
  bool stopped() const { return s_.ldir_flags & LDIR_STOP; }

  int read_scalar(For_Value_Info& val) {
    const int unreadable = converter_.set_type(val.val_type);
    return read_one(val, val.val_elem, item_is_complex(val.val_type), unreadable);
  }

  int read_array(const For_Value_Info& val, const For_Item_Shape& shape) {
    ItemWalker walker;
    walker.start(val, shape, lub_.lub_f_f90_rtl);
    Item_Run run;
    while (walker.next(run)) {
      if (int code = read_run(val.val_type, run)) return code;
    }
    return 0;
  }

  int read_run(u32 type, const Item_Run& run) {
    const int unreadable = converter_.set_type(type);
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    const bool complex = item_is_complex(type);
    const i64 step = complex ? 2 : 1;
    for (i64 left = run.count; left > 0 && !stopped(); left -= step, val.val_data += step * run.stride) {
      if (int code = read_one(val, run.stride, complex, unreadable)) return code;
    }
    return 0;
  }

  /// One value; `stride` leads to the second part of a complex one, `unreadable` is what set_type gave.
  [[gnu::always_inline]] int read_one(For_Value_Info& val, i64 stride, bool complex, int unreadable) {
    if (int code = next_constant(val.val_type)) return code;
    if (stopped()) return 0;
    if (unreadable) return unreadable;
    if (int code = complex ? read_complex(val, stride) : read_value(val)) return code;
    s_.ldir_flags &= ~LDIR_NEW_RECORD;
    return 0;
  }

  /// True between the parts of a complex constant.
  bool inside_pair() const { return (s_.ldir_flags & (LDIR_COMPLEX | LDIR_PART_TWO)) == LDIR_COMPLEX; }

  [[gnu::always_inline]] int next_constant(u32 type) {
    if (s_.ldir_repeat > 0 && !inside_pair()) {
      --s_.ldir_repeat;
      return 0;
    }
    if (!(s_.ldir_flags & LDIR_COMPLEX)) s_.ldir_flags &= LDIR_NEW_RECORD | LDIR_FIELD_SEEN;
    return scanner_.find_constant(type);
  }

  int read_value(For_Value_Info& val) {
    const bool passes_pair = converter_.is_real() && inside_pair() && s_.ldir_field.form != Ldir_Form::null;
    if (int code = converter_.convert(s_.ldir_field, val)) return code;
    if (!passes_pair) return 0;
    s_.ldir_flags &= ~LDIR_NEW_RECORD;
    if (int code = scanner_.keep_first_part()) return code;
    return scanner_.pass_second_part();
  }

  /// A constant that is no pair is the real part, with an imaginary part of zero.
  int read_complex(For_Value_Info& val, i64 stride) {
    if (s_.ldir_field.form == Ldir_Form::null) {
      s_.ldir_flags &= ~LDIR_COMPLEX;
      return 0;
    }
    if (int code = converter_.convert(s_.ldir_field, val)) return code;
    For_Value_Info imag = val;
    imag.val_data += stride;
    if (!(s_.ldir_flags & LDIR_PAIR)) {
      memset(imag.val_data, 0, for__dsc_itm_table[val.val_type].size / 2);
      return 0;
    }
    if (inside_pair()) {
      s_.ldir_flags &= ~LDIR_NEW_RECORD;
      if (int code = find_second_part(val.val_type)) return code;
      if (stopped()) return 0;
    }
    return converter_.convert(s_.ldir_imag, imag);
  }

  int find_second_part(u32 type) {
    if (int code = scanner_.keep_first_part()) return code;
    const Ldir_Constant first = s_.ldir_field;
    if (int code = scanner_.find_constant(type)) return code;
    s_.ldir_imag = s_.ldir_field;
    s_.ldir_field = first;
    s_.ldir_flags |= LDIR_PART_TWO;
    if (s_.ldir_imag.form == Ldir_Form::null) s_.ldir_flags &= ~LDIR_COMPLEX;
    return 0;
  }

  For_Lub& lub_;
  For_Ldir_Read_Isb& s_;
  Source& source_;
  Ldio_Scanner<Source> scanner_;
  Ldio_Converter converter_;
};

#endif
