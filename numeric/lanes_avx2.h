// Four doubles at a time (avx2 without FMA): the shared double lanes of numeric/simd_lanes_avx2.h
// with what the arc tangent and the "chrome" and "halo" rows add to them
// (signs, masks, 32-bit indices, table pairs). Include it only from a file
// built for this target; everything here has internal linkage.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "numeric/simd_lanes_avx2.h"

namespace {

struct LanesAvx2 : DoubleLanesAvx2 {
  using I = __m128i;  // four 32-bit integers
  static V abs(V a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
  static V signOf(V a) { return _mm256_and_pd(_mm256_set1_pd(-0.0), a); }
  static V flipSign(V a, V sign) { return _mm256_xor_pd(a, sign); }
  static M less(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }
  static M equal(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
  static M unordered(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_UNORD_Q); }
  static M either(M a, M b) { return _mm256_or_pd(a, b); }
  static M butNot(M a, M b) { return _mm256_andnot_pd(b, a); }
  static uint32_t laneBits(M m) { return static_cast<uint32_t>(_mm256_movemask_pd(m)); }
  static I truncate(V a) { return _mm256_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm256_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const __m128i pairs = _mm_slli_epi32(index, 1);
    *first = _mm256_i32gather_pd(&table[0][0], pairs, 8);
    *second = _mm256_i32gather_pd(&table[0][1], pairs, 8);
  }
};

}  // namespace
