// "blurry": the edge value is the slope's magnitude times the weight, scaled
// back by the preview's reduction.
#include <emmintrin.h>

#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

namespace {

// E = trunc(sqrt(gx*gx + gy*gy) * k), limited to 0..maxValue, two samples at
// a time: the same IEEE operations in the same order as one at a time. An
// absent plane counts as 0, and adding 0*0 changes no sum, so it is left out.
template <bool HaveX, bool HaveY>
void blurryRow(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count, int32_t* edges) {
  const __m128d kk = _mm_set1_pd(k);
  const __m128d top = _mm_set1_pd(static_cast<double>(maxValue));
  const __m128d zero = _mm_setzero_pd();
  int32_t c = 0;
  for (; c + 2 <= count; c += 2) {
    __m128d sum;
    if (HaveX && HaveY) {
      __m128d x = _mm_loadu_pd(gx + c), y = _mm_loadu_pd(gy + c);
      sum = _mm_add_pd(_mm_mul_pd(x, x), _mm_mul_pd(y, y));
    } else if (HaveX) {
      __m128d x = _mm_loadu_pd(gx + c);
      sum = _mm_mul_pd(x, x);
    } else {
      __m128d y = _mm_loadu_pd(gy + c);
      sum = _mm_mul_pd(y, y);
    }
    // A scripted tweaker can make the weight negative: such products give 0.
    __m128d v = _mm_max_pd(_mm_min_pd(_mm_mul_pd(_mm_sqrt_pd(sum), kk), top), zero);
    __m128i e = _mm_cvttpd_epi32(v);
    edges[c] = _mm_cvtsi128_si32(e);
    edges[c + 1] = _mm_cvtsi128_si32(_mm_srli_si128(e, 4));
  }
  for (; c < count; ++c) {
    double x = HaveX ? gx[c] : 0.0, y = HaveY ? gy[c] : 0.0;
    double sum = HaveX && HaveY ? x * x + y * y : (HaveX ? x * x : y * y);
    edges[c] = edgeFromDouble(numeric::squareRoot(sum) * k, maxValue);
  }
}

}  // namespace

void renderBlurry(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const double k = static_cast<double>(context.weight) / static_cast<double>(sessionParameters(session)->scaleDivisor);
  const int32_t side = context.fieldSide;
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    if (gx && gy)
      blurryRow<true, true>(gx, gy, k, loop.maxValue, loop.columns, edges);
    else if (gx)
      blurryRow<true, false>(gx, gy, k, loop.maxValue, loop.columns, edges);
    else if (gy)
      blurryRow<false, true>(gx, gy, k, loop.maxValue, loop.columns, edges);
    else
      for (int32_t c = 0; c < loop.columns; ++c) edges[c] = 0;
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
