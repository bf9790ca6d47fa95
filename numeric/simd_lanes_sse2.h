// Lanes of the baseline vector width (SSE2, 128 bits): two doubles or four
// floats. Include only from a file built for this target; everything has
// internal linkage, so no other file's copy can stand in for it.
//
// Every operation is the one IEEE instruction of its scalar form. min and
// max are the instructions' own: the second operand unless the first is
// strictly smaller (larger), so NaN and -0 follow `a < b ? a : b`.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace {

struct DoubleLanesSse2 {
  using V = __m128d;
  using U = __m128i;  // the lanes' bits, 64 to a lane
  using M = __m128d;  // a comparison's result, all ones where it holds
  static constexpr int32_t width = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  // The lanes truncated toward zero to 32-bit integers, `width` of them.
  static void storeTruncated(int32_t* p, V v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_cvttpd_epi32(v)); }
  static V splat(double x) { return _mm_set1_pd(x); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  static V sqrt(V a) { return _mm_sqrt_pd(a); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V negate(V a) { return _mm_xor_pd(a, _mm_set1_pd(-0.0)); }
  static M greater(V a, V b) { return _mm_cmpgt_pd(a, b); }
  static M greaterEqual(V a, V b) { return _mm_cmpge_pd(a, b); }
  static M lessEqual(V a, V b) { return _mm_cmple_pd(a, b); }
  static M both(M a, M b) { return _mm_and_pd(a, b); }
  static bool all(M m) { return _mm_movemask_pd(m) == 3; }
  static V select(M m, V a, V b) { return _mm_or_pd(_mm_and_pd(m, a), _mm_andnot_pd(m, b)); }
  static U bits(V v) { return _mm_castpd_si128(v); }
  static V fromBits(U u) { return _mm_castsi128_pd(u); }
  static U splatBits(uint64_t x) { return _mm_set1_epi64x(static_cast<int64_t>(x)); }
  static U addBits(U a, U b) { return _mm_add_epi64(a, b); }
  static U subBits(U a, U b) { return _mm_sub_epi64(a, b); }
  static U andBits(U a, U b) { return _mm_and_si128(a, b); }
  static U orBits(U a, U b) { return _mm_or_si128(a, b); }
  template <int N>
  static U shiftRight(U a) { return _mm_srli_epi64(a, N); }
  // base[index] for each lane; SSE2 has no gather.
  static V gather(const double* base, U index) {
    alignas(16) int64_t at[2];
    _mm_store_si128(reinterpret_cast<__m128i*>(at), index);
    return _mm_set_pd(base[at[1]], base[at[0]]);
  }
};

struct FloatLanesSse2 {
  using Double = DoubleLanesSse2;  // half as many lanes
  using D = Double::V;
  using F = __m128;
  using M = __m128;
  using I = __m128i;
  static constexpr int32_t width = 4;
  static F splat(float x) { return _mm_set1_ps(x); }
  static F add(F a, F b) { return _mm_add_ps(a, b); }
  static F sub(F a, F b) { return _mm_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm_mul_ps(a, b); }
  static F div(F a, F b) { return _mm_div_ps(a, b); }
  static F sqrt(F a) { return _mm_sqrt_ps(a); }
  static F min(F a, F b) { return _mm_min_ps(a, b); }
  static F max(F a, F b) { return _mm_max_ps(a, b); }
  static F negate(F a) { return _mm_xor_ps(a, _mm_set1_ps(-0.0f)); }
  static M less(F a, F b) { return _mm_cmplt_ps(a, b); }
  static F select(M m, F a, F b) { return _mm_or_ps(_mm_and_ps(m, a), _mm_andnot_ps(m, b)); }
  // Rounded to float as static_cast<float> does; lo gives the first lanes.
  static F narrow(D lo, D hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }
  static void widen(F f, D* lo, D* hi) {
    *lo = _mm_cvtps_pd(f);
    *hi = _mm_cvtps_pd(_mm_movehl_ps(f, f));
  }
  // Truncation toward zero.
  static I truncate(F f) { return _mm_cvttps_epi32(f); }
  static I truncate(D lo, D hi) { return _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo), _mm_cvttpd_epi32(hi)); }
  static I splatInt(int32_t x) { return _mm_set1_epi32(x); }
  static I subInt(I a, I b) { return _mm_sub_epi32(a, b); }
  static I maxInt(I a, I b) {
    const I greater = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_and_si128(greater, a), _mm_andnot_si128(greater, b));
  }
  static I minInt(I a, I b) {
    const I greater = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_and_si128(greater, b), _mm_andnot_si128(greater, a));
  }
  static void storeInt(int32_t* p, I v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
};

}  // namespace
