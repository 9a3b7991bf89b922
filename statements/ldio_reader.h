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

/// Turns constants into values.
class Ldio_Converter {
 public:
  /// `strict`: logical values and others are not read into each other.
  Ldio_Converter(For_Lub& lub, bool strict);

  /// Takes the type of the values that follow: 0, or MSG_INPUT_CONVERSION for one that no constant can have.
  int set_type(u32 type);

  /// Stores the constant in the value: 0 or a message. A null constant stores nothing.
  int convert(const Ldir_Constant& constant, For_Value_Info& val) {
    if (class_ == Item_Class::integer && constant.form == Ldir_Form::small && store_small(constant, val)) return 0;
    isb_.isb_width = constant.length;
    isb_.isb_flags = letter_;
    if (constant.form == Ldir_Form::null) return 0;
    if (!wants(constant.form)) return convert_mismatch(constant, val);
    return for__cvt_value(&isb_, reinterpret_cast<const char*>(constant.text), &val);
  }

  bool is_real() const { return class_ == Item_Class::real; }

 private:
  enum class Item_Class : u8 { integer, logical, real, character };

  /// False when the value does not fit: the converter of text tells what then becomes of the item.
  static bool store_small(const Ldir_Constant& constant, const For_Value_Info& val) {
    const i64 value = constant.value;
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

  bool wants(Ldir_Form form) const { return (wanted_ >> static_cast<int>(form) & 1) != 0; }
  int convert_mismatch(const Ldir_Constant& constant, For_Value_Info& val);
  int convert_truncated(const Ldir_Constant& constant, For_Value_Info& val);
  int convert_text(const Ldir_Constant& constant, For_Value_Info& val);
  int read_as(const Ldir_Constant& constant, u32 type, void* value, i64 bytes);

  For_Fmt_Isb isb_{};
  const For_Ldir_Field* const table_;
  const bool strict_;
  Item_Class class_ = Item_Class::integer;
  u8 wanted_ = 0;   ///< bit per Ldir_Form that for__cvt_value takes as it is
  u32 letter_ = 0;  ///< isb_flags of that conversion
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
  Ldio_Result read_items(const u8* list, void* args) {
    For_Value_Info val;
    For_Item_Shape shape;
    for (;;) {
      if (int code = for__desc_ret_item(&list, &args, &val, &shape)) return failure(code);
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

  int read_scalar(const For_Value_Info& val) {
    const i64 parts = item_is_complex(val.val_type) ? 2 : 1;
    return read_run(val.val_type, {val.val_data, val.val_elem, parts, val.val_elem});
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
      if (int code = next_constant(type)) return code;
      if (stopped()) return 0;
      if (unreadable) return unreadable;
      if (int code = complex ? read_complex(val, run.stride) : read_value(val)) return code;
      s_.ldir_flags &= ~LDIR_NEW_RECORD;
    }
    return 0;
  }

  /// True between the parts of a complex constant.
  bool inside_pair() const { return (s_.ldir_flags & (LDIR_COMPLEX | LDIR_PART_TWO)) == LDIR_COMPLEX; }

  int next_constant(u32 type) {
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
