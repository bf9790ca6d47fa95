// "scribble" draws contour lines of the slope's direction into the stroke
// plane: each cell of four field samples follows the one level just above
// its lowest corner, so edges turn into loops and hatching. "halo" compares
// the scaled slope with the picture's own brightness, so the edge value dips
// to 0 along lines on either side of strong edges.
#include <emmintrin.h>

#include <cstdint>
#include <vector>

#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "image/rect.h"
#include "numeric/portable_math.h"

namespace {

constexpr double SCRIBBLE_PI = 3.141592653;
constexpr double SCRIBBLE_TWO_PI = 6.283185307;
constexpr double BAND_EDGE = 1.047187089920044;  // about pi / 3

// Turns an angle by rot and wraps it back into -pi..pi.
inline double turnAngle(double a, double rot) {
  a = a + rot + SCRIBBLE_PI;
  double q = a / SCRIBBLE_TWO_PI;
  if (q < 0.0) q = q - 1.0;
  return a - static_cast<double>(truncateSaturating(q)) * SCRIBBLE_TWO_PI - SCRIBBLE_PI;
}

// 2 above the upper edge, 1 above the lower one, else 0; counted rather
// than branched, as the angles follow the picture.
inline int32_t bandOf(double a) { return static_cast<int32_t>(a > BAND_EDGE) + static_cast<int32_t>(a > -BAND_EDGE); }

// Two lanes at a time, SSE2: the same operations in the same order as the
// scalar forms, lane by lane. Truncation by instruction equals
// truncateSaturating strictly inside the 32-bit range; a lane outside it
// (never for a finite field) sends the pair back to the scalar form.
inline __m128d selectPd(__m128d mask, __m128d yes, __m128d no) {
  return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no));
}

inline bool truncatesExactly(__m128d v) {
  const __m128d inside = _mm_and_pd(_mm_cmpgt_pd(v, _mm_set1_pd(-2147483648.0)), _mm_cmplt_pd(v, _mm_set1_pd(2147483647.0)));
  return _mm_movemask_pd(inside) == 3;
}

// turnAngle for two angles; false leaves *turned unset.
inline bool turnTwoAngles(__m128d a, __m128d rot, __m128d* turned) {
  const __m128d pi = _mm_set1_pd(SCRIBBLE_PI), twoPi = _mm_set1_pd(SCRIBBLE_TWO_PI);
  a = _mm_add_pd(_mm_add_pd(a, rot), pi);
  __m128d q = _mm_div_pd(a, twoPi);
  q = selectPd(_mm_cmplt_pd(q, _mm_setzero_pd()), _mm_sub_pd(q, _mm_set1_pd(1.0)), q);
  if (!truncatesExactly(q)) return false;
  const __m128d whole = _mm_cvtepi32_pd(_mm_cvttpd_epi32(q));
  *turned = _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(whole, twoPi)), pi);
  return true;
}

}  // namespace

