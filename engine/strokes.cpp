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

// Raises one cell to the share if the share is larger, at most 255. The
// read clamps, the write drops cells outside the plane.
inline void raiseCell(PixelMap* plane, int32_t x, int32_t y, float share) {
  float old = static_cast<float>(getByte(x, y, plane, 0));
  float v = share > old ? share : old;
  if (v > 255.0f) v = 255.0f;
  setByte(x, y, plane, 0, static_cast<uint8_t>(static_cast<int32_t>(v)));
}

// The same raise on a cell known to lie inside the plane.
inline void raiseInside(uint8_t* cell, float share) {
  float old = static_cast<float>(*cell);
  float v = share > old ? share : old;
  if (v > 255.0f) v = 255.0f;
  *cell = static_cast<uint8_t>(static_cast<int32_t>(v));
}

// False when all four cells of a dot at (x, y) lie outside the plane, so
// that it changes nothing; the test also keeps the conversions below
// defined for any coordinate. Otherwise the top-left cell.
inline bool dotCorner(const PixelMap* plane, float x, float y, int32_t* ix, int32_t* iy) {
  if (!(x > -2.0f && y > -2.0f && x < static_cast<float>(plane->baseWidth) + 1.0f &&
        y < static_cast<float>(plane->baseHeight) + 1.0f))
    return false;
  *ix = x >= 0.0f ? static_cast<int32_t>(x) : static_cast<int32_t>(x - 1.0);
  *iy = y >= 0.0f ? static_cast<int32_t>(y) : static_cast<int32_t>(y - 1.0);
  return true;
}

void drawDotAt(float x, float y, int32_t ix, int32_t iy, PixelMap* plane, float value) {
  float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
  float left = value - value * fx, right = value * fx;
  if (ix >= 0 && iy >= 0 && ix < plane->levelMaxX[0] && iy < plane->levelMaxY[0]) {
    // All four cells inside: no clamp can make one cell's read see another
    // cell's write, so the cells are raised in place in the same order.
    uint8_t* top = pixelAddress(plane, ix, iy, 0);
    uint8_t* bottom = pixelAddress(plane, ix, iy + 1, 0);
    const int32_t step = plane->bytesPerPixel;
    if (step == 1) {
      // The four raises at once. A share above the cell truncates to at
      // least the cell, one not above it to at most the cell, so each cell
      // becomes the larger of its byte and its share limited to 0..255 and
      // truncated (NaN counting as 0). The shares are the same four
      // products and differences.
      const __m128 sides = _mm_setr_ps(left, right, 0.0f, 0.0f);
      const __m128 lower = _mm_mul_ps(sides, _mm_set1_ps(fy));
      const __m128 shares = _mm_movelh_ps(_mm_sub_ps(sides, lower), lower);
      const __m128 limited = _mm_min_ps(_mm_max_ps(shares, _mm_setzero_ps()), _mm_set1_ps(255.0f));
      alignas(16) int32_t raised[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(raised), _mm_cvttps_epi32(limited));
      // A byte at a time, so that a read of a cell the previous dot wrote
      // is served from that write.
      top[0] = static_cast<uint8_t>(top[0] > raised[0] ? top[0] : raised[0]);
      top[1] = static_cast<uint8_t>(top[1] > raised[1] ? top[1] : raised[1]);
      bottom[0] = static_cast<uint8_t>(bottom[0] > raised[2] ? bottom[0] : raised[2]);
      bottom[1] = static_cast<uint8_t>(bottom[1] > raised[3] ? bottom[1] : raised[3]);
      return;
    }
    raiseInside(top, left - left * fy);
    raiseInside(top + step, right - right * fy);
    raiseInside(bottom, left * fy);
    raiseInside(bottom + step, right * fy);
    return;
  }
  raiseCell(plane, ix, iy, left - left * fy);
  raiseCell(plane, ix + 1, iy, right - right * fy);
  raiseCell(plane, ix, iy + 1, left * fy);
  raiseCell(plane, ix + 1, iy + 1, right * fy);
}

}  // namespace

