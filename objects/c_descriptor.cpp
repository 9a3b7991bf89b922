// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Operations on C descriptors. Nothing is written before all arguments have been checked.

#include "objects/c_descriptor.h"

#include <string.h>

#include <algorithm>

#include "objects/allocate.h"
#include "objects/wrapping.h"

namespace {

constexpr i64 kFromCaller = -1;
/// Element lengths by type code.
constexpr i64 kTypeLengths[] = {0, 1, 2, 4, 8, 4, 8, 16, 8, 16, 32, 1, kFromCaller, kFromCaller};
constexpr i64 kAssumedSize = -1;  // extent of the last dimension

bool is_type(i64 type) { return (type >= CFI_type_int8_t && type <= CFI_type_struct) || type == CFI_type_other; }

bool is_attribute(i64 attribute) { return attribute >= CFI_attribute_pointer && attribute <= CFI_attribute_other; }

bool is_rank(i64 rank) { return rank >= 0 && rank <= CFI_MAX_RANK; }

bool takes_length(i64 type) { return type == CFI_type_other || kTypeLengths[type] == kFromCaller; }

bool is_assumed_size(const CFI_cdesc_t* d, i64 k) { return k == d->rank - 1 && d->dim[k].extent == kAssumedSize; }

bool ends_assumed_size(const CFI_cdesc_t* d) { return d->rank > 0 && is_assumed_size(d, d->rank - 1); }

/// The dimensions have extents that may be, and do not overlap.
int validate_dimensions(const CFI_cdesc_t* d) {
  u64 bytes = d->elem_len;  // from the first element of the dimensions so far to behind the last
  for (i64 k = 0; k < d->rank; ++k) {
    const CFI_dim_t& dim = d->dim[k];
    const i64 sm = static_cast<i32>(dim.sm);
    const u64 distance = static_cast<u64>(sm < 0 ? -sm : sm);
    if (dim.extent < 0 && !(is_assumed_size(d, k) && d->attribute == CFI_attribute_other)) return CFI_INVALID_EXTENT;
    if (bytes > distance) return CFI_INVALID_DESCRIPTOR;
    if (dim.extent < 0) break;
    if (__builtin_mul_overflow(static_cast<u64>(dim.extent), distance, &bytes)) bytes = ~u64{0};
  }
  return CFI_SUCCESS;
}

/// Contiguous from the first dimension on.
void set_dimension(CFI_cdesc_t* d, i64 k, i64 lower, i64 extent, i64* sm) {
  d->dim[k] = {extent, *sm, lower};
  *sm = wrapping_product(*sm, extent);
}

/// Bytes of an array with these bounds: CFI_SUCCESS, or CFI_ERROR_MEM_ALLOCATION when it cannot be.
int bytes_of_bounds(i64 rank, const CFI_index_t* lower, const CFI_index_t* upper, u64 elem_len, u64* bytes) {
  if (rank > 0 && (lower == nullptr || upper == nullptr)) return CFI_ERROR_MEM_ALLOCATION;
  constexpr i64 kEmpty = -1;
  *bytes = elem_len;
  bool overflows = false;
  bool is_empty = elem_len == 0;
  for (i64 k = 0; k < rank; ++k) {
    i64 span;
    if (__builtin_sub_overflow(upper[k], lower[k], &span) || span < kEmpty) return CFI_ERROR_MEM_ALLOCATION;
    const u64 extent = static_cast<u64>(span) + 1;
    is_empty |= extent == 0;
    overflows |= __builtin_mul_overflow(*bytes, extent, bytes);
  }
  if (is_empty) *bytes = 0;
  return overflows && !is_empty ? CFI_ERROR_MEM_ALLOCATION : CFI_SUCCESS;
}

constexpr u64 kStorageFlags = DV_DEFINED | DV_CONTIGUOUS;

/// One source dimension of a section.
struct Triplet {
  i64 lower, upper, stride;

  Triplet(const CFI_dim_t& dim, i64 k, const CFI_index_t* lowers, const CFI_index_t* uppers, const CFI_index_t* strides)
      : lower(lowers != nullptr ? lowers[k] : dim.lower_bound),
        upper(uppers != nullptr ? uppers[k] : wrapping_sum(dim.lower_bound, wrapping_sum(dim.extent, -1))),
        stride(strides != nullptr ? strides[k] : 1) {}

