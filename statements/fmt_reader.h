// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The reading transfer of the formatted loop: fields are converted where they stand in the record. A target says where
// records come from and what a record that ends too early means. It is a class with these members, all bound at compile
// time:
//
//   static constexpr bool kInternal
//   Fmt_End next_record(int* error)     at a slash or the end of the format
//   bool ends_at_record()               the record's end ends the statement: non-advancing input
//   bool pass_takes_record()            a format that starts over takes the next record
//   int  refuse_short_record()          may a field reach beyond the record's end at all: 0 or a message
#ifndef TAMRUN_STATEMENTS_FMT_READER_H
#define TAMRUN_STATEMENTS_FMT_READER_H

#include <string.h>

#include <algorithm>

#include "core/failure.h"
#include "core/heap.h"
#include "statements/fmt_loop.h"
#include "statements/fmt_width.h"

template <class Target>
class Fmt_Reader {
 public:
  static constexpr bool kWriting = false;
  static constexpr bool kInternal = Target::kInternal;

  Fmt_Reader(For_Lub& lub, Target& target) : lub_(lub), isb_(*lub.lub_a_fmt_isb), target_(target) {}

  int error = 0;

  Fmt_End begin_pass() { return target_.pass_takes_record() ? slash() : Fmt_End::none; }
  Fmt_End slash() { return target_.next_record(&error); }
  void dollar() {}

  /// Text in the format takes the place of as many characters. A format may stand in memory that cannot be written, and
  /// what it holds is never shown by input, so that they are only passed over.
  int literal(const char*, i64 length) {
    const i64 taken = std::min(length, chars_left_in_record());
    lub_.lub_a_cursor += taken;
    if (lub_.lub_f_pad_in_force) lub_.lub_pad_count += length - taken;
    count_for_size(taken);
    return 0;
  }

  int chars_left(u32 type, const Item_Run& run) {
    return store_integer(type, run.data, chars_left_in_record()) ? 0 : MSG_FORMAT_TYPE_MISMATCH;
  }

  Fmt_End values(u32 type, const Item_Run& run, i64 count) {
    const Fmt_Field field = plan_field(isb_, type, run.elem, false);
    error = field.failure;
    if (error == 0 && field.width < 0) error = MSG_FORMAT_SYNTAX;
    if (error == 0 && field.width > kWidestField) error = MSG_INPUT_CONVERSION;
    if (error != 0) return Fmt_End::failed;
    const Planned_Field planned(isb_, field);
    const bool is_text_edit = isb_.isb_code == FMT_A || isb_.isb_code == FMT_A_W;
    separator_ = is_text_edit ? kNoSeparator : for__decimal_comma(isb_) ? ';' : ',';
    For_Value_Info val = {run.data, run.elem, type, run.elem, nullptr};
    Plain_Format format;
    Plain_Reader* const reader = plain_reader(isb_, type, &format);
    find_separator(field.width, count);
    while (count > 0) {
      i64 read =
          reader == nullptr ? 0 : read_plain(*reader, format, {nullptr, field.width, count, val.val_data, run.stride});
      if (read == 0) {
        const Fmt_End end = read_value(val, field.width, count);
        if (end != Fmt_End::none) return end;
        read = 1;
      }
      count -= read;
      val.val_data = reinterpret_cast<u8*>(reinterpret_cast<u64>(val.val_data) +
                                           static_cast<u64>(run.stride) * static_cast<u64>(read));
    }
    return Fmt_End::none;
  }

 private:
  static constexpr i64 kWidestField = 1 << 30;  ///< the converters count columns in 32 bits
  static constexpr int kNoSeparator = -1;

  i64 chars_left_in_record() const { return std::max<i64>(lub_.lub_a_rec_end - lub_.lub_a_cursor, 0); }
  void count_for_size(i64 taken) {
    if (lub_.lub_f_size_given) lub_.lub_size_count += taken;
  }

  /// Looks once for the separator in what `count` more fields can take of the record.
  void find_separator(i64 width, i64 count) {
    const i64 left = chars_left_in_record();
    i64 columns = left;
    if (!takes_rest_ && (__builtin_mul_overflow(width, count, &columns) || columns > left)) columns = left;
    const bool splits = separator_ != kNoSeparator && columns > 0;
    const void* found = splits ? memchr(lub_.lub_a_cursor, separator_, columns) : nullptr;
    separator_at_ = static_cast<const u8*>(found);
  }

