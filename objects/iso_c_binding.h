// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The run-time of the intrinsic module ISO_C_BINDING, and descriptors filled for compiled code.
#ifndef TAMRUN_OBJECTS_ISO_C_BINDING_H
#define TAMRUN_OBJECTS_ISO_C_BINDING_H

#include "tamrun/descriptor.h"

/// Bounds of one dimension as for_descriptor_assign takes them.
struct For_Bounds {
  i32 bd_lower, bd_upper;
  i32 bd_stride;  ///< not 0
};
static_assert(sizeof(For_Bounds) == 12);

/// Describes a section of a dense array: the bounds are those of the array, the stride that of the section.
TAMRUN_ENTRY void for_descriptor_assign(For_Dope_Vector* d, void* base, i64 elem_len, i32 flags, i32 rank,
                                        const For_Bounds* bounds);

/// C_NULL_PTR and C_NULL_FUNPTR.
TAMRUN_ENTRY const u64 iso_c_binding_mp_c_null_ptr_;
TAMRUN_ENTRY const u64 iso_c_binding_mp_c_null_funptr_;

/// C_ASSOCIATED: -1 or 0. `c2` is null when the argument is absent.
TAMRUN_ENTRY i32 iso_c_binding_mp_c_associated_ptr_(void* const* c1, void* const* c2);
TAMRUN_ENTRY i32 iso_c_binding_mp_c_associated_funptr_(void* const* c1, void* const* c2);

// C_LOC and C_FUNLOC.
TAMRUN_ENTRY void iso_c_binding_mp_c_loc_(void** result, void* address);
TAMRUN_ENTRY void iso_c_binding_mp_c_loc_private_(void** result, void* address);
TAMRUN_ENTRY void iso_c_binding_mp_c_funloc_(void** result, void* address);
TAMRUN_ENTRY void iso_c_binding_mp_c_funloc_private_(void** result, void* address);

// C_F_POINTER of a scalar and C_F_PROCPOINTER.
TAMRUN_ENTRY void iso_c_binding_mp_c_f_pointer_scalar_(void* const* c, void** f);
TAMRUN_ENTRY void c_f_pointer_set_scalar(void* const* c, void** f);
TAMRUN_ENTRY void iso_c_binding_mp_c_f_procpointer_(void* const* c, void** f);
TAMRUN_ENTRY void iso_c_binding_mp_c_f_procpointer_private_(void* const* c, void** f);

// C_F_POINTER of an array of f's rank and element length; the digit is the width of SHAPE's integers.
TAMRUN_ENTRY void c_f_pointer_set_desc1(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape);
TAMRUN_ENTRY void c_f_pointer_set_desc2(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape);
TAMRUN_ENTRY void c_f_pointer_set_desc4(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape);
TAMRUN_ENTRY void c_f_pointer_set_desc8(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape);

/// Bytes of an array.
TAMRUN_ENTRY i64 c_array_len_private(const For_Dope_Vector* d);

// Initialisers of the modules, under names that C cannot spell: there is nothing to initialise.
TAMRUN_ENTRY void iso_c_binding_initialiser() __asm__("iso_c_binding._");
TAMRUN_ENTRY void iso_fortran_env_initialiser() __asm__("iso_fortran_env._");

#endif
