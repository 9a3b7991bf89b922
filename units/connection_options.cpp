// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The compile-time choices of the calling program, as a unit keeps them from its connection on.

#include "units/connection_options.h"

void store_connection_options(For_Lub& lub, For_IO_Flags given) {
  const For_IO_Flags flags = effective_io_flags(given);
  const auto has = [flags](For_IO_Flag_Bits bit) { return (flags & bit) != 0; };
  lub.lub_f_legacy_defaults = has(iof_legacy_defaults);
  lub.lub_f_f90_rtl = has(iof_f90_rtl);
  lub.lub_f_no_char_blank = has(iof_no_char_blank);
  lub.lub_f_compat_io = lub.lub_f_f90_messages = lub.lub_f_ldio_compat = has(iof_compat_io);
  lub.lub_f_files_from_cmd = has(iof_files_from_cmd);
  lub.lub_f_msf_layout = lub.lub_f_ms_unformatted_default = has(iof_msf_layout);
  lub.lub_f_true_is_one = lub.lub_f_logical_nonzero = has(iof_true_is_one);
  lub.lub_f_minus_zero = has(iof_minus_zero);
  lub.lub_f_buffered_default = has(iof_buffered_io);
  lub.lub_cc_default = iof_cc_default(flags);
  lub.lub_f_compact_ldio = has(iof_compact_ldio);
  lub.lub_f_buffer_stdout = has(iof_buffered_stdout);
  if (has(iof_no_wrap_margin)) lub.lub_f_no_wrap_margin = 1;
  lub.lub_f_blank_unformatted_ok = has(iof_blank_unformatted_ok);
  lub.lub_f_check_blank_unformatted = has(iof_advance_given);  // at an OPEN the bit means BLANK= checking
}

void store_convert_option(For_Lub& lub, For_IO_Flags flags) {
  constexpr u8 kNoOption = 255;
  const u8 option = static_cast<u8>(flags >> 8);
  const bool given = (flags & iof_convert_given) != 0;
  // A connected file keeps its byte order when the OPEN says nothing.
  if (!given && (option == 0 || option == kNoOption)) return;
  lub.lub_convert = option;
  lub.lub_f_convert = 1;
  lub.lub_f_big_endian_words = given;
}
