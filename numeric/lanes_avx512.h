// Eight doubles at a time (avx512f alone), for code written once over a set
// of lanes (numeric/vector_arctangent.h). Include it only from a file built
// for avx512f without FMA; everything here has internal linkage, so no other
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

struct LanesAvx512 {
  using V = __m512d;
  using M = __mmask8;
  using I = __m256i;  // eight 32-bit integers
  static constexpr int32_t width = 8;
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
  static V splat(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V div(V a, V b) { return _mm512_div_pd(a, b); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V max(V a, V b) { return _mm512_max_pd(a, b); }
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
  static M both(M a, M b) { return static_cast<M>(a & b); }
  static M either(M a, M b) { return static_cast<M>(a | b); }
  static M butNot(M a, M b) { return static_cast<M>(a & ~b); }
  static uint32_t laneBits(M m) { return m; }
  static V select(M m, V ifFalse, V ifTrue) { return _mm512_mask_blend_pd(m, ifFalse, ifTrue); }
  static I truncate(V a) { return _mm512_cvttpd_epi32(a); }
  static V toDouble(I i) { return _mm512_cvtepi32_pd(i); }
  static I loadIntegers(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static V sqrt(V a) { return _mm512_sqrt_pd(a); }
  // Rounded to single precision and widened back, as a float in between.
  static V throughSingle(V a) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(a)); }
  static void lookUpPairs(const double (*table)[2], I index, V* first, V* second) {
    const __m256i pairs = _mm256_slli_epi32(index, 1);
    *first = _mm512_i32gather_pd(pairs, &table[0][0], 8);
    *second = _mm512_i32gather_pd(pairs, &table[0][1], 8);
  }
  static void storeTruncated(int32_t* p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvttpd_epi32(v));
  }
};

}  // namespace
