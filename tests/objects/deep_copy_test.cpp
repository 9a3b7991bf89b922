// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Deep copy and deep deallocation, case by case: the checks, shapes and storage kept, chains, defined assignment.

#include "objects/deep_copy.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "objects/allocate.h"
#include "small_stack.h"
#include "support/child.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::Defined_Assignment;
using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::Fortran_Type;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

int copy(const Descriptor& from, const Descriptor& to) { return for_alloc_copy(from, from.p(), to, to.p(), FA_STAT); }
int assign(const Descriptor& from, const Descriptor& to) {
  return for_alloc_assign(from, from.p(), to, to.p(), FA_STAT);
}
int free_all(const Descriptor& d) { return for_deallocate_all(d, d.p(), FA_STAT); }

std::vector<i64> values(const Descriptor& d) {
  const auto* at = reinterpret_cast<const i64*>(d.base());
  return {at, at + count_elements(d)};
}

Fortran_Type& plain_type() {
  static Fortran_Type& type = *new Fortran_Type("plain");
  static const u64 at = type.data<i64>(7);
  if (type.size() == sizeof(i64) && at == 0) type.end();
  return type;
}

TEST(DeepCopy, ChecksAtTheEntry) {
  Fortran_Type other("other");
  other.data<i64>();
  other.end();
  i64 store[2] = {1, 2};
  const auto array = [](u64 flags = DV_ALLOCATABLE) { return Descriptor(plain_type(), 1).shape({2}).flags(flags); };
  Descriptor full = array(), empty = array(), held = Descriptor(plain_type(), 1).shape({2}).storage(store);
  full.defined(store);
  Descriptor pointer = array(0), scalar = Descriptor(plain_type()).defined(store);
  Descriptor alien = Descriptor(other, 1).shape({2}).allocatable().defined(store);
  Descriptor coarray = Descriptor(plain_type(), 1, 1).allocatable();
  Descriptor unknown = array();
  unknown.block()->xd_type = nullptr;
  const long blocks = vm_live_blocks();
  EXPECT_EQ(copy(full, full), MSG_ALREADY_ALLOCATED);
  EXPECT_EQ(copy(empty, full), MSG_ALREADY_ALLOCATED);
  EXPECT_EQ(copy(empty, empty), MSG_SOURCE_NOT_ALLOCATED);
  EXPECT_EQ(for_alloc_mold(held, held.p(), full, full.p(), FA_STAT), MSG_ALREADY_ALLOCATED);
  EXPECT_EQ(for_alloc_private(held, held.p(), full, full.p(), FA_STAT), MSG_INTERNAL_CONSISTENCY);
  EXPECT_EQ(assign(held, pointer), MSG_POINTER_NOT_ASSOCIATED);
  EXPECT_EQ(assign(scalar, empty), MSG_SCALAR_TO_UNALLOCATED);
  EXPECT_EQ(assign(alien, full), MSG_INCOMPATIBLE_TYPES);
  EXPECT_EQ(assign(held, unknown), MSG_INCOMPATIBLE_TYPES);
  EXPECT_EQ(assign(held, coarray), MSG_COARRAY_IN_ASSIGNMENT);
  EXPECT_EQ(free_all(empty), MSG_NOT_ALLOCATED);
  EXPECT_EQ(free_all(held), MSG_CANNOT_DEALLOCATE);
  EXPECT_EQ(for_dealloc_all_nocheck(held, held.p(), FA_STAT), 0);
  EXPECT_EQ(for_dealloc_all_nocheck(empty, empty.p(), FA_STAT), 0);
  coarray_info_t info = {};
  EXPECT_EQ(for_alloc_copy_coarray(full, full.p(), empty, empty.p(), FA_STAT, &info), MSG_NO_COARRAY_LIBRARY);
  EXPECT_EQ(for_alloc_assign_coarray(full, full.p(), empty, empty.p(), FA_STAT, &info), MSG_NO_COARRAY_LIBRARY);
  EXPECT_EQ(for_alloc_copy(full, full.p(), empty, empty.p(), FA_STAT | FA_COARRAY), MSG_NO_COARRAY_LIBRARY);
  EXPECT_FALSE(empty.is_defined());
  EXPECT_EQ(full.base(), held.base());
  EXPECT_EQ(vm_live_blocks(), blocks);
  // A type without comparison takes anything of its size.
  EXPECT_EQ(assign(alien, unknown.flags(DV_TYPE_UNCHECKED)), 0);
  EXPECT_EQ(values(unknown), (std::vector<i64>{1, 2}));
  EXPECT_EQ(free_all(unknown), 0);

  const Child_Result result = run_child([&] { for_alloc_assign(alien, alien.p(), full, full.p(), 0); });
  EXPECT_EQ(result.status, MSG_INCOMPATIBLE_TYPES);
  EXPECT_EQ(result.err, "tamrtl: severe (189): LHS and RHS of an assignment statement have incompatible types\n");
}

