// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random types and random values, copied, assigned, moulded, made private, cut short by a failing allocation and
// deallocated, held against a model of plain C++ values.

#include <gtest/gtest.h>
#include <string.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

#include "objects/allocate.h"
#include "objects/deep_copy.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"
#include "support/soak.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::Fortran_Type;
using tamrun_test::vm_live_blocks;

std::mt19937_64 random_bits(20240917);
u64 below(u64 n) { return random_bits() % n; }

struct Type;

enum Kind { kData, kIntrinsic, kDerived, kPolymorphic, kEmbedded, kAssigned, kAssignedOwn, kKinds };

struct Field {
  Kind kind;
  u64 offset;
  int rank;
  i64 count;         ///< elements of kEmbedded and kAssigned
  u64 elem_len;      ///< of kIntrinsic
  i64 initial;       ///< of kData
  const Type* type;  ///< null for kData and kIntrinsic
};

struct Type {
  Type(const std::string& name, const Type* parent)
      : fortran(name, parent != nullptr ? &parent->fortran : nullptr),
        fields(parent != nullptr ? parent->fields : std::vector<Field>()) {}
  Fortran_Type fortran;
  std::vector<Field> fields;
  const Type* child = nullptr;  ///< a type that extends this one
};

struct Element;
/// An allocatable, or an array within an element.
struct Value {
  bool allocated = false;
  const Type* type = nullptr;
  std::vector<i64> extents;
  std::vector<Element> elements;
  std::vector<u8> bytes;  ///< in place of elements, of an intrinsic type
  bool operator==(const Value&) const = default;
};
struct Element {
  std::vector<i64> data;  ///< by field
  std::vector<Value> values;
  bool operator==(const Element&) const = default;
};

/// Procedure of defined assignment: leaves a trace in what it copies.
void assign_and_add_one(void* left, void* right) { *static_cast<i64*>(left) = *static_cast<i64*>(right) + 1; }

constexpr u64 kMaxEmbedded = 300;

class Type_Pool {
 public:
  Type_Pool() : leaf_(types_.emplace_back("leaf", nullptr)) {
    add(leaf_, kData, nullptr);
    leaf_.fortran.end();
    for (int i = 0; i < 4; ++i) make("type" + std::to_string(i), nullptr);
  }
  const Type& any() const { return types_[1 + below(types_.size() - 1)]; }

 private:
  void make(const std::string& name, Type* parent) {
    Type& type = types_.emplace_back(name, parent);
    for (u64 n = 1 + below(4); n > 0; --n) {
      // Types made before this one, so that they nest; allocatable components may also be of this type.
      const bool self = below(4) == 0;
      Type* other = self ? &type : &types_[below(types_.size() - 1)];
      Kind kind = static_cast<Kind>(below(kKinds));
      if (kind == kEmbedded && (self || other->fortran.size() > kMaxEmbedded)) kind = kDerived;
      if (kind == kPolymorphic && self) kind = kDerived;
      if (kind >= kAssigned) other = &leaf_;
      add(type, kind, other);
    }
    type.fortran.end();
    if (parent == nullptr && below(2) == 0) {
      make(name + "_child", &type);
      type.child = &types_.back();
    }
  }

  void add(Type& type, Kind kind, Type* other) {
    Field f = {kind, 0, static_cast<int>(below(3)), 1, 0, 0, other};
    Fortran_Type& fortran = type.fortran;
    switch (kind) {
      case kData:
        f.initial = static_cast<i64>(random_bits());
        f.offset = fortran.data<i64>(f.initial);
        f.type = nullptr;
        break;
      case kIntrinsic:
        f.elem_len = u64{1} << below(5);
        f.offset = fortran.allocatable(f.elem_len, f.rank);
        f.type = nullptr;
        break;
      case kDerived:
        f.offset = fortran.allocatable(other->fortran, f.rank);
        break;
      case kPolymorphic:
        f.offset = fortran.polymorphic(other->fortran, f.rank);
        break;
      case kEmbedded:
        f.count = static_cast<i64>(1 + below(3));
        f.offset = fortran.embedded(other->fortran, f.count);
        break;
      case kAssigned:
        f.count = static_cast<i64>(1 + below(3));
        f.offset =
            fortran.defined_assign(other->fortran, {assign_and_add_one, DA_ELEMENTAL, 0, static_cast<u64>(f.count)});
        break;
      default:
        f.rank = 1;
        f.offset = fortran.defined_assign(
            other->fortran,
            {assign_and_add_one, u64{DA_ALLOCATABLE} | DA_ELEMENTAL | (below(3) == 0 ? u64{DA_ALWAYS_MOLD} : 0), 1},
            true);
    }
    type.fields.push_back(f);
  }

