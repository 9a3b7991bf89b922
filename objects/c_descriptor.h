// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// C descriptors: the for_CFI_ entry points are declared in ISO_Fortran_binding.h.
#ifndef TAMRUN_OBJECTS_C_DESCRIPTOR_H
#define TAMRUN_OBJECTS_C_DESCRIPTOR_H

#include "ISO_Fortran_binding.h"
#include "tamrun/descriptor.h"

static_assert(offsetof(CFI_cdesc_t, base_addr) == 0 && offsetof(CFI_cdesc_t, elem_len) == 8 &&
              offsetof(CFI_cdesc_t, version) == 16 && offsetof(CFI_cdesc_t, attribute) == 24 &&
              offsetof(CFI_cdesc_t, rank) == 32 && offsetof(CFI_cdesc_t, type) == 40 &&
              offsetof(CFI_cdesc_t, cfi_flags) == 48 && offsetof(CFI_cdesc_t, dim) == 72 && sizeof(CFI_cdesc_t) == 72);
using For_Cdesc_Storage = CFI_CDESC_T(1);
static_assert(offsetof(For_Cdesc_Storage, dim) == offsetof(CFI_cdesc_t, dim));
static_assert(sizeof(CFI_dim_t) == 24 && offsetof(CFI_dim_t, sm) == 8 && offsetof(CFI_dim_t, lower_bound) == 16);

/// CFI_SUCCESS, or the first thing that is wrong with a descriptor. The triples count only when there is an object.
extern "C" int for__validate_cdesc(const CFI_cdesc_t* d);

#endif
