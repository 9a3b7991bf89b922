// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The array descriptor and the type-information records that compiled code builds in its own storage.
#ifndef TAMRUN_DESCRIPTOR_H
#define TAMRUN_DESCRIPTOR_H

#include "tamrun/types.h"

enum For_Dope_Flags : u64 {
  DV_DEFINED = 0x0001,              ///< storage is allocated or associated
  DV_NO_DEALLOC = 0x0002,           ///< the storage does not belong to the allocator
  DV_CONTIGUOUS = 0x0004,           ///< the elements are adjacent; clear says nothing
  DV_FINAL_ELEMENTAL = 0x0008,      ///< the final procedure is called once per element
  DV_FINAL_BY_DESCRIPTOR = 0x0010,  ///< the final procedure takes the descriptor
  DV_SEPARATE = 0x0020,             ///< only type information here; the object's descriptor is the second argument
  DV_ADDRESS_WORD = 0x0040,         ///< the second argument holds the address of the object's address word
  DV_ALLOCATABLE = 0x0080,
  DV_LEN_DEPENDENT = 0x0200,    ///< size follows from a length type parameter
  DV_COARRAY_MEM = 0x0400,      ///< memory attached to the coarray support library
  DV_TYPE_UNCHECKED = 0x1000,   ///< assignment compares no types
  DV_ALIGN_LOG2_SHIFT = 28,     ///< bits 28 to 35: log2 of a requested alignment
  DV_OMP_ALLOCATOR_SHIFT = 36,  ///< bits 36 to 40: as bits 21 to 25 of For_Alloc_Flags
};

struct For_Dim {
  i64 dim_extent;  ///< elements; negative for a vector-subscripted dimension
  i64 dim_stride;  ///< bytes between successive elements
  i64 dim_lower;   ///< lower bound
};
static_assert(sizeof(For_Dim) == 24 && offsetof(For_Dim, dim_stride) == 8 && offsetof(For_Dim, dim_lower) == 16);

/// The fixed head of a descriptor; dv_rank + dv_codims triples follow, then the extended block if the type needs one.
struct For_Dope_Vector {
  u8* dv_base;      ///< first element; null when nothing is allocated or associated
  u64 dv_elem_len;  ///< bytes
  u64 dv_codims;    ///< codimensions
  u64 dv_flags;     ///< For_Dope_Flags
  u64 dv_rank;
  u64 dv_reserved;    ///< 0, an OpenMP allocator handle, or the byte total of a private copy
  For_Dim dv_dim[1];  ///< dv_rank + dv_codims of them
};
inline constexpr size_t kDopeHeadBytes = 48;
static_assert(offsetof(For_Dope_Vector, dv_base) == 0 && offsetof(For_Dope_Vector, dv_elem_len) == 8 &&
              offsetof(For_Dope_Vector, dv_codims) == 16 && offsetof(For_Dope_Vector, dv_flags) == 24 &&
              offsetof(For_Dope_Vector, dv_rank) == 32 && offsetof(For_Dope_Vector, dv_reserved) == 40 &&
              offsetof(For_Dope_Vector, dv_dim) == kDopeHeadBytes);

/// Node of a dynamic type, chained towards its oldest ancestor.
struct For_Type_Node {
  const char* tn_name;        ///< NUL-terminated
  For_Type_Node* tn_parent;   ///< null at the end
  For_Type_Node* tn_generic;  ///< the type without its length parameters, for an instantiated type
};
static_assert(sizeof(For_Type_Node) == 24);

/// Kinds of compo_info_s.
enum For_Component_Kind : u32 {
  CI_EMBEDDED = 0,
  CI_INLINE = 1,
  CI_REFERENCE = 2,
  CI_EMBEDDED_ALT = 3,
  CI_DEFINED_ASSIGN = 4
};
/// Kinds of initialisation records.
enum For_Type_Init_Kind : u32 {
  TI_DEFAULT_IMAGE = 0,
  TI_LEN_PARAM_1 = 1,
  TI_LEN_PARAM_2 = 2,
  TI_LEN_PARAM_4 = 3,
  TI_LEN_PARAM_8 = 4,
  TI_DEFINED_ASSIGN_LIST = 5
};

