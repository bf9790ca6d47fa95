// Lanes of the AVX-512 width (512 bits): eight doubles or sixteen floats.
// Include only from a file built with -mavx512f -mno-fma (nothing here needs
// more than AVX-512F); everything has internal linkage. The operations are
// those of numeric/simd_lanes_sse2.h; comparisons give bit masks.
#pragma once

#include <cstdint>

#include "numeric/simd_wide.h"

namespace {

struct DoubleLanesAvx512 {
  using V = __m512d;
  using U = __m512i;
  using M = __mmask8;
  static constexpr int32_t width = 8;
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
  static void storeTruncated(int32_t* p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvttpd_epi32(v));
  }
  static V splat(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V div(V a, V b) { return _mm512_div_pd(a, b); }
  static V sqrt(V a) { return _mm512_sqrt_pd(a); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V max(V a, V b) { return _mm512_max_pd(a, b); }
  // The bitwise forms of doubles are avx512dq; the integer ones are not.
  static V negate(V a) {
    return _mm512_castsi512_pd(_mm512_xor_si512(_mm512_castpd_si512(a), _mm512_set1_epi64(INT64_MIN)));
  }
  static M greater(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }
  static M greaterEqual(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
  static M lessEqual(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ); }
  static M both(M a, M b) { return static_cast<M>(a & b); }
  static bool all(M m) { return m == 0xff; }
  static V select(M m, V a, V b) { return _mm512_mask_blend_pd(m, b, a); }
  static U bits(V v) { return _mm512_castpd_si512(v); }
  static V fromBits(U u) { return _mm512_castsi512_pd(u); }
  static U splatBits(uint64_t x) { return _mm512_set1_epi64(static_cast<int64_t>(x)); }
  static U addBits(U a, U b) { return _mm512_add_epi64(a, b); }
  static U subBits(U a, U b) { return _mm512_sub_epi64(a, b); }
  static U andBits(U a, U b) { return _mm512_and_si512(a, b); }
  static U orBits(U a, U b) { return _mm512_or_si512(a, b); }
  template <int N>
  static U shiftRight(U a) { return _mm512_srli_epi64(a, N); }
  static V gather(const double* base, U index) { return _mm512_i64gather_pd(index, base, 8); }
};

struct FloatLanesAvx512 {
  using Double = DoubleLanesAvx512;
  using D = Double::V;
  using F = __m512;
  using M = __mmask16;
  using I = __m512i;
  static constexpr int32_t width = 16;
  static F splat(float x) { return _mm512_set1_ps(x); }
  static F add(F a, F b) { return _mm512_add_ps(a, b); }
  static F sub(F a, F b) { return _mm512_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm512_mul_ps(a, b); }
  static F div(F a, F b) { return _mm512_div_ps(a, b); }
  static F sqrt(F a) { return _mm512_sqrt_ps(a); }
  static F min(F a, F b) { return _mm512_min_ps(a, b); }
  static F max(F a, F b) { return _mm512_max_ps(a, b); }
  static F negate(F a) {
    return _mm512_castsi512_ps(_mm512_xor_si512(_mm512_castps_si512(a), _mm512_set1_epi32(INT32_MIN)));
  }
  static M less(F a, F b) { return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ); }
  static F select(M m, F a, F b) { return _mm512_mask_blend_ps(m, b, a); }
  static F narrow(D lo, D hi) {
    const __m256d low = _mm256_castps_pd(_mm512_cvtpd_ps(lo));
    const __m256d high = _mm256_castps_pd(_mm512_cvtpd_ps(hi));
    return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1));
  }
  static void widen(F f, D* lo, D* hi) {
    *lo = _mm512_cvtps_pd(_mm512_castps512_ps256(f));
    *hi = _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(f), 1)));
  }
  static I truncate(F f) { return _mm512_cvttps_epi32(f); }
  static I truncate(D lo, D hi) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvttpd_epi32(lo)), _mm512_cvttpd_epi32(hi), 1);
  }
  static I splatInt(int32_t x) { return _mm512_set1_epi32(x); }
  static I subInt(I a, I b) { return _mm512_sub_epi32(a, b); }
  static I maxInt(I a, I b) { return _mm512_max_epi32(a, b); }
  static I minInt(I a, I b) { return _mm512_min_epi32(a, b); }
  static void storeInt(int32_t* p, I v) { _mm512_storeu_si512(p, v); }
};

}  // namespace
