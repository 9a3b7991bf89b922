// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Powers of ten at three precisions, for reals to and from text. A row of a mantissa table is 10^n rounded to nearest:
// 10^n = mantissa / 2^bits * 2^bexp with the top bit of the mantissa set. powers_of_ten.cpp is written by
// tools/make_powers.py.
//
// The sparse tables (tiny for negative, huge for positive n) stand at exponents where the rounding error is small. A
// _map table is indexed by |n| / 8 and names the row to start from; power_row_below() and power_row_above() read it.
#ifndef TAMRUN_CONVERT_POWERS_OF_TEN_H
#define TAMRUN_CONVERT_POWERS_OF_TEN_H

#include "tamrun/types.h"

/// Index n + kNearPower in the tables that hold 10^-47 to 10^47 without a gap.
inline constexpr int kNearPower = 47;

/// 10^0 to 10^19.
TAMRUN_ENTRY const u64 cvtas_pten_word[20];

/// Doubles 10^-47 to 10^47, then a zero row.
TAMRUN_ENTRY const double cvtas_pten_t[96];
TAMRUN_ENTRY const double cvtas_tiny_pten_t[17];
TAMRUN_ENTRY const u16 cvtas_tiny_pten_t_map[41];
TAMRUN_ENTRY const double cvtas_huge_pten_t[15];
TAMRUN_ENTRY const u16 cvtas_huge_pten_t_map[40];

/// 64-bit mantissas of 10^-47 to 10^47; 10^0 to 10^27 are exact.
TAMRUN_ENTRY const u64 cvtas_pten_64[95];
TAMRUN_ENTRY const i16 cvtas_pten_64_bexp[95];
TAMRUN_ENTRY const u64 cvtas_tiny_pten_64[15];
TAMRUN_ENTRY const i16 cvtas_tiny_pten_64_bexp[15];
TAMRUN_ENTRY const u16 cvtas_tiny_pten_64_map[50];
TAMRUN_ENTRY const u64 cvtas_huge_pten_64[13];
TAMRUN_ENTRY const i16 cvtas_huge_pten_64_bexp[13];
TAMRUN_ENTRY const u16 cvtas_huge_pten_64_map[45];

/// 128-bit mantissas, low word first, of 10^-27 to 10^-1: index n + 27.
TAMRUN_ENTRY const u64 cvtas_pten_128[27][2];
TAMRUN_ENTRY const i16 cvtas_pten_128_bexp[27];
TAMRUN_ENTRY const u64 cvtas_tiny_pten_128[10][2];
TAMRUN_ENTRY const i16 cvtas_tiny_pten_128_bexp[10];
TAMRUN_ENTRY const u16 cvtas_tiny_pten_128_map[67];
TAMRUN_ENTRY const u64 cvtas_huge_pten_128[10][2];
TAMRUN_ENTRY const i16 cvtas_huge_pten_128_bexp[10];
TAMRUN_ENTRY const u16 cvtas_huge_pten_128_map[68];
/// At -512, -1024, -2048, -4096 and at 512, 1024, 2048, 4096.
TAMRUN_ENTRY const u64 cvtas_tiny_tiny_pten_128[4][2];
TAMRUN_ENTRY const i16 cvtas_tiny_tiny_pten_128_bexp[4];
TAMRUN_ENTRY const u64 cvtas_huge_huge_pten_128[4][2];
TAMRUN_ENTRY const i16 cvtas_huge_huge_pten_128_bexp[4];

/// A row of a sparse table and the magnitude of its exponent.
struct Power_Row {
  int row;
  int exponent;
};

inline Power_Row power_map_entry(u16 entry) { return {entry & 31, entry >> 5}; }

/// The row of a huge table from which 10^n, n > 0, is reached by a positive power: exponent <= n, unless n lies below
/// the first row.
inline Power_Row power_row_below(const u16* map, int n) {
  const Power_Row next = power_map_entry(map[(n >> 3) + 1]);
  return next.exponent <= n ? next : power_map_entry(map[n >> 3]);
}

/// The row of a tiny table from which 10^-n, n > 0, is reached by a positive power: exponent >= n, unless n lies
/// beyond the last row.
inline Power_Row power_row_above(const u16* map, int n) {
  const Power_Row here = power_map_entry(map[n >> 3]);
  return here.exponent >= n ? here : power_map_entry(map[(n >> 3) + 1]);
}

#endif
