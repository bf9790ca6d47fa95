// Picks one of a function's four builds (scalar, sse2, avx2, avx512) for a
// level, lowered to what the CPU offers.
#pragma once

#include "numeric/simd_level.h"

template <typename Function>
Function functionForLevel(SimdLevel level, Function scalar, Function sse2, Function avx2, Function avx512) {
  switch (simdLevelLowered(level)) {
    case SIMD_AVX512: return avx512;
    case SIMD_AVX2: return avx2;
    case SIMD_SSE2: return sse2;
    default: return scalar;
  }
}
