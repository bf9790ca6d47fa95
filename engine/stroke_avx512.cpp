// The stroke styles' row tests eight doubles at a time (avx512), built for
// that target alone; chosen at run time only where the CPU has it.
#include "engine/stroke_rows.h"
#include "numeric/lanes_avx512.h"

namespace {

// The shared lanes with what only the strokes use: single-precision values
// held in double lanes, and the packing of the lanes a mask picks.
struct StrokeLanesAvx512 : LanesAvx512 {
  static V loadFloats(const float* p) { return _mm512_cvtps_pd(_mm256_loadu_ps(p)); }
  static void storeFloats(float* p, V v) { _mm256_storeu_ps(p, _mm512_cvtpd_ps(v)); }
  static V divideSingle(V a, V b) {
    return _mm512_cvtps_pd(_mm256_div_ps(_mm512_cvtpd_ps(a), _mm512_cvtpd_ps(b)));
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
  static void packRamp(int32_t* p, int32_t first, uint32_t bits) {
    const __m256i ramp = _mm256_add_epi32(_mm256_set1_epi32(first), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    const __m512i packed =
        _mm512_maskz_compress_epi32(static_cast<__mmask16>(bits & 0xFFu), _mm512_castsi256_si512(ramp));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_castsi512_si256(packed));
  }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesAvx512, Avx512)
