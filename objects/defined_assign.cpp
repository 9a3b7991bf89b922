// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Deep copy: a component whose type has a procedure for assignment.

#include <string.h>

#include "objects/allocate.h"
#include "objects/deep_copy.h"

namespace {

/// A descriptor of one element: the fixed head, then the type information.
struct Scalar_Descriptor {
  u8 head[kDopeHeadBytes];
  xdesc_fixed_t block;

  For_Dope_Vector* get() { return reinterpret_cast<For_Dope_Vector*>(head); }
};

/// One side of the assignment, as its procedure takes it.
class Argument {
 public:
  /// `pattern` null: by address. `own`: the component holds a full descriptor. `elements`: one call for each.
  Argument(const Object& object, u8* address, bool by_descriptor, bool own, For_Dope_Vector* pattern, bool elements) {
    if (!by_descriptor) {
      address_ = own ? object.d->dv_base : address;
      return;
    }
    d_ = own ? object.d : pattern;
    if (own && elements) {
      memcpy(scratch_.head, d_, sizeof scratch_.head);
      scratch_.block = *object.block;
      d_ = scratch_.get();
      d_->dv_rank = 0;
      d_->dv_codims = 0;
    } else if (!own) {
      d_->dv_base = address;
      clear_flags(d_, DV_ADDRESS_WORD);
    }
  }
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;

  void* get() const { return d_ != nullptr ? static_cast<void*>(d_) : address_; }
  void step(u64 bytes) {
    if (d_ != nullptr) {
      d_->dv_base += bytes;
    } else {
      address_ += bytes;
    }
  }

 private:
  For_Dope_Vector* d_ = nullptr;
  u8* address_ = nullptr;
  Scalar_Descriptor scratch_;
};

/// Calls the procedure over the component or its elements. Both sides exist.
void call_assignment(const For_Defassign_Info& info, const Object& left, const Object& right) {
  const auto has = [&](u64 flag) { return (info.da_flags & flag) != 0; };
  const bool own = has(DA_OWN_DESCRIPTOR);
  const bool by_element = has(DA_ELEMENTAL) && !has(DA_SCALAR);
  u64 count = info.da_count;
  if (has(DA_ALLOCATABLE)) count = has(DA_SCALAR) ? 1 : count_elements(right.d);
  u8* left_address = static_cast<u8*>(left.p);
  u8* right_address = static_cast<u8*>(right.p);
  if (has(DA_ALLOCATABLE) && !own) {
    right_address = *reinterpret_cast<u8**>(right_address);
    if (!has(DA_LHS_DIRECT)) left_address = *reinterpret_cast<u8**>(left_address);
  }
  Argument to(left, left_address, has(DA_LHS_DESCRIPTOR), own, info.da_lhs_template, by_element);
  Argument from(right, right_address, has(DA_RHS_DESCRIPTOR), own, info.da_rhs_template, by_element);
  if (!by_element) {
    info.da_routine(to.get(), from.get());
    return;
  }
  for (; count > 0; --count) {
    info.da_routine(to.get(), from.get());
    to.step(info.da_elem_len);
    from.step(info.da_elem_len);
  }
}

}  // namespace

int Deep_Copy::assign_defined(const compo_info_s& entry, Component_Pair source, Component_Pair dest,
                              bool must_allocate) const {
  const auto& info = *static_cast<const For_Defassign_Info*>(entry.ci_aux);
  const Object right = decode_object(source.x, source.p, source_mode());
  const Object left = decode_object(dest.x, dest.p, dest_mode());
  bool make_left = must_allocate || (info.da_flags & DA_ALWAYS_MOLD) != 0;
  const bool left_allocated = !must_allocate && left.is_allocated();
  if ((info.da_flags & DA_ALLOCATABLE) != 0) {
    if (!right.is_allocated()) return left_allocated ? do_deallocate_all(dest, kDeallocateLeftSide, flags_) : 0;
    // A left side of another shape or type has no room for the right one.
    make_left |= !left_allocated || count_elements(left.d) != count_elements(right.d) ||
                 left.d->dv_elem_len != right.d->dv_elem_len || !same_type(left.block, right.block);
  }
  if (make_left) {
    if (left_allocated) {
      const int status = do_deallocate_all(dest, kDeallocateLeftSide, flags_);
      if (status != 0) return status;
    }
    Deep_Copy mold(ACT_MOLD, is_assignment_, honour_no_dealloc_, flags_, nullptr);
    const int status = mold.run(source, dest, true);
    if (status != 0) return status;
  }
  call_assignment(info, left, right);
  return 0;
}
