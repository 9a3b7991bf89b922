// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes for objects: descriptors, and the type information of derived types, so that a test
// reads like the Fortran declarations it stands for.
//
//   type :: node                                    Fortran_Type node("node");
//     integer(4) :: value                           const u64 value = node.data<i32>();
//     real(8), allocatable :: samples(:)            const u64 samples = node.allocatable(8, 1);
//     type(node), allocatable :: next               const u64 next = node.allocatable(node);
//   end type                                        node.end();
//
//   type(node), allocatable :: list(:)              Descriptor list = Descriptor(node, 1).allocatable();
#ifndef TAMRUN_TESTS_SUPPORT_DESCRIPTOR_H
#define TAMRUN_TESTS_SUPPORT_DESCRIPTOR_H

#include <string.h>

#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "tamrun/descriptor.h"

namespace tamrun_test {

class Fortran_Type;

/// A descriptor with room for its extended block, and whatever its vector subscripts point at. Moves keep its address.
class Descriptor {
 public:
  explicit Descriptor(u64 elem_len, int rank = 0, int codims = 0);
  explicit Descriptor(const Fortran_Type& type, int rank = 0, int codims = 0);

  Descriptor(const Descriptor& other);  // so that a chain of calls can initialise a variable
  Descriptor(Descriptor&&) = default;
  Descriptor& operator=(Descriptor&&) = default;

  /// Contiguous dimensions, lower bounds 1.
  Descriptor& shape(std::initializer_list<i64> extents);
  Descriptor& shape(const std::vector<i64>& extents);
  Descriptor& lower(int dim, i64 bound);
  /// Byte distance of a dimension's elements.
  Descriptor& stride(int dim, i64 bytes);
  /// Makes `dim` a vector-subscripted dimension with these subscript values.
  Descriptor& subscripts(int dim, const std::vector<i32>& values, i32 base_lower = 1);
  Descriptor& flags(u64 bits);
  Descriptor& allocatable() { return flags(DV_ALLOCATABLE); }
  /// Storage of the program's own: defined, not to be deallocated.
  Descriptor& storage(void* base);
  Descriptor& defined(void* base);

  For_Dope_Vector* get() const { return reinterpret_cast<For_Dope_Vector*>(words_.get()); }
  operator For_Dope_Vector*() const { return get(); }
  For_Dope_Vector* operator->() const { return get(); }
  u8* base() const { return get()->dv_base; }
  bool is_defined() const { return (get()->dv_flags & DV_DEFINED) != 0; }
  xdesc_fixed_t* block() const { return block_of(get()); }
  u64 bytes() const { return bytes_of(get()); }
  /// Second half of the argument pair of an object that this descriptor describes.
  void* p() const { return get()->dv_base; }

  static xdesc_fixed_t* block_of(For_Dope_Vector* d) {
    return reinterpret_cast<xdesc_fixed_t*>(&d->dv_dim[d->dv_rank + d->dv_codims]);
  }
  /// Of a full descriptor.
  static u64 bytes_of(const For_Dope_Vector* d) { return plain_bytes_of(d) + sizeof(xdesc_fixed_t); }
  static u64 plain_bytes_of(const For_Dope_Vector* d) {
    return kDopeHeadBytes + sizeof(For_Dim) * (d->dv_rank + d->dv_codims);
  }

 private:
  struct Subscripts;
  std::unique_ptr<u64[]> words_;
  std::vector<std::shared_ptr<Subscripts>> subscripts_;
};

/// What a component with defined assignment is.
struct Defined_Assignment {
  void (*routine)(void* left, void* right);
  u64 flags = 0;  ///< of For_Defassign_Flags, but DA_OWN_DESCRIPTOR, which the type adds
  int rank = 0;   ///< of an allocatable component
  u64 count = 1;  ///< of a component that is none
};

/// A derived type: each call adds a component and gives its offset. Lives as long as its objects.
class Fortran_Type {
 public:
  explicit Fortran_Type(const std::string& name, const Fortran_Type* parent = nullptr);
  Fortran_Type(const Fortran_Type&) = delete;
  Fortran_Type& operator=(const Fortran_Type&) = delete;