void renderScribble(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  int32_t rows, columns;
  if (!strokePassCore(session, &rows, &columns)) return;
  const int32_t s = isEightBitImage(record) ? 1 : 128;
  const double sd = styleScaleDivisor(session);
  const double strengthScale = static_cast<double>(100 / styleScaleDivisor(session));
  const double strengthDivisor = sd * s;
  const double rot = context.chromeAngle * 0.3333333 * SCRIBBLE_PI / 180.0;
  const int32_t weight = context.weight;
  const double flatShare = static_cast<double>((100 - weight) * 255);
  const int32_t side = context.fieldSide;
  const double* GX = context.gradientX;
  const double* GY = context.gradientY;
  const int32_t width = columns + 2;
  const int32_t tileLeft = session->tileLeft, tileTop = session->tileTop;
  // Only the level just above the lowest corner is followed; its threshold
  // by the lowest band.
  float thresholds[3];
  for (int32_t band = 0; band < 3; ++band)
    thresholds[band] = static_cast<float>(((band + 1) * 0.66666 - 1.0) * SCRIBBLE_PI);

  // Stroke strength of each cell: the slope at its corner 00 through a soft
  // knee that meets 300 with a flat tangent. A row at a time, two cells at
  // a time.
  auto strengthOf = [&](double m) {
    m = m * strengthScale / strengthDivisor;
    if (!(m > 0.0)) m = 0.0;
    if (m > 300.0) m = 300.0;
    double m2 = 300.0 - (300.0 - m) * (300.0 - m) / 300.0;
    return truncateSaturating(((m2 + 20.0) * weight + flatShare) / 100.0);
  };
  struct Crossing {
    int32_t column;
    float threshold, a00, a01, a10, a11;
  };

  drawStrokesInBands(session, rows, [&](int32_t begin, int32_t end, StrokeBand* strokeBand) {
    // What a cell needs of each field sample it can touch, for the band's
    // cells: field rows begin+1 .. end+1, columns 0 .. columns+1 (column 0
    // unused), the turned direction in single precision and its band.
    // Neighbouring cells share corners, so each direction is computed once
    // instead of four times; the numbers are the same either way.
    const int32_t firstRow = begin + 1, lastRow = end + 2;
    std::vector<float> turned(static_cast<size_t>(lastRow - firstRow) * width);
    std::vector<int8_t> bands(turned.size());
    std::vector<double> rowScratch(static_cast<size_t>(width));
    const __m128d rotation = _mm_set1_pd(rot);
    for (int32_t i = firstRow; i < lastRow; ++i) {
      const double* gx = GX ? GX + static_cast<size_t>(i) * side : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(i) * side : nullptr;
      float* angleRow = turned.data() + static_cast<size_t>(i - firstRow) * width;
      int8_t* bandRow = bands.data() + static_cast<size_t>(i - firstRow) * width;
      auto keep = [&](int32_t j, double a) {
        a = turnAngle(a, rot);
        angleRow[j] = static_cast<float>(a);
        bandRow[j] = static_cast<int8_t>(bandOf(a));
      };
      // The directions of the row first, then the turn two at a time.
      double* directions = rowScratch.data();
      if (gx && gy)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent2(gy[j], gx[j]);
      else if (gy)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gy[j] / s);
      else if (gx)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gx[j] / s);
      else
        for (int32_t j = 1; j < width; ++j) directions[j] = 0.0;  // no plane: a flat field
      int32_t j = 1;
      for (; j + 2 <= width; j += 2) {
        __m128d a;
        if (!turnTwoAngles(_mm_loadu_pd(directions + j), rotation, &a)) {
          keep(j, directions[j]);
          keep(j + 1, directions[j + 1]);
          continue;
        }
        double lanes[2];
        _mm_storeu_pd(lanes, a);
        for (int32_t k = 0; k < 2; ++k) {
          angleRow[j + k] = static_cast<float>(lanes[k]);
          bandRow[j + k] = static_cast<int8_t>(bandOf(lanes[k]));
        }
      }
      for (; j < width; ++j) keep(j, directions[j]);
    }

    std::vector<int32_t> values(static_cast<size_t>(columns));
    std::vector<Crossing> crossing(static_cast<size_t>(columns) + 1);
    const __m128d scaleTwo = _mm_set1_pd(strengthScale), divisorTwo = _mm_set1_pd(strengthDivisor);
    const __m128d weightTwo = _mm_set1_pd(static_cast<double>(weight)), flatTwo = _mm_set1_pd(flatShare);
    const __m128d zero = _mm_setzero_pd(), top = _mm_set1_pd(300.0), sign = _mm_set1_pd(-0.0);

    for (int32_t r = begin; r < end; ++r) {
      const float* t0 = turned.data() + static_cast<size_t>(r + 1 - firstRow) * width + 1;
      const float* t1 = t0 + width;
      const int8_t* k0 = bands.data() + static_cast<size_t>(r + 1 - firstRow) * width + 1;
      const int8_t* k1 = k0 + width;
      const double* gx = GX ? GX + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      // The slope at corner 00: the magnitude with both planes, else the
      // absolute value of the one plane.
      auto slopeAt = [&](int32_t c) {
        if (gx && gy) return numeric::squareRoot(gx[c] * gx[c] + gy[c] * gy[c]);
        if (gy) return gy[c] < 0.0 ? -gy[c] : gy[c];
        if (gx) return gx[c] < 0.0 ? -gx[c] : gx[c];
        return 0.0;
      };
      int32_t c = 0;
      for (; c + 2 <= columns; c += 2) {
        __m128d m;
        if (gx && gy) {
          const __m128d x = _mm_loadu_pd(gx + c), y = _mm_loadu_pd(gy + c);
          m = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(x, x), _mm_mul_pd(y, y)));
        } else if (gx || gy) {
          const __m128d v = _mm_loadu_pd(gx ? gx + c : gy + c);
          m = selectPd(_mm_cmplt_pd(v, zero), _mm_xor_pd(v, sign), v);
        } else {
          m = zero;
        }
        m = _mm_div_pd(_mm_mul_pd(m, scaleTwo), divisorTwo);
        m = _mm_and_pd(_mm_cmpgt_pd(m, zero), m);  // not above 0, NaN too: +0.0
        m = selectPd(_mm_cmpgt_pd(m, top), top, m);
        const __m128d rest = _mm_sub_pd(top, m);
        const __m128d m2 = _mm_sub_pd(top, _mm_div_pd(_mm_mul_pd(rest, rest), top));
        const __m128d v = _mm_div_pd(_mm_add_pd(_mm_mul_pd(_mm_add_pd(m2, _mm_set1_pd(20.0)), weightTwo), flatTwo),
                                     _mm_set1_pd(100.0));
        if (truncatesExactly(v)) {
          const __m128i whole = _mm_cvttpd_epi32(v);
          values[c] = _mm_cvtsi128_si32(whole);
          values[c + 1] = _mm_cvtsi128_si32(_mm_shuffle_epi32(whole, 1));
        } else {
          values[c] = strengthOf(slopeAt(c));
          values[c + 1] = strengthOf(slopeAt(c + 1));
        }
      }
      for (; c < columns; ++c) values[c] = strengthOf(slopeAt(c));

      int32_t count = 0;
      for (c = 0; c < columns; ++c) {
        // One plane alone: its direction is constant along the other axis.
        float a00 = t0[c], a01, a10, a11;
        int32_t b00 = k0[c], b01, b10, b11;
        if (gx && gy) {
          a01 = t0[c + 1], a10 = t1[c], a11 = t1[c + 1];
          b01 = k0[c + 1], b10 = k1[c], b11 = k1[c + 1];
        } else if (gy) {
          a01 = a00, a10 = a11 = t1[c];
          b01 = b00, b10 = b11 = k1[c];
        } else if (gx) {
          a10 = a00, a01 = a11 = t0[c + 1];
          b10 = b00, b01 = b11 = k0[c + 1];
        } else {
          a01 = a10 = a11 = a00;
          b01 = b10 = b11 = b00;
        }
        int32_t band = b00;
        if (b01 < band) band = b01;
        if (b10 < band) band = b10;
        if (b11 < band) band = b11;
        const float threshold = thresholds[band];
        // No corner above the level, or all of them: no crossing, nothing is
        // drawn. The cells that cross are listed without a branch, whose
        // outcome would follow the picture.
        const int32_t above = (a00 > threshold) + (a01 > threshold) + (a10 > threshold) + (a11 > threshold);
        Crossing& next = crossing[count];
        next.column = c, next.threshold = threshold;
        next.a00 = a00, next.a01 = a01, next.a10 = a10, next.a11 = a11;
        count += (above != 0) & (above != 4);
      }
      // The contours of the row, in the order of its cells.
      const int32_t y = r + tileTop;
      for (int32_t k = 0; k < count; ++k) {
        const Crossing& cell = crossing[k];
        contourCell(cell.a00, cell.a01, cell.a10, cell.a11, cell.threshold, cell.column + tileLeft, y, strokeBand,
                    values[cell.column]);
      }
    }
  });
}

