// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The run-time of the intrinsic module ISO_C_BINDING, and descriptors filled for compiled code.

#include "objects/iso_c_binding.h"

#include <string.h>

#include <algorithm>

#include "objects/wrapping.h"

namespace {

i32 logical(bool value) { return value ? -1 : 0; }

i32 is_associated(void* const* c1, void* const* c2) { return logical(*c1 != nullptr && (c2 == nullptr || *c1 == *c2)); }

/// Int is the integer type of SHAPE.
template <class Int>
void set_array_pointer(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape) {
  f->dv_base = static_cast<u8*>(*c);
  const i32 rank = static_cast<i32>(f->dv_rank);
  i64 stride = static_cast<i64>(f->dv_elem_len);
  for (i32 k = 0; k < rank; ++k) {
    Int extent;
    memcpy(&extent, shape->dv_base + k * shape->dv_dim[0].dim_stride, sizeof extent);
    f->dv_dim[k] = {extent, stride, 1};
    stride = wrapping_product(stride, extent);
  }
  f->dv_flags = DV_DEFINED | DV_NO_DEALLOC | DV_CONTIGUOUS;
}

}  // namespace

const u64 iso_c_binding_mp_c_null_ptr_ = 0;
const u64 iso_c_binding_mp_c_null_funptr_ = 0;

extern "C" {

void for_descriptor_assign(For_Dope_Vector* d, void* base, i64 elem_len, i32 flags, i32 rank,
                           const For_Bounds* bounds) {
  d->dv_base = static_cast<u8*>(base);
  d->dv_elem_len = static_cast<u64>(elem_len);
  d->dv_codims = 0;
  d->dv_flags = static_cast<u64>(flags) & (DV_DEFINED | DV_NO_DEALLOC | DV_CONTIGUOUS);
  d->dv_rank = static_cast<u64>(i64{rank});
  d->dv_reserved = 0;
  i64 parent_stride = elem_len;
  for (i32 k = 0; k < rank; ++k) {
    const i64 lower = bounds[k].bd_lower;
    const i64 upper = bounds[k].bd_upper;
    const i64 stride = bounds[k].bd_stride;
    d->dv_dim[k] = {std::max<i64>((upper - lower + stride) / stride, 0), wrapping_product(stride, parent_stride),
                    lower};
    parent_stride = wrapping_product(parent_stride, upper - lower + 1);
  }
}

i32 iso_c_binding_mp_c_associated_ptr_(void* const* c1, void* const* c2) { return is_associated(c1, c2); }
i32 iso_c_binding_mp_c_associated_funptr_(void* const* c1, void* const* c2) { return is_associated(c1, c2); }

void iso_c_binding_mp_c_loc_(void** result, void* address) { *result = address; }
void iso_c_binding_mp_c_loc_private_(void** result, void* address) { *result = address; }
void iso_c_binding_mp_c_funloc_(void** result, void* address) { *result = address; }
void iso_c_binding_mp_c_funloc_private_(void** result, void* address) { *result = address; }

void iso_c_binding_mp_c_f_pointer_scalar_(void* const* c, void** f) { *f = *c; }
void c_f_pointer_set_scalar(void* const* c, void** f) { *f = *c; }
void iso_c_binding_mp_c_f_procpointer_(void* const* c, void** f) { *f = *c; }
void iso_c_binding_mp_c_f_procpointer_private_(void* const* c, void** f) { *f = *c; }

#define TAMRUN_SET_DESC(width, Int)                                                                    \
  void c_f_pointer_set_desc##width(void* const* c, For_Dope_Vector* f, const For_Dope_Vector* shape) { \
    set_array_pointer<Int>(c, f, shape);                                                               \
  }
TAMRUN_SET_DESC(1, i8)
TAMRUN_SET_DESC(2, i16)
TAMRUN_SET_DESC(4, i32)
TAMRUN_SET_DESC(8, i64)
#undef TAMRUN_SET_DESC

i64 c_array_len_private(const For_Dope_Vector* d) {
  i64 bytes = static_cast<i64>(d->dv_elem_len);
  for (i64 k = 0; k < static_cast<i64>(d->dv_rank); ++k) bytes = wrapping_product(bytes, d->dv_dim[k].dim_extent);
  return bytes;
}

void iso_c_binding_initialiser() {}
void iso_fortran_env_initialiser() {}

}  // extern "C"
