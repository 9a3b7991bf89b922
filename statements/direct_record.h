// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the statements on records with a number share: how one begins and ends, and the step from one record to the next.
#ifndef TAMRUN_STATEMENTS_DIRECT_RECORD_H
#define TAMRUN_STATEMENTS_DIRECT_RECORD_H

#include "statements/statement.h"

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

/// begin_statement, and checks the record number and the keywords of an unformatted statement.
[[nodiscard]] Statement_Start begin_direct(const Statement_Rule& rule, For_Context* ctx, int unit, For_IO_Flags flags,
                                           const Control_List& control, i64 record);

/// begin_direct of a REWRITE, whose record is the one before lub_next_rec, which *record gets.
[[nodiscard]] Statement_Start begin_rewrite(const Statement_Rule& rule, For_Context* ctx, int unit, For_IO_Flags flags,
                                            const Control_List& control, i64* record);

/// Makes `record` the next one to be read, behind what is held of output: 0 or MSG_WRITE_ERROR.
[[nodiscard]] int turn_to_input(For_Lub& lub, i64 record);

/// Makes `record` the next one to be written: it follows those held in the buffer, replaces the last one of them there, or
/// they go out: 0 or MSG_WRITE_ERROR. What the buffer holds of input is forgotten.
[[nodiscard]] int turn_to_output(For_Lub& lub, i64 record);

/// Brings the record lub_next_rec, counts it and frames it: 0, or what for__get_d gives.
[[nodiscard]] int next_direct_input(For_Lub& lub);

/// Puts the record lub_next_rec out and counts it: 0, or what for__put_d gives.
[[nodiscard]] int put_direct_record(For_Lub& lub);

/// Frames the record that begins at lub_a_rec_start, or at the start of the buffer, for output.
void frame_direct_output(For_Lub& lub);

/// The same for a formatted one, which it blanks.
void start_direct_record(For_Lub& lub);

/// Gives ASSOCIATEVARIABLE= its number and ends the statement: what compiled code gets.
int end_direct(For_Lub& lub);

#endif