  /// Reads the fields in front that lie whole in the record and hold nothing but plain numbers; `run` lacks the field.
  /// Gives how many those are.
  i64 read_plain(Plain_Reader& reader, const Plain_Format& format, Plain_Run run) {
    if (takes_rest_ || run.width <= 0) return 0;
    const u8* const limit = separator_at_ != nullptr ? separator_at_ : lub_.lub_a_rec_end;
    const i64 columns = limit - lub_.lub_a_cursor;
    if (columns < run.width) return 0;
    if (run.count > 1) run.count = std::min(run.count, columns / run.width);
    run.field = reinterpret_cast<const char*>(lub_.lub_a_cursor);
    const i64 read = reader(run, format);
    lub_.lub_a_cursor += read * run.width;
    count_for_size(read * run.width);
    return read;
  }

  /// The first of `count` more values.
  Fmt_End read_value(For_Value_Info& val, i64 width, i64 count) {
    const i64 left = chars_left_in_record();
    if (takes_rest_) width = left;
    const u8* const field = lub_.lub_a_cursor;
    if (separator_at_ != nullptr && separator_at_ < field + std::min(width, left)) {
      const i64 length = separator_at_ - field;
      const Fmt_End end = convert(field, length, length + 1, val);
      find_separator(width, count - 1);
      return end;
    }
    if (left < width) [[unlikely]]
      return short_record(val, width, left);
    return convert(field, width, width, val);
  }

  /// `field` holds `length` characters; the record gives `taken`.
  Fmt_End convert(const u8* field, i64 length, i64 taken, For_Value_Info& val) {
    isb_.isb_width = length;
    error = for__cvt_value(&isb_, reinterpret_cast<const char*>(field), &val);
    lub_.lub_a_cursor += taken;
    count_for_size(taken);
    if (error != 0) return Fmt_End::failed;
    return lub_.lub_f_eor_pending ? Fmt_End::statement : Fmt_End::none;
  }

  /// The record ends inside the field.
  Fmt_End short_record(For_Value_Info& val, i64 width, i64 left) {
    if (const int code = target_.refuse_short_record()) return failed(code);
    const bool ends = target_.ends_at_record();
    if (lub_.lub_f_f90_rtl && !lub_.lub_f_pad) {
      if (!ends) return failed(MSG_INPUT_TOO_MUCH_DATA);
      lub_.lub_f_eor_pending = 1;
      return Fmt_End::statement;
    }
    if (ends) lub_.lub_f_eor_pending = 1;
    if (lub_.lub_f_f90_rtl) return ends && left == 0 ? Fmt_End::statement : convert_padded(val, width, left);
    const bool option = lub_.lub_f_pad_option, advance = lub_.lub_f_advance_given;
    if (lub_.lub_f_pad) {
      if (option && advance) for__issue_diagnostic(MSG_PAD_WITH_F77RTL, 0);
    } else if (option || !advance) {
      takes_rest_ = true;
    }
    return convert(lub_.lub_a_cursor, left, left, val);
  }

  /// What is there, with blanks for the rest.
  Fmt_End convert_padded(For_Value_Info& val, i64 width, i64 left) {
    constexpr i64 kColumns = 512;
    char columns[kColumns];
    Vm_Block<char> heap;
    char* field = columns;
    if (width >= kColumns) {
      if (int code = heap.allocate(width + 1)) return failed(code);
      field = heap.get();
    }
    if (left > 0) memcpy(field, lub_.lub_a_cursor, left);
    memset(field + left, ' ', width - left);
    field[width] = '\0';
    lub_.lub_pad_count += width - left;
    return convert(reinterpret_cast<const u8*>(field), width, left, val);
  }

  Fmt_End failed(int message) {
    error = message;
    return Fmt_End::failed;
  }

  For_Lub& lub_;
  For_Fmt_Isb& isb_;
  Target& target_;
  int separator_ = kNoSeparator;
  const u8* separator_at_ = nullptr;  ///< the next one within reach of the run
  bool takes_rest_ = false;           ///< every further field of the call takes what is left of its record
};

#endif
