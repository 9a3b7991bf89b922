// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Arrays filled with a value.

#include <string.h>

#include <algorithm>

#include "core/failure.h"
#include "objects/allocate.h"
#include "objects/len_params.h"

namespace {

using Quad = unsigned __int128;
/// Element length of a COMPLEX of two 16-byte reals.
constexpr u32 kComplexQuadBytes = 32;
constexpr Quad kQuadSign = Quad{1} << 127;

template <class Unit>
void fill_units(u8* base, u64 count, const void* value) {
  Unit unit;
  memcpy(&unit, value, sizeof unit);
  for (u64 i = 0; i < count; ++i) memcpy(base + i * sizeof unit, &unit, sizeof unit);
}

bool is_all_zero(const void* value, u32 bytes) {
  const auto* byte = static_cast<const u8*>(value);
  return std::all_of(byte, byte + bytes, [](u8 b) { return b == 0; });
}

/// Two 16-byte reals that compare equal to zero, of either sign.
bool is_zero_complex(const void* value) {
  Quad halves[2];
  memcpy(halves, value, sizeof halves);
  return ((halves[0] | halves[1]) & ~kQuadSign) == 0;
}

/// 0, or MSG_INVALID_ARGUMENT for an element length that has no fill.
[[nodiscard]] int fill(u8* base, u32 elem_len, u64 count, const void* value) {
  if (elem_len == 0 || count == 0) return 0;
  const bool zero =
      elem_len == kComplexQuadBytes ? is_zero_complex(value) : elem_len <= sizeof(Quad) && is_all_zero(value, elem_len);
  struct Pair_Of_Quads {
    Quad half[2];
  };
  switch (elem_len) {
    case 1:
      memset(base, *static_cast<const u8*>(value), count);
      return 0;
    case 2:
    case 4:
    case 8:
    case 16:
    case kComplexQuadBytes:
      break;
    default:
      return MSG_INVALID_ARGUMENT;
  }
  if (zero) {
    memset(base, 0, count * elem_len);
  } else if (elem_len == 2) {
    fill_units<u16>(base, count, value);
  } else if (elem_len == 4) {
    fill_units<u32>(base, count, value);
  } else if (elem_len == 8) {
    fill_units<u64>(base, count, value);
  } else if (elem_len == 16) {
    fill_units<Quad>(base, count, value);
  } else {
    fill_units<Pair_Of_Quads>(base, count, value);
  }
  return 0;
}

}  // namespace

extern "C" {

int for_array_initialize(void* base, u32 elem_len, i32 count, const void* value) {
  const int status = fill(static_cast<u8*>(base), elem_len, static_cast<u64>(std::max(count, 0)), value);
  if (status != 0) for__issue_diagnostic(status, 0);
  return status;
}

int for_alloc_and_init(u64 size, void** where, For_Alloc_Flags flags, u32 elem_len, const void* value,
                       i32 allocatable) {
  int status = allocatable != 0 && *where != nullptr ? MSG_ALREADY_ALLOCATED : allocate_block(size, where, flags);
  if (status == 0) status = fill(static_cast<u8*>(*where), elem_len, elem_len == 0 ? 0 : size / elem_len, value);
  return finish_request(status, flags);
}

}  // extern "C"
