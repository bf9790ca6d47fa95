#include "numeric/simd_level.h"

#include <cstdlib>
#include <cstring>

namespace {
const char* const LEVEL_NAMES[] = {"scalar", "sse2", "avx2", "avx512"};
}

SimdLevel widestSimdLevel() {
  // The compiler's CPU model checks the OS's XSAVE state as well, so a wide
  // level is only reported where its registers survive a context switch.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f")) return SIMD_AVX512;
  if (__builtin_cpu_supports("avx2")) return SIMD_AVX2;
  return SIMD_SSE2;  // every x86-64 CPU
}

const char* simdLevelName(SimdLevel level) {
  return level >= SIMD_SCALAR && level <= SIMD_AVX512 ? LEVEL_NAMES[level] : nullptr;
}

SimdLevel simdLevelLowered(SimdLevel level) {
  const SimdLevel widest = widestSimdLevel();
  if (level < SIMD_SCALAR) return SIMD_SCALAR;
  return level < widest ? level : widest;
}

SimdLevel simdLevelFromEnvironment() {
  const char* asked = std::getenv("MARROWLINE_SIMD");
  if (asked != nullptr)
    for (int32_t i = SIMD_SCALAR; i <= SIMD_AVX512; ++i)
      if (std::strcmp(asked, LEVEL_NAMES[i]) == 0) return simdLevelLowered(static_cast<SimdLevel>(i));
  return widestSimdLevel();  // unset, or an unknown name asks for nothing in particular
}
