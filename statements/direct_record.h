// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the statements on records with a number share: how one begins and ends, and the step from one record to the next.
#ifndef TAMRUN_STATEMENTS_DIRECT_RECORD_H
#define TAMRUN_STATEMENTS_DIRECT_RECORD_H

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/record_frame.h"
#include "statements/positioning.h"

/// The ordered checks of the direct access statements, as begin_direct makes them.
inline constexpr Statement_Rule kReadDir = {
    STMT_READ,           false,
    kConnectDirect,      kConnectInput,
    kConnectUnformatted, {Mode_Check::formatted, Mode_Check::keyed_direct, Mode_Check::not_direct, Mode_Check::child}};
inline constexpr Statement_Rule kReadDirFmt = {
    STMT_READ,
    true,
    kConnectDirect,
    kConnectInput,
    kConnectFormatted,
    {Mode_Check::not_formatted, Mode_Check::keyed_direct, Mode_Check::not_direct, Mode_Check::child}};
inline constexpr Statement_Rule kWriteDir = {
    STMT_WRITE,
    false,
    kConnectDirect,
    kConnectOutput,
    kConnectUnformatted,
    {Mode_Check::readonly, Mode_Check::formatted, Mode_Check::keyed_direct, Mode_Check::not_direct, Mode_Check::child}};
inline constexpr Statement_Rule kWriteDirFmt = {STMT_WRITE,
                                                true,
                                                kConnectDirect,
                                                kConnectOutput,
                                                kConnectFormatted,
                                                {Mode_Check::readonly, Mode_Check::not_formatted,
                                                 Mode_Check::keyed_direct, Mode_Check::not_direct, Mode_Check::child}};
inline constexpr Statement_Rule kRewrite = {
    STMT_REWRITE,
    false,
    kConnectNever,
    0,
    0,
    {Mode_Check::not_connected, Mode_Check::readonly, Mode_Check::formatted, Mode_Check::sequential}};
inline constexpr Statement_Rule kRewriteFmt = {
    STMT_REWRITE,
    true,
    kConnectNever,
    0,
    0,
    {Mode_Check::not_connected, Mode_Check::readonly, Mode_Check::not_formatted, Mode_Check::sequential}};

/// A mode of formatted transfer that the unformatted statement has changed by a keyword.
[[nodiscard]] bool has_formatted_keyword(const For_Lub& lub, const Statement_Rule& rule);

/// begin_transfer, and checks the record number and the keywords of an unformatted statement.
[[gnu::always_inline]] inline Statement_Start begin_direct(const Statement_Rule& rule, For_Context* ctx, int unit,
                                                           For_IO_Flags flags, const Control_List& control,
                                                           i64 record) {
  const Statement_Start start = begin_transfer(rule, ctx, unit, flags, control);
  if (start.lub == nullptr) return start;
  For_Lub& lub = *start.lub;
  if (record < 1 || !is_record_number(lub, static_cast<u64>(record)))
    return {nullptr, fail_statement(lub, MSG_RECORD_NUMBER_RANGE)};
  if ((flags & iof_control_list) != 0 && has_formatted_keyword(lub, rule))
    return {nullptr, fail_statement(lub, MSG_KEYWORD_UNFORMATTED)};
  return start;
}

/// begin_direct of a REWRITE, whose record is the one before lub_next_rec, which *record gets.
[[nodiscard]] Statement_Start begin_rewrite(const Statement_Rule& rule, For_Context* ctx, int unit, For_IO_Flags flags,
                                            const Control_List& control, i64* record);

/// Makes `record` the next one to be read, behind what is held of output: 0 or MSG_WRITE_ERROR.
[[nodiscard]] inline int turn_to_input(For_Lub& lub, i64 record) {
  if (lub.lub_f_buffer_held) {
    if (int code = for__flush_file_buffer(&lub)) return code;
  }
  lub.lub_next_rec = record;
  lub.lub_a_user_target = nullptr;
  return 0;
}

/// Makes `record` the next one to be written: it follows those held in the buffer, replaces the last one of them there, or
/// they go out: 0 or MSG_WRITE_ERROR. What the buffer holds of input is forgotten.
[[nodiscard]] int turn_to_output(For_Lub& lub, i64 record);

/// Frames the direct record that begins at `start`, with a status byte if it is `marked`.
inline void frame_direct(For_Lub& lub, u8* start, bool marked) {
  u8* const end = start + lub.lub_rec_bytes;
  u8* const buffer_end = lub.lub_a_buffer + lub.lub_buffer_size;
  lub.lub_a_cursor = start + (marked ? 1 : 0);
  lub.lub_a_rec_end = end < buffer_end ? end : buffer_end;
  if (!lub.lub_f_formatted) return;
  if (is_crlf_direct(lub)) lub.lub_a_rec_end -= kCrLf;
  lub.lub_a_data_start = lub.lub_a_high_water = lub.lub_a_cursor;
}

/// Counts and frames the record that stands at lub_a_read_next.
inline void enter_direct_input(For_Lub& lub, bool marked) {
  ++lub.lub_next_rec;
  lub.lub_f_at_end = 0;
  u8* const start = lub.lub_a_read_next;
  frame_direct(lub, start, marked);
  // A sequential READ of a compatible connection goes on behind the record.
  u8* const next = start + lub.lub_rec_bytes;
  lub.lub_a_read_next = next < lub.lub_a_read_end ? next : lub.lub_a_read_end;
  lub.lub_read_ahead = lub.lub_a_read_end - lub.lub_a_read_next;
}

/// Brings the record lub_next_rec, counts it and frames it, unless it goes to lub_a_user_target: 0, or what for__get_d
/// gives.
[[nodiscard]] int next_direct_input(For_Lub& lub);

/// Puts the record lub_next_rec out and counts it: 0, or what for__put_d gives.
[[nodiscard]] int put_direct_record(For_Lub& lub);

/// Frames the record that begins at lub_a_rec_start, or at the start of the buffer, for output.
void frame_direct_output(For_Lub& lub);

/// The same for a formatted one, which it blanks.
void start_direct_record(For_Lub& lub);

/// Gives ASSOCIATEVARIABLE= its number and ends the statement: what compiled code gets.
inline int end_direct(For_Lub& lub) {
  if (lub.lub_a_assoc_var != nullptr) {
    if (int code = store_associated_variable(lub)) return fail_statement(lub, code);
  }
  return end_statement(lub);
}

#endif
