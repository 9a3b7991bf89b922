// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Arithmetic on what descriptors hold. It wraps around: a nonsensical descriptor must not stop the program there.
#ifndef TAMRUN_OBJECTS_WRAPPING_H
#define TAMRUN_OBJECTS_WRAPPING_H

#include "tamrun/types.h"

constexpr i64 wrapping_product(i64 a, i64 b) { return static_cast<i64>(static_cast<u64>(a) * static_cast<u64>(b)); }
constexpr i64 wrapping_sum(i64 a, i64 b) { return static_cast<i64>(static_cast<u64>(a) + static_cast<u64>(b)); }
constexpr i64 wrapping_difference(i64 a, i64 b) { return static_cast<i64>(static_cast<u64>(a) - static_cast<u64>(b)); }

#endif
