// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The walk of a deep copy. It brings the destination's storage about, fills it, and does the same for each component
// that has storage of its own. After a failure the destination holds what was finished; the rest of it is unallocated.

#include "objects/deep_copy.h"

#include <string.h>

#include <algorithm>

#include "objects/allocate.h"
#include "objects/element_walk.h"
#include "tamrun/messages.h"

/// One object on its way.
struct Deep_Copy::Transfer {
  Component_Pair source_pair, dest_pair;
  bool must_allocate;

  Object source, dest;
  bool present;        ///< the source holds a value
  u64 count;           ///< elements
  u64 step;            ///< bytes of an element that are copied
  bool keeps_storage;  ///< the destination's storage is not the library's
  bool skipped;        ///< no look at the destination's storage
  bool took_address;   ///< the other case
  bool fresh;          ///< allocated here
  Merged_List list;

  /// The destination stays as it was, and its elements are not adjacent.
  bool dest_has_gaps(bool is_assignment) const {
    return is_assignment && !must_allocate && (!is_contiguous(dest.d) || dest.d->dv_elem_len != step);
  }
  Element_Walk dest_walk(bool is_assignment) const {
    return dest_has_gaps(is_assignment) ? Element_Walk(dest.d, dest.data) : Element_Walk(dest.data, step);
  }
};

namespace {

constexpr u64 kTransferredFlags =
    DV_DEFINED | DV_CONTIGUOUS | DV_FINAL_ELEMENTAL | DV_FINAL_BY_DESCRIPTOR | u64{0xFF} << DV_ALIGN_LOG2_SHIFT;

bool owns_components(const xdesc_fixed_t* block) {
  return !component_range(block->xd_allocatable).empty() || !component_range(block->xd_len_dependent).empty();
}

bool has_default_value(const xdesc_fixed_t* block) {
  const Component_Range records = component_range(block->xd_init);
  return std::any_of(records.begin(), records.end(), [](const auto& r) { return r.ci_kind == TI_DEFAULT_IMAGE; });
}

}  // namespace

int Merged_List::merge(Component_Range allocatable, Component_Range len_dependent, Component_Range defined) {
  Component_Range* const lists[] = {&defined, &allocatable, &len_dependent};  // by precedence at one offset
  u32 total = 0;
  int filled = 0;
  for (const Component_Range* list : lists) {
    total += list->count;
    if (list->empty()) continue;
    ++filled;
    range_ = *list;
  }
  if (filled < 2) return 0;
  if (block_.allocate(static_cast<i64>(total * sizeof(compo_info_s))) != 0) return MSG_NO_MEMORY;
  compo_info_s* out = block_.get();
  const auto pop = [](Component_Range& list) { ++list.entry, --list.count; };
  for (;;) {
    Component_Range* first = nullptr;
    for (Component_Range* list : lists) {
      if (!list->empty() && (first == nullptr || list->entry->ci_offset < first->entry->ci_offset)) first = list;
    }
    if (first == nullptr) break;
    *out = *first->entry;
    pop(*first);
    if (first == &defined) {
      for (Component_Range* other : {&allocatable, &len_dependent})
        while (!other->empty() && other->entry->ci_offset == out->ci_offset) pop(*other);
    }
    ++out;
  }
  range_ = {block_.get(), static_cast<u32>(out - block_.get())};
  return 0;
}

const compo_info_s* chain_component(Component_Range list, const For_Type_Node* type, u8* element) {
  const compo_info_s* other = nullptr;
  for (u32 i = list.count; i > 0; --i) {
    const compo_info_s& entry = list.entry[i - 1];
    if (entry.ci_kind == CI_DEFINED_ASSIGN) continue;
    const Component_Pair pair = component_pair(entry, element);
    const Object object = decode_object(pair.x, pair.p);
    if (!object.is_allocated() || object.in_place()) continue;
    if (object.block->xd_type == type) return &entry;
    if (other == nullptr && owns_components(object.block)) other = &entry;
  }
  return other;
}

