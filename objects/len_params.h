// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Types with length parameters, and arrays filled with a value.
#ifndef TAMRUN_OBJECTS_LEN_PARAMS_H
#define TAMRUN_OBJECTS_LEN_PARAMS_H

#include "tamrun/descriptor.h"

/// Allocates an object whose storage follows from its length parameters, and its components that do.
TAMRUN_ENTRY int for_alloc_pdtlen(For_Dope_Vector* x, void* p, For_Alloc_Flags flags);
/// Value of the length parameter at that offset; 1 when the list has none.
TAMRUN_ENTRY u64 for_get_len_param_val(const For_Component_List* init_list, u64 offset);
/// The node by which a type is compared without its parameters.
TAMRUN_ENTRY const For_Type_Node* for_get_dyntyp_no_pdt(const For_Type_Node* node);

/// Fills an array; an element has 0, 1, 2, 4, 8, 16 or 32 bytes, otherwise MSG_INVALID_ARGUMENT is reported.
TAMRUN_ENTRY int for_array_initialize(void* base, u32 elem_len, i32 count, const void* value);
/// Allocates, by for_alloc_allocatable if `allocatable`, and fills.
TAMRUN_ENTRY int for_alloc_and_init(u64 size, void** where, For_Alloc_Flags flags, u32 elem_len, const void* value,
                                    i32 allocatable);

#endif
