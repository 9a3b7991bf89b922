// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Deep copy and deep deallocation: the walk over an object, its allocatable components, theirs, and so on.
#ifndef TAMRUN_OBJECTS_DEEP_COPY_H
#define TAMRUN_OBJECTS_DEEP_COPY_H

#include "core/heap.h"
#include "objects/coarray_copy.h"
#include "objects/object.h"

enum alloc_copy_type_t : int {
  ACT_SOURCE = 0,   ///< values too
  ACT_MOLD = 1,     ///< shape and type; components unallocated
  ACT_PRIVATE = 2,  ///< shape, type and allocated components, default values
};

/// The components of one type that a walk treats one by one, ascending by offset.
class Merged_List {
 public:
  /// Entries of `defined` take the place of others with their offset. 0 or MSG_NO_MEMORY.
  [[nodiscard]] int merge(Component_Range allocatable, Component_Range len_dependent, Component_Range defined);
  const Component_Range& range() const { return range_; }

 private:
  Component_Range range_;
  Vm_Block<compo_info_s> block_;  // stays empty while there is only one list
};

/// One statement's walk. Results are message numbers, whatever FA_STAT says.
class Deep_Copy {
 public:
  Deep_Copy(alloc_copy_type_t type, bool is_assignment, bool honour_no_dealloc, For_Alloc_Flags flags,
            coarray_info_t* coarray)
      : type_(type),
        is_assignment_(is_assignment),
        honour_no_dealloc_(honour_no_dealloc),
        flags_(flags),
        coarray_(coarray) {}

  /// With `must_allocate` the destination owns nothing yet: where it seems to, it is a copy of the source's bits.
  [[nodiscard]] int run(Component_Pair source, Component_Pair dest, bool must_allocate);

 private:
  struct Transfer;
  /// Does one object. When a component is left to be done as the last one, it is stored in *t and *more is set: a chain
  /// of any length takes one frame.
  [[nodiscard]] int run_object(Transfer& t, bool* more);
  [[nodiscard]] int provide_storage(Transfer& t) const;
  [[nodiscard]] int allocate_storage(Transfer& t) const;
  void fill_contents(Transfer& t) const;
  void fill_from_source(Transfer& t) const;
  [[nodiscard]] int copy_components(Transfer& t, bool* more);
  void finish_mold(Transfer& t) const;
  void transfer_type_info(const Transfer& t) const;
  void start_private(const Transfer& t) const;
  [[nodiscard]] int assign_defined(const compo_info_s& entry, Component_Pair source, Component_Pair dest,
                                   bool must_allocate) const;
  u64* source_mode() const { return coarray_ != nullptr ? &coarray_->cai_source_mode : nullptr; }
  u64* dest_mode() const { return coarray_ != nullptr ? &coarray_->cai_dest_mode : nullptr; }

  const alloc_copy_type_t type_;
  const bool is_assignment_;
  const bool honour_no_dealloc_;
  const For_Alloc_Flags flags_;
  coarray_info_t* const coarray_;
};

/// How far a deep deallocation goes.
struct Dealloc_Scope {
  bool top;         ///< the object of the statement: freed also when it is not allocatable
  bool len_free;    ///< storage sized by length parameters goes too
  bool assignment;  ///< left side of an assignment: freed only when it is allocatable
};
inline constexpr Dealloc_Scope kDeallocateAll = {true, true, false};
inline constexpr Dealloc_Scope kDeallocateLeftSide = {false, true, true};

/// Frees the components of an object, then its own storage. 0 for an object that is not defined.
[[nodiscard]] int do_deallocate_all(Component_Pair object, Dealloc_Scope scope, For_Alloc_Flags flags);

/// The component of the last element to be done last, so that chains need no recursion: the last allocated one of the
/// element's own type, or else the last one that owns components itself. Null when there is none.
const compo_info_s* chain_component(Component_Range list, const For_Type_Node* type, u8* element);

TAMRUN_ENTRY int for_alloc_copy(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                For_Alloc_Flags flags);
TAMRUN_ENTRY int for_alloc_copy_coarray(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                        For_Alloc_Flags flags, coarray_info_t* info);
TAMRUN_ENTRY int for_alloc_mold(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                For_Alloc_Flags flags);
TAMRUN_ENTRY int for_alloc_private(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                   For_Alloc_Flags flags);
TAMRUN_ENTRY int for_alloc_assign(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                  For_Alloc_Flags flags);
/// A left side with DV_NO_DEALLOC keeps its storage also without DV_ADDRESS_WORD.
TAMRUN_ENTRY int for_alloc_assign_v2(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                     For_Alloc_Flags flags);
TAMRUN_ENTRY int for_alloc_assign_coarray(For_Dope_Vector* src_x, void* src_p, For_Dope_Vector* dst_x, void* dst_p,
                                          For_Alloc_Flags flags, coarray_info_t* info);
TAMRUN_ENTRY int for_deallocate_all(For_Dope_Vector* x, void* p, For_Alloc_Flags flags);
/// Without the checks.
TAMRUN_ENTRY int for_dealloc_all_nocheck(For_Dope_Vector* x, void* p, For_Alloc_Flags flags);
/// Without the checks, leaving length-dependent storage in place.
TAMRUN_ENTRY int for_dealloc_all_nopdtlen(For_Dope_Vector* x, void* p, For_Alloc_Flags flags);

#endif
