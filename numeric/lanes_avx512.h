// Eight doubles at a time (avx512f without FMA): the shared double lanes of numeric/simd_lanes_avx512.h
// with what the arc tangent and the "chrome" and "halo" rows add to them
// (signs, masks, 32-bit indices, table pairs). Include it only from a file
// built for this target; everything here has internal linkage.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "numeric/simd_lanes_avx512.h"

namespace {

struct LanesAvx512 : DoubleLanesAvx512 {
  using I = __m256i;  // eight 32-bit integers
  // The bitwise forms of doubles are avx512dq; the integer ones are not.
  static V abs(V a) {
    return _mm512_castsi512_pd(_mm512_and_epi64(_mm512_castpd_si512(a), _mm512_set1_epi64(0x7fffffffffffffffLL)));
  }
  static V signOf(V a) {
    return _mm512_castsi512_pd(
        _mm512_and_epi64(_mm512_castpd_si512(a), _mm512_set1_epi64(static_cast<long long>(0x8000000000000000ULL))));
  }
  static V flipSign(V a, V sign) {
    return _mm512_castsi512_pd(_mm512_xor_epi64(_mm512_castpd_si512(a), _mm512_castpd_si512(sign)));
  }
  static M less(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ); }
  static M equal(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }
  static M unordered(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_UNORD_Q); }
  static M either(M a, M b) { return static_cast<M>(a | b); }
  static M butNot(M a, M b) { return static_cast<M>(a & ~b); }
  static uint32_t laneBits(M m) { return m; }
  static I truncate(V a) { return _mm512_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm512_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const __m256i pairs = _mm256_slli_epi32(index, 1);
    *first = _mm512_i32gather_pd(pairs, &table[0][0], 8);
    *second = _mm512_i32gather_pd(pairs, &table[0][1], 8);
  }
};

}  // namespace
