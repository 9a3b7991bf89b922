// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The peer: GNU Fortran's own run-time library, which serves everything that the adapter does not.
#ifndef TAMGNU_PEER_H
#define TAMGNU_PEER_H

#include "adapters/gnu/gfortran_abi.h"

/// Entry points that the adapter stands in front of, and those that it calls: name behind "_gfortran_", result,
/// arguments.
#define TAMGNU_PEER_LIST(X)                                          \
  X(st_write, void, (Gfc_Dt*))                                       \
  X(st_write_done, void, (Gfc_Dt*))                                  \
  X(transfer_integer_write, void, (Gfc_Dt*, void*, int))             \
  X(transfer_logical_write, void, (Gfc_Dt*, void*, int))             \
  X(transfer_real_write, void, (Gfc_Dt*, void*, int))                \
  X(transfer_real128_write, void, (Gfc_Dt*, void*, int))             \
  X(transfer_complex_write, void, (Gfc_Dt*, void*, int))             \
  X(transfer_complex128_write, void, (Gfc_Dt*, void*, int))          \
  X(transfer_character_write, void, (Gfc_Dt*, void*, i64))           \
  X(transfer_character_wide_write, void, (Gfc_Dt*, void*, i64, int)) \
  X(transfer_array_write, void, (Gfc_Dt*, Gfc_Array*, int, i64))     \
  X(transfer_derived, void, (Gfc_Dt*, void*, void*))                 \
  X(st_open, void, (Gfc_Common*))                                    \
  X(st_close, void, (Gfc_Common*))                                   \
  X(st_flush, void, (Gfc_Common*))                                   \
  X(flush_i4, void, (i32*))                                          \
  X(flush_i8, void, (i64*))                                          \
  X(set_args, void, (int, char**))                                   \
  X(set_options, void, (int, int*))                                  \
  X(stop_numeric, void, (int, bool))                                 \
  X(stop_string, void, (const char*, size_t, bool))                  \
  X(error_stop_numeric, void, (int, bool))                           \
  X(error_stop_string, void, (const char*, size_t, bool))            \
  X(abort, void, ())

struct Peer {
#define TAMGNU_FIELD(name, result, arguments) result(*name) arguments;
  TAMGNU_PEER_LIST(TAMGNU_FIELD)
#undef TAMGNU_FIELD
};

/// The peer's entry points: those found next behind this library. A program that has none ends here.
const Peer& peer();

#endif
