// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finalization of objects of derived type.

#include "objects/finalize.h"

#include <algorithm>

#include "objects/element_walk.h"
#include "objects/object.h"

namespace {

using Final_Procedure = void (*)(void* object);

constexpr Component_Pair kNothing = {nullptr, nullptr};

/// An object as finalization names it: p is its address also where a copy would find that in a word.
struct Finalized {
  For_Dope_Vector* x;
  For_Dope_Vector* d;
  u8* data;
  u64 count;  ///< elements

  bool is_array() const { return static_cast<i64>(d->dv_rank) > 0; }
};

/// The pair of a component or of the parent; kNothing for kinds that are not finalized.
Component_Pair pair_to_finalize(const compo_info_s& entry, u8* element) {
  u8* const at = element + entry.ci_offset;
  auto* const x = static_cast<For_Dope_Vector*>(entry.ci_aux);
  const auto word = [at] { return *reinterpret_cast<void**>(at); };
  switch (entry.ci_kind) {
    case CI_REFERENCE:
      return {x, (x->dv_flags & DV_SEPARATE) != 0 ? at : word()};
    case CI_INLINE:
      return {x, at};
    case CI_EMBEDDED:
      return {reinterpret_cast<For_Dope_Vector*>(at), word()};
    default:
      return kNothing;
  }
}

void call_final_procedure(const Finalized& object, Final_Procedure procedure) {
  const u64 flags = object.x->dv_flags;
  if (object.is_array() && (flags & DV_FINAL_ELEMENTAL) != 0) {
    if (object.count == 0) return;
    Element_Walk walk(object.d, object.data);
    for (u64 i = object.count; i > 0; --i, walk.next()) procedure(walk.address());
  } else if ((flags & DV_FINAL_BY_DESCRIPTOR) != 0) {
    u8* const base = object.d->dv_base;
    object.d->dv_base = object.data;
    procedure(object.d);
    object.d->dv_base = base;
  } else {
    procedure(object.data);
  }
}

/// Lends the parent's descriptor the shape of the whole object.
void lend_shape(const For_Dope_Vector* from, For_Dope_Vector* to) {
  if (to == nullptr) return;
  std::copy_n(from->dv_dim, std::min(from->dv_rank, to->dv_rank), to->dv_dim);
}

/// Finalizes all of an object but what comes last: the parent, or else the last component of the last element. That is
/// the result, so that a chain takes one frame.
Component_Pair finalize_but_last(Component_Pair pair) {
  For_Dope_Vector* const x = pair.x;
  const bool separate = (x->dv_flags & DV_SEPARATE) != 0;
  auto* const d = separate ? static_cast<For_Dope_Vector*>(pair.p) : x;
  Finalized object = {x, d, separate ? d->dv_base : static_cast<u8*>(pair.p), 0};
  if ((d->dv_flags & DV_DEFINED) == 0 || (!object.is_array() && object.data == nullptr)) return kNothing;
  if (object.data != nullptr) object.count = count_elements(d);

  const auto* const block = reinterpret_cast<const xdesc_fixed_t*>(&x->dv_dim[d->dv_rank + d->dv_codims]);
  if (block->xd_final != nullptr) call_final_procedure(object, reinterpret_cast<Final_Procedure>(block->xd_final));

  const Component_Range components = component_range(block->xd_finalize);
  const Component_Range parent = component_range(block->xd_parent);
  if (!components.empty() && object.count > 0) {
    Element_Walk walk(d, object.data);
    for (u64 i = object.count; i > 0; --i, walk.next()) {
      for (const compo_info_s& entry : components) {
        const Component_Pair component = pair_to_finalize(entry, walk.address());
        const bool is_last = i == 1 && &entry + 1 == components.end();
        if (is_last && parent.empty()) return component;
        if (component.x != nullptr) for_finalize(component.x, component.p);
      }
    }
  }
  if (parent.empty()) return kNothing;
  const compo_info_s& entry = *parent.begin();
  if (object.is_array()) lend_shape(d, static_cast<For_Dope_Vector*>(entry.ci_aux));
  return pair_to_finalize(entry, object.data);
}

}  // namespace

extern "C" void for_finalize(For_Dope_Vector* x, void* p) {
  Component_Pair next = {x, p};
  while (next.x != nullptr) next = finalize_but_last(next);
}
