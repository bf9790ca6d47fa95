// The edge field's passes 2 doubles at a time (sse2), built for that target
// alone; chosen at run time only where the CPU has it.
#include <emmintrin.h>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"

namespace {

struct LanesSse2 {
  using V = __m128d;
  static constexpr int32_t width = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static V splat(double x) { return _mm_set1_pd(x); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V sqrt(V a) { return _mm_sqrt_pd(a); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static void storeTruncated(int32_t* p, V v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_cvttpd_epi32(v)); }
};

}  // namespace

void smoothRowsSse2(const double* source, int32_t t, const double* g, int32_t n, double* smoothedDown,
                     double* smoothedAcross, int32_t rowBegin, int32_t rowEnd) {
  smoothRowsWith<LanesSse2>(source, t, g, n, smoothedDown, smoothedAcross, rowBegin, rowEnd);
}

void slopeRowsSse2(const double* smoothedDown, const double* smoothedAcross, int32_t s1, const double* d, int32_t n,
                    double* gradientX, double* gradientY, int32_t rowBegin, int32_t rowEnd) {
  slopeRowsWith<LanesSse2>(smoothedDown, smoothedAcross, s1, d, n, gradientX, gradientY, rowBegin, rowEnd);
}

void slopeEdgesSse2(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count, int32_t* edges) {
  slopeEdgesWith<LanesSse2>(gx, gy, k, maxValue, count, edges);
}
