// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The peer: GNU Fortran's own run-time library, which serves everything that the adapter does not.
#ifndef TAMGNU_PEER_H
#define TAMGNU_PEER_H

#include "adapters/gnu/gfortran_abi.h"

/// Entry points that the adapter stands in front of, and those that it calls: name behind "_gfortran_", result,
/// arguments.
#define TAMGNU_PEER_LIST(X)                                                           \
  X(st_write, void, (Gfc_Dt*))                                                        \
  X(st_write_done, void, (Gfc_Dt*))                                                   \
  X(st_read, void, (Gfc_Dt*))                                                         \
  X(st_read_done, void, (Gfc_Dt*))                                                    \
  X(transfer_integer, void, (Gfc_Dt*, void*, int))                                    \
  X(transfer_logical, void, (Gfc_Dt*, void*, int))                                    \
  X(transfer_real, void, (Gfc_Dt*, void*, int))                                       \
  X(transfer_real128, void, (Gfc_Dt*, void*, int))                                    \
  X(transfer_complex, void, (Gfc_Dt*, void*, int))                                    \
  X(transfer_complex128, void, (Gfc_Dt*, void*, int))                                 \
  X(transfer_character, void, (Gfc_Dt*, void*, i64))                                  \
  X(transfer_character_wide, void, (Gfc_Dt*, void*, i64, int))                        \
  X(transfer_array, void, (Gfc_Dt*, Gfc_Array*, int, i64))                            \
  X(transfer_integer_write, void, (Gfc_Dt*, void*, int))                              \
  X(transfer_logical_write, void, (Gfc_Dt*, void*, int))                              \
  X(transfer_real_write, void, (Gfc_Dt*, void*, int))                                 \
  X(transfer_real128_write, void, (Gfc_Dt*, void*, int))                              \
  X(transfer_complex_write, void, (Gfc_Dt*, void*, int))                              \
  X(transfer_complex128_write, void, (Gfc_Dt*, void*, int))                           \
  X(transfer_character_write, void, (Gfc_Dt*, void*, i64))                            \
  X(transfer_character_wide_write, void, (Gfc_Dt*, void*, i64, int))                  \
  X(transfer_array_write, void, (Gfc_Dt*, Gfc_Array*, int, i64))                      \
  X(transfer_derived, void, (Gfc_Dt*, void*, void*))                                  \
  X(st_open, void, (Gfc_Common*))                                                     \
  X(st_close, void, (Gfc_Common*))                                                    \
  X(st_rewind, void, (Gfc_Common*))                                                   \
  X(st_backspace, void, (Gfc_Common*))                                                \
  X(st_endfile, void, (Gfc_Common*))                                                  \
  X(st_inquire, void, (Gfc_Common*))                                                  \
  X(st_flush, void, (Gfc_Common*))                                                    \
  X(flush_i4, void, (i32*))                                                           \
  X(flush_i8, void, (i64*))                                                           \
  X(st_wait, void, (Gfc_Common*))                                                     \
  X(st_wait_async, void, (Gfc_Common*))                                               \
  X(ftell, i64, (i32*))                                                               \
  X(ftell_i1_sub, void, (i32*, i8*))                                                  \
  X(ftell_i2_sub, void, (i32*, i16*))                                                 \
  X(ftell_i4_sub, void, (i32*, i32*))                                                 \
  X(ftell_i8_sub, void, (i32*, i64*))                                                 \
  X(fseek_sub, void, (i32*, i64*, i32*, i32*))                                        \
  X(fnum_i4, int, (i32*))                                                             \
  X(fnum_i8, i64, (i64*))                                                             \
  X(ttynam, void, (char**, i64*, i32))                                                \
  X(ttynam_sub, void, (i32*, char*, i64))                                             \
  X(isatty_l4, i32, (i32*))                                                           \
  X(isatty_l8, i64, (i32*))                                                           \
  X(fstat_i4, i32, (i32*, void*))                                                     \
  X(fstat_i8, i64, (i64*, void*))                                                     \
  X(fstat_i4_sub, void, (i32*, void*, i32*))                                          \
  X(fstat_i8_sub, void, (i64*, void*, i64*))                                          \
  X(fget, int, (char*, i64))                                                          \
  X(fget_i4_sub, void, (char*, i32*, i64))                                            \
  X(fget_i8_sub, void, (char*, i64*, i64))                                            \
  X(fput, int, (char*, i64))                                                          \
  X(fput_i4_sub, void, (char*, i32*, i64))                                            \
  X(fput_i8_sub, void, (char*, i64*, i64))                                            \
  X(fgetc, int, (i32*, char*, i64))                                                   \
  X(fgetc_i4_sub, void, (i32*, char*, i32*, i64))                                     \
  X(fgetc_i8_sub, void, (i32*, char*, i64*, i64))                                     \
  X(fputc, int, (i32*, char*, i64))                                                   \
  X(fputc_i4_sub, void, (i32*, char*, i32*, i64))                                     \
  X(fputc_i8_sub, void, (i32*, char*, i64*, i64))                                     \
  X(execute_command_line_i4, void, (const char*, void*, i32*, i32*, char*, i64, i64)) \
  X(execute_command_line_i8, void, (const char*, void*, i64*, i64*, char*, i64, i64)) \
  X(system, int, (const char*, i64))                                                  \
  X(system_sub, void, (const char*, i32*, i64))                                       \
  X(string_trim, void, (size_t*, void**, size_t, const char*))                        \
  X(string_len_trim, size_t, (size_t, const char*))                                   \
  X(string_index, size_t, (size_t, const char*, size_t, const char*, i32))            \
  X(string_scan, size_t, (size_t, const char*, size_t, const char*, i32))             \
  X(string_verify, size_t, (size_t, const char*, size_t, const char*, i32))           \
  X(adjustl, void, (char*, size_t, const char*))                                      \
  X(adjustr, void, (char*, size_t, const char*))                                      \
  X(set_args, void, (int, char**))                                                    \
  X(set_options, void, (int, int*))                                                   \
  X(set_convert, void, (int))                                                         \
  X(set_record_marker, void, (int))                                                   \
  X(set_max_subrecord_length, void, (int))                                            \
  X(stop_numeric, void, (int, bool))                                                  \
  X(stop_string, void, (const char*, size_t, bool))                                   \
  X(error_stop_numeric, void, (int, bool))                                            \
  X(error_stop_string, void, (const char*, size_t, bool))                             \
  X(pause_numeric, void, (i32))                                                       \
  X(pause_string, void, (const char*, size_t))                                        \
  X(abort, void, ())

struct Peer {
#define TAMGNU_FIELD(name, result, arguments) result(*name) arguments;
  TAMGNU_PEER_LIST(TAMGNU_FIELD)
#undef TAMGNU_FIELD
};

/// The peer's entry points: those found next behind this library. A program that has none ends here.
const Peer& peer();

#endif