TEST(DeepCopy, SizesThatCannotBe) {
  i64 store[1] = {};
  Descriptor huge = Descriptor(plain_type(), 3).shape({1 << 30, 1 << 30, 1 << 30}).defined(store);
  Descriptor dest = Descriptor(plain_type(), 3).allocatable();
  EXPECT_EQ(copy(huge, dest), MSG_ARRAY_SIZE_OVERFLOW);
  EXPECT_EQ(copy(huge.shape({1 << 30, 1 << 29, 1}), dest), MSG_NO_MEMORY);
  EXPECT_FALSE(dest.is_defined());
  EXPECT_EQ(dest.base(), nullptr);
}

TEST(DeepCopy, AScalarFillsAnArray) {
  i64 store = 42;
  Descriptor one = Descriptor(plain_type()).defined(&store);
  Descriptor six = Descriptor(plain_type(), 2).allocatable().shape({2, 3}).lower(1, -1);
  ASSERT_EQ(copy(one, six), 0);
  EXPECT_EQ(values(six), (std::vector<i64>(6, 42)));
  EXPECT_EQ(six->dv_dim[1].dim_lower, -1);
  store = 43;
  ASSERT_EQ(assign(one, six), 0);
  EXPECT_EQ(values(six), (std::vector<i64>(6, 43)));
  EXPECT_EQ(free_all(six), 0);
  // Into every other element of storage that stays.
  i64 row[6] = {1, 2, 3, 4, 5, 6};
  Descriptor odd = Descriptor(plain_type(), 1).shape({3}).stride(0, 16).storage(row);
  ASSERT_EQ(for_alloc_assign_v2(one, one.p(), odd, odd.p(), FA_STAT), 0);
  EXPECT_EQ((std::vector<i64>(row, row + 6)), (std::vector<i64>{43, 2, 43, 4, 43, 6}));
}

TEST(DeepCopy, SectionsBecomeDense) {
  i64 store[12];
  for (int i = 0; i < 12; ++i) store[i] = i;
  const struct {
    Descriptor section;
    std::vector<i64> expected;
  } rows[] = {
      {Descriptor(plain_type(), 1).shape({4}).stride(0, 24).defined(store), {0, 3, 6, 9}},
      {Descriptor(plain_type(), 1).shape({3}).stride(0, -8).defined(store + 2), {2, 1, 0}},
      {Descriptor(plain_type(), 2).shape({2, 3}).stride(1, 32).defined(store), {0, 1, 4, 5, 8, 9}},
      {Descriptor(plain_type(), 1).shape({1}).subscripts(0, {5, 2, 9}).defined(store), {4, 1, 8}},
      {Descriptor(plain_type(), 2).shape({2, 1}).stride(1, 32).subscripts(1, {3, 1}, 1).defined(store), {8, 9, 0, 1}},
  };
  for (const auto& row : rows) {
    Descriptor dest = Descriptor(plain_type(), static_cast<int>(row.section->dv_rank)).allocatable();
    ASSERT_EQ(copy(row.section, dest), 0);
    EXPECT_EQ(values(dest), row.expected);
    EXPECT_TRUE(is_contiguous(dest));
    EXPECT_EQ(dest->dv_dim[0].dim_lower, 1);
    // The same the other way round: what is assigned goes where the section says.
    i64 target[12] = {};
    Descriptor into = row.section;
    into.storage(reinterpret_cast<u8*>(target) + (row.section.base() - reinterpret_cast<u8*>(store)));
    ASSERT_EQ(for_alloc_assign_v2(dest, dest.p(), into, into.p(), FA_STAT), 0);
    for (i64 v : row.expected) EXPECT_EQ(target[v], v);
    EXPECT_EQ(free_all(dest), 0);
  }
}

