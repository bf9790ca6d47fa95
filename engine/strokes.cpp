// Strokes into the one-byte plane of the two-pass styles: the bilinear dot
// and the marching-squares cell that places one dot per contour segment.
#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "session/session.h"
#include "engine/field_kernels.h"
#include "engine/stroke_kernels.h"
#include "engine/stroke_rows.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"
#include "platform/threads.h"

namespace {

// The larger of a cell and a share already limited to 0..255 and truncated:
// the cell raised to the share (at most 255, truncated) if the share is
// larger, as a share above the cell truncates to at least the cell and one
// not above it to at most the cell. Stored either way: whether a share wins
// follows the picture, and a branch on it would often be mispredicted.
inline void raiseTo(uint8_t* cell, int32_t share) {
  const int32_t old = *cell;
  *cell = static_cast<uint8_t>(share > old ? share : old);
}

inline void raiseIfInside(PixelMap* plane, int32_t x, int32_t y, int32_t share) {
  if (insideLevel(plane, 0, x, y)) raiseTo(pixelAddress(plane, x, y, 0), share);
}

}  // namespace

void drawDotLanes(StrokeBand* band, __m128 x, __m128 y, __m128 value, uint32_t lanes) {
  PixelMap* plane = band->plane;
  const int32_t maxX = plane->levelMaxX[0], maxY = plane->levelMaxY[0];
  // A dot that lies well outside the plane changes nothing; the test also
  // keeps the conversions defined for any coordinate (NaN fails it). The
  // top-left cell is x's whole part below it: truncated, less 1 below 0.
  const __m128 zero = _mm_setzero_ps(), limit = _mm_set1_ps(-2.0f);
  const __m128 inside = _mm_and_ps(
      _mm_and_ps(_mm_cmpgt_ps(x, limit), _mm_cmpgt_ps(y, limit)),
      _mm_and_ps(_mm_cmplt_ps(x, _mm_set1_ps(static_cast<float>(plane->baseWidth) + 1.0f)),
                 _mm_cmplt_ps(y, _mm_set1_ps(static_cast<float>(plane->baseHeight) + 1.0f))));
  const uint32_t drawn = static_cast<uint32_t>(_mm_movemask_ps(inside)) & lanes;
  if (drawn == 0) return;
  const __m128 cx = _mm_and_ps(inside, x), cy = _mm_and_ps(inside, y);
  const __m128i ix = _mm_add_epi32(_mm_cvttps_epi32(cx), _mm_castps_si128(_mm_cmplt_ps(cx, zero)));
  const __m128i iy = _mm_add_epi32(_mm_cvttps_epi32(cy), _mm_castps_si128(_mm_cmplt_ps(cy, zero)));
  const __m128 fx = _mm_sub_ps(cx, _mm_cvtepi32_ps(ix)), fy = _mm_sub_ps(cy, _mm_cvtepi32_ps(iy));
  const __m128 left = _mm_sub_ps(value, _mm_mul_ps(value, fx)), right = _mm_mul_ps(value, fx);
  const __m128 lowerLeft = _mm_mul_ps(left, fy), lowerRight = _mm_mul_ps(right, fy);
  const __m128 shares[4] = {_mm_sub_ps(left, lowerLeft), _mm_sub_ps(right, lowerRight), lowerLeft, lowerRight};
  // Each share limited to 0..255 (NaN to 0: max gives its second operand)
  // and truncated.
  const __m128 top = _mm_set1_ps(255.0f);
  alignas(16) int32_t cellShares[4][4], columns[4], rows[4];
  for (int32_t k = 0; k < 4; ++k)
    _mm_store_si128(reinterpret_cast<__m128i*>(cellShares[k]),
                    _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(shares[k], zero), top)));
  _mm_store_si128(reinterpret_cast<__m128i*>(columns), ix);
  _mm_store_si128(reinterpret_cast<__m128i*>(rows), iy);
  for (int32_t k = 0; k < 4; ++k) {
    if (!((drawn >> k) & 1u)) continue;
    const int32_t cellX = columns[k], cellY = rows[k];
    // No cell inside the plane: nothing to raise.
    if (cellX < -1 || cellY < -1 || cellX > maxX || cellY > maxY) continue;
    // Both rows of cells must be the band's own; the ends of the owned
    // range reach past the plane's ends.
    if (cellY < band->ownTop || cellY >= band->ownBottom - 1) {
      alignas(16) float xs[4], ys[4], values[4];
      _mm_store_ps(xs, x);
      _mm_store_ps(ys, y);
      _mm_store_ps(values, value);
      band->spill->push_back(StrokeDot{xs[k], ys[k], values[k]});
      continue;
    }
    if (cellX >= 0 && cellY >= 0 && cellX < maxX && cellY < maxY) {
      uint8_t* upper = pixelAddress(plane, cellX, cellY, 0);
      uint8_t* lower = pixelAddress(plane, cellX, cellY + 1, 0);
      const int32_t step = plane->bytesPerPixel;
      // The dots of a row move along two rows of the plane, which the
      // pass reaches for the first time since it was cleared: ask for the
      // cells a little further on early.
      _mm_prefetch(reinterpret_cast<const char*>(upper) + 256, _MM_HINT_T0);
      _mm_prefetch(reinterpret_cast<const char*>(lower) + 256, _MM_HINT_T0);
      raiseTo(upper, cellShares[0][k]);
      raiseTo(upper + step, cellShares[1][k]);
      raiseTo(lower, cellShares[2][k]);
      raiseTo(lower + step, cellShares[3][k]);
    } else {
      raiseIfInside(plane, cellX, cellY, cellShares[0][k]);
      raiseIfInside(plane, cellX + 1, cellY, cellShares[1][k]);
      raiseIfInside(plane, cellX, cellY + 1, cellShares[2][k]);
      raiseIfInside(plane, cellX + 1, cellY + 1, cellShares[3][k]);
    }
  }
}