void drawStrokeDot(float x, float y, PixelMap* plane, float value) {
  if (pixelMapEmpty(plane)) return;
  int32_t ix, iy;
  if (dotCorner(plane, x, y, &ix, &iy)) drawDotAt(x, y, ix, iy, plane, value);
}

void drawBandDot(StrokeBand* band, float x, float y, float value) {
  int32_t ix, iy;
  if (!dotCorner(band->plane, x, y, &ix, &iy)) return;
  // A dot with no cell inside the plane changes nothing; left out here, the
  // clamped reads of the rest fall on the dot's own rows.
  const PixelMap* plane = band->plane;
  if (ix < -1 || iy < -1 || ix > plane->levelMaxX[0] || iy > plane->levelMaxY[0]) return;
  // Both rows of cells are the band's own; the ends of the owned range
  // reach past the plane's ends.
  if (iy >= band->ownTop && iy < band->ownBottom - 1)
    drawDotAt(x, y, ix, iy, band->plane, value);
  else
    band->spill->push_back(StrokeDot{x, y, value});
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
  for (const std::vector<StrokeDot>& spill : spills)
    for (const StrokeDot& dot : spill) drawStrokeDot(dot.x, dot.y, plane, dot.value);
}

namespace {

// Where the level crosses the side from corner p to corner q, 0..1 from p:
// if bp is above bq, -bp / (bq - bp) rounded, else 1.0 - (-bq / (bp - bq))
// taken in double from the rounded quotient. Both are bp / (bp - bq) but
// for rounding. All four sides at once in SSE2, chosen by mask rather than
// by branch; each side keeps its own negation, difference and quotient. A
// side the case does not use may divide by zero; its lane is never read.
struct Crossings {
  double top, left, right, bottom;  // sides 00-01, 00-10, 01-11, 10-11
};

inline Crossings crossings(float b00, float b01, float b10, float b11) {
  const __m128 p = _mm_setr_ps(b00, b00, b01, b10), q = _mm_setr_ps(b01, b10, b11, b11);
  const __m128 sign = _mm_set1_ps(-0.0f);
  const __m128 pAbove = _mm_cmpgt_ps(p, q);
  auto select = [](__m128 mask, __m128 yes, __m128 no) {
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
  };
  const __m128 numerator = select(pAbove, _mm_xor_ps(p, sign), _mm_xor_ps(q, sign));
  const __m128 denominator = select(pAbove, _mm_sub_ps(q, p), _mm_sub_ps(p, q));
  const __m128 quotient = _mm_div_ps(numerator, denominator);
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d low = _mm_cvtps_pd(quotient), high = _mm_cvtps_pd(_mm_movehl_ps(quotient, quotient));
  // The masks widened to the two double lanes of each half.
  const __m128 lowMask = _mm_unpacklo_ps(pAbove, pAbove), highMask = _mm_unpackhi_ps(pAbove, pAbove);
  auto selectPd = [](__m128 mask, __m128d yes, __m128d no) {
    const __m128d m = _mm_castps_pd(mask);
    return _mm_or_pd(_mm_and_pd(m, yes), _mm_andnot_pd(m, no));
  };
  const __m128d first = selectPd(lowMask, low, _mm_sub_pd(one, low));
  const __m128d second = selectPd(highMask, high, _mm_sub_pd(one, high));
  Crossings c;
  c.top = _mm_cvtsd_f64(first);
  c.left = _mm_cvtsd_f64(_mm_unpackhi_pd(first, first));
  c.right = _mm_cvtsd_f64(second);
  c.bottom = _mm_cvtsd_f64(_mm_unpackhi_pd(second, second));
  return c;
}

// A segment's ends are sides of the cell: the crossing on that side, with
// the side's own coordinate fixed at 0 or 1.
enum CellSide : uint8_t { TOP, LEFT, RIGHT, BOTTOM };

// The segments of each case, as (x0, y0) to (x1, y1) by sides; 0 and 15
// have none, the saddles 6 and 9 two.
struct CellSegments {
  uint8_t count;
  CellSide ends[2][2];
};

const CellSegments CELL_SEGMENTS[16] = {
    {0, {{TOP, TOP}, {TOP, TOP}}},           // 0
    {1, {{TOP, LEFT}, {TOP, TOP}}},          // 1
    {1, {{TOP, RIGHT}, {TOP, TOP}}},         // 2
    {1, {{LEFT, RIGHT}, {TOP, TOP}}},        // 3
    {1, {{BOTTOM, LEFT}, {TOP, TOP}}},       // 4
    {1, {{TOP, BOTTOM}, {TOP, TOP}}},        // 5
    {2, {{TOP, RIGHT}, {BOTTOM, LEFT}}},     // 6
    {1, {{BOTTOM, RIGHT}, {TOP, TOP}}},      // 7
    {1, {{BOTTOM, RIGHT}, {TOP, TOP}}},      // 8
    {2, {{TOP, LEFT}, {BOTTOM, RIGHT}}},     // 9
    {1, {{TOP, BOTTOM}, {TOP, TOP}}},        // 10
    {1, {{BOTTOM, LEFT}, {TOP, TOP}}},       // 11
    {1, {{LEFT, RIGHT}, {TOP, TOP}}},        // 12
    {1, {{TOP, RIGHT}, {TOP, TOP}}},         // 13
    {1, {{TOP, LEFT}, {TOP, TOP}}},          // 14
    {0, {{TOP, TOP}, {TOP, TOP}}},           // 15
};

// One dot stands for the segment: at its middle, as strong as it is long.
inline StrokeDot dotForSegment(double x0, double y0, double x1, double y1, int32_t x, int32_t y, int32_t value) {
  double dx = x0 - x1, dy = y0 - y1;
  double strength = numeric::squareRoot(dy * dy + dx * dx) * value;
  return StrokeDot{static_cast<float>((x0 + x1) / 2.0 + x), static_cast<float>((y0 + y1) / 2.0 + y),
                   static_cast<float>(strength)};
}

}  // namespace

