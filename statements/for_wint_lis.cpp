// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// List-directed WRITE to internal files.

#include "statements/for_internal.h"
#include "statements/internal_file.h"
#include "statements/ldio_statement.h"
#include "statements/ldio_writer.h"

namespace {

char g_name[] = "Internal List-Directed Write";
constexpr Internal_Rule kWriteIntLis = {STMT_WRITE, true, false, g_name, g_name, nullptr};

/// Elements of the variable. A value never folds: what does not fit goes to the next element, if there is one.
class Internal_Target {
 public:
  static constexpr bool kInternal = true;

  explicit Internal_Target(Ldio_State& state) : s_(state), lub_(state.lub) {}

  int admit(const For_Value_Info& val, int* user_code) {
    if (lub_.lub_maxrec < 1) {
      *user_code = MSG_INPUT_TOO_MUCH_DATA;
      return MSG_END_OF_FILE;
    }
    return *user_code = lies_in_variable(lub_, val.val_data, val.val_total) ? MSG_WRITE_TO_SELF : 0;
  }

  Room make_room(i64 width) {
    step_before(width);
    return width <= internal_room(lub_) ? Room::ready : Room::overflow;
  }
  void debit(i64) {}
  int put_text(const u8* text, i64 length);
  int put_complex(const Ldio_Complex& pair);
  int before_child() { return 0; }
  void after_child() {}

 private:
  /// The next element when `width` columns are not left of this one.
  void step_before(i64 width) {
    if (lub_.lub_maxrec > 1 && width > internal_room(lub_)) (void)next_internal_record(lub_);
  }
  void append(u8 c) { *lub_.lub_a_cursor++ = c; }
  void append(const u8* text, i64 length) {
    memcpy(lub_.lub_a_cursor, text, static_cast<size_t>(length));
    lub_.lub_a_cursor += length;
  }
  bool opens_variable() const {
    return (lub_.lub_f_legacy_defaults || lub_.lub_f_f90_rtl) && lub_.lub_a_cursor == lub_.lub_a_data_start;
  }
  bool separates() const {
    return lub_.lub_f_f90_rtl && lub_.lub_delim == 0 && !lub_.lub_f_no_char_blank && lub_.lub_ldio_prev_type != 0 &&
           lub_.lub_ldio_prev_type != ITM_CHARACTER;
  }

  Ldio_State& s_;
  For_Lub& lub_;
};

/// Delimiters are never written.
int Internal_Target::put_text(const u8* text, i64 length) {
  const bool separated = separates();
  step_before(length < INT64_MAX && (separated || opens_variable()) ? length + 1 : length);
  if (opens_variable() && internal_room(lub_) > 0) ++lub_.lub_a_cursor;
  if (separated && internal_room(lub_) > 0) append(' ');
  if (length > internal_room(lub_)) return MSG_RECORD_OVERFLOW;
  append(text, length);
  lub_.lub_ldio_prev_type = ITM_CHARACTER;
  return 0;
}

/// A pair that no element holds is divided behind its separator.
int Internal_Target::put_complex(const Ldio_Complex& pair) {
  const i64 opening = pair.real_length + 3, closing = pair.imag_length + 1;
  const bool one_record = lub_.lub_recl >= opening + closing;
  if (!one_record && (lub_.lub_recl < opening || lub_.lub_recl < closing)) return MSG_WRITE_ERROR;
  step_before(one_record ? opening + closing : opening);
  const bool divided = internal_room(lub_) < opening + closing;
  if (divided && (internal_room(lub_) < opening || lub_.lub_maxrec < 2)) return MSG_WRITE_ERROR;
  append(' ');
  append('(');
  append(pair.real, pair.real_length);
  append(lub_.lub_decimal == DECIMAL_COMMA ? ';' : ',');
  if (divided) {
    (void)next_internal_record(lub_);
    if (closing < internal_room(lub_)) append(' ');
  }
  append(pair.imag, pair.imag_length);
  append(')');
  return 0;
}

class Write_Statement {
 public:
  explicit Write_Statement(For_Lub& lub) : state_(lub), target_(state_) {}
  Ldio_Result transfer(const u8* list, void* args) {
    return Ldio_Writer<Internal_Target>(state_, target_).write_items(list, args);
  }
  int end_of_list() {
    const int error = static_cast<int>(state_.ldir.ldir_error);
    return error != 0 ? fail_statement(state_.lub, error) : end_statement(state_.lub);
  }

 private:
  Ldio_State state_;
  Internal_Target target_;
};

}  // namespace

int for_write_int_lis(For_Context* ctx, For_IO_Flags flags, const u8* item_list, void* item_args, ...) {
  TAMRUN_CONTROL_LIST(control, flags, item_args);

  const Statement_Start start = begin_internal_statement(kWriteIntLis, ctx, flags, control);
  if (start.lub == nullptr) return start.result;
  For_Lub& lub = *start.lub;
  const bool value_option = (effective_io_flags(flags) & iof_ldio_value_option) != 0;
  ldir_state(lub) = {&lub, 0, value_option ? LDIR_VALUE_OPTION : 0u};
  if (int code = take_variable(lub, kWriteIntLis, &item_list, &item_args)) return fail_statement(lub, code);
  return for_write_int_lis_xmit(ctx, item_list, item_args);
}

int for_write_int_lis_xmit(For_Context* ctx, const u8* item_list, void* item_args) {
  For_Lub& lub = *ctx->ctx_lub;
  return list_call(lub, Write_Statement(lub), item_list, item_args);
}