  i64 extent() const {
    const i64 span = wrapping_sum(wrapping_difference(upper, lower), stride);
    return stride == -1 ? wrapping_difference(0, span) : span / stride;
  }
};

int check_section(const CFI_cdesc_t* result, const CFI_cdesc_t* source, const CFI_index_t* lower,
                  const CFI_index_t* upper, const CFI_index_t* strides) {
  if (const int status = for__validate_cdesc(result); status != CFI_SUCCESS) return status;
  if (const int status = for__validate_cdesc(source); status != CFI_SUCCESS) return status;
  if (source->base_addr == nullptr) return CFI_ERROR_BASE_ADDR_NULL;
  if (result->type != source->type || result->elem_len != source->elem_len) return CFI_INVALID_TYPE;
  if (result->attribute == CFI_attribute_allocatable) return CFI_INVALID_ATTRIBUTE;
  if (source->rank == 0 || result->rank == 0) return CFI_INVALID_RANK;
  i64 kept = 0;
  for (i64 k = 0; k < source->rank; ++k) {
    const Triplet triplet(source->dim[k], k, lower, upper, strides);
    if (triplet.stride == 0 && triplet.lower != triplet.upper) return CFI_INVALID_EXTENT;
    kept += triplet.stride != 0;
  }
  if (result->rank != kept) return CFI_INVALID_RANK;
  return upper == nullptr && ends_assumed_size(source) ? CFI_INVALID_EXTENT : CFI_SUCCESS;
}

}  // namespace

