// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed output: one walk of the item list and one layout of each kind of value. A target says where the values
// go. It is a class with these members, all bound at compile time:
//
//   static constexpr bool kInternal      the target is an internal file
//   int  admit(const For_Value_Info&, int* user_code)   may this item be written at all: 0, or a message with its user
//                                        code
//   Room make_room(i64 width)            a place of `width` columns for a number at the cursor
//   void debit(i64 width)                a number of that nominal width stands in the record
//   int  put_text(const u8*, i64)        one character value
//   int  put_complex(const Ldio_Complex&)
//   int  before_child()                  the record is about to be handed to a defined-I/O routine
//   void after_child()
#ifndef TAMRUN_STATEMENTS_LDIO_WRITER_H
#define TAMRUN_STATEMENTS_LDIO_WRITER_H

#include <string.h>

#include <algorithm>

#include "convert/integer_field.h"
#include "format/for_fmt_val.h"
#include "statements/for_desc_item.h"
#include "statements/ldio_result.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

/// Answer of a target that is asked for room.
enum class Room : u8 {
  ready,
  skip_value,  ///< no record could be had; the error is remembered and the list goes on
  overflow,    ///< the value fits in no record
};

/// Trims the field in place to one blank and its text: the new width, at most one more than `width`, for which the
/// caller has room.
i64 ensure_one_leading_blank_before_data(u8* field, i64 width);

/// Bytes of one part of a complex value at most.
inline constexpr i64 kComplexPartBytes = 64;

/// Both parts of a complex value, edited.
struct Ldio_Complex {
  u8 real[kComplexPartBytes];
  u8 imag[kComplexPartBytes];
  i64 real_length;
  i64 imag_length;
  i64 width;  ///< of the field table
  u32 type;
};

/// What every list-directed writer carries from value to value of one call.
struct Ldio_State {
  explicit Ldio_State(For_Lub& unit);

  For_Lub& lub;
  For_Ldir_Isb& ldir;
  const For_Ldir_Field* table;
  For_Fmt_Isb isb;
  bool compact = false;       ///< numbers are trimmed from here on
  bool real_waiting = false;  ///< the real part of a complex value stands in `parts`
  Ldio_Complex parts;

  u8* buffer_end() const { return lub.lub_a_buffer + lub.lub_buffer_size; }
  /// Keeps a conversion that failed for the end of the statement, unless a failed write is waiting for it.
  void remember_conversion() {
    if (!lub.lub_f_ignore_conv_error && ldir.ldir_error == 0) ldir.ldir_error = MSG_OUTPUT_CONVERSION;
  }
};

inline For_Ldir_Isb& ldir_state(For_Lub& lub) { return *reinterpret_cast<For_Ldir_Isb*>(lub.lub_a_ldir_isb); }

template <class Target>
class Ldio_Writer {
 public:
  Ldio_Writer(Ldio_State& state, Target& target) : s_(state), target_(target) {}

  /// Writes the items up to the next end mark.
  Ldio_Result write_items(const u8* list, void* args) {
    For_Value_Info val;
    For_Item_Shape shape;
    for (;;) {
      if (int code = next_item(list, args, val, shape)) return failure(code);
      if (val.val_type == ITM_END_STATEMENT) return {Ldio_End::statement, 0, 0};
      if (val.val_type == ITM_END_CALL) return {Ldio_End::call, 0, 0};
      int user_code = 0;
      if (int code = target_.admit(val, &user_code)) return {Ldio_End::failed, code, user_code};
      if (val.val_type == ITM_DERIVED) {
        if (int code = target_.before_child()) return failure(code);
        if (int code = for__udio_lis(&s_.lub, &val, 1, Target::kInternal)) return {Ldio_End::child, code, code};
        target_.after_child();
        continue;
      }
      const int code = item_is_array(shape.shp_access) ? write_array(val, shape) : write_scalar(val);
      if (code != 0) return failure(code);
    }
  }

 private:
  Ldio_Result failure(int code) const {
    // A complex value that no record holds is a write that failed for want of room.
    const int user_code = code == MSG_WRITE_ERROR && complex_too_wide_ ? MSG_RECORD_OVERFLOW : code;
    return {Ldio_End::failed, code, user_code};
  }

