// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Out-of-line forms of the bit intrinsics in two families: the for_ names, and those that begin with the letter of their
// width: b_, h_, i_ and k_ for 1, 2, 4 and 8 bytes. A row per entry point: name, type of value and result, operation.
//
// Arguments by reference may stand at any address. Positions, lengths and shifts are read in the width of the value, of
// 8-byte values in 4 bytes: any that fits is read the same from an argument of the value's own width and from a default
// INTEGER.
#ifndef TAMRUN_INTRINSICS_BITS_H
#define TAMRUN_INTRINSICS_BITS_H

#include <array>

#include "tamrun/types.h"

// clang-format off

/// (value), by value.
#define TAMRUN_BITS_BY_VALUE(X) \
  X(for_i1trailz, i8, trailz) X(for_iitrailz, i16, trailz) X(for_jitrailz, i32, trailz) X(for_kitrailz, i64, trailz) \
  X(for_i1leadz, i8, leadz)   X(for_iileadz, i16, leadz)   X(for_jileadz, i32, leadz)   X(for_kileadz, i64, leadz) \
  X(for_i1ilen, i8, ilen)     X(for_iiilen, i16, ilen)     X(for_jiilen, i32, ilen)     X(for_kiilen, i64, ilen) \
  X(for_i1popcnt, i8, popcnt) X(for_iipopcnt, i16, popcnt) X(for_jipopcnt, i32, popcnt) X(for_kipopcnt, i64, popcnt) \
  X(for_i1poppar, i8, poppar) X(for_iipoppar, i16, poppar) X(for_jipoppar, i32, poppar) X(for_kipoppar, i64, poppar)

/// (value, position or shift).
#define TAMRUN_BITS_PLACE(X) \
  X(for_iibset, i16, ibset) X(for_jibset, i32, ibset) X(for_kibset, i64, ibset) \
  X(for_iibclr, i16, ibclr) X(for_jibclr, i32, ibclr) X(for_kibclr, i64, ibclr) \
  X(for_bitest, i16, btest) X(for_bjtest, i32, btest) X(for_bktest, i64, btest) \
  X(for_iishft, i16, ishft) X(for_jishft, i32, ishft) X(for_kishft, i64, ishft) \
  X(b_ishft, i8, machine_ishft) X(h_ishft, i16, machine_ishft) \
  X(i_ishft, i32, machine_ishft) X(k_ishft, i64, machine_ishft)

/// The same; a null pointer sets errno to EINVAL and gives 0.
#define TAMRUN_BITS_CHECKED_PLACE(X) \
  X(b_btest, i8, checked_btest) X(h_btest, i16, checked_btest) \
  X(i_btest, i32, checked_btest) X(k_btest, i64, checked_btest) \
  X(b_ibset, i8, checked_ibset) X(h_ibset, i16, checked_ibset) \
  X(i_ibset, i32, checked_ibset) X(k_ibset, i64, checked_ibset) \
  X(b_ibclr, i8, checked_ibclr) X(h_ibclr, i16, checked_ibclr) \
  X(i_ibclr, i32, checked_ibclr) X(k_ibclr, i64, checked_ibclr)

/// (value, position, length) or (value, shift, size).
#define TAMRUN_BITS_FIELD(X) \
  X(for_iibits, i16, ibits) X(for_jibits, i32, ibits) X(for_kibits, i64, ibits) \
  X(for_i1shftc, i8, ishftc) X(for_iishftc, i16, ishftc) X(for_jishftc, i32, ishftc) X(for_kishftc, i64, ishftc) \
  X(b_ishftc, i8, machine_ishftc) X(h_ishftc, i16, machine_ishftc) \
  X(i_ishftc, i32, machine_ishftc) X(k_ishftc, i64, machine_ishftc)

