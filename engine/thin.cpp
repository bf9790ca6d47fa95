// "thin/hard" and "thin/soft": keep only the crests of the slope's
// magnitude, found by comparing the centre with the two neighbours across
// the edge, each interpolated along the side of the 3 x 3 block that the
// gradient's direction crosses. "thin/hard" writes the magnitude at the
// pixel; "thin/soft" places an antialiased dot where inside the pixel the
// crest lies, into the stroke plane.
#include <vector>

#include "core/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "image/rect.h"
#include "numeric/portable_math.h"

namespace {

// Magnitudes of the core's field samples and their one-sample ring, each
// divided by `divisor` as it is formed. Row-major, (rows+2) x (columns+2),
// element (i, j) belonging to field sample (i, j).
const double* magnitudePlane(const RenderContext& context, int32_t rows, int32_t columns, double divisor) {
  static std::vector<double> plane;
  const int32_t height = rows + 2, width = columns + 2, side = context.fieldSide;
  plane.resize(static_cast<size_t>(height) * width);
  for (int32_t i = 0; i < height; ++i) {
    const double* gx = context.gradientX ? context.gradientX + static_cast<size_t>(i) * side : nullptr;
    const double* gy = context.gradientY ? context.gradientY + static_cast<size_t>(i) * side : nullptr;
    double* m = plane.data() + static_cast<size_t>(i) * width;
    for (int32_t j = 0; j < width; ++j) {
      double x = gx ? gx[j] : 0.0, y = gy ? gy[j] : 0.0;
      m[j] = numeric::squareRoot(x * x + y * y) / divisor;
    }
  }
  return plane.data();
}

// The crest test's numbers for one pixel: P the centre's weighted
// magnitude, a and b the neighbours across the edge, and the sign that says
// which way along the gradient the sub-pixel offset runs.
struct Crest {
  double P, a, b;
  double sign;
};

// m points at the centre's magnitude, w is the row width of the magnitude
// plane; dx and dy are the centre's slopes.
inline Crest crestNumbers(const double* m, int32_t w, double dx, double dy) {
  auto M = [m, w](int32_t dr, int32_t dc) { return m[dr * w + dc]; };
  auto abs = [](double v) { return v < 0.0 ? -v : v; };
  Crest k;
  if (dx * dy > 0.0) {
    if (abs(dy) > abs(dx)) {  // A
      k.P = abs(M(0, 0) * dy);
      k.a = abs(M(1, 1) * dx + (dy - dx) * M(1, 0));
      k.b = abs(M(-1, -1) * dx + (dy - dx) * M(-1, 0));
      k.sign = dy;
    } else {  // B
      k.P = abs(M(0, 0) * dx);
      k.a = abs(M(1, 1) * dy + (dx - dy) * M(0, 1));
      k.b = abs(M(-1, -1) * dy + (dx - dy) * M(0, -1));
      k.sign = dx;
    }
  } else {
    if (abs(dy) > abs(dx)) {  // C
      k.P = abs(M(0, 0) * dy);
      k.a = abs(M(-1, 1) * dx - (dy + dx) * M(-1, 0));
      k.b = abs(M(1, -1) * dx - (dy + dx) * M(1, 0));
      k.sign = -dy;
    } else {  // D
      k.P = abs(M(0, 0) * dx);
      k.a = abs(M(-1, 1) * dy - (dy + dx) * M(0, 1));
      k.b = abs(M(1, -1) * dy - (dy + dx) * M(0, -1));
      k.sign = dx;
    }
  }
  return k;
}

}  // namespace

void renderThinHard(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const int32_t depthScale = loop.eightBit ? 1 : 128;
  const double scaledWeight = static_cast<double>(static_cast<int32_t>(context.weight) * depthScale);
  const int32_t width = loop.columns + 2, side = context.fieldSide;
  const double* magnitudes = magnitudePlane(context, loop.rows, loop.columns, 1.0);
  int32_t* edges = edgeRowBuffer(loop.columns);
  for (int32_t row = 0; row < loop.rows; ++row) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    const double* m = magnitudes + static_cast<size_t>(row + 1) * width + 1;
    for (int32_t c = 0; c < loop.columns; ++c) {
      double dx = gx ? gx[c] : 0.0, dy = gy ? gy[c] : 0.0;
      Crest k = crestNumbers(m + c, width, dx, dy);
      // Ties are one-sided, so of a plateau of two equal samples one stays.
      if (k.a <= k.P && k.b < k.P)
        edges[c] = edgeFromDouble((m[c] * scaledWeight) / depthScale, loop.maxValue);
      else
        edges[c] = 0;
    }
    shadeRow(loop, row, edges, tile, true);
  }
}

void renderThinSoft(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  PixelMap* plane = &session->strokePlane;
  if (pixelMapEmpty(plane)) return;
  const int32_t rows = rectHeight(record->outRect), columns = rectWidth(record->outRect);
  if (rows <= 0 || columns <= 0) return;
  const int32_t depthScale = isEightBitImage(record) ? 1 : 128;
  const double weight = context.weight;
  const int32_t width = columns + 2, side = context.fieldSide;
  const double* magnitudes = magnitudePlane(context, rows, columns, styleScaleDivisor(session));
  for (int32_t row = 0; row < rows; ++row) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    const double* m = magnitudes + static_cast<size_t>(row + 1) * width + 1;
    const float y = static_cast<float>(row + session->tileTop);
    for (int32_t c = 0; c < columns; ++c) {
      double dx = gx ? gx[c] : 0.0, dy = gy ? gy[c] : 0.0;
      Crest k = crestNumbers(m + c, width, dx, dy);
      float a = static_cast<float>(k.a), b = static_cast<float>(k.b);
      float p1 = static_cast<float>(k.P - a), p2 = static_cast<float>(k.P - b);
      bool crest = (p1 >= 0.0f && static_cast<double>(p2) > -0.001) || (static_cast<double>(p1) > -0.001 && p2 >= 0.0f);
      if (!crest) continue;
      double v = m[c] * weight / depthScale;
      // A negative value cannot raise the plane; 0 behaves the same and
      // keeps the conversion defined for any weight.
      float value = v < 256.0 ? (v > 0.0 ? static_cast<float>(static_cast<int32_t>(v)) : 0.0f) : 255.0f;
      // Where between the centre and the neighbours the crest lies,
      // measured along the gradient.
      float s = p1 + p2;
      float f = s > 0.0f ? p1 / s : 0.5f;
      if (k.sign > 0.0) f = static_cast<float>(1.0 - f);
      float fx = static_cast<float>(dx), fy = static_cast<float>(dy);
      float n = numeric::squareRootF(fx * fx + fy * fy);
      if (n == 0.0f) continue;
      float ux = fx / n, uy = fy / n;
      drawStrokeDot(ux * f + static_cast<float>(c + session->tileLeft), uy * f + y, plane, value);
    }
  }
}
