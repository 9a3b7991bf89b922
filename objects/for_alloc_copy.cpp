// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Entry points of deep copy: ALLOCATE with SOURCE= or MOLD=, private copies, intrinsic assignment.

#include <string.h>

#include "core/failure.h"
#include "objects/allocate.h"
#include "objects/deep_copy.h"

namespace {

/// An allocatable destination that is allocated already.
bool is_taken(const Object& dest) {
  return (dest.attributes() & DV_ALLOCATABLE) != 0 && !dest.has(DV_NO_DEALLOC) && dest.is_allocated();
}

[[nodiscard]] int copy_source(Component_Pair source, Component_Pair dest, For_Alloc_Flags flags, coarray_info_t* info) {
  if (is_taken(decode_object(dest.x, dest.p))) return MSG_ALREADY_ALLOCATED;
  if (!decode_object(source.x, source.p).is_defined()) return MSG_SOURCE_NOT_ALLOCATED;
  return Deep_Copy(ACT_SOURCE, false, true, flags, info).run(source, dest, true);
}

const For_Type_Node* oldest_ancestor(const For_Type_Node* node) {
  while (node != nullptr && node->tn_parent != nullptr) node = node->tn_parent;
  return node;
}

/// Two types without a common ancestor cannot be assigned to each other.
bool are_compatible(const xdesc_fixed_t* left, const xdesc_fixed_t* right) {
  const For_Type_Node* const a = oldest_ancestor(left->xd_type);
  const For_Type_Node* const b = oldest_ancestor(right->xd_type);
  return a != nullptr && b != nullptr && a->tn_name != nullptr && b->tn_name != nullptr &&
         strcmp(a->tn_name, b->tn_name) == 0;
}

[[nodiscard]] int assign(Component_Pair source, Component_Pair dest, bool honour_no_dealloc, For_Alloc_Flags flags,
                         coarray_info_t* info) {
  const Object left = decode_object(dest.x, dest.p);
  const Object right = decode_object(source.x, source.p);
  const bool keeps = left.has(DV_NO_DEALLOC);
  const bool exists = left.is_allocated() && !(left.through_word() && left.p == nullptr);
  if ((left.attributes() & DV_ALLOCATABLE) == 0 && !keeps && !exists) return MSG_POINTER_NOT_ASSOCIATED;
  const bool in_place = left.has(DV_ADDRESS_WORD | DV_NO_DEALLOC);
  if (right.is_scalar() && !left.is_scalar() && !in_place && !exists) return MSG_SCALAR_TO_UNALLOCATED;
  const bool compares = !left.has(DV_TYPE_UNCHECKED) || keeps;
  if (compares && !are_compatible(left.block, right.block)) return MSG_INCOMPATIBLE_TYPES;
  return Deep_Copy(ACT_SOURCE, true, honour_no_dealloc, flags, info).run(source, dest, false);
}

}  // namespace

extern "C" {

int for_alloc_copy(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p, For_Alloc_Flags flags) {
  return finish_request(copy_source({src_x, src_p}, {dst_x, dst_p}, flags, nullptr), flags);
}

int for_alloc_copy_coarray(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                           For_Alloc_Flags flags, coarray_info_t* info) {
  const int status = coarray_ready();
  return finish_request(status != 0 ? status : copy_source({src_x, src_p}, {dst_x, dst_p}, flags, info), flags);
}

int for_alloc_mold(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p, For_Alloc_Flags flags) {
  if (is_taken(decode_object(dst_x, dst_p))) return finish_request(MSG_ALREADY_ALLOCATED, flags);
  Deep_Copy mold(ACT_MOLD, false, true, flags, nullptr);
  return finish_request(mold.run({src_x, src_p}, {dst_x, dst_p}, true), flags);
}

int for_alloc_private(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p, For_Alloc_Flags flags) {
  if (is_taken(decode_object(dst_x, dst_p))) {
    if ((flags & FA_STAT) != 0) return MSG_INTERNAL_CONSISTENCY;
    TAMRUN_INTERNAL_ERROR("for_alloc_copy.cpp");
    return 0;
  }
  Deep_Copy copy(ACT_PRIVATE, false, true, flags, nullptr);
  return finish_request(copy.run({src_x, src_p}, {dst_x, dst_p}, true), flags);
}

int for_alloc_assign(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p, For_Alloc_Flags flags) {
  return finish_request(assign({src_x, src_p}, {dst_x, dst_p}, false, flags, nullptr), flags);
}

int for_alloc_assign_v2(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                        For_Alloc_Flags flags) {
  return finish_request(assign({src_x, src_p}, {dst_x, dst_p}, true, flags, nullptr), flags);
}

int for_alloc_assign_coarray(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                             For_Alloc_Flags flags, coarray_info_t* info) {
  const int status = coarray_ready();
  return finish_request(status != 0 ? status : assign({src_x, src_p}, {dst_x, dst_p}, true, flags, info), flags);
}

}  // extern "C"
