// Two doubles at a time (sse2): the shared double lanes of numeric/simd_lanes_sse2.h
// with what the arc tangent and the "chrome" and "halo" rows add to them
// (signs, masks, 32-bit indices, table pairs). Include it only from a file
// built for this target; everything here has internal linkage.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "numeric/simd_lanes_sse2.h"

namespace {

struct LanesSse2 : DoubleLanesSse2 {
  using I = __m128i;  // 32-bit integers in the low lanes
  static V abs(V a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
  static V signOf(V a) { return _mm_and_pd(_mm_set1_pd(-0.0), a); }
  static V flipSign(V a, V sign) { return _mm_xor_pd(a, sign); }
  static M less(V a, V b) { return _mm_cmplt_pd(a, b); }
  static M equal(V a, V b) { return _mm_cmpeq_pd(a, b); }
  static M unordered(V a, V b) { return _mm_cmpunord_pd(a, b); }
  static M either(M a, M b) { return _mm_or_pd(a, b); }
  static M butNot(M a, M b) { return _mm_andnot_pd(b, a); }
  static uint32_t laneBits(M m) { return static_cast<uint32_t>(_mm_movemask_pd(m)); }
  static I truncate(V a) { return _mm_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm_cvtps_pd(_mm_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const int32_t j0 = _mm_cvtsi128_si32(index), j1 = _mm_cvtsi128_si32(_mm_srli_si128(index, 4));
    *first = _mm_set_pd(table[j1][0], table[j0][0]);
    *second = _mm_set_pd(table[j1][1], table[j0][1]);
  }
};

}  // namespace
