// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// For_IO_Flags: the 64-bit word that is the third argument of every first call of a statement.
#ifndef TAMRUN_IO_FLAGS_H
#define TAMRUN_IO_FLAGS_H

#include "tamrun/types.h"

/// The high 32 bits count only when iof_extended is set; otherwise they read as zero. Bits of statement scope act on
/// each statement, bits of connection scope when the statement connects the unit.
typedef u64 For_IO_Flags;

enum For_IO_Flag_Bits TAMRUN_BASE_U64 {
  iof_err = 1ull << 0,                 ///< ERR= given
  iof_end = 1ull << 1,                 ///< END= given
  iof_format_text = 1ull << 3,         ///< the format argument is run-time text
  iof_legacy_defaults = 1ull << 7,     ///< connection: pre-Fortran-90 defaults
  iof_format_option8 = 1ull << 8,      ///< statement, formatted: isb2_keep_rounded_sign
  iof_convert_given = 1ull << 16,      ///< OPEN: bits 8 to 15 hold a CONVERT value
  iof_f90_rtl = 1ull << 18,            ///< connection: clear selects the 'f77rtl' behaviour
  iof_eor = 1ull << 21,                ///< EOR= given
  iof_coerce_types = 1ull << 24,       ///< statement, formatted: reinterpret mismatched items
  iof_ignore_conv_error = 1ull << 25,  ///< statement: MSG_OUTPUT_CONVERSION does not fail the statement
  iof_no_char_blank = 1ull << 26,      ///< connection: no blank between a number and a character item
  iof_compat_io = 1ull << 27,          ///< connection: device names, CR LF on direct text files, further defaults
  iof_files_from_cmd = 1ull << 28,     ///< connection: a blank file name comes from the command line
  iof_msf_layout = 1ull << 29,         ///< connection: the second list-directed field table
  iof_true_is_one = 1ull << 30,        ///< connection: logical .TRUE. is any non-zero value, stored as 1
  iof_extended = 1ull << 31,           ///< the high word is valid
  iof_minus_zero = 1ull << 32,         ///< connection: a true negative zero keeps its sign
  iof_buffered_io = 1ull << 33,        ///< connection: output buffering
  iof_control_list = 1ull << 36,       ///< a control list follows the fixed arguments
  iof_strict_ldio = 1ull << 37,        ///< statement: strict list-directed input
  iof_compact_ldio = 1ull << 39,       ///< connection: compact list-directed output
  iof_buffered_stdout = 1ull << 41,    ///< connection: buffering of the standard streams
  iof_no_wrap_margin = 1ull << 42,     ///< connection: list-directed records fold only at the buffer's size
  iof_close_warning = 1ull << 43,      ///< CLOSE: warn of a unit that is not open
  iof_ldio_value_option = 1ull << 44,  ///< statement, list-directed output
  iof_udio_strict = 1ull << 45,        ///< statement: strict checks of a child's IOSTAT and IOMSG
  iof_statement46 = 1ull << 46,        ///< statement flag without a reader in the library
  iof_iostat = 1ull << 47,             ///< IOSTAT= given
  iof_blank_unformatted_ok = 1ull << 48,
  iof_pad_option49 = 1ull << 49,  ///< steers MSG_PAD_WITH_F77RTL
  iof_statement50 = 1ull << 50,
  iof_advance_given = 1ull << 51,  ///< formatted statements: the item list begins with the ADVANCE= text
  iof_size_given = 1ull << 52,     ///< formatted READ: the item list holds the SIZE= variable behind ADVANCE=
};

#ifdef __cplusplus
/// Connection scope, two bits: default carriage control of the console units (For_Carriage_Control, 0 none given).
constexpr u32 iof_cc_default(For_IO_Flags flags) { return static_cast<u32>(flags >> 34) & 3; }

/// The flags word with the high half dropped unless it is declared valid.
constexpr For_IO_Flags effective_io_flags(For_IO_Flags flags) {
  return (flags & iof_extended) != 0 ? flags : flags & 0xffffffffull;
}
#endif

#endif
