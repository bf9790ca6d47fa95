// The stroke styles' row tests four doubles at a time (avx2), built for that
// target alone; chosen at run time only where the CPU has it.
#include "engine/stroke_rows.h"
#include "numeric/simd_wide.h"

namespace {

struct StrokeLanesAvx2 {
  using V = __m256d;
  using M = __m256d;
  static constexpr int32_t width = 4;
  static V loadFloats(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  static void storeFloats(float* p, V v) { _mm_storeu_ps(p, _mm256_cvtpd_ps(v)); }
  static V loadInts(const int32_t* p) {
    return _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  }
  static void packFloats(float* p, V v, uint32_t bits) { packLanes<StrokeLanesAvx2>(p, v, bits); }
  static void packDoubles(double* p, V v, uint32_t bits) { packLanes<StrokeLanesAvx2>(p, v, bits); }
  static void packRamp(int32_t* p, int32_t first, uint32_t bits) { packLanes<StrokeLanesAvx2>(p, first, bits); }
  static V sqrt(V a) { return _mm256_sqrt_pd(a); }
  static V min(V a, V b) { return _mm256_min_pd(a, b); }
  static V truncateWhole(V a) { return _mm256_cvtepi32_pd(_mm256_cvttpd_epi32(a)); }
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static V splat(double x) { return _mm256_set1_pd(x); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static V div(V a, V b) { return _mm256_div_pd(a, b); }
  static V divideSingle(V a, V b) { return _mm256_cvtps_pd(_mm_div_ps(_mm256_cvtpd_ps(a), _mm256_cvtpd_ps(b))); }
  static V negate(V a) { return _mm256_xor_pd(a, _mm256_set1_pd(-0.0)); }
  static V toFloat(V a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a)); }
  static M greater(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_GT_OQ); }
  static M greaterEqual(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }
  static M both(M a, M b) { return _mm256_and_pd(a, b); }
  static M either(M a, M b) { return _mm256_or_pd(a, b); }
  static V select(M m, V yes, V no) { return _mm256_blendv_pd(no, yes, m); }
  static uint32_t bits(M m) { return static_cast<uint32_t>(_mm256_movemask_pd(m)); }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
  static void storeTruncated(int32_t* p, V v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvttpd_epi32(v));
  }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesAvx2, Avx2)