TEST(DeepCopy, AssignmentKeepsStorageThatFits) {
  i64 store[6] = {1, 2, 3, 4, 5, 6};
  Descriptor two_by_three = Descriptor(plain_type(), 2).shape({2, 3}).defined(store);
  Descriptor left = Descriptor(plain_type(), 2).allocatable().shape({6, 1});
  ASSERT_EQ(assign(two_by_three, left), 0);
  u8* const base = left.base();
  left.shape({6, 1});
  ASSERT_EQ(assign(two_by_three, left), 0);
  EXPECT_EQ(left.base(), base);
  EXPECT_EQ(left->dv_dim[1].dim_extent, 3);
  const long blocks = vm_live_blocks();
  ASSERT_EQ(assign(two_by_three.shape({2, 2}), left), 0);
  EXPECT_EQ(values(left), (std::vector<i64>{1, 2, 3, 4}));
  EXPECT_EQ(vm_live_blocks(), blocks);
  Descriptor nothing = Descriptor(plain_type(), 2).allocatable();
  ASSERT_EQ(assign(nothing, left), 0);
  EXPECT_FALSE(left.is_defined());
  EXPECT_EQ(left.base(), nullptr);
  EXPECT_EQ(vm_live_blocks(), blocks - 1);
}

TEST(DeepCopy, AnObjectOfTheParentTypeTakesTheParentsPart) {
  Fortran_Type parent("parent");
  const u64 list = parent.allocatable(sizeof(i64), 1);
  parent.end();
  Fortran_Type child("child", &parent);
  const u64 extra = child.allocatable(sizeof(i64), 0);
  child.end();
  std::vector<u8> element(child.image(), child.image() + child.size());
  void* block = nullptr;
  ASSERT_EQ(for_allocate(24, &block, FA_STAT), 0);
  memset(block, 1, 24);
  auto* part = reinterpret_cast<For_Dope_Vector*>(&element[list]);
  *part = *Descriptor(sizeof(i64), 1).shape({3}).flags(DV_ALLOCATABLE).defined(block).get();
  void*& word = *reinterpret_cast<void**>(&element[extra]);
  ASSERT_EQ(for_allocate(8, &word, FA_STAT), 0);
  Descriptor source = Descriptor(child).defined(element.data());
  std::vector<u8> room(parent.image(), parent.image() + parent.size());
  For_Dope_Vector* x = parent.info(DV_DEFINED | DV_NO_DEALLOC | DV_ADDRESS_WORD);
  const long blocks = vm_live_blocks();
  ASSERT_EQ(for_alloc_assign(source, source.p(), x, room.data(), FA_STAT), 0);
  EXPECT_EQ(vm_live_blocks(), blocks + 1);
  auto* copied = reinterpret_cast<For_Dope_Vector*>(&room[list]);
  EXPECT_NE(copied->dv_base, part->dv_base);
  EXPECT_EQ(memcmp(copied->dv_base, part->dv_base, 24), 0);
  EXPECT_EQ(for_dealloc_all_nocheck(x, room.data(), FA_STAT), 0);
  EXPECT_EQ(for_dealloc_all_nocheck(source.flags(DV_NO_DEALLOC), source.p(), FA_STAT), 0);
  EXPECT_EQ(vm_live_blocks(), blocks - 2);
}

/// type :: node; type(node), allocatable :: next; integer(8) :: value; integer(8), allocatable :: more(:)
struct List_Type {
  explicit List_Type(bool polymorphic) : type("node") {
    if (!polymorphic) next = type.allocatable(type);
    value = type.data<i64>();
    more = type.allocatable(sizeof(i64), 1);
    if (polymorphic) next = type.polymorphic(type);
    type.end();
    if (!polymorphic) return;
    // The component's pattern was taken before the type was complete.
    type.fill_block(Descriptor::block_of(reinterpret_cast<For_Dope_Vector*>(const_cast<u8*>(type.image()) + next)));
  }
  Fortran_Type type;
  u64 next, value, more;
};

