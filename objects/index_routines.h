// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Walks by a vector of indices that the caller keeps, one counter per dimension from 1, first dimension fastest:
//
//   u32 index[kMaxWalkRank], position[kMaxWalkRank];
//   for__set_indices_routine(d, &init, &update, &address);
//   init(index, rank, d, position);
//   do { visit(address(index, d, base)); } while (update(index, d, position) == 0);
//
// The library's own walks are Element_Walks.
#ifndef TAMRUN_OBJECTS_INDEX_ROUTINES_H
#define TAMRUN_OBJECTS_INDEX_ROUTINES_H

#include "tamrun/descriptor.h"

typedef void (*For_Init_Indices)(u32* index, i32 rank, const For_Dope_Vector* d, u32* position);
typedef int (*For_Update_Indices)(u32* index, const For_Dope_Vector* d, u32* position);
typedef u8* (*For_Current_Addr)(u32* index, const For_Dope_Vector* d, u8* base);

extern "C" {

/// The routines that suit d.
void for__set_indices_routine(const For_Dope_Vector* d, For_Init_Indices* init, For_Update_Indices* update,
                              For_Current_Addr* address);
/// 1 or 0.
int for__qnca_has_vector_subs(const For_Dope_Vector* d);
int for__qnca_dim_has_vector_subs(For_Dim dim);

// Arrays without vector subscripts; the last arguments are there so that both kinds are called alike.
void for__init_indices(u32* index, i32 rank, const For_Dope_Vector* = nullptr, u32* = nullptr);
/// 1 when the walk is over, else 0.
int for__update_indices(u32* index, const For_Dope_Vector* d, u32* = nullptr);
u8* for__get_current_addr(u32* index, const For_Dope_Vector* d, u8* base);

// The same for dimensions of both kinds. An index of a dimension with vector subscripts is the subscript itself, and
// its place among the subscripts is in `position`.
void for__init_indices_vs(u32* index, i32 rank, const For_Dope_Vector* d, u32* position);
int for__update_indices_vs(u32* index, const For_Dope_Vector* d, u32* position);
u8* for__get_current_addr_vs(u32* index, const For_Dope_Vector* d, u8* base);

}  // extern "C"

#endif