void renderHalo(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  // The smoothing before the dispatcher's lower limit, and the weight, as
  // single-precision factors.
  const float g = static_cast<float>(
      static_cast<double>(static_cast<float>(sessionParameters(session)->renderSmoothing)) * 30.0 / 26.0);
  const float k = static_cast<float>(context.weight / 40.0);
  const int32_t side = context.fieldSide;
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    for (int32_t c = 0; c < loop.columns; ++c) {
      int32_t red, green, blue;
      if (loop.eightBit) {
        const uint8_t* px = pixelAddress(tile, c + TILE_MARGIN, row + TILE_MARGIN, 0);
        red = px[0], green = px[1], blue = px[2];
      } else {
        const uint16_t* px = reinterpret_cast<const uint16_t*>(pixelAddress(tile, c + TILE_MARGIN, row + TILE_MARGIN, 0));
        red = px[0], green = px[1], blue = px[2];
      }
      float y = loop.greyImage ? static_cast<float>(red)
                               : static_cast<float>(static_cast<double>(299 * red + 587 * green + 114 * blue) * 0.001);
      double x = gx ? gx[c] : 0.0, v = gy ? gy[c] : 0.0;
      double mag = numeric::squareRoot(x * x + v * v);
      double d = mag * g - y;
      if (d < 0.0) d = -d;
      edges[c] = edgeFromDouble(k * d, loop.maxValue);
    }
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