int Deep_Copy::run(Component_Pair source, Component_Pair dest, bool must_allocate) {
  for (;;) {
    Transfer t = {};
    t.source_pair = source;
    t.dest_pair = dest;
    t.must_allocate = must_allocate;
    bool more = false;
    const int status = run_object(t, &more);
    if (status != 0 || !more) return status;
    source = t.source_pair;
    dest = t.dest_pair;
    must_allocate = t.must_allocate;
  }
}

int Deep_Copy::run_object(Transfer& t, bool* more) {
  t.source = decode_object(t.source_pair.x, t.source_pair.p, source_mode());
  t.dest = decode_object(t.dest_pair.x, t.dest_pair.p, dest_mode());
  t.present = t.source.is_defined() && !(t.source.is_scalar() && t.source.data == nullptr);
  t.count = t.present ? for__calc_num_elts(t.source.d, t.dest.d) : 0;
  t.keeps_storage = t.dest.has(DV_NO_DEALLOC) || (coarray_ != nullptr && coarray_->cai_dest_mode != 0);
  t.step = t.source.d->dv_elem_len;
  if (t.keeps_storage) t.step = std::min(t.step, t.dest.d->dv_elem_len);

  if (t.present && type_ != ACT_MOLD) {
    // A destination with shorter elements is of the parent type and has no more than its components.
    const xdesc_fixed_t* block = t.step < t.source.d->dv_elem_len ? t.dest.block : t.source.block;
    const Component_Range defined = is_assignment_ ? defined_assignments(block->xd_init) : Component_Range{};
    const int status =
        t.list.merge(component_range(block->xd_allocatable), component_range(block->xd_len_dependent), defined);
    if (status != 0) {
      if (t.must_allocate) forget_object(t.dest);
      return status;
    }
  }

  int status = provide_storage(t);
  if (status != 0) return status;
  if (type_ == ACT_MOLD) {
    finish_mold(t);
    return 0;
  }
  if (t.present) {
    fill_contents(t);
    status = copy_components(t, more);
  } else if (is_assignment_ && !t.must_allocate && t.dest.is_allocated()) {
    status = do_deallocate_all(t.dest_pair, kDeallocateLeftSide, flags_);
  }
  if (!(t.skipped && t.keeps_storage)) transfer_type_info(t);
  return status;
}

/// Finds or makes the destination's storage.
int Deep_Copy::provide_storage(Transfer& t) const {
  const Object& dest = t.dest;
  t.skipped = (t.keeps_storage && (honour_no_dealloc_ || dest.has(DV_ADDRESS_WORD))) ||
              (is_assignment_ && !t.must_allocate && dest.has(DV_DEFINED | DV_LEN_DEPENDENT));
  if (t.skipped) {
    // What does not fit was never to be assigned.
    if (is_assignment_ && !dest.is_scalar()) t.count = std::min(t.count, count_elements(dest.d));
    return 0;
  }
  u8** const location = dest.base_word();
  if (location == nullptr) return MSG_POINTER_NOT_ASSOCIATED;
  t.took_address = true;
  const int status = t.present ? allocate_storage(t) : 0;
  t.dest.data = *location;
  if (status == 0 && t.present && t.dest.data == nullptr) return MSG_POINTER_NOT_ASSOCIATED;
  return status;
}

