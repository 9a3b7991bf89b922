// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The writing transfer of the formatted loop: values are edited where they stand in the record. A target says where
// records come from. It is a class with these members, all bound at compile time:
//
//   static constexpr bool kInternal
//   int  admit(const u8*, i64)          may a value at this address be written: 0 or a message
//   int  grow(i64 excess, i64 share)    makes the record `excess` bytes longer: 0 or a message; `share` is the part of
//                                       the record by which it grows at least
//   int  end_record()                   at a slash or the end of the format: 0 or a message
//   void hold_line()                    $ or backslash
#ifndef TAMRUN_STATEMENTS_FMT_WRITER_H
#define TAMRUN_STATEMENTS_FMT_WRITER_H

#include <string.h>

#include <algorithm>

#include "convert/integer_field.h"
#include "core/heap.h"
#include "statements/fmt_loop.h"
#include "statements/fmt_width.h"

template <class Target>
class Fmt_Writer {
 public:
  static constexpr bool kWriting = true;
  static constexpr bool kInternal = Target::kInternal;

  Fmt_Writer(For_Lub& lub, Target& target) : lub_(lub), isb_(*lub.lub_a_fmt_isb), target_(target) {}

  int error = 0;

  Fmt_End begin_pass() {
    // A pass that put nothing but empty arrays into a fresh record has not used it up.
    const bool unused = lub_.lub_zero_item && !lub_.lub_f_item_seen && lub_.lub_fmt_record_done;
    if (unused) {
      lub_.lub_a_cursor = lub_.lub_a_data_start;
    } else if (slash() != Fmt_End::none) {
      return Fmt_End::failed;
    }
    lub_.lub_fmt_record_done = 1;
    lub_.lub_f_item_seen = 0;
    return Fmt_End::none;
  }

  Fmt_End slash() {
    error = target_.end_record();
    return error == 0 ? Fmt_End::none : Fmt_End::failed;
  }

  void dollar() { target_.hold_line(); }

  int literal(const char* text, i64 length) {
    if (int code = make_room(length, kLiteralShare)) return code;
    memcpy(lub_.lub_a_cursor, text, length);
    lub_.lub_a_cursor += length;
    mark_written();
    return 0;
  }

  int chars_left(u32, const Item_Run&) { return 0; }

  Fmt_End values(u32 type, const Item_Run& run, i64 count) {
    if (isb_.isb_width > 0 && takes_given_width(isb_.isb_code)) {
      isb_.isb_flags2 &= static_cast<u16>(~kFieldFlags2);
      error = put_fields(type, run, count, isb_.isb_width);
      return error == 0 ? Fmt_End::none : Fmt_End::failed;
    }
    if (isb_.isb_code == FMT_A && item_is_character(type)) {
      isb_.isb_flags2 &= static_cast<u16>(~kFieldFlags2);
      error = put_texts(run, count);
      return error == 0 ? Fmt_End::none : Fmt_End::failed;
    }
    if (isb_.isb_width == 0 && edits_plain_integers() && (type == ITM_INTEGER4 || type == ITM_INTEGER8)) {
      error = type == ITM_INTEGER4 ? put_shortest<i32>(run, count) : put_shortest<i64>(run, count);
      return error == 0 ? Fmt_End::none : Fmt_End::failed;
    }
    const Fmt_Field field = plan_field(isb_, type, run.elem, true);
    error = field.failure;
    if (error == 0) {
      const Planned_Field planned(isb_, field);
      error = field.minimal ? put_minimal(type, run, count, field) : put_fields(type, run, count, field.width);
    }
    return error == 0 ? Fmt_End::none : Fmt_End::failed;
  }

 private:
  static constexpr i64 kLiteralShare = 4, kValueShare = 2;
  static constexpr i64 kWidestField = 1 << 30;  ///< the converters count columns in 32 bits

  /// I with nothing but a width.
  bool edits_plain_integers() const {
    return (isb_.isb_code == FMT_I_WM || isb_.isb_code == FMT_I_W) && isb_.isb_d == 1 && !(isb_.isb_flags & ISB_SP);
  }

  int make_room(i64 width, i64 share) {
    const i64 excess = lub_.lub_a_cursor - lub_.lub_a_rec_end + width;
    return excess <= 0 ? 0 : target_.grow(excess, share);
  }

  void mark_written() { lub_.lub_a_high_water = std::max(lub_.lub_a_high_water, lub_.lub_a_cursor); }

  /// A conversion that failed is kept for the end of the statement; its field holds asterisks.
  int kept(int code) {
    if (code != MSG_OUTPUT_CONVERSION) return code;
    if (!lub_.lub_f_ignore_conv_error) isb_.isb_error = code;
    return 0;
  }

