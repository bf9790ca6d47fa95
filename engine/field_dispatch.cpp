// The choice of the field's vector width: once per process, from what the
// CPU and the operating system support, lowered by MARROWLINE_SIMD.
#include <cstdlib>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"
#include "glue/glue_simd.h"
#include "platform/threads.h"

ML_FIELD_PASSES(Scalar, SingleLane)

void sourceBytesScalar(uint16_t selector, const uint8_t* pixels, size_t count, double* source) {
  takeSourceSamples<uint8_t>(selector, pixels, count, source);
}

namespace {

FieldKernels& chosen() {
  static FieldKernels kernels = fieldKernelsFor(simdLevelFromEnvironment());
  return kernels;
}

}  // namespace

FieldKernels fieldKernelsFor(SimdLevel level) {
  switch (simdLevelLowered(level)) {
    case SIMD_AVX512:
      return {SIMD_AVX512, smoothDownAvx512, smoothAcrossAvx512, slopeRowsAvx512, slopeEdgesAvx512, sourceBytesAvx512};
    case SIMD_AVX2:
      return {SIMD_AVX2, smoothDownAvx2, smoothAcrossAvx2, slopeRowsAvx2, slopeEdgesAvx2, sourceBytesAvx2};
    case SIMD_SSE2:
      return {SIMD_SSE2, smoothDownSse2, smoothAcrossSse2, slopeRowsSse2, slopeEdgesSse2, sourceBytesSse2};
    default:
      return {SIMD_SCALAR, smoothDownScalar, smoothAcrossScalar, slopeRowsScalar, slopeEdgesScalar, sourceBytesScalar};
  }
}

const FieldKernels& activeFieldKernels() { return chosen(); }

void forceSimdLevel(SimdLevel level) {
  chosen() = fieldKernelsFor(level);
  forceGlueLanes(level);  // the glue's rows follow, so one switch tests every width
}

namespace {

int32_t& threadChoice() {
  static int32_t threads = [] {
    const char* asked = std::getenv("MARROWLINE_THREADS");
    const int32_t wanted = asked ? std::atoi(asked) : 0;
    if (wanted >= 1) return wanted < 64 ? wanted : 64;
    return platformCoreCount();
  }();
  return threads;
}

}  // namespace

int32_t renderThreads() { return threadChoice(); }

void forceRenderThreads(int32_t threads) { threadChoice() = threads < 1 ? 1 : (threads < 64 ? threads : 64); }
