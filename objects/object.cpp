// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Objects of derived type: descriptor, data and components.

#include "objects/object.h"

#include <string.h>

#include <algorithm>

#include "objects/coarray_copy.h"
#include "objects/element_walk.h"

namespace {

/// Bytes of a component that is an address.
constexpr u64 kAddressBytes = sizeof(u8*);

u64 plain_bytes(const For_Dope_Vector* d) { return kDopeHeadBytes + sizeof(For_Dim) * (d->dv_rank + d->dv_codims); }

u64 full_bytes(const For_Dope_Vector* d) { return plain_bytes(d) + sizeof(xdesc_fixed_t); }

const For_Defassign_Info& assignment_of(const compo_info_s& entry) {
  return *static_cast<const For_Defassign_Info*>(entry.ci_aux);
}

Component_Pair own_descriptor(u8* at) {
  auto* const d = reinterpret_cast<For_Dope_Vector*>(at);
  return {d, d->dv_base};
}

}  // namespace

void set_flags(For_Dope_Vector* d, u64 bits) {
  if ((d->dv_flags & bits) != bits) d->dv_flags |= bits;
}

void clear_flags(For_Dope_Vector* d, u64 bits) {
  if ((d->dv_flags & bits) != 0) d->dv_flags &= ~bits;
}

bool Object::is_allocated() const {
  if (!has(DV_ADDRESS_WORD)) return has(DV_DEFINED);
  if (has(DV_SEPARATE)) return is_defined();
  if (has(DV_NO_DEALLOC)) return true;
  return p != nullptr && *static_cast<u8**>(p) != nullptr;
}

void Object::forget() const {
  if (u8** const word = base_word(); word != nullptr) *word = nullptr;
  if (!through_word()) clear_flags(d, DV_DEFINED);
}

Object decode_object(For_Dope_Vector* x, void* p, u64* mode) {
  Object object = {x, p, x, static_cast<u8*>(p), nullptr};
  const u64 flags = x->dv_flags;
  bool indirect = true;
  if ((flags & DV_SEPARATE) != 0) {
    object.d = static_cast<For_Dope_Vector*>(p);
    object.data = object.d->dv_base;
  } else if ((flags & (DV_ADDRESS_WORD | DV_NO_DEALLOC)) == DV_ADDRESS_WORD) {
    object.data = p != nullptr ? *static_cast<u8**>(p) : nullptr;
  } else {
    indirect = false;
  }
  constexpr u64 kIndirectMode = 2;
  if (indirect && mode != nullptr && *mode != 0) *mode = kIndirectMode;
  object.block = reinterpret_cast<xdesc_fixed_t*>(&x->dv_dim[object.d->dv_rank + object.d->dv_codims]);
  // An ordinary object of a parameterised type has no components that its own length parameters size.
  const bool ordinary = (flags & (DV_DEFINED | DV_LEN_DEPENDENT | DV_COARRAY_MEM)) == DV_DEFINED;
  if (ordinary && object.block->xd_len_dependent != nullptr) object.block->xd_len_dependent = nullptr;
  return object;
}

Component_Range component_range(const For_Component_List* list) {
  return list == nullptr ? Component_Range{} : Component_Range{list->cl_entry, list->cl_count};
}

Component_Range defined_assignments(const For_Component_List* init_list) {
  for (const compo_info_s& record : component_range(init_list)) {
    if (record.ci_kind == TI_DEFINED_ASSIGN_LIST)
      return component_range(reinterpret_cast<const For_Component_List*>(record.ci_offset));
  }
  return {};
}

Component_Pair component_pair(const compo_info_s& entry, u8* element) {
  u8* const at = element + entry.ci_offset;
  switch (entry.ci_kind) {
    case CI_INLINE:
    case CI_REFERENCE:
      return {static_cast<For_Dope_Vector*>(entry.ci_aux), at};
    case CI_DEFINED_ASSIGN:
      if ((assignment_of(entry).da_flags & DA_OWN_DESCRIPTOR) == 0) return {assignment_of(entry).da_type, at};
      [[fallthrough]];
    default:
      return own_descriptor(at);
  }
}

u64 component_bytes(const compo_info_s& entry, const u8* element) {
  const auto* const there = reinterpret_cast<const For_Dope_Vector*>(element + entry.ci_offset);
  const auto* const x = static_cast<const For_Dope_Vector*>(entry.ci_aux);
  switch (entry.ci_kind) {
    case CI_INLINE:
      return (x->dv_flags & DV_ADDRESS_WORD) != 0 ? x->dv_elem_len * count_elements(x) : kAddressBytes;
    case CI_REFERENCE:
      return (x->dv_flags & DV_SEPARATE) != 0 ? plain_bytes(there) : kAddressBytes;
    case CI_DEFINED_ASSIGN: {
      const For_Defassign_Info& info = assignment_of(entry);
      if ((info.da_flags & DA_OWN_DESCRIPTOR) != 0) return full_bytes(there);
      if ((info.da_flags & DA_ALLOCATABLE) == 0) return info.da_count * static_cast<u32>(info.da_elem_len);
      return (info.da_flags & DA_SCALAR) != 0 ? kAddressBytes : plain_bytes(there);
    }
    default:
      return full_bytes(there);
  }
}

