#include "glue/glue_simd.h"

#include <cstdlib>
#include <cstring>

namespace {

GlueLanes lowered(GlueLanes lanes) {
  const GlueLanes widest = widestGlueLanes();
  if (lanes < GLUE_LANES_SCALAR) return GLUE_LANES_SCALAR;
  return lanes < widest ? lanes : widest;
}

GlueLanes& chosen() {
  static GlueLanes lanes = [] {
    static const char* const NAMES[] = {"scalar", "sse2", "avx2", "avx512"};
    const char* asked = std::getenv("MARROWLINE_SIMD");
    if (asked != nullptr)
      for (int i = GLUE_LANES_SCALAR; i <= GLUE_LANES_AVX512; ++i)
        if (std::strcmp(asked, NAMES[i]) == 0) return lowered(static_cast<GlueLanes>(i));
    return widestGlueLanes();  // unset or an unknown name
  }();
  return lanes;
}

}  // namespace

GlueLanes widestGlueLanes() {
  // The compiler's CPU model checks the OS's XSAVE state as well.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f")) return GLUE_LANES_AVX512;
  if (__builtin_cpu_supports("avx2")) return GLUE_LANES_AVX2;
  return GLUE_LANES_SSE2;
}

GlueLanes activeGlueLanes() { return chosen(); }

void forceGlueLanes(GlueLanes lanes) { chosen() = lowered(lanes); }

GlueRowFunction glueRowFunctionAt(GlueLanes lanes, int mode, int depth) {
  GlueRowFunction row = nullptr;
  switch (lowered(lanes)) {
    case GLUE_LANES_AVX512:
      row = glueRowFunctionAvx512(mode, depth);
      break;
    case GLUE_LANES_AVX2:
      row = glueRowFunctionAvx2(mode, depth);
      break;
    case GLUE_LANES_SSE2:
      break;
    default:
      return gluePixelRowFunction(mode, depth);
  }
  if (row == nullptr) row = glueRowFunctionSse2(mode, depth);
  return row ? row : gluePixelRowFunction(mode, depth);
}

GlueRowFunction glueRowFunction(int mode, int depth) { return glueRowFunctionAt(activeGlueLanes(), mode, depth); }
