// The edge field's passes 8 doubles at a time (avx512), built for that target
// alone; chosen at run time only where the CPU has it.
#include <immintrin.h>

// GCC's own headers leave a don't-care operand of the masked forms behind
// sqrt, min, max and the conversion unset, and then warn about it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "engine/field_kernels.h"
#include "engine/field_passes.h"

namespace {

struct LanesAvx512 {
  using V = __m512d;
  static constexpr int32_t width = 8;
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
  static V splat(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V sqrt(V a) { return _mm512_sqrt_pd(a); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V max(V a, V b) { return _mm512_max_pd(a, b); }
  static void storeTruncated(int32_t* p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvttpd_epi32(v));
  }
};

}  // namespace

void smoothRowsAvx512(const double* source, int32_t t, const double* g, int32_t n, double* smoothedDown,
                     double* smoothedAcross, int32_t rowBegin, int32_t rowEnd) {
  smoothRowsWith<LanesAvx512>(source, t, g, n, smoothedDown, smoothedAcross, rowBegin, rowEnd);
}

void slopeRowsAvx512(const double* smoothedDown, const double* smoothedAcross, int32_t s1, const double* d, int32_t n,
                    double* gradientX, double* gradientY, int32_t rowBegin, int32_t rowEnd) {
  slopeRowsWith<LanesAvx512>(smoothedDown, smoothedAcross, s1, d, n, gradientX, gradientY, rowBegin, rowEnd);
}

void slopeEdgesAvx512(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count, int32_t* edges) {
  slopeEdgesWith<LanesAvx512>(gx, gy, k, maxValue, count, edges);
}
