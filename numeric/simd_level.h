// The vector widths the pixel code comes in, and what this CPU runs. The
// field, the styles and the glue each choose once per process from here.
#pragma once

#include <cstdint>

enum SimdLevel : int32_t { SIMD_SCALAR = 0, SIMD_SSE2 = 1, SIMD_AVX2 = 2, SIMD_AVX512 = 3 };

// The best level this CPU runs (the OS saving the wide registers included).
SimdLevel widestSimdLevel();
// "scalar", "sse2", "avx2", "avx512"; null for anything else.
const char* simdLevelName(SimdLevel level);
// A level lowered to what this CPU runs.
SimdLevel simdLevelLowered(SimdLevel level);
// MARROWLINE_SIMD's level lowered to what the CPU runs; the widest when it is
// unset or names no level.
SimdLevel simdLevelFromEnvironment();