  int write_scalar(const For_Value_Info& val) {
    s_.lub.lub_f_item_seen = 1;
    s_.lub.lub_zero_item = 0;
    const i64 parts = item_is_complex(val.val_type) ? 2 : 1;
    return write_run(val.val_type, {val.val_data, val.val_elem, parts, val.val_elem});
  }

  int write_array(const For_Value_Info& val, const For_Item_Shape& shape) {
    ItemWalker walker;
    walker.start(val, shape, s_.lub.lub_f_f90_rtl);
    const bool section = item_is_section(shape.shp_access);
    if (walker.count() == 0) {
      if (!section) s_.lub.lub_zero_item = 1;
      return 0;
    }
    if (s_.lub.lub_f_f90_rtl || section) {
      s_.lub.lub_f_item_seen = 1;
      s_.lub.lub_zero_item = 0;
    }
    Item_Run run;
    while (walker.next(run)) {
      if (int code = write_run(val.val_type, run)) return code;
    }
    return 0;
  }

  int write_run(u32 type, const Item_Run& run) {
    const For_Ldir_Field& field = s_.table[type];
    if (field.width == 0) return MSG_INVALID_ARGUMENT;
    s_.isb.isb_width = field.width;
    s_.isb.isb_d = field.d;
    s_.isb.isb_e = field.e;
    s_.isb.isb_code = field.operation;
    if (item_is_character(type)) return write_texts(run);
    if (item_is_complex(type)) return write_complexes(type, run, field);
    if (type <= kLastIntegerType) {
      s_.isb.isb_d = 1;
      s_.isb.isb_flags &= ~ISB_LEFT_JUSTIFY;
      if (s_.lub.lub_f_compact_ldio && type < ITM_LOGICAL) s_.compact = true;
      if (!s_.compact && !(s_.isb.isb_flags & ISB_SP)) {
        if (type == ITM_INTEGER4) return write_integers<i32>(type, run, field.width);
        if (type == ITM_INTEGER8) return write_integers<i64>(type, run, field.width);
      }
      return s_.compact ? write_numbers<Trim::after>(type, run, field) : write_numbers<Trim::none>(type, run, field);
    }
    if (s_.lub.lub_f_compact_ldio) s_.compact = true;
    if (!s_.compact) {
      s_.isb.isb_flags &= ~ISB_LEFT_JUSTIFY;
      return write_numbers<Trim::none>(type, run, field);
    }
    s_.isb.isb_flags |= ISB_LEFT_JUSTIFY;
    return write_numbers<Trim::left_justified>(type, run, field);
  }

  /// What a number in the record leaves behind.
  void number_written(u32 type, i64 width) {
    s_.lub.lub_ldio_prev_type = type;
    s_.ldir.ldir_flags &= ~LDIR_NEED_BLANK;
    target_.debit(width);
  }

  /// The integers that most are, in their fields.
  template <class Int>
  int write_integers(u32 type, const Item_Run& run, i64 width) {
    const u8* data = run.data;
    for (i64 left = run.count; left > 0; --left, data += run.stride) {
      const Room room = target_.make_room(width);
      if (room == Room::overflow) return MSG_RECORD_OVERFLOW;
      if (room == Room::skip_value) continue;
      Int value;
      memcpy(&value, data, sizeof value);
      if (!put_integer_field(reinterpret_cast<char*>(s_.lub.lub_a_cursor), value, static_cast<u32>(width)))
        s_.remember_conversion();
      s_.lub.lub_a_cursor += width;
      number_written(type, width);
    }
    return 0;
  }

  /// How a number is brought to the compact form.
  enum class Trim : u8 {
    none,
    after,           ///< edited in its field, then moved to stand behind one blank
    left_justified,  ///< edited at the left of its field behind one blank
  };

