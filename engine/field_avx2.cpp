// The edge field's passes 4 doubles at a time (avx2), built for that target
// alone; chosen at run time only where the CPU has it.
#include <immintrin.h>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"
#include "numeric/simd_lanes_avx2.h"

ML_FIELD_PASSES(Avx2, DoubleLanesAvx2)

// Eight pixels at a time: each half widened to 16 bits and weighted in
// pairs by one multiply-add; the even lanes, holding the sums, gathered and
// converted four at a time.
void sourceBytesAvx2(uint16_t selector, const uint8_t* p, size_t count, double* source) {
  size_t i = 0;
  if (selector == SOURCE_LUMINANCE) {
    const __m256i weights = _mm256_set1_epi64x(LUMINANCE_WEIGHTS);
    const __m256i evens = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
    const __m256d scale = _mm256_set1_pd(0.001);
    for (; i + 8 <= count; i += 8, p += 32) {
      for (int32_t half = 0; half < 2; ++half) {
        const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * half));
        const __m256i pairs = _mm256_madd_epi16(_mm256_cvtepu8_epi16(pixels), weights);
        const __m256i sums = _mm256_permutevar8x32_epi32(_mm256_add_epi32(pairs, _mm256_srli_epi64(pairs, 32)), evens);
        _mm256_storeu_pd(source + i + 4 * half, _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(sums)), scale));
      }
    }
  } else {
    const __m256i mask = _mm256_set1_epi32(0xff);
    const __m128i shift = _mm_cvtsi32_si128(8 * selector);
    for (; i + 8 <= count; i += 8, p += 32) {
      const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
      const __m256i values = _mm256_and_si256(_mm256_srl_epi32(pixels, shift), mask);
      _mm256_storeu_pd(source + i, _mm256_cvtepi32_pd(_mm256_castsi256_si128(values)));
      _mm256_storeu_pd(source + i + 4, _mm256_cvtepi32_pd(_mm256_extracti128_si256(values, 1)));
    }
  }
  takeSourceSamples<uint8_t>(selector, p, count - i, source + i);
}
