/* SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception */
/*
 * C descriptors of Fortran 2018, for C and C++: the names of the standard over the library's for_CFI_ entry points.
 */
#ifndef ISO_FORTRAN_BINDING_H
#define ISO_FORTRAN_BINDING_H

#include <stddef.h>
#include <stdint.h>

#define CFI_VERSION 0x7F3E0001
#define CFI_MAX_RANK 31

typedef ptrdiff_t CFI_index_t;
typedef int64_t CFI_rank_t;
typedef int64_t CFI_attribute_t;
typedef int64_t CFI_type_t;

typedef struct CFI_dim_t {
  CFI_index_t extent; /* -1 in the last dimension of an assumed-size object */
  CFI_index_t sm;     /* bytes between successive elements */
  CFI_index_t lower_bound;
} CFI_dim_t;

/* Only base_addr and the triples may change outside the functions below. */
#define CFI_DESCRIPTOR_HEAD_                                                             \
  void* base_addr; /* null: not allocated, not associated */                             \
  size_t elem_len; /* bytes */                                                           \
  int64_t version; /* CFI_VERSION */                                                     \
  CFI_attribute_t attribute;                                                             \
  CFI_rank_t rank;                                                                       \
  CFI_type_t type;                                                                       \
  uint64_t cfi_flags; /* bit 0: allocated or associated; bit 2: elements are adjacent */ \
  uint64_t cfi_reserved[2];

typedef struct CFI_cdesc_t {
  CFI_DESCRIPTOR_HEAD_
  __extension__ CFI_dim_t dim[];
} CFI_cdesc_t;

/* Storage for a descriptor of rank r, a constant from 0 to CFI_MAX_RANK. Its address is to be cast to CFI_cdesc_t*. */
#define CFI_CDESC_T(r)                \
  struct {                            \
    CFI_DESCRIPTOR_HEAD_              \
    CFI_dim_t dim[(r) > 0 ? (r) : 1]; \
  }

#define CFI_attribute_pointer 1
#define CFI_attribute_allocatable 2
#define CFI_attribute_other 3 /* assumed shape, assumed size */

/* Types. Those of the C library's integers go by their size. */
#define CFI_type_int8_t 1
#define CFI_type_int16_t 2
#define CFI_type_int32_t 3
#define CFI_type_int64_t 4
#define CFI_integer_type_(type) \
  (sizeof(type) == 1            \
       ? CFI_type_int8_t        \
       : (sizeof(type) == 2 ? CFI_type_int16_t : (sizeof(type) == 4 ? CFI_type_int32_t : CFI_type_int64_t)))
#define CFI_type_signed_char CFI_integer_type_(signed char)
#define CFI_type_short CFI_integer_type_(short)
#define CFI_type_int CFI_integer_type_(int)
#define CFI_type_long CFI_integer_type_(long)
#define CFI_type_long_long CFI_integer_type_(long long)
#define CFI_type_size_t CFI_integer_type_(size_t)
#define CFI_type_int_least8_t CFI_integer_type_(int_least8_t)
#define CFI_type_int_least16_t CFI_integer_type_(int_least16_t)
#define CFI_type_int_least32_t CFI_integer_type_(int_least32_t)
#define CFI_type_int_least64_t CFI_integer_type_(int_least64_t)
#define CFI_type_int_fast8_t CFI_integer_type_(int_fast8_t)
#define CFI_type_int_fast16_t CFI_integer_type_(int_fast16_t)
#define CFI_type_int_fast32_t CFI_integer_type_(int_fast32_t)
#define CFI_type_int_fast64_t CFI_integer_type_(int_fast64_t)
#define CFI_type_intmax_t CFI_integer_type_(intmax_t)
#define CFI_type_intptr_t CFI_integer_type_(intptr_t)
#define CFI_type_ptrdiff_t CFI_integer_type_(ptrdiff_t)
#define CFI_type_float 5
#define CFI_type_double 6
#define CFI_type_long_double 7
#define CFI_type_float_Complex 8
#define CFI_type_double_Complex 9
#define CFI_type_long_double_Complex 10
#define CFI_type_Bool 11
#define CFI_type_char 12 /* with the caller's element length, as the next two */
#define CFI_type_struct 13
#define CFI_type_other (-2)
#define CFI_type_cptr CFI_type_intptr_t /* addresses have no code of their own */
#define CFI_type_cfunptr CFI_type_intptr_t

/* Results. */
#define CFI_SUCCESS 0
#define CFI_ERROR_BASE_ADDR_NULL 1
#define CFI_ERROR_BASE_ADDR_NOT_NULL 2
#define CFI_INVALID_ELEM_LEN 3
#define CFI_INVALID_RANK 4
#define CFI_INVALID_TYPE 5
#define CFI_INVALID_ATTRIBUTE 6
#define CFI_INVALID_EXTENT 7
#define CFI_INVALID_DESCRIPTOR 8
#define CFI_ERROR_MEM_ALLOCATION 9
#define CFI_ERROR_OUT_OF_BOUNDS 11

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Null when there is no such element, or none can be found: subscripts of an assumed-size array lead nowhere. */
void* for_CFI_address(const CFI_cdesc_t* dv, const CFI_index_t subscripts[]);
/* elem_len counts for CFI_type_char only. */
int for_CFI_allocate(CFI_cdesc_t* dv, const CFI_index_t lower_bounds[], const CFI_index_t upper_bounds[],
                     size_t elem_len);
int for_CFI_deallocate(CFI_cdesc_t* dv);
int for_CFI_establish(CFI_cdesc_t* dv, void* base_addr, CFI_attribute_t attribute, CFI_type_t type, size_t elem_len,
                      CFI_rank_t rank, const CFI_index_t extents[], int version);
/* 1 or 0. */
int for_CFI_is_contiguous(const CFI_cdesc_t* dv);
/* Bounds and strides may be null: those of the source, and 1. A stride of 0 drops its dimension. */
int for_CFI_section(CFI_cdesc_t* result, const CFI_cdesc_t* source, const CFI_index_t lower_bounds[],
                    const CFI_index_t upper_bounds[], const CFI_index_t strides[]);
int for_CFI_select_part(CFI_cdesc_t* result, const CFI_cdesc_t* source, size_t displacement, size_t elem_len);
/* Without a source the pointer is disassociated; lower_bounds may be null. */
int for_CFI_setpointer(CFI_cdesc_t* result, CFI_cdesc_t* source, const CFI_index_t lower_bounds[]);

#pragma GCC visibility pop

#define CFI_address for_CFI_address
#define CFI_allocate for_CFI_allocate
#define CFI_deallocate for_CFI_deallocate
#define CFI_is_contiguous for_CFI_is_contiguous
#define CFI_section for_CFI_section
#define CFI_select_part for_CFI_select_part
#define CFI_setpointer for_CFI_setpointer

/* Tells the library which layout the caller was compiled with. */
static inline int CFI_establish(CFI_cdesc_t* dv, void* base_addr, CFI_attribute_t attribute, CFI_type_t type,
                                size_t elem_len, CFI_rank_t rank, const CFI_index_t extents[]) {
  return for_CFI_establish(dv, base_addr, attribute, type, elem_len, rank, extents, CFI_VERSION);
}

#ifdef __cplusplus
}
#endif

#endif
