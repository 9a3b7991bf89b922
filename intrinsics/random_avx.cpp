// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random numbers in registers of 256 bits, compiled for AVX.

#include "intrinsics/random_vector.h"

TAMRUN_RANDOM_VECTOR(for_simd_random_number_avx, Combined_Double, Real_Lanes, __m256d, __m256d,
                     _mm256_movemask_pd(mask))
TAMRUN_RANDOM_VECTOR(for_simd_random_number_single_avx, Combined_Single, Real_Lanes, __m256, __m256,
                     _mm256_movemask_ps(mask))
TAMRUN_RANDOM_VECTOR(for_ranf_v8, Minimal, Real_Lanes, __m256, __m256, _mm256_movemask_ps(mask))
