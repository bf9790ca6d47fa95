#include "engine/edge_field.h"

#include <emmintrin.h>

#include "engine/field_kernels.h"
#include "numeric/portable_math.h"
#include "platform/threads.h"

void buildEdgeKernels(double sigma, EdgeKernels* kernels) {
  const double q = sigma * 2.0 * sigma;
  const double area = sigma * 6.283185306 * sigma;  // this constant, not a closer two pi
  int32_t n = 0;
  for (int32_t i = 0; i < MAX_EDGE_TAPS; ++i) {
    double e0 = numeric::exponential(-(static_cast<double>(i) * i) / q);
    if (i >= 2 && !(e0 > 0.005)) break;
    double lo = i - 0.5, hi = i + 0.5;
    double em = numeric::exponential(-(lo * lo) / q);
    double ep = numeric::exponential(-(hi * hi) / q);
    kernels->slopeTaps[i] = ep - em;
    kernels->smoothTaps[i] = ((em + e0 + ep) / 3.0) / area;
    n = i + 1;
  }
  for (int32_t i = n; i < MAX_EDGE_TAPS; ++i) kernels->smoothTaps[i] = kernels->slopeTaps[i] = 0.0;
  kernels->tapCount = n;
}

uint16_t sourceSelectorFor(int32_t renderSource, int16_t imageMode) {
  // Only the low 16 bits of the working field count.
  uint16_t s = static_cast<uint16_t>(renderSource);
  if (s == 0) return imageMode == 1 ? 0 : SOURCE_LUMINANCE;
  if (s <= 3) return static_cast<uint16_t>(s - 1);
  // A value no channel answers to: the luminance, which every image has.
  return SOURCE_LUMINANCE;
}

namespace {

// The source channel as doubles, once per tile. Luminance uses the field's
// weights 299, 587, 114 (sum 1000) on integers, then scales by 0.001. The
// integer sum is exact in any order, so the vector form below adds it as
// pairs and gives the same doubles.
template <typename Sample>
void takeSourceSamples(uint16_t selector, const Sample* p, size_t count, double* source) {
  if (selector == SOURCE_LUMINANCE) {
    for (size_t i = 0; i < count; ++i, p += 4)
      source[i] = static_cast<double>(299 * int32_t(p[0]) + 587 * int32_t(p[1]) + 114 * int32_t(p[2])) * 0.001;
  } else {
    const Sample* c = p + selector;
    for (size_t i = 0; i < count; ++i, c += 4) source[i] = static_cast<double>(*c);
  }
}

// Four 8-bit pixels at a time: the bytes widened to 16 bits, the weighted
// pairs (299 r + 587 g, 114 b + 0 a) from one multiply-add, then the pairs
// added and converted two values at a time.
void takeSourceBytes(uint16_t selector, const uint8_t* p, size_t count, double* source) {
  size_t i = 0;
  const __m128i zero = _mm_setzero_si128();
  if (selector == SOURCE_LUMINANCE) {
    const __m128i weights = _mm_setr_epi16(299, 587, 114, 0, 299, 587, 114, 0);
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
    const int32_t shift = 8 * selector;
    for (; i + 4 <= count; i += 4, p += 16) {
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i values = _mm_and_si128(_mm_srl_epi32(pixels, _mm_cvtsi32_si128(shift)), mask);
      _mm_storeu_pd(source + i, _mm_cvtepi32_pd(values));
      _mm_storeu_pd(source + i + 2, _mm_cvtepi32_pd(_mm_srli_si128(values, 8)));
    }
  }
  takeSourceSamples<uint8_t>(selector, p, count - i, source + i);
}

// Rows per band: enough work per part to pay for handing it over.
constexpr int32_t BAND_ROWS = 16;

int32_t bandCount(int32_t rows) { return (rows + BAND_ROWS - 1) / BAND_ROWS; }

struct FieldJob {
  const FieldKernels& passes;
  uint16_t selector;
  const PixelMap* tile;
  int32_t rows0;
  double* source;
  int32_t t;
  const double *g, *d;
  int32_t n;
  double *smoothedDown, *smoothedAcross, *gradientX, *gradientY;
  int32_t rows1, rows2;
};

void sourceBand(void* context, int32_t band) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  const int32_t begin = band * BAND_ROWS, end = begin + BAND_ROWS < job.rows0 ? begin + BAND_ROWS : job.rows0;
  const size_t first = static_cast<size_t>(begin) * job.t, count = static_cast<size_t>(end - begin) * job.t;
  if (job.tile->format == PIXEL_RGBA8)
    takeSourceBytes(job.selector, job.tile->pixels + first * 4, count, job.source + first);
  else
    takeSourceSamples<uint16_t>(job.selector, reinterpret_cast<const uint16_t*>(job.tile->pixels) + first * 4, count,
                                job.source + first);
}

void smoothBand(void* context, int32_t band) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  const int32_t begin = band * BAND_ROWS, end = begin + BAND_ROWS < job.rows1 ? begin + BAND_ROWS : job.rows1;
  job.passes.smoothRows(job.source, job.t, job.g, job.n, job.smoothedDown, job.smoothedAcross, begin, end);
}

void slopeBand(void* context, int32_t band) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  const int32_t begin = band * BAND_ROWS, end = begin + BAND_ROWS < job.rows2 ? begin + BAND_ROWS : job.rows2;
  job.passes.slopeRows(job.smoothedDown, job.smoothedAcross, job.t - 40, job.d, job.n, job.gradientX,
                       job.gradientY, begin, end);
}

}  // namespace

void computeEdgeField(uint16_t sourceSelector, const EdgeKernels& kernels, double* source, double* smoothedDown,
                      double* smoothedAcross, double* gradientX, double* gradientY, const PixelMap* tile,
                      int32_t coreRows) {
  const int32_t t = tile->baseWidth;
  const int32_t s1 = t - 40;  // side of the smoothed planes
  const int32_t s2 = t - 80;  // side of the gradient planes
  // Rows of each plane that the core's rows need: the styles read field rows
  // 0 .. coreRows + 1, each pass reaches 20 rows further.
  const int32_t rows2 = coreRows < s2 - 2 ? (coreRows < 0 ? 0 : coreRows) + 2 : s2;
  const int32_t rows1 = rows2 + 40 < s1 ? rows2 + 40 : s1;
  const int32_t rows0 = rows1 + 40 < t ? rows1 + 40 : t;
  const int32_t n = kernels.tapCount;
  const double* g = kernels.smoothTaps;
  const double* d = kernels.slopeTaps;
  if (sourceSelector != SOURCE_LUMINANCE && sourceSelector > 2) sourceSelector = SOURCE_LUMINANCE;
  // Both passes at the run's vector width, each split into bands of rows
  // over the threads; every sample is computed alone, so neither the width
  // nor the banding changes a bit. The second pass starts once the first
  // has finished every band it reads.
  FieldJob job{activeFieldKernels(), sourceSelector, tile, rows0, source, t, g, d, n, smoothedDown, smoothedAcross,
               gradientX, gradientY, rows1, rows2};
  const int32_t threads = renderThreads();
  platformRunParts(sourceBand, &job, bandCount(rows0), threads);
  platformRunParts(smoothBand, &job, bandCount(rows1), threads);
  platformRunParts(slopeBand, &job, bandCount(rows2), threads);
}
