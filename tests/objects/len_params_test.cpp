// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Types with length parameters, and arrays filled with a value.

#include "objects/len_params.h"

#include <gtest/gtest.h>
#include <string.h>

#include <vector>

#include "objects/allocate.h"
#include "objects/deep_copy.h"
#include "support/child.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::Fortran_Type;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

/// type :: matrix(n); integer(2), len :: n; real(8) :: rows(n); type(cell) :: cells(n), with cell of its own length.
struct Matrix_Type {
  Matrix_Type() : cell("cell"), matrix("matrix") {
    cell_parameter = cell.len_parameter(1, 0x102);
    text = cell.len_dependent(1, {5});
    cell.end();
    mark = matrix.data<i64>(77);
    parameter = matrix.len_parameter(2, 4);
    rows = matrix.len_dependent(8, {4});
    cells = matrix.len_dependent(cell, {3});
    matrix.end();
  }
  Fortran_Type cell, matrix;
  u64 cell_parameter, text, mark, parameter, rows, cells;
};

TEST(LengthParameters, AnObjectIsMadeCopiedAndFreed) {
  Matrix_Type t;
  const long blocks = vm_live_blocks();
  constexpr u64 kOwn = DV_ALLOCATABLE | DV_LEN_DEPENDENT | u64{7} << DV_ALIGN_LOG2_SHIFT;
  Descriptor a = Descriptor(t.matrix, 1).shape({2}).flags(kOwn);
  ASSERT_EQ(for_alloc_pdtlen(a, a.p(), FA_STAT), 0);
  // The array, and for each of two elements: rows, cells, three texts.
  EXPECT_EQ(vm_live_blocks(), blocks + 1 + 2 * 5);
  EXPECT_EQ(reinterpret_cast<u64>(a.base()) % 128, 0u);
  for (u8* e = a.base(); e != a.base() + 2 * t.matrix.size(); e += t.matrix.size()) {
    EXPECT_EQ(*reinterpret_cast<i64*>(e + t.mark), 77);
    EXPECT_EQ(*reinterpret_cast<i16*>(e + t.parameter), 4);
    auto* cells = reinterpret_cast<For_Dope_Vector*>(e + t.cells);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(cells->dv_base[i * t.cell.size() + t.cell_parameter], 2);
      auto* text = reinterpret_cast<For_Dope_Vector*>(cells->dv_base + i * t.cell.size() + t.text);
      memset(text->dv_base, 'a' + i, 5);
    }
    memset(reinterpret_cast<For_Dope_Vector*>(e + t.rows)->dv_base, 9, 32);
  }
  Descriptor b = Descriptor(t.matrix, 1).shape({2}).flags(kOwn), c = Descriptor(t.matrix, 1).shape({2}).flags(kOwn);
  ASSERT_EQ(for_alloc_copy(a, a.p(), b, b.p(), FA_STAT), 0);
  ASSERT_EQ(for_alloc_pdtlen(c, c.p(), FA_STAT), 0);
  ASSERT_EQ(for_alloc_assign(a, a.p(), c, c.p(), FA_STAT), 0);
  EXPECT_EQ(vm_live_blocks(), blocks + 3 * (1 + 2 * 5));
  for (const Descriptor* other : {&b, &c}) {
    const u8* e = other->base() + t.matrix.size();
    const auto* cells = reinterpret_cast<const For_Dope_Vector*>(e + t.cells);
    const auto* text = reinterpret_cast<const For_Dope_Vector*>(cells->dv_base + 2 * t.cell.size() + t.text);
    EXPECT_EQ(memcmp(text->dv_base, "ccccc", 5), 0);
  }
  EXPECT_EQ(for_deallocate_all(b, b.p(), FA_STAT), 0);
  EXPECT_EQ(for_deallocate_all(c, c.p(), FA_STAT), 0);
  // Without the length-dependent storage nothing of this type is freed.
  EXPECT_EQ(for_dealloc_all_nopdtlen(a, a.p(), FA_STAT), 0);
  EXPECT_EQ(vm_live_blocks(), blocks + 11);
  EXPECT_EQ(for_dealloc_all_nocheck(a, a.p(), FA_STAT), 0);
  EXPECT_EQ(vm_live_blocks(), blocks);
}

