// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Formatted records out of the buffer. for__put_sf, which writes the current formatted record, and for__write_output,
// which moves record bytes towards the file, are declared in tamrun/hooks.h.
#ifndef TAMRUN_RECORDS_FOR_PUT_H
#define TAMRUN_RECORDS_FOR_PUT_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"

/// Why a record ends: with its statement or at a slash, or because a list-directed line is full.
enum class Record_End : u8 { complete, folded };

/// Writes the current formatted record and lays out the next, which is not blanked. Counts it in lub_next_rec. On a
/// stream unit a folded line leaves no mark in the file. 0 or a message number.
[[nodiscard]] int finish_formatted_record(For_Lub& lub, Record_End end);

/// A FORTRAN carriage-control record that lub_f_no_terminator leaves without its advance to the next line says so in its
/// control character; the mark is taken back.
void turn_into_prompt(For_Lub& lub);

#endif