/// Copies and assigns a chain.
void chain_of(const List_Type& list, i64 nodes) {
  Descriptor head = Descriptor(list.type).allocatable(), other = Descriptor(list.type).allocatable();
  For_Dope_Vector* d = head;
  u8** link = &d->dv_base;
  for (i64 i = 0; i < nodes; ++i) {
    void* node = nullptr;
    ASSERT_EQ(for_allocate(list.type.size(), &node, FA_STAT), 0);
    memcpy(node, list.type.image(), list.type.size());
    memcpy(static_cast<u8*>(node) + list.value, &i, sizeof i);
    *link = static_cast<u8*>(node);
    if (d != nullptr) set_flags(d, DV_DEFINED);
    link = reinterpret_cast<u8**>(*link + list.next);
    // Of a polymorphic link the same word is the descriptor's first.
    d = list.next == 0 ? nullptr : reinterpret_cast<For_Dope_Vector*>(link);
  }
  const long blocks = vm_live_blocks();
  ASSERT_EQ(copy(head, other), 0);
  ASSERT_EQ(assign(head, other), 0);
  EXPECT_EQ(vm_live_blocks(), blocks + nodes);
  i64 seen = 0;
  for (u8* node = other.base(); node != nullptr; node = *reinterpret_cast<u8**>(node + list.next)) {
    i64 value;
    memcpy(&value, node + list.value, sizeof value);
    ASSERT_EQ(value, seen++);
  }
  EXPECT_EQ(seen, nodes);
  EXPECT_EQ(free_all(head), 0);
  EXPECT_EQ(free_all(other), 0);
  EXPECT_EQ(vm_live_blocks(), blocks - nodes);
}

TEST(DeepCopy, ChainsNeedNoStack) {
  for (bool polymorphic : {false, true}) {
    const List_Type list(polymorphic);
    tamrun_test::on_small_stack([&] { chain_of(list, 300000); });
  }
}

TEST(DeepCopy, MoldLeavesComponentsBare) {
  Fortran_Type inner("inner"), type("outer");
  inner.data<i64>(3);
  inner.end();
  const u64 array = type.polymorphic(inner, 1), word = type.allocatable(inner);
  type.end();
  for (bool with_default : {true, false}) {
    if (!with_default) type.without_default();
    std::vector<u8> element(type.image(), type.image() + type.size());
    Descriptor source = Descriptor(type).defined(element.data()), dest = Descriptor(type).allocatable();
    ASSERT_EQ(for_alloc_mold(source, source.p(), dest, dest.p(), FA_STAT), 0);
    const auto* bare = reinterpret_cast<For_Dope_Vector*>(dest.base() + array);
    EXPECT_EQ(bare->dv_base, nullptr);
    EXPECT_EQ(bare->dv_flags, 0u);
    EXPECT_EQ(*reinterpret_cast<u8**>(dest.base() + word), nullptr);
    EXPECT_EQ(free_all(dest), 0);
  }
}

// Defined assignment: what the procedure is given.

std::vector<std::string> assignments;

/// Both sides by address.
void by_address(void* left, void* right) {
  assignments.push_back(std::to_string(*static_cast<i64*>(right)));
  *static_cast<i64*>(left) = -*static_cast<i64*>(right);
}
/// Both by descriptor, element or array.
void by_descriptor(void* left, void* right) {
  const auto* to = static_cast<For_Dope_Vector*>(left);
  const auto* from = static_cast<For_Dope_Vector*>(right);
  std::string call = "[" + std::to_string(from->dv_rank) + "]";
  for (u64 i = 0; i < count_elements(from); ++i) {
    const i64 value = reinterpret_cast<i64*>(from->dv_base)[i];
    call += " " + std::to_string(value);
    reinterpret_cast<i64*>(to->dv_base)[i] = -value;
  }
  assignments.push_back(call);
}