/// The same; a null pointer sets errno to EINVAL and gives 0.
#define TAMRUN_BITS_CHECKED_FIELD(X) \
  X(f_ibits1, i8, checked_ibits) X(f_ibits2, i16, checked_ibits) \
  X(k_ibits, i64, checked_ibits) X(b_ibits, i8, machine_ibits)

/// (from, frompos, len, to, topos).
#define TAMRUN_BITS_MOVE(X) X(for_bmvbits, i8) X(for_imvbits, i16) X(for_jmvbits, i32) X(for_kmvbits, i64)

/// (a).
#define TAMRUN_BITS_ONE(X) \
  X(b_abs, i8, abs_of) X(h_abs, i16, abs_of) X(i_abs, i32, abs_of) X(k_abs, i64, abs_of) \
  X(b_not, i8, not_of) X(h_not, i16, not_of) X(i_not, i32, not_of) X(k_not, i64, not_of)

/// (a, b), of the same type.
#define TAMRUN_BITS_TWO(X) \
  X(b_dim, i8, dim)   X(h_dim, i16, dim)   X(i_dim, i32, dim)   X(k_dim, i64, dim) \
  X(b_iand, i8, iand) X(h_iand, i16, iand) X(i_iand, i32, iand) X(k_iand, i64, iand) \
  X(b_ior, i8, ior)   X(h_ior, i16, ior)   X(i_ior, i32, ior)   X(k_ior, i64, ior) \
  X(b_ieor, i8, ieor) X(h_ieor, i16, ieor) X(i_ieor, i32, ieor) X(k_ieor, i64, ieor) \
  X(b_mod, i8, mod)   X(h_mod, i16, mod)   X(i_mod, i32, mod)   X(k_mod, i64, mod) \
  X(b_sign, i8, sign) X(h_sign, i16, sign) X(i_sign, i32, sign) X(k_sign, i64, sign)

// clang-format on

/// Entry n has the n low bits set.
TAMRUN_ENTRY const std::array<u64, 65> for_bit_mask;
/// Entry b is the number of bits set in the byte b.
TAMRUN_ENTRY const std::array<u32, 256> For__Popcnt_Table;

#define TAMRUN_BY_VALUE(name, Int, operation) TAMRUN_ENTRY Int name(Int value);
#define TAMRUN_PLACE(name, Int, operation) TAMRUN_ENTRY Int name(const void* value, const void* place);
#define TAMRUN_FIELD(name, Int, operation) \
  TAMRUN_ENTRY Int name(const void* value, const void* place, const void* length);
#define TAMRUN_MOVE(name, Int) \
  TAMRUN_ENTRY void name(const void* from, const void* frompos, const void* len, void* to, const void* topos);
#define TAMRUN_ONE(name, Int, operation) TAMRUN_ENTRY Int name(const void* a);
#define TAMRUN_TWO(name, Int, operation) TAMRUN_ENTRY Int name(const void* a, const void* b);
TAMRUN_BITS_BY_VALUE(TAMRUN_BY_VALUE)
TAMRUN_BITS_PLACE(TAMRUN_PLACE)
TAMRUN_BITS_CHECKED_PLACE(TAMRUN_PLACE)
TAMRUN_BITS_FIELD(TAMRUN_FIELD)
TAMRUN_BITS_CHECKED_FIELD(TAMRUN_FIELD)
TAMRUN_BITS_MOVE(TAMRUN_MOVE)
TAMRUN_BITS_ONE(TAMRUN_ONE)
TAMRUN_BITS_TWO(TAMRUN_TWO)
#undef TAMRUN_BY_VALUE
#undef TAMRUN_PLACE
#undef TAMRUN_FIELD
#undef TAMRUN_MOVE
#undef TAMRUN_ONE
#undef TAMRUN_TWO

extern "C" {

// Stores at any address.
void store_unaligned_short(void* at, u16 value);
void store_unaligned_int(void* at, u32 value);
void store_unaligned_long(void* at, u64 value);

}  // extern "C"

#endif
