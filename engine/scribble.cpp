// "scribble" draws contour lines of the slope's direction into the stroke
// plane: each cell of four field samples follows the one level just above
// its lowest corner, so edges turn into loops and hatching.
#include <emmintrin.h>

#include <cstdint>
#include <vector>

#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/stroke_kernels.h"
#include "engine/stroke_rows.h"
#include "engine/styles.h"
#include "engine/width_choice.h"
#include "image/rect.h"
#include "numeric/arctangent_rows.h"
#include "numeric/portable_math.h"

namespace {

// The directions of a row one pair at a time: the reference the wider
// builds give the bits of.
void arcTangent2RowScalar(const double* y, const double* x, double* angle, int32_t count) {
  for (int32_t j = 0; j < count; ++j) angle[j] = numeric::arcTangent2(y[j], x[j]);
}

}  // namespace

void renderScribble(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  int32_t rows, columns;
  if (!strokePassCore(session, &rows, &columns)) return;
  const int32_t s = isEightBitImage(record) ? 1 : 128;
  const double sd = styleScaleDivisor(session);
  ScribbleNumbers numbers;
  numbers.rotation = context.chromeAngle * 0.3333333 * SCRIBBLE_PI / 180.0;
  numbers.strengthScale = static_cast<double>(100 / styleScaleDivisor(session));
  numbers.strengthDivisor = sd * s;
  numbers.weight = context.weight;
  numbers.flatShare = static_cast<double>((100 - context.weight) * 255);
  for (int32_t band = 0; band < 3; ++band)
    numbers.thresholds[band] = static_cast<float>(((band + 1) * 0.66666 - 1.0) * SCRIBBLE_PI);
  const int32_t side = context.fieldSide;
  const double* GX = context.gradientX;
  const double* GY = context.gradientY;
  const int32_t width = columns + 2;
  const int32_t tileLeft = session->tileLeft, tileTop = session->tileTop;
  const StrokeKernels kernels = strokeKernelsFor(activeFieldKernels().level);
  const auto directionsOfRow =
      functionForLevel(activeFieldKernels().level, arcTangent2RowScalar, numeric::arcTangent2RowSse2,
                       numeric::arcTangent2RowAvx2, numeric::arcTangent2RowAvx512);

  drawStrokesInBands(session, rows, [&](int32_t begin, int32_t end, StrokeBand* strokeBand) {
    // What a cell needs of each field sample it can touch, for the band's
    // cells: field rows begin+1 .. end+1, columns 1 .. columns+1 (column 0
    // unused), the turned direction in single precision and its band.
    // Neighbouring cells share corners, so each direction is computed once
    // instead of four times; the numbers are the same either way.
    const int32_t firstRow = begin + 1, lastRow = end + 2;
    std::vector<float> turned(static_cast<size_t>(lastRow - firstRow) * width);
    std::vector<float> bands(turned.size());
    std::vector<double> directions(static_cast<size_t>(width));
    for (int32_t i = firstRow; i < lastRow; ++i) {
      const double* gx = GX ? GX + static_cast<size_t>(i) * side : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(i) * side : nullptr;
      // The directions of the row first, then the turn.
      if (gx && gy)
        directionsOfRow(gy + 1, gx + 1, directions.data() + 1, width - 1);
      else if (gy)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gy[j] / s);
      else if (gx)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gx[j] / s);
      else
        for (int32_t j = 1; j < width; ++j) directions[j] = 0.0;  // no plane: a flat field
      const size_t at = static_cast<size_t>(i - firstRow) * width + 1;
      kernels.scribbleTurn(directions.data() + 1, width - 1, numbers, turned.data() + at, bands.data() + at);
    }

    std::vector<int32_t> values(static_cast<size_t>(columns));
    std::vector<ScribbleCell> cells(static_cast<size_t>(columns) + 1);
    std::vector<StrokeDot> dots(static_cast<size_t>(columns) * 2);
    for (int32_t r = begin; r < end; ++r) {
      const size_t at = static_cast<size_t>(r + 1 - firstRow) * width + 1;
      const float* t0 = turned.data() + at;
      const float* t1 = t0 + width;
      const float* k0 = bands.data() + at;
      const float* k1 = k0 + width;
      const double* gx = GX ? GX + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      kernels.scribbleStrength(gx, gy, columns, numbers, values.data());
      // Corners 00, 01, 10, 11. One plane alone: its direction is constant
      // along the other axis; none: all four are corner 00.
      const float* corners[4] = {t0, t0, t0, t0};
      const float* cornerBands[4] = {k0, k0, k0, k0};
      if (gx && gy) {
        corners[1] = t0 + 1, corners[2] = t1, corners[3] = t1 + 1;
        cornerBands[1] = k0 + 1, cornerBands[2] = k1, cornerBands[3] = k1 + 1;
      } else if (gy) {
        corners[2] = corners[3] = t1;
        cornerBands[2] = cornerBands[3] = k1;
      } else if (gx) {
        corners[1] = corners[3] = t0 + 1;
        cornerBands[1] = cornerBands[3] = k0 + 1;
      }
      const int32_t count = kernels.scribbleCrossings(corners, cornerBands, columns, numbers, cells.data());
      // The contours of the row, in the order of its cells: the dots of
      // all of them first, whose numbers do not depend on the plane, then
      // the raises, each of which waits for the cells before it.
      const int32_t y = r + tileTop;
      int32_t dotCount = 0;
      for (int32_t k = 0; k < count; ++k) {
        const ScribbleCell& cell = cells[k];
        dotCount += contourDots(cell.a00, cell.a01, cell.a10, cell.a11, cell.threshold, cell.column + tileLeft, y,
                                values[cell.column], dots.data() + dotCount);
      }
      for (int32_t k = 0; k < dotCount; ++k) drawBandDot(strokeBand, dots[k].x, dots[k].y, dots[k].value);
    }
  });
}
