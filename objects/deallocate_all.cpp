// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Deep deallocation: the components of an object, theirs, and so on, then the object.

#include <string.h>

#include <initializer_list>

#include "objects/allocate.h"
#include "objects/deep_copy.h"

namespace {

/// A component that outlives the element it stands in: what is needed to free it is copied out.
class Detached {
 public:
  /// False when the component's descriptor is too large to be kept here.
  bool take(const compo_info_s& entry, u8* element) {
    const Component_Pair pair = component_pair(entry, element);
    const u64 bytes = component_bytes(entry, element);
    if (bytes > sizeof copy_) return false;
    memcpy(copy_, element + entry.ci_offset, bytes);
    auto* const d = reinterpret_cast<For_Dope_Vector*>(copy_);
    const bool own = entry.ci_kind == CI_EMBEDDED || entry.ci_kind == CI_EMBEDDED_ALT;
    pair_ = own ? Component_Pair{d, d->dv_base} : Component_Pair{pair.x, copy_};
    return true;
  }
  Component_Pair pair() const { return pair_; }

 private:
  static constexpr u64 kDims = 2;
  Component_Pair pair_;
  alignas(u64) u8 copy_[kDopeHeadBytes + kDims * sizeof(For_Dim) + sizeof(xdesc_fixed_t)];
};

/// The object's own storage is freed, not its components' alone.
bool owns_storage(const Object& object, Dealloc_Scope scope) {
  const u64 attributes = object.attributes();
  if (object.has(DV_NO_DEALLOC)) return false;
  if (!scope.top && attributes == 0) return false;
  if ((attributes & DV_LEN_DEPENDENT) != 0 && !scope.len_free) return false;
  return !scope.assignment || (attributes & DV_ALLOCATABLE) != 0;
}

/// Frees the components. With `next`, a chain's next link is kept in it instead, and *more is set.
[[nodiscard]] int deallocate_components(const Object& object, Dealloc_Scope scope, For_Alloc_Flags flags,
                                        Detached* next, bool* more) {
  const Component_Range len_dependent = component_range(object.block->xd_len_dependent);
  const Component_Range allocatable = component_range(object.block->xd_allocatable);
  const Dealloc_Scope inner = {false, scope.len_free, false};
  const u64 count = count_elements(object.d);
  for (const Component_Range& list : {len_dependent, allocatable}) {
    u8* element = object.data;
    for (u64 i = list.empty() ? count : 0; i < count; ++i, element += object.d->dv_elem_len) {
      const compo_info_s* chain = nullptr;
      if (i + 1 == count && next != nullptr && list.entry == allocatable.entry)
        chain = chain_component(list, object.block->xd_type, element);
      for (const compo_info_s& entry : list) {
        const Component_Pair pair = component_pair(entry, element);
        if (object.has(DV_COARRAY_MEM)) set_flags(pair.x, DV_COARRAY_MEM);
        if (&entry == chain && next->take(entry, element)) {
          *more = true;
          continue;
        }
        const int status = do_deallocate_all(pair, inner, flags & ~FA_CANNOT_FREE);
        if (status != 0) return status;
      }
    }
  }
  return 0;
}

[[nodiscard]] int free_storage(const Object& object, For_Alloc_Flags flags) {
  const u64 bytes = object.d->dv_elem_len * count_elements(object.d);
  int status = free_allocatable(object.data, flags, 0);
  if (status == 0 && (flags & FA_COARRAY) != 0) {
    status = coarray_ready();
    if (status == 0) coarray_detach(object.data, bytes, flags);
  }
  object.forget();
  return status;
}

[[nodiscard]] int deallocate_now(For_Dope_Vector* x, void* p, Dealloc_Scope scope, For_Alloc_Flags flags) {
  return finish_request(do_deallocate_all({x, p}, scope, flags), flags);
}

}  // namespace

int do_deallocate_all(Component_Pair pair, Dealloc_Scope scope, For_Alloc_Flags flags) {
  // A chain's links take turns: one is freed while the next one stands in the other place.
  Detached links[2];
  for (int turn = 0;; turn ^= 1) {
    const Object object = decode_object(pair.x, pair.p);
    if (!object.is_defined() || (object.is_scalar() && object.data == nullptr)) return 0;
    if (scope.assignment && object.d->dv_codims != 0 && (object.attributes() & DV_ALLOCATABLE) != 0)
      return MSG_COARRAY_IN_ASSIGNMENT;
    const bool frees = owns_storage(object, scope);
    const bool goes_on = frees && (flags & FA_CANNOT_FREE) == 0;
    bool more = false;
    if (object.data != nullptr) {
      const int status = deallocate_components(object, scope, flags, goes_on ? &links[turn] : nullptr, &more);
      if (status != 0) return status;
    }
    if (!frees) return 0;
    const int status = free_storage(object, flags);
    if (status != 0 || !more) return status;
    pair = links[turn].pair();
    scope = {false, scope.len_free, false};
  }
}

extern "C" {

int for_deallocate_all(For_Dope_Vector* x, void* p, For_Alloc_Flags flags) {
  const Object object = decode_object(x, p);
  const bool allocated =
      object.is_defined() && (!object.has(DV_ADDRESS_WORD) || !object.is_scalar() || object.data != nullptr);
  if (!allocated) return finish_request(MSG_NOT_ALLOCATED, flags);
  if ((object.d->dv_flags & DV_NO_DEALLOC) != 0) return finish_request(MSG_CANNOT_DEALLOCATE, flags);
  return deallocate_now(x, p, kDeallocateAll, flags);
}

int for_dealloc_all_nocheck(For_Dope_Vector* x, void* p, For_Alloc_Flags flags) {
  return deallocate_now(x, p, kDeallocateAll, flags);
}

int for_dealloc_all_nopdtlen(For_Dope_Vector* x, void* p, For_Alloc_Flags flags) {
  return deallocate_now(x, p, {true, false, false}, flags);
}

}  // extern "C"
