#include "glue/glue_simd.h"

namespace {

SimdLevel& chosen() {
  static SimdLevel lanes = simdLevelFromEnvironment();
  return lanes;
}

}  // namespace

SimdLevel activeGlueLanes() { return chosen(); }

void forceGlueLanes(SimdLevel lanes) { chosen() = simdLevelLowered(lanes); }

GlueRowFunction glueRowFunctionAt(SimdLevel lanes, int mode, int depth) {
  GlueRowFunction row = nullptr;
  switch (simdLevelLowered(lanes)) {
    case SIMD_AVX512:
      row = glueRowFunctionAvx512(mode, depth);
      break;
    case SIMD_AVX2:
      row = glueRowFunctionAvx2(mode, depth);
      break;
    case SIMD_SSE2:
      row = glueRowFunctionSse2(mode, depth);
      break;
    default:
      break;
  }
  return row ? row : gluePixelRowFunction(mode, depth);
}

GlueRowFunction glueRowFunction(int mode, int depth) { return glueRowFunctionAt(activeGlueLanes(), mode, depth); }