  int put_fields(u32 type, const Item_Run& run, i64 count, i64 width) {
    if (width < 0) return MSG_FORMAT_SYNTAX;
    if (width > kWidestField) return MSG_RECORD_OVERFLOW;
    if (edits_plain_integers()) {
      if (type == ITM_INTEGER4) return put_integers<i32>(run, count, width);
      if (type == ITM_INTEGER8) return put_integers<i64>(run, count, width);
    }
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    for (; count > 0; --count) {
      if (int code = target_.admit(val.val_data, run.elem)) return code;
      if (lub_.lub_a_cursor + width > lub_.lub_a_rec_end) [[unlikely]] {
        if (int code = make_room(width, kValueShare)) return code;
      }
      if (int code = for__format_value(&val, &isb_, reinterpret_cast<char*>(lub_.lub_a_cursor))) [[unlikely]] {
        if (kept(code) != 0) return code;
      }
      lub_.lub_a_cursor += width;
      val.val_data = step(val.val_data, run.stride);
    }
    mark_written();
    return 0;
  }

  /// Text as it stands, for A.
  int put_texts(const Item_Run& run, i64 count) {
    if (run.elem > kWidestField) return MSG_RECORD_OVERFLOW;
    for (u8* data = run.data; count > 0; --count, data = step(data, run.stride)) {
      if (int code = target_.admit(data, run.elem)) return code;
      if (int code = make_room(run.elem, kValueShare)) return code;
      memcpy(lub_.lub_a_cursor, data, static_cast<size_t>(run.elem));
      lub_.lub_a_cursor += run.elem;
    }
    mark_written();
    return 0;
  }

  /// The fields that most integers have: Iw, or Iw.1, without a required sign.
  template <class Int>
  int put_integers(const Item_Run& run, i64 count, i64 width) {
    const u8* data = run.data;
    for (; count > 0; --count, data = step(const_cast<u8*>(data), run.stride)) {
      if (int code = target_.admit(data, run.elem)) return code;
      if (lub_.lub_a_cursor + width > lub_.lub_a_rec_end) [[unlikely]] {
        if (int code = make_room(width, kValueShare)) return code;
      }
      Int value;
      memcpy(&value, data, sizeof value);
      if (!put_integer_field(reinterpret_cast<char*>(lub_.lub_a_cursor), value, static_cast<u32>(width))) {
        (void)kept(MSG_OUTPUT_CONVERSION);
      }
      lub_.lub_a_cursor += width;
    }
    mark_written();
    return 0;
  }

  /// I0: the text and no more.
  template <class Int>
  int put_shortest(const Item_Run& run, i64 count) {
    constexpr int kLongest = 20;
    char text[kLongest];
    char* const end = text + kLongest;
    for (u8* data = run.data; count > 0; --count, data = step(data, run.stride)) {
      if (int code = target_.admit(data, run.elem)) return code;
      Int value;
      memcpy(&value, data, sizeof value);
      const u64 bits = static_cast<u64>(i64{value});
      char* first = put_decimal_before(end, value < 0 ? u64{0} - bits : bits);
      if (value == 0) *--first = '0';
      if (value < 0) *--first = '-';
      if (int code = literal(first, end - first)) return code;
    }
    return 0;
  }

  /// Fields of w = 0 are edited aside, in columns enough, and give only their text.
  int put_minimal(u32 type, const Item_Run& run, i64 count, const Fmt_Field& field) {
    constexpr i64 kColumns = 5120;  // every field but that of very many decimals
    char columns[kColumns];
    Vm_Block<char> heap;
    char* text = columns;
    if (field.width > kColumns) {
      if (int code = heap.allocate(field.width)) return code;
      text = heap.get();
    }
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    for (; count > 0; --count) {
      if (int code = target_.admit(val.val_data, run.elem)) return code;
      memset(text, ' ', field.width);
      if (int code = for__format_value(&val, &isb_, text)) {
        if (kept(code) != 0) return code;
      }
      const Minimal_Text minimal = minimal_text(text, field.width, field.d);
      if (int code = literal(minimal.start, minimal.length)) return code;
      val.val_data = step(val.val_data, run.stride);
    }
    return 0;
  }

  static u8* step(u8* address, i64 stride) {
    return reinterpret_cast<u8*>(reinterpret_cast<u64>(address) + static_cast<u64>(stride));
  }

  For_Lub& lub_;
  For_Fmt_Isb& isb_;
  Target& target_;
};

#endif