  std::deque<Type> types_;
  Type& leaf_;
};

bool is_inline(const Field& f) { return f.kind == kEmbedded || f.kind == kAssigned; }

u64 product(const std::vector<i64>& extents) {
  u64 n = 1;
  for (i64 extent : extents) n *= extent;
  return n;
}

// Random values.

Element random_element(const Type& type, int depth);

Value random_value(const Type* type, u64 elem_len, int rank, int depth) {
  Value v;
  v.allocated = depth > 0 && below(depth > 2 ? 6 : 2) != 0;
  if (!v.allocated) return v;
  v.type = type;
  for (int k = 0; k < rank; ++k) v.extents.push_back(static_cast<i64>(below(rank == 1 ? 4 : 3)));
  const u64 count = product(v.extents);
  if (type == nullptr) {
    for (u64 i = 0; i < count * elem_len; ++i) v.bytes.push_back(static_cast<u8>(random_bits()));
  } else {
    for (u64 i = 0; i < count; ++i) v.elements.push_back(random_element(*type, depth - 1));
  }
  return v;
}

Value inline_value(const Field& f, const auto& make) {
  Value v = {true, f.type, {f.count}, {}, {}};
  for (i64 i = 0; i < f.count; ++i) v.elements.push_back(make());
  return v;
}

Element random_element(const Type& type, int depth) {
  Element e;
  for (const Field& f : type.fields) {
    e.data.push_back(f.kind == kData ? static_cast<i64>(random_bits()) : 0);
    if (is_inline(f)) {
      e.values.push_back(inline_value(f, [&] { return random_element(*f.type, depth); }));
    } else if (f.kind == kData) {
      e.values.emplace_back();
    } else {
      const Type* dynamic =
          f.kind == kPolymorphic && f.type->child != nullptr && below(2) == 0 ? f.type->child : f.type;
      e.values.push_back(random_value(dynamic, f.elem_len, f.rank, depth));
    }
  }
  return e;
}

// What the operations make of a value.

Element default_element(const Type& type) {
  Element e;
  for (const Field& f : type.fields) {
    e.data.push_back(f.kind == kData ? f.initial : 0);
    e.values.push_back(is_inline(f) ? inline_value(f, [&] { return default_element(*f.type); }) : Value());
  }
  return e;
}

Value moulded(const Value& v) {
  Value out = v;
  for (Element& e : out.elements) e = default_element(*v.type);
  return out;
}

/// Shapes stay, values are defaults; the bytes of intrinsic arrays are anything.
Value made_private(const Value& v) {
  Value out = v;
  out.bytes.clear();
  for (Element& e : out.elements) {
    const Element initial = default_element(*v.type);
    e.data = initial.data;
    for (Value& inner : e.values) inner = made_private(inner);
  }
  return out;
}

void assigned_in_place(Value& v) {
  for (Element& e : v.elements) {
    for (size_t k = 0; k < e.values.size(); ++k) {
      assigned_in_place(e.values[k]);
      if (v.type->fields[k].kind < kAssigned) continue;
      for (Element& inner : e.values[k].elements) ++inner.data[0];
    }
  }
}
Value assigned(Value v) {
  assigned_in_place(v);
  return v;
}

// Between model and storage.

/// Where an allocatable keeps its address; d is null for an address word.
struct Slot {
  u8** base;
  For_Dope_Vector* d;
  bool full;  ///< d has an extended block
  bool is_allocated() const { return d != nullptr ? (d->dv_flags & DV_DEFINED) != 0 : *base != nullptr; }
};

Slot slot_of(const Field& f, u8* element) {
  const bool full = f.kind == kPolymorphic || f.kind == kAssignedOwn;
  u8* at = element + f.offset;
  if (!full && f.rank == 0) return {reinterpret_cast<u8**>(at), nullptr, false};
  auto* d = reinterpret_cast<For_Dope_Vector*>(at);
  return {&d->dv_base, d, full};
}

void store_elements(const Value& v, u8* base);

void store(const Value& v, u64 elem_len, const Slot& slot) {
  if (!v.allocated) return;
  if (v.type != nullptr) elem_len = v.type->fortran.size();
  void* block = nullptr;
  ASSERT_EQ(for_allocate(product(v.extents) * elem_len, &block, FA_STAT), 0);
  *slot.base = static_cast<u8*>(block);
  if (slot.d != nullptr) {
    slot.d->dv_flags |= DV_DEFINED | DV_CONTIGUOUS;
    slot.d->dv_elem_len = elem_len;
    i64 stride = static_cast<i64>(elem_len);
    for (size_t k = 0; k < v.extents.size(); ++k) {
      slot.d->dv_dim[k] = {v.extents[k], stride, 1};
      stride *= v.extents[k];
    }
    if (slot.full) v.type->fortran.fill_block(Descriptor::block_of(slot.d));
  }
  store_elements(v, *slot.base);
}

