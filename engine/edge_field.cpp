#include "engine/edge_field.h"

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
// weights 299, 587, 114 (sum 1000) on integers, then scales by 0.001.
template <typename Sample>
void takeSource(uint16_t selector, const PixelMap* tile, int32_t rows, double* source) {
  const int32_t side = tile->baseWidth;
  const size_t count = static_cast<size_t>(side) * rows;
  const Sample* p = reinterpret_cast<const Sample*>(tile->pixels);
  if (selector == SOURCE_LUMINANCE) {
    for (size_t i = 0; i < count; ++i, p += 4)
      source[i] = static_cast<double>(299 * int32_t(p[0]) + 587 * int32_t(p[1]) + 114 * int32_t(p[2])) * 0.001;
  } else {
    const Sample* c = p + selector;
    for (size_t i = 0; i < count; ++i, c += 4) source[i] = static_cast<double>(*c);
  }
}

// Rows per band: enough work per part to pay for handing it over.
constexpr int32_t BAND_ROWS = 16;

int32_t bandCount(int32_t rows) { return (rows + BAND_ROWS - 1) / BAND_ROWS; }

struct FieldJob {
  const FieldKernels& passes;
  const double* source;
  int32_t t;
  const double *g, *d;
  int32_t n;
  double *smoothedDown, *smoothedAcross, *gradientX, *gradientY;
  int32_t rows1, rows2;
};

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
  if (tile->format == PIXEL_RGBA8)
    takeSource<uint8_t>(sourceSelector, tile, rows0, source);
  else
    takeSource<uint16_t>(sourceSelector, tile, rows0, source);

  // Both passes at the run's vector width, each split into bands of rows
  // over the threads; every sample is computed alone, so neither the width
  // nor the banding changes a bit. The second pass starts once the first
  // has finished every band it reads.
  FieldJob job{activeFieldKernels(), source, t, g, d, n, smoothedDown, smoothedAcross, gradientX, gradientY,
               rows1, rows2};
  const int32_t threads = renderThreads();
  platformRunParts(smoothBand, &job, bandCount(rows1), threads);
  platformRunParts(slopeBand, &job, bandCount(rows2), threads);
}
