// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random numbers in registers of 128 bits, on any processor.

#include "intrinsics/random_vector.h"

TAMRUN_RANDOM_VECTOR(for_simd_random_number, Combined_Double, Integer_Lanes, __m128d, __m128d, _mm_movemask_pd(mask))
TAMRUN_RANDOM_VECTOR(for_simd_random_number_single, Combined_Single, Integer_Lanes, __m128, __m128,
                     _mm_movemask_ps(mask))
TAMRUN_RANDOM_VECTOR(for_ranf_v4, Minimal, Integer_Lanes, __m128, __m128, _mm_movemask_ps(mask))
