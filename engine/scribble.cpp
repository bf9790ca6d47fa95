// "scribble" draws contour lines of the slope's direction into the stroke
// plane: each cell of four field samples follows the one level just above
// its lowest corner, so edges turn into loops and hatching. "halo" compares
// the scaled slope with the picture's own brightness, so the edge value dips
// to 0 along lines on either side of strong edges.
#include <vector>

#include "core/session.h"
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

inline int32_t bandOf(double a) { return a > BAND_EDGE ? 2 : (a > -BAND_EDGE ? 1 : 0); }

}  // namespace

void renderScribble(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  PixelMap* plane = &session->strokePlane;
  if (pixelMapEmpty(plane)) return;
  const int32_t rows = rectHeight(record->outRect), columns = rectWidth(record->outRect);
  if (rows <= 0 || columns <= 0) return;
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

  // The turned direction of every field sample a cell can touch, (rows+2)
  // by (columns+2) from field sample (0, 0). Neighbouring cells share
  // corners, so each direction is computed once instead of four times; the
  // numbers are the same either way.
  static std::vector<double> turned;
  const int32_t width = columns + 2;
  turned.resize(static_cast<size_t>(rows + 2) * width);
  for (int32_t i = 1; i < rows + 2; ++i)
    for (int32_t j = 1; j < width; ++j) {
      size_t at = static_cast<size_t>(i) * side + j;
      double a;
      if (GX && GY)
        a = numeric::arcTangent2(GY[at], GX[at]);
      else if (GY)
        a = numeric::arcTangent(GY[at] / s);
      else if (GX)
        a = numeric::arcTangent(GX[at] / s);
      else
        a = 0.0;  // no plane: a flat field
      turned[static_cast<size_t>(i) * width + j] = turnAngle(a, rot);
    }

  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < columns; ++c) {
      const size_t p00 = static_cast<size_t>(r + 1) * side + (c + 1);
      const double* t0 = turned.data() + static_cast<size_t>(r + 1) * width + (c + 1);
      const double* t1 = t0 + width;
      // One plane alone: its direction is constant along the other axis.
      double a00 = t0[0], a01, a10, a11, m;
      if (GX && GY) {
        a01 = t0[1], a10 = t1[0], a11 = t1[1];
        m = numeric::squareRoot(GX[p00] * GX[p00] + GY[p00] * GY[p00]);
      } else if (GY) {
        a01 = a00, a10 = a11 = t1[0];
        m = GY[p00] < 0.0 ? -GY[p00] : GY[p00];
      } else if (GX) {
        a10 = a00, a01 = a11 = t0[1];
        m = GX[p00] < 0.0 ? -GX[p00] : GX[p00];
      } else {
        a01 = a10 = a11 = a00;
        m = 0.0;
      }
      // Stroke strength: the slope through a soft knee that meets 300 with
      // a flat tangent.
      m = m * strengthScale / strengthDivisor;
      if (!(m > 0.0)) m = 0.0;
      if (m > 300.0) m = 300.0;
      double m2 = 300.0 - (300.0 - m) * (300.0 - m) / 300.0;
      int32_t band = bandOf(a00), b = bandOf(a01);
      if (b < band) band = b;
      b = bandOf(a10);
      if (b < band) band = b;
      b = bandOf(a11);
      if (b < band) band = b;
      // Only the level just above the lowest corner is followed.
      float threshold = static_cast<float>(((band + 1) * 0.66666 - 1.0) * SCRIBBLE_PI);
      int32_t value = truncateSaturating(((m2 + 20.0) * weight + flatShare) / 100.0);
      contourCell(static_cast<float>(a00), static_cast<float>(a01), static_cast<float>(a10), static_cast<float>(a11),
                  threshold, c + session->tileLeft, r + session->tileTop, plane, value);
    }
  }
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
  int32_t* edges = edgeRowBuffer(loop.columns);
  for (int32_t row = 0; row < loop.rows; ++row) {
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
    shadeRow(loop, row, edges, tile, true);
  }
}
