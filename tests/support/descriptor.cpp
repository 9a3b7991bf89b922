// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes for objects.

#include "support/descriptor.h"

#include <stdlib.h>

#include <algorithm>

namespace tamrun_test {

struct Descriptor::Subscripts {
  std::vector<i32> values;
  u64 pair[2];
  struct {
    u64 unread;
    i64 lower;
    u64* pair;
  } record;
};

Descriptor::Descriptor(u64 elem_len, int rank, int codims)
    : words_(new u64[(kDopeHeadBytes + sizeof(For_Dim) * (rank + codims) + sizeof(xdesc_fixed_t)) / sizeof(u64)]()) {
  get()->dv_elem_len = elem_len;
  get()->dv_rank = rank;
  get()->dv_codims = codims;
  for (int i = 0; i < codims; ++i) get()->dv_dim[rank + i] = {1, static_cast<i64>(elem_len), 1};
}

Descriptor::Descriptor(const Descriptor& other)
    : words_(new u64[other.bytes() / sizeof(u64)]), subscripts_(other.subscripts_) {
  memcpy(words_.get(), other.words_.get(), other.bytes());
}

Descriptor::Descriptor(const Fortran_Type& type, int rank, int codims) : Descriptor(type.size(), rank, codims) {
  type.fill_block(block());
  flags(type.final_flags());
}

Descriptor& Descriptor::shape(std::initializer_list<i64> extents) { return shape(std::vector<i64>(extents)); }

Descriptor& Descriptor::shape(const std::vector<i64>& extents) {
  i64 stride = static_cast<i64>(get()->dv_elem_len);
  for (size_t i = 0; i < extents.size(); ++i) {
    get()->dv_dim[i] = {extents[i], stride, 1};
    stride = static_cast<i64>(static_cast<u64>(stride) * static_cast<u64>(extents[i]));
  }
  return *this;
}

Descriptor& Descriptor::lower(int dim, i64 bound) {
  get()->dv_dim[dim].dim_lower = bound;
  return *this;
}

Descriptor& Descriptor::stride(int dim, i64 bytes) {
  get()->dv_dim[dim].dim_stride = bytes;
  return *this;
}

Descriptor& Descriptor::subscripts(int dim, const std::vector<i32>& values, i32 base_lower) {
  auto kept = std::make_shared<Subscripts>();
  kept->values = values;
  kept->pair[0] = reinterpret_cast<u64>(kept->values.data());
  kept->pair[1] = sizeof(i32);
  kept->record = {0, base_lower, kept->pair};
  get()->dv_dim[dim].dim_extent = -static_cast<i64>(values.size());
  get()->dv_dim[dim].dim_lower = static_cast<i64>(reinterpret_cast<u64>(&kept->record));
  subscripts_.push_back(kept);
  return *this;
}

Descriptor& Descriptor::flags(u64 bits) {
  get()->dv_flags |= bits;
  return *this;
}

Descriptor& Descriptor::defined(void* base) {
  get()->dv_base = static_cast<u8*>(base);
  return flags(DV_DEFINED);
}

Descriptor& Descriptor::storage(void* base) { return defined(base).flags(DV_NO_DEALLOC); }

Fortran_Type::Fortran_Type(const std::string& name, const Fortran_Type* parent) : name_(name), image_(kMaxBytes) {
  for (auto& words : lists_) words.resize(1 + kMaxEntries * sizeof(compo_info_s) / sizeof(u64));
  node_.tn_name = name_.c_str();
  enter(kInit, TI_DEFAULT_IMAGE, reinterpret_cast<u64>(image_.data()), nullptr);
  if (parent == nullptr) return;
  node_.tn_parent = parent->node();
  image_ = parent->image_;
  list(kInit)->cl_entry[0].ci_offset = reinterpret_cast<u64>(image_.data());
  for (List which : {kAllocatable, kLenDependent, kDefined}) {
    for (u32 i = 0; i < parent->list(which)->cl_count; ++i) {
      const compo_info_s& entry = parent->list(which)->cl_entry[i];
      enter(which, entry.ci_kind, entry.ci_offset, entry.ci_aux);
    }
  }
  size_ = parent->size_;
}

u64 Fortran_Type::place(u64 bytes, u64 alignment) {
  const u64 at = (size_ + alignment - 1) / alignment * alignment;
  size_ = at + bytes;
  if (size_ > kMaxBytes) abort();
  return at;
}

void Fortran_Type::enter(List which, u32 kind, u64 offset, void* aux) {
  For_Component_List* entries = list(which);
  if (entries->cl_count == kMaxEntries) abort();
  entries->cl_entry[entries->cl_count++] = {kind, 0, offset, aux};
  if (which == kDefined && entries->cl_count == 1)
    enter(kInit, TI_DEFINED_ASSIGN_LIST, reinterpret_cast<u64>(entries), nullptr);
}

void Fortran_Type::size_into(u64* elem_len) {
  *elem_len = size_;
  if (!ended_) waiting_.push_back(elem_len);
}

Descriptor& Fortran_Type::keep(const Descriptor& d, Fortran_Type* type) {
  Descriptor& kept = kept_.emplace_back(d);
  if (type != nullptr) {
    type->fill_block(kept.block());
    kept.flags(type->final_flags());
    type->size_into(&kept->dv_elem_len);
  }
  return kept;
}

For_Dope_Vector* Fortran_Type::info(u64 flags, int rank) {
  return keep(Descriptor(size_, rank).flags(flags), this).get();
}

u64 Fortran_Type::allocatable(u64 elem_len, int rank, int codims) { return reference(elem_len, nullptr, rank, codims); }

u64 Fortran_Type::reference(u64 elem_len, Fortran_Type* type, int rank, int codims) {
  const bool word = rank == 0 && codims == 0;
  Descriptor& x = keep(Descriptor(elem_len, rank, codims), type);
  x.flags(DV_ALLOCATABLE | DV_ADDRESS_WORD | (word ? DV_DEFINED : DV_SEPARATE));
  const u64 at = place(word ? sizeof(u64) : Descriptor::plain_bytes_of(x), sizeof(u64));
  if (!word) {
    auto* in_element = reinterpret_cast<For_Dope_Vector*>(&image_[at]);
    memcpy(in_element, x.get(), Descriptor::plain_bytes_of(x));
    in_element->dv_flags = DV_ALLOCATABLE;
    if (type != nullptr) type->size_into(&in_element->dv_elem_len);
  }
  enter(kAllocatable, CI_REFERENCE, at, x);
  if (type != nullptr) enter(kFinalize, CI_REFERENCE, at, x);
  return at;
}

u64 Fortran_Type::polymorphic(Fortran_Type& type, int rank, int codims, u64 more_flags) {
  const Descriptor pattern = Descriptor(type, rank, codims).allocatable().flags(more_flags);
  const u64 at = place(pattern.bytes(), sizeof(u64));
  memcpy(&image_[at], pattern.get(), pattern.bytes());
  type.size_into(&reinterpret_cast<For_Dope_Vector*>(&image_[at])->dv_elem_len);
  enter(kAllocatable, CI_EMBEDDED, at, nullptr);
  enter(kFinalize, CI_EMBEDDED, at, nullptr);
  return at;
}

u64 Fortran_Type::embedded(Fortran_Type& type, i64 count) {
  Descriptor& x = keep(Descriptor(type, count == 1 ? 0 : 1), &type);
  if (count != 1) x.shape({count});
  x.flags(DV_DEFINED | DV_NO_DEALLOC | DV_ADDRESS_WORD | DV_CONTIGUOUS);
  const u64 at = place(type.size() * count, sizeof(u64));
  for (i64 i = 0; i < count; ++i) memcpy(&image_[at + i * type.size()], type.image(), type.size());
  enter(kAllocatable, CI_INLINE, at, x);
  enter(kFinalize, CI_INLINE, at, x);
  return at;
}

For_Component_List* Fortran_Type::parent_of_rank(Fortran_Type& parent, int rank) {
  list(kParent)->cl_count = 0;
  enter(kParent, CI_INLINE, 0, parent.info(DV_DEFINED | DV_NO_DEALLOC | DV_ADDRESS_WORD, rank));
  return list(kParent);
}

u64 Fortran_Type::dependent(const Descriptor& pattern, std::vector<i64> extents) {
  Descriptor& x = keep(pattern, nullptr);
  x.shape(extents).flags(DV_LEN_DEPENDENT);
  const u64 at = place(x.bytes(), sizeof(u64));
  memcpy(&image_[at], x.get(), x.bytes());
  enter(kLenDependent, CI_EMBEDDED_ALT, at, x);
  return at;
}

u64 Fortran_Type::len_dependent(Fortran_Type& type, std::vector<i64> extents) {
  return dependent(Descriptor(type, static_cast<int>(extents.size())), extents);
}

u64 Fortran_Type::len_dependent(u64 elem_len, std::vector<i64> extents) {
  return dependent(Descriptor(elem_len, static_cast<int>(extents.size())), extents);
}

u64 Fortran_Type::len_parameter(int bytes, u64 value) {
  const u64 at = place(bytes, bytes);
  const u32 kind = bytes == 1   ? TI_LEN_PARAM_1
                   : bytes == 2 ? TI_LEN_PARAM_2
                   : bytes == 4 ? TI_LEN_PARAM_4
                                : TI_LEN_PARAM_8;
  enter(kInit, kind, at, reinterpret_cast<void*>(value));
  return at;
}

u64 Fortran_Type::defined_assign(Fortran_Type& type, const Defined_Assignment& how, bool own) {
  const bool is_allocatable = (how.flags & DA_ALLOCATABLE) != 0;
  const bool plain = is_allocatable && !own;
  For_Defassign_Info& info = assignments_.emplace_back();
  info.da_flags = how.flags | (own ? DA_OWN_DESCRIPTOR : 0);
  info.da_count = how.count;
  info.da_routine = how.routine;
  type.size_into(&info.da_elem_len);
  for (For_Dope_Vector** pattern : {&info.da_lhs_template, &info.da_rhs_template})
    *pattern = keep(Descriptor(type, 0).flags(DV_DEFINED | DV_ADDRESS_WORD), &type);
  u64 at;
  if (own || (plain && how.rank > 0)) {
    Descriptor& x = keep(Descriptor(type, how.rank), &type);
    x.flags(DV_ALLOCATABLE);
    const u64 bytes = own ? x.bytes() : Descriptor::plain_bytes_of(x);
    at = place(bytes, sizeof(u64));
    memcpy(&image_[at], x.get(), bytes);
    x.flags(DV_SEPARATE | DV_ADDRESS_WORD);
    info.da_type = x;
  } else if (plain) {
    info.da_type = keep(Descriptor(type), &type).flags(DV_DEFINED | DV_ALLOCATABLE | DV_ADDRESS_WORD);
    at = place(sizeof(u64), sizeof(u64));
  } else {
    const bool one = (how.flags & DA_SCALAR) != 0 || how.count == 1;
    Descriptor& x = keep(Descriptor(type, one ? 0 : 1), &type);
    if (!one) x.shape({static_cast<i64>(how.count)});
    info.da_type = x.flags(DV_DEFINED | DV_NO_DEALLOC | DV_ADDRESS_WORD | DV_CONTIGUOUS);
    at = place(type.size() * how.count, sizeof(u64));
    for (u64 i = 0; i < how.count; ++i) memcpy(&image_[at + i * type.size()], type.image(), type.size());
    // Its own allocatable components are copied and freed with those of this type.
    enter(kAllocatable, CI_INLINE, at, x);
  }
  if (own) enter(kAllocatable, CI_EMBEDDED, at, nullptr);
  if (plain) enter(kAllocatable, CI_REFERENCE, at, info.da_type);
  enter(kDefined, CI_DEFINED_ASSIGN, at, &info);
  return at;
}

Fortran_Type& Fortran_Type::end() {
  size_ = (size_ + sizeof(u64) - 1) / sizeof(u64) * sizeof(u64);
  ended_ = true;
  for (u64* elem_len : waiting_) *elem_len = size_;
  waiting_.clear();
  return *this;
}

Fortran_Type& Fortran_Type::without_default() {
  For_Component_List* entries = list(kInit);
  std::copy(entries->cl_entry + 1, entries->cl_entry + entries->cl_count, entries->cl_entry);
  --entries->cl_count;
  return *this;
}

void Fortran_Type::fill_block(xdesc_fixed_t* block) const {
  block->xd_type = node();
  block->xd_allocatable = list(kAllocatable);
  block->xd_init = list(kInit);
  block->xd_len_dependent = list(kLenDependent);
  block->xd_final = final_;
  block->xd_finalize = list(kFinalize);
}

}  // namespace tamrun_test
