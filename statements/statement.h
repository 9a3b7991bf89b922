// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What all data transfer statements share: how one begins, how its record begins, how it ends.
#ifndef TAMRUN_STATEMENTS_STATEMENT_H
#define TAMRUN_STATEMENTS_STATEMENT_H

#include <stdarg.h>

#include "tamrun/context.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/io_flags.h"
#include "tamrun/lub.h"
#include "units/unit_hold.h"

/// A condition of the connection that a statement refuses. What each reports is in a table in statement.cpp.
enum class Mode_Check : u8 {
  none,
  readonly,       ///< MSG_WRITE_READONLY
  keyed,          ///< MSG_MIXED_ACCESS
  keyed_direct,   ///< MSG_DIRECT_ON_KEYED
  not_formatted,  ///< MSG_FORMATTED_ON_UNFORMATTED; not for internal units and child statements
  unformatted,    ///< MSG_UNFORMATTED_ON_FORMATTED of a formatted READ of an unformatted unit
  formatted,      ///< MSG_UNFORMATTED_ON_FORMATTED; not for child statements
  direct,         ///< MSG_SEQUENTIAL_ON_DIRECT unless compatible; not for child statements
  not_direct,     ///< MSG_DIRECT_I_O_NOT_CONSISTENT
  child,          ///< MSG_UDIO_POS_OR_REC
  sequential,     ///< MSG_MIXED_ACCESS of a REWRITE
  not_connected,  ///< MSG_NO_CURRENT_RECORD
};

/// One entry point: what distinguishes its beginning from that of the others.
struct Statement_Rule {
  u8 code;  ///< For_Statement_Code
  bool formatted;
  u8 connect_access, connect_status, connect_form;  ///< arguments of for__open_default
  Mode_Check checks[5];                             ///< in order; only sequential access has exceptions for children
};

inline constexpr int kConnectNever = 0;  ///< a statement that moves no data
inline constexpr int kConnectSequential = 1;
inline constexpr int kConnectDirect = 2;
inline constexpr int kConnectInput = 1, kConnectOutput = 4;
inline constexpr int kConnectFormatted = 1, kConnectUnformatted = 2;

/// Keyed items of the first call: IOMSG=, POS= and the changeable modes.
struct Control_List {
  const u8* items = nullptr;
  void* args = nullptr;
};

inline bool has_control_list(For_IO_Flags flags) { return (effective_io_flags(flags) & iof_control_list) != 0; }

/// Declares the control list of an entry point, whose words are the variadic arguments behind `last` when the flags say
/// that there is one. Few statements have any.
#define TAMRUN_CONTROL_LIST(control, flags, last) \
  Control_List control;                           \
  if (has_control_list(flags)) {                  \
    va_list arguments;                            \
    va_start(arguments, last);                    \
    control.items = va_arg(arguments, const u8*); \
    control.args = va_arg(arguments, void*);      \
    va_end(arguments);                            \
  }

/// What a beginning statement has. `lub` null: it is over, and compiled code gets `result`.
struct Statement_Start {
  For_Lub* lub;
  int result;
};

/// Takes the unit, stores the statement's flags and control list, connects the unit if need be, checks its modes.
[[nodiscard]] Statement_Start begin_statement(const Statement_Rule& rule, For_Context* ctx, int unit,
                                              For_IO_Flags flags, const Control_List& control);

/// The bits of statement scope that few statements have.
inline constexpr For_IO_Flags kRareFlags = iof_err | iof_end | iof_eor | iof_iostat | iof_coerce_types |
                                           iof_strict_ldio | iof_udio_strict | iof_pad_option49 | iof_advance_given;
void store_rare_flags(For_Lub& lub, For_IO_Flags flags);

/// Stores the bits of statement scope and clears IOMSG=.
inline void store_statement_flags(For_Lub& lub, For_IO_Flags flags) {
  lub.lub_a_iomsg = nullptr;
  lub.lub_iomsg_len = 0;
  lub.lub_pos_request = lub.lub_file_pos;
  lub.lub_f_ignore_conv_error = (flags & iof_ignore_conv_error) != 0;
  if ((flags & kRareFlags) != 0) return store_rare_flags(lub, flags);
  lub.lub_f_err = lub.lub_f_end = lub.lub_f_eor = lub.lub_f_iostat = 0;
  lub.lub_f_coerce_types = lub.lub_f_strict_ldio = lub.lub_f_udio_strict = 0;
  lub.lub_f_pad_option = lub.lub_f_advance_given = 0;
}