void drawBandDots(StrokeBand* band, const StrokeDot* dots, int32_t count) {
  int32_t first = 0;
  // Four dots are twelve floats: three loads, turned into x, y and value.
  for (; first + 4 <= count; first += 4) {
    const float* p = &dots[first].x;
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
    // a = x0 y0 v0 x1, b = y1 v1 x2 y2, c = v2 x3 y3 v3
    const __m128 x01 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 3, 0));   // x0 x1 x1 x1
    const __m128 x23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(1, 1, 2, 2));   // x2 x2 x3 x3
    const __m128 x = _mm_shuffle_ps(x01, x23, _MM_SHUFFLE(2, 0, 3, 0));  // x0 x1 x2 x3
    const __m128 y01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(0, 0, 1, 1));   // y0 y0 y1 y1
    const __m128 y23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 2, 3, 3));   // y2 y2 y3 y3
    const __m128 y = _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(2, 0, 2, 0));  // y0 y1 y2 y3
    const __m128 v01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 1, 2, 2));   // v0 v0 v1 v1
    const __m128 v23 = _mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 3, 0, 0));   // v2 v2 v3 v3
    const __m128 v = _mm_shuffle_ps(v01, v23, _MM_SHUFFLE(2, 0, 2, 0));  // v0 v1 v2 v3
    drawDotLanes(band, x, y, v, 15u);
  }
  if (first < count) {
    alignas(16) float xs[4] = {}, ys[4] = {}, values[4] = {};
    for (int32_t k = 0; first + k < count; ++k)
      xs[k] = dots[first + k].x, ys[k] = dots[first + k].y, values[k] = dots[first + k].value;
    drawDotLanes(band, _mm_load_ps(xs), _mm_load_ps(ys), _mm_load_ps(values), (1u << (count - first)) - 1u);
  }
}

void drawBandDot(StrokeBand* band, float x, float y, float value) {
  const StrokeDot dot{x, y, value};
  drawBandDots(band, &dot, 1);
}

void drawStrokeDot(float x, float y, PixelMap* plane, float value) {
  if (pixelMapEmpty(plane)) return;
  // A band that owns every row: nothing waits.
  StrokeBand whole{plane, INT32_MIN, INT32_MAX, nullptr};
  drawBandDot(&whole, x, y, value);
}