int Deep_Copy::allocate_storage(Transfer& t) const {
  const Object& dest = t.dest;
  u8** const location = dest.base_word();
  if (is_assignment_) {
    if (dest.attributes() == 0) {
      // A component that MOLD left bare is what it is in the source.
      if (*location != nullptr || (t.source.attributes() & DV_ALLOCATABLE) == 0) return 0;
      set_flags(dest.d, DV_ALLOCATABLE);
    }
    const u64 left = count_elements(dest.d);
    const u64 right = t.source.is_scalar() && !dest.is_scalar() ? left : count_elements(t.source.d);
    if (!t.must_allocate && dest.is_allocated()) {
      // Another type of the same size has its components elsewhere.
      const bool fits =
          left == right && dest.d->dv_elem_len == t.source.d->dv_elem_len && same_type(dest.block, t.source.block);
      if (fits && *location != nullptr) return 0;
      const int status = do_deallocate_all(t.dest_pair, kDeallocateLeftSide, flags_);
      if (status != 0) return status;
    }
    if (dest.d->dv_codims != 0) {
      if (t.must_allocate) dest.forget();
      return MSG_COARRAY_IN_ASSIGNMENT;
    }
  }
  int status = (flags_ & FA_COARRAY) != 0 ? coarray_ready() : 0;
  if (status == 0) status = allocate_elements(t.source.d->dv_elem_len, t.count, location, flags_);
  if (status != 0) {
    dest.forget();
    return status;
  }
  t.must_allocate = true;
  t.fresh = true;
  if ((flags_ & FA_COARRAY) != 0) coarray_attach(*location, t.source.d->dv_elem_len * t.count, flags_);
  return 0;
}

void Deep_Copy::fill_contents(Transfer& t) const {
  if (t.count == 0 && type_ == ACT_SOURCE) return;
  if (type_ == ACT_SOURCE) {
    fill_from_source(t);
  } else {
    transfer_type_info(t);
    start_private(t);
    set_flags(t.dest.d, DV_DEFINED);
  }
}

void Deep_Copy::fill_from_source(Transfer& t) const {
  const Object& source = t.source;
  // The components of a destination that was there before are its own; fresh ones begin as the bits of the source's.
  const bool by_record = is_assignment_ && !t.fresh && !t.list.range().empty();
  if (!by_record && !source.is_scalar() && is_contiguous(source.d) && t.step == source.d->dv_elem_len &&
      !t.dest_has_gaps(is_assignment_)) {
    u8* from = source.data;
    do_copy_source_to_dest(&from, t.dest.data, t.step * t.count, coarray_);
    return;
  }
  const Component_Range left_out = by_record ? t.list.range() : Component_Range{};
  Element_Walk from(source.d, source.data);
  Element_Walk to = t.dest_walk(is_assignment_);
  for (u64 i = t.count; i > 0; --i, from.next(), to.next())
    for__copy_record(from.address(), to.address(), t.step, left_out.entry, static_cast<i32>(left_out.count), coarray_);
}

int Deep_Copy::copy_components(Transfer& t, bool* more) {
  const Component_Range list = t.list.range();
  if (list.empty() || t.count == 0) return 0;
  const bool coarray_memory = t.source.has(DV_COARRAY_MEM);
  const compo_info_s* last = nullptr;
  Component_Pair last_source = {}, last_dest = {};
  Element_Walk from(t.source.d, t.source.data);
  Element_Walk to = t.dest_walk(is_assignment_);
  for (u64 left = t.count; left > 0; --left, from.next(), to.next()) {
    if (left == 1) last = chain_component(list, t.source.block->xd_type, from.address());
    for (const compo_info_s& entry : list) {
      const Component_Pair source = component_pair(entry, from.address());
      const Component_Pair dest = component_pair(entry, to.address());
      if (coarray_memory) {
        set_flags(source.x, DV_COARRAY_MEM);
        set_flags(dest.x, DV_COARRAY_MEM);
      }
      if ((dest.x->dv_flags & (DV_ALLOCATABLE | DV_LEN_DEPENDENT)) != 0) clear_flags(dest.x, DV_NO_DEALLOC);
      int status = 0;
      if (&entry == last) {
        last_source = source;
        last_dest = dest;
      } else if (entry.ci_kind == CI_DEFINED_ASSIGN) {
        status = assign_defined(entry, source, dest, t.must_allocate);
      } else {
        status = run(source, dest, t.must_allocate);
      }
      if (status == 0) continue;
      if (!t.must_allocate) return status;
      // The rest still holds the bits of the source, whose storage is not to be freed through it.
      for (const compo_info_s* rest = &entry + 1; rest != list.end(); ++rest) forget_component(*rest, to.address());
      if (last != nullptr && last < &entry) forget_component(*last, to.address());
      while (--left > 0) {
        to.next();
        for (const compo_info_s& rest : list) forget_component(rest, to.address());
      }
      return status;
    }
  }
  if (last == nullptr) return 0;
  t.source_pair = last_source;
  t.dest_pair = last_dest;
  *more = true;
  return 0;
}