void store_elements(const Value& v, u8* base) {
  if (v.type == nullptr) {
    if (!v.bytes.empty()) memcpy(base, v.bytes.data(), v.bytes.size());
    return;
  }
  for (size_t i = 0; i < v.elements.size(); ++i, base += v.type->fortran.size()) {
    memcpy(base, v.type->fortran.image(), v.type->fortran.size());
    for (size_t k = 0; k < v.type->fields.size(); ++k) {
      const Field& f = v.type->fields[k];
      if (f.kind == kData) {
        memcpy(base + f.offset, &v.elements[i].data[k], sizeof(i64));
      } else if (is_inline(f)) {
        store_elements(v.elements[i].values[k], base + f.offset);
      } else {
        store(v.elements[i].values[k], f.elem_len, slot_of(f, base));
      }
    }
  }
}

/// Types by name: what an extended block says of its object.
const Type* dynamic_type(const Type* declared, const Slot& slot) {
  if (!slot.full) return declared;
  const For_Type_Node* node = Descriptor::block_of(slot.d)->xd_type;
  return declared->child != nullptr && node == declared->child->fortran.node() ? declared->child : declared;
}

Element load_element(const Type& type, u8* at, bool with_bytes);

Value load(const Type* declared, u64 elem_len, int rank, const Slot& slot, bool with_bytes) {
  Value v;
  v.allocated = slot.is_allocated();
  if (!v.allocated) return v;
  v.type = declared != nullptr ? dynamic_type(declared, slot) : nullptr;
  if (v.type != nullptr) elem_len = v.type->fortran.size();
  i64 stride = static_cast<i64>(elem_len);
  for (int k = 0; k < rank; ++k) {
    EXPECT_EQ(slot.d->dv_dim[k].dim_stride, stride);
    v.extents.push_back(slot.d->dv_dim[k].dim_extent);
    stride *= slot.d->dv_dim[k].dim_extent;
  }
  if (slot.d != nullptr) {
    EXPECT_EQ(slot.d->dv_elem_len, elem_len);
  }
  const u64 count = product(v.extents);
  u8* at = *slot.base;
  if (v.type == nullptr && with_bytes) v.bytes.assign(at, at + count * elem_len);
  for (u64 i = 0; v.type != nullptr && i < count; ++i)
    v.elements.push_back(load_element(*v.type, at + i * elem_len, with_bytes));
  return v;
}

Element load_element(const Type& type, u8* at, bool with_bytes) {
  Element e;
  for (const Field& f : type.fields) {
    i64 data = 0;
    if (f.kind == kData) memcpy(&data, at + f.offset, sizeof data);
    e.data.push_back(data);
    if (f.kind == kData) {
      e.values.emplace_back();
    } else if (is_inline(f)) {
      u8* part = at + f.offset;
      e.values.push_back(inline_value(f, [&] {
        Element inner = load_element(*f.type, part, with_bytes);
        part += f.type->fortran.size();
        return inner;
      }));
    } else {
      e.values.push_back(load(f.type, f.elem_len, f.rank, slot_of(f, at), with_bytes));
    }
  }
  return e;
}

/// A variable: by full descriptor, by address word, or by a plain descriptor with its type apart.
class Variable {
 public:
  enum Form { kFull, kWord, kSeparate };
  Variable(const Type& type, Form form, int rank)
      : type_(type), form_(form), rank_(rank), d_(type.fortran, rank), info_(type.fortran, rank) {
    d_.allocatable();
    info_.flags(DV_ALLOCATABLE | DV_ADDRESS_WORD | (form == kWord ? DV_DEFINED : DV_SEPARATE));
  }
  For_Dope_Vector* x() { return form_ == kFull ? d_ : info_; }
  void* p() { return form_ == kFull ? d_.p() : form_ == kWord ? static_cast<void*>(&word_) : d_.get(); }
  Slot slot() { return form_ == kWord ? Slot{&word_, nullptr, false} : Slot{&d_->dv_base, d_, form_ == kFull}; }
  void set(const Value& v) { store(v, 0, slot()); }
  Value get(bool with_bytes = true) { return load(&type_, 0, rank_, slot(), with_bytes); }
  void free() {
    const int status = slot().is_allocated() ? for_deallocate_all(x(), p(), FA_STAT) : 0;
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(slot().is_allocated());
  }
  Descriptor& descriptor() { return d_; }

 private:
  const Type& type_;
  Form form_;
  int rank_;
  Descriptor d_;
  Descriptor info_;
  u8* word_ = nullptr;
};