namespace {

// Rows per band of a stroke pass: several bands per thread on a tile of
// 256 rows, and few enough rows at the seams that the dots drawn after the
// bands stay a small share.
constexpr int32_t STROKE_BAND_ROWS = 32;

struct StrokeBandJob {
  PixelMap* plane;
  int32_t rows, tileTop, bands;
  StrokeBandTask task;
  const void* context;
  std::vector<StrokeDot>* spills;
};

void strokeBand(void* jobContext, int32_t index) {
  const StrokeBandJob& job = *static_cast<const StrokeBandJob*>(jobContext);
  const int32_t begin = index * STROKE_BAND_ROWS;
  const int32_t end = begin + STROKE_BAND_ROWS < job.rows ? begin + STROKE_BAND_ROWS : job.rows;
  StrokeBand band;
  band.plane = job.plane;
  band.ownTop = index == 0 ? INT32_MIN : job.tileTop + begin;
  band.ownBottom = index == job.bands - 1 ? INT32_MAX : job.tileTop + end;
  band.spill = &job.spills[index];
  job.task(job.context, begin, end, &band);
}

}  // namespace

void drawStrokesInBands(FilterSession* session, int32_t rows, StrokeBandTask task, const void* context) {
  PixelMap* plane = &session->strokePlane;
  if (rows <= 0 || pixelMapEmpty(plane)) return;
  const int32_t bands = (rows + STROKE_BAND_ROWS - 1) / STROKE_BAND_ROWS;
  std::vector<std::vector<StrokeDot>> spills(static_cast<size_t>(bands));
  StrokeBandJob job{plane, rows, session->tileTop, bands, task, context, spills.data()};
  platformRunParts(strokeBand, &job, bands, renderThreads());
  // A dot raises each cell to the larger of the cell and its share, and the
  // larger of several values does not depend on their order: the dots
  // that fell across a seam give the same plane drawn last.
  StrokeBand whole{plane, INT32_MIN, INT32_MAX, nullptr};
  for (const std::vector<StrokeDot>& spill : spills)
    drawBandDots(&whole, spill.data(), static_cast<int32_t>(spill.size()));
}

int32_t contourDots(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, int32_t value,
                    StrokeDot dots[2]) {
  // One cell of the scalar rows, every band following the one level.
  float c00[9] = {a00}, c01[9] = {a01}, c10[9] = {a10}, c11[9] = {a11}, level[9] = {threshold};
  int32_t column[9] = {0}, strength[9] = {value};
  const float band[1] = {0.0f};
  const float* const corners[4] = {c00, c01, c10, c11};
  const float* const bands[4] = {band, band, band, band};
  ScribbleNumbers numbers{};
  numbers.thresholds[0] = numbers.thresholds[1] = numbers.thresholds[2] = threshold;
  const ScribbleCells cells{column, nullptr, nullptr, strength, level, {c00, c01, c10, c11}};
  if (scribbleCrossingsScalar(corners, bands, nullptr, nullptr, 1, numbers, cells) == 0) return 0;
  strength[0] = value;
  StrokeDot found[4];
  const int32_t count = scribbleDotsScalar(cells, 1, x, y, found);
  for (int32_t k = 0; k < count; ++k) dots[k] = found[k];
  return count;
}

void contourCell(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, PixelMap* plane,
                 int32_t value) {
  StrokeDot dots[2];
  const int32_t count = contourDots(a00, a01, a10, a11, threshold, x, y, value, dots);
  for (int32_t k = 0; k < count; ++k) drawStrokeDot(dots[k].x, dots[k].y, plane, dots[k].value);
}

// One pixel at a time: the reference every vector width matches.
ML_STROKE_ENTRIES(StrokeSingleLane, Scalar)

StrokeKernels strokeKernelsFor(SimdLevel level) {
  switch (fieldKernelsFor(level).level) {
    case SIMD_AVX512:
      return {thinHardRowAvx512, thinSoftRowAvx512, scribbleTurnAvx512, scribbleStrengthAvx512, scribbleCrossingsAvx512,
              scribbleDotsAvx512};
    case SIMD_AVX2:
      return {thinHardRowAvx2, thinSoftRowAvx2, scribbleTurnAvx2, scribbleStrengthAvx2, scribbleCrossingsAvx2,
              scribbleDotsAvx2};
    case SIMD_SSE2:
      return {thinHardRowSse2, thinSoftRowSse2, scribbleTurnSse2, scribbleStrengthSse2, scribbleCrossingsSse2,
              scribbleDotsSse2};
    default:
      return {thinHardRowScalar, thinSoftRowScalar, scribbleTurnScalar, scribbleStrengthScalar, scribbleCrossingsScalar,
              scribbleDotsScalar};
  }
}
