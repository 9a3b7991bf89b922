// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Types with length parameters: each object carries their values, and components sized by them are made from templates
// in the type information.

#include "objects/len_params.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "objects/allocate.h"
#include "objects/object.h"
#include "tamrun/messages.h"

namespace {

/// Bytes of a length parameter's record; 0 for records of other kinds.
u64 parameter_bytes(const compo_info_s& record) {
  constexpr u64 kBytes[] = {0, 1, 2, 4, 8, 0};
  return record.ci_kind < std::size(kBytes) ? kBytes[record.ci_kind] : 0;
}

struct Length_Request {
  For_Alloc_Flags flags;
  u64 handle;
};

/// A descriptor's own wishes join those of the statement.
Length_Request request_of(const For_Dope_Vector* d, For_Alloc_Flags flags) {
  constexpr u32 kAlignField = ((1u << kAlignLog2Bits) - 1) << FA_ALIGN_LOG2_SHIFT;
  constexpr u32 kOmpField = ((1u << kOmpRequestBits) - 1) << FA_OMP_ALLOCATOR_SHIFT;
  const u32 alignment = static_cast<u32>(d->dv_flags >> DV_ALIGN_LOG2_SHIFT << FA_ALIGN_LOG2_SHIFT) & kAlignField;
  const u32 allocator = static_cast<u32>(d->dv_flags >> DV_OMP_ALLOCATOR_SHIFT << FA_OMP_ALLOCATOR_SHIFT) & kOmpField;
  const u32 rest = flags & ~(kAlignField | kOmpField);
  return {rest | std::max(flags & kAlignField, alignment) | allocator, d->dv_reserved};
}

void store_parameters(const Object& object, u8* element) {
  for (const compo_info_s& record : component_range(object.block->xd_init)) {
    const u64 bytes = parameter_bytes(record);
    if (bytes != 0) memcpy(element + record.ci_offset, &record.ci_aux, bytes);
  }
}

/// Makes a component from its template, if it has one, as an object without storage.
void instantiate(const compo_info_s& entry, u8* element) {
  const auto* const info = static_cast<const For_Defassign_Info*>(entry.ci_aux);
  const For_Dope_Vector* pattern = nullptr;
  if (entry.ci_kind == CI_DEFINED_ASSIGN) {
    if ((info->da_flags & DA_OWN_DESCRIPTOR) == 0) pattern = info->da_type;
  } else if (entry.ci_kind != CI_EMBEDDED) {
    pattern = static_cast<const For_Dope_Vector*>(entry.ci_aux);
  }
  if (pattern == nullptr || (pattern->dv_flags & DV_LEN_DEPENDENT) == 0) return;
  auto* const made = reinterpret_cast<For_Dope_Vector*>(element + entry.ci_offset);
  memcpy(static_cast<void*>(made), pattern,
         kDopeHeadBytes + sizeof(For_Dim) * (pattern->dv_rank + pattern->dv_codims) + sizeof(xdesc_fixed_t));
  made->dv_base = nullptr;
  clear_flags(made, DV_DEFINED);
}

/// The pair of a component after instantiate(): what came from a template stands in the element.
Component_Pair instance_pair(const compo_info_s& entry, u8* element) {
  u8* const at = element + entry.ci_offset;
  const Component_Pair pair = component_pair(entry, element);
  const bool in_element = entry.ci_kind == CI_EMBEDDED || (pair.x->dv_flags & DV_LEN_DEPENDENT) == 0;
  return in_element ? pair : Component_Pair{reinterpret_cast<For_Dope_Vector*>(at), at};
}

[[nodiscard]] int do_alloc_pdtlen(Component_Pair pair, bool top, const Length_Request& request) {
  Object object = decode_object(pair.x, pair.p);
  const u64 count = count_elements(object.d);
  const u64 size = object.d->dv_elem_len;
  u8** const location = top ? object.base_word() : &object.d->dv_base;
  const bool allocates = top ? !object.has(DV_DEFINED | DV_NO_DEALLOC) : object.has(DV_LEN_DEPENDENT);
  if (allocates) {
    if (location == nullptr) return MSG_POINTER_NOT_ASSOCIATED;
    const int status = allocate_elements(size, count, location, request.flags, request.handle);
    if (status != 0) return status;
    object.data = *location;
  }
  for_default_init(object.x, object.p);
  const Component_Range components = component_range(object.block->xd_len_dependent);
  // All templates come before the first allocation that may fail: whatever happens, the object can be deallocated.
  u8* element = object.data;
  for (u64 i = 0; i < count; ++i, element += size) {
    store_parameters(object, element);
    for (const compo_info_s& entry : components) instantiate(entry, element);
  }
  if (!object.through_word()) set_flags(object.d, DV_DEFINED);
  element = object.data;
  for (u64 i = 0; i < (components.empty() ? 0 : count); ++i, element += size) {
    for (const compo_info_s& entry : components) {
      const int status = do_alloc_pdtlen(instance_pair(entry, element), false, request);
      if (status != 0) return status;
    }
  }
  return 0;
}

}  // namespace

extern "C" {

int for_alloc_pdtlen(For_Dope_Vector* x, void* p, For_Alloc_Flags flags) {
  const Length_Request request = request_of(decode_object(x, p).d, flags);
  return finish_request(do_alloc_pdtlen({x, p}, true, request), flags);
}

u64 for_get_len_param_val(const For_Component_List* init_list, u64 offset) {
  u64 value = 1;
  for (const compo_info_s& record : component_range(init_list)) {
    const u64 bytes = parameter_bytes(record);
    if (bytes == 0 || record.ci_offset != offset) continue;
    value = 0;
    memcpy(&value, &record.ci_aux, bytes);
  }
  return value;
}

const For_Type_Node* for_get_dyntyp_no_pdt(const For_Type_Node* node) {
  if (node == nullptr || node->tn_parent == nullptr) return node;
  const For_Type_Node* before = node;
  while (before->tn_parent->tn_parent != nullptr) before = before->tn_parent;
  const For_Type_Node* const last = before->tn_parent;
  const bool same =
      last->tn_name != nullptr && before->tn_name != nullptr && strcmp(last->tn_name, before->tn_name) == 0;
  return same ? last->tn_generic : node;
}

}  // extern "C"