/// True for a connection as most statements have it, which no check of the rule refuses.
[[gnu::always_inline]] inline bool is_plain_connection(const For_Lub& lub, const Statement_Rule& rule) {
  const bool reads = rule.code == STMT_READ || rule.code == STMT_READ_LIST;
  const bool direct = rule.connect_access == kConnectDirect;
  return lub.lub_f_connected && !lub.lub_f_keyed && lub.lub_f_direct == direct &&
         lub.lub_f_formatted == rule.formatted && lub.lub_f_unformatted != rule.formatted &&
         (reads || !lub.lub_f_readonly);
}

/// Lines without a margin are as long as the buffer.
[[gnu::always_inline]] inline void apply_wrap_margin(For_Lub& lub, const Statement_Rule& rule) {
  if (rule.formatted && rule.connect_access == kConnectSequential && lub.lub_f_no_wrap_margin)
    lub.lub_rec_bytes = lub.lub_wrap_margin = lub.lub_buffer_size;
}

/// begin_statement for the entry point of a READ or WRITE whose rule the compiler knows: most have no control list, and
/// their unit is free and has a plain connection.
[[gnu::always_inline]] inline Statement_Start begin_transfer(const Statement_Rule& rule, For_Context* ctx, int unit,
                                                             For_IO_Flags given, const Control_List& control) {
  const For_IO_Flags flags = effective_io_flags(given);
  For_Lub* const lub = (flags & iof_control_list) == 0 ? find_free_unit(unit) : nullptr;
  if (lub == nullptr || !is_plain_connection(*lub, rule)) [[unlikely]]
    return begin_statement(rule, ctx, unit, given, control);
  hold_free_unit(*lub, ctx, rule.code);
  store_statement_flags(*lub, flags);
  lub->lub_zero_item = 0;
  lub->lub_ldio_prev_type = 0;
  apply_wrap_margin(*lub, rule);
  return {lub, 0};
}

/// The unit could not be had, so that no LUB carries the statement's specifiers: a control list begins with IOMSG=. What
/// compiled code gets.
int fail_without_lub(int code, int unit, For_IO_Flags flags, const Control_List& control);

/// Walks a control list: 0, or the message with its user code in *user_code.
[[nodiscard]] int walk_control_list(For_Lub& lub, For_IO_Flags flags, bool formatted, const Control_List& control,
                                    int* user_code);

/// Moves a stream unit to lub_pos_request: 0 or MSG_WRITE_ERROR. Nothing for other units.
[[nodiscard]] int position_stream_output(For_Lub& lub);

/// Begins a formatted output record, or goes on with the one that an earlier statement left open, which `continues`
/// then tells: 0, MSG_WRITE_ERROR or MSG_RECORD_TYPE.
[[nodiscard]] int begin_output_record(For_Lub& lub, bool* continues);

/// Moves a stream unit that is read to lub_pos_request, within the buffer where it holds that byte: 0, MSG_WRITE_ERROR or
/// MSG_READ_ERROR. Nothing for other units and for child statements.
[[nodiscard]] int position_stream_input(For_Lub& lub);

/// Brings the next input record: 0, or what for__get_s gives.
[[nodiscard]] int next_input_record(For_Lub& lub);

/// Begins the first input record of a statement: the one that an earlier READ left open, in a child statement the
/// parent's, otherwise the next one, which `fetched` then tells. 0, or what for__get_s gives.
[[nodiscard]] int begin_input_record(For_Lub& lub, bool* fetched);

/// Where the file stands behind the input record, which is dropped unless it `stays_open`: lub_file_pos.
void leave_input_record(For_Lub& lub, bool stays_open = false);

/// The sign mode of the unit as bits of isb_flags.
inline u32 sign_flags(const For_Lub& lub) {
  constexpr u32 kSignBits[] = {0, ISB_S, ISB_SP, ISB_SS};  // by For_Sign_Mode
  return lub.lub_sign <= SIGN_SUPPRESS ? kSignBits[lub.lub_sign] : 0;
}

/// Clears the statement's marks in the LUB and releases the unit: what for__release_lun gives. A statement that has
/// moved data leaves the end condition behind which the unit stood; `at_eof` keeps it.
int end_statement(For_Lub& lub, bool at_eof = false);

/// Ends a failing statement: what compiled code gets.
int fail_statement(For_Lub& lub, int message, int user_code);
inline int fail_statement(For_Lub& lub, int message) { return fail_statement(lub, message, message); }

#endif
