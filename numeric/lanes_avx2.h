// Four doubles at a time (avx2), for code written once over a set of lanes
// (numeric/vector_arctangent.h). Include it only from a file built for
// avx2 without FMA; everything here has internal linkage, so no other
// file's build can stand in for it.
#pragma once

#include <immintrin.h>

#include <cstdint>

// GCC's own headers leave a don't-care operand of the masked and gathering
// forms unset, and then warn about it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace {

struct LanesAvx2 {
  using V = __m256d;
  using M = __m256d;  // all ones in a lane where a test holds
  using I = __m128i;  // four 32-bit integers
  static constexpr int32_t width = 4;
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
  static V splat(double x) { return _mm256_set1_pd(x); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static V div(V a, V b) { return _mm256_div_pd(a, b); }
  static V min(V a, V b) { return _mm256_min_pd(a, b); }
  static V max(V a, V b) { return _mm256_max_pd(a, b); }
  static V abs(V a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
  static V signOf(V a) { return _mm256_and_pd(_mm256_set1_pd(-0.0), a); }
  static V flipSign(V a, V sign) { return _mm256_xor_pd(a, sign); }
  static M less(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }
  static M equal(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
  static M unordered(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_UNORD_Q); }
  static M both(M a, M b) { return _mm256_and_pd(a, b); }
  static M either(M a, M b) { return _mm256_or_pd(a, b); }
  static M butNot(M a, M b) { return _mm256_andnot_pd(b, a); }
  static uint32_t laneBits(M m) { return static_cast<uint32_t>(_mm256_movemask_pd(m)); }
  static V select(M m, V ifFalse, V ifTrue) { return _mm256_blendv_pd(ifFalse, ifTrue, m); }
  static I truncate(V a) { return _mm256_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm256_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static V sqrt(V a) { return _mm256_sqrt_pd(a); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const __m128i pairs = _mm_slli_epi32(index, 1);
    *first = _mm256_i32gather_pd(&table[0][0], pairs, 8);
    *second = _mm256_i32gather_pd(&table[0][1], pairs, 8);
  }
  static void storeTruncated(int32_t* p, V v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvttpd_epi32(v));
  }
};

}  // namespace