extern "C" {

int for__validate_cdesc(const CFI_cdesc_t* d) {
  if (d == nullptr || d->version != CFI_VERSION) return CFI_INVALID_DESCRIPTOR;
  if (!is_rank(d->rank)) return CFI_INVALID_RANK;
  if (!is_type(d->type)) return CFI_INVALID_TYPE;
  if (!is_attribute(d->attribute)) return CFI_INVALID_ATTRIBUTE;
  if (d->elem_len == 0 && !takes_length(d->type)) return CFI_INVALID_ELEM_LEN;
  return d->base_addr == nullptr ? CFI_SUCCESS : validate_dimensions(d);
}

void* for_CFI_address(const CFI_cdesc_t* d, const CFI_index_t* subscripts) {
  if (for__validate_cdesc(d) != CFI_SUCCESS || d->base_addr == nullptr) return nullptr;
  if (d->rank == 0) return d->base_addr;
  if (subscripts == nullptr || ends_assumed_size(d)) return nullptr;
  i64 offset = 0;
  for (i64 k = 0; k < d->rank; ++k) {
    const i64 steps = wrapping_difference(subscripts[k], d->dim[k].lower_bound);
    offset = wrapping_sum(offset, wrapping_product(steps, d->dim[k].sm));
  }
  return static_cast<u8*>(d->base_addr) + offset;
}

int for_CFI_allocate(CFI_cdesc_t* d, const CFI_index_t* lower, const CFI_index_t* upper, size_t elem_len) {
  if (const int status = for__validate_cdesc(d); status != CFI_SUCCESS) return status;
  if (d->base_addr != nullptr) return CFI_ERROR_BASE_ADDR_NOT_NULL;
  const u64 length = d->type == CFI_type_char ? elem_len : d->elem_len;
  u64 bytes;
  if (const int status = bytes_of_bounds(d->rank, lower, upper, length, &bytes); status != CFI_SUCCESS) return status;
  if (d->attribute == CFI_attribute_other) return CFI_INVALID_ATTRIBUTE;
  void* base = nullptr;
  const int message = d->attribute == CFI_attribute_pointer ? for_allocate(bytes, &base, FA_STAT)
                                                            : for_alloc_allocatable(bytes, &base, FA_STAT);
  if (message != 0) return CFI_ERROR_MEM_ALLOCATION;
  d->base_addr = base;
  d->elem_len = length;
  i64 sm = static_cast<i64>(length);
  for (i64 k = 0; k < d->rank; ++k) set_dimension(d, k, lower[k], upper[k] - lower[k] + 1, &sm);
  d->cfi_flags |= kStorageFlags;
  return CFI_SUCCESS;
}

int for_CFI_deallocate(CFI_cdesc_t* d) {
  if (const int status = for__validate_cdesc(d); status != CFI_SUCCESS) return status;
  if (d->base_addr == nullptr) return CFI_ERROR_BASE_ADDR_NULL;
  if (d->attribute == CFI_attribute_other) return CFI_INVALID_ATTRIBUTE;
  const int message = d->attribute == CFI_attribute_pointer ? for_deallocate(d->base_addr, FA_STAT)
                                                            : for_dealloc_allocatable(d->base_addr, FA_STAT);
  if (message != 0) return CFI_INVALID_DESCRIPTOR;
  d->base_addr = nullptr;
  d->cfi_flags &= ~kStorageFlags;
  return CFI_SUCCESS;
}

int for_CFI_establish(CFI_cdesc_t* d, void* base, CFI_attribute_t attribute, CFI_type_t type, size_t elem_len,
                      CFI_rank_t rank, const CFI_index_t* extents, int version) {
  if (!is_attribute(attribute)) return CFI_INVALID_ATTRIBUTE;
  if (!is_type(type)) return CFI_INVALID_TYPE;
  if (!is_rank(rank)) return CFI_INVALID_RANK;
  if (base != nullptr && attribute == CFI_attribute_allocatable) return CFI_ERROR_BASE_ADDR_NOT_NULL;
  if (d == nullptr || version != CFI_VERSION) return CFI_INVALID_DESCRIPTOR;
  const u64 length = takes_length(type) ? elem_len : static_cast<u64>(kTypeLengths[type]);
  if (length == 0) return CFI_INVALID_ELEM_LEN;
  const i64 described = base != nullptr ? rank : 0;
  if (described > 0 &&
      (extents == nullptr || std::any_of(extents, extents + described, [](i64 extent) { return extent < 0; })))
    return CFI_INVALID_EXTENT;
  d->base_addr = base;
  d->elem_len = length;
  d->version = CFI_VERSION;
  d->attribute = attribute;
  d->rank = rank;
  d->type = type;
  d->cfi_flags = 0;
  memset(d->cfi_reserved, 0, sizeof d->cfi_reserved);
  i64 sm = static_cast<i64>(length);
  for (i64 k = 0; k < described; ++k) set_dimension(d, k, 0, extents[k], &sm);
  return CFI_SUCCESS;
}

int for_CFI_is_contiguous(const CFI_cdesc_t* d) {
  if (for__validate_cdesc(d) != CFI_SUCCESS || d->base_addr == nullptr) return 0;
  if (d->attribute == CFI_attribute_allocatable || ends_assumed_size(d)) return 1;
  i64 adjacent = static_cast<i64>(d->elem_len);
  for (i64 k = 0; k < d->rank; ++k) {
    if (d->dim[k].sm != adjacent) return 0;
    adjacent = wrapping_product(adjacent, d->dim[k].extent);
  }
  return 1;
}

int for_CFI_section(CFI_cdesc_t* result, const CFI_cdesc_t* source, const CFI_index_t* lower, const CFI_index_t* upper,
                    const CFI_index_t* strides) {
  if (const int status = check_section(result, source, lower, upper, strides); status != CFI_SUCCESS) return status;
  i64 offset = 0;
  i64 to = 0;
  for (i64 k = 0; k < source->rank; ++k) {
    const CFI_dim_t from = source->dim[k];  // the two descriptors may be one
    const Triplet triplet(from, k, lower, upper, strides);
    offset = wrapping_sum(offset, wrapping_product(wrapping_difference(triplet.lower, from.lower_bound), from.sm));
    if (triplet.stride != 0)
      result->dim[to++] = {triplet.extent(), wrapping_product(from.sm, triplet.stride), triplet.lower};
  }
  result->base_addr = static_cast<u8*>(source->base_addr) + offset;
  return CFI_SUCCESS;
}

int for_CFI_select_part(CFI_cdesc_t* result, const CFI_cdesc_t* source, size_t displacement, size_t elem_len) {
  if (const int status = for__validate_cdesc(result); status != CFI_SUCCESS) return status;
  if (const int status = for__validate_cdesc(source); status != CFI_SUCCESS) return status;
  if (result->rank != source->rank) return CFI_INVALID_RANK;
  if (result->attribute == CFI_attribute_allocatable) return CFI_INVALID_ATTRIBUTE;
  if (result->rank == 0) return CFI_INVALID_RANK;
  if (source->base_addr == nullptr) return CFI_ERROR_BASE_ADDR_NULL;
  if (displacement >= source->elem_len) return CFI_ERROR_OUT_OF_BOUNDS;
  const u64 length = takes_length(result->type) ? elem_len : result->elem_len;
  if (length > source->elem_len - displacement) return CFI_ERROR_OUT_OF_BOUNDS;
  result->base_addr = static_cast<u8*>(source->base_addr) + displacement;
  result->elem_len = length;
  memmove(result->dim, source->dim, static_cast<size_t>(source->rank) * sizeof(CFI_dim_t));
  return CFI_SUCCESS;
}

int for_CFI_setpointer(CFI_cdesc_t* result, CFI_cdesc_t* source, const CFI_index_t* lower) {
  if (const int status = for__validate_cdesc(result); status != CFI_SUCCESS) return status;
  if (result->attribute != CFI_attribute_pointer) return CFI_INVALID_ATTRIBUTE;
  if (source != nullptr) {
    if (const int status = for__validate_cdesc(source); status != CFI_SUCCESS) return status;
    if (source->elem_len != result->elem_len) return CFI_INVALID_ELEM_LEN;
    if (source->rank != result->rank) return CFI_INVALID_RANK;
    if (source->type != result->type) return CFI_INVALID_TYPE;
  }
  if (source == nullptr || source->base_addr == nullptr) {
    result->base_addr = nullptr;
    result->cfi_flags &= ~static_cast<u64>(DV_DEFINED);
    return CFI_SUCCESS;
  }
  result->base_addr = source->base_addr;
  for (i64 k = 0; k < source->rank; ++k) {
    const CFI_dim_t& from = source->dim[k];
    result->dim[k] = {from.extent, from.sm, lower != nullptr ? lower[k] : from.lower_bound};
  }
  return CFI_SUCCESS;
}

}  // extern "C"
