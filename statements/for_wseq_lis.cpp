// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed WRITE and PRINT to external units.

#include "statements/for_wseq_lis.h"

#include "core/heap.h"
#include "records/buffer.h"
#include "records/for_put.h"
#include "records/record_frame.h"
#include "statements/ldio_statement.h"
#include "statements/ldio_writer.h"

namespace {

constexpr Statement_Rule kWriteSeqLis = {
    STMT_WRITE_SEQ,     true,
    kConnectSequential, kConnectOutput,
    kConnectFormatted,  {Mode_Check::readonly, Mode_Check::keyed, Mode_Check::not_formatted, Mode_Check::direct}};

/// Delimited text up to this length is laid out on the stack.
constexpr i64 kSmallText = 256;

/// Records of a file: lines that fold at the wrap margin.
class External_Target {
 public:
  static constexpr bool kInternal = false;

  explicit External_Target(Ldio_State& state) : s_(state), lub_(state.lub) { measure(); }

  int admit(const For_Value_Info&, int*) { return 0; }
  Room make_room(i64 width) {
    if (remaining_ < width && !new_record()) return Room::skip_value;
    return reserve(width + 1) == 0 ? Room::ready : Room::overflow;
  }
  void debit(i64 width) { remaining_ -= width; }

  int put_text(const u8* text, i64 length);
  int put_complex(const Ldio_Complex& pair);
  int before_child() { return put_pending_blank(0, remaining_); }
  void after_child() {
    s_.ldir.ldir_flags &= ~LDIR_NEED_BLANK;
    measure();
  }

  /// Ends the statement's record: 0 or a message.
  int finish();

 private:
  bool fortran() const { return lub_.lub_cc == CC_FORTRAN; }
  bool needs_blank() const { return s_.ldir.ldir_flags & LDIR_NEED_BLANK; }

  /// Columns of a fresh line.
  i64 line_width() const {
    const i64 lead = lub_.lub_a_data_start - record_base(lub_);
    return std::max<i64>(lub_.lub_wrap_margin - lead - fortran(), 0);
  }
  /// Columns left of the line: the control character of FORTRAN carriage control is none.
  void measure() {
    remaining_ = std::max<i64>(lub_.lub_wrap_margin - (lub_.lub_a_cursor - record_base(lub_)) - fortran(), 0);
  }

  /// Storage for `bytes` at the cursor, wherever the line folds: 0 or MSG_RECORD_OVERFLOW.
  int reserve(i64 bytes) {
    if (s_.buffer_end() - lub_.lub_a_cursor >= bytes) [[likely]]
      return 0;
    const i64 needed = lub_.lub_a_cursor + bytes - std::min(lub_.lub_a_cursor, lub_.lub_a_rec_end);
    return for__adjust_buffer(&lub_, needed, needed) == 0 ? 0 : MSG_RECORD_OVERFLOW;
  }

  /// Ends the line and begins the next: false when that failed, which is then remembered and not tried again.
  bool new_record() {
    const i64 error = s_.ldir.ldir_error;
    if (error != 0 && error != MSG_OUTPUT_CONVERSION) return false;
    if (!lub_.lub_f_stream) {
      s_.ldir.ldir_flags |= LDIR_NEED_BLANK;
      lub_.lub_zero_item = 0;
      lub_.lub_ldio_prev_type = 0;
    }
    if (int code = finish_formatted_record(lub_, Record_End::folded)) {
      s_.ldir.ldir_error = code;
      return false;
    }
    measure();
    return true;
  }

  void append(u8 c) { *lub_.lub_a_cursor++ = c; }
  void append(const u8* text, i64 length) {
    memcpy(lub_.lub_a_cursor, text, length);
    lub_.lub_a_cursor += length;
  }

  int put_pending_blank(i64 length, i64& room);
  int delimit(const u8* text, i64 length, u8 delim, Vm_Block<u8>& heap, u8* small, i64* delimited);
  int grow_for_text(i64 length, int message);
  int put_folded(const u8* text, i64 length, i64 room, u8 delim);

