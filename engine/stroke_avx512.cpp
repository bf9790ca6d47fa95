// The stroke styles' row tests eight doubles at a time (avx512), built for
// that target alone; chosen at run time only where the CPU has it.
#include "engine/stroke_rows.h"
#include "numeric/simd_wide.h"

namespace {

struct StrokeLanesAvx512 {
  using V = __m512d;
  using M = __mmask8;
  static constexpr int32_t width = 8;
  static V loadFloats(const float* p) { return _mm512_cvtps_pd(_mm256_loadu_ps(p)); }
  static void storeFloats(float* p, V v) { _mm256_storeu_ps(p, _mm512_cvtpd_ps(v)); }
  static V loadInts(const int32_t* p) {
    return _mm512_cvtepi32_pd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
  }
  // Packed in a register (the 512-bit forms: only the foundation set is
  // assumed) and stored whole: eight values at p.
  static void packFloats(float* p, V v, uint32_t bits) {
    const __m512 packed = _mm512_maskz_compress_ps(static_cast<__mmask16>(bits & 0xFFu),
                                                   _mm512_castps256_ps512(_mm512_cvtpd_ps(v)));
    _mm256_storeu_ps(p, _mm512_castps512_ps256(packed));
  }
  static void packDoubles(double* p, V v, uint32_t bits) {
    _mm512_storeu_pd(p, _mm512_maskz_compress_pd(static_cast<__mmask8>(bits), v));
  }
  static void packLow(int32_t* p, __m256i v, uint32_t bits) {
    const __m512i packed = _mm512_maskz_compress_epi32(static_cast<__mmask16>(bits & 0xFFu), _mm512_castsi256_si512(v));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_castsi512_si256(packed));
  }
  static void packRamp(int32_t* p, int32_t first, uint32_t bits) {
    packLow(p, _mm256_add_epi32(_mm256_set1_epi32(first), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)), bits);
  }
  static V sqrt(V a) { return _mm512_sqrt_pd(a); }
  static V min(V a, V b) { return _mm512_min_pd(a, b); }
  static V truncateWhole(V a) { return _mm512_cvtepi32_pd(_mm512_cvttpd_epi32(a)); }
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static V splat(double x) { return _mm512_set1_pd(x); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V div(V a, V b) { return _mm512_div_pd(a, b); }
  static V divideSingle(V a, V b) {
    return _mm512_cvtps_pd(_mm256_div_ps(_mm512_cvtpd_ps(a), _mm512_cvtpd_ps(b)));
  }
  static V negate(V a) {
    return _mm512_castsi512_pd(_mm512_xor_si512(_mm512_castpd_si512(a), _mm512_set1_epi64(INT64_MIN)));
  }
  static V toFloat(V a) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(a)); }
  static M greater(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }
  static M greaterEqual(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
  static M both(M a, M b) { return static_cast<M>(a & b); }
  static M either(M a, M b) { return static_cast<M>(a | b); }
  static V select(M m, V yes, V no) { return _mm512_mask_blend_pd(m, no, yes); }
  static uint32_t bits(M m) { return m; }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
  static void storeTruncated(int32_t* p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvttpd_epi32(v));
  }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesAvx512, Avx512)