  template <class T>
  u64 data(T initial = T{}) {
    const u64 at = place(sizeof(T), alignof(T));
    memcpy(&image_[at], &initial, sizeof(T));
    return at;
  }
  /// Allocatable of an intrinsic type: a scalar is an address word, an array a plain descriptor.
  u64 allocatable(u64 elem_len, int rank, int codims = 0);
  /// Allocatable of a derived type, by address word or plain descriptor.
  u64 allocatable(Fortran_Type& type, int rank = 0) { return reference(0, &type, rank, 0); }
  /// The same, polymorphic: a full descriptor in the component.
  u64 polymorphic(Fortran_Type& type, int rank = 0, int codims = 0, u64 more_flags = 0);
  /// An object of a derived type, or `count` of them, within the element.
  u64 embedded(Fortran_Type& type, i64 count = 1);
  /// An array sized by a length parameter; the bounds are those of its template.
  u64 len_dependent(Fortran_Type& type, std::vector<i64> extents);
  u64 len_dependent(u64 elem_len, std::vector<i64> extents);
  /// A length parameter of 1, 2, 4 or 8 bytes.
  u64 len_parameter(int bytes, u64 value);
  /// A component with defined assignment; `own` keeps a full descriptor in it.
  u64 defined_assign(Fortran_Type& type, const Defined_Assignment& how, bool own = false);
  /// The type is complete.
  Fortran_Type& end();

  /// What a TI_DEFAULT_IMAGE record brings; without it the type has no default value.
  Fortran_Type& without_default();
  /// Its FINAL procedure, called as these flags say: DV_FINAL_ELEMENTAL, DV_FINAL_BY_DESCRIPTOR or neither. To be told
  /// before objects and components of the type are made.
  Fortran_Type& final_routine(void (*routine)(void* object), u64 flags = 0) {
    final_ = reinterpret_cast<void*>(routine);
    final_flags_ = flags;
    return *this;
  }
  u64 final_flags() const { return final_flags_; }
  /// The list for the parent component of an object of that rank.
  For_Component_List* parent_of_rank(Fortran_Type& parent, int rank);

  u64 size() const { return size_; }
  const u8* image() const { return image_.data(); }
  For_Type_Node* node() const { return const_cast<For_Type_Node*>(&node_); }
  For_Component_List* inits() const { return list(kInit); }
  void fill_block(xdesc_fixed_t* block) const;
  /// Type information for an object of this type: x of a pair, with these flags.
  For_Dope_Vector* info(u64 flags, int rank = 0);

 private:
  enum List { kAllocatable, kInit, kLenDependent, kDefined, kFinalize, kParent, kLists };
  static constexpr u64 kMaxBytes = 8192;
  static constexpr size_t kMaxEntries = 64;

  For_Component_List* list(List which) const {
    return const_cast<For_Component_List*>(reinterpret_cast<const For_Component_List*>(lists_[which].data()));
  }
  u64 place(u64 bytes, u64 alignment);
  void enter(List which, u32 kind, u64 offset, void* aux);
  u64 reference(u64 elem_len, Fortran_Type* type, int rank, int codims);
  u64 dependent(const Descriptor& pattern, std::vector<i64> extents);
  Descriptor& keep(const Descriptor& d, Fortran_Type* type);
  /// *elem_len becomes the size of this type once that is known.
  void size_into(u64* elem_len);

  std::string name_;
  For_Type_Node node_{};
  std::vector<u64> lists_[kLists];
  std::vector<u8> image_;
  std::deque<Descriptor> kept_;
  std::deque<For_Defassign_Info> assignments_;
  std::vector<u64*> waiting_;
  void* final_ = nullptr;
  u64 final_flags_ = 0;
  u64 size_ = 0;
  bool ended_ = false;
};

}  // namespace tamrun_test

#endif
