#include "engine/edge_field.h"

#include "numeric/portable_math.h"

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

  // First pass. Every output sample starts from its centre tap and adds the
  // pairs for i = 1 .. n-2 in increasing i (G[n-1] is never used); the loops
  // run over whole rows so each tap is one multiply per pair of samples.
  for (int32_t r = 0; r < rows1; ++r) {
    const double* centre = source + static_cast<size_t>(r + 20) * t + 20;
    double* down = smoothedDown + static_cast<size_t>(r) * s1;
    double* across = smoothedAcross + static_cast<size_t>(r) * s1;
    for (int32_t c = 0; c < s1; ++c) down[c] = centre[c] * g[0];
    for (int32_t c = 0; c < s1; ++c) across[c] = centre[c] * g[0];
    for (int32_t i = 1; i <= n - 2; ++i) {
      const double* up = centre - static_cast<size_t>(i) * t;
      const double* below = centre + static_cast<size_t>(i) * t;
      const double gi = g[i];
      for (int32_t c = 0; c < s1; ++c) down[c] += (up[c] + below[c]) * gi;
    }
    for (int32_t i = 1; i <= n - 2; ++i) {
      const double gi = g[i];
      for (int32_t c = 0; c < s1; ++c) across[c] += (centre[c - i] + centre[c + i]) * gi;
    }
  }

  // Second pass: sums from 0.0 over i = 1 .. n-1.
  for (int32_t r = 0; r < rows2; ++r) {
    const double* downRow = smoothedDown + static_cast<size_t>(r + 20) * s1 + 20;
    const double* acrossCentre = smoothedAcross + static_cast<size_t>(r + 20) * s1 + 20;
    double* gx = gradientX + static_cast<size_t>(r) * s2;
    double* gy = gradientY + static_cast<size_t>(r) * s2;
    for (int32_t c = 0; c < s2; ++c) gx[c] = 0.0;
    for (int32_t c = 0; c < s2; ++c) gy[c] = 0.0;
    for (int32_t i = 1; i <= n - 1; ++i) {
      const double di = d[i];
      for (int32_t c = 0; c < s2; ++c) gx[c] += (downRow[c - i] - downRow[c + i]) * di;
      const double* up = acrossCentre - static_cast<size_t>(i) * s1;
      const double* below = acrossCentre + static_cast<size_t>(i) * s1;
      for (int32_t c = 0; c < s2; ++c) gy[c] += (up[c] - below[c]) * di;
    }
  }
}