  Ldio_State& s_;
  For_Lub& lub_;
  i64 remaining_;
};

/// The blank that opens a line, if one is due and the text of `length` can follow it. Under FORTRAN carriage control it
/// is the control character and takes no column.
int External_Target::put_pending_blank(i64 length, i64& room) {
  if (!needs_blank() || length > room) return 0;
  if (room < (fortran() ? 1 : 2)) {
    room = 0;
    return 0;
  }
  if (int code = reserve(1)) return code;
  append(' ');
  if (!fortran()) --room;
  s_.ldir.ldir_flags &= ~LDIR_NEED_BLANK;
  return 0;
}

/// Lays the text out with its delimiters, those inside doubled. `small` or `heap` holds the result.
int External_Target::delimit(const u8* text, i64 length, u8 delim, Vm_Block<u8>& heap, u8* small, i64* delimited) {
  constexpr i64 kLongestText = 1ll << 60;
  u8* start = small;
  if (length > (kSmallText - 3) / 2) {
    if (int code = heap.allocate(length < kLongestText ? 2 * length + 3 : -1)) return code;
    start = heap.get();
  }
  u8* out = start;
  if (lub_.lub_ldio_prev_type != 0) *out++ = ' ';
  *out++ = delim;
  for (i64 i = 0; i < length; ++i) {
    if (text[i] == delim) *out++ = delim;
    *out++ = text[i];
  }
  *out++ = delim;
  *delimited = out - start;
  return 0;
}

/// Makes the record as long as the text, which only a virtual one can be: 0 or the message.
int External_Target::grow_for_text(i64 length, int message) {
  const i64 missing = length - lub_.lub_rec_bytes;
  if (missing <= 0) return 0;
  return lub_.lub_f_virtual_recl && for__adjust_buffer(&lub_, missing, missing) == 0 ? 0 : message;
}

/// True when a piece of delimited text that ends here parts a doubled delimiter, which no reader could tell from the end
/// of the text. `content` is behind the opening delimiter.
bool parts_doubled_delimiter(const u8* content, const u8* end, u8 delim) {
  bool odd = false;
  while (end > content && *--end == delim) odd = !odd;
  return odd;
}

/// Text that does not fit in what is left of the line. `delim`: the text has delimiters, and goes on without a blank.
int External_Target::put_folded(const u8* text, i64 length, i64 room, u8 delim) {
  const bool continues_bare = delim != 0;
  const u8* const content = text + (continues_bare && *text == ' ') + 1;
  const bool fresh_line = remaining_ == line_width();
  if (lub_.lub_a_cursor != lub_.lub_a_data_start && !fresh_line && !lub_.lub_f_msf_layout) {
    if (!new_record()) return 0;
    room = remaining_;
    if (!continues_bare) {
      if (int code = put_pending_blank(0, room)) return code;
    }
  } else if (int code = put_pending_blank(0, room)) {
    return code;
  }
  const i64 opening = lub_.lub_f_stream || continues_bare || fortran() ? 0 : 1;
  while (length > room) {
    // A line that takes nothing would make this endless.
    if (line_width() <= opening) return MSG_RECORD_OVERFLOW;
    room = std::max<i64>(room, 0);
    if (continues_bare && room > 1 && parts_doubled_delimiter(content, text + room, delim)) --room;
    if (int code = reserve(room + 1)) return code;
    append(text, room);
    text += room;
    length -= room;
    if (!new_record()) return 0;
    room = remaining_;
    if (!continues_bare) {
      if (int code = put_pending_blank(0, room)) return code;
    }
  }
  if (int code = reserve(length + 1)) return code;
  append(text, length);
  lub_.lub_ldio_prev_type = ITM_CHARACTER;
  remaining_ = room - length;
  return 0;
}

int External_Target::put_text(const u8* text, i64 length) {
  const u8 delim = lub_.lub_f_f90_rtl ? lub_.lub_delim : 0;
  i64 room = remaining_;
  if (int code = put_pending_blank(length, room)) return code;
  if (length == 0 && delim == 0 && needs_blank()) {
    (void)new_record();  // remembered when it fails
    return 0;
  }
  Vm_Block<u8> heap;
  u8 small[kSmallText];
  if (delim != 0) {
    i64 delimited = 0;
    if (int code = delimit(text, length, delim, heap, small, &delimited)) return code;
    text = heap.get() != nullptr ? heap.get() : small;
    length = delimited;
    if (int code = grow_for_text(length, MSG_WRITE_EXCEEDS_RECORD)) return code;
  } else if (lub_.lub_f_f90_rtl && !lub_.lub_f_no_char_blank && lub_.lub_ldio_prev_type != 0 &&
             lub_.lub_ldio_prev_type != ITM_CHARACTER && room >= 1) {
    if (int code = reserve(1)) return code;
    append(' ');
    --room;
  }
  if (lub_.lub_rec_bytes <= 1) {
    if (int code = grow_for_text(length, MSG_RECORD_OVERFLOW)) return code;
  }
  if (length > room) return put_folded(text, length, room, delim);
  if (int code = reserve(length + 1)) return code;
  append(text, length);
  lub_.lub_ldio_prev_type = ITM_CHARACTER;
  remaining_ = room - length;
  return 0;
}

int External_Target::put_complex(const Ldio_Complex& pair) {
  const i64 real = pair.real_length, imag = pair.imag_length;
  const i64 lead = lub_.lub_f_msf_layout ? std::max<i64>(2 * pair.width - real - imag - 1, 1) : 1;
  const i64 opening = lead + real + 2, closing = imag + 1;
  const bool one_line = lub_.lub_wrap_margin >= real + imag + 4;
  if (!one_line && (lub_.lub_wrap_margin < opening || lub_.lub_wrap_margin < closing)) return MSG_WRITE_ERROR;
  if ((one_line ? opening + closing : opening) > remaining_ && !new_record()) return 0;

  if (int code = reserve(opening + closing + 1)) return code;
  memset(lub_.lub_a_cursor, ' ', lead);
  lub_.lub_a_cursor += lead;
  append('(');
  append(pair.real, real);
  append(lub_.lub_decimal == DECIMAL_COMMA ? ';' : ',');
  if (closing > remaining_ - opening) {
    if (!new_record()) return 0;
    if (int code = reserve(closing + 1)) return code;
    append(' ');
  }
  append(pair.imag, imag);
  append(')');
  return 0;
}

int External_Target::finish() {
  const u8* furthest = lub_.lub_a_high_water != nullptr ? lub_.lub_a_high_water : lub_.lub_a_cursor;
  if (furthest == record_base(lub_) && needs_blank()) {
    constexpr i64 kBlankLine = 2;
    if (lub_.lub_rec_bytes < kBlankLine) {
      if (int code = grow_for_text(kBlankLine, MSG_RECORD_OVERFLOW)) return code;
    }
    append(' ');
  }
  s_.ldir.ldir_flags |= LDIR_NEED_BLANK;
  lub_.lub_zero_item = 0;
  lub_.lub_ldio_prev_type = 0;
  return finish_formatted_record(lub_, Record_End::complete);
}

class Write_Statement {
 public:
  explicit Write_Statement(For_Lub& lub) : state_(lub), target_(state_) {}
  Ldio_Result transfer(const u8* list, void* args) {
    const Ldio_Result result = Ldio_Writer<External_Target>(state_, target_).write_items(list, args);
    if (result.end == Ldio_End::call) left = static_cast<int>(state_.ldir.ldir_error);
    return result;
  }
  int end_of_list() {
    For_Lub& lub = state_.lub;
    if (int error = static_cast<int>(state_.ldir.ldir_error)) return fail_statement(lub, error);
    lub.lub_zero_item = 0;
    if (in_child_statement(lub)) return end_statement(lub);  // the record is the parent's
    if (int code = target_.finish()) return fail_statement(lub, code);
    return end_statement(lub);
  }

  int left = 0;  ///< the error that a call which does not end the statement leaves behind

 private:
  Ldio_State state_;
  External_Target target_;
};

}  // namespace

int for_write_seq_lis(For_Context* ctx, int unit, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_transfer(kWriteSeqLis, ctx, unit, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  For_Ldir_Isb& ldir = ldir_state(lub);
  const bool value_option = (effective_io_flags(flags) & iof_ldio_value_option) != 0;
  ldir = {&lub, 0, value_option ? LDIR_VALUE_OPTION : 0u};

  bool continues = false;
  int code = position_stream_output(lub);
  if (code == 0) code = begin_output_record(lub, &continues);
  if (code != 0) return fail_statement(lub, code);
  if (!in_child_statement(lub)) ldir.ldir_flags |= LDIR_NEED_BLANK;

  Write_Statement statement(lub);
  const int result = list_call(lub, statement, item_list, item_args);
  return statement.left != 0 ? statement.left : result;
}

int for_write_seq_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  For_Lub& lub = *ctx->ctx_lub;
  return list_call(lub, Write_Statement(lub), item_list, item_args);
}
