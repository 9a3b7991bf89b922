// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ISO_C_BINDING, descriptors filled for compiled code, and C descriptors whose allocation fails.

#include "objects/iso_c_binding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/array_temporary.h"
#include "objects/c_descriptor.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"

namespace {

using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::vm_live_blocks;

TEST(IsoCBinding, AddressesPassThrough) {
  int a, b;
  void *null = nullptr, *pa = &a, *same = &a, *pb = &b;
  for (auto* associated : {iso_c_binding_mp_c_associated_ptr_, iso_c_binding_mp_c_associated_funptr_}) {
    for (void** first : {&pa, &null}) {
      EXPECT_EQ(associated(first, nullptr), *first != nullptr ? -1 : 0);
      for (void** second : {&same, &pb, &null})
        EXPECT_EQ(associated(first, second), *first != nullptr && *first == *second ? -1 : 0);
    }
  }
  for (auto* take : {iso_c_binding_mp_c_loc_, iso_c_binding_mp_c_loc_private_, iso_c_binding_mp_c_funloc_,
                     iso_c_binding_mp_c_funloc_private_}) {
    void* result = nullptr;
    take(&result, &b);
    EXPECT_EQ(result, &b);
  }
  for (auto* set : {iso_c_binding_mp_c_f_pointer_scalar_, c_f_pointer_set_scalar, iso_c_binding_mp_c_f_procpointer_,
                    iso_c_binding_mp_c_f_procpointer_private_}) {
    void* f = nullptr;
    set(&pb, &f);
    EXPECT_EQ(f, &b);
  }
  EXPECT_EQ(iso_c_binding_mp_c_null_ptr_ | iso_c_binding_mp_c_null_funptr_, 0u);
  iso_c_binding_initialiser();
  iso_fortran_env_initialiser();
}

/// C_F_POINTER with every second value of an array as SHAPE.
template <class Int>
void expect_pointer_to_array(void (*set)(void* const*, For_Dope_Vector*, const For_Dope_Vector*)) {
  Int values[] = {5, 99, 0, 99, 3};
  i64 target[1];
  void* c = target;
  const Descriptor shape = Descriptor(sizeof(Int), 1).shape({3}).stride(0, 2 * sizeof(Int)).defined(values);
  Descriptor f = Descriptor(12, 3).flags(DV_ALLOCATABLE);
  set(&c, f, shape);
  EXPECT_EQ(f.base(), static_cast<void*>(target));
  EXPECT_EQ(f->dv_flags, u64{DV_DEFINED | DV_NO_DEALLOC | DV_CONTIGUOUS});
  const Descriptor expected = Descriptor(12, 3).shape({5, 0, 3});
  EXPECT_EQ(memcmp(f->dv_dim, expected->dv_dim, 3 * sizeof(For_Dim)), 0);
  EXPECT_EQ(c_array_len_private(f), 0);
  Descriptor scalar(12);
  set(&c, scalar, shape);
  EXPECT_EQ(scalar.base(), static_cast<void*>(target));
  EXPECT_EQ(c_array_len_private(scalar), 12);
}

TEST(IsoCBinding, PointersToArrays) {
  expect_pointer_to_array<i8>(c_f_pointer_set_desc1);
  expect_pointer_to_array<i16>(c_f_pointer_set_desc2);
  expect_pointer_to_array<i32>(c_f_pointer_set_desc4);
  expect_pointer_to_array<i64>(c_f_pointer_set_desc8);
  EXPECT_EQ(c_array_len_private(Descriptor(8, 2).shape({3, 4})), 96);
}

/// A section of a(2:10, -1:4) as the subscripts say where its elements are.
TEST(IsoCBinding, DescriptorOfASection) {
  i32 a[6][9];
  for (int j = 0; j < 6; ++j)
    for (int i = 0; i < 9; ++i) a[j][i] = 100 * (j - 1) + i + 2;
  const For_Bounds bounds[] = {{2, 10, 3}, {-1, 4, 2}};
  Descriptor d(1, 2);
  d->dv_codims = d->dv_reserved = 7;
  for_descriptor_assign(d, a, sizeof(i32), ~0, 2, bounds);
  EXPECT_EQ(d->dv_flags, u64{DV_DEFINED | DV_NO_DEALLOC | DV_CONTIGUOUS});
  EXPECT_EQ(d->dv_codims | d->dv_reserved, 0u);
  const For_Dim expected[] = {{3, 12, 2}, {3, 72, -1}};
  EXPECT_EQ(memcmp(d->dv_dim, expected, sizeof expected), 0);
  d->dv_flags = DV_DEFINED;
  auto* const packed = static_cast<i32*>(for_array_copy_in(d));
  EXPECT_EQ(std::vector<i32>(packed, packed + 9), (std::vector<i32>{-98, -95, -92, 102, 105, 108, 302, 305, 308}));
  for_array_copy_out(packed, d);

  const For_Bounds odd[] = {{10, 2, -3}, {5, 1, 1}};
  for_descriptor_assign(d, a, sizeof(i32), 0, 2, odd);
  EXPECT_EQ(d->dv_dim[0].dim_extent, 3);
  EXPECT_EQ(d->dv_dim[0].dim_stride, -12);
  EXPECT_EQ(d->dv_dim[1].dim_extent, 0);
}

TEST(CDescriptor, AllocationFails) {
  const i64 lower[] = {1, 1}, upper[] = {4, 5};
  for (const i64 attribute : {CFI_attribute_pointer, CFI_attribute_allocatable}) {
    CFI_CDESC_T(2) storage;
    auto* const d = reinterpret_cast<CFI_cdesc_t*>(&storage);
    ASSERT_EQ(CFI_establish(d, nullptr, attribute, CFI_type_double, 0, 2, nullptr), CFI_SUCCESS);
    const long blocks = vm_live_blocks();
    {
      Fail_Vm fail(1);
      EXPECT_EQ(CFI_allocate(d, lower, upper, 0), CFI_ERROR_MEM_ALLOCATION);
      EXPECT_TRUE(fail.hit());
    }
    EXPECT_EQ(d->base_addr, nullptr);
    EXPECT_EQ(d->cfi_flags, 0u);
    EXPECT_EQ(CFI_allocate(d, lower, upper, 0), CFI_SUCCESS);
    EXPECT_EQ(vm_live_blocks(), blocks + 1);
    EXPECT_EQ(CFI_deallocate(d), CFI_SUCCESS);
    EXPECT_EQ(vm_live_blocks(), blocks);
  }
}

}  // namespace