TEST(LengthParameters, EachAllocationMayFail) {
  Matrix_Type t;
  const long blocks = vm_live_blocks();
  for (long n = 1;; ++n) {
    Descriptor a = Descriptor(t.matrix, 1).shape({2}).flags(DV_ALLOCATABLE | DV_LEN_DEPENDENT);
    Fail_Vm fail(n);
    const int status = for_alloc_pdtlen(a, a.p(), FA_STAT);
    EXPECT_EQ(status, fail.hit() ? MSG_NO_MEMORY : 0);
    EXPECT_EQ(for_dealloc_all_nocheck(a, a.p(), FA_STAT), 0);
    EXPECT_EQ(vm_live_blocks(), blocks) << n;
    if (fail.hit()) continue;
    EXPECT_EQ(n, 12);
    break;
  }
}

TEST(LengthParameters, Values) {
  Fortran_Type t("t");
  const u64 narrow = t.len_parameter(1, 0x1FF), wide = t.len_parameter(8, ~u64{0});
  t.end();
  EXPECT_EQ(for_get_len_param_val(nullptr, 0), 1u);
  EXPECT_EQ(for_get_len_param_val(t.inits(), narrow), 0xFFu);
  EXPECT_EQ(for_get_len_param_val(t.inits(), wide), ~u64{0});
  EXPECT_EQ(for_get_len_param_val(t.inits(), wide + 1), 1u);
}

TEST(LengthParameters, TypesWithoutThem) {
  For_Type_Node generic = {"t", nullptr, nullptr}, base = {"t", nullptr, &generic}, instance = {"t", &base, nullptr};
  For_Type_Node child = {"child", &instance, nullptr}, other = {"other", &base, nullptr};
  EXPECT_EQ(for_get_dyntyp_no_pdt(nullptr), nullptr);
  EXPECT_EQ(for_get_dyntyp_no_pdt(&base), &base);
  EXPECT_EQ(for_get_dyntyp_no_pdt(&instance), &generic);
  EXPECT_EQ(for_get_dyntyp_no_pdt(&child), &generic);
  EXPECT_EQ(for_get_dyntyp_no_pdt(&other), &other);
}

TEST(ArrayInitialize, FillsByElementLength) {
  for (u32 length : {1u, 2u, 4u, 8u, 16u, 32u}) {
    for (bool zero : {false, true}) {
      std::vector<u8> value(length), array(7 * length + 1, 0xEE);
      for (u32 i = 0; i < length && !zero; ++i) value[i] = static_cast<u8>(i + 1);
      EXPECT_EQ(for_array_initialize(array.data(), length, 7, value.data()), 0);
      for (u32 i = 0; i < 7 * length; ++i) ASSERT_EQ(array[i], value[i % length]);
      EXPECT_EQ(array.back(), 0xEE);
      EXPECT_EQ(for_array_initialize(nullptr, length, -1, value.data()), 0);
    }
  }
  // A pair of negative zeros fills like zero; other lengths do not fill at all.
  const __float128 negative[2] = {-0.0, 0.0};
  u8 pair[32];
  memset(pair, 1, sizeof pair);
  EXPECT_EQ(for_array_initialize(pair, 32, 1, negative), 0);
  EXPECT_EQ(memcmp(pair, std::vector<u8>(32).data(), 32), 0);
  EXPECT_EQ(for_array_initialize(pair, 0, 5, negative), 0);
  EXPECT_EQ(run_child([&] { for_array_initialize(pair, 3, 1, negative); }).status, MSG_INVALID_ARGUMENT);
}

TEST(ArrayInitialize, AllocatesFirst) {
  void* where = nullptr;
  const i32 value = 0x01020304;
  ASSERT_EQ(for_alloc_and_init(42, &where, FA_STAT, 4, &value, 1), 0);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(static_cast<i32*>(where)[i], value);
  EXPECT_EQ(for_alloc_and_init(42, &where, FA_STAT, 4, &value, 1), MSG_ALREADY_ALLOCATED);
  EXPECT_EQ(for_deallocate(where, FA_STAT), 0);
  ASSERT_EQ(for_alloc_and_init(0, &where, FA_STAT, 0, nullptr, 0), 0);
  EXPECT_NE(where, nullptr);
  EXPECT_EQ(for_deallocate(where, FA_STAT), 0);
  EXPECT_EQ(for_alloc_and_init(1, &where, FA_STAT | FA_SIZE_OVERFLOW, 1, &value, 0), MSG_ARRAY_SIZE_OVERFLOW);
  Fail_Vm fail(1);
  EXPECT_EQ(for_alloc_and_init(42, &where, FA_STAT, 4, &value, 0), MSG_NO_MEMORY);
}

}  // namespace
