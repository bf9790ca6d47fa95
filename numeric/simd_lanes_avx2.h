// Lanes of the AVX2 width (256 bits): four doubles or eight floats. Include
// only from a file built with -mavx2 -mno-fma; everything has internal
// linkage. The operations are those of numeric/simd_lanes_sse2.h.
#pragma once

#include <cstdint>

#include "numeric/simd_wide.h"

namespace {

struct DoubleLanesAvx2 {
  using V = __m256d;
  using U = __m256i;
  using M = __m256d;
  static constexpr int32_t width = 4;
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
  static void storeTruncated(int32_t* p, V v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvttpd_epi32(v));
  }
  static V splat(double x) { return _mm256_set1_pd(x); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static V div(V a, V b) { return _mm256_div_pd(a, b); }
  static V sqrt(V a) { return _mm256_sqrt_pd(a); }
  static V min(V a, V b) { return _mm256_min_pd(a, b); }
  static V max(V a, V b) { return _mm256_max_pd(a, b); }
  static V negate(V a) { return _mm256_xor_pd(a, _mm256_set1_pd(-0.0)); }
  static M greater(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_GT_OQ); }
  static M greaterEqual(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }
  static M lessEqual(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }
  static M both(M a, M b) { return _mm256_and_pd(a, b); }
  static bool all(M m) { return _mm256_movemask_pd(m) == 15; }
  static V select(M m, V a, V b) { return _mm256_blendv_pd(b, a, m); }
  static U bits(V v) { return _mm256_castpd_si256(v); }
  static V fromBits(U u) { return _mm256_castsi256_pd(u); }
  static U splatBits(uint64_t x) { return _mm256_set1_epi64x(static_cast<int64_t>(x)); }
  static U addBits(U a, U b) { return _mm256_add_epi64(a, b); }
  static U subBits(U a, U b) { return _mm256_sub_epi64(a, b); }
  static U andBits(U a, U b) { return _mm256_and_si256(a, b); }
  static U orBits(U a, U b) { return _mm256_or_si256(a, b); }
  template <int N>
  static U shiftRight(U a) { return _mm256_srli_epi64(a, N); }
  static V gather(const double* base, U index) { return _mm256_i64gather_pd(base, index, 8); }
};

struct FloatLanesAvx2 {
  using Double = DoubleLanesAvx2;
  using D = Double::V;
  using F = __m256;
  using M = __m256;
  using I = __m256i;
  static constexpr int32_t width = 8;
  static F splat(float x) { return _mm256_set1_ps(x); }
  static F add(F a, F b) { return _mm256_add_ps(a, b); }
  static F sub(F a, F b) { return _mm256_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
  static F div(F a, F b) { return _mm256_div_ps(a, b); }
  static F sqrt(F a) { return _mm256_sqrt_ps(a); }
  static F min(F a, F b) { return _mm256_min_ps(a, b); }
  static F max(F a, F b) { return _mm256_max_ps(a, b); }
  static F negate(F a) { return _mm256_xor_ps(a, _mm256_set1_ps(-0.0f)); }
  static M less(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
  static F select(M m, F a, F b) { return _mm256_blendv_ps(b, a, m); }
  static F narrow(D lo, D hi) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(lo)), _mm256_cvtpd_ps(hi), 1);
  }
  static void widen(F f, D* lo, D* hi) {
    *lo = _mm256_cvtps_pd(_mm256_castps256_ps128(f));
    *hi = _mm256_cvtps_pd(_mm256_extractf128_ps(f, 1));
  }
  static I truncate(F f) { return _mm256_cvttps_epi32(f); }
  static I truncate(D lo, D hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(lo)), _mm256_cvttpd_epi32(hi), 1);
  }
  static I splatInt(int32_t x) { return _mm256_set1_epi32(x); }
  static I subInt(I a, I b) { return _mm256_sub_epi32(a, b); }
  static I maxInt(I a, I b) { return _mm256_max_epi32(a, b); }
  static I minInt(I a, I b) { return _mm256_min_epi32(a, b); }
  static void storeInt(int32_t* p, I v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
};

}  // namespace
