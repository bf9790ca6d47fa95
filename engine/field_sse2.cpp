// The edge field's passes 2 doubles at a time (sse2), built for that target
// alone; chosen at run time only where the CPU has it.
#include <emmintrin.h>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"
#include "numeric/simd_lanes_sse2.h"

ML_FIELD_PASSES(Sse2, DoubleLanesSse2)

// Four pixels at a time: the bytes widened to 16 bits, the weighted pairs
// from one multiply-add, then the pairs added and converted two at a time.
void sourceBytesSse2(uint16_t selector, const uint8_t* p, size_t count, double* source) {
  size_t i = 0;
  const __m128i zero = _mm_setzero_si128();
  if (selector == SOURCE_LUMINANCE) {
    const __m128i weights = _mm_set1_epi64x(LUMINANCE_WEIGHTS);
    const __m128d scale = _mm_set1_pd(0.001);
    for (; i + 4 <= count; i += 4, p += 16) {
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi8(pixels, zero), weights);   // pixels 0, 1
      const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi8(pixels, zero), weights);  // pixels 2, 3
      // Each pixel's two partial sums sit side by side: add the odd lanes
      // onto the even ones and gather the even lanes.
      const __m128i lowSums = _mm_add_epi32(low, _mm_srli_epi64(low, 32));
      const __m128i highSums = _mm_add_epi32(high, _mm_srli_epi64(high, 32));
      const __m128i sums = _mm_castps_si128(
          _mm_shuffle_ps(_mm_castsi128_ps(lowSums), _mm_castsi128_ps(highSums), _MM_SHUFFLE(2, 0, 2, 0)));
      _mm_storeu_pd(source + i, _mm_mul_pd(_mm_cvtepi32_pd(sums), scale));
      _mm_storeu_pd(source + i + 2, _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(sums, 8)), scale));
    }
  } else {
    const __m128i mask = _mm_set1_epi32(0xff);
    const __m128i shift = _mm_cvtsi32_si128(8 * selector);
    for (; i + 4 <= count; i += 4, p += 16) {
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i values = _mm_and_si128(_mm_srl_epi32(pixels, shift), mask);
      _mm_storeu_pd(source + i, _mm_cvtepi32_pd(values));
      _mm_storeu_pd(source + i + 2, _mm_cvtepi32_pd(_mm_srli_si128(values, 8)));
    }
  }
  takeSourceSamples<uint8_t>(selector, p, count - i, source + i);
}
