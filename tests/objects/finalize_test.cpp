// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finalization: which procedures are called, with what, in which order. And the walks by index vectors.

#include "objects/finalize.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/element_walk.h"
#include "objects/index_routines.h"
#include "objects/object.h"
#include "small_stack.h"
#include "support/descriptor.h"

namespace {

using tamrun_test::Descriptor;
using tamrun_test::Fortran_Type;

std::string calls;  // what the final procedures of this test were called for

i64 value_at(const void* object) { return *static_cast<const i64*>(object); }

/// Final procedures note their letter and the first component of what they get.
template <char kName>
void note(void* object) {
  calls += kName + std::to_string(value_at(object)) + ' ';
}

/// The same of a procedure that takes the descriptor.
template <char kName>
void note_array(void* object) {
  const auto* d = static_cast<const For_Dope_Vector*>(object);
  calls += kName;
  Element_Walk walk(d, d->dv_base);
  for (u64 i = count_elements(d); i > 0; --i, walk.next()) calls += std::to_string(value_at(walk.address())) + ',';
  calls += ' ';
}

std::string finalized(const Descriptor& x, void* p) {
  calls.clear();
  for_finalize(x, p);
  return calls;
}

TEST(Finalize, CallsTheOwnProcedureAsTheTypeSays) {
  i64 data[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  void* const none = nullptr;
  const auto array = [&](void (*routine)(void*), u64 flags, std::vector<i64> extents) {
    static std::vector<std::unique_ptr<Fortran_Type>> types;
    Fortran_Type& type = *types.emplace_back(new Fortran_Type("own"));
    type.data<i64>();
    type.end().final_routine(routine, flags);
    return Descriptor(type, static_cast<int>(extents.size())).shape(extents).flags(DV_DEFINED);
  };
  struct {
    const char* expected;
    Descriptor x;
    void* p;
  } const rows[] = {
      {"f4 ", array(note<'f'>, 0, {}), data + 4},
      {"f4 ", array(note<'f'>, DV_FINAL_ELEMENTAL, {}), data + 4},
      {"", array(note<'f'>, 0, {}), none},
      {"f1 ", array(note<'f'>, 0, {3}), data + 1},
      {"f1 f2 f3 ", array(note<'f'>, DV_FINAL_ELEMENTAL, {3}), data + 1},
      {"f1 f3 f7 f9 ", array(note<'f'>, DV_FINAL_ELEMENTAL, {2, 2}).stride(0, 16).stride(1, 48), data + 1},
      {"f4 f1 f8 ", array(note<'f'>, DV_FINAL_ELEMENTAL, {3}).subscripts(0, {5, 2, 9}), data},
      {"", array(note<'f'>, DV_FINAL_ELEMENTAL, {0}), data},
      {"f0 ", array(note<'f'>, 0, {0}), data},
      {"f2,3,4, ", array(note_array<'f'>, DV_FINAL_BY_DESCRIPTOR, {3}), data + 2},
      {"f ", array(note_array<'f'>, DV_FINAL_BY_DESCRIPTOR, {0}), data},
      {"f2 f3 ", array(note<'f'>, DV_FINAL_BY_DESCRIPTOR | DV_FINAL_ELEMENTAL, {2}), data + 2},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(finalized(row.x, row.p), row.expected);
    EXPECT_EQ(row.x.base(), nullptr) << "dv_base is put back";
    row.x->dv_flags &= ~u64{DV_DEFINED};
    EXPECT_EQ(finalized(row.x, row.p), "");
  }
  // Type information apart from the descriptor, which alone says whether the object is defined.
  Descriptor type_only = Descriptor(array(note<'s'>, DV_FINAL_ELEMENTAL, {0})).flags(DV_SEPARATE);
  Descriptor own = Descriptor(8, 1).shape({2}).defined(data + 5);
  EXPECT_EQ(finalized(type_only, own.get()), "s5 s6 ");
}

TEST(Finalize, ObjectThenComponentsThenParent) {
  Fortran_Type leaf("leaf"), base("base");
  leaf.data<i64>();
  leaf.end().final_routine(note<'l'>, DV_FINAL_ELEMENTAL);
  base.data<i64>();
  base.final_routine(note<'b'>, DV_FINAL_ELEMENTAL);
  const u64 in_base = base.embedded(leaf);
  base.end();
  Fortran_Type whole("whole", &base);
  whole.final_routine(note<'w'>, DV_FINAL_ELEMENTAL);
  const u64 word = whole.allocatable(leaf);
  const u64 list = whole.allocatable(leaf, 1);
  const u64 poly = whole.polymorphic(leaf, 1);
  const u64 pair = whole.embedded(leaf, 2);
  whole.end();

  i64 leaves[] = {21, 22, 23, 24, 25};
  std::vector<u8> store(3 * whole.size());
  for (int i = 0; i < 3; ++i) {
    u8* const e = &store[static_cast<size_t>(i) * whole.size()];
    memcpy(e, whole.image(), whole.size());
    *reinterpret_cast<i64*>(e) = i + 1;
    *reinterpret_cast<i64*>(e + in_base) = 10 + i;
    reinterpret_cast<i64*>(e + pair)[1] = 30 + i;
    if (i != 0) continue;  // the components of the others are not allocated
    *reinterpret_cast<i64**>(e + word) = &leaves[0];
    for (const u64 at : {list, poly}) {
      auto* const d = reinterpret_cast<For_Dope_Vector*>(e + at);
      d->dv_base = reinterpret_cast<u8*>(&leaves[at == list ? 1 : 3]);
      d->dv_flags |= DV_DEFINED;
      d->dv_dim[0] = {2, 8, 1};
    }
  }
  Descriptor scalar = Descriptor(whole).flags(DV_DEFINED);
  scalar.block()->xd_parent = whole.parent_of_rank(base, 0);
  EXPECT_EQ(finalized(scalar, store.data()), "w1 l21 l22 l23 l24 l25 l0 l30 b1 l10 ");
  // Every second element: the parent takes the shape of the array.
  Descriptor array = Descriptor(whole, 1).shape({2}).stride(0, 2 * static_cast<i64>(whole.size())).flags(DV_DEFINED);
  array.block()->xd_parent = whole.parent_of_rank(base, 1);
  EXPECT_EQ(finalized(array, store.data()), "w1 w3 l21 l22 l23 l24 l25 l0 l30 l0 l32 b1 b3 l10 l12 ");
}

TEST(Finalize, LongChains) {
  static i64 count;
  Fortran_Type node("node");
  node.final_routine([](void*) { ++count; });
  node.data<i64>();
  const u64 next = node.allocatable(node);
  node.end();
  constexpr size_t kNodes = 100000;
  std::vector<u8> store(kNodes * node.size());
  for (size_t i = 0; i + 1 < kNodes; ++i)
    *reinterpret_cast<u8**>(&store[i * node.size() + next]) = &store[(i + 1) * node.size()];
  tamrun_test::on_small_stack([&] { for_finalize(Descriptor(node).flags(DV_DEFINED), store.data()); });
  EXPECT_EQ(count, static_cast<i64>(kNodes));
}

TEST(IndexRoutines, VisitWhatAnElementWalkVisits) {
  const Descriptor rows[] = {
      Descriptor(4),
      Descriptor(4, 1).shape({3}).stride(0, -12),
      Descriptor(4, 3).shape({2, 3, 2}).stride(1, 100),
      Descriptor(8, 1).shape({3}).subscripts(0, {5, 2, 9}),
      Descriptor(8, 2).shape({3, 2}).subscripts(1, {-3, 7, 7, 0}, -4),
      Descriptor(8, 3).shape({1, 3, 1}).subscripts(0, {2}).subscripts(2, {4, 1}, 1),
  };
  for (const Descriptor& d : rows) {
    For_Init_Indices init;
    For_Update_Indices update;
    For_Current_Addr address;
    for__set_indices_routine(d, &init, &update, &address);
    EXPECT_EQ(for__qnca_has_vector_subs(d) != 0, init == for__init_indices_vs);
    u32 index[kMaxWalkRank], position[kMaxWalkRank];
    u8* const base = reinterpret_cast<u8*>(0x10000);
    Element_Walk walk(d, base);
    u64 visits = 0;
    init(index, static_cast<i32>(d->dv_rank), d, position);
    do {
      EXPECT_EQ(address(index, d, base), walk.address());
      walk.next();
    } while (++visits < 100 && update(index, d, position) == 0);
    EXPECT_EQ(visits, count_elements(d));
  }
  const For_Dim dims[] = {{3, 8, 1}, {-3, 8, 1}, {0, 8, 1}};
  for (const For_Dim& dim : dims) EXPECT_EQ(for__qnca_dim_has_vector_subs(dim), dim.dim_extent < 0);
}

}  // namespace