TEST(DeepCopy, DefinedAssignmentOfComponents) {
  constexpr u64 kDescriptors = DA_LHS_DESCRIPTOR | DA_RHS_DESCRIPTOR;
  using Calls = std::vector<std::string>;
  const struct {
    const char* what;
    Defined_Assignment how;
    bool own;
    i64 count;
    Calls calls;
  } rows[] = {
      {"scalar", {by_address, DA_SCALAR}, false, 1, {"1"}},
      {"elements", {by_address, DA_ELEMENTAL, 0, 3}, false, 3, {"1", "2", "3"}},
      {"elements by descriptor", {by_descriptor, DA_ELEMENTAL | kDescriptors, 0, 2}, false, 2, {"[0] 1", "[0] 2"}},
      {"allocatable scalar", {by_address, u64{DA_ALLOCATABLE} | DA_SCALAR}, false, 1, {"1"}},
      {"allocatable array, own", {by_descriptor, u64{DA_ALLOCATABLE} | kDescriptors, 1}, true, 3, {"[1] 1 2 3"}},
      {"its elements", {by_address, u64{DA_ALLOCATABLE} | DA_ELEMENTAL, 1}, true, 3, {"1", "2", "3"}},
      {"by descriptor",
       {by_descriptor, u64{DA_ALLOCATABLE} | DA_ELEMENTAL | kDescriptors, 1},
       true,
       2,
       {"[0] 1", "[0] 2"}},
      {"always anew", {by_address, u64{DA_ALLOCATABLE} | DA_ELEMENTAL | DA_ALWAYS_MOLD, 1}, true, 2, {"1", "2"}},
      {"allocatable array", {by_address, u64{DA_ALLOCATABLE} | DA_ELEMENTAL, 1}, false, 3, {"1", "2", "3"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const long blocks = vm_live_blocks();
    Fortran_Type type("holder");
    const u64 before = type.data<i64>(), at = type.defined_assign(plain_type(), row.how, row.own);
    type.end();
    std::vector<u8> element(type.image(), type.image() + type.size());
    memset(&element[before], 5, sizeof(i64));
    const bool allocatable = (row.how.flags & DA_ALLOCATABLE) != 0;
    void* block = &element[at];
    if (allocatable) {
      ASSERT_EQ(for_allocate(row.count * sizeof(i64), &block, FA_STAT), 0);
      memcpy(&element[at], &block, sizeof block);
    }
    for (i64 i = 1; i <= row.count; ++i) static_cast<i64*>(block)[i - 1] = i;
    if (allocatable && (row.how.flags & DA_SCALAR) == 0) {
      auto* d = reinterpret_cast<For_Dope_Vector*>(&element[at]);
      d->dv_flags |= DV_DEFINED;
      d->dv_dim[0] = {row.count, sizeof(i64), 1};
    }
    Descriptor source = Descriptor(type).defined(element.data()), dest = Descriptor(type).allocatable();
    // Twice: into fresh storage and into what is there.
    for (int round = 0; round < 2; ++round) {
      assignments.clear();
      ASSERT_EQ(assign(source, dest), 0);
      EXPECT_EQ(assignments, row.calls);
      i64 got[3] = {};
      const u8* data = dest.base() + at;
      if (allocatable) memcpy(&data, data, sizeof data);
      memcpy(got, data, row.count * sizeof(i64));
      for (i64 i = 1; i <= row.count; ++i) EXPECT_EQ(got[i - 1], -i);
      EXPECT_EQ(memcmp(dest.base() + before, &element[before], sizeof(i64)), 0);
    }
    // An unallocated right component takes the left one away.
    for_dealloc_all_nocheck(source.flags(DV_NO_DEALLOC), source.p(), FA_STAT);
    assignments.clear();
    ASSERT_EQ(assign(source, dest), 0);
    EXPECT_EQ(assignments.empty(), allocatable);
    EXPECT_EQ(vm_live_blocks(), blocks + 1);
    EXPECT_EQ(free_all(dest), 0);
    EXPECT_EQ(vm_live_blocks(), blocks);
  }
}

}  // namespace