void forget_object(const Object& object) {
  if (!object.in_place()) {
    object.forget();
    return;
  }
  u8* part = object.data;
  for (u64 i = count_elements(object.d); i > 0; --i, part += object.d->dv_elem_len) {
    for (const For_Component_List* list : {object.block->xd_len_dependent, object.block->xd_allocatable}) {
      for (const compo_info_s& inner : component_range(list)) forget_component(inner, part);
    }
  }
}

void forget_component(const compo_info_s& entry, u8* element) {
  const Component_Pair pair = component_pair(entry, element);
  // A block that gives neither a word nor a descriptor in the element describes data alone.
  if (entry.ci_kind == CI_INLINE && (pair.x->dv_flags & DV_ADDRESS_WORD) == 0) return;
  forget_object(decode_object(pair.x, pair.p));
}

bool same_type(const xdesc_fixed_t* a, const xdesc_fixed_t* b) {
  if (a->xd_type == b->xd_type) return true;
  if (a->xd_type == nullptr || b->xd_type == nullptr) return false;
  const char* const names[] = {a->xd_type->tn_name, b->xd_type->tn_name};
  return names[0] != nullptr && names[1] != nullptr && strcmp(names[0], names[1]) == 0;
}

u64 count_elements(const For_Dope_Vector* d) {
  u64 count = 1;
  for (i64 k = 0; k < static_cast<i64>(d->dv_rank); ++k) {
    if (__builtin_mul_overflow(count, dimension_count(d->dv_dim[k]), &count)) count = ~u64{0};
  }
  return count;
}

bool is_contiguous(const For_Dope_Vector* d) {
  i64 adjacent = static_cast<i64>(d->dv_elem_len);
  for (i64 k = 0; k < static_cast<i64>(d->dv_rank); ++k) {
    const For_Dim& dim = d->dv_dim[k];
    if (dim.dim_extent < 0 || dim.dim_stride != adjacent) return false;
    adjacent = static_cast<i64>(static_cast<u64>(adjacent) * static_cast<u64>(dim.dim_extent));
  }
  return true;
}

extern "C" {

compo_info_s* for__get_list_and_count(For_Component_List* list, u32* count) {
  const Component_Range range = component_range(list);
  *count = range.count;
  return const_cast<compo_info_s*>(range.entry);
}

compo_info_s* for__get_def_assign_list_and_count(For_Component_List* init_list, u32* count) {
  const Component_Range range = defined_assignments(init_list);
  *count = range.count;
  return const_cast<compo_info_s*>(range.entry);
}

u64 for__calc_num_elts(const For_Dope_Vector* d1, const For_Dope_Vector* d2) {
  return count_elements(static_cast<i64>(d1->dv_rank) > 0 ? d1 : d2);
}

void for__get_descr_parts(For_Dope_Vector* x, void* p, u8** data, xdesc_fixed_t** block, For_Dope_Vector** descriptor,
                          u64* raw_flags, u64* object_flags, u64* mode) {
  const Object object = decode_object(x, p, mode);
  *data = object.data;
  *block = object.block;
  *descriptor = object.d;
  *raw_flags = x->dv_flags;
  *object_flags = object.d->dv_flags;
}

void for__copy_record(u8* source, u8* destination, u64 size, const compo_info_s* list, i32 count,
                      coarray_info_t* info) {
  u64 done = 0;
  const auto copy_up_to = [&](u64 end) {
    if (end <= done) return;
    u8* from = source + done;
    do_copy_source_to_dest(&from, destination + done, end - done, info);
  };
  for (i32 i = 0; i < count; ++i) {
    if (i > 0 && list[i].ci_offset == list[i - 1].ci_offset) continue;
    copy_up_to(std::min(list[i].ci_offset, size));
    done = std::max(done, list[i].ci_offset + component_bytes(list[i], source));
  }
  copy_up_to(size);
}

void for_default_init(For_Dope_Vector* x, void* p) {
  const Object object = decode_object(x, p);
  const auto records = component_range(object.block->xd_init);
  const compo_info_s* const record =
      std::find_if(records.begin(), records.end(), [](const auto& r) { return r.ci_kind == TI_DEFAULT_IMAGE; });
  if (record == records.end()) return;
  u8** const word = object.base_word();
  u8* const data = object.has(DV_NO_DEALLOC | DV_ADDRESS_WORD) || word == nullptr ? object.data : *word;
  const u64 count = count_elements(object.d);
  if (count == 0 || data == nullptr) return;
  auto* const image = reinterpret_cast<u8*>(record->ci_offset);
  const Component_Range kept = component_range(object.block->xd_len_dependent);
  Element_Walk walk(object.d, data);
  for (u64 i = count; i > 0; --i, walk.next())
    for__copy_record(image, walk.address(), object.d->dv_elem_len, kept.entry, static_cast<i32>(kept.count), nullptr);
}

}  // extern "C"