/// One component, or one initialisation record, of a list.
struct compo_info_s {
  u32 ci_kind;
  u32 ci_reserved;  ///< 0
  u64 ci_offset;    ///< bytes from the start of the element
  void* ci_aux;
};
static_assert(sizeof(compo_info_s) == 24 && offsetof(compo_info_s, ci_offset) == 8 &&
              offsetof(compo_info_s, ci_aux) == 16);

/// A list: its count, then the entries.
struct For_Component_List {
  u32 cl_count;
  u32 cl_reserved;
  compo_info_s cl_entry[1];
};
static_assert(offsetof(For_Component_List, cl_entry) == 8);

/// Extended type block, behind the triples of a descriptor of derived type.
struct xdesc_fixed_t {
  For_Type_Node* xd_type;
  u64 xd_word1;  ///< copied with word 0
  u64 xd_word2;
  For_Component_List* xd_allocatable;    ///< allocatable components
  void* xd_final;                        ///< final procedure, or null
  For_Component_List* xd_parent;         ///< the parent component, for finalization
  For_Component_List* xd_finalize;       ///< components to finalize
  For_Component_List* xd_init;           ///< initialisation records
  For_Component_List* xd_len_dependent;  ///< components sized by length parameters
  u64 xd_word9;
};
static_assert(sizeof(xdesc_fixed_t) == 80 && offsetof(xdesc_fixed_t, xd_allocatable) == 24 &&
              offsetof(xdesc_fixed_t, xd_final) == 32 && offsetof(xdesc_fixed_t, xd_parent) == 40 &&
              offsetof(xdesc_fixed_t, xd_finalize) == 48 && offsetof(xdesc_fixed_t, xd_init) == 56 &&
              offsetof(xdesc_fixed_t, xd_len_dependent) == 64);

enum For_Defassign_Flags : u64 {
  DA_ELEMENTAL = 0x001,
  DA_LHS_DESCRIPTOR = 0x002,
  DA_RHS_DESCRIPTOR = 0x004,
  DA_SCALAR = 0x008,
  DA_ALLOCATABLE = 0x010,
  DA_OWN_DESCRIPTOR = 0x020,
  DA_LHS_DIRECT = 0x040,
  DA_ALWAYS_MOLD = 0x100
};

/// ci_aux of CI_DEFINED_ASSIGN.
struct For_Defassign_Info {
  u64 da_flags;     ///< For_Defassign_Flags
  u64 da_elem_len;  ///< bytes
  u64 da_count;     ///< elements of a component that is not allocatable
  void (*da_routine)(void* left, void* right);
  For_Dope_Vector* da_lhs_template;
  For_Dope_Vector* da_rhs_template;
  For_Dope_Vector* da_type;
};
static_assert(sizeof(For_Defassign_Info) == 56 && offsetof(For_Defassign_Info, da_routine) == 24 &&
              offsetof(For_Defassign_Info, da_type) == 48);

/// For_Alloc_Flags: the 32-bit word of ALLOCATE, DEALLOCATE and deep copy.
typedef u32 For_Alloc_Flags;
enum For_Alloc_Flag_Bits : u32 {
  FA_STAT = 0x1,         ///< STAT= given: failures are returned, no diagnostic is issued
  FA_CANNOT_FREE = 0x4,  ///< deallocation: the object cannot be deallocated
  FA_PAGE_ALIGN = 0x8,
  FA_SIZE_OVERFLOW = 0x10,  ///< allocation: the caller's own size computation overflowed
  FA_SHARED = 0x20,         ///< shared memory of the OpenMP runtime
  FA_FASTMEM = 0x80,        ///< high-bandwidth memory
  FA_KMP = 0x100,
  FA_COARRAY = 0x400,
  FA_ALIGN_LOG2_SHIFT = 16,     ///< bits 16 to 20; 0 to 4 all mean 32 bytes
  FA_OMP_ALLOCATOR_SHIFT = 21,  ///< bits 21 to 24: allocator number, 15 the handle argument
  FA_OMP = 0x2000000,           ///< the request goes to an OpenMP allocator
};

#endif
