// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Random numbers in registers of 512 bits, compiled for AVX-512 F. A mask is an integer.

#include "intrinsics/random_vector.h"

TAMRUN_RANDOM_VECTOR(for_simd_random_number_avx512, Combined_Double, Real_Lanes, __m512d, __mmask8, mask)
TAMRUN_RANDOM_VECTOR(for_simd_random_number_single_avx512, Combined_Single, Real_Lanes, __m512, __mmask16, mask)
TAMRUN_RANDOM_VECTOR(for_ranf_v16, Minimal, Real_Lanes, __m512, __mmask16, mask)
