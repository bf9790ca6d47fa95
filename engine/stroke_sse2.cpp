// The stroke styles' row tests two doubles at a time (sse2, every x86-64 CPU).
#include <emmintrin.h>

#include "engine/stroke_rows.h"

namespace {

struct StrokeLanesSse2 {
  using V = __m128d;
  using M = __m128d;
  static constexpr int32_t width = 2;
  static V loadFloats(const float* p) {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
  }
  static void storeFloats(float* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(v)));
  }
  static V loadInts(const int32_t* p) { return _mm_cvtepi32_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  static void packFloats(float* p, V v, uint32_t bits) { packLanes<StrokeLanesSse2>(p, v, bits); }
  static void packDoubles(double* p, V v, uint32_t bits) { packLanes<StrokeLanesSse2>(p, v, bits); }
  static void packRamp(int32_t* p, int32_t first, uint32_t bits) { packLanes<StrokeLanesSse2>(p, first, bits); }
  static V sqrt(V a) { return _mm_sqrt_pd(a); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V truncateWhole(V a) { return _mm_cvtepi32_pd(_mm_cvttpd_epi32(a)); }
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static V splat(double x) { return _mm_set1_pd(x); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  static V divideSingle(V a, V b) { return _mm_cvtps_pd(_mm_div_ps(_mm_cvtpd_ps(a), _mm_cvtpd_ps(b))); }
  static V negate(V a) { return _mm_xor_pd(a, _mm_set1_pd(-0.0)); }
  static V toFloat(V a) { return _mm_cvtps_pd(_mm_cvtpd_ps(a)); }
  static M greater(V a, V b) { return _mm_cmpgt_pd(a, b); }
  static M greaterEqual(V a, V b) { return _mm_cmpge_pd(a, b); }
  static M both(M a, M b) { return _mm_and_pd(a, b); }
  static M either(M a, M b) { return _mm_or_pd(a, b); }
  static V select(M m, V yes, V no) { return _mm_or_pd(_mm_and_pd(m, yes), _mm_andnot_pd(m, no)); }
  static uint32_t bits(M m) { return static_cast<uint32_t>(_mm_movemask_pd(m)); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static void storeTruncated(int32_t* p, V v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_cvttpd_epi32(v)); }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesSse2, Sse2)