/// A section of a rank 1 array as a source, and the value that it has.
Descriptor random_section(const Type& type, Variable& array, Value& value) {
  const i64 n = value.extents[0], size = static_cast<i64>(type.fortran.size());
  Descriptor section(type.fortran, 1);
  std::vector<i32> picked;
  if (below(2) == 0) {
    for (u64 k = 1 + below(5); k > 0; --k) picked.push_back(static_cast<i32>(1 + below(n)));
    section.shape({1}).subscripts(0, picked);
    section.defined(array.descriptor().base());
  } else {
    const i64 step = static_cast<i64>(1 + below(2)) * (below(2) == 0 ? 1 : -1);
    const i64 first = step > 0 ? 1 : n;
    for (i64 i = first; i >= 1 && i <= n; i += step) picked.push_back(static_cast<i32>(i));
    section.shape({static_cast<i64>(picked.size())}).stride(0, step * size);
    section.defined(array.descriptor().base() + (first - 1) * size);
  }
  Value out = {true, value.type, {static_cast<i64>(picked.size())}, {}, {}};
  for (i32 i : picked) out.elements.push_back(value.elements[i - 1]);
  value = out;
  return section;
}

constexpr long kNever = 1000000;

/// One operation on new values. `fail_at` counts its allocations up to the one that fails. True when one failed.
bool one_round(const Type& type, long fail_at = kNever) {
  const long blocks = vm_live_blocks();
  const int rank = static_cast<int>(below(3));
  const auto form = [&] { return static_cast<Variable::Form>(rank == 0 ? below(3) : below(2) * 2); };
  Variable source(type, form(), rank), dest(type, form(), rank);
  Value value = random_value(&type, 0, rank, 4);
  source.set(value);
  const Value whole = value;
  For_Dope_Vector* x = source.x();
  void* p = source.p();
  Descriptor section(type.fortran);
  if (rank == 1 && value.allocated && value.extents[0] > 0 && below(3) == 0) {
    section = random_section(type, source, value);
    x = section;
    p = section.p();
  }
  const u64 operation = below(4);
  if (operation == 3) dest.set(random_value(&type, 0, rank, 3));
  SCOPED_TRACE("operation " + std::to_string(operation) + (value.allocated ? "" : ", nothing to copy"));
  const auto run = [&](u64 which) {
    if (which == 0) return for_alloc_copy(x, p, dest.x(), dest.p(), FA_STAT);
    if (which == 1) return for_alloc_mold(x, p, dest.x(), dest.p(), FA_STAT);
    if (which == 2) return for_alloc_private(x, p, dest.x(), dest.p(), FA_STAT);
    return (below(2) == 0 ? for_alloc_assign : for_alloc_assign_v2)(x, p, dest.x(), dest.p(), FA_STAT);
  };
  bool failed = false;
  {
    Fail_Vm fail(fail_at);
    const int status = run(operation);
    failed = fail.hit();
    if (failed) {
      EXPECT_EQ(status, MSG_NO_MEMORY);
    } else if (status != 0) {
      EXPECT_TRUE(operation == 0 && !value.allocated) << status;
    }
  }
  EXPECT_TRUE(source.get() == whole);
  if (!failed && (value.allocated || operation == 3)) {
    const Value expected = operation == 0   ? value
                           : operation == 1 ? moulded(value)
                           : operation == 2 ? made_private(value)
                                            : assigned(value);
    EXPECT_TRUE(dest.get(operation != 2) == expected);
    if (operation == 1 && below(2) == 0) {
      EXPECT_EQ(run(3), 0);
      EXPECT_TRUE(dest.get() == assigned(value));
    }
  }
  dest.free();
  EXPECT_TRUE(source.get() == whole);
  source.free();
  EXPECT_EQ(vm_live_blocks(), blocks);
  return failed;
}

TEST(RandomTypes, EachAllocationMayFail) {
  for (long i = soak_cases(60); i > 0 && !HasFailure(); --i) {
    const Type_Pool pool;
    const Type& type = pool.any();
    // The same values again for each allocation in turn.
    const std::mt19937_64 before = random_bits;
    for (long n = 1; !HasFailure(); ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      random_bits = before;
      if (!one_round(type, n)) break;
    }
  }
}

TEST(RandomTypes, AgreeWithPlainValues) {
  constexpr long kRoundsPerPool = 50;
  const long rounds = soak_cases(2000);
  for (long done = 0; done < rounds && !HasFailure(); done += kRoundsPerPool) {
    const Type_Pool pool;
    for (long i = 0; i < kRoundsPerPool && !HasFailure(); ++i) {
      SCOPED_TRACE("round " + std::to_string(done + i));
      one_round(pool.any());
    }
  }
}

}  // namespace
