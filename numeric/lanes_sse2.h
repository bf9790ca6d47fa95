// Two doubles at a time (sse2), for code written once over a set of lanes
// (numeric/vector_arctangent.h). Include it only from a file built for
// sse2; everything here has internal linkage, so no other file's wider
// build can stand in for it.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace {

struct LanesSse2 {
  using V = __m128d;
  using M = __m128d;  // all ones in a lane where a test holds
  using I = __m128i;  // 32-bit integers in the low lanes
  static constexpr int32_t width = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static V splat(double x) { return _mm_set1_pd(x); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V abs(V a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
  static V signOf(V a) { return _mm_and_pd(_mm_set1_pd(-0.0), a); }
  static V flipSign(V a, V sign) { return _mm_xor_pd(a, sign); }
  static M less(V a, V b) { return _mm_cmplt_pd(a, b); }
  static M equal(V a, V b) { return _mm_cmpeq_pd(a, b); }
  static M unordered(V a, V b) { return _mm_cmpunord_pd(a, b); }
  static M both(M a, M b) { return _mm_and_pd(a, b); }
  static M either(M a, M b) { return _mm_or_pd(a, b); }
  static M butNot(M a, M b) { return _mm_andnot_pd(b, a); }
  static uint32_t laneBits(M m) { return static_cast<uint32_t>(_mm_movemask_pd(m)); }
  static V select(M m, V ifFalse, V ifTrue) { return _mm_or_pd(_mm_and_pd(m, ifTrue), _mm_andnot_pd(m, ifFalse)); }
  static I truncate(V a) { return _mm_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
  static V sqrt(V a) { return _mm_sqrt_pd(a); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm_cvtps_pd(_mm_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const int32_t j0 = _mm_cvtsi128_si32(index), j1 = _mm_cvtsi128_si32(_mm_srli_si128(index, 4));
    *first = _mm_set_pd(table[j1][0], table[j0][0]);
    *second = _mm_set_pd(table[j1][1], table[j0][1]);
  }
  static void storeTruncated(int32_t* p, V v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_cvttpd_epi32(v)); }
};

}  // namespace