int32_t contourDots(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, int32_t value,
                    StrokeDot dots[2]) {
  int32_t index = (a00 > threshold ? 1 : 0) + (a01 > threshold ? 2 : 0) + (a10 > threshold ? 4 : 0) +
                  (a11 > threshold ? 8 : 0);
  const CellSegments& segments = CELL_SEGMENTS[index];
  if (segments.count == 0) return 0;
  const Crossings c = crossings(a00 - threshold, a01 - threshold, a10 - threshold, a11 - threshold);
  // The points on the four sides, looked up by side rather than branched to.
  const double across[4] = {c.top, 0.0, 1.0, c.bottom};
  const double down[4] = {0.0, c.left, c.right, 1.0};
  for (int32_t k = 0; k < segments.count; ++k) {
    const CellSide from = segments.ends[k][0], to = segments.ends[k][1];
    dots[k] = dotForSegment(across[from], down[from], across[to], down[to], x, y, value);
  }
  return segments.count;
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
      return {thinHardRowAvx512, thinSoftRowAvx512, scribbleTurnAvx512, scribbleStrengthAvx512,
              scribbleCrossingsAvx512};
    case SIMD_AVX2:
      return {thinHardRowAvx2, thinSoftRowAvx2, scribbleTurnAvx2, scribbleStrengthAvx2, scribbleCrossingsAvx2};
    case SIMD_SSE2:
      return {thinHardRowSse2, thinSoftRowSse2, scribbleTurnSse2, scribbleStrengthSse2, scribbleCrossingsSse2};
    default:
      return {thinHardRowScalar, thinSoftRowScalar, scribbleTurnScalar, scribbleStrengthScalar,
              scribbleCrossingsScalar};
  }
}
