// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Objects of derived type as compiled code names them: by a pair (x, p), of which x holds the type information. How to
// find descriptor, data and components from that.
#ifndef TAMRUN_OBJECTS_OBJECT_H
#define TAMRUN_OBJECTS_OBJECT_H

#include "tamrun/descriptor.h"

struct coarray_info_t;

/// A decoded pair.
struct Object {
  For_Dope_Vector* x;
  void* p;
  For_Dope_Vector* d;    ///< the object's descriptor
  u8* data;              ///< null when there is none
  xdesc_fixed_t* block;  ///< in x

  bool has(u64 bits) const { return (x->dv_flags & bits) == bits; }
  bool is_defined() const { return (d->dv_flags & DV_DEFINED) != 0; }
  bool is_scalar() const { return static_cast<i64>(d->dv_rank) < 1; }
  /// Its address lies in the word at p.
  bool through_word() const { return has(DV_ADDRESS_WORD) && !has(DV_SEPARATE); }
  /// p is its address: a part of another object, or storage of the program.
  bool in_place() const { return through_word() && has(DV_NO_DEALLOC); }
  /// DV_ALLOCATABLE and DV_LEN_DEPENDENT, wherever they stand.
  u64 attributes() const { return (x->dv_flags | d->dv_flags) & (DV_ALLOCATABLE | DV_LEN_DEPENDENT); }
  /// The word for the address of allocated storage; null when compiled code gave none.
  u8** base_word() const { return through_word() ? static_cast<u8**>(p) : &d->dv_base; }
  bool is_allocated() const;
  /// Marks its own storage as none, whatever it was.
  void forget() const;
};

/// `mode`, if not null, is the mode word of a coarray walk, which an indirection changes.
Object decode_object(For_Dope_Vector* x, void* p, u64* mode = nullptr);

/// Sets or clears flag bits; a word that has them so is not written, as it may be shared or constant.
void set_flags(For_Dope_Vector* d, u64 bits);
void clear_flags(For_Dope_Vector* d, u64 bits);

/// A list as a range of its entries.
struct Component_Range {
  const compo_info_s* entry = nullptr;
  u32 count = 0;

  const compo_info_s* begin() const { return entry; }
  const compo_info_s* end() const { return entry + count; }
  bool empty() const { return count == 0; }
};
Component_Range component_range(const For_Component_List* list);
Component_Range defined_assignments(const For_Component_List* init_list);

/// The pair of a component in an element.
struct Component_Pair {
  For_Dope_Vector* x;
  void* p;
};
Component_Pair component_pair(const compo_info_s& entry, u8* element);
/// Bytes that a component covers in an element.
u64 component_bytes(const compo_info_s& entry, const u8* element);
/// Marks a fresh object as unallocated; of one in place, its components.
void forget_object(const Object& object);
/// The same for a component of a fresh element.
void forget_component(const compo_info_s& entry, u8* element);

/// Elements of an array, 1 for a scalar; the largest number when it overflows.
u64 count_elements(const For_Dope_Vector* d);
bool is_contiguous(const For_Dope_Vector* d);

/// The nodes are the same, or else their names.
bool same_type(const xdesc_fixed_t* a, const xdesc_fixed_t* b);

extern "C" {
compo_info_s* for__get_list_and_count(For_Component_List* list, u32* count);
/// Null, with a count of 0, when there is no such list.
compo_info_s* for__get_def_assign_list_and_count(For_Component_List* init_list, u32* count);
/// Elements of d1, or of d2 when d1 is a scalar.
u64 for__calc_num_elts(const For_Dope_Vector* d1, const For_Dope_Vector* d2);
void for__get_descr_parts(For_Dope_Vector* x, void* p, u8** data, xdesc_fixed_t** block, For_Dope_Vector** descriptor,
                          u64* raw_flags, u64* object_flags, u64* mode);
/// Copies an element but for the listed components, which are in ascending order.
void for__copy_record(u8* source, u8* destination, u64 size, const compo_info_s* list, i32 count, coarray_info_t* info);
}

/// Gives each element the default value of its type; components sized by length parameters keep what they hold.
TAMRUN_ENTRY void for_default_init(For_Dope_Vector* x, void* p);

#endif