  template <Trim kTrim>
  int write_numbers(u32 type, const Item_Run& run, const For_Ldir_Field& field) {
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    for (i64 left = run.count; left > 0; --left, val.val_data += run.stride) {
      const Room room = target_.make_room(field.width);
      if (room == Room::overflow) return MSG_RECORD_OVERFLOW;
      if (room == Room::skip_value) continue;
      // A trimmed field may take a column more than the untrimmed one, which an internal file does not have to spare.
      constexpr bool kAside = Target::kInternal && kTrim != Trim::none;
      u8 aside[kTrimmedBytes];
      u8* at = kAside ? aside : s_.lub.lub_a_cursor;
      if (kTrim == Trim::left_justified) *at++ = ' ';
      if (int code = for__format_value(&val, &s_.isb, reinterpret_cast<char*>(at))) {
        if (code != MSG_OUTPUT_CONVERSION) return code;
        s_.remember_conversion();
      }
      u8* const end = end_of_number<kTrim>(at, field.width);
      if (!kAside) {
        s_.lub.lub_a_cursor = end;
      } else if (!put_trimmed(aside, end, at + field.width)) {
        return MSG_RECORD_OVERFLOW;
      }
      number_written(type, field.width);
    }
    return 0;
  }

  static constexpr i64 kTrimmedBytes = 64;  ///< more than any field of the tables

  /// Moves a field with its blanks into the record, as far as that goes: false when its text does not fit.
  bool put_trimmed(const u8* text, const u8* end, const u8* field_end) {
    const i64 room = s_.lub.lub_a_rec_end - s_.lub.lub_a_cursor;
    if (end - text > room) return false;
    memcpy(s_.lub.lub_a_cursor, text, static_cast<size_t>(std::min(std::max(end, field_end) - text, room)));
    s_.lub.lub_a_cursor += end - text;
    return true;
  }

  template <Trim kTrim>
  static u8* end_of_number(u8* at, i64 width) {
    switch (kTrim) {
      case Trim::none:
        return at + width;
      case Trim::after:
        return at + ensure_one_leading_blank_before_data(at, width);
      case Trim::left_justified:
        return std::find(at, at + width, ' ');
    }
  }

  int write_texts(const Item_Run& run) {
    const u8* text = run.data;
    for (i64 left = run.count; left > 0; --left, text += run.stride) {
      if (int code = target_.put_text(text, run.elem)) return code;
      s_.ldir.ldir_flags &= ~LDIR_NEED_BLANK;
    }
    return 0;
  }

  int write_complexes(u32 type, const Item_Run& run, const For_Ldir_Field& field) {
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    s_.isb.isb_flags |= ISB_LEFT_JUSTIFY;
    s_.parts.type = type;
    s_.parts.width = field.width;
    for (i64 left = run.count; left > 0; --left, val.val_data += run.stride) {
      if (int code = edit_part(val)) return code;
      s_.real_waiting = !s_.real_waiting;
      if (s_.real_waiting) {
        s_.ldir.ldir_flags |= LDIR_REAL_DONE;
      } else if (int code = put_pair()) {
        return code;
      }
      s_.ldir.ldir_flags &= ~LDIR_NEED_BLANK;
      target_.debit(field.width);
    }
    return 0;
  }

  int edit_part(const For_Value_Info& val) {
    u8* text = s_.real_waiting ? s_.parts.imag : s_.parts.real;
    memset(text, ' ', kComplexPartBytes);
    if (int code = for__format_value(&val, &s_.isb, reinterpret_cast<char*>(text))) {
      if (code != MSG_OUTPUT_CONVERSION) return code;
      s_.remember_conversion();
    }
    (s_.real_waiting ? s_.parts.imag_length : s_.parts.real_length) =
        std::find(text, text + kComplexPartBytes, ' ') - text;
    return 0;
  }

  int put_pair() {
    if (int code = target_.put_complex(s_.parts)) {
      complex_too_wide_ = code == MSG_WRITE_ERROR;
      return code;
    }
    s_.ldir.ldir_flags = (s_.ldir.ldir_flags & ~LDIR_REAL_DONE) | LDIR_COMPLEX_DONE;
    s_.lub.lub_ldio_prev_type = s_.parts.type;
    // A part that overflowed its field ends the statement, where a number on its own lets it go on.
    return s_.ldir.ldir_error == MSG_OUTPUT_CONVERSION ? MSG_OUTPUT_CONVERSION : 0;
  }

  Ldio_State& s_;
  Target& target_;
  bool complex_too_wide_ = false;
};

#endif