/// Default values in the destination's elements. Without any, components with storage of their own are nothing.
void Deep_Copy::start_private(const Transfer& t) const {
  const xdesc_fixed_t* block = t.dest.block;
  if (t.fresh && owns_components(block) && !has_default_value(block))
    memset(t.dest.data, 0, t.source.d->dv_elem_len * t.count);
  for_default_init(t.dest.x, t.dest.p);
}

void Deep_Copy::finish_mold(Transfer& t) const {
  transfer_type_info(t);
  if (t.dest.data == nullptr) {
    // A source without a value has given no storage.
    if (!t.dest.through_word()) clear_flags(t.dest.d, DV_DEFINED);
    return;
  }
  set_flags(t.dest.d, DV_DEFINED);
  start_private(t);
  const Component_Range list = component_range(t.source.block->xd_allocatable);
  if (list.empty()) return;
  const bool defaulted = has_default_value(t.dest.block);
  Element_Walk to(t.dest.data, t.dest.d->dv_elem_len);
  for (u64 i = t.count; i > 0; --i, to.next()) {
    for (const compo_info_s& entry : list) {
      const Component_Pair pair = component_pair(entry, to.address());
      const Object component = decode_object(pair.x, pair.p);
      if (!component.through_word()) {
        component.d->dv_base = nullptr;
        component.d->dv_flags = 0;
      } else if (!defaulted) {
        forget_component(entry, to.address());
      }
    }
  }
}

/// What the destination takes over from the source's descriptor and type information.
void Deep_Copy::transfer_type_info(const Transfer& t) const {
  const For_Dope_Vector* const from = t.source.d;
  For_Dope_Vector* const to = t.dest.d;
  if (t.source.block != t.dest.block) {
    const xdesc_fixed_t kept = *t.dest.block;
    *t.dest.block = *t.source.block;
    t.dest.block->xd_word2 = kept.xd_word2;
    t.dest.block->xd_word9 = kept.xd_word9;
  }
  // A source without a value leaves nothing defined, and where an address word tells, the flag is not to.
  const u64 transferred = t.present ? kTransferredFlags : kTransferredFlags & ~u64{DV_DEFINED};
  set_flags(to, from->dv_flags & transferred);
  clear_flags(to, ~from->dv_flags & transferred);
  if (!t.present && !t.dest.through_word()) clear_flags(to, DV_DEFINED);
  if (to != from && !t.source.is_scalar()) {
    const i64 rank = static_cast<i64>(std::min(to->dv_rank, from->dv_rank));
    const bool contiguous = is_contiguous(from);
    i64 stride = static_cast<i64>(from->dv_elem_len);
    for (i64 k = 0; k < rank; ++k) {
      const i64 extent = static_cast<i64>(dimension_count(from->dv_dim[k]));
      to->dv_dim[k] = contiguous ? from->dv_dim[k] : For_Dim{extent, stride, 1};
      stride = static_cast<i64>(static_cast<u64>(stride) * static_cast<u64>(extent));
    }
  }
  if (to->dv_elem_len != from->dv_elem_len) to->dv_elem_len = from->dv_elem_len;
  if (t.took_address) clear_flags(to, DV_NO_DEALLOC);
}
