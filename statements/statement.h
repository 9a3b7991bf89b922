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

/// Takes the control list from the variadic arguments when the flags say that there is one.
inline Control_List control_list(For_IO_Flags flags, va_list arguments) {
  Control_List control;
  if (effective_io_flags(flags) & iof_control_list) {
    control.items = va_arg(arguments, const u8*);
    control.args = va_arg(arguments, void*);
  }
  return control;
}

/// What a beginning statement has. `lub` null: it is over, and compiled code gets `result`.
struct Statement_Start {
  For_Lub* lub;
  int result;
};

/// Takes the unit, stores the statement's flags and control list, connects the unit if need be, checks its modes.
[[nodiscard]] Statement_Start begin_statement(const Statement_Rule& rule, For_Context* ctx, int unit,
                                              For_IO_Flags flags, const Control_List& control);

/// Stores the bits of statement scope and clears IOMSG=.
void store_statement_flags(For_Lub& lub, For_IO_Flags flags);

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
