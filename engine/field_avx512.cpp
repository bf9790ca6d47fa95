// The edge field's passes 8 doubles at a time (avx512), built for that target
// alone; chosen at run time only where the CPU has it.
#include <immintrin.h>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"
#include "numeric/simd_lanes_avx512.h"

ML_FIELD_PASSES(Avx512, DoubleLanesAvx512)

// Eight pixels at a time: each four widened to 16 bits and weighted in
// pairs by one multiply-add (the 16-bit forms are 256 bits wide without
// avx512bw), the pairs added into the low half of each 64-bit lane and
// narrowed to eight sums, converted at once.
void sourceBytesAvx512(uint16_t selector, const uint8_t* p, size_t count, double* source) {
  size_t i = 0;
  if (selector == SOURCE_LUMINANCE) {
    const __m256i weights = _mm256_set1_epi64x(LUMINANCE_WEIGHTS);
    const __m512d scale = _mm512_set1_pd(0.001);
    for (; i + 8 <= count; i += 8, p += 32) {
      const __m256i low = _mm256_madd_epi16(
          _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))), weights);
      const __m256i high = _mm256_madd_epi16(
          _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16))), weights);
      const __m512i pairs = _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
      const __m256i sums = _mm512_cvtepi64_epi32(_mm512_add_epi32(pairs, _mm512_srli_epi64(pairs, 32)));
      _mm512_storeu_pd(source + i, _mm512_mul_pd(_mm512_cvtepi32_pd(sums), scale));
    }
  } else {
    const __m512i mask = _mm512_set1_epi32(0xff);
    const __m128i shift = _mm_cvtsi32_si128(8 * selector);
    for (; i + 16 <= count; i += 16, p += 64) {
      const __m512i pixels = _mm512_loadu_si512(p);
      const __m512i values = _mm512_and_si512(_mm512_srl_epi32(pixels, shift), mask);
      _mm512_storeu_pd(source + i, _mm512_cvtepi32_pd(_mm512_castsi512_si256(values)));
      _mm512_storeu_pd(source + i + 8, _mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(values, 1)));
    }
  }
  takeSourceSamples<uint8_t>(selector, p, count - i, source + i);
}
